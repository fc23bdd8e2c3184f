// The desktop tests run in the application that they test, without a screen.
#include "platform/qt/application.h"

#include <QSettings>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cstdlib>

int main(int argc, char **argv)
{
    ::testing::InitGoogleTest(&argc, argv);
    setenv("QT_QPA_PLATFORM",
           "offscreen:configfile=" PAPERMILL_SOURCE_DIR "/tests/qt/one_screen.json", 0);
    // Qt keeps how its file dialog was left: not among the settings of whoever runs the tests.
    const QTemporaryDir settings;
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, settings.path());
    platform::open_desktop("desktop_tests", "The tests need Qt's offscreen platform.");
    return RUN_ALL_TESTS();
}
