#include "platform/apple_events.h"

#include "platform/core/big_endian.h"
#include "platform/files.h"
#include "platform/memory.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace {

// A list's data is its items one behind the other, each with its type and its size (four bytes
// each, big-endian) before its data. A list within a list is an item like any other.
constexpr std::size_t item_header_size = 8;

std::string bytes_of(const AEDesc &desc)
{
    if (desc.dataHandle == nullptr)
        return {};
    return {*desc.dataHandle, GetHandleSize(desc.dataHandle)};
}

OSErr make(DescType type, const std::string &bytes, AEDesc *result)
{
    return AECreateDesc(type, bytes.data(), bytes.size(), result);
}

struct list_item {
    DescType type;
    std::string data;
};

OSErr read_items(const AEDescList &list, std::vector<list_item> *items)
{
    items->clear();
    if (list.descriptorType != typeAEList)
        return errAEWrongDataType;
    const std::string bytes = bytes_of(list);
    for (std::size_t at = 0; at < bytes.size();) {
        if (bytes.size() - at < item_header_size)
            return errAEWrongDataType;
        const DescType type = platform::get32(bytes.data() + at);
        const std::size_t size = platform::get32(bytes.data() + at + 4);
        at += item_header_size;
        if (bytes.size() - at < size)
            return errAEWrongDataType;
        items->push_back({type, bytes.substr(at, size)});
        at += size;
    }
    return noErr;
}

void append_item(std::string *bytes, DescType type, const std::string &data)
{
    platform::put32(*bytes, type);
    platform::put32(*bytes, static_cast<std::uint32_t>(data.size()));
    *bytes += data;
}

OSErr reference_to_specification(const std::string &bytes, AEDesc *result)
{
    FSRef ref;
    if (bytes.size() != sizeof ref)
        return errAECoercionFail;
    std::memcpy(&ref, bytes.data(), sizeof ref);
    FSSpec spec;
    const OSErr error = FSGetCatalogInfo(&ref, kFSCatInfoNone, nullptr, nullptr, &spec, nullptr);
    return error == noErr ? AECreateDesc(typeFSS, &spec, sizeof spec, result) : error;
}

OSErr specification_to_reference(const std::string &bytes, AEDesc *result)
{
    FSSpec spec;
    if (bytes.size() != sizeof spec)
        return errAECoercionFail;
    std::memcpy(&spec, bytes.data(), sizeof spec);
    FSRef ref;
    const OSErr error = FSpMakeFSRef(&spec, &ref);
    return error == noErr ? AECreateDesc(typeFSRef, &ref, sizeof ref, result) : error;
}

OSErr coerce(DescType from, const std::string &bytes, DescType to, AEDesc *result)
{
    if (to == from || to == typeWildCard)
        return make(from, bytes, result);
    if (from == typeFSRef && to == typeFSS)
        return reference_to_specification(bytes, result);
    if (from == typeFSS && to == typeFSRef)
        return specification_to_reference(bytes, result);
    if (to != typeAEList)
        return errAECoercionFail;
    std::string list;
    append_item(&list, from, bytes);
    return make(typeAEList, list, result);
}

constexpr AEDesc null_descriptor = {typeNull, nullptr};

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
    return desc->dataHandle == nullptr ? 0 : GetHandleSize(desc->dataHandle);
}

OSErr AEGetDescData(const AEDesc *desc, void *buffer, std::size_t limit)
{
    if (desc->dataHandle == nullptr)
        return paramErr;
    const std::size_t size = std::min(limit, GetHandleSize(desc->dataHandle));
    std::copy_n(*desc->dataHandle, size, static_cast<char *>(buffer));
    return noErr;
}

OSErr AECoerceDesc(const AEDesc *desc, DescType type, AEDesc *result)
{
    *result = null_descriptor;
    if (desc->descriptorType == typeAEList && type != typeAEList && type != typeWildCard) {
        std::vector<list_item> items;
        const OSErr error = read_items(*desc, &items);
        if (error != noErr)
            return error;
        return items.size() == 1 ? coerce(items[0].type, items[0].data, type, result)
                                 : OSErr{errAECoercionFail};
    }
    return coerce(desc->descriptorType, bytes_of(*desc), type, result);
}

OSErr AECreateList(AEDescList *result)
{
    return make(typeAEList, {}, result);
}

OSErr AEPutDesc(AEDescList *list, std::int32_t index, const AEDesc *item)
{
    std::vector<list_item> items;
    OSErr error = read_items(*list, &items);
    if (error != noErr)
        return error;
    const std::size_t place =
        index == 0 ? items.size() : static_cast<std::size_t>(std::int64_t{index} - 1);
    if (place > items.size())
        return errAEDescNotFound;
    const list_item put = {item->descriptorType, bytes_of(*item)};
    if (place == items.size())
        items.push_back(put);
    else
        items[place] = put;
    std::string bytes;
    for (const list_item &each : items)
        append_item(&bytes, each.type, each.data);
    SetHandleSize(list->dataHandle, bytes.size());
    error = MemError();
    if (error == noErr && !bytes.empty())
        std::memcpy(*list->dataHandle, bytes.data(), bytes.size());
    return error;
}

OSErr AECountItems(const AEDescList *list, std::int32_t *count)
{
    std::vector<list_item> items;
    const OSErr error = read_items(*list, &items);
    *count = static_cast<std::int32_t>(items.size());
    return error;
}

OSErr AEGetNthDesc(const AEDescList *list, std::int32_t index, DescType type, AEKeyword *keyword,
                   AEDesc *result)
{
    *result = null_descriptor;
    std::vector<list_item> items;
    const OSErr error = read_items(*list, &items);
    if (error != noErr)
        return error;
    if (index < 1 || static_cast<std::size_t>(index) > items.size())
        return errAEDescNotFound;
    if (keyword != nullptr)
        *keyword = typeWildCard;
    const list_item &item = items[static_cast<std::size_t>(index) - 1];
    if (item.type != typeAEList)
        return coerce(item.type, item.data, type, result);
    AEDescList inner;
    const OSErr made = make(item.type, item.data, &inner);
    if (made != noErr)
        return made;
    const OSErr coerced = AECoerceDesc(&inner, type, result);
    AEDisposeDesc(&inner);
    return coerced;
}

OSErr AEGetNthPtr(const AEDescList *list, std::int32_t index, DescType type, AEKeyword *keyword,
                  DescType *actualType, void *buffer, std::size_t limit, std::size_t *actualSize)
{
    AEDesc item;
    OSErr error = AEGetNthDesc(list, index, type, keyword, &item);
    if (error != noErr)
        return error;
    if (actualType != nullptr)
        *actualType = item.descriptorType;
    if (actualSize != nullptr)
        *actualSize = AEGetDescDataSize(&item);
    error = AEGetDescData(&item, buffer, limit);
    AEDisposeDesc(&item);
    return error;
}
