#include "app/commands.h"

#include "app/event_pump.h"
#include "app/globals.h"
#include "app/startup.h"
#include "platform/core/carbon_events.h"
#include "tests/support/spine_test.h"

namespace {

class Commands : public spine_test {
protected:
    Commands()
    {
        install_handlers();
    }

    static OSStatus send(OSType event_class, std::uint32_t kind)
    {
        OpaqueEvent event = {event_class, kind, {}};
        return platform::send_event(GetApplicationEventTarget(), &event);
    }
};

} // namespace

TEST_F(Commands, TheListHasItsFourEntriesInTheirOrder)
{
    const EventTypeSpec expected[] = {{four_chars("cmds"), 1},
                                      {four_chars("appl"), 1},
                                      {four_chars("appl"), 2},
                                      {four_chars("menu"), 8}};
    ASSERT_EQ(application_event_count, std::size(expected));
    for (std::size_t i = 0; i < application_event_count; ++i) {
        EXPECT_EQ(applicationEvents[i].eventClass, expected[i].eventClass) << i;
        EXPECT_EQ(applicationEvents[i].eventKind, expected[i].eventKind) << i;
    }
}

TEST_F(Commands, TheBackgroundFollowsTheActivationAndTheArrowComesBack)
{
    inBackground = 0;
    EXPECT_EQ(send(kEventClassApplication, kEventAppDeactivated), eventNotHandledErr);
    EXPECT_EQ(inBackground, 1);
    EXPECT_EQ(watched.count("SetCursor"), 0U);
    EXPECT_EQ(send(kEventClassApplication, kEventAppActivated), eventNotHandledErr);
    EXPECT_EQ(inBackground, 0);
    EXPECT_EQ(watched.count("SetCursor"), 1U);
}

TEST_F(Commands, EveryOtherEventIsLeftToThePlatform)
{
    inBackground = 7;
    EXPECT_EQ(send(kEventClassCommand, kEventCommandProcess), eventNotHandledErr);
    EXPECT_EQ(send(kEventClassMenu, kEventMenuEnableItems), eventNotHandledErr);
    EXPECT_EQ(inBackground, 7);
}

TEST_F(Commands, TheMaskIsThatOfEveryEvent)
{
    EXPECT_EQ(myMask, 0xFFFF);
}
