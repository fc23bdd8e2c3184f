// The timers of the event loop. Whoever turns a loop asks how long it may wait, and fires them.
#ifndef PAPERMILL_PLATFORM_CORE_LOOP_TIMERS_H
#define PAPERMILL_PLATFORM_CORE_LOOP_TIMERS_H

#include "platform/events.h"

namespace platform {

// Calls the timers that are due, or all of them. A callback may install and remove timers.
void fire_timers(bool all);

// How long it is to the next timer, `longest` at most.
int milliseconds_to_next_timer(int longest);

// Called whenever a timer has been installed or has fired: the wait may have to be shorter now.
void on_timers_changed(callback handler);

} // namespace platform

#endif
