// What tests of the program's spine stand on: folders and settings of their own, the bundle's tools
// first on PATH, the console's text, and the signals and processes looked after as the terminal
// program does it.
#ifndef PAPERMILL_TESTS_SUPPORT_SPINE_TEST_H
#define PAPERMILL_TESTS_SUPPORT_SPINE_TEST_H

#include "tests/support/console_capture.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/watched_platform.h"

#include <gtest/gtest.h>

#include <string>

class spine_test : public ::testing::Test {
protected:
    spine_test();
    ~spine_test() override;

    // Stores the setting in the test's own preferences file, which is empty at first.
    void set_setting(const char *key, const char *value);

    // Calls the function once, as soon as the loop of the next wait turns.
    static void during_the_wait(void (*action)());

    temporary_folder folder; // for the test's files
    console_capture console;

private:
    temporary_folder temporary; // tmpPath
    temporary_folder home;      // userPath, $HOME and what lies under it
    std::string old_folder, old_path;
};

// Deletes the text object, so that the console can be set up anew.
void delete_console_text();

// The console's text with the line of the elapsed time cut to "Elapsed time = N sec.".
std::string without_time(const std::string &shown);

#endif
