// The window that asks which PDF files are to be merged, and into which.
#ifndef PAPERMILL_DIALOGS_MERGE_WINDOW_H
#define PAPERMILL_DIALOGS_MERGE_WINDOW_H

#include "app/globals.h"
#include "dialogs/dialog_results.h"

// The window's controls beside those that all have; docs/desktop.md tells what they do.
enum merge_control : std::int32_t {
    merge_list = 10,
    merge_add = 11,
    merge_remove = 12,
    merge_up = 13,
    merge_down = 14,
    merge_notice = 15 // hidden until there is something to tell
};

// Shows what the buffers hold, and waits until the window is closed. 1, with the user's choice in
// the buffers, after OK; 0, and they are as they were, after Cancel. A folder that is not there is
// replaced by the application's.
int GetPdfMergeFiles(char (&list)[field_size], char (&out)[field_size], char (&folder)[path_size]);

#endif
