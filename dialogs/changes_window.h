// The sheet that lists what changed from one version to the next.
#ifndef PAPERMILL_DIALOGS_CHANGES_WINDOW_H
#define PAPERMILL_DIALOGS_CHANGES_WINDOW_H

// Shows the sheet on the front window and waits until it is dismissed. Nothing calls it.
void Changes();

#endif
