#include "platform/core/modal_watch.h"

#include "platform/core/event_queue.h"
#include "platform/core/loop_timers.h"
#include "platform/events.h"
#include "platform/processes.h"

#include <cerrno>
#include <sys/wait.h>

static platform::callback processes_gone_callback;

void platform::on_processes_gone(callback handler)
{
    processes_gone_callback = handler;
}

bool platform::reap_processes()
{
    bool some_ended = false;
    for (;;) {
        const pid_t ended = waitpid(-1, nullptr, WNOHANG);
        if (ended > 0) {
            some_ended = true;
            continue;
        }
        if (ended < 0 && errno == EINTR)
            continue;
        // What the user's command left behind may live on without being part of the run.
        return ended < 0 || (some_ended && run_processes().empty());
    }
}

void platform::look_around(modal_watch &loop, bool woken)
{
    const bool gone = reap_processes();
    const bool answered = answer_requests();
    // A report may have come in: its timers are not kept waiting.
    fire_timers(woken || answered);
    if (!loop.ended && tell_interrupt())
        fire_timers(true);
    if (!loop.ended && gone && !loop.gone_told && processes_gone_callback != nullptr) {
        loop.gone_told = true;
        processes_gone_callback();
        fire_timers(true);
    }
}
