// Drags on Qt: what comes over the windows is told to the handlers, and the highlight is drawn.
#include "platform/core/drags.h"
#include "platform/events.h"
#include "platform/qt/state.h"

#include <QApplication>
#include <QDropEvent>
#include <QMimeData>
#include <QPainter>
#include <QPointer>

#include <algorithm>
#include <memory>
#include <utility>

namespace {

constexpr int frame_width = 3;

// A frame in the theme's colour for what is chosen, over whatever is in the window.
class highlight : public QWidget {
public:
    explicit highlight(QWidget *window) : QWidget(window)
    {
        setAttribute(Qt::WA_TransparentForMouseEvents);
    }

protected:
    void paintEvent(QPaintEvent * /*event*/) override
    {
        // The window is seldom the active one while something is dragged to it.
        const QColor colour = palette().color(QPalette::Active, QPalette::Highlight);
        QPainter painter(this);
        painter.setPen(QPen(colour, frame_width, Qt::SolidLine, Qt::SquareCap, Qt::MiterJoin));
        constexpr qreal half = frame_width / 2.0; // the pen draws on both sides of its line
        painter.drawRect(QRectF(rect()).adjusted(half, half, -half, -half));
    }
};

// A drag with the window that it is over.
struct window_drag {
    OpaqueDrag drag;
    QPointer<QWidget> face;
};

std::unique_ptr<window_drag> over; // the one over a window at present; null: none is
window_drag *entered;              // the one that the handlers have not been told to have left
QPointer<highlight> shown;         // for it

std::int16_t classic_modifiers(Qt::KeyboardModifiers modifiers)
{
    constexpr std::pair<Qt::KeyboardModifier, int> bits[] = {{Qt::MetaModifier, 0x0100},
                                                             {Qt::ShiftModifier, 0x0200},
                                                             {Qt::AltModifier, 0x0800},
                                                             {Qt::ControlModifier, 0x1000}};
    int result = 0;
    for (const auto &[modifier, bit] : bits)
        result |= (modifiers & modifier) != 0 ? bit : 0;
    return static_cast<std::int16_t>(result);
}

void leave()
{
    if (entered == nullptr)
        return;
    window_drag *const left = std::exchange(entered, nullptr);
    const WindowRef window = platform::window_of(left->face);
    platform::track_drag(kDragTrackingLeaveWindow, window, &left->drag);
    platform::track_drag(kDragTrackingLeaveHandler, window, &left->drag);
}

void enter(QWidget *face, const QDropEvent &event)
{
    leave();
    const QByteArray list = event.mimeData()->data(QStringLiteral("text/uri-list"));
    over = std::make_unique<window_drag>();
    over->face = face;
    over->drag.items = platform::items_of_uri_list(list.toStdString());
    entered = over.get();
    const WindowRef window = platform::window_of(face);
    platform::track_drag(kDragTrackingEnterHandler, window, &over->drag);
    platform::track_drag(kDragTrackingEnterWindow, window, &over->drag);
}

// What is asked of the other program for its file: never to move it, or it would be gone.
Qt::DropAction harmless_action(const QDropEvent &event)
{
    for (const Qt::DropAction action : {Qt::CopyAction, Qt::LinkAction}) {
        if (event.possibleActions().testFlag(action))
            return action;
    }
    return Qt::IgnoreAction;
}

// Takes note of where the drag is. False when it may not be here: what the user has been asked
// comes first.
bool follow(QWidget *face, const QDropEvent &event)
{
    if (platform::user_is_asked() || harmless_action(event) == Qt::IgnoreAction) {
        leave();
        over.reset();
        return false;
    }
    if (over == nullptr || over->face != face)
        enter(face, event);
    const QPoint place = face->mapToGlobal(event.position().toPoint());
    over->drag.mouse = {static_cast<std::int16_t>(place.y()), static_cast<std::int16_t>(place.x())};
    over->drag.modifiers = classic_modifiers(event.modifiers());
    return true;
}

void answer(QDropEvent *event, bool accepted)
{
    event->setDropAction(accepted ? harmless_action(*event) : Qt::IgnoreAction);
    event->setAccepted(accepted);
}

// The receivers take their time: the other program, which waits for an answer, has had it by now.
void receive(EventLoopTimerRef timer, void *data)
{
    RemoveEventLoopTimer(timer);
    const std::unique_ptr<window_drag> dropped(static_cast<window_drag *>(data));
    const WindowRef window = platform::window_of(dropped->face);
    if (window != nullptr && !platform::user_is_asked())
        platform::receive_drop(window, &dropped->drag);
    if (entered == dropped.get())
        leave();
}

class drop_filter : public QObject {
public:
    using QObject::QObject;

    bool eventFilter(QObject *watched, QEvent *event) override
    {
        auto *const face = static_cast<QWidget *>(watched);
        switch (event->type()) {
        case QEvent::DragEnter:
            // Accepted in any case, or no moves would be told of; they are answered.
            follow(face, *static_cast<QDropEvent *>(event));
            answer(static_cast<QDropEvent *>(event), true);
            return true;
        case QEvent::DragMove:
            move(face, static_cast<QDropEvent *>(event));
            return true;
        case QEvent::DragLeave:
            leave();
            over.reset();
            return true;
        case QEvent::Drop:
            drop(face, static_cast<QDropEvent *>(event));
            return true;
        default:
            return false;
        }
    }

private:
    static void move(QWidget *face, QDropEvent *event)
    {
        if (follow(face, *event))
            platform::track_drag(kDragTrackingInWindow, platform::window_of(face), &over->drag);
        answer(event, shown != nullptr);
    }

    static void drop(QWidget *face, QDropEvent *event)
    {
        if (!follow(face, *event)) {
            answer(event, false);
            return;
        }
        answer(event, shown != nullptr);
        InstallEventLoopTimer(GetCurrentEventLoop(), 0.0, 1.0, receive, over.release(), nullptr);
    }
};

} // namespace

void platform::take_drops(QWidget *face)
{
    face->setAcceptDrops(true);
    face->installEventFilter(new drop_filter(face));
}

OSErr ShowDragHilite(DragRef /*drag*/, RgnHandle region, Boolean inside)
{
    const WindowRef window = platform::current_window();
    GrafPtr port = nullptr;
    GetPort(&port);
    Rect place = {};
    if (window == nullptr || !inside || !SectRect(&(*region)->bounds, &port->clip, &place))
        return paramErr;
    if (shown != nullptr && shown->parentWidget() != window->widget)
        delete shown;
    if (shown == nullptr) {
        shown = new highlight(window->widget);
        if (window->sheet != nullptr)
            shown->stackUnder(window->sheet);
        shown->show();
    }
    const QPoint corner = platform::content_of(*window).topLeft();
    shown->setGeometry(corner.x() + place.left, corner.y() + place.top, place.right - place.left,
                       place.bottom - place.top);
    return noErr;
}

OSErr HideDragHilite(DragRef /*drag*/)
{
    delete shown;
    return noErr;
}
