// The about window: what the program is, its version, where help is.
#ifndef PAPERMILL_DIALOGS_ABOUT_WINDOW_H
#define PAPERMILL_DIALOGS_ABOUT_WINDOW_H

#include "platform/events.h"
#include "platform/quickdraw.h"
#include "platform/windows.h"

extern WindowRef aboutWindow; // made by the first aboutApp and kept; null before
extern PicHandle aboutPic;    // drawn by about_update; null: nothing loads one

// What the window's handler is installed for.
constexpr std::size_t about_event_count = 8;
extern const EventTypeSpec aboutWindowEvents[about_event_count];

void aboutApp(); // shows the window, or brings it to the front

// Hides the window when it is closed, and leaves everything else to the platform.
OSStatus aboutWindowEventHandler(EventHandlerCallRef call, EventRef event, void *userData);
EventHandlerUPP doGetAboutWindowHandlerUPP(); // its callback, made once

// Draws aboutPic, if there is one, into the window, 32 by 32 pixels. Nothing calls it.
void about_update();

// Reads a picture file of the bundle's Resources folder. The picture, the caller's, or null.
// Nothing calls it.
PicHandle myGetPict(const char *name);

#endif
