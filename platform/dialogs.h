// The Dialog Manager, as far as it is more than windows and controls.
#ifndef PAPERMILL_PLATFORM_DIALOGS_H
#define PAPERMILL_PLATFORM_DIALOGS_H

#include "platform/windows.h"

struct OpaqueDialog;
using DialogRef = OpaqueDialog *; // a window as a dialog; lives as long as the window

DialogRef GetDialogFromWindow(WindowRef window); // null gives null, in both directions
WindowRef GetDialogWindow(DialogRef dialog);

void DrawDialog(DialogRef dialog); // draws all its controls

#endif
