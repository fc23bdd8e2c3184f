#include "console/console_io.h"

#include "app/globals.h"
#include "console/console_text.h"
#include "console/console_window.h"
#include "platform/text_engine.h"
#include "tests/support/spine_test.h"

#include <string>
#include <unistd.h>

namespace {

using ConsoleOutput = spine_test;

// Keys are typed into a pipe that stands in the place of standard input; the console window hands
// them to whoever reads.
class ConsoleInput : public spine_test {
protected:
    ConsoleInput() : old_input(dup(STDIN_FILENO))
    {
        char title[32] = "console";
        theConsole = SetUpTextWindow(title);
        int ends[2] = {-1, -1};
        EXPECT_EQ(pipe(ends), 0);
        dup2(ends[0], STDIN_FILENO);
        close(ends[0]);
        keyboard = ends[1];
    }

    ~ConsoleInput() override
    {
        end_of_input();
        dup2(old_input, STDIN_FILENO);
        close(old_input);
    }

    void type(const std::string &keys) const
    {
        EXPECT_EQ(write(keyboard, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
    }

    void end_of_input()
    {
        if (keyboard >= 0)
            close(keyboard);
        keyboard = -1;
    }

    // What a read of n characters delivers. It must not write behind that.
    static std::string read_line(std::int32_t n)
    {
        std::string buffer(4096, '#');
        const std::int32_t length = ReadCharsFromConsole(buffer.data(), n);
        EXPECT_EQ(buffer.find_first_not_of('#', static_cast<std::size_t>(length)),
                  std::string::npos);
        return buffer.substr(0, static_cast<std::size_t>(length));
    }

private:
    int old_input;
    int keyboard = -1;
};

std::string numbered(std::size_t size)
{
    std::string result;
    while (result.size() < size)
        result += std::to_string(result.size()) + " ";
    result.resize(size);
    return result;
}

} // namespace

// ---- output ----

TEST_F(ConsoleOutput, LineFeedsOfAMessageBecomeCarriageReturns)
{
    EXPECT_EQ(text_printf("a\nb\n"), 4);
    EXPECT_EQ(console.text(), "a\rb\r");
}

TEST_F(ConsoleOutput, MessagesAreFormattedLikePrintf)
{
    EXPECT_EQ(text_printf("%s: %d%% of %.1f\n", "file\nname", 50, 1.5), 22);
    EXPECT_EQ(console.text(), "file\rname: 50% of 1.5\r");
}

TEST_F(ConsoleOutput, AnEmptyMessageAppendsNothing)
{
    EXPECT_EQ(text_printf("%s", ""), 0);
    EXPECT_EQ(console.text(), "");
}

TEST_F(ConsoleOutput, MessagesAtTheBuffersSizeComeWhole)
{
    for (const std::size_t size : {2046U, 2047U, 2048U, 2049U, 8191U, 8192U, 8193U, 1048576U}) {
        console.clear();
        std::string message = numbered(size - 1) + "\n";
        EXPECT_EQ(text_printf("%s", message.c_str()), static_cast<std::int32_t>(size));
        message.back() = '\r';
        EXPECT_EQ(console.text(), message) << size;
    }
}

TEST_F(ConsoleOutput, AnAppendOfMoreThanThePrivateBufferGoesInSlices)
{
    const std::string bytes = numbered(3 * append_size + 5);
    EXPECT_EQ(WriteCharsToConsole(bytes.data(), static_cast<std::int32_t>(bytes.size())),
              3 * append_size + 5);
    EXPECT_EQ(console.text(), bytes);
}

TEST_F(ConsoleOutput, BehindANulComesWhatEarlierCallsLeft)
{
    WriteCharsToConsole("VWXYZ", 5);
    console.clear();
    EXPECT_EQ(WriteCharsToConsole("ab\0cd", 5), 5);
    EXPECT_EQ(console.text(), "abXYZ");
}

TEST_F(ConsoleOutput, BehindANulEverySliceComesFromTheOldBuffer)
{
    const std::string old = numbered(append_size);
    WriteCharsToConsole(old.data(), append_size);
    console.clear();

    std::string bytes(2 * append_size + 100, 'n');
    bytes[append_size + 10] = 0;
    EXPECT_EQ(WriteCharsToConsole(bytes.data(), static_cast<std::int32_t>(bytes.size())),
              2 * append_size + 100);
    // The first slice holds no NUL. The second one copies ten bytes over the same ten bytes, and
    // from then on the buffer stays as it is.
    const std::string first(append_size, 'n');
    EXPECT_EQ(console.text(), first + first + first.substr(0, 100));
}

TEST_F(ConsoleOutput, ANulInTheFirstSliceShowsTheOldBufferInAllSlices)
{
    const std::string old = numbered(append_size);
    WriteCharsToConsole(old.data(), append_size);
    console.clear();

    std::string bytes(append_size + 20, 'n');
    bytes[3] = 0;
    WriteCharsToConsole(bytes.data(), append_size + 20);
    const std::string left = "nnn" + old.substr(3);
    EXPECT_EQ(console.text(), left + left.substr(0, 20));
}

TEST_F(ConsoleOutput, TheErrorStreamHasAPrivateBufferOfItsOwn)
{
    WriteCharsToConsole("console", 7);
    EXPECT_EQ(WriteCharsToErrorConsole("errors\n", 7), 7);
    EXPECT_EQ(console.text(), "consoleerrors\r");
    console.clear();
    WriteCharsToErrorConsole("e\0......", 7);
    WriteCharsToConsole("c\0......", 7);
    EXPECT_EQ(console.text(), "errors\rconsole");
}

TEST_F(ConsoleOutput, PutTextInfoConvertsNothing)
{
    EXPECT_EQ(PutTextInfo("a\nb\0c", 5), noErr);
    EXPECT_EQ(console.text(), std::string("a\nb\0c", 5));
}

TEST_F(ConsoleOutput, NothingIsAppendedForNoBytes)
{
    EXPECT_EQ(WriteCharsToConsole("abc", 0), 0);
    EXPECT_EQ(PutTextInfo("abc", 0), noErr);
    EXPECT_EQ(console.text(), "");
}

TEST_F(ConsoleOutput, FlushRedrawsTheText)
{
    FlushOutput();
    EXPECT_EQ(watched.order(), "TXNForceUpdate");
}

TEST_F(ConsoleOutput, ClearSelectsAllAndDeletesIt)
{
    ClearTextWindow();
    EXPECT_EQ(watched.order(), "TXNSelectAll TXNClear");
}

// ---- the console device ----

TEST_F(ConsoleOutput, OnlyTheThreeStandardStreamsHaveADeviceName)
{
    for (const int fd : {0, 1, 2})
        EXPECT_STREQ(__ttyname(fd), "null device");
    for (const int fd : {3, -1, 256, -2147483647})
        EXPECT_EQ(__ttyname(fd), nullptr);
}

TEST_F(ConsoleOutput, ThereIsNothingToInstallForTheDevice)
{
    EXPECT_EQ(InstallConsole(1), 0);
    RemoveConsole();
    EXPECT_EQ(console.text(), "");
}

// ---- input ----

TEST_F(ConsoleInput, ALineIsDeliveredWithItsEndAsALineFeed)
{
    type("hi\r");
    EXPECT_EQ(read_line(100), "hi\n");
}

TEST_F(ConsoleInput, ALineFeedEndsALineToo)
{
    type("hi\n");
    EXPECT_EQ(read_line(100), "hi\n");
}

TEST_F(ConsoleInput, AReadOfNCharactersEndsWithTheNth)
{
    type("abc");
    EXPECT_EQ(read_line(2), "ab");
    EXPECT_EQ(read_line(1), "c");
}

TEST_F(ConsoleInput, WhatIsTypedIsShown)
{
    type("hi\r");
    read_line(100);
    EXPECT_EQ(console.text(), "hi\r");
}

TEST_F(ConsoleInput, BackspaceTakesTheLastCharacterBack)
{
    type("hallo\b\b\b\bi\r");
    EXPECT_EQ(read_line(100), "hi\n");
}

TEST_F(ConsoleInput, BackspaceWithNothingTypedIsIgnored)
{
    type("\b\bx\b\b\by\r");
    EXPECT_EQ(read_line(100), "y\n");
}

TEST_F(ConsoleInput, BackspaceCountsNothingTowardsTheLength)
{
    type("ab\bc\bde");
    EXPECT_EQ(read_line(3), "ade");
}

TEST_F(ConsoleInput, EscapeAndArrowsAreNeverStored)
{
    type("a\x1b\x1c\x1d\x1e\x1f"
         "b\x1a\r");
    EXPECT_EQ(read_line(100), "ab\x1a\n");
}

TEST_F(ConsoleInput, TheEnterKeyEndsTheLineAsTheByteThatItIs)
{
    type("hi\x03");
    EXPECT_EQ(read_line(100), "hi\x03");
}

TEST_F(ConsoleInput, BytesAbove127AreTextNotKeys)
{
    type("\xC3\xA9\xFF\r");
    EXPECT_EQ(read_line(100), "\xC3\xA9\xFF\n");
}

TEST_F(ConsoleInput, TheEndOfTheInputEndsTheLine)
{
    type("half");
    end_of_input();
    EXPECT_EQ(read_line(100), "half\n");
    EXPECT_EQ(read_line(100), "\n");
}

TEST_F(ConsoleInput, AReadOfMoreThanTheBufferEndsWhenThatIsFull)
{
    type(std::string(3000, 'x') + "\r");
    EXPECT_EQ(read_line(4000), std::string(typed_size - 1, 'x'));
}

TEST_F(ConsoleInput, AReadOfNothingEndsAtOnce)
{
    EXPECT_EQ(read_line(0), "");
    EXPECT_EQ(read_line(-1), "");
}

TEST_F(ConsoleInput, TheCaretIsLiveOnlyWhileAReadIsPending)
{
    type("x");
    read_line(1);
    EXPECT_EQ(get_text, 0);
    type("y");
    EXPECT_EQ(console.text(), "x");
    EXPECT_EQ(watched.event_mask, 0xFFFF);
    EXPECT_EQ(watched.event_sleep, 15U);
    // The key that came afterwards waits for the next read.
    EXPECT_EQ(read_line(1), "y");
}

TEST_F(ConsoleInput, KeysOutsideAReadAreForgotten)
{
    TextKey1('a');
    type("b\r");
    EXPECT_EQ(read_line(100), "b\n");
    TextKey1('c');
    type("d\r");
    EXPECT_EQ(read_line(100), "d\n");
}

TEST_F(ConsoleInput, AStringCanBeFedAsIfTyped)
{
    // From a timer: the read is pending then.
    EventLoopTimerRef timer = nullptr;
    InstallEventLoopTimer(
        GetCurrentEventLoop(), 0.0, 3600.0,
        [](EventLoopTimerRef, void *) { TypeString("typed\n"); }, nullptr, &timer);
    EXPECT_EQ(read_line(100), "typed\n");
    RemoveEventLoopTimer(timer);
    EXPECT_EQ(console.text(), "typed\n"); // shown as it is
}

TEST_F(ConsoleInput, AFedStringWithoutALineFeedLeavesTheReadPending)
{
    EventLoopTimerRef timer = nullptr;
    InstallEventLoopTimer(
        GetCurrentEventLoop(), 0.0, 3600.0, [](EventLoopTimerRef, void *) { TypeString("fed "); },
        nullptr, &timer);
    type("and typed\r");
    const std::string line = read_line(100);
    RemoveEventLoopTimer(timer);
    EXPECT_TRUE(line == "fed and typed\n" || line == "afed nd typed\n") << line;
}

TEST_F(ConsoleInput, AFedStringGivesNoMoreThanWasAskedFor)
{
    EventLoopTimerRef timer = nullptr;
    InstallEventLoopTimer(
        GetCurrentEventLoop(), 0.0, 3600.0,
        [](EventLoopTimerRef, void *) {
            TypeString((std::string(3000, 'z') + "\n").c_str());
            TextKey1('\r');
        },
        nullptr, &timer);
    EXPECT_EQ(read_line(100), std::string(100, 'z'));
    RemoveEventLoopTimer(timer);
}

TEST_F(ConsoleInput, ASingleCharacterIsShownOnly)
{
    TypeChar('q');
    TextKey('r', 0);
    EXPECT_EQ(console.text(), "q");
    type("s\r");
    EXPECT_EQ(read_line(100), "s\n");
}
