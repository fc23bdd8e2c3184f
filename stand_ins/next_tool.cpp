#include "stand_ins/next_tool.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

static bool is_this_program(const struct stat &candidate)
{
    struct stat self;
    return stat("/proc/self/exe", &self) == 0 && self.st_dev == candidate.st_dev &&
           self.st_ino == candidate.st_ino;
}

// Two bundles on one PATH would hand over to each other without end.
static bool is_bundle_folder(const std::string &folder)
{
    return access((folder + "/gs.script").c_str(), F_OK) == 0;
}

// The path of the first executable of that name on PATH that `wanted` takes.
static std::string find_tool(const char *name,
                             bool (*wanted)(const std::string &folder, const struct stat &found))
{
    const char *path = std::getenv("PATH");
    if (path == nullptr)
        path = "/usr/local/bin:/usr/bin:/bin";
    for (;;) {
        const std::size_t length = std::strcspn(path, ":");
        // An empty entry is the current folder, as the shell reads it.
        const std::string folder = length == 0 ? std::string(1, '.') : std::string(path, length);
        const std::string candidate = folder + "/" + name;
        struct stat found;
        if (stat(candidate.c_str(), &found) == 0 && S_ISREG(found.st_mode) &&
            access(candidate.c_str(), X_OK) == 0 && wanted(folder, found))
            return candidate;
        if (path[length] == '\0')
            return {};
        path += length + 1;
    }
}

std::string find_on_path(const char *name)
{
    return find_tool(name, [](const std::string &, const struct stat &) { return true; });
}

std::string find_next_tool(const char *name)
{
    return find_tool(name, [](const std::string &folder, const struct stat &found) {
        return !is_this_program(found) && !is_bundle_folder(folder);
    });
}

void hand_over(const char *name, char **argv)
{
    const std::string tool = find_next_tool(name);
    if (tool.empty()) {
        std::fprintf(stderr, "%s: there is no other %s on PATH.\n", name, name);
        std::exit(127);
    }
    execv(tool.c_str(), argv);
    std::fprintf(stderr, "%s: %s: %s\n", name, tool.c_str(), std::strerror(errno));
    std::exit(126);
}
