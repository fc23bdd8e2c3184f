// What the desktop tests stand on: the program started up as it starts itself, with folders and
// settings of the test's own, its console window shown on Qt's offscreen platform.
#ifndef PAPERMILL_TESTS_QT_DESKTOP_TEST_H
#define PAPERMILL_TESTS_QT_DESKTOP_TEST_H

#include "platform/windows.h"
#include "tests/support/temporary_folder.h"

#include <QRect>
#include <QString>

#include <gtest/gtest.h>

#include <functional>
#include <string>

class QWidget;

class desktop_test : public ::testing::Test {
protected:
    desktop_test();
    ~desktop_test() override;

    // Waits until the console is in front and has the keyboard.
    static void wait_for_focus();

    // All that the console shows.
    static std::string shown();

    // Presses the key in the program's front window, as the desktop hands it over.
    static void press(int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier);
    static void type(const QString &character);

    // Calls the function once, as soon as the loop of the next wait turns.
    static void during_the_wait(void (*action)());

    // Calls the function again and again while the loop of the next wait turns, until it returns
    // true. After a minute in vain the wait is ended, and the test has failed.
    static void watch_the_wait(std::function<bool()> look);

    temporary_folder folder; // for the test's files

private:
    temporary_folder home;
};

// A window of the tests' own interface file: two buttons with the IDs 1 and 2, and between them a
// field with the ID 3.
WindowRef make_test_window();

// What is told when no setting can be stored.
std::string settings_complaint();

// The wait sheet's window, which stands in no other one yet.
WindowRef make_wait_sheet();

// The console's place beneath its menu bar, in a window of that size.
QRect below_menus(int width, int height);

// The control of the window with that ID.
QWidget *control_of(WindowRef window, int id);
QWidget *control_in(const QWidget &window, int id);

#endif
