// One run of gs.script's tools, from the user's file names to the report. The script composes the
// tools' command lines and becomes this program:
//
//     papermill_run [OPTION...] tools KIND INPUTS PID CAPTURE OUTPUT COUNT INPUT... TOOL
//     ARGUMENT... papermill_run command exec|exec1 PID CAPTURE COUNT papermill_run unknown PID
//     CAPTURE
//
// "tools" gives the tools safe names for the COUNT inputs and a folder for unfinished output (see
// staging.h), runs them in the run's folder, keeps what they print in CAPTURE ("-": the file
// "messages" in the run's folder), looks at the result, papermill-out/result.KIND, moves a good one
// over the destination (see settling.h), leaves the status, and reports to the application PID.
// INPUTS is what the inputs must be: pdf, ps or any. The options:
//
//     document                the document is the first tool's standard input
//     boxes                   the first tool's result is what it says as errors
//     limit KILOBYTES         no file that a tool writes becomes larger
//     then FILE COUNT WORD... the second tool's call: it runs when the first one has succeeded and
//                             left something in FILE
//
// "command" runs the last COUNT words of the script's own call; with exec1 the user redirects the
// output: what goes elsewhere than the application's own output is left where it goes, the rest is
// captured. "unknown" is the end of a subcommand that there is not.
//
// The run's folder is $PAPERMILL_RUN_FOLDER. Without one the script was called by hand: then a
// folder is made and removed here, and messages without a capture file are printed.

#include "platform/core/run_folder.h"
#include "stand_ins/complain.h"
#include "stand_ins/reporting.h"
#include "stand_ins/result_place.h"
#include "stand_ins/settling.h"
#include "stand_ins/staging.h"
#include "stand_ins/tools.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

enum exit_code { ex_usage = 64 };

const std::string messages = "/messages"; // in the run's folder

// ---- the run's folder ----

struct run_place {
    std::string folder;
    bool own; // made here
};

run_place open_place()
{
    if (const char *given = getenv("PAPERMILL_RUN_FOLDER"); given != nullptr)
        return {given, false};
    const char *parent = getenv("TMPDIR");
    std::string folder = std::string(parent == nullptr ? "/tmp" : parent) + "/papermill-run-XXXXXX";
    if (mkdtemp(folder.data()) == nullptr || mkdir((folder + "/tmp").c_str(), 0700) != 0) {
        complain("Can't make the folder %s: %s.", folder.c_str(), std::strerror(errno));
        std::exit(1);
    }
    setenv("PAPERMILL_RUN_FOLDER", folder.c_str(), 1);
    setenv("TMPDIR", (folder + "/tmp").c_str(), 1);
    return {folder, true};
}

// Copies the file to the end of another one that is open.
void append(int to, const std::string &path)
{
    const int from = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    char buffer[65536];
    ssize_t size = 0;
    while (from >= 0 && (size = read(from, buffer, sizeof buffer)) > 0) {
        for (ssize_t done = 0, n = 0; done < size && n >= 0; done += n)
            n = write(to, buffer + done, static_cast<std::size_t>(size - done));
    }
    if (from >= 0)
        close(from);
}

// The end of every run.
int leave(const run_place &place, pid_t application, int status)
{
    if (place.own) {
        append(STDOUT_FILENO, place.folder + messages);
        platform::remove_run_folder(place.folder);
    } else {
        report(place.folder, application);
    }
    return status;
}

// Empties the capture file, to which output is appended from then on; -1, with a message on
// standard error, when it cannot be written.
int open_capture(const std::string &capture)
{
    const int file =
        open(capture.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0666);
    if (file < 0)
        complain("%s: the file can't be written: %s.", capture.c_str(), std::strerror(errno));
    return file;
}

// ---- tools ----

struct tools_request {
    finished_run run; // but for its status
    std::string inputs_are;
    pid_t application;
    tool_call first, second;
    std::string between; // the file that the first tool leaves for the second one
    bool document = false;
    bool boxes = false;
    long limit = 0;
};

// False, with the status that this ends the run with, when the tools can't be run.
bool prepare(const tools_request &request, int *status)
{
    *status = ex_usage;
    if (request.run.inputs.empty()) {
        complain("gs.script: there is no input.");
        return false;
    }
    *status = tool_not_found;
    if (!tool_is_there(request.first[0]) ||
        (!request.second.empty() && !tool_is_there(request.second[0])))
        return false;
    *status = stage(request.run.folder, request.inputs_are, request.run.output, request.run.inputs);
    return *status == staged;
}

int run_tools(const tools_request &request, int capture)
{
    const std::string &folder = request.run.folder;
    const std::string result = folder + "/" + platform::output_link + "/result." + request.run.kind;
    int errors = capture;
    if (request.boxes)
        errors = open(result.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    tool_setting setting = {folder, request.document, capture, errors, request.limit};
    int status = run_tool(request.first, setting);
    if (request.boxes)
        close(errors);

    struct stat left = {};
    if (status == 0 && !request.second.empty() &&
        stat((folder + "/" + request.between).c_str(), &left) == 0 && left.st_size > 0) {
        setting.reads_document = false;
        setting.errors = capture;
        status = run_tool(request.second, setting);
    }
    // A tool's log is a part of what it says.
    const std::string log = result + ".log";
    append(capture, log);
    unlink(log.c_str());
    return status;
}

int do_tools(const run_place &place, tools_request request)
{
    const int capture = open_capture(request.run.capture);
    int status = 1;
    if (capture < 0 || dup2(capture, STDERR_FILENO) < 0 || !prepare(request, &status)) {
        write_status(place.folder, status, "missing");
    } else {
        request.run.status = run_tools(request, capture);
        status = settle(request.run);
    }
    return leave(place, request.application, status);
}

// ---- command ----

// The last words of the script's own call, empty ones included, which tcsh would lose.
bool words_of_script(int count, tool_call *call)
{
    std::string words;
    const std::string path = "/proc/" + std::to_string(getppid()) + "/cmdline";
    if (std::FILE *file = std::fopen(path.c_str(), "re"); file != nullptr) {
        for (int c = std::fgetc(file); c != EOF; c = std::fgetc(file))
            words += static_cast<char>(c);
        std::fclose(file);
    }
    tool_call all; // each word ends with a NUL
    for (std::size_t start = 0; start < words.size();) {
        all.emplace_back(words.c_str() + start);
        start += all.back().size() + 1;
    }
    if (count < 0 || all.size() < static_cast<std::size_t>(count))
        return false;
    call->insert(call->end(), all.end() - count, all.end());
    return true;
}

// Whether the descriptor leads to the same file in this process as in the application.
bool is_applications(int file, pid_t application)
{
    const std::string theirs =
        "/proc/" + std::to_string(application) + "/fd/" + std::to_string(file);
    struct stat here = {};
    struct stat there = {};
    return fstat(file, &here) == 0 && stat(theirs.c_str(), &there) == 0 &&
           here.st_dev == there.st_dev && here.st_ino == there.st_ino;
}

int do_command(const run_place &place, bool redirects, pid_t application, const char *capture_path,
               int count)
{
    const int capture = open_capture(capture_path);
    int status = ex_usage;
    // The shell has words of its own for a command that it cannot start.
    tool_call call = {"sh", "-c", "exec \"$@\"", "sh"};
    if (capture >= 0 && !words_of_script(count, &call)) {
        dup2(capture, STDERR_FILENO);
        complain("papermill_run: the words of the command can't be read.");
    } else if (capture >= 0) {
        const pid_t child = fork();
        if (child == 0) {
            for (const int file : {STDOUT_FILENO, STDERR_FILENO}) {
                if (!redirects || is_applications(file, application))
                    dup2(capture, file);
            }
            dup2(open("/dev/null", O_RDONLY | O_CLOEXEC), STDIN_FILENO);
            _exit(become(call));
        }
        status = wait_for(child);
    }
    const bool missing = status == 126 || status == tool_not_found;
    write_status(place.folder, status, missing ? "missing" : "done");
    return leave(place, application, status);
}

// ---- unknown ----

int do_unknown(const run_place &place, pid_t application, const char *capture_path)
{
    const int capture = open_capture(capture_path);
    dup2(capture, STDERR_FILENO);
    complain("gs.script: there is no subcommand of this name.");
    write_status(place.folder, ex_usage, "missing");
    return leave(place, application, ex_usage);
}

// ---- the call ----

// Takes the words one after the other; one that is not there is empty and makes the call no good.
struct word_reader {
    char **next;
    bool complete = true;

    const char *word()
    {
        if (*next == nullptr) {
            complete = false;
            return "";
        }
        return *next++;
    }

    long number()
    {
        return std::strtol(word(), nullptr, 10);
    }

    tool_call words(long count)
    {
        tool_call result;
        for (long i = 0; i < count && complete; ++i)
            result.emplace_back(word());
        return result;
    }
};

bool read_tools_request(word_reader *words, const std::string &verb, tools_request *request)
{
    std::string option = verb;
    for (; option != "tools" && words->complete; option = words->word()) {
        if (option == "document") {
            request->document = true;
        } else if (option == "boxes") {
            request->boxes = true;
        } else if (option == "limit") {
            request->limit = words->number();
        } else if (option == "then") {
            request->between = words->word();
            request->second = words->words(words->number());
        } else {
            return false;
        }
    }
    request->run.kind = words->word();
    request->inputs_are = words->word();
    request->application = static_cast<pid_t>(words->number());
    request->run.capture = words->word();
    request->run.output = words->word();
    for (long left = words->number(); left > 0 && words->complete; --left)
        request->run.inputs.push_back(words->word());
    request->first.emplace_back(words->word());
    while (*words->next != nullptr)
        request->first.emplace_back(words->word());
    return words->complete;
}

int refuse_call()
{
    complain("papermill_run: called by gs.script alone.");
    return ex_usage;
}

} // namespace

int main(int /*argc*/, char **argv)
{
    word_reader words = {argv + 1};
    const std::string verb = words.word();
    if (verb == "command") {
        const bool redirects = std::strcmp(words.word(), "exec1") == 0;
        const auto application = static_cast<pid_t>(words.number());
        const char *capture = words.word();
        const auto count = static_cast<int>(words.number());
        if (!words.complete)
            return refuse_call();
        return do_command(open_place(), redirects, application, capture, count);
    }
    if (verb == "unknown") {
        const auto application = static_cast<pid_t>(words.number());
        const char *capture = words.word();
        if (!words.complete)
            return refuse_call();
        return do_unknown(open_place(), application, capture);
    }
    tools_request request = {};
    if (!read_tools_request(&words, verb, &request))
        return refuse_call();
    const run_place place = open_place();
    request.run.folder = place.folder;
    request.run.capture =
        request.run.capture == "-" ? place.folder + messages : absolute(request.run.capture);
    return do_tools(place, std::move(request));
}
