// The desktop program.
#include "app/globals.h"
#include "app/startup.h"
#include "console/console_io.h"
#include "console/console_text.h"
#include "console/console_window.h"
#include "dialogs/wait_progress.h"
#include "engine/dispatch.h"
#include "engine/tool_runner.h"
#include "platform/core/session_bus.h"
#include "platform/core/signals.h"
#include "platform/events.h"
#include "platform/processes.h"
#include "platform/qt/application.h"
#include "platform/resources.h"
#include "settings/path_utils.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr int wrong_usage = 2;

const char usage[] =
    "Usage: papermill-desktop [--background] [FILE...]\n"
    "Shows the console window and converts each file to PDF, as if it were opened. Without a\n"
    "file, the window of a program that already runs comes to the front.\n"
    "\n"
    "  --background  Run tools as a program that is not in front does: without the wait sheet\n"
    "  --version     Print the version and end\n"
    "  --help        Show this help and end\n";

struct request {
    bool background = false;
    std::vector<std::string> files; // absolute paths
};

// Takes one word of the call that begins with "-"; an option that ends the program ends it here.
void take_option(const char *word, request *asked)
{
    if (std::strcmp(word, "--background") == 0) {
        asked->background = true;
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
    const std::string path = absolute_path(word);
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

// The end that the user, the end of the session or a signal asked for. What a run still has going
// is ended on the way out.
void quit()
{
    HideSheetWindow(waitWindow); // the console's own size is saved, not what the sheet made of it
    if (theConsole != nullptr)
        TextCleanUp();
    std::exit(EXIT_SUCCESS);
}

// The first turn of the loop: the files of the call, as if they had been opened.
void open_files(EventLoopTimerRef timer, void *files)
{
    RemoveEventLoopTimer(timer);
    numberOfJobs = 0;
    for (const std::string &file : *static_cast<const std::vector<std::string> *>(files))
        add_job(file.c_str());
    doOpenDoc();
}

} // namespace

int main(int argc, char **argv)
{
    platform::occupy_standard_files();
    request asked = parse(argc, argv);
    // A second start brings the first one's window to the front; files get a program of their own.
    if (platform::take_program_name() == platform::program_name::held && asked.files.empty() &&
        platform::raise_running_program(std::getenv("XDG_ACTIVATION_TOKEN")))
        return EXIT_SUCCESS;
    platform::catch_signals();
    platform::on_interrupt(quit);
    platform::on_quit(quit);
    platform::prepare_for_tools();
    platform::set_front_process(!asked.background);
    platform::open_desktop(
        "papermill-desktop",
        "papermill-desktop: no display can be reached; in a terminal, use papermill.");
    platform::serve_bus();
    platform::open_application_resources();
    if (initial() == 0)
        return 0;
    // Registered last, so that it comes first: a run's processes end before its folder goes. It
    // comes, too, when the display breaks down.
    std::atexit(platform::kill_run_processes);
    if (tmpPath[0] == 0)
        text_printf("No folder for temporary files can be made, neither in $TMPDIR nor in /tmp. "
                    "Nothing can be converted.\n");
    install_handlers();
    platform::on_processes_gone(tell_script_died);
    if (!asked.files.empty())
        InstallEventLoopTimer(GetCurrentEventLoop(), 0.0, 1.0, open_files, &asked.files, nullptr);
    RunApplicationEventLoop();
    return 0;
}
