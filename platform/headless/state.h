// What the parts of the headless platform share.
#ifndef PAPERMILL_PLATFORM_HEADLESS_STATE_H
#define PAPERMILL_PLATFORM_HEADLESS_STATE_H

#include "platform/events.h"
#include "platform/windows.h"

#include <cstddef>
#include <string>
#include <vector>

struct installed_handler {
    EventHandlerUPP handler;
    std::vector<EventTypeSpec> events;
    void *user_data;
};

struct OpaqueEventTarget {
    std::vector<installed_handler> handlers;
};

struct OpaqueWindow {
    Rect bounds;
    std::string title;
    bool visible;
    std::int32_t reference_constant;
    std::uint32_t attributes;
    OpaqueEventTarget target;
};

namespace platform {

// From now on typed keys are read from standard input (or no longer).
void take_typed_keys(bool take);

// Hands the bytes to whoever writes the console's text at present.
void show_text(const char *bytes, std::size_t size);

} // namespace platform

#endif
