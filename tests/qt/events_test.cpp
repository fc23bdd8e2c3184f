#include "platform/events.h"

#include <gtest/gtest.h>

namespace {

int ticks;

void third_tick_ends(EventLoopTimerRef /*timer*/, void *window)
{
    if (++ticks == 3)
        QuitAppModalLoopForWindow(static_cast<WindowRef>(window));
}

} // namespace

TEST(QtEvents, ATimerFiresAgainAndAgainUntilItEndsTheModalLoop)
{
    ticks = 0;
    EventLoopTimerRef timer = nullptr;
    InstallEventLoopTimer(GetCurrentEventLoop(), 0.0, 0.02, third_tick_ends, nullptr, &timer);
    RunAppModalLoopForWindow(nullptr);
    RemoveEventLoopTimer(timer);
    EXPECT_EQ(ticks, 3);
}
