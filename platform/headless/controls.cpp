// No window of the interface file can be made here, so there is no control either.
#include "platform/controls.h"

#include "platform/dialogs.h"

OSStatus GetControlByID(WindowRef /*window*/, const ControlID * /*id*/, ControlRef * /*control*/)
{
    return errUnknownControl;
}

OSStatus GetControlID(ControlRef /*control*/, ControlID * /*id*/)
{
    return errUnknownControl;
}

OSErr GetControlData(ControlRef /*control*/, ControlPartCode /*part*/, OSType /*tag*/,
                     std::size_t /*size*/, void * /*buffer*/, std::size_t * /*actual*/)
{
    return errUnknownControl;
}

OSErr SetControlData(ControlRef /*control*/, ControlPartCode /*part*/, OSType /*tag*/,
                     std::size_t /*size*/, const void * /*data*/)
{
    return errUnknownControl;
}

std::int32_t GetControl32BitValue(ControlRef /*control*/)
{
    return 0;
}

void SetControl32BitMaximum(ControlRef /*control*/, std::int32_t /*maximum*/) {}

void SetControl32BitValue(ControlRef /*control*/, std::int32_t /*value*/) {}

Rect *GetControlBounds(ControlRef /*control*/, Rect *bounds)
{
    *bounds = {};
    return bounds;
}

void Draw1Control(ControlRef /*control*/) {}

void ShowControl(ControlRef /*control*/) {}

void HideControl(ControlRef /*control*/) {}

OSErr SetKeyboardFocus(WindowRef /*window*/, ControlRef /*control*/, ControlPartCode /*part*/)
{
    return errUnknownControl;
}

OSErr GetKeyboardFocus(WindowRef /*window*/, ControlRef * /*control*/)
{
    return errUnknownControl;
}

OSErr GetRootControl(WindowRef /*window*/, ControlRef * /*root*/)
{
    return errNoRootControl;
}

OSErr ActivateControl(ControlRef /*control*/)
{
    return errUnknownControl;
}

OSErr DeactivateControl(ControlRef /*control*/)
{
    return errUnknownControl;
}

void DrawDialog(DialogRef /*dialog*/) {}
