// ps -x -c -o pid,command: the processes of the run in progress, by the names of their executables.
// The program's cancel ends the first one whose name contains the tool's; among all processes of
// the system, that could be anybody's.
#include "platform/processes.h"
#include "stand_ins/next_tool.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <unistd.h>

static bool is_the_program_s_form(int argc, char **argv)
{
    static const char *const form[] = {"-x", "-c", "-o", "pid,command"};
    if (argc != 1 + static_cast<int>(std::size(form)))
        return false;
    for (std::size_t i = 0; i < std::size(form); ++i) {
        if (std::strcmp(argv[i + 1], form[i]) != 0)
            return false;
    }
    return true;
}

// One line a process, whatever its name holds.
static void print_process(const platform::process &each)
{
    std::printf("%5d ", static_cast<int>(each.pid));
    for (const char c : each.name)
        std::putchar(static_cast<unsigned char>(c) < ' ' || c == '\x7f' ? '?' : c);
    std::putchar('\n');
}

int main(int argc, char **argv)
{
    if (!is_the_program_s_form(argc, argv))
        hand_over("ps", argv);

    // The question itself is no part of the answer: this process, the others of its pipeline, and
    // the shell that runs it, unless the program started this process directly.
    const pid_t shell = getppid();
    const char *application = std::getenv("PAPERMILL_PID");
    const bool has_shell = application == nullptr || std::atol(application) != shell;

    std::printf("  PID COMMAND\n");
    for (const platform::process &each : platform::run_processes()) {
        const bool asks =
            each.pid == getpid() || (has_shell && (each.pid == shell || each.parent == shell));
        if (!asks)
            print_process(each);
    }
    return std::fflush(stdout) == 0 ? 0 : 1;
}
