// The window as a user meets it: real keys, a window manager, a display that dies.
#include "tests/desktop/desktop_window.h"
#include "tests/support/eventually.h"
#include "tests/support/own_bus.h"
#include "tests/support/terminal_user.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <sys/stat.h>
#include <thread>

namespace {

using strings = std::vector<std::string>;

// Another program's window, which takes the keyboard.
struct another_window {
    explicit another_window(const screen &desk)
        : program(
              {{"sh", "-c", "exec xev -name another > /dev/null"}, {{"DISPLAY", desk.display()}}}),
          number(desk.wait_for_window("another"))
    {
        EXPECT_TRUE(eventually([&] { // the window manager may not have it yet
            desk.xdotool({"windowactivate", number});
            return desk.has_focus(number);
        }));
    }

    const running_program program;
    const std::string number;
};

// What xdotool tells of a window, without the line that tells which it is.
std::string without_number(const std::string &geometry)
{
    return geometry.substr(geometry.find('\n') + 1);
}

// A page that takes so many milliseconds.
std::string slow_ps(int milliseconds)
{
    return "%!PS\nrealtime " + std::to_string(milliseconds) +
           " add { dup realtime lt { exit } if } loop pop\n0 0 50 50 rectfill showpage\n";
}

} // namespace

TEST_F(Window, OpensAndQuits)
{
    start({});
    end_with_quit();
}

TEST_F(Window, AKeyCancelsTheRunAndChordsDoNot)
{
    user.write("endless.ps", endless_ps());
    start({"endless.ps"});
    ASSERT_TRUE(wait_for("gs"));
    desk.press("Shift_L");
    desk.press("ctrl+c");
    desk.press("alt+x");
    desk.press("super+y");
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_FALSE(user.processes("gs").empty());
    desk.press("x");
    EXPECT_TRUE(wait_for_end_of("gs"));
    EXPECT_FALSE(user.has("endless.pdf"));
    end_with_quit();
}

TEST_F(Window, QuittingEndsTheRun)
{
    user.write("endless.ps", endless_ps());
    start({"endless.ps"});
    ASSERT_TRUE(wait_for("gs"));
    end_with_quit();
    EXPECT_EQ(user.names(), strings{"endless.ps"});
}

TEST_F(Window, ADisplayThatDiesLeavesNothingBehind)
{
    user.set("TIFFFORMAT", "7");
    user.write("endless.ps", endless_ps());
    start({"endless.ps"});
    ASSERT_TRUE(wait_for("gs"));
    desk.crash();
    const program_result result = program->finish();
    EXPECT_EQ(result.signal, 0) << result.err;
    EXPECT_EQ(result.status, 1) << result.err;
    EXPECT_EQ(user.leftovers(), strings());
    EXPECT_EQ(user.names(), strings{"endless.ps"});
    EXPECT_EQ(user.papermill({"settings", "get", "TIFFFORMAT"}).out, "7\n");
}

TEST_F(Window, TheDesktopShowsItsIcon)
{
    start({});
    const program_result result = run_program(
        {{"xprop", "-id", console, "-notype", "_NET_WM_ICON"}, {{"DISPLAY", desk.display()}}});
    EXPECT_EQ(result.out.rfind("_NET_WM_ICON", 0), 0U) << result.out << result.err;
    EXPECT_NE(result.out.find("Icon ("), std::string::npos) << result.out.substr(0, 200);
    end_with_quit();
}

TEST_F(Window, ClosingHidesTheConsole)
{
    start({});
    close_console();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_FALSE(is_visible()); // it stays closed
    program->send_signal(SIGTERM);
    EXPECT_EQ(program->finish().status, 0);
    EXPECT_EQ(user.leftovers(), strings());
}

TEST_F(Window, ThePlaceIsSavedAtTheEndAndRestored)
{
    for (const char *end : {"quit", "signal"}) {
        start({});
        const int left = *end == 'q' ? 300 : 420;
        desk.xdotool({"windowsize", "--sync", console, "500", "320"});
        desk.xdotool({"windowmove", "--sync", console, std::to_string(left), "200"});
        const std::string place = desk.xdotool({"getwindowgeometry", "--shell", console});
        std::this_thread::sleep_for(std::chrono::milliseconds(500)); // the program hears of it, too
        if (*end == 'q') {
            end_with_quit();
        } else {
            program->send_signal(SIGTERM);
            EXPECT_EQ(program->finish().status, 0);
        }
        start({});
        EXPECT_EQ(without_number(desk.xdotool({"getwindowgeometry", "--shell", console})),
                  without_number(place));
        EXPECT_NE(place.find("\nWIDTH=500\nHEIGHT=320\n"), std::string::npos) << place;
        end_with_quit();
    }
}

TEST_F(Window, TheSizeThatTheSheetMadeIsNotSaved)
{
    user.write("endless.ps", endless_ps());
    user.set("GSWINDOW", "100 100 220 240");
    start({"endless.ps"});
    ASSERT_TRUE(wait_for("gs"));
    end_with_quit();
    int top = 0;
    int left = 0;
    int bottom = 0;
    int right = 0;
    const std::string saved = user.papermill({"settings", "get", "GSWINDOW"}).out;
    ASSERT_EQ(std::sscanf(saved.c_str(), "%d %d %d %d", &top, &left, &bottom, &right), 4);
    EXPECT_EQ(bottom - top, 120);
    EXPECT_EQ(right - left, 140);
}

TEST_F(Window, StartedInTheBackgroundItLeavesTheKeyboardWhereItIs)
{
    user.write("first.ps", drawing_ps(80, 60));
    const another_window another(desk);
    open({"--background", "first.ps"});
    EXPECT_TRUE(eventually([&] { return user.has("first.pdf"); }));
    EXPECT_TRUE(desk.wait_for_focus(another.number));
    program->send_signal(SIGTERM);
    EXPECT_EQ(program->finish().status, 0);
}

// In the background the tools run without a sheet, and the window takes no keys meanwhile.
TEST_F(Window, TheBackgroundFollowsTheWindowThatHasTheKeyboard)
{
    user.write("first.ps", slow_ps(3000));
    user.write("second.ps", slow_ps(3000));
    start({"first.ps", "second.ps"});
    ASSERT_TRUE(wait_for("gs"));
    const another_window another(desk);
    ASSERT_FALSE(user.has("first.pdf"));
    ASSERT_TRUE(eventually([&] { return user.has("first.pdf"); }));
    ASSERT_TRUE(wait_for("gs"));
    desk.xdotool({"windowactivate", "--sync", console});
    ASSERT_TRUE(desk.wait_for_focus(console));
    desk.press("x");
    EXPECT_TRUE(eventually([&] { return user.has("second.pdf"); }));
    end_with_quit();
}

// ---- menus ----

TEST_F(Window, TheKeyboardAloneConvertsAFileThatIsChosen)
{
    user.write("page.ps", drawing_ps(200, 100));
    start({});
    desk.press("alt+f");
    desk.press("p");
    const std::string chooser = desk.wait_for_window("Select an input file");
    ASSERT_NE(chooser, "");
    ASSERT_TRUE(desk.wait_for_focus(chooser));
    desk.xdotool({"type", user.path("page.ps")});
    desk.press("Return");
    EXPECT_TRUE(eventually([&] { return user.has("page.pdf"); }));
    EXPECT_EQ(pdf_page_size(user.path("page.pdf")), "200 x 100");
    ASSERT_TRUE(desk.wait_for_focus(console));
    end_with_quit();
}

TEST_F(Window, TheMouseAloneEndsTheProgram)
{
    start({});
    desk.xdotool({"mousemove", "--window", console, "30", "10", "click", "1"});
    std::this_thread::sleep_for(std::chrono::milliseconds(500)); // a quick second click is a double
    const std::string menu = open_menu();
    ASSERT_NE(menu, "");
    const std::string place = desk.xdotool({"getwindowgeometry", "--shell", menu});
    const int height = std::atoi(place.c_str() + place.find("HEIGHT=") + std::strlen("HEIGHT="));
    const std::string last_item = std::to_string(height - 12);
    desk.xdotool({"mousemove", "--window", menu, "30", last_item, "click", "1"});
    EXPECT_EQ(program->finish().status, 0);
    EXPECT_EQ(user.leftovers(), strings());
}

TEST_F(Window, TheMenusAreOpenedDuringARunAndEndNothing)
{
    user.write("endless.ps", endless_ps());
    start({"endless.ps"});
    ASSERT_TRUE(wait_for("gs"));
    for (const char *keys : {"alt+f", "Down", "Return", "x", "Escape", "Escape", "F10", "Right",
                             "Escape", "Escape", "ctrl+o", "ctrl+shift+d", "ctrl+k"})
        desk.press(keys);
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    EXPECT_EQ(desk.xdotool({"search", "--onlyvisible", "--name", "^Select an input file$"}), "");
    EXPECT_EQ(user.processes("gs").size(), 1U);
    ASSERT_TRUE(desk.has_focus(console));
    desk.press("x");
    EXPECT_TRUE(wait_for_end_of("gs"));
    end_with_quit();
}

// ---- dialogs ----

TEST_F(Window, AMissingToolIsToldOnceAtTheStart)
{
    const std::string tools = user.elsewhere("tools");
    EXPECT_EQ(mkdir(tools.c_str(), 0700), 0);
    user.environment["PATH"] = tools; // nothing is there
    start({});
    desk.press("ctrl+s");
    const std::string chooser = desk.wait_for_window("Save console output as");
    ASSERT_TRUE(desk.wait_for_focus(chooser));
    desk.press("Return");
    ASSERT_TRUE(
        eventually([&] { return user.has("console.log") && !user.read("console.log").empty(); }));
    const std::string told = user.read("console.log");
    for (const char *line : {"gs was not found. Install the package ghostscript.\n",
                             "tcsh was not found. Install the package tcsh.\n"}) {
        EXPECT_NE(told.find(line), std::string::npos) << told;
        EXPECT_EQ(told.find(line), told.rfind(line)) << told;
    }
    ASSERT_TRUE(desk.wait_for_focus(console));
    end_with_quit();
}

TEST_F(Window, ASettingIsChangedByKeyboardAlone)
{
    start({});
    desk.press("ctrl+comma");
    const std::string preferences = desk.wait_for_window("Preferences");
    ASSERT_TRUE(desk.wait_for_focus(preferences));
    // The blank is for the box that follows the field.
    for (const char *keys : {"alt+t", "alt+r", "ctrl+a", "3", "0", "0", "Tab", "space", "Return"})
        desk.press(keys);
    ASSERT_TRUE(desk.wait_for_focus(console));
    EXPECT_EQ(user.papermill({"settings", "get", "TIFF_OPTION_STR"}).out, "300\n");
    EXPECT_EQ(user.papermill({"settings", "get", "TIFFCOMPRESS"}).out, "1\n");
    end_with_quit();
}

TEST_F(Window, TheWindowManagersCloseCancelsADialog)
{
    start({});
    desk.press("ctrl+l");
    const std::string asking = desk.wait_for_window("Command Line");
    ASSERT_TRUE(desk.wait_for_focus(asking));
    desk.xdotool({"type", "true"});
    desk.press("alt+F4");
    ASSERT_TRUE(desk.wait_for_focus(console));
    EXPECT_EQ(user.papermill({"settings", "get", "GSCOMMAND"}).out, "");
    EXPECT_TRUE(is_visible());
    end_with_quit();
}

TEST_F(Window, AnEndThatIsAskedForComesWithADialogOpenAsWell)
{
    start({});
    desk.press("ctrl+comma");
    ASSERT_NE(desk.wait_for_window("Preferences"), "");
    program->send_signal(SIGTERM);
    const program_result result = program->finish();
    EXPECT_EQ(result.signal, 0) << result.err;
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(user.leftovers(), strings());
}

namespace {

// On a session bus of the test's own.
class WindowOnABus : public Window {
protected:
    WindowOnABus()
    {
        for (const auto &[name, value] : bus.environment())
            user.environment[name] = value;
    }

    program_result start_again(const strings &words) const
    {
        program_call call = user.call(words);
        call.arguments[0] = PAPERMILL_BUNDLE "/Linux/papermill-desktop";
        return run_program(call);
    }

    own_bus bus;
};

} // namespace

TEST_F(WindowOnABus, ASecondStartBringsTheHiddenConsoleBack)
{
    start({});
    close_console();
    const program_result second = start_again({});
    EXPECT_EQ(second.status, 0);
    EXPECT_EQ(second.out + second.err, "");
    EXPECT_TRUE(eventually([&] { return is_visible(); }));
    EXPECT_TRUE(desk.wait_for_focus(console));
    end_with_quit();
}

TEST_F(WindowOnABus, WhenTheFirstHasEndedAnotherStartIsTheFirst)
{
    start({});
    end_with_quit();
    start({});
    EXPECT_EQ(start_again({}).status, 0);
    end_with_quit();
}

TEST_F(WindowOnABus, ABusThatDiesEndsNothing)
{
    start({});
    bus.stop();
    close_console();
    program->send_signal(SIGTERM);
    EXPECT_EQ(program->finish().status, 0);
    EXPECT_EQ(user.leftovers(), strings());
}

TEST_F(WindowOnABus, ARequestIsAnsweredWhileADialogIsOpen)
{
    user.write("page.ps", drawing_ps(200, 100));
    start({});
    desk.press("ctrl+comma");
    const std::string preferences = desk.wait_for_window("Preferences");
    ASSERT_TRUE(desk.wait_for_focus(preferences));
    const program_result second = start_again({"page.ps"});
    EXPECT_EQ(second.status, 0) << second.err;
    EXPECT_EQ(pdf_page_size(user.path("page.pdf")), "200 x 100");
    EXPECT_EQ(desk.wait_for_window("Preferences"), preferences); // still there
    desk.xdotool({"windowactivate", "--sync", preferences});
    ASSERT_TRUE(desk.wait_for_focus(preferences));
    desk.press("Escape");
    ASSERT_TRUE(desk.wait_for_focus(console));
    end_with_quit();
}

// ---- files from another program ----

namespace {

// Another program's window in the screen's corner, which the files can be dragged from.
class dragging_user {
public:
    dragging_user(const screen &on, const strings &files) : desk(on), program(call(on, files))
    {
        source = desk.wait_for_window("source");
        EXPECT_NE(source, "");
        EXPECT_TRUE(desk.wait_for_focus(source)); // then the window manager has placed it
    }

    // Drags from the other program's window to that place in the window, and stays there.
    void drag_to(const std::string &window, const std::string &x, const std::string &y)
    {
        point(source, "60", "60");
        desk.xdotool({"mousedown", "1"});
        for (int step = 0; step < 4; ++step) {
            desk.xdotool({"mousemove_relative", "--sync", "10", "10"});
            wait();
        }
        EXPECT_TRUE(program.wait_for_output("begun\n"));
        point(window, x, y);
        for (int step = 0; step < 4; ++step) { // the other program asks with every move
            wait();
            desk.xdotool({"mousemove_relative", "--sync", "3", "3"});
        }
        wait();
    }

    void drop() const
    {
        desk.xdotool({"mouseup", "1"});
    }

    bool is_told(const std::string &what)
    {
        return program.wait_for_output("begun\n" + what + "\n");
    }

private:
    static program_call call(const screen &on, const strings &files)
    {
        program_call made = {{PAPERMILL_DRAG_SOURCE, "20", "20"}, {{"DISPLAY", on.display()}}};
        made.arguments.insert(made.arguments.end(), files.begin(), files.end());
        made.environment["QT_QPA_PLATFORM"] = std::nullopt;
        made.environment["WAYLAND_DISPLAY"] = std::nullopt;
        return made;
    }

    void point(const std::string &window, const std::string &x, const std::string &y) const
    {
        desk.xdotool({"mousemove", "--sync", "--window", window, x, y});
    }

    static void wait()
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }

    const screen &desk;
    running_program program;
    std::string source;
};

class WindowAndAnother : public Window {
protected:
    void start_aside(const strings &words)
    {
        user.set("GSWINDOW", "200 400 500 900");
        start(words);
    }
};

} // namespace

TEST_F(WindowAndAnother, AFileIsDroppedAndTheOtherProgramDoesNotWait)
{
    const std::string name = "two words \xC3\xA4.ps";
    const std::string file = user.write(name, slow_ps(4000));
    start_aside({});
    dragging_user other(desk, {file});
    other.drag_to(console, "200", "100");
    EXPECT_FALSE(user.has("two words \xC3\xA4.pdf"));
    other.drop();
    EXPECT_TRUE(other.is_told("accepted"));
    EXPECT_FALSE(user.has("two words \xC3\xA4.pdf"));
    EXPECT_TRUE(eventually([&] { return user.has("two words \xC3\xA4.pdf"); }));
    EXPECT_TRUE(user.has(name));
    program->send_signal(SIGTERM);
    EXPECT_EQ(program->finish().status, 0);
    EXPECT_EQ(user.leftovers(), strings());
}

TEST_F(WindowAndAnother, TwoFilesAreRefused)
{
    const std::string first = user.write("first.ps", drawing_ps(80, 60));
    const std::string second = user.write("second.ps", drawing_ps(80, 60));
    start_aside({});
    dragging_user other(desk, {first, second});
    other.drag_to(console, "200", "100");
    other.drop();
    EXPECT_TRUE(other.is_told("refused"));
    program->send_signal(SIGTERM);
    EXPECT_EQ(program->finish().status, 0);
    EXPECT_EQ(user.names(), (strings{"first.ps", "second.ps"}));
}

TEST_F(WindowAndAnother, DuringARunAFileIsRefused)
{
    user.write("endless.ps", endless_ps());
    const std::string file = user.write("first.ps", drawing_ps(80, 60));
    start_aside({"endless.ps"});
    ASSERT_TRUE(wait_for("gs"));
    dragging_user other(desk, {file});
    other.drag_to(console, "200", "250");
    other.drop();
    EXPECT_TRUE(other.is_told("refused"));
    program->send_signal(SIGTERM);
    EXPECT_EQ(program->finish().status, 0);
    EXPECT_EQ(user.names(), (strings{"endless.ps", "first.ps"}));
}
