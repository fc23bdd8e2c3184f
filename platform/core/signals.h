// Signals as the event loops see them.
#ifndef PAPERMILL_PLATFORM_CORE_SIGNALS_H
#define PAPERMILL_PLATFORM_CORE_SIGNALS_H

#include <poll.h>

namespace platform {

// Catches the signals that interrupt the program (SIGINT, SIGTERM, SIGHUP), the end of children,
// a reader that went away and a limit of file sizes. Called once, before start-up.
void catch_signals();

// Waits for the descriptors like poll(), at most `milliseconds`. False, at once, when a signal has
// been handled since the last call or is handled during this one.
bool poll_or_signal(pollfd *descriptors, unsigned count, int milliseconds);

} // namespace platform

#endif
