// The desktop program with its change log open, which no menu item reaches: for the picture of it.
#include "app/startup.h"
#include "dialogs/changes_window.h"
#include "platform/events.h"
#include "platform/processes.h"
#include "platform/qt/application.h"
#include "platform/windows.h"

#include <csignal>

static void show(EventLoopTimerRef timer, void * /*data*/)
{
    if (FrontWindow() == nullptr)
        return; // the sheet stands on it
    RemoveEventLoopTimer(timer);
    Changes();
}

int main()
{
    std::signal(SIGTERM, SIG_DFL);
    platform::set_front_process(true);
    platform::open_desktop("papermill-desktop", "show_changes: no display can be reached.");
    if (initial() == 0)
        return 1;
    InstallEventLoopTimer(GetCurrentEventLoop(), 0.0, 0.1, show, nullptr, nullptr);
    RunApplicationEventLoop();
    return 0;
}
