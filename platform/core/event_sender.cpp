// AESend: events to other programs, over the session bus.
#include "platform/core/bus_values.h"
#include "platform/core/sd_bus.h"
#include "platform/core/signals.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>

namespace platform {

namespace {

using steady = std::chrono::steady_clock;

constexpr std::uint64_t patience = 5'000'000; // microseconds: for what the bus itself answers
constexpr std::uint64_t for_ever = UINT64_MAX;
constexpr std::uint64_t idle_interval = 250'000; // microseconds between calls of the idle routine
constexpr std::int32_t ticks_per_second = 60;

struct waited_reply {
    bool come = false;
    OSErr error = noErr;
    AppleEvent *reply;
};

OSErr error_of(const sd_bus_error *error)
{
    const auto is = [&](const char *name) {
        return std::strcmp(error->name,
                           ("org.freedesktop.DBus.Error." + std::string(name)).c_str()) == 0;
    };
    if (is("ServiceUnknown") || is("NameHasNoOwner") || is("UnknownObject") ||
        std::strstr(error->name, ".Spawn.") != nullptr)
        return procNotFound;
    return is("InvalidArgs") || is("UnknownMethod") ? OSErr{paramErr} : OSErr{connectionInvalid};
}

OSErr read_reply(sd_bus_message *message, AppleEvent *reply)
{
    std::int32_t error = 0;
    if (sd_bus_message_has_signature(message, "ia{sv}") == 0 ||
        sd_bus_message_read_basic(message, 'i', &error) < 0)
        return connectionInvalid;
    AECreateAppleEvent(kCoreEventClass, four_chars("ansr"), reply);
    if (!read_event_values(message, reply).empty())
        return connectionInvalid;
    return error == noErr
               ? OSErr{noErr}
               : AEPutParamPtr(reply, keyErrorNumber, typeLongInteger, &error, sizeof error);
}

int on_reply(sd_bus_message *message, void *data, sd_bus_error * /*error*/)
{
    auto *const waited = static_cast<waited_reply *>(data);
    waited->come = true;
    waited->error = sd_bus_message_is_method_error(message, nullptr) > 0
                        ? error_of(sd_bus_message_get_error(message))
                        : read_reply(message, waited->reply);
    return 1;
}

std::string address_of(const AppleEvent *event)
{
    char name[256];
    std::size_t size = 0;
    if (AEGetAttributePtr(event, keyAddressAttr, typeChar, nullptr, name, sizeof name, &size) !=
        noErr)
        return program_bus_name;
    return {name, std::min(size, sizeof name)};
}

OSType code_attribute(const AppleEvent *event, AEKeyword keyword)
{
    OSType code = 0;
    AEGetAttributePtr(event, keyword, typeWildCard, nullptr, &code, sizeof code, nullptr);
    return code;
}

// The message, or null when the event cannot travel.
sd_bus_message *message_of(sd_bus *bus, const AppleEvent *event, bool wants_reply)
{
    sd_bus_message *message = nullptr;
    int result = sd_bus_message_new_method_call(bus, &message, address_of(event).c_str(),
                                                program_object, events_interface, "Send");
    for (const AEKeyword keyword : {keyEventClassAttr, keyEventIDAttr}) {
        if (result >= 0)
            result = append_code(message, code_attribute(event, keyword));
    }
    if (result >= 0)
        result = append_event_values(message, event);
    if (result >= 0)
        result = sd_bus_message_append(message, "b", wants_reply ? 1 : 0);
    if (result >= 0)
        return message;
    sd_bus_message_unref(message);
    return nullptr;
}

// A message that nobody answers tells nothing of a receiver that is not there: the bus is asked.
OSErr send_without_reply(sd_bus *bus, sd_bus_message *message, const std::string &address)
{
    sd_bus_message *question = nullptr;
    int result = sd_bus_message_new_method_call(bus, &question, "org.freedesktop.DBus",
                                                "/org/freedesktop/DBus", "org.freedesktop.DBus",
                                                "GetNameOwner");
    if (result >= 0)
        result = sd_bus_message_append(question, "s", address.c_str());
    if (result >= 0)
        result = sd_bus_call(bus, question, patience, nullptr, nullptr);
    sd_bus_message_unref(question);
    if (result >= 0)
        result = sd_bus_message_set_expect_reply(message, 0);
    if (result >= 0)
        result = sd_bus_send(bus, message, nullptr);
    if (result >= 0)
        result = sd_bus_flush(bus);
    return result >= 0 ? OSErr{noErr} : OSErr{procNotFound};
}

OSErr send_and_wait(sd_bus *bus, sd_bus_message *message, std::int32_t ticks, AEIdleUPP idle,
                    AppleEvent *reply)
{
    waited_reply waited = {.reply = reply};
    sd_bus_slot *slot = nullptr;
    if (sd_bus_call_async(bus, &slot, message, on_reply, &waited, for_ever) < 0)
        return connectionInvalid;
    const auto deadline =
        steady::now() + std::chrono::milliseconds(std::int64_t{ticks} * 1000 / ticks_per_second);
    OSErr error = noErr;
    while (!waited.come && error == noErr) {
        const int result = sd_bus_process(bus, nullptr);
        EventRecord event = {};
        std::int32_t sleep = 0;
        if (result < 0)
            error = connectionInvalid;
        else if (result > 0)
            continue;
        else if (ticks != kNoTimeOut && steady::now() >= deadline)
            error = errAETimeout;
        else if (idle != nullptr && idle(&event, &sleep, nullptr))
            error = userCanceledErr;
        else
            sd_bus_wait(bus, idle_interval);
    }
    sd_bus_slot_unref(slot);
    return waited.come ? waited.error : error;
}

OSErr send(const AppleEvent *event, AppleEvent *reply, bool wants_reply, std::int32_t ticks,
           AEIdleUPP idle)
{
    sd_bus *const bus = open_session_bus(patience);
    if (bus == nullptr)
        return procNotFound;
    sd_bus_message *const message = message_of(bus, event, wants_reply);
    OSErr error = paramErr;
    if (message != nullptr)
        error = wants_reply ? send_and_wait(bus, message, ticks, idle, reply)
                            : send_without_reply(bus, message, address_of(event));
    sd_bus_message_unref(message);
    sd_bus_close_unref(bus);
    return error;
}

} // namespace

} // namespace platform

Boolean CheckEventQueueForUserCancel()
{
    return platform::interrupt_signal() != 0 ? 1 : 0;
}

OSErr AESend(const AppleEvent *event, AppleEvent *reply, AESendMode mode, std::int32_t ticks,
             AEIdleUPP idle)
{
    *reply = {typeNull, nullptr};
    const OSErr error = platform::send(event, reply, mode == kAEWaitReply, ticks, idle);
    if (error != noErr)
        AEDisposeDesc(reply);
    return error;
}
