#include "engine/eps_render.h"

#include "app/globals.h"
#include "console/console_io.h"
#include "engine/tool_runner.h"
#include "platform/processes.h"

#include <cstdio>

int do_eps2pnm(const char *eps, const char *pnm, int dpi, int w, int h)
{
    const double scale = dpi / 72.0;
    const double pixel_width = w * scale + 0.5;
    const double pixel_height = h * scale + 0.5;
    constexpr double most_pixels = 1e9; // a side beyond this is no picture, and no int either
    if (!(pixel_width >= 1 && pixel_height >= 1 && pixel_width < most_pixels &&
          pixel_height < most_pixels)) {
        text_printf("%s: a picture of %d x %d points at %d dots per inch can't be made.\n", eps, w,
                    h, dpi);
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
    run.set_arrow = false;
    return run_and_wait(run);
}
