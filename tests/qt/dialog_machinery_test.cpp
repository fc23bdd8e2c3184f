#include "dialogs/dialog_machinery.h"

#include "app/cursors.h"
#include "app/globals.h"
#include "console/console_text.h"
#include "dialogs/dialog_controls.h"
#include "dialogs/wait_progress.h"
#include "platform/controls.h"
#include "platform/core/carbon_events.h"
#include "platform/qt/state.h"
#include "tests/qt/desktop_test.h"

#include <QApplication>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QtTest>

namespace {

constexpr std::int32_t other_dialog = 1;
constexpr int field_id = 3;

class DialogMachinery : public desktop_test {
protected:
    // A dialog with the buttons 1 and 2 and the field 3.
    static WindowRef make_dialog(std::int32_t constant)
    {
        WindowRef window = make_test_window();
        SetWRefCon(window, constant);
        InstallEventHandler(GetWindowEventTarget(window), doGetDialogHandlerUPP(),
                            dialog_event_count, dialog_events, window);
        return window;
    }

    // Clicks on the button while the dialog's modal loop turns.
    static void run_and_click(WindowRef window, int id)
    {
        ShowWindow(window);
        watch_the_wait([=] {
            QTest::mouseClick(control_of(window, id), Qt::LeftButton);
            return true;
        });
        RunAppModalLoopForWindow(window);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    static QLineEdit *field_of(WindowRef window)
    {
        return qobject_cast<QLineEdit *>(control_of(window, field_id));
    }

    static OSStatus send(WindowRef window, OSType event_class, std::uint32_t kind)
    {
        OpaqueEvent event = {event_class, kind, {}};
        return dialogEventHandler(nullptr, &event, window);
    }
};

} // namespace

// ---- the handler ----

TEST_F(DialogMachinery, TheHandlerIsMadeOnce)
{
    EXPECT_NE(doGetDialogHandlerUPP(), nullptr);
    EXPECT_EQ(doGetDialogHandlerUPP(), doGetDialogHandlerUPP());
}

TEST_F(DialogMachinery, TheListHasItsEightEntriesInTheirOrder)
{
    const EventTypeSpec expected[] = {{four_chars("wind"), 2}, {four_chars("wind"), 5},
                                      {four_chars("wind"), 6}, {four_chars("cntl"), 1},
                                      {four_chars("cmds"), 1}, {four_chars("keyb"), 3},
                                      {four_chars("mous"), 5}, {four_chars("cntl"), 13}};
    ASSERT_EQ(dialog_event_count, std::size(expected));
    for (std::size_t i = 0; i < dialog_event_count; ++i) {
        EXPECT_EQ(dialog_events[i].eventClass, expected[i].eventClass) << i;
        EXPECT_EQ(dialog_events[i].eventKind, expected[i].eventKind) << i;
    }
}

TEST_F(DialogMachinery, OkInTheWaitSheetCancelsTheRunAndKeepsTheSheet)
{
    WindowRef window = make_dialog(wait_sheet_constant);
    const QPointer<QWidget> widget = window->widget;
    inScript = 1;
    userCancel = 0;
    cancelDialog = 0;
    run_and_click(window, ok_control);
    EXPECT_EQ(inScript, 0);
    EXPECT_EQ(userCancel, 1);
    EXPECT_EQ(cancelDialog, 0);
    EXPECT_FALSE(widget.isNull());
}

TEST_F(DialogMachinery, OkInAnotherDialogDisposesOfIt)
{
    for (const std::int32_t constant : {other_dialog, std::int32_t{changes_sheet_constant}}) {
        WindowRef window = make_dialog(constant);
        const QPointer<QWidget> widget = window->widget;
        inScript = 1;
        userCancel = 0;
        cancelDialog = 0;
        run_and_click(window, ok_control);
        EXPECT_TRUE(widget.isNull()) << constant;
        EXPECT_EQ(cancelDialog, 0);
        EXPECT_EQ(inScript, 1);
        EXPECT_EQ(userCancel, 0);
    }
}

TEST_F(DialogMachinery, CancelIsToldAndDisposesOfTheDialog)
{
    WindowRef window = make_dialog(other_dialog);
    const QPointer<QWidget> widget = window->widget;
    cancelDialog = 0;
    run_and_click(window, cancel_control);
    EXPECT_TRUE(widget.isNull());
    EXPECT_EQ(cancelDialog, 1);
}

TEST_F(DialogMachinery, OtherControlsAndEventsAreLeftToOthers)
{
    WindowRef window = make_dialog(wait_sheet_constant);
    OpaqueEvent hit = {kEventClassControl, kEventControlHit, {}};
    EXPECT_EQ(dialogEventHandler(nullptr, &hit, window), eventNotHandledErr); // hit what?
    QWidget *field = control_of(window, field_id);
    SetEventParameter(&hit, kEventParamDirectObject, sizeof(void *), &field);
    inScript = 1;
    EXPECT_EQ(dialogEventHandler(nullptr, &hit, window), eventNotHandledErr);
    EXPECT_EQ(inScript, 1);
    EXPECT_EQ(send(window, kEventClassWindow, kEventWindowActivated), eventNotHandledErr);
    EXPECT_EQ(send(window, kEventClassKeyboard, kEventRawKeyUp), eventNotHandledErr);
    EXPECT_EQ(send(window, kEventClassControl, kEventControlClick), eventNotHandledErr);
    EXPECT_EQ(send(window, kEventClassMouse, kEventMouseMoved), noErr);
    DisposeWindow(window);
}

TEST_F(DialogMachinery, AControlWithAnotherSignatureIsNoneOfItsOwn)
{
    WindowRef window = make_dialog(wait_sheet_constant);
    QWidget *button = control_of(window, ok_control);
    OpaqueEvent hit = {kEventClassControl, kEventControlHit, {}};
    SetEventParameter(&hit, kEventParamDirectObject, sizeof(void *), &button);
    inScript = 1;
    button->setProperty("controlSignature", "XXXX");
    EXPECT_EQ(dialogEventHandler(nullptr, &hit, window), eventNotHandledErr);
    EXPECT_EQ(inScript, 1);
    button->setProperty("controlSignature", "KVRB");
    EXPECT_EQ(dialogEventHandler(nullptr, &hit, window), noErr);
    EXPECT_EQ(inScript, 0);
    DisposeWindow(window);
}

TEST_F(DialogMachinery, AMoveOfThePointerLeavesThePortAsItWas)
{
    WindowRef window = make_dialog(preferences_constant);
    SetPortWindowPort(theConsole);
    OpaqueEvent move = {kEventClassMouse, kEventMouseMoved, {}};
    const Point place = {10, 10};
    SetEventParameter(&move, kEventParamMouseLocation, sizeof place, &place);
    EXPECT_EQ(dialogEventHandler(nullptr, &move, window), noErr);
    GrafPtr port = nullptr;
    GetPort(&port);
    EXPECT_EQ(port, GetWindowPort(theConsole));
    SetPort(nullptr);
    DisposeWindow(window);
}

// ---- cursors ----

TEST_F(DialogMachinery, TheCursorIsSetOnlyWhenItIsAnother)
{
    SetUpCursors();
    ArrowCursor();
    EXPECT_EQ(currcurs, 1);
    EXPECT_EQ(QApplication::overrideCursor(), nullptr);
    EditCursor();
    EXPECT_EQ(currcurs, 5);
    ASSERT_NE(QApplication::overrideCursor(), nullptr);
    EXPECT_EQ(QApplication::overrideCursor()->shape(), Qt::IBeamCursor);

    QApplication::restoreOverrideCursor(); // behind the program's back
    EditCursor();
    EXPECT_EQ(QApplication::overrideCursor(), nullptr);
    ArrowCursor();
    EXPECT_EQ(currcurs, 1);
}

// ---- fields ----

TEST_F(DialogMachinery, TextsAreSetAndRead)
{
    WindowRef window = make_wait_sheet();
    char text_read[8] = "old";
    SetStaticData(window, wait_pages, "Grüße");
    GetStaticData(window, wait_pages, text_read, sizeof text_read);
    EXPECT_STREQ(text_read, "Grüße");
    SetStaticData(window, wait_pages, "");
    GetStaticData(window, wait_pages, text_read, sizeof text_read);
    EXPECT_STREQ(text_read, "");
    DisposeWindow(window);
}

TEST_F(DialogMachinery, AFieldsTextIsSetAndRead)
{
    WindowRef window = make_dialog(other_dialog);
    char text_read[8] = "old";
    SetEditData(window, field_id, "field");
    EXPECT_EQ(field_of(window)->text(), "field");
    GetEditData(window, field_id, text_read, sizeof text_read);
    EXPECT_STREQ(text_read, "field");
    DisposeWindow(window);
}

TEST_F(DialogMachinery, ATextThatDoesNotFitIsCutBeforeTheNul)
{
    WindowRef window = make_wait_sheet();
    char buffer[6] = {'x', 'x', 'x', 'x', 'x', 'x'};
    SetStaticData(window, wait_pages, "123456789");
    GetStaticData(window, wait_pages, buffer, sizeof buffer - 1);
    EXPECT_STREQ(buffer, "1234");
    EXPECT_EQ(buffer[5], 'x');
    DisposeWindow(window);
}

TEST_F(DialogMachinery, AnElidedTextIsReadWhole)
{
    WindowRef window = make_wait_sheet();
    const std::string name(500, 'n');
    SetStaticData(window, wait_input, name.c_str());
    char buffer[1024];
    GetStaticData(window, wait_input, buffer, sizeof buffer);
    EXPECT_EQ(buffer, name);
    DisposeWindow(window);
}

TEST_F(DialogMachinery, AControlThatIsNotThereHasNoText)
{
    WindowRef window = make_dialog(other_dialog);
    for (WindowRef each : {window, WindowRef{nullptr}}) {
        char buffer[4] = "old";
        SetStaticData(each, 99, "text");
        SetEditData(each, 99, "text");
        SelectEditData(each, 99);
        GetStaticData(each, 99, buffer, sizeof buffer);
        EXPECT_STREQ(buffer, "");
    }
    // Another signature is another control.
    EXPECT_NE(dialog_control(window, field_id), nullptr);
    control_of(window, field_id)->setProperty("controlSignature", "XXXX");
    EXPECT_EQ(dialog_control(window, field_id), nullptr);
    DisposeWindow(window);
}

TEST_F(DialogMachinery, WhatTakesNoKeysDoesNotGetTheKeyboard)
{
    WindowRef window = make_wait_sheet();
    EXPECT_EQ(SetKeyboardFocus(window, dialog_control(window, wait_input), 1), errCouldntSetFocus);
    EXPECT_EQ(SetKeyboardFocus(window, dialog_control(window, wait_button), 1), noErr);
    DisposeWindow(window);
}

TEST_F(DialogMachinery, SelectingLeavesTheFirstCharacterOut)
{
    WindowRef window = make_dialog(other_dialog);
    QLineEdit *field = field_of(window);
    ShowWindow(window);
    QApplication::setActiveWindow(window->widget);
    SetEditData(window, field_id, "some text");
    SelectEditData(window, field_id);
    EXPECT_EQ(field->selectedText(), "ome text");
    EXPECT_TRUE(field->hasFocus());
    SetEditData(window, field_id, std::string(400, 'x').c_str());
    SelectEditData(window, field_id);
    EXPECT_EQ(field->selectionLength(), 299); // to 300
    DisposeWindow(window);
}
