#include "dialogs/dialog_machinery.h"

#include "app/cursors.h"
#include "app/globals.h"
#include "dialogs/dialog_controls.h"
#include "platform/controls.h"
#include "platform/quickdraw.h"

namespace {

constexpr int arrow_cursor = 1;
constexpr int text_cursor = 5;

EventHandlerUPP handler_procedure;

// What the control does to its window.
OSStatus control_hit(WindowRef window, std::int32_t id)
{
    const std::int32_t kind = GetWRefCon(window);
    if (id == ok_control && kind == wait_sheet_constant) {
        // The tool is left running; the sheet is kept for the next wait.
        inScript = 0;
        userCancel = 1;
        QuitAppModalLoopForWindow(window);
        return noErr;
    }
    if (id != ok_control && id != cancel_control)
        return eventNotHandledErr;
    if (id == cancel_control)
        cancelDialog = 1;
    QuitAppModalLoopForWindow(window);
    if (id == ok_control && kind == changes_sheet_constant)
        HideSheetWindow(window);
    DisposeWindow(window);
    return noErr;
}

} // namespace

int currcurs = arrow_cursor;

const EventTypeSpec dialog_events[dialog_event_count] = {
    {kEventClassWindow, kEventWindowUpdate},      {kEventClassWindow, kEventWindowActivated},
    {kEventClassWindow, kEventWindowDeactivated}, {kEventClassControl, kEventControlHit},
    {kEventClassCommand, kEventCommandProcess},   {kEventClassKeyboard, kEventRawKeyUp},
    {kEventClassMouse, kEventMouseMoved},         {kEventClassControl, kEventControlClick}};

EventHandlerUPP doGetDialogHandlerUPP()
{
    if (handler_procedure == nullptr)
        handler_procedure = NewEventHandlerUPP(dialogEventHandler);
    return handler_procedure;
}

OSStatus dialogEventHandler(EventHandlerCallRef /*call*/, EventRef event, void *window)
{
    const OSType event_class = GetEventClass(event);
    const std::uint32_t kind = GetEventKind(event);
    if (event_class == kEventClassControl && kind == kEventControlHit) {
        ControlRef control = nullptr;
        ControlID id = {};
        if (GetEventParameter(event, kEventParamDirectObject, sizeof(void *), &control) == noErr &&
            GetControlID(control, &id) == noErr)
            return control_hit(static_cast<WindowRef>(window), id.id);
    }
    if (event_class == kEventClassMouse && kind == kEventMouseMoved)
        return noErr; // no window has a field yet over which the cursor is another
    return eventNotHandledErr;
}

void EditCursor()
{
    if (currcurs == text_cursor)
        return;
    SetCursor(&editCursor);
    currcurs = text_cursor;
}

void ArrowCursor()
{
    if (currcurs == arrow_cursor)
        return;
    restore();
    currcurs = arrow_cursor;
}
