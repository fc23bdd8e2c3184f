// No interface file, no menu bar.
#include "platform/menus.h"

OSStatus SetMenuBarFromNib(IBNibRef /*nib*/, const char * /*name*/)
{
    return fnfErr;
}

void AppendResMenu(MenuRef /*menu*/, ResType /*type*/) {}

void DrawMenuBar() {}

void HiliteMenu(std::int16_t /*menuID*/) {}

std::int32_t MenuSelect(Point /*where*/)
{
    return 0;
}
