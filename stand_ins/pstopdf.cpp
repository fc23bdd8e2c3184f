// pstopdf [in] [-o out] [-l] [-p] [-i]: PostScript to PDF, made with Ghostscript.
#include "stand_ins/next_tool.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

struct request {
    const char *input = nullptr; // null: standard input
    std::string output;
    bool logs = false;          // -l: messages go to the output's name with ".log"
    bool reports_pages = false; // -p: a line on standard output for each page
};

// Ghostscript meets its files under these descriptors. Their users' names mean something else to
// it (%, |, @, a leading dash), or are not found at all (bytes that are no UTF-8). The input has no
// name at all: under one that may be read, the document could also open it for writing (mode r+).
enum : int { output_place = 4, pages_place = 5 };

// Writes a dot for each page that is put out, and else does what the default procedure does. The
// save that follows makes it outlive a grestoreall. A document that has an EndPage of its own
// replaces it, and its pages go untold.
static const char page_hook[] = "(/proc/self/fd/5) (w) file"
                                " {exch pop 2 ne dup {0 (.) writestring 0 flushfile} if}"
                                " dup 5 get dup 0 4 index put dup 3 4 index put pop bind"
                                " << exch /EndPage exch >> setpagedevice pop save pop";

[[noreturn]] static void end_with_usage()
{
    std::fprintf(stderr, "usage: pstopdf [in] [-o out] [-l] [-p] [-i]\n");
    std::exit(2);
}

[[noreturn]] static void end_with_error(const char *path)
{
    std::fprintf(stderr, "pstopdf: %s: %s\n", path, std::strerror(errno));
    std::exit(1);
}

// The name of the output when none is given: the input's without folder and extension, ".pdf".
static std::string default_output(const char *input)
{
    std::string name = input == nullptr ? "stdin" : input;
    name.erase(0, name.rfind('/') + 1);
    const std::size_t dot = name.rfind('.');
    if (dot != std::string::npos && dot > 0)
        name.erase(dot);
    return name + ".pdf";
}

static request read_arguments(int argc, char **argv)
{
    request result;
    const char *output = nullptr;
    bool from_standard_input = false;
    for (int i = 1; i < argc; ++i) {
        const char *argument = argv[i];
        if (std::strcmp(argument, "-l") == 0)
            result.logs = true;
        else if (std::strcmp(argument, "-p") == 0)
            result.reports_pages = true;
        else if (std::strcmp(argument, "-i") == 0)
            from_standard_input = true;
        else if (std::strcmp(argument, "-o") == 0 && output == nullptr && i + 1 < argc)
            output = argv[++i];
        else if (argument[0] != '-' && result.input == nullptr)
            result.input = argument;
        else if (argument[0] == '-' && !find_next_tool("pstopdf").empty())
            hand_over("pstopdf", argv); // TeX systems carry another command of this name
        else
            end_with_usage();
    }
    if (from_standard_input && result.input != nullptr)
        end_with_usage();
    result.output = output != nullptr ? output : default_output(result.input);
    return result;
}

// ---- files ----

// Moves a descriptor out of the way of the places, so that none is overwritten before it is used.
static int keep(int file)
{
    const int kept = fcntl(file, F_DUPFD_CLOEXEC, 10);
    close(file);
    return kept;
}

static int open_input(const char *path)
{
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    struct stat found;
    if (file < 0 || fstat(file, &found) != 0)
        end_with_error(path);
    if (S_ISDIR(found.st_mode)) {
        errno = EISDIR;
        end_with_error(path);
    }
    return keep(file);
}

// Opens the output as it is: Ghostscript empties it.
static int open_output(const char *path, int input)
{
    const int file = open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    struct stat out;
    if (file < 0 || fstat(file, &out) != 0)
        end_with_error(path);
    struct stat in;
    if (S_ISREG(out.st_mode) && fstat(input, &in) == 0 && in.st_dev == out.st_dev &&
        in.st_ino == out.st_ino) {
        std::fprintf(stderr, "pstopdf: %s: the output is the input. Choose another name.\n", path);
        std::exit(1);
    }
    return keep(file);
}

static bool write_all(int file, const char *bytes, std::size_t size)
{
    while (size > 0) {
        const ssize_t written = write(file, bytes, size);
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            return false;
        bytes += written;
        size -= static_cast<std::size_t>(written);
    }
    return true;
}

// ---- Ghostscript ----

struct channel {
    int reading = -1, writing = -1;
};

static channel make_channel()
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        end_with_error("pipe");
    channel result;
    result.reading = keep(ends[0]);
    result.writing = keep(ends[1]);
    return result;
}

// Becomes Ghostscript. `parent` is the process that it must not outlive.
[[noreturn]] static void become_ghostscript(const std::string &gs, const request &job, pid_t parent,
                                            int input, int output, int messages, int pages)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent)
        _exit(128 + SIGKILL); // it died before the line above
    std::signal(SIGPIPE, SIG_DFL);
    dup2(messages, STDOUT_FILENO);
    dup2(messages, STDERR_FILENO);
    dup2(output, output_place);
    if (job.input != nullptr)
        dup2(input, STDIN_FILENO);
    if (job.reports_pages)
        dup2(pages, pages_place);

    std::vector<const char *> arguments = {
        "gs",
        "-q",
        "-dSAFER",
        "-dNOPAUSE",
        "-dBATCH",
        "-sDEVICE=pdfwrite",
        "-sOutputFile=/proc/self/fd/4",
    };
    // A figure keeps its page as its box says, however its text runs.
    if (std::getenv("PAPERMILL_PREPARED_FROM") != nullptr)
        arguments.push_back("-dAutoRotatePages=/None");
    if (job.reports_pages)
        arguments.push_back("--permit-file-write=/proc/self/fd/5");
    for (const char *last : {"-c", job.reports_pages ? page_hook : "save pop", "-f", "-_"})
        arguments.push_back(last);
    arguments.push_back(nullptr);
    execv(gs.c_str(), const_cast<char *const *>(arguments.data()));
    end_with_error(gs.c_str());
}

// ---- what Ghostscript says ----

// A file that is made when the first message comes: no messages, no file.
struct message_log {
    std::string path;
    int file = STDERR_FILENO; // until it is made, and when it cannot be

    void append(const char *bytes, std::size_t size)
    {
        if (!path.empty()) {
            const int made = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
            if (made >= 0)
                file = made;
            else
                std::fprintf(stderr, "pstopdf: %s: %s\n", path.c_str(), std::strerror(errno));
            path.clear();
        }
        if (!write_all(file, bytes, size)) { // the disk is full, and that may be the message
            file = STDERR_FILENO;
            write_all(file, bytes, size);
        }
    }
};

static void report_pages(int &page, ssize_t count)
{
    for (; count > 0; --count) {
        char line[32];
        const int length = std::snprintf(line, sizeof line, "Page %d\n", ++page);
        write_all(STDOUT_FILENO, line, static_cast<std::size_t>(length));
    }
}

// Passes on messages and pages until Ghostscript has closed both ends.
static void listen(int messages, int pages, message_log &log)
{
    int page = 0;
    pollfd watched[] = {{messages, POLLIN, 0}, {pages, POLLIN, 0}};
    while (watched[0].fd >= 0 || watched[1].fd >= 0) {
        if (poll(watched, 2, -1) < 0)
            continue; // interrupted
        for (pollfd &each : watched) {
            if (each.fd < 0 || each.revents == 0)
                continue;
            char buffer[8192];
            const ssize_t size = read(each.fd, buffer, sizeof buffer);
            if (size < 0 && errno == EINTR)
                continue;
            if (size <= 0)
                each.fd = -1;
            else if (each.fd == pages)
                report_pages(page, size);
            else
                log.append(buffer, static_cast<std::size_t>(size));
        }
    }
}

static int wait_for(pid_t child)
{
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR)
            return 1;
    }
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

int main(int argc, char **argv)
{
    const request job = read_arguments(argc, argv);
    const std::string gs = find_next_tool("gs");
    if (gs.empty()) {
        std::fprintf(stderr, "pstopdf: gs was not found. Install the package ghostscript.\n");
        return 127;
    }
    const int input = job.input != nullptr ? open_input(job.input) : STDIN_FILENO;
    const int output = open_output(job.output.c_str(), input);

    message_log log;
    channel messages;
    if (job.logs) {
        log.path = job.output + ".log";
        unlink(log.path.c_str()); // an earlier run's
        messages = make_channel();
    }
    channel pages;
    if (job.reports_pages)
        pages = make_channel();

    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child < 0)
        end_with_error("gs");
    if (child == 0)
        become_ghostscript(gs, job, parent, input, output,
                           job.logs ? messages.writing : STDERR_FILENO, pages.writing);

    std::signal(SIGPIPE, SIG_IGN); // who reads the page numbers may leave early
    close(messages.writing);
    close(pages.writing);
    listen(messages.reading, pages.reading, log);
    return wait_for(child);
}
