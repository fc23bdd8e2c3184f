#include "stand_ins/applescript_parser.h"

#include "scripting/requests.h"

#include <algorithm>
#include <set>
#include <strings.h>
#include <utility>

namespace applescript {

namespace {

constexpr char application_name[] = "papermill", application_id[] = "org.papermill.Papermill";
constexpr int most_levels = 200; // of blocks and brackets within each other

const scripting_term activate_term = {"activate",
                                      nullptr,
                                      miscellaneous_class,
                                      activate_id,
                                      false,
                                      {},
                                      "Brings the program to the front"};

// Operators by rank, loosest first; of one rank, longer ones before their beginnings.
enum rank { any_rank, and_rank, not_rank, equal_rank, as_rank, join_rank, sum_rank, product_rank };

struct operator_words {
    rank level;
    operation what;
    const char *words;
};

constexpr operator_words operators[] = {
    {any_rank, operation::logical_or, "or"},
    {and_rank, operation::logical_and, "and"},
    {equal_rank, operation::unequal, "is not equal to"},
    {equal_rank, operation::unequal, "is not"},
    {equal_rank, operation::equal, "is equal to"},
    {equal_rank, operation::less, "is less than"},
    {equal_rank, operation::greater, "is greater than"},
    {equal_rank, operation::equal, "is"},
    {equal_rank, operation::equal, "equals"},
    {equal_rank, operation::equal, "="},
    {equal_rank, operation::unequal, "≠"},
    {equal_rank, operation::less, "<"},
    {equal_rank, operation::greater, ">"},
    {equal_rank, operation::at_most, "≤"},
    {equal_rank, operation::at_least, "≥"},
    {equal_rank, operation::contains, "contains"},
    {equal_rank, operation::starts_with, "starts with"},
    {equal_rank, operation::starts_with, "begins with"},
    {equal_rank, operation::ends_with, "ends with"},
    {as_rank, operation::as_text, "as text"},
    {as_rank, operation::as_text, "as string"},
    {as_rank, operation::as_text, "as unicode text"},
    {as_rank, operation::as_integer, "as integer"},
    {as_rank, operation::as_integer, "as number"},
    {as_rank, operation::as_list, "as list"},
    {as_rank, operation::as_file, "as posix file"},
    {as_rank, operation::as_file, "as alias"},
    {join_rank, operation::join, "&"},
    {sum_rank, operation::plus, "+"},
    {sum_rank, operation::minus, "-"},
    {product_rank, operation::times, "*"},
    {product_rank, operation::divided, "div"},
    {product_rank, operation::remainder, "mod"},
};

// Words that are no names.
const std::set<std::string_view> reserved_words = {
    "and",   "app",    "application", "as",      "begins",  "by",    "contains", "count",
    "div",   "else",   "end",         "ends",    "equals",  "error", "every",    "exit",
    "false", "first",  "from",        "get",     "given",   "if",    "ignoring", "in",
    "is",    "item",   "items",       "last",    "length",  "log",   "missing",  "mod",
    "not",   "number", "of",          "on",      "or",      "posix", "quoted",   "repeat",
    "rest",  "result", "return",      "second",  "seconds", "set",   "starts",   "tell",
    "the",   "then",   "third",       "through", "thru",    "times", "to",       "true",
    "try",   "until",  "while",       "with",    "without",
};

struct character_name {
    const char *word, *value;
};
constexpr character_name characters[] = {
    {"return", "\r"}, {"linefeed", "\n"}, {"tab", "\t"}, {"space", " "}, {"quote", "\""}};

struct ordinal {
    const char *word;
    std::int64_t number;
};
constexpr ordinal ordinals[] = {{"first", 1}, {"second", 2}, {"third", 3}, {"last", -1}};

const char *name_of(token::kind kind)
{
    static const char *const names[] = {"end of script", "end of line",  "identifier",
                                        "text",          "number",       "code",
                                        "sign",          "unknown token"};
    return names[kind];
}

expression number_literal(std::int64_t number)
{
    return {.what = expression::number, .number_value = number};
}

expression text_literal(const std::string &text)
{
    return {.what = expression::text, .text_value = text};
}

AEKeyword code_of(std::string_view four)
{
    AEKeyword result = 0;
    for (const char c : four)
        result = result << 8 | static_cast<unsigned char>(c);
    return result;
}

// Reads the tokens from left to right. When something is wrong, that is kept and the reading goes
// on at the script's end, where nothing is found any more: only the first problem is told.
struct parser {
    std::vector<token> tokens;
    script made = {};
    std::size_t at = 0;
    problem error = {};
    int level = 0;
    int tells = 0, loops = 0;                 // that are open
    std::set<std::string> names = {"result"}; // that get a value somewhere
    std::vector<const token *> uses = {};     // of names

    // ---- tokens ----

    const token &now() const
    {
        return tokens[at];
    }

    const token &next() const
    {
        return tokens[std::min(at + 1, tokens.size() - 1)];
    }

    void go_on()
    {
        at = std::min(at + 1, tokens.size() - 1);
    }

    place since(std::size_t first) const
    {
        return {tokens[first].where.from,
                at > first ? tokens[at - 1].where.to : tokens[first].where.to};
    }

    void fail(int number, const std::string &text, place where)
    {
        if (error.number == 0)
            error = {number, text, where};
        at = tokens.size() - 1;
    }

    void expect_other(const std::string &expected)
    {
        const token &found = now();
        fail(was_not_expected, "Expected " + expected + " but found " + name_of(found.what) + ".",
             found.where);
    }

    bool is_end() const
    {
        return now().what == token::end_of_line || now().what == token::end_of_script;
    }

    static bool is(const token &t, std::string_view value)
    {
        return (t.what == token::word || t.what == token::sign) && t.value == value;
    }

    bool is(std::string_view value) const
    {
        return is(now(), value);
    }

    // Whether these words or signs come next; if so, they are behind us.
    bool take(std::string_view words)
    {
        std::size_t ahead = at;
        while (!words.empty()) {
            const std::size_t length = std::min(words.find(' '), words.size());
            if (!is(tokens[ahead], words.substr(0, length)))
                return false;
            ++ahead; // it was not the last token
            words.remove_prefix(std::min(length + 1, words.size()));
        }
        at = ahead;
        return true;
    }

    void expect(const char *words)
    {
        if (!take(words))
            expect_other(std::string("\"") + words + "\"");
    }

    void expect_end_of_line()
    {
        if (now().what == token::end_of_line)
            go_on();
        else if (now().what != token::end_of_script)
            expect_other("end of line");
    }

    // Counts what is within each other, and fails when it is too much.
    struct nesting {
        explicit nesting(parser &owner) : p(owner)
        {
            if (++p.level > most_levels)
                p.fail(can_not_stand_there, "The script is nested too deeply.", p.now().where);
        }
        ~nesting()
        {
            --p.level;
        }
        nesting(const nesting &) = delete;
        nesting &operator=(const nesting &) = delete;
        parser &p;
    };

    // ---- names ----

    const scripting_term *find_term(const token &t) const
    {
        if (t.what != token::word)
            return nullptr;
        return t.value == activate_term.word ? &activate_term
                                             : find_scripting_term(t.value.c_str());
    }

    bool is_name() const
    {
        return now().what == token::word && reserved_words.count(now().value) == 0 &&
               (tells == 0 || find_term(now()) == nullptr);
    }

    std::string read_new_name()
    {
        std::string name;
        if (is_name()) {
            name = now().value;
            names.insert(name);
            go_on();
        } else {
            expect_other("a variable's name");
        }
        return name;
    }

    void refuse_word(const token &t)
    {
        fail(was_not_expected,
             find_term(t) != nullptr
                 ? "The request \"" + t.value + "\" belongs into tell application \"papermill\"."
                 : "\"" + t.value + "\" is not understood here.",
             t.where);
    }

    // A name that gets no value anywhere is none.
    void check_names()
    {
        for (const token *use : uses) {
            if (names.count(use->value) == 0)
                refuse_word(*use);
        }
    }

    expression read_variable()
    {
        const token &name = now();
        uses.push_back(&name);
        go_on();
        // What has a value behind it would be a command.
        if (now().what == token::text || now().what == token::number || now().what == token::code ||
            is("(") || is("{") || is("posix") || is("the") || is_name())
            refuse_word(name);
        return {.what = expression::variable, .text_value = name.value};
    }

    // ---- expressions ----

    expression read_expression()
    {
        const nesting deeper(*this);
        return is_request() ? read_request() : read_operations(any_rank);
    }

    const operator_words *take_operator(int level_of_it)
    {
        for (const operator_words &each : operators) {
            if (each.level == level_of_it && take(each.words))
                return &each;
        }
        return nullptr;
    }

    // What stands before and behind an operator binds tighter than it.
    expression read_operations(int level_of_it)
    {
        if (level_of_it > product_rank)
            return read_operand();
        const std::size_t first = at;
        if (level_of_it == not_rank && take("not")) {
            const nesting deeper(*this);
            expression result = {.what = expression::opposite};
            result.parts.push_back(read_operations(not_rank));
            result.where = since(first);
            return result;
        }
        expression operand = read_operations(level_of_it + 1);
        const operator_words *found = take_operator(level_of_it);
        if (found == nullptr)
            return operand;
        expression result = {.what = expression::chain};
        result.parts.push_back(std::move(operand));
        for (; found != nullptr; found = take_operator(level_of_it)) {
            result.steps.push_back(found->what);
            const bool has_operand = level_of_it != as_rank;
            result.parts.push_back(has_operand ? read_operations(level_of_it + 1) : expression());
        }
        result.where = since(first);
        return result;
    }

    // A value or a phrase; the operand of a phrase is one, too.
    expression read_operand()
    {
        const nesting deeper(*this);
        while (take("the")) {
        }
        const std::size_t first = at;
        expression result = read_operand_itself();
        result.where = since(first);
        return result;
    }

    expression phrase(expression::kind what)
    {
        expression result = {.what = what};
        result.parts.push_back(read_operand());
        return result;
    }

    expression read_operand_itself()
    {
        if (now().what == token::text || now().what == token::number) {
            expression result = now().what == token::text ? text_literal(now().value)
                                                          : number_literal(now().number_value);
            go_on();
            return result;
        }
        if (take("("))
            return read_bracketed();
        if (take("{"))
            return read_list();
        if (take("-"))
            return phrase(expression::negative);
        if (is("true") || is("false")) {
            const bool value = is("true");
            go_on();
            return {.what = expression::boolean, .number_value = value ? 1 : 0};
        }
        if (take("missing value"))
            return {.what = expression::missing_value};
        if (take("result"))
            return {.what = expression::result};
        for (const character_name &each : characters) {
            if (take(each.word))
                return text_literal(each.value);
        }
        if (take("posix file"))
            return phrase(expression::posix_file);
        if (take("posix path of"))
            return phrase(expression::posix_path);
        if (take("quoted form of"))
            return phrase(expression::quoted_form);
        if (take("rest of"))
            return phrase(expression::rest);
        if (take("number of items of") || take("number of items in") || take("count of items of") ||
            take("count items of") || take("count of") || take("count") || take("length of"))
            return phrase(expression::count);
        if (is("item") || is("items") || is("every") || is_ordinal())
            return read_items();
        if (!is_name()) {
            expect_other("expression");
            return {};
        }
        return read_variable();
    }

    expression read_bracketed()
    {
        expression result = read_expression();
        expect(")");
        return result;
    }

    expression read_list()
    {
        expression result = {.what = expression::list};
        if (take("}"))
            return result;
        do
            result.parts.push_back(read_expression());
        while (take(","));
        expect("}");
        return result;
    }

    bool is_ordinal() const
    {
        return std::any_of(std::begin(ordinals), std::end(ordinals),
                           [&](const ordinal &each) { return is(each.word); });
    }

    // item N of LIST, first item of LIST, items A thru B of LIST, items of LIST.
    expression read_items()
    {
        expression result = {.what = expression::item};
        for (const ordinal &each : ordinals) {
            if (result.parts.empty() && take(each.word)) {
                result.parts.push_back(number_literal(each.number));
                expect("item");
            }
        }
        if (result.parts.empty() && take("item")) {
            result.parts.push_back(read_operand());
        } else if (result.parts.empty()) {
            result.what = expression::items;
            if (take("every"))
                expect("item");
            else
                expect("items");
            if (is("of") || is("in")) {
                result.what = expression::all_items;
            } else {
                result.parts.push_back(read_operand());
                if (!take("thru"))
                    expect("through");
                result.parts.push_back(read_operand());
            }
        }
        if (!take("in"))
            expect("of");
        result.parts.push_back(read_operand());
        return result;
    }

    // ---- requests ----

    // "quit application ..." needs no tell block.
    bool names_application(const token &t) const
    {
        return is(t, "application") || is(t, "app");
    }

    bool is_request() const
    {
        if (tells > 0 && now().what == token::code)
            return true;
        return find_term(now()) != nullptr && (tells > 0 || names_application(next()));
    }

    // Whether an expression, of whatever kind, could begin here.
    bool may_begin_expression() const
    {
        if (now().what == token::text || now().what == token::number || is("(") || is("{") ||
            is("-") || is_name())
            return true;
        static const std::set<std::string_view> beginnings = {
            "count",  "every",   "false",  "first",  "item",  "items",  "last",
            "length", "missing", "not",    "number", "posix", "quoted", "rest",
            "result", "return",  "second", "the",    "third", "true"};
        return now().what == token::word && beginnings.count(now().value) > 0;
    }

    expression read_request()
    {
        const std::size_t first = at;
        expression result = {.what = expression::request};
        result.term = find_term(now());
        if (result.term != nullptr) {
            go_on();
            result.event_class = result.term->event_class;
            result.event_id = result.term->event_id;
        } else {
            read_code("event ", &result.event_class, &result.event_id);
        }
        const scripting_term *term = result.term;
        const bool has_direct =
            term == nullptr || term->parameters[0].value != scripting_value::none;
        if (has_direct && may_begin_expression())
            add_value(&result, {0, term == nullptr ? keyDirectObject : 0});
        else if (!has_direct && names_application(now()))
            read_application();
        while (term != nullptr && read_labelled(&result)) {
        }
        if (take("given")) {
            do
                read_given(&result);
            while (take(","));
        }
        result.where = since(first);
        return result;
    }

    void add_value(expression *result, given_value value)
    {
        result->given.push_back(value);
        result->parts.push_back(read_expression());
    }

    // The next parameter that has a label; false when there is none.
    bool read_labelled(expression *result)
    {
        for (std::size_t i = 1; i < most_scripting_parameters; ++i) {
            const scripting_parameter &parameter = result->term->parameters[i];
            if (parameter.value == scripting_value::none || !is(parameter.label))
                continue;
            const bool again =
                std::any_of(result->given.begin(), result->given.end(),
                            [&](const given_value &each) { return each.parameter == i; });
            if (again) {
                expect_other("end of line");
                return false;
            }
            go_on();
            add_value(result, {i, 0});
            return true;
        }
        return false;
    }

    void read_given(expression *result)
    {
        AEKeyword keyword = 0;
        read_code("class ", &keyword, nullptr);
        expect(":");
        add_value(result, {0, keyword});
    }

    // «event CLASID» or «class CODE»: codes of four bytes.
    void read_code(std::string_view kind, AEKeyword *first, AEKeyword *second)
    {
        const std::string_view value = now().value;
        const std::size_t size = kind.size() + (second == nullptr ? 4 : 8);
        if (now().what != token::code || value.substr(0, kind.size()) != kind ||
            value.size() != size) {
            expect_other("«" + std::string(kind) + (second == nullptr ? "xxxx»" : "xxxxxxxx»"));
            return;
        }
        *first = code_of(value.substr(kind.size(), 4));
        if (second != nullptr)
            *second = code_of(value.substr(kind.size() + 4));
        go_on();
    }

    // application "papermill", application id "org.papermill.Papermill"
    void read_application()
    {
        while (take("the")) {
        }
        if (!take("application") && !take("app")) {
            expect_other("\"application\"");
            return;
        }
        const char *wanted = take("id") ? application_id : application_name;
        const bool found =
            now().what == token::text && strcasecmp(now().value.c_str(), wanted) == 0;
        if (found)
            go_on();
        else
            expect_other(std::string("\"") + wanted + "\"");
    }

    // ---- statements ----

    // A statement and what it holds; the line's end behind it is not read.
    statement read_statement()
    {
        const nesting deeper(*this);
        const std::size_t first = at;
        statement result = read_statement_itself();
        result.where = since(first);
        return result;
    }

    statement simple(statement::kind what, expression value)
    {
        statement result = {.what = what};
        result.parts.push_back(std::move(value));
        return result;
    }

    statement read_statement_itself()
    {
        if (take("tell"))
            return read_tell();
        if (take("if"))
            return read_choice();
        if (take("repeat"))
            return read_loop();
        if (take("try"))
            return read_attempt();
        if (take("with timeout"))
            return read_timeout();
        if (take("ignoring application responses")) {
            statement result = {.what = statement::ignoring};
            result.blocks.push_back(read_block("ignoring"));
            close("ignoring");
            return result;
        }
        if (take("set")) {
            statement result = {.what = statement::set};
            result.name = read_new_name();
            expect("to");
            result.parts.push_back(read_expression());
            return result;
        }
        if (take("log"))
            return simple(statement::log, read_expression());
        if (take("error"))
            return read_error();
        if (loops > 0 && (take("exit repeat") || take("exit")))
            return {.what = statement::exit_repeat};
        if (is("return")) {
            go_on();
            return is_end() ? statement{.what = statement::give_back}
                            : simple(statement::give_back, read_expression());
        }
        take("get");
        return simple(statement::evaluate, read_expression());
    }

    bool ends_block() const
    {
        return is("end") || is("else") || is("on") || now().what == token::end_of_script;
    }

    std::vector<statement> read_block(const char *name)
    {
        std::vector<statement> result;
        if (now().what != token::end_of_script)
            expect_end_of_line();
        while (!ends_block()) {
            result.push_back(read_statement());
            expect_end_of_line();
        }
        if (now().what == token::end_of_script)
            expect_other(std::string("\"end ") + name + "\"");
        return result;
    }

    void close(const char *name)
    {
        expect("end");
        if (!is_end())
            expect(name);
    }

    statement read_tell()
    {
        statement result = {.what = statement::group};
        read_application();
        ++tells;
        if (take("to")) {
            result.blocks.emplace_back();
            result.blocks.back().push_back(read_statement());
        } else {
            result.blocks.push_back(read_block("tell"));
            close("tell");
        }
        --tells;
        return result;
    }

    statement read_choice()
    {
        statement result = {.what = statement::choice};
        result.parts.push_back(read_expression());
        expect("then");
        if (!is_end()) {
            result.blocks.emplace_back();
            result.blocks.back().push_back(read_statement());
            return result;
        }
        result.blocks.push_back(read_block("if"));
        while (take("else if")) {
            result.parts.push_back(read_expression());
            expect("then");
            result.blocks.push_back(read_block("if"));
        }
        if (take("else"))
            result.blocks.push_back(read_block("if"));
        close("if");
        return result;
    }

    statement read_loop()
    {
        statement result = {.what = statement::loop};
        if (take("while")) {
            result = simple(statement::loop_while, read_expression());
        } else if (take("until")) {
            result = simple(statement::loop_until, read_expression());
        } else if (take("with")) {
            result = read_counted_loop();
        } else if (!is_end()) {
            result = simple(statement::loop_times, read_expression());
            expect("times");
        }
        ++loops;
        result.blocks.push_back(read_block("repeat"));
        --loops;
        close("repeat");
        return result;
    }

    statement read_counted_loop()
    {
        statement result = {.what = statement::loop_items};
        result.name = read_new_name();
        if (take("in")) {
            result.parts.push_back(read_expression());
            return result;
        }
        result.what = statement::loop_numbers;
        expect("from");
        result.parts.push_back(read_expression());
        expect("to");
        result.parts.push_back(read_expression());
        result.parts.push_back(take("by") ? read_expression() : number_literal(1));
        return result;
    }

    statement read_attempt()
    {
        statement result = {.what = statement::attempt};
        result.blocks.push_back(read_block("try"));
        if (take("on error")) {
            if (!is_end() && !is("number"))
                result.name = read_new_name();
            if (take("number"))
                result.number_name = read_new_name();
            result.blocks.push_back(read_block("try"));
        }
        close("try");
        return result;
    }

    statement read_timeout()
    {
        statement result = {.what = statement::timeout};
        take("of");
        result.parts.push_back(read_expression());
        if (!take("second"))
            expect("seconds");
        result.blocks.push_back(read_block("timeout"));
        close("timeout");
        return result;
    }

    statement read_error()
    {
        const bool has_text = !is_end() && !is("number");
        statement result = simple(statement::error, has_text ? read_expression()
                                                             : text_literal("An error occurred."));
        result.parts.push_back(take("number") ? read_expression() : number_literal(-2700));
        return result;
    }

    // ---- the script ----

    void read_script()
    {
        if (now().what == token::end_of_line)
            go_on();
        if (take("on run")) {
            if (!is_end())
                made.arguments_name = read_new_name();
            made.statements = read_block("run");
            close("run");
            expect_end_of_line();
            if (now().what != token::end_of_script)
                expect_other("nothing behind \"end run\"");
        }
        while (now().what != token::end_of_script) {
            made.statements.push_back(read_statement());
            expect_end_of_line();
        }
        if (error.number == 0)
            check_names();
    }
};

} // namespace

problem parse_script(std::string_view text, script *result)
{
    result->text = with_plain_line_ends(text);
    parser state = {split(result->text)};
    state.made.text = std::move(result->text);
    state.read_script();
    *result = std::move(state.made);
    return state.error;
}

std::string describe(const problem &what, std::string_view script_text)
{
    const bool syntax = what.number == can_not_stand_there || what.number == was_not_expected;
    const auto position = [&](std::size_t at) {
        return std::to_string(count_characters(script_text.substr(0, at)));
    };
    return position(what.where.from) + ":" + position(what.where.to) + ": " +
           (syntax ? "syntax" : "execution") + " error: " + what.text + " (" +
           std::to_string(what.number) + ")";
}

} // namespace applescript
