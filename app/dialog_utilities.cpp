#include "app/dialog_utilities.h"

#include "platform/controls.h"
#include "platform/quickdraw.h"

namespace {

WindowRef window_of(const EventRecord *event)
{
    return reinterpret_cast<WindowRef>(event->message);
}

} // namespace

Boolean isMyDialog(WindowRef window)
{
    return window != nullptr && GetWindowKind(window) == dialogKind ? 1 : 0;
}

void Dialog_Activate(const EventRecord *event)
{
    ActivateDialogWindow(GetDialogFromWindow(window_of(event)),
                         (event->modifiers & activeFlag) != 0 ? 1 : 0);
}

void ActivateDialogWindow(DialogRef dialog, Boolean active)
{
    GrafPtr port = nullptr;
    GetPort(&port);
    WindowRef window = GetDialogWindow(dialog);
    SetPortWindowPort(window);
    ControlRef root = nullptr;
    if (GetRootControl(window, &root) == noErr) {
        if (active)
            ActivateControl(root);
        else
            DeactivateControl(root);
    }
    DrawDialog(dialog);
    Rect bounds;
    InvalWindowRect(window, GetWindowPortBounds(window, &bounds));
    SetPort(port);
}

void Dialog_Update(const EventRecord *event)
{
    GrafPtr port = nullptr;
    GetPort(&port);
    WindowRef window = window_of(event);
    SetPortWindowPort(window);
    BeginUpdate(window);
    DrawDialog(GetDialogFromWindow(window));
    EndUpdate(window);
    SetPort(port);
}
