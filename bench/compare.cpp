// Times two commands in turn and prints how the first compares with the second:
//
//     compare [-n ROUNDS] NAME COMMAND-A -- COMMAND-B
//
// Each command is a list of words; what it prints is thrown away. Prints the name, the medians in
// milliseconds, their difference, the ratio of each round's pair (its median) and the largest
// memory of one process of A and of B. Status 1 when a command cannot be run.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

struct measured {
    double milliseconds;
    long kilobytes;
    bool good;
};

measured run(const std::vector<char *> &words)
{
    const auto start = std::chrono::steady_clock::now();
    const pid_t child = fork();
    if (child == 0) {
        const int nowhere = open("/dev/null", O_RDWR);
        for (const int descriptor : {0, 1, 2})
            dup2(nowhere, descriptor);
        execvp(words[0], words.data());
        _exit(127);
    }
    int status = 0;
    struct rusage usage = {};
    wait4(child, &status, 0, &usage);
    const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - start;
    // A command that is there may end with a status: refusing a file is work, too.
    return {time.count(), usage.ru_maxrss, WIFEXITED(status) && WEXITSTATUS(status) != 127};
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

} // namespace

int main(int argc, char **argv)
{
    int rounds = 15;
    int first = 1;
    if (argc > 3 && std::strcmp(argv[1], "-n") == 0) {
        rounds = std::max(1, std::atoi(argv[2]));
        first = 3;
    }
    std::vector<char *> a;
    std::vector<char *> b;
    bool behind = false;
    for (int i = first + 1; i < argc; ++i) {
        if (!behind && std::strcmp(argv[i], "--") == 0)
            behind = true;
        else
            (behind ? b : a).push_back(argv[i]);
    }
    if (a.empty() || b.empty()) {
        std::fputs("usage: compare [-n ROUNDS] NAME COMMAND-A -- COMMAND-B\n", stderr);
        return 2;
    }
    a.push_back(nullptr);
    b.push_back(nullptr);

    std::vector<double> times_a;
    std::vector<double> times_b;
    std::vector<double> ratios;
    long memory_a = 0;
    long memory_b = 0;
    for (int i = -1; i < rounds; ++i) {
        const measured one = run(a);
        const measured other = run(b);
        if (!one.good || !other.good) {
            std::fprintf(stderr, "%s: %s could not be run\n", argv[first], one.good ? b[0] : a[0]);
            return 1;
        }
        if (i < 0) // the first round warms up
            continue;
        times_a.push_back(one.milliseconds);
        times_b.push_back(other.milliseconds);
        ratios.push_back(one.milliseconds / other.milliseconds);
        memory_a = std::max(memory_a, one.kilobytes);
        memory_b = std::max(memory_b, other.kilobytes);
    }
    std::printf("| %s | %.1f | %.1f | %+.1f | %.3f | %ld | %ld |\n", argv[first], median(times_a),
                median(times_b), median(times_a) - median(times_b), median(ratios), memory_a / 1024,
                memory_b / 1024);
    return 0;
}
