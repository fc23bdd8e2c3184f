// The desktop program.
#include "app/globals.h"
#include "app/startup.h"
#include "console/console_io.h"
#include "dialogs/wait_progress.h"
#include "engine/dispatch.h"
#include "platform/apple_events.h"
#include "platform/core/atomic_file.h"
#include "platform/core/session_bus.h"
#include "platform/core/signals.h"
#include "platform/events.h"
#include "platform/processes.h"
#include "platform/qt/application.h"
#include "platform/resources.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

constexpr int wrong_usage = 2;
constexpr int busy = 75;

const char usage[] =
    "Usage: papermill-desktop [--background] [--service] [FILE...]\n"
    "Shows the console window and converts each file to PDF, as if it were opened. When the\n"
    "program already runs, its window comes to the front and converts them.\n"
    "\n"
    "  --background  Run tools as a program that is not in front does: without the wait sheet\n"
    "  --service     Started by the session bus: answer requests, without a display as well\n"
    "  --version     Print the version and end\n"
    "  --help        Show this help and end\n";

struct request {
    bool background = false;
    bool service = false;
    std::vector<std::string> files; // absolute paths
};

// Takes one word of the call that begins with "-"; an option that ends the program ends it here.
void take_option(const char *word, request *asked)
{
    if (std::strcmp(word, "--background") == 0) {
        asked->background = true;
        return;
    }
    if (std::strcmp(word, "--service") == 0) {
        asked->service = true;
        return;
    }
    if (std::strcmp(word, "--version") == 0) {
        std::printf("papermill-desktop %s\n", PAPERMILL_VERSION);
        std::exit(EXIT_SUCCESS);
    }
    if (std::strcmp(word, "--help") == 0) {
        std::fputs(usage, stdout);
        std::exit(EXIT_SUCCESS);
    }
    std::fprintf(stderr, "papermill-desktop: there is no option %s.\n%s", word, usage);
    std::exit(wrong_usage);
}

void take_file(const char *word, request *asked)
{
    const std::string path = platform::absolute_path(word);
    if (path.empty()) {
        std::fprintf(stderr, "papermill-desktop: the current folder is gone: %s.\n",
                     std::strerror(errno));
        std::exit(EXIT_FAILURE);
    }
    asked->files.push_back(path);
}

request parse(int argc, char **argv)
{
    request asked;
    bool only_files = false;
    for (int i = 1; i < argc; ++i) {
        if (!only_files && std::strcmp(argv[i], "--") == 0)
            only_files = true;
        else if (!only_files && argv[i][0] == '-')
            take_option(argv[i], &asked);
        else
            take_file(argv[i], &asked);
    }
    return asked;
}

// The end that the user, the end of the session or a signal asked for, like one that a script asks
// for. What a run still has going is ended on the way out.
void quit()
{
    AppleEvent event;
    AppleEvent no_reply = {typeNull, nullptr};
    AECreateAppleEvent(kCoreEventClass, kAEQuitApplication, &event);
    platform::handle_apple_event(&event, &no_reply);
}

bool has_display()
{
    for (const char *variable : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"}) {
        const char *value = std::getenv(variable);
        if (value != nullptr && *value != 0)
            return true;
    }
    return false;
}

// Goes on as the terminal program, which lies beside this one, and answers requests there.
void become_service()
{
    char program[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", program, sizeof program - 1);
    std::string path(program, length < 0 ? 0 : static_cast<std::size_t>(length));
    path.erase(path.rfind('/') + 1);
    path += "papermill";
    execl(path.c_str(), path.c_str(), "serve", nullptr);
    std::fprintf(stderr, "papermill-desktop: %s can't be started: %s.\n", path.c_str(),
                 std::strerror(errno));
    std::exit(EXIT_FAILURE);
}

// Leaves the work to the program that already runs. The exit status, or -1 when that has no window.
int hand_over(const request &asked)
{
    const platform::raised raised =
        platform::raise_running_program(std::getenv("XDG_ACTIVATION_TOKEN"));
    if (raised == platform::raised::no_window ||
        (raised == platform::raised::silent && asked.files.empty()))
        return -1;
    std::vector<std::string> files;
    for (const std::string &file : asked.files) {
        if (access(file.c_str(), F_OK) == 0)
            files.push_back(file);
        else
            std::fprintf(stderr, "papermill-desktop: %s: %s.\n", file.c_str(),
                         std::strerror(errno));
    }
    const int status = files.size() == asked.files.size() ? EXIT_SUCCESS : EXIT_FAILURE;
    std::string answer;
    if (files.empty())
        return status;
    const OSErr error = platform::open_in_running_program(files, &answer);
    if (error == noErr)
        return status;
    std::fprintf(stderr, "papermill-desktop: %s\n", answer.c_str());
    return error == errAEEventNotHandled ? busy : EXIT_FAILURE;
}

// The first turn of the loop: the files of the call, as if they had been opened. After a request
// that was quicker.
void open_files(EventLoopTimerRef timer, void *files)
{
    if (inRun != 0)
        return;
    RemoveEventLoopTimer(timer);
    clear_jobs();
    for (const std::string &file : *static_cast<const std::vector<std::string> *>(files))
        add_job(file.c_str());
    doOpenDoc();
}

} // namespace

int main(int argc, char **argv)
{
    platform::occupy_standard_files();
    request asked = parse(argc, argv);
    if (asked.service && !has_display())
        become_service();
    platform::prepare_for_tools();
    const platform::program_name name = platform::take_program_name();
    if (name == platform::program_name::held) {
        const int status = hand_over(asked);
        if (status >= 0)
            return status;
    }
    platform::catch_signals();
    platform::on_interrupt(quit);
    platform::on_quit(quit);
    platform::set_front_process(!asked.background);
    platform::open_desktop(
        "papermill-desktop",
        "papermill-desktop: no display can be reached; in a terminal, use papermill.");
    platform::open_application_resources();
    if (initial() == 0)
        return 0;
    // Registered last, so that it comes first: a run's processes end before its folder goes. It
    // comes, too, when the display breaks down.
    std::atexit(platform::kill_run_processes);
    if (tmpPath[0] == 0)
        text_printf("No folder for temporary files can be made, neither in $TMPDIR nor in /tmp. "
                    "Nothing can be converted.\n");
    tell_missing_tools();
    if (name == platform::program_name::no_bus)
        tell_scripting_is_off();
    install_handlers();
    platform::on_processes_gone(tell_script_died);
    platform::serve_bus(); // not earlier: what has come in by now wants its handlers
    if (!asked.files.empty())
        InstallEventLoopTimer(GetCurrentEventLoop(), 0.0, 1.0, open_files, &asked.files, nullptr);
    RunApplicationEventLoop();
    return 0;
}
