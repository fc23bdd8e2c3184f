// Windows and the interface file that some of them come from. The terminal program has one window,
// the console, without a face; windows of the interface file cannot be made there.
#ifndef PAPERMILL_PLATFORM_WINDOWS_H
#define PAPERMILL_PLATFORM_WINDOWS_H

#include "platform/quickdraw.h"
#include "platform/types.h"

struct OpaqueWindow;
using WindowRef = OpaqueWindow *;
struct OpaqueNib;
using IBNibRef = OpaqueNib *;
struct OpaqueEventTarget;
using EventTargetRef = OpaqueEventTarget *;

constexpr std::uint32_t kWindowCloseBoxAttribute = 1U << 0;    // the user is offered to close it
constexpr std::uint32_t kWindowCollapseBoxAttribute = 1U << 3; // and to iconify it
constexpr std::uint32_t kWindowStandardHandlerAttribute = 1U << 25;

// What GetWindowKind tells apart: dialogs, and windows of the program's own.
enum : std::int16_t { dialogKind = 2, userKind = 8 };

enum : std::int16_t { documentProc = 0 }; // the plain document window

// Makes a document window in `bounds`, which are those of its contents on the screen, with `title`
// (a Pascal string). `storage` is null, and so is `behind`: it comes in front of all windows. Null
// when no window can be made. The window lives until DisposeWindow.
WindowRef NewCWindow(void *storage, const Rect *bounds, ConstStringPtr title, Boolean visible,
                     std::int16_t procID, WindowRef behind, Boolean closeBox,
                     std::int32_t referenceConstant);

// Disposes of the window and what is in it, also from one of its own handlers.
void DisposeWindow(WindowRef window);

// Opens the interface file `name`. An error, and *nib unchanged, where there is no such file or no
// window can be made from it.
OSStatus CreateNibReference(const char *name, IBNibRef *nib);

// Makes the window `name` of the interface file. The file says, with the property windowModality,
// whether the user is kept in it while it is shown. Escape and the window manager's close press its
// button with the property "role" "cancel"; one with the role "close" closes the window.
OSStatus CreateWindowFromNib(IBNibRef nib, const char *name, WindowRef *window);
void DisposeNibReference(IBNibRef nib);

// The font of the windows that are made from now on. 0, the desktop's interface font, is the one
// that there is.
void SetDialogFont(std::int16_t font);

// The operations below take a null window and then do nothing.
void SetWRefCon(WindowRef window, std::int32_t constant); // the number that tells windows apart
std::int32_t GetWRefCon(WindowRef window);
std::int16_t GetWindowKind(WindowRef window);
OSStatus ChangeWindowAttributes(WindowRef window, std::uint32_t set, std::uint32_t clear);
void ShowWindow(WindowRef window);
void HideWindow(WindowRef window);
Boolean IsWindowVisible(WindowRef window);
void SelectWindow(WindowRef window); // brings it to the front and makes it the active one
OSStatus ShowSheetWindow(WindowRef sheet, WindowRef parent); // attaches the sheet to its parent
OSStatus HideSheetWindow(WindowRef sheet);

WindowRef FrontWindow();                               // the active window, or null
EventTargetRef GetWindowEventTarget(WindowRef window); // where the window's events are handled

// ---- a window's place and its drawing ----

GrafPtr GetWindowPort(WindowRef window);
void SetPortWindowPort(WindowRef window); // makes the window's port the current one

// Fills *bounds with what the window holds, in its own coordinates, and returns it. A sheet does
// not change that.
Rect *GetWindowPortBounds(WindowRef window, Rect *bounds);

// Between the coordinates of the screen and those of the window whose port is the current one.
void LocalToGlobal(Point *point);
void GlobalToLocal(Point *point);

// The bounds on the screen of what is in the window: the one region that is asked for.
enum : std::uint16_t { kWindowContentRgn = 33 };
OSStatus GetWindowBounds(WindowRef window, std::uint16_t region, Rect *bounds);

OSStatus InvalWindowRect(WindowRef window, const Rect *rect); // it will be drawn anew
void BeginUpdate(WindowRef window);                           // around the drawing of what is
void EndUpdate(WindowRef window);                             // out of date

#endif
