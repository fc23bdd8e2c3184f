// The words of a script.
#ifndef PAPERMILL_STAND_INS_APPLESCRIPT_LEXER_H
#define PAPERMILL_STAND_INS_APPLESCRIPT_LEXER_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace applescript {

// A stretch of the script, in bytes.
struct place {
    std::size_t from = 0, to = 0;
};

// Why a script is not run, or has ended.
struct problem {
    int number = 0; // 0: there is none
    std::string text = {};
    place where = {};
};

struct token {
    enum kind {
        end_of_script,
        end_of_line, // one for all lines that are empty
        word,        // folded to lower case
        text,
        number,
        code,    // «…», without the marks
        sign,    // an operator or a bracket; "<=" and ">=" as "≤" and "≥"
        unknown, // what is no part of the language, as a text that does not end
    };
    kind what = end_of_script;
    std::string value = {};
    std::int64_t number_value = 0;
    place where = {};
};

// A script's line ends as the positions count them: one character each.
std::string with_plain_line_ends(std::string_view script);

// The last token is end_of_script, and only that.
std::vector<token> split(std::string_view script);

// The number of characters in UTF-8; a byte that is no part of one counts as one.
std::size_t count_characters(std::string_view text);

} // namespace applescript

#endif
