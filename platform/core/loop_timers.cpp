#include "platform/core/loop_timers.h"

#include <algorithm>
#include <chrono>
#include <list>
#include <vector>

using steady = std::chrono::steady_clock;

struct OpaqueEventLoop {};

struct OpaqueEventLoopTimer {
    EventLoopTimerUPP callback;
    void *user_data;
    steady::time_point due;
    steady::duration interval;
};

namespace {

OpaqueEventLoop the_loop;
std::list<OpaqueEventLoopTimer> timers; // a list: callbacks may install and remove timers
platform::callback timers_changed;

void tell_change()
{
    if (timers_changed != nullptr)
        timers_changed();
}

} // namespace

EventLoopTimerUPP NewEventLoopTimerUPP(EventLoopTimerUPP callback)
{
    return callback;
}

EventLoopRef GetCurrentEventLoop()
{
    return &the_loop;
}

OSStatus InstallEventLoopTimer(EventLoopRef loop, double first, double interval,
                               EventLoopTimerUPP callback, void *userData, EventLoopTimerRef *timer)
{
    if (loop != &the_loop || callback == nullptr)
        return paramErr;
    const auto seconds = [](double value) {
        return std::chrono::duration_cast<steady::duration>(std::chrono::duration<double>(value));
    };
    timers.push_back({callback, userData, steady::now() + seconds(first), seconds(interval)});
    if (timer != nullptr)
        *timer = &timers.back();
    tell_change();
    return noErr;
}

OSStatus RemoveEventLoopTimer(EventLoopTimerRef timer)
{
    timers.remove_if([&](const auto &installed) { return &installed == timer; });
    return noErr;
}

void platform::fire_timers(bool all)
{
    const auto now = steady::now();
    std::vector<EventLoopTimerRef> due;
    for (auto &timer : timers) {
        if (all || timer.due <= now)
            due.push_back(&timer);
    }
    for (EventLoopTimerRef timer : due) {
        const bool installed = std::any_of(timers.begin(), timers.end(),
                                           [&](const auto &other) { return &other == timer; });
        if (!installed)
            continue;
        timer->due = now + timer->interval;
        timer->callback(timer, timer->user_data);
    }
    tell_change();
}

int platform::milliseconds_to_next_timer(int longest)
{
    int shortest = longest;
    const auto now = steady::now();
    for (const auto &timer : timers) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(timer.due - now).count() + 1;
        shortest = std::clamp(static_cast<int>(std::min<std::int64_t>(left, longest)), 0, shortest);
    }
    return shortest;
}

void platform::on_timers_changed(callback handler)
{
    timers_changed = handler;
}
