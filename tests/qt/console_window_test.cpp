#include "console/console_window.h"

#include "app/globals.h"
#include "console/console_io.h"
#include "console/console_text.h"
#include "platform/core/carbon_events.h"
#include "platform/fonts.h"
#include "platform/qt/state.h"
#include "platform/qt/text_view.h"
#include "settings/path_utils.h"
#include "settings/prefs_store.h"
#include "tests/qt/chooser_user.h"
#include "tests/qt/desktop_test.h"

#include <QAbstractButton>
#include <QApplication>
#include <QClipboard>
#include <QFontInfo>
#include <QLineEdit>
#include <QScreen>
#include <QScrollBar>
#include <QStyle>
#include <QTest>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace {

class QtConsole : public desktop_test {
protected:
    static void set_setting(const char *key, const char *value)
    {
        ASSERT_EQ(set_str_resource(key, value), 1);
    }

    static std::string setting(const char *key)
    {
        const char *value = get_str_resource(key);
        return value == nullptr ? "" : value;
    }

    // The console as it comes up at the next start.
    static void set_up_anew()
    {
        TXNDeleteObject(text);
        text = nullptr;
        DisposeWindow(theConsole);
        theConsole = nullptr;
        char title[32] = "papermill";
        theConsole = SetUpTextWindow(title);
        ASSERT_NE(theConsole, nullptr);
    }

    static platform::text_view &view()
    {
        return *dynamic_cast<platform::text_view *>(theConsole->content);
    }

    static std::string font_name()
    {
        return {reinterpret_cast<const char *>(consoleFontName) + 1, consoleFontName[0]};
    }

    static OSStatus send(OSType event_class, std::uint32_t kind)
    {
        OpaqueEvent event = {event_class, kind, {}};
        return platform::send_event(&theConsole->target, &event);
    }

    // Of the console's content on the screen.
    static QRect place()
    {
        Rect bounds = {};
        EXPECT_EQ(GetWindowBounds(theConsole, kWindowContentRgn, &bounds), noErr);
        return {bounds.left, bounds.top, bounds.right - bounds.left, bounds.bottom - bounds.top};
    }

    // The whole content, in the window that the menu bar is in, too.
    static QRect whole_content()
    {
        const QSize window = theConsole->widget->size();
        return below_menus(window.width(), window.height());
    }

    static void put_content_at(const QRect &place)
    {
        theConsole->widget->setGeometry(place.adjusted(0, -whole_content().top(), 0, 0));
    }
};

constexpr QRect default_place(10, 45, 590, 255);

// The same with two screens: the main one, and one to the left of it that begins above it.
class TwoScreens : public QtConsole {
protected:
    void SetUp() override
    {
        ASSERT_EQ(QGuiApplication::screens().size(), 2);
    }
};

} // namespace

// ---- setting up ----

TEST_F(QtConsole, WithoutASavedPlaceItIsAtItsOwn)
{
    EXPECT_EQ(place(), default_place);
    EXPECT_TRUE(theConsole->widget->isVisible());
    EXPECT_EQ(GetWRefCon(theConsole), 0);
    EXPECT_EQ((*sMouseRgn)->bounds.top, -32767);
    EXPECT_EQ((*sMouseRgn)->bounds.right, 32767);
}

TEST_F(QtConsole, ItIsSetUpWhereItWasSaved)
{
    set_setting("GSWINDOW", "50 20 400 620");
    set_up_anew();
    EXPECT_EQ(place(), QRect(20, 50, 600, 350));
}

// A high menu bar above it leaves the title, by which the window is moved, on the screen.
TEST_F(QtConsole, ItsTitleStaysOnTheScreenInLargeType)
{
    const int title = QApplication::style()->pixelMetric(QStyle::PM_TitleBarHeight);
    EXPECT_GT(title, 10);
    const QFont before = QApplication::font();
    QFont large = before;
    large.setPointSize(40);
    QApplication::setFont(large);
    set_setting("GSWINDOW", "45 10 300 600");
    QRect first;
    for (int starts = 0; starts < 2; ++starts) {
        set_up_anew();
        EXPECT_EQ(theConsole->widget->geometry().top(), title);
        EXPECT_EQ(place().size(), default_place.size());
        EXPECT_GT(place().top(), 45);
        EXPECT_TRUE(first.isNull() || place() == first);
        first = place();
        TextCleanUp();
    }
    QApplication::setFont(before);
}

TEST_F(QtConsole, APlaceOffEveryScreenIsNotRestored)
{
    ASSERT_EQ(QGuiApplication::screens().size(), 1);
    for (const char *saved : {"2000 2000 2100 2100", "768 0 900 500", "0 1024 400 1400",
                              "-300 0 0 400", "0 0 20 400", "100 100 100 300", "300 100 200 300"}) {
        set_setting("GSWINDOW", saved);
        Rect rect = {};
        EXPECT_EQ(GetWindow(&rect), 0) << saved;
    }
    set_up_anew();
    EXPECT_EQ(place(), default_place);
}

TEST_F(QtConsole, AnEdgeOnTheScreenIsEnough)
{
    for (const char *saved : {"0 0 21 400", "767 0 900 500", "0 1023 400 1400", "-300 -300 21 1"}) {
        set_setting("GSWINDOW", saved);
        Rect rect = {};
        EXPECT_EQ(GetWindow(&rect), 1) << saved;
    }
}

TEST_F(QtConsole, AMalformedPlaceIsNotRestored)
{
    for (const char *saved : {"50 20 400", "", "here", "50, 20, 400, 620"}) {
        set_setting("GSWINDOW", saved);
        set_up_anew();
        EXPECT_EQ(place(), default_place) << saved;
    }
}

TEST_F(QtConsole, TheCloseBoxIsTakenAway)
{
    EXPECT_EQ(theConsole->attributes, kWindowStandardHandlerAttribute);
    EXPECT_FALSE(theConsole->widget->windowFlags().testFlag(Qt::WindowCloseButtonHint));
    EXPECT_TRUE(theConsole->widget->windowFlags().testFlag(Qt::WindowMinMaxButtonsHint));
}

TEST_F(QtConsole, TheHandlerIsInstalledForThirteenEvents)
{
    ASSERT_EQ(theConsole->target.handlers.size(), 1U);
    const installed_handler &installed = theConsole->target.handlers[0];
    EXPECT_EQ(installed.handler, windowEventHandler);
    EXPECT_EQ(doGetHandlerUPP(), windowEventHandler);
    std::set<std::pair<OSType, std::uint32_t>> events;
    for (const EventTypeSpec &each : installed.events)
        events.insert({each.eventClass, each.eventKind});
    const OSType window = four_chars("wind");
    const std::set<std::pair<OSType, std::uint32_t>> expected = {{window, 2},
                                                                 {window, 5},
                                                                 {window, 6},
                                                                 {window, 0x50},
                                                                 {window, 0x51},
                                                                 {window, 0x4C},
                                                                 {window, 0x1C},
                                                                 {window, 0x1B},
                                                                 {window, 0x1D},
                                                                 {window, 0x48},
                                                                 {four_chars("cntl"), 0xD},
                                                                 {four_chars("keyb"), 1},
                                                                 {four_chars("cmds"), 1}};
    EXPECT_EQ(installed.events.size(), 13U);
    EXPECT_EQ(events, expected);
}

TEST_F(QtConsole, ThePortIsCurrentAfterwards)
{
    SetPort(nullptr);
    set_up_anew();
    GrafPtr port = nullptr;
    GetPort(&port);
    EXPECT_EQ(port, GetWindowPort(theConsole));
}

TEST_F(QtConsole, TheTextFillsTheWindow)
{
    EXPECT_EQ(view().geometry(), whole_content());
    EXPECT_EQ(view().size(), default_place.size());
    text_printf("text");
    EXPECT_EQ(view().character_at(0).topLeft(), QPointF(5, 5));
    theConsole->widget->resize(700, 400);
    EXPECT_EQ(view().geometry(), below_menus(700, 400));
}

// ---- font and size ----

TEST_F(QtConsole, WithoutSettingsTheFontIsTheInterfaceFont)
{
    Str255 name = {};
    GetFontName(0, name);
    EXPECT_EQ(std::memcmp(consoleFontName, name, name[0] + std::size_t{1}), 0);
    EXPECT_EQ(view().text_font().pointSizeF(), 12);
}

TEST_F(QtConsole, AFontThatIsNotInstalledBecomesMonaco)
{
    set_setting("FONTNAME", "A font that nobody has");
    SetFontAndSize();
    EXPECT_EQ(font_name(), "Monaco");
    EXPECT_TRUE(QFontInfo(view().text_font()).fixedPitch());
}

TEST_F(QtConsole, AnInstalledFontIsTaken)
{
    set_setting("FONTNAME", "dejavu sans mono");
    set_setting("FONTSIZE", "14");
    SetFontAndSize();
    EXPECT_EQ(font_name(), "dejavu sans mono");
    EXPECT_EQ(QFontInfo(view().text_font()).family(), "DejaVu Sans Mono");
    EXPECT_EQ(view().text_font().pointSizeF(), 14);
}

TEST_F(QtConsole, TheSystemFontsOwnNameIsNoMissingFont)
{
    Str255 name = {};
    GetFontName(0, name);
    std::string upper(reinterpret_cast<const char *>(name) + 1, name[0]);
    for (char &c : upper)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    set_setting("FONTNAME", upper.c_str());
    SetFontAndSize();
    EXPECT_EQ(font_name(), upper);
}

TEST_F(QtConsole, ASizeThatIsNoNumberIsTwelve)
{
    set_setting("FONTSIZE", "10");
    SetFontAndSize();
    EXPECT_EQ(view().text_font().pointSizeF(), 10);
    set_setting("FONTSIZE", "large");
    SetFontAndSize();
    EXPECT_EQ(view().text_font().pointSizeF(), 12);
}

TEST_F(QtConsole, ALongFontNameIsKeptWhole)
{
    const std::string name(254, 'x');
    set_setting("FONTNAME", name.c_str());
    SetFontAndSize();
    EXPECT_EQ(font_name(), "Monaco");
}

TEST_F(QtConsole, AnotherFontLeavesTextAndSelectionAsTheyAre)
{
    text_printf("some text\n");
    view().select(2, 6);
    set_setting("FONTSIZE", "20");
    SetFontAndSize();
    EXPECT_EQ(shown(), "some text\n");
    EXPECT_EQ(view().selection_start(), 2U);
    EXPECT_EQ(view().selection_end(), 6U);
}

// ---- events ----

TEST_F(QtConsole, ClosingHidesItAndTheNextMessageStillLands)
{
    theConsole->widget->close();
    EXPECT_FALSE(theConsole->widget->isVisible());
    text_printf("later\n");
    EXPECT_EQ(shown(), "later\n");
    ShowWindow(theConsole);
    EXPECT_TRUE(theConsole->widget->isVisible());
    EXPECT_EQ(send(kEventClassWindow, kEventWindowClose), noErr);
    EXPECT_FALSE(theConsole->widget->isVisible());
}

TEST_F(QtConsole, ItIsNotMadeSmallerThanItsMinimum)
{
    EXPECT_EQ(theConsole->widget->minimumSize(), QSize(100, 100 + whole_content().top()));
    OpaqueEvent question = {kEventClassWindow, kEventWindowGetMinimumSize, {}};
    EXPECT_EQ(platform::send_event(&theConsole->target, &question), noErr);
    Point smallest = {};
    EXPECT_EQ(GetEventParameter(&question, kEventParamDimensions, sizeof smallest, &smallest),
              noErr);
    EXPECT_EQ(smallest.v, 100);
    EXPECT_EQ(smallest.h, 100);
}

TEST_F(QtConsole, AllOtherEventsAreLeftToOthers)
{
    for (const std::uint32_t kind :
         {kEventWindowUpdate, kEventWindowActivated, kEventWindowDeactivated,
          kEventWindowBoundsChanged, std::uint32_t{0x50}, std::uint32_t{0x4C}, std::uint32_t{0x1C},
          std::uint32_t{0x1D}})
        EXPECT_EQ(send(kEventClassWindow, kind), eventNotHandledErr) << kind;
    EXPECT_EQ(send(kEventClassControl, 0xD), eventNotHandledErr);
    EXPECT_EQ(send(kEventClassCommand, kEventCommandProcess), eventNotHandledErr);
}

TEST_F(QtConsole, ChangedBoundsPutTheFrameOverTheWholeWindow)
{
    TXNSetFrameBounds(text, 3, 3, 50, 50, frameID);
    send(kEventClassWindow, kEventWindowBoundsChanged);
    EXPECT_EQ(view().geometry(), whole_content());
}

TEST_F(QtConsole, ItsSelectionLooksInactiveWhileItIsInTheBackground)
{
    wait_for_focus();
    QPalette palette = view().palette();
    palette.setColor(QPalette::Active, QPalette::Highlight, QColor(0, 0, 255));
    palette.setColor(QPalette::Inactive, QPalette::Highlight, QColor(0, 255, 0));
    view().setPalette(palette);
    text_printf("      ");
    view().select(0, 6);
    const auto colour = [] { return view().grab().toImage().pixelColor(8, 10); };
    EXPECT_EQ(colour(), QColor(0, 0, 255));
    Text_Activate(theConsole, 0);
    EXPECT_EQ(colour(), QColor(0, 255, 0));
    EXPECT_FALSE(view().hasFocus());
    Text_Activate(theConsole, 1);
    EXPECT_EQ(colour(), QColor(0, 0, 255));
    EXPECT_TRUE(view().hasFocus());
    Text_Activate(nullptr, 0);
    EXPECT_EQ(colour(), QColor(0, 0, 255));
}

TEST_F(QtConsole, ActivationLeavesThePortAsItIs)
{
    SetPort(nullptr);
    GrafPtr before = nullptr;
    GetPort(&before);
    Text_Activate(theConsole, 1);
    GrafPtr after = nullptr;
    GetPort(&after);
    EXPECT_EQ(after, before);
}

// ---- keys ----

TEST_F(QtConsole, AnIdleConsoleIsScrolledAndSelectedWithTheKeyboard)
{
    wait_for_focus();
    for (int i = 0; i < 200; ++i)
        text_printf("line %d\n", i);
    TXNForceUpdate(text);
    QScrollBar *const bar = view().verticalScrollBar();
    press(Qt::Key_Home);
    EXPECT_EQ(bar->value(), 0);
    press(Qt::Key_PageDown);
    EXPECT_GT(bar->value(), 0);
    press(Qt::Key_End);
    EXPECT_EQ(bar->value(), bar->maximum());
    press(Qt::Key_Up, Qt::ShiftModifier);
    press(Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(QApplication::clipboard()->text(), "line 199\n");
    press(Qt::Key_A, Qt::ControlModifier);
    press(Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(QApplication::clipboard()->text().toStdString(), shown());
}

TEST_F(QtConsole, CopyingIsNoKeyPressForARun)
{
    wait_for_focus();
    text_printf("text");
    inScript = 1;
    press(Qt::Key_A, Qt::ControlModifier);
    press(Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(QApplication::clipboard()->text(), "text");
    EXPECT_EQ(inScript, 1);
    EXPECT_EQ(userCancel, 0);
    press(Qt::Key_Down);
    EXPECT_EQ(userCancel, 1);
}

// ---- the window's other operations ----

TEST_F(QtConsole, AClickInTheTextIsPassedOnButNotOneOnTheEdge)
{
    text_printf("some text");
    TXNForceUpdate(text);
    const auto click = [](QPoint inside) {
        view().select(0, 4);
        const QPoint there = place().topLeft() + inside;
        EventRecord event = {};
        event.where = {static_cast<std::int16_t>(there.y()), static_cast<std::int16_t>(there.x())};
        SetPortWindowPort(theConsole);
        DoTextContent(&event);
        return view().selection_end() == view().selection_start();
    };
    EXPECT_TRUE(click({100, 100}));
    EXPECT_TRUE(click({574, 239}));
    EXPECT_FALSE(click({575, 100}));
    EXPECT_FALSE(click({100, 240}));
    EXPECT_FALSE(click({-1, 100}));
    EXPECT_FALSE(click({100, -1})); // in the menu bar
}

TEST_F(QtConsole, GrowingPutsTheFrameOverTheWholeWindow)
{
    TXNSetFrameBounds(text, 3, 3, 50, 50, frameID);
    GrowTextWindow({200, 200});
    EXPECT_EQ(view().geometry(), whole_content());
}

TEST_F(QtConsole, ItIsZoomedAndHidden)
{
    ZoomTextWindow(inZoomOut);
    EXPECT_TRUE(theConsole->widget->isMaximized());
    ZoomTextWindow(inZoomIn);
    EXPECT_FALSE(theConsole->widget->isMaximized());
    CloseTextWindow(nullptr);
    EXPECT_TRUE(theConsole->widget->isVisible());
    CloseTextWindow(theConsole);
    EXPECT_FALSE(theConsole->widget->isVisible());
}

TEST_F(QtConsole, OnlyAPendingReadChangesTheCursor)
{
    wait_for_focus();
    QCursor::setPos(theConsole->widget->mapToGlobal(QPoint(50, 50)));
    AdjustCursor();
    EXPECT_EQ((*sMouseRgn)->bounds.left, -32767);
    get_text = 1;
    AdjustCursor();
    get_text = 0;
    EXPECT_EQ((*sMouseRgn)->bounds.left, theConsole->widget->mapToGlobal(QPoint(0, 0)).x());
}

TEST_F(QtConsole, TheCaretIsIdleWhileNobodyReads)
{
    wait_for_focus();
    get_text = 1;
    SetSelectionState(1);
    TXNForceUpdate(text);
    const QImage with = view().grab().toImage();
    QTest::qWait(QApplication::cursorFlashTime() / 2 + 20);
    get_text = 0;
    TextIdle();
    EXPECT_EQ(view().grab().toImage(), with);
    get_text = 1;
    TextIdle();
    get_text = 0;
    EXPECT_NE(view().grab().toImage(), with);
}

// ---- saving ----

TEST_F(QtConsole, ASavedConsoleIsATextFileWithLineFeeds)
{
    text_printf("caf\xE9\n%s\n", "next");
    chooser_user user;
    user.in_chooser([&](QFileDialog &chooser) {
        EXPECT_EQ(chooser.windowTitle(), "Save console output as");
        EXPECT_EQ(chooser.findChild<QLineEdit *>()->text(), "console.log");
        type_name(chooser, folder / "my log");
        press_accept(chooser);
    });
    SaveConsole();
    EXPECT_EQ(read_file(folder / "my log"), "caf\xE9\nnext\n");
    OSType creator = 0;
    OSType type = 0;
    EXPECT_EQ(get_full_info((folder / "my log").c_str(), &creator, &type), 1);
    EXPECT_EQ(creator, four_chars("ttxt"));
    EXPECT_EQ(type, four_chars("TEXT"));
    EXPECT_EQ(shown(), "caf\xC3\xA9\nnext\n");
}

TEST_F(QtConsole, AnOlderLogIsReplacedWhole)
{
    text_printf("short\n");
    folder.write("console.log", std::string(100000, 'x'));
    chooser_user user;
    user.in_chooser([&](QFileDialog &chooser) {
        type_name(chooser, folder / "console.log");
        press_accept(chooser);
    });
    user.in_message([](QMessageBox &message) {
        for (QAbstractButton *button : message.buttons()) {
            if (button->text() == "&Replace")
                QTest::mouseClick(button, Qt::LeftButton);
        }
    });
    SaveConsole();
    EXPECT_EQ(read_file(folder / "console.log"), "short\n");
}

TEST_F(QtConsole, ACancelledSaveSavesNothing)
{
    text_printf("text\n");
    chooser_user user;
    user.cancels();
    SaveConsole();
    EXPECT_TRUE(folder.names().empty());
    EXPECT_EQ(shown(), "text\n");
}

TEST_F(QtConsole, ALogThatCannotBeOpenedIsToldOnStandardOutput)
{
    text_printf("text\n");
    std::vector<FSIORefNum> all; // that can be open at a time
    FSSpec spec = {};
    const std::string other = folder.write("other", "");
    ASSERT_EQ(FSPathMakeFSSpec(other.c_str(), &spec, nullptr), noErr);
    for (FSIORefNum file = 0; FSpOpenDF(&spec, 1, &file) == noErr;)
        all.push_back(file);
    chooser_user user;
    user.in_chooser([&](QFileDialog &chooser) {
        type_name(chooser, folder / "console.log");
        press_accept(chooser);
    });
    testing::internal::CaptureStdout();
    SaveConsole();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "can't open data fork");
    EXPECT_EQ(shown(), "text\n");
    for (const FSIORefNum file : all)
        FSClose(file);
}

// ---- load ----

namespace {

#ifdef __SANITIZE_ADDRESS__
constexpr bool freed_memory_is_kept = true;
#else
constexpr bool freed_memory_is_kept = false;
#endif

long resident_kilobytes()
{
    const std::string status = read_file("/proc/self/status");
    return std::atol(status.c_str() + status.find("VmRSS:") + std::strlen("VmRSS:"));
}

} // namespace

TEST_F(QtConsole, AFloodOfOutputIsAllThereAndTakesLittleMoreThanItself)
{
    constexpr std::size_t size = 30000000;
    constexpr std::size_t chunk = 1000;
    std::string output;
    for (int i = 0; output.size() < size; ++i)
        output += "Line " + std::to_string(i) + " of a tool that says caf\xE9\n";
    const long before = resident_kilobytes();
    for (std::size_t at = 0; at < output.size(); at += chunk) {
        const std::size_t left = std::min(chunk, output.size() - at);
        WriteCharsToConsole(&output[at], static_cast<std::int32_t>(left));
        if (at / chunk % 100 == 0)
            QCoreApplication::processEvents();
    }
    FlushOutput();
    ASSERT_EQ(view().text().size(), output.size());
    std::replace(output.begin(), output.end(), '\n', '\r');
    std::size_t at = 0;
    view().text().for_each_part(0, output.size(), [&](std::string_view part) {
        EXPECT_TRUE(output.compare(at, part.size(), part) == 0) << at;
        at += part.size();
        return true;
    });
    EXPECT_EQ(at, output.size());
    const long taken = (resident_kilobytes() - before) * 1024;
    EXPECT_TRUE(freed_memory_is_kept || taken < static_cast<long>(2 * size)) << taken;
}

// ---- at quit ----

TEST_F(QtConsole, ItsPlaceIsSavedAtQuit)
{
    put_content_at({30, 60, 500, 300});
    GrafPtr before = nullptr;
    SetPort(nullptr);
    GetPort(&before);
    TextCleanUp();
    EXPECT_EQ(setting("GSWINDOW"), "60 30 360 530");
    EXPECT_EQ(text, nullptr);
    GrafPtr after = nullptr;
    GetPort(&after);
    EXPECT_EQ(after, before);
    set_up_anew();
    EXPECT_EQ(place(), QRect(30, 60, 500, 300));
}

TEST_F(QtConsole, ThePlaceOfAHiddenConsoleIsSavedToo)
{
    put_content_at({30, 60, 500, 300});
    theConsole->widget->close();
    TextCleanUp();
    EXPECT_EQ(setting("GSWINDOW"), "60 30 360 530");
}

// ---- several screens ----

TEST_F(TwoScreens, APlaceOnTheOtherScreenIsRestored)
{
    for (const char *saved : {"50 -1000 400 -400", "-190 -1200 -10 -900", "-210 -10 -190 0"}) {
        set_setting("GSWINDOW", saved);
        Rect rect = {};
        EXPECT_EQ(GetWindow(&rect), 1) << saved;
    }
    set_setting("GSWINDOW", "50 -1000 400 -400");
    set_up_anew();
    EXPECT_EQ(place(), QRect(-1000, 50, 600, 350));
    TextCleanUp();
    EXPECT_EQ(setting("GSWINDOW"), "50 -1000 400 -400");
}

TEST_F(TwoScreens, OnlyTheMainOneHasAMenuBar)
{
    set_setting("GSWINDOW", "0 100 20 400");
    Rect rect = {};
    EXPECT_EQ(GetWindow(&rect), 0);
    set_setting("GSWINDOW", "-200 -1000 -190 -400");
    EXPECT_EQ(GetWindow(&rect), 1);
}

TEST_F(TwoScreens, APlaceBetweenAndBeyondThemIsNotRestored)
{
    for (const char *saved :
         {"-300 -1000 -200 -400", "824 -1000 900 -400", "-200 0 0 400", "900 100 1000 400"}) {
        set_setting("GSWINDOW", saved);
        Rect rect = {};
        EXPECT_EQ(GetWindow(&rect), 0) << saved;
    }
}

TEST_F(TwoScreens, EveryScreenIsListedOnce)
{
    GDHandle first = GetDeviceList();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first, GetMainDevice());
    EXPECT_EQ((*first)->gdRect.right, 1024);
    EXPECT_TRUE(TestDeviceAttribute(first, screenDevice));
    EXPECT_TRUE(TestDeviceAttribute(first, screenActive));
    EXPECT_FALSE(TestDeviceAttribute(first, 1));
    GDHandle second = GetNextDevice(first);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ((*second)->gdRect.left, -1280);
    EXPECT_EQ((*second)->gdRect.top, -200);
    EXPECT_EQ((*second)->gdRect.bottom, 824);
    EXPECT_EQ(GetNextDevice(second), nullptr);
}
