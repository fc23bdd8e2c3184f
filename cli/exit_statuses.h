// How the terminal program ends. The numbers are a promise to scripts.
#ifndef PAPERMILL_CLI_EXIT_STATUSES_H
#define PAPERMILL_CLI_EXIT_STATUSES_H

enum cli_exit {
    cli_done = 0,         // everything was done
    cli_failed = 1,       // a conversion failed; the output says which and why
    cli_usage = 2,        // the call was not understood
    cli_busy = 75,        // the running program is busy with another request
    cli_interrupted = 130 // ended by Ctrl-C
};

#endif
