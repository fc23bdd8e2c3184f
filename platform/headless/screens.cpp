// A terminal is no screen that a window could lie on.
#include "platform/quickdraw.h"

GDHandle GetDeviceList()
{
    return nullptr;
}

GDHandle GetNextDevice(GDHandle /*device*/)
{
    return nullptr;
}

GDHandle GetMainDevice()
{
    return nullptr;
}

Boolean TestDeviceAttribute(GDHandle /*device*/, std::int16_t /*attribute*/)
{
    return 0;
}
