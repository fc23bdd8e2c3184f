#include "platform/core/session_bus.h"

#include <cstring>
#include <string>
#include <systemd/sd-bus.h>

namespace {

constexpr char bus_name[] = "org.papermill.Papermill";
constexpr char object_path[] = "/org/papermill/Papermill";
constexpr char application_interface[] = "org.freedesktop.Application";
constexpr char token_key[] = "activation-token";
constexpr std::uint64_t patience = 5'000'000; // microseconds

sd_bus *bus;
platform::activate_callback activate_handler;
// Answered outside of the bus's own callback, which must not be entered again.
bool activation_asked;
std::string activation_token;

// Reads the token from the request's a{sv}.
int read_token(sd_bus_message *message, std::string *token)
{
    int result = sd_bus_message_enter_container(message, 'a', "{sv}");
    while (result > 0 && (result = sd_bus_message_enter_container(message, 'e', "sv")) > 0) {
        const char *key = nullptr;
        const char *value = nullptr;
        const char *signature = nullptr;
        result = sd_bus_message_read(message, "s", &key);
        if (result > 0)
            result = sd_bus_message_peek_type(message, nullptr, &signature);
        if (result > 0 && std::strcmp(key, token_key) == 0 && std::strcmp(signature, "s") == 0) {
            result = sd_bus_message_read(message, "v", "s", &value);
            if (result > 0)
                *token = value;
        } else if (result > 0) {
            result = sd_bus_message_skip(message, "v");
        }
        if (result >= 0)
            result = sd_bus_message_exit_container(message);
    }
    return result;
}

int activate(sd_bus_message *message, void * /*data*/, sd_bus_error * /*error*/)
{
    std::string token;
    const int result = read_token(message, &token);
    if (result < 0)
        return result;
    activation_asked = true;
    activation_token = token;
    return sd_bus_reply_method_return(message, "");
}

const sd_bus_vtable application_methods[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD_WITH_ARGS("Activate", SD_BUS_ARGS("a{sv}", platform_data), SD_BUS_NO_RESULT,
                            activate, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END,
};

void close_bus()
{
    bus = sd_bus_close_unref(bus);
}

} // namespace

platform::program_name platform::take_program_name()
{
    if (sd_bus_open_user(&bus) < 0) {
        bus = nullptr;
        return program_name::no_bus;
    }
    sd_bus_set_method_call_timeout(bus, patience);
    // The requests are there before the name is.
    int result = sd_bus_add_object_vtable(bus, nullptr, object_path, application_interface,
                                          application_methods, nullptr);
    if (result >= 0)
        result = sd_bus_request_name(bus, bus_name, 0);
    if (result == -EEXIST)
        return program_name::held;
    if (result >= 0)
        return program_name::taken;
    close_bus();
    return program_name::no_bus;
}

bool platform::raise_running_program(const char *token)
{
    sd_bus_message *call = nullptr;
    int result = sd_bus_message_new_method_call(bus, &call, bus_name, object_path,
                                                application_interface, "Activate");
    if (result >= 0 && token != nullptr)
        result = sd_bus_message_append(call, "a{sv}", 1, token_key, "s", token);
    else if (result >= 0)
        result = sd_bus_message_append(call, "a{sv}", 0);
    if (result >= 0)
        result = sd_bus_call(bus, call, patience, nullptr, nullptr);
    sd_bus_message_unref(call);
    return result >= 0;
}

void platform::on_activate_request(activate_callback handler)
{
    activate_handler = handler;
}

int platform::bus_descriptor()
{
    return bus == nullptr ? -1 : sd_bus_get_fd(bus);
}

bool platform::process_bus()
{
    if (bus == nullptr)
        return false;
    int result = 0;
    while ((result = sd_bus_process(bus, nullptr)) > 0)
        ;
    if (result < 0) {
        close_bus();
        return false;
    }
    if (activation_asked) {
        activation_asked = false;
        if (activate_handler != nullptr)
            activate_handler(activation_token.c_str());
    }
    return true;
}
