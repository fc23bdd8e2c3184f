// What the controls of a window of the interface file tell its handlers.
#ifndef PAPERMILL_PLATFORM_QT_CONTROL_EVENTS_H
#define PAPERMILL_PLATFORM_QT_CONTROL_EVENTS_H

#include "platform/windows.h"

class QPushButton;

namespace platform {

// Connects the controls that are in the window by now: buttons, tabs, lists and fields tell what is
// done with them, and all of them where the pointer is.
void watch_controls(WindowRef window);

// The button of that role ("cancel", "close"), or null.
QPushButton *button_of_role(WindowRef window, const char *role);

} // namespace platform

#endif
