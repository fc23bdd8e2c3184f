// osascript: as much of the script language as the program's own requests need. gs.script reports
// the end of a run with it, so it has to be quick.
#include "scripting/sending.h"
#include "stand_ins/applescript_interpreter.h"
#include "stand_ins/complain.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <strings.h>
#include <unistd.h>

namespace {

constexpr int ran = 0, failed = 1, wrong_usage = 2;
constexpr std::size_t longest_script = std::size_t{16} << 20; // bytes

struct call {
    std::string lines; // of -e, each with its end
    bool has_lines = false;
    bool as_source = false;           // how the result is shown
    std::FILE *errors_go_to = stderr; // those of the script
};

int refuse_call()
{
    std::fputs("usage: osascript [-l AppleScript] [-s hseo] [-e line]... [file | -] "
               "[argument]...\n",
               stderr);
    return wrong_usage;
}

bool read_show_flags(const char *flags, call *made)
{
    for (; *flags != 0; ++flags) {
        switch (*flags) {
        case 'h':
        case 's':
            made->as_source = *flags == 's';
            break;
        case 'e':
        case 'o':
            made->errors_go_to = *flags == 'e' ? stderr : stdout;
            break;
        default:
            return false;
        }
    }
    return true;
}

// False, after a message, for a call that is not understood.
bool read_options(int argc, char **argv, call *made)
{
    int option = 0;
    while ((option = getopt(argc, argv, "+e:l:s:")) != -1) {
        if (option == 'e') {
            made->lines.append(optarg).append("\n");
            made->has_lines = true;
        } else if (option == 'l' && strcasecmp(optarg, "AppleScript") != 0) {
            complain("osascript: the language %s is not known.", optarg);
            return false;
        } else if (option == '?' || (option == 's' && !read_show_flags(optarg, made))) {
            refuse_call();
            return false;
        }
    }
    return true;
}

// Reads the script from the file, or from the standard input for "-". False after a message.
bool read_script(const char *name, std::string *script)
{
    const bool input = std::strcmp(name, "-") == 0;
    std::FILE *file = input ? stdin : std::fopen(name, "re");
    if (file == nullptr) {
        complain("osascript: %s: %s", name, std::strerror(errno));
        return false;
    }
    char chunk[65536];
    std::size_t size = 0;
    while (script->size() <= longest_script &&
           (size = std::fread(chunk, 1, sizeof chunk, file)) > 0)
        script->append(chunk, size);
    const int error = std::ferror(file) != 0 ? errno : 0;
    if (!input)
        std::fclose(file);
    if (error != 0)
        complain("osascript: %s: %s", name, std::strerror(error));
    else if (script->size() > longest_script)
        complain("osascript: %s: the script is too long.", name);
    else if (script->compare(0, 7, "FasdUAS") == 0)
        complain("osascript: %s: this is a compiled script; save it as text.", name);
    else
        return true;
    return false;
}

request_reply send(const request &asked, AESendMode mode, std::int32_t ticks)
{
    return send_request(asked, mode, ticks, nullptr);
}

void log(const std::string &line)
{
    std::fprintf(stderr, "%s\n", line.c_str());
}

int run(const call &made, const std::string &text, const std::vector<std::string> &arguments)
{
    using namespace applescript;
    script understood;
    std::optional<value> result;
    problem error = parse_script(text, &understood);
    if (error.number == 0)
        error = run_script(understood, arguments, {send, log}, &result);
    if (error.number != 0) {
        std::fprintf(made.errors_go_to, "%s\n", describe(error, understood.text).c_str());
        return failed;
    }
    if (result)
        std::puts((made.as_source ? source(*result) : shown(*result)).c_str());
    if (std::fflush(stdout) == 0)
        return ran;
    complain("osascript: the result can't be written: %s.", std::strerror(errno));
    return failed;
}

} // namespace

int main(int argc, char **argv)
{
    call made;
    if (!read_options(argc, argv, &made))
        return wrong_usage;
    std::string text = made.lines;
    if (!made.has_lines) {
        const char *name = optind < argc ? argv[optind++] : "-";
        if (!read_script(name, &text))
            return failed;
    }
    return run(made, text, {argv + optind, argv + argc});
}
