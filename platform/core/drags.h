// Drags as both programs keep them, and the handlers that are installed for them.
#ifndef PAPERMILL_PLATFORM_CORE_DRAGS_H
#define PAPERMILL_PLATFORM_CORE_DRAGS_H

#include "platform/drag.h"

#include <string>
#include <string_view>
#include <vector>

struct OpaqueDrag {
    std::vector<std::string> items = {}; // each one's path; empty: it is no file of this machine
    Point mouse = {};                    // on the screen
    std::int16_t modifiers = 0;          // in the classic bits
};

namespace platform {

// The items of a drag from the text/uri-list that it offers, whatever its bytes. Comments and lines
// that are no URI do not count; URIs of other machines and of what is no file do.
std::vector<std::string> items_of_uri_list(std::string_view list);

// Tell the handlers.
void track_drag(DragTrackingMessage message, WindowRef window, DragRef drag);
void receive_drop(WindowRef window, DragRef drag);

} // namespace platform

#endif
