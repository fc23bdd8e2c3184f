// Drags as Qt hands them over.
#include "platform/drag.h"

#include "app/drag_drop.h"
#include "app/globals.h"
#include "console/console_text.h"
#include "platform/processes.h"
#include "platform/qt/state.h"
#include "tests/qt/desktop_test.h"
#include "tests/support/terminal_user.h"

#include <QApplication>
#include <QDialog>
#include <QDropEvent>
#include <QImage>
#include <QMimeData>
#include <QTest>
#include <QTimer>
#include <QWindow>

#include <algorithm>

namespace {

constexpr int strip = 16;      // at the right and at the bottom, where nothing is dropped
constexpr int frame_inset = 2; // of the highlight
constexpr int frame_width = 3;

// A drag from another program over a window.
class foreign_drag {
public:
    explicit foreign_drag(const QByteArray &list, WindowRef onto = theConsole)
        : window(onto->widget->windowHandle())
    {
        offered.setData("text/uri-list", list);
        offered.setText("some text, which is offered as well");
    }

    static QByteArray uri(const std::string &path)
    {
        return "file://" + QByteArray::fromStdString(path).toPercentEncoding("/") + "\r\n";
    }

    // Whether it may be dropped there, as the other program is told.
    bool enter(QPoint place)
    {
        QDragEnterEvent event(place, actions, &offered, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(window, &event);
        return move(place); // as the desktop does
    }

    bool move(QPoint place)
    {
        QDragMoveEvent event(place, actions, &offered, Qt::LeftButton, modifiers);
        QCoreApplication::sendEvent(window, &event);
        return accepted(event);
    }

    void leave()
    {
        QDragLeaveEvent event;
        QCoreApplication::sendEvent(window, &event);
    }

    bool drop(QPoint place)
    {
        QDropEvent event(place, actions, &offered, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(window, &event);
        return accepted(event);
    }

    Qt::DropActions actions = Qt::CopyAction | Qt::MoveAction | Qt::LinkAction;
    Qt::KeyboardModifiers modifiers = Qt::NoModifier; // with a move

private:
    static bool accepted(const QDropEvent &event)
    {
        EXPECT_EQ(event.isAccepted(), event.dropAction() != Qt::IgnoreAction);
        EXPECT_NE(event.dropAction(), Qt::MoveAction);
        return event.isAccepted();
    }

    QWindow *window;
    QMimeData offered;
};

const QPoint middle(200, 120);

class QtDrag : public desktop_test {
protected:
    QtDrag()
    {
        wait_for_focus();
        theConsole->widget->resize(500, 300);
        QPalette palette = theConsole->widget->palette();
        palette.setColor(QPalette::Active, QPalette::Highlight, colour);
        palette.setColor(QPalette::Inactive, QPalette::Highlight, Qt::gray);
        theConsole->widget->setPalette(palette);
    }

    // Where the highlight is drawn in the console; empty when there is none.
    static QRect highlight_in(const QImage &image)
    {
        QRect all;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                if (image.pixelColor(x, y) == colour)
                    all = all.united(QRect(x, y, 1, 1));
            }
        }
        return all;
    }

    static QRect highlight()
    {
        return highlight_in(theConsole->widget->grab().toImage());
    }

    static QRect place_to_drop()
    {
        const QSize size = theConsole->widget->size();
        return below_menus(size.width(), size.height()).adjusted(0, 0, -strip, -strip);
    }

    static QRect expected_highlight()
    {
        return place_to_drop().adjusted(frame_inset, frame_inset, -frame_inset, -frame_inset);
    }

    // Lets a good while pass, in which nothing may be converted.
    static void wait_in_vain()
    {
        QTest::qWait(300);
        EXPECT_EQ(shown(), "");
    }

    static int conversions()
    {
        const std::string told = shown();
        int count = 0;
        for (std::size_t at = told.find("Converting "); at != std::string::npos;
             at = told.find("Converting ", at + 1))
            ++count;
        return count;
    }

    static inline const QColor colour = QColor(11, 200, 33);
    const std::string input = folder.write("drawing.ps", drawing_ps(120, 90));
    const std::string output = folder / "drawing.pdf";
};

} // namespace

// ---- the highlight ----

TEST_F(QtDrag, AFileHighlightsTheWindowWhereItMayBeDropped)
{
    foreign_drag drag(foreign_drag::uri(input));
    EXPECT_TRUE(drag.enter(middle));
    EXPECT_EQ(inmyDrag, 1);
    EXPECT_EQ(highlight(), expected_highlight());
    const QRect place = place_to_drop();
    EXPECT_TRUE(drag.move(place.bottomRight()));
    EXPECT_FALSE(drag.move(place.bottomRight() + QPoint(1, 0)));
    EXPECT_EQ(highlight(), QRect());
    EXPECT_FALSE(drag.move(place.bottomRight() + QPoint(0, 1)));
    EXPECT_TRUE(drag.move(place.topLeft()));
    EXPECT_EQ(highlight(), expected_highlight());
    EXPECT_FALSE(drag.move(place.topLeft() - QPoint(0, 1))); // on the menu bar
    EXPECT_EQ(highlight(), QRect());
    drag.leave();
    EXPECT_EQ(highlight(), QRect());
    EXPECT_EQ(inmyDrag, 0);
    wait_in_vain();
}

TEST_F(QtDrag, AnotherWindowIsAskedAnew)
{
    const unsigned char title[] = {1, 'w'};
    const Rect bounds = {100, 100, 300, 400};
    WindowRef window = NewCWindow(nullptr, &bounds, title, 1, documentProc, nullptr, 1, 0);
    ASSERT_TRUE(QTest::qWaitForWindowExposed(window->widget));
    foreign_drag first(foreign_drag::uri(input));
    ASSERT_TRUE(first.enter(middle));
    // It has not been told to have left, and holds something else by now.
    foreign_drag second(foreign_drag::uri(input) + foreign_drag::uri(input), window);
    EXPECT_FALSE(second.enter(QPoint(50, 60)));
    EXPECT_EQ(highlight(), QRect());
    EXPECT_EQ(acceptDrag, 0);
    second.leave();
    EXPECT_EQ(inmyDrag, 0);
    DisposeWindow(window);
}

TEST_F(QtDrag, TheModifierKeysAreTold)
{
    static std::int16_t told;
    const DragTrackingHandlerUPP ask = NewDragTrackingHandlerUPP(
        [](DragTrackingMessage /*message*/, WindowRef, void *, DragRef drag) -> OSErr {
            std::int16_t down = -1;
            std::int16_t up = 0;
            return GetDragModifiers(drag, &told, &down, &up);
        });
    EXPECT_EQ(InstallTrackingHandler(ask, nullptr, nullptr), noErr);
    foreign_drag drag(foreign_drag::uri(input));
    for (const auto &[keys, classic] :
         {std::pair(Qt::KeyboardModifiers(Qt::MetaModifier), 0x0100),
          std::pair(Qt::KeyboardModifiers(Qt::ShiftModifier), 0x0200),
          std::pair(Qt::KeyboardModifiers(Qt::AltModifier), 0x0800),
          std::pair(Qt::KeyboardModifiers(Qt::ControlModifier), 0x1000),
          std::pair(Qt::ShiftModifier | Qt::ControlModifier, 0x1200),
          std::pair(Qt::KeyboardModifiers(), 0)}) {
        drag.modifiers = keys;
        EXPECT_TRUE(drag.move(middle)); // they change nothing
        EXPECT_EQ(told, classic);
    }
    drag.leave();
}

TEST_F(QtDrag, ADragMayComeInThroughTheStrip)
{
    foreign_drag drag(foreign_drag::uri(input));
    EXPECT_FALSE(drag.enter(QPoint(499, 100)));
    EXPECT_TRUE(drag.move(middle));
    EXPECT_NE(highlight(), QRect());
    drag.leave();
}

TEST_F(QtDrag, TheHighlightIsAFrameOverTheText)
{
    foreign_drag drag(foreign_drag::uri(input));
    ASSERT_TRUE(drag.enter(middle));
    const QImage image = theConsole->widget->grab().toImage();
    const QRect outer = expected_highlight();
    const QRect inner = outer.adjusted(frame_width, frame_width, -frame_width, -frame_width);
    for (const int inset : {0, frame_width - 1}) {
        EXPECT_EQ(image.pixelColor(outer.topLeft() + QPoint(inset, inset)), colour);
        EXPECT_EQ(image.pixelColor(outer.bottomRight() - QPoint(inset, inset)), colour);
    }
    for (const QPoint corner : {inner.topLeft(), inner.bottomRight(), inner.center()})
        EXPECT_NE(image.pixelColor(corner), colour);
    drag.leave();
}

TEST_F(QtDrag, TheHighlightFollowsTheWindowsSize)
{
    foreign_drag drag(foreign_drag::uri(input));
    ASSERT_TRUE(drag.enter(middle));
    theConsole->widget->resize(640, 400);
    ASSERT_TRUE(drag.move(middle + QPoint(1, 1)));
    EXPECT_EQ(highlight(), expected_highlight());
    drag.leave();
}

TEST_F(QtDrag, OnAFineScreenTheFrameIsAsThickAndSharp)
{
    foreign_drag drag(foreign_drag::uri(input));
    ASSERT_TRUE(drag.enter(middle));
    QImage image(theConsole->widget->size() * 2, QImage::Format_RGB32);
    image.setDevicePixelRatio(2);
    theConsole->widget->render(&image);
    const QRect once = expected_highlight();
    EXPECT_EQ(highlight_in(image), QRect(once.topLeft() * 2, once.size() * 2));
    const int x = once.left() * 2;
    const int y = image.height() / 2;
    EXPECT_EQ(image.pixelColor(x + 2 * frame_width - 1, y), colour);
    EXPECT_NE(image.pixelColor(x + 2 * frame_width, y), colour);
    drag.leave();
}

TEST_F(QtDrag, TheHighlightLiesUnderASheet)
{
    foreign_drag drag(foreign_drag::uri(input));
    ASSERT_TRUE(drag.enter(middle));
    const QRect whole = highlight();
    drag.leave();
    WindowRef sheet = make_wait_sheet();
    ASSERT_EQ(ShowSheetWindow(sheet, theConsole), noErr);
    const QRect covered = sheet->widget->geometry();
    ASSERT_TRUE(drag.enter(QPoint(200, covered.bottom() + 10)));
    EXPECT_EQ(highlight().top(), covered.bottom() + 1);
    EXPECT_EQ(highlight().bottom(), whole.bottom());
    EXPECT_TRUE(drag.move(covered.center())); // over the sheet it is over its window
    drag.leave();
    DisposeWindow(sheet);
}

// ---- what may not be dropped ----

TEST_F(QtDrag, TwoFilesAndOtherThingsMayNotBeDropped)
{
    const QByteArray one = foreign_drag::uri(input);
    for (const QByteArray &list :
         {one + one, QByteArray("http://localhost/drawing.ps\r\n"), QByteArray(),
          QByteArray("file://elsewhere.example" + QByteArray::fromStdString(input)),
          foreign_drag::uri(input + "x"), QByteArray::fromStdString(input)}) {
        foreign_drag drag(list);
        EXPECT_FALSE(drag.enter(middle)) << list.toStdString();
        EXPECT_EQ(highlight(), QRect());
        drag.leave();
    }
}

TEST_F(QtDrag, OfTwoThatAreDroppedAnywayTheFirstCounts)
{
    const std::string other = folder.write("other.ps", drawing_ps(50, 60));
    foreign_drag drag(foreign_drag::uri(input) + foreign_drag::uri(other));
    EXPECT_FALSE(drag.enter(middle));
    EXPECT_FALSE(drag.drop(middle));
    EXPECT_TRUE(QTest::qWaitFor([] { return conversions() > 0 && inRun == 0; }, 60000));
    QTest::qWait(300);
    EXPECT_EQ(conversions(), 1);
    EXPECT_EQ(pdf_page_size(output), "120 x 90");
    EXPECT_FALSE(file_exists(folder / "other.pdf"));
}

TEST_F(QtDrag, TheConsoleTakesNoText)
{
    foreign_drag drag("");
    EXPECT_FALSE(drag.enter(middle));
    EXPECT_FALSE(drag.drop(middle));
    wait_in_vain();
}

TEST_F(QtDrag, WhileAConversionRunsNothingMayBeDropped)
{
    foreign_drag drag(foreign_drag::uri(input));
    inRun = 1;
    EXPECT_FALSE(drag.enter(middle));
    EXPECT_EQ(highlight(), QRect());
    EXPECT_FALSE(drag.drop(middle));
    wait_in_vain();
    inRun = 0;
    EXPECT_FALSE(file_exists(output));
}

TEST_F(QtDrag, WhileSomethingIsAskedNothingMayBeDropped)
{
    foreign_drag drag(foreign_drag::uri(input));
    ASSERT_TRUE(drag.enter(middle));
    QDialog question(theConsole->widget);
    question.setModal(true);
    question.show();
    EXPECT_FALSE(drag.move(middle)); // it came before the question
    EXPECT_EQ(highlight(), QRect());
    EXPECT_EQ(inmyDrag, 0);
    EXPECT_FALSE(drag.drop(middle));
    drag.leave();
    EXPECT_FALSE(drag.enter(middle));
    EXPECT_EQ(inmyDrag, 0);
    question.hide();
    EXPECT_TRUE(drag.move(middle)); // it is still there when the question is answered
    EXPECT_NE(highlight(), QRect());
    drag.leave();
    wait_in_vain();
}

TEST_F(QtDrag, ADropIsForgottenWhenSomethingIsAskedFirst)
{
    foreign_drag drag(foreign_drag::uri(input));
    ASSERT_TRUE(drag.enter(middle));
    ASSERT_TRUE(drag.drop(middle));
    QDialog question(theConsole->widget);
    question.setModal(true);
    question.show();
    wait_in_vain();
    EXPECT_EQ(highlight(), QRect());
}

// ---- dropping ----

TEST_F(QtDrag, ADropIsAnsweredBeforeTheConversionBegins)
{
    foreign_drag drag(foreign_drag::uri(input));
    ASSERT_TRUE(drag.enter(middle));
    EXPECT_TRUE(drag.drop(middle));
    EXPECT_EQ(shown(), "");
    EXPECT_EQ(inRun, 0);
    EXPECT_TRUE(QTest::qWaitFor([this] { return file_exists(output) && inRun == 0; }, 60000));
    EXPECT_EQ(pdf_page_size(output), "120 x 90");
    QTest::qWait(300);
    EXPECT_EQ(conversions(), 1);
    EXPECT_EQ(highlight(), QRect());
    EXPECT_EQ(inmyDrag, 0);
    EXPECT_EQ(theConsole->sheet, nullptr);
}

TEST_F(QtDrag, WhatIsNotConvertedIsPassedOverInSilence)
{
    foreign_drag drag(foreign_drag::uri(folder.write("a.pdf", "%PDF-1.4\n")));
    EXPECT_TRUE(drag.enter(middle)); // what it is shows at the drop
    EXPECT_TRUE(drag.drop(middle));
    wait_in_vain();
    EXPECT_EQ(highlight(), QRect());
    EXPECT_EQ(inmyDrag, 0);
}

TEST_F(QtDrag, ARunThatBeginsBetweenDropAndConversionComesFirst)
{
    foreign_drag drag(foreign_drag::uri(input));
    ASSERT_TRUE(drag.enter(middle));
    ASSERT_TRUE(drag.drop(middle));
    inRun = 1;
    wait_in_vain();
    inRun = 0;
    wait_in_vain(); // it is not kept for later either
    EXPECT_FALSE(file_exists(output));
}

TEST_F(QtDrag, DuringARunItsSheetAndItsWindowRefuseDrops)
{
    static foreign_drag *second;
    static int refused;
    refused = 0;
    const std::string endless = folder.write("endless.ps", endless_ps());
    foreign_drag other(foreign_drag::uri(input));
    second = &other;
    watch_the_wait([] {
        if (theConsole->sheet == nullptr)
            return false;
        for (const QPoint place : {theConsole->sheet->geometry().center(), QPoint(200, 280)}) {
            refused += second->enter(place) ? 0 : 1;
            EXPECT_EQ(highlight(), QRect());
            refused += second->drop(place) ? 0 : 1;
        }
        press(Qt::Key_Escape);
        return true;
    });
    foreign_drag drag(foreign_drag::uri(endless));
    ASSERT_TRUE(drag.enter(middle));
    ASSERT_TRUE(drag.drop(middle));
    EXPECT_TRUE(QTest::qWaitFor([] { return refused > 0 && inRun == 0; }, 60000));
    QTest::qWait(300);
    EXPECT_EQ(refused, 4);
    EXPECT_EQ(conversions(), 1);
    EXPECT_FALSE(file_exists(output));
}

// Handlers that wait for a tool without the loop do not meet a drop in their midst.
TEST_F(QtDrag, ADropDuringAWaitWithoutInputIsTakenAfterIt)
{
    foreign_drag drag(foreign_drag::uri(input));
    bool dropped = false;
    QTimer::singleShot(0, [&] {
        drag.enter(middle);
        dropped = drag.drop(middle);
    });
    platform::system("sleep 1");
    EXPECT_TRUE(dropped);
    EXPECT_EQ(shown(), "");
    EXPECT_TRUE(QTest::qWaitFor([this] { return file_exists(output) && inRun == 0; }, 60000));
}

TEST_F(QtDrag, NamesAreBytes)
{
    const std::string name = "\xC3\xA4\xFF $(touch x) %41\n#?.ps";
    foreign_drag drag(foreign_drag::uri(folder.write(name, drawing_ps(120, 90))));
    ASSERT_TRUE(drag.enter(middle));
    ASSERT_TRUE(drag.drop(middle));
    const std::string made = folder / "\xC3\xA4\xFF $(touch x) %41\n#?.pdf";
    EXPECT_TRUE(QTest::qWaitFor([&] { return file_exists(made) && inRun == 0; }, 60000));
    EXPECT_EQ(dragFile, folder / name);
}

TEST_F(QtDrag, NoFileIsEverMoved)
{
    foreign_drag drag(foreign_drag::uri(input));
    drag.actions = Qt::MoveAction;
    EXPECT_FALSE(drag.enter(middle));
    EXPECT_EQ(highlight(), QRect());
    EXPECT_FALSE(drag.drop(middle));
    wait_in_vain();
    drag.actions = Qt::MoveAction | Qt::LinkAction;
    EXPECT_TRUE(drag.enter(middle));
    drag.leave();
}

TEST_F(QtDrag, AWindowThatIsGoneTakesNoDrop)
{
    const unsigned char title[] = {1, 'w'};
    const Rect bounds = {100, 100, 300, 400};
    WindowRef window = NewCWindow(nullptr, &bounds, title, 1, documentProc, nullptr, 1, 0);
    ASSERT_TRUE(QTest::qWaitForWindowExposed(window->widget));
    foreign_drag drag(foreign_drag::uri(input), window);
    ASSERT_TRUE(drag.enter(QPoint(50, 50)));
    ASSERT_TRUE(drag.drop(QPoint(50, 50)));
    DisposeWindow(window);
    wait_in_vain();
    EXPECT_FALSE(file_exists(output));
    EXPECT_EQ(inmyDrag, 0);
}

TEST_F(QtDrag, WithoutAWindowOrARegionThereIsNoHighlight)
{
    RgnHandle region = NewRgn();
    SetPortWindowPort(theConsole);
    EXPECT_EQ(ShowDragHilite(nullptr, region, 1), paramErr); // it is empty
    SetRectRgn(region, 0, 0, 50, 50);
    EXPECT_EQ(ShowDragHilite(nullptr, region, 0), paramErr);
    SetPort(nullptr);
    EXPECT_EQ(ShowDragHilite(nullptr, region, 1), paramErr);
    EXPECT_EQ(highlight(), QRect());
    DisposeRgn(region);
}
