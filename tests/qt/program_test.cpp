// The desktop program as a whole, without a screen: its call, its files, its end.
#include "tests/support/eventually.h"
#include "tests/support/terminal_user.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <sys/stat.h>

namespace {

using strings = std::vector<std::string>;

constexpr char desktop_program[] = PAPERMILL_BUNDLE "/Linux/papermill-desktop";

class DesktopProgram : public ::testing::Test {
protected:
    DesktopProgram()
    {
        for (const char *variable : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
            user.environment[variable] = std::nullopt;
        const std::string runtime = user.elsewhere("runtime"); // else Qt makes one in $TMPDIR
        EXPECT_EQ(mkdir(runtime.c_str(), 0700), 0);
        user.environment["XDG_RUNTIME_DIR"] = runtime;
    }

    program_call call(const strings &words) const
    {
        program_call result = user.call(words);
        result.arguments[0] = desktop_program;
        return result;
    }

    void work_without_a_screen()
    {
        user.environment["QT_QPA_PLATFORM"] = "offscreen";
    }

    // Waits until the files lie in the working folder, whole.
    bool are_made(const strings &names) const
    {
        return eventually([&] {
            return std::all_of(names.begin(), names.end(),
                               [&](const std::string &name) { return user.has(name); });
        });
    }

    void wait_for(const std::string &tool) const
    {
        ASSERT_TRUE(eventually([&] { return !user.processes(tool).empty(); })) << tool;
    }

    terminal_user user;
};

class DesktopProgramSignal : public DesktopProgram, public testing::WithParamInterface<int> {};

} // namespace

TEST_F(DesktopProgram, WithoutADisplayItSaysSoInOneLineAndPointsToTheOther)
{
    const std::string line =
        "papermill-desktop: no display can be reached; in a terminal, use papermill.\n";
    for (const char *display : {"", ":4711", "nowhere.invalid:0"}) {
        if (*display != 0)
            user.environment["DISPLAY"] = display;
        const program_result result = run_program(call({"drawing.eps"}));
        EXPECT_EQ(result.status, 1) << display;
        EXPECT_EQ(result.err, line) << display;
        EXPECT_EQ(result.out, "") << display;
        EXPECT_EQ(user.leftovers(), strings()) << display;
    }
}

TEST_F(DesktopProgram, TellsItsVersionAndHelpsWithoutADisplay)
{
    const program_result version = run_program(call({"--version"}));
    EXPECT_EQ(version.status, 0);
    EXPECT_EQ(version.out.rfind("papermill-desktop 1.", 0), 0U) << version.out;
    const program_result help = run_program(call({"--help"}));
    EXPECT_EQ(help.status, 0);
    for (const char *option : {"--background", "--version", "--help", "FILE"})
        EXPECT_NE(help.out.find(option), std::string::npos) << option;
}

TEST_F(DesktopProgram, RefusesAnOptionThatItDoesNotHave)
{
    const program_result result = run_program(call({"--fast"}));
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.err.rfind("papermill-desktop: there is no option --fast.\n", 0), 0U)
        << result.err;
}

TEST_F(DesktopProgram, ConvertsTheFilesOfItsCallOneAfterTheOther)
{
    work_without_a_screen();
    user.write("a.eps", drawing_eps(120, 90));
    user.write("b.ps", drawing_ps(200, 100));
    user.write("--odd.ps", drawing_ps(80, 60));
    running_program program(call({user.path("a.eps"), "b.ps", "--", "--odd.ps"}));
    ASSERT_TRUE(are_made({"a.pdf", "b.pdf", "--odd.pdf"}));
    program.send_signal(SIGTERM);
    const program_result result = program.finish();
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(pdf_page_size(user.path("a.pdf")), "120 x 90");
    EXPECT_EQ(pdf_page_size(user.path("b.pdf")), "200 x 100");
    EXPECT_EQ(user.leftovers(), strings());
}

TEST_F(DesktopProgram, ConvertsInTheBackground)
{
    work_without_a_screen();
    user.write("a.eps", drawing_eps(120, 90));
    user.write("b.ps", drawing_ps(200, 100));
    running_program program(call({"--background", "a.eps", "b.ps"}));
    ASSERT_TRUE(are_made({"a.pdf", "b.pdf"}));
    program.send_signal(SIGTERM);
    EXPECT_EQ(program.finish().status, 0);
    EXPECT_EQ(pdf_page_size(user.path("a.pdf")), "120 x 90");
    EXPECT_EQ(user.leftovers(), strings());
}

TEST_P(DesktopProgramSignal, EndsARunWithTheProgram)
{
    for (const strings &options : {strings{}, strings{"--background"}}) {
        work_without_a_screen();
        user.write("endless.ps", endless_ps());
        user.write("later.ps", drawing_ps(80, 60));
        const strings before = user.names();
        strings words = options;
        words.insert(words.end(), {"endless.ps", "later.ps"});
        running_program program(call(words));
        wait_for("gs");
        program.send_signal(GetParam());
        const program_result result = program.finish();
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(user.leftovers(), strings());
        EXPECT_EQ(user.names(), before);
    }
}

TEST_P(DesktopProgramSignal, EndsTheIdleProgram)
{
    work_without_a_screen();
    running_program program(call({}));
    ASSERT_TRUE(eventually([&] { return !names_in(user.tmp).empty(); }));
    program.send_signal(GetParam());
    EXPECT_EQ(program.finish().status, 0);
    EXPECT_EQ(user.leftovers(), strings());
}

INSTANTIATE_TEST_SUITE_P(Polite, DesktopProgramSignal, testing::Values(SIGTERM, SIGINT, SIGHUP));

TEST_F(DesktopProgram, AKillLosesNoSettingAndTheNextStartCleansUp)
{
    work_without_a_screen();
    user.set("TIFFFORMAT", "7");
    user.write("endless.ps", endless_ps());
    running_program program(call({"endless.ps"}));
    wait_for("gs");
    program.send_signal(SIGKILL);
    const std::string status = "/proc/" + std::to_string(program.pid()) + "/status";
    ASSERT_TRUE(eventually([&] { // it is gone, but for its status
        return read_file(status).find("State:\tZ") != std::string::npos;
    }));
    const program_result next = user.papermill({"settings", "get", "TIFFFORMAT"});
    EXPECT_EQ(next.out, "7\n");
    EXPECT_EQ(program.finish().signal, SIGKILL);
    EXPECT_EQ(user.leftovers(), strings());
}

TEST_F(DesktopProgram, SaysSoWhenTheCurrentFolderIsGone)
{
    work_without_a_screen();
    const std::string gone = user.elsewhere("gone");
    program_call call_there = call({"a.ps"});
    call_there.arguments = {"sh", "-c",
                            "mkdir '" + gone + "' && cd '" + gone + "' && rmdir '" + gone +
                                "' && exec \"$0\" a.ps",
                            desktop_program};
    const program_result result = run_program(call_there);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err.rfind("papermill-desktop: the current folder is gone: ", 0), 0U)
        << result.err;
}
