#include "platform/core/run_processes.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <string_view>
#include <sys/wait.h>
#include <unistd.h>

namespace platform {

namespace {

enum class membership { unread, cannot_tell, this_run, another_run, detached };

struct entry {
    pid_t pid;
    pid_t parent;
    unsigned long long started; // clock ticks since the system's start
    bool living;
    bool without_environment; // for sure: not only while it becomes another program
    std::string command;      // the kernel's short name
    membership told = membership::unread;
};

// The file /proc/PID/NAME; empty when it is gone or may not be read.
std::string read_process_file(pid_t pid, const char *name)
{
    const std::string path = "/proc/" + std::to_string(pid) + "/" + name;
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    std::string text;
    if (file < 0)
        return text;
    char buffer[4096];
    ssize_t size;
    while ((size = read(file, buffer, sizeof buffer)) > 0 || (size < 0 && errno == EINTR)) {
        if (size > 0)
            text.append(buffer, static_cast<std::size_t>(size));
    }
    close(file);
    return text;
}

// Takes /proc/PID/stat apart: "PID (COMMAND) STATE PARENT ...". The command may hold anything,
// blanks, parentheses and line feeds included, so it ends at the last parenthesis.
bool read_entry(pid_t pid, entry &result)
{
    const std::string text = read_process_file(pid, "stat");
    const std::size_t open_mark = text.find('(');
    const std::size_t close_mark = text.rfind(')');
    if (open_mark == std::string::npos || close_mark == std::string::npos ||
        close_mark < open_mark || close_mark + 2 >= text.size())
        return false;

    const char state = text[close_mark + 2];
    const char *field = text.c_str() + close_mark + 3;
    char *end;
    result.pid = pid;
    result.parent = static_cast<pid_t>(std::strtol(field, &end, 10));
    result.living = state != 'Z' && state != 'X' && state != 'x';
    result.command = text.substr(open_mark + 1, close_mark - open_mark - 1);

    // The numbers of the fields, the parent being the fourth. The kernel sets the start of the code
    // last, when a new program's arguments and environment are in place.
    enum { parent = 4, start_time = 22, start_of_code = 26, environment_start = 50, fields = 51 };
    std::array<unsigned long long, fields + 1> values = {};
    for (int i = parent + 1; i <= fields; ++i) {
        field = end;
        values.at(static_cast<std::size_t>(i)) = std::strtoull(field, &end, 10);
        if (end == field)
            return false;
    }
    result.started = values[start_time];
    result.without_environment =
        values[start_of_code] != 0 && values[environment_start] == values[environment_start + 1];
    return true;
}

// Every process of the system, by process ID.
std::vector<entry> read_entries()
{
    std::vector<entry> entries;
    DIR *folder = opendir("/proc");
    if (folder == nullptr)
        return entries;
    while (const dirent *item = readdir(folder)) {
        char *end;
        const long pid = std::strtol(item->d_name, &end, 10);
        entry found;
        if (*end == '\0' && pid > 0 && pid <= INT_MAX && read_entry(static_cast<pid_t>(pid), found))
            entries.push_back(found);
    }
    closedir(folder);
    std::sort(entries.begin(), entries.end(),
              [](const entry &a, const entry &b) { return a.pid < b.pid; });
    return entries;
}

entry *find_entry(std::vector<entry> &entries, pid_t pid)
{
    const auto place = std::lower_bound(entries.begin(), entries.end(), pid,
                                        [](const entry &e, pid_t p) { return e.pid < p; });
    return place != entries.end() && place->pid == pid ? &*place : nullptr;
}

void wait_a_moment()
{
    const timespec pause = {0, 200000};
    nanosleep(&pause, nullptr);
}

double seconds_now()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

// The process's environment. While a process becomes another program it has none; on a busy system
// that can take a while.
std::string read_environment(pid_t pid)
{
    constexpr double patience = 2; // seconds
    const double deadline = seconds_now() + patience;
    for (;;) {
        std::string text = read_process_file(pid, "environ");
        entry now;
        if (!text.empty() || !read_entry(pid, now) || !now.living || now.without_environment ||
            seconds_now() >= deadline)
            return text;
        wait_a_moment();
    }
}

// What the process's own environment says.
membership ask_environment(pid_t pid, std::string_view run_folder)
{
    constexpr std::string_view folder_is = "PAPERMILL_RUN_FOLDER=";
    const std::string text = read_environment(pid);
    membership answer = membership::cannot_tell;
    for (std::size_t start = 0; start < text.size();) {
        const std::string_view variable(text.c_str() + start);
        if (variable == "PAPERMILL_DETACHED=1")
            return membership::detached;
        if (variable.substr(0, folder_is.size()) == folder_is)
            answer = variable.substr(folder_is.size()) == run_folder ? membership::this_run
                                                                     : membership::another_run;
        start += variable.size() + 1;
    }
    return answer;
}

// The process and its ancestors below the application; empty when it is no descendant.
std::vector<entry *> line_of_descent(std::vector<entry> &entries, const entry &candidate,
                                     pid_t application)
{
    std::vector<entry *> line;
    // Entries are read one after the other, so that a reused process ID could close a circle:
    // no chain of parents is longer than the list.
    for (pid_t pid = candidate.pid; pid != application;) {
        entry *const each = find_entry(entries, pid);
        entry now;
        if (each == nullptr && !line.empty() && read_entry(line.back()->pid, now) &&
            now.started == line.back()->started && now.parent != pid) {
            pid = now.parent; // the one before ended before it could be read
            continue;
        }
        if (each == nullptr || line.size() == entries.size())
            return {};
        line.push_back(each);
        pid = each->parent;
    }
    return line;
}

bool belongs(std::vector<entry> &entries, const entry &candidate, pid_t application,
             std::string_view run_folder)
{
    const std::vector<entry *> line = line_of_descent(entries, candidate, application);
    membership first_answer = membership::cannot_tell;
    for (entry *each : line) {
        if (each->told == membership::unread)
            each->told = ask_environment(each->pid, run_folder);
        if (each->told == membership::detached)
            return false;
        if (first_answer == membership::cannot_tell)
            first_answer = each->told;
    }
    return !line.empty() && first_answer != membership::another_run;
}

// The name of the executable, without its folder.
std::string executable_name(const entry &owner)
{
    char target[PATH_MAX];
    const std::string link = "/proc/" + std::to_string(owner.pid) + "/exe";
    const ssize_t size = readlink(link.c_str(), target, sizeof target);
    if (size <= 0)
        return owner.command; // another user's
    std::string_view name(target, static_cast<std::size_t>(size));
    constexpr std::string_view deleted = " (deleted)"; // the kernel's mark, no part of the name
    if (name.size() > deleted.size() && name.substr(name.size() - deleted.size()) == deleted)
        name.remove_suffix(deleted.size());
    return std::string(name.substr(name.rfind('/') + 1));
}

} // namespace

std::vector<process> list_run_processes(pid_t application, const char *run_folder)
{
    std::vector<entry> entries = read_entries();
    std::vector<const entry *> members;
    for (const entry &each : entries) {
        if (each.living && belongs(entries, each, application, run_folder))
            members.push_back(&each);
    }
    std::stable_sort(members.begin(), members.end(),
                     [](const entry *a, const entry *b) { return a->started < b->started; });

    std::vector<process> result;
    result.reserve(members.size());
    for (const entry *member : members)
        result.push_back({member->pid, member->parent, executable_name(*member)});
    return result;
}

std::vector<process> run_processes()
{
    const char *run_folder = std::getenv("PAPERMILL_RUN_FOLDER");
    const char *number = std::getenv("PAPERMILL_PID");
    if (run_folder == nullptr || *run_folder == '\0' || number == nullptr)
        return {};
    const long application = std::strtol(number, nullptr, 10);
    if (application <= 0 || application > INT_MAX)
        return {};
    return list_run_processes(static_cast<pid_t>(application), run_folder);
}

bool is_ancestor(pid_t process)
{
    entry each;
    for (pid_t pid = getppid(); pid > 1 && read_entry(pid, each); pid = each.parent) {
        if (pid == process)
            return true;
    }
    return false;
}

void kill_abandoned_processes(const std::string &folder)
{
    const std::string run_in_folder = "PAPERMILL_RUN_FOLDER=" + folder + "/";
    for (const entry &each : read_entries()) {
        const std::string text = '\0' + read_process_file(each.pid, "environ");
        const bool abandoned = text.find('\0' + run_in_folder) != std::string::npos;
        const bool detached =
            text.find(std::string("\0PAPERMILL_DETACHED=1\0", 22)) != std::string::npos;
        if (abandoned && !detached)
            kill(each.pid, SIGKILL);
    }
}

void kill_run_processes()
{
    constexpr double patience = 10; // seconds; only a process stuck in the kernel takes that long
    const double deadline = seconds_now() + patience;
    std::vector<pid_t> killed;
    for (;;) {
        // Every turn lists anew: a process can have forked before the signal reached it.
        const std::vector<process> members = run_processes();
        for (const process &member : members) {
            if (member.pid == getpid() || kill(member.pid, SIGKILL) != 0)
                continue;
            if (std::find(killed.begin(), killed.end(), member.pid) == killed.end())
                killed.push_back(member.pid);
        }
        // Those whose parents died have become this process's children.
        for (const pid_t pid : killed)
            waitpid(pid, nullptr, WNOHANG);
        if (members.empty() || seconds_now() >= deadline)
            return;
        wait_a_moment();
    }
}

} // namespace platform
