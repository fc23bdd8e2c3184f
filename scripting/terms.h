// The words by which people ask for the program's requests: in a script, on the bus, in a terminal.
#ifndef PAPERMILL_SCRIPTING_TERMS_H
#define PAPERMILL_SCRIPTING_TERMS_H

#include "platform/apple_events.h"

#include <cstddef>

constexpr AEEventClass papermill_class = four_chars("TSRY");

enum class scripting_value {
    none,
    file,  // one file or folder
    files, // one file or several
    text,
};

// One value that comes with a request. Values with the same keyword go into one list, in order.
struct scripting_parameter {
    AEKeyword keyword;
    scripting_value value;
    const char *label; // the word before it in a script; the first value has none (null)
    const char *name;  // what it is called in the documents and on the bus
    bool required;
};

constexpr std::size_t most_scripting_parameters = 2;

struct scripting_term {
    const char *word;   // in scripts and in a terminal
    const char *method; // on the bus; null when org.freedesktop.Application has it
    AEEventClass event_class;
    AEEventID event_id;
    bool replies_status; // the reply's direct object is the exit status
    scripting_parameter parameters[most_scripting_parameters]; // unused ones have the value none
    const char *help;
};

extern const scripting_term scripting_terms[];
extern const std::size_t scripting_term_count;

// The term of that name, without regard to case; null when there is none.
const scripting_term *find_scripting_term(const char *word);

#endif
