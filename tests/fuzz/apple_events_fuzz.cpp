// The event manager with anybody's bytes. The first byte chooses what the others are: the data of a
// list, of an event, or of a text that names a file; or steps that build a list, which is compared
// with a plain one.
#include "platform/apple_events.h"
#include "platform/core/coercions.h"
#include "platform/core/records.h"
#include "platform/memory.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr DescType types[] = {typeWildCard, typeAEList, typeAppleEvent, typeChar,
                              typeFSRef,    typeFSS,    typeLongInteger};

void expect(bool condition)
{
    if (!condition)
        std::abort();
}

// Whatever the result is, an error leaves nothing to dispose of.
void coerce_to_all(const AEDesc &desc)
{
    for (const DescType type : types) {
        AEDesc coerced;
        const OSErr error = AECoerceDesc(&desc, type, &coerced);
        expect((error == noErr) == (coerced.dataHandle != nullptr));
        AEDisposeDesc(&coerced);
    }
}

// A list that is whole up to its end has all its items, if a search begins at the first of them:
// where the last one ended is part of the data, too, and may be anywhere.
void read_items(const AEDescList &list, bool search_is_astray)
{
    std::int32_t count = 0;
    const OSErr counted = AECountItems(&list, &count);
    count = std::min(count, 1000);
    for (std::int32_t index = count + 2; index >= -1; --index) {
        for (const DescType type : types) {
            char buffer[100];
            std::size_t size = 0;
            AEGetNthPtr(&list, index, type, nullptr, nullptr, buffer, sizeof buffer, &size);
        }
    }
    if (search_is_astray || counted != noErr)
        return;
    for (std::int32_t index = 1; index <= count; ++index) {
        AEDesc item;
        expect(AEGetNthDesc(&list, index, typeWildCard, nullptr, &item) == noErr);
        coerce_to_all(item);
        AEDisposeDesc(&item);
    }
}

void try_list(const std::uint8_t *data, std::size_t size)
{
    AEDescList list;
    expect(AECreateDesc(typeAEList, data, size, &list) == noErr);
    coerce_to_all(list);
    const platform::record_head start = {};
    const bool astray = size >= sizeof start && std::memcmp(data, &start, sizeof start) != 0;
    read_items(list, astray);
    AEDesc item;
    expect(AECreateDesc(typeChar, "item", 4, &item) == noErr);
    for (const std::int32_t index : {0, 1, 2, 3})
        AEPutDesc(&list, index, &item);
    AEPutDesc(&list, 0, &list);
    read_items(list, astray);
    AEDisposeDesc(&item);
    AEDisposeDesc(&list);
}

void try_event(const std::uint8_t *data, std::size_t size)
{
    AppleEvent event;
    expect(AECreateDesc(typeAppleEvent, data, size, &event) == noErr);
    coerce_to_all(event);
    AEKeyword missed = 0;
    char buffer[100];
    for (int i = 0; i < 1000; ++i) {
        if (AEGetAttributePtr(&event, keyMissedKeywordAttr, typeKeyword, nullptr, &missed,
                              sizeof missed, nullptr) != noErr)
            break;
        expect(AEGetParamPtr(&event, missed, typeWildCard, nullptr, buffer, sizeof buffer,
                             nullptr) == noErr);
    }
    AEGetAttributePtr(&event, missed, typeWildCard, nullptr, buffer, sizeof buffer, nullptr);
    if (AEPutParamPtr(&event, missed, typeChar, "value", 5) == noErr) {
        std::size_t length = 0;
        expect(AEGetParamPtr(&event, missed, typeChar, nullptr, buffer, sizeof buffer, &length) ==
               noErr);
        expect(length == 5 && std::memcmp(buffer, "value", 5) == 0);
    }
    AEPutAttributePtr(&event, keyRunAttr, typeLongInteger, "1234", 4);
    AEPutParamDesc(&event, keyDirectObject, &event);
    AppleEvent reply = {typeNull, nullptr};
    expect(platform::handle_apple_event(&event, &reply) == errAEEventNotHandled);
    AEDisposeDesc(&event);
}

void try_text(const std::uint8_t *data, std::size_t size)
{
    AEDesc text;
    expect(AECreateDesc(typeChar, data, size, &text) == noErr);
    coerce_to_all(text);
    std::string path;
    if (platform::path_from_text({reinterpret_cast<const char *>(data), size}, &path) == noErr)
        expect(!path.empty() && path[0] == '/' && path.find('\0') == std::string::npos);
    AEDisposeDesc(&text);
}

// Each step is two bytes: an index, and the length of an item; 0 with it reads one instead.
void build_list(const std::uint8_t *data, std::size_t size)
{
    std::vector<std::string> plain;
    AEDescList list;
    expect(AECreateList(&list) == noErr);
    for (std::size_t i = 0; i + 1 < size; i += 2) {
        const std::int32_t index = data[i] % 32;
        const auto place = static_cast<std::size_t>(index);
        const bool there = index > 0 && place <= plain.size();
        if (data[i + 1] == 0) {
            AEDesc item;
            const OSErr error = AEGetNthDesc(&list, index, typeChar, nullptr, &item);
            expect(error == (there ? OSErr{noErr} : OSErr{errAEDescNotFound}));
            if (there)
                expect(std::string(*item.dataHandle, GetHandleSize(item.dataHandle)) ==
                       plain[place - 1]);
            AEDisposeDesc(&item);
            continue;
        }
        const std::string value(data[i + 1], static_cast<char>(i));
        AEDesc item;
        expect(AECreateDesc(typeChar, value.data(), value.size(), &item) == noErr);
        const OSErr error = AEPutDesc(&list, index, &item);
        AEDisposeDesc(&item);
        if (there)
            plain[place - 1] = value;
        else if (index == 0 || place == plain.size() + 1)
            plain.push_back(value);
        else
            expect(error == errAEDescNotFound);
        std::int32_t count = 0;
        expect(AECountItems(&list, &count) == noErr);
        expect(static_cast<std::size_t>(count) == plain.size());
    }
    AEDisposeDesc(&list);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    if (size == 0)
        return 0;
    constexpr void (*trials[])(const std::uint8_t *, std::size_t) = {try_list, try_event, try_text,
                                                                     build_list};
    trials[data[0] % 4](data + 1, size - 1);
    expect(platform::live_handles() == 0);
    return 0;
}
