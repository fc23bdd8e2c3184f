// Utilities for dialogs that take part in the classic event pump. Nothing in the program calls
// them.
#ifndef PAPERMILL_APP_DIALOG_UTILITIES_H
#define PAPERMILL_APP_DIALOG_UTILITIES_H

#include "platform/dialogs.h"
#include "platform/events.h"
#include "platform/windows.h"

Boolean isMyDialog(WindowRef window); // whether it is there, and a dialog

// An activate or deactivate event, whose message is the window.
void Dialog_Activate(const EventRecord *event);

// Activates or deactivates what is in the dialog, and has it drawn anew. The current port stays.
void ActivateDialogWindow(DialogRef dialog, Boolean active);

// An update event, whose message is the window: draws the dialog. The current port stays.
void Dialog_Update(const EventRecord *event);

#endif
