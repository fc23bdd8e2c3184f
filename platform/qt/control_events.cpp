#include "platform/qt/control_events.h"

#include "platform/qt/list_control.h"
#include "platform/qt/shown_names.h"
#include "platform/qt/state.h"
#include "platform/strings.h"

#include <QAbstractButton>
#include <QEvent>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPushButton>
#include <QShortcutEvent>
#include <QTabWidget>

namespace {

void tell(QWidget *control, OSType event_class, std::uint32_t kind)
{
    WindowRef window = platform::window_of(control);
    if (window == nullptr)
        return;
    OpaqueEvent event = {event_class, kind, {}};
    SetEventParameter(&event, kEventParamDirectObject, sizeof(void *), &control);
    platform::send_event(&window->target, &event);
}

void tell_hit(QWidget *control)
{
    tell(control, kEventClassControl, kEventControlHit);
}

// Cuts what is more than the field takes.
void keep_within(QLineEdit *field)
{
    const QVariant most = field->property("maxBytes");
    const QByteArray text = platform::field_bytes(field->text());
    const auto length = static_cast<std::size_t>(text.size());
    if (!most.isValid() || length <= most.toUInt())
        return;
    const std::size_t kept = platform::whole_characters(text.constData(), most.toUInt());
    field->setText(platform::field_text({text.constData(), kept}));
}

// Sees the pointer over all that is in a window.
class pointer_watcher : public QObject {
public:
    using QObject::QObject;

    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::MouseMove)
            tell_place(static_cast<QWidget *>(watched),
                       static_cast<QMouseEvent *>(event)->globalPosition().toPoint());
        else if (event->type() == QEvent::Leave && static_cast<QWidget *>(watched) == parent())
            tell_place(static_cast<QWidget *>(watched), QCursor::pos());
        return false;
    }

private:
    static void tell_place(QWidget *widget, QPoint place)
    {
        WindowRef window = platform::window_of(widget);
        if (window == nullptr)
            return;
        OpaqueEvent event = {kEventClassMouse, kEventMouseMoved, {}};
        const Point location = {static_cast<std::int16_t>(place.y()),
                                static_cast<std::int16_t>(place.x())};
        SetEventParameter(&event, kEventParamMouseLocation, sizeof location, &location);
        platform::send_event(&window->target, &event);
    }
};

// Turns a box at once when its letter is pressed. By itself it takes a moment, in which Return
// would confirm what the user does not see any more.
class letter_filter : public QObject {
public:
    using QObject::QObject;

    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() != QEvent::Shortcut ||
            static_cast<QShortcutEvent *>(event)->isAmbiguous())
            return false;
        auto *const box = static_cast<QAbstractButton *>(watched);
        box->setFocus(Qt::ShortcutFocusReason);
        box->click();
        return true;
    }
};

} // namespace

void platform::watch_controls(WindowRef window)
{
    QWidget *const face = window->widget;
    for (QAbstractButton *button : face->findChildren<QAbstractButton *>()) {
        QObject::connect(button, &QAbstractButton::clicked, [button] { tell_hit(button); });
        if (button->isCheckable())
            button->installEventFilter(new letter_filter(button));
    }
    if (QPushButton *closing = button_of_role(window, "close"))
        QObject::connect(closing, &QPushButton::clicked, face, &QWidget::close);
    for (QTabWidget *tabs : face->findChildren<QTabWidget *>())
        QObject::connect(tabs, &QTabWidget::currentChanged, [tabs] { tell_hit(tabs); });
    for (QListWidget *list : face->findChildren<QListWidget *>())
        watch_list(list, [list] { tell_hit(list); });
    for (QLineEdit *field : face->findChildren<QLineEdit *>()) {
        QObject::connect(field, &QLineEdit::textEdited, [field] {
            keep_within(field);
            tell(field, kEventClassTextField, kEventTextFieldChanged);
        });
    }
    auto *watcher = new pointer_watcher(face);
    face->installEventFilter(watcher);
    face->setMouseTracking(true);
    for (QWidget *widget : face->findChildren<QWidget *>()) {
        widget->installEventFilter(watcher);
        widget->setMouseTracking(true);
    }
}

QPushButton *platform::button_of_role(WindowRef window, const char *role)
{
    for (QPushButton *button : window->widget->findChildren<QPushButton *>()) {
        if (button->property("role").toString() == QLatin1String(role))
            return button;
    }
    return nullptr;
}
