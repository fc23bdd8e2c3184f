// The two cursors of the shell.
#ifndef PAPERMILL_APP_CURSORS_H
#define PAPERMILL_APP_CURSORS_H

#include "platform/quickdraw.h"

extern Cursor editCursor; // the I-beam, a copy of the system's; SetUpCursors -> edit fields

void SetUpCursors(); // fills editCursor
void restore();      // sets the arrow cursor; called after every wait or dialog

#endif
