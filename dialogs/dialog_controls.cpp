#include "dialogs/dialog_controls.h"

#include "platform/strings.h"

#include <cstring>

ControlRef dialog_control(WindowRef window, std::int32_t id)
{
    const ControlID wanted = {control_signature, id};
    ControlRef control = nullptr;
    GetControlByID(window, &wanted, &control);
    return control;
}

void GetStaticData(WindowRef window, std::int32_t id, char *buffer, std::size_t size)
{
    std::size_t actual = 0;
    GetControlData(dialog_control(window, id), kControlEntireControl, kControlStaticTextTextTag,
                   size - 1, buffer, &actual);
    if (actual >= size)
        actual = platform::whole_characters(buffer, size - 1);
    buffer[actual] = 0;
}

void SetStaticData(WindowRef window, std::int32_t id, const char *text)
{
    ControlRef control = dialog_control(window, id);
    SetControlData(control, kControlEntireControl, kControlStaticTextTextTag, std::strlen(text),
                   text);
    Draw1Control(control);
}

void GetEditData(WindowRef window, std::int32_t id, char *buffer, std::size_t size)
{
    GetStaticData(window, id, buffer, size);
}

void SetEditData(WindowRef window, std::int32_t id, const char *text)
{
    SetControlData(dialog_control(window, id), kControlEntireControl, kControlStaticTextTextTag,
                   std::strlen(text), text);
}

void check_box(WindowRef window, std::int32_t id, bool checked)
{
    SetControl32BitValue(dialog_control(window, id), checked ? 1 : 0);
}

bool is_checked(WindowRef window, std::int32_t id)
{
    return GetControl32BitValue(dialog_control(window, id)) > 0;
}

void SelectEditData(WindowRef window, std::int32_t id)
{
    // From 1, not 0: the first character stays unselected.
    const ControlEditTextSelectionRec selection = {1, 300};
    ControlRef control = dialog_control(window, id);
    SetControlData(control, kControlEntireControl, kControlEditTextSelectionTag, sizeof selection,
                   &selection);
    SetKeyboardFocus(window, control, kControlEditTextPart);
}
