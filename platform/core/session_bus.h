// The session bus: the name under which the one running desktop program is found, and the requests
// that reach it there.
#ifndef PAPERMILL_PLATFORM_CORE_SESSION_BUS_H
#define PAPERMILL_PLATFORM_CORE_SESSION_BUS_H

namespace platform {

enum class program_name {
    taken,  // by this process: it is the one that runs
    held,   // by another process
    no_bus, // there is no session bus, or it does not answer
};

// Connects to the session bus, offers the program's requests there, and takes the name
// org.papermill.Papermill. Once.
program_name take_program_name();

// Asks the program that holds the name to come to the front; `token` is what the desktop gave this
// process for that, or null. False when it does not answer within a few seconds.
bool raise_running_program(const char *token);

// What is called when another start of the program asks this one to come to the front, with the
// token that it was given, or an empty text.
using activate_callback = void (*)(const char *token);
void on_activate_request(activate_callback handler);

// The descriptor of the connection, for an event loop to wait on (for reading); -1 without one.
int bus_descriptor();

// Takes what has come in and calls the handlers. False when the connection has ended.
bool process_bus();

} // namespace platform

#endif
