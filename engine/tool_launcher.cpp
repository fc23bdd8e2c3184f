#include "engine/tool_launcher.h"

#include "app/globals.h"
#include "console/console_io.h"
#include "platform/core/signals.h"
#include "platform/events.h"
#include "platform/processes.h"
#include "platform/strings.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <poll.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr std::size_t stream_chunk = 1020; // bytes of one read of a tool's output
constexpr std::size_t query_chunk = 1023;  // bytes read of a process query's answer

int launched(int wait_status)
{
    if (wait_status != 0 && !interrupted) {
        text_printf("An error occurred when running gs.script.\n");
        text_printf("Launch /Applications/Utilities/Console and examine console.log.\n");
        inScript = 0;
    }
    return wait_status;
}

// Reads until the chunk is full or the output has ended, and tells how much there was. An interrupt
// in a run ends the tool, and with it the output.
std::size_t read_chunk(int file, char *chunk)
{
    constexpr int longest_wait = 1000; // milliseconds
    std::size_t size = 0;
    while (size < stream_chunk) {
        pollfd output = {file, POLLIN, 0};
        if (!platform::poll_or_signal(&output, 1, longest_wait) && inRun)
            platform::tell_interrupt();
        if (output.revents == 0)
            continue;
        const ssize_t n = read(file, chunk + size, stream_chunk - size);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        size += static_cast<std::size_t>(n);
    }
    return size;
}

// Runs `cmd` and shows what it prints. Returns its exit status, -1 if it could not be run.
int stream_cmd()
{
    std::FILE *pipe = popen(cmd, "r");
    if (pipe == nullptr)
        return -1;
    char chunk[stream_chunk + 1];
    for (;;) {
        const std::size_t n = read_chunk(fileno(pipe), chunk);
        if (n < 1)
            break;
        chunk[n] = 0;
        for (char *p = chunk; *p != 0; ++p) {
            if (*p == '\n')
                *p = '\r';
        }
        WriteCharsToConsole(chunk, static_cast<std::int32_t>(n));
    }
    return pclose(pipe);
}

// Takes a command that does not fit for what it is: nothing that could be run.
bool set_cmd(const std::string &line)
{
    if (platform::copy_whole(cmd, line.c_str()))
        return true;
    text_printf("The command is too long: %s\n", line.c_str());
    return false;
}

} // namespace

int InvokeTool(const char *line)
{
    std::string command = line;
    if (!inBackground)
        command += " &";
    return launched(platform::system(command.c_str()));
}

int InvokeTool1(const char *line, const char *dir)
{
    if (chdir(dir) != 0) {
        // Not run anywhere else: a command such as rm means the files of its own folder.
        text_printf("Can't change to the folder %s: %s.\n", dir, std::strerror(errno));
        return launched(-1);
    }
    return InvokeTool(line);
}

int InvokeTool2(const char *line)
{
    return launched(platform::system(line));
}

void InvokeTool3(const char *line)
{
    if (!set_cmd(line))
        return;
    const int wait_status = stream_cmd();
    if (wait_status != -1)
        exit_status = platform::exit_status_of(wait_status);
}

void moveFile(const char *source, const char *destination)
{
    if (set_cmd("cp \"" + platform::in_double_quotes(source) + "\" \"" +
                platform::in_double_quotes(destination) + "\" 2>&1 "))
        stream_cmd();
}

void testCommand()
{
    if (set_cmd("gs -h 2>&1"))
        stream_cmd();
}

void GetProcessInfo(const char *query)
{
    std::FILE *pipe = popen(query, "r");
    if (pipe == nullptr)
        return;
    char answer[query_chunk + 1];
    const std::size_t n = std::fread(answer, 1, query_chunk, pipe);
    answer[n] = 0;
    int pid = 0;
    if (std::sscanf(answer, "%d", &pid) != 1)
        pid = 0;
    pclose(pipe);
    if (pid != 0) {
        char kill_line[32];
        std::snprintf(kill_line, sizeof kill_line, "kill -9 %d", pid);
        InvokeTool(kill_line);
    }
}
