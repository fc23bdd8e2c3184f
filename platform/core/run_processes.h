// The outside processes that belong to a run, found through /proc.
#ifndef PAPERMILL_PLATFORM_CORE_RUN_PROCESSES_H
#define PAPERMILL_PLATFORM_CORE_RUN_PROCESSES_H

#include "platform/processes.h"

#include <sys/types.h>
#include <vector>

namespace platform {

// The living processes of the run with that private folder, oldest first, zombies left out: the
// descendants of `application` whose environment names `run_folder`. One that cannot tell (its
// environment is unreadable or lacks the variable) goes with its nearest ancestor that can, and
// counts when there is none. A process with PAPERMILL_DETACHED=1 in its environment, and all below
// it, are no part of any run.
std::vector<process> list_run_processes(pid_t application, const char *run_folder);

// Whether the process has started this one, or one of those that did.
bool is_ancestor(pid_t process);

// Ends the user's processes of runs whose folders lie in `folder`, the temporary folder of an
// application that is gone; detached ones stay.
void kill_abandoned_processes(const std::string &folder);

} // namespace platform

#endif
