#include "platform/core/signals.h"

#include "platform/events.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <sys/eventfd.h>

namespace {

volatile std::sig_atomic_t signal_arrived;
volatile std::sig_atomic_t interrupting_signal;

platform::callback interrupt_callback;

using signal_handler = void (*)(int);
std::array<signal_handler, NSIG> handlers;

volatile std::sig_atomic_t wake_file = -1;
platform::signal_poll own_poll = platform::plain_poll_or_signal;

void on_signal(int number)
{
    signal_arrived = 1;
    if (wake_file >= 0) {
        const int error = errno;
        eventfd_write(wake_file, 1);
        errno = error;
    }
    if (number == SIGINT || number == SIGTERM || number == SIGHUP)
        interrupting_signal = number;
    const signal_handler handler = handlers[static_cast<std::size_t>(number)];
    if (handler != nullptr)
        handler(number);
}

void install(int number)
{
    struct sigaction action = {};
    action.sa_handler = on_signal;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    sigaction(number, &action, nullptr);
}

} // namespace

void platform::signal(int number, void (*handler)(int))
{
    if (number <= 0 || number >= NSIG)
        return;
    handlers[static_cast<std::size_t>(number)] = handler;
    install(number);
}

void platform::catch_signals()
{
    // A handler, unlike SIG_IGN, is not inherited by the tools that are started.
    // Of the last two it makes writes that fail.
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGCHLD, SIGPIPE, SIGXFSZ})
        install(number);
}

int platform::interrupt_signal()
{
    return interrupting_signal;
}

void platform::on_interrupt(callback handler)
{
    interrupt_callback = handler;
}

bool platform::tell_interrupt()
{
    if (interrupting_signal == 0)
        return false;
    if (interrupt_callback != nullptr)
        interrupt_callback();
    return true;
}

void platform::set_signal_poll(signal_poll poll)
{
    own_poll = poll == nullptr ? plain_poll_or_signal : poll;
}

int platform::signal_descriptor()
{
    if (wake_file < 0)
        wake_file = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    return wake_file;
}

void platform::drain_signal_descriptor()
{
    eventfd_t count = 0;
    eventfd_read(wake_file, &count);
}

bool platform::poll_or_signal(pollfd *descriptors, unsigned count, int milliseconds)
{
    return own_poll(descriptors, count, milliseconds);
}

bool platform::plain_poll_or_signal(pollfd *descriptors, unsigned count, int milliseconds)
{
    // Blocked from the look at the flag until ppoll waits: no signal slips in between.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    sigprocmask(SIG_SETMASK, &all, &before);
    bool quiet = signal_arrived == 0;
    if (quiet) {
        const timespec timeout = {milliseconds / 1000, (milliseconds % 1000) * 1000000L};
        quiet = ppoll(descriptors, count, &timeout, &before) >= 0 || errno != EINTR;
    }
    signal_arrived = 0;
    sigprocmask(SIG_SETMASK, &before, nullptr);
    return quiet;
}
