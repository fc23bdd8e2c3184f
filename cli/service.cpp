#include "cli/service.h"

#include "app/globals.h"
#include "cli/exit_statuses.h"
#include "cli/interruption.h"
#include "platform/core/session_bus.h"
#include "platform/events.h"
#include "platform/headless/terminal.h"
#include "platform/processes.h"

#include <cstdio>
#include <cstdlib>
#include <poll.h>

static constexpr int patience_without_bus = 60; // seconds

// An interrupt ends a run first, and then, told again, the service.
static void interrupt_service()
{
    if (!interrupt_run())
        std::exit(cli_interrupted);
}

// Nobody can reach the service any more, or end it by a request.
static void end_without_bus()
{
    if (inRun != 0)
        return;
    std::fputs("papermill: the session bus has gone.\n", stderr);
    std::exit(cli_failed);
}

int serve(const cli_request & /*request*/)
{
    switch (platform::take_program_name()) {
    case platform::program_name::no_bus:
        std::fputs("papermill: no session bus answers, so that no request can come in.\n", stderr);
        return cli_failed;
    case platform::program_name::held:
        std::fputs("papermill: the program runs already and answers the requests.\n", stderr);
        return cli_failed;
    case platform::program_name::taken:
        break;
    }
    // Registered last, so that it comes first: a run's processes end before its folder goes.
    std::atexit(platform::kill_run_processes);
    platform::on_interrupt(interrupt_service);
    platform::keep_answering();
    platform::on_bus_gone(patience_without_bus, end_without_bus);
    platform::listen_to(platform::bus_poll, platform::read_bus);
    RunApplicationEventLoop();
    return cli_done;
}
