// The file work of gs.script: gives the tools safe names, and puts a good result into its place.
//
//     gs_files stage pdf|ps|any OUTPUT INPUT...
//     gs_files [limit KILOBYTES] confine TOOL ARGUMENT...
//     gs_files settle STATUS KIND CAPTURE OUTPUT INPUT...
//     gs_files command COUNT TOOL ARGUMENT...
//     gs_files signal PID
//
// Works in the run's folder, $PAPERMILL_RUN_FOLDER. "stage" links papermill-in to the input (with
// several: papermill-in-1 and so on), papermill-out to a new folder beside the destination,
// papermill-to to the destination itself. "confine" becomes the tool, which then writes into its
// $TMPDIR and papermill-out and nowhere else: Ghostscript's own -dSAFER lets a document write to
// files that it lets it read (mode r+). With a limit, no file that it writes becomes larger.
// "settle" looks at the tool's status, its messages and papermill-out/result.KIND; moves a good
// result over the destination; writes the status and the way it ended into the file "status"; and
// ends with that status. "command" becomes the tool, with the last COUNT words of the script's own
// call behind its arguments, empty ones included. "signal" sends SIGUSR1 to the application, if it
// is still there to be told.

#include "platform/core/run_folder.h"
#include "platform/core/run_processes.h"
#include "stand_ins/complain.h"
#include "stand_ins/confine.h"
#include "stand_ins/settling.h"
#include "stand_ins/staging.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

namespace {

enum exit_code { ex_usage = 64, ex_no_tool = 127 };

std::string run_folder;

// Becomes the tool of the call; returns only when there is none.
int become(char *const *call)
{
    execvp(call[0], call);
    complain("%s can't be started: %s.", call[0], std::strerror(errno));
    return ex_no_tool;
}

// ---- confine ----

int confine(char **call)
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
    return become(call);
}

// No file that is written from here on becomes larger.
void limit_file_size(const char *kilobytes)
{
    rlimit limit = {};
    const rlim_t wanted = std::strtoul(kilobytes, nullptr, 10) * 1024;
    if (getrlimit(RLIMIT_FSIZE, &limit) == 0 && wanted < limit.rlim_cur) {
        limit.rlim_cur = wanted;
        setrlimit(RLIMIT_FSIZE, &limit);
    }
}

// ---- command ----

int command(int count, char **call)
{
    std::string words;
    const std::string path = "/proc/" + std::to_string(getppid()) + "/cmdline";
    if (std::FILE *file = std::fopen(path.c_str(), "re"); file != nullptr) {
        for (int c = std::fgetc(file); c != EOF; c = std::fgetc(file))
            words += static_cast<char>(c);
        std::fclose(file);
    }
    if (!words.empty() && words.back() != 0)
        words += '\0';
    std::vector<char *> starts; // of the words; each ends with a NUL
    for (std::size_t start = 0; start < words.size(); start = words.find('\0', start) + 1)
        starts.push_back(&words[start]);
    if (count < 0 || starts.size() < static_cast<std::size_t>(count)) {
        complain("gs_files: the words of the command can't be read.");
        return ex_usage;
    }

    std::vector<char *> all;
    for (char **word = call; *word != nullptr; ++word)
        all.push_back(*word);
    all.insert(all.end(), starts.end() - count, starts.end());
    all.push_back(nullptr);
    return become(all.data());
}

// ---- signal ----

// Only an ancestor is told: the number of an application that was killed may be anybody's by now.
int signal_application(pid_t application)
{
    return platform::is_ancestor(application) && kill(application, SIGUSR1) == 0 ? 0 : 1;
}

} // namespace

int main(int argc, char **argv)
{
    const char *folder = getenv("PAPERMILL_RUN_FOLDER");
    if (folder != nullptr) {
        run_folder = folder;
        if (argc > 3 && std::strcmp(argv[1], "limit") == 0) {
            limit_file_size(argv[2]);
            argv += 2;
            argc -= 2;
        }
        if (argc > 4 && std::strcmp(argv[1], "stage") == 0)
            return stage(run_folder, argv[2], argv[3], {argv + 4, argv + argc});
        if (argc == 3 && std::strcmp(argv[1], "signal") == 0)
            return signal_application(std::atoi(argv[2]));
        if (argc > 2 && std::strcmp(argv[1], "confine") == 0)
            return confine(argv + 2);
        if (argc > 3 && std::strcmp(argv[1], "command") == 0)
            return command(std::atoi(argv[2]), argv + 3);
        if (argc > 6 && std::strcmp(argv[1], "settle") == 0)
            return settle({run_folder,
                           std::atoi(argv[2]),
                           argv[3],
                           argv[4],
                           argv[5],
                           {argv + 6, argv + argc}});
    }
    complain("gs_files: called by gs.script alone, with a run's folder in the environment.");
    return ex_usage;
}
