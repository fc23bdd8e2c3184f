// osascript -e LINE...: as much AppleScript as the program's own terms need. gs.script reports the
// end of a run with it.
#include <algorithm>
#include <cstdio>
#include <string>
#include <string_view>
#include <strings.h>
#include <unistd.h>
#include <vector>

constexpr std::string_view application_name = "papermill";

// A stretch of one line, as the positions in an error message count it.
struct place {
    std::size_t from, to;
};

// What a script asks the program for; "done", the end of a run, is all there is.
struct request {
    place where;
};

constexpr int no_error = 0;
constexpr int no_such_process = -600;
constexpr int not_understood = -2741;

struct failure {
    int number = no_error;
    std::string text;
    place where = {0, 0};
};

// ---- words ----

struct token {
    enum { end_of_line, word, text, other } kind = end_of_line;
    std::string value;
    place where = {0, 0};
};

static bool is_blank(char c)
{
    return c == ' ' || c == '\t';
}

static bool is_word_character(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

// Reads the token at `position` and moves behind it. A comment ends the line.
static token next_token(std::string_view line, std::size_t &position)
{
    while (position < line.size() && is_blank(line[position]))
        ++position;
    token result;
    const std::size_t from = position;
    const std::string_view rest = line.substr(from);
    if (rest.empty() || rest.front() == '#' || rest.substr(0, 2) == "--") {
        position = line.size();
    } else if (is_word_character(rest.front())) {
        result.kind = token::word;
        while (position < line.size() && is_word_character(line[position]))
            result.value += line[position++];
    } else if (rest.front() == '"') {
        result.kind = token::text;
        for (++position; position < line.size() && line[position] != '"'; ++position) {
            if (line[position] == '\\' && position + 1 < line.size())
                ++position;
            result.value += line[position];
        }
        if (position == line.size())
            result.kind = token::other; // it is not closed
        else
            ++position;
    } else {
        result.kind = token::other;
        result.value = line[position++];
    }
    result.where = {from, position};
    return result;
}

static std::vector<token> split_line(std::string_view line)
{
    std::vector<token> tokens;
    std::size_t position = 0;
    do
        tokens.push_back(next_token(line, position));
    while (tokens.back().kind != token::end_of_line);
    return tokens;
}

static bool is_word(const token &t, const char *keyword)
{
    return t.kind == token::word && strcasecmp(t.value.c_str(), keyword) == 0;
}

// ---- the script ----

struct script {
    std::vector<request> requests;
    failure error; // what could not be understood
};

struct parser {
    script result;
    bool in_tell = false;

    void refuse(const char *expected, const token &found)
    {
        static const char *const kinds[] = {"end of line", "identifier", "string", "unknown token"};
        result.error = {not_understood,
                        std::string("Expected ") + expected + " but found " + kinds[found.kind] +
                            ".",
                        found.where};
    }

    // Each takes the tokens of one line; the last token is the line's end.
    void read_request(const token *next)
    {
        if (!is_word(*next, "done"))
            return refuse("a request of the program", *next);
        if (next[1].kind != token::end_of_line)
            return refuse("end of line", next[1]);
        result.requests.push_back({next->where});
    }

    void read_tell(const token *next)
    {
        ++next;
        if (!is_word(*next, "application") && !is_word(*next, "app"))
            return refuse("\"application\"", *next);
        ++next;
        if (next->kind != token::text ||
            strcasecmp(next->value.c_str(), application_name.data()) != 0)
            return refuse("\"papermill\"", *next);
        ++next;
        if (is_word(*next, "to"))
            return read_request(next + 1);
        if (next->kind != token::end_of_line)
            return refuse("end of line", *next);
        in_tell = true;
    }

    void read_end(const token *next)
    {
        ++next;
        if (is_word(*next, "tell"))
            ++next;
        if (next->kind != token::end_of_line)
            return refuse("end of line", *next);
        in_tell = false;
    }

    void read_line(std::string_view line)
    {
        const std::vector<token> tokens = split_line(line);
        const token *first = tokens.data();
        if (first->kind == token::end_of_line)
            return;
        if (!in_tell && is_word(*first, "tell"))
            read_tell(first);
        else if (in_tell && is_word(*first, "end"))
            read_end(first);
        else if (in_tell)
            read_request(first);
        else
            refuse("\"tell\"", *first);
    }
};

static script parse(std::string_view text)
{
    parser state;
    while (state.result.error.number == no_error && !text.empty()) {
        const std::size_t length = std::min(text.find_first_of("\r\n"), text.size());
        state.read_line(text.substr(0, length));
        text.remove_prefix(std::min(length + 1, text.size()));
    }
    if (state.result.error.number == no_error && state.in_tell)
        state.refuse("\"end tell\"", token());
    return state.result;
}

// ---- the program ----

// Sends the request and waits for the answer. There is no carrier to the program yet, so none
// comes, and gs.script falls back to its signal.
static failure send(const request &asked)
{
    return {no_such_process,
            std::string(application_name) + " is not answering on the session bus.", asked.where};
}

static int report(const failure &what)
{
    std::fprintf(stderr, "%zu:%zu: %s error: %s (%d)\n", what.where.from, what.where.to,
                 what.number == not_understood ? "syntax" : "execution", what.text.c_str(),
                 what.number);
    return 1;
}

int main(int argc, char **argv)
{
    std::string text;
    bool has_script = false;
    int option;
    while ((option = getopt(argc, argv, "+e:")) == 'e') {
        text.append(optarg).append("\n");
        has_script = true;
    }
    if (option != -1 || !has_script || optind != argc) {
        std::fprintf(stderr, "usage: osascript -e statement ...\n");
        return 2;
    }

    const script understood = parse(text);
    if (understood.error.number != no_error)
        return report(understood.error);
    for (const request &each : understood.requests) {
        const failure outcome = send(each);
        if (outcome.number != no_error)
            return report(outcome);
    }
    return 0;
}
