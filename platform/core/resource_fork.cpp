#include "platform/core/resource_fork.h"

#include "platform/core/big_endian.h"
#include "platform/memory.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace {

using platform::get16;
using platform::get32;
using platform::put16;
using platform::put32;

constexpr std::uint32_t header_size = 16;
constexpr std::uint32_t data_start = header_size + platform::reserved_size;
constexpr std::uint32_t map_header_size = 28;
constexpr std::uint32_t count_size = 2;
constexpr std::uint32_t type_size = 8;
constexpr std::uint32_t reference_size = 12;
constexpr std::uint32_t length_size = 4;
constexpr std::uint16_t no_name = 0xFFFF;
constexpr std::uint32_t largest_map_place = 0x7FFF;
constexpr std::uint32_t largest_data_place = 0xFFFFFF;

// No place in a map can name anything behind this.
constexpr std::uint32_t reach_of_map = 1 << 20;

struct extent {
    std::uint32_t start;
    std::uint32_t size;
};

bool within(std::uint64_t start, std::uint64_t size, std::uint64_t limit)
{
    return start <= limit && size <= limit - start;
}

bool overlap(std::vector<extent> extents)
{
    extents.erase(
        std::remove_if(extents.begin(), extents.end(), [](const extent &e) { return e.size == 0; }),
        extents.end());
    std::sort(extents.begin(), extents.end(),
              [](const extent &a, const extent &b) { return a.start < b.start; });
    std::uint64_t end = 0;
    for (const extent &e : extents) {
        if (e.start < end)
            return true;
        end = std::uint64_t{e.start} + e.size;
    }
    return false;
}

// Counts are stored less 1; FFFF is none.
std::uint32_t count_at(const char *bytes)
{
    return (get16(bytes) + 1U) & 0xFFFF;
}

std::uint32_t stored_count(std::size_t count)
{
    return static_cast<std::uint32_t>(count - 1) & 0xFFFF;
}

struct areas {
    std::uint32_t data, map, data_length, map_length;
};

OSErr read_areas(const platform::fork_place &from, areas *result)
{
    if (from.size == 0)
        return eofErr;
    char header[header_size];
    if (from.size < static_cast<off_t>(sizeof header))
        return mapReadErr;
    const OSErr error = platform::read_at(from.fd, from.start, header, sizeof header);
    if (error != noErr)
        return error;
    const areas a = {get32(header), get32(header + 4), get32(header + 8), get32(header + 12)};
    const auto size = std::min<std::uint64_t>(static_cast<std::uint64_t>(from.size),
                                              std::numeric_limits<std::uint32_t>::max());
    if (!within(a.data, a.data_length, size) || !within(a.map, a.map_length, size) ||
        a.data < header_size || a.map < header_size || a.map_length < map_header_size + count_size)
        return mapReadErr;
    if (overlap({{a.data, a.data_length}, {a.map, a.map_length}}))
        return mapReadErr;
    *result = a;
    return noErr;
}

struct map_reader {
    platform::fork_place from;
    areas where;
    std::string map;
    std::uint32_t types_at, names_at;
    std::vector<extent> data; // of the references read so far
};

OSErr read_name(const map_reader &r, std::uint16_t offset, std::optional<std::string> *name)
{
    if (offset == no_name)
        return noErr;
    const std::size_t at = std::size_t{r.names_at} + offset;
    if (at >= r.map.size())
        return mapReadErr;
    const std::size_t length = static_cast<unsigned char>(r.map[at]);
    if (!within(at + 1, length, r.map.size()))
        return mapReadErr;
    *name = r.map.substr(at + 1, length);
    return noErr;
}

OSErr read_reference(map_reader &r, const char *reference, platform::resource *result)
{
    result->id = static_cast<std::int16_t>(get16(reference));
    result->attributes = static_cast<std::uint8_t>(reference[4]);
    const std::uint32_t offset = get32(reference + 4) & largest_data_place;
    if (!within(offset, length_size, r.where.data_length))
        return mapReadErr;
    char length[length_size];
    OSErr error =
        platform::read_at(r.from.fd, r.from.start + r.where.data + offset, length, sizeof length);
    if (error != noErr)
        return error;
    result->length = get32(length);
    if (!within(offset + length_size, result->length, r.where.data_length))
        return mapReadErr;
    result->place = r.where.data + offset + length_size;
    r.data.push_back({offset, length_size + result->length});
    return read_name(r, get16(reference + 2), &result->name);
}

// The type list and, beside it, where the references of each type lie.
OSErr read_types(const map_reader &r, platform::resource_fork *fork, std::vector<extent> *lists)
{
    const std::uint32_t count = count_at(&r.map[r.types_at]);
    const std::uint64_t list_end =
        std::uint64_t{r.types_at} + count_size + std::uint64_t{count} * type_size;
    if (list_end > r.map.size())
        return mapReadErr;
    for (std::uint32_t i = 0; i < count; ++i) {
        const char *type = &r.map[r.types_at + count_size + std::size_t{i} * type_size];
        const extent list = {r.types_at + get16(type + 6), count_at(type + 4) * reference_size};
        if (list.size > 0 &&
            (list.start < list_end || !within(list.start, list.size, r.map.size())))
            return mapReadErr;
        lists->push_back(list);
        fork->types.push_back({get32(type), {}});
    }
    return overlap(*lists) ? mapReadErr : noErr;
}

void rank_by_place(platform::resource_fork &fork)
{
    std::vector<platform::resource *> all;
    for (const auto &type : fork.types) {
        for (const auto &resource : type.resources)
            all.push_back(resource.get());
    }
    std::sort(all.begin(), all.end(),
              [](const auto *a, const auto *b) { return a->place < b->place; });
    for (std::size_t i = 0; i < all.size(); ++i)
        all[i]->rank = static_cast<std::uint32_t>(i);
}

bool has_new_data(const platform::resource &r)
{
    return r.changed && platform::is_live_handle(r.data);
}

std::size_t size_to_write(const platform::resource &r)
{
    return has_new_data(r) ? GetHandleSize(r.data) : r.length;
}

OSErr place_data(const platform::resource_fork &fork, platform::fork_layout *layout)
{
    for (const auto &type : fork.types) {
        for (const auto &resource : type.resources)
            layout->in_order.push_back(resource.get());
    }
    std::sort(layout->in_order.begin(), layout->in_order.end(),
              [](const auto *a, const auto *b) { return a->rank < b->rank; });
    std::uint64_t place = 0;
    for (const auto *resource : layout->in_order) {
        if (place > largest_data_place)
            return addResFailed;
        layout->places.push_back(data_start + static_cast<std::uint32_t>(place) + length_size);
        place += length_size + size_to_write(*resource);
    }
    if (place > static_cast<std::uint64_t>(std::numeric_limits<std::int32_t>::max()) - reach_of_map)
        return addResFailed;
    layout->size = data_start + static_cast<std::uint32_t>(place);
    return noErr;
}

OSErr make_map(const platform::resource_fork &fork, platform::fork_layout *layout)
{
    const std::size_t resources = layout->in_order.size();
    const std::size_t references_at = count_size + fork.types.size() * type_size; // in type list
    const std::size_t names_at = map_header_size + references_at + resources * reference_size;
    if (names_at > largest_map_place)
        return addResFailed;

    std::vector<std::uint32_t> places(resources);
    for (std::size_t i = 0; i < resources; ++i)
        places[layout->in_order[i]->rank] = layout->places[i] - length_size - data_start;

    std::string types;
    std::string references;
    std::string names;
    put16(types, stored_count(fork.types.size()));
    for (const auto &type : fork.types) {
        put32(types, type.type);
        put16(types, stored_count(type.resources.size()));
        put16(types, static_cast<std::uint32_t>(references_at + references.size()));
        for (const auto &resource : type.resources) {
            put16(references, static_cast<std::uint16_t>(resource->id));
            put16(references, resource->name ? static_cast<std::uint32_t>(names.size()) : no_name);
            put32(references, (std::uint32_t{resource->attributes} << 24) | places[resource->rank]);
            put32(references, 0);
            if (resource->name) {
                if (names.size() > largest_map_place)
                    return addResFailed;
                names += static_cast<char>(resource->name->size());
                names += *resource->name;
            }
        }
    }
    std::string tail;
    put32(tail, 0); // the next map, in memory
    put16(tail, 0); // the file's number, in memory
    put16(tail, fork.attributes);
    put16(tail, map_header_size);
    put16(tail, static_cast<std::uint32_t>(names_at));
    layout->map = tail + types + references + names;
    return noErr;
}

} // namespace

OSErr platform::read_resource_fork(const fork_place &from, resource_fork *result)
{
    map_reader r = {from, {}, {}, 0, 0, {}};
    OSErr error = read_areas(from, &r.where);
    if (error != noErr)
        return error;
    r.map.resize(std::min(r.where.map_length, reach_of_map));
    error = read_at(from.fd, from.start + r.where.map, r.map.data(), r.map.size());
    if (error != noErr)
        return error;

    resource_fork fork;
    const std::uint32_t reserved_end = std::min({data_start, r.where.data, r.where.map});
    error = read_at(from.fd, from.start + header_size, fork.reserved.data(),
                    reserved_end - header_size);
    if (error != noErr)
        return error;
    fork.attributes = get16(&r.map[22]);
    r.types_at = get16(&r.map[24]);
    r.names_at = get16(&r.map[26]);
    if (r.types_at < map_header_size || !within(r.types_at, count_size, r.map.size()))
        return mapReadErr;

    std::vector<extent> lists;
    error = read_types(r, &fork, &lists);
    for (std::size_t i = 0; error == noErr && i < lists.size(); ++i) {
        for (std::uint32_t at = 0; error == noErr && at < lists[i].size; at += reference_size) {
            auto read = std::make_unique<resource>();
            error = read_reference(r, &r.map[lists[i].start + at], read.get());
            fork.types[i].resources.push_back(std::move(read));
        }
    }
    if (error == noErr && overlap(std::move(r.data)))
        error = mapReadErr;
    if (error != noErr)
        return error;
    rank_by_place(fork);
    *result = std::move(fork);
    return noErr;
}

OSErr platform::lay_out(const resource_fork &fork, fork_layout *layout)
{
    fork_layout made = {};
    OSErr error = place_data(fork, &made);
    if (error == noErr)
        error = make_map(fork, &made);
    if (error != noErr)
        return error;
    put32(made.header, data_start);
    put32(made.header, made.size);
    put32(made.header, made.size - data_start);
    put32(made.header, static_cast<std::uint32_t>(header_size + made.map.size()));
    made.map.insert(0, made.header);
    made.header += fork.reserved;
    made.size += static_cast<std::uint32_t>(made.map.size());
    *layout = std::move(made);
    return noErr;
}

void platform::write_resource_fork(const fork_layout &layout, const fork_place &old,
                                   file_writer &to)
{
    to.put(layout.header.data(), layout.header.size());
    for (const resource *written : layout.in_order) {
        const std::size_t size = size_to_write(*written);
        std::string length;
        put32(length, static_cast<std::uint32_t>(size));
        to.put(length.data(), length.size());
        if (has_new_data(*written))
            to.put(*written->data, size);
        else
            to.copy(old.fd, old.start + written->place, static_cast<off_t>(size));
    }
    to.put(layout.map.data(), layout.map.size());
}

void platform::take_over(const fork_layout &layout)
{
    for (std::size_t i = 0; i < layout.in_order.size(); ++i) {
        resource &written = *layout.in_order[i];
        written.length = static_cast<std::uint32_t>(size_to_write(written));
        written.place = layout.places[i];
        written.changed = false;
    }
}

std::string platform::empty_resource_fork()
{
    fork_layout layout;
    lay_out({}, &layout);
    return layout.header + layout.map;
}
