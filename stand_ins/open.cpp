// open [-a Preview] FILE...: shows each file in the desktop's viewer for it, through xdg-open,
// without waiting for the viewer.
#include "platform/core/atomic_file.h"
#include "stand_ins/next_tool.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

static bool exists(const char *path)
{
    struct stat found;
    return stat(path, &found) == 0;
}

// Collects the files of the two forms that are understood; false for any other form.
static bool read_arguments(int argc, char **argv, std::vector<const char *> &files)
{
    int i = 1;
    if (argc > 2 && std::strcmp(argv[1], "-a") == 0) {
        if (std::strcmp(argv[2], "Preview") != 0)
            return false;
        i = 3;
    }
    for (; i < argc; ++i) {
        const bool is_url = std::strstr(argv[i], "://") != nullptr && !exists(argv[i]);
        if (argv[i][0] == '-' || is_url)
            return false;
        files.push_back(argv[i]);
    }
    return !files.empty();
}

static bool lies_in(const char *path, const char *folder)
{
    const std::size_t length = std::strlen(folder);
    return std::strncmp(path, folder, length) == 0 && path[length] == '/';
}

// The viewer outlives the run: it must not count as a part of it, nor use its folder.
static void leave_the_run()
{
    const char *run_folder = std::getenv("PAPERMILL_RUN_FOLDER");
    const char *temporary = std::getenv("TMPDIR");
    if (run_folder != nullptr && temporary != nullptr && lies_in(temporary, run_folder))
        unsetenv("TMPDIR");
    unsetenv("PAPERMILL_RUN");
    unsetenv("PAPERMILL_RUN_FOLDER");
    unsetenv("PAPERMILL_PID");
    setenv("PAPERMILL_DETACHED", "1", 1);

    setsid();
    for (const int number : {SIGHUP, SIGINT, SIGQUIT, SIGPIPE})
        std::signal(number, SIG_DFL);
    const int nothing = open("/dev/null", O_RDWR);
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        dup2(nothing, standard);
    close_range(STDERR_FILENO + 1, ~0U, 0);
}

// Starts the viewer for the file; false, with errno, when no process can be made for it.
static bool start_viewer(const std::string &xdg_open, const std::string &file)
{
    const pid_t child = fork();
    if (child != 0)
        return child > 0;
    leave_the_run();
    execl(xdg_open.c_str(), "xdg-open", file.c_str(), static_cast<char *>(nullptr));
    _exit(127);
}

int main(int argc, char **argv)
{
    std::vector<const char *> files;
    if (!read_arguments(argc, argv, files))
        hand_over("open", argv);

    const std::string xdg_open = find_next_tool("xdg-open");
    if (xdg_open.empty()) {
        std::fprintf(stderr, "open: xdg-open was not found. Install the package xdg-utils.\n");
        return 1;
    }
    int status = 0;
    for (const char *file : files) {
        // A relative name could pass for an option or a URL.
        const std::string path = platform::absolute_path(file);
        if (path.empty() || !exists(path.c_str()) || !start_viewer(xdg_open, path)) {
            std::fprintf(stderr, "open: %s: %s\n", file, std::strerror(errno));
            status = 1;
        }
    }
    return status;
}
