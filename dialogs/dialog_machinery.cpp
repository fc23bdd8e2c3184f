#include "dialogs/dialog_machinery.h"

#include "app/cursors.h"
#include "app/globals.h"
#include "console/console_io.h"
#include "dialogs/dialog_controls.h"
#include "platform/controls.h"
#include "platform/quickdraw.h"
#include "settings/file_prompts.h"
#include "settings/prefs_store.h"

#include <algorithm>
#include <initializer_list>

namespace {

constexpr int arrow_cursor = 1;
constexpr int text_cursor = 5;
constexpr std::int32_t before_panes = 1000; // the pane of the tab 1 is 1001

EventHandlerUPP handler_procedure;

// The folder is kept at once, also when the window is cancelled afterwards.
void choose_folder(WindowRef window, char (&folder)[path_size], const char *setting)
{
    if (get_working_folder(folder, "Select a working folder") == 0)
        return;
    SetStaticData(window, folder_text, folder);
    if (set_str_resource(setting, folder) == 0)
        tell_settings_are_not_stored();
    Rect bounds;
    InvalWindowRect(window, GetWindowPortBounds(window, &bounds));
}

void show_pane(WindowRef window)
{
    ControlRef tabs = dialog_control(window, tab_control);
    const std::int32_t pane = before_panes + GetControl32BitValue(tabs);
    HideControl(dialog_control(window, lastTabControl));
    ShowControl(dialog_control(window, pane));
    lastTabControl = pane;
    Draw1Control(tabs);
}

// The controls of one window alone.
OSStatus own_control_hit(WindowRef window, std::int32_t kind, std::int32_t id)
{
    if (kind == merge_window_constant && id == folder_button)
        choose_folder(window, pdfmerge_folder, "TEXDIR"); // not the merge's own setting
    else if (kind == command_window_constant && id == folder_button)
        choose_folder(window, gs_folder, "GSDIR");
    else if (kind == preferences_constant && id == tab_control)
        show_pane(window);
    else if (kind == preferences_constant && id == ps_defaults_button)
        SetEditData(window, ps_options_field, defaultPsOptions);
    else if (kind == preferences_constant && id == pdf_defaults_button)
        SetEditData(window, pdf_options_field, defaultPdfOptions);
    else
        return eventNotHandledErr;
    return noErr;
}

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
        return own_control_hit(window, kind, id);
    if (id == cancel_control)
        cancelDialog = 1;
    else if (SaveResults(window) == 0)
        return noErr;
    QuitAppModalLoopForWindow(window);
    if (id == ok_control && kind == changes_sheet_constant)
        HideSheetWindow(window);
    DisposeWindow(window);
    return noErr;
}

std::int32_t field_of_pane(WindowRef window)
{
    switch (GetControl32BitValue(dialog_control(window, tab_control))) {
    case 1:
        return ps_options_field;
    case 2:
        return pdf_options_field;
    case 3:
        return tiff_resolution_field;
    default:
        return picture_resolution_field;
    }
}

bool is_over(WindowRef window, Point point, std::initializer_list<std::int32_t> fields)
{
    return std::any_of(fields.begin(), fields.end(), [&](std::int32_t id) {
        Rect bounds;
        return PtInRect(point, GetControlBounds(dialog_control(window, id), &bounds)) != 0;
    });
}

void mouse_moved(WindowRef window, EventRef event)
{
    Point place = {};
    if (GetEventParameter(event, kEventParamMouseLocation, sizeof place, &place) != noErr)
        return;
    GrafPtr port = nullptr;
    GetPort(&port);
    SetPortWindowPort(window);
    GlobalToLocal(&place);
    SetPort(port);
    ChangeEditCursor(window, place);
}

} // namespace

int currcurs = arrow_cursor;
std::int32_t lastTabControl = before_panes + 1;

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

WindowRef make_dialog(const char *name, std::int32_t constant)
{
    IBNibRef nib = nullptr;
    WindowRef window = nullptr;
    if (CreateNibReference("ps2pdf", &nib) == noErr) {
        CreateWindowFromNib(nib, name, &window);
        DisposeNibReference(nib);
    }
    if (window == nullptr)
        text_printf("The window \"%s\" can't be made. Install papermill again.\n", name);
    SetWRefCon(window, constant);
    ChangeWindowAttributes(window, kWindowStandardHandlerAttribute, 0);
    return window;
}

bool run_dialog(WindowRef window)
{
    if (window == nullptr)
        return false; // nothing could end the loop
    InstallEventHandler(GetWindowEventTarget(window), doGetDialogHandlerUPP(), dialog_event_count,
                        dialog_events, window);
    ShowWindow(window);
    RunAppModalLoopForWindow(window);
    restore();
    return cancelDialog == 0;
}

OSStatus dialogEventHandler(EventHandlerCallRef /*call*/, EventRef event, void *window)
{
    const OSType event_class = GetEventClass(event);
    const std::uint32_t kind = GetEventKind(event);
    if (event_class == kEventClassControl && kind == kEventControlHit) {
        ControlRef control = nullptr;
        ControlID id = {};
        if (GetEventParameter(event, kEventParamDirectObject, sizeof(void *), &control) == noErr &&
            GetControlID(control, &id) == noErr && id.signature == control_signature)
            return control_hit(static_cast<WindowRef>(window), id.id);
    }
    if (event_class == kEventClassMouse && kind == kEventMouseMoved) {
        mouse_moved(static_cast<WindowRef>(window), event);
        return noErr;
    }
    return eventNotHandledErr;
}

void ChangeEditCursor(WindowRef window, Point point)
{
    bool over = false;
    switch (GetWRefCon(window)) {
    case merge_window_constant:
        over = is_over(window, point, {first_field, output_field});
        break;
    case command_window_constant:
        over = is_over(window, point, {first_field});
        break;
    case preferences_constant:
        over = is_over(window, point, {field_of_pane(window)});
        break;
    default:
        return;
    }
    if (over)
        EditCursor();
    else
        ArrowCursor();
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
