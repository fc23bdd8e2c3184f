#include "dialogs/about_window.h"

#include "app/commands.h"
#include "app/globals.h"
#include "console/console_text.h"
#include "dialogs/changes_window.h"
#include "dialogs/dialog_machinery.h"
#include "platform/events.h"
#include "platform/memory.h"
#include "platform/qt/state.h"
#include "platform/strings.h"
#include "tests/qt/desktop_test.h"
#include "tests/support/run_program.h"

#include <QApplication>
#include <QDragEnterEvent>
#include <QLabel>
#include <QMimeData>
#include <QPushButton>
#include <QTest>
#include <QTextBrowser>
#include <QWindow>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

class QtAbout : public desktop_test {
protected:
    QtAbout()
    {
        wait_for_focus();
    }
    ~QtAbout() override
    {
        DisposeWindow(aboutWindow);
        aboutWindow = nullptr;
    }

    // A picture of one colour.
    static PicHandle red_square()
    {
        const program_result made =
            run_program({.arguments = {"/usr/bin/convert", "-size", "8x8", "xc:red", "pict:-"}});
        EXPECT_EQ(made.status, 0) << made.err;
        if (made.out.size() <= 512) // the header of a file
            return nullptr;
        PicHandle picture = NewHandle(made.out.size() - 512);
        std::memcpy(*picture, made.out.data() + 512, made.out.size() - 512);
        return picture;
    }

    static std::string all_text(const QWidget &window)
    {
        std::string all;
        for (const QLabel *label : window.findChildren<QLabel *>())
            all += label->text().toStdString() + "\n";
        return all;
    }
};

} // namespace

TEST_F(QtAbout, TheWindowIsMadeOnceAndComesToTheFrontAgain)
{
    do_menus(128, 1);
    ASSERT_NE(aboutWindow, nullptr);
    const WindowRef first = aboutWindow;
    EXPECT_TRUE(QTest::qWaitForWindowActive(first->widget));
    QApplication::setActiveWindow(theConsole->widget);
    ASSERT_EQ(FrontWindow(), theConsole);
    aboutApp();
    EXPECT_EQ(aboutWindow, first);
    EXPECT_TRUE(QTest::qWaitFor([] { return FrontWindow() == aboutWindow; }));
    EXPECT_FALSE(aboutWindow->widget->isModal());
    EXPECT_EQ(aboutWindow->widget->windowFlags() & Qt::WindowMinimizeButtonHint, 0);
    EXPECT_NE(aboutWindow->attributes & kWindowStandardHandlerAttribute, 0U);
}

TEST_F(QtAbout, ClosingHidesTheSameWindow)
{
    const std::function<void()> ways[] = {
        [] { aboutWindow->widget->close(); },
        [] { QTest::keyClick(aboutWindow->widget->windowHandle(), Qt::Key_Escape); },
        [] { QTest::keyClick(aboutWindow->widget->windowHandle(), Qt::Key_Return); },
        [] { QTest::mouseClick(aboutWindow->widget->findChild<QPushButton *>(), Qt::LeftButton); }};
    WindowRef first = nullptr;
    for (const auto &way : ways) {
        aboutApp();
        EXPECT_TRUE(QTest::qWaitForWindowActive(aboutWindow->widget));
        EXPECT_TRUE(first == nullptr || first == aboutWindow);
        first = aboutWindow;
        way();
        EXPECT_FALSE(IsWindowVisible(aboutWindow));
    }
}

TEST_F(QtAbout, ItTellsWhatTheProgramIsAndWhereHelpIs)
{
    aboutApp();
    const std::string told = all_text(*aboutWindow->widget);
    EXPECT_NE(told.find("Papermill"), std::string::npos);
    EXPECT_NE(told.find("Version " PAPERMILL_VERSION "\n"), std::string::npos) << told;
    EXPECT_NE(told.find("MIT licence"), std::string::npos);
    EXPECT_NE(told.find("papermill --help"), std::string::npos);
    EXPECT_EQ(told.find('@'), std::string::npos) << told;
    const auto *icon = aboutWindow->widget->findChild<QLabel *>("icon");
    ASSERT_NE(icon, nullptr);
    EXPECT_EQ(icon->pixmap().size(), QSize(64, 64));
}

TEST_F(QtAbout, ItsHandlerHandlesNothingButTheClose)
{
    EXPECT_EQ(doGetAboutWindowHandlerUPP(), doGetAboutWindowHandlerUPP());
    aboutApp();
    const EventTypeSpec expected[] = {{four_chars("wind"), 2},    {four_chars("wind"), 5},
                                      {four_chars("wind"), 6},    {four_chars("wind"), 0x1B},
                                      {four_chars("wind"), 0x48}, {four_chars("cntl"), 1},
                                      {four_chars("mous"), 2},    {four_chars("keyb"), 3}};
    ASSERT_EQ(about_event_count, std::size(expected));
    for (std::size_t i = 0; i < about_event_count; ++i) {
        EXPECT_EQ(aboutWindowEvents[i].eventClass, expected[i].eventClass) << i;
        EXPECT_EQ(aboutWindowEvents[i].eventKind, expected[i].eventKind) << i;
        OpaqueEvent event = {expected[i].eventClass, expected[i].eventKind, {}};
        SetEventParameter(&event, kEventParamDirectObject, sizeof aboutWindow, &aboutWindow);
        const bool close = expected[i].eventKind == 0x48;
        EXPECT_EQ(aboutWindowEventHandler(nullptr, &event, nullptr),
                  close ? OSStatus{noErr} : OSStatus{eventNotHandledErr});
    }
    EXPECT_FALSE(IsWindowVisible(aboutWindow));
}

TEST_F(QtAbout, ThePictureIsDrawnInTheMiddleOfTheWindowsTop)
{
    aboutApp();
    GrafPtr port = nullptr;
    about_update(); // without a picture
    GetPort(&port);
    EXPECT_NE(port, GetWindowPort(aboutWindow));

    aboutPic = red_square();
    for (QLabel *label : aboutWindow->widget->findChildren<QLabel *>())
        label->hide(); // the controls lie above
    about_update();
    about_update(); // again, in the same place
    EXPECT_EQ(QDError(), noErr);
    GetPort(&port);
    EXPECT_EQ(port, GetWindowPort(aboutWindow));
    EXPECT_EQ(aboutWindow->drawings.size(), 1U);
    QRegion red;
    const QImage seen = aboutWindow->widget->grab().toImage();
    for (int y = 0; y < seen.height(); ++y) {
        for (int x = 0; x < seen.width(); ++x) {
            if (seen.pixelColor(x, y) == QColor(255, 0, 0))
                red += QRect(x, y, 1, 1);
        }
    }
    EXPECT_EQ(red, QRegion(aboutWindow->widget->width() / 2 - 16, 20, 32, 32));
    DisposeHandle(aboutPic);
    aboutPic = nullptr;
    SetPort(nullptr);
}

TEST_F(QtAbout, APictureFileIsReadWithoutItsHeader)
{
    folder.make_folder("Resources");
    folder.write("Resources/good.pict", std::string(512, 'h') + std::string("pic\0ture", 8));
    folder.write("Resources/short.pict", std::string(512, 'h'));
    const std::string before = contentsPath;
    platform::copy_whole(contentsPath, folder.path().c_str());
    PicHandle picture = myGetPict("good.pict");
    ASSERT_NE(picture, nullptr);
    EXPECT_EQ(std::string(*picture, GetHandleSize(picture)), std::string("pic\0ture", 8));
    DisposeHandle(picture);
    EXPECT_EQ(myGetPict("short.pict"), nullptr);
    EXPECT_EQ(myGetPict("none.pict"), nullptr);
    platform::copy_whole(contentsPath, before.c_str());
}

// ---- the changes ----

namespace {

QTextBrowser *change_log()
{
    return theConsole->widget->findChild<QTextBrowser *>();
}

} // namespace

TEST_F(QtAbout, TheChangesAreASheetThatShowsTheLog)
{
    const std::string source = read_file(PAPERMILL_SOURCE_DIR "/CHANGES.md");
    for (const auto key : {Qt::Key_Return, Qt::Key_Escape}) {
        watch_the_wait([key] {
            QTextBrowser *const log = change_log();
            if (log == nullptr || !log->isVisible())
                return false;
            const std::string told = log->toPlainText().toStdString();
            EXPECT_NE(told.find(PAPERMILL_VERSION), std::string::npos) << told;
            EXPECT_NE(told.find("The first version."), std::string::npos) << told;
            EXPECT_EQ(told.find('#'), std::string::npos) << told;
            QTest::keyClick(theConsole->widget->windowHandle(), key);
            return true;
        });
        Changes();
        EXPECT_EQ(QApplication::overrideCursor(), nullptr);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        EXPECT_EQ(change_log(), nullptr);
        EXPECT_EQ(theConsole->sheet, nullptr);
    }
    EXPECT_NE(source.find("## " PAPERMILL_VERSION), std::string::npos);
}

TEST_F(QtAbout, WhileTheChangesAreShownMenusAndDropsWait)
{
    watch_the_wait([] {
        if (change_log() == nullptr || !change_log()->isVisible())
            return false;
        QWindow *const window = theConsole->widget->windowHandle();
        QTest::keyClick(window, Qt::Key_D, Qt::ControlModifier | Qt::ShiftModifier);
        EXPECT_EQ(doDebug, 0);
        QMimeData file;
        file.setUrls({QUrl("file:///paper.ps")});
        QDragEnterEvent enter(QPoint(100, 200), Qt::CopyAction, &file, Qt::LeftButton,
                              Qt::NoModifier);
        QCoreApplication::sendEvent(window, &enter);
        QDragMoveEvent move(QPoint(100, 200), Qt::CopyAction, &file, Qt::LeftButton,
                            Qt::NoModifier);
        QCoreApplication::sendEvent(window, &move);
        EXPECT_FALSE(move.isAccepted());
        QTest::keyClick(window, Qt::Key_Escape);
        return true;
    });
    Changes();
    QTest::keyClick(theConsole->widget->windowHandle(), Qt::Key_D,
                    Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_EQ(doDebug, 1);
    doDebug = 0;
}

TEST_F(QtAbout, TheArrowIsThereAgainAfterTheChanges)
{
    watch_the_wait([] {
        if (change_log() == nullptr || !change_log()->isVisible())
            return false;
        EditCursor();
        EXPECT_NE(QApplication::overrideCursor(), nullptr);
        QTest::keyClick(theConsole->widget->windowHandle(), Qt::Key_Return);
        return true;
    });
    Changes();
    EXPECT_EQ(QApplication::overrideCursor(), nullptr);
}

TEST_F(QtAbout, WithoutAWindowInFrontThereAreNoChangesToSee)
{
    theConsole->widget->hide();
    ASSERT_TRUE(QTest::qWaitFor([] { return FrontWindow() == nullptr; }));
    const qsizetype before = QApplication::topLevelWidgets().size();
    EventLoopTimerRef timer = nullptr;
    InstallEventLoopTimer(
        GetCurrentEventLoop(), 0.0, 1.0,
        [](EventLoopTimerRef, void *) {
            std::fputs("It waits for an answer that nobody can give.\n", stderr);
            std::_Exit(EXIT_FAILURE);
        },
        nullptr, &timer);
    Changes();
    RemoveEventLoopTimer(timer);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_EQ(QApplication::topLevelWidgets().size(), before);
    theConsole->widget->show();
    QCoreApplication::processEvents();
}

TEST_F(QtAbout, TheMouseDismissesTheChanges)
{
    watch_the_wait([] {
        if (change_log() == nullptr || !change_log()->isVisible())
            return false;
        for (QPushButton *button : theConsole->sheet->findChildren<QPushButton *>())
            QTest::mouseClick(button, Qt::LeftButton);
        return true;
    });
    Changes();
    EXPECT_EQ(theConsole->sheet, nullptr);
}
