// The session bus: the names under which the program is found, and the requests that reach it
// there. They wait in event_queue.h until a loop handles them.
#ifndef PAPERMILL_PLATFORM_CORE_SESSION_BUS_H
#define PAPERMILL_PLATFORM_CORE_SESSION_BUS_H

#include "platform/events.h"

#include <string>
#include <vector>

struct pollfd;

namespace platform {

enum class program_name {
    taken,  // by this process: it is the one that runs
    held,   // by another process
    no_bus, // there is no session bus, or it does not answer
};

// Connects to the session bus, offers the program's requests there, and takes the name
// org.papermill.Papermill. Once, after prepare_for_tools.
program_name take_program_name();

// Takes the name org.papermill.Papermill.pid<PID> as well, under which this process's own tools
// report, and looks after the connection from now on: when it ends, it is made anew as soon as the
// bus is back, and both names are asked for again. Nothing when there is no connection.
void keep_answering();

// Calls the handler again and again when the connection has ended and for so many seconds has not
// come back: for a program that nobody can reach in any other way.
void on_bus_gone(int seconds, callback handler);

// ---- for an event loop ----

// What to wait for; the descriptor is -1 when there is no connection at present.
pollfd bus_poll();

// Takes what has come in, so that it waits in the queue, and sends what could not be sent before.
void read_bus();

// Called when there is something else to wait for: the connection has ended or is there again, or
// an answer could not be sent at once.
void on_bus_changed(callback handler);

// ---- what another start of the program is asked for ----

// Called when somebody asks the program to come to the front, with the token that the desktop gave
// for that, or an empty text. Without a handler the program has no window, and says so.
using activate_callback = void (*)(const char *token);
void on_activate_request(activate_callback handler);

enum class raised {
    yes,       // the program that holds the name comes to the front
    no_window, // it has no window: a service
    silent,    // it does not answer within a few seconds
};

// Asks the program that holds the name to come to the front; `token` is what the desktop gave this
// process for that, or null.
raised raise_running_program(const char *token);

// Asks the program that holds the name to open the files (absolute paths), and waits until it has.
// noErr, or the error that it answered, with its text.
OSErr open_in_running_program(const std::vector<std::string> &files, std::string *text);

} // namespace platform

#endif
