// A second start of the desktop program, and starts that have nothing to do with the bus.
#include "tests/bus/bus_test.h"

#include <csignal>

namespace {

class BusHandOver : public bus_test {
protected:
    program_result second(const strings &words) const
    {
        return run_program(desktop_call(words));
    }

    // Ends the program, and with it its console's text.
    void end_program()
    {
        program->send_signal(SIGTERM);
        EXPECT_EQ(program->finish().status, 0);
        program.reset();
    }
};

} // namespace

TEST_F(BusHandOver, TheFilesOfASecondStartAreConvertedByTheFirst)
{
    start_desktop();
    user.write("a.ps", drawing_ps(80, 60));
    user.write("my (own) drawing.eps", drawing_eps(120, 90));
    user.write("\xff\xe9%20.ps", drawing_ps(50, 40));
    user.write("--odd.ps", drawing_ps(30, 20));
    const program_result result =
        second({"a.ps", user.path("my (own) drawing.eps"), "\xff\xe9%20.ps", "--", "--odd.ps"});
    EXPECT_EQ(result.status, 0) << story(result);
    EXPECT_EQ(result.out + result.err, "");
    // They are there when it ends.
    EXPECT_EQ(pdf_page_size(user.path("a.pdf")), "80 x 60");
    EXPECT_EQ(pdf_page_size(user.path("my (own) drawing.pdf")), "120 x 90");
    EXPECT_EQ(pdf_page_size(user.path("\xff\xe9%20.pdf")), "50 x 40");
    EXPECT_EQ(pdf_page_size(user.path("--odd.pdf")), "30 x 20");
    EXPECT_EQ(second({}).status, 0);
}

TEST_F(BusHandOver, MissingFilesAreNamedAndTheOthersHandedOver)
{
    start_desktop();
    user.write("a.ps", drawing_ps(80, 60));
    const program_result result = second({"missing.ps", "a.ps", "gone.eps"});
    EXPECT_EQ(result.status, 1) << story(result);
    EXPECT_EQ(result.err, "papermill-desktop: " + user.path("missing.ps") +
                              ": No such file or directory.\npapermill-desktop: " +
                              user.path("gone.eps") + ": No such file or directory.\n");
    EXPECT_EQ(pdf_page_size(user.path("a.pdf")), "80 x 60");
    EXPECT_EQ(second({"missing.ps"}).status, 1);
}

TEST_F(BusHandOver, ABusyProgramTakesNoFiles)
{
    start_desktop();
    user.write("a.ps", drawing_ps(80, 60));
    const auto run = start_run();
    const program_result result = second({"a.ps"});
    EXPECT_EQ(result.status, 75) << story(result);
    EXPECT_TRUE(contains(result.err, busy_with_another)) << story(result);
    EXPECT_EQ(second({}).status, 0); // it comes to the front nevertheless
    EXPECT_FALSE(user.has("a.pdf"));
    end_run();
    EXPECT_EQ(run->finish().out, "(143,)\n");
    EXPECT_EQ(second({"a.ps"}).status, 0);
}

TEST_F(BusHandOver, BesideAServiceTheDesktopProgramHasAWindowAndReportsOfItsOwn)
{
    start_service();
    const auto service = std::move(program);
    user.write("a.ps", drawing_ps(80, 60));
    user.write("wait.sh", "while [ ! -e go ]; do sleep 0.01; done\n");
    program = std::make_unique<running_program>(desktop_call({"a.ps"}));
    ASSERT_TRUE(bus.wait_for_owner(pid_name()));
    ASSERT_TRUE(eventually([&] { return user.has("a.pdf"); }));
    // Its run ends by its own tool's report, while the service is busy with another.
    program_call there = method_call("Exec", {"sh wait.sh", user.work});
    running_program elsewhere(there);
    ASSERT_TRUE(eventually([&] { return !user.processes("sleep").empty(); }));
    program_call here = method_call("Convert", {user.path("a.ps"), user.path("b.pdf")});
    for (std::string &word : here.arguments) {
        if (word == bus_name)
            word = pid_name();
    }
    EXPECT_EQ(run_program(here).out, "()\n");
    EXPECT_EQ(pdf_page_size(user.path("b.pdf")), "80 x 60");
    EXPECT_TRUE(contains(call("Exec", {"true", ""}).err, busy_with_previous));
    user.write("go", "");
    EXPECT_EQ(elsewhere.finish().out, "(0,)\n");
    end_program();
    service->send_signal(SIGTERM);
    service->finish();
}

TEST_F(BusHandOver, TheTerminalProgramNeverAsksTheBus)
{
    start_desktop();
    const auto run = start_run();
    user.write("a.ps", drawing_ps(80, 60));
    const program_result beside = user.papermill({"a.ps"});
    EXPECT_EQ(beside.status, 0) << story(beside);
    EXPECT_EQ(pdf_page_size(user.path("a.pdf")), "80 x 60");
    EXPECT_FALSE(contains(beside.out, "Scripting"));
    end_run();
    run->finish();
    bus.stop();
    user.set("DEBUG1", "1");
    EXPECT_TRUE(can_end_within(std::chrono::seconds(3), [&] {
        const program_result without = user.papermill({"a.ps"});
        EXPECT_EQ(without.status, 0) << story(without);
        EXPECT_FALSE(contains(without.out, "Scripting is off"));
    }));
}

TEST_F(BusHandOver, AsAServiceWithoutADisplayItIsTheTerminalProgram)
{
    program_call service = desktop_call({"--service"});
    service.environment["QT_QPA_PLATFORM"] = std::nullopt;
    program = std::make_unique<running_program>(service);
    ASSERT_TRUE(wait_for_names());
    EXPECT_EQ(user.run({"readlink", "/proc/" + std::to_string(program->pid()) + "/exe"}).out,
              std::string(program_path) + "\n");
    EXPECT_EQ(call("Exec", {"true", ""}).out, "(0,)\n");
    EXPECT_TRUE(contains(call("org.freedesktop.Application.Activate", {"{}"}).err, "no window"));
}
