#include "engine/pdf_conversions.h"

#include "app/globals.h"
#include "engine/tool_launcher.h"
#include "engine/tool_runner.h"
#include "platform/processes.h"
#include "settings/prefs_store.h"

#include <algorithm>
#include <cstring>
#include <string>

namespace {

std::string slot(const char *text)
{
    return platform::in_double_quotes(text);
}

// False, with a message, when the input does not fit into in_file or is the output.
bool take_input(const char *input)
{
    return (input == nullptr || take_path(in_file, input)) && !refuse_own_input(in_file, out_file);
}

// Runs the composed line on in_file, with the line that names both files.
void run_on_files(const char *unix_tool)
{
    const std::string banner = std::string("Converting ") + in_file + " to " + out_file + "\n";
    run_options run;
    run.unix_tool = unix_tool;
    run.banner = banner.c_str();
    run.subject = in_file;
    run.output = out_file;
    run.set_arrow = false;
    run_and_wait(run);
}

} // namespace

void do_pdf2pdf()
{
    const std::string options = string_setting("PS2PDF_OPTION_STR", distilling_options);
    if (compose_command_line(in_file, "gs.script pdf2pdf %d \"%s\" \"%s\" \"%s\" \"%s\"", appPID,
                             slot(worksheet).c_str(), slot(out_file).c_str(), slot(in_file).c_str(),
                             slot(options.c_str()).c_str()))
        run_on_files("gs");
}

void do_pdf2ps(const char *input)
{
    const std::string options = string_setting("PDF2PS_OPTION_STR", "");
    if (take_input(input) &&
        compose_command_line(in_file, "gs.script pdf2ps %d \"%s\" \"%s\" \"%s\" \"%s\"", appPID,
                             slot(worksheet).c_str(), slot(out_file).c_str(), slot(in_file).c_str(),
                             slot(options.c_str()).c_str()))
        run_on_files("gs");
}

// The options for PDF to PostScript are Ghostscript's: pdftops gets none.
void do_pdftops(const char *input)
{
    if (take_input(input) &&
        compose_command_line(in_file, "gs.script pdftops %d \"%s\" \"%s\" \"%s\"", appPID,
                             slot(worksheet).c_str(), slot(out_file).c_str(),
                             slot(in_file).c_str()))
        run_on_files("pdftops");
}

void do_eps2eps()
{
    if (take_input(nullptr) &&
        compose_command_line(in_file, "gs.script eps2eps %d \"%s\" \"%s\" \"%s\"", appPID,
                             slot(worksheet).c_str(), slot(out_file).c_str(),
                             slot(in_file).c_str()))
        run_on_files("gs");
}

void do_ps2ascii(const char *input)
{
    if (!take_input(input) ||
        !compose_command_line(in_file, "gs.script ps2ascii %d \"%s\" \"%s\"", appPID,
                              slot(out_file).c_str(), slot(in_file).c_str()))
        return;
    const std::string banner = std::string("Processing: ") + command_line + "\n";
    run_options run;
    run.banner = banner.c_str();
    run.subject = in_file;
    run.output = out_file;
    run.copy_output = false;
    run.set_arrow = false;
    run_and_wait(run);
}

void do_pdf2dsc(const char *input, const char *output)
{
    const char *in_slash = std::strrchr(input, '/');
    const char *out_slash = std::strrchr(output, '/');
    if (in_slash == nullptr || out_slash == nullptr)
        return;
    const std::string in_name = in_slash + 1;
    const std::string out_name = out_slash + 1;
    const std::string folder(output, out_slash + 1);
    const std::string copy = folder + in_name;
    if (!compose_command_line(input, "cp -f \"%s\" \"%s\"", slot(input).c_str(),
                              slot(copy.c_str()).c_str()) ||
        refuse_unusable_input(input))
        return;
    InvokeTool2(command_line);

    if (compose_command_line(input, "gs.script pdf2dsc %d \"%s\" \"%s\" \"%s\"", appPID,
                             slot(worksheet).c_str(), slot(in_name.c_str()).c_str(),
                             slot(out_name.c_str()).c_str())) {
        const std::string banner = std::string("Processing: ") + command_line + "\n";
        run_options run;
        run.banner = banner.c_str();
        run.folder = folder.c_str();
        run.subject = input;
        run.output = output;
        run.set_arrow = false;
        run_and_wait(run);
    }

    // Without asking whose it is: an input that lay there is deleted, too.
    if (compose_command_line(input, "rm -f \"%s\"", slot(copy.c_str()).c_str()))
        InvokeTool2(command_line);
}

void strip(char *s)
{
    *std::remove(s, s + std::strlen(s), '"') = 0;
}
