// The console window: the program's one document window, with the console's text in it.
#ifndef PAPERMILL_CONSOLE_CONSOLE_WINDOW_H
#define PAPERMILL_CONSOLE_CONSOLE_WINDOW_H

#include "platform/events.h"
#include "platform/windows.h"

// Makes the window and its text object. Null when one of them cannot be made. The title is a C
// string with room for one more byte; it comes back unchanged.
WindowRef SetUpTextWindow(char *title);

// For the console only: gives its text the focus and the look of `active`; redraws it.
void Text_Activate(WindowRef window, Boolean active);
void Text_Update(WindowRef window);

// The window's events. A key ends a helper script that runs, feeds a read that is pending, and is
// swallowed otherwise.
OSStatus windowEventHandler(EventHandlerCallRef call, EventRef event, void *userData);

#endif
