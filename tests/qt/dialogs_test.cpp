// What holds for every window of the interface file: it can be read, and worked by keyboard alone.
#include "dialogs/dialog_machinery.h"
#include "platform/qt/state.h"
#include "tests/qt/desktop_test.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QTabBar>
#include <QTabWidget>
#include <QTest>
#include <QUiLoader>

#include <map>
#include <set>

namespace {

class QtDialog : public desktop_test, public testing::WithParamInterface<const char *> {
protected:
    QtDialog() : usual_font(QApplication::font()) {}
    ~QtDialog() override
    {
        QApplication::setFont(usual_font);
        QApplication::setLayoutDirection(Qt::LeftToRight);
        DisposeWindow(window);
    }

    void open()
    {
        DisposeWindow(window);
        window = make_dialog(GetParam(), 0);
        ShowWindow(window);
        QCoreApplication::processEvents();
    }

    // Calls the function for each tab, or once.
    void for_each_pane(const std::function<void()> &look) const
    {
        auto *const tabs = window->widget->findChild<QTabWidget *>();
        for (int tab = 0; tab < (tabs == nullptr ? 1 : tabs->count()); ++tab) {
            if (tabs != nullptr)
                tabs->setCurrentIndex(tab);
            QCoreApplication::processEvents();
            look();
        }
    }

    // The visible widgets that hold no others.
    std::vector<QWidget *> parts() const
    {
        std::vector<QWidget *> all;
        for (QWidget *each : window->widget->findChildren<QWidget *>()) {
            const bool part = qobject_cast<QLabel *>(each) != nullptr ||
                              qobject_cast<QLineEdit *>(each) != nullptr ||
                              each->property("controlID").isValid();
            const bool holds = qobject_cast<QTabWidget *>(each) != nullptr ||
                               each->property("controlID").toInt() > 1000;
            if (each->isVisible() && part && !holds)
                all.push_back(each);
        }
        return all;
    }

    // Nothing lies over anything else, and every text has its room.
    void expect_order(const char *when) const
    {
        const std::vector<QWidget *> all = parts();
        for (std::size_t i = 0; i < all.size(); ++i) {
            const QRect place(all[i]->mapTo(window->widget, QPoint(0, 0)), all[i]->size());
            EXPECT_TRUE(window->widget->rect().contains(place)) << when << name_of(all[i]);
            for (std::size_t k = 0; k < i; ++k) {
                const QRect other(all[k]->mapTo(window->widget, QPoint(0, 0)), all[k]->size());
                EXPECT_FALSE(place.intersects(other)) << when << name_of(all[i]) << name_of(all[k]);
            }
            const auto *label = qobject_cast<QLabel *>(all[i]);
            const bool elastic =
                label != nullptr && (label->wordWrap() || label->property("elide").isValid());
            if (!elastic && qobject_cast<QLineEdit *>(all[i]) == nullptr) {
                EXPECT_GE(all[i]->width(), all[i]->minimumSizeHint().width())
                    << when << name_of(all[i]);
            }
        }
    }

    static std::string name_of(const QObject *object)
    {
        return " " + object->objectName().toStdString();
    }

    WindowRef window = nullptr;

private:
    QFont usual_font;
};

INSTANTIATE_TEST_SUITE_P(Windows, QtDialog,
                         testing::Values("prefs", "pdfmerge", "command line", "about box",
                                         "changes"));

} // namespace

TEST_P(QtDialog, NothingOverlapsInAnySizeDirectionOrFont)
{
    for (const int points : {0, 20}) {
        for (const auto direction : {Qt::LeftToRight, Qt::RightToLeft}) {
            QFont font = QApplication::font();
            if (points > 0)
                font.setPointSize(points);
            QApplication::setFont(font);
            QApplication::setLayoutDirection(direction);
            open();
            const std::string when =
                std::to_string(points) + (direction == Qt::RightToLeft ? " right to left" : "");
            EXPECT_LE(window->widget->width(), 1280) << when;
            EXPECT_LE(window->widget->height(), 760) << when;
            for_each_pane([&] { expect_order(when.c_str()); });
            window->widget->resize(100, 100); // as small as it goes
            for_each_pane([&] { expect_order((when + " small").c_str()); });
            window->widget->resize(1600, 1000);
            for_each_pane([&] { expect_order((when + " large").c_str()); });
        }
    }
}

TEST_P(QtDialog, EveryControlHasANameAndNoLetterWorksTwo)
{
    open();
    for_each_pane([this] {
        std::map<QString, std::string> letters;
        const auto take = [&](const QString &text, const QObject *owner) {
            const QKeySequence letter = QKeySequence::mnemonic(text);
            if (letter.isEmpty())
                return;
            const bool is_free = letters.emplace(letter.toString(), name_of(owner)).second;
            EXPECT_TRUE(is_free) << letter.toString().toStdString() << name_of(owner)
                                 << letters[letter.toString()];
        };
        for (const QWidget *part : parts()) {
            const auto *label = qobject_cast<const QLabel *>(part);
            const auto *button = qobject_cast<const QAbstractButton *>(part);
            if (label != nullptr && label->buddy() != nullptr)
                take(label->text(), label);
            if (button != nullptr)
                take(button->text(), button);
            if (part->focusPolicy() == Qt::NoFocus)
                continue;
            bool named = !part->accessibleName().isEmpty() || button != nullptr ||
                         (label != nullptr && !label->text().isEmpty());
            for (const QLabel *each : window->widget->findChildren<QLabel *>())
                named = named || each->buddy() == part;
            EXPECT_TRUE(named) << name_of(part);
        }
        if (const auto *bar = window->widget->findChild<QTabBar *>()) {
            for (int tab = 0; tab < bar->count(); ++tab)
                take(bar->tabText(tab), bar);
        }
    });
}

TEST_P(QtDialog, TabReachesEveryControl)
{
    open();
    QApplication::setActiveWindow(window->widget);
    ASSERT_NE(QApplication::focusWidget(), nullptr);
    for_each_pane([this] {
        std::set<const QWidget *> reached;
        for (int steps = 0; steps < 40; ++steps) {
            reached.insert(QApplication::focusWidget());
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        }
        for (const QWidget *part : parts()) {
            if (part->isEnabled() && (part->focusPolicy() & Qt::TabFocus) != 0) {
                EXPECT_EQ(reached.count(part), 1U) << name_of(part);
            }
        }
    });
}
