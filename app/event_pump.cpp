#include "app/event_pump.h"

#include "app/globals.h"
#include "app/menu_state.h"
#include "console/console_text.h"
#include "platform/apple_events.h"
#include "platform/menus.h"

EventRecord gEvent;
std::uint16_t myMask;

namespace {

constexpr std::uint32_t pump_sleep = 15; // ticks

} // namespace

Boolean main_event(std::uint16_t mask)
{
    if (WaitNextEvent(mask, &gEvent, pump_sleep, nullptr)) {
        DoEvent(&gEvent);
        return 1;
    }
    do_idle();
    return 0;
}

// What is chosen in the menu bar comes to the application as a command.
void DoEvent(const EventRecord *event)
{
    if (event->what == kHighLevelEvent)
        AEProcessAppleEvent(event);
    WindowRef window = nullptr;
    if (event->what != mouseDown || FindWindow(event->where, &window) != inMenuBar)
        return;
    ChangeMenus(FrontWindow());
    MenuSelect(event->where);
}

void do_idle()
{
    if (get_text == 1 && FrontWindow() == theConsole && inBackground == 0)
        TextIdle();
}
