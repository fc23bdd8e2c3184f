// papermill send: asks the running program for something.
#ifndef PAPERMILL_CLI_SEND_H
#define PAPERMILL_CLI_SEND_H

#include "cli/request.h"

// Sends the request that the first word names, with the words behind it as its parameters. Needs no
// start-up. The result is a cli_exit.
int send_event(const cli_request &request);

// What the first word may be, with the parameters of each, for the help.
const char *list_of_events();

#endif
