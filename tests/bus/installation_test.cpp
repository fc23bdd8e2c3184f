// An installation, as the session bus finds it.
#include "tests/support/eventually.h"
#include "tests/support/own_bus.h"
#include "tests/support/terminal_test.h"

#include <filesystem>
#include <optional>

namespace fs = std::filesystem;

namespace {

class Installation : public testing::Test {
protected:
    Installation() : prefix(user.elsewhere("a prefix"))
    {
        for (const char *variable : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
            user.environment[variable] = std::nullopt;
        const program_result installed =
            user.run({PAPERMILL_CMAKE, "--install", PAPERMILL_BUILD_DIR, "--prefix", prefix});
        EXPECT_EQ(installed.status, 0) << story(installed);
    }

    // A bus that starts what is installed, with a display or without.
    void start_bus(bool display)
    {
        if (display)
            user.environment["QT_QPA_PLATFORM"] = "offscreen";
        bus.emplace(user.environment);
        for (const auto &[name, value] : bus->environment())
            user.environment[name] = value;
        fs::copy(prefix + "/share/dbus-1/services", bus->services());
        bus->stop();
        bus->start();
    }

    program_result call(const std::string &method, const strings &words) const
    {
        strings all = {"gdbus",
                       "call",
                       "--session",
                       "--timeout",
                       "300",
                       "--dest",
                       "org.papermill.Papermill",
                       "--object-path",
                       "/org/papermill/Papermill",
                       "--method",
                       method};
        all.insert(all.end(), words.begin(), words.end());
        return user.run(all);
    }

    // The program that holds the name.
    std::string answering_program() const
    {
        const std::string answer =
            user.run({"gdbus", "call", "--session", "--dest", "org.freedesktop.DBus",
                      "--object-path", "/", "--method",
                      "org.freedesktop.DBus.GetConnectionUnixProcessID", "org.papermill.Papermill"})
                .out; // "(uint32 PID,)"
        const std::string pid =
            answer.substr(answer.find(' ') + 1, answer.find(',') - answer.find(' ') - 1);
        return fs::read_symlink("/proc/" + pid + "/exe");
    }

    void quit()
    {
        EXPECT_EQ(call("org.papermill.AppleEvents.Send", {"aevt", "quit", "{}", "true"}).out,
                  "(0, @a{sv} {})\n");
        EXPECT_TRUE(eventually([&] { return !bus->has_owner("org.papermill.Papermill"); }));
        bus.reset();
        EXPECT_EQ(user.leftovers(), strings());
    }

    terminal_user user;
    std::optional<own_bus> bus;
    const std::string prefix;
};

const std::string programs = "/lib/papermill/Papermill.app/Contents/Linux/";

} // namespace

TEST_F(Installation, TheFirstRequestStartsTheServiceWhereThereIsNoDisplay)
{
    start_bus(false);
    user.write("a.ps", drawing_ps(80, 60));
    const program_result result =
        call("org.papermill.Papermill.Convert", {user.path("a.ps"), user.path("out.pdf")});
    EXPECT_EQ(result.out, "()\n") << story(result);
    EXPECT_EQ(pdf_page_size(user.path("out.pdf")), "80 x 60");
    EXPECT_EQ(answering_program(), prefix + programs + "papermill");
    quit();
}

TEST_F(Installation, TheFirstRequestStartsTheDesktopProgramWhereThereIsADisplay)
{
    start_bus(true);
    user.write("a.ps", drawing_ps(80, 60));
    const program_result result =
        call("org.freedesktop.Application.Open", {"['" + user.path("a.ps") + "']", "{}"});
    EXPECT_EQ(result.out, "()\n") << story(result);
    EXPECT_EQ(pdf_page_size(user.path("a.pdf")), "80 x 60");
    EXPECT_EQ(answering_program(), prefix + programs + "papermill-desktop");
    quit();
}

TEST_F(Installation, TheProgramsWorkThroughTheirLinks)
{
    user.write("a.ps", drawing_ps(80, 60));
    const program_result result = user.run({prefix + "/bin/papermill", "a.ps"});
    EXPECT_EQ(result.status, 0) << story(result);
    EXPECT_EQ(pdf_page_size(user.path("a.pdf")), "80 x 60");
    EXPECT_EQ(user.run({prefix + "/bin/papermill-desktop", "--version"}).status, 0);
    EXPECT_EQ(user.leftovers(), strings());
}

TEST_F(Installation, WhatTheBusAndTheDesktopLookForNamesTheInstalledPrograms)
{
    const std::string desktop =
        read_file(prefix + "/share/applications/org.papermill.Papermill.desktop");
    EXPECT_TRUE(contains(desktop, "\nExec=\"" + prefix + programs + "papermill-desktop\" %F\n"))
        << desktop;
    EXPECT_EQ(read_file(prefix + "/share/dbus-1/interfaces/org.papermill.Papermill.xml"),
              read_file(PAPERMILL_SOURCE_DIR "/resources/org.papermill.Papermill.xml"));
    EXPECT_NE(read_file(prefix + "/share/dbus-1/interfaces/org.papermill.Papermill.xml"), "");
}
