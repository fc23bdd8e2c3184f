// The terminal program's commands: one table, from which the parser and the help are made.
#ifndef PAPERMILL_CLI_COMMANDS_H
#define PAPERMILL_CLI_COMMANDS_H

#include <map>
#include <string>
#include <vector>

// One call of the program, parsed.
struct cli_request {
    bool quiet = false;      // show the console only when something fails
    bool background = false; // run as if another program were in front: scripts in line
    std::map<std::string, std::string> options; // the command's own that were given, as typed
    std::vector<std::string> words;             // the command's arguments as typed
};

struct cli_argument {
    const char *name; // as the help shows it
    const char *help;
    bool required;
    bool many; // takes all that follows
};

struct cli_option {
    const char *name;
    const char *value; // as the help shows it; null: the option has none
    const char *help;
    bool required;
};

struct cli_command {
    const char *name;  // empty: the command that is no word, papermill FILE...
    const char *group; // of a two-word command its first word, else null
    const char *help;
    std::vector<cli_argument> arguments;
    std::vector<cli_option> options;
    bool free_words;                        // no word after the first is an option
    bool shows_console;                     // what the program prints is the command's output
    int (*run)(const cli_request &request); // after start-up; returns a cli_exit
};

extern const std::vector<cli_command> cli_commands;

#endif
