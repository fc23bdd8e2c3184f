// The terminal program.
#ifndef PAPERMILL_CLI_PROGRAM_H
#define PAPERMILL_CLI_PROGRAM_H

// Parses the call, starts up, runs the command, cleans up. Returns the exit status, a cli_exit.
int run_terminal_program(int argc, char **argv);

#endif
