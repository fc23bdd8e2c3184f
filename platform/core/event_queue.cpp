#include "platform/core/event_queue.h"

#include "platform/processes.h"
#include "scripting/terms.h"

#include <deque>
#include <vector>

namespace {

struct request {
    AppleEvent event;
    bool wants_reply;
    platform::request_answer answer;
};

// They live for ever: the process may end while a request is being handled.
auto &waiting = *new std::deque<request>;
auto &handled = *new std::vector<request *>; // the innermost last

constexpr AppleEvent no_reply = {typeNull, nullptr};

OSType code_of(const AppleEvent &event, AEKeyword attribute)
{
    OSType code = 0;
    AEGetAttributePtr(&event, attribute, typeWildCard, nullptr, &code, sizeof code, nullptr);
    return code;
}

// A report that tells which run it belongs to, and a newer run has begun.
bool is_late_report(const AppleEvent &event)
{
    std::int32_t run = 0;
    return code_of(event, keyEventClassAttr) == papermill_class &&
           code_of(event, keyEventIDAttr) == four_chars("done") &&
           AEGetAttributePtr(&event, keyRunAttr, typeLongInteger, nullptr, &run, sizeof run,
                             nullptr) == noErr &&
           run != platform::latest_run();
}

OSErr handle_next()
{
    request next = std::move(waiting.front());
    waiting.pop_front();
    handled.push_back(&next);
    AppleEvent reply = no_reply;
    if (next.wants_reply)
        AECreateAppleEvent(kCoreEventClass, four_chars("ansr"), &reply);
    const OSErr error = is_late_report(next.event)
                            ? OSErr{noErr}
                            : platform::handle_apple_event(&next.event, &reply);
    handled.pop_back();
    next.answer(error, reply);
    AEDisposeDesc(&reply);
    AEDisposeDesc(&next.event);
    return error;
}

} // namespace

void platform::queue_request(const AppleEvent &event, bool wants_reply, request_answer answer)
{
    waiting.push_back({event, wants_reply, std::move(answer)});
}

bool platform::requests_wait()
{
    return !waiting.empty();
}

bool platform::answer_requests()
{
    const bool any = requests_wait();
    while (requests_wait())
        handle_next();
    return any;
}

void platform::answer_at_exit()
{
    for (auto each = handled.rbegin(); each != handled.rend(); ++each) {
        const bool quits = each == handled.rbegin() &&
                           code_of((*each)->event, keyEventClassAttr) == kCoreEventClass &&
                           code_of((*each)->event, keyEventIDAttr) == kAEQuitApplication;
        (*each)->answer(quits ? OSErr{noErr} : OSErr{connectionInvalid}, no_reply);
    }
    handled.clear();
    for (; requests_wait(); waiting.pop_front())
        waiting.front().answer(connectionInvalid, no_reply);
}

OSErr AEProcessAppleEvent(const EventRecord * /*event*/)
{
    return platform::requests_wait() ? handle_next() : OSErr{noErr};
}
