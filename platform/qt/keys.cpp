// From the desktop's keys to the raw key events of the console's time.
#include "platform/qt/control_events.h"
#include "platform/qt/state.h"

#include <QApplication>
#include <QInputMethodEvent>
#include <QKeyEvent>
#include <QMenuBar>
#include <QWindow>

#include <algorithm>

namespace {

constexpr std::uint32_t shift_key = 1U << 9;

struct named_key {
    int key;
    char code;
};

constexpr named_key named_keys[] = {
    {Qt::Key_Return, 13}, {Qt::Key_Enter, 3},     {Qt::Key_Tab, 9},       {Qt::Key_Backtab, 9},
    {Qt::Key_Escape, 27}, {Qt::Key_Backspace, 8}, {Qt::Key_Delete, 127},  {Qt::Key_Left, 28},
    {Qt::Key_Right, 29},  {Qt::Key_Up, 30},       {Qt::Key_Down, 31},     {Qt::Key_Home, 1},
    {Qt::Key_End, 4},     {Qt::Key_PageUp, 11},   {Qt::Key_PageDown, 12},
};

constexpr char function_key = 16; // any of them

// The key's character in the classic codes; more than one byte when it has that many in UTF-8.
// Empty when it has none: modifiers, dead keys, those of the sound and the like.
QByteArray character_of(const QKeyEvent &key)
{
    const auto *named = std::find_if(std::begin(named_keys), std::end(named_keys),
                                     [&](const named_key &each) { return each.key == key.key(); });
    if (named != std::end(named_keys))
        return {1, named->code};
    if (key.key() >= Qt::Key_F1 && key.key() <= Qt::Key_F35)
        return {1, function_key};
    const QString typed = key.text();
    return !typed.isEmpty() && typed[0].isPrint() ? typed.toUtf8() : QByteArray();
}

bool is_chord(const QKeyEvent &key)
{
    return (key.modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier)) != 0;
}

// Sends the bytes one by one until one of them has been handled. True when one has.
bool send_character(WindowRef window, const QByteArray &bytes, std::uint32_t modifiers)
{
    for (const char byte : bytes) {
        OpaqueEvent event = {kEventClassKeyboard, kEventRawKeyDown, {}};
        SetEventParameter(&event, kEventParamKeyMacCharCodes, sizeof byte, &byte);
        SetEventParameter(&event, kEventParamKeyModifiers, sizeof modifiers, &modifiers);
        if (platform::send_event(&window->target, &event) != eventNotHandledErr)
            return true;
    }
    return false;
}

// The keys by which a sheet is worked.
bool works_sheet(const QKeyEvent &key)
{
    switch (key.key()) {
    case Qt::Key_Tab:
    case Qt::Key_Backtab:
    case Qt::Key_Space:
    case Qt::Key_Return:
    case Qt::Key_Enter:
        return true;
    default:
        return false;
    }
}

// The keys by which a text is scrolled and, with Shift, selected: they do so whoever has handled
// them, because a text that cannot be typed into can still be read.
bool works_text(const QKeyEvent &key)
{
    switch (key.key()) {
    case Qt::Key_Left:
    case Qt::Key_Right:
    case Qt::Key_Up:
    case Qt::Key_Down:
    case Qt::Key_Home:
    case Qt::Key_End:
    case Qt::Key_PageUp:
    case Qt::Key_PageDown:
        return true;
    default:
        return false;
    }
}

// Hands the key to the text of a window whose sheet has the keyboard. True: it is done with.
bool pass_to_text(WindowRef window, bool in_sheet, QKeyEvent *key)
{
    if (!in_sheet || window->content == nullptr)
        return false; // the key goes there by itself
    QCoreApplication::sendEvent(window->content, key);
    return true;
}

// True when the key is done with, false when it goes to the widget that has the keyboard.
bool take_key(WindowRef window, QKeyEvent *key)
{
    const bool in_sheet = window->sheet != nullptr && QApplication::focusWidget() != nullptr &&
                          window->sheet->isAncestorOf(QApplication::focusWidget());
    if (is_chord(*key))
        return pass_to_text(window, in_sheet, key);
    if (in_sheet && (works_sheet(*key) || platform::wants_answer(*window)))
        return false;
    const QByteArray bytes = character_of(*key);
    // A key that is held down is typed again and again, but it is one press to whoever waits for
    // one.
    const bool is_press = !key->isAutoRepeat() || window->takes_typing;
    const std::uint32_t modifiers = (key->modifiers() & Qt::ShiftModifier) != 0 ? shift_key : 0;
    if (bytes.isEmpty())
        return false;
    const bool handled =
        is_press ? send_character(window, bytes, modifiers) : window->content != nullptr;
    if (handled && (window->content == nullptr || !works_text(*key)))
        return true;
    return pass_to_text(window, in_sheet, key);
}

// Whether the user is choosing from a menu.
bool menus_have_keyboard()
{
    return QApplication::activePopupWidget() != nullptr ||
           qobject_cast<QMenuBar *>(QApplication::focusWidget()) != nullptr;
}

// Sees the keys before the widgets do: they come to the window's QWindow first, once each.
class key_filter : public QObject {
public:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::InputMethod)
            return take_composed(watched, static_cast<QInputMethodEvent *>(event));
        if (event->type() != QEvent::KeyPress || !watched->isWindowType() || menus_have_keyboard())
            return false;
        for (QWidget *widget : QApplication::topLevelWidgets()) {
            if (widget->windowHandle() != watched)
                continue;
            WindowRef window = platform::window_of(widget);
            return window != nullptr && take_key(window, static_cast<QKeyEvent *>(event));
        }
        return false;
    }

private:
    // What an input method has composed is typed, too.
    static bool take_composed(QObject *watched, QInputMethodEvent *event)
    {
        auto *widget = qobject_cast<QWidget *>(watched);
        WindowRef window = platform::window_of(widget);
        return window != nullptr && widget == window->content && !event->commitString().isEmpty() &&
               send_character(window, event->commitString().toUtf8(), 0);
    }
};

} // namespace

void platform::start_keys()
{
    qApp->installEventFilter(new key_filter);
}
