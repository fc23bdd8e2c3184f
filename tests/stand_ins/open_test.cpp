#include "platform/core/run_processes.h"
#include "tests/support/eventually.h"
#include "tests/support/run_program.h"
#include "tests/support/test_files.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <unistd.h>

static const std::string bin = PAPERMILL_BUNDLE "/Resources/bin";

// A viewer that notes its arguments, each with a NUL, in the folder "seen", and stays.
static const char viewer[] = R"(#!/bin/sh
seen=$(dirname "$0")/../seen
printf '%s\0' "$#" "$@" > "$seen/arguments.$$"
mv "$seen/arguments.$$" "$seen/done.$$"
exec sleep 600
)";

class Open : public testing::Test {
protected:
    Open()
    {
        folder.make_folder("bin");
        folder.make_folder("seen");
        folder.write_program("bin/xdg-open", viewer);
    }
    ~Open() override
    {
        for (const std::string &number : viewers())
            kill(std::stoi(number), SIGKILL);
    }

    // The arguments come first, so that the program can look for its next tool anywhere.
    program_call call(const std::vector<std::string> &arguments) const
    {
        program_call result = {
            .arguments = {bin + "/open"},
            .environment = {{"PATH", bin + ":" + folder / "bin" + ":/usr/bin:/bin"}},
            .folder = folder.path()};
        result.arguments.insert(result.arguments.end(), arguments.begin(), arguments.end());
        return result;
    }

    std::vector<std::string> viewers() const // the process IDs of those that have noted all
    {
        std::vector<std::string> result;
        for (const std::string &name : names_in(folder / "seen")) {
            if (name.compare(0, 5, "done.") == 0)
                result.push_back(name.substr(5));
        }
        return result;
    }
    // The process ID of the only viewer, once it stays and its environment can be read.
    int viewer_pid() const
    {
        int pid = 0;
        EXPECT_TRUE(eventually([this, &pid] {
            const auto all = viewers();
            pid = all.size() == 1 ? std::stoi(all[0]) : 0;
            std::error_code gone;
            return pid != 0 &&
                   std::filesystem::read_symlink(proc(pid, "exe"), gone).stem() == "sleep" &&
                   !read_file(proc(pid, "environ")).empty();
        }));
        return pid;
    }
    static std::string proc(int pid, const std::string &what)
    {
        return "/proc/" + std::to_string(pid) + "/" + what;
    }
    std::string arguments(int pid) const
    {
        return read_file(folder / "seen/done." + std::to_string(pid));
    }
    static std::vector<std::string> open_files(int pid)
    {
        std::vector<std::string> result;
        std::error_code gone;
        for (std::filesystem::directory_iterator file(proc(pid, "fd"), gone), end; file != end;
             file.increment(gone))
            result.push_back(std::filesystem::read_symlink(file->path(), gone));
        return result;
    }
    // Its environment, each variable between NULs.
    static std::string environment(int pid)
    {
        return '\0' + read_file(proc(pid, "environ"));
    }

    temporary_folder folder;
};

TEST_F(Open, ShowsTheFileAndDoesNotWait)
{
    const std::string file = folder.write("a.pdf", "x");
    const program_result r = run_program(call({"-a", "Preview", file}));
    EXPECT_EQ(r.status, 0); // or the time would have been up
    EXPECT_EQ(r.out + r.err, "");
    EXPECT_EQ(arguments(viewer_pid()), std::string("1\0", 2) + file + '\0');
}

TEST_F(Open, TakesTheFormWithoutAnApplication)
{
    const std::string file = folder.write("a.pdf", "x");
    EXPECT_EQ(run_program(call({"a.pdf"})).status, 0);
    EXPECT_EQ(arguments(viewer_pid()), std::string("1\0", 2) + file + '\0');
}

TEST_F(Open, StartsAViewerForEachFile)
{
    folder.write("a.pdf", "x");
    folder.write("b.pdf", "x");
    EXPECT_EQ(run_program(call({"-a", "Preview", "a.pdf", "b.pdf"})).status, 0);
    EXPECT_TRUE(eventually([this] { return viewers().size() == 2; }));
}

TEST_F(Open, PassesHostileNamesAsTheyAre)
{
    for (const std::string name :
         {"a b", "'\"", "$(touch x)", "%d", "new\nline", "\xff\xfe", "http:x", "*", "~"}) {
        const std::string file = folder.write(name, "x");
        const auto before = viewers();
        ASSERT_EQ(run_program(call({name})).status, 0) << name;
        ASSERT_TRUE(eventually([&] { return viewers().size() == before.size() + 1; })) << name;
        for (const std::string &number : viewers()) {
            if (std::find(before.begin(), before.end(), number) == before.end()) {
                EXPECT_EQ(read_file(folder / "seen/done." + number),
                          std::string("1\0", 2) + file + '\0');
            }
        }
    }
    EXPECT_FALSE(file_exists(folder / "x"));
}

TEST_F(Open, TakesTheViewerOutOfTheRun)
{
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    folder.write("a.pdf", "x");
    const std::string run_folder = folder.make_folder("run");
    program_call c = call({"a.pdf"});
    c.environment["PAPERMILL_RUN"] = "7";
    c.environment["PAPERMILL_RUN_FOLDER"] = run_folder;
    c.environment["PAPERMILL_PID"] = std::to_string(getpid());
    c.environment["TMPDIR"] = run_folder + "/tmp";
    EXPECT_EQ(run_program(c).status, 0);

    const int pid = viewer_pid();
    const std::string variables = environment(pid);
    EXPECT_NE(variables.find(std::string("\0PAPERMILL_DETACHED=1\0", 22)), std::string::npos);
    EXPECT_EQ(variables.find(std::string("\0PAPERMILL_RUN", 14)), std::string::npos);
    EXPECT_EQ(variables.find(std::string("\0PAPERMILL_PID=", 15)), std::string::npos);
    EXPECT_EQ(variables.find(std::string("\0TMPDIR=", 8)), std::string::npos);
    EXPECT_EQ(getsid(pid), pid);
    EXPECT_TRUE(platform::list_run_processes(getpid(), run_folder.c_str()).empty());
}

TEST_F(Open, KeepsATemporaryFolderThatIsNotTheRuns)
{
    folder.write("a.pdf", "x");
    program_call c = call({"a.pdf"});
    c.environment["PAPERMILL_RUN_FOLDER"] = folder / "run";
    c.environment["TMPDIR"] = folder / "run2";
    EXPECT_EQ(run_program(c).status, 0);
    EXPECT_NE(environment(viewer_pid()).find('\0' + ("TMPDIR=" + folder / "run2") + '\0'),
              std::string::npos);
}

TEST_F(Open, LeavesTheViewerNoOpenFilesAndNoIgnoredSignals)
{
    // As a background job of a script's shell, with a descriptor of the script's.
    folder.write("a.pdf", "x");
    program_call c = call({});
    c.arguments = {"sh", "-c", "trap '' INT QUIT; exec 7< a.pdf; open a.pdf"};
    EXPECT_EQ(run_program(c).status, 0);
    const int pid = viewer_pid();
    // At its start it opens files of its own for a moment.
    EXPECT_TRUE(eventually([pid] {
        return open_files(pid) == std::vector<std::string>(3, "/dev/null");
    })) << testing::PrintToString(open_files(pid));
    kill(pid, SIGINT);
    EXPECT_TRUE(eventually([pid] {
        const std::string text = read_file(proc(pid, "status"));
        return text.empty() || text.find("State:\tZ") != std::string::npos;
    }));
}

TEST_F(Open, NamesAMissingFile)
{
    const std::string good = folder.write("good.pdf", "x");
    const program_result r = run_program(call({"-a", "Preview", "no such.pdf", "good.pdf"}));
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "open: no such.pdf: No such file or directory\n");
    EXPECT_EQ(arguments(viewer_pid()),
              std::string("1\0", 2) + good + '\0'); // and the good one alone
}

TEST_F(Open, NamesThePackageOfAMissingXdgOpen)
{
    folder.write("a.pdf", "x");
    program_call c = call({"a.pdf"});
    c.environment["PATH"] = bin;
    const program_result r = run_program(c);
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "open: xdg-open was not found. Install the package xdg-utils.\n");
}

TEST_F(Open, HandsOverAnyOtherForm)
{
    folder.write("a.pdf", "x");
    folder.write_program("bin/open", "#!/bin/sh\nprintf '%s|' other \"$@\"\n");
    for (const std::vector<std::string> &arguments : {std::vector<std::string>{},
                                                      {"-a"},
                                                      {"-a", "Preview"},
                                                      {"-a", "TextEdit", "a.pdf"},
                                                      {"-R", "a.pdf"},
                                                      {"-W", "-a", "Preview", "a.pdf"},
                                                      {"-b", "id", "a.pdf"},
                                                      {"a.pdf", "--args", "x"},
                                                      {"https://localhost/"}}) {
        std::string expected = "other|";
        for (const std::string &argument : arguments)
            expected += argument + "|";
        EXPECT_EQ(run_program(call(arguments)).out, expected);
    }
    EXPECT_TRUE(viewers().empty());
}
