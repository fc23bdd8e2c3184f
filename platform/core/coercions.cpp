#include "platform/core/coercions.h"

#include "platform/core/records.h"
#include "platform/files.h"

#include <charconv>
#include <climits>
#include <cstring>
#include <strings.h>
#include <unistd.h>

namespace {

OSErr make(const FSRef &ref, AEDesc *result)
{
    return AECreateDesc(typeFSRef, &ref, sizeof ref, result);
}

OSErr make(const FSSpec &spec, AEDesc *result)
{
    return AECreateDesc(typeFSS, &spec, sizeof spec, result);
}

template <typename kind>
bool take(std::string_view data, kind *taken)
{
    if (data.size() != sizeof *taken)
        return false;
    std::memcpy(taken, data.data(), sizeof *taken);
    return true;
}

OSErr reference_to_specification(std::string_view data, AEDesc *result)
{
    FSRef ref;
    FSSpec spec;
    if (!take(data, &ref))
        return errAECoercionFail;
    const OSErr error = FSGetCatalogInfo(&ref, kFSCatInfoNone, nullptr, nullptr, &spec, nullptr);
    return error == noErr ? make(spec, result) : error;
}

OSErr specification_to_reference(std::string_view data, AEDesc *result)
{
    FSSpec spec;
    FSRef ref;
    if (!take(data, &spec))
        return errAECoercionFail;
    const OSErr error = FSpMakeFSRef(&spec, &ref);
    return error == noErr ? make(ref, result) : error;
}

OSErr text_to_reference(std::string_view text, AEDesc *result)
{
    std::string path;
    FSRef ref;
    OSErr error = platform::path_from_text(text, &path);
    if (error == noErr)
        error = FSPathMakeRef(path.c_str(), &ref, nullptr);
    return error == noErr ? make(ref, result) : error;
}

// Of what is not there, too: an output is named before it is made.
OSErr text_to_specification(std::string_view text, AEDesc *result)
{
    std::string path;
    OSErr error = platform::path_from_text(text, &path);
    if (error != noErr)
        return error;
    FSSpec spec;
    error = platform::specify(path.c_str(), &spec);
    return error == noErr || error == fnfErr ? make(spec, result) : error;
}

// A list becomes its item, if it has no other.
OSErr unwrap(platform::typed_data *list)
{
    platform::record item;
    const OSErr error = platform::get_record(list->bytes, platform::first_place, &item);
    if (error == errAEWrongDataType)
        return error;
    if (error != noErr || platform::place_after(platform::first_place, item) != list->bytes.size())
        return errAECoercionFail;
    *list = {item.type, platform::record_data(list->bytes, platform::first_place, item)};
    return noErr;
}

OSErr list_of_one(platform::typed_data item, AEDesc *result)
{
    OSErr error = AECreateList(result);
    if (error == noErr)
        error = platform::put_record(result, platform::first_place, 0, typeWildCard,
                                     platform::list_item, item.type, item.bytes);
    if (error != noErr)
        AEDisposeDesc(result);
    return error;
}

// Takes the prefix, in any case, off the text; false when it does not begin with it.
bool skip(std::string_view *text, std::string_view prefix)
{
    if (text->size() < prefix.size() ||
        strncasecmp(text->data(), prefix.data(), prefix.size()) != 0)
        return false;
    text->remove_prefix(prefix.size());
    return true;
}

bool is_this_machine(std::string_view host)
{
    char own[HOST_NAME_MAX + 1] = {};
    if (gethostname(own, sizeof own - 1) != 0)
        own[0] = 0;
    for (const std::string_view name : {std::string_view("localhost"), std::string_view(own)}) {
        std::string_view rest = host;
        if (skip(&rest, name) && rest.empty())
            return true;
    }
    return false;
}

// Two digits stand behind each percent sign, or it is bdNamErr.
OSErr decode_percents(std::string_view text, std::string *decoded)
{
    decoded->clear();
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            *decoded += text[i];
            continue;
        }
        const std::string_view digits = text.substr(i + 1, 2);
        unsigned int byte = 0;
        const char *end = digits.data() + digits.size();
        if (digits.size() < 2 || std::from_chars(digits.data(), end, byte, 16).ptr != end)
            return bdNamErr;
        *decoded += static_cast<char>(byte);
        i += digits.size();
    }
    return noErr;
}

OSErr coerce_one(platform::typed_data from, DescType to, AEDesc *result)
{
    if (to == from.type || to == typeWildCard)
        return AECreateDesc(from.type, from.bytes.data(), from.bytes.size(), result);
    if (to == typeAEList)
        return list_of_one(from, result);
    if (from.type == typeFSRef && to == typeFSS)
        return reference_to_specification(from.bytes, result);
    if (from.type == typeFSS && to == typeFSRef)
        return specification_to_reference(from.bytes, result);
    if (from.type == typeChar && to == typeFSRef)
        return text_to_reference(from.bytes, result);
    if (from.type == typeChar && to == typeFSS)
        return text_to_specification(from.bytes, result);
    return errAECoercionFail;
}

} // namespace

OSErr platform::coerce(typed_data from, DescType to, AEDesc *result)
{
    *result = {typeNull, nullptr};
    while (from.type == typeAEList && to != typeAEList && to != typeWildCard) {
        const OSErr error = unwrap(&from);
        if (error != noErr)
            return error;
    }
    return coerce_one(from, to, result);
}

OSErr platform::coerce_into(typed_data from, DescType to, DescType *actual_type, void *buffer,
                            std::size_t limit, std::size_t *actual_size)
{
    AEDesc coerced;
    OSErr error = coerce(from, to, &coerced);
    if (error != noErr)
        return error;
    if (actual_type != nullptr)
        *actual_type = coerced.descriptorType;
    if (actual_size != nullptr)
        *actual_size = AEGetDescDataSize(&coerced);
    error = AEGetDescData(&coerced, buffer, limit);
    AEDisposeDesc(&coerced);
    return error;
}

OSErr platform::path_from_text(std::string_view text, std::string *path)
{
    OSErr error = noErr;
    if (skip(&text, "file:")) {
        if (skip(&text, "//")) {
            const std::string_view host = text.substr(0, text.find('/'));
            text.remove_prefix(host.size());
            if (!host.empty() && !is_this_machine(host))
                return nsvErr;
        }
        error = decode_percents(text, path);
    } else {
        *path = text;
    }
    if (error != noErr)
        return error;
    if (path->empty() || path->front() != '/')
        return fnfErr;
    return path->find('\0') == std::string::npos ? OSErr{noErr} : OSErr{bdNamErr};
}
