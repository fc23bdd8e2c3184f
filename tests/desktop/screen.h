// A screen of the test's own, with a window manager on it and a user who clicks and types: Xvfb,
// openbox, xdotool.
#ifndef PAPERMILL_TESTS_DESKTOP_SCREEN_H
#define PAPERMILL_TESTS_DESKTOP_SCREEN_H

#include "tests/support/run_program.h"

#include <memory>
#include <string>
#include <vector>

class screen {
public:
    explicit screen(const std::string &geometry = "1280x800x24"); // throws when there can be none
    ~screen();
    screen(const screen &) = delete;
    screen &operator=(const screen &) = delete;

    const std::string &display() const; // for $DISPLAY
    void crash();                       // ends the display as its own death would

    // Runs xdotool with these words; what it prints, or "" when it fails.
    std::string xdotool(const std::vector<std::string> &words) const;

    // Waits for a visible window of that title. Its number, or "".
    std::string wait_for_window(const std::string &title) const;

    bool has_focus(const std::string &window) const; // whether it has the keyboard

    // Waits until the window has the keyboard, and tells whether it came to it.
    bool wait_for_focus(const std::string &window) const;

    void press(const std::string &keys) const; // as xdotool names them: "x", "ctrl+q"

private:
    std::string own_display;
    std::unique_ptr<running_program> server, manager;
};

#endif
