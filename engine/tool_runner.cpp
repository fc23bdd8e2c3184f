#include "engine/tool_runner.h"

#include "app/cursors.h"
#include "app/globals.h"
#include "console/console_io.h"
#include "console/console_text.h"
#include "dialogs/dialog_machinery.h"
#include "dialogs/wait_progress.h"
#include "engine/tool_environment.h"
#include "engine/tool_launcher.h"
#include "platform/events.h"
#include "platform/processes.h"
#include "platform/strings.h"
#include "settings/path_utils.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

WindowRef waitWindow;

namespace {

constexpr std::size_t capture_chunk = 1000;     // bytes of one piece of the capture file
constexpr std::int32_t refused_status = 1;      // exit_status of what never came to a run
constexpr std::int32_t command_not_found = 127; // as shells tell it
constexpr std::int32_t cancelled_status = 130;  // and of what the user cancelled
constexpr double timer_interval = 0.25;         // seconds

EventLoopTimerUPP timerUPP;
EventLoopTimerRef theTimer;
EventLoopRef myLoop;

wait_subject waited_for;   // what the sheet tells of the run
const char *prepared_from; // the user's file while a run works on a copy of it

std::string run_folder()
{
    return std::string(tmpPath) + "/run." + std::to_string(run_serial);
}

// Opens the run's folder and tells the tools, by their environment, whose file they work on.
bool open_run()
{
    ++run_serial;
    if (prepared_from != nullptr)
        setenv("PAPERMILL_PREPARED_FROM", prepared_from, 1);
    else
        unsetenv("PAPERMILL_PREPARED_FROM");
    return platform::begin_run(run_folder().c_str(), run_serial);
}

run_ending ending_of(std::int32_t status)
{
    if (status == 0)
        return ended_well;
    if (status == command_not_found)
        return ended_not_started;
    return status > 128 && status < 128 + NSIG ? ended_by_signal : ended_with_status;
}

// What the tools print, while they run.
std::string output_of_tools(const run_options &options)
{
    return options.copy_output ? worksheet : run_folder() + "/messages";
}

wait_subject subject_of(const run_options &options, std::uint32_t start)
{
    const char *input = options.input != nullptr ? options.input : options.subject;
    wait_subject subject;
    subject.doing = options.doing;
    if (input != nullptr)
        subject.input = users_file(input);
    // A step in between makes a file that is none of the user's.
    const std::string output = options.output != nullptr ? options.output : "";
    if (output.rfind(std::string(tmpPath) + "/", 0) != 0)
        subject.output = output;
    subject.output_of_tools = output_of_tools(options);
    subject.start = start;
    return subject;
}

// Reads what the script left in the run's folder: its tool's status and how it ended. A script
// that left nothing was never started, or was killed before it could.
run_ending read_ending()
{
    int status = 0;
    char word[16] = "";
    int fields = 0;
    std::FILE *file = std::fopen((run_folder() + "/status").c_str(), "re");
    if (file != nullptr) {
        fields = std::fscanf(file, "%d %15s", &status, word);
        std::fclose(file);
    }
    if (fields != 2) {
        exit_status = command_not_found;
        return ended_not_started;
    }
    exit_status = status;
    if (std::strcmp(word, "missing") == 0)
        return ended_not_started;
    if (std::strcmp(word, "unusable") == 0)
        return ended_without_result;
    return ending_of(status);
}

// False when a file in the folder would stay empty, a full disk for instance; errno says why. The
// script cannot tell it itself then.
bool takes_a_byte(const std::string &folder)
{
    const std::string probe = folder + "/probe";
    std::FILE *file = std::fopen(probe.c_str(), "we");
    if (file == nullptr)
        return false;
    std::fputc('x', file);
    const bool written = std::fclose(file) == 0;
    const int error = errno;
    std::remove(probe.c_str());
    errno = error;
    return written;
}

bool write_text(std::FILE *file, const char *line)
{
    return std::fwrite(line, 1, std::strlen(line), file) == std::strlen(line);
}

} // namespace

int run_and_wait(const run_options &options)
{
    const std::uint32_t start = TickCount();
    if (options.banner != nullptr)
        text_printf("%s", options.banner);
    if (options.flush == flush_after_banner)
        FlushOutput();

    inRun = 1;
    platform::copy_whole(unixTool, options.unix_tool);
    userCancel = 0;
    bool launched = open_run();
    if (!launched)
        text_printf("Can't make the folder %s: %s.\n", run_folder().c_str(), std::strerror(errno));
    if (launched && options.folder != nullptr && !options.launch_in_folder &&
        chdir(options.folder) != 0) {
        text_printf("Can't change to the folder %s: %s.\n", options.folder, std::strerror(errno));
        launched = false;
    }
    inScript = launched ? 1 : 0;

    if (launched) {
        if (options.launch_in_folder)
            InvokeTool1(command_line, options.folder);
        else
            InvokeTool(command_line);
        if (!inBackground) {
            waited_for = subject_of(options, start);
            WaitForScript();
        }
    }

    inRun = 0;
    if (options.copy_output)
        CopyWorksheet();
    else
        std::rename(output_of_tools(options).c_str(), worksheet);
    last_ending = read_ending();
    if (userCancel) {
        last_ending = ended_cancelled;
        exit_status = cancelled_status;
    }
    if (launched && last_ending == ended_not_started && !takes_a_byte(run_folder()))
        text_printf("Can't write into the folder %s: %s.\n", tmpPath, std::strerror(errno));
    platform::end_run(run_folder().c_str());

    if (options.tell_result) {
        if (userCancel)
            text_printf("\nUser cancelled processing.\n");
        else
            text_printf("\nProcessing complete.\n");
        if (!userCancel || options.elapsed_after_cancel)
            text_printf("Elapsed time = %.1f sec.\n\n", (TickCount() - start) / 60.0);
    }
    if (options.tell_failure)
        tell_failure(options);
    if (options.flush == flush_after_result)
        FlushOutput();
    if (options.set_arrow)
        restore();
    return userCancel ? 0 : 1;
}

void tell_failure(const run_options &options)
{
    const bool failed = last_ending != ended_well && last_ending != ended_cancelled;
    if (!options.copy_output) {
        if (failed)
            CopyWorksheet();
        else
            std::remove(worksheet);
    }
    if (!failed)
        return;
    ++failed_conversions;
    const char *subject = users_file(options.subject != nullptr ? options.subject : command_line);
    const char *tool = options.tool_name != nullptr ? options.tool_name : options.unix_tool;
    switch (last_ending) {
    case ended_not_started:
        text_printf("%s: not done, %s was not started.\n", subject, tool);
        if (find_tool("tcsh").empty())
            text_printf("tcsh was not found. Install the package tcsh.\n");
        break;
    case ended_by_signal:
        text_printf("%s: failed, %s was ended by signal %d.\n", subject, tool, exit_status - 128);
        break;
    case ended_with_status:
        text_printf("%s: failed, %s ended with status %d.\n", subject, tool, exit_status);
        break;
    case ended_without_result:
        text_printf("%s: failed, %s ended without an error but left no usable result.\n", subject,
                    tool);
        break;
    default:
        break;
    }
}

bool tool3_succeeded(const char *subject, const char *tool)
{
    last_ending = ending_of(exit_status);
    run_options options;
    options.unix_tool = tool;
    options.subject = subject;
    tell_failure(options);
    return last_ending == ended_well;
}

bool run_tool3(const char *subject, const char *tool)
{
    inRun = 1;
    userCancel = 0;
    if (open_run()) {
        exit_status = command_not_found; // until there is another
        InvokeTool3(command_line);
        platform::tell_interrupt();
    } else {
        text_printf("Can't make the folder %s: %s.\n", run_folder().c_str(), std::strerror(errno));
        exit_status = command_not_found;
    }
    inRun = 0;
    platform::end_run(run_folder().c_str());
    if (!userCancel)
        return tool3_succeeded(subject, tool);
    last_ending = ended_cancelled;
    exit_status = cancelled_status;
    text_printf("\nUser cancelled processing.\n");
    return false;
}

bool compose_command_line(const char *subject, const char *format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(command_line, sizeof command_line, format, arguments);
    va_end(arguments);
    if (length >= 0 && static_cast<std::size_t>(length) < sizeof command_line)
        return true;
    command_line[0] = 0;
    text_printf("%s: the command line is too long. Shorten the options or the names.\n", subject);
    conversion_failed();
    return false;
}

void conversion_failed()
{
    ++failed_conversions;
    last_ending = ended_not_started;
    exit_status = refused_status;
}

void refuse_long_path(const char *path)
{
    text_printf("%s: the path is too long. Move the file or shorten its name.\n", path);
    conversion_failed();
}

bool take_path(char (&buffer)[path_size], const char *path)
{
    if (platform::copy_whole(buffer, path))
        return true;
    refuse_long_path(path);
    return false;
}

bool take_output(char (&buffer)[path_size], const char *output, const char *input,
                 const char *extension)
{
    if (output != nullptr)
        return take_path(buffer, output);
    if (derive_output(input, extension, buffer, sizeof buffer))
        return true;
    refuse_long_path(input);
    return false;
}

bool refuse_unusable_input(const char *input)
{
    const int file = open(input, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    struct stat status = {};
    if (file < 0 && errno == ENOENT)
        text_printf("%s: File not found!\n", input);
    else if (file < 0 || fstat(file, &status) != 0)
        text_printf("%s: the file can't be read: %s.\n", input, std::strerror(errno));
    else if (S_ISDIR(status.st_mode))
        text_printf("%s: this is a folder, not a file.\n", input);
    else if (!S_ISREG(status.st_mode))
        text_printf("%s: this is no ordinary file.\n", input);
    if (file >= 0)
        close(file);
    if (file >= 0 && S_ISREG(status.st_mode))
        return false;
    conversion_failed();
    return true;
}

bool refuse_own_input(const char *input, const char *output)
{
    if (!same_file(input, output))
        return false;
    text_printf("%s: the output would replace the input. Choose another name.\n", input);
    conversion_failed();
    return true;
}

void set_prepared_from(const char *file)
{
    prepared_from = file;
}

const char *users_file(const char *path)
{
    return prepared_from != nullptr ? prepared_from : path;
}

void WaitForScript()
{
    if (timerUPP == nullptr) {
        IBNibRef nib = nullptr;
        if (CreateNibReference("ps2pdf", &nib) == noErr) {
            CreateWindowFromNib(nib, "wait", &waitWindow);
            DisposeNibReference(nib);
        }
        SetWRefCon(waitWindow, wait_sheet_constant);
        ChangeWindowAttributes(waitWindow, kWindowStandardHandlerAttribute, 0);
        InstallEventHandler(GetWindowEventTarget(waitWindow), doGetDialogHandlerUPP(),
                            dialog_event_count, dialog_events, waitWindow);
        timerUPP = NewEventLoopTimerUPP(myTimer);
    }
    begin_wait_progress(waitWindow, waited_for);
    ShowSheetWindow(waitWindow, theConsole);
    myLoop = GetCurrentEventLoop();
    InstallEventLoopTimer(myLoop, 0.0, timer_interval, timerUPP, nullptr, &theTimer);
    RunAppModalLoopForWindow(waitWindow);
    HideSheetWindow(waitWindow);
    end_wait_progress();
    RemoveEventLoopTimer(theTimer);
    restore();
}

void myTimer(EventLoopTimerRef /*timer*/, void * /*userData*/)
{
    if (inScript == 0)
        QuitAppModalLoopForWindow(waitWindow);
}

OSErr HandleDone(const AppleEvent * /*event*/, AppleEvent * /*reply*/, std::uint32_t /*refcon*/)
{
    inScript = 0;
    return noErr;
}

void CopyWorksheet()
{
    if (userCancel == 0) {
        std::FILE *file = std::fopen(worksheet, "rbe");
        if (file == nullptr)
            return;
        text_printf("\n");
        char chunk[capture_chunk + 1];
        for (;;) {
            const std::size_t n = std::fread(chunk, 1, capture_chunk, file);
            if (n == 0)
                break;
            chunk[n] = 0;
            text_printf("%s", chunk);
        }
        std::fclose(file);
    }
    std::remove(worksheet);
}

void WriteScript(int mode)
{
    const std::string script = std::string(userPath) + "/gs.script";
    std::FILE *file = std::fopen(script.c_str(), "we");
    if (file == nullptr)
        return;
    bool written = write_text(file, "#!/bin/tcsh -f\n\n");
    if (mode == 0)
        written = written && write_text(file, "pstopdf -l -p -o \"$argv[1]\" \"$argv[2]\" "
                                              ">& ~/worksheet\n");
    else if (mode == 1) // two blanks before the redirection
        written =
            written && write_text(file, "gs -dSAFER -dNOPAUSE -dBATCH -sDEVICE=pdfwrite $argv[3] "
                                        "-sOutputFile=\"$argv[1]\" -c save pop -f \"$argv[2]\"  "
                                        ">& ~/worksheet\n");
    written = written && write_text(file, "osascript -e 'tell application \"papermill\"' "
                                          "-e \"done\" -e \"end tell\"\n");
    if (std::fclose(file) != 0 || !written)
        return;
    platform::system(("chmod 755 " + platform::as_word(script.c_str())).c_str());
}

void translate_eoln(const char *path)
{
    const std::string slot = platform::in_double_quotes(path);
    const std::string lines[] = {
        "mv \"" + slot + "\" \"" + slot + ".mac\"",
        "cat \"" + slot + R"(.mac" | tr "\r" "\n" > ")" + slot + "\"",
        "rm \"" + slot + ".mac\"",
    };
    for (const std::string &line : lines) {
        if (platform::copy_whole(cmd, line.c_str()))
            platform::system(cmd);
    }
}

void GetSomeText()
{
    constexpr std::int32_t longest_line = 255;
    char line[longest_line + 1];
    text_printf("enter something: ");
    const std::int32_t length = ReadCharsFromConsole(line, longest_line);
    line[length] = 0;
    text_printf("You entered \"%s\"", line);
}
