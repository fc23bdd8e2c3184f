#include "platform/core/session_bus.h"

#include "platform/core/bus_values.h"
#include "platform/core/event_queue.h"
#include "platform/core/sd_bus.h"
#include "platform/processes.h"
#include "platform/resources.h"
#include "scripting/requests.h"
#include "scripting/terms.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <strings.h>
#include <unistd.h>

namespace platform {

namespace {

constexpr char methods_interface[] = "org.papermill.Papermill";
constexpr char application_interface[] = "org.freedesktop.Application";
constexpr char token_key[] = "activation-token";
constexpr char error_prefix[] = "org.papermill.Error.Number"; // the number without its sign
constexpr char invalid_arguments[] = "org.freedesktop.DBus.Error.InvalidArgs";
constexpr char not_supported[] = "org.freedesktop.DBus.Error.NotSupported";
constexpr char unreadable[] = "the request cannot be read";
constexpr std::uint64_t patience = 5'000'000; // microseconds
constexpr std::uint64_t for_ever = UINT64_MAX;
constexpr std::chrono::seconds patience_at_end(1);
constexpr double seconds_between_tries = 1.0;

sd_bus *bus;             // null: there is no connection
bool holds_program_name; // or has asked for it
callback changed_handler;
activate_callback activate_handler;
EventLoopTimerRef retry_timer;

using steady = std::chrono::steady_clock;
steady::time_point lost_at;
std::chrono::seconds gone_after;
callback gone_handler;

std::string instance_name()
{
    return std::string(program_bus_name) + ".pid" + std::to_string(getpid());
}

// ---- answers ----

// A message from which an answer is made when the request has been handled.
class kept_message {
public:
    explicit kept_message(sd_bus_message *message) : kept(sd_bus_message_ref(message)) {}
    kept_message(const kept_message &other) : kept(sd_bus_message_ref(other.kept)) {}
    kept_message &operator=(const kept_message &) = delete;
    ~kept_message()
    {
        sd_bus_message_unref(kept);
    }
    sd_bus_message *get() const
    {
        return kept;
    }

private:
    sd_bus_message *kept;
};

// The answers of a busy moment may have to wait until the bus takes them.
void mind_sending()
{
    if (bus != nullptr && (bus_poll().events & POLLOUT) != 0 && changed_handler != nullptr)
        changed_handler();
}

// What the handler says of its error, or a sentence for that.
std::string error_text(OSErr error, const AppleEvent &reply)
{
    char text[256];
    std::size_t size = 0;
    if (AEGetParamPtr(&reply, keyErrorString, typeChar, nullptr, text, sizeof text, &size) != noErr)
        return scripting_error_text(error);
    return {text, std::min(size, sizeof text)};
}

// The error, its number and its text as a D-Bus error.
void answer_error(sd_bus_message *message, OSErr error, const AppleEvent &reply)
{
    const std::string name = error_prefix + std::to_string(std::abs(error));
    sd_bus_reply_method_errorf(message, name.c_str(), "%s (%d)", error_text(error, reply).c_str(),
                               error);
}

// Of a request that was sent as an event: whatever its handler put into the reply.
void answer_event(sd_bus_message *message, OSErr error, const AppleEvent &reply)
{
    sd_bus_message *answer = nullptr;
    int result = sd_bus_message_new_method_return(message, &answer);
    if (result >= 0)
        result = sd_bus_message_append(answer, "i", std::int32_t{error});
    if (result >= 0)
        result = append_event_values(answer, &reply);
    if (result >= 0)
        sd_bus_send(nullptr, answer, nullptr);
    sd_bus_message_unref(answer);
    mind_sending();
}

// Of a method: the exit status, or nothing.
void answer_method(sd_bus_message *message, bool with_status, OSErr error, const AppleEvent &reply)
{
    std::int32_t status = 0;
    if (error != noErr)
        answer_error(message, error, reply);
    else if (with_status && AEGetParamPtr(&reply, keyDirectObject, typeLongInteger, nullptr,
                                          &status, sizeof status, nullptr) == noErr)
        sd_bus_reply_method_return(message, "i", status);
    else
        sd_bus_reply_method_return(message, "");
    mind_sending();
}

int refuse(sd_bus_message *message, const std::string &why)
{
    return sd_bus_reply_method_errorf(message, invalid_arguments, "%s", why.c_str());
}

// ---- requests ----

void come_to_front(const std::string &token)
{
    if (activate_handler != nullptr)
        activate_handler(token.c_str());
}

// The request to come to the front is the platform's to answer; the program hears of a start.
int take_activate_event(sd_bus_message *message, AppleEvent &event)
{
    AEDisposeDesc(&event);
    AECreateAppleEvent(kCoreEventClass, kAEOpenApplication, &event);
    queue_request(event, false,
                  [asked = kept_message(message)](OSErr error, const AppleEvent &reply) {
                      come_to_front("");
                      answer_event(asked.get(), error, reply);
                  });
    return 1;
}

int take_event(sd_bus_message *message)
{
    const char *event_class = nullptr;
    const char *event_id = nullptr;
    OSType codes[2];
    int wants_reply = 0;
    if (sd_bus_message_has_signature(message, "ssa{sv}b") == 0 ||
        sd_bus_message_read(message, "ss", &event_class, &event_id) < 0)
        return refuse(message, "Send takes class, ID, parameters and whether a reply is wanted: "
                               "ssa{sv}b");
    if (!read_code(event_class, &codes[0]) || !read_code(event_id, &codes[1]))
        return refuse(message, "class and ID have four bytes each");
    AppleEvent event;
    AECreateAppleEvent(codes[0], codes[1], &event);
    const std::string trouble = read_event_values(message, &event);
    if (!trouble.empty() || sd_bus_message_read(message, "b", &wants_reply) < 0) {
        AEDisposeDesc(&event);
        return refuse(message, trouble.empty() ? unreadable : trouble);
    }
    if (codes[0] == miscellaneous_class && codes[1] == activate_id)
        return take_activate_event(message, event);
    queue_request(event, wants_reply != 0,
                  [asked = kept_message(message)](OSErr error, const AppleEvent &reply) {
                      answer_event(asked.get(), error, reply);
                  });
    return 1;
}

std::string signature_of(const scripting_term &term)
{
    std::string signature;
    for (const scripting_parameter &parameter : term.parameters) {
        if (parameter.value == scripting_value::files)
            signature += "as";
        else if (parameter.value != scripting_value::none)
            signature += "s";
    }
    return signature;
}

void append_text(AEDescList *list, const char *text)
{
    AEDesc item = {typeNull, nullptr};
    AECreateDesc(typeChar, text, std::strlen(text), &item);
    AEPutDesc(list, 0, &item);
    AEDisposeDesc(&item);
}

// Reads the s or as that comes next into a value of the event's parameter. An optional text that is
// empty stands for none. A second value of a keyword makes a list of both.
int take_argument(sd_bus_message *message, const scripting_parameter &parameter, AppleEvent *event)
{
    const char *text = nullptr;
    AEDesc value = {typeNull, nullptr};
    int result = 0;
    if (parameter.value == scripting_value::files) {
        AECreateList(&value);
        result = sd_bus_message_enter_container(message, 'a', "s");
        while (result >= 0 && (result = sd_bus_message_read_basic(message, 's', &text)) > 0)
            append_text(&value, text);
        if (result >= 0)
            result = sd_bus_message_exit_container(message);
    } else {
        result = sd_bus_message_read_basic(message, 's', &text);
        if (result < 0 || (*text == 0 && !parameter.required))
            return result;
        AECreateDesc(typeChar, text, std::strlen(text), &value);
        AEDescList list;
        if (AEGetParamDesc(event, parameter.keyword, typeAEList, &list) == noErr) {
            append_text(&list, text);
            AEDisposeDesc(&value);
            value = list;
        }
    }
    AEPutParamDesc(event, parameter.keyword, &value);
    AEDisposeDesc(&value);
    return result;
}

int take_method(sd_bus_message *message, const scripting_term &term)
{
    const std::string signature = signature_of(term);
    if (sd_bus_message_has_signature(message, signature.c_str()) == 0)
        return refuse(message, std::string(term.method) + " takes " +
                                   (signature.empty() ? "nothing" : signature));
    AppleEvent event;
    AECreateAppleEvent(term.event_class, term.event_id, &event);
    for (const scripting_parameter &parameter : term.parameters) {
        if (parameter.value != scripting_value::none &&
            take_argument(message, parameter, &event) < 0) {
            AEDisposeDesc(&event);
            return refuse(message, unreadable);
        }
    }
    queue_request(event, true,
                  [asked = kept_message(message),
                   with_status = term.replies_status](OSErr error, const AppleEvent &reply) {
                      answer_method(asked.get(), with_status, error, reply);
                  });
    return 1;
}

int take_method(sd_bus_message *message)
{
    const char *const member = sd_bus_message_get_member(message);
    for (std::size_t i = 0; i < scripting_term_count; ++i) {
        const scripting_term &term = scripting_terms[i];
        if (term.method != nullptr && std::strcmp(term.method, member) == 0)
            return take_method(message, term);
    }
    return 0;
}

// Reads the token from a request's a{sv}.
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

int take_activate(sd_bus_message *message)
{
    if (sd_bus_message_has_signature(message, "a{sv}") == 0)
        return refuse(message, "Activate takes a{sv}");
    std::string token;
    if (read_token(message, &token) < 0)
        return refuse(message, unreadable);
    if (activate_handler == nullptr)
        return sd_bus_reply_method_errorf(message, not_supported, "the program has no window");
    AppleEvent event;
    AECreateAppleEvent(kCoreEventClass, kAEOpenApplication, &event);
    queue_request(event, true,
                  [asked = kept_message(message), token](OSErr error, const AppleEvent &reply) {
                      come_to_front(token);
                      answer_method(asked.get(), false, error, reply);
                  });
    return 1;
}

// The window comes to the front first: then the user sees what becomes of the files.
int take_open(sd_bus_message *message)
{
    if (sd_bus_message_has_signature(message, "asa{sv}") == 0)
        return refuse(message, "Open takes asa{sv}");
    const scripting_parameter files = {keyDirectObject, scripting_value::files, nullptr, nullptr,
                                       true};
    std::string token;
    AppleEvent event;
    AECreateAppleEvent(kCoreEventClass, kAEOpenDocuments, &event);
    if (take_argument(message, files, &event) < 0 || read_token(message, &token) < 0) {
        AEDisposeDesc(&event);
        return refuse(message, unreadable);
    }
    AppleEvent start;
    AECreateAppleEvent(kCoreEventClass, kAEOpenApplication, &start);
    queue_request(start, false, [token](OSErr, const AppleEvent &) { come_to_front(token); });
    queue_request(event, true,
                  [asked = kept_message(message)](OSErr error, const AppleEvent &reply) {
                      answer_method(asked.get(), false, error, reply);
                  });
    return 1;
}

int take_action(sd_bus_message *message)
{
    const char *action = nullptr;
    if (sd_bus_message_has_signature(message, "sava{sv}") == 0 ||
        sd_bus_message_read_basic(message, 's', &action) < 0)
        return refuse(message, "ActivateAction takes sava{sv}");
    if (std::strcmp(action, "quit") != 0)
        return refuse(message, "there is no action \"" + std::string(action) + "\"");
    AppleEvent event;
    AECreateAppleEvent(kCoreEventClass, kAEQuitApplication, &event);
    queue_request(event, true,
                  [asked = kept_message(message)](OSErr error, const AppleEvent &reply) {
                      answer_method(asked.get(), false, error, reply);
                  });
    return 1;
}

// What desktops ask of applications, as the required events.
int take_application_request(sd_bus_message *message)
{
    const std::string member = sd_bus_message_get_member(message);
    if (member == "Activate")
        return take_activate(message);
    if (member == "Open")
        return take_open(message);
    return member == "ActivateAction" ? take_action(message) : 0;
}

// What the object offers, as the file beside the program says it.
int describe(sd_bus_message *message)
{
    const std::string path = resources_folder() + "/" + program_bus_name + ".xml";
    std::string text;
    std::FILE *file = std::fopen(path.c_str(), "re");
    if (file != nullptr) {
        char chunk[4096];
        for (std::size_t n = 0; (n = std::fread(chunk, 1, sizeof chunk, file)) > 0;)
            text.append(chunk, n);
        std::fclose(file);
    }
    return sd_bus_reply_method_return(message, "s", text.c_str());
}

// Every message for the object. What it leaves (0) sd-bus answers, with an error.
int on_message(sd_bus_message *message, void * /*data*/, sd_bus_error * /*error*/)
{
    const char *const interface = sd_bus_message_get_interface(message);
    const auto calls = [&](const char *name) {
        return interface != nullptr && std::strcmp(interface, name) == 0;
    };
    if (sd_bus_message_is_method_call(message, events_interface, "Send") > 0)
        return take_event(message);
    if (sd_bus_message_is_method_call(message, "org.freedesktop.DBus.Introspectable",
                                      "Introspect") > 0)
        return describe(message);
    if (calls(methods_interface))
        return take_method(message);
    if (calls(application_interface))
        return take_application_request(message);
    return 0;
}

// ---- the connection ----

bool offer_requests()
{
    if (bus == nullptr)
        return false;
    if (sd_bus_add_object(bus, nullptr, program_object, on_message, nullptr) >= 0)
        return true;
    bus = sd_bus_close_unref(bus);
    return false;
}

// What could not be taken is not: the program works on without the name.
int on_program_name(sd_bus_message * /*answer*/, void * /*data*/, sd_bus_error * /*error*/)
{
    return 1;
}

// Only now are the tools told: a bus that does not answer would cost each of them seconds.
int on_instance_name(sd_bus_message *answer, void * /*data*/, sd_bus_error * /*error*/)
{
    if (sd_bus_message_is_method_error(answer, nullptr) <= 0)
        set_instance_name(instance_name().c_str());
    return 1;
}

// The program has other things to do than to wait for the bus.
void try_again(EventLoopTimerRef timer, void * /*data*/)
{
    bus = begin_session_bus();
    if (!offer_requests()) {
        if (gone_handler != nullptr && steady::now() - lost_at >= gone_after)
            gone_handler();
        return;
    }
    RemoveEventLoopTimer(timer);
    retry_timer = nullptr;
    sd_bus_request_name_async(bus, nullptr, instance_name().c_str(), 0, on_instance_name, nullptr);
    if (holds_program_name)
        sd_bus_request_name_async(bus, nullptr, program_bus_name, 0, on_program_name, nullptr);
    read_bus();
    if (changed_handler != nullptr)
        changed_handler();
}

void lose_connection()
{
    bus = sd_bus_close_unref(bus);
    set_instance_name(""); // the tools report by signal meanwhile
    if (retry_timer == nullptr) {
        lost_at = steady::now();
        InstallEventLoopTimer(GetCurrentEventLoop(), seconds_between_tries, seconds_between_tries,
                              try_again, nullptr, &retry_timer);
    }
    if (changed_handler != nullptr)
        changed_handler();
}

// Sends what still waits to be sent, if the bus takes it soon.
void send_the_rest()
{
    const auto deadline = steady::now() + patience_at_end;
    while (bus != nullptr && sd_bus_is_ready(bus) > 0 && (sd_bus_get_events(bus) & POLLOUT) != 0 &&
           steady::now() < deadline) {
        constexpr int longest_wait = 50; // milliseconds
        pollfd writable = {sd_bus_get_fd(bus), POLLOUT, 0};
        if (poll(&writable, 1, longest_wait) > 0 && sd_bus_process(bus, nullptr) < 0)
            return;
    }
}

void leave_bus()
{
    answer_at_exit();
    send_the_rest();
    bus = sd_bus_close_unref(bus);
}

// ---- asking the running program ----

sd_bus_message *new_request(const char *member)
{
    sd_bus_message *request = nullptr;
    if (sd_bus_message_new_method_call(bus, &request, program_bus_name, program_object,
                                       application_interface, member) < 0)
        return nullptr;
    sd_bus_message_set_auto_start(request, 0);
    return request;
}

int append_token(sd_bus_message *request, const char *token)
{
    return token == nullptr ? sd_bus_message_append(request, "a{sv}", 0)
                            : sd_bus_message_append(request, "a{sv}", 1, token_key, "s", token);
}

std::string uri_of(const std::string &path)
{
    std::string uri = "file://";
    for (const char c : path) {
        char code[4];
        std::snprintf(code, sizeof code, "%%%02X", static_cast<unsigned char>(c));
        const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                           (c >= '0' && c <= '9') || (c != 0 && std::strchr("/-._~", c) != nullptr);
        uri += plain ? std::string(1, c) : code;
    }
    return uri;
}

} // namespace

program_name take_program_name()
{
    bus = open_session_bus(patience);
    if (!offer_requests()) // before there is a name by which they find it
        return program_name::no_bus;
    std::atexit(leave_bus);
    const int result = sd_bus_request_name(bus, program_bus_name, 0);
    if (result == -EEXIST)
        return program_name::held;
    if (result >= 0) {
        holds_program_name = true;
        return program_name::taken;
    }
    bus = sd_bus_close_unref(bus);
    return program_name::no_bus;
}

void keep_answering()
{
    const std::string name = instance_name();
    if (bus != nullptr && sd_bus_request_name(bus, name.c_str(), 0) >= 0)
        set_instance_name(name.c_str());
    read_bus(); // what came in beside the answers that were waited for: nobody could poll for it
}

pollfd bus_poll()
{
    if (bus == nullptr)
        return {-1, 0, 0};
    const int events = sd_bus_get_events(bus);
    return {sd_bus_get_fd(bus), static_cast<short>(events < 0 ? POLLIN : events), 0};
}

void read_bus()
{
    int result = 0;
    while (bus != nullptr && (result = sd_bus_process(bus, nullptr)) > 0)
        ;
    if (bus != nullptr && result < 0)
        lose_connection();
}

void on_bus_gone(int seconds, callback handler)
{
    gone_after = std::chrono::seconds(seconds);
    gone_handler = handler;
}

void on_bus_changed(callback handler)
{
    changed_handler = handler;
}

void on_activate_request(activate_callback handler)
{
    activate_handler = handler;
}

raised raise_running_program(const char *token)
{
    sd_bus_message *request = new_request("Activate");
    sd_bus_error error = {};
    raised result = raised::silent;
    if (request != nullptr && append_token(request, token) >= 0 &&
        sd_bus_call(bus, request, patience, &error, nullptr) >= 0)
        result = raised::yes;
    else if (error.name != nullptr && std::strcmp(error.name, not_supported) == 0)
        result = raised::no_window;
    sd_bus_error_free(&error);
    sd_bus_message_unref(request);
    return result;
}

OSErr open_in_running_program(const std::vector<std::string> &files, std::string *text)
{
    sd_bus_message *request = new_request("Open");
    int result = request == nullptr ? -ENOMEM : sd_bus_message_open_container(request, 'a', "s");
    for (std::size_t i = 0; i < files.size() && result >= 0; ++i)
        result = sd_bus_message_append(request, "s", uri_of(files[i]).c_str());
    if (result >= 0)
        result = sd_bus_message_close_container(request);
    if (result >= 0)
        result = append_token(request, nullptr);
    sd_bus_error error = {};
    if (result >= 0)
        result = sd_bus_call(bus, request, for_ever, &error, nullptr);
    OSErr answer = result >= 0 ? OSErr{noErr} : OSErr{connectionInvalid};
    if (error.name != nullptr &&
        std::strncmp(error.name, error_prefix, sizeof error_prefix - 1) == 0)
        answer = static_cast<OSErr>(-std::atoi(error.name + sizeof error_prefix - 1));
    if (result < 0)
        *text = error.message == nullptr ? std::strerror(-result) : error.message;
    sd_bus_error_free(&error);
    sd_bus_message_unref(request);
    return answer;
}

} // namespace platform
