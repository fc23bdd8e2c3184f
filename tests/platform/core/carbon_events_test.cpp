#include "platform/core/carbon_events.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace {

constexpr OSType test_class = four_chars("test");
constexpr EventTypeSpec first_kind = {test_class, 1};

std::string asked; // the handlers that were, by their user data

OSStatus pass_on(EventHandlerCallRef /*call*/, EventRef /*event*/, void *name)
{
    asked += static_cast<const char *>(name);
    return eventNotHandledErr;
}

OSStatus take(EventHandlerCallRef /*call*/, EventRef /*event*/, void *name)
{
    asked += static_cast<const char *>(name);
    return noErr;
}

void install(EventTargetRef target, EventHandlerUPP handler, const char *name,
             const EventTypeSpec &kind = first_kind)
{
    ASSERT_EQ(InstallEventHandler(target, NewEventHandlerUPP(handler), 1, &kind,
                                  const_cast<char *>(name)),
              noErr);
}

OSStatus send(EventTargetRef target, std::uint32_t kind)
{
    asked.clear();
    OpaqueEvent event = {test_class, kind, {}};
    return platform::send_event(target, &event);
}

} // namespace

TEST(CarbonEvents, TheHandlerThatWasInstalledLastIsAskedFirst)
{
    OpaqueEventTarget target;
    install(&target, pass_on, "a");
    install(&target, pass_on, "b");
    EXPECT_EQ(send(&target, 1), eventNotHandledErr);
    EXPECT_EQ(asked, "ba");
}

TEST(CarbonEvents, WhoHandlesTheEventIsTheLastToSeeIt)
{
    OpaqueEventTarget target;
    install(&target, pass_on, "a");
    install(&target, take, "b");
    install(&target, pass_on, "c");
    EXPECT_EQ(send(&target, 1), noErr);
    EXPECT_EQ(asked, "cb");
}

TEST(CarbonEvents, AHandlerIsAskedOnlyForItsOwnEvents)
{
    OpaqueEventTarget target;
    install(&target, take, "a", {test_class, 2});
    install(&target, take, "b", {four_chars("else"), 1});
    EXPECT_EQ(send(&target, 1), eventNotHandledErr);
    EXPECT_EQ(asked, "");
    EXPECT_EQ(send(&target, 2), noErr);
    EXPECT_EQ(asked, "a");
}

TEST(CarbonEvents, AHandlerMayDisposeOfTheTarget)
{
    static std::unique_ptr<OpaqueEventTarget> target;
    target = std::make_unique<OpaqueEventTarget>();
    install(target.get(), pass_on, "a");
    const auto dispose = [](EventHandlerCallRef, EventRef, void *) {
        target.reset();
        return OSStatus{eventNotHandledErr};
    };
    install(target.get(), dispose, "");
    EXPECT_EQ(send(target.get(), 1), eventNotHandledErr);
    EXPECT_EQ(asked, "a");
}

TEST(CarbonEvents, NoTargetAndNoHandlerAreErrors)
{
    OpaqueEventTarget target;
    EXPECT_EQ(InstallEventHandler(nullptr, pass_on, 1, &first_kind, nullptr), paramErr);
    EXPECT_EQ(InstallEventHandler(&target, nullptr, 1, &first_kind, nullptr), paramErr);
    EXPECT_EQ(send(nullptr, 1), eventNotHandledErr);
}

TEST(CarbonEvents, ParametersAreBytesByTheirNames)
{
    OpaqueEvent event = {test_class, 7, {}};
    EXPECT_EQ(GetEventClass(&event), test_class);
    EXPECT_EQ(GetEventKind(&event), 7U);
    constexpr OSType name = four_chars("name");
    std::uint32_t value = 99;
    EXPECT_EQ(GetEventParameter(&event, name, sizeof value, &value), paramErr);
    EXPECT_EQ(value, 99U);

    const std::uint32_t given = 0x01020304;
    EXPECT_EQ(SetEventParameter(&event, name, sizeof given, &given), noErr);
    EXPECT_EQ(GetEventParameter(&event, name, sizeof value, &value), noErr);
    EXPECT_EQ(value, given);

    unsigned char bytes[8] = {0, 0, 0, 0, 5, 6, 7, 8};
    EXPECT_EQ(GetEventParameter(&event, name, sizeof bytes, bytes), noErr);
    EXPECT_EQ(bytes[4], 5); // no more than there is
    const std::uint16_t other = 1;
    EXPECT_EQ(SetEventParameter(&event, name, sizeof other, &other), noErr);
    std::uint16_t small = 0;
    EXPECT_EQ(GetEventParameter(&event, name, sizeof small, &small), noErr);
    EXPECT_EQ(small, 1);
}
