#include "platform/core/session_bus.h"
#include "platform/qt/application.h"
#include "platform/qt/state.h"

#include <QApplication>
#include <QSocketNotifier>

#include <poll.h>

namespace {

QSocketNotifier *incoming; // null: there is no connection at present
QSocketNotifier *outgoing; // enabled while something waits to be sent

void come_to_front(const char *token)
{
    // Where windows may not come to the front by themselves, the desktop's token allows it.
    if (*token != 0)
        qputenv("XDG_ACTIVATION_TOKEN", token);
    platform::raise_windows();
}

void watch_for_sending()
{
    if (outgoing != nullptr)
        outgoing->setEnabled((platform::bus_poll().events & POLLOUT) != 0);
}

void on_bus()
{
    platform::read_bus();
    platform::look_at_requests();
    watch_for_sending();
}

QSocketNotifier *notifier(int descriptor, QSocketNotifier::Type type)
{
    auto *const made = new QSocketNotifier(descriptor, type, qApp);
    QObject::connect(made, &QSocketNotifier::activated, on_bus);
    return made;
}

// The connection is another one, or there is none.
void watch_bus()
{
    for (QSocketNotifier **old : {&incoming, &outgoing}) {
        if (*old != nullptr) {
            (*old)->setEnabled(false);
            (*old)->deleteLater();
        }
        *old = nullptr;
    }
    const int descriptor = platform::bus_poll().fd;
    if (descriptor < 0)
        return;
    incoming = notifier(descriptor, QSocketNotifier::Read);
    outgoing = notifier(descriptor, QSocketNotifier::Write);
    watch_for_sending();
}

} // namespace

void platform::serve_bus()
{
    on_activate_request(come_to_front);
    on_bus_changed(watch_bus);
    keep_answering();
    watch_bus();
    on_bus(); // what has come in since the name was taken
}
