// Whole runs in the window, with the real tools.
#include "app/globals.h"
#include "console/console_text.h"
#include "engine/dispatch.h"
#include "engine/tool_runner.h"
#include "platform/processes.h"
#include "platform/qt/state.h"
#include "tests/qt/desktop_test.h"
#include "tests/support/eventually.h"
#include "tests/support/terminal_user.h"

#include <QTest>

#include <algorithm>
#include <clocale>
#include <csignal>

namespace {

bool runs(const std::string &name)
{
    const std::vector<platform::process> all = platform::run_processes();
    return std::any_of(all.begin(), all.end(),
                       [&](const platform::process &each) { return each.name == name; });
}

class QtRuns : public desktop_test {
protected:
    QtRuns()
    {
        wait_for_focus();
    }

    void open(const std::string &path)
    {
        numberOfJobs = 0;
        add_job(path.c_str());
        doOpenDoc();
    }
};

} // namespace

TEST_F(QtRuns, AFileThatIsOpenedIsConvertedAndTheConsoleTellsIt)
{
    const std::string input = folder.write("drawing.eps", drawing_eps(120, 90));
    open(input);
    EXPECT_EQ(last_ending, ended_well);
    EXPECT_EQ(pdf_page_size(folder / "drawing.pdf"), "120 x 90");
    EXPECT_NE(shown().find("\nProcessing complete.\n"), std::string::npos) << shown();
    EXPECT_EQ(theConsole->sheet, nullptr);
}

TEST_F(QtRuns, AKeyInTheConsoleEndsTheToolAndTheRun)
{
    const std::string input = folder.write("endless.ps", endless_ps());
    static EventLoopTimerRef timer;
    InstallEventLoopTimer(
        GetCurrentEventLoop(), 0.0, 0.02,
        [](EventLoopTimerRef own, void *) {
            if (!runs("gs"))
                return;
            RemoveEventLoopTimer(own);
            press(Qt::Key_Shift);
            press(Qt::Key_C, Qt::ControlModifier);
            EXPECT_EQ(inScript, 1); // those are no key presses
            press(Qt::Key_X);
            EXPECT_EQ(inScript, 0);
            EXPECT_TRUE(eventually([] { return !runs("gs"); }));
        },
        nullptr, &timer);
    open(input);
    EXPECT_EQ(last_ending, ended_cancelled);
    EXPECT_NE(shown().find("\nUser cancelled processing.\n"), std::string::npos) << shown();
    EXPECT_FALSE(file_exists(folder / "endless.pdf"));
}

TEST_F(QtRuns, TheWindowAnswersWhileARunGoesOn)
{
    const std::string input = folder.write("endless.ps", endless_ps());
    static int turns;
    turns = 0;
    static EventLoopTimerRef timer;
    InstallEventLoopTimer(
        GetCurrentEventLoop(), 0.0, 0.01,
        [](EventLoopTimerRef own, void *) {
            theConsole->widget->resize(500 + turns, 300);
            if (++turns < 20)
                return;
            RemoveEventLoopTimer(own);
            press(Qt::Key_Escape);
        },
        nullptr, &timer);
    open(input);
    EXPECT_EQ(turns, 20);
    EXPECT_EQ(theConsole->widget->width(), 519);
}

TEST_F(QtRuns, InTheBackgroundThereIsNoSheet)
{
    inBackground = 1;
    static int turns;
    turns = 0;
    EventLoopTimerRef timer = nullptr;
    InstallEventLoopTimer(
        GetCurrentEventLoop(), 0.0, 0.01, [](EventLoopTimerRef, void *) { ++turns; }, nullptr,
        &timer);
    open(folder.write("drawing.eps", drawing_eps(120, 90)));
    RemoveEventLoopTimer(timer);
    EXPECT_EQ(turns, 0); // no loop that a sheet could be shown in
    EXPECT_EQ(last_ending, ended_well);
    EXPECT_FALSE(IsWindowVisible(waitWindow));
    EXPECT_EQ(pdf_page_size(folder / "drawing.pdf"), "120 x 90");
}

TEST_F(QtRuns, NumbersAreReadAsTheProgramWritesThem)
{
    EXPECT_STREQ(std::setlocale(LC_NUMERIC, nullptr), "C");
    EXPECT_STREQ(std::localeconv()->decimal_point, ".");
}
