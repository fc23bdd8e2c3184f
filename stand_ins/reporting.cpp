#include "stand_ins/reporting.h"

#include "platform/core/run_processes.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

void write_status(const std::string &run_folder, int status, const char *ending)
{
    // Written whole under another name first: the application may look at any moment.
    const std::string path = run_folder + "/status";
    const std::string fresh = path + ".new";
    std::FILE *file = std::fopen(fresh.c_str(), "we");
    if (file == nullptr)
        return;
    std::fprintf(file, "%d %s\n", status, ending);
    if (std::fclose(file) == 0)
        rename(fresh.c_str(), path.c_str());
}

// True when the application has answered.
static bool send_done()
{
    const pid_t child = fork();
    if (child == 0) {
        const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
        dup2(nowhere, STDOUT_FILENO);
        dup2(nowhere, STDERR_FILENO);
        execlp("osascript", "osascript", "-e", "tell application \"papermill\"", "-e", "done", "-e",
               "end tell", nullptr);
        _exit(1);
    }
    int status = 1;
    return child > 0 && waitpid(child, &status, 0) == child && status == 0;
}

// False when the application has told that it hears nothing on a bus.
static bool is_on_bus()
{
    const char *instance = std::getenv("PAPERMILL_INSTANCE");
    return instance == nullptr || *instance != 0;
}

void report(const std::string &run_folder, pid_t application)
{
    if (access(run_folder.c_str(), F_OK) != 0 || (is_on_bus() && send_done()))
        return;
    if (access(run_folder.c_str(), F_OK) == 0 && platform::is_ancestor(application))
        kill(application, SIGUSR1);
}
