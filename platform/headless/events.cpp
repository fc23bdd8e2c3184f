#include "platform/events.h"

#include "platform/core/event_queue.h"
#include "platform/core/loop_timers.h"
#include "platform/core/modal_watch.h"
#include "platform/core/signals.h"
#include "platform/headless/state.h"
#include "platform/headless/terminal.h"
#include "platform/processes.h"

#include <algorithm>
#include <cerrno>
#include <unistd.h>

namespace {

platform::modal_watch *innermost; // the modal loop that turns
bool typed_keys_wanted;

constexpr int longest_wait = 1000; // milliseconds
constexpr char return_key = 13;
constexpr char line_feed = 10;

// A key pressed in the console window. What its handlers leave is shown, as a text engine does;
// a terminal has shown it already.
void press_key(char character)
{
    WindowRef window = FrontWindow();
    if (window == nullptr)
        return;
    const std::uint32_t modifiers = 0;
    OpaqueEvent event = {kEventClassKeyboard, kEventRawKeyDown, {}};
    SetEventParameter(&event, kEventParamKeyMacCharCodes, sizeof character, &character);
    SetEventParameter(&event, kEventParamKeyModifiers, sizeof modifiers, &modifiers);
    const OSStatus result = platform::send_event(GetWindowEventTarget(window), &event);
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

// The session bus, in a program that has been asked to serve it.
pollfd (*bus_to_poll)() = nullptr;
platform::callback bus_has_news;

// Waits for a signal, a request, and for a typed key if one is wanted, up to the next timer. True
// when a signal came; *key tells of a key.
bool wait_for_events(int longest, bool *key)
{
    pollfd descriptors[2] = {{STDIN_FILENO, POLLIN, 0}, {-1, 0, 0}};
    if (key == nullptr)
        descriptors[0].fd = -1;
    if (bus_to_poll != nullptr)
        descriptors[1] = bus_to_poll();
    const bool quiet =
        platform::poll_or_signal(descriptors, 2, platform::milliseconds_to_next_timer(longest));
    if (quiet && descriptors[1].fd >= 0 && descriptors[1].revents != 0)
        bus_has_news();
    if (key != nullptr)
        *key = quiet && descriptors[0].revents != 0;
    return !quiet;
}

} // namespace

OSStatus RunAppModalLoopForWindow(WindowRef /*window*/)
{
    platform::modal_watch loop;
    platform::modal_watch *outer = innermost;
    innermost = &loop;
    platform::look_around(loop, false);
    while (!loop.ended)
        platform::look_around(loop, wait_for_events(longest_wait, nullptr));
    innermost = outer;
    return noErr;
}

void RunApplicationEventLoop()
{
    platform::modal_watch loop;
    for (;;)
        platform::look_around(loop, wait_for_events(longest_wait, nullptr));
}

OSStatus QuitAppModalLoopForWindow(WindowRef /*window*/)
{
    if (innermost != nullptr)
        innermost->ended = true;
    return noErr;
}

Boolean WaitNextEvent(std::uint16_t /*mask*/, EventRecord *event, std::uint32_t sleep,
                      void * /*mouseRegion*/)
{
    *event = EventRecord{};
    event->when = TickCount();
    const int longest = static_cast<int>(std::min<std::uint32_t>(sleep, 3600) * 1000 / 60);
    bool key = false;
    const bool woken = wait_for_events(longest, typed_keys_wanted ? &key : nullptr);
    if (key)
        read_typed_key();
    platform::fire_timers(woken);
    platform::tell_interrupt();
    event->what = platform::requests_wait() ? kHighLevelEvent : nullEvent;
    return event->what == nullEvent ? 0 : 1;
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

void platform::listen_to(pollfd (*descriptor)(), callback news)
{
    bus_to_poll = descriptor;
    bus_has_news = news;
}
