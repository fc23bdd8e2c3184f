// The system and its processes: version, this process, folders, the clock, the shell, and the
// outside processes that belong to a run.
#ifndef PAPERMILL_PLATFORM_PROCESSES_H
#define PAPERMILL_PLATFORM_PROCESSES_H

#include "platform/files.h"
#include "platform/types.h"

#include <string>
#include <sys/types.h>
#include <vector>

// ---- system version ----

constexpr OSType gestaltSystemVersion = four_chars("sysv");
constexpr OSType gestaltMenuMgrAttr = four_chars("menu");

// noErr and *response for the two selectors above, else gestaltUndefSelectorErr.
OSErr Gestalt(OSType selector, std::int32_t *response);
OSStatus RegisterAppearanceClient();

// ---- this process ----

struct ProcessSerialNumber {
    std::uint32_t highLongOfPSN, lowLongOfPSN;
};

struct ProcessInfoRec {
    std::uint32_t processInfoLength; // sizeof this record, set by the caller
    StringPtr processName;           // receives its process_name, at most 31 bytes
    FSSpec *processAppSpec;          // receives the executable
};

OSErr GetCurrentProcess(ProcessSerialNumber *process);
OSErr GetFrontProcess(ProcessSerialNumber *process);
OSErr GetProcessInformation(const ProcessSerialNumber *process, ProcessInfoRec *info);
OSErr SameProcess(const ProcessSerialNumber *a, const ProcessSerialNumber *b, Boolean *same);

// ---- folders ----

constexpr std::int16_t kOnAppropriateDisk = -32767;
constexpr OSType kTemporaryFolderType = four_chars("temp");
constexpr OSType kCurrentUserFolderType = four_chars("cusr");
constexpr OSType kPreferencesFolderType = four_chars("pref");

// The folder of that kind. The temporary folder is private to this process and goes with it; the
// preferences folder exists before the program asks. fnfErr when there is none.
OSErr FSFindFolder(std::int16_t domain, OSType folderType, Boolean create, FSRef *folder);

// ---- the clock ----

std::uint32_t TickCount(); // sixtieths of a second since the system started

// ---- the shell and the processes of a run ----

namespace platform {

// The name that users know a program by: its bundle's, or its file's where it lies in none.
std::string process_name(const std::string &executable);

// Runs the line with /bin/sh and waits for it; the result is a wait status, -1 if no shell could
// be started. An interrupt ends every process of the line.
int system(const char *line);

// A wait status as the shell tells it: the exit status, or 128 and the signal's number.
int exit_status_of(int wait_status);

// The text made safe for a double-quoted place of a shell line: a backslash before each of the
// four characters that mean something there.
std::string in_double_quotes(const char *s);

// The text in single quotes, as one word of a shell line.
std::string in_single_quotes(const char *s);

// The text made safe for an unquoted place of a shell line: an ordinary name stays as it is, any
// other is put into single quotes.
std::string as_word(const char *s);

// Once, before start-up: processes whose parents end become children of this one, so that a run's
// processes stay in sight; the environment that they get tells them who their application is.
void prepare_for_tools();

// Tells the tools under which name on the session bus this process hears their reports; empty: it
// does not.
void set_instance_name(const char *name);

// Once, before any file is opened: a closed standard file would be the next one that is opened,
// whatever for.
void occupy_standard_files();

// True: this process counts as the front process. Set once, before start-up.
void set_front_process(bool front);

// Makes `folder` (mode 0700, with a folder "tmp" in it for the tools) and tells the processes
// started from now on, by their environment, that they belong to the run `serial`. False when the
// folder cannot be made.
bool begin_run(const char *folder, std::int32_t serial);

// The serial that begin_run was last called with, 0 before the first call.
std::int32_t latest_run();

// Ends the membership and removes the folder with all that the run's processes left, the
// unfinished output beside its destination included.
void end_run(const char *folder);

struct process {
    pid_t pid;
    pid_t parent;
    std::string name; // the executable's; a script goes under its interpreter's
};

// The living processes of the run now in progress, oldest first; none when the environment names
// no run.
std::vector<process> run_processes();

// Ends every process of the run, for certain (SIGKILL), and waits until they are gone, two seconds
// at most. Those that are children of this process are reaped.
void kill_run_processes();

} // namespace platform

#endif
