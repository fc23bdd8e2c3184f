// Windows and the interface file that some of them come from. The terminal program has one window,
// the console, without a face; windows of the interface file cannot be made there.
#ifndef PAPERMILL_PLATFORM_WINDOWS_H
#define PAPERMILL_PLATFORM_WINDOWS_H

#include "platform/types.h"

struct OpaqueWindow;
using WindowRef = OpaqueWindow *;
struct OpaqueNib;
using IBNibRef = OpaqueNib *;
struct OpaqueEventTarget;
using EventTargetRef = OpaqueEventTarget *;

constexpr std::uint32_t kWindowStandardHandlerAttribute = 1U << 25;

// Makes a document window with `bounds` and `title` (a Pascal string), hidden at first. Null when
// no window can be made. The window lives until the process ends.
WindowRef NewCWindow(const Rect *bounds, ConstStringPtr title, Boolean visible);

// Opens the interface file `name`. An error, and *nib unchanged, where there is no such file or no
// window can be made from it.
OSStatus CreateNibReference(const char *name, IBNibRef *nib);

// Makes the window `name` of the interface file.
OSStatus CreateWindowFromNib(IBNibRef nib, const char *name, WindowRef *window);
void DisposeNibReference(IBNibRef nib);

// The operations below take a null window and then do nothing.
void SetWRefCon(WindowRef window, std::int32_t constant); // the number that tells windows apart
std::int32_t GetWRefCon(WindowRef window);
OSStatus ChangeWindowAttributes(WindowRef window, std::uint32_t set, std::uint32_t clear);
void ShowWindow(WindowRef window);
void HideWindow(WindowRef window);
OSStatus ShowSheetWindow(WindowRef sheet, WindowRef parent); // attaches the sheet to its parent
OSStatus HideSheetWindow(WindowRef sheet);

WindowRef FrontWindow();                               // the active window, or null
EventTargetRef GetWindowEventTarget(WindowRef window); // where the window's events are handled

#endif
