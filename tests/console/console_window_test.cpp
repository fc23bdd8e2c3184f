#include "console/console_window.h"

#include "app/event_pump.h"
#include "app/globals.h"
#include "console/console_io.h"
#include "console/console_text.h"
#include "platform/events.h"
#include "platform/processes.h"
#include "platform/strings.h"
#include "settings/prefs_store.h"
#include "tests/support/eventually.h"
#include "tests/support/spine_test.h"

#include <csignal>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// Real key presses: bytes on standard input, taken by the event pump.
class ConsoleWindow : public spine_test {
protected:
    ConsoleWindow() : old_input(dup(STDIN_FILENO))
    {
        char title[32] = "window";
        theConsole = SetUpTextWindow(title);
        int ends[2] = {-1, -1};
        EXPECT_EQ(pipe(ends), 0);
        dup2(ends[0], STDIN_FILENO);
        close(ends[0]);
        keyboard = ends[1];
        // The pump reads keys only while somebody wants them.
        SetSelectionState(1);
    }

    ~ConsoleWindow() override
    {
        SetSelectionState(0);
        get_text = 0;
        close(keyboard);
        dup2(old_input, STDIN_FILENO);
        close(old_input);
        platform::kill_run_processes();
        platform::end_run(run_folder().c_str());
    }

    void press(char key) const
    {
        EXPECT_EQ(write(keyboard, &key, 1), 1);
        int waiting = 1;
        while (waiting > 0) { // a turn of the pump may go to something else
            main_event(0xFFFF);
            ASSERT_EQ(ioctl(STDIN_FILENO, FIONREAD, &waiting), 0);
        }
    }

    std::string run_folder() const
    {
        return folder / "run";
    }

    // A tool of that name that runs in the run now in progress.
    void start_tool(const std::string &name) const
    {
        const std::string program = folder / name;
        ASSERT_EQ(platform::system(("cp /bin/sleep '" + program + "'").c_str()), 0);
        ASSERT_EQ(platform::system(("'" + program + "' 60 &").c_str()), 0);
        ASSERT_TRUE(eventually([&] { return runs(name); })) << name;
    }

    static bool runs(const std::string &name)
    {
        for (const platform::process &each : platform::run_processes()) {
            if (each.name == name)
                return true;
        }
        return false;
    }

private:
    int old_input;
    int keyboard = -1;
};

} // namespace

TEST_F(ConsoleWindow, TheTitleComesBackUnchanged)
{
    delete_console_text();
    char title[] = "papermill and room";
    EXPECT_NE(SetUpTextWindow(title), nullptr);
    EXPECT_STREQ(title, "papermill and room");
}

TEST_F(ConsoleWindow, AKeyIsSwallowedWhileNothingRunsAndNobodyReads)
{
    press('x');
    EXPECT_EQ(console.text(), "");
    EXPECT_EQ(userCancel, 0);
}

TEST_F(ConsoleWindow, AKeyFeedsAReadAndIsShown)
{
    get_text = 1;
    press('x');
    EXPECT_EQ(console.text(), "x");
    EXPECT_EQ(userCancel, 0);
}

TEST_F(ConsoleWindow, AnyKeyCancelsTheRunAndKillsItsTool)
{
    ASSERT_TRUE(platform::begin_run(run_folder().c_str(), 1));
    start_tool("gs");
    platform::copy_whole(unixTool, "gs");
    inScript = 1;
    press(' ');
    EXPECT_EQ(inScript, 0);
    EXPECT_EQ(userCancel, 1);
    EXPECT_STREQ(acmd, "ps -x -c -o pid,command | grep gs");
    EXPECT_TRUE(eventually([] { return !runs("gs"); }));
    EXPECT_EQ(console.text(), "");
}

TEST_F(ConsoleWindow, TheCancellingKeyIsNotTakenAsInput)
{
    ASSERT_TRUE(platform::begin_run(run_folder().c_str(), 1));
    platform::copy_whole(unixTool, "gs");
    inScript = 1;
    get_text = 1;
    press('x');
    EXPECT_EQ(userCancel, 1);
    EXPECT_EQ(console.text(), "");
    press('y');
    EXPECT_EQ(console.text(), "y");
}

TEST_F(ConsoleWindow, ACancelWithoutSuchAToolKillsNothing)
{
    ASSERT_TRUE(platform::begin_run(run_folder().c_str(), 1));
    start_tool("other");
    platform::copy_whole(unixTool, "pstopdf");
    inScript = 1;
    press('x');
    EXPECT_EQ(inScript, 0);
    EXPECT_EQ(userCancel, 1);
    usleep(50000);
    EXPECT_TRUE(runs("other"));
}

TEST_F(ConsoleWindow, AToolOfAnEarlierRunIsNotKilled)
{
    ASSERT_TRUE(platform::begin_run(run_folder().c_str(), 1));
    start_tool("gs");
    const pid_t earlier = platform::run_processes().front().pid;
    platform::end_run(run_folder().c_str());

    ASSERT_TRUE(platform::begin_run((folder / "run2").c_str(), 2));
    platform::copy_whole(unixTool, "gs");
    inScript = 1;
    press('x');
    EXPECT_EQ(userCancel, 1);
    usleep(50000);
    EXPECT_EQ(waitpid(earlier, nullptr, WNOHANG), 0); // a child by now, and alive
    kill(earlier, SIGKILL);
    platform::end_run((folder / "run2").c_str());
}

TEST_F(ConsoleWindow, OnlyTheConsoleIsActivatedAndUpdated)
{
    watched.calls.clear();
    Text_Activate(nullptr, 1);
    EXPECT_EQ(watched.order(), "");
    Text_Activate(theConsole, 1);
    Text_Activate(theConsole, 0);
    EXPECT_EQ(watched.order(), "TXNActivate(1) TXNActivate(0)");
}

TEST_F(ConsoleWindow, NothingOfAWindowIsSavedAtQuit)
{
    TextCleanUp();
    EXPECT_EQ(text, nullptr);
    EXPECT_EQ(get_str_resource("GSWINDOW"), nullptr);
}

TEST_F(ConsoleWindow, WithoutAScreenNoSavedPlaceIsRestored)
{
    set_setting("GSWINDOW", "50 20 400 620");
    Rect rect = {};
    EXPECT_EQ(GetWindow(&rect), 0);
}
