#include "platform/qt/sheet.h"

#include "platform/qt/menu_bar.h"

#include <QEvent>
#include <QLayout>
#include <QPushButton>

#include <algorithm>

namespace {

// Keeps a sheet in its place while it is shown. One for each sheet, which owns it.
class sheet_keeper : public QObject {
public:
    explicit sheet_keeper(QFrame *own) : QObject(own), sheet(own)
    {
        sheet->installEventFilter(this);
    }

    void attach(QWidget *to)
    {
        window = to;
        window->installEventFilter(this);
        smallest_before = window->minimumSize();
        size_before = window->size();
        forced = QSize(0, 0);
        place();
    }

    void detach()
    {
        if (window == nullptr)
            return;
        window->removeEventFilter(this);
        const QSize size = own_size();
        window->setMinimumSize(smallest_before);
        window->setContentsMargins(0, platform::menu_bar_height(window), 0, 0);
        window->resize(size);
        window = nullptr;
    }

    // It shrinks where it had to grow; a user who has made it larger still wants it so.
    QSize own_size() const
    {
        const QSize size = window->size();
        return {size.width() <= forced.width() ? size_before.width() : size.width(),
                size.height() <= forced.height() ? size_before.height() : size.height()};
    }

    bool eventFilter(QObject *watched, QEvent *event) override
    {
        const bool resized = watched == window && event->type() == QEvent::Resize;
        const bool changed = event->type() == QEvent::LayoutRequest; // in the sheet or menu bar
        if (window != nullptr && (resized || changed))
            place();
        return false;
    }

private:
    void place()
    {
        const int least = sheet->minimumSizeHint().width();
        const int width = std::max(least, window->width());
        const int height = sheet->layout()->hasHeightForWidth()
                               ? sheet->layout()->heightForWidth(width)
                               : sheet->sizeHint().height();
        const int top = platform::menu_bar_height(window);
        const QSize smallest(std::max(least, smallest_before.width()),
                             top + height + std::max(kept_below, smallest_before.height() - top));
        if (smallest.width() > size_before.width())
            forced.setWidth(std::max(forced.width(), smallest.width()));
        if (smallest.height() > size_before.height())
            forced.setHeight(std::max(forced.height(), smallest.height()));
        window->setMinimumSize(smallest);
        window->setContentsMargins(0, top + height, 0, 0);
        sheet->setGeometry(0, top, width, height);
    }

    static constexpr int kept_below = 80; // pixels: some lines of what is in the window

    QFrame *const sheet;
    QWidget *window = nullptr;
    QSize smallest_before, size_before; // the window's
    QSize forced;                       // the largest one that the sheet has made it
};

sheet_keeper *keeper_of(QFrame *sheet)
{
    for (QObject *child : sheet->children()) {
        if (auto *keeper = dynamic_cast<sheet_keeper *>(child))
            return keeper;
    }
    return new sheet_keeper(sheet);
}

} // namespace

void platform::attach_sheet(QFrame *sheet, QWidget *window)
{
    sheet->setParent(window);
    sheet->setAutoFillBackground(true);
    sheet->setFrameShape(QFrame::StyledPanel);
    keeper_of(sheet)->attach(window);
    sheet->show();
    sheet->raise();
    for (auto *button : sheet->findChildren<QPushButton *>()) {
        if (button->isDefault())
            button->setFocus();
    }
}

QSize platform::size_without_sheet(QFrame *sheet)
{
    return keeper_of(sheet)->own_size();
}

void platform::detach_sheet(QFrame *sheet)
{
    sheet->hide();
    keeper_of(sheet)->detach();
    if (QWidget *window = sheet->parentWidget()) {
        window->setFocus();        // its text, where it has one
        sheet->setParent(nullptr); // or it would go with the window
    }
}
