// The steps of a run one by one, each in a process of its own, as a program for tests:
//
//     run_steps stage pdf|ps|any OUTPUT INPUT...
//     run_steps tool LIMIT TOOL ARGUMENT...
//     run_steps settle STATUS KIND CAPTURE OUTPUT INPUT...
#include "stand_ins/settling.h"
#include "stand_ins/staging.h"
#include "stand_ins/tools.h"

#include <cstdlib>
#include <string>
#include <unistd.h>

int main(int argc, char **argv)
{
    const std::string run_folder = getenv("PAPERMILL_RUN_FOLDER");
    const std::string step = argv[1];
    if (step == "stage")
        return stage(run_folder, argv[2], argv[3], {argv + 4, argv + argc});
    if (step == "tool")
        return run_tool({argv + 3, argv + argc},
                        {run_folder, true, STDOUT_FILENO, STDERR_FILENO, std::atol(argv[2])});
    return settle(
        {run_folder, std::atoi(argv[2]), argv[3], argv[4], argv[5], {argv + 6, argv + argc}});
}
