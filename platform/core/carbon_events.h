// Events as both programs keep them: records with parameters, and targets with their handlers.
#ifndef PAPERMILL_PLATFORM_CORE_CARBON_EVENTS_H
#define PAPERMILL_PLATFORM_CORE_CARBON_EVENTS_H

#include "platform/events.h"

#include <map>
#include <string>
#include <vector>

struct OpaqueEvent {
    OSType event_class;
    std::uint32_t kind;
    std::map<OSType, std::string> parameters; // each one's bytes by its name
};

struct installed_handler {
    EventHandlerUPP handler;
    std::vector<EventTypeSpec> events;
    void *user_data;
};

struct OpaqueEventTarget {
    std::vector<installed_handler> handlers;
};

namespace platform {

// Asks the target's handlers for the event, the one that was installed last first, until one has
// handled it. Its result, or eventNotHandledErr. A handler may dispose of the target.
OSStatus send_event(EventTargetRef target, EventRef event);

} // namespace platform

#endif
