// The desktop program.
#include "app/globals.h"
#include "app/startup.h"
#include "engine/dispatch.h"
#include "platform/core/signals.h"
#include "platform/events.h"
#include "platform/processes.h"
#include "platform/qt/application.h"
#include "platform/resources.h"

int main(int argc, char **argv)
{
    platform::catch_signals();
    platform::prepare_for_tools();
    platform::open_desktop(&argc, argv,
                           "papermill-desktop: there is no display; in a terminal, use papermill.");
    platform::open_application_resources();
    if (initial() == 0)
        return 0;
    install_signal_handler();
    RunApplicationEventLoop();
    return 0;
}
