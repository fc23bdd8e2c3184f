// The types that data can become.
#ifndef PAPERMILL_PLATFORM_CORE_COERCIONS_H
#define PAPERMILL_PLATFORM_CORE_COERCIONS_H

#include "platform/apple_events.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace platform {

struct typed_data {
    DescType type;
    std::string_view bytes;
};

// A descriptor of the type `to` with these data: see AECoerceDesc.
OSErr coerce(typed_data from, DescType to, AEDesc *result);

// The same into a buffer, as AEGetNthPtr tells it.
OSErr coerce_into(typed_data from, DescType to, DescType *actual_type, void *buffer,
                  std::size_t limit, std::size_t *actual_size);

// The path that a text stands for: the text itself when it is absolute, or what a file: URI says
// (bytes that are not percent-encoded stand for themselves). fnfErr for any other text, bdNamErr
// for what no path can hold, nsvErr for a URI of another host's.
OSErr path_from_text(std::string_view text, std::string *path);

} // namespace platform

#endif
