// The system's own colour tables.
#ifndef PAPERMILL_PLATFORM_CORE_SYSTEM_COLOURS_H
#define PAPERMILL_PLATFORM_CORE_SYSTEM_COLOURS_H

#include "platform/core/picture_format.h"

#include <vector>

namespace platform {

// The colours at a depth of 1, 2, 4 or 8 bits, white first and black last.
std::vector<colour> system_colours(int depth);

} // namespace platform

#endif
