#include "tests/qt/chooser_user.h"

#include <QApplication>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QInputMethodEvent>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <QTreeView>
#include <QWindow>

#include <algorithm>
#include <gtest/gtest.h>

namespace {

constexpr int glance = 5;           // milliseconds
constexpr int most_glances = 2000;  // then nothing more will come
constexpr int longest_wait = 10000; // milliseconds, for files to be listed

QTreeView &list_of(QFileDialog &chooser)
{
    return *chooser.findChild<QTreeView *>("treeView");
}

QModelIndex row_of(QFileDialog &chooser, const std::string &name)
{
    QTreeView &list = list_of(chooser);
    for (int row = 0; row < list.model()->rowCount(list.rootIndex()); ++row) {
        const QModelIndex index = list.model()->index(row, 0, list.rootIndex());
        if (index.data().toString().toStdString() == name)
            return index;
    }
    return {};
}

} // namespace

chooser_user::~chooser_user()
{
    EXPECT_TRUE(steps.empty()) << steps.size() << " things could not be done";
}

void chooser_user::add(step next)
{
    steps.push_back(std::move(next));
    if (!looking)
        QTimer::singleShot(glance, &glances, [this] { look(); });
    looking = true;
}

// Each look is a timer of its own: an action may open a dialog that is waited for within it.
void chooser_user::look()
{
    QWidget *open = QApplication::activeModalWidget();
    looking = !steps.empty() || open != nullptr;
    if (!looking)
        return;
    if (open != nullptr && !open->isActiveWindow())
        open->activateWindow(); // a window manager gives it the keys when the one above closes
    const bool is_waiting = open != nullptr && open->isActiveWindow() &&
                            std::count(busy.begin(), busy.end(), open) == 0;
    if (is_waiting && !steps.empty() && steps.front().is_due(open)) {
        const step due = steps.front();
        steps.pop_front();
        patience = 0;
        QTimer::singleShot(glance, &glances, [this] { look(); });
        busy.push_back(open);
        due.action(open);
        busy.pop_back();
    } else if (++patience < most_glances) {
        QTimer::singleShot(glance, &glances, [this] { look(); });
    } else if (open != nullptr) {
        ADD_FAILURE() << "unexpected: " << open->windowTitle().toStdString() << " "
                      << (qobject_cast<QMessageBox *>(open) != nullptr
                              ? qobject_cast<QMessageBox *>(open)->text().toStdString()
                              : "");
        QTimer::singleShot(glance, &glances, [this] { look(); });
        open->close();
    }
}

void chooser_user::in_chooser(std::function<void(QFileDialog &)> action)
{
    add({[](QWidget *open) { return qobject_cast<QFileDialog *>(open) != nullptr; },
         [action](QWidget *open) { action(*qobject_cast<QFileDialog *>(open)); }});
}

void chooser_user::in_message(std::function<void(QMessageBox &)> action)
{
    add({[](QWidget *open) { return qobject_cast<QMessageBox *>(open) != nullptr; },
         [action](QWidget *open) { action(*qobject_cast<QMessageBox *>(open)); }});
}

void chooser_user::in_dialog(const char *object_name, std::function<void(QDialog &)> action)
{
    add({[object_name](QWidget *open) { return open->objectName() == object_name; },
         [action](QWidget *open) { action(*qobject_cast<QDialog *>(open)); }});
}

void chooser_user::in_window(const char *title, std::function<void(QWidget &)> action)
{
    add({[title](QWidget *open) { return open->windowTitle() == title; },
         [action](QWidget *open) { action(*open); }});
}

void chooser_user::reads(const std::string &part)
{
    in_message([part](QMessageBox &box) {
        const std::string text = box.text().remove(QChar(0x200B)).toStdString();
        EXPECT_NE(text.find(part), std::string::npos) << text;
        EXPECT_EQ(box.textFormat(), Qt::PlainText);
        press(box, Qt::Key_Escape);
    });
}

void chooser_user::cancels()
{
    in_chooser([](QFileDialog &chooser) {
        QTest::mouseClick(chooser.findChild<QDialogButtonBox *>()->button(QDialogButtonBox::Cancel),
                          Qt::LeftButton);
    });
}

void type_name(QFileDialog &chooser, const std::string &name)
{
    auto *field = chooser.findChild<QLineEdit *>("fileNameEdit");
    field->setFocus();
    field->selectAll();
    press(*field, Qt::Key_Delete);
    for (const QChar each : QString::fromStdString(name)) {
        if (each.unicode() < 0x80) {
            QTest::keyClick(chooser.windowHandle(), each.toLatin1());
            continue;
        }
        QInputMethodEvent composed; // as from a keyboard that has no key for it
        composed.setCommitString(each);
        QApplication::sendEvent(field, &composed);
    }
}

void press_accept(QDialog &dialog)
{
    for (QAbstractButton *button : dialog.findChild<QDialogButtonBox *>()->buttons()) {
        const auto role = dialog.findChild<QDialogButtonBox *>()->buttonRole(button);
        if (role != QDialogButtonBox::AcceptRole)
            continue;
        EXPECT_TRUE(button->isEnabled());
        QTest::mouseClick(button, Qt::LeftButton);
        return;
    }
    ADD_FAILURE() << "no such button";
}

void press(QWidget &widget, int key)
{
    QTest::keyClick(widget.window()->windowHandle(), static_cast<Qt::Key>(key));
}

std::vector<std::string> listed(QFileDialog &chooser, std::size_t count)
{
    const QTreeView &list = list_of(chooser);
    const auto rows = [&list] {
        return static_cast<std::size_t>(list.model()->rowCount(list.rootIndex()));
    };
    static_cast<void>(QTest::qWaitFor([&] { return rows() == count; }, longest_wait));
    std::vector<std::string> names;
    for (std::size_t row = 0; row < rows(); ++row)
        names.push_back(list.model()
                            ->index(static_cast<int>(row), 0, list.rootIndex())
                            .data()
                            .toString()
                            .toStdString());
    std::sort(names.begin(), names.end());
    return names;
}

void sort_by_name(QFileDialog &chooser, Qt::SortOrder order)
{
    list_of(chooser).sortByColumn(0, order);
}

static QPoint place_of(QFileDialog &chooser, const std::string &name)
{
    EXPECT_TRUE(QTest::qWaitFor([&] { return row_of(chooser, name).isValid(); }, longest_wait))
        << name;
    QTreeView &list = list_of(chooser);
    const QModelIndex row = row_of(chooser, name);
    list.scrollTo(row);
    list.setFocus();
    return list.visualRect(row).center();
}

void click_row(QFileDialog &chooser, const std::string &name, int times)
{
    const QPoint place = place_of(chooser, name);
    QTest::mouseClick(list_of(chooser).viewport(), Qt::LeftButton, {}, place);
    if (times == 2)
        QTest::mouseDClick(list_of(chooser).viewport(), Qt::LeftButton, {}, place);
}

void click_row_too(QFileDialog &chooser, const std::string &name)
{
    const QPoint place = place_of(chooser, name);
    QTest::mouseClick(list_of(chooser).viewport(), Qt::LeftButton, Qt::ControlModifier, place);
}
