#include "platform/core/bus_values.h"

#include "platform/core/records.h"
#include "platform/files.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iconv.h>
#include <vector>

namespace platform {

namespace {

// Of one event: no request has more than two.
constexpr int most_values = 64;

// ---- reading ----

// s or ay.
int read_bytes(sd_bus_message *message, const char *signature, std::string *bytes)
{
    if (std::strcmp(signature, "s") == 0) {
        const char *text = nullptr;
        const int result = sd_bus_message_read_basic(message, 's', &text);
        if (result > 0)
            *bytes = text;
        return result;
    }
    const void *data = nullptr;
    std::size_t size = 0;
    const int result = sd_bus_message_read_array(message, 'y', &data, &size);
    if (result < 0)
        return result;
    bytes->assign(static_cast<const char *>(data), size);
    if (!bytes->empty() && bytes->back() == 0)
        bytes->pop_back();
    return 1;
}

int read_text(sd_bus_message *message, const char *signature, AEDesc *value)
{
    std::string bytes;
    const int result = read_bytes(message, signature, &bytes);
    if (result < 0)
        return result;
    return AECreateDesc(typeChar, bytes.data(), bytes.size(), value) == noErr ? 1 : -ENOMEM;
}

// as or aay.
int read_list(sd_bus_message *message, const char *item_signature, AEDesc *list)
{
    if (AECreateList(list) != noErr)
        return -ENOMEM;
    int result = sd_bus_message_enter_container(message, 'a', item_signature);
    while (result >= 0 && sd_bus_message_at_end(message, 0) == 0) {
        AEDesc item = {typeNull, nullptr};
        result = read_text(message, item_signature, &item);
        if (result >= 0 && AEPutDesc(list, 0, &item) != noErr)
            result = -ENOMEM;
        AEDisposeDesc(&item);
    }
    return result < 0 ? result : sd_bus_message_exit_container(message);
}

int read_number(sd_bus_message *message, AEDesc *value)
{
    std::int32_t number = 0;
    const int result = sd_bus_message_read_basic(message, 'i', &number);
    if (result < 0)
        return result;
    return AECreateDesc(typeLongInteger, &number, sizeof number, value) == noErr ? 1 : -ENOMEM;
}

int read_value(sd_bus_message *message, const char *signature, AEDesc *value)
{
    if (std::strcmp(signature, "s") == 0 || std::strcmp(signature, "ay") == 0)
        return read_text(message, signature, value);
    if (std::strcmp(signature, "as") == 0 || std::strcmp(signature, "aay") == 0)
        return read_list(message, signature + 1, value);
    if (std::strcmp(signature, "i") == 0)
        return read_number(message, value);
    return -EINVAL;
}

OSErr put(AppleEvent *event, AEKeyword keyword, const AEDesc &value)
{
    if (keyword != keyRunAttr)
        return AEPutParamDesc(event, keyword, &value);
    std::int32_t run = 0;
    if (value.descriptorType != typeLongInteger)
        return errAECoercionFail;
    AEGetDescData(&value, &run, sizeof run);
    return AEPutAttributePtr(event, keyRunAttr, typeLongInteger, &run, sizeof run);
}

// One entry of the dictionary.
std::string read_entry(sd_bus_message *message, AppleEvent *event)
{
    const std::string broken = "the parameters cannot be read";
    const char *key = nullptr;
    const char *contents = nullptr;
    OSType keyword = 0;
    if (sd_bus_message_read_basic(message, 's', &key) < 0 ||
        sd_bus_message_peek_type(message, nullptr, &contents) < 0)
        return broken;
    const std::string name = key;
    if (!read_code(key, &keyword))
        return "\"" + name + "\" is no keyword of four bytes";
    const std::string signature = contents;
    if (sd_bus_message_enter_container(message, 'v', signature.c_str()) < 0)
        return broken;
    AEDesc value = {typeNull, nullptr};
    const int result = read_value(message, signature.c_str(), &value);
    const OSErr error = result < 0 ? OSErr{noErr} : put(event, keyword, value);
    AEDisposeDesc(&value);
    if (result == -EINVAL || error == errAECoercionFail)
        return "a value of type " + signature + " cannot be the parameter \"" + name + "\"";
    if (result < 0 || error != noErr || sd_bus_message_exit_container(message) < 0)
        return broken;
    return "";
}

// ---- writing ----

// Those that stand for no character: sd-bus takes none of them.
bool is_noncharacter(wchar_t code)
{
    return (code >= 0xFDD0 && code <= 0xFDEF) || (code & 0xFFFE) == 0xFFFE;
}

// Whether the bus takes it as text: UTF-8 without a NUL.
bool is_text(std::string bytes)
{
    if (std::all_of(bytes.begin(), bytes.end(), [](char c) { return c > 0; }))
        return true;
    if (bytes.find('\0') != std::string::npos)
        return false;
    const iconv_t decoder = iconv_open("WCHAR_T", "UTF-8");
    if (decoder == reinterpret_cast<iconv_t>(-1))
        return false;
    std::vector<wchar_t> decoded(bytes.size());
    char *from = bytes.data();
    char *to = reinterpret_cast<char *>(decoded.data());
    std::size_t left = bytes.size();
    std::size_t room = decoded.size() * sizeof(wchar_t);
    const bool valid = iconv(decoder, &from, &left, &to, &room) != static_cast<std::size_t>(-1);
    iconv_close(decoder);
    return valid && std::none_of(decoded.begin(), decoded.end(), is_noncharacter);
}

int append_bytes(sd_bus_message *message, const std::string &bytes, bool as_text)
{
    return as_text ? sd_bus_message_append(message, "s", bytes.c_str())
                   : sd_bus_message_append_array(message, 'y', bytes.data(), bytes.size());
}

// Text as it is, a file as its path.
int bytes_of(const AEDesc &value, std::string *bytes)
{
    AEDesc copy = {typeNull, nullptr};
    OSErr error = noErr;
    if (value.descriptorType == typeFSRef) {
        FSRef ref;
        AEGetDescData(&value, &ref, sizeof ref);
        return path_of(ref, bytes) == noErr ? 1 : -EINVAL;
    }
    if (value.descriptorType == typeFSS) {
        FSSpec spec;
        AEGetDescData(&value, &spec, sizeof spec);
        return path_of(spec, bytes) == noErr ? 1 : -EINVAL;
    }
    error = AECoerceDesc(&value, typeChar, &copy);
    if (error != noErr)
        return -EINVAL;
    bytes->resize(AEGetDescDataSize(&copy));
    AEGetDescData(&copy, bytes->data(), bytes->size());
    AEDisposeDesc(&copy);
    return 1;
}

int append_list(sd_bus_message *message, const AEDescList &list)
{
    std::int32_t count = 0;
    AECountItems(&list, &count);
    std::vector<std::string> items;
    bool all_text = true;
    for (std::int32_t i = 1; i <= count; ++i) {
        AEDesc item = {typeNull, nullptr};
        if (AEGetNthDesc(&list, i, typeWildCard, nullptr, &item) != noErr)
            return -EINVAL;
        items.emplace_back();
        const int result = bytes_of(item, &items.back());
        AEDisposeDesc(&item);
        if (result < 0)
            return result;
        all_text = all_text && is_text(items.back());
    }
    const char *const signature = all_text ? "as" : "aay";
    int result = sd_bus_message_open_container(message, 'v', signature);
    if (result >= 0)
        result = sd_bus_message_open_container(message, 'a', signature + 1);
    for (std::size_t i = 0; i < items.size() && result >= 0; ++i)
        result = append_bytes(message, items[i], all_text);
    if (result >= 0)
        result = sd_bus_message_close_container(message);
    return result < 0 ? result : sd_bus_message_close_container(message);
}

int append_value(sd_bus_message *message, const AEDesc &value)
{
    if (value.descriptorType == typeAEList)
        return append_list(message, value);
    if (value.descriptorType == typeLongInteger) {
        std::int32_t number = 0;
        AEGetDescData(&value, &number, sizeof number);
        return sd_bus_message_append(message, "v", "i", number);
    }
    std::string bytes;
    int result = bytes_of(value, &bytes);
    if (result < 0)
        return result;
    const bool text = is_text(bytes);
    result = sd_bus_message_open_container(message, 'v', text ? "s" : "ay");
    if (result >= 0)
        result = append_bytes(message, bytes, text);
    return result < 0 ? result : sd_bus_message_close_container(message);
}

int append_entry(sd_bus_message *message, AEKeyword keyword, const AEDesc &value)
{
    int result = sd_bus_message_open_container(message, 'e', "sv");
    if (result >= 0)
        result = append_code(message, keyword);
    if (result >= 0)
        result = append_value(message, value);
    return result < 0 ? result : sd_bus_message_close_container(message);
}

// The parameters, and the one attribute that travels.
int append_records(sd_bus_message *message, std::string_view data)
{
    int result = 0;
    record each = {};
    for (std::size_t place = first_place; result >= 0 && get_record(data, place, &each) == noErr;
         place = place_after(place, each)) {
        if (each.kind == attribute && each.keyword != keyRunAttr)
            continue;
        const std::string_view bytes = record_data(data, place, each);
        AEDesc value = {typeNull, nullptr};
        if (AECreateDesc(each.type, bytes.data(), bytes.size(), &value) != noErr)
            return -ENOMEM;
        result = append_entry(message, each.keyword, value);
        AEDisposeDesc(&value);
    }
    return result;
}

} // namespace

bool read_code(const char *text, OSType *code)
{
    if (std::strlen(text) != sizeof *code)
        return false;
    *code = four_chars({text[0], text[1], text[2], text[3], 0});
    return true;
}

int append_code(sd_bus_message *message, OSType code)
{
    const char text[] = {static_cast<char>(code >> 24), static_cast<char>(code >> 16),
                         static_cast<char>(code >> 8), static_cast<char>(code), 0};
    return sd_bus_message_append(message, "s", text);
}

std::string read_event_values(sd_bus_message *message, AppleEvent *event)
{
    std::string trouble;
    if (sd_bus_message_enter_container(message, 'a', "{sv}") < 0)
        return "the parameters cannot be read";
    int entries = 0;
    while (trouble.empty() && sd_bus_message_enter_container(message, 'e', "sv") > 0) {
        trouble =
            ++entries > most_values ? "there are too many parameters" : read_entry(message, event);
        if (trouble.empty() && sd_bus_message_exit_container(message) < 0)
            trouble = "the parameters cannot be read";
    }
    if (trouble.empty() && sd_bus_message_exit_container(message) < 0)
        trouble = "the parameters cannot be read";
    return trouble;
}

int append_event_values(sd_bus_message *message, const AppleEvent *event)
{
    int result = sd_bus_message_open_container(message, 'a', "{sv}");
    std::string_view data;
    if (result >= 0 && get_records(*event, typeAppleEvent, &data) == noErr)
        result = append_records(message, data);
    return result < 0 ? result : sd_bus_message_close_container(message);
}

} // namespace platform
