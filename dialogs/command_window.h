// The window that asks for a command and the folder that it runs in.
#ifndef PAPERMILL_DIALOGS_COMMAND_WINDOW_H
#define PAPERMILL_DIALOGS_COMMAND_WINDOW_H

#include "platform/types.h"

// Asks for command_line and curr_dir. `folder` (null: the one that was used last) is shown first;
// when `command` is given, the field shows the folder in its place. True, and both are kept as
// settings, after OK.
Boolean GetCommandLine(const char *command, const char *folder);

#endif
