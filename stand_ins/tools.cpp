#include "stand_ins/tools.h"

#include "platform/core/run_folder.h"
#include "platform/processes.h"
#include "stand_ins/complain.h"
#include "stand_ins/confine.h"
#include "stand_ins/next_tool.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

void limit_file_size(long kilobytes)
{
    rlimit limit = {};
    const rlim_t wanted = static_cast<rlim_t>(kilobytes) * 1024;
    if (getrlimit(RLIMIT_FSIZE, &limit) == 0 && wanted < limit.rlim_cur) {
        limit.rlim_cur = wanted;
        setrlimit(RLIMIT_FSIZE, &limit);
    }
}

void confine(const std::string &run_folder)
{
    std::vector<std::string> folders = {run_folder + "/" + platform::output_link};
    if (const char *temporary = getenv("TMPDIR"); temporary != nullptr)
        folders.emplace_back(temporary);
    // The list of fonts, which whoever is first writes down for all.
    if (const char *cache = getenv("XDG_CACHE_HOME"); cache != nullptr)
        folders.push_back(std::string(cache) + "/fontconfig");
    else if (const char *home = getenv("HOME"); home != nullptr)
        folders.push_back(std::string(home) + "/.cache/fontconfig");
    confine_writes(folders);
}

// In the child.
int become_tool(const tool_call &call, const tool_setting &setting)
{
    dup2(setting.output, STDOUT_FILENO);
    dup2(setting.errors, STDERR_FILENO);
    if (chdir(setting.run_folder.c_str()) != 0) {
        complain("Can't change to the folder %s: %s.", setting.run_folder.c_str(),
                 std::strerror(errno));
        return 1;
    }
    const char *input = setting.reads_document ? platform::input_link : "/dev/null";
    const int file = open(input, O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        complain("%s: the file can't be read: %s.", input, std::strerror(errno));
        return 1;
    }
    dup2(file, STDIN_FILENO);
    if (setting.limit > 0)
        limit_file_size(setting.limit);
    confine(setting.run_folder);
    return become(call);
}

} // namespace

bool tool_is_there(const std::string &tool)
{
    if (!find_on_path(tool.c_str()).empty())
        return true;
    if (tool == "gs")
        complain("gs was not found. Install the package ghostscript.");
    else if (tool == "pdftops" || tool == "pdftotext")
        complain("%s was not found. Install the package poppler-utils.", tool.c_str());
    else
        complain("%s was not found beside gs.script. Install papermill again.", tool.c_str());
    return false;
}

int run_tool(const tool_call &call, const tool_setting &setting)
{
    const pid_t child = fork();
    if (child == 0)
        _exit(become_tool(call, setting));
    return wait_for(child);
}

int become(const tool_call &call)
{
    std::vector<char *> words;
    std::transform(call.begin(), call.end(), std::back_inserter(words),
                   [](const std::string &word) { return const_cast<char *>(word.c_str()); });
    words.push_back(nullptr);
    execvp(words[0], words.data());
    complain("%s can't be started: %s.", words[0], std::strerror(errno));
    return tool_not_found;
}

int wait_for(int child)
{
    int status = -1;
    while (child > 0 && waitpid(child, &status, 0) < 0 && errno == EINTR)
        ;
    return status == -1 ? tool_not_found : platform::exit_status_of(status);
}
