#include "platform/events.h"

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

} // namespace

OSStatus RunAppModalLoopForWindow(WindowRef /*window*/)
{
    platform::modal_watch loop;
    platform::modal_watch *outer = innermost;
    innermost = &loop;
    platform::look_around(loop, false);
    while (!loop.ended) {
        const bool quiet =
            platform::poll_or_signal(nullptr, 0, platform::milliseconds_to_next_timer(1000));
        platform::look_around(loop, !quiet);
    }
    innermost = outer;
    return noErr;
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
    pollfd standard_input = {STDIN_FILENO, POLLIN, 0};
    const bool quiet = platform::poll_or_signal(&standard_input, typed_keys_wanted ? 1 : 0,
                                                platform::milliseconds_to_next_timer(longest));
    if (quiet && typed_keys_wanted && standard_input.revents != 0)
        read_typed_key();
    platform::fire_timers(!quiet);
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
