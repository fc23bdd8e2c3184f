// The connection to the desktop, which every window needs.
#ifndef PAPERMILL_PLATFORM_QT_APPLICATION_H
#define PAPERMILL_PLATFORM_QT_APPLICATION_H

#include "platform/events.h"

namespace platform {

// Connects `program` to the desktop. Where there is none, or none that answers, the process ends
// with status 1 and the line `complaint` on standard error. Once, before any window is made.
void open_desktop(const char *program, const char *complaint);

// Answers on the session bus what later starts of the program ask of this one: to come to the
// front. Once, after take_program_name.
void serve_bus();

// Called when the user (Quit in the menu) or the end of the session asks the program to end; it is
// to do so.
void on_quit(callback handler);

} // namespace platform

#endif
