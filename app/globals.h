// The state that the whole program shares. One line each: what it means, who sets it, who reads it.
// A module's own state stays in that module.
#ifndef PAPERMILL_APP_GLOBALS_H
#define PAPERMILL_APP_GLOBALS_H

#include "platform/types.h"

#include <csignal>
#include <cstddef>
#include <cstdint>

// Room for one path with its NUL; platform path calls are given path_limit as their maximum.
constexpr std::size_t path_size = 1024;
constexpr std::size_t path_limit = 1020;

// Room for a composed command: several full paths, each byte of which may need a backslash.
constexpr std::size_t command_size = 16384;

// ---- folders: set once at start-up ----
extern char appPath[path_size];        // folder that holds the bundle; GetApplName -> SetBinaryPath
extern char contentsPath[path_size];   // the bundle's Contents; GetApplName -> SetBinaryPath, prefs
extern char userPath[path_size];       // the home folder; GetFolders -> WriteScript
extern char tmpPath[path_size];        // this process's temporary folder; GetFolders -> conversions
extern char prefsPath[path_size];      // the Preferences folder; GetFolders -> prefs_store
extern char worksheet[path_size + 16]; // the capture file; GetFolders -> conversions, CopyWorksheet
extern Str255 ptitle; // the process's name, a C string once GetApplName is done; window title

// ---- the current request ----
extern char in_file[path_size];         // input path; callers -> conversions given no input
extern char out_file[path_size];        // output path; callers -> conversions given no output
extern char curr_dir[path_size];        // working folder for commands; callers -> ExecuteCommand
extern char command_line[command_size]; // the composed command; conversions -> InvokeTool
extern char cmd[command_size];          // scratch command of the launcher family
extern char acmd[command_size];         // the process query of a key-press cancel
extern char dragFile[path_size];        // the dropped file; the drop handler -> runDragFile

// ---- the current run ----
extern volatile std::sig_atomic_t inScript; // a helper script runs; run sets, reports clear it
extern unsigned char inRun;      // a conversion is in progress; run_and_wait -> busy tests
extern unsigned char userCancel; // the user cancelled the run; key routing, sheet -> run_and_wait
extern char unixTool[32];        // name of the tool that the script runs; run -> cancel by key
extern std::int32_t appPID;      // our process ID; SetBinaryPath -> every gs.script call
extern std::int32_t exit_status; // the last tool's status; run_and_wait, InvokeTool3 -> replies
extern std::int32_t run_serial;  // counts the runs; begin_run -> the run's folder and reports

// How the last run ended. The five ways other than success are never mixed.
enum run_ending {
    ended_well,          // status 0 and a usable result
    ended_not_started,   // the tool could not be started
    ended_by_signal,     // the tool was ended by a signal; exit_status is 128 + its number
    ended_with_status,   // the tool ended with exit_status
    ended_cancelled,     // the user cancelled
    ended_without_result // status 0, but no usable result
};
extern run_ending last_ending;          // run_and_wait -> the terminal program
extern std::int32_t failed_conversions; // conversions that gave no result; -> terminal program
extern unsigned char interrupted;       // the user ended the program (Ctrl-C); -> dispatch

extern unsigned char cancelDialog; // the last dialog was cancelled; its handler -> its opener

// ---- flags and settings read at start-up ----
extern unsigned char inBackground; // not the front process; initial, activation -> launchers
extern unsigned char hasAqua;      // the Aqua menu layout; CheckSystem
extern unsigned char have103;      // system 10.3 or later; CheckSystem -> conversions
extern unsigned char doDebug;      // verbose console lines; initial, debug menu -> everywhere
extern unsigned char usePDFTOPS;   // use pdftops for PDF to PostScript; initial, preferences
extern unsigned char hasPDFTOPS;   // pdftops is available; initial
extern std::int32_t tiff_format;   // index of the TIFF device; initial

// ---- the open-documents list ----
struct job_record {
    char path[256];   // the file, when its path fits; else empty and long_path holds it
    job_record *next; // the next record, or null
    char *long_path;  // malloc'ed path of 256 bytes or more, or null; freed with the list
};
extern job_record myJobs;         // head of the list, never allocated; senders -> doOpenDoc
extern std::int32_t numberOfJobs; // records in the list; senders -> doOpenDoc

#endif
