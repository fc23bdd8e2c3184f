#include "stand_ins/staging.h"

#include "platform/core/run_folder.h"
#include "stand_ins/complain.h"

#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

std::string absolute(const std::string &path)
{
    if (!path.empty() && path[0] == '/')
        return path;
    char folder[PATH_MAX];
    return getcwd(folder, sizeof folder) == nullptr ? path : std::string(folder) + "/" + path;
}

std::string folder_of(const std::string &path)
{
    const std::size_t slash = path.rfind('/');
    return slash == 0 ? "/" : path.substr(0, slash);
}

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

// The head must say what it is, and the end must be there: Ghostscript mends a file that was cut
// off, quietly and with a status of 0, and what was cut off is missing.
bool is_whole_pdf(int file, off_t size, const char *input)
{
    constexpr std::size_t head_size = 1024;
    constexpr off_t tail_size = 2048;
    if (read_part(file, 0, head_size).find("%PDF-") == std::string::npos) {
        complain("%s: this is no PDF file.", input);
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

bool input_is_good(const char *input, bool pdf)
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
        good = !pdf || is_whole_pdf(file, status.st_size, input);
    close(file);
    return good;
}

void tell_unusable_folder(const char *file)
{
    complain("%s: the temporary folder can't be used: %s.", file, std::strerror(errno));
}

// Links the run to a new folder beside the destination and makes that folder: in this order, so
// that whoever clears up after a run that was killed finds it. False, after a complaint, if it
// cannot.
bool make_unfinished_folder(const char *output, const std::string &folder, const std::string &link)
{
    constexpr char letters[] = "abcdefghijklmnopqrstuvwxyz012345";
    for (;;) {
        std::array<unsigned char, 6> random;
        const bool drawn =
            getrandom(random.data(), random.size(), 0) == static_cast<ssize_t>(random.size());
        std::string unfinished = folder + "/" + platform::unfinished_prefix;
        for (const unsigned char each : random)
            unfinished += letters[each % 32];
        if (!drawn || symlink(unfinished.c_str(), link.c_str()) != 0) {
            tell_unusable_folder(output);
            return false;
        }
        if (mkdir(unfinished.c_str(), 0700) == 0)
            return true;
        const int error = errno;
        unlink(link.c_str());
        if (error == EEXIST)
            continue;
        if (error == ENOENT || error == ENOTDIR)
            complain("%s: there is no folder %s.", output, folder.c_str());
        else
            complain("%s: nothing can be written into the folder %s: %s.", output, folder.c_str(),
                     std::strerror(error));
        return false;
    }
}

// A device gets the result copied in the end.
bool make_folder_for_device(const char *output, const std::string &run_folder,
                            const std::string &link)
{
    const std::string unfinished = run_folder + "/result";
    if (mkdir(unfinished.c_str(), 0700) == 0 && symlink(unfinished.c_str(), link.c_str()) == 0)
        return true;
    tell_unusable_folder(output);
    return false;
}

bool link_output(const std::string &run_folder, const char *output)
{
    const std::string destination = write_target(absolute(output));
    struct stat status = {};
    const bool exists = stat(destination.c_str(), &status) == 0;
    if (exists && S_ISDIR(status.st_mode)) {
        complain("%s: this is a folder; the output needs a file name.", output);
        return false;
    }
    if (exists && access(destination.c_str(), W_OK) != 0) {
        complain("%s: the file can't be replaced: %s.", output, std::strerror(errno));
        return false;
    }
    const bool device = exists && !S_ISREG(status.st_mode);
    const std::string link = run_folder + "/" + platform::output_link;
    if (!(device ? make_folder_for_device(output, run_folder, link)
                 : make_unfinished_folder(output, folder_of(destination), link)))
        return false;
    if (symlink(destination.c_str(), (run_folder + "/" + destination_link).c_str()) == 0)
        return true;
    tell_unusable_folder(output);
    platform::remove_unfinished_output(run_folder);
    return false;
}

} // namespace

std::string link_target(const std::string &link)
{
    char target[PATH_MAX];
    const ssize_t length = readlink(link.c_str(), target, sizeof target);
    return length <= 0 ? "" : std::string(target, static_cast<std::size_t>(length));
}

std::string write_target(std::string path)
{
    constexpr int most_links = 40;
    for (int i = 0; i < most_links; ++i) {
        const std::string target = link_target(path);
        if (target.empty())
            return path;
        path = target[0] == '/' ? target : folder_of(path).append("/").append(target);
    }
    return path;
}

std::string input_link_name(std::size_t number, std::size_t count)
{
    const std::string name = platform::input_link;
    return count == 1 ? name : name + "-" + std::to_string(number);
}

staging_status stage(const std::string &run_folder, const std::string &kind, const char *output,
                     const std::vector<const char *> &inputs)
{
    for (const char *input : inputs) {
        if (!input_is_good(input, kind == "pdf"))
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
