#include "platform/controls.h"

#include "platform/dialogs.h"
#include "platform/qt/list_control.h"
#include "platform/qt/shown_names.h"
#include "platform/qt/state.h"

#include <QAbstractButton>
#include <QEvent>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QSignalBlocker>
#include <QTabWidget>

#include <algorithm>
#include <cstring>

namespace {

constexpr char whole_text[] = "wholeText"; // the property that keeps what a label shows in its way

QWidget *widget_of(ControlRef control)
{
    return reinterpret_cast<QWidget *>(control);
}

QString signature_text(OSType signature)
{
    QString text;
    for (int shift = 24; shift >= 0; shift -= 8)
        text += QChar(static_cast<char16_t>(signature >> shift & 0xFFU));
    return text;
}

Qt::TextElideMode elide_mode(const QLabel *label)
{
    const QString mode = label->property("elide").toString();
    if (mode == QLatin1String("middle"))
        return Qt::ElideMiddle;
    return mode == QLatin1String("right") ? Qt::ElideRight : Qt::ElideNone;
}

// Shows as much of the whole text as has room, and all of it to who points at it or listens.
void elide(QLabel *label)
{
    const QString whole =
        platform::shown_name(label->property(whole_text).toByteArray().toStdString());
    const QString shown =
        label->fontMetrics().elidedText(whole, elide_mode(label), label->contentsRect().width());
    // It stands beside its caption, whichever way its own text runs.
    const bool right = label->layoutDirection() == Qt::RightToLeft;
    label->setAlignment((right ? Qt::AlignRight : Qt::AlignLeft) | Qt::AlignAbsolute |
                        Qt::AlignVCenter);
    label->setText(shown);
    label->setAccessibleName(whole);
    label->setToolTip(shown == whole ? QString()
                                     : QStringLiteral("<p style=\"white-space: pre-wrap\">%1</p>")
                                           .arg(whole.toHtmlEscaped()));
}

// Elides a label anew when there is another width or another font.
class elider : public QObject {
public:
    explicit elider(QLabel *label) : QObject(label)
    {
        label->installEventFilter(this);
    }

    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Resize || event->type() == QEvent::FontChange ||
            event->type() == QEvent::LayoutDirectionChange)
            elide(static_cast<QLabel *>(watched));
        return false;
    }
};

// Keeps the room that a label of several lines needs: a layout does not count it among what a
// window needs at least.
class room_keeper : public QObject {
public:
    explicit room_keeper(QLabel *label) : QObject(label)
    {
        label->installEventFilter(this);
    }

    static void keep(QLabel *label)
    {
        if (label->isVisible()) // else its width is no real one yet
            label->setMinimumHeight(label->heightForWidth(label->width()));
    }

    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Resize || event->type() == QEvent::FontChange ||
            event->type() == QEvent::Show)
            keep(static_cast<QLabel *>(watched));
        return false;
    }
};

void set_label(QLabel *label, const QByteArray &text)
{
    label->setTextFormat(Qt::PlainText); // a name may look like anything
    if (label->wordWrap()) {             // and be long: it must not make the window wide
        if (!label->property(whole_text).isValid())
            new room_keeper(label); // which the label owns
        label->setProperty(whole_text, text);
        label->setText(platform::shown_message(text.toStdString()));
        label->setAccessibleName(platform::shown_name(text.toStdString()));
        room_keeper::keep(label);
        return;
    }
    if (elide_mode(label) == Qt::ElideNone) {
        label->setText(QString::fromUtf8(text));
        return;
    }
    if (!label->property(whole_text).isValid())
        new elider(label); // which the label owns
    label->setProperty(whole_text, text);
    elide(label);
}

} // namespace

OSStatus GetControlByID(WindowRef window, const ControlID *id, ControlRef *control)
{
    if (window == nullptr)
        return errUnknownControl;
    const QString signature = signature_text(id->signature);
    for (QWidget *widget : window->widget->findChildren<QWidget *>()) {
        const QVariant number = widget->property("controlID");
        if (number.isValid() && number.toInt() == id->id &&
            widget->property("controlSignature").toString() == signature) {
            *control = reinterpret_cast<ControlRef>(widget);
            return noErr;
        }
    }
    return errUnknownControl;
}

OSStatus GetControlID(ControlRef control, ControlID *id)
{
    if (control == nullptr || !widget_of(control)->property("controlID").isValid())
        return errUnknownControl;
    id->signature = 0;
    for (const QChar letter : widget_of(control)->property("controlSignature").toString())
        id->signature = id->signature << 8 | static_cast<unsigned char>(letter.toLatin1());
    id->id = widget_of(control)->property("controlID").toInt();
    return noErr;
}

OSErr GetControlData(ControlRef control, ControlPartCode /*part*/, OSType tag, std::size_t size,
                     void *buffer, std::size_t *actual)
{
    if (control == nullptr)
        return errUnknownControl;
    QByteArray text;
    if (const auto *list = qobject_cast<QListWidget *>(widget_of(control));
        list != nullptr && tag == kControlListOrderTag) {
        const std::vector<std::int32_t> order = platform::list_order(list);
        text = QByteArray(reinterpret_cast<const char *>(order.data()),
                          static_cast<qsizetype>(order.size() * sizeof order[0]));
    } else if (tag != kControlStaticTextTextTag) {
        return errDataNotSupported;
    } else if (const auto *label = qobject_cast<QLabel *>(widget_of(control))) {
        const QVariant whole = label->property(whole_text);
        text = whole.isValid() ? whole.toByteArray() : label->text().toUtf8();
    } else if (const auto *field = qobject_cast<QLineEdit *>(widget_of(control))) {
        text = platform::field_bytes(field->text());
    } else {
        return errDataNotSupported;
    }
    const auto length = static_cast<std::size_t>(text.size());
    std::memcpy(buffer, text.constData(), std::min(size, length));
    if (actual != nullptr)
        *actual = length;
    return noErr;
}

OSErr SetControlData(ControlRef control, ControlPartCode /*part*/, OSType tag, std::size_t size,
                     const void *data)
{
    if (control == nullptr)
        return errUnknownControl;
    auto *label = qobject_cast<QLabel *>(widget_of(control));
    auto *field = qobject_cast<QLineEdit *>(widget_of(control));
    auto *bar = qobject_cast<QProgressBar *>(widget_of(control));
    if (tag == kControlStaticTextTextTag && (label != nullptr || field != nullptr)) {
        const auto *const text = static_cast<const char *>(data);
        if (label != nullptr)
            set_label(label, QByteArray(text, static_cast<qsizetype>(size)));
        else
            field->setText(platform::field_text({text, size}));
        return noErr;
    }
    if (tag == kControlEditTextSelectionTag && field != nullptr) {
        ControlEditTextSelectionRec selection = {};
        std::memcpy(&selection, data, std::min(size, sizeof selection));
        const int start = std::min<int>(selection.selStart, static_cast<int>(field->text().size()));
        field->setSelection(start, selection.selEnd - start);
        return noErr;
    }
    if (auto *list = qobject_cast<QListWidget *>(widget_of(control));
        list != nullptr && tag == kControlListItemsTag) {
        platform::set_list_items(list, {static_cast<const char *>(data), size});
        return noErr;
    }
    if (tag == kControlProgressBarIndeterminateTag && bar != nullptr) {
        const bool indeterminate = *static_cast<const Boolean *>(data) != 0;
        bar->setRange(0, indeterminate ? 0 : std::max(1, bar->maximum()));
        return noErr;
    }
    return errDataNotSupported;
}

std::int32_t GetControl32BitValue(ControlRef control)
{
    QWidget *const widget = widget_of(control);
    if (const auto *box = qobject_cast<QAbstractButton *>(widget))
        return box->isChecked() ? 1 : 0;
    if (const auto *tabs = qobject_cast<QTabWidget *>(widget))
        return tabs->currentIndex() + 1;
    if (const auto *list = qobject_cast<QListWidget *>(widget))
        return list->currentRow() + 1;
    if (const auto *bar = qobject_cast<QProgressBar *>(widget))
        return bar->value();
    return 0;
}

void SetControl32BitMaximum(ControlRef control, std::int32_t maximum)
{
    if (auto *bar = qobject_cast<QProgressBar *>(widget_of(control)))
        bar->setMaximum(maximum);
}

void SetControl32BitValue(ControlRef control, std::int32_t value)
{
    QWidget *const widget = widget_of(control);
    const QSignalBlocker quiet(widget); // only what the user does is told
    if (auto *box = qobject_cast<QAbstractButton *>(widget))
        box->setChecked(value != 0);
    else if (auto *tabs = qobject_cast<QTabWidget *>(widget))
        tabs->setCurrentIndex(value - 1);
    else if (auto *list = qobject_cast<QListWidget *>(widget))
        platform::select_list_row(list, value - 1);
    else if (auto *bar = qobject_cast<QProgressBar *>(widget))
        bar->setValue(value);
}

Rect *GetControlBounds(ControlRef control, Rect *bounds)
{
    *bounds = {};
    if (control == nullptr)
        return bounds;
    const QWidget *const widget = widget_of(control);
    WindowRef window = platform::window_of(widget);
    if (window == nullptr)
        return bounds;
    const QPoint corner =
        widget->mapTo(window->widget, QPoint(0, 0)) - platform::content_of(*window).topLeft();
    SetRect(bounds, static_cast<std::int16_t>(corner.x()), static_cast<std::int16_t>(corner.y()),
            static_cast<std::int16_t>(corner.x() + widget->width()),
            static_cast<std::int16_t>(corner.y() + widget->height()));
    return bounds;
}

void Draw1Control(ControlRef control)
{
    if (control != nullptr)
        widget_of(control)->update();
}

void ShowControl(ControlRef control)
{
    if (control != nullptr)
        widget_of(control)->show();
}

void HideControl(ControlRef control)
{
    if (control != nullptr)
        widget_of(control)->hide();
}

OSErr SetKeyboardFocus(WindowRef window, ControlRef control, ControlPartCode /*part*/)
{
    if (window == nullptr || control == nullptr)
        return errUnknownControl;
    if (widget_of(control)->focusPolicy() == Qt::NoFocus)
        return errCouldntSetFocus;
    widget_of(control)->setFocus();
    return noErr;
}

OSErr GetKeyboardFocus(WindowRef window, ControlRef *control)
{
    if (window == nullptr)
        return errUnknownControl;
    *control = reinterpret_cast<ControlRef>(window->widget->focusWidget());
    return noErr;
}

OSErr GetRootControl(WindowRef window, ControlRef *root)
{
    if (window == nullptr)
        return errNoRootControl;
    *root = reinterpret_cast<ControlRef>(window->widget);
    return noErr;
}

OSErr ActivateControl(ControlRef control)
{
    if (control == nullptr)
        return errUnknownControl;
    widget_of(control)->setEnabled(true);
    return noErr;
}

OSErr DeactivateControl(ControlRef control)
{
    if (control == nullptr)
        return errUnknownControl;
    widget_of(control)->setEnabled(false);
    return noErr;
}

void DrawDialog(DialogRef dialog)
{
    if (dialog != nullptr)
        GetDialogWindow(dialog)->widget->update();
}
