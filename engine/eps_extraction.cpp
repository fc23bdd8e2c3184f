#include "engine/eps_extraction.h"

#include "app/cursors.h"
#include "app/globals.h"
#include "console/console_io.h"
#include "engine/tool_runner.h"
#include "platform/core/atomic_file.h"
#include "platform/processes.h"
#include "settings/path_utils.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <string>
#include <unistd.h>

int a, b, c, d;

namespace {

constexpr int box_line_size = 255;    // of the file of boxes, with the NUL
constexpr int input_line_size = 1020; // likewise; longer lines come in pieces

bool is_box_line(const char *line)
{
    return std::strncmp(line, "%%BoundingBox", 13) == 0;
}

// Reads the first box; where there is none, the last one measured holds. Returns how many pages
// were measured.
int read_box(std::FILE *file)
{
    char line[box_line_size];
    int pages = 0;
    while (mfgets(line, sizeof line, file) != nullptr) {
        if (!is_box_line(line))
            continue;
        if (pages == 0)
            std::sscanf(line, "%*s %d %d %d %d", &a, &b, &c, &d);
        ++pages;
    }
    return pages;
}

// The line end of the file's first line: LF, or CR for all others, CR LF among them.
char line_end_of(const char *path)
{
    char line[input_line_size] = "";
    std::FILE *file = std::fopen(path, "rbe");
    if (file != nullptr) {
        mfgets(line, sizeof line, file);
        std::fclose(file);
    }
    const std::size_t length = std::strlen(line);
    return length > 0 && line[length - 1] == '\n' ? '\n' : '\r';
}

void put_lines(platform::file_writer &file, std::initializer_list<std::string> lines, char line_end)
{
    for (const std::string &line : lines) {
        file.put(line.data(), line.size());
        file.put(&line_end, 1);
    }
}

// The document's own comments would speak of its pages in the midst of the picture's. What is after
// a NUL in a line is lost with it.
void put_body(platform::file_writer &file, std::FILE *input)
{
    char line[input_line_size];
    while (mfgets(line, sizeof line, input) != nullptr) {
        if (std::strncmp(line, "%%", 2) != 0 && std::strncmp(line, "%!", 2) != 0)
            file.put(line, std::strlen(line));
    }
}

enum class writing { done, input_unreadable, output_unwritable };

// Writes the page in a wrapper that keeps it from ejecting or resizing the page of the document it
// is placed in, and takes back whatever it leaves behind. errno tells why it was not done; 0 when
// the output is no ordinary file.
writing write_eps(const char *input, const char *output)
{
    std::FILE *page = std::fopen(input, "rbe");
    if (page == nullptr)
        return writing::input_unreadable;
    // One that may not be written is not replaced either.
    if (access(output, F_OK) == 0 && access(output, W_OK) != 0) {
        const int reason = errno;
        std::fclose(page);
        errno = reason;
        return writing::output_unwritable;
    }
    const char line_end = line_end_of(input);
    char box[80];
    std::snprintf(box, sizeof box, "%%%%BoundingBox: %d %d %d %d", a, b, c, d);
    const OSErr error = platform::replace_file_with(
        platform::write_target(output),
        [&](platform::file_writer &file) {
            // Page has no colon: one would make it a comment about the page of the outer document.
            put_lines(file,
                      {"%!PS-Adobe-2.0 EPSF-2.0", "%%Pages: 1", box, "save", "countdictstack",
                       "mark", "newpath", "/showpage {} def", "/setpagedevice {pop} def",
                       "%%EndProlog", "%%Page 1 1"},
                      line_end);
            put_body(file, page);
            put_lines(file,
                      {"%%Trailer", "cleartomark", "countdictstack exch sub { end } repeat",
                       "restore", "%%EOF"},
                      line_end);
        },
        nullptr);
    const int reason = error == paramErr ? 0 : errno;
    std::fclose(page);
    errno = reason;
    return error == noErr ? writing::done : writing::output_unwritable;
}

// The run ended well, but there is no EPS file: one more conversion has failed.
void left_no_result()
{
    if (last_ending != ended_well)
        return;
    conversion_failed();
    last_ending = ended_without_result;
}

} // namespace

void do_ps2eps(const char *input)
{
    if ((input != nullptr && !take_path(in_file, input)) ||
        !take_output(out_file, nullptr, in_file, ".eps"))
        return;
    // An EPS file may take its page's place; a link to the page may not cost the page.
    if (std::strcmp(in_file, out_file) != 0 && refuse_own_input(in_file, out_file))
        return;
    const std::string boxes = std::string(tmpPath) + "/tmp.bbox";
    const std::string banner =
        std::string("Converting \"") + in_file + "\" to \"" + out_file + "\".\n";
    if (!compose_command_line(in_file, "gs.script ps2eps %d \"%s\" \"%s\"", appPID,
                              platform::in_double_quotes(boxes.c_str()).c_str(),
                              platform::in_double_quotes(in_file).c_str()))
        return;
    run_options run;
    run.banner = banner.c_str();
    run.subject = in_file;
    run.output = out_file;
    run.copy_output = false;
    run.tell_result = false;
    run.tell_failure = false;
    run.set_arrow = false;
    run_and_wait(run);

    std::FILE *file = std::fopen(boxes.c_str(), "rbe");
    if (file == nullptr) {
        text_printf("Unable to compute the bounding box.\n");
        if (last_ending == ended_well)
            last_ending = ended_without_result;
        tell_failure(run);
        return;
    }
    const int pages = read_box(file);
    std::fclose(file);
    if (doDebug)
        text_printf("Bounding Box: %d %d %d %d\n", a, b, c, d);
    std::remove(boxes.c_str());

    const writing written = write_eps(in_file, out_file);
    const int reason = errno;
    if (written == writing::done) {
        OSType creator = 0;
        OSType type = 0;
        if (get_full_info(in_file, &creator, &type))
            set_file_info(out_file, creator, type);
    }
    text_printf("Processing complete.\n\n");
    tell_failure(run);
    if (written == writing::input_unreadable)
        text_printf("%s: the file can't be read: %s.\n", in_file, std::strerror(reason));
    else if (written == writing::output_unwritable)
        text_printf("%s: the file can't be written: %s.\n", out_file,
                    reason != 0 ? std::strerror(reason) : "it is no ordinary file");
    else if (pages > 1)
        text_printf("%s: it has %d pages, which lie on top of each other in the EPS file.\n",
                    in_file, pages);
    if (written != writing::done)
        left_no_result();
    restore();
}
