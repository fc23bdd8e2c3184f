#include "cli/program.h"

#include "app/globals.h"
#include "app/startup.h"
#include "cli/commands.h"
#include "cli/exit_statuses.h"
#include "cli/interruption.h"
#include "console/console_io.h"
#include "platform/core/signals.h"
#include "platform/events.h"
#include "platform/headless/terminal.h"
#include "platform/processes.h"
#include "platform/resources.h"
#include "settings/prefs_store.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

namespace {

std::FILE *withheld; // what the console got in quiet mode, until it is known whether to show it

void withhold_text(const char *bytes, std::size_t size)
{
    std::fwrite(bytes, 1, size, withheld);
}

// Whether all that was printed has reached its file.
bool output_is_written()
{
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0)
        return true;
    std::fprintf(stderr, "papermill: the output can't be written: %s.\n", std::strerror(errno));
    return false;
}

void show_withheld_text()
{
    if (withheld == nullptr)
        return;
    std::rewind(withheld);
    char chunk[4096];
    for (std::size_t n = 0; (n = std::fread(chunk, 1, sizeof chunk, withheld)) > 0;)
        platform::print_text_on(STDERR_FILENO, chunk, n);
}

// Ctrl-C: ends every process of the run, which then ends as a cancelled one. Where no run is on,
// the program just ends.
void interrupt()
{
    if (interrupt_run())
        return;
    if (userCancel == 0) // else the run has told it
        text_printf("\nUser cancelled processing.\n");
    show_withheld_text();
    std::exit(cli_interrupted);
}

// Whoever sent a signal other than Ctrl-C is to see that it was the end.
void pass_signal_on()
{
    const int number = platform::interrupt_signal();
    if (number != 0 && number != SIGINT) {
        std::signal(number, SIG_DFL);
        std::raise(number);
    }
}

// A script that ended without a report.
void processes_gone()
{
    inScript = 0;
}

struct parsed_call {
    cli_request request;
    const cli_command *command = nullptr;
    bool version = false;
};

bool is_command_word(const char *word)
{
    return std::any_of(cli_commands.begin(), cli_commands.end(), [&](const cli_command &command) {
        const char *first = command.group != nullptr ? command.group : command.name;
        return *first != 0 && std::strcmp(first, word) == 0;
    });
}

// The parser would take "[a,b]" for a list of two words. With a byte before it, it does not.
constexpr char shield = '\1';

bool needs_shield(const std::string &word)
{
    return !word.empty() && (word.front() == '[' || word.front() == shield) && word.back() == ']';
}

std::string shielded(const std::string &word)
{
    return needs_shield(word) ? shield + word : word;
}

// The word as it was typed.
std::string unshielded(const std::string &word)
{
    return needs_shield(word) ? word.substr(1) : word;
}

// The words of the call, last one first as the parser takes them. A first word that is no command
// is a file, and so is all that follows: it must not be taken for a command by accident.
std::vector<std::string> reversed_words(int argc, char **argv)
{
    std::vector<std::string> words;
    bool first = true;
    for (int i = 1; i < argc; ++i) {
        const bool option = argv[i][0] == '-' && argv[i][1] != 0;
        if (first && !option) {
            first = false;
            if (!is_command_word(argv[i]))
                words.emplace_back("--");
        } else if (first && std::strcmp(argv[i], "--") == 0) {
            first = false;
        }
        words.push_back(shielded(argv[i]));
    }
    std::reverse(words.begin(), words.end());
    return words;
}

void add_arguments(CLI::App *app, const cli_command &command, cli_request *request)
{
    for (const cli_argument &argument : command.arguments) {
        CLI::Option *option = app->add_option(
            argument.name,
            [request](const CLI::results_t &words) {
                for (const std::string &word : words)
                    request->words.push_back(unshielded(word));
                return true;
            },
            argument.help);
        option->type_name("")->required(argument.required)->type_size(1);
        option->expected(1, argument.many ? CLI::detail::expected_max_vector_size : 1);
        option->allow_extra_args(argument.many);
    }
    for (const cli_option &option : command.options) {
        const std::string name = option.name;
        const auto take = [request, name](const std::string &value) {
            request->options[name] = unshielded(value);
        };
        if (option.value != nullptr)
            app->add_option_function<std::string>(name, take, option.help)
                ->type_name(option.value)
                ->required(option.required);
        else
            app->add_flag_callback(
                name, [take] { take(""); }, option.help);
    }
    app->positionals_at_end(command.free_words);
}

// Parses the call into *call. A cli_exit when it ends here (help, wrong usage), else -1.
int parse(int argc, char **argv, parsed_call *call)
{
    CLI::App app("Converts PostScript and EPS files with Ghostscript and shows what it said.",
                 "papermill");
    app.set_help_flag("--help", "Show this help and end");
    app.add_flag("--version", call->version, "Print the version and end");
    app.add_flag("--quiet", call->request.quiet, "Print nothing unless something fails");
    app.add_flag("--background", call->request.background,
                 "Run tools as a program that is not in front does: without waiting for a report");
    app.footer("Exit status: 0 done, 1 a conversion failed, 2 wrong usage, 75 busy, "
               "130 interrupted.");
    app.require_subcommand(0, 1);
    std::map<std::string, CLI::App *> groups;
    for (const cli_command &command : cli_commands) {
        if (*command.name == 0) {
            add_arguments(&app, command, &call->request);
            continue;
        }
        CLI::App *parent = &app;
        if (command.group != nullptr) {
            CLI::App *&group = groups[command.group];
            if (group == nullptr) {
                group = app.add_subcommand(command.group, "Show and change the settings");
                group->require_subcommand(1);
            }
            parent = group;
        }
        CLI::App *sub = parent->add_subcommand(command.name, command.help);
        add_arguments(sub, command, &call->request);
        sub->callback([call, &command] { call->command = &command; });
    }

    try {
        std::vector<std::string> words = reversed_words(argc, argv);
        app.parse(words);
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? cli_done : cli_usage;
    }
    if (call->command == nullptr)
        call->command = &cli_commands.front();
    if (!call->version && call->command == &cli_commands.front() && call->request.words.empty()) {
        std::fputs(app.help().c_str(), stderr);
        return cli_usage;
    }
    return -1;
}

// Starts up what converts, and runs the command.
int start_and_run(const parsed_call &call)
{
    platform::on_interrupt(interrupt);
    platform::on_processes_gone(processes_gone);
    platform::prepare_for_tools();
    platform::set_front_process(!call.request.background);
    platform::open_application_resources();
    initial();
    install_handlers();
    if (!call.command->shows_console || tmpPath[0] != 0)
        return call.command->run(call.request);
    std::fputs("papermill: no folder for temporary files can be made, neither in $TMPDIR nor in "
               "/tmp.\n",
               stderr);
    return cli_failed;
}

} // namespace

int run_terminal_program(int argc, char **argv)
{
    platform::occupy_standard_files();
    parsed_call call;
    const int ended = parse(argc, argv, &call);
    if (ended >= 0)
        return ended;
    if (call.version) {
        std::printf("papermill %s\n", PAPERMILL_VERSION);
        return output_is_written() ? cli_done : cli_failed;
    }

    // Registered first, so that it comes last, when all is cleaned up.
    std::atexit(pass_signal_on);
    platform::catch_signals();
    const bool quiet = call.request.quiet || !call.command->shows_console;
    if (quiet) {
        withheld = fdopen(memfd_create("console", MFD_CLOEXEC), "w+");
        if (withheld != nullptr) // better loud than lost
            platform::set_text_writer(withhold_text);
    }
    int status = call.command->converts ? start_and_run(call) : call.command->run(call.request);

    if (!output_is_written() && status == cli_done)
        status = cli_failed;
    if (platform::interrupt_signal() != 0)
        status = cli_interrupted;
    // Lost settings are told by the start that found it, or nobody ever hears of them.
    if (quiet && (status != cli_done || damagedPrefs))
        show_withheld_text();
    return status;
}
