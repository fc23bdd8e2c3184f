#include "engine/tool_launcher.h"

#include "app/globals.h"
#include "platform/processes.h"
#include "tests/support/eventually.h"
#include "tests/support/spine_test.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using ToolLauncher = spine_test;

const std::string launch_error =
    "An error occurred when running gs.script.\n"
    "Launch /Applications/Utilities/Console and examine console.log.\n";

std::string in_quotes(const std::string &path)
{
    return "'" + path + "'";
}

bool alive(pid_t child)
{
    return waitpid(child, nullptr, WNOHANG) == 0;
}

pid_t start_sleeper()
{
    const pid_t child = fork();
    if (child == 0) {
        execl("/bin/sleep", "sleep", "600", nullptr);
        _exit(127);
    }
    return child;
}

} // namespace

// ---- fire and forget ----

TEST_F(ToolLauncher, InFrontALineGoesToTheBackground)
{
    const std::string line = "while [ ! -e " + in_quotes(folder / "go") +
                             " ]; do sleep 0.01; done; echo > " + in_quotes(folder / "done");
    // A line that were waited for would wait for ever.
    EXPECT_EQ(InvokeTool(("{ " + line + "; }").c_str()), 0);
    EXPECT_FALSE(file_exists(folder / "done"));
    folder.write("go", "");
    EXPECT_TRUE(eventually([&] { return file_exists(folder / "done"); }));
}

TEST_F(ToolLauncher, InTheBackgroundALineIsWaitedFor)
{
    inBackground = 1;
    EXPECT_EQ(InvokeTool(("sleep 0.1; echo > " + in_quotes(folder / "done")).c_str()), 0);
    EXPECT_TRUE(file_exists(folder / "done"));
    EXPECT_EQ(console.text(), "");
}

TEST_F(ToolLauncher, AFailedLaunchIsToldAndEndsTheWait)
{
    inBackground = 1;
    inScript = 1;
    EXPECT_EQ(platform::exit_status_of(InvokeTool("exit 3")), 3);
    EXPECT_EQ(console.lines(), launch_error);
    EXPECT_EQ(inScript, 0);
}

TEST_F(ToolLauncher, ALaunchThatSucceedsLeavesTheWaitAlone)
{
    inScript = 1;
    EXPECT_EQ(InvokeTool("true"), 0);
    EXPECT_EQ(InvokeTool2("true"), 0);
    EXPECT_EQ(inScript, 1);
    EXPECT_EQ(console.text(), "");
}

TEST_F(ToolLauncher, InFrontOnlyTheStartCountsNotWhatTheToolDoes)
{
    inScript = 1;
    EXPECT_EQ(InvokeTool("exit 3"), 0);
    EXPECT_EQ(inScript, 1);
    EXPECT_EQ(console.text(), "");
}

TEST_F(ToolLauncher, ALineTheShellCannotReadIsAFailedLaunch)
{
    inScript = 1;
    EXPECT_NE(InvokeTool("{ 2>/dev/null ;; }"), 0);
    EXPECT_EQ(console.lines(), launch_error);
    EXPECT_EQ(inScript, 0);
}

TEST_F(ToolLauncher, TheFolderIsChangedToBeforeTheLaunch)
{
    inBackground = 1;
    EXPECT_EQ(InvokeTool1("pwd > here", folder.path().c_str()), 0);
    EXPECT_EQ(read_file(folder / "here"), folder.path() + "\n");
}

TEST_F(ToolLauncher, AFolderThatIsNotThereIsAFailedLaunchAndNothingRuns)
{
    inScript = 1;
    const std::string missing = folder / "missing";
    EXPECT_NE(InvokeTool1(("echo > " + in_quotes(folder / "ran")).c_str(), missing.c_str()), 0);
    EXPECT_EQ(console.lines(), "Can't change to the folder " + missing +
                                   ": No such file or directory.\n" + launch_error);
    EXPECT_EQ(inScript, 0);
    EXPECT_FALSE(file_exists(folder / "ran"));
}

TEST_F(ToolLauncher, TheForegroundLauncherWaitsWhateverTheFlagSays)
{
    for (const bool background : {false, true}) {
        inBackground = background ? 1 : 0;
        inScript = 1;
        console.clear();
        EXPECT_EQ(platform::exit_status_of(InvokeTool2("sleep 0.05; exit 4")), 4);
        EXPECT_EQ(console.lines(), launch_error);
        EXPECT_EQ(inScript, 0);
    }
}

TEST_F(ToolLauncher, AToolEndedByASignalIsAFailedLaunch)
{
    EXPECT_EQ(platform::exit_status_of(InvokeTool2("kill -9 $$")), 128 + SIGKILL);
    EXPECT_EQ(console.lines(), launch_error);
}

// ---- read back ----

TEST_F(ToolLauncher, OutputIsStreamedWithCarriageReturns)
{
    InvokeTool3("printf 'one\\ntwo\\n\\n'");
    EXPECT_EQ(console.text(), "one\rtwo\r\r");
}

TEST_F(ToolLauncher, StreamedOutputLosesNothingAtTheChunksEdges)
{
    for (const int lines : {1019, 1020, 1021, 2040, 2041, 5000}) {
        console.clear();
        InvokeTool3(("i=0; while [ $i -lt " + std::to_string(lines / 5) +
                     " ]; do printf '%04d\\n' $i; i=$((i+1)); done; printf %" +
                     std::to_string(lines % 5) + "s ''")
                        .c_str());
        std::string expected;
        for (int i = 0; i < lines / 5; ++i) {
            const std::string number = std::to_string(i);
            expected += std::string(4 - number.size(), '0') + number + "\r";
        }
        expected += std::string(static_cast<std::size_t>(lines % 5), ' ');
        EXPECT_EQ(console.text(), expected) << lines;
    }
}

TEST_F(ToolLauncher, OnlyStandardOutputIsStreamed)
{
    InvokeTool3("echo out; { echo err >&2; } 2>/dev/null");
    EXPECT_EQ(console.text(), "out\r");
}

TEST_F(ToolLauncher, BehindANulTheChunkShowsOldBytesAndItsWholeLength)
{
    InvokeTool3("printf ABCDEFGHIJ");
    console.clear();
    InvokeTool3("printf 'a\\nb\\000d\\ne'");
    EXPECT_EQ(console.text(), "a\rbDEFG");
}

TEST_F(ToolLauncher, TheStreamedCommandsStatusIsKept)
{
    exit_status = 99;
    InvokeTool3("exit 5");
    EXPECT_EQ(exit_status, 5);
    InvokeTool3("kill -9 $$");
    EXPECT_EQ(exit_status, 128 + SIGKILL);
    InvokeTool3("true");
    EXPECT_EQ(exit_status, 0);
    EXPECT_EQ(console.text(), "");
}

TEST_F(ToolLauncher, AStreamedCommandThatDoesNotFitIsNotRun)
{
    const std::string line =
        "echo > " + in_quotes(folder / "ran") + "; : " + std::string(command_size, 'x');
    InvokeTool3(line.c_str());
    EXPECT_FALSE(file_exists(folder / "ran"));
    EXPECT_EQ(console.lines(), "The command is too long: " + line + "\n");
}

TEST_F(ToolLauncher, TheDiagnosticShowsWhatGhostscriptSays)
{
    folder.write_program("gs", "#!/bin/sh\necho \"called with $*\"\necho an error >&2\n");
    setenv("PATH", (folder.path() + ":" + std::getenv("PATH")).c_str(), 1);
    testCommand();
    EXPECT_EQ(console.lines(), "called with -h\nan error\n");
}

TEST_F(ToolLauncher, FilesAreCopiedUnderAnyName)
{
    ASSERT_EQ(chdir(folder.path().c_str()), 0);
    for (const std::string &name :
         {std::string("plain"), std::string("two words"), std::string("a\"b"), std::string("it's"),
          std::string("$HOME"), std::string("$(touch touched)"), std::string("`touch touched`"),
          std::string("back\\slash"), std::string("a;b|c&d<e>f"), std::string("*[a]{b,c}?~"),
          std::string("new\nline"), std::string("!#@%d%s"), std::string("\xFF\xFE")}) {
        const std::string source = folder.write(name, "text of " + name);
        const std::string destination = folder / ("to " + name);
        moveFile(source.c_str(), destination.c_str());
        EXPECT_EQ(read_file(destination), "text of " + name);
        EXPECT_TRUE(file_exists(source)); // a copy, whatever the name says
        unlink(source.c_str());
        unlink(destination.c_str());
    }
    EXPECT_TRUE(folder.names().empty());
    EXPECT_EQ(console.text(), "");
}

TEST_F(ToolLauncher, WhatTheCopyingSaysIsShown)
{
    const std::string missing = folder / "missing";
    moveFile(missing.c_str(), (folder / "to").c_str());
    EXPECT_EQ(console.lines(), "cp: cannot stat '" + missing + "': No such file or directory\n");
}

// ---- killing ----

TEST_F(ToolLauncher, OnlyTheFirstProcessOfAQueryIsKilled)
{
    const pid_t first = start_sleeper();
    const pid_t second = start_sleeper();
    GetProcessInfo(
        ("printf '  %d gs\\n%d gs\\n' " + std::to_string(first) + " " + std::to_string(second))
            .c_str());
    int status = 0;
    EXPECT_EQ(waitpid(first, &status, 0), first);
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGKILL);
    usleep(50000);
    EXPECT_TRUE(alive(second));
    kill(second, SIGKILL);
    waitpid(second, nullptr, 0);
    EXPECT_EQ(console.text(), "");
}

TEST_F(ToolLauncher, AQueryThatFindsNothingKillsNothing)
{
    while (waitpid(-1, nullptr, 0) > 0) {
    }
    for (const char *query :
         {"true", "echo", "echo gs", "echo 0 gs", "no-such-command 2>/dev/null"})
        GetProcessInfo(query);
    EXPECT_EQ(waitpid(-1, nullptr, 0), -1); // what a line starts would be a child of the test
    EXPECT_EQ(console.text(), "");
}

TEST_F(ToolLauncher, ALongAnswerIsReadOnce)
{
    const pid_t child = start_sleeper();
    GetProcessInfo(("printf '%d gs\\n%05000d\\n' " + std::to_string(child) + " 1").c_str());
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status));
}
