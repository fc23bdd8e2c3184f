// A script as it is understood: read whole before anything of it is done.
//
//     script      = statements | on run [NAME] statements end run
//     statement   = tell application (statements end tell | to statement)
//                 | if expression then (statement | statements {else if ...} [else ...] end if)
//                 | repeat [N times | while e | until e | with NAME from a to b [by c]
//                          | with NAME in e] statements end repeat | exit repeat
//                 | try statements [on error [NAME] [number NAME] statements] end try
//                 | with timeout of e seconds statements end timeout
//                 | ignoring application responses statements end ignoring
//                 | set NAME to e | get e | return [e] | log e | error [e] [number e] | e
//     expression  = request | operations, whose operands are values, names and phrases
//     request     = (WORD of scripting_terms | activate | «event ...») [e] {LABEL e}
//                   [given «class ...»: e, ...]
#ifndef PAPERMILL_STAND_INS_APPLESCRIPT_PARSER_H
#define PAPERMILL_STAND_INS_APPLESCRIPT_PARSER_H

#include "scripting/terms.h"
#include "stand_ins/applescript_lexer.h"

#include <string>
#include <string_view>
#include <vector>

namespace applescript {

enum class operation { // by rank, loosest first; see operators in the source
    logical_or,
    logical_and,
    equal,
    unequal,
    less,
    greater,
    at_most,
    at_least,
    contains,
    starts_with,
    ends_with,
    as_text,
    as_integer,
    as_list,
    as_file,
    join,
    plus,
    minus,
    times,
    divided,
    remainder,
};

// What a request gives with parts[i]: the term's parameter of that number, or any other keyword.
struct given_value {
    std::size_t parameter;
    AEKeyword keyword; // 0: the term's
};

struct expression {
    enum kind {
        missing_value,
        boolean, // number_value is 0 or 1
        number,
        text,
        list,     // of parts
        variable, // named by text_value
        result,   // of the statement before
        posix_file,
        posix_path,
        quoted_form,
        count,
        item, // number parts[0] of parts[1]
        all_items,
        items, // from parts[0] to parts[1] of parts[2]
        rest,
        negative,
        opposite,
        chain, // of operations from left to right; a coercion has a part that is not used
        request,
    };
    kind what = missing_value;
    place where = {};
    std::string text_value = {};
    std::int64_t number_value = 0;
    std::vector<expression> parts = {};
    std::vector<operation> steps = {}; // steps[i] comes before parts[i + 1]
    // Of a request:
    const scripting_term *term = nullptr; // null: a raw event
    AEEventClass event_class = 0;
    AEEventID event_id = 0;
    std::vector<given_value> given = {};
};

struct statement {
    enum kind {
        evaluate,
        set,       // name to parts[0]
        give_back, // parts[0], if there is one
        log,       // parts[0]
        error,     // parts[0], with the number parts[1]
        exit_repeat,
        group,        // blocks[0]: a tell block
        choice,       // blocks[i] when parts[i] holds; the last block may have none
        loop,         // for ever
        loop_times,   // parts[0]
        loop_while,   // parts[0]
        loop_until,   // parts[0]
        loop_numbers, // name from parts[0] to parts[1] by parts[2]
        loop_items,   // name in parts[0]
        attempt,      // blocks[0]; on an error blocks[1] with name and number_name, if not empty
        timeout,      // parts[0] seconds
        ignoring,     // replies
    };
    kind what = evaluate;
    place where = {};
    std::string name = {}, number_name = {};
    std::vector<expression> parts = {};
    std::vector<std::vector<statement>> blocks = {};
};

struct script {
    std::string text; // with plain line ends
    std::vector<statement> statements;
    std::string arguments_name; // the variable for the call's arguments; empty: there is none
};

constexpr int can_not_stand_there = -2740, was_not_expected = -2741; // the errors of a script

// What is wrong with the script, if anything.
problem parse_script(std::string_view text, script *result);

// One line: "FROM:TO: syntax error: TEXT (NUMBER)", counted in characters.
std::string describe(const problem &what, std::string_view script_text);

} // namespace applescript

#endif
