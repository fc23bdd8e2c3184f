// Requests that have come in and wait for their handlers. They are handled by the event loops,
// never where they arrive: a handler may wait for the end of a run, and what comes in meanwhile
// has to be taken, too.
#ifndef PAPERMILL_PLATFORM_CORE_EVENT_QUEUE_H
#define PAPERMILL_PLATFORM_CORE_EVENT_QUEUE_H

#include "platform/apple_events.h"

#include <functional>

namespace platform {

// Gets the handler's result and the reply, a null descriptor when none was wanted. Called once.
using request_answer = std::function<void(OSErr error, const AppleEvent &reply)>;

// Takes the event over.
void queue_request(const AppleEvent &event, bool wants_reply, request_answer answer);

bool requests_wait();

// Handles every request that waits, and those that come in meanwhile. True when there was one.
bool answer_requests();

// At the end of the process: a quit request that is being handled has been carried out; whatever
// else is being handled or waits gets connectionInvalid.
void answer_at_exit();

} // namespace platform

#endif
