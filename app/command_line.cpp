#include "app/command_line.h"

#include "app/globals.h"
#include "console/console_io.h"
#include "engine/tool_runner.h"
#include "platform/processes.h"

#include <string>

void ExecuteCommand()
{
    const std::string command = command_line;
    text_printf("Processing: %s\n", command.c_str());
    text_printf("Current directory -- %s\n", curr_dir);

    const std::string capture_slot = platform::in_double_quotes(worksheet);
    const bool redirects = command.find('>') != std::string::npos;
    const bool composed =
        redirects ? compose_command_line(command.c_str(), "gs.script exec1 %d \"%s\" %s", appPID,
                                         capture_slot.c_str(), command.c_str())
                  : compose_command_line(command.c_str(), "gs.script exec %d \"%s\" %s", appPID,
                                         capture_slot.c_str(), command.c_str());
    if (!composed)
        return;
    run_options run;
    run.tool_name = "the command";
    run.folder = curr_dir;
    run.launch_in_folder = true;
    run.subject = command.c_str();
    run.doing = "Running:";
    run_and_wait(run);
}

void DoAppleScript()
{
    ExecuteCommand();
}
