#include "tests/support/spine_test.h"

#include "app/globals.h"
#include "app/startup.h"
#include "console/console_text.h"
#include "platform/core/signals.h"
#include "platform/events.h"
#include "platform/processes.h"
#include "platform/strings.h"
#include "settings/prefs_store.h"

#include <csignal>
#include <cstdlib>
#include <regex>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

// A resource file without resources: a header, and a map whose lists are empty.
static std::string empty_resource_file()
{
    constexpr unsigned char map_length = 30;
    std::string header(16, '\0');
    header[2] = header[6] = 1; // data and map both begin at 256
    header[15] = map_length;
    std::string lists(14, '\0');
    lists[9] = 28;          // where the list of types begins in the map,
    lists[11] = map_length; // and the list of names
    lists[12] = lists[13] = '\xFF';
    return header + std::string(240, '\0') + header + lists;
}

static std::string current_folder()
{
    char *path = getcwd(nullptr, 0);
    std::string result = path == nullptr ? "/" : path;
    std::free(path);
    return result;
}

spine_test::spine_test() : old_folder(current_folder()), old_path(std::getenv("PATH"))
{
    watched = watched_platform();
    watched.console = &console;
    setenv("PATH", (std::string(PAPERMILL_BUNDLE) + "/Resources/bin:" + old_path).c_str(), 1);
    setenv("HOME", home.path().c_str(), 1);
    unsetenv("XDG_CONFIG_HOME");
    home.make_folder(".config/papermill");
    home.write(".config/papermill/PapermillPrefsDF", empty_resource_file());
    platform::copy_whole(prefsPath, (home / ".config/papermill").c_str());
    check_config();
    platform::copy_whole(tmpPath, temporary.path().c_str());
    platform::copy_whole(userPath, home.path().c_str());
    platform::copy_whole(worksheet, (temporary / "worksheet").c_str());
    appPID = getpid();
    have103 = 1;
    inBackground = 0;
    inScript = 0;
    inRun = 0;
    userCancel = 0;
    doDebug = 0;
    interrupted = 0;
    exit_status = 0;
    failed_conversions = 0;
    platform::catch_signals();
    platform::prepare_for_tools();
    platform::on_processes_gone([] { inScript = 0; });
    install_signal_handler();
}

// Ends every process that the test has left, whatever run it belongs to: those whose parents end
// become children of this process.
static void end_children()
{
    const std::string list = "/proc/self/task/" + std::to_string(getpid()) + "/children";
    do {
        std::istringstream children(read_file(list));
        for (pid_t child = 0; children >> child;)
            kill(child, SIGKILL);
    } while (waitpid(-1, nullptr, 0) > 0);
}

spine_test::~spine_test()
{
    end_children();
    platform::on_processes_gone(nullptr);
    delete_console_text();
    setenv("PATH", old_path.c_str(), 1);
    EXPECT_EQ(chdir(old_folder.c_str()), 0);
    watched = watched_platform();
}

void spine_test::set_setting(const char *key, const char *value)
{
    ASSERT_EQ(set_str_resource(key, value), 1);
}

void spine_test::during_the_wait(void (*action)())
{
    static void (*wanted)();
    static EventLoopTimerRef timer;
    wanted = action;
    InstallEventLoopTimer(
        GetCurrentEventLoop(), 0.0, 3600.0,
        [](EventLoopTimerRef own, void *) {
            RemoveEventLoopTimer(own);
            wanted();
        },
        nullptr, &timer);
}

void delete_console_text()
{
    TXNDeleteObject(text);
    text = nullptr;
}

std::string without_time(const std::string &shown)
{
    return std::regex_replace(shown, std::regex("Elapsed time = [0-9]+\\.[0-9] sec"),
                              "Elapsed time = N sec");
}
