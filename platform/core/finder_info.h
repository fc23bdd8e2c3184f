// Finder information: 32 bytes, of which the first 16 are the FInfo record, big-endian. They lie
// in the AppleDouble file beside the file where there is one, else in an extended attribute.
#ifndef PAPERMILL_PLATFORM_CORE_FINDER_INFO_H
#define PAPERMILL_PLATFORM_CORE_FINDER_INFO_H

#include "platform/files.h"

#include <string>

namespace platform {

// The bytes kept for the file at `path`, a path without links; zeros where none are kept.
OSErr read_finder_info(const std::string &path, std::string *bytes);

// Writes the record, keeping what stands behind it. Zeros are not kept in an attribute: it goes.
OSErr write_finder_info(const std::string &path, const FInfo &info);

FInfo decode_finder_info(const std::string &bytes);

// The bytes with the record put in.
std::string encode_finder_info(const FInfo &info, const std::string &bytes);

} // namespace platform

#endif
