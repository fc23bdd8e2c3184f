// The free-form command: what the user typed, run through the helper script.
#ifndef PAPERMILL_APP_COMMAND_LINE_H
#define PAPERMILL_APP_COMMAND_LINE_H

// Runs command_line in curr_dir and shows what it printed.
void ExecuteCommand();

// The same for a command that was sent.
void DoAppleScript();

#endif
