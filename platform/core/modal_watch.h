// What an event loop looks at between its waits: ended processes, requests, timers, an interrupt.
#ifndef PAPERMILL_PLATFORM_CORE_MODAL_WATCH_H
#define PAPERMILL_PLATFORM_CORE_MODAL_WATCH_H

namespace platform {

struct modal_watch {
    bool ended = false;     // the loop has been told to end
    bool gone_told = false; // it has been told that every process is gone
};

// Reaps what has ended, handles the requests that wait, fires the timers that are due (all of them
// when a signal has woken the loop or there was a request), and tells an interrupt and, once for
// each loop, that the last process is gone. Stops as soon as one of them has ended the loop.
void look_around(modal_watch &loop, bool woken);

// Reaps what has ended. True when that was the last process of the run.
bool reap_processes();

} // namespace platform

#endif
