// The fields of the program's dialogs, by window and number.
#ifndef PAPERMILL_DIALOGS_DIALOG_CONTROLS_H
#define PAPERMILL_DIALOGS_DIALOG_CONTROLS_H

#include "platform/controls.h"
#include "platform/windows.h"

#include <cstddef>
#include <cstdint>

constexpr OSType control_signature = four_chars("KVRB"); // of every control in the interface file

// The control of that number; null when the window has none.
ControlRef dialog_control(WindowRef window, std::int32_t id);

// Reads the control's text into the buffer, as many whole characters as fit into size - 1 bytes,
// with a NUL behind them; an empty text when there is no such control.
void GetStaticData(WindowRef window, std::int32_t id, char *buffer, std::size_t size);

void SetStaticData(WindowRef window, std::int32_t id, const char *text); // and draws it anew

// The same for an edit field, which draws itself.
void GetEditData(WindowRef window, std::int32_t id, char *buffer, std::size_t size);
void SetEditData(WindowRef window, std::int32_t id, const char *text);

// A check box, and whether it is checked.
void check_box(WindowRef window, std::int32_t id, bool checked);
bool is_checked(WindowRef window, std::int32_t id);

// Selects the field's text but for the first character, and gives it the keyboard.
void SelectEditData(WindowRef window, std::int32_t id);

#endif
