#include "platform/qt/manual.h"

#include "platform/resources.h"

#include <QAction>
#include <QFile>
#include <QHash>
#include <QImage>
#include <QLineEdit>
#include <QPointer>
#include <QResizeEvent>
#include <QScrollBar>
#include <QStyle>
#include <QTextBlock>
#include <QTextBrowser>
#include <QTextTable>
#include <QTimer>
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

void set_headings_and_code(QTextDocument *page)
{
    for (QTextBlock block = page->begin(); block.isValid(); block = block.next()) {
        QTextCursor cursor(block);
        QTextBlockFormat format = block.blockFormat();
        if (format.headingLevel() > 0) {
            QTextCharFormat named;
            named.setAnchor(true);
            named.setAnchorNames({anchor_of(block.text())});
            cursor.movePosition(QTextCursor::NextCharacter, QTextCursor::KeepAnchor);
            cursor.mergeCharFormat(named);
        } else if (format.nonBreakableLines() && block.previous().blockFormat() != format) {
            format.setTopMargin(code_margin);
            cursor.setBlockFormat(format);
        }
    }
}

void set_tables(QTextDocument *page)
{
    for (QTextFrame *frame : page->rootFrame()->childFrames()) {
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

// Shows a page, with pictures that fit into the window.
class page_view : public QTextBrowser {
public:
    explicit page_view(QWidget *window) : QTextBrowser(window)
    {
        document()->setDocumentMargin(page_margin);
        setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn); // the width stays the same
        come_to_rest.setSingleShot(true);
        come_to_rest.setInterval(std::chrono::milliseconds(100));
        connect(&come_to_rest, &QTimer::timeout, this, &page_view::fit_pictures);
    }

    QVariant loadResource(int type, const QUrl &name) override
    {
        const QString file = source().resolved(name).toLocalFile();
        return type == QTextDocument::ImageResource ? QVariant(picture(file))
                                                    : QVariant(page(file));
    }

protected:
    void doSetSource(const QUrl &url, QTextDocument::ResourceType /*type*/) override
    {
        QTextBrowser::doSetSource(source().resolved(url), QTextDocument::HtmlResource);
    }

    void resizeEvent(QResizeEvent *event) override
    {
        QTextBrowser::resizeEvent(event);
        if (event->size().width() != event->oldSize().width())
            come_to_rest.start();
    }

private:
    // A page is laid out at every word that is read into a view: it is read beforehand.
    QString page(const QString &file) const
    {
        QFile opened(file);
        if (!opened.open(QIODevice::ReadOnly))
            return tr("%1 is not there. Install papermill again.").arg(file).toHtmlEscaped();
        QTextDocument read;
        read.setDefaultFont(font());
        read.setMarkdown(QString::fromUtf8(opened.readAll()));
        set_headings_and_code(&read);
        set_tables(&read);
        return read.toHtml();
    }

    QImage picture(const QString &file)
    {
        QImage &image = pictures[file];
        if (!image.isNull())
            return image;
        image.load(file);
        const int room = viewport()->width() - static_cast<int>(2 * page_margin);
        if (image.width() > room)
            image = image.scaledToWidth(
                static_cast<int>(std::min<qreal>(image.width(), room * devicePixelRatioF())),
                Qt::SmoothTransformation);
        image.setDevicePixelRatio(std::max<qreal>(1, static_cast<qreal>(image.width()) / room));
        return image;
    }

    void fit_pictures()
    {
        pictures.clear();
        if (source().isEmpty())
            return;
        const int place = verticalScrollBar()->value();
        reload();
        verticalScrollBar()->setValue(place);
    }

    QHash<QString, QImage> pictures; // by their files, as wide as the window wants them
    QTimer come_to_rest;             // after the window has got another width
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
