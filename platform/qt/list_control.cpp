#include "platform/qt/list_control.h"

#include "platform/qt/shown_names.h"

#include <QKeyEvent>
#include <QSignalBlocker>
#include <QStyledItemDelegate>

#include <algorithm>
#include <utility>

namespace {

constexpr int number_role = Qt::UserRole; // the item's number when the items were set

// The keys by which the items are moved and removed. One for each list, which owns it.
class list_keeper : public QObject {
public:
    list_keeper(QListWidget *own, std::function<void()> told)
        : QObject(own), list(own), used(std::move(told))
    {
        list->installEventFilter(this);
        connect(list, &QListWidget::currentRowChanged, this, [this](int row) {
            if (row >= 0) // the keyboard alone makes an item the current one without selecting it
                list->item(row)->setSelected(true);
            used();
        });
        // The drop is still going on when the rows have moved.
        connect(
            list->model(), &QAbstractItemModel::rowsMoved, this, [this] { used(); },
            Qt::QueuedConnection);
    }

    bool eventFilter(QObject * /*watched*/, QEvent *event) override
    {
        if (event->type() != QEvent::KeyPress)
            return false;
        const auto *key = static_cast<QKeyEvent *>(event);
        const bool alt = key->modifiers() == Qt::AltModifier;
        if (alt && key->key() == Qt::Key_Up)
            move_current(-1);
        else if (alt && key->key() == Qt::Key_Down)
            move_current(1);
        else if (key->key() == Qt::Key_Delete)
            remove_current();
        else
            return false;
        return true;
    }

private:
    void move_current(int by)
    {
        const int from = list->currentRow();
        const int to = from + by;
        if (from < 0 || to < 0 || to >= list->count())
            return;
        {
            const QSignalBlocker quiet(list);
            list->insertItem(to, list->takeItem(from));
            list->setCurrentRow(to);
        }
        used();
    }

    void remove_current()
    {
        if (list->currentRow() < 0)
            return;
        {
            const QSignalBlocker quiet(list);
            delete list->takeItem(list->currentRow());
        }
        used();
    }

    QListWidget *const list;
    const std::function<void()> used;
};

// Names run from left to right even in a window that runs the other way: a path would get its
// slashes on the wrong side.
class name_delegate : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

protected:
    void initStyleOption(QStyleOptionViewItem *option, const QModelIndex &index) const override
    {
        QStyledItemDelegate::initStyleOption(option, index);
        if (option->direction == Qt::LeftToRight || option->text.isRightToLeft())
            return;
        option->direction = Qt::LeftToRight;
        option->displayAlignment = Qt::AlignRight | Qt::AlignVCenter;
    }
};

void set_numbers(QListWidget *list)
{
    for (int row = 0; row < list->count(); ++row)
        list->item(row)->setData(number_role, row);
}

} // namespace

void platform::watch_list(QListWidget *list, std::function<void()> used)
{
    new list_keeper(list, std::move(used));
    list->setItemDelegate(new name_delegate(list));
}

void platform::set_list_items(QListWidget *list, std::string_view texts)
{
    QStringList wanted;
    while (!texts.empty()) {
        const std::size_t end = std::min(texts.find('\0'), texts.size());
        wanted << shown_name(std::string(texts.substr(0, end)));
        texts.remove_prefix(std::min(end + 1, texts.size()));
    }
    QStringList present;
    for (int row = 0; row < list->count(); ++row)
        present << list->item(row)->text();

    const QSignalBlocker quiet(list);
    if (wanted != present) {
        const int selected = list->currentRow();
        list->clear();
        for (const QString &text : wanted) {
            auto *item = new QListWidgetItem(text, list);
            item->setToolTip(text.toHtmlEscaped());
            item->setFlags(item->flags() & ~Qt::ItemIsDropEnabled); // between, not into
        }
        list->setCurrentRow(std::min<int>(selected, static_cast<int>(wanted.size()) - 1));
    }
    set_numbers(list);
}

std::vector<std::int32_t> platform::list_order(const QListWidget *list)
{
    std::vector<std::int32_t> order;
    order.reserve(static_cast<std::size_t>(list->count()));
    for (int row = 0; row < list->count(); ++row)
        order.push_back(list->item(row)->data(number_role).toInt());
    return order;
}

void platform::select_list_row(QListWidget *list, int row)
{
    const QSignalBlocker quiet(list);
    list->setCurrentRow(row);
}
