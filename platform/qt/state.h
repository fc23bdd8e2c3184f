// What the parts of the Qt platform share.
#ifndef PAPERMILL_PLATFORM_QT_STATE_H
#define PAPERMILL_PLATFORM_QT_STATE_H

#include "platform/core/carbon_events.h"
#include "platform/quickdraw.h"
#include "platform/windows.h"

#include <QImage>
#include <QRect>
#include <QWidget>

#include <vector>

namespace platform {

// What has been drawn in a window's port, in the window's own coordinates.
struct drawing {
    QRect place;
    QImage image;
};

} // namespace platform

// A window, or a sheet: then its widget is a child of its parent's. Every control of a window of
// the interface file is found by its dynamic properties controlID (a number) and controlSignature
// ("KVRB"); a ControlRef is the control's QWidget.
struct OpaqueWindow {
    QWidget *widget = nullptr;
    std::int32_t reference_constant = 0;
    std::uint32_t attributes = 0;
    std::int16_t kind = 0;
    OpaqueEventTarget target;
    QWidget *content = nullptr; // the text: it gets the keys that no handler takes; null: none
    bool takes_typing = false;  // whether keys are typed into the text at present
    bool hidden = false;        // by HideWindow
    bool hidden_away = false;   // it was hidden when the application left the front
    bool size_asked = false;    // its handlers have told its smallest size
    QWidget *sheet = nullptr;   // that is attached to it at present
    GrafPort port = {};         // stands for the window where a port is asked for
    std::vector<platform::drawing> drawings; // in its port; its controls lie above them
};

namespace platform {

// The first document window that was made and is still there, or null.
WindowRef document_window();

// Loads the entry `name` of the interface file. Null when it has none. The caller's.
QWidget *load_entry(IBNibRef nib, const char *name);

// The window whose widget this is or lies in; a sheet before the window that it is attached to.
WindowRef window_of(const QWidget *widget);

// The window whose port is the current one, or null.
WindowRef current_window();

// Where the window's content lies in its widget: below the menu bar, and without what a sheet has
// made the window larger by. The window's own coordinates begin at its corner.
QRect content_of(const OpaqueWindow &window);

// Whether the user has to dismiss the window's sheet before anything else. One that goes by itself,
// which Escape does not close, leaves the keys to the window.
bool wants_answer(const OpaqueWindow &window);

// Whether menus and drags have to wait: for a window or a sheet that the user is asked in.
bool user_is_asked();

// From now on what is dragged over the widget, a window's, is told to the drag handlers.
void take_drops(QWidget *face);

// Connects the event loop to the application: timers, signals, keys, activation. Once, when there
// is a QApplication.
void start_events();

// Sees to it that keys reach the handlers before anything else. Once, like start_events().
void start_keys();

// The application leaves the front, and comes back to it: then windows of the program's own that
// were hidden when it left are shown. One that is closed by the click that brings the application
// to the front stays hidden, whichever of the two is told first.
void application_leaves();
void application_returns();

// Handles the requests that have come in: at once, or after a wait in which only painting happens.
void look_at_requests();

// Shows the hidden windows and brings all of them to the front.
void raise_windows();

// Tells whoever asked for it (on_quit) that the program is to end.
void ask_to_quit();

} // namespace platform

#endif
