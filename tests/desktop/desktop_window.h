// The desktop program in a real window, with a user of its own in front of it.
#ifndef PAPERMILL_TESTS_DESKTOP_DESKTOP_WINDOW_H
#define PAPERMILL_TESTS_DESKTOP_DESKTOP_WINDOW_H

#include "tests/desktop/screen.h"
#include "tests/support/terminal_user.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

class Window : public ::testing::Test {
protected:
    Window();

    void open(const std::vector<std::string> &words);  // the program, in the working folder
    void start(const std::vector<std::string> &words); // the same; waits until it has the keyboard

    bool wait_for(const std::string &tool) const;
    bool wait_for_end_of(const std::string &tool) const;

    bool is_visible() const; // the console

    // Presses the window manager's key for the close button, and once more when it takes no notice:
    // a key may be lost while it is still busy with the window.
    void close_console() const;

    // Waits for a menu that opens. Its window, or "".
    std::string open_menu() const;

    // Quits by the shortcut, and expects that nothing is left behind.
    void end_with_quit();

    // A button that is pressed by its letter is down for a moment, and a window that has just got
    // the keyboard may lose a key.
    static void let_it_settle();

    screen desk;
    terminal_user user;
    std::unique_ptr<running_program> program;
    std::string console; // the window's number
};

#endif
