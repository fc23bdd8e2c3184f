#include "platform/qt/application.h"

#include "platform/qt/state.h"
#include "platform/resources.h"

#include <QApplication>
#include <QIcon>
#include <QSessionManager>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

constexpr char application_id[] = "org.papermill.Papermill";

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

// Whoever asks Qt to end the program asks the program, which knows what is left to do.
class quit_filter : public QObject {
public:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (watched != qApp || event->type() != QEvent::Quit)
            return false;
        platform::ask_to_quit();
        return true;
    }
};

void tell_activation(Qt::ApplicationState state)
{
    const bool active = state == Qt::ApplicationActive;
    OpaqueEvent event = {
        kEventClassApplication, active ? kEventAppActivated : kEventAppDeactivated, {}};
    if (platform::send_event(GetApplicationEventTarget(), &event) != eventNotHandledErr)
        return;
    if (active)
        platform::application_returns();
    else
        platform::application_leaves();
}

} // namespace

void platform::open_desktop(const char *program, const char *complaint)
{
    // Qt keeps them, and takes from them what the program does not have: options.
    static std::string name = program;
    static char *argv[] = {name.data(), nullptr};
    static int argc = 1;
    no_display = complaint;
    const QtMessageHandler usual = qInstallMessageHandler(complain_once);
    // It lives as long as the process: whoever ends that is called by the application itself.
    static QApplication *const application = new QApplication(argc, argv);
    qInstallMessageHandler(usual);
    std::setlocale(LC_NUMERIC, "C"); // Qt has taken the user's

    QGuiApplication::setDesktopFileName(application_id);
    QGuiApplication::setWindowIcon(
        QIcon(QString::fromStdString(resources_folder()) + "/" + application_id + ".svg"));
    application->setQuitOnLastWindowClosed(false); // a console that was closed is only hidden
    QObject::connect(application, &QGuiApplication::saveStateRequest, [](QSessionManager &session) {
        session.setRestartHint(QSessionManager::RestartNever);
    });
    application->installEventFilter(new quit_filter);
    QObject::connect(application, &QGuiApplication::applicationStateChanged, tell_activation);
    start_events();
    start_keys();
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
