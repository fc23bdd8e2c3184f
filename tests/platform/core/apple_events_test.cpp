#include "platform/apple_events.h"

#include "tests/support/descriptors.h"

#include <cstring>
#include <string>

namespace {

constexpr AEEventClass test_class = four_chars("Test");
constexpr AEKeyword destination = four_chars("dest");

// An event, disposed of with its test.
class AppleEvents : public descriptor_test {
protected:
    AppleEvents()
    {
        EXPECT_EQ(AECreateAppleEvent(test_class, four_chars("some"), &event), noErr);
    }
    ~AppleEvents() override
    {
        AEDisposeDesc(&event);
    }

    void put(AEKeyword keyword, const std::string &text)
    {
        EXPECT_EQ(AEPutParamPtr(&event, keyword, typeChar, text.data(), text.size()), noErr);
    }

    // The parameter as text, or "error N".
    std::string parameter(AEKeyword keyword) const
    {
        char text[100];
        std::size_t size = 0;
        const OSErr error =
            AEGetParamPtr(&event, keyword, typeChar, nullptr, text, sizeof text, &size);
        return error == noErr ? std::string(text, size) : "error " + std::to_string(error);
    }

    // The code that the attribute holds, or "error N".
    std::string attribute(AEKeyword keyword, DescType wanted_type) const
    {
        OSType code = 0;
        DescType type = 0;
        std::size_t size = 0;
        const OSErr error =
            AEGetAttributePtr(&event, keyword, typeWildCard, &type, &code, sizeof code, &size);
        if (error != noErr)
            return "error " + std::to_string(error);
        EXPECT_EQ(type, wanted_type);
        EXPECT_EQ(size, sizeof code);
        std::string text;
        for (int shift = 24; shift >= 0; shift -= 8)
            text += static_cast<char>(code >> shift & 0xFF);
        return text;
    }

    std::string missed() const
    {
        return attribute(keyMissedKeywordAttr, typeKeyword);
    }

    AppleEvent event = {};
};

} // namespace

// ---- parameters ----

TEST_F(AppleEvents, HoldTheirParameters)
{
    put(keyDirectObject, "direct");
    put(destination, "");
    EXPECT_EQ(event.descriptorType, typeAppleEvent);
    EXPECT_EQ(parameter(keyDirectObject), "direct");
    EXPECT_EQ(parameter(destination), "");
    EXPECT_EQ(parameter(four_chars("none")), "error -1701");
}

TEST_F(AppleEvents, AParameterIsReadWithItsTypeAndWholeSize)
{
    put(keyDirectObject, "0123456789");
    char text[10] = "#########";
    DescType type = 0;
    std::size_t size = 0;
    EXPECT_EQ(AEGetParamPtr(&event, keyDirectObject, typeWildCard, &type, text, 4, &size), noErr);
    EXPECT_EQ(type, typeChar);
    EXPECT_EQ(size, 10U);
    EXPECT_STREQ(text, "0123#####");
    EXPECT_EQ(AEGetParamPtr(&event, keyDirectObject, typeChar, nullptr, nullptr, 0, nullptr),
              noErr);
}

TEST_F(AppleEvents, AParameterCanBeGivenAnotherValue)
{
    put(keyDirectObject, "first");
    put(destination, "other");
    for (const char *value : {"a longer value", "", "x"}) {
        put(keyDirectObject, value);
        EXPECT_EQ(parameter(keyDirectObject), value);
        EXPECT_EQ(parameter(destination), "other");
    }
}

TEST_F(AppleEvents, AListIsAParameterLikeAnyOther)
{
    AEDescList list = list_of({"a", "b"});
    EXPECT_EQ(AEPutParamDesc(&event, keyDirectObject, &list), noErr);
    AEDisposeDesc(&list);
    ASSERT_EQ(AEGetParamDesc(&event, keyDirectObject, typeAEList, &list), noErr);
    EXPECT_EQ(item_of(list, 2), "b");
    AEDisposeDesc(&list);
    put(keyDirectObject, "alone");
    ASSERT_EQ(AEGetParamDesc(&event, keyDirectObject, typeAEList, &list), noErr);
    EXPECT_EQ(item_of(list, 1), "alone");
    AEDisposeDesc(&list);
    EXPECT_EQ(AEGetParamDesc(&event, destination, typeAEList, &list), errAEDescNotFound);
    EXPECT_EQ(list.dataHandle, nullptr);
}

TEST_F(AppleEvents, AnEventCanBeAParameterOfItself)
{
    put(destination, std::string(100000, 'x'));
    ASSERT_EQ(AEPutParamDesc(&event, keyDirectObject, &event), noErr);
    AppleEvent inner;
    ASSERT_EQ(AEGetParamDesc(&event, keyDirectObject, typeAppleEvent, &inner), noErr);
    std::size_t size = 0;
    EXPECT_EQ(AEGetParamPtr(&inner, destination, typeChar, nullptr, nullptr, 0, &size), noErr);
    EXPECT_EQ(size, 100000U);
    AEDisposeDesc(&inner);
}

TEST_F(AppleEvents, WhatIsNoEventHasNoParameters)
{
    AEDesc null = {typeNull, nullptr}; // a reply that nobody wants
    AEDesc text = text_of("some longer text, but no event");
    AEDesc cut;
    ASSERT_EQ(AECreateDesc(typeAppleEvent, "short", 5, &cut), noErr);
    for (AEDesc *none : {&null, &text, &cut}) {
        EXPECT_EQ(AEPutParamPtr(none, destination, typeChar, "x", 1), errAEWrongDataType);
        EXPECT_EQ(AEPutAttributePtr(none, destination, typeChar, "x", 1), errAEWrongDataType);
        EXPECT_EQ(AEGetParamPtr(none, destination, typeChar, nullptr, nullptr, 0, nullptr),
                  errAEWrongDataType);
        EXPECT_EQ(AEGetAttributePtr(none, keyEventIDAttr, typeType, nullptr, nullptr, 0, nullptr),
                  errAEWrongDataType);
        EXPECT_EQ(platform::handle_apple_event(none, &null), errAEEventNotHandled);
    }
    AEDisposeDesc(&text);
    AEDisposeDesc(&cut);
}

TEST_F(AppleEvents, ADamagedEventIsReadAsFarAsItGoes)
{
    put(keyDirectObject, "direct");
    put(destination, "destination");
    const std::string bytes = bytes_of(event);
    AEDisposeDesc(&event);
    ASSERT_EQ(AECreateDesc(typeAppleEvent, bytes.data(), bytes.size() - 1, &event), noErr);
    EXPECT_EQ(parameter(keyDirectObject), "direct");
    EXPECT_EQ(parameter(destination), "error -1703");
    EXPECT_EQ(missed(), "error -1703");
    EXPECT_EQ(AEPutParamPtr(&event, four_chars("more"), typeChar, "x", 1), errAEWrongDataType);
}

// ---- the missed keyword ----

TEST_F(AppleEvents, WithoutParametersNoneIsMissed)
{
    EXPECT_EQ(missed(), "error -1701");
}

TEST_F(AppleEvents, TheFirstUnreadParameterIsMissed)
{
    put(keyDirectObject, "direct");
    put(destination, "destination");
    EXPECT_EQ(missed(), "----");
    parameter(keyDirectObject);
    EXPECT_EQ(missed(), "dest");
    EXPECT_EQ(missed(), "dest"); // to ask is not to read
    parameter(destination);
    EXPECT_EQ(missed(), "error -1701");
    put(destination, "another one");
    EXPECT_EQ(missed(), "dest");
}

TEST_F(AppleEvents, AParameterOfTheWrongTypeHasBeenReadAllTheSame)
{
    put(keyDirectObject, "direct");
    std::int32_t number = 0;
    EXPECT_EQ(AEGetParamPtr(&event, keyDirectObject, typeLongInteger, nullptr, &number,
                            sizeof number, nullptr),
              errAECoercionFail);
    EXPECT_EQ(missed(), "error -1701");
}

TEST_F(AppleEvents, ReadingThroughACopyOfTheDescriptorCounts)
{
    put(keyDirectObject, "direct");
    const AppleEvent copy = event; // both have the same data
    char text[10];
    EXPECT_EQ(AEGetParamPtr(&copy, keyDirectObject, typeChar, nullptr, text, sizeof text, nullptr),
              noErr);
    EXPECT_EQ(missed(), "error -1701");
}

// ---- attributes ----

TEST_F(AppleEvents, TellTheirClassAndId)
{
    EXPECT_EQ(attribute(keyEventClassAttr, typeType), "Test");
    EXPECT_EQ(attribute(keyEventIDAttr, typeType), "some");
}

TEST_F(AppleEvents, AttributesAreNoParameters)
{
    EXPECT_EQ(AEPutAttributePtr(&event, keyAddressAttr, typeChar, "here", 4), noErr);
    EXPECT_EQ(missed(), "error -1701"); // they need not be read
    EXPECT_EQ(parameter(keyAddressAttr), "error -1701");
    put(keyAddressAttr, "a parameter of this name");
    char address[10] = "#########";
    std::size_t size = 0;
    EXPECT_EQ(AEGetAttributePtr(&event, keyAddressAttr, typeChar, nullptr, address, sizeof address,
                                &size),
              noErr);
    EXPECT_EQ(size, 4U);
    EXPECT_STREQ(address, "here#####");
    EXPECT_EQ(missed(), "addr");
    EXPECT_EQ(parameter(keyAddressAttr), "a parameter of this name");
    const std::int32_t run = 7;
    EXPECT_EQ(AEPutAttributePtr(&event, keyRunAttr, typeLongInteger, &run, sizeof run), noErr);
    std::int32_t found = 0;
    EXPECT_EQ(AEGetAttributePtr(&event, keyRunAttr, typeLongInteger, nullptr, &found, sizeof found,
                                nullptr),
              noErr);
    EXPECT_EQ(found, 7);
    EXPECT_EQ(attribute(four_chars("none"), typeChar), "error -1701");
}

TEST_F(AppleEvents, WhatTheEventItselfTellsCannotBePut)
{
    for (const AEKeyword own : {keyMissedKeywordAttr, keyEventClassAttr, keyEventIDAttr})
        EXPECT_EQ(AEPutAttributePtr(&event, own, typeType, "abcd", 4), paramErr);
    EXPECT_EQ(attribute(keyEventIDAttr, typeType), "some");
    EXPECT_EQ(missed(), "error -1701");
}

// ---- handlers ----

namespace {

std::uint32_t last_refcon;

OSErr answers(const AppleEvent *event, AppleEvent *reply, std::uint32_t refcon)
{
    last_refcon = refcon;
    char text[10];
    std::size_t size = 0;
    AEGetParamPtr(event, keyDirectObject, typeChar, nullptr, text, sizeof text, &size);
    return AEPutParamPtr(reply, keyErrorString, typeChar, text, size);
}

OSErr refuses(const AppleEvent *, AppleEvent *, std::uint32_t refcon)
{
    last_refcon = refcon;
    return -9;
}

} // namespace

TEST_F(AppleEvents, AHandlerGetsEventReplyAndReferenceConstant)
{
    ASSERT_EQ(AEInstallEventHandler(test_class, four_chars("some"), NewAEEventHandlerUPP(answers),
                                    4711, 0),
              noErr);
    put(keyDirectObject, "hello");
    AppleEvent reply;
    ASSERT_EQ(AECreateAppleEvent(kCoreEventClass, four_chars("ansr"), &reply), noErr);
    EXPECT_EQ(platform::handle_apple_event(&event, &reply), noErr);
    EXPECT_EQ(last_refcon, 4711U);
    char text[10] = "#########";
    EXPECT_EQ(AEGetParamPtr(&reply, keyErrorString, typeChar, nullptr, text, 9, nullptr), noErr);
    EXPECT_STREQ(text, "hello####");
    AEDisposeDesc(&reply);
}

TEST_F(AppleEvents, ALaterHandlerTakesTheEarlierOnesPlace)
{
    AppleEvent reply = {typeNull, nullptr};
    const AEEventID id = four_chars("some");
    ASSERT_EQ(AEInstallEventHandler(test_class, id, answers, 1, 0), noErr);
    ASSERT_EQ(AEInstallEventHandler(test_class, id, refuses, 2, 0), noErr);
    EXPECT_EQ(platform::handle_apple_event(&event, &reply), -9);
    EXPECT_EQ(last_refcon, 2U);
}

TEST_F(AppleEvents, OnlyTheClassAndIdTogetherFindAHandler)
{
    AppleEvent reply = {typeNull, nullptr};
    const AEEventID id = four_chars("othr");
    ASSERT_EQ(AEInstallEventHandler(test_class, id, refuses, 0, 0), noErr);
    ASSERT_EQ(AEInstallEventHandler(four_chars("Othr"), four_chars("some"), refuses, 0, 0), noErr);
    AEDisposeDesc(&event);
    ASSERT_EQ(AECreateAppleEvent(test_class, four_chars("none"), &event), noErr);
    EXPECT_EQ(platform::handle_apple_event(&event, &reply), errAEEventNotHandled);
}

TEST_F(AppleEvents, HandlersForAllProgramsAreRefused)
{
    EXPECT_EQ(AEInstallEventHandler(test_class, four_chars("syst"), refuses, 0, 1), paramErr);
    EXPECT_EQ(AEInstallEventHandler(test_class, four_chars("syst"), nullptr, 0, 0), paramErr);
    AEDisposeDesc(&event);
    ASSERT_EQ(AECreateAppleEvent(test_class, four_chars("syst"), &event), noErr);
    AppleEvent reply = {typeNull, nullptr};
    EXPECT_EQ(platform::handle_apple_event(&event, &reply), errAEEventNotHandled);
}

TEST_F(AppleEvents, InteractionIsAllowedToThisMachine)
{
    EXPECT_EQ(AESetInteractionAllowed(kAEInteractWithLocal), noErr);
    EXPECT_EQ(AESetInteractionAllowed(9), paramErr);
}
