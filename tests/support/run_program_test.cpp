#include "tests/support/run_program.h"

#include "tests/support/eventually.h"
#include "tests/support/temporary_folder.h"

#include <csignal>
#include <gtest/gtest.h>

using namespace std::chrono_literals;

TEST(RunProgram, CollectsOutputAndStatusSeparately)
{
    const program_result r = run_program({{"sh", "-c", "echo out; echo err >&2; exit 3"}});
    EXPECT_EQ(r.out, "out\n");
    EXPECT_EQ(r.err, "err\n");
    EXPECT_EQ(r.status, 3);
    EXPECT_EQ(r.signal, 0);
    EXPECT_FALSE(r.timed_out);
}

TEST(RunProgram, TellsTheSignal)
{
    const program_result r = run_program({{"sh", "-c", "kill -SEGV $$"}});
    EXPECT_EQ(r.signal, SIGSEGV);
    EXPECT_EQ(r.status, -1);
}

TEST(RunProgram, ChangesEnvironmentAndFolder)
{
    const temporary_folder folder;
    setenv("OUTER", "1", 1);
    const program_result r =
        run_program({.arguments = {"sh", "-c", "echo \"$A-${OUTER-none}\"; pwd"},
                     .environment = {{"A", "a b"}, {"OUTER", std::nullopt}},
                     .folder = folder.path()});
    EXPECT_EQ(r.out, "a b-none\n" + folder.path() + "\n");
}

TEST(RunProgram, SearchesThePathThatTheProgramIsGiven)
{
    const temporary_folder folder;
    folder.write_program("ls", "#!/bin/sh\necho mine\n");
    EXPECT_EQ(run_program({.arguments = {"ls"}, .environment = {{"PATH", folder.path()}}}).out,
              "mine\n");
}

TEST(RunProgram, PassesMuchInputAndOutputAtOnce)
{
    std::string much(3000000, 'x');
    much[1000000] = '\0';
    const program_result r = run_program({.arguments = {"cat"}, .input = much});
    EXPECT_EQ(r.out, much);
    EXPECT_EQ(run_program({.arguments = {"true"}, .input = much}).status, 0);
    EXPECT_EQ(
        run_program({.arguments = {"sh", "-c", "exec >&- 2>&-; wc -c > /dev/null"}, .input = much})
            .status,
        0);
    EXPECT_EQ(run_program({{"cat"}}).out, "");
}

TEST(RunProgram, GivesATerminalAndAllThatIsWrittenToIt)
{
    const program_result r =
        run_program({.arguments = {"sh", "-c",
                                   "test -t 1 && test -t 2 && seq 5000; echo err >&2; "
                                   "(sleep 0.2; echo late) & exit 3"},
                     .on_terminal = true});
    std::string expected;
    for (int i = 1; i <= 5000; ++i)
        expected += std::to_string(i) + "\r\n";
    EXPECT_EQ(r.out, expected + "err\r\nlate\r\n");
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(r.status, 3);
}

TEST(RunProgram, EndsWhatTakesTooLong)
{
    EXPECT_TRUE(eventually([] { // not every time is there time enough to begin
        const program_result r =
            run_program({.arguments = {"sh", "-c", "echo begun; sleep 600"}, .timeout = 300ms});
        EXPECT_TRUE(r.timed_out);
        return r.out == "begun\n";
    }));
    EXPECT_TRUE(
        run_program({.arguments = {"sh", "-c", "sleep 600 & exit 0"}, .timeout = 300ms}).timed_out);
}

TEST(RunProgram, SaysWhatCannotBeStarted)
{
    const program_result r = run_program({{"/nowhere/tool"}});
    EXPECT_EQ(r.status, 127);
    EXPECT_NE(r.err.find("/nowhere/tool"), std::string::npos);
    EXPECT_EQ(run_program({.arguments = {"true"}, .folder = "/nowhere"}).status, 127);
}
