// The data of lists and of events: a head, and behind it records of typed data, one after the
// other. Whoever has the handle has it all: disposing of the handle frees it.
//
// The bytes may be anybody's: whatever they are, nothing beyond them is read or written.
#ifndef PAPERMILL_PLATFORM_CORE_RECORDS_H
#define PAPERMILL_PLATFORM_CORE_RECORDS_H

#include "platform/apple_events.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace platform {

struct record_head {
    AEEventClass event_class; // 0 in a list, as is the ID
    AEEventID event_id;
    // Where a search by index goes on: the record that was found last. 0: at the first one.
    std::uint32_t last_index; // counted from 1
    std::uint32_t last_place;
};

enum record_kind : std::uint32_t { list_item, unread_parameter, read_parameter, attribute };

// What stands before the data of each record.
struct record {
    AEKeyword keyword; // typeWildCard in a list
    std::uint32_t kind;
    DescType type;
    std::uint32_t size; // of the data, in bytes
};

// The descriptor's data, until it is changed or disposed of.
std::string_view data_of(const AEDesc &desc);

// The data of a list or an event (`type`); errAEWrongDataType when the descriptor is none.
OSErr get_records(const AEDesc &desc, DescType type, std::string_view *data);

// Records are told apart by their places in the data.
constexpr std::size_t first_place = sizeof(record_head);
std::size_t place_after(std::size_t place, const record &at);

// The record at that place: errAEDescNotFound at the end of the data, errAEWrongDataType where
// there is no whole one.
OSErr get_record(std::string_view data, std::size_t place, record *found);

std::string_view record_data(std::string_view data, std::size_t place, const record &at);

// Puts a record in the place of the `old_length` bytes that are there: none inserts it. The
// descriptor is unchanged on an error. `value` may be the descriptor's own data.
OSErr put_record(AEDesc *desc, std::size_t place, std::size_t old_length, AEKeyword keyword,
                 record_kind kind, DescType type, std::string_view value);

record_head get_head(std::string_view data);
void set_head(const AEDesc &desc, const record_head &head);
void set_kind(const AEDesc &desc, std::size_t place, record_kind kind);

} // namespace platform

#endif
