#include "engine/ps_to_pdf.h"

#include "app/cursors.h"
#include "app/globals.h"
#include "console/console_io.h"
#include "engine/eps_render.h"
#include "engine/eps_scanner.h"
#include "engine/tool_runner.h"
#include "platform/processes.h"
#include "settings/prefs_store.h"

#include <cstdio>
#include <string>

namespace {

// True: the system's own converter makes the PDF.
bool choose_pstopdf()
{
    return have103 == 1 && string_setting("APPLE_PDF_STR", "0")[0] != '0';
}

// Both routines' common part. With a banner it is do_ps2pdf's run, without one do_ps2pdf2's.
void convert(const char *input, const char *output, const char *banner)
{
    if (refuse_own_input(input, output))
        return;
    const bool pstopdf = choose_pstopdf();
    // pstopdf has no place for options; its fallback is kept for it all the same.
    const std::string options =
        string_setting("PS2PDF_OPTION_STR", pstopdf ? distilling_options : "");
    const std::string capture_slot = platform::in_double_quotes(worksheet);
    const std::string output_slot = platform::in_double_quotes(output);
    const std::string input_slot = platform::in_double_quotes(input);
    const bool composed =
        pstopdf
            ? compose_command_line(input, "gs.script pstopdf %d \"%s\" \"%s\" \"%s\"", appPID,
                                   capture_slot.c_str(), output_slot.c_str(), input_slot.c_str())
            : compose_command_line(input, "gs.script ps2pdf %d \"%s\" \"%s\" \"%s\" \"%s\"", appPID,
                                   capture_slot.c_str(), output_slot.c_str(), input_slot.c_str(),
                                   platform::in_double_quotes(options.c_str()).c_str());
    if (!composed)
        return;

    run_options run;
    run.unix_tool = pstopdf ? "pstopdf" : "gs";
    run.banner = banner;
    run.subject = input;
    run.output = output;
    if (banner == nullptr && !pstopdf)
        run.flush = flush_after_result;
    run_and_wait(run);
}

} // namespace

void do_ps2pdf(const char *input)
{
    static char posixInName[path_size];
    static char posixOutName[path_size];
    if (!take_path(posixInName, input != nullptr ? input : in_file) ||
        !take_output(posixOutName, nullptr, posixInName, ".pdf"))
        return;
    const std::string banner =
        std::string("Converting ") + posixInName + " to " + posixOutName + ".\n";
    convert(posixInName, posixOutName, banner.c_str());
}

void do_ps2pdf2(const char *input, const char *output)
{
    static char infile[path_size];
    static char outfile[path_size];
    if (take_path(infile, input) && take_path(outfile, output))
        convert(infile, outfile, nullptr);
}

int epstopdf(const char *input, const char *output)
{
    static char infile[path_size];
    static char outfile[path_size];
    static char tmpname[path_size];
    if (!take_path(infile, input) || !take_output(outfile, output, infile, ".pdf") ||
        !begin_eps_conversion(infile, outfile))
        return 0;

    int w = 0;
    int h = 0;
    if (prepare_eps(infile, tmpname, &w, &h)) {
        set_prepared_from(infile);
        do_ps2pdf2(tmpname, outfile);
        set_prepared_from(nullptr);
        if (doDebug)
            text_printf("Deleting temporary file %s.\n", tmpname);
        std::remove(tmpname);
    } else {
        conversion_failed();
    }
    restore();
    return 0;
}
