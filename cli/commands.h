// The terminal program's commands: one table, from which the parser and the help are made.
#ifndef PAPERMILL_CLI_COMMANDS_H
#define PAPERMILL_CLI_COMMANDS_H

#include "cli/request.h"

#include <vector>

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
    int (*run)(const cli_request &request); // returns a cli_exit
    bool converts = true;                   // itself, so that it has to be started up before
};

extern const std::vector<cli_command> cli_commands;

#endif
