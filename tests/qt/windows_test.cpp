#include "platform/windows.h"

#include "app/globals.h"
#include "console/console_text.h"
#include "platform/events.h"
#include "platform/qt/state.h"
#include "tests/qt/desktop_test.h"

#include <QApplication>
#include <QPushButton>
#include <QTest>

#include <algorithm>
#include <vector>

namespace {

std::vector<std::uint32_t> kinds;

OSStatus note_kind(EventHandlerCallRef /*call*/, EventRef event, void * /*userData*/)
{
    kinds.push_back(GetEventKind(event));
    return eventNotHandledErr;
}

std::ptrdiff_t times(std::uint32_t kind)
{
    return std::count(kinds.begin(), kinds.end(), kind);
}

class QtWindows : public desktop_test {
protected:
    QtWindows()
    {
        wait_for_focus();
        kinds.clear();
    }

    static void note(OSType event_class, std::uint32_t kind, EventTargetRef target)
    {
        const EventTypeSpec type = {event_class, kind};
        InstallEventHandler(target, note_kind, 1, &type, nullptr);
    }
};

} // namespace

TEST_F(QtWindows, TheConsoleIsTitledAfterTheProcess)
{
    EXPECT_EQ(theConsole->widget->windowTitle().toStdString(), "DesktopTests");
    EXPECT_TRUE(theConsole->widget->isVisible());
    EXPECT_EQ(FrontWindow(), theConsole);
}

TEST_F(QtWindows, WhatHappensToAWindowIsToldToItsHandlers)
{
    EventTargetRef target = GetWindowEventTarget(theConsole);
    for (const std::uint32_t kind : {kEventWindowUpdate, kEventWindowBoundsChanged,
                                     kEventWindowActivated, kEventWindowDeactivated})
        note(kEventClassWindow, kind, target);
    theConsole->widget->resize(500, 400);
    theConsole->widget->repaint();
    EXPECT_EQ(times(kEventWindowBoundsChanged), 1);
    EXPECT_GE(times(kEventWindowUpdate), 1);
    theConsole->widget->move(60, 70);
    EXPECT_EQ(times(kEventWindowBoundsChanged), 2);

    QWidget other;
    other.show();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&other));
    EXPECT_EQ(times(kEventWindowDeactivated), 1);
    EXPECT_EQ(times(kEventWindowActivated), 0);
    theConsole->widget->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(theConsole->widget));
    EXPECT_EQ(times(kEventWindowActivated), 1);
}

TEST_F(QtWindows, AWindowThatNobodyHidesStaysWhenItIsClosed)
{
    const unsigned char title[] = {1, 'w'};
    const Rect bounds = {100, 100, 200, 300};
    WindowRef window = NewCWindow(nullptr, &bounds, title, 1, documentProc, nullptr, 1, 0);
    note(kEventClassWindow, kEventWindowClose, GetWindowEventTarget(window));
    window->widget->close();
    EXPECT_EQ(times(kEventWindowClose), 1);
    EXPECT_TRUE(window->widget->isVisible());
    DisposeWindow(window);
}

TEST_F(QtWindows, TheSmallestSizeIsAskedOfTheHandlers)
{
    const unsigned char title[] = {1, 'w'};
    const Rect bounds = {100, 100, 110, 110};
    WindowRef window = NewCWindow(nullptr, &bounds, title, 0, documentProc, nullptr, 1, 0);
    const EventTypeSpec type = {kEventClassWindow, kEventWindowGetMinimumSize};
    InstallEventHandler(
        GetWindowEventTarget(window),
        [](EventHandlerCallRef, EventRef event, void *) {
            const Point smallest = {120, 340};
            SetEventParameter(event, kEventParamDimensions, sizeof smallest, &smallest);
            return OSStatus{noErr};
        },
        1, &type, nullptr);
    ShowWindow(window);
    EXPECT_EQ(window->widget->size(), QSize(340, 120)); // it has no menu bar
    DisposeWindow(window);
}

TEST_F(QtWindows, APointGoesToTheScreenAndBack)
{
    theConsole->widget->move(60, 70);
    SetPortWindowPort(theConsole);
    Point point = {5, 8};
    LocalToGlobal(&point);
    const QSize size = theConsole->widget->size();
    const QRect content = below_menus(size.width(), size.height());
    const QPoint corner = theConsole->widget->mapToGlobal(content.topLeft());
    EXPECT_EQ(point.v, corner.y() + 5);
    EXPECT_EQ(point.h, corner.x() + 8);
    GlobalToLocal(&point);
    EXPECT_EQ(point.v, 5);
    EXPECT_EQ(point.h, 8);
    Rect bounds = {};
    GetWindowPortBounds(theConsole, &bounds);
    EXPECT_EQ(bounds.right, content.width());
    EXPECT_EQ(bounds.bottom, content.height());
    SetPort(nullptr);
}

TEST_F(QtWindows, ASheetOutlivesTheWindowThatItIsOn)
{
    WindowRef window = make_test_window();
    ShowWindow(window);
    WindowRef sheet = make_wait_sheet();
    ASSERT_EQ(ShowSheetWindow(sheet, window), noErr);
    DisposeWindow(window);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_FALSE(IsWindowVisible(sheet));
    ASSERT_EQ(ShowSheetWindow(sheet, theConsole), noErr);
    EXPECT_TRUE(IsWindowVisible(sheet));
    DisposeWindow(sheet);
}

TEST_F(QtWindows, ADisposedWindowsPortIsNoLongerTheCurrentOne)
{
    WindowRef window = make_test_window();
    SetPortWindowPort(window);
    DisposeWindow(window);
    GrafPtr port = nullptr;
    GetPort(&port);
    EXPECT_NE(port, nullptr);
    Point point = {1, 2};
    LocalToGlobal(&point);
    EXPECT_EQ(point.v, 1);
}

// ---- the interface file ----

TEST_F(QtWindows, WithoutAnInterfaceFileThereIsAnError)
{
    IBNibRef nib = nullptr;
    EXPECT_EQ(CreateNibReference("no such file", &nib), fnfErr);
    EXPECT_EQ(nib, nullptr);
    ASSERT_EQ(CreateNibReference("test", &nib), noErr);
    WindowRef window = nullptr;
    EXPECT_EQ(CreateWindowFromNib(nib, "no such window", &window), fnfErr);
    EXPECT_EQ(window, nullptr);
    DisposeNibReference(nib);
}

TEST_F(QtWindows, AClickOnAButtonIsToldToTheWindow)
{
    WindowRef window = make_test_window();
    ShowWindow(window);
    note(kEventClassControl, kEventControlHit, GetWindowEventTarget(window));
    QTest::mouseClick(control_of(window, 2), Qt::LeftButton);
    EXPECT_EQ(kinds, std::vector<std::uint32_t>{kEventControlHit});
    DisposeWindow(window);
}

TEST_F(QtWindows, AHandlerMayDisposeOfItsWindow)
{
    static WindowRef window;
    window = make_test_window();
    ShowWindow(window);
    const EventTypeSpec type = {kEventClassControl, kEventControlHit};
    InstallEventHandler(
        GetWindowEventTarget(window),
        [](EventHandlerCallRef, EventRef, void *) {
            DisposeWindow(window);
            return OSStatus{eventNotHandledErr};
        },
        1, &type, nullptr);
    InstallEventHandler(GetWindowEventTarget(window), note_kind, 1, &type, nullptr);
    QTest::mouseClick(control_of(window, 1), Qt::LeftButton);
    QTest::qWait(0);
    EXPECT_EQ(kinds.size(), 1U);
}

// ---- sheets ----

TEST_F(QtWindows, ASheetLiesAlongTheTopOfItsWindow)
{
    theConsole->widget->resize(600, 400);
    WindowRef sheet = make_test_window();
    ASSERT_EQ(ShowSheetWindow(sheet, theConsole), noErr);
    EXPECT_EQ(sheet->widget->parentWidget(), theConsole->widget);
    EXPECT_TRUE(sheet->widget->isVisible());
    EXPECT_EQ(sheet->widget->geometry().topLeft(), below_menus(1, 1).topLeft());
    EXPECT_EQ(sheet->widget->width(), 600);
    EXPECT_TRUE(QTest::qWaitFor([&] { // what is in the window makes room
        return theConsole->content->y() >= sheet->widget->height();
    }));
    theConsole->widget->resize(700, 400);
    EXPECT_EQ(sheet->widget->width(), 700);

    HideSheetWindow(sheet);
    EXPECT_FALSE(sheet->widget->isVisible());
    EXPECT_EQ(theConsole->sheet, nullptr);
    ASSERT_EQ(ShowSheetWindow(sheet, theConsole), noErr); // again and again
    EXPECT_TRUE(sheet->widget->isVisible());
    DisposeWindow(sheet);
    EXPECT_EQ(theConsole->sheet, nullptr);
}

TEST_F(QtWindows, AWindowIsNotSmallerThanItsSheet)
{
    theConsole->widget->resize(100, 100);
    WindowRef sheet = make_test_window();
    control_of(sheet, 1)->setMinimumSize(300, 200);
    ASSERT_EQ(ShowSheetWindow(sheet, theConsole), noErr);
    EXPECT_GE(theConsole->widget->width(), 300);
    EXPECT_TRUE(theConsole->widget->rect().contains(sheet->widget->geometry()));
    control_of(sheet, 1)->setMinimumSize(420, 200); // what it shows may grow
    EXPECT_TRUE(QTest::qWaitFor([&] { return sheet->widget->width() >= 420; }));
    EXPECT_TRUE(theConsole->widget->rect().contains(sheet->widget->geometry()));
    HideSheetWindow(sheet);
    EXPECT_LE(theConsole->widget->width(), 300);
    DisposeWindow(sheet);
}

TEST_F(QtWindows, AWindowThatComesBackUnderItsSheetIsNotSmaller)
{
    WindowRef sheet = make_test_window();
    control_of(sheet, 1)->setMinimumSize(300, 200);
    ASSERT_EQ(ShowSheetWindow(sheet, theConsole), noErr);
    const QSize smallest = theConsole->widget->minimumSize();
    HideWindow(theConsole);
    ShowWindow(theConsole);
    EXPECT_EQ(theConsole->widget->minimumSize(), smallest);
    EXPECT_TRUE(sheet->widget->isVisible());
    DisposeWindow(sheet);
}

TEST_F(QtWindows, WithoutAWindowThereIsNoSheet)
{
    WindowRef sheet = make_test_window();
    EXPECT_EQ(ShowSheetWindow(sheet, nullptr), paramErr);
    EXPECT_EQ(ShowSheetWindow(nullptr, theConsole), paramErr);
    EXPECT_EQ(HideSheetWindow(nullptr), paramErr);
    DisposeWindow(sheet);
}

// ---- the application's activation ----

// The offscreen platform is always in front: the test says what the desktop would.
TEST_F(QtWindows, TheBackgroundFollowsTheApplicationsActivation)
{
    EXPECT_EQ(inBackground, 0);
    emit qApp->applicationStateChanged(Qt::ApplicationInactive);
    EXPECT_EQ(inBackground, 1);
    emit qApp->applicationStateChanged(Qt::ApplicationActive);
    EXPECT_EQ(inBackground, 0);
}

TEST_F(QtWindows, AHiddenWindowComesBackWithTheApplication)
{
    HideWindow(theConsole);
    emit qApp->applicationStateChanged(Qt::ApplicationInactive);
    EXPECT_FALSE(theConsole->widget->isVisible());
    emit qApp->applicationStateChanged(Qt::ApplicationActive);
    EXPECT_TRUE(theConsole->widget->isVisible());
}

TEST_F(QtWindows, AWindowThatIsClosedByTheClickThatActivatesStaysHidden)
{
    emit qApp->applicationStateChanged(Qt::ApplicationInactive);
    HideWindow(theConsole);
    emit qApp->applicationStateChanged(Qt::ApplicationActive);
    EXPECT_FALSE(theConsole->widget->isVisible());
}
