// The run-and-wait sequence of every conversion, the wait itself, and how a run is reported.
#ifndef PAPERMILL_ENGINE_TOOL_RUNNER_H
#define PAPERMILL_ENGINE_TOOL_RUNNER_H

#include "app/globals.h"
#include "platform/apple_events.h"
#include "platform/events.h"
#include "platform/types.h"
#include "platform/windows.h"

#include <cstdint>

extern WindowRef waitWindow; // the wait sheet, made on first use; WaitForScript -> its handler

enum flush_point { flush_never, flush_after_banner, flush_after_result };

// How one conversion's run differs from another's.
struct run_options {
    const char *unix_tool = "gs";    // what a key-press cancel looks for
    const char *tool_name = nullptr; // what messages call it; null: unix_tool
    const char *banner = nullptr;    // the converting line; null: none
    flush_point flush = flush_after_banner;
    const char *folder = nullptr;      // changed to before the launch; null: none
    bool launch_in_folder = false;     // the launcher itself changes to `folder`
    bool copy_output = true;           // show the capture file
    bool tell_result = true;           // print the cancel or completion lines
    bool elapsed_after_cancel = false; // the elapsed time is printed after a cancel, too
    bool set_arrow = true;             // restore() at the end
    bool tell_failure = true;          // else the caller does it: tell_failure()
    const char *subject = nullptr;     // the user's file or command, for the line on a failure
    const char *doing = "Converting:"; // what the wait sheet calls it
    const char *input = nullptr;       // what the sheet names; null: the subject
    const char *output = nullptr;      // the file that is made; null: none is named
};

// Runs command_line: prints the banner, sets the flags, launches, waits unless inBackground, shows
// what the tools printed and how it ended. Sets exit_status and last_ending. 1, or 0 when the user
// cancelled.
int run_and_wait(const run_options &options);

// After the usual lines of a run: what its tools said where that was not shown (see copy_output),
// and one line that tells how it ended, unless it ended well or was cancelled.
void tell_failure(const run_options &options);

// After InvokeTool3, whose tool's status is exit_status: true when that is 0; else one line tells
// it of `subject`, and the conversion counts as failed.
bool tool3_succeeded(const char *subject, const char *tool);

// InvokeTool3 of command_line as a run of its own: what it leaves unfinished is cleared up, and an
// interrupt ends it. The result is tool3_succeeded's; false, too, when it was cancelled.
bool run_tool3(const char *subject, const char *tool);

// Formats into command_line. False, with a message that names `subject`, when it does not fit.
[[gnu::format(printf, 2, 3)]] bool compose_command_line(const char *subject, const char *format,
                                                        ...);

// A conversion that ended before any run: counts it as failed.
void conversion_failed();

// Tells that the path is too long, and counts the conversion as failed.
void refuse_long_path(const char *path);

// Copies the path into the buffer. False, with a message that names the path, when it does not fit:
// a path is never cut short.
bool take_path(char (&buffer)[path_size], const char *path);

// The same for an output: where it is null, the input's name with that extension.
bool take_output(char (&buffer)[path_size], const char *output, const char *input,
                 const char *extension);

// True, with a message, when the input cannot be read or is no ordinary file: to copy a pipe or a
// device may take for ever.
bool refuse_unusable_input(const char *input);

// True, with a message, when the output is the very file that is to be read: it would be lost.
bool refuse_own_input(const char *input, const char *output);

// From here on, runs work on a prepared copy of `file`: it is what messages name, and its page is
// kept as it lies. Null ends this. The pointer is kept, not the text.
void set_prepared_from(const char *file);

// The file that messages name: the user's, where a run works on a prepared copy of it.
const char *users_file(const char *path);

// Shows the wait sheet and turns a modal loop until inScript is 0.
void WaitForScript();

// Ends the modal loop as soon as inScript is 0.
void myTimer(EventLoopTimerRef timer, void *userData);

// The 'done' request: the script has ended. Returns noErr.
OSErr HandleDone(const AppleEvent *event, AppleEvent *reply, std::uint32_t refcon);

// Copies the capture file into the console unless the user cancelled, then deletes it.
void CopyWorksheet();

// Writes a minimal helper script "gs.script" into userPath: mode 0 for pstopdf, 1 for Ghostscript,
// any other without a tool line. Nothing in the program calls it.
void WriteScript(int mode);

// Rewrites the file in place with every carriage return turned into a line feed.
void translate_eoln(const char *path);

// A check of the console's input: asks for a line and shows it.
void GetSomeText();

#endif
