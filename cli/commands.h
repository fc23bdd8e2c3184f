// The terminal program's commands: one table, from which the parser and the help are made.
#ifndef PAPERMILL_CLI_COMMANDS_H
#define PAPERMILL_CLI_COMMANDS_H

#include <string>
#include <vector>

// One call of the program, parsed.
struct cli_request {
    bool quiet = false;             // show the console only when something fails
    bool background = false;        // run as if another program were in front: scripts in line
    std::string folder;             // exec: the folder to run in; empty: the current one
    std::vector<std::string> words; // the command's arguments as typed
};

struct cli_argument {
    const char *name; // as the help shows it
    const char *help;
    bool required;
    bool many; // takes all that follows
};

struct cli_command {
    const char *name;  // empty: the command that is no word, papermill FILE...
    const char *group; // of a two-word command its first word, else null
    const char *help;
    std::vector<cli_argument> arguments;
    bool takes_folder;                      // has the option -C FOLDER
    bool free_words;                        // no word after the first is an option
    bool shows_console;                     // what the program prints is the command's output
    int (*run)(const cli_request &request); // after start-up; returns a cli_exit
};

extern const std::vector<cli_command> cli_commands;

#endif
