// The console window: the program's one document window, with the console's text in it.
#ifndef PAPERMILL_CONSOLE_CONSOLE_WINDOW_H
#define PAPERMILL_CONSOLE_CONSOLE_WINDOW_H

#include "platform/events.h"
#include "platform/text_engine.h"
#include "platform/types.h"
#include "platform/windows.h"

extern TXNFrameID frameID;     // the frame of the text; SetUpTextWindow -> frame changes
extern RgnHandle sMouseRgn;    // the whole plane; SetUpTextWindow -> AdjustCursor
extern Str255 consoleFontName; // the console's font; SetFontAndSize
extern const EventTypeSpec windowEvents[13]; // what windowEventHandler is installed for

// ---- setting up ----

void InitMLTE(); // starts the text engine, with its default font
void Finalize(); // stops it

// Makes the window where it was last, and its text, and shows it; sets theConsole. Null when one
// of them cannot be made. The title is a C string with room for one more byte; it comes back
// unchanged.
WindowRef SetUpTextWindow(char *title);

// True, with *rect, when the saved place of the window lies, if only in part, on a screen.
Boolean GetWindow(Rect *rect);

// Saves the place of `rect`, which is in the console's coordinates; not where there is no screen.
void SaveWindow(const Rect *rect);

void SetFontAndSize(); // gives all the text the font and the size that the settings name

// Saves the console's text in a file that the user chooses, with line feeds at the ends of lines; a
// text file of the system's editor.
void SaveConsole();

// At quit: saves the window's place and deletes the text object.
void TextCleanUp();

// ---- operations on the window ----

// For the console only: gives its text the focus and the look of `active`; redraws it; hides it.
void Text_Activate(WindowRef window, Boolean active);
void Text_Update(WindowRef window);
void CloseTextWindow(WindowRef window);

void ForceTextUpdate();                 // redraws the text now
void GrowTextWindow(Point point);       // lets the user grow the window from a point on screen
void ZoomTextWindow(std::int16_t part); // inZoomOut to the screen's size, inZoomIn back
void DoTextContent(const EventRecord *event); // a click in the window: it may be for the text
void AdjustCursor(); // the text's own cursor while a read is pending, else the arrow

// ---- events ----

// The window's events. A key ends a helper script that runs, feeds a read that is pending, and is
// swallowed otherwise.
OSStatus windowEventHandler(EventHandlerCallRef call, EventRef event, void *userData);
EventHandlerUPP doGetHandlerUPP(); // its callback, made once

#endif
