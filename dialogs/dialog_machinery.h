// The one event handler of all the program's dialogs. Each tells by its window's reference constant
// which one it is; the controls 1 (OK) and 2 (Cancel) mean the same in every one.
#ifndef PAPERMILL_DIALOGS_DIALOG_MACHINERY_H
#define PAPERMILL_DIALOGS_DIALOG_MACHINERY_H

#include "dialogs/dialog_results.h"
#include "platform/events.h"
#include "platform/windows.h"

#include <cstddef>
#include <cstdint>

extern int currcurs;                // the cursor now set: 1 arrow, 5 text
extern std::int32_t lastTabControl; // the pane of the preferences that was shown last, 1001 to 1004

// The events that a dialog's opener installs the handler for.
constexpr std::size_t dialog_event_count = 8;
extern const EventTypeSpec dialog_events[dialog_event_count];

// The handler procedure for dialogEventHandler, made on first use.
EventHandlerUPP doGetDialogHandlerUPP();

// Makes the window of that name from the interface file and gives it its reference constant and the
// standard handler. Null, with a message, when it cannot be made.
WindowRef make_dialog(const char *name, std::int32_t constant);

// Installs dialogEventHandler on the dialog, shows it, and runs its modal loop until OK or Cancel
// has disposed of it. True when it was not cancelled; a null window counts as cancelled.
bool run_dialog(WindowRef window);

// Handles the events of the dialog `window`, a WindowRef. noErr, or eventNotHandledErr.
OSStatus dialogEventHandler(EventHandlerCallRef call, EventRef event, void *window);

// Shows the text cursor when the point, in the window's coordinates, is over a field that can be
// typed into, the arrow elsewhere. Windows without such fields leave the cursor as it is.
void ChangeEditCursor(WindowRef window, Point point);

void EditCursor();  // sets the text cursor, unless it is set
void ArrowCursor(); // the same with the arrow

#endif
