// AppleDouble files: the file named "._NAME" beside NAME keeps what the file system has no place
// for, in numbered entries. Two of them are known here, the Finder information and the resource
// fork; all others are kept as they are.
#ifndef PAPERMILL_PLATFORM_CORE_APPLE_DOUBLE_H
#define PAPERMILL_PLATFORM_CORE_APPLE_DOUBLE_H

#include "platform/core/atomic_file.h"
#include "platform/types.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace platform {

constexpr std::uint32_t resource_fork_entry = 2;
constexpr std::uint32_t finder_info_entry = 9;
constexpr std::size_t finder_info_size = 32;

struct apple_double_entry {
    std::uint32_t id;
    std::uint32_t offset; // from the start of the file
    std::uint32_t length;
};

// An AppleDouble file that has been read and found well-formed: every entry lies in the file
// behind the table, and no two share a byte.
struct apple_double {
    unique_fd file;
    off_t size = 0;
    std::string filler; // 16 bytes of the header that mean nothing now
    std::vector<apple_double_entry> entries;

    // The first entry of that number, or null.
    [[nodiscard]] const apple_double_entry *find(std::uint32_t id) const;
};

// The path of the AppleDouble file of the file at `path`.
std::string apple_double_path(const std::string &path);

// fnfErr when there is none; mapReadErr when what has the name is no well-formed AppleDouble file.
OSErr read_apple_double(const std::string &path, apple_double *result);

// Gives the existing AppleDouble file at `path` a new content for one entry, `size` bytes that
// `fill` writes, and adds the entry where it is missing. The other entries stay where they are in
// the file as long as the table has room: what lies in them may name places in it. *written (may
// be null) receives the new file, *offset the entry's place in it.
// The errors are read_apple_double's and replace_file_with's; mapReadErr also when making room
// would break extended attributes kept in the Finder information's entry.
OSErr write_apple_double_entry(const std::string &path, std::uint32_t id, std::uint32_t size,
                               const std::function<void(file_writer &)> &fill, unique_fd *written,
                               off_t *offset);

// Makes the AppleDouble file with the Finder information (finder_info_size bytes) and a resource
// fork.
OSErr create_apple_double(const std::string &path, const std::string &finder_info,
                          const std::string &resource_fork);

} // namespace platform

#endif
