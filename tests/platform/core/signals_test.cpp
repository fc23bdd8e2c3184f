#include "platform/core/signals.h"

#include "platform/events.h"
#include "tests/support/test_files.h"

#include <chrono>
#include <csignal>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

// Handlers stay installed: each test is a child process.
using namespace std::chrono_literals;
using steady = std::chrono::steady_clock;

constexpr int longest = 60000; // milliseconds of a wait that a signal ends earlier

int calls;

void count_call(int /*number*/)
{
    calls = calls + 1;
}

void count_interrupt()
{
    calls = calls + 1;
}

// Sends the signal to this process from another one, a little later.
void send_later(int number)
{
    const pid_t own = getpid();
    start_child([own, number] {
        usleep(50000);
        kill(own, number);
    });
}

} // namespace

TEST(Signals, AHandlerIsCalledAndEndsTheWait)
{
    EXPECT_TRUE(in_child([] {
        platform::signal(SIGUSR1, count_call);
        send_later(SIGUSR1);
        EXPECT_FALSE(platform::poll_or_signal(nullptr, 0, longest));
        EXPECT_EQ(calls, 1);
        EXPECT_TRUE(platform::poll_or_signal(nullptr, 0, 0)); // told once
    }));
}

TEST(Signals, OneThatCameBeforeTheWaitEndsIt)
{
    EXPECT_TRUE(in_child([] {
        platform::signal(SIGUSR1, count_call);
        raise(SIGUSR1);
        EXPECT_EQ(calls, 1);
        EXPECT_FALSE(platform::poll_or_signal(nullptr, 0, longest));
    }));
}

TEST(Signals, WithoutOneTheWholeTimeIsWaited)
{
    EXPECT_TRUE(in_child([] {
        const auto start = steady::now();
        EXPECT_TRUE(platform::poll_or_signal(nullptr, 0, 60));
        EXPECT_GE(steady::now() - start, 55ms);
    }));
}

TEST(Signals, DescriptorsAreWaitedForToo)
{
    EXPECT_TRUE(in_child([] {
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        pollfd watched = {ends[0], POLLIN, 0};
        EXPECT_TRUE(platform::poll_or_signal(&watched, 1, 0));
        EXPECT_EQ(watched.revents, 0);
        ASSERT_EQ(write(ends[1], "x", 1), 1);
        EXPECT_TRUE(platform::poll_or_signal(&watched, 1, longest));
        EXPECT_EQ(watched.revents, POLLIN);
    }));
}

TEST(Signals, AHandlerStaysForTheNextOne)
{
    EXPECT_TRUE(in_child([] {
        platform::signal(SIGUSR1, count_call);
        for (int i = 0; i < 5; ++i)
            raise(SIGUSR1);
        EXPECT_EQ(calls, 5);
    }));
}

TEST(Signals, ImpossibleNumbersAreIgnored)
{
    EXPECT_TRUE(in_child([] {
        for (const int number : {0, -1, NSIG, NSIG + 1000})
            platform::signal(number, count_call);
        EXPECT_EQ(calls, 0);
    }));
}

TEST(Signals, AnInterruptIsToldOutsideTheHandler)
{
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        EXPECT_TRUE(in_child([number] {
            platform::catch_signals();
            platform::on_interrupt(count_interrupt);
            EXPECT_FALSE(platform::tell_interrupt());
            EXPECT_EQ(platform::interrupt_signal(), 0);
            raise(number);
            EXPECT_EQ(calls, 0); // not in the handler
            EXPECT_EQ(platform::interrupt_signal(), number);
            EXPECT_TRUE(platform::tell_interrupt());
            EXPECT_EQ(calls, 1);
        }));
    }
}

TEST(Signals, AReaderThatWentAwayDoesNotEndTheProgram)
{
    EXPECT_TRUE(in_child([] {
        platform::catch_signals();
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        close(ends[0]);
        EXPECT_EQ(write(ends[1], "x", 1), -1);
        EXPECT_FALSE(platform::tell_interrupt());
    }));
}

TEST(Signals, TheEndOfAChildEndsTheWait)
{
    EXPECT_TRUE(in_child([] {
        platform::catch_signals();
        start_child([] { usleep(50000); });
        EXPECT_FALSE(platform::poll_or_signal(nullptr, 0, longest));
    }));
}
