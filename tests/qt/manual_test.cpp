#include "platform/qt/manual.h"

#include "console/console_text.h"
#include "platform/qt/state.h"
#include "tests/qt/desktop_test.h"

#include <QApplication>
#include <QFile>
#include <QLineEdit>
#include <QPointer>
#include <QScrollBar>
#include <QTest>
#include <QTextBlock>
#include <QTextBrowser>

#include <set>

namespace {

class QtManual : public desktop_test {
protected:
    QtManual()
    {
        wait_for_focus();
        press(Qt::Key_F1);
        window = QApplication::activeWindow();
        view = window == nullptr ? nullptr : window->findChild<QTextBrowser *>();
    }
    ~QtManual() override
    {
        delete window;
    }
    void SetUp() override
    {
        ASSERT_NE(view, nullptr);
        ASSERT_TRUE(QTest::qWaitForWindowActive(window));
    }

    std::string page() const
    {
        return view->source().fileName().toStdString();
    }

    // The line of the page at the window's top.
    std::string top_line() const
    {
        return view->cursorForPosition(QPoint(40, 8)).block().text().toStdString();
    }

    // What the page links to.
    std::set<QString> links() const
    {
        std::set<QString> all;
        for (QTextBlock block = view->document()->begin(); block.isValid(); block = block.next()) {
            for (auto part = block.begin(); !part.atEnd(); ++part) {
                if (part.fragment().charFormat().isAnchor())
                    all.insert(part.fragment().charFormat().anchorHref());
            }
        }
        return all;
    }

    QPointer<QWidget> window;
    QTextBrowser *view = nullptr;
};

} // namespace

TEST_F(QtManual, ItOpensAtThePageOfTheDesktopProgram)
{
    EXPECT_EQ(page(), "desktop.md");
    EXPECT_EQ(view->document()->begin().text(), "The desktop program");
    EXPECT_EQ(window->windowTitle(), "Papermill Help");
}

TEST_F(QtManual, ItStaysAsItIsWhenItIsAskedForAgain)
{
    view->setSource(QUrl("settings.md"));
    theConsole->widget->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(theConsole->widget));
    press(Qt::Key_F1);
    EXPECT_EQ(QApplication::activeWindow(), window);
    EXPECT_EQ(page(), "settings.md");
    EXPECT_EQ(window->findChild<QTextBrowser *>(), view);
}

TEST_F(QtManual, EveryLinkLeadsToAPageOrAHeading)
{
    int followed = 0;
    std::set<QString> seen;
    std::set<QString> open = {"desktop.md"};
    while (!open.empty()) {
        const QString name = *open.begin();
        open.erase(open.begin());
        seen.insert(name);
        for (const QString &link : (view->setSource(QUrl(name)), links())) {
            if (link.startsWith("http"))
                continue;
            ++followed;
            const QUrl url(link);
            const QString target = url.path().isEmpty() ? name : url.path();
            EXPECT_TRUE(QFile::exists(view->source().resolved(QUrl(target)).toLocalFile()))
                << name.toStdString() << ": " << link.toStdString();
            if (url.hasFragment()) {
                view->setSource(QUrl(target)); // at its top
                view->setSource(QUrl(link));
                EXPECT_EQ(page(), target.toStdString());
                EXPECT_GT(view->verticalScrollBar()->value(), 0)
                    << name.toStdString() << ": " << link.toStdString();
            }
            if (seen.count(target) == 0 && target.endsWith(".md"))
                open.insert(target);
        }
    }
    EXPECT_GE(followed, 8);
    EXPECT_GE(seen.size(), 5U);
}

TEST_F(QtManual, ALinkIntoAPageScrollsToItsHeading)
{
    view->setSource(QUrl("#preferences"));
    EXPECT_EQ(top_line(), "Preferences");
    view->backward();
    EXPECT_EQ(page(), "desktop.md");
}

TEST_F(QtManual, PicturesAreNeverWiderThanTheWindow)
{
    for (const int width : {820, 400, 1600}) {
        window->resize(width, 500);
        EXPECT_TRUE(QTest::qWaitFor([this] {
            return view->document()->idealWidth() <= view->viewport()->width() + 1 &&
                   view->horizontalScrollBar()->maximum() == 0;
        })) << width;
    }
}

TEST_F(QtManual, WordsAreFoundFromTheTopAgain)
{
    press(Qt::Key_F, Qt::ControlModifier);
    auto *sought = window->findChild<QLineEdit *>();
    ASSERT_TRUE(sought->hasFocus());
    sought->setText("Ghostscript");
    press(Qt::Key_Return);
    const int first = view->textCursor().position();
    EXPECT_EQ(view->textCursor().selectedText(), "Ghostscript");
    int finds = 0;
    do {
        press(Qt::Key_Return);
        ++finds;
    } while (view->textCursor().position() != first && finds < 1000);
    EXPECT_GT(finds, 1);
    EXPECT_LT(finds, 1000);
}

TEST_F(QtManual, EscapeClosesIt)
{
    QTest::keyPress(window->windowHandle(), Qt::Key_Escape); // the window goes with it
    EXPECT_TRUE(QTest::qWaitFor([this] { return window == nullptr; }));
    EXPECT_TRUE(theConsole->widget->isVisible());
}

TEST_F(QtManual, APageThatIsNotThereIsTold)
{
    view->setSource(QUrl("none.md"));
    EXPECT_TRUE(view->toPlainText().endsWith("none.md is not there. Install papermill again."))
        << view->toPlainText().toStdString();
}
