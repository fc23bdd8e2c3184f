#include "platform/qt/application.h"

#include "platform/qt/state.h"

#include <QApplication>
#include <QSessionManager>

#include <clocale>
#include <cstdio>
#include <cstdlib>

namespace {

const char *no_display;
platform::callback quit_callback;

// Qt ends the process when it reaches no display, and tells so in many words. Nothing else that it
// has to say at its start concerns the user.
void complain_once(QtMsgType type, const QMessageLogContext & /*where*/, const QString & /*text*/)
{
    if (type != QtFatalMsg)
        return;
    std::fprintf(stderr, "%s\n", no_display);
    std::_Exit(EXIT_FAILURE);
}

} // namespace

void platform::open_desktop(int *argc, char **argv, const char *complaint)
{
    no_display = complaint;
    const QtMessageHandler usual = qInstallMessageHandler(complain_once);
    // It lives as long as the process: whoever ends that is called by the application itself.
    static QApplication *const application = new QApplication(*argc, argv);
    qInstallMessageHandler(usual);
    std::setlocale(LC_NUMERIC, "C"); // Qt has taken the user's

    application->setQuitOnLastWindowClosed(false); // a console that was closed is only hidden
    QObject::connect(application, &QGuiApplication::saveStateRequest, [](QSessionManager &session) {
        session.setRestartHint(QSessionManager::RestartNever);
    });
    start_events();
}

void platform::on_quit(callback handler)
{
    quit_callback = handler;
}

void platform::ask_to_quit()
{
    if (quit_callback != nullptr)
        quit_callback();
}
