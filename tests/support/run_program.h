// Runs programs from tests and collects what they do.
#ifndef PAPERMILL_TESTS_SUPPORT_RUN_PROGRAM_H
#define PAPERMILL_TESTS_SUPPORT_RUN_PROGRAM_H

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

// What to run. Only `arguments` must be given; argument 0 is looked for on the PATH that the
// program is given.
struct program_call {
    std::vector<std::string> arguments;
    std::map<std::string, std::optional<std::string>> environment = {}; // changes; nullopt removes
    std::string folder = {};                                            // empty: the test's own
    std::optional<std::string> input = {}; // comes through a pipe; none: /dev/null
    bool on_terminal = false;              // both outputs go to one; what comes from it is in `out`
    std::chrono::milliseconds timeout = std::chrono::minutes(5); // a busy machine takes its time
};

// How it went. Exactly one of the endings holds: timed_out; signal not 0; else exit status
// `status`.
struct program_result {
    int status = -1;        // 127 also when it could not be started; `err` says why
    int signal = 0;         // that ended it
    bool timed_out = false; // it, or a process that keeps its output open, was not done in time
    std::string out, err;
};

// A program that runs beside the test, in a process group of its own that is killed with this
// object, or by finish() when the time is up.
class running_program {
public:
    explicit running_program(const program_call &call); // returns when the program has started
    ~running_program();
    running_program(const running_program &) = delete;
    running_program &operator=(const running_program &) = delete;

    pid_t pid() const;
    void send_signal(int number) const;            // to the program alone
    bool wait_for_output(const std::string &text); // false when it ends, or its time, without it
    const std::string &output() const;             // what has been waited for so far
    program_result finish(); // waits until it has ended and its output is closed; once

private:
    struct stream {
        int file = -1;
        std::string *text = nullptr;
    };
    void start(const program_call &call, const int (&input)[2], const int (&out)[2],
               const int (&err)[2]);
    bool output_is_open() const;
    void transfer(int milliseconds); // one round of input and output, waiting at most that long
    void feed();
    void drain(stream &from);

    pid_t own_pid = -1;
    std::chrono::steady_clock::time_point deadline;
    int input_file = -1;
    std::string input_text;
    std::size_t input_sent = 0;
    stream streams[2];
    program_result result;
    bool finished = false;
};

// Runs the program to its end.
program_result run_program(const program_call &call);

#endif
