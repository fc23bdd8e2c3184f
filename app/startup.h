// Start-up: the probing of the system, the global folders, the steps that every way of running the
// program shares.
#ifndef PAPERMILL_APP_STARTUP_H
#define PAPERMILL_APP_STARTUP_H

#include "platform/types.h"

// All start-up steps, in their order. Returns 1.
int initial();

void CheckSystem(); // sets hasAqua and have103, registers with the appearance manager

// Fills ptitle (a C string afterwards), appPath and contentsPath. True when this is the front
// process.
Boolean GetApplName(StringPtr title);

void GetFolders(); // fills tmpPath, userPath, prefsPath and worksheet

// The SIGUSR1 handler, a script's second way to report that it is done.
void mysighandler(int signal_number);
void install_signal_handler();

// What both programs install once initial() is done: the signal handler, the drag handlers, the
// application's own handler, the mask of events.
void install_handlers();

// Says, to whoever wants to know all (doDebug), that no request can come in.
void tell_scripting_is_off();

// Says which of the tools that every conversion needs are missing, and what brings them.
void tell_missing_tools();

void info(); // shows the text resource named "Info"

#endif
