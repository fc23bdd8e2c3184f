#include "platform/text_engine.h"

#include "platform/qt/state.h"

#include <QPlainTextEdit>
#include <QVBoxLayout>

struct OpaqueTXNObject {
    WindowRef window;
    QPlainTextEdit *view;
};

OSStatus TXNNewObject(WindowRef window, TXNObject *object)
{
    if (window == nullptr)
        return paramErr;
    auto *view = new QPlainTextEdit;
    view->setReadOnly(true);
    view->setAccessibleName(QStringLiteral("Console"));
    auto *layout = new QVBoxLayout(window->widget);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(view);
    window->content = view;
    window->widget->setFocusProxy(view);
    *object = new OpaqueTXNObject{window, view};
    return noErr;
}

void TXNDeleteObject(TXNObject object)
{
    if (object == nullptr)
        return;
    object->window->content = nullptr;
    delete object->view;
    delete object;
}

OSStatus TXNSetData(TXNObject object, OSType type, const void *data, std::size_t length,
                    TXNOffset start, TXNOffset end)
{
    if (object == nullptr || type != kTXNTextData || start != kTXNEndOffset || end != kTXNEndOffset)
        return paramErr;
    QString text = QString::fromUtf8(static_cast<const char *>(data), static_cast<int>(length));
    text.replace(QLatin1Char('\r'), QLatin1Char('\n'));
    QTextCursor cursor(object->view->document());
    cursor.movePosition(QTextCursor::End);
    cursor.insertText(text);
    return noErr;
}

OSStatus TXNSetTXNObjectControls(TXNObject object, Boolean /*clearAll*/, std::size_t count,
                                 const TXNControlTag *tags, const TXNControlData *data)
{
    if (object == nullptr)
        return paramErr;
    for (std::size_t i = 0; i < count; ++i) {
        if (tags[i] != kTXNSelectionStateTag)
            return paramErr;
        object->view->setReadOnly(data[i].uValue != 1);
        object->window->takes_typing = data[i].uValue == 1;
    }
    return noErr;
}

void TXNForceUpdate(TXNObject object)
{
    if (object != nullptr)
        object->view->viewport()->repaint();
}

// The view draws itself when it is out of date, and its caret blinks by itself.
void TXNUpdate(TXNObject /*object*/) {}
void TXNIdle(TXNObject /*object*/) {}

void TXNSelectAll(TXNObject object)
{
    if (object != nullptr)
        object->view->selectAll();
}

OSStatus TXNClear(TXNObject object)
{
    if (object == nullptr)
        return paramErr;
    object->view->textCursor().removeSelectedText();
    return noErr;
}

void TXNFocus(TXNObject object, Boolean focus)
{
    if (object != nullptr && focus)
        object->view->setFocus();
}

void TXNActivate(TXNObject /*object*/, Boolean /*active*/) {}
