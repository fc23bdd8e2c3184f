#include "cli/send.h"

#include "cli/exit_statuses.h"
#include "platform/core/atomic_file.h"
#include "scripting/apple_events.h"
#include "scripting/sending.h"

#include <cctype>
#include <cstdio>
#include <string>
#include <vector>

namespace {

std::string in_capitals(const char *name)
{
    std::string result;
    for (; *name != 0; ++name)
        result += static_cast<char>(std::toupper(static_cast<unsigned char>(*name)));
    return result;
}

std::string option_for(const scripting_parameter &parameter)
{
    return std::string("--") + parameter.label;
}

// A parameter that can be left out is an option; the others stand in their order.
std::string call_of(const scripting_term &term)
{
    std::string options;
    std::string words;
    for (const scripting_parameter &parameter : term.parameters) {
        if (parameter.value == scripting_value::none)
            continue;
        const std::string name = in_capitals(parameter.name);
        if (!parameter.required)
            options += " [" + option_for(parameter) + " " + name + "]";
        else
            words += " " + name + (parameter.value == scripting_value::files ? "..." : "");
    }
    return term.word + options + words;
}

int refuse_call(const scripting_term &term)
{
    std::fprintf(stderr, "papermill: the call is: papermill send %s\n", call_of(term).c_str());
    return cli_usage;
}

// Adds the word to the request; false, after a message, when it names no file.
bool add_word(request *asked, const scripting_term &term, std::size_t parameter,
              const std::string &word)
{
    const bool text = term.parameters[parameter].value == scripting_value::text;
    const std::string bytes = text ? word : platform::absolute_path(word);
    if (bytes.empty() && !text) {
        std::fprintf(stderr, "papermill: %s: the current folder is gone.\n", word.c_str());
        return false;
    }
    add_parameter(asked, term, parameter, {request_value::text, bytes});
    return true;
}

// The number of the option that the word is, or most_scripting_parameters.
std::size_t find_option(const scripting_term &term, const std::string &word)
{
    for (std::size_t i = 0; i < most_scripting_parameters; ++i) {
        const scripting_parameter &parameter = term.parameters[i];
        if (parameter.value != scripting_value::none && !parameter.required &&
            word == option_for(parameter))
            return i;
    }
    return most_scripting_parameters;
}

// Makes the request's parameters of the words behind its name. cli_done, or how to end.
int read_words(const scripting_term &term, const std::vector<std::string> &words, request *asked)
{
    std::vector<std::string> plain;
    bool options_end = false;
    for (std::size_t i = 1; i < words.size(); ++i) {
        const std::size_t option =
            options_end ? most_scripting_parameters : find_option(term, words[i]);
        if (option < most_scripting_parameters && i + 1 == words.size())
            return refuse_call(term);
        if (option < most_scripting_parameters && !add_word(asked, term, option, words[++i]))
            return cli_failed;
        if (option < most_scripting_parameters)
            continue;
        if (!options_end && words[i] == "--")
            options_end = true;
        else
            plain.push_back(words[i]);
    }
    std::size_t next = 0;
    for (std::size_t i = 0; i < most_scripting_parameters; ++i) {
        const scripting_parameter &parameter = term.parameters[i];
        if (parameter.value == scripting_value::none || !parameter.required)
            continue;
        do {
            if (next == plain.size())
                return refuse_call(term);
            if (!add_word(asked, term, i, plain[next++]))
                return cli_failed;
        } while (parameter.value == scripting_value::files && next < plain.size());
    }
    return next == plain.size() ? int{cli_done} : refuse_call(term);
}

bool is_busy(const request_reply &reply)
{
    return reply.error == errAEEventNotHandled &&
           reply.error_text.find("is busy") != std::string::npos;
}

// Says what came of it, if it is not what was asked for.
int tell(const scripting_term &term, const request_reply &reply)
{
    if (reply.error != noErr) {
        std::fprintf(stderr, "papermill: %s: %s (%d)\n", term.word, reply.error_text.c_str(),
                     reply.error);
        if (reply.error == userCanceledErr)
            return cli_interrupted;
        return is_busy(reply) ? cli_busy : cli_failed;
    }
    if (reply.result.kind != request_value::number || reply.result.number_value == 0)
        return cli_done;
    std::fprintf(stderr, "papermill: %s: the work ended with exit status %d.\n", term.word,
                 static_cast<int>(reply.result.number_value));
    return cli_failed;
}

} // namespace

int send_event(const cli_request &request_words)
{
    const std::vector<std::string> &words = request_words.words;
    const scripting_term *term = find_scripting_term(words[0].c_str());
    if (term == nullptr) {
        std::fprintf(stderr,
                     "papermill: there is no request %s; \"papermill send --help\" shows them.\n",
                     words[0].c_str());
        return cli_usage;
    }
    request asked = request_for(*term);
    const int understood = read_words(*term, words, &asked);
    if (understood != cli_done)
        return understood;
    return tell(*term, send_request(asked, kAEWaitReply, kNoTimeOut, NewAEIdleUPP(myIdleProcSend)));
}

const char *list_of_events()
{
    static const std::string list = [] {
        std::string text = "one of these, with its parameters:";
        for (std::size_t i = 0; i < scripting_term_count; ++i)
            text += "\n" + call_of(scripting_terms[i]);
        return text;
    }();
    return list.c_str();
}
