#include "tests/desktop/screen.h"

#include "tests/support/eventually.h"

#include <csignal>
#include <stdexcept>

static std::string first_line(const std::string &text)
{
    return text.substr(0, text.find('\n'));
}

screen::screen(const std::string &geometry)
{
    // The server finds a free number by itself and writes it to the descriptor.
    program_call call = {
        {"Xvfb", "-displayfd", "1", "-screen", "0", geometry, "-nolisten", "tcp", "-noreset"}};
    server = std::make_unique<running_program>(call);
    if (!server->wait_for_output("\n"))
        throw std::runtime_error("Xvfb does not start");
    own_display = ":" + first_line(server->output());
    // It tells when it has started: a window that comes just before that is lost.
    manager = std::make_unique<running_program>(
        program_call{{"openbox", "--startup", "echo ready"}, {{"DISPLAY", own_display}}});
    if (!manager->wait_for_output("ready"))
        throw std::runtime_error("openbox does not start");
}

screen::~screen() = default;

const std::string &screen::display() const
{
    return own_display;
}

void screen::crash()
{
    server->send_signal(SIGKILL);
}

std::string screen::xdotool(const std::vector<std::string> &words) const
{
    program_call call = {{"xdotool"}, {{"DISPLAY", own_display}}};
    call.arguments.insert(call.arguments.end(), words.begin(), words.end());
    const program_result result = run_program(call);
    return result.status == 0 ? result.out : "";
}

std::string screen::wait_for_window(const std::string &title) const
{
    std::string window;
    eventually([&] {
        window = first_line(xdotool({"search", "--onlyvisible", "--name", "^" + title + "$"}));
        return !window.empty();
    });
    return window;
}

bool screen::has_focus(const std::string &window) const
{
    return first_line(xdotool({"getwindowfocus"})) == window;
}

bool screen::wait_for_focus(const std::string &window) const
{
    return eventually([&] { return has_focus(window); });
}

void screen::press(const std::string &keys) const
{
    xdotool({"key", "--clearmodifiers", keys});
}
