#include "platform/quickdraw.h"

#include <QGuiApplication>
#include <QScreen>

#include <algorithm>
#include <limits>
#include <vector>

namespace {

std::vector<GDevice> devices; // of the list that was begun last
std::vector<GDevice *> masters;

std::int16_t coordinate(int pixels)
{
    return static_cast<std::int16_t>(std::clamp<int>(pixels,
                                                     std::numeric_limits<std::int16_t>::min(),
                                                     std::numeric_limits<std::int16_t>::max()));
}

void list_screens()
{
    devices.clear();
    masters.clear();
    for (const QScreen *screen : QGuiApplication::screens()) {
        const QRect place = screen->geometry();
        devices.push_back(
            {{coordinate(place.top()), coordinate(place.left()),
              coordinate(place.top() + place.height()), coordinate(place.left() + place.width())}});
    }
    for (GDevice &device : devices)
        masters.push_back(&device);
}

GDHandle numbered(std::size_t number)
{
    return number < masters.size() ? &masters[number] : nullptr;
}

} // namespace

GDHandle GetDeviceList()
{
    list_screens();
    return numbered(0);
}

GDHandle GetNextDevice(GDHandle device)
{
    return numbered(static_cast<std::size_t>(device - masters.data()) + 1);
}

// Qt lists the primary screen first.
GDHandle GetMainDevice()
{
    if (masters.empty())
        list_screens();
    return numbered(0);
}

Boolean TestDeviceAttribute(GDHandle device, std::int16_t attribute)
{
    return device != nullptr && (attribute == screenDevice || attribute == screenActive) ? 1 : 0;
}
