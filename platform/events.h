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

constexpr OSType kEventClassKeyboard = four_chars("keyb");
constexpr std::uint32_t kEventRawKeyDown = 1;
constexpr OSType kEventParamKeyMacCharCodes = four_chars("kchr"); // one byte
constexpr OSType kEventParamKeyModifiers = four_chars("kmod");    // 32 bits

// Returns noErr when it handled the event, eventNotHandledErr to let the next handler see it.
using EventHandlerUPP = OSStatus (*)(EventHandlerCallRef call, EventRef event, void *userData);
EventHandlerUPP NewEventHandlerUPP(EventHandlerUPP handler);

// Installs `handler` on `target` for the `count` entries of `list`; later handlers are asked first.
OSStatus InstallEventHandler(EventTargetRef target, EventHandlerUPP handler, std::size_t count,
                             const EventTypeSpec *list, void *userData);

OSType GetEventClass(EventRef event);
std::uint32_t GetEventKind(EventRef event);

// Copies the parameter `name` into `buffer`, at most `size` bytes. paramErr when it is not there.
OSStatus GetEventParameter(EventRef event, OSType name, std::size_t size, void *buffer);

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

// ---- the classic event pump ----

struct EventRecord {
    std::uint16_t what;
    std::uint32_t message;
    std::uint32_t when; // ticks
    Point where;
    std::uint16_t modifiers;
};

constexpr std::uint16_t mouseDown = 1;
constexpr std::uint16_t kHighLevelEvent = 23;
constexpr std::int16_t inMenuBar = 1;

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
