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

// How poll_or_signal waits instead, in a program whose windows have to be painted meanwhile; null
// restores its own way, which is plain_poll_or_signal.
using signal_poll = bool (*)(pollfd *descriptors, unsigned count, int milliseconds);
void set_signal_poll(signal_poll poll);
bool plain_poll_or_signal(pollfd *descriptors, unsigned count, int milliseconds);

// A descriptor that can be read from the moment at which a signal has been handled until it is
// drained; for loops that are not poll_or_signal's. -1 when none can be made.
int signal_descriptor();
void drain_signal_descriptor();

} // namespace platform

#endif
