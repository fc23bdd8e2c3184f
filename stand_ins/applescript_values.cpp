#include "stand_ins/applescript_values.h"

#include <algorithm>
#include <charconv>
#include <utility>

namespace applescript {

value number_of(std::int64_t number)
{
    return {value::number, number};
}

value text_of(const std::string &text)
{
    return {value::text, 0, text};
}

value boolean_of(bool truth)
{
    return {value::boolean, truth ? 1 : 0};
}

value list_of(std::vector<value> items)
{
    return {value::list, 0, {}, std::move(items)};
}

int depth(const value &v)
{
    int inner = 0;
    for (const value &item : v.items)
        inner = std::max(inner, depth(item));
    return v.what == value::list ? inner + 1 : 0;
}

static std::string joined(const std::vector<value> &items, std::string (*form)(const value &v))
{
    std::string result;
    for (const value &item : items)
        result += (&item == items.data() ? "" : ", ") + form(item);
    return result;
}

std::string shown(const value &v)
{
    switch (v.what) {
    case value::text:
        return v.text_value;
    case value::file:
        return "file " + v.text_value;
    case value::list:
        return joined(v.items, shown);
    default:
        return source(v);
    }
}

static std::string in_double_quotes(const std::string &text)
{
    std::string result = "\"";
    for (const char c : text) {
        constexpr std::string_view meanings = "\\\"\n\t\r", letters = "\\\"ntr";
        const std::size_t which = meanings.find(c);
        if (which == meanings.npos)
            result += c;
        else
            (result += '\\') += letters[which];
    }
    return result + "\"";
}

std::string source(const value &v)
{
    switch (v.what) {
    case value::missing:
        return "missing value";
    case value::boolean:
        return v.number_value != 0 ? "true" : "false";
    case value::number:
        return std::to_string(v.number_value);
    case value::text:
        return in_double_quotes(v.text_value);
    case value::file:
        return "POSIX file " + in_double_quotes(v.text_value);
    case value::list:
        break;
    }
    return "{" + joined(v.items, source) + "}";
}

std::optional<std::string> as_text(const value &v)
{
    if (v.what == value::missing)
        return std::nullopt;
    if (v.what != value::list)
        return v.what == value::text || v.what == value::file ? v.text_value : source(v);
    std::string result;
    for (const value &item : v.items) {
        const std::optional<std::string> text = as_text(item);
        if (!text)
            return std::nullopt;
        result += *text;
    }
    return result;
}

std::optional<std::int64_t> as_integer(const value &v)
{
    if (v.what == value::number || v.what == value::boolean)
        return v.number_value;
    if (v.what == value::list && v.items.size() == 1)
        return as_integer(v.items.front());
    if (v.what != value::text)
        return std::nullopt;
    const char *end = v.text_value.data() + v.text_value.size();
    std::int64_t number = 0;
    const auto [rest, error] = std::from_chars(v.text_value.data(), end, number);
    if (error != std::errc() || rest != end)
        return std::nullopt;
    return number;
}

std::vector<value> as_list(const value &v)
{
    return v.what == value::list ? v.items : std::vector<value>{v};
}

bool equal(const value &a, const value &b)
{
    if (a.what != b.what)
        return false;
    if (a.what == value::text)
        return folded(a.text_value) == folded(b.text_value);
    return a.number_value == b.number_value && a.text_value == b.text_value &&
           std::equal(a.items.begin(), a.items.end(), b.items.begin(), b.items.end(), equal);
}

std::string folded(std::string_view text)
{
    std::string result(text);
    for (char &c : result) {
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    }
    return result;
}

} // namespace applescript
