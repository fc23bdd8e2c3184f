#include "stand_ins/result_place.h"

#include "platform/core/atomic_file.h"
#include "platform/core/run_folder.h"
#include "stand_ins/complain.h"

#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr std::size_t window_size = 65536;

// Copies the result into a device, which cannot be replaced.
bool copy_into(const std::string &result, const std::string &destination)
{
    const int in = open(result.c_str(), O_RDONLY | O_CLOEXEC);
    const int out = open(destination.c_str(), O_WRONLY | O_CLOEXEC);
    bool good = in >= 0 && out >= 0;
    std::array<char, window_size> chunk;
    while (good) {
        const ssize_t n = read(in, chunk.data(), chunk.size());
        if (n <= 0) {
            good = n == 0;
            break;
        }
        for (ssize_t done = 0; good && done < n;) {
            const ssize_t written =
                write(out, chunk.data() + done, static_cast<std::size_t>(n - done));
            good = written > 0;
            done += written;
        }
    }
    if (in >= 0)
        close(in);
    if (out >= 0)
        close(out);
    return good;
}

// Puts the result where the user wants it. An older file there keeps its owner and permissions, and
// is there whole until the new one is.
bool move_into_place(const std::string &result, const std::string &destination)
{
    struct stat old = {};
    const bool exists = stat(destination.c_str(), &old) == 0;
    if (exists && !S_ISREG(old.st_mode))
        return copy_into(result, destination);
    if (exists) {
        const int descriptor = open(result.c_str(), O_RDONLY | O_CLOEXEC);
        // Only root can give a file away; whoever cannot keeps what is made.
        if (descriptor >= 0 && fchown(descriptor, old.st_uid, old.st_gid) != 0)
            errno = 0;
        const bool safe = descriptor >= 0 && fchmod(descriptor, old.st_mode & 0777) == 0 &&
                          fsync(descriptor) == 0;
        if (descriptor >= 0)
            close(descriptor);
        if (!safe)
            return false;
    }
    return rename(result.c_str(), destination.c_str()) == 0;
}

} // namespace

void tell_unusable_folder(const char *file)
{
    complain("%s: the temporary folder can't be used: %s.", file, std::strerror(errno));
}

bool find_place(const char *output, result_place *place)
{
    const std::string destination = platform::write_target(absolute(output));
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
    *place = {destination, platform::folder_of(destination), exists && !S_ISREG(status.st_mode)};
    return true;
}

bool make_unfinished_folder(const char *output, const std::string &parent, const std::string &link,
                            std::string *made)
{
    constexpr char letters[] = "abcdefghijklmnopqrstuvwxyz012345";
    for (;;) {
        std::array<unsigned char, 6> random;
        const bool drawn =
            getrandom(random.data(), random.size(), 0) == static_cast<ssize_t>(random.size());
        *made = parent + "/" + platform::unfinished_prefix;
        for (const unsigned char each : random)
            *made += letters[each % 32];
        if (!drawn || (!link.empty() && symlink(made->c_str(), link.c_str()) != 0)) {
            tell_unusable_folder(output);
            return false;
        }
        if (mkdir(made->c_str(), 0700) == 0)
            return true;
        const int error = errno;
        if (!link.empty())
            unlink(link.c_str());
        if (error == EEXIST)
            continue;
        if (error == ENOENT || error == ENOTDIR)
            complain("%s: there is no folder %s.", output, parent.c_str());
        else
            complain("%s: nothing can be written into the folder %s: %s.", output, parent.c_str(),
                     std::strerror(error));
        return false;
    }
}

bool put_result(const std::string &result, const std::string &destination, const char *name)
{
    if (move_into_place(result, destination))
        return true;
    complain("%s: the result can't be put there: %s.", name, std::strerror(errno));
    return false;
}

void tell_full_disk(const char *output, const std::string &unfinished, const std::string &folder)
{
    const std::string probe = unfinished + "/probe";
    std::FILE *file = std::fopen(probe.c_str(), "we");
    if (file == nullptr)
        return;
    std::fputc('x', file);
    if (std::fclose(file) != 0)
        complain("%s: nothing can be written into the folder %s: %s.", output, folder.c_str(),
                 std::strerror(errno));
    std::remove(probe.c_str());
}

std::string absolute(const std::string &path)
{
    if (!path.empty() && path[0] == '/')
        return path;
    char folder[PATH_MAX];
    return getcwd(folder, sizeof folder) == nullptr ? path : std::string(folder) + "/" + path;
}
