// What an interrupt does to a run.
#ifndef PAPERMILL_CLI_INTERRUPTION_H
#define PAPERMILL_CLI_INTERRUPTION_H

// Ends every process of the run now in progress, which then ends as a cancelled one. False when
// there is no run.
bool interrupt_run();

#endif
