#include "platform/events.h"

#include "platform/core/event_queue.h"
#include "platform/core/loop_timers.h"
#include "platform/core/modal_watch.h"
#include "platform/core/signals.h"
#include "platform/processes.h"
#include "platform/qt/state.h"

#include <QApplication>
#include <QEventLoop>
#include <QMenuBar>
#include <QSocketNotifier>
#include <QTimer>

#include <algorithm>
#include <list>
#include <memory>
#include <utility>
#include <vector>

namespace {

struct modal_loop {
    WindowRef window;
    platform::modal_watch watch;
    QEventLoop turning;
};

// Those that turn, the innermost last. The list lives for ever: the process may end in one of them.
std::list<modal_loop> &loops = *new std::list<modal_loop>;

QTimer *timer_alarm; // goes off when the next timer is due
QTimer *late_look;   // goes off at once, for a wake that was put off

// The loop of a wait in which nothing but painting happens; null: none waits. What has come in
// meanwhile is looked at afterwards.
QEventLoop *painting;
bool wake_put_off;

// The classic pump turns: it announces requests as events.
bool pumping;

constexpr int longest_alarm = 1000; // milliseconds

void end_innermost_if_told()
{
    if (!loops.empty() && loops.back().watch.ended)
        loops.back().turning.quit();
}

void set_alarm()
{
    timer_alarm->start(platform::milliseconds_to_next_timer(longest_alarm));
}

// Timers are due.
void on_alarm()
{
    if (painting != nullptr)
        return;
    platform::fire_timers(false);
    end_innermost_if_told();
}

void look_at_innermost()
{
    platform::modal_watch idle;
    platform::look_around(loops.empty() ? idle : loops.back().watch, true);
    end_innermost_if_told();
}

// A signal has been handled: a report, the end of a process, an interrupt.
void on_wake()
{
    platform::drain_signal_descriptor();
    if (painting != nullptr) {
        wake_put_off = true;
        painting->quit();
        return;
    }
    look_at_innermost();
}

// Waits like poll_or_signal and paints the windows meanwhile; clicks and keys wait until it is
// over.
bool poll_painting(pollfd *descriptors, unsigned count, int milliseconds)
{
    const auto ready = [&] {
        return std::any_of(descriptors, descriptors + count,
                           [](const pollfd &each) { return each.revents != 0; });
    };
    if (!platform::plain_poll_or_signal(descriptors, count, 0))
        return false;
    if (ready())
        return true;

    QEventLoop loop;
    std::vector<std::unique_ptr<QSocketNotifier>> notifiers;
    for (unsigned i = 0; i < count; ++i) {
        notifiers.push_back(
            std::make_unique<QSocketNotifier>(descriptors[i].fd, QSocketNotifier::Read));
        QObject::connect(notifiers.back().get(), &QSocketNotifier::activated, &loop,
                         &QEventLoop::quit);
    }
    QTimer over;
    QObject::connect(&over, &QTimer::timeout, &loop, &QEventLoop::quit);
    over.start(milliseconds);
    QEventLoop *const outer = painting;
    painting = &loop;
    loop.exec(QEventLoop::ExcludeUserInputEvents);
    painting = outer;
    if (painting == nullptr) {
        set_alarm();
        if (wake_put_off)
            late_look->start();
        wake_put_off = false;
    }
    return platform::plain_poll_or_signal(descriptors, count, 0);
}

} // namespace

void platform::start_events()
{
    timer_alarm = new QTimer(qApp);
    timer_alarm->setSingleShot(true);
    timer_alarm->setTimerType(Qt::PreciseTimer);
    QObject::connect(timer_alarm, &QTimer::timeout, on_alarm);
    late_look = new QTimer(qApp);
    late_look->setSingleShot(true);
    QObject::connect(late_look, &QTimer::timeout, on_wake);
    on_timers_changed(set_alarm);
    auto *notifier = new QSocketNotifier(signal_descriptor(), QSocketNotifier::Read, qApp);
    QObject::connect(notifier, &QSocketNotifier::activated, on_wake);
    set_signal_poll(poll_painting);
}

void platform::look_at_requests()
{
    if (!requests_wait() || pumping)
        return;
    if (painting != nullptr)
        wake_put_off = true;
    else
        look_at_innermost();
}

OSStatus RunAppModalLoopForWindow(WindowRef window)
{
    const bool outer_pumping = std::exchange(pumping, false);
    modal_loop &loop = loops.emplace_back();
    loop.window = window;
    platform::look_around(loop.watch, false);
    if (!loop.watch.ended)
        loop.turning.exec();
    loops.pop_back();
    pumping = outer_pumping;
    // One that came together with the end of the loop has not been told.
    if (platform::interrupt_signal() != 0)
        late_look->start();
    return noErr;
}

OSStatus QuitAppModalLoopForWindow(WindowRef window)
{
    const auto loop = std::find_if(loops.rbegin(), loops.rend(),
                                   [&](const modal_loop &each) { return each.window == window; });
    if (loop == loops.rend())
        return paramErr;
    loop->watch.ended = true;
    loop->turning.quit();
    return noErr;
}

void RunApplicationEventLoop()
{
    QApplication::exec();
}

Boolean WaitNextEvent(std::uint16_t /*mask*/, EventRecord *event, std::uint32_t sleep,
                      void * /*mouseRegion*/)
{
    *event = EventRecord{};
    event->when = TickCount();
    const int longest = static_cast<int>(std::min<std::uint32_t>(sleep, 3600) * 1000 / 60);
    QTimer over;
    over.setSingleShot(true);
    over.start(longest);
    pumping = true;
    QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    pumping = false;
    event->what = platform::requests_wait() ? kHighLevelEvent : nullEvent;
    return event->what == nullEvent ? 0 : 1; // keys and clicks have reached their windows' handlers
}

std::int16_t FindWindow(Point where, WindowRef *window)
{
    const QWidget *const found = QApplication::widgetAt(where.h, where.v);
    *window = nullptr;
    if (qobject_cast<const QMenuBar *>(found) != nullptr)
        return inMenuBar;
    *window = platform::window_of(found);
    return *window == nullptr ? 0 : inContent;
}
