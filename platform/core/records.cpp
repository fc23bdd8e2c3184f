#include "platform/core/records.h"

#include "platform/memory.h"

#include <cstring>
#include <limits>
#include <string>

std::string_view platform::data_of(const AEDesc &desc)
{
    if (desc.dataHandle == nullptr)
        return {};
    return {*desc.dataHandle, GetHandleSize(desc.dataHandle)};
}

OSErr platform::get_records(const AEDesc &desc, DescType type, std::string_view *data)
{
    *data = data_of(desc);
    return desc.descriptorType == type && data->size() >= first_place ? OSErr{noErr}
                                                                      : OSErr{errAEWrongDataType};
}

std::size_t platform::place_after(std::size_t place, const record &at)
{
    return place + sizeof at + at.size;
}

OSErr platform::get_record(std::string_view data, std::size_t place, record *found)
{
    if (place == data.size())
        return errAEDescNotFound;
    if (place > data.size() || data.size() - place < sizeof *found)
        return errAEWrongDataType;
    std::memcpy(found, data.data() + place, sizeof *found);
    const std::size_t left = data.size() - place - sizeof *found;
    return found->size > left ? OSErr{errAEWrongDataType} : OSErr{noErr};
}

std::string_view platform::record_data(std::string_view data, std::size_t place, const record &at)
{
    return data.substr(place + sizeof at, at.size);
}

OSErr platform::put_record(AEDesc *desc, std::size_t place, std::size_t old_length,
                           AEKeyword keyword, record_kind kind, DescType type,
                           std::string_view value)
{
    if (value.size() > std::numeric_limits<std::int32_t>::max())
        return memFullErr;
    const record made = {keyword, kind, type, static_cast<std::uint32_t>(value.size())};
    std::string bytes(reinterpret_cast<const char *>(&made), sizeof made);
    bytes += value; // a copy: the block moves when it grows

    const Handle handle = desc->dataHandle;
    const std::size_t old_size = GetHandleSize(handle);
    const std::size_t new_size = old_size - old_length + bytes.size();
    const std::size_t behind = old_size - place - old_length;
    if (new_size > old_size) {
        SetHandleSize(handle, new_size);
        if (MemError() != noErr)
            return MemError();
    }
    char *at = *handle + place;
    std::memmove(at + bytes.size(), at + old_length, behind);
    bytes.copy(at, bytes.size());
    if (new_size < old_size)
        SetHandleSize(handle, new_size);
    return noErr;
}

platform::record_head platform::get_head(std::string_view data)
{
    record_head head;
    std::memcpy(&head, data.data(), sizeof head);
    return head;
}

void platform::set_head(const AEDesc &desc, const record_head &head)
{
    std::memcpy(*desc.dataHandle, &head, sizeof head);
}

void platform::set_kind(const AEDesc &desc, std::size_t place, record_kind kind)
{
    record changed;
    std::memcpy(&changed, *desc.dataHandle + place, sizeof changed);
    changed.kind = kind;
    std::memcpy(*desc.dataHandle + place, &changed, sizeof changed);
}
