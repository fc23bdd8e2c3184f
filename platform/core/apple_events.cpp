#include "platform/apple_events.h"

#include "platform/core/coercions.h"
#include "platform/core/records.h"

#include <map>
#include <string_view>
#include <utility>

namespace {

struct installed_handler {
    AEEventHandlerUPP handler;
    std::uint32_t refcon;
};

std::map<std::pair<AEEventClass, AEEventID>, installed_handler> &handlers()
{
    static std::map<std::pair<AEEventClass, AEEventID>, installed_handler> installed;
    return installed;
}

// The first record that `wanted` is true of.
template <typename test>
OSErr find_record(std::string_view data, std::size_t *place, platform::record *found, test wanted)
{
    *place = platform::first_place;
    OSErr error = platform::get_record(data, *place, found);
    while (error == noErr && !wanted(*found)) {
        *place = platform::place_after(*place, *found);
        error = platform::get_record(data, *place, found);
    }
    return error;
}

// The attribute of that name, or the parameter: an event may have both.
OSErr find_named(std::string_view data, AEKeyword keyword, bool attribute, std::size_t *place,
                 platform::record *found)
{
    return find_record(data, place, found, [&](const platform::record &each) {
        return each.keyword == keyword && (each.kind == platform::attribute) == attribute;
    });
}

// Puts the value in the place of an older one of the same name, or behind all others.
OSErr put(AppleEvent *event, AEKeyword keyword, platform::record_kind kind,
          platform::typed_data value)
{
    std::string_view data;
    OSErr error = platform::get_records(*event, typeAppleEvent, &data);
    if (error != noErr)
        return error;
    std::size_t place = 0;
    std::size_t old_length = 0;
    platform::record old = {};
    error = find_named(data, keyword, kind == platform::attribute, &place, &old);
    if (error == noErr)
        old_length = platform::place_after(place, old) - place;
    else if (error != errAEDescNotFound)
        return error;
    return platform::put_record(event, place, old_length, keyword, kind, value.type, value.bytes);
}

// The parameter's data. It counts as read from now on.
OSErr read_parameter(const AppleEvent &event, AEKeyword keyword, platform::typed_data *value)
{
    std::string_view data;
    std::size_t place = 0;
    platform::record found = {};
    OSErr error = platform::get_records(event, typeAppleEvent, &data);
    if (error == noErr)
        error = find_named(data, keyword, false, &place, &found);
    if (error != noErr)
        return error;
    platform::set_kind(event, place, platform::read_parameter);
    *value = {found.type, platform::record_data(data, place, found)};
    return noErr;
}

OSErr read_attribute(std::string_view data, AEKeyword keyword, platform::typed_data *value)
{
    std::size_t place = 0;
    platform::record found = {};
    const OSErr error = find_named(data, keyword, true, &place, &found);
    if (error == noErr)
        *value = {found.type, platform::record_data(data, place, found)};
    return error;
}

OSErr missed_keyword(std::string_view data, AEKeyword *keyword)
{
    std::size_t place = 0;
    platform::record found = {};
    const OSErr error = find_record(data, &place, &found, [](const platform::record &each) {
        return each.kind == platform::unread_parameter;
    });
    *keyword = found.keyword;
    return error;
}

std::string_view bytes_of(const AEKeyword &code)
{
    return {reinterpret_cast<const char *>(&code), sizeof code};
}

// An attribute that the event itself tells; it cannot be put.
bool is_own_attribute(AEKeyword keyword)
{
    return keyword == keyMissedKeywordAttr || keyword == keyEventClassAttr ||
           keyword == keyEventIDAttr;
}

} // namespace

// ---- events ----

OSErr AECreateAppleEvent(AEEventClass eventClass, AEEventID eventID, AppleEvent *result)
{
    const platform::record_head head = {eventClass, eventID, 0, 0};
    return AECreateDesc(typeAppleEvent, &head, sizeof head, result);
}

OSErr AEPutParamPtr(AppleEvent *event, AEKeyword keyword, DescType type, const void *data,
                    std::size_t size)
{
    return put(event, keyword, platform::unread_parameter,
               {type, {static_cast<const char *>(data), size}});
}

OSErr AEPutParamDesc(AppleEvent *event, AEKeyword keyword, const AEDesc *value)
{
    return put(event, keyword, platform::unread_parameter,
               {value->descriptorType, platform::data_of(*value)});
}

OSErr AEGetParamPtr(const AppleEvent *event, AEKeyword keyword, DescType type, DescType *actualType,
                    void *buffer, std::size_t limit, std::size_t *actualSize)
{
    platform::typed_data value = {};
    const OSErr error = read_parameter(*event, keyword, &value);
    return error == noErr
               ? platform::coerce_into(value, type, actualType, buffer, limit, actualSize)
               : error;
}

OSErr AEGetParamDesc(const AppleEvent *event, AEKeyword keyword, DescType type, AEDesc *result)
{
    *result = {typeNull, nullptr};
    platform::typed_data value = {};
    const OSErr error = read_parameter(*event, keyword, &value);
    return error == noErr ? platform::coerce(value, type, result) : error;
}

OSErr AEPutAttributePtr(AppleEvent *event, AEKeyword keyword, DescType type, const void *data,
                        std::size_t size)
{
    if (is_own_attribute(keyword))
        return paramErr;
    return put(event, keyword, platform::attribute,
               {type, {static_cast<const char *>(data), size}});
}

OSErr AEGetAttributePtr(const AppleEvent *event, AEKeyword keyword, DescType type,
                        DescType *actualType, void *buffer, std::size_t limit,
                        std::size_t *actualSize)
{
    std::string_view data;
    OSErr error = platform::get_records(*event, typeAppleEvent, &data);
    if (error != noErr)
        return error;
    AEKeyword code = 0;
    platform::typed_data value = {};
    if (keyword == keyMissedKeywordAttr) {
        error = missed_keyword(data, &code);
        value = {typeKeyword, bytes_of(code)};
    } else if (keyword == keyEventClassAttr) {
        code = platform::get_head(data).event_class;
        value = {typeType, bytes_of(code)};
    } else if (keyword == keyEventIDAttr) {
        code = platform::get_head(data).event_id;
        value = {typeType, bytes_of(code)};
    } else {
        error = read_attribute(data, keyword, &value);
    }
    return error == noErr
               ? platform::coerce_into(value, type, actualType, buffer, limit, actualSize)
               : error;
}

// ---- handlers ----

AEEventHandlerUPP NewAEEventHandlerUPP(AEEventHandlerUPP handler)
{
    return handler;
}

AEIdleUPP NewAEIdleUPP(AEIdleUPP routine)
{
    return routine;
}

OSErr AEInstallEventHandler(AEEventClass eventClass, AEEventID eventID, AEEventHandlerUPP handler,
                            std::uint32_t refcon, Boolean isSystemHandler)
{
    if (handler == nullptr || isSystemHandler)
        return paramErr;
    handlers()[{eventClass, eventID}] = {handler, refcon};
    return noErr;
}

OSErr AESetInteractionAllowed(std::uint8_t level)
{
    return level == kAEInteractWithLocal ? OSErr{noErr} : OSErr{paramErr};
}

OSErr platform::handle_apple_event(const AppleEvent *event, AppleEvent *reply)
{
    std::string_view data;
    if (get_records(*event, typeAppleEvent, &data) != noErr)
        return errAEEventNotHandled;
    const record_head head = get_head(data);
    const auto found = handlers().find({head.event_class, head.event_id});
    if (found == handlers().end())
        return errAEEventNotHandled;
    return found->second.handler(event, reply, found->second.refcon);
}
