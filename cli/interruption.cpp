#include "cli/interruption.h"

#include "app/globals.h"
#include "platform/processes.h"

bool interrupt_run()
{
    interrupted = 1;
    if (inScript == 0 && inRun == 0)
        return false;
    platform::kill_run_processes();
    userCancel = 1;
    inScript = 0;
    return true;
}
