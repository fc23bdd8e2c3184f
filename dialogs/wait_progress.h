// What the wait sheet shows while a run goes on: what is being converted, for how long, how far it
// is, and what the tool said last.
#ifndef PAPERMILL_DIALOGS_WAIT_PROGRESS_H
#define PAPERMILL_DIALOGS_WAIT_PROGRESS_H

#include "platform/windows.h"

#include <cstdint>
#include <string>

// The sheet's controls. The button, which ends the wait and leaves the tool running, is number 1.
enum wait_control : std::int32_t {
    wait_button = 1,
    wait_doing = 10,        // "Converting:"
    wait_input = 11,        // its name
    wait_output_label = 12, // hidden with wait_output when there is none
    wait_output = 13,
    wait_bar = 14,
    wait_pages = 15, // hidden while the tool tells of none
    wait_elapsed = 16,
    wait_last_line = 17,
    wait_notice = 18, // shown once the script has died
    wait_hint = 19    // how to end the tool, shown until then
};

struct wait_subject {
    std::string doing;           // "Converting:"
    std::string input;           // a file's path, or a command
    std::string output;          // a file's path; empty: none
    std::string output_of_tools; // the file that grows while the tools print
    std::uint32_t start = 0;     // ticks
};

// Fills the sheet `window` and keeps it up to date until end_wait_progress. Does nothing where it
// is null.
void begin_wait_progress(WindowRef window, const wait_subject &subject);
void end_wait_progress();

// Tells in the sheet, while a script is waited for, that it has ended without a report: nothing but
// the user ends the wait now.
void tell_script_died();

// "0:07", "12:34", "1:02:03".
std::string clock_text(std::uint32_t seconds);

#endif
