#include "platform/events.h"

#include "platform/core/signals.h"
#include "platform/headless/state.h"
#include "platform/headless/terminal.h"
#include "platform/processes.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <list>
#include <sys/wait.h>
#include <unistd.h>

using steady = std::chrono::steady_clock;

struct OpaqueEvent {
    OSType event_class;
    std::uint32_t kind;
    char character;
    std::uint32_t modifiers;
};

struct OpaqueEventHandlerCall {};

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
bool modal_loop_ended;
bool typed_keys_wanted;
platform::callback processes_gone_callback;

constexpr char return_key = 13;
constexpr char line_feed = 10;

void fire_timers(bool all)
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
}

int milliseconds_to_next_timer(int longest)
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

// Reaps what has ended. True when that was the last process of the run.
bool reap_processes()
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
        return ended < 0 || (some_ended && platform::run_processes().empty());
    }
}

OSStatus dispatch(EventTargetRef target, OpaqueEvent *event)
{
    OpaqueEventHandlerCall call;
    for (auto installed = target->handlers.rbegin(); installed != target->handlers.rend();
         ++installed) {
        const bool listed = std::any_of(
            installed->events.begin(), installed->events.end(), [&](const EventTypeSpec &type) {
                return type.eventClass == event->event_class && type.eventKind == event->kind;
            });
        if (!listed)
            continue;
        const OSStatus result = installed->handler(&call, event, installed->user_data);
        if (result != eventNotHandledErr)
            return result;
    }
    return eventNotHandledErr;
}

// A key pressed in the console window. What its handlers leave is shown, as a text engine does;
// a terminal has shown it already.
void press_key(char character)
{
    WindowRef window = FrontWindow();
    if (window == nullptr)
        return;
    OpaqueEvent event = {kEventClassKeyboard, kEventRawKeyDown, character, 0};
    const OSStatus result = dispatch(GetWindowEventTarget(window), &event);
    if (result == eventNotHandledErr && isatty(STDIN_FILENO) == 0)
        platform::show_text(&character, 1);
}

void read_typed_key()
{
    char character = 0;
    const ssize_t n = read(STDIN_FILENO, &character, 1);
    if (n < 0 && errno == EINTR)
        return;
    // The end of the input ends the line, or whoever reads it would wait for ever.
    if (n <= 0 || character == line_feed)
        character = return_key;
    press_key(character);
}

} // namespace

EventHandlerUPP NewEventHandlerUPP(EventHandlerUPP handler)
{
    return handler;
}

OSStatus InstallEventHandler(EventTargetRef target, EventHandlerUPP handler, std::size_t count,
                             const EventTypeSpec *list, void *userData)
{
    if (target == nullptr || handler == nullptr)
        return paramErr;
    target->handlers.push_back({handler, {list, list + count}, userData});
    return noErr;
}

OSType GetEventClass(EventRef event)
{
    return event->event_class;
}

std::uint32_t GetEventKind(EventRef event)
{
    return event->kind;
}

OSStatus GetEventParameter(EventRef event, OSType name, std::size_t size, void *buffer)
{
    const void *value = nullptr;
    std::size_t value_size = 0;
    if (event->event_class == kEventClassKeyboard && name == kEventParamKeyMacCharCodes) {
        value = &event->character;
        value_size = sizeof event->character;
    } else if (event->event_class == kEventClassKeyboard && name == kEventParamKeyModifiers) {
        value = &event->modifiers;
        value_size = sizeof event->modifiers;
    } else {
        return paramErr;
    }
    std::memcpy(buffer, value, std::min(size, value_size));
    return noErr;
}

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
    return noErr;
}

OSStatus RemoveEventLoopTimer(EventLoopTimerRef timer)
{
    timers.remove_if([&](const auto &installed) { return &installed == timer; });
    return noErr;
}

OSStatus RunAppModalLoopForWindow(WindowRef /*window*/)
{
    modal_loop_ended = false;
    bool gone = reap_processes();
    bool gone_told = false;
    fire_timers(false);
    while (!modal_loop_ended) {
        if (platform::tell_interrupt()) {
            fire_timers(true);
        } else if (gone && !gone_told && processes_gone_callback != nullptr) {
            gone_told = true;
            processes_gone_callback();
            fire_timers(true);
        } else {
            const bool quiet =
                platform::poll_or_signal(nullptr, 0, milliseconds_to_next_timer(1000));
            gone = reap_processes();
            // A report may have come in: its timers are not kept waiting.
            fire_timers(!quiet);
        }
    }
    return noErr;
}

OSStatus QuitAppModalLoopForWindow(WindowRef /*window*/)
{
    modal_loop_ended = true;
    return noErr;
}

Boolean WaitNextEvent(std::uint16_t /*mask*/, EventRecord *event, std::uint32_t sleep,
                      void * /*mouseRegion*/)
{
    *event = EventRecord{};
    event->when = TickCount();
    const int longest = static_cast<int>(std::min<std::uint32_t>(sleep, 3600) * 1000 / 60);
    pollfd standard_input = {STDIN_FILENO, POLLIN, 0};
    const bool quiet = platform::poll_or_signal(&standard_input, typed_keys_wanted ? 1 : 0,
                                                milliseconds_to_next_timer(longest));
    if (quiet && typed_keys_wanted && standard_input.revents != 0)
        read_typed_key();
    fire_timers(!quiet);
    platform::tell_interrupt();
    return 0;
}

std::int16_t FindWindow(Point /*where*/, WindowRef *window)
{
    *window = nullptr;
    return 0;
}

void platform::take_typed_keys(bool take)
{
    typed_keys_wanted = take;
}

void platform::on_processes_gone(callback handler)
{
    processes_gone_callback = handler;
}
