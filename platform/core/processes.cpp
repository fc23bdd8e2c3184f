#include "platform/processes.h"

#include "platform/core/folders.h"
#include "platform/core/run_folder.h"
#include "platform/core/signals.h"
#include "platform/events.h"
#include "platform/strings.h"

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

bool is_front_process = true;

// The folder that $TMPDIR named before the run.
std::string outer_tmpdir;

std::int32_t last_serial;

// setenv keeps every value that a variable has ever had, and these get a new one with each run. The
// text of this one is what the environment points at.
class run_variable {
public:
    explicit run_variable(const char *its_name) : name(its_name) {}
    void set(const std::string &value)
    {
        unsetenv(name); // before its text goes
        text = std::string(name) + "=" + value;
        putenv(text.data());
    }

private:
    const char *name;
    std::string text;
};

// They live for ever: the environment is read until the process has ended.
auto &run_number = *new run_variable("PAPERMILL_RUN");
auto &run_place = *new run_variable("PAPERMILL_RUN_FOLDER");
auto &run_tmpdir = *new run_variable("TMPDIR");

constexpr ProcessSerialNumber this_process = {0, 2};
constexpr ProcessSerialNumber another_process = {0, 1};

} // namespace

OSErr Gestalt(OSType selector, std::int32_t *response)
{
    switch (selector) {
    case gestaltSystemVersion:
        *response = 0x1049;
        return noErr;
    case gestaltMenuMgrAttr:
        *response = 1 << 1; // the Aqua layout
        return noErr;
    default:
        return gestaltUndefSelectorErr;
    }
}

OSStatus RegisterAppearanceClient()
{
    return noErr;
}

OSErr GetCurrentProcess(ProcessSerialNumber *process)
{
    *process = this_process;
    return noErr;
}

OSErr GetFrontProcess(ProcessSerialNumber *process)
{
    *process = is_front_process ? this_process : another_process;
    return noErr;
}

OSErr SameProcess(const ProcessSerialNumber *a, const ProcessSerialNumber *b, Boolean *same)
{
    *same = a->highLongOfPSN == b->highLongOfPSN && a->lowLongOfPSN == b->lowLongOfPSN ? 1 : 0;
    return noErr;
}

std::string platform::process_name(const std::string &executable)
{
    const std::filesystem::path path(executable);
    const std::filesystem::path contents = path.parent_path().parent_path();
    const std::filesystem::path bundle = contents.parent_path();
    if (contents.filename() == "Contents" && bundle.extension() == ".app")
        return bundle.stem();
    return path.filename();
}

OSErr GetProcessInformation(const ProcessSerialNumber *process, ProcessInfoRec *info)
{
    Boolean same = 0;
    SameProcess(process, &this_process, &same);
    if (!same)
        return procNotFound;

    char executable[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", executable, sizeof executable - 1);
    if (length <= 0)
        return procNotFound;
    executable[length] = 0;

    if (info->processName != nullptr) {
        const std::string name = platform::process_name(executable).substr(0, 31);
        info->processName[0] = static_cast<unsigned char>(name.size());
        std::memcpy(info->processName + 1, name.data(), name.size());
    }
    if (info->processAppSpec != nullptr) {
        FSRef reference;
        const OSErr error = FSPathMakeRef(executable, &reference, nullptr);
        if (error != noErr)
            return error;
        return FSGetCatalogInfo(&reference, kFSCatInfoNone, nullptr, nullptr, info->processAppSpec,
                                nullptr);
    }
    return noErr;
}

void platform::prepare_for_tools()
{
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    // Started from a run of another copy, or from its viewer, this one has runs of its own.
    for (const char *name : {"PAPERMILL_DETACHED", "PAPERMILL_RUN", "PAPERMILL_RUN_FOLDER"})
        unsetenv(name);
    set_instance_name("");
    // tcsh refuses to start a script when it finds a colour of newer kinds of file in there.
    unsetenv("LS_COLORS");
    setenv("PAPERMILL_PID", std::to_string(getpid()).c_str(), 1);
}

void platform::set_instance_name(const char *name)
{
    setenv("PAPERMILL_INSTANCE", name, 1);
}

void platform::occupy_standard_files()
{
    for (const int file : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(file, F_GETFD) < 0)
            open("/dev/null", O_RDWR);
    }
}

void platform::set_front_process(bool front)
{
    is_front_process = front;
}

OSErr FSFindFolder(std::int16_t domain, OSType folderType, Boolean create, FSRef *folder)
{
    if (domain != kOnAppropriateDisk)
        return nsvErr;
    std::string path;
    switch (folderType) {
    case kTemporaryFolderType:
        path = platform::temporary_folder(create != 0);
        break;
    case kCurrentUserFolderType:
        path = platform::home_folder();
        break;
    case kPreferencesFolderType:
        path = platform::preferences_folder();
        break;
    default:
        return fnfErr;
    }
    return path.empty() ? OSErr{fnfErr} : FSPathMakeRef(path.c_str(), folder, nullptr);
}

std::uint32_t TickCount()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint32_t>(now.tv_sec * 60 + now.tv_nsec * 60 / 1000000000L);
}

int platform::system(const char *line)
{
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);

    char shell[] = "sh";
    char option[] = "-c";
    std::string command = line;
    char *arguments[] = {shell, option, command.data(), nullptr};
    pid_t child = -1;
    const int error = posix_spawn(&child, "/bin/sh", nullptr, &attributes, arguments, environ);
    posix_spawnattr_destroy(&attributes);
    if (error != 0)
        return -1;

    int status = 0;
    for (;;) {
        const pid_t ended = waitpid(child, &status, WNOHANG);
        if (ended == child) {
            // Ctrl-C reaches the shell, too, which may end before it is told here.
            tell_interrupt();
            return status;
        }
        if (ended < 0 && errno != EINTR) // an interrupt ended the run, and the shell with it
            return interrupt_signal() != 0 ? SIGKILL : -1;
        if (interrupt_signal() != 0) {
            kill(child, SIGKILL); // before the folder that it works in may be removed
            tell_interrupt();
        }
        poll_or_signal(nullptr, 0, 250); // the end of the child is a signal
    }
}

int platform::exit_status_of(int wait_status)
{
    return WIFSIGNALED(wait_status) ? 128 + WTERMSIG(wait_status) : WEXITSTATUS(wait_status);
}

std::string platform::in_double_quotes(const char *s)
{
    std::string safe;
    for (; *s != 0; ++s) {
        if (std::strchr("\"$`\\", *s) != nullptr)
            safe += '\\';
        safe += *s;
    }
    return safe;
}

std::string platform::in_single_quotes(const char *s)
{
    std::string quoted = "'";
    for (; *s != 0; ++s) {
        if (*s == '\'')
            quoted += "'\\''";
        else
            quoted += *s;
    }
    return quoted + "'";
}

std::string platform::as_word(const char *s)
{
    const std::string text = s;
    const bool ordinary =
        !text.empty() &&
        text.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                               "0123456789_./-+,:@%=") == std::string::npos;
    return ordinary ? text : in_single_quotes(s);
}

bool platform::begin_run(const char *folder, std::int32_t serial)
{
    last_serial = serial;
    const char *value = getenv("TMPDIR");
    outer_tmpdir = value == nullptr ? "" : value;
    const std::string tools_folder = std::string(folder) + "/tmp";
    const bool made = mkdir(folder, 0700) == 0 && mkdir(tools_folder.c_str(), 0700) == 0;
    run_number.set(std::to_string(serial));
    run_place.set(folder);
    run_tmpdir.set(tools_folder);
    return made;
}

std::int32_t platform::latest_run()
{
    return last_serial;
}

void platform::end_run(const char *folder)
{
    unsetenv("PAPERMILL_RUN");
    unsetenv("PAPERMILL_RUN_FOLDER");
    if (outer_tmpdir.empty())
        unsetenv("TMPDIR");
    else
        setenv("TMPDIR", outer_tmpdir.c_str(), 1);
    remove_run_folder(folder);
}
