// The application's own events: what the menus and the desktop tell the program as a whole.
#ifndef PAPERMILL_APP_COMMANDS_H
#define PAPERMILL_APP_COMMANDS_H

#include "platform/events.h"

// The events that myAppHandler is installed for, in their order.
constexpr std::size_t application_event_count = 4;
extern const EventTypeSpec applicationEvents[application_event_count];

// Runs menu commands, keeps the menus in step with the run, and inBackground with the application's
// activation. It leaves every event unhandled, so that the platform's own handlers see it, too: to
// quit is theirs.
OSStatus myAppHandler(EventHandlerCallRef call, EventRef event, void *userData);

// Runs the command of that item of the menu of that ID. Others do nothing. A chooser that is
// cancelled ends a command without a message.
void do_menus(std::int16_t menuID, std::uint16_t item);

#endif
