// Events: handlers on targets, timers, modal loops, and the classic event pump.
#ifndef PAPERMILL_PLATFORM_EVENTS_H
#define PAPERMILL_PLATFORM_EVENTS_H

#include "platform/types.h"
#include "platform/windows.h"

#include <cstddef>

// ---- Carbon events ----

struct OpaqueEvent;
using EventRef = OpaqueEvent *;
struct OpaqueEventHandlerCall;
using EventHandlerCallRef = OpaqueEventHandlerCall *;

struct EventTypeSpec {
    OSType eventClass;
    std::uint32_t eventKind;
};

// A key, with one byte of its character in the classic codes: Return 13, Enter 3, Tab 9, Backspace
// 8, Escape 27, the arrows 28 to 31. A character of more bytes (UTF-8) comes as one event for each.
// Chords with Ctrl, Alt or Meta and bare modifiers are no key presses. What no handler takes goes
// to the window's text.
constexpr OSType kEventClassKeyboard = four_chars("keyb");
constexpr std::uint32_t kEventRawKeyDown = 1;
constexpr std::uint32_t kEventRawKeyUp = 3;
constexpr OSType kEventParamKeyMacCharCodes = four_chars("kchr"); // one byte
constexpr OSType kEventParamKeyModifiers = four_chars("kmod");    // 32 bits

// What happens to a window. The update event comes while the window is drawn; what draws itself has
// done so already. A window that nobody hides when it is closed stays. The WindowRef is the
// parameter kEventParamDirectObject.
constexpr OSType kEventParamDirectObject = four_chars("----");
constexpr OSType kEventClassWindow = four_chars("wind");
constexpr std::uint32_t kEventWindowUpdate = 2;
constexpr std::uint32_t kEventWindowActivated = 5;
constexpr std::uint32_t kEventWindowDeactivated = 6;
constexpr std::uint32_t kEventWindowBoundsChanged = 27;
constexpr std::uint32_t kEventWindowClose = 72;
constexpr std::uint32_t kEventWindowGetMinimumSize = 81; // asked when the window is first shown
constexpr OSType kEventParamDimensions =
    four_chars("dims"); // the answer: a Point, height and width

// A control that has been used: pressed, turned to another tab; in a list, another item selected,
// or the items moved or removed. The ControlRef is the parameter kEventParamDirectObject.
constexpr OSType kEventClassControl = four_chars("cntl");
constexpr std::uint32_t kEventControlHit = 1;
constexpr std::uint32_t kEventControlClick = 13; // the button goes down over it

// The user has changed the text of an edit field, which is the parameter kEventParamDirectObject.
constexpr OSType kEventClassTextField = four_chars("txfd");
constexpr std::uint32_t kEventTextFieldChanged = 3;

// The pointer moves in a window of the interface file, or leaves it: where on the screen it is, a
// Point.
constexpr OSType kEventClassMouse = four_chars("mous");
constexpr std::uint32_t kEventMouseUp = 2; // not sent: what is clicked is a control, which tells
constexpr std::uint32_t kEventMouseMoved = 5;
constexpr OSType kEventParamMouseLocation = four_chars("mloc");

// The application comes to the front, goes to the background.
constexpr OSType kEventClassApplication = four_chars("appl");
constexpr std::uint32_t kEventAppActivated = 1;
constexpr std::uint32_t kEventAppDeactivated = 2;

constexpr OSType kEventClassCommand = four_chars("cmds");
constexpr std::uint32_t kEventCommandProcess = 1;
constexpr OSType kEventClassMenu = four_chars("menu");
constexpr std::uint32_t kEventMenuEnableItems = 8;

// Returns noErr when it handled the event, eventNotHandledErr to let the next handler see it.
using EventHandlerUPP = OSStatus (*)(EventHandlerCallRef call, EventRef event, void *userData);
EventHandlerUPP NewEventHandlerUPP(EventHandlerUPP handler);

EventTargetRef GetApplicationEventTarget(); // where the application's own events are handled

// Installs `handler` on `target` for the `count` entries of `list`; later handlers are asked first.
OSStatus InstallEventHandler(EventTargetRef target, EventHandlerUPP handler, std::size_t count,
                             const EventTypeSpec *list, void *userData);

OSType GetEventClass(EventRef event);
std::uint32_t GetEventKind(EventRef event);

// Copies the parameter `name` into `buffer`, at most `size` bytes. paramErr when it is not there.
OSStatus GetEventParameter(EventRef event, OSType name, std::size_t size, void *buffer);

// Gives the event the parameter `name`, or another value for it.
OSStatus SetEventParameter(EventRef event, OSType name, std::size_t size, const void *data);

// ---- timers and modal loops ----

struct OpaqueEventLoop;
using EventLoopRef = OpaqueEventLoop *;
struct OpaqueEventLoopTimer;
using EventLoopTimerRef = OpaqueEventLoopTimer *;
using EventLoopTimerUPP = void (*)(EventLoopTimerRef timer, void *userData);

EventLoopTimerUPP NewEventLoopTimerUPP(EventLoopTimerUPP callback);
EventLoopRef GetCurrentEventLoop();

// A timer that fires after `first` seconds and then every `interval` seconds while the loop turns,
// and at once when the loop is woken.
OSStatus InstallEventLoopTimer(EventLoopRef loop, double first, double interval,
                               EventLoopTimerUPP callback, void *userData,
                               EventLoopTimerRef *timer);
OSStatus RemoveEventLoopTimer(EventLoopTimerRef timer);

// Turns the event loop, the user kept in `window`, until QuitAppModalLoopForWindow. A null window
// (one that could not be made) is a loop all the same.
OSStatus RunAppModalLoopForWindow(WindowRef window);
OSStatus QuitAppModalLoopForWindow(WindowRef window);

// Turns the application's event loop until the program is to end.
void RunApplicationEventLoop();

// ---- the classic event pump ----

struct EventRecord {
    std::uint16_t what;
    std::uintptr_t message; // of an activate or update event: the window
    std::uint32_t when;     // ticks
    Point where;
    std::uint16_t modifiers;
};

constexpr std::uint16_t nullEvent = 0;
constexpr std::uint16_t mouseDown = 1;
constexpr std::uint16_t kHighLevelEvent = 23; // a request waits (AEProcessAppleEvent)
constexpr std::uint16_t activeFlag = 1;       // a modifier: the window becomes active
constexpr std::int16_t inMenuBar = 1;
constexpr std::int16_t inContent = 3;

// Waits up to `sleep` ticks for an event of `mask`. True, with the event in *event, when one came;
// Carbon events are handed to their handlers meanwhile.
Boolean WaitNextEvent(std::uint16_t mask, EventRecord *event, std::uint32_t sleep,
                      void *mouseRegion);

std::int16_t FindWindow(Point where, WindowRef *window); // the part of the screen at `where`

// ---- what Linux adds ----

namespace platform {

using callback = void (*)();

// Installs `handler` for the signal, like signal(), and sees to it that a loop that waits is woken
// when the signal has been handled.
void signal(int number, void (*handler)(int));

// Called in the loop, outside any signal handler, when the user interrupts the program (Ctrl-C, a
// hang-up, a polite kill).
void on_interrupt(callback handler);

// Calls the on_interrupt handler when an interrupting signal has arrived; true when one has. The
// loops do so by themselves; work that takes long without turning one asks now and then.
bool tell_interrupt();

// The interrupting signal that has arrived, or 0.
int interrupt_signal();

// Called in a modal loop when every process that the program has started is gone.
void on_processes_gone(callback handler);

} // namespace platform

#endif
