// The preferences window: the options of the conversions, in four panes.
#ifndef PAPERMILL_DIALOGS_PREFERENCES_WINDOW_H
#define PAPERMILL_DIALOGS_PREFERENCES_WINDOW_H

// Shows the window and waits until it is closed. 1 after OK, which has stored the settings; 0 after
// Cancel, which stores nothing.
int GetPrefs();

#endif
