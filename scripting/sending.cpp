#include "scripting/sending.h"

#include <cstdlib>
#include <cstring>

namespace {

constexpr char known_name[] = "org.papermill.Papermill";

OSErr address(AppleEvent *event, const char *instance, bool reports)
{
    const char *name = instance == nullptr || *instance == 0 ? known_name : instance;
    OSErr error = AEPutAttributePtr(event, keyAddressAttr, typeChar, name, std::strlen(name));
    const char *serial = std::getenv("PAPERMILL_RUN");
    if (error == noErr && reports && instance != nullptr && serial != nullptr) {
        const auto run = static_cast<std::int32_t>(std::strtol(serial, nullptr, 10));
        error = AEPutAttributePtr(event, keyRunAttr, typeLongInteger, &run, sizeof run);
    }
    return error;
}

std::string text_parameter(const AppleEvent &reply, AEKeyword keyword)
{
    AEDesc text;
    std::string result;
    if (AEGetParamDesc(&reply, keyword, typeChar, &text) == noErr) {
        result.resize(AEGetDescDataSize(&text));
        AEGetDescData(&text, result.data(), result.size());
    }
    AEDisposeDesc(&text);
    return result;
}

std::int32_t number_parameter(const AppleEvent &reply, AEKeyword keyword)
{
    std::int32_t result = 0;
    AEGetParamPtr(&reply, keyword, typeLongInteger, nullptr, &result, sizeof result, nullptr);
    return result;
}

request_value direct_object(const AppleEvent &reply)
{
    AEDesc value;
    request_value result;
    if (AEGetParamDesc(&reply, keyDirectObject, typeWildCard, &value) == noErr) {
        if (value.descriptorType == typeLongInteger) {
            result.kind = request_value::number;
            result.number_value = number_parameter(reply, keyDirectObject);
        } else if (value.descriptorType == typeChar) {
            result.kind = request_value::text;
            result.bytes = text_parameter(reply, keyDirectObject);
        }
    }
    AEDisposeDesc(&value);
    return result;
}

} // namespace

request_reply send_request(const request &asked, AESendMode mode, std::int32_t ticks,
                           AEIdleUPP idle)
{
    const bool reports =
        asked.event_class == papermill_class && asked.event_id == four_chars("done");
    const char *instance = std::getenv("PAPERMILL_INSTANCE");
    request_reply result;
    AppleEvent event = {typeNull, nullptr};
    AppleEvent reply = {typeNull, nullptr};
    if (reports && instance != nullptr && *instance == 0)
        result.error = procNotFound;
    if (result.error == noErr)
        result.error = make_event(asked, &event);
    if (result.error == noErr)
        result.error = address(&event, instance, reports);
    if (result.error == noErr)
        result.error = AESend(&event, &reply, reports ? kAENoReply : mode, ticks, idle);
    if (result.error == noErr && reply.dataHandle != nullptr) {
        result.error = static_cast<OSErr>(number_parameter(reply, keyErrorNumber));
        result.error_text = text_parameter(reply, keyErrorString);
        result.result = direct_object(reply);
    }
    AEDisposeDesc(&reply);
    AEDisposeDesc(&event);
    if (result.error != noErr && result.error_text.empty())
        result.error_text = scripting_error_text(result.error);
    return result;
}
