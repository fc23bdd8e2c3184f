#include "platform/core/session_bus.h"

#include "platform/headless/terminal.h"
#include "platform/processes.h"
#include "tests/support/eventually.h"
#include "tests/support/own_bus.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <poll.h>

namespace {

int times_gone;

class SessionBus : public ::testing::Test {
protected:
    SessionBus()
    {
        for (const auto &[name, value] : bus.environment())
            value ? setenv(name.c_str(), value->c_str(), 1) : unsetenv(name.c_str());
        platform::prepare_for_tools();
        EXPECT_EQ(platform::take_program_name(), platform::program_name::taken);
        platform::keep_answering();
        platform::listen_to(platform::bus_poll, platform::read_bus);
    }

    // Lets the loop turn until that is so.
    template <typename test>
    static bool turn_until(test condition)
    {
        return eventually([&] {
            EventRecord event;
            WaitNextEvent(0xFFFF, &event, 6, nullptr);
            return condition();
        });
    }

    own_bus bus;
};

} // namespace

TEST_F(SessionBus, TellsWhenItHasBeenGoneForTooLong)
{
    platform::on_bus_gone(2, [] { ++times_gone; });
    bus.stop();
    ASSERT_TRUE(turn_until([] { return platform::bus_poll().fd < 0; }));
    EXPECT_STREQ(std::getenv("PAPERMILL_INSTANCE"), "");
    EXPECT_EQ(times_gone, 0); // it may come back
    EXPECT_TRUE(turn_until([] { return times_gone > 0; }));

    bus.start();
    EXPECT_TRUE(turn_until([] { return *std::getenv("PAPERMILL_INSTANCE") != 0; }));
    EXPECT_TRUE(bus.wait_for_owner("org.papermill.Papermill"));
    const int before = times_gone;
    bus.stop();
    ASSERT_TRUE(turn_until([] { return platform::bus_poll().fd < 0; }));
    EXPECT_EQ(times_gone, before); // counted anew
}
