#include "platform/events.h"

#include "app/globals.h"
#include "console/console_text.h"
#include "engine/tool_runner.h"
#include "platform/processes.h"
#include "platform/qt/state.h"
#include "tests/qt/desktop_test.h"
#include "tests/support/eventually.h"

#include <QApplication>
#include <QTest>
#include <QTimer>

#include <csignal>
#include <cstdlib>
#include <unistd.h>

namespace {

class QtEvents : public desktop_test {};

int count;

// A timer of the test that goes with it.
class test_timer {
public:
    test_timer(double first, double interval, EventLoopTimerUPP callback)
    {
        InstallEventLoopTimer(GetCurrentEventLoop(), first, interval, callback, nullptr, &timer);
    }
    ~test_timer()
    {
        RemoveEventLoopTimer(timer);
    }
    test_timer(const test_timer &) = delete;
    test_timer &operator=(const test_timer &) = delete;

private:
    EventLoopTimerRef timer = nullptr;
};

std::string signal_after(const char *seconds, const char *signal)
{
    return std::string("(sleep ") + seconds + "; kill -" + signal + " " + std::to_string(getpid()) +
           ") &";
}

} // namespace

TEST_F(QtEvents, ATimerFiresAgainAndAgainUntilItEndsTheModalLoop)
{
    count = 0;
    const test_timer timer(0.0, 0.02, [](EventLoopTimerRef, void *) {
        if (++count == 3)
            QuitAppModalLoopForWindow(theConsole);
    });
    RunAppModalLoopForWindow(theConsole);
    EXPECT_EQ(count, 3);
}

TEST_F(QtEvents, AModalLoopThatIsEndedByItsFirstTimerDoesNotTurn)
{
    const test_timer timer(0.0, 3600.0,
                           [](EventLoopTimerRef, void *) { QuitAppModalLoopForWindow(nullptr); });
    bool turned = false;
    const QObject test; // what is left over ends with it
    QTimer::singleShot(0, &test, [&] { turned = true; });
    RunAppModalLoopForWindow(nullptr);
    EXPECT_FALSE(turned);
}

TEST_F(QtEvents, ASignalFiresTheTimersAtOnce)
{
    const test_timer timer(3600.0, 3600.0, myTimer);
    EXPECT_TRUE(can_end_within(std::chrono::milliseconds(150), [] {
        inScript = 1;
        ASSERT_EQ(platform::system(signal_after("0.03", "USR1").c_str()), 0);
        RunAppModalLoopForWindow(waitWindow);
        EXPECT_EQ(inScript, 0);
    }));
}

TEST_F(QtEvents, TheEndOfTheLastProcessIsToldOnceInALoop)
{
    count = 0;
    platform::on_processes_gone([] { ++count; });
    {
        const test_timer timer(0.2, 3600.0, [](EventLoopTimerRef, void *) {
            if (count > 0)
                QuitAppModalLoopForWindow(nullptr);
        });
        RunAppModalLoopForWindow(nullptr); // there is none from the start
    }
    EXPECT_EQ(count, 1);
    ASSERT_EQ(platform::system("sleep 0.05 &"), 0);
    platform::on_processes_gone([] {
        ++count;
        QuitAppModalLoopForWindow(nullptr);
    });
    RunAppModalLoopForWindow(nullptr);
    EXPECT_EQ(count, 2);
}

// In a process of its own: whoever has been interrupted stays so.
TEST_F(QtEvents, AnInterruptIsToldInTheLoop)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto be_interrupted = [] {
        count = 0;
        platform::on_interrupt([] {
            ++count;
            QuitAppModalLoopForWindow(nullptr);
        });
        if (platform::system(signal_after("0.05", "TERM").c_str()) != 0)
            std::_Exit(EXIT_FAILURE);
        RunAppModalLoopForWindow(nullptr);
        std::_Exit(count >= 1 ? EXIT_SUCCESS : EXIT_FAILURE);
    };
    EXPECT_EXIT(be_interrupted(), testing::ExitedWithCode(EXIT_SUCCESS), "");
}

// The wake that it makes fires the timers first, one of which may find that the run is over.
TEST_F(QtEvents, AnInterruptThatComesWithTheEndOfALoopIsToldAfterIt)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto be_interrupted = [] {
        count = 0;
        platform::on_interrupt([] { ++count; });
        InstallEventLoopTimer(
            GetCurrentEventLoop(), 3600, 3600,
            [](EventLoopTimerRef timer, void *) {
                RemoveEventLoopTimer(timer);
                QuitAppModalLoopForWindow(nullptr);
            },
            nullptr, nullptr);
        QTimer::singleShot(0, [] { std::raise(SIGTERM); }); // no child, whose end would wake, too
        RunAppModalLoopForWindow(nullptr);
        const bool told_within = count > 0;
        const bool told_after = QTest::qWaitFor([] { return count > 0; });
        std::_Exit(!told_within && told_after ? EXIT_SUCCESS : EXIT_FAILURE);
    };
    EXPECT_EXIT(be_interrupted(), testing::ExitedWithCode(EXIT_SUCCESS), "");
}

TEST_F(QtEvents, ALoopThatIsEndedFromWithinAnotherEndsAfterIt)
{
    static std::string order;
    order.clear();
    WindowRef outer = theConsole;
    QTimer::singleShot(0, [&] {
        QTimer::singleShot(0, [&] { QuitAppModalLoopForWindow(outer); });
        QTimer::singleShot(50, [] { QuitAppModalLoopForWindow(nullptr); });
        RunAppModalLoopForWindow(nullptr);
        order += "inner ";
    });
    RunAppModalLoopForWindow(outer);
    order += "outer";
    EXPECT_EQ(order, "inner outer");
}

TEST_F(QtEvents, QuittingALoopThatDoesNotTurnIsAnError)
{
    EXPECT_EQ(QuitAppModalLoopForWindow(theConsole), paramErr);
}

// ---- waits in which the windows are only painted ----

namespace {

class painted : public QWidget {
public:
    int paints = 0;

protected:
    void paintEvent(QPaintEvent * /*event*/) override
    {
        ++paints;
        QTimer::singleShot(5, this, [this] { update(); });
    }
};

} // namespace

TEST_F(QtEvents, WindowsArePaintedWhileTheShellWorks)
{
    painted window;
    window.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
    const int before = window.paints;
    EXPECT_EQ(platform::system("sleep 0.3"), 0);
    EXPECT_GT(window.paints, before + 5);
}

TEST_F(QtEvents, TimersWaitWhileTheShellWorksAndFireAfterwards)
{
    count = 0;
    const test_timer timer(0.0, 0.05, [](EventLoopTimerRef, void *) {
        if (++count == 2)
            QuitAppModalLoopForWindow(nullptr);
    });
    EXPECT_EQ(platform::system("sleep 0.2"), 0);
    EXPECT_EQ(count, 0);
    RunAppModalLoopForWindow(nullptr);
    EXPECT_GE(count, 2);
}

TEST_F(QtEvents, WhatASignalBroughtWhileTheShellWorkedIsLookedAtAfterwards)
{
    const test_timer timer(3600.0, 3600.0, myTimer);
    QTimer::singleShot(0, [] {
        inScript = 1;
        const std::string line = "kill -USR1 " + std::to_string(getpid()) + "; sleep 0.1";
        EXPECT_EQ(platform::system(line.c_str()), 0);
    });
    const QObject test;
    QTimer::singleShot(5000, &test, [] { QuitAppModalLoopForWindow(waitWindow); });
    const auto start = std::chrono::steady_clock::now();
    RunAppModalLoopForWindow(waitWindow);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(4));
}

// ---- the classic pump ----

TEST_F(QtEvents, ATurnOfThePumpWaitsNoLongerThanItIsToldTo)
{
    EventRecord event;
    EXPECT_TRUE(can_end_within(std::chrono::milliseconds(400),
                               [&] { EXPECT_EQ(WaitNextEvent(0xFFFF, &event, 15, nullptr), 0); }));
    EXPECT_EQ(event.what, 0);
}
