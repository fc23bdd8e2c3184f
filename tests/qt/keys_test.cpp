// Keys, from the desktop to the window's handlers and the text.
#include "app/globals.h"
#include "console/console_io.h"
#include "console/console_text.h"
#include "platform/events.h"
#include "platform/qt/state.h"
#include "tests/qt/desktop_test.h"

#include <QApplication>
#include <QClipboard>
#include <QInputMethodEvent>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include <vector>

namespace {

struct seen_key {
    int character;
    std::uint32_t modifiers;
};

std::vector<seen_key> seen;
OSStatus answer; // what the handler of the test says

OSStatus note_key(EventHandlerCallRef /*call*/, EventRef event, void * /*userData*/)
{
    unsigned char character = 0;
    std::uint32_t modifiers = 0;
    EXPECT_EQ(GetEventParameter(event, kEventParamKeyMacCharCodes, sizeof character, &character),
              noErr);
    EXPECT_EQ(GetEventParameter(event, kEventParamKeyModifiers, sizeof modifiers, &modifiers),
              noErr);
    seen.push_back({character, modifiers});
    return answer;
}

std::vector<int> characters()
{
    std::vector<int> result;
    for (const seen_key &key : seen)
        result.push_back(key.character);
    return result;
}

using bytes = std::vector<int>;

class QtKeys : public desktop_test {
protected:
    QtKeys()
    {
        wait_for_focus();
        seen.clear();
        answer = noErr;
        const EventTypeSpec key = {kEventClassKeyboard, kEventRawKeyDown};
        InstallEventHandler(GetWindowEventTarget(theConsole), note_key, 1, &key, nullptr);
    }
};

// The same with a sheet over the console, whose first button has the keyboard.
class QtSheetKeys : public QtKeys {
protected:
    QtSheetKeys() : sheet(make_test_window())
    {
        EXPECT_EQ(ShowSheetWindow(sheet, theConsole), noErr);
        EXPECT_TRUE(control_of(sheet, 1)->hasFocus());
    }

    ~QtSheetKeys() override
    {
        DisposeWindow(sheet);
    }

    const WindowRef sheet;
};

} // namespace

TEST_F(QtKeys, NamedKeysHaveTheirClassicCodes)
{
    const std::pair<int, int> codes[] = {
        {Qt::Key_Return, 13}, {Qt::Key_Enter, 3},     {Qt::Key_Tab, 9},    {Qt::Key_Backspace, 8},
        {Qt::Key_Escape, 27}, {Qt::Key_Left, 28},     {Qt::Key_Right, 29}, {Qt::Key_Up, 30},
        {Qt::Key_Down, 31},   {Qt::Key_Delete, 127},  {Qt::Key_Home, 1},   {Qt::Key_End, 4},
        {Qt::Key_PageUp, 11}, {Qt::Key_PageDown, 12}, {Qt::Key_F5, 16},
    };
    for (const auto &[key, code] : codes) {
        seen.clear();
        press(key);
        EXPECT_EQ(characters(), bytes{code}) << key;
    }
}

TEST_F(QtKeys, ALetterIsItsCharacterAndShiftIsTold)
{
    press(Qt::Key_A);
    press(Qt::Key_A, Qt::ShiftModifier);
    ASSERT_EQ(seen.size(), 2U);
    EXPECT_EQ(seen[0].character, 'a');
    EXPECT_EQ(seen[0].modifiers, 0U);
    EXPECT_EQ(seen[1].character, 'A');
    EXPECT_EQ(seen[1].modifiers, 0x200U);
}

TEST_F(QtKeys, ChordsAreNoKeyPresses)
{
    for (const auto modifier : {Qt::ControlModifier, Qt::AltModifier, Qt::MetaModifier}) {
        press(Qt::Key_C, modifier);
        press(Qt::Key_Left, modifier | Qt::ShiftModifier);
    }
    EXPECT_EQ(characters(), bytes{});
}

TEST_F(QtKeys, BareModifiersAndKeysWithoutACharacterAreNoKeyPresses)
{
    for (const int key : {Qt::Key_Shift, Qt::Key_Control, Qt::Key_Alt, Qt::Key_Meta, Qt::Key_AltGr,
                          Qt::Key_CapsLock, Qt::Key_NumLock, Qt::Key_Dead_Acute, Qt::Key_VolumeUp})
        press(key);
    EXPECT_EQ(characters(), bytes{});
}

TEST_F(QtKeys, ACharacterOfSeveralBytesIsSentByteByByte)
{
    answer = eventNotHandledErr;
    get_text = 1;
    SetSelectionState(1);
    type(QString::fromUtf8("\u00e9"));
    SetSelectionState(0);
    get_text = 0;
    EXPECT_EQ(characters(), (bytes{0xC3, 0xA9}));
    EXPECT_EQ(shown(), "\u00e9");
}

TEST_F(QtKeys, WhatAHandlerTakesIsOneKeyHoweverManyBytesItHas)
{
    type(QString::fromUtf8("\u20ac"));
    EXPECT_EQ(characters(), bytes{0xE2});
}

TEST_F(QtKeys, WhatNoHandlerTakesIsTypedIntoTheText)
{
    get_text = 1;
    answer = eventNotHandledErr;
    SetSelectionState(1);
    press(Qt::Key_A);
    answer = noErr;
    press(Qt::Key_B);
    SetSelectionState(0);
    get_text = 0;
    EXPECT_EQ(shown(), "a");
}

TEST_F(QtKeys, AKeyThatIsHeldDownIsOnePressUnlessItTypes)
{
    const auto hold = [] {
        QKeyEvent held(QEvent::KeyPress, Qt::Key_A, Qt::NoModifier, QStringLiteral("a"), true);
        QCoreApplication::sendEvent(QApplication::activeWindow()->windowHandle(), &held);
    };
    hold();
    EXPECT_EQ(characters(), bytes{});
    SetSelectionState(1);
    hold();
    SetSelectionState(0);
    EXPECT_EQ(characters(), bytes{'a'});
}

TEST_F(QtKeys, WhatAnInputMethodComposedIsTyped)
{
    answer = eventNotHandledErr;
    get_text = 1;
    SetSelectionState(1);
    QInputMethodEvent composed;
    composed.setCommitString(QString::fromUtf8("\u00e4"));
    QCoreApplication::sendEvent(theConsole->content, &composed);
    EXPECT_EQ(characters(), (bytes{0xC3, 0xA4}));
    EXPECT_EQ(shown(), "\u00e4");
    answer = noErr;
    QCoreApplication::sendEvent(theConsole->content, &composed);
    EXPECT_EQ(shown(), "\u00e4");
    SetSelectionState(0);
    get_text = 0;
}

TEST_F(QtKeys, ALineIsReadAsItIsTyped)
{
    answer = eventNotHandledErr;
    char line[100] = {};
    QTimer::singleShot(0, [] {
        press(Qt::Key_H);
        press(Qt::Key_X);
        press(Qt::Key_Backspace);
        press(Qt::Key_I);
        press(Qt::Key_Up);
        press(Qt::Key_Return);
    });
    EXPECT_EQ(ReadCharsFromConsole(line, 100), 3);
    EXPECT_STREQ(line, "hi\n");
    EXPECT_EQ(shown().substr(0, 2), "hi");
}

TEST_F(QtKeys, AnIdleConsoleCannotBeTypedInto)
{
    answer = eventNotHandledErr;
    press(Qt::Key_A);
    EXPECT_EQ(characters(), bytes{'a'});
    EXPECT_EQ(shown(), "");
}

// ---- with a sheet ----

TEST_F(QtSheetKeys, OtherKeysGoToTheConsole)
{
    press(Qt::Key_X);
    press(Qt::Key_Escape);
    EXPECT_EQ(characters(), (bytes{'x', 27}));
}

TEST_F(QtSheetKeys, TabGoesRoundInTheSheet)
{
    for (const int id : {3, 2, 1}) {
        press(Qt::Key_Tab);
        EXPECT_TRUE(control_of(sheet, id)->hasFocus()) << id;
    }
    press(Qt::Key_Backtab, Qt::ShiftModifier);
    EXPECT_TRUE(control_of(sheet, 2)->hasFocus());
    EXPECT_EQ(characters(), bytes{});
}

TEST_F(QtSheetKeys, SpaceAndReturnPressItsButton)
{
    static std::vector<QWidget *> hits;
    hits.clear();
    const EventTypeSpec hit = {kEventClassControl, kEventControlHit};
    InstallEventHandler(
        GetWindowEventTarget(sheet),
        [](EventHandlerCallRef, EventRef event, void *) {
            QWidget *control = nullptr;
            EXPECT_EQ(GetEventParameter(event, kEventParamDirectObject, sizeof control, &control),
                      noErr);
            hits.push_back(control);
            return OSStatus{noErr};
        },
        1, &hit, nullptr);
    press(Qt::Key_Space);
    press(Qt::Key_Return);
    press(Qt::Key_Enter);
    EXPECT_EQ(hits, std::vector<QWidget *>(3, control_of(sheet, 1)));
    EXPECT_EQ(characters(), bytes{});
}

TEST_F(QtSheetKeys, ChordsGoToTheConsolesText)
{
    text_printf("copied");
    QApplication::clipboard()->clear();
    press(Qt::Key_A, Qt::ControlModifier);
    press(Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(QApplication::clipboard()->text().toStdString(), "copied");
    EXPECT_EQ(characters(), bytes{});
}

TEST_F(QtSheetKeys, TheConsoleHasTheKeyboardAgainAfterwards)
{
    HideSheetWindow(sheet);
    EXPECT_TRUE(theConsole->content->hasFocus());
    press(Qt::Key_Tab);
    EXPECT_EQ(characters(), bytes{9});
}
