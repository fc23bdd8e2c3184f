// ImageMagick as a child process: it is started when a picture is to be drawn, which is rare, so
// nothing of it is loaded before.
#ifndef PAPERMILL_PLATFORM_CORE_IMAGE_MAGICK_H
#define PAPERMILL_PLATFORM_CORE_IMAGE_MAGICK_H

#include "platform/core/picture_format.h"
#include "platform/types.h"

#include <string>
#include <vector>

namespace platform {

// The pixels of a picture file, fitted to that size, three bytes each. They have only the given
// colours, or, where there are none, `levels` values for each component, dithered. fnfErr when
// there is no ImageMagick, paramErr when it takes it for no picture, ioErr when it cannot be run.
OSErr draw_picture_file(const std::string &file, std::int32_t width, std::int32_t height,
                        const std::vector<colour> &colours, int levels, std::string *pixels);

} // namespace platform

#endif
