// Runs that are ended from outside, and runs that meet each other.

#include "cli/exit_statuses.h"
#include "tests/support/conversions.h"
#include "tests/support/eventually.h"
#include "tests/support/terminal_test.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <memory>
#include <ostream>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

constexpr char good_file[] = "an older result";

class Interrupt : public terminal_test {
protected:
    // Waits until a tool of this name works for the user: Ghostscript is in the endless document,
    // not just about to open it.
    void wait_for(const std::string &tool)
    {
        ASSERT_TRUE(eventually([&] {
            return !user.processes(tool).empty() && (tool != "gs" || document_has_started());
        })) << tool;
    }

    [[nodiscard]] bool document_has_started() const
    {
        for (const std::string &folder : {user.tmp, user.work}) {
            std::error_code gone;
            for (fs::recursive_directory_iterator file(folder, gone), end; !gone && file != end;
                 file.increment(gone)) {
                const std::string name = file->path().filename();
                if ((name == "worksheet" || name == "messages" || name == "result.pdf.log") &&
                    contains(read_file(file->path()), "started"))
                    return true;
            }
        }
        return false;
    }

    void end_ghostscript(int number)
    {
        for (const pid_t pid : user.processes("gs"))
            kill(pid, number);
    }
};

// ---- signals to the program ----

struct ending {
    const char *title;
    strings words; // of a call that never ends
    const char *tool;
    int number;
    bool whole_group; // as a terminal sends it, or to the program alone
};

void PrintTo(const ending &each, std::ostream *stream)
{
    *stream << each.title;
}

class Signal : public Interrupt, public testing::WithParamInterface<ending> {};

TEST_P(Signal, EndsEverything)
{
    const ending &how = GetParam();
    user.write("endless.ps", endless_ps());
    user.write("endless.eps", endless_eps());
    user.write("later.ps", drawing_ps(50, 50));
    user.write("endless.pdf", good_file);
    strings before = user.names();

    running_program program(user.call(how.words));
    wait_for(how.tool);
    if (how.whole_group)
        kill(-program.pid(), how.number);
    else
        program.send_signal(how.number);
    const program_result result = program.finish();

    if (how.number == SIGINT)
        EXPECT_EQ(result.status, cli_interrupted) << story(result);
    else
        EXPECT_EQ(result.signal, how.number) << story(result);
    EXPECT_EQ(count(result.out, "\nUser cancelled processing.\n"), 1U) << story(result);
    EXPECT_FALSE(contains(result.out, "Processing complete")) << story(result);
    EXPECT_FALSE(contains(result.out, "later")) << story(result);
    EXPECT_FALSE(contains(result.err, "rror")) << story(result);
    EXPECT_EQ(user.leftovers(), strings()) << story(result);
    if (contains(how.title, "Eps")) // that route has deleted it before
        before.erase(std::find(before.begin(), before.end(), "endless.pdf"));
    else
        EXPECT_EQ(user.read("endless.pdf"), good_file);
    EXPECT_EQ(user.names(), before);
}

const ending endings[] = {
    {"IntPs", {"endless.ps", "later.ps"}, "gs", SIGINT, false},
    {"IntPsFromTheTerminal", {"endless.ps", "later.ps"}, "gs", SIGINT, true},
    {"IntEps", {"endless.eps", "later.ps"}, "gs", SIGINT, false},
    {"IntEpsFromTheTerminal", {"endless.eps", "later.ps"}, "gs", SIGINT, true},
    {"IntPsTo", {"ps2pdf", "endless.ps", "endless.pdf"}, "gs", SIGINT, true},
    {"TermPs", {"endless.ps", "later.ps"}, "gs", SIGTERM, false},
    {"HangUpPs", {"endless.ps", "later.ps"}, "gs", SIGHUP, false},
    {"HangUpPsFromTheTerminal", {"endless.ps", "later.ps"}, "gs", SIGHUP, true},
    {"TermEps", {"endless.eps", "later.ps"}, "gs", SIGTERM, false},
    {"IntCommand", {"exec", "sleep 600"}, "sleep", SIGINT, false},
    {"IntCommandFromTheTerminal", {"exec", "sleep 600"}, "sleep", SIGINT, true},
    {"TermCommand", {"exec", "sleep 600"}, "sleep", SIGTERM, false},
    {"HangUpCommand", {"exec", "sleep 600"}, "sleep", SIGHUP, false},
    {"IntRedirectedCommand", {"exec", "sleep 600 > /dev/null"}, "sleep", SIGINT, false},
    {"IntBackgroundPs", {"--background", "endless.ps", "later.ps"}, "gs", SIGINT, false},
    {"IntBackgroundPsFromTheTerminal", {"--background", "endless.ps"}, "gs", SIGINT, true},
    {"TermBackgroundPs", {"--background", "endless.ps", "later.ps"}, "gs", SIGTERM, false},
    {"IntBackgroundCommand", {"--background", "exec", "sleep 600"}, "sleep", SIGINT, false},
};

INSTANTIATE_TEST_SUITE_P(Ways, Signal, testing::ValuesIn(endings),
                         [](const testing::TestParamInfo<ending> &each) {
                             return each.param.title;
                         });

TEST_F(Interrupt, EndsPstopdfAndItsGhostscript)
{
    user.set("APPLE_PDF_STR", "1");
    user.write("endless.ps", endless_ps());
    running_program program(user.call({"endless.ps"}));
    wait_for("gs");
    program.send_signal(SIGINT);
    const program_result result = program.finish();
    EXPECT_EQ(result.status, cli_interrupted) << story(result);
    EXPECT_EQ(user.leftovers(), strings());
    EXPECT_EQ(user.names(), strings{"endless.ps"});
}

TEST_F(Interrupt, IsQuick)
{
    user.write("endless.ps", endless_ps());
    EXPECT_TRUE(eventually([this] {
        running_program program(user.call({"endless.ps"}));
        wait_for("gs");
        const auto start = std::chrono::steady_clock::now();
        program.send_signal(SIGINT);
        EXPECT_EQ(program.finish().status, cli_interrupted);
        return std::chrono::steady_clock::now() - start < std::chrono::seconds(2);
    }));
}

TEST_F(Interrupt, QuietTellsTheCancel)
{
    user.write("endless.ps", endless_ps());
    running_program program(user.call({"--quiet", "endless.ps"}));
    wait_for("gs");
    program.send_signal(SIGINT);
    const program_result result = program.finish();
    EXPECT_EQ(result.status, cli_interrupted);
    EXPECT_EQ(result.out, "");
    EXPECT_TRUE(contains(result.err, "\nUser cancelled processing.\n")) << story(result);
}

TEST_F(Interrupt, AtAnyMomentLeavesNothing)
{
    // Not only while the tool works: at start, while it is launched, while the result is put in
    // its place, at the end.
    user.write("in.eps", drawing_eps(50, 50));
    user.papermill({"settings", "list"});
    for (int delay = 0; delay < 120; delay += 5) {
        SCOPED_TRACE(delay);
        running_program program(user.call({"in.eps"}));
        std::this_thread::sleep_for(std::chrono::milliseconds(delay));
        program.send_signal(SIGINT);
        const program_result result = program.finish();
        EXPECT_TRUE(result.status == cli_interrupted || result.status == cli_done ||
                    result.signal == SIGINT) // before it could ask to be told
            << story(result);
        EXPECT_EQ(user.leftovers(), strings()) << story(result);
        if (user.has("in.pdf")) {
            EXPECT_EQ(pdf_page_size(user.path("in.pdf")), "50 x 50") << story(result);
            fs::remove(user.path("in.pdf"));
        }
        EXPECT_EQ(user.names(), strings{"in.eps"}) << story(result);
    }
}

// ---- every conversion ----

class AnyConversion : public Interrupt, public testing::WithParamInterface<conversion> {
protected:
    void SetUp() override
    {
        if (how.is(by_pstopdf))
            user.set("APPLE_PDF_STR", "1");
        user.write(in, endless_document(how));
        user.write(out, good_file);
        before = user.names();
    }

    [[nodiscard]] program_call call() const
    {
        return user.call(call_words(how, in, out));
    }

    void wait_for_tool()
    {
        if (how.takes != document::pdf)
            wait_for("gs");
        else
            ASSERT_TRUE(eventually([&] { return !user.processes(how.tool).empty(); }));
    }

    void end_tool()
    {
        for (const char *name : {"gs", "pdftops"}) {
            for (const pid_t pid : user.processes(name))
                kill(pid, SIGKILL);
        }
    }

    void expect_older_output()
    {
        if (how.is(deletes_older))
            before.erase(std::find(before.begin(), before.end(), out));
        else
            EXPECT_EQ(user.read(out), good_file);
        EXPECT_EQ(user.names(), before);
    }

    const conversion how = GetParam();
    const std::string in = "my file" + ending_of(how.takes);
    const std::string out =
        how.takes_out ? std::string("out file") + how.ending : output_of(how, in);
    strings before;
};

TEST_P(AnyConversion, CancelledKeepsTheOlderOutput)
{
    running_program program(call());
    wait_for_tool();
    kill(-program.pid(), SIGINT);
    const program_result result = program.finish();
    EXPECT_EQ(result.status, cli_interrupted) << story(result);
    EXPECT_EQ(count(result.out, "\nUser cancelled processing.\n"), 1U) << story(result);
    EXPECT_FALSE(contains(result.out, "Processing complete")) << story(result);
    EXPECT_FALSE(contains(result.out, "failed")) << story(result);
    EXPECT_EQ(user.leftovers(), strings()) << story(result);
    expect_older_output();
}

TEST_P(AnyConversion, KilledKeepsTheOlderOutput)
{
    {
        running_program program(call());
        wait_for_tool();
        program.send_signal(SIGKILL);
        EXPECT_TRUE(eventually([&] { return user.processes("papermill").empty(); }));
        end_tool(); // what the program has started goes on without it
        EXPECT_EQ(program.finish().signal, SIGKILL);
    }
    EXPECT_TRUE(eventually([&] { return user.processes("").empty(); }));
    EXPECT_EQ(user.papermill({"exec", "true"}).status, cli_done); // clears up
    EXPECT_EQ(names_in(user.tmp), strings());
    expect_older_output();
}

TEST_P(AnyConversion, WhoseToolIsKilledTellsItAndKeepsTheOlderOutput)
{
    running_program program(call());
    wait_for_tool();
    end_tool();
    const program_result result = program.finish();
    EXPECT_EQ(result.status, cli_failed) << story(result);
    if (!how.is(by_pstopdf)) { // which ends with a status of its own
        EXPECT_EQ(
            count(result.out, std::string(": failed, ") + how.tool + " was ended by signal 9.\n"),
            1U)
            << story(result);
    }
    EXPECT_EQ(user.leftovers(), strings()) << story(result);
    expect_older_output();
}

INSTANTIATE_TEST_SUITE_P(Conversions, AnyConversion, testing::ValuesIn(conversions),
                         conversion_title);

// ---- ends that nobody can catch ----

TEST_F(Interrupt, KilledProgramKeepsTheOlderOutputAndIsCleanedUpAfter)
{
    user.write("endless.ps", endless_ps());
    user.write("endless.pdf", good_file);
    {
        running_program program(user.call({"endless.ps"}));
        wait_for("gs");
        program.send_signal(SIGKILL);
        EXPECT_TRUE(eventually([&] { return user.processes("papermill").empty(); }));
        end_ghostscript(SIGKILL); // what the program has started goes on without it
        EXPECT_EQ(program.finish().signal, SIGKILL);
    }
    EXPECT_TRUE(eventually([&] { return user.processes("").empty(); }));
    EXPECT_EQ(user.read("endless.pdf"), good_file);

    user.write("next.ps", drawing_ps(50, 50));
    EXPECT_EQ(user.papermill({"next.ps"}).status, cli_done);
    EXPECT_EQ(names_in(user.tmp), strings());
    EXPECT_EQ(user.names(), (strings{"endless.pdf", "endless.ps", "next.pdf", "next.ps"}));
    EXPECT_EQ(user.read("endless.pdf"), good_file);
}

TEST_F(Interrupt, ToolsOfAKilledProgramAreEndedByTheNextStart)
{
    user.write("endless.ps", endless_ps());
    user.write("next.ps", drawing_ps(50, 50));
    running_program program(user.call({"endless.ps"}));
    wait_for("gs");
    program.send_signal(SIGKILL);
    EXPECT_TRUE(eventually([&] { return user.processes("papermill").empty(); }));
    ASSERT_FALSE(user.processes("gs").empty());
    EXPECT_EQ(user.papermill({"next.ps"}).status, cli_done);
    const bool ended = eventually([&] { return user.processes("gs").empty(); });
    EXPECT_TRUE(ended);
    end_ghostscript(SIGKILL); // or a failure would leave it for ever
    EXPECT_EQ(program.finish().signal, SIGKILL);
    EXPECT_EQ(user.names(), (strings{"endless.ps", "next.pdf", "next.ps"}));
}

TEST_F(Interrupt, KilledGhostscriptIsTold)
{
    user.write("endless.ps", endless_ps());
    user.write("endless.pdf", good_file);
    user.write("later.ps", drawing_ps(50, 50));
    running_program program(user.call({"endless.ps", "later.ps"}));
    wait_for("gs");
    end_ghostscript(SIGKILL);
    const program_result result = program.finish();
    EXPECT_EQ(result.status, cli_failed) << story(result);
    EXPECT_TRUE(
        contains(result.out, user.path("endless.ps") + ": failed, gs was ended by signal 9.\n"))
        << story(result);
    EXPECT_EQ(user.read("endless.pdf"), good_file);
    EXPECT_EQ(pdf_page_size(user.path("later.pdf")), "50 x 50"); // the others are done
    EXPECT_EQ(user.names(), (strings{"endless.pdf", "endless.ps", "later.pdf", "later.ps"}));
}

TEST_F(Interrupt, KilledScriptIsTold)
{
    user.write("endless.ps", endless_ps());
    user.write("endless.pdf", good_file);
    running_program program(user.call({"endless.ps"}));
    wait_for("gs");
    for (const char *name : {"gs.script", "tcsh"}) {
        for (const pid_t pid : user.processes(name))
            kill(pid, SIGKILL);
    }
    end_ghostscript(SIGKILL);
    const program_result result = program.finish();
    EXPECT_EQ(result.status, cli_failed) << story(result);
    EXPECT_TRUE(contains(result.out, user.path("endless.ps"))) << story(result);
    EXPECT_EQ(user.read("endless.pdf"), good_file);
    EXPECT_EQ(user.names(), (strings{"endless.pdf", "endless.ps"}));
}

// ---- two at once ----

TEST_F(Interrupt, TwoProgramsShareAFolder)
{
    // Also the prepared copies and the capture files are each one's own.
    for (int i = 0; i < 6; ++i) {
        const std::string number = std::to_string(i);
        user.write("a" + number + ".eps", drawing_eps(100 + i, 50));
        user.write("b" + number + ".eps", drawing_eps(200 + i, 50));
    }
    running_program first(user.call({"a0.eps", "a1.eps", "a2.eps", "a3.eps", "a4.eps", "a5.eps"}));
    running_program second(user.call({"b0.eps", "b1.eps", "b2.eps", "b3.eps", "b4.eps", "b5.eps"}));
    const program_result of_first = first.finish();
    const program_result of_second = second.finish();
    EXPECT_EQ(of_first.status, cli_done) << story(of_first);
    EXPECT_EQ(of_second.status, cli_done) << story(of_second);
    EXPECT_FALSE(contains(of_first.out, "b0"));
    EXPECT_FALSE(contains(of_second.out, "a0"));
    for (int i = 0; i < 6; ++i) {
        const std::string number = std::to_string(i);
        EXPECT_EQ(pdf_page_size(user.path("a" + number + ".pdf")),
                  std::to_string(100 + i) + " x 50");
        EXPECT_EQ(pdf_page_size(user.path("b" + number + ".pdf")),
                  std::to_string(200 + i) + " x 50");
    }
    EXPECT_EQ(user.names().size(), 24U);
}

TEST_F(Interrupt, TwoProgramsConvertTheSameFile)
{
    user.write("in.eps", drawing_eps(100, 50));
    running_program first(user.call({"in.eps"}));
    running_program second(user.call({"in.eps"}));
    EXPECT_EQ(first.finish().status, cli_done);
    EXPECT_EQ(second.finish().status, cli_done);
    EXPECT_EQ(pdf_page_size(user.path("in.pdf")), "100 x 50");
    EXPECT_EQ(user.names(), (strings{"in.eps", "in.pdf"}));
}

TEST_F(Interrupt, OneProgramsEndLeavesTheOtherAlone)
{
    user.write("endless.ps", endless_ps());
    user.write("in.ps", drawing_ps(100, 50));
    running_program endless(user.call({"endless.ps"}));
    wait_for("gs");
    EXPECT_EQ(user.papermill({"in.ps"}).status, cli_done);
    EXPECT_EQ(user.processes("gs").size(), 1U);
    endless.send_signal(SIGINT);
    EXPECT_EQ(endless.finish().status, cli_interrupted);
    EXPECT_EQ(user.names(), (strings{"endless.ps", "in.pdf", "in.ps"}));
}

TEST_F(Interrupt, FirstStartsAtOnceMakeOnePreferencesFile)
{
    std::vector<std::unique_ptr<running_program>> programs;
    for (int i = 0; i < 4; ++i)
        programs.push_back(
            std::make_unique<running_program>(user.call({"settings", "set", "PICT_RES", "99"})));
    for (auto &each : programs) {
        const program_result result = each->finish();
        EXPECT_EQ(result.status, cli_done) << story(result);
    }
    EXPECT_EQ(user.papermill({"settings", "get", "PICT_RES"}).out, "99\n");
    EXPECT_EQ(names_in(user.home + "/.config/papermill"), strings{"PapermillPrefsDF"});
}

// ---- nobody reads ----

TEST_F(Interrupt, StartsNoFurtherFileAndTellsTheCancel)
{
    // The first file has no box, and so much to look for one in that the signal comes
    // meanwhile.
    user.run({"truncate", "-s", "200G", user.write("large.eps", "%!PS-Adobe-3.0 EPSF-3.0\n")});
    user.write("next.eps", drawing_eps(50, 50));
    user.write("next.pdf", "an older result");
    running_program program(user.call({"large.eps", "next.eps"}));
    ASSERT_TRUE(program.wait_for_output("Converting"));
    program.send_signal(SIGINT);
    const program_result result = program.finish();
    EXPECT_EQ(result.status, cli_interrupted) << story(result);
    EXPECT_TRUE(contains(result.out, "\nUser cancelled processing.\n")) << story(result);
    EXPECT_FALSE(contains(result.out, "next.eps")) << story(result);
    EXPECT_EQ(user.read("next.pdf"), "an older result");
    EXPECT_EQ(user.leftovers(), strings{});
}

TEST_F(Interrupt, ReaderThatStandsStillKeepsNobodyWaiting)
{
    user.write("talk.ps", "%!\n20000 { (a line of some length that fills the pipe) = } repeat\n");
    const program_result result =
        user.run({"sh", "-c",
                  "(\"$0\" talk.ps & echo $! > pid; wait $!; echo $? > status) | "
                  "{ sleep 2; while [ ! -s pid ]; do sleep 0.1; done; kill -TERM $(cat pid); "
                  "while [ ! -s status ]; do sleep 0.1; done; cat > /dev/null; }; cat status",
                  program_path});
    EXPECT_EQ(result.out, "143\n") << story(result);
    EXPECT_EQ(user.leftovers(), strings{});
}

TEST_F(Interrupt, ReaderThatGoesAwayEndsNoConversion)
{
    user.write("in.ps", drawing_ps(100, 50));
    user.write("in2.ps", drawing_ps(101, 50));
    const program_result result =
        user.run({"sh", "-c", "\"$0\" in.ps in2.ps | head -c 10", program_path});
    EXPECT_EQ(result.status, 0) << story(result);
    EXPECT_TRUE(eventually([&] { return user.processes("papermill").empty(); }));
    EXPECT_EQ(pdf_page_size(user.path("in.pdf")), "100 x 50");
    EXPECT_EQ(pdf_page_size(user.path("in2.pdf")), "101 x 50");
}

TEST_F(Interrupt, ClosedStreamsEndNoConversion)
{
    user.write("in.ps", drawing_ps(100, 50));
    user.write("in.eps", drawing_eps(101, 50));
    for (const char *streams : {">&-", "2>&-", "<&-", "<&- >&- 2>&-"}) {
        for (const char *name : {"in.ps", "in.eps"}) {
            const program_result result = user.run(
                {"sh", "-c", "exec \"$0\" \"$1\" " + std::string(streams), program_path, name});
            EXPECT_EQ(result.status, cli_done) << streams << story(result);
            EXPECT_EQ(pdf_page_count(user.path("in.pdf")), 1) << streams;
            EXPECT_EQ(user.names(), (strings{"in.eps", "in.pdf", "in.ps"})) << streams;
            fs::remove(user.path("in.pdf"));
        }
    }
}

} // namespace
