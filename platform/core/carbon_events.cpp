#include "platform/core/carbon_events.h"

#include <algorithm>
#include <cstring>

struct OpaqueEventHandlerCall {};

EventHandlerUPP NewEventHandlerUPP(EventHandlerUPP handler)
{
    return handler;
}

EventTargetRef GetApplicationEventTarget()
{
    static OpaqueEventTarget application;
    return &application;
}

OSStatus InstallEventHandler(EventTargetRef target, EventHandlerUPP handler, std::size_t count,
                             const EventTypeSpec *list, void *userData)
{
    if (target == nullptr || handler == nullptr)
        return paramErr;
    target->handlers.push_back({handler, {list, list + count}, userData});
    return noErr;
}

OSType GetEventClass(EventRef event)
{
    return event->event_class;
}

std::uint32_t GetEventKind(EventRef event)
{
    return event->kind;
}

OSStatus GetEventParameter(EventRef event, OSType name, std::size_t size, void *buffer)
{
    const auto found = event->parameters.find(name);
    if (found == event->parameters.end())
        return paramErr;
    std::memcpy(buffer, found->second.data(), std::min(size, found->second.size()));
    return noErr;
}

OSStatus SetEventParameter(EventRef event, OSType name, std::size_t size, const void *data)
{
    event->parameters[name].assign(static_cast<const char *>(data), size);
    return noErr;
}

OSStatus platform::send_event(EventTargetRef target, EventRef event)
{
    if (target == nullptr)
        return eventNotHandledErr;
    OpaqueEventHandlerCall call;
    // A copy: the target may be gone when a handler returns.
    const std::vector<installed_handler> handlers = target->handlers;
    for (auto installed = handlers.rbegin(); installed != handlers.rend(); ++installed) {
        const bool listed = std::any_of(
            installed->events.begin(), installed->events.end(), [&](const EventTypeSpec &type) {
                return type.eventClass == event->event_class && type.eventKind == event->kind;
            });
        if (!listed)
            continue;
        const OSStatus result = installed->handler(&call, event, installed->user_data);
        if (result != eventNotHandledErr)
            return result;
    }
    return eventNotHandledErr;
}
