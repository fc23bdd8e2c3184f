// The one event handler of all the program's dialogs. Each tells by its window's reference constant
// which one it is; the controls 1 (OK) and 2 (Cancel) mean the same in every one.
#ifndef PAPERMILL_DIALOGS_DIALOG_MACHINERY_H
#define PAPERMILL_DIALOGS_DIALOG_MACHINERY_H

#include "platform/events.h"
#include "platform/windows.h"

#include <cstddef>
#include <cstdint>

// The reference constants.
enum : std::int32_t { changes_sheet_constant = 140, wait_sheet_constant = 145 };

constexpr std::int32_t ok_control = 1;
constexpr std::int32_t cancel_control = 2;

extern int currcurs; // the cursor now set: 1 arrow, 5 text

// The events that a dialog's opener installs the handler for.
constexpr std::size_t dialog_event_count = 8;
extern const EventTypeSpec dialog_events[dialog_event_count];

// The handler procedure for dialogEventHandler, made on first use.
EventHandlerUPP doGetDialogHandlerUPP();

// Handles the events of the dialog `window`, a WindowRef. noErr, or eventNotHandledErr.
OSStatus dialogEventHandler(EventHandlerCallRef call, EventRef event, void *window);

void EditCursor();  // sets the text cursor, unless it is set
void ArrowCursor(); // the same with the arrow

#endif
