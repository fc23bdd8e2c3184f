#include "platform/core/run_processes.h"

#include "tests/support/eventually.h"
#include "tests/support/run_program.h"
#include "tests/support/temporary_folder.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

// The test plays the application.
class RunProcesses : public testing::Test {
protected:
    RunProcesses()
    {
        prctl(PR_SET_CHILD_SUBREAPER, 1);
        setenv("PAPERMILL_PID", std::to_string(getpid()).c_str(), 1);
        setenv("PAPERMILL_RUN_FOLDER", this_run.c_str(), 1);
    }
    ~RunProcesses() override
    {
        unsetenv("PAPERMILL_PID");
        unsetenv("PAPERMILL_RUN_FOLDER");
    }

    static std::vector<std::string> names(const std::vector<platform::process> &processes)
    {
        std::vector<std::string> result;
        for (const platform::process &each : processes)
            result.push_back(each.name);
        return result;
    }
    static std::vector<std::string> names()
    {
        return names(platform::run_processes());
    }
    static std::vector<std::string> names(const std::string &run)
    {
        return names(platform::list_run_processes(getpid(), run.c_str()));
    }
    static bool lists(pid_t pid)
    {
        const auto all = platform::run_processes();
        return std::any_of(all.begin(), all.end(),
                           [pid](const platform::process &each) { return each.pid == pid; });
    }
    static bool lists(const std::string &name)
    {
        const auto all = names();
        return std::find(all.begin(), all.end(), name) != all.end();
    }

    // A copy of the program "sleep" under another name.
    std::string copy_sleep(const std::string &name) const
    {
        const std::string copy = folder / name;
        std::filesystem::copy_file("/bin/sleep", copy);
        return copy;
    }

    temporary_folder folder;
    const std::string this_run = folder / "run 7";
    const std::string another_run = folder / "run 71";
};

TEST_F(RunProcesses, NamesAProcessOfTheRunAfterItsExecutable)
{
    running_program tool({.arguments = {copy_sleep("tool"), "600"}});
    ASSERT_TRUE(eventually([] { return lists("tool"); }));
    const auto all = platform::run_processes();
    ASSERT_EQ(all.size(), 1U);
    EXPECT_EQ(all[0].pid, tool.pid());
    EXPECT_EQ(all[0].parent, getpid());
}

TEST_F(RunProcesses, ListsNothingWithoutARun)
{
    running_program tool({.arguments = {copy_sleep("tool"), "600"}});
    ASSERT_TRUE(eventually([] { return lists("tool"); }));
    for (const char *number : {"", "0", "-1", "99999999999999999999", "x"}) {
        setenv("PAPERMILL_PID", number, 1);
        EXPECT_TRUE(names().empty()) << number;
    }
    unsetenv("PAPERMILL_PID");
    EXPECT_TRUE(names().empty());
    setenv("PAPERMILL_PID", std::to_string(getpid()).c_str(), 1);
    setenv("PAPERMILL_RUN_FOLDER", "", 1);
    EXPECT_TRUE(names().empty());
    unsetenv("PAPERMILL_RUN_FOLDER");
    EXPECT_TRUE(names().empty());
}

TEST_F(RunProcesses, LeavesOutTheProcessesOfAnotherRun)
{
    running_program other({.arguments = {copy_sleep("other"), "600"},
                           .environment = {{"PAPERMILL_RUN_FOLDER", another_run}}});
    running_program tool({.arguments = {copy_sleep("tool"), "600"}});
    ASSERT_TRUE(eventually([this] {
        return names() == std::vector<std::string>{"tool"} &&
               names(another_run) == std::vector<std::string>{"other"};
    }));
    EXPECT_EQ(names(), std::vector<std::string>{"tool"});
}

TEST_F(RunProcesses, CountsAProcessThatCannotTellItsRun)
{
    running_program tool({.arguments = {copy_sleep("tool"), "600"},
                          .environment = {{"PAPERMILL_RUN_FOLDER", std::nullopt}}});
    EXPECT_TRUE(eventually([] { return lists("tool"); }));
}

TEST_F(RunProcesses, LetsTheNearestAncestorTellForAProcessThatCannot)
{
    const std::string script = "env -u PAPERMILL_RUN_FOLDER \"$0\" 600; :";
    running_program mine({.arguments = {"sh", "-c", script, copy_sleep("mine")}});
    running_program other({.arguments = {"sh", "-c", script, copy_sleep("other")},
                           .environment = {{"PAPERMILL_RUN_FOLDER", another_run}}});
    ASSERT_TRUE(eventually([] { return lists("mine"); }));
    ASSERT_TRUE(eventually([this] {
        const auto others = names(another_run);
        return std::find(others.begin(), others.end(), "other") != others.end();
    }));
    EXPECT_FALSE(lists("other"));
}

TEST_F(RunProcesses, LeavesOutDetachedProcessesAndAllBelowThem)
{
    running_program viewer(
        {.arguments = {"sh", "-c", "env -u PAPERMILL_DETACHED \"$0\" 600; :", copy_sleep("viewer")},
         .environment = {{"PAPERMILL_DETACHED", "1"}}});
    running_program tool(
        {.arguments = {copy_sleep("tool"), "600"}, .environment = {{"PAPERMILL_DETACHED", "0"}}});
    ASSERT_TRUE(eventually([] { return lists("tool"); }));
    // The viewer is there, and only its parent keeps it out.
    ASSERT_TRUE(eventually([this, &viewer] {
        const auto below = platform::list_run_processes(viewer.pid(), this_run.c_str());
        return below.size() == 1 && below[0].name == "viewer";
    }));
    EXPECT_EQ(names(), std::vector<std::string>{"tool"});
}

TEST_F(RunProcesses, KnowsADetachedProcessWhileItBecomesAnotherProgram)
{
    // For a moment such a process has no environment.
    running_program viewer(
        {.arguments = {folder.write_program("viewer", "#!/bin/sh\nsleep 0.002\nexec \"$0\"\n")},
         .environment = {{"PAPERMILL_DETACHED", "1"}}});
    ASSERT_TRUE(eventually([] { return platform::run_processes().empty(); }));
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(3);
    while (std::chrono::steady_clock::now() < end)
        ASSERT_TRUE(platform::run_processes().empty());
}

TEST_F(RunProcesses, KeepsSightOfAProcessWhoseParentHasEnded)
{
    running_program shell(
        {.arguments = {"sh", "-c", "\"$0\" 600 > /dev/null 2>&1 &", copy_sleep("orphan")}});
    EXPECT_EQ(shell.finish().status, 0);
    EXPECT_TRUE(eventually([] { return names() == std::vector<std::string>{"orphan"}; }));
    platform::kill_run_processes();
}

TEST_F(RunProcesses, LeavesOutWhatIsNoDescendant)
{
    running_program first({.arguments = {copy_sleep("first"), "600"}});
    running_program second({.arguments = {copy_sleep("second"), "600"}});
    ASSERT_TRUE(eventually([] { return lists("first") && lists("second"); }));
    EXPECT_TRUE(platform::list_run_processes(first.pid(), this_run.c_str()).empty());
}

TEST_F(RunProcesses, NamesAScriptAfterItsInterpreter)
{
    const std::string interpreter = folder / "interpreter";
    std::filesystem::copy_file("/bin/sh", interpreter);
    running_program script(
        {.arguments = {folder.write_program("gs.script", "#!" + interpreter + "\nread line\n")},
         .input = ""}); // it waits for a line
    ASSERT_TRUE(eventually([] { return lists("interpreter"); }));
    EXPECT_EQ(names(), std::vector<std::string>{"interpreter"});
}

TEST_F(RunProcesses, ListsTheOldestFirst)
{
    // Process IDs wrap around, so the order must come from the start times, which count in
    // hundredths of a second.
    running_program a({.arguments = {copy_sleep("a"), "600"}});
    ASSERT_TRUE(eventually([] { return lists("a"); }));
    usleep(30000);
    running_program b({.arguments = {copy_sleep("b"), "600"}});
    ASSERT_TRUE(eventually([] { return lists("b"); }));
    usleep(30000);
    running_program c({.arguments = {copy_sleep("c"), "600"}});
    ASSERT_TRUE(eventually([] { return lists("c"); }));
    EXPECT_EQ(names(), (std::vector<std::string>{"a", "b", "c"}));
}

TEST_F(RunProcesses, LeavesOutZombies)
{
    const pid_t child = fork();
    if (child == 0)
        _exit(0);
    siginfo_t ended;
    ASSERT_EQ(waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOWAIT), 0);
    EXPECT_TRUE(platform::run_processes().empty());
    waitpid(child, nullptr, 0);
}

TEST_F(RunProcesses, ReadsNamesThatLookLikeFields)
{
    for (const std::string name : {"a) Z 1 1 (", "two\nlines", "(((", "x (deleted)", "\xff\xfe"}) {
        running_program tool({.arguments = {copy_sleep(name), "600"}});
        ASSERT_TRUE(eventually([&tool] { return lists(tool.pid()); })) << name;
        const std::string expected = name == "x (deleted)" ? "x" : name;
        EXPECT_TRUE(eventually([&expected] { return lists(expected); })) << name;
    }
}

TEST_F(RunProcesses, NamesAProcessWhoseExecutableIsGone)
{
    const std::string path = copy_sleep("tool");
    running_program tool({.arguments = {path, "600"}});
    ASSERT_TRUE(eventually([] { return lists("tool"); }));
    std::filesystem::remove(path);
    EXPECT_EQ(names(), std::vector<std::string>{"tool"});
}

TEST_F(RunProcesses, KillEndsAllAndReapsItsOwnChildren)
{
    running_program tree({.arguments = {"sh", "-c", "sh -c 'sleep 600; :' & sleep 600 & wait"}});
    ASSERT_TRUE(eventually([] { return platform::run_processes().size() == 4; }));
    const auto members = platform::run_processes();
    platform::kill_run_processes();
    EXPECT_TRUE(platform::run_processes().empty());
    for (const platform::process &each : members) {
        errno = 0;
        EXPECT_EQ(kill(each.pid, 0), -1) << each.name; // not even a zombie is left
        EXPECT_EQ(errno, ESRCH);
    }
}

TEST_F(RunProcesses, KillCatchesUpWithProcessesThatForkOnAndOn)
{
    running_program tree(
        {.arguments = {"sh", "-c", "trap '' TERM INT HUP; while :; do (sleep 300 &) done"}});
    ASSERT_TRUE(eventually([] { return platform::run_processes().size() > 20; }));
    platform::kill_run_processes();
    EXPECT_TRUE(platform::run_processes().empty());
}

TEST_F(RunProcesses, KillSparesOtherRunsAndDetachedProcesses)
{
    running_program other(
        {.arguments = {"sleep", "600"}, .environment = {{"PAPERMILL_RUN_FOLDER", another_run}}});
    running_program viewer(
        {.arguments = {"sleep", "600"}, .environment = {{"PAPERMILL_DETACHED", "1"}}});
    running_program tool({.arguments = {copy_sleep("tool"), "600"}});
    ASSERT_TRUE(eventually([] { return names() == std::vector<std::string>{"tool"}; }));
    platform::kill_run_processes();
    EXPECT_EQ(waitpid(other.pid(), nullptr, WNOHANG), 0);
    EXPECT_EQ(waitpid(viewer.pid(), nullptr, WNOHANG), 0);
}

TEST_F(RunProcesses, KillLeavesChildrenOfNoRunToBeWaitedFor)
{
    // Its status belongs to whoever started it, even when it ends during the kill.
    const pid_t child = fork();
    if (child == 0)
        _exit(7);
    siginfo_t ended;
    ASSERT_EQ(waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOWAIT), 0);
    running_program tool({.arguments = {copy_sleep("tool"), "600"}});
    ASSERT_TRUE(eventually([] { return lists("tool"); }));
    platform::kill_run_processes();
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(WEXITSTATUS(status), 7);
}
