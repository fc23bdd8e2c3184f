#include "engine/tiff_output.h"

#include "app/globals.h"
#include "engine/eps_render.h"
#include "engine/tool_runner.h"
#include "platform/processes.h"
#include "settings/prefs_store.h"

#include <cstdio>
#include <string>

const char *const tformats[tiff_device_count] = {
    "tiffgray", "tiff12nc", "tiff24nc", "tiff32nc", "tiffcrle",
    "tiffg3",   "tiffg32d", "tiffg4",   "tifflzw",  "tiffpack",
};

// The two ways have two defaults: 144 is twice the screen of an EPS figure, 150 what the
// preferences show.
constexpr int eps_resolution = 144;
constexpr int page_resolution = 150;

void epstotiff(const char *input, const char *output)
{
    const char *compress = get_str_resource("TIFFCOMPRESS");
    const bool lzw = compress != nullptr && compress[0] == '1';
    eps_to_picture(input, output, ".tiff", number_setting("TIFF_OPTION_STR", eps_resolution), lzw);
}

void do_ps2tiff(const char *input)
{
    static char infile[path_size];
    static char pattern[path_size];
    const int resolution = number_setting("TIFF_OPTION_STR", page_resolution);
    if (!take_path(infile, input) || !take_output(pattern, nullptr, infile, "-%d.tiff") ||
        !resolution_is_good(infile, resolution))
        return;
    char options[64];
    std::snprintf(options, sizeof options, "-sDEVICE=tiff24nc -r%d", resolution);
    if (!compose_command_line(infile, "gs.script ps2tiff %d \"%s\" \"%s\" \"%s\" \"%s\"", appPID,
                              platform::in_double_quotes(worksheet).c_str(),
                              platform::in_double_quotes(pattern).c_str(),
                              platform::in_double_quotes(infile).c_str(), options))
        return;
    const std::string banner = std::string("Converting ") + infile + " to tiff\n";
    run_options run;
    run.banner = banner.c_str();
    run.subject = infile;
    run.output = pattern;
    run_and_wait(run);
}
