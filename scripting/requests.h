// A request as its sender composes it, and what came of it.
#ifndef PAPERMILL_SCRIPTING_REQUESTS_H
#define PAPERMILL_SCRIPTING_REQUESTS_H

#include "scripting/terms.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

struct request_value {
    enum { none, text, number, list } kind = none;
    std::string bytes = {}; // text; a file is its absolute path
    std::int32_t number_value = 0;
    std::vector<request_value> items = {};
};

struct request {
    AEEventClass event_class = 0;
    AEEventID event_id = 0;
    std::vector<std::pair<AEKeyword, request_value>> parameters = {};
};

struct request_reply {
    OSErr error = noErr;
    std::string error_text; // what the program said of it, else the error's own sentence
    request_value result;   // the direct object
};

// Brings the program to the front. It is none of the program's own requests.
constexpr AEEventClass miscellaneous_class = four_chars("misc");
constexpr AEEventID activate_id = four_chars("actv");

request request_for(const scripting_term &term);

// Adds the value of the term's parameter of that number, from 0. What belongs to a list goes
// behind what the list has; a list's items one by one.
void add_parameter(request *asked, const scripting_term &term, std::size_t parameter,
                   const request_value &value);

// The request as an event, which is the caller's to dispose of.
OSErr make_event(const request &asked, AppleEvent *event);

// A sentence for the error, without its number.
const char *scripting_error_text(OSErr error);

#endif
