// What a script works with.
#ifndef PAPERMILL_STAND_INS_APPLESCRIPT_VALUES_H
#define PAPERMILL_STAND_INS_APPLESCRIPT_VALUES_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace applescript {

struct value {
    enum kind { missing, boolean, number, text, file, list };
    kind what = missing;
    std::int64_t number_value = 0; // a boolean is 0 or 1
    std::string text_value = {};   // of a file its absolute path
    std::vector<value> items = {};
};

value number_of(std::int64_t number);
value text_of(const std::string &text);
value boolean_of(bool truth);
value list_of(std::vector<value> items);

// How deeply lists lie in each other; 0 for what is no list.
int depth(const value &v);

// As osascript shows it: text as it is, a list's items with commas between them.
std::string shown(const value &v);

// As it is written in a script.
std::string source(const value &v);

// What it is as another type; nothing when it cannot become that.
std::optional<std::string> as_text(const value &v);
std::optional<std::int64_t> as_integer(const value &v);
std::vector<value> as_list(const value &v);

// Case of ASCII letters is of no consequence, as in all comparisons of text.
bool equal(const value &a, const value &b);
std::string folded(std::string_view text);

} // namespace applescript

#endif
