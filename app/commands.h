// The application's own events: what the menus and the desktop tell the program as a whole.
#ifndef PAPERMILL_APP_COMMANDS_H
#define PAPERMILL_APP_COMMANDS_H

#include "platform/events.h"

// The events that myAppHandler is installed for, in their order.
constexpr std::size_t application_event_count = 4;
extern const EventTypeSpec applicationEvents[application_event_count];

// Keeps inBackground in step with the application's activation. It leaves every event unhandled, so
// that the platform's own handlers see it, too.
OSStatus myAppHandler(EventHandlerCallRef call, EventRef event, void *userData);

#endif
