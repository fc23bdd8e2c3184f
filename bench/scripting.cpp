// What a request costs over its work: each request to the program on the session bus in turn with
// the same work done by this process, which is on the bus as well.
//
//     scripting ROUNDS          a table; papermill serve has to run
//     scripting growth PID N    memory and descriptors of that program before and after N requests
#include "app/command_line.h"
#include "app/globals.h"
#include "app/startup.h"
#include "engine/dispatch.h"
#include "platform/core/sd_bus.h"
#include "platform/core/session_bus.h"
#include "platform/core/signals.h"
#include "platform/headless/terminal.h"
#include "platform/processes.h"
#include "platform/resources.h"
#include "platform/strings.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <string>
#include <vector>

namespace {

constexpr std::uint64_t patience = 5'000'000;   // microseconds
constexpr std::uint64_t for_ever = 600'000'000; // likewise

sd_bus *client;

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

template <typename Action>
double milliseconds(Action action)
{
    const auto start = std::chrono::steady_clock::now();
    action();
    const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - start;
    return time.count();
}

// What the work alone has left behind may end now, which is no answer.
void hold_back_signals(int how)
{
    sigset_t children;
    sigemptyset(&children);
    sigaddset(&children, SIGCHLD);
    sigprocmask(how, &children, nullptr);
}

void ask(const char *method, const char *first, const char *second)
{
    hold_back_signals(SIG_BLOCK);
    sd_bus_message *request = nullptr;
    sd_bus_error error = SD_BUS_ERROR_NULL;
    int result = platform::sd_bus_message_new_method_call(
        client, &request, "org.papermill.Papermill", "/org/papermill/Papermill",
        "org.papermill.Papermill", method);
    if (result >= 0)
        result = platform::sd_bus_message_append(request, "ss", first, second);
    if (result >= 0)
        result = platform::sd_bus_call(client, request, for_ever, &error, nullptr);
    if (result < 0) {
        std::fprintf(stderr, "%s: %s\n", method,
                     error.message == nullptr ? std::strerror(-result) : error.message);
        std::exit(EXIT_FAILURE);
    }
    platform::sd_bus_message_unref(request);
    hold_back_signals(SIG_UNBLOCK);
}

void compare(const char *what, int rounds, void (*request)(), void (*work)())
{
    std::vector<double> requests;
    std::vector<double> works;
    std::vector<double> costs;
    for (int i = -1; i < rounds; ++i) { // the first round warms up
        const double one = milliseconds(request);
        const double other = milliseconds(work);
        if (i < 0)
            continue;
        requests.push_back(one);
        works.push_back(other);
        costs.push_back(one - other);
    }
    std::printf("| %s | %.2f | %.2f | %+.2f |\n", what, median(requests), median(works),
                median(costs));
}

void exec_request()
{
    ask("Exec", "true", "/tmp");
}

void exec_work()
{
    platform::copy_whole(command_line, "true");
    platform::copy_whole(curr_dir, "/tmp");
    DoAppleScript();
}

// Two files "small.eps" and "small.pdf" in the folder from which this program was started.
std::string input;
std::string output;

void convert_request()
{
    ask("Convert", input.c_str(), output.c_str());
}

void convert_work()
{
    do_ps2pdf1(input.c_str(), output.c_str());
}

void say_nothing(const char * /*bytes*/, std::size_t /*size*/) {}

// Starts up as the service does.
void start_up()
{
    platform::catch_signals();
    platform::prepare_for_tools();
    platform::set_text_writer(say_nothing);
    platform::open_application_resources();
    initial();
    install_handlers();
    if (platform::take_program_name() != platform::program_name::held) {
        std::fputs("papermill serve does not run\n", stderr);
        std::exit(EXIT_FAILURE);
    }
    std::atexit(platform::kill_run_processes);
    platform::keep_answering();
    platform::listen_to(platform::bus_poll, platform::read_bus);
}

long memory_of(const std::string &process)
{
    long kilobytes = 0;
    char line[256];
    std::FILE *file = std::fopen((process + "/status").c_str(), "re");
    while (file != nullptr && std::fgets(line, sizeof line, file) != nullptr) {
        if (std::strncmp(line, "VmRSS:", 6) == 0)
            kilobytes = std::strtol(line + 6, nullptr, 10);
    }
    if (file != nullptr)
        std::fclose(file);
    return kilobytes;
}

int descriptors_of(const std::string &process)
{
    int count = 0;
    DIR *folder = opendir((process + "/fd").c_str());
    while (folder != nullptr && readdir(folder) != nullptr)
        ++count;
    if (folder != nullptr)
        closedir(folder);
    return count - 2; // "." and ".."
}

void measure_growth(const char *pid, int times)
{
    const std::string process = std::string("/proc/") + pid;
    constexpr int to_warm_up = 50;
    for (int i = 0; i < to_warm_up; ++i)
        exec_request();
    const long memory = memory_of(process);
    const int descriptors = descriptors_of(process);
    const double time = milliseconds([&] {
        for (int i = 0; i < times; ++i)
            exec_request();
    });
    std::printf("%d requests, %.1f ms each | %ld | %ld | %d | %d |\n", times, time / times, memory,
                memory_of(process), descriptors, descriptors_of(process));
}

} // namespace

int main(int argc, char **argv)
{
    client = platform::open_session_bus(patience);
    if (client == nullptr || argc < 2) {
        std::fputs("usage: scripting ROUNDS, or: scripting growth PID N; on a session bus\n",
                   stderr);
        return 2;
    }
    if (argc == 4 && std::strcmp(argv[1], "growth") == 0) {
        measure_growth(argv[2], std::atoi(argv[3]));
        return 0;
    }
    const int rounds = std::max(1, std::atoi(argv[1]));
    char *const folder = realpath(".", nullptr);
    input = std::string(folder) + "/small.eps";
    output = std::string(folder) + "/small.pdf";
    std::free(folder);
    start_up();
    compare("`exec true`", rounds, exec_request, exec_work);
    compare("a small EPS file to PDF", rounds, convert_request, convert_work);
    return 0;
}
