#include "stand_ins/applescript_lexer.h"

#include <algorithm>
#include <charconv>
#include <utility>

namespace applescript {

namespace {

constexpr std::string_view opening_mark = "«", closing_mark = "»", continuation = "¬";

// Longer ones first.
constexpr std::pair<std::string_view, std::string_view> signs[] = {
    {"<=", "≤"}, {">=", "≥"}, {"≤", "≤"}, {"≥", "≥"}, {"≠", "≠"}, {"=", "="},
    {"<", "<"},  {">", ">"},  {"&", "&"}, {"+", "+"}, {"-", "-"}, {"*", "*"},
    {"(", "("},  {")", ")"},  {"{", "{"}, {"}", "}"}, {",", ","}, {":", ":"},
};

bool is_blank(char c)
{
    return c == ' ' || c == '\t';
}

bool is_digit(char c)
{
    return c >= '0' && c <= '9';
}

bool is_word_character(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || is_digit(c) || c == '_';
}

char lower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

struct lexer {
    std::string_view script;
    std::size_t at = 0;
    std::vector<token> tokens = {};

    bool is_at(std::string_view text) const
    {
        return script.substr(at, text.size()) == text;
    }

    void add(token::kind what, std::size_t from, std::string value = {})
    {
        tokens.push_back({what, std::move(value), 0, {from, at}});
    }

    void skip_line()
    {
        at = std::min(script.find('\n', at), script.size());
    }

    // A comment in brackets, with those in it. False when it does not end.
    bool skip_bracketed_comment()
    {
        for (int depth = 0; at < script.size();) {
            if (is_at("(*")) {
                ++depth;
                at += 2;
            } else if (is_at("*)")) {
                at += 2;
                if (--depth == 0)
                    return true;
            } else {
                ++at;
            }
        }
        return false;
    }

    // The mark makes the line go on in the next one.
    void read_continuation()
    {
        const std::size_t from = at;
        at += continuation.size();
        while (at < script.size() && is_blank(script[at]))
            ++at;
        if (at < script.size() && script[at] == '\n')
            ++at;
        else
            add(token::unknown, from);
    }

    void read_text()
    {
        const std::size_t from = at++;
        std::string value;
        for (; at < script.size() && script[at] != '"' && script[at] != 0; ++at) {
            char c = script[at];
            if (c == '\\') {
                constexpr std::string_view letters = "\\\"ntr", meanings = "\\\"\n\t\r";
                const std::size_t which =
                    at + 1 < script.size() ? letters.find(script[at + 1]) : letters.npos;
                if (which == letters.npos)
                    break;
                c = meanings[which];
                ++at;
            }
            value += c;
        }
        const bool ends = at < script.size() && script[at] == '"';
        if (at < script.size())
            ++at;
        add(ends ? token::text : token::unknown, from, value);
    }

    void read_word()
    {
        const std::size_t from = at;
        std::string value;
        for (; at < script.size() && is_word_character(script[at]); ++at)
            value += lower(script[at]);
        add(token::word, from, value);
    }

    void read_number()
    {
        const std::size_t from = at;
        std::int64_t value = 0;
        const char *end = script.data() + script.size();
        const auto [rest, error] = std::from_chars(script.data() + from, end, value);
        at = static_cast<std::size_t>(rest - script.data());
        add(error == std::errc() ? token::number : token::unknown, from);
        tokens.back().number_value = value;
    }

    void read_code()
    {
        const std::size_t from = at;
        at += opening_mark.size();
        const std::size_t end = std::min(script.find(closing_mark, at), script.find('\n', at));
        const bool ends = end != script.npos && script[end] != '\n';
        const std::string value(script.substr(at, ends ? end - at : 0));
        if (ends)
            at = end + closing_mark.size();
        add(ends ? token::code : token::unknown, from, value);
    }

    void read_sign()
    {
        const std::size_t from = at;
        for (const auto &[written, value] : signs) {
            if (is_at(written)) {
                at += written.size();
                return add(token::sign, from, std::string(value));
            }
        }
        ++at;
        add(token::unknown, from);
    }

    void read_line_end()
    {
        if (tokens.empty() || tokens.back().what != token::end_of_line)
            add(token::end_of_line, at);
        ++at;
    }

    void read_comment_in_brackets()
    {
        const std::size_t from = at;
        if (!skip_bracketed_comment())
            add(token::unknown, from);
    }

    void read()
    {
        while (at < script.size()) {
            const char c = script[at];
            if (is_blank(c))
                ++at;
            else if (c == '\n')
                read_line_end();
            else if (c == '#' || is_at("--"))
                skip_line();
            else if (is_at("(*"))
                read_comment_in_brackets();
            else if (is_at(continuation))
                read_continuation();
            else if (c == '"')
                read_text();
            else if (is_digit(c))
                read_number();
            else if (is_word_character(c))
                read_word();
            else if (is_at(opening_mark))
                read_code();
            else
                read_sign();
        }
        add(token::end_of_script, at);
    }
};

} // namespace

std::string with_plain_line_ends(std::string_view script)
{
    std::string result;
    result.reserve(script.size());
    for (std::size_t i = 0; i < script.size(); ++i) {
        if (script[i] != '\r') {
            result += script[i];
        } else {
            result += '\n';
            i += i + 1 < script.size() && script[i + 1] == '\n' ? 1 : 0;
        }
    }
    return result;
}

std::vector<token> split(std::string_view script)
{
    lexer state = {script};
    state.read();
    return std::move(state.tokens);
}

std::size_t count_characters(std::string_view text)
{
    std::size_t count = 0;
    for (std::size_t at = 0; at < text.size(); ++count) {
        const auto lead = static_cast<unsigned char>(text[at]);
        const std::size_t length = lead < 0xc2   ? 1
                                   : lead < 0xe0 ? 2
                                   : lead < 0xf0 ? 3
                                   : lead < 0xf8 ? 4
                                                 : 1;
        std::size_t whole = 1;
        while (whole < length && at + whole < text.size() &&
               (static_cast<unsigned char>(text[at + whole]) & 0xc0) == 0x80)
            ++whole;
        at += whole == length ? length : 1;
    }
    return count;
}

} // namespace applescript
