// The classic resource file format, read and written. All numbers are big-endian.
//
//   header  16 bytes: place of the data area, place of the map, length of either
//           112 bytes of the system's, 128 of the application's
//   data    for each resource: its length in 4 bytes, then its data
//   map     copy of the header, 4 + 2 bytes used in memory only, attributes of the file,
//           place of the type list and of the name list in the map (2 bytes each)
//           type list: number of types less 1; for each: type, number of resources less 1, place
//           of its references from the type list's start
//           references: ID, place of the name in the name list (FFFF: no name), attributes in one
//           byte, place in the data area in three, 4 bytes used in memory only
//           name list: length byte and name
#ifndef PAPERMILL_PLATFORM_CORE_RESOURCE_FORK_H
#define PAPERMILL_PLATFORM_CORE_RESOURCE_FORK_H

#include "platform/core/atomic_file.h"
#include "platform/types.h"

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace platform {

// A part of an open file that holds a resource fork.
struct fork_place {
    int fd;
    off_t start;
    off_t size;
};

struct resource {
    std::int16_t id = 0;
    std::uint8_t attributes = 0;     // kept as they are, the unknown ones too
    std::optional<std::string> name; // no name is not the same as an empty one
    std::uint32_t place = 0;         // of the stored data in the fork
    std::uint32_t length = 0;        // of the stored data
    std::uint32_t rank = 0;          // the order of the data in the file
    Handle data = nullptr;           // when it is loaded or added
    bool changed = false;            // `data` is to be written, not what is stored
};

struct resource_type {
    ResType type;
    std::vector<std::unique_ptr<resource>> resources; // they stay at their addresses
};

constexpr std::size_t reserved_size = 240;

struct resource_fork {
    std::string reserved = std::string(reserved_size, 0); // the 112 and the 128 bytes
    std::uint16_t attributes = 0;
    std::vector<resource_type> types;
};

// Reads the map and checks everything in it against the fork's size; the data stay in the file.
// eofErr for an empty fork, mapReadErr for one that is not well-formed: areas, lists or data that
// leave their bounds or overlap.
OSErr read_resource_fork(const fork_place &from, resource_fork *result);

// Where everything lies in the file to be written.
struct fork_layout {
    std::vector<resource *> in_order;  // of their data
    std::vector<std::uint32_t> places; // of these data in the fork, behind their length
    std::string header;                // with the reserved bytes
    std::string map;
    std::uint32_t size; // of the whole fork
};

// addResFailed when the resources are too many or too large for the format: places in the map have
// 15 bits, which makes 2727 resources of one type, places in the data area have 24.
OSErr lay_out(const resource_fork &fork, fork_layout *layout);

// Writes the fork; data that were not changed are copied from the old one.
void write_resource_fork(const fork_layout &layout, const fork_place &old, file_writer &to);

// Takes the written file's places over: nothing counts as changed any more.
void take_over(const fork_layout &layout);

std::string empty_resource_fork(); // a well-formed one without resources

} // namespace platform

#endif
