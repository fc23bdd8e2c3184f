#include "engine/pdf_merge.h"

#include "app/globals.h"
#include "dialogs/merge_window.h"
#include "engine/tool_runner.h"
#include "platform/processes.h"
#include "platform/strings.h"
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

// A value that is too long for a field is left out: half a name would be another one.
template <std::size_t size>
static void remembered(const char *key, char (&buffer)[size])
{
    if (!platform::copy_whole(buffer, string_setting(key, "").c_str()))
        buffer[0] = 0;
}

void do_pdfmerge()
{
    static char list[field_size];
    static char output[field_size];
    static char folder[path_size];
    remembered("PDFMERGE_INFILES", list);
    remembered("PDFMERGE_OUTFILE", output);
    remembered("PDFMERGE_DIR", folder);
    if (GetPdfMergeFiles(list, output, folder) == 0)
        return;
    bool stored = set_str_resource("PDFMERGE_INFILES", list) != 0;
    stored = set_str_resource("PDFMERGE_OUTFILE", output) != 0 && stored;
    stored = set_str_resource("PDFMERGE_DIR", folder) != 0 && stored;
    if (!stored)
        tell_settings_are_not_stored();
    run_pdfmerge(list, output, folder);
}
