#include "tests/qt/desktop_test.h"

#include "app/globals.h"
#include "app/startup.h"
#include "console/console_io.h"
#include "console/console_text.h"
#include "dialogs/about_window.h"
#include "dialogs/dialog_machinery.h"
#include "engine/tool_runner.h"
#include "platform/core/signals.h"
#include "platform/events.h"
#include "platform/processes.h"
#include "platform/qt/application.h"
#include "platform/qt/state.h"
#include "platform/qt/text_view.h"

#include <QApplication>
#include <QMenuBar>
#include <QTest>
#include <QWindow>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

desktop_test::desktop_test()
{
    setenv("HOME", home.path().c_str(), 1);
    unsetenv("XDG_CONFIG_HOME");
    inScript = 0;
    inRun = 0;
    userCancel = 0;
    interrupted = 0;
    failed_conversions = 0;
    inBackground = 0;
    doDebug = 0;
    static const int first_cursor = currcurs; // as the program has them at its start
    static const std::int32_t first_pane = lastTabControl;
    currcurs = first_cursor;
    lastTabControl = first_pane;
    platform::catch_signals();
    platform::prepare_for_tools();
    initial();
    // A second time, each event would be told twice.
    static const bool installed = [] {
        install_handlers();
        return true;
    }();
    EXPECT_TRUE(installed);
    install_signal_handler();
    ClearTextWindow(); // of what a first start says
}

// Ends every process that the test has left.
static void end_children()
{
    const std::string list = "/proc/self/task/" + std::to_string(getpid()) + "/children";
    do {
        std::istringstream children(read_file(list));
        for (pid_t child = 0; children >> child;)
            kill(child, SIGKILL);
    } while (waitpid(-1, nullptr, 0) > 0);
}

desktop_test::~desktop_test()
{
    end_children();
    platform::on_processes_gone(nullptr);
    platform::on_interrupt(nullptr);
    platform::on_quit(nullptr);
    DisposeWindow(aboutWindow);
    aboutWindow = nullptr;
    TXNDeleteObject(text);
    text = nullptr;
    DisposeWindow(theConsole);
    theConsole = nullptr;
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_EQ(chdir("/"), 0); // the folder goes
}

void desktop_test::wait_for_focus()
{
    EXPECT_TRUE(QTest::qWaitForWindowActive(theConsole->widget));
    EXPECT_TRUE(QTest::qWaitFor([] { return QApplication::focusWidget() != nullptr; }));
}

std::string desktop_test::shown()
{
    const auto *view = dynamic_cast<const platform::text_view *>(theConsole->content);
    QString all;
    view->text().for_each_part(0, view->text().size(), [&](std::string_view part) {
        all += platform::shown_string(part);
        return true;
    });
    return all.toStdString();
}

static void send_click(int key, Qt::KeyboardModifiers modifiers, const QString &character)
{
    QWindow *const window = QApplication::activeWindow()->windowHandle();
    for (const auto action : {QTest::Press, QTest::Release})
        QTest::sendKeyEvent(action, window, static_cast<Qt::Key>(key), character, modifiers);
}

void desktop_test::press(int key, Qt::KeyboardModifiers modifiers)
{
    QString character;
    if (key >= Qt::Key_Space && key <= Qt::Key_Z) {
        character = QChar(key);
        if ((modifiers & Qt::ShiftModifier) == 0)
            character = character.toLower();
    }
    send_click(key, modifiers, character);
}

void desktop_test::type(const QString &character)
{
    send_click(Qt::Key_unknown, Qt::NoModifier, character);
}

void desktop_test::during_the_wait(void (*action)())
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

void desktop_test::watch_the_wait(std::function<bool()> look)
{
    static std::function<bool()> wanted;
    static bool looking; // what it does can turn the loop, too
    static std::chrono::steady_clock::time_point deadline;
    wanted = std::move(look);
    deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    InstallEventLoopTimer(
        GetCurrentEventLoop(), 0.0, 0.01,
        [](EventLoopTimerRef own, void *) {
            if (looking)
                return;
            looking = true;
            const bool in_vain = std::chrono::steady_clock::now() > deadline;
            if (in_vain || wanted())
                RemoveEventLoopTimer(own);
            looking = false;
            if (in_vain) {
                ADD_FAILURE() << "what was looked for did not come";
                inScript = 0;
            }
        },
        nullptr, nullptr);
}

static WindowRef make_nib_window(const char *file, const char *name)
{
    IBNibRef nib = nullptr;
    WindowRef window = nullptr;
    EXPECT_EQ(CreateNibReference(file, &nib), noErr);
    EXPECT_EQ(CreateWindowFromNib(nib, name, &window), noErr);
    DisposeNibReference(nib);
    return window;
}

WindowRef make_test_window()
{
    return make_nib_window("test", "window");
}

std::string settings_complaint()
{
    return "The settings can't be stored in \"" + std::string(prefsPath) +
           "/PapermillPrefsDF\". Make the file and its folder writable.\n";
}

WindowRef make_wait_sheet()
{
    return make_nib_window("ps2pdf", "wait");
}

QRect below_menus(int width, int height)
{
    const int top = theConsole->widget->findChild<QMenuBar *>()->height();
    EXPECT_GT(top, 10);
    return {0, top, width, height - top};
}

QWidget *control_of(WindowRef window, int id)
{
    return control_in(*window->widget, id);
}

QWidget *control_in(const QWidget &window, int id)
{
    for (QWidget *widget : window.findChildren<QWidget *>()) {
        if (widget->property("controlID").toInt() == id)
            return widget;
    }
    return nullptr;
}
