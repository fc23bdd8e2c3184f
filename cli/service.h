// The program as a service: requests from the session bus, no files of a call.
#ifndef PAPERMILL_CLI_SERVICE_H
#define PAPERMILL_CLI_SERVICE_H

#include "cli/request.h"

// Answers requests until a quit request or an interrupt ends the process. Returns only when it
// cannot begin: a cli_exit, after a message.
int serve(const cli_request &request);

#endif
