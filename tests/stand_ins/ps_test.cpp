#include "tests/support/eventually.h"
#include "tests/support/run_program.h"
#include "tests/support/temporary_folder.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <unistd.h>

static const std::string ps = PAPERMILL_BUNDLE "/Resources/bin/ps";
static const std::string query = ps + " -x -c -o pid,command";
static const std::string header = "  PID COMMAND\n";

static std::string line(pid_t pid, const std::string &name)
{
    char number[32];
    std::snprintf(number, sizeof number, "%5d ", static_cast<int>(pid));
    return number + name + "\n";
}

// The test plays the application, with a run in progress.
class Ps : public testing::Test {
protected:
    Ps()
    {
        setenv("PAPERMILL_PID", std::to_string(getpid()).c_str(), 1);
        setenv("PAPERMILL_RUN_FOLDER", folder.path().c_str(), 1);
    }
    ~Ps() override
    {
        unsetenv("PAPERMILL_PID");
        unsetenv("PAPERMILL_RUN_FOLDER");
    }

    // A process of the given name that does nothing.
    std::string tool(const std::string &name) const
    {
        const std::string copy = folder / name;
        std::filesystem::copy_file("/bin/sleep", copy);
        return copy;
    }
    static std::string ask(const std::string &command)
    {
        return run_program({{"sh", "-c", command}}).out;
    }
    static bool shows(const std::string &name)
    {
        return ask(query).find(" " + name + "\n") != std::string::npos;
    }

    temporary_folder folder;
};

TEST_F(Ps, ListsTheProcessesOfTheRun)
{
    running_program a({.arguments = {tool("gs"), "600"}});
    ASSERT_TRUE(eventually([] { return shows("gs"); }));
    const program_result r = run_program({{ps, "-x", "-c", "-o", "pid,command"}});
    EXPECT_EQ(r.out, header + line(a.pid(), "gs"));
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(r.status, 0);
}

TEST_F(Ps, LeavesOutThePipelineThatAsks)
{
    running_program a({.arguments = {tool("mysleep"), "600"}});
    ASSERT_TRUE(eventually([] { return shows("mysleep"); }));
    EXPECT_EQ(ask(query + " | cat"), header + line(a.pid(), "mysleep"));
    EXPECT_EQ(ask(query + " | grep e"), line(a.pid(), "mysleep")); // neither grep nor sh
    EXPECT_EQ(ask(query + " | grep sh"), "");
}

TEST_F(Ps, FindsTheToolButNotItsScript)
{
    // The program's cancel takes the first line that "grep gs" leaves.
    const std::string script = folder.write_program(
        "gs.script", "#!/bin/tcsh -f\n\"$argv[1]\" 600\n: the script goes on\n");
    running_program run({.arguments = {script, tool("gs")}});
    ASSERT_TRUE(eventually([] { return shows("gs"); }));
    const std::string answer = ask(query + " | grep gs");
    EXPECT_EQ(std::count(answer.begin(), answer.end(), '\n'), 1) << answer;
    EXPECT_NE(std::atoi(answer.c_str()), run.pid());
    EXPECT_NE(ask(query).find(line(run.pid(), "tcsh")), std::string::npos);
}

TEST_F(Ps, PrintsOneLineForAHostileName)
{
    running_program a({.arguments = {tool("x\n    1 gs\x1b[2J\xc3\xa9"), "600"}});
    const std::string expected = line(a.pid(), "x?    1 gs?[2J\xc3\xa9");
    EXPECT_TRUE(eventually([&expected] { return ask(query) == header + expected; })) << ask(query);
}

TEST_F(Ps, PrintsTheHeaderAloneWithoutARun)
{
    running_program a({.arguments = {tool("gs"), "600"}});
    ASSERT_TRUE(eventually([] { return shows("gs"); }));
    unsetenv("PAPERMILL_RUN_FOLDER");
    EXPECT_EQ(ask(query), header);
}

TEST_F(Ps, HandsOverAnyOtherForm)
{
    for (const std::string form : {"-p 1 -o pid=,comm=", "-c -o pid,command -p 1", "-o pid= 1"}) {
        const std::string expected = ask("/bin/ps " + form);
        ASSERT_NE(expected, "");
        EXPECT_EQ(ask(ps + " " + form), expected) << form;
    }
    EXPECT_EQ(run_program({{ps, "--no-such-option"}}).status, 1);
}

TEST_F(Ps, SaysThatThereIsNoOtherPs)
{
    for (const std::string &path :
         {std::string(PAPERMILL_BUNDLE "/Resources/bin"), folder.path(), std::string("/nowhere")}) {
        const program_result r = run_program({.arguments = {ps}, .environment = {{"PATH", path}}});
        EXPECT_EQ(r.status, 127);
        EXPECT_EQ(r.err, "ps: there is no other ps on PATH.\n");
    }
}

// ---- finding the next tool of the name ----

TEST_F(Ps, TakesTheFirstOtherProgramOnPath)
{
    folder.make_folder("a/ps"); // a folder
    folder.make_folder("b");
    folder.write("b/ps", "#!/bin/sh\necho plain file\n"); // not executable
    folder.make_folder("c");
    std::filesystem::create_symlink(ps, folder / "c/ps"); // this program again
    folder.make_folder("d e");
    folder.write_program("d e/ps", "#!/bin/sh\necho next \"$@\"\n");
    const std::string path = folder / "a:" + folder / "b:" + folder / "c:" + folder / "d e:/bin";
    const program_result r =
        run_program({.arguments = {ps, "x  y", ""}, .environment = {{"PATH", path}}});
    EXPECT_EQ(r.out, "next x  y \n");
    EXPECT_EQ(r.status, 0);
}

TEST_F(Ps, ReadsAnEmptyEntryOfPathAsTheCurrentFolder)
{
    folder.write_program("ps", "#!/bin/sh\necho here\n");
    for (const std::string path : {"", ":", "/nowhere:", ":/nowhere", "/nowhere::/nowhere"}) {
        EXPECT_EQ(run_program(
                      {.arguments = {ps}, .environment = {{"PATH", path}}, .folder = folder.path()})
                      .out,
                  "here\n")
            << path;
    }
}

TEST_F(Ps, DoesNotBounceBetweenTwoBundles)
{
    std::string path;
    for (const std::string bundle : {"one", "two"}) {
        const std::string bin = folder.make_folder(bundle);
        std::filesystem::copy_file(ps, bin + "/ps");
        folder.write_program(bundle + "/gs.script", "#!/bin/tcsh -f\n");
        path += bin + ":";
    }
    const program_result found = run_program({.arguments = {folder / "one/ps", "-p", "1"},
                                              .environment = {{"PATH", path + path + "/bin"}}});
    EXPECT_EQ(found.status, 0);
    const program_result none = run_program({.arguments = {folder / "one/ps", "-p", "1"},
                                             .environment = {{"PATH", path + "/nowhere"}}});
    EXPECT_EQ(none.status, 127);
}

TEST_F(Ps, SaysWhatCannotBeStarted)
{
    const std::string other = folder.write_program("ps", "#!/nowhere/interpreter\n");
    const program_result r =
        run_program({.arguments = {ps}, .environment = {{"PATH", folder.path()}}});
    EXPECT_EQ(r.status, 126);
    EXPECT_EQ(r.err, "ps: " + other + ": No such file or directory\n");
}
