#include "tests/support/run_program.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

using steady = std::chrono::steady_clock;

static void make_pipe(int (&ends)[2])
{
    if (pipe2(ends, O_CLOEXEC) != 0)
        throw std::runtime_error("no pipe");
}

// The second end is a terminal, the first one reads what is written to it.
static void make_terminal(int (&ends)[2])
{
    ends[0] = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (ends[0] < 0 || grantpt(ends[0]) != 0 || unlockpt(ends[0]) != 0)
        throw std::runtime_error("no terminal");
    ends[1] = open(ptsname(ends[0]), O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (ends[1] < 0)
        throw std::runtime_error("no terminal");
}

static void close_file(int &file)
{
    if (file >= 0)
        close(file);
    file = -1;
}

// The environment of the program, as "NAME=VALUE".
static std::vector<std::string> changed_environment(const program_call &call)
{
    std::vector<std::string> result;
    for (char **variable = environ; *variable != nullptr; ++variable) {
        const std::string text = *variable;
        if (call.environment.find(text.substr(0, text.find('='))) == call.environment.end())
            result.push_back(text);
    }
    for (const auto &[name, value] : call.environment) {
        if (value)
            result.push_back(name + "=" + *value);
    }
    return result;
}

static std::vector<char *> pointers(const std::vector<std::string> &texts)
{
    std::vector<char *> result;
    result.reserve(texts.size() + 1);
    for (const std::string &text : texts)
        result.push_back(const_cast<char *>(text.c_str()));
    result.push_back(nullptr);
    return result;
}

[[noreturn]] static void fail_to_start(const std::string &what)
{
    const std::string message = what + ": " + std::strerror(errno) + "\n";
    (void)!write(STDERR_FILENO, message.data(), message.size());
    _exit(127);
}

running_program::running_program(const program_call &call)
    : deadline(steady::now() + call.timeout), input_text(call.input.value_or(""))
{
    std::signal(SIGPIPE, SIG_IGN); // a program need not read its input
    int input[2], out[2], err[2];
    if (call.on_terminal) {
        make_terminal(out);
        err[0] = -1;
        err[1] = fcntl(out[1], F_DUPFD_CLOEXEC, 0);
    } else {
        make_pipe(out);
        make_pipe(err);
    }
    if (call.input) {
        make_pipe(input);
        fcntl(input[1], F_SETFL, O_NONBLOCK);
    } else {
        input[0] = open("/dev/null", O_RDONLY | O_CLOEXEC);
        input[1] = -1;
    }

    start(call, input, out, err);

    close_file(input[0]);
    close_file(out[1]);
    close_file(err[1]);
    input_file = input[1];
    streams[0] = {out[0], &result.out};
    streams[1] = {err[0], &result.err};
}

void running_program::start(const program_call &call, const int (&input)[2], const int (&out)[2],
                            const int (&err)[2])
{
    const std::vector<std::string> variables = changed_environment(call);
    const std::vector<char *> arguments = pointers(call.arguments);
    const std::vector<char *> environment = pointers(variables);
    int started[2]; // closed by the start of the program
    make_pipe(started);
    own_pid = fork();
    if (own_pid < 0)
        throw std::runtime_error("no process");
    if (own_pid > 0) {
        setpgid(own_pid, own_pid); // on both sides, so that it holds at once on both
        close_file(started[1]);
        char none;
        while (read(started[0], &none, 1) < 0 && errno == EINTR) {
        }
        close_file(started[0]);
        return;
    }
    setpgid(0, 0);
    std::signal(SIGPIPE, SIG_DFL);
    dup2(input[0], STDIN_FILENO);
    dup2(out[1], STDOUT_FILENO);
    dup2(err[1], STDERR_FILENO);
    if (!call.folder.empty() && chdir(call.folder.c_str()) != 0)
        fail_to_start(call.folder);
    environ = const_cast<char **>(environment.data());
    execvp(arguments[0], arguments.data());
    fail_to_start(call.arguments[0]);
}

running_program::~running_program()
{
    if (!finished) {
        kill(-own_pid, SIGKILL);
        waitpid(own_pid, nullptr, 0);
    }
    close_file(input_file);
    for (stream &each : streams)
        close_file(each.file);
}

pid_t running_program::pid() const
{
    return own_pid;
}

void running_program::send_signal(int number) const
{
    kill(own_pid, number);
}

void running_program::feed()
{
    const ssize_t sent =
        write(input_file, input_text.data() + input_sent, input_text.size() - input_sent);
    if (sent > 0)
        input_sent += static_cast<std::size_t>(sent);
    const bool broken = sent < 0 && errno != EAGAIN && errno != EINTR;
    if (broken || input_sent == input_text.size())
        close_file(input_file);
}

void running_program::drain(stream &from)
{
    char buffer[65536];
    const ssize_t size = read(from.file, buffer, sizeof buffer);
    if (size > 0)
        from.text->append(buffer, static_cast<std::size_t>(size));
    else if (size == 0 || errno != EINTR)
        close_file(from.file);
}

bool running_program::output_is_open() const
{
    return streams[0].file >= 0 || streams[1].file >= 0;
}

void running_program::transfer(int milliseconds)
{
    pollfd watched[] = {
        {streams[0].file, POLLIN, 0}, {streams[1].file, POLLIN, 0}, {input_file, POLLOUT, 0}};
    if (poll(watched, 3, milliseconds) <= 0)
        return;
    for (int i = 0; i < 2; ++i) {
        if (watched[i].revents != 0)
            drain(streams[i]);
    }
    if (watched[2].revents != 0)
        feed();
}

bool running_program::wait_for_output(const std::string &text)
{
    while (result.out.find(text) == std::string::npos) {
        if (!output_is_open() || steady::now() >= deadline)
            return false;
        transfer(20);
    }
    return true;
}

const std::string &running_program::output() const
{
    return result.out;
}

program_result running_program::finish()
{
    int status = 0;
    bool ended = false;
    while (!ended || output_is_open()) {
        // Nothing tells of the end of a program that has closed its output: look often.
        transfer(output_is_open() ? 20 : 1);
        if (!ended)
            ended = waitpid(own_pid, &status, WNOHANG) == own_pid;
        if (steady::now() < deadline)
            continue;
        result.timed_out = true;
        kill(-own_pid, SIGKILL);
        if (!ended)
            waitpid(own_pid, &status, 0);
        break; // a process outside the group may still hold the output
    }
    finished = true;
    if (!result.timed_out && WIFSIGNALED(status))
        result.signal = WTERMSIG(status);
    else if (!result.timed_out)
        result.status = WEXITSTATUS(status);
    return result;
}

program_result run_program(const program_call &call)
{
    running_program program(call);
    return program.finish();
}
