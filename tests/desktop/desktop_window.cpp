#include "tests/desktop/desktop_window.h"

#include "tests/support/eventually.h"

#include <chrono>
#include <optional>
#include <sstream>
#include <sys/stat.h>
#include <thread>

using namespace std::chrono_literals;

Window::Window()
{
    user.environment["DISPLAY"] = desk.display();
    for (const char *variable : {"WAYLAND_DISPLAY", "QT_QPA_PLATFORM", "SESSION_MANAGER"})
        user.environment[variable] = std::nullopt;
    const std::string runtime = user.elsewhere("runtime");
    EXPECT_EQ(mkdir(runtime.c_str(), 0700), 0);
    user.environment["XDG_RUNTIME_DIR"] = runtime;
}

void Window::open(const std::vector<std::string> &words)
{
    program_call call = user.call(words);
    call.arguments[0] = PAPERMILL_BUNDLE "/Linux/papermill-desktop";
    program = std::make_unique<running_program>(call);
    console = desk.wait_for_window("Papermill");
    ASSERT_NE(console, "");
}

void Window::start(const std::vector<std::string> &words)
{
    open(words);
    ASSERT_TRUE(desk.wait_for_focus(console));
}

bool Window::wait_for(const std::string &tool) const
{
    return eventually([&] { return !user.processes(tool).empty(); });
}

bool Window::wait_for_end_of(const std::string &tool) const
{
    return eventually([&] { return user.processes(tool).empty(); });
}

bool Window::is_visible() const
{
    return !desk.xdotool({"search", "--onlyvisible", "--name", "^Papermill$"}).empty();
}

void Window::close_console() const
{
    for (int tries = 0; tries < 10 && is_visible(); ++tries) {
        desk.press("alt+F4");
        for (int looks = 0; looks < 100 && is_visible(); ++looks)
            std::this_thread::sleep_for(20ms);
    }
    EXPECT_FALSE(is_visible());
}

std::string Window::open_menu() const
{
    std::string menu;
    eventually([&] {
        std::istringstream windows(
            desk.xdotool({"search", "--onlyvisible", "--class", "papermill-desktop"}));
        for (std::string each; windows >> each;)
            menu = std::stol(each) == std::stol(console) ? menu : each;
        return !menu.empty();
    });
    return menu;
}

void Window::end_with_quit()
{
    desk.press("ctrl+q");
    const program_result result = program->finish();
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(user.leftovers(), std::vector<std::string>());
}

void Window::let_it_settle()
{
    std::this_thread::sleep_for(500ms);
}
