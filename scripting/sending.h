// Sends requests to the running program, for the programs that do only that.
#ifndef PAPERMILL_SCRIPTING_SENDING_H
#define PAPERMILL_SCRIPTING_SENDING_H

#include "scripting/requests.h"

// Sends the request to the program that $PAPERMILL_INSTANCE names, to the one that everybody knows
// where it names none, and waits for the answer as AESend does. "done" is a report of the run that
// $PAPERMILL_RUN names, and nobody waits for an answer to it: its receiver may be busy in the very
// run that it reports. Where $PAPERMILL_INSTANCE is empty, that run's program is on no bus.
request_reply send_request(const request &asked, AESendMode mode, std::int32_t ticks,
                           AEIdleUPP idle);

#endif
