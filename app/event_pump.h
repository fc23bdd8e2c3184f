// The small classic event pump that the console turns while it waits for typed input.
#ifndef PAPERMILL_APP_EVENT_PUMP_H
#define PAPERMILL_APP_EVENT_PUMP_H

#include "platform/events.h"

extern EventRecord gEvent;   // the record that WaitNextEvent fills; main_event
extern std::uint16_t myMask; // the events that the pump is turned for; install_handlers

// One turn of the pump for the events of `mask`: true when an event was handled.
Boolean main_event(std::uint16_t mask);

// Dispatch of one classic event.
void DoEvent(const EventRecord *event);

// Idle work while no event is pending: the console's caret.
void do_idle();

#endif
