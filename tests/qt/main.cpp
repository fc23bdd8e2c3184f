// The desktop tests run in the application that they test, without a screen.
#include "platform/qt/application.h"

#include <gtest/gtest.h>

#include <cstdlib>

int main(int argc, char **argv)
{
    ::testing::InitGoogleTest(&argc, argv);
    setenv("QT_QPA_PLATFORM",
           "offscreen:configfile=" PAPERMILL_SOURCE_DIR "/tests/qt/one_screen.json", 0);
    platform::open_desktop("desktop_tests", "The tests need Qt's offscreen platform.");
    return RUN_ALL_TESTS();
}
