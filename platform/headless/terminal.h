// What the terminal program asks of its platform beside the classic operations.
#ifndef PAPERMILL_PLATFORM_HEADLESS_TERMINAL_H
#define PAPERMILL_PLATFORM_HEADLESS_TERMINAL_H

#include "platform/events.h"

#include <cstddef>

struct pollfd;

namespace platform {

// Where the console's text goes; the default writer prints it on standard output, each carriage
// return as a line feed. Null restores the default.
using text_writer = void (*)(const char *bytes, std::size_t size);
void set_text_writer(text_writer writer);

// The default writer.
void print_text(const char *bytes, std::size_t size);

// The same on another descriptor. Control characters are shown as ^X when it is a terminal, so that
// no file can steer it.
void print_text_on(int file, const char *bytes, std::size_t size);

// From now on the loops also wait for what descriptor() tells, and call news() when it is there.
// The session bus is handed in like this: most calls of the program do without it.
void listen_to(pollfd (*descriptor)(), callback news);

} // namespace platform

#endif
