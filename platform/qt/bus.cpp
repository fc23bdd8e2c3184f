#include "platform/core/session_bus.h"
#include "platform/qt/application.h"
#include "platform/qt/state.h"

#include <QApplication>
#include <QSocketNotifier>

namespace {

QSocketNotifier *notifier;

void come_to_front(const char *token)
{
    // Where windows may not come to the front by themselves, the desktop's token allows it.
    if (*token != 0)
        qputenv("XDG_ACTIVATION_TOKEN", token);
    platform::raise_windows();
}

void on_bus()
{
    if (platform::process_bus())
        return;
    notifier->setEnabled(false); // the bus is gone
    notifier->deleteLater();
}

} // namespace

void platform::serve_bus()
{
    if (bus_descriptor() < 0)
        return;
    on_activate_request(come_to_front);
    notifier = new QSocketNotifier(bus_descriptor(), QSocketNotifier::Read, qApp);
    QObject::connect(notifier, &QSocketNotifier::activated, on_bus);
    on_bus(); // what has come in since the name was taken
}
