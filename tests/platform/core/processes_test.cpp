#include "platform/processes.h"

#include "platform/core/folders.h"
#include "platform/core/signals.h"
#include "platform/events.h"
#include "platform/strings.h"
#include "tests/support/eventually.h"
#include "tests/support/test_files.h"
#include "tests/support/watched_platform.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

std::string shell_says(const std::string &line)
{
    std::FILE *pipe = popen(line.c_str(), "r");
    std::string said;
    for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe))
        said += static_cast<char>(c);
    pclose(pipe);
    return said;
}

std::string in_double_quotes(const std::string &s)
{
    return platform::in_double_quotes(s.c_str());
}

std::string as_word(const std::string &s)
{
    return platform::as_word(s.c_str());
}

std::vector<std::string> hostile_texts()
{
    std::vector<std::string> texts = {"",
                                      "plain.ps",
                                      "two words",
                                      "it's",
                                      "a\"b\"",
                                      "$HOME ${HOME} $(echo x) $((1+1))",
                                      "`echo x`",
                                      "back\\slash \\\\ \\",
                                      "a;b&c|d<e>f()",
                                      "* ? [a] {b,c} ~ ~root",
                                      "!! # @ : %d %s = ^",
                                      "-dash",
                                      "tab\tnew\nline\rreturn",
                                      "\xC3\xA4\xFF\x80\x7F\x01"};
    for (int c = 1; c < 256; ++c)
        texts.emplace_back(3, static_cast<char>(c));
    return texts;
}

} // namespace

// ---- texts for the shell ----

TEST(Processes, AProgramHasTheNameOfItsBundle)
{
    EXPECT_EQ(platform::process_name("/apps/Some Thing.app/Contents/Linux/thing"), "Some Thing");
    EXPECT_EQ(platform::process_name("/apps/Thing.app/Linux/thing"), "thing");
    EXPECT_EQ(platform::process_name("/apps/Thing/Contents/Linux/thing"), "thing");
    EXPECT_EQ(platform::process_name("/Contents/thing"), "thing");
}

TEST(ShellTexts, FourCharactersGetABackslashInDoubleQuotes)
{
    EXPECT_EQ(in_double_quotes("a\"b$c`d\\e"), "a\\\"b\\$c\\`d\\\\e");
    EXPECT_EQ(in_double_quotes("it's a; & | * ~ ! # % \t\n"), "it's a; & | * ~ ! # % \t\n");
    EXPECT_EQ(in_double_quotes(""), "");
}

TEST(ShellTexts, TheShellReadsQuotedTextsAsTheyAre)
{
    for (const std::string &each : hostile_texts()) {
        const std::string last = each + "."; // $( ) takes line ends away, the dot keeps them
        EXPECT_EQ(shell_says("printf %s. \"" + in_double_quotes(each) + "\""), last);
        EXPECT_EQ(shell_says("printf %s. " + as_word(each)), last);
    }
}

TEST(ShellTexts, OrdinaryNamesStayAsTheyAreAsWords)
{
    for (const char *name : {"plain.ps", "/a/b-c_d+e,f:g@h%i=j.1", "-dash", "A09"})
        EXPECT_EQ(as_word(name), name);
    EXPECT_EQ(as_word("two words"), "'two words'");
    EXPECT_EQ(as_word("it's"), "'it'\\''s'");
    EXPECT_EQ(as_word(""), "''");
    EXPECT_EQ(as_word("~"), "'~'");
}

// ---- the shell ----

TEST(Shell, ItsStatusComesBack)
{
    EXPECT_EQ(platform::system("true"), 0);
    EXPECT_EQ(platform::exit_status_of(platform::system("exit 42")), 42);
    EXPECT_EQ(platform::exit_status_of(platform::system("kill -9 $$")), 128 + SIGKILL);
    EXPECT_EQ(platform::exit_status_of(platform::system("no-such-command 2>/dev/null")), 127);
}

TEST(Shell, StatusesAreToldAsTheShellTellsThem)
{
    EXPECT_EQ(platform::exit_status_of(0), 0);
    EXPECT_EQ(platform::exit_status_of(3 << 8), 3);
    EXPECT_EQ(platform::exit_status_of(255 << 8), 255);
    EXPECT_EQ(platform::exit_status_of(SIGTERM), 128 + SIGTERM);
    EXPECT_EQ(platform::exit_status_of(SIGSEGV | 0x80), 128 + SIGSEGV); // with a core
}

TEST(Shell, ABackgroundLineIsNotWaitedFor)
{
    const temporary_folder folder;
    const std::string go = folder / "go";
    // A line that were waited for would wait for ever.
    EXPECT_EQ(platform::system(("{ while [ ! -e '" + go + "' ]; do sleep 0.01; done; rm '" + go +
                                "'; } > /dev/null 2>&1 &")
                                   .c_str()),
              0);
    folder.write("go", "");
    EXPECT_TRUE(eventually([&] { return !file_exists(go); }));
}

TEST(Shell, TheEndOfTheLineIsNoticedAtOnce)
{
    EXPECT_TRUE(in_child([] {
        platform::catch_signals();
        // Without the signal of its end, the next look would come after a quarter of a second.
        EXPECT_TRUE(
            can_end_within(std::chrono::milliseconds(240), [] { platform::system("sleep 0.02"); }));
    }));
}

TEST(Shell, AnInterruptEndsTheLine)
{
    EXPECT_TRUE(in_child([] {
        platform::catch_signals();
        const pid_t own = getpid();
        const pid_t helper = start_child([own] {
            usleep(100000);
            kill(own, SIGINT);
        });
        EXPECT_EQ(platform::exit_status_of(platform::system("exec sleep 600")), 128 + SIGKILL);
        EXPECT_TRUE(child_succeeded(helper));
    }));
}

TEST(Shell, ToolsDoNotInheritBlockedOrIgnoredSignals)
{
    EXPECT_TRUE(in_child([] {
        platform::catch_signals();
        EXPECT_EQ(platform::exit_status_of(platform::system("kill -PIPE $$")), 128 + SIGPIPE);
        EXPECT_EQ(platform::exit_status_of(platform::system("kill -INT $$")), 128 + SIGINT);
        sigset_t all;
        sigfillset(&all);
        sigprocmask(SIG_SETMASK, &all, nullptr);
        EXPECT_EQ(platform::exit_status_of(platform::system("kill -TERM $$")), 128 + SIGTERM);
    }));
}

// ---- the system and this process ----

TEST(System, ThereAreTwoAnswers)
{
    std::int32_t response = 0;
    EXPECT_EQ(Gestalt(gestaltSystemVersion, &response), noErr);
    EXPECT_EQ(response, 0x1049);
    EXPECT_EQ(Gestalt(gestaltMenuMgrAttr, &response), noErr);
    EXPECT_EQ(response & 2, 2);
    response = 77;
    EXPECT_EQ(Gestalt(four_chars("none"), &response), gestaltUndefSelectorErr);
    EXPECT_EQ(response, 77);
}

TEST(System, TicksAreSixtiethsOfASecond)
{
    using steady = std::chrono::steady_clock;
    const auto sixtieths = [](steady::duration time) {
        return std::chrono::duration<double>(time).count() * 60;
    };
    const auto before_first = steady::now();
    const std::uint32_t first = TickCount();
    const auto after_first = steady::now();
    usleep(500000);
    const auto before_last = steady::now();
    const std::uint32_t ticks = TickCount() - first;
    const auto after_last = steady::now();
    EXPECT_GE(ticks, sixtieths(before_last - after_first) - 1);
    EXPECT_LE(ticks, sixtieths(after_last - before_first) + 1);
}

TEST(System, ThisProcessIsToldFromTheFrontOne)
{
    ProcessSerialNumber own = {};
    ProcessSerialNumber front = {};
    Boolean same = 0;
    EXPECT_EQ(GetCurrentProcess(&own), noErr);
    EXPECT_EQ(GetFrontProcess(&front), noErr);
    EXPECT_EQ(SameProcess(&own, &front, &same), noErr);
    EXPECT_EQ(same, 1);
    platform::set_front_process(false);
    GetFrontProcess(&front);
    SameProcess(&own, &front, &same);
    EXPECT_EQ(same, 0);
    ProcessInfoRec record = {};
    EXPECT_EQ(GetProcessInformation(&front, &record), procNotFound);
    platform::set_front_process(true);
}

TEST(System, FoldersAreFoundByTheirKind)
{
    temporary_folder home;
    EXPECT_TRUE(in_child([&] {
        setenv("HOME", home.path().c_str(), 1);
        setenv("TMPDIR", home.path().c_str(), 1);
        unsetenv("XDG_CONFIG_HOME");
        FSRef folder;
        char path[1024];
        EXPECT_EQ(FSFindFolder(kOnAppropriateDisk, kTemporaryFolderType, 0, &folder), fnfErr);
        EXPECT_EQ(FSFindFolder(kOnAppropriateDisk, kTemporaryFolderType, 1, &folder), noErr);
        EXPECT_EQ(FSRefMakePath(&folder, path, sizeof path), noErr);
        EXPECT_EQ(path, platform::temporary_folder(false));
        EXPECT_EQ(FSFindFolder(kOnAppropriateDisk, kCurrentUserFolderType, 0, &folder), noErr);
        EXPECT_EQ(FSRefMakePath(&folder, path, sizeof path), noErr);
        EXPECT_EQ(path, home.path());
        EXPECT_EQ(FSFindFolder(kOnAppropriateDisk, kPreferencesFolderType, 0, &folder), noErr);
        EXPECT_EQ(FSRefMakePath(&folder, path, sizeof path), noErr);
        EXPECT_EQ(path, home / ".config/papermill");
        EXPECT_EQ(FSFindFolder(kOnAppropriateDisk, four_chars("none"), 1, &folder), fnfErr);
        EXPECT_EQ(FSFindFolder(0, kCurrentUserFolderType, 0, &folder), nsvErr);
        std::exit(testing::Test::HasFailure() ? 1 : 0);
    }));
}

// ---- runs ----

namespace {

class Run : public testing::Test {
protected:
    ~Run() override
    {
        unsetenv("TMPDIR");
    }

    static std::string variable(const char *name)
    {
        const char *value = std::getenv(name);
        return value == nullptr ? "(unset)" : value;
    }

    temporary_folder folder;
    const std::string run = folder / "run.5";
};

} // namespace

TEST_F(Run, ItsProcessesKnowItFromTheirEnvironment)
{
    setenv("TMPDIR", "/before", 1);
    ASSERT_TRUE(platform::begin_run(run.c_str(), 5));
    EXPECT_EQ(variable("PAPERMILL_RUN"), "5");
    EXPECT_EQ(variable("PAPERMILL_RUN_FOLDER"), run);
    EXPECT_EQ(variable("TMPDIR"), run + "/tmp");
    EXPECT_EQ(shell_says("echo $PAPERMILL_RUN $PAPERMILL_RUN_FOLDER"), "5 " + run + "\n");
    struct stat status = {};
    for (const std::string &each : {run, run + "/tmp"}) {
        ASSERT_EQ(stat(each.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode, S_IFDIR | 0700U);
    }
    platform::end_run(run.c_str());
    EXPECT_EQ(variable("PAPERMILL_RUN"), "(unset)");
    EXPECT_EQ(variable("PAPERMILL_RUN_FOLDER"), "(unset)");
    EXPECT_EQ(variable("TMPDIR"), "/before");
    EXPECT_TRUE(folder.names().empty());
}

TEST_F(Run, TheTemporaryFolderOfTheToolsIsGivenBackEveryTime)
{
    for (const char *before : {"/first", "/second"}) {
        setenv("TMPDIR", before, 1);
        ASSERT_TRUE(platform::begin_run(run.c_str(), 1));
        platform::end_run(run.c_str());
        EXPECT_EQ(variable("TMPDIR"), before);
    }
    unsetenv("TMPDIR");
    ASSERT_TRUE(platform::begin_run(run.c_str(), 1));
    platform::end_run(run.c_str());
    EXPECT_EQ(variable("TMPDIR"), "(unset)");
}

TEST_F(Run, AFolderThatIsThereAlreadyIsNotTaken)
{
    folder.make_folder("run.5");
    EXPECT_FALSE(platform::begin_run(run.c_str(), 5));
    platform::end_run(run.c_str());
    EXPECT_FALSE(platform::begin_run((folder / "missing/run.5").c_str(), 5));
    platform::end_run((folder / "missing/run.5").c_str());
}

TEST_F(Run, OrphansBecomeTheProgramsOwn)
{
    EXPECT_TRUE(in_child([&] {
        platform::prepare_for_tools();
        EXPECT_EQ(variable("PAPERMILL_PID"), std::to_string(getpid()));
        ASSERT_TRUE(platform::begin_run(run.c_str(), 5));
        EXPECT_EQ(platform::system("sh -c 'sleep 600 > /dev/null 2>&1 &'"), 0);
        EXPECT_TRUE(eventually([] { // it becomes that program after its parent has ended
            const auto processes = platform::run_processes();
            EXPECT_EQ(processes.size(), 1U);
            return processes.size() == 1 && processes[0].name == "sleep";
        }));
        platform::kill_run_processes();
        EXPECT_TRUE(platform::run_processes().empty());
        EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1); // none is left, no zombie either
        platform::end_run(run.c_str());
    }));
}
