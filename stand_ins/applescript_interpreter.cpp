#include "stand_ins/applescript_interpreter.h"

#include "platform/core/atomic_file.h"
#include "platform/processes.h"

#include <algorithm>
#include <limits>
#include <map>
#include <tuple>
#include <utility>

namespace applescript {

namespace {

enum : int {
    can_not_make = -1700,
    no_such_item = -1728,
    general_error = -2700,
    divided_by_zero = -2701,
    too_large = -2702,
    not_defined = -2753,
    no_result = -2763,
};

constexpr int deepest_list = 100;
constexpr std::int64_t ticks_in_a_second = 60;

enum class flow { go_on, leave_loop, script_ends, failed };

// Where a function returns bool, false means that it has failed and that `error` says why.
struct interpreter {
    const outside &world;
    problem error = {};
    std::optional<value> result = {}; // of the last statement
    std::map<std::string, value> variables = {};
    AESendMode mode = kAEWaitReply;
    std::int32_t ticks = kNoTimeOut;

    bool fail(int number, const std::string &text, place where)
    {
        error = {number, text, where};
        return false;
    }

    bool fail_to_make(const value &from, const char *type, place where)
    {
        return fail(can_not_make, "Can't make " + source(from) + " into " + type + ".", where);
    }

    // ---- values ----

    bool evaluate(const expression &e, value *into)
    {
        switch (e.what) {
        case expression::missing_value:
            *into = {};
            return true;
        case expression::boolean:
            *into = boolean_of(e.number_value != 0);
            return true;
        case expression::number:
            *into = number_of(e.number_value);
            return true;
        case expression::text:
            *into = text_of(e.text_value);
            return true;
        case expression::list:
            return make_list(e, into);
        case expression::variable:
            return read_variable(e, into);
        case expression::result:
            return take_result(e, not_defined, "The variable result is not defined.", into);
        case expression::chain:
            return evaluate_chain(e, into);
        case expression::item:
            return take_item(e, into);
        case expression::items:
            return take_items(e, into);
        case expression::request:
            return send(e) &&
                   take_result(e, no_result,
                               "No result was returned from some part of this expression.", into);
        default:
            return evaluate(e.parts[0], into) && evaluate_phrase(e, into);
        }
    }

    // What has one operand, which is in *v.
    bool evaluate_phrase(const expression &e, value *v)
    {
        switch (e.what) {
        case expression::posix_file:
            return make_file(v, e.where);
        case expression::posix_path:
        case expression::quoted_form:
            return make_text(v, e.where) && (e.what == expression::posix_path || quote(v));
        case expression::count:
            return count(v, e.where);
        case expression::all_items:
            return is_list(*v, e.where);
        case expression::rest:
            return take_rest(v, e.where);
        case expression::negative:
            if (!make_number(v, e.where))
                return false;
            return calculate(operation::minus, 0, v->number_value, e.where, v);
        default:
            if (!is_boolean(*v, e.where))
                return false;
            *v = boolean_of(v->number_value == 0);
            return true;
        }
    }

    bool take_result(const expression &e, int number, const char *text, value *into)
    {
        if (!result)
            return fail(number, text, e.where);
        *into = *result;
        return true;
    }

    bool read_variable(const expression &e, value *into)
    {
        const auto found = variables.find(e.text_value);
        if (found == variables.end())
            return fail(not_defined, "The variable " + e.text_value + " is not defined.", e.where);
        *into = found->second;
        return true;
    }

    bool make_list(const expression &e, value *into)
    {
        std::vector<value> items(e.parts.size());
        for (std::size_t i = 0; i < items.size(); ++i) {
            if (!evaluate(e.parts[i], &items[i]))
                return false;
        }
        *into = list_of(std::move(items));
        return depth(*into) <= deepest_list ||
               fail(general_error, "Too many lists lie in each other.", e.where);
    }

    bool is_boolean(const value &v, place where)
    {
        return v.what == value::boolean || fail_to_make(v, "a boolean", where);
    }

    bool make_number(value *v, place where)
    {
        const std::optional<std::int64_t> number = as_integer(*v);
        if (!number)
            return fail_to_make(*v, "an integer", where);
        *v = number_of(*number);
        return true;
    }

    bool make_text(value *v, place where)
    {
        const std::optional<std::string> text = as_text(*v);
        if (!text)
            return fail_to_make(*v, "text", where);
        *v = text_of(*text);
        return true;
    }

    // Text is a path; relative to the current folder, if it is.
    bool make_file(value *v, place where)
    {
        if (v->what == value::list && v->items.size() == 1) {
            const value only = v->items.front();
            *v = only;
        }
        if (v->what != value::text && v->what != value::file)
            return fail_to_make(*v, "a file", where);
        const std::string path =
            v->text_value.empty() ? "" : platform::absolute_path(v->text_value);
        if (path.empty())
            return fail(fnfErr, "File " + source(*v) + " wasn't found.", where);
        *v = {value::file, 0, path};
        return true;
    }

    static bool quote(value *v)
    {
        *v = text_of(platform::in_single_quotes(v->text_value.c_str()));
        return true;
    }

    // ---- lists ----

    bool is_list(const value &v, place where)
    {
        return v.what == value::list || fail_to_make(v, "a list", where);
    }

    bool count(value *v, place where)
    {
        if (v->what == value::text) {
            *v = number_of(static_cast<std::int64_t>(count_characters(v->text_value)));
            return true;
        }
        if (!is_list(*v, where))
            return false;
        *v = number_of(static_cast<std::int64_t>(v->items.size()));
        return true;
    }

    bool take_rest(value *v, place where)
    {
        if (!is_list(*v, where))
            return false;
        if (v->items.empty())
            return fail(no_such_item, "Can't get rest of {}.", where);
        v->items.erase(v->items.begin());
        return true;
    }

    // Turns a number counted from 1, or from the end if it is negative, into an index from 0.
    bool find_index(const expression &e, const expression &number, const value &list,
                    std::size_t *index)
    {
        value n;
        if (!evaluate(number, &n) || !make_number(&n, number.where))
            return false;
        const auto size = static_cast<std::int64_t>(list.items.size());
        const std::int64_t from_start =
            n.number_value < 0 ? n.number_value + size + 1 : n.number_value;
        if (from_start < 1 || from_start > size)
            return fail(no_such_item, "Can't get item " + source(n) + " of " + source(list) + ".",
                        e.where);
        *index = static_cast<std::size_t>(from_start - 1);
        return true;
    }

    bool take_item(const expression &e, value *into)
    {
        value list;
        std::size_t index = 0;
        if (!evaluate(e.parts[1], &list) || !is_list(list, e.where) ||
            !find_index(e, e.parts[0], list, &index))
            return false;
        *into = std::move(list.items[index]);
        return true;
    }

    bool take_items(const expression &e, value *into)
    {
        value list;
        std::size_t first = 0;
        std::size_t last = 0;
        if (!evaluate(e.parts[2], &list) || !is_list(list, e.where))
            return false;
        const bool whole_empty_list = list.items.empty() && e.parts[0].where.to == 0;
        if (!whole_empty_list &&
            (!find_index(e, e.parts[0], list, &first) || !find_index(e, e.parts[1], list, &last)))
            return false;
        if (!list.items.empty()) {
            const auto start = list.items.begin();
            const auto [from, to] = std::minmax(first, last);
            list.items = std::vector<value>(start + static_cast<std::ptrdiff_t>(from),
                                            start + static_cast<std::ptrdiff_t>(to) + 1);
        }
        *into = std::move(list);
        return true;
    }

    // ---- operations ----

    bool evaluate_chain(const expression &e, value *into)
    {
        if (!evaluate(e.parts[0], into))
            return false;
        for (std::size_t i = 0; i < e.steps.size(); ++i) {
            if (!apply(e, i, into))
                return false;
        }
        return true;
    }

    // One step of a chain; *v is what the steps before it have made.
    bool apply(const expression &e, std::size_t step_number, value *v)
    {
        const operation what = e.steps[step_number];
        switch (what) {
        case operation::as_text:
            return make_text(v, e.where);
        case operation::as_integer:
            return make_number(v, e.where);
        case operation::as_file:
            return make_file(v, e.where);
        case operation::as_list:
            *v = list_of(as_list(*v));
            return true;
        default:
            break;
        }
        const bool logical = what == operation::logical_or || what == operation::logical_and;
        if (logical && !is_boolean(*v, e.where))
            return false;
        if (logical && (v->number_value != 0) == (what == operation::logical_or))
            return true; // whatever the other one is
        value other;
        if (!evaluate(e.parts[step_number + 1], &other))
            return false;
        if (logical) {
            *v = other;
            return is_boolean(*v, e.where);
        }
        if (what == operation::join)
            return join(v, other, e.where);
        if (what >= operation::plus)
            return make_number(v, e.where) && make_number(&other, e.where) &&
                   calculate(what, v->number_value, other.number_value, e.where, v);
        return compare(what, v, other, e.where);
    }

    bool join(value *v, value &other, place where)
    {
        if (v->what == value::text) {
            if (!make_text(&other, where))
                return false;
            v->text_value += other.text_value;
            return true;
        }
        std::vector<value> items = as_list(*v);
        const std::vector<value> more = as_list(other);
        items.insert(items.end(), more.begin(), more.end());
        *v = list_of(std::move(items));
        return true;
    }

    bool calculate(operation what, std::int64_t a, std::int64_t b, place where, value *into)
    {
        std::int64_t number = 0;
        bool overflows = false;
        if (what == operation::plus) {
            overflows = __builtin_add_overflow(a, b, &number);
        } else if (what == operation::minus) {
            overflows = __builtin_sub_overflow(a, b, &number);
        } else if (what == operation::times) {
            overflows = __builtin_mul_overflow(a, b, &number);
        } else {
            if (b == 0)
                return fail(divided_by_zero, "Can't divide by zero.", where);
            overflows = a == std::numeric_limits<std::int64_t>::min() && b == -1;
            if (!overflows)
                number = what == operation::divided ? a / b : a % b;
        }
        if (overflows)
            return fail(too_large, "The result of a numeric operation was too large.", where);
        *into = number_of(number);
        return true;
    }

    bool compare(operation what, value *v, const value &other, place where)
    {
        bool truth = false;
        if (what == operation::equal || what == operation::unequal) {
            truth = equal(*v, other) == (what == operation::equal);
        } else if (v->what == value::list && what >= operation::contains) {
            truth = list_has(what, v->items, other);
        } else if (v->what == value::text && other.what == value::text) {
            truth = text_holds(what, folded(v->text_value), folded(other.text_value));
        } else if (what >= operation::contains) {
            return fail_to_make(*v, "text", where);
        } else {
            value number = other;
            if (!make_number(v, where) || !make_number(&number, where))
                return false;
            truth = in_order(what, v->number_value, number.number_value);
        }
        *v = boolean_of(truth);
        return true;
    }

    static bool list_has(operation what, const std::vector<value> &items, const value &wanted)
    {
        if (what == operation::contains)
            return std::any_of(items.begin(), items.end(),
                               [&](const value &item) { return equal(item, wanted); });
        return !items.empty() &&
               equal(what == operation::starts_with ? items.front() : items.back(), wanted);
    }

    static bool text_holds(operation what, const std::string &text, const std::string &other)
    {
        if (what == operation::contains)
            return text.find(other) != text.npos;
        if (what == operation::starts_with)
            return text.compare(0, other.size(), other) == 0;
        if (what == operation::ends_with)
            return text.size() >= other.size() &&
                   text.compare(text.size() - other.size(), other.size(), other) == 0;
        return in_order(what, text.compare(other), 0);
    }

    static bool in_order(operation what, std::int64_t a, std::int64_t b)
    {
        return what == operation::less      ? a < b
               : what == operation::greater ? a > b
               : what == operation::at_most ? a <= b
                                            : a >= b;
    }

    // ---- requests ----

    // As data of an event: a file as its path, a list item by item.
    bool to_data(const value &v, place where, request_value *into)
    {
        if (v.what == value::text || v.what == value::file) {
            *into = {request_value::text, v.text_value};
            return true;
        }
        if (v.what == value::number &&
            v.number_value == static_cast<std::int32_t>(v.number_value)) {
            *into = {request_value::number, {}, static_cast<std::int32_t>(v.number_value)};
            return true;
        }
        if (v.what != value::list)
            return fail_to_make(v, "a parameter", where);
        *into = {request_value::list};
        into->items.resize(v.items.size());
        for (std::size_t i = 0; i < v.items.size(); ++i) {
            if (!to_data(v.items[i], where, &into->items[i]))
                return false;
        }
        return true;
    }

    // Makes of the value what the parameter is.
    bool make_fit(scripting_value kind, value *v, place where)
    {
        if (kind == scripting_value::text)
            return v->what == value::text || (v->what == value::number && make_text(v, where)) ||
                   fail_to_make(*v, "text", where);
        if (kind == scripting_value::file)
            return make_file(v, where);
        std::vector<value> files = as_list(*v);
        for (value &file : files) {
            if (!make_file(&file, where))
                return false;
        }
        *v = list_of(std::move(files));
        return true;
    }

    bool add_value(const expression &e, std::size_t which, request *asked)
    {
        const given_value &given = e.given[which];
        const place where = e.parts[which].where;
        value v;
        request_value data;
        if (!evaluate(e.parts[which], &v))
            return false;
        if (given.keyword == 0 && !make_fit(e.term->parameters[given.parameter].value, &v, where))
            return false;
        if (!to_data(v, where, &data))
            return false;
        if (given.keyword == 0)
            add_parameter(asked, *e.term, given.parameter, data);
        else
            asked->parameters.emplace_back(given.keyword, data);
        return true;
    }

    // Sends the request; what it answers is the result.
    bool send(const expression &e)
    {
        request asked = {e.event_class, e.event_id};
        for (std::size_t i = 0; i < e.given.size(); ++i) {
            if (!add_value(e, i, &asked))
                return false;
        }
        const request_reply reply = world.send(asked, mode, ticks);
        if (reply.error == procNotFound)
            return fail(reply.error, reply.error_text, e.where);
        if (reply.error != noErr)
            return fail(reply.error, "papermill got an error: " + reply.error_text, e.where);
        result.reset();
        if (reply.result.kind == request_value::number)
            result = number_of(reply.result.number_value);
        else if (reply.result.kind == request_value::text)
            result = text_of(reply.result.bytes);
        return true;
    }

    // ---- statements ----

    flow run(const std::vector<statement> &statements)
    {
        for (const statement &each : statements) {
            const flow outcome = run(each);
            if (outcome != flow::go_on)
                return outcome;
        }
        return flow::go_on;
    }

    flow run(const statement &s)
    {
        switch (s.what) {
        case statement::evaluate:
            if (s.parts[0].what == expression::request)
                return send(s.parts[0]) ? flow::go_on : flow::failed;
            return keep_result(s.parts[0]) ? flow::go_on : flow::failed;
        case statement::set:
            if (!keep_result(s.parts[0]))
                return flow::failed;
            variables[s.name] = *result;
            return flow::go_on;
        case statement::give_back:
            if (!s.parts.empty())
                return run_return(s);
            result.reset();
            return flow::script_ends;
        case statement::log:
            if (!keep_result(s.parts[0]))
                return flow::failed;
            world.log(shown(*result));
            result.reset();
            return flow::go_on;
        case statement::error:
            return raise(s);
        case statement::exit_repeat:
            return flow::leave_loop;
        case statement::group:
            return run(s.blocks[0]);
        case statement::choice:
            return choose(s);
        case statement::attempt:
            return attempt(s);
        case statement::timeout:
        case statement::ignoring:
            return run_otherwise(s);
        case statement::loop_numbers:
            return count_loop(s);
        case statement::loop_items:
            return walk_loop(s);
        default:
            return repeat(s);
        }
    }

    bool keep_result(const expression &e)
    {
        value v;
        if (!evaluate(e, &v))
            return false;
        result = std::move(v);
        return true;
    }

    flow run_return(const statement &s)
    {
        if (s.parts[0].what == expression::request)
            return send(s.parts[0]) ? flow::script_ends : flow::failed;
        return keep_result(s.parts[0]) ? flow::script_ends : flow::failed;
    }

    flow raise(const statement &s)
    {
        value text;
        value number;
        if (!evaluate(s.parts[0], &text) || !make_text(&text, s.where) ||
            !evaluate(s.parts[1], &number) || !make_number(&number, s.where))
            return flow::failed;
        const bool possible = number.number_value != 0 &&
                              number.number_value == static_cast<int>(number.number_value);
        fail(possible ? static_cast<int>(number.number_value) : general_error, text.text_value,
             s.where);
        return flow::failed;
    }

    flow choose(const statement &s)
    {
        for (std::size_t i = 0; i < s.blocks.size(); ++i) {
            bool holds = i >= s.parts.size(); // "else"
            if (!holds && !test(s.parts[i], &holds))
                return flow::failed;
            if (holds)
                return run(s.blocks[i]);
        }
        return flow::go_on;
    }

    bool test(const expression &e, bool *holds)
    {
        value v;
        if (!evaluate(e, &v) || !is_boolean(v, e.where))
            return false;
        *holds = v.number_value != 0;
        return true;
    }

    flow attempt(const statement &s)
    {
        const flow outcome = run(s.blocks[0]);
        if (outcome != flow::failed)
            return outcome;
        const problem caught = std::exchange(error, {});
        result.reset();
        if (!s.name.empty())
            variables[s.name] = text_of(caught.text);
        if (!s.number_name.empty())
            variables[s.number_name] = number_of(caught.number);
        return s.blocks.size() > 1 ? run(s.blocks[1]) : flow::go_on;
    }

    // A block whose requests are sent in another way.
    flow run_otherwise(const statement &s)
    {
        const auto before = std::pair(mode, ticks);
        if (s.what == statement::ignoring) {
            mode = kAENoReply;
        } else {
            value seconds;
            if (!evaluate(s.parts[0], &seconds) || !make_number(&seconds, s.parts[0].where))
                return flow::failed;
            constexpr std::int64_t most =
                std::numeric_limits<std::int32_t>::max() / ticks_in_a_second;
            ticks = static_cast<std::int32_t>(
                std::clamp<std::int64_t>(seconds.number_value, 0, most) * ticks_in_a_second);
        }
        const flow outcome = run(s.blocks[0]);
        std::tie(mode, ticks) = before;
        return outcome;
    }

    // Runs a loop's block once; false when that ends the loop, with *outcome as its own.
    bool run_round(const statement &s, flow *outcome)
    {
        *outcome = run(s.blocks[0]);
        if (*outcome == flow::go_on)
            return true;
        if (*outcome == flow::leave_loop)
            *outcome = flow::go_on;
        return false;
    }

    flow repeat(const statement &s)
    {
        std::int64_t rounds = std::numeric_limits<std::int64_t>::max();
        if (s.what == statement::loop_times) {
            value times;
            if (!evaluate(s.parts[0], &times) || !make_number(&times, s.parts[0].where))
                return flow::failed;
            rounds = times.number_value;
        }
        flow outcome = flow::go_on;
        for (std::int64_t i = 0; i < rounds; ++i) {
            bool holds = false;
            if (s.what == statement::loop_while || s.what == statement::loop_until) {
                if (!test(s.parts[0], &holds))
                    return flow::failed;
                if (holds == (s.what == statement::loop_until))
                    break;
            }
            if (!run_round(s, &outcome))
                break;
        }
        return outcome;
    }

    flow count_loop(const statement &s)
    {
        std::int64_t numbers[3] = {}; // from, to, by
        for (std::size_t i = 0; i < 3; ++i) {
            value v;
            if (!evaluate(s.parts[i], &v) || !make_number(&v, s.parts[i].where))
                return flow::failed;
            numbers[i] = v.number_value;
        }
        auto [number, last, difference] = numbers;
        if (difference == 0) {
            fail(paramErr, "A loop can't count by 0.", s.parts[2].where);
            return flow::failed;
        }
        flow outcome = flow::go_on;
        while (difference > 0 ? number <= last : number >= last) {
            variables[s.name] = number_of(number);
            if (!run_round(s, &outcome) || __builtin_add_overflow(number, difference, &number))
                break;
        }
        return outcome;
    }

    flow walk_loop(const statement &s)
    {
        value list;
        if (!evaluate(s.parts[0], &list))
            return flow::failed;
        flow outcome = flow::go_on;
        for (const value &item : as_list(list)) {
            variables[s.name] = item;
            if (!run_round(s, &outcome))
                break;
        }
        return outcome;
    }
};

} // namespace

problem run_script(const script &what, const std::vector<std::string> &arguments,
                   const outside &world, std::optional<value> *result)
{
    interpreter state = {world};
    if (!what.arguments_name.empty()) {
        std::vector<value> words;
        words.reserve(arguments.size());
        for (const std::string &argument : arguments)
            words.push_back(text_of(argument));
        state.variables[what.arguments_name] = list_of(std::move(words));
    }
    state.run(what.statements);
    *result = std::move(state.result);
    return state.error;
}

} // namespace applescript
