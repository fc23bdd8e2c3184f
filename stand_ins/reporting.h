// How a run tells the application that it is over.
#ifndef PAPERMILL_STAND_INS_REPORTING_H
#define PAPERMILL_STAND_INS_REPORTING_H

#include <string>
#include <sys/types.h>

// Leaves the status and the way the run ended ("done", "missing" or "unusable") in the run's
// folder. Nothing when the folder is gone.
void write_status(const std::string &run_folder, int status, const char *ending);

// Reports through osascript and, where that fails, with SIGUSR1 to the application: never both.
// Nothing when the run's folder is gone, because then the run was cancelled. Only an ancestor gets
// the signal: the number of an application that was killed may be anybody's by now.
void report(const std::string &run_folder, pid_t application);

#endif
