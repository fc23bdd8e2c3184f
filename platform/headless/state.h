// What the parts of the headless platform share.
#ifndef PAPERMILL_PLATFORM_HEADLESS_STATE_H
#define PAPERMILL_PLATFORM_HEADLESS_STATE_H

#include "platform/core/carbon_events.h"
#include "platform/quickdraw.h"
#include "platform/windows.h"

#include <cstddef>
#include <string>

struct OpaqueWindow {
    Rect bounds;
    std::string title;
    bool visible;
    std::int32_t reference_constant;
    std::uint32_t attributes;
    OpaqueEventTarget target;
    GrafPort port; // stands for the window where a port is asked for
};

namespace platform {

// From now on typed keys are read from standard input (or no longer).
void take_typed_keys(bool take);

// Hands the bytes to whoever writes the console's text at present.
void show_text(const char *bytes, std::size_t size);

} // namespace platform

#endif
