#include "engine/eps_render.h"

#include "app/cursors.h"
#include "app/globals.h"
#include "console/console_io.h"
#include "engine/eps_scanner.h"
#include "engine/tool_runner.h"
#include "platform/events.h"
#include "platform/processes.h"
#include "settings/path_utils.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

char inname[path_size];
char outname[path_size];

namespace {

// What ImageMagick takes at most, in pixels; the helper script holds larger files up, too.
constexpr double longest_side = 16000;
constexpr double largest_area = 128e6;
constexpr int highest_resolution = 10000; // dots per inch

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

void delete_temporary(const char *file)
{
    if (doDebug)
        text_printf("Deleting temporary file %s.\n", file);
    std::remove(file);
}

} // namespace

bool begin_eps_conversion(const char *input, const char *output)
{
    const opened input_file = try_file(input);
    if (!input_file.opens) {
        const int reason = errno;
        text_printf("%s: File not found!\n", input);
        if (reason != ENOENT)
            text_printf("%s: the file can't be read: %s.\n", input, std::strerror(reason));
        conversion_failed();
        return false;
    }
    if (refuse_own_input(input, output))
        return false;
    platform::tell_interrupt();
    // What prepare_eps will refuse costs no older output.
    if (input_file.ordinary)
        delete_older_output(output);
    text_printf("Converting %s to %s.\n", input, output);
    return true;
}

bool resolution_is_good(const char *subject, int dpi)
{
    if (dpi >= 1 && dpi <= highest_resolution)
        return true;
    text_printf("%s: not converted, %d is no resolution; it goes from 1 to %d dots per inch.\n",
                users_file(subject), dpi, highest_resolution);
    conversion_failed();
    return false;
}

int do_eps2pnm(const char *eps, const char *pnm, int dpi, int w, int h)
{
    if (!resolution_is_good(eps, dpi))
        return 0;
    const double scale = dpi / 72.0;
    const double pixel_width = std::trunc(w * scale + 0.5);
    const double pixel_height = std::trunc(h * scale + 0.5);
    if (pixel_width < 1 || pixel_height < 1 || pixel_width > longest_side ||
        pixel_height > longest_side || pixel_width * pixel_height > largest_area) {
        text_printf(
            "%s: a picture of %d x %d points at %d dots per inch can't be made; %.0f pixels "
            "a side and %.0f million in all are the most.\n",
            users_file(eps), w, h, dpi, longest_side, largest_area / 1e6);
        conversion_failed();
        return 0;
    }
    char options[80];
    std::snprintf(options, sizeof options, " -r%d -g%dx%d", dpi, static_cast<int>(pixel_width),
                  static_cast<int>(pixel_height));
    if (!compose_command_line(eps, "gs.script eps2pnm %d \"%s\" \"%s\" \"%s\" \"%s\"", appPID,
                              platform::in_double_quotes(worksheet).c_str(),
                              platform::in_double_quotes(pnm).c_str(),
                              platform::in_double_quotes(eps).c_str(), options))
        return 0;
    run_options run;
    run.subject = eps;
    run.output = pnm;
    run.set_arrow = false;
    return run_and_wait(run);
}

bool eps_to_picture(const char *input, const char *output, const char *extension, int dpi, bool lzw)
{
    static char tmpname[path_size];
    static char pnm[path_size];
    if (!take_path(inname, input != nullptr ? input : in_file) ||
        !take_output(outname, output, inname, extension) || !resolution_is_good(inname, dpi) ||
        !begin_eps_conversion(inname, outname))
        return false;
    int w = 0;
    int h = 0;
    if (!prepare_eps(inname, tmpname, &w, &h)) {
        conversion_failed();
        restore();
        return false;
    }
    set_prepared_from(inname);
    const bool rendered = take_output(pnm, nullptr, tmpname, ".pnm") &&
                          do_eps2pnm(tmpname, pnm, dpi, w, h) && last_ending == ended_well;
    if (!rendered) {
        set_prepared_from(nullptr);
        std::remove(tmpname);
        std::remove(pnm);
        restore();
        return false;
    }
    delete_temporary(tmpname);

    const bool composed = compose_command_line(
        inname, "%s%s -density %dx%d \"%s\" \"%s\"", have103 ? "convert" : "convert102",
        lzw ? " -compress lzw" : "", dpi, dpi, platform::in_double_quotes(pnm).c_str(),
        platform::in_double_quotes(outname).c_str());
    bool made = false;
    if (composed) {
        text_printf("Converting %s to %s\n", pnm, outname);
        // A name of the user's own may end in anything.
        setenv("PAPERMILL_PICTURE", extension + 1, 1);
        made = run_tool3(inname, "convert");
        unsetenv("PAPERMILL_PICTURE");
    }
    set_prepared_from(nullptr);
    restore();
    delete_temporary(pnm);
    return made;
}
