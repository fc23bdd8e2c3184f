// Watches, at the point where the program is linked, what it asks of its platform, and answers in
// the platform's place where a test says so. tests/CMakeLists.txt lists the watched operations.
#ifndef PAPERMILL_TESTS_SUPPORT_WATCHED_PLATFORM_H
#define PAPERMILL_TESTS_SUPPORT_WATCHED_PLATFORM_H

#include "platform/quickdraw.h"
#include "platform/types.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

class console_capture;

struct platform_call {
    std::string name;  // the operation's
    std::string shown; // what the console had got by then, with line feeds
    bool in_run;       // inRun by then
};

struct watched_platform {
    std::vector<platform_call> calls;
    const console_capture *console = nullptr; // where `shown` is taken from
    std::vector<std::uint32_t> clock;         // what TickCount tells, one by one; empty: the time
    std::map<OSType, std::int32_t> gestalt;   // answers in the place of the platform's own
    std::vector<OSType> gestalt_errors;       // selectors that have no answer
    std::string executable;                   // that this process is taken for; empty: its own
    std::uint16_t event_mask = 0;             // of the last WaitNextEvent
    std::uint32_t event_sleep = 0;
    std::vector<std::string> installed;    // "CLASS/ID" of each handler for Apple events, in order
    std::uint32_t other_installations = 0; // those for all programs, or with a reference constant
    bool user_cancels = false;             // what CheckEventQueueForUserCancel tells
    std::vector<std::string> steps;        // of a start, in their order; not what they are made of

    bool highlighted = false; // for a drag; how it was made last:
    Rect highlight = {}, highlight_clip = {};
    GrafPtr highlight_port = nullptr;
    Boolean highlight_inside = 0;
    int regions = 0; // that were made and are not disposed of

    std::size_t count(const std::string &name) const;
    const platform_call *first(const std::string &name) const; // null when it was not called
    std::string order() const;                                 // the names with blanks between
};

extern watched_platform watched;

#endif
