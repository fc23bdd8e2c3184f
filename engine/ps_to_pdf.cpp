#include "engine/ps_to_pdf.h"

#include "app/cursors.h"
#include "app/globals.h"
#include "console/console_io.h"
#include "engine/eps_scanner.h"
#include "engine/tool_runner.h"
#include "platform/events.h"
#include "platform/processes.h"
#include "settings/path_utils.h"
#include "settings/prefs_store.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// True: the system's own converter makes the PDF.
bool choose_pstopdf()
{
    char *value = get_string("APPLE_PDF_STR");
    const bool wanted = value != nullptr && value[0] != 0 && value[0] != '0';
    std::free(value);
    return have103 == 1 && wanted;
}

// The option setting. pstopdf has no place for options; its fallback is kept for it all the same.
std::string option_string(bool pstopdf)
{
    char *value = get_string("PS2PDF_OPTION_STR");
    std::string options = pstopdf ? distilling_options : "";
    if (value != nullptr && value[0] != 0)
        options = value;
    std::free(value);
    return options;
}

bool name_output(const char *input, char (&output)[path_size])
{
    if (derive_output(input, ".pdf", output, sizeof output))
        return true;
    refuse_long_path(input);
    return false;
}

// Both routines' common part. With a banner it is do_ps2pdf's run, without one do_ps2pdf2's.
void convert(const char *input, const char *output, const char *banner)
{
    if (refuse_own_input(input, output))
        return;
    const bool pstopdf = choose_pstopdf();
    const std::string options = option_string(pstopdf);
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
    if (banner == nullptr && !pstopdf)
        run.flush = flush_after_result;
    run_and_wait(run);
}

struct opened {
    bool opens;    // for reading; errno tells why not
    bool ordinary; // and it is neither a folder nor a device
};

// Tries the file. Never waits, whatever kind of file the path names.
opened try_file(const char *path)
{
    const int file = open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (file < 0)
        return {false, false};
    struct stat status = {};
    const bool ordinary = fstat(file, &status) == 0 && S_ISREG(status.st_mode);
    close(file);
    return {true, ordinary};
}

// Deletes an output that is there already. What is written through stays: a link, whose own file
// is deleted, and a device; so does a folder.
void delete_older_output(const char *path)
{
    char *file = realpath(path, nullptr);
    if (file != nullptr && try_file(file).ordinary)
        unlink(file);
    std::free(file);
}

} // namespace

void do_ps2pdf(const char *input)
{
    static char posixInName[path_size];
    static char posixOutName[path_size];
    if (!take_path(posixInName, input != nullptr ? input : in_file) ||
        !name_output(posixInName, posixOutName))
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
    if (!take_path(infile, input))
        return 0;
    if (output != nullptr ? !take_path(outfile, output) : !name_output(infile, outfile))
        return 0;

    const opened input_file = try_file(infile);
    if (!input_file.opens) {
        const int reason = errno;
        text_printf("%s: File not found!\n", infile);
        if (reason != ENOENT)
            text_printf("%s: the file can't be read: %s.\n", infile, std::strerror(reason));
        conversion_failed();
        return 0;
    }
    if (refuse_own_input(infile, outfile))
        return 0;
    platform::tell_interrupt();
    // What prepare_eps will refuse costs no older output.
    if (input_file.ordinary)
        delete_older_output(outfile);
    text_printf("Converting %s to %s.\n", infile, outfile);

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
