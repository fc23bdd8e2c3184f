#include "platform/core/folders.h"

#include "platform/core/run_folder.h"
#include "platform/core/run_processes.h"

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

// The longest path of the folder: what lies in it has names of its own, and a path has 1023 bytes.
constexpr std::size_t longest_folder = 960;

std::string own_folder;
int own_lock = -1; // held as long as the process lives; a folder without one is a leftover
pid_t owner = 0;

std::string name_prefix()
{
    return "papermill-" + std::to_string(getuid()) + "-";
}

// Removes the temporary folder with its runs and their unfinished output.
void remove_with_runs(const std::string &folder)
{
    std::error_code ignored;
    for (const auto &entry : fs::directory_iterator(folder, ignored)) {
        if (entry.is_directory(ignored) && !entry.is_symlink(ignored))
            platform::remove_run_folder(entry.path());
    }
    fs::remove_all(folder, ignored);
}

void remove_own_folder()
{
    // A child that was forked off must not take its parent's folder away.
    if (own_folder.empty() || owner != getpid())
        return;
    remove_with_runs(own_folder);
    own_folder.clear();
}

// Removes the folder when it is the user's own and no living process holds its lock.
void remove_if_abandoned(const std::string &folder)
{
    const int descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (descriptor < 0)
        return;
    struct stat status = {};
    if (fstat(descriptor, &status) == 0 && status.st_uid == getuid() &&
        flock(descriptor, LOCK_EX | LOCK_NB) == 0) {
        platform::kill_abandoned_processes(folder);
        remove_with_runs(folder);
    }
    close(descriptor);
}

void remove_leftovers(const std::string &parent)
{
    std::error_code ignored;
    const std::string prefix = name_prefix();
    for (const auto &entry : fs::directory_iterator(parent, ignored)) {
        if (entry.path().filename().string().compare(0, prefix.size(), prefix) == 0)
            remove_if_abandoned(entry.path());
    }
}

// Makes a folder and takes its lock. Another start may see it before it is locked and take it for
// a leftover: then the next try makes another one.
bool make_own_folder(const std::string &parent)
{
    for (int attempt = 0; attempt < 10; ++attempt) {
        std::string name = parent + "/" + name_prefix() + "XXXXXX";
        if (name.size() > longest_folder || mkdtemp(name.data()) == nullptr)
            return false;
        const int descriptor = open(name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (descriptor < 0)
            continue;
        struct stat status = {};
        if (flock(descriptor, LOCK_EX | LOCK_NB) == 0 && stat(name.c_str(), &status) == 0) {
            own_lock = descriptor;
            own_folder = name;
            owner = getpid();
            return true;
        }
        close(descriptor);
    }
    return false;
}

bool make_folders(const std::string &path, mode_t mode)
{
    for (std::size_t slash = path.find('/', 1);; slash = path.find('/', slash + 1)) {
        const std::string part = path.substr(0, slash);
        if (mkdir(part.c_str(), mode) != 0 && access(part.c_str(), F_OK) != 0)
            return false;
        if (slash == std::string::npos)
            return true;
    }
}

} // namespace

std::string platform::temporary_folder(bool create)
{
    if (own_folder.empty() && create) {
        const char *variable = getenv("TMPDIR");
        std::string parent = variable == nullptr || variable[0] != '/' ? "/tmp" : variable;
        while (parent.size() > 1 && parent.back() == '/')
            parent.pop_back();
        for (const std::string &each : {parent, std::string("/tmp")}) {
            remove_leftovers(each);
            if (make_own_folder(each)) {
                std::atexit(remove_own_folder);
                break;
            }
        }
    }
    return own_folder;
}

std::string platform::home_folder()
{
    const char *home = getenv("HOME");
    if (home != nullptr && home[0] == '/')
        return home;
    const passwd *entry = getpwuid(getuid());
    return entry == nullptr || entry->pw_dir == nullptr ? "" : entry->pw_dir;
}

std::string platform::preferences_folder()
{
    const char *configuration = getenv("XDG_CONFIG_HOME");
    std::string folder;
    if (configuration != nullptr && configuration[0] == '/')
        folder = configuration;
    else if (!home_folder().empty())
        folder = home_folder() + "/.config";
    if (folder.empty())
        return folder;
    folder += "/papermill";
    return make_folders(folder, 0700) ? folder : "";
}
