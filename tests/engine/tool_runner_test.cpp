#include "engine/tool_runner.h"

#include "app/event_pump.h"
#include "app/globals.h"
#include "console/console_text.h"
#include "console/console_window.h"
#include "platform/events.h"
#include "platform/processes.h"
#include "platform/strings.h"
#include "tests/support/eventually.h"
#include "tests/support/fake_script.h"
#include "tests/support/spine_test.h"
#include "tests/support/test_files.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using steady = std::chrono::steady_clock;

class ToolRunner : public spine_test {
protected:
    ToolRunner()
    {
        platform::copy_whole(command_line, ("gs.script ps2pdf " + std::to_string(appPID) + " \"" +
                                            std::string(worksheet) + "\" \"out\" \"in\" \"\"")
                                               .c_str());
    }

    // The plain run of most tests.
    static int run()
    {
        run_options options;
        options.subject = "drawing.ps";
        return run_and_wait(options);
    }

    std::string shown() const
    {
        return without_time(console.lines());
    }

    fake_script script;
};

const std::string complete = "\nProcessing complete.\nElapsed time = N sec.\n\n";
const std::string cancelled = "\nUser cancelled processing.\n";

constexpr auto shorter_than_the_timer = std::chrono::milliseconds(240);

} // namespace

// ---- the sequence ----

TEST_F(ToolRunner, ARunShowsItsBannerTheOutputAndTheTime)
{
    run_options options;
    options.banner = "Converting a 100% file to another.\n";
    EXPECT_EQ(run_and_wait(options), 1);
    EXPECT_EQ(shown(), "Converting a 100% file to another.\n\ntool output\n" + complete);
    EXPECT_EQ(script.calls(), 1);
    EXPECT_EQ(exit_status, 0);
    EXPECT_EQ(last_ending, ended_well);
    EXPECT_EQ(failed_conversions, 0);
    EXPECT_EQ(inRun, 0);
    EXPECT_EQ(inScript, 0);
    EXPECT_FALSE(file_exists(worksheet));
}

TEST_F(ToolRunner, TheFlagsStandWhileTheScriptRuns)
{
    script.does("while [ ! -e $run/../seen ]; do sleep 0.01; done; ends 0 done; reports");
    userCancel = 1; // of an earlier run
    platform::copy_whole(unixTool, "older");
    static std::string seen;
    during_the_wait([] {
        seen = std::string(unixTool) + " " + std::to_string(inRun) + " " +
               std::to_string(inScript) + " " + std::to_string(userCancel);
        write_file(std::string(tmpPath) + "/seen", "");
    });
    run_options options;
    options.unix_tool = "pstopdf";
    EXPECT_EQ(run_and_wait(options), 1);
    EXPECT_EQ(seen, "pstopdf 1 1 0");
}

TEST_F(ToolRunner, TheScriptLearnsItsRunFromItsEnvironment)
{
    setenv("TMPDIR", "/before", 1);
    run();
    const auto environment = script.environment();
    const std::string folder_of_run = std::string(tmpPath) + "/run." + std::to_string(run_serial);
    EXPECT_EQ(environment.at("PAPERMILL_RUN_FOLDER"), folder_of_run);
    EXPECT_EQ(environment.at("PAPERMILL_RUN"), std::to_string(run_serial));
    EXPECT_EQ(environment.at("PAPERMILL_PID"), std::to_string(getpid()));
    EXPECT_EQ(environment.at("TMPDIR"), folder_of_run + "/tmp");
    EXPECT_EQ(environment.count("PAPERMILL_PREPARED_FROM"), 0U);
    EXPECT_FALSE(file_exists(folder_of_run));
    EXPECT_STREQ(std::getenv("TMPDIR"), "/before");
    unsetenv("TMPDIR");
}

TEST_F(ToolRunner, EveryRunHasANumberOfItsOwn)
{
    run();
    const std::string first = script.environment().at("PAPERMILL_RUN");
    run();
    EXPECT_EQ(std::stoi(script.environment().at("PAPERMILL_RUN")), std::stoi(first) + 1);
}

TEST_F(ToolRunner, ACopysRunKnowsTheUsersFile)
{
    set_prepared_from("/home/user/figure.eps");
    run();
    EXPECT_EQ(script.environment().at("PAPERMILL_PREPARED_FROM"), "/home/user/figure.eps");
    set_prepared_from(nullptr);
    run();
    EXPECT_EQ(script.environment().count("PAPERMILL_PREPARED_FROM"), 0U);
}

TEST_F(ToolRunner, TheElapsedTimeIsInSecondsWithOneDecimal)
{
    struct {
        std::uint32_t start, end;
        const char *told;
    } const runs[] = {{1000, 1090, "1.5"},      {0, 0, "0.0"},        {10, 13, "0.1"},
                      {10, 12, "0.0"},          {0, 36000, "600.0"},  {7, 67, "1.0"},
                      {0xFFFFFFF0U, 74, "1.5"}, {5, 5 + 5940, "99.0"}};
    for (const auto &each : runs) {
        console.clear();
        watched.clock = {each.start, each.end};
        run();
        EXPECT_EQ(console.lines(), std::string("\ntool output\n\nProcessing complete.\n"
                                               "Elapsed time = ") +
                                       each.told + " sec.\n\n");
    }
}

// ---- the variants of the sequence ----

namespace {

struct variant {
    const char *name;
    run_options options;
    bool cancel; // the user cancels it
    const char *shown;
    const char *redraws; // redraws and cursors, in their order
    const char *left;    // in the capture file afterwards
};

run_options with(void (*change)(run_options &))
{
    run_options options;
    change(options);
    return options;
}

// The wait calls restore() itself, once; the end of the run does it again unless told not to.
const variant variants[] = {
    {"plain",
     {},
     false,
     "\ntool output\n\nProcessing complete.\nElapsed time = N sec.\n\n",
     "redraw-first arrow arrow",
     nullptr},
    {"banner", with([](run_options &o) { o.banner = "Banner.\n"; }), false,
     "Banner.\n\ntool output\n\nProcessing complete.\nElapsed time = N sec.\n\n",
     "redraw-first arrow arrow", nullptr},
    {"flush never", with([](run_options &o) { o.flush = flush_never; }), false,
     "\ntool output\n\nProcessing complete.\nElapsed time = N sec.\n\n", "arrow arrow", nullptr},
    {"flush after the result", with([](run_options &o) { o.flush = flush_after_result; }), false,
     "\ntool output\n\nProcessing complete.\nElapsed time = N sec.\n\n", "arrow redraw-last arrow",
     nullptr},
    {"no arrow", with([](run_options &o) { o.set_arrow = false; }), false,
     "\ntool output\n\nProcessing complete.\nElapsed time = N sec.\n\n", "redraw-first arrow",
     nullptr},
    {"no copy", with([](run_options &o) { o.copy_output = false; }), false,
     "\nProcessing complete.\nElapsed time = N sec.\n\n", "redraw-first arrow arrow", nullptr},
    {"no copy, the failure told later", with([](run_options &o) {
         o.copy_output = false;
         o.tell_failure = false;
     }),
     false, "\nProcessing complete.\nElapsed time = N sec.\n\n", "redraw-first arrow arrow",
     "tool output\n"},
    {"nothing told", with([](run_options &o) { o.tell_result = false; }), false, "\ntool output\n",
     "redraw-first arrow arrow", nullptr},
    {"cancelled", {}, true, "\nUser cancelled processing.\n", "redraw-first arrow arrow", nullptr},
    {"cancelled, time told", with([](run_options &o) { o.elapsed_after_cancel = true; }), true,
     "\nUser cancelled processing.\nElapsed time = N sec.\n\n", "redraw-first arrow arrow",
     nullptr},
    {"cancelled, nothing told", with([](run_options &o) { o.tell_result = false; }), true, "",
     "redraw-first arrow arrow", nullptr},
    {"cancelled, no copy", with([](run_options &o) { o.copy_output = false; }), true,
     "\nUser cancelled processing.\n", "redraw-first arrow arrow", nullptr},
};

// The redraws and cursors of a run, in words.
std::string redraws(const std::string &banner, const std::string &all)
{
    std::string words;
    for (const platform_call &call : watched.calls) {
        if (call.name == "SetCursor")
            words += " arrow";
        else if (call.name == "TXNForceUpdate" && call.in_run)
            words += " redraw-in-the-run";
        else if (call.name == "TXNForceUpdate" && call.shown == banner)
            words += " redraw-first";
        else if (call.name == "TXNForceUpdate" && call.shown == all)
            words += " redraw-last";
        else if (call.name == "TXNForceUpdate")
            words += " redraw-between";
    }
    return words.empty() ? words : words.substr(1);
}

} // namespace

TEST_F(ToolRunner, VariantsOfTheSequenceDifferAsTheirOptionsSay)
{
    for (const variant &each : variants) {
        SCOPED_TRACE(each.name);
        console.clear();
        watched.calls.clear();
        script.does("says 'tool output\\n'; ends 0 done; sleep 0.05; reports");
        if (each.cancel) {
            script.does("says 'tool output\\n'; exec sleep 600");
            during_the_wait([] {
                ASSERT_TRUE(eventually([] { return !read_file(worksheet).empty(); }));
                userCancel = 1;
                inScript = 0;
            });
        }
        EXPECT_EQ(run_and_wait(each.options), each.cancel ? 0 : 1);
        EXPECT_EQ(last_ending, each.cancel ? ended_cancelled : ended_well);
        EXPECT_EQ(without_time(console.lines()), each.shown);
        EXPECT_EQ(
            redraws(each.options.banner != nullptr ? each.options.banner : "", console.lines()),
            each.redraws);
        EXPECT_EQ(read_file(worksheet), each.left == nullptr ? "" : each.left);
        unlink(worksheet);
    }
}

TEST_F(ToolRunner, TheScriptRunsInTheFolderOfTheOptions)
{
    for (const bool by_launcher : {false, true}) {
        ASSERT_EQ(chdir("/"), 0);
        run_options options;
        options.folder = folder.path().c_str();
        options.launch_in_folder = by_launcher;
        EXPECT_EQ(run_and_wait(options), 1);
        EXPECT_EQ(script.working_folder(), folder.path());
    }
    ASSERT_EQ(chdir("/"), 0);
    run();
    EXPECT_EQ(script.working_folder(), "/");
}

TEST_F(ToolRunner, AFolderThatIsNotThereIsARunThatNeverStarted)
{
    const std::string missing = folder / "missing";
    run_options options;
    options.folder = missing.c_str();
    options.subject = "drawing.ps";
    EXPECT_EQ(run_and_wait(options), 1);
    EXPECT_EQ(script.calls(), 0);
    EXPECT_EQ(shown(), "Can't change to the folder " + missing + ": No such file or directory.\n" +
                           complete + "drawing.ps: not done, gs was not started.\n");

    console.clear();
    options.launch_in_folder = true;
    EXPECT_EQ(run_and_wait(options), 1);
    EXPECT_EQ(script.calls(), 0);
    EXPECT_EQ(shown(), "Can't change to the folder " + missing +
                           ": No such file or directory.\n"
                           "An error occurred when running gs.script.\n"
                           "Launch /Applications/Utilities/Console and examine console.log.\n" +
                           complete + "drawing.ps: not done, gs was not started.\n");
    EXPECT_EQ(last_ending, ended_not_started);
}

TEST_F(ToolRunner, WithoutATemporaryFolderNothingIsStarted)
{
    platform::copy_whole(tmpPath, (folder / "missing").c_str());
    EXPECT_EQ(run(), 1);
    EXPECT_EQ(script.calls(), 0);
    EXPECT_EQ(last_ending, ended_not_started);
    EXPECT_EQ(failed_conversions, 1);
    EXPECT_EQ(shown(), "Can't make the folder " + folder / "missing/run." +
                           std::to_string(run_serial) + ": No such file or directory.\n" +
                           complete + "drawing.ps: not done, gs was not started.\n");
}

// ---- how a run ends ----

namespace {

struct way_to_end {
    const char *steps;
    std::int32_t status;
    run_ending ending;
    const char *line; // the one more line
};

const way_to_end ways_to_end[] = {
    {"ends 0 done; reports", 0, ended_well, ""},
    {"ends 1 done; reports", 1, ended_with_status, "drawing.ps: failed, gs ended with status 1.\n"},
    {"ends 128 done; reports", 128, ended_with_status,
     "drawing.ps: failed, gs ended with status 128.\n"},
    {"ends 139 done; reports", 139, ended_by_signal,
     "drawing.ps: failed, gs was ended by signal 11.\n"},
    {"ends 255 done; reports", 255, ended_with_status,
     "drawing.ps: failed, gs ended with status 255.\n"},
    {"ends 0 unusable; reports", 0, ended_without_result,
     "drawing.ps: failed, gs ended without an error but left no usable result.\n"},
    {"ends 127 missing; reports", 127, ended_not_started,
     "drawing.ps: not done, gs was not started.\n"},
    {"ends 66 missing; reports", 66, ended_not_started,
     "drawing.ps: not done, gs was not started.\n"},
    {"reports", 127, ended_not_started, "drawing.ps: not done, gs was not started.\n"},
    {": > $run/status; reports", 127, ended_not_started,
     "drawing.ps: not done, gs was not started.\n"},
    {"exit 3", 127, ended_not_started, "drawing.ps: not done, gs was not started.\n"},
    {"kill -9 $$", 127, ended_not_started, "drawing.ps: not done, gs was not started.\n"},
    {"ends 2 done; exit 2", 2, ended_with_status, "drawing.ps: failed, gs ended with status 2.\n"},
};

} // namespace

TEST_F(ToolRunner, EndingsAreToldApart)
{
    for (const way_to_end &way : ways_to_end) {
        SCOPED_TRACE(way.steps);
        console.clear();
        failed_conversions = 0;
        exit_status = 77;
        script.does(way.steps);
        EXPECT_EQ(run(), 1);
        EXPECT_EQ(exit_status, way.status);
        EXPECT_EQ(last_ending, way.ending);
        EXPECT_EQ(failed_conversions, way.ending == ended_well ? 0 : 1);
        EXPECT_EQ(shown(), complete + way.line);
    }
}

TEST_F(ToolRunner, InTheBackgroundEndingsAreToldApartToo)
{
    inBackground = 1;
    for (const way_to_end &way : ways_to_end) {
        SCOPED_TRACE(way.steps);
        script.does(std::string(way.steps));
        exit_status = 77;
        run();
        EXPECT_EQ(exit_status, way.status);
        EXPECT_EQ(last_ending, way.ending);
    }
}

TEST_F(ToolRunner, InTheBackgroundTheScriptsOwnStatusIsToldFirst)
{
    inBackground = 1;
    script.does("ends 2 done; exit 2");
    run();
    EXPECT_EQ(shown(), "An error occurred when running gs.script.\n"
                       "Launch /Applications/Utilities/Console and examine console.log.\n" +
                           complete + "drawing.ps: failed, gs ended with status 2.\n");
    EXPECT_EQ(failed_conversions, 1);
}

TEST_F(ToolRunner, ACancelIsAnEndingOfItsOwn)
{
    script.does("ends 1 done; exec sleep 600");
    during_the_wait([] {
        userCancel = 1;
        inScript = 0;
    });
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(last_ending, ended_cancelled);
    EXPECT_EQ(failed_conversions, 0);
    EXPECT_EQ(shown(), cancelled);
}

TEST_F(ToolRunner, TheLineOnAFailureNamesWhatFailed)
{
    script.does("ends 1 done; reports");
    run_options options;
    options.unix_tool = "gs";
    options.tool_name = "the command";
    options.subject = "ls -l";
    run_and_wait(options);
    EXPECT_EQ(shown(), complete + "ls -l: failed, the command ended with status 1.\n");

    console.clear();
    set_prepared_from("/home/user/figure.eps");
    run_and_wait(options);
    set_prepared_from(nullptr);
    EXPECT_EQ(shown(), complete + "/home/user/figure.eps: failed, the command ended with status "
                                  "1.\n");

    console.clear();
    platform::copy_whole(command_line, "gs.script");
    run_and_wait(run_options());
    EXPECT_EQ(shown(), complete + "gs.script: failed, gs ended with status 1.\n");
}

// ---- runs without a capture file ----

namespace {

// What its tools said lies in the run's folder.
run_options without_capture()
{
    run_options options;
    options.copy_output = false;
    options.subject = "drawing.ps";
    return options;
}

} // namespace

TEST_F(ToolRunner, WithoutACaptureFileTheToolsWordsAreShownOnlyWhenTheRunFailed)
{
    for (const way_to_end &way : ways_to_end) {
        SCOPED_TRACE(way.steps);
        console.clear();
        failed_conversions = 0;
        script.does(std::string("echo words > $run/messages\n") + way.steps);
        EXPECT_EQ(run_and_wait(without_capture()), 1);
        const bool failed = way.ending != ended_well;
        EXPECT_EQ(shown(), complete + (failed ? "\nwords\n" : "") + way.line);
        EXPECT_EQ(last_ending, way.ending);
        EXPECT_EQ(failed_conversions, failed ? 1 : 0);
        EXPECT_FALSE(file_exists(worksheet));
    }
}

TEST_F(ToolRunner, WithoutACaptureFileAFailureNeedsNoWords)
{
    script.does("ends 1 done; reports");
    run_and_wait(without_capture());
    EXPECT_EQ(shown(), complete + "drawing.ps: failed, gs ended with status 1.\n");
}

TEST_F(ToolRunner, WithoutACaptureFileACancelShowsNoWords)
{
    script.does("echo words > $run/messages; sleep 60");
    during_the_wait([] {
        const std::string words =
            std::string(tmpPath) + "/run." + std::to_string(run_serial) + "/messages";
        EXPECT_TRUE(eventually([&] { return !read_file(words).empty(); }));
        userCancel = 1;
        inScript = 0;
    });
    EXPECT_EQ(run_and_wait(without_capture()), 0);
    EXPECT_EQ(shown(), cancelled);
    EXPECT_FALSE(file_exists(worksheet));
    EXPECT_EQ(failed_conversions, 0);
}

TEST_F(ToolRunner, TheFailureCanBeToldByTheCaller)
{
    run_options options = without_capture();
    options.tell_failure = false;
    options.tell_result = false;
    script.does("echo words > $run/messages; ends 3 done; reports");
    EXPECT_EQ(run_and_wait(options), 1);
    EXPECT_EQ(console.text(), "");
    EXPECT_EQ(failed_conversions, 0);
    EXPECT_EQ(last_ending, ended_with_status);
    tell_failure(options);
    EXPECT_EQ(console.lines(), "\nwords\ndrawing.ps: failed, gs ended with status 3.\n");
    EXPECT_EQ(failed_conversions, 1);
    EXPECT_FALSE(file_exists(worksheet));

    console.clear();
    script.does("echo words > $run/messages; ends 0 done; reports");
    run_and_wait(options);
    tell_failure(options);
    EXPECT_EQ(console.text(), "");
    EXPECT_EQ(failed_conversions, 1);
    EXPECT_FALSE(file_exists(worksheet));
}

// ---- after InvokeTool3 ----

TEST_F(ToolRunner, AStreamedToolsEndingIsTold)
{
    struct {
        std::int32_t status;
        run_ending ending;
        const char *line;
    } const endings[] = {
        {0, ended_well, ""},
        {1, ended_with_status, "a.eps: failed, convert ended with status 1.\n"},
        {127, ended_not_started, "a.eps: not done, convert was not started.\n"},
        {128, ended_with_status, "a.eps: failed, convert ended with status 128.\n"},
        {139, ended_by_signal, "a.eps: failed, convert was ended by signal 11.\n"},
        {255, ended_with_status, "a.eps: failed, convert ended with status 255.\n"},
    };
    for (const auto &each : endings) {
        console.clear();
        failed_conversions = 0;
        exit_status = each.status;
        EXPECT_EQ(tool3_succeeded("a.eps", "convert"), each.ending == ended_well);
        EXPECT_EQ(console.lines(), each.line);
        EXPECT_EQ(last_ending, each.ending);
        EXPECT_EQ(exit_status, each.status);
        EXPECT_EQ(failed_conversions, each.ending == ended_well ? 0 : 1);
    }
}

TEST_F(ToolRunner, AStreamedToolsEndingNamesTheUsersFile)
{
    exit_status = 1;
    set_prepared_from("/home/user/figure.eps");
    EXPECT_FALSE(tool3_succeeded("/tmp/tmp1.eps", "convert"));
    set_prepared_from(nullptr);
    EXPECT_EQ(console.lines(), "/home/user/figure.eps: failed, convert ended with status 1.\n");
}

// ---- the shell ----

TEST_F(ToolRunner, WhenTheShellIsMissingItsPackageIsNamed)
{
    script.does("exit 1");
    const std::string path = std::getenv("PATH");
    folder.make_folder("bin");
    for (const char *tool : {"sh", "env", "pwd"})
        ASSERT_EQ(symlink((std::string("/bin/") + tool).c_str(), (folder / "bin/" + tool).c_str()),
                  0);
    setenv("PATH", (path.substr(0, path.find(':')) + ":" + folder / "bin").c_str(), 1);
    run();
    setenv("PATH", path.c_str(), 1);
    EXPECT_EQ(shown(), complete + "drawing.ps: not done, gs was not started.\n"
                                  "tcsh was not found. Install the package tcsh.\n");
}

// ---- the wait ----

TEST_F(ToolRunner, AReportEndsTheWaitAtOnce)
{
    // It reports when the timer has fired, and lives on, so that its end is not what ends the wait.
    script.does("while [ ! -e $run/waits ]; do sleep 0.01; done; ends 0 done; reports; sleep 5");
    static steady::time_point start;
    EXPECT_TRUE(eventually([] {
        during_the_wait([] {
            write_file(std::string(tmpPath) + "/run." + std::to_string(run_serial) + "/waits", "");
            start = steady::now();
        });
        run();
        return steady::now() - start < shorter_than_the_timer;
    }));
}

TEST_F(ToolRunner, AReportBeforeTheSheetEndsTheWaitAtOnce)
{
    EXPECT_TRUE(can_end_within(shorter_than_the_timer, [] {
        watched.calls.clear();
        inScript = 1;
        HandleDone(nullptr, nullptr, 0);
        WaitForScript();
        EXPECT_EQ(watched.order(), "ShowSheetWindow HideSheetWindow SetCursor");
    }));
}

TEST_F(ToolRunner, TheDoneRequestEndsTheRun)
{
    inScript = 1;
    EXPECT_EQ(HandleDone(nullptr, nullptr, 0), noErr);
    EXPECT_EQ(inScript, 0);
}

TEST_F(ToolRunner, AScriptThatTakesItsTimeIsWaitedFor)
{
    script.does("sleep 0.7; says 'late\\n'; ends 0 done; reports");
    run();
    EXPECT_EQ(shown(), "\nlate\n" + complete);
}

TEST_F(ToolRunner, ALaunchThatFailsEndsTheWaitAtTheFirstTick)
{
    platform::copy_whole(command_line, "{ 2>/dev/null ;; }");
    EXPECT_TRUE(can_end_within(shorter_than_the_timer, [this] {
        console.clear();
        EXPECT_EQ(run(), 1);
        EXPECT_EQ(inScript, 0);
        EXPECT_EQ(shown(), "An error occurred when running gs.script.\n"
                           "Launch /Applications/Utilities/Console and examine console.log.\n" +
                               complete + "drawing.ps: not done, gs was not started.\n");
    }));
}

TEST_F(ToolRunner, AScriptThatDiesWithoutAReportIsNotWaitedForForEver)
{
    script.does("says 'last words\\n'; kill -9 $$");
    EXPECT_EQ(run(), 1);
    EXPECT_EQ(shown(), "\nlast words\n" + complete + "drawing.ps: not done, gs was not started.\n");
}

TEST_F(ToolRunner, InTheBackgroundTheScriptRunsInLineWithoutTheSheet)
{
    inBackground = 1;
    script.does("says 'tool output\\n'; ends 0 done; sleep 0.05; echo > $run/../finished");
    EXPECT_EQ(run(), 1);
    EXPECT_TRUE(file_exists(std::string(tmpPath) + "/finished"));
    EXPECT_EQ(watched.count("ShowSheetWindow"), 0U);
    EXPECT_EQ(shown(), "\ntool output\n" + complete);
    EXPECT_EQ(inScript, 1); // until the script's report is handled; it sent none
}

TEST_F(ToolRunner, TheTimerEndsOnlyAFinishedRun)
{
    inScript = 1;
    // The loop goes on while the script runs, tick after tick.
    during_the_wait([] {
        myTimer(nullptr, nullptr);
        inScript = 0;
    });
    WaitForScript();
    EXPECT_EQ(inScript, 0);
    EXPECT_EQ(watched.count("HideSheetWindow"), 1U);
}

// ---- cancelling ----

namespace {

// A tool named gs that says when it runs and never ends by itself.
const char endless_tool[] = "cp /bin/sleep $run/tmp/gs\n"
                            "$run/tmp/gs 600 &\n"
                            "echo $! > $run/../tool\n"
                            "says 'half a page\\n'\n"
                            "wait\n"
                            "[ -d $run ] || { echo > $run.gone; exit; }\n"
                            "ends 137 done\n"
                            "reports";

// Whether the tool runs: what is to become it is another program, and what was it has none.
bool alive(pid_t pid)
{
    std::error_code gone;
    const std::string exe = "/proc/" + std::to_string(pid) + "/exe";
    return std::filesystem::read_symlink(exe, gone).string().find("/gs") != std::string::npos;
}

pid_t tool_of_run()
{
    pid_t pid = 0;
    EXPECT_TRUE(eventually([&] {
        pid = std::atoi(read_file(std::string(tmpPath) + "/tool").c_str());
        return pid > 0 && alive(pid) && !read_file(worksheet).empty();
    }));
    return pid;
}

} // namespace

TEST_F(ToolRunner, TheSheetsButtonLeavesTheToolRunning)
{
    script.does(endless_tool);
    static pid_t tool;
    during_the_wait([] {
        tool = tool_of_run();
        inScript = 0;
        userCancel = 1;
        QuitAppModalLoopForWindow(waitWindow);
    });
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(shown(), cancelled);
    EXPECT_FALSE(file_exists(worksheet)); // deleted unread
    EXPECT_TRUE(alive(tool));
    kill(tool, SIGKILL);
}

TEST_F(ToolRunner, AKeyKillsTheTool)
{
    char title[32] = "console";
    theConsole = SetUpTextWindow(title);
    script.does(endless_tool);
    const int old_input = dup(STDIN_FILENO);
    static int keys[2];
    ASSERT_EQ(pipe(keys), 0);
    dup2(keys[0], STDIN_FILENO);
    SetSelectionState(1);
    static pid_t tool;
    during_the_wait([] {
        tool = tool_of_run();
        EXPECT_EQ(write(keys[1], "x", 1), 1);
        for (int i = 0; i < 100 && inScript; ++i)
            main_event(0xFFFF);
    });
    EXPECT_EQ(run(), 0);
    SetSelectionState(0);
    dup2(old_input, STDIN_FILENO);
    for (const int file : {keys[0], keys[1], old_input})
        close(file);
    EXPECT_EQ(shown(), cancelled);
    EXPECT_FALSE(file_exists(worksheet));
    EXPECT_TRUE(eventually([] { return !alive(tool); }));
}

namespace {

// The bundle's own script with a tool of the test's that takes its time.
class StaleScript : public spine_test {
protected:
    StaleScript()
    {
        // It may write only where a tool may.
        tools.write_program("gs", "#!/bin/sh\n"
                                  "echo > $TMPDIR/started\n"
                                  "while [ ! -e " +
                                      tools.path() +
                                      "/go ]; do sleep 0.01; done\n"
                                      "echo '%PDF-1.4\n%%EOF' > papermill-out/result.pdf\n");
        setenv("PATH", (tools.path() + ":" + std::getenv("PATH")).c_str(), 1);
        platform::copy_whole(command_line, ("gs.script ps2pdf " + std::to_string(appPID) + " \"" +
                                            worksheet + "\" \"" + folder / "out.pdf" + "\" \"" +
                                            folder.write("in.ps", "%!PS\n") + "\" \"\"")
                                               .c_str());
    }

    ~StaleScript() override
    {
        tools.write("go", "");
    }

    // Starts a run and cancels it, the tool left running, as soon as the tool is there.
    void cancel_a_run()
    {
        static EventLoopTimerRef timer;
        InstallEventLoopTimer(
            GetCurrentEventLoop(), 0.0, 3600.0,
            [](EventLoopTimerRef own, void *) {
                RemoveEventLoopTimer(own);
                const std::string sign =
                    std::string(tmpPath) + "/run." + std::to_string(run_serial) + "/tmp/started";
                EXPECT_TRUE(eventually([&] { return file_exists(sign); }));
                userCancel = 1;
                inScript = 0;
            },
            nullptr, &timer);
        EXPECT_EQ(run_and_wait(run_options()), 0);
    }

    void let_the_tool_end() const
    {
        pid_t ended = 1;
        while (ended > 0)
            ended = waitpid(-1, nullptr, WNOHANG);
        EXPECT_EQ(ended, 0); // the tool is there, after all
        tools.write("go", "");
        // Script and tool are through when nothing of them is left among the children.
        EXPECT_TRUE(eventually([] { return waitpid(-1, nullptr, WNOHANG) < 0; }));
    }

    temporary_folder tools;
};

} // namespace

TEST_F(StaleScript, LeavesNothingBehindItsCancelledRun)
{
    cancel_a_run();
    EXPECT_EQ(folder.names(), std::vector<std::string>{"in.ps"});
    let_the_tool_end();
    EXPECT_EQ(folder.names(), std::vector<std::string>{"in.ps"});
    EXPECT_FALSE(file_exists(worksheet));
    EXPECT_EQ(console.lines(), "\nUser cancelled processing.\n");
}

TEST_F(StaleScript, LeavesAnOlderResultInItsPlace)
{
    folder.write("out.pdf", "older");
    cancel_a_run();
    let_the_tool_end();
    EXPECT_EQ(read_file(folder / "out.pdf"), "older");
}

TEST_F(StaleScript, DoesNotEndALaterWait)
{
    cancel_a_run();
    inScript = 1;
    let_the_tool_end();
    EXPECT_EQ(inScript, 1);
}

TEST_F(StaleScript, ReportsAsLongAsItsRunIsOn)
{
    // The same script and tool, not cancelled: the three tests above can fail.
    tools.write("go", "");
    EXPECT_EQ(run_and_wait(run_options()), 1);
    EXPECT_EQ(last_ending, ended_well);
    EXPECT_EQ(read_file(folder / "out.pdf"), "%PDF-1.4\n%%EOF\n");
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"in.ps", "out.pdf"}));
}

// ---- the capture file ----

TEST_F(ToolRunner, AMissingCaptureFileIsSilent)
{
    CopyWorksheet();
    EXPECT_EQ(console.text(), "");
}

TEST_F(ToolRunner, AnEmptyCaptureFileIsALineEnd)
{
    std::fclose(std::fopen(worksheet, "w"));
    CopyWorksheet();
    EXPECT_EQ(console.text(), "\r");
    EXPECT_FALSE(file_exists(worksheet));
}

TEST_F(ToolRunner, TheCaptureFileIsShownInPiecesWithoutLoss)
{
    for (const std::size_t size : {999U, 1000U, 1001U, 2000U, 2001U, 123456U}) {
        console.clear();
        std::string bytes;
        while (bytes.size() < size)
            bytes += std::to_string(bytes.size()) + "\n";
        bytes.resize(size);
        std::FILE *file = std::fopen(worksheet, "w");
        ASSERT_EQ(std::fwrite(bytes.data(), 1, size, file), size);
        std::fclose(file);
        CopyWorksheet();
        EXPECT_EQ(console.lines(), "\n" + bytes);
        EXPECT_FALSE(file_exists(worksheet));
    }
}

TEST_F(ToolRunner, TheCaptureFileIsNoFormat)
{
    script.does("printf '%%s %%n 100%%\\n' > $capture; ends 0 done; reports");
    run();
    EXPECT_EQ(shown(), "\n%s %n 100%\n" + complete);
}

TEST_F(ToolRunner, ANulCutsTheRestOfItsPieceOnly)
{
    std::string bytes(2500, 'a');
    std::fill(bytes.begin() + 1000, bytes.begin() + 2000, 'b');
    std::fill(bytes.begin() + 2000, bytes.end(), 'c');
    bytes[1100] = 0;
    std::FILE *file = std::fopen(worksheet, "w");
    ASSERT_EQ(std::fwrite(bytes.data(), 1, bytes.size(), file), bytes.size());
    std::fclose(file);
    CopyWorksheet();
    EXPECT_EQ(console.text(),
              "\r" + std::string(1000, 'a') + std::string(100, 'b') + std::string(500, 'c'));
}

TEST_F(ToolRunner, AfterACancelTheCaptureFileIsDeletedUnread)
{
    std::FILE *file = std::fopen(worksheet, "w");
    std::fputs("half\n", file);
    std::fclose(file);
    userCancel = 1;
    CopyWorksheet();
    EXPECT_EQ(console.text(), "");
    EXPECT_FALSE(file_exists(worksheet));
}

// ---- composing ----

TEST_F(ToolRunner, ACommandLineThatDoesNotFitIsRefused)
{
    EXPECT_TRUE(compose_command_line("a.ps", "%s", std::string(command_size - 1, 'x').c_str()));
    EXPECT_EQ(std::string(command_line), std::string(command_size - 1, 'x'));
    EXPECT_EQ(console.text(), "");
    EXPECT_FALSE(compose_command_line("a.ps", "%s", std::string(command_size, 'x').c_str()));
    EXPECT_STREQ(command_line, "");
    EXPECT_EQ(console.lines(),
              "a.ps: the command line is too long. Shorten the options or the names.\n");
    EXPECT_EQ(failed_conversions, 1);
}

TEST_F(ToolRunner, APathIsTakenWholeOrNotAtAll)
{
    char buffer[path_size] = "before";
    const std::string longest(path_size - 1, 'p');
    EXPECT_TRUE(take_path(buffer, longest.c_str()));
    EXPECT_EQ(buffer, longest);
    EXPECT_FALSE(take_path(buffer, (longest + "q").c_str()));
    EXPECT_EQ(buffer, longest);
    EXPECT_EQ(console.lines(),
              longest + "q: the path is too long. Move the file or shorten its name.\n");
    EXPECT_EQ(failed_conversions, 1);
}

TEST_F(ToolRunner, AnOutputIsTheGivenOneOrNamedAfterTheInput)
{
    char buffer[path_size] = "";
    EXPECT_TRUE(take_output(buffer, "/given.out", "/a/in.ps", ".pdf"));
    EXPECT_STREQ(buffer, "/given.out");
    EXPECT_TRUE(take_output(buffer, nullptr, "/a/in.x.ps", ".pdf"));
    EXPECT_STREQ(buffer, "/a/in.x.pdf");
    EXPECT_TRUE(take_output(buffer, nullptr, "/a.b/in", "-%d.tiff"));
    EXPECT_STREQ(buffer, "/a-%d.tiff");
    EXPECT_TRUE(take_output(buffer, "", "/a/in.ps", ".pdf"));
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(console.text(), "");
}

TEST_F(ToolRunner, AnOutputThatDoesNotFitIsRefused)
{
    char buffer[path_size] = "before";
    const std::string longest(path_size - 1, 'p');
    const std::string given = longest + "q";
    EXPECT_FALSE(take_output(buffer, given.c_str(), "/a.ps", ".pdf"));
    EXPECT_EQ(console.lines(),
              given + ": the path is too long. Move the file or shorten its name.\n");
    console.clear();
    EXPECT_FALSE(take_output(buffer, nullptr, longest.c_str(), ".pdf")); // names the input
    EXPECT_EQ(console.lines(),
              longest + ": the path is too long. Move the file or shorten its name.\n");
    EXPECT_STREQ(buffer, "before");
    EXPECT_EQ(failed_conversions, 2);
    EXPECT_TRUE(take_output(buffer, longest.c_str(), "/a.ps", ".pdf"));
    EXPECT_EQ(buffer, longest);
}

TEST_F(ToolRunner, MessagesNameTheUsersFileWhileItsCopyIsWorkedOn)
{
    EXPECT_STREQ(users_file("/tmp/tmp1.eps"), "/tmp/tmp1.eps");
    set_prepared_from("/home/user/figure.eps");
    EXPECT_STREQ(users_file("/tmp/tmp1.eps"), "/home/user/figure.eps");
    set_prepared_from(nullptr);
    EXPECT_STREQ(users_file("/tmp/tmp1.eps"), "/tmp/tmp1.eps");
}

TEST_F(ToolRunner, WhatEndsBeforeARunCountsAsFailed)
{
    last_ending = ended_well;
    conversion_failed();
    EXPECT_EQ(failed_conversions, 1);
    EXPECT_EQ(last_ending, ended_not_started);
    EXPECT_EQ(exit_status, 1);
}

TEST_F(ToolRunner, TheInputIsKnownUnderAllItsNames)
{
    const std::string input = folder.write("in.pdf", "x");
    const std::string other = folder.write("other.pdf", "x");
    const std::string hard = folder / "hard.pdf";
    const std::string soft = folder / "soft.pdf";
    ASSERT_EQ(link(input.c_str(), hard.c_str()), 0);
    ASSERT_EQ(symlink("in.pdf", soft.c_str()), 0);
    for (const std::string &output : {input, hard, soft, folder / "./in.pdf"}) {
        console.clear();
        EXPECT_TRUE(refuse_own_input(input.c_str(), output.c_str()));
        EXPECT_EQ(console.lines(),
                  input + ": the output would replace the input. Choose another name.\n");
    }
    console.clear();
    EXPECT_FALSE(refuse_own_input(input.c_str(), other.c_str()));
    EXPECT_FALSE(refuse_own_input(input.c_str(), (folder / "new.pdf").c_str()));
    EXPECT_FALSE(refuse_own_input((folder / "missing").c_str(), (folder / "missing").c_str()));
    EXPECT_EQ(console.text(), "");
    EXPECT_EQ(failed_conversions, 4);
}

// ---- the minimal script ----

namespace {

std::string written_script()
{
    return read_file(std::string(userPath) + "/gs.script");
}

const std::string report_line =
    "osascript -e 'tell application \"papermill\"' -e \"done\" -e \"end tell\"\n";

} // namespace

TEST_F(ToolRunner, TheScriptForPstopdfIsWrittenToTheByte)
{
    WriteScript(0);
    EXPECT_EQ(written_script(), "#!/bin/tcsh -f\n\n"
                                "pstopdf -l -p -o \"$argv[1]\" \"$argv[2]\" >& ~/worksheet\n" +
                                    report_line);
}

TEST_F(ToolRunner, TheScriptForGhostscriptIsWrittenToTheByte)
{
    WriteScript(1);
    EXPECT_EQ(written_script(),
              "#!/bin/tcsh -f\n\n"
              "gs -dSAFER -dNOPAUSE -dBATCH -sDEVICE=pdfwrite $argv[3] "
              "-sOutputFile=\"$argv[1]\" -c save pop -f \"$argv[2]\"  >& ~/worksheet\n" +
                  report_line);
}

TEST_F(ToolRunner, AnyOtherModeWritesNoToolLine)
{
    for (const int mode : {2, -1, 100}) {
        WriteScript(mode);
        EXPECT_EQ(written_script(), "#!/bin/tcsh -f\n\n" + report_line);
    }
}

TEST_F(ToolRunner, TheWrittenScriptIsExecutableByAll)
{
    const mode_t old_mask = umask(077);
    WriteScript(0);
    umask(old_mask);
    struct stat status = {};
    ASSERT_EQ(stat((std::string(userPath) + "/gs.script").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0755U);
}

TEST_F(ToolRunner, AnOlderScriptIsReplaced)
{
    std::FILE *file = std::fopen((std::string(userPath) + "/gs.script").c_str(), "w");
    std::fputs(std::string(5000, 'x').c_str(), file);
    std::fclose(file);
    WriteScript(5);
    EXPECT_EQ(written_script(), "#!/bin/tcsh -f\n\n" + report_line);
}

TEST_F(ToolRunner, TheHomeFolderMayHaveAnyName)
{
    ASSERT_EQ(chdir(folder.path().c_str()), 0);
    for (const char *name : {"two words", "it's \"$(touch touched)\" `touch touched`;&|*"}) {
        platform::copy_whole(userPath, folder.make_folder(name).c_str());
        WriteScript(0);
        struct stat status = {};
        ASSERT_EQ(stat((std::string(userPath) + "/gs.script").c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777, 0755U);
    }
    EXPECT_FALSE(file_exists(folder / "touched"));
}

TEST_F(ToolRunner, AScriptThatCannotBeWrittenIsLetGo)
{
    platform::copy_whole(userPath, (folder / "missing").c_str());
    WriteScript(0);
    EXPECT_EQ(console.text(), "");
    EXPECT_TRUE(folder.names().empty());
}

TEST_F(ToolRunner, TheWrittenScriptConverts)
{
    // Run as it stands, in its own calling form.
    WriteScript(1);
    const std::string input = folder.write("a b.ps", "%!PS\nshowpage\n");
    EXPECT_NE(platform::system(("cd " + std::string(userPath) + " && ./gs.script '" +
                                folder / "c d.pdf" + "' '" + input + "' '-r300 -q' 2>/dev/null")
                                   .c_str()),
              0); // nobody answers its report
    EXPECT_EQ(read_file(folder / "c d.pdf").substr(0, 5), "%PDF-");
    EXPECT_TRUE(file_exists(std::string(userPath) + "/worksheet"));
}

// ---- line ends ----

TEST_F(ToolRunner, CarriageReturnsBecomeLineFeedsInPlace)
{
    ASSERT_EQ(chdir(folder.path().c_str()), 0);
    for (const std::string &name :
         {std::string("plain"), std::string("two words.eps"), std::string("$HOME `touch t` \"q\""),
          std::string("it's\\back"), std::string("-dash")}) {
        const std::string path = folder.write(name, "one\rtwo\r\nthree\n\r\r");
        translate_eoln(path.c_str());
        EXPECT_EQ(read_file(path), "one\ntwo\n\nthree\n\n\n") << name;
        EXPECT_EQ(folder.names(), std::vector<std::string>{name}); // no .mac is left
        unlink(path.c_str());
    }
    EXPECT_EQ(console.text(), "");
}

// ---- the check of the console's input ----

namespace {

class SomeText : public spine_test {
protected:
    SomeText() : old_input(dup(STDIN_FILENO))
    {
        char title[32] = "console";
        theConsole = SetUpTextWindow(title);
    }

    ~SomeText() override
    {
        dup2(old_input, STDIN_FILENO);
        close(old_input);
    }

    void type(const std::string &keys) const
    {
        int ends[2] = {-1, -1};
        ASSERT_EQ(pipe(ends), 0);
        ASSERT_EQ(write(ends[1], keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
        close(ends[1]);
        dup2(ends[0], STDIN_FILENO);
        close(ends[0]);
    }

private:
    int old_input;
};

} // namespace

TEST_F(SomeText, IsAskedForAndShown)
{
    type("some text\r");
    GetSomeText();
    EXPECT_EQ(console.lines(), "enter something: some text\nYou entered \"some text\n\"");
}

TEST_F(SomeText, HasAtMost255Characters)
{
    type(std::string(300, 'x') + "\r");
    GetSomeText();
    EXPECT_EQ(console.lines(), "enter something: " + std::string(255, 'x') + "You entered \"" +
                                   std::string(255, 'x') + "\"");
}
