#include "stand_ins/staging.h"

#include "platform/core/run_folder.h"
#include "stand_ins/complain.h"
#include "stand_ins/result_place.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

std::string read_part(int file, off_t from, std::size_t size)
{
    std::string bytes(size, '\0');
    const ssize_t n = pread(file, bytes.data(), size, from);
    bytes.resize(n < 0 ? 0 : static_cast<std::size_t>(n));
    return bytes;
}

// Where the file ends without the zeros that fill up a block.
off_t end_without_padding(int file, off_t size)
{
    constexpr off_t step = 4096;
    while (size > 0) {
        const off_t from = size > step ? size - step : 0;
        const std::string part = read_part(file, from, static_cast<std::size_t>(size - from));
        const std::size_t last = part.find_last_not_of('\0');
        if (last != std::string::npos)
            return from + static_cast<off_t>(last) + 1;
        size = from;
    }
    return 0;
}

// A file is what is wanted: PDF, PostScript, or one of the two. The end of a PDF file must be
// there: Ghostscript mends a file that was cut off, quietly and with a status of 0, and what was
// cut off is missing.
bool is_whole(int file, off_t size, const std::string &kind, const char *input)
{
    constexpr std::size_t head_size = 1024;
    constexpr off_t tail_size = 2048;
    const std::size_t mark = read_part(file, 0, head_size).find("%PDF-");
    if (kind == "pdf" && mark == std::string::npos) {
        complain("%s: this is no PDF file.", input);
        return false;
    }
    if (kind != "pdf" && mark != 0)
        return true;
    if (kind == "ps") {
        complain("%s: this is a PDF file, not PostScript.", input);
        return false;
    }
    const off_t end = end_without_padding(file, size);
    const off_t tail = end > tail_size ? end - tail_size : 0;
    if (read_part(file, tail, tail_size).find("startxref") == std::string::npos) {
        complain("%s: the PDF file is damaged: its end is missing.", input);
        return false;
    }
    return true;
}

bool input_is_good(const char *input, const std::string &kind)
{
    const int file = open(input, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (file < 0) {
        if (errno == ENOENT)
            complain("%s: File not found!", input);
        else
            complain("%s: the file can't be read: %s.", input, std::strerror(errno));
        return false;
    }
    struct stat status = {};
    fstat(file, &status);
    bool good = false;
    if (S_ISDIR(status.st_mode))
        complain("%s: this is a folder, not a file.", input);
    else if (!S_ISREG(status.st_mode))
        complain("%s: this is no ordinary file.", input);
    else if (status.st_size == 0)
        complain("%s: the file is empty.", input);
    else
        good = is_whole(file, status.st_size, kind, input);
    close(file);
    return good;
}

bool link_output(const std::string &run_folder, const char *output)
{
    result_place place;
    std::string unused;
    if (!find_place(output, &place) ||
        !make_unfinished_folder(output, place.device ? run_folder : place.folder,
                                run_folder + "/" + platform::output_link, &unused))
        return false;
    if (symlink(place.destination.c_str(), (run_folder + "/" + destination_link).c_str()) == 0)
        return true;
    tell_unusable_folder(output);
    platform::remove_unfinished_output(run_folder);
    return false;
}

} // namespace

std::string input_link_name(std::size_t number, std::size_t count)
{
    const std::string name = platform::input_link;
    return count == 1 ? name : name + "-" + std::to_string(number);
}

staging_status stage(const std::string &run_folder, const std::string &kind, const char *output,
                     const std::vector<const char *> &inputs)
{
    for (const char *input : inputs) {
        if (!input_is_good(input, kind))
            return no_input;
    }
    for (std::size_t i = 0; i < inputs.size(); ++i) {
        const std::string link = run_folder + "/" + input_link_name(i + 1, inputs.size());
        if (symlink(absolute(inputs[i]).c_str(), link.c_str()) != 0) {
            tell_unusable_folder(inputs[i]);
            return no_output;
        }
    }
    return link_output(run_folder, output) ? staged : no_output;
}
