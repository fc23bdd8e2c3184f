#include "platform/apple_events.h"

#include "platform/core/coercions.h"
#include "platform/core/records.h"
#include "platform/memory.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace {

constexpr AEDesc null_descriptor = {typeNull, nullptr};

// Searches on from the item that was found last where it can: whoever reads a list from its start
// to its end walks it once.
OSErr find_item(const AEDescList &list, std::string_view data, std::int32_t index,
                std::size_t *place, platform::record *item)
{
    if (index < 1)
        return errAEDescNotFound;
    const auto wanted = static_cast<std::uint32_t>(index);
    platform::record_head head = platform::get_head(data);
    if (head.last_index < 1 || head.last_index > wanted) {
        head.last_index = 1;
        head.last_place = platform::first_place;
    }
    *place = head.last_place;
    OSErr error = platform::get_record(data, *place, item);
    for (; error == noErr && head.last_index < wanted; ++head.last_index) {
        *place = platform::place_after(*place, *item);
        error = platform::get_record(data, *place, item);
    }
    if (error != noErr)
        return error;
    head.last_place = static_cast<std::uint32_t>(*place);
    platform::set_head(list, head);
    return noErr;
}

// Where an item of that index goes, and how many bytes of an older one are there now.
OSErr find_room(const AEDescList &list, std::string_view data, std::int32_t index,
                std::size_t *place, std::size_t *old_length)
{
    *place = data.size();
    *old_length = 0;
    if (index == 0)
        return noErr;
    platform::record old = {};
    const OSErr error = find_item(list, data, index, place, &old);
    if (error == noErr)
        *old_length = platform::place_after(*place, old) - *place;
    if (error != errAEDescNotFound || index < 1)
        return error;
    std::size_t before = 0;
    return index == 1 ? OSErr{noErr} : find_item(list, data, index - 1, &before, &old);
}

OSErr get_item(const AEDescList &list, std::int32_t index, AEKeyword *keyword,
               platform::typed_data *value)
{
    std::string_view data;
    OSErr error = platform::get_records(list, typeAEList, &data);
    std::size_t place = 0;
    platform::record item = {};
    if (error == noErr)
        error = find_item(list, data, index, &place, &item);
    if (error != noErr)
        return error;
    if (keyword != nullptr)
        *keyword = item.keyword;
    *value = {item.type, platform::record_data(data, place, item)};
    return noErr;
}

} // namespace

OSErr AECreateDesc(DescType type, const void *data, std::size_t size, AEDesc *result)
{
    *result = null_descriptor;
    const Handle handle = NewHandle(size);
    if (handle == nullptr)
        return MemError();
    if (size > 0)
        std::memcpy(*handle, data, size);
    *result = {type, handle};
    return noErr;
}

OSErr AEDisposeDesc(AEDesc *desc)
{
    if (desc->dataHandle != nullptr)
        DisposeHandle(desc->dataHandle);
    *desc = null_descriptor;
    return noErr;
}

std::size_t AEGetDescDataSize(const AEDesc *desc)
{
    return platform::data_of(*desc).size();
}

OSErr AEGetDescData(const AEDesc *desc, void *buffer, std::size_t limit)
{
    if (desc->dataHandle == nullptr)
        return paramErr;
    const std::string_view data = platform::data_of(*desc);
    std::copy_n(data.data(), std::min(limit, data.size()), static_cast<char *>(buffer));
    return noErr;
}

OSErr AECoerceDesc(const AEDesc *desc, DescType type, AEDesc *result)
{
    return platform::coerce({desc->descriptorType, platform::data_of(*desc)}, type, result);
}

OSErr AECreateList(AEDescList *result)
{
    const platform::record_head head = {};
    return AECreateDesc(typeAEList, &head, sizeof head, result);
}

OSErr AEPutDesc(AEDescList *list, std::int32_t index, const AEDesc *item)
{
    std::string_view data;
    OSErr error = platform::get_records(*list, typeAEList, &data);
    std::size_t place = 0;
    std::size_t old_length = 0;
    if (error == noErr)
        error = find_room(*list, data, index, &place, &old_length);
    if (error != noErr)
        return error;
    return platform::put_record(list, place, old_length, typeWildCard, platform::list_item,
                                item->descriptorType, platform::data_of(*item));
}

OSErr AECountItems(const AEDescList *list, std::int32_t *count)
{
    *count = 0;
    std::string_view data;
    OSErr error = platform::get_records(*list, typeAEList, &data);
    platform::record item = {};
    for (std::size_t place = platform::first_place; error == noErr;
         place = platform::place_after(place, item)) {
        error = platform::get_record(data, place, &item);
        if (error == noErr)
            ++*count;
    }
    return error == errAEDescNotFound ? OSErr{noErr} : error;
}

OSErr AEGetNthDesc(const AEDescList *list, std::int32_t index, DescType type, AEKeyword *keyword,
                   AEDesc *result)
{
    *result = null_descriptor;
    platform::typed_data value = {};
    const OSErr error = get_item(*list, index, keyword, &value);
    return error == noErr ? platform::coerce(value, type, result) : error;
}

OSErr AEGetNthPtr(const AEDescList *list, std::int32_t index, DescType type, AEKeyword *keyword,
                  DescType *actualType, void *buffer, std::size_t limit, std::size_t *actualSize)
{
    platform::typed_data value = {};
    const OSErr error = get_item(*list, index, keyword, &value);
    return error == noErr
               ? platform::coerce_into(value, type, actualType, buffer, limit, actualSize)
               : error;
}
