#include "app/command_line.h"

#include "app/globals.h"
#include "platform/strings.h"
#include "tests/support/fake_script.h"
#include "tests/support/spine_test.h"

#include <string>
#include <unistd.h>
#include <vector>

namespace {

using words = std::vector<std::string>;

const std::string complete = "\nProcessing complete.\nElapsed time = N sec.\n\n";

class CommandLine : public spine_test {
protected:
    CommandLine()
    {
        platform::copy_whole(curr_dir, folder.path().c_str());
    }

    std::string run(const std::string &command)
    {
        console.clear();
        platform::copy_whole(command_line, command.c_str());
        ExecuteCommand();
        return without_time(console.lines());
    }

    std::string head(const std::string &command) const
    {
        return "Processing: " + command + "\nCurrent directory -- " + folder.path() + "\n";
    }

    const std::string pid = std::to_string(getpid());
};

class CommandLineCall : public CommandLine {
protected:
    CommandLineCall() : script("ends 0 done; reports") {}

    fake_script script;
};

} // namespace

// ---- what is called ----

TEST_F(CommandLineCall, ACommandRunsUnderExec)
{
    EXPECT_EQ(run("gs -h"), head("gs -h") + complete);
    EXPECT_EQ(command_line, "gs.script exec " + pid + " \"" + worksheet + "\" gs -h");
    EXPECT_EQ(script.arguments(), (words{"exec", pid, worksheet, "gs", "-h"}));
    EXPECT_STREQ(unixTool, "gs");
}

TEST_F(CommandLineCall, ACommandThatRedirectsRunsUnderExec1)
{
    const char *const commands[] = {"gs -h > out.txt", "ls >> out.txt", "echo 2>err.txt",
                                    "echo '>'",        "a>b",           "ls >& out.txt"};
    for (const char *command : commands) {
        run(command);
        EXPECT_EQ(command_line, "gs.script exec1 " + pid + " \"" + worksheet + "\" " + command);
    }
    run("gs -h > out.txt");
    EXPECT_EQ(script.arguments(), (words{"exec1", pid, worksheet, "gs", "-h"}));
    EXPECT_TRUE(file_exists(folder / "out.txt"));
}

TEST_F(CommandLineCall, OtherOperatorsDoNotChooseExec1)
{
    for (const char *command : {"ls < in.txt", "a | b", "a; b", "a && b", "-h"}) {
        run(command);
        EXPECT_EQ(command_line, "gs.script exec " + pid + " \"" + worksheet + "\" " + command);
    }
}

TEST_F(CommandLineCall, TheCommandRunsInItsFolder)
{
    ASSERT_EQ(chdir("/"), 0);
    run("ls");
    EXPECT_EQ(script.working_folder(), folder.path());
}

TEST_F(CommandLineCall, AFolderThatIsNotThereIsTold)
{
    const std::string missing = folder / "missing";
    platform::copy_whole(curr_dir, missing.c_str());
    EXPECT_EQ(run("ls"), "Processing: ls\nCurrent directory -- " + missing +
                             "\nCan't change to the folder " + missing +
                             ": No such file or directory.\n"
                             "An error occurred when running gs.script.\n"
                             "Launch /Applications/Utilities/Console and examine console.log.\n" +
                             complete + "ls: not done, the command was not started.\n");
    EXPECT_EQ(script.calls(), 0);
}

TEST_F(CommandLineCall, TheLinesAreShownBeforeTheCommandRuns)
{
    run("ls");
    ASSERT_EQ(watched.count("TXNForceUpdate"), 1U);
    EXPECT_EQ(watched.first("TXNForceUpdate")->shown, head("ls"));
    EXPECT_FALSE(watched.first("TXNForceUpdate")->in_run);
    EXPECT_EQ(watched.calls.back().name, "SetCursor");
}

TEST_F(CommandLineCall, ACommandMayHoldAnythingPrintable)
{
    const std::string command = "echo 100% %s %n \"two words\" 'three \"words\"' \\$";
    EXPECT_EQ(run(command), head(command) + complete);
    EXPECT_EQ(script.arguments(), (words{"exec", pid, worksheet, "echo", "100%", "%s", "%n",
                                         "two words", "three \"words\"", "$"}));
}

TEST_F(CommandLineCall, TheElapsedTimeIsUnsigned)
{
    watched.clock = {0xFFFFFFFFU, 59};
    platform::copy_whole(command_line, "ls");
    ExecuteCommand();
    EXPECT_NE(console.lines().find("Elapsed time = 1.0 sec.\n\n"), std::string::npos);
}

TEST_F(CommandLineCall, ACommandThatDoesNotFitIsRefused)
{
    const std::string command = "echo " + std::string(command_size - 10, 'x');
    EXPECT_EQ(run(command),
              head(command) + command +
                  ": the command line is too long. Shorten the options or the names.\n");
    EXPECT_EQ(script.calls(), 0);
    EXPECT_EQ(failed_conversions, 1);
}

TEST_F(CommandLineCall, InTheBackgroundTheWaitIsSkipped)
{
    inBackground = 1;
    EXPECT_EQ(run("ls"), head("ls") + complete);
    EXPECT_EQ(watched.count("ShowSheetWindow"), 0U);
}

// ---- what happens, with the bundle's own script ----

TEST_F(CommandLine, WhatACommandPrintsIsShown)
{
    EXPECT_EQ(run("printf '%s\\n' one two"),
              head("printf '%s\\n' one two") + "\none\ntwo\n" + complete);
    EXPECT_EQ(run("ls /no-such-file"),
              head("ls /no-such-file") +
                  "\nls: cannot access '/no-such-file': No such file or directory\n" + complete +
                  "ls /no-such-file: failed, the command ended with status 2.\n");
}

TEST_F(CommandLine, AQuotedRedirectionIsTheCommandsOwnAffair)
{
    // There is a > in it, so its output is not captured by the script; what the command itself
    // does not send elsewhere is shown all the same.
    const std::string command = "sh -c 'echo out; echo err >&2'";
    EXPECT_EQ(run(command), head(command) + "\nout\nerr\n" + complete);
    EXPECT_EQ(last_ending, ended_well);
}

TEST_F(CommandLine, ARedirectedCommandsErrorsAreShown)
{
    const std::string command = "ls /no-such-file . > out.txt";
    EXPECT_EQ(run(command),
              head(command) + "\nls: cannot access '/no-such-file': No such file or directory\n" +
                  complete + command + ": failed, the command ended with status 2.\n");
    EXPECT_EQ(read_file(folder / "out.txt"), ".:\nout.txt\n");
}

TEST_F(CommandLine, RedirectedErrorsGoWhereTheCommandSendsThem)
{
    const std::string command = "ls /no-such-file 2> err.txt";
    EXPECT_EQ(run(command), head(command) + "\n" + complete + command +
                                ": failed, the command ended with status 2.\n");
    EXPECT_EQ(read_file(folder / "err.txt"),
              "ls: cannot access '/no-such-file': No such file or directory\n");
}

TEST_F(CommandLine, TheCommandsStatusIsKept)
{
    run("sh -c 'exit 42'");
    EXPECT_EQ(exit_status, 42);
    EXPECT_EQ(last_ending, ended_with_status);
    run("sh -c 'kill -9 $$'");
    EXPECT_EQ(exit_status, 137);
    EXPECT_EQ(last_ending, ended_by_signal);
    run("true");
    EXPECT_EQ(exit_status, 0);
    EXPECT_EQ(last_ending, ended_well);
}

TEST_F(CommandLine, ACommandThatIsNotThereIsOneThatWasNotStarted)
{
    const std::string shown = run("no-such-command --option");
    EXPECT_NE(shown.find("no-such-command: not found"), std::string::npos) << shown;
    EXPECT_NE(shown.find("no-such-command --option: not done, the command was not started.\n"),
              std::string::npos);
    EXPECT_EQ(exit_status, 127);
    EXPECT_EQ(last_ending, ended_not_started);
}

TEST_F(CommandLine, ACommandHasNoInput)
{
    EXPECT_EQ(run("cat"), head("cat") + "\n" + complete);
}

TEST_F(CommandLine, TheCommandsToolsHaveTheRunsTemporaryFolder)
{
    const std::string shown = run("printenv TMPDIR");
    EXPECT_NE(shown.find(std::string(tmpPath) + "/run."), std::string::npos) << shown;
}
