#include "platform/qt/manual.h"

#include "platform/resources.h"

#include <QAction>
#include <QFileInfo>
#include <QImage>
#include <QLineEdit>
#include <QPointer>
#include <QResizeEvent>
#include <QScrollBar>
#include <QStyle>
#include <QTextBlock>
#include <QTextBrowser>
#include <QTextTable>
#include <QToolBar>
#include <QVBoxLayout>

#include <algorithm>

namespace {

constexpr QSize first_size(820, 680);
constexpr qreal cell_padding = 4;
constexpr qreal page_margin = 16;
constexpr qreal code_margin = 8; // above code and tables

QString pages_folder()
{
    return QString::fromStdString(platform::resources_folder() + "/manual/");
}

// What a link calls a heading: its letters, small, with hyphens for the blanks.
QString anchor_of(const QString &heading)
{
    QString anchor;
    for (const QChar c : heading.toLower()) {
        if (c.isLetterOrNumber() || c == '-' || c == '_')
            anchor += c;
        else if (c == ' ')
            anchor += '-';
    }
    return anchor;
}

// Shows a page, with pictures that fit into the window.
class page_view : public QTextBrowser {
public:
    explicit page_view(QWidget *window) : QTextBrowser(window)
    {
        document()->setDocumentMargin(page_margin);
        setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn); // the width stays the same
    }

    QVariant loadResource(int type, const QUrl &name) override
    {
        if (type != QTextDocument::ImageResource)
            return QTextBrowser::loadResource(type, name);
        QImage image(source().resolved(name).toLocalFile());
        const int room = viewport()->width() - static_cast<int>(2 * page_margin);
        if (image.width() > room)
            image = image.scaledToWidth(
                static_cast<int>(std::min<qreal>(image.width(), room * devicePixelRatioF())),
                Qt::SmoothTransformation);
        image.setDevicePixelRatio(std::max<qreal>(1, static_cast<qreal>(image.width()) / room));
        return image;
    }

protected:
    void doSetSource(const QUrl &url, QTextDocument::ResourceType /*type*/) override
    {
        const QUrl page = source().resolved(url).adjusted(QUrl::RemoveFragment);
        if (!QFileInfo::exists(page.toLocalFile())) {
            setPlainText(tr("%1 is not there. Install papermill again.").arg(page.toLocalFile()));
            return;
        }
        QTextBrowser::doSetSource(page, QTextDocument::MarkdownResource);
        set_format();
        if (url.hasFragment())
            scroll_to(url.fragment());
    }

    void resizeEvent(QResizeEvent *event) override
    {
        const bool other_width = event->size().width() != event->oldSize().width();
        QTextBrowser::resizeEvent(event);
        if (!other_width || source().isEmpty())
            return;
        const int place = verticalScrollBar()->value();
        reload();
        set_format();
        verticalScrollBar()->setValue(place);
    }

private:
    void set_format()
    {
        for (QTextBlock block = document()->begin(); block.isValid(); block = block.next()) {
            QTextBlockFormat format = block.blockFormat();
            if (!format.nonBreakableLines() || block.previous().blockFormat() == format)
                continue; // no first line of code
            format.setTopMargin(code_margin);
            QTextCursor(block).setBlockFormat(format);
        }
        for (QTextFrame *frame : document()->rootFrame()->childFrames()) {
            auto *const table = qobject_cast<QTextTable *>(frame);
            if (table == nullptr)
                continue;
            QTextTableFormat format = table->format();
            format.setBorder(0);
            format.setCellPadding(cell_padding);
            format.setTopMargin(code_margin);
            format.setBottomMargin(code_margin);
            table->setFormat(format);
            // Behind code, the reader leaves an empty line in the first cell, which is not bold.
            QTextCursor first = table->cellAt(0, 0).firstCursorPosition();
            if (first.block().text().isEmpty() &&
                table->cellAt(0, 0).lastCursorPosition().block() != first.block())
                first.deleteChar();
            first.movePosition(QTextCursor::EndOfBlock, QTextCursor::KeepAnchor);
            QTextCharFormat heading;
            heading.setFontWeight(QFont::Bold);
            first.mergeCharFormat(heading);
        }
    }

    void scroll_to(const QString &anchor)
    {
        for (QTextBlock block = document()->begin(); block.isValid(); block = block.next()) {
            if (block.blockFormat().headingLevel() == 0 || anchor_of(block.text()) != anchor)
                continue;
            setTextCursor(QTextCursor(block));
            verticalScrollBar()->setValue(cursorRect().top() + verticalScrollBar()->value());
            return;
        }
    }
};

class manual_window : public QWidget {
public:
    manual_window() : view(new page_view(this))
    {
        setWindowTitle(tr("Papermill Help"));
        auto *bar = new QToolBar(this);
        QAction *back =
            add(bar, style()->standardIcon(QStyle::SP_ArrowBack), tr("Back"), QKeySequence::Back);
        QAction *forward = add(bar, style()->standardIcon(QStyle::SP_ArrowForward), tr("Forward"),
                               QKeySequence::Forward);
        QAction *first =
            add(bar, QIcon::fromTheme("go-home", style()->standardIcon(QStyle::SP_DirHomeIcon)),
                tr("First Page"), Qt::ALT | Qt::Key_Home);
        connect(back, &QAction::triggered, view, &QTextBrowser::backward);
        connect(forward, &QAction::triggered, view, &QTextBrowser::forward);
        connect(first, &QAction::triggered, view, &QTextBrowser::home);
        connect(view, &QTextBrowser::backwardAvailable, back, &QAction::setEnabled);
        connect(view, &QTextBrowser::forwardAvailable, forward, &QAction::setEnabled);
        back->setEnabled(false);
        forward->setEnabled(false);
        bar->addSeparator();
        auto *sought = new QLineEdit(bar);
        sought->setPlaceholderText(tr("Find on this page"));
        sought->setAccessibleName(tr("Find on this page"));
        sought->setClearButtonEnabled(true);
        bar->addWidget(sought);
        connect(sought, &QLineEdit::returnPressed, view, [this, sought] {
            if (!view->find(sought->text())) { // from the top, then
                view->moveCursor(QTextCursor::Start);
                view->find(sought->text());
            }
        });
        auto *find = new QAction(this);
        find->setShortcut(QKeySequence::Find);
        connect(find, &QAction::triggered, sought, [sought] {
            sought->setFocus(Qt::ShortcutFocusReason);
            sought->selectAll();
        });
        auto *close_window = new QAction(this);
        close_window->setShortcut(Qt::Key_Escape);
        connect(close_window, &QAction::triggered, this, &QWidget::close);
        addActions({find, close_window});

        view->setAccessibleName(tr("Manual"));
        view->setFrameShape(QFrame::NoFrame);
        view->setOpenExternalLinks(true);
        auto *rows = new QVBoxLayout(this);
        rows->setContentsMargins(0, 0, 0, 0);
        rows->setSpacing(0);
        rows->addWidget(bar);
        rows->addWidget(view);
        resize(first_size);
        view->setFocus();
        view->setSource(QUrl::fromLocalFile(pages_folder() + "desktop.md"));
    }

private:
    static QAction *add(QToolBar *bar, const QIcon &icon, const QString &text,
                        const QKeySequence &keys)
    {
        QAction *const action = bar->addAction(icon, text);
        action->setShortcut(keys);
        action->setToolTip(text + " (" + keys.toString(QKeySequence::NativeText) + ")");
        return action;
    }

    page_view *const view;
};

QPointer<manual_window> manual;

} // namespace

void platform::show_manual()
{
    if (manual == nullptr) {
        manual = new manual_window;
        manual->setAttribute(Qt::WA_DeleteOnClose);
    }
    manual->setWindowState(manual->windowState() & ~Qt::WindowMinimized);
    manual->show();
    manual->raise();
    manual->activateWindow();
}
