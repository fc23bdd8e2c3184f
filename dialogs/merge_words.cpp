#include "dialogs/merge_words.h"

#include "platform/processes.h"

namespace {

constexpr char blanks[] = " \t";

// Takes one word apart, from *at to the blank behind it. False when it is more than a name.
bool take_word(const std::string &text, std::size_t *at, std::string *name)
{
    const std::string beyond_names = "|&;<>()$`\n\r#";
    char quote = 0;
    const std::size_t start = *at;
    for (; *at < text.size(); ++*at) {
        const char c = text[*at];
        const bool last = *at + 1 == text.size();
        if (quote == 0 && (c == ' ' || c == '\t'))
            return true;
        if (quote == 0 && (c == '\'' || c == '"')) {
            quote = c;
        } else if (c == quote) {
            quote = 0;
        } else if (quote == '\'') {
            *name += c;
        } else if (c == '\\') {
            if (last)
                return false;
            const char next = text[++*at];
            // Between double quotes, most letters keep their backslash.
            if (quote == '"' && std::string("\"$`\\").find(next) == std::string::npos)
                *name += c;
            *name += next;
        } else {
            const bool harmless = c == '#' && (quote != 0 || *at > start);
            if (!harmless && beyond_names.find(c) != std::string::npos &&
                (quote == 0 || c == '$' || c == '`'))
                return false;
            *name += c;
        }
    }
    return quote == 0;
}

} // namespace

bool split_words(const std::string &text, std::vector<merge_word> *words)
{
    words->clear();
    std::size_t at = text.find_first_not_of(blanks);
    while (at != std::string::npos) {
        const std::size_t start = at;
        merge_word next;
        if (!take_word(text, &at, &next.name)) {
            words->clear();
            return false;
        }
        next.word = text.substr(start, at - start);
        words->push_back(next);
        at = text.find_first_not_of(blanks, at);
    }
    return true;
}

std::string join_words(const std::vector<merge_word> &words)
{
    std::string text;
    for (const merge_word &each : words)
        text += (text.empty() ? "" : " ") + each.word;
    return text;
}

merge_word word_for(const std::string &path, const std::string &folder)
{
    const std::string within = folder.ends_with('/') ? folder : folder + "/";
    merge_word made;
    made.name = path.starts_with(within) ? path.substr(within.size()) : path;
    if (made.name.starts_with('-'))
        made.name.insert(0, "./"); // no option
    made.word = platform::as_word(made.name.c_str());
    return made;
}
