#include "engine/pdf_merge.h"

#include "app/globals.h"
#include "engine/tool_runner.h"
#include "platform/processes.h"
#include "settings/prefs_store.h"

#include <string>

void run_pdfmerge(const char *list, const char *output, const char *folder)
{
    const std::string options = string_setting("PS2PDF_OPTION_STR", distilling_options);
    // The list is the one part that is not quoted: its names are words of the shell.
    if (!compose_command_line(output, "gs.script pdfmerge %d \"%s\" \"%s\" \"%s\" %s", appPID,
                              platform::in_double_quotes(worksheet).c_str(),
                              platform::in_double_quotes(options.c_str()).c_str(),
                              platform::in_double_quotes(output).c_str(), list))
        return;
    const std::string banner = std::string("Merging ") + list + " to " + output +
                               ".\nCurrent directory -- " + folder + ".\n";
    run_options run;
    run.banner = banner.c_str();
    run.folder = folder;
    run.subject = output;
    run.doing = "Merging:";
    run.input = list;
    run.output = output;
    run_and_wait(run);
}
