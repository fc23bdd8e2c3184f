#include "dialogs/command_window.h"

#include "app/command_line.h"
#include "app/commands.h"
#include "app/globals.h"
#include "dialogs/dialog_machinery.h"
#include "dialogs/dialog_results.h"
#include "engine/tool_runner.h"
#include "platform/qt/state.h"
#include "platform/strings.h"
#include "settings/prefs_store.h"
#include "tests/qt/chooser_user.h"
#include "tests/qt/desktop_test.h"
#include "tests/qt/traced_settings.h"
#include "tests/support/without_rights.h"

#include <QApplication>
#include <QClipboard>
#include <QLabel>
#include <QLineEdit>
#include <QTest>
#include <QWindow>

#include <sys/stat.h>
#include <unistd.h>

namespace {

using strings = std::vector<std::string>;

constexpr char title[] = "Command Line";

class QtCommandWindow : public desktop_test {
protected:
    QtCommandWindow()
    {
        command_line[0] = 0;
        curr_dir[0] = 0;
        settings_stored.clear();
    }

    static QLineEdit &command(const QWidget &window)
    {
        return *qobject_cast<QLineEdit *>(control_in(window, 4));
    }

    static std::string folder_shown(const QWidget &window)
    {
        return control_in(window, 5)->accessibleName().toStdString();
    }

    static void click(const QWidget &window, int id)
    {
        QTest::mouseClick(control_in(window, id), Qt::LeftButton);
    }

    // Opens the window and hands it to the function before it is cancelled.
    void look(const std::function<void(QWidget &)> &action, const char *preset = nullptr,
              const char *folder_preset = nullptr)
    {
        user.in_window(title, [action](QWidget &window) {
            action(window);
            click(window, 2);
        });
        EXPECT_EQ(GetCommandLine(preset, folder_preset), 0);
    }

    chooser_user user;
};

} // namespace

TEST_F(QtCommandWindow, WithoutSettingsItShowsTheApplicationsFolderAndAnEmptyField)
{
    look([](QWidget &window) {
        EXPECT_EQ(command(window).text(), "");
        EXPECT_TRUE(command(window).hasFocus());
        EXPECT_EQ(folder_shown(window), appPath);
    });
    EXPECT_EQ(settings_stored, strings());
    EXPECT_STREQ(command_line, "");
}

TEST_F(QtCommandWindow, TheLastCommandAndItsFolderComeBackWithTheTextSelected)
{
    set_str_resource("GSDIR", folder.path().c_str());
    set_str_resource("GSCOMMAND", "gs -h");
    look([this](QWidget &window) {
        EXPECT_EQ(folder_shown(window), folder.path());
        EXPECT_EQ(command(window).text(), "gs -h");
        EXPECT_EQ(command(window).selectedText(), "s -h"); // all but the first character
    });
}

TEST_F(QtCommandWindow, AFolderThatIsGoneIsReplacedByTheApplications)
{
    for (const std::string &gone : {folder / "gone", folder.write("file", "")}) {
        set_str_resource("GSDIR", gone.c_str());
        look([](QWidget &window) { EXPECT_EQ(folder_shown(window), appPath); });
        look([](QWidget &window) { EXPECT_EQ(folder_shown(window), appPath); }, nullptr,
             gone.c_str());
    }
}

TEST_F(QtCommandWindow, AGivenFolderComesFirstAndAGivenCommandIsReplacedByTheFolder)
{
    set_str_resource("GSDIR", "/tmp");
    set_str_resource("GSCOMMAND", "gs -h");
    look(
        [this](QWidget &window) {
            EXPECT_EQ(folder_shown(window), folder.path());
            EXPECT_EQ(command(window).text().toStdString(), folder.path());
        },
        "gs -v", folder.path().c_str());
}

TEST_F(QtCommandWindow, OkTakesTheCommandAndItsFolderAndKeepsBoth)
{
    user.in_window(title, [](QWidget &window) {
        QTest::keyClicks(&command(window), "ls -l");
        QTest::keyClick(window.windowHandle(), Qt::Key_Return);
    });
    EXPECT_EQ(GetCommandLine(nullptr, folder.path().c_str()), 1);
    EXPECT_STREQ(command_line, "ls -l");
    EXPECT_EQ(curr_dir, folder.path());
    EXPECT_EQ(settings_stored, (strings{"GSDIR=" + folder.path(), "GSCOMMAND=ls -l"}));
}

TEST_F(QtCommandWindow, WhatIsConfirmedIsTakenTogetherWithTheFolder)
{
    look(
        [this](QWidget &window) {
            command(window).setText("ls -l");
            EXPECT_EQ(SaveResults(platform::window_of(&window)), 1);
            EXPECT_STREQ(command_line, "ls -l");
            EXPECT_EQ(curr_dir, folder.path());
        },
        nullptr, folder.path().c_str());
}

TEST_F(QtCommandWindow, TheCursorIsTheTextsOverTheCommand)
{
    look([](QWidget &window) {
        for (const auto &[id, cursor] : {std::pair(4, 5), std::pair(5, 1), std::pair(4, 5)}) {
            const QWidget &part = *control_in(window, id);
            QTest::mouseMove(window.windowHandle(), part.mapTo(&window, part.rect().center()));
            QCoreApplication::processEvents();
            EXPECT_EQ(currcurs, cursor) << id;
        }
        QCursor::setPos(window.mapToGlobal(QPoint(-50, -50)));
        QEvent leave(QEvent::Leave); // from the field, without a move over anything else
        QApplication::sendEvent(&window, &leave);
        EXPECT_EQ(currcurs, 1);
    });
}

TEST_F(QtCommandWindow, AFolderThatGoesWhileTheWindowIsOpenIsTold)
{
    const std::string gone = folder.make_folder("gone");
    set_str_resource("GSDIR", gone.c_str());
    user.in_window(title, [&gone](QWidget &window) {
        EXPECT_EQ(folder_shown(window), gone);
        QTest::keyClicks(&command(window), "pwd > where");
        EXPECT_EQ(rmdir(gone.c_str()), 0);
        click(window, 1);
    });
    do_menus(133, 16);
    EXPECT_NE(shown().find(gone), std::string::npos);
    EXPECT_NE(last_ending, ended_well);
    EXPECT_NE(shown().find("No such file or directory"), std::string::npos) << shown();
    EXPECT_FALSE(file_exists(gone));
    EXPECT_EQ(inRun, 0);
}

TEST_F(QtCommandWindow, MoreThanACommandHoldsIsNotTaken)
{
    user.in_window(title, [](QWidget &window) {
        QApplication::clipboard()->setText(QString(1022, 'x') + "é" + QString(100, 'x'));
        QTest::keyClick(window.windowHandle(), Qt::Key_V, Qt::ControlModifier);
        EXPECT_EQ(command(window).text(), QString(1022, 'x'));
        QTest::keyClicks(&command(window), "yz");
        click(window, 1);
    });
    EXPECT_EQ(GetCommandLine(nullptr, nullptr), 1);
    EXPECT_EQ(command_line, std::string(1022, 'x') + "y");
}

TEST_F(QtCommandWindow, WithoutACommandItStaysAndTheFieldGetsTheKeyboard)
{
    user.in_window(title, [](QWidget &window) {
        control_in(window, 3)->setFocus();
        click(window, 1);
        EXPECT_TRUE(window.isVisible());
        EXPECT_TRUE(command(window).hasFocus());
        QTest::keyClick(window.windowHandle(), Qt::Key_Escape);
    });
    EXPECT_EQ(GetCommandLine(nullptr, nullptr), 0);
    EXPECT_EQ(settings_stored, strings());
    EXPECT_EQ(shown(), "");
}

TEST_F(QtCommandWindow, AChosenFolderIsKeptAtOnceAlsoWhenTheWindowIsCancelled)
{
    user.in_window(title, [this](QWidget &window) {
        user.in_chooser([this](QFileDialog &chooser) {
            EXPECT_EQ(chooser.windowTitle(), "Select a working folder");
            type_name(chooser, folder.path());
            press_accept(chooser);
        });
        click(window, 3);
        EXPECT_EQ(folder_shown(window), folder.path());
        user.cancels();
        click(window, 3);
        EXPECT_EQ(folder_shown(window), folder.path());
        EXPECT_EQ(settings_stored, strings{"GSDIR=" + folder.path()});
        click(window, 2);
    });
    EXPECT_EQ(GetCommandLine(nullptr, nullptr), 0);
    EXPECT_EQ(settings_stored, strings{"GSDIR=" + folder.path()});
}

TEST_F(QtCommandWindow, ACommandHas1023BytesAndIsNotCutWithinACharacter)
{
    for (const auto &[typed, taken] :
         {std::pair(std::string(1100, 'x'), std::string(1023, 'x')),
          std::pair(std::string(1021, 'x') + "€", std::string(1021, 'x'))}) {
        set_str_resource("GSCOMMAND", typed.c_str());
        user.in_window(title, [](QWidget &window) { click(window, 1); });
        EXPECT_EQ(GetCommandLine(nullptr, nullptr), 1);
        EXPECT_EQ(command_line, taken);
    }
}

TEST_F(QtCommandWindow, WhatARequestRunsMeanwhileDoesNotTakeTheCommandsPlace)
{
    user.in_window(title, [](QWidget &window) {
        QTest::keyClicks(&command(window), "mine");
        click(window, 1);
        platform::copy_whole(command_line,
                             "a request's"); // its loop goes on while the window closes
        platform::copy_whole(curr_dir, "/elsewhere");
    });
    EXPECT_EQ(GetCommandLine(nullptr, folder.path().c_str()), 1);
    EXPECT_STREQ(command_line, "mine");
    EXPECT_EQ(curr_dir, folder.path());
}

TEST_F(QtCommandWindow, TheMenuRunsWhatIsConfirmedInItsFolder)
{
    set_str_resource("GSDIR", folder.path().c_str());
    user.in_window(title, [](QWidget &window) {
        QTest::keyClicks(&command(window), "pwd > where");
        click(window, 1);
    });
    do_menus(133, 16);
    EXPECT_EQ(read_file(folder / "where"), folder.path() + "\n") << shown();
    user.in_window(title, [](QWidget &window) { click(window, 2); });
    const std::string before = shown();
    do_menus(133, 16);
    EXPECT_EQ(shown(), before);
}

TEST_F(QtCommandWindow, SettingsThatMayNotBeWrittenKeepNothingFromRunning)
{
    set_str_resource("GSCOMMAND", "before");
    ASSERT_EQ(chmod(prefsPath, 0500), 0);
    const std::string other = folder.make_folder("other");
    {
        const without_rights nobody;
        user.in_window(title, [&](QWidget &window) {
            user.in_chooser([&](QFileDialog &chooser) {
                type_name(chooser, other);
                press_accept(chooser);
            });
            click(window, 3);
            EXPECT_EQ(folder_shown(window), other); // it holds for this time
            EXPECT_EQ(shown(), settings_complaint());
            command(window).setText("true");
            click(window, 1);
        });
        EXPECT_EQ(GetCommandLine(nullptr, nullptr), 1);
    }
    ASSERT_EQ(chmod(prefsPath, 0700), 0);
    EXPECT_STREQ(command_line, "true");
    EXPECT_EQ(curr_dir, other);
    EXPECT_EQ(shown(), settings_complaint() + settings_complaint());
    EXPECT_EQ(string_setting("GSCOMMAND", ""), "before");
}

TEST_F(QtCommandWindow, SettingsThatCannotBeStoredAreToldInOneLine)
{
    havePrefs = 0;
    user.in_window(title, [](QWidget &window) {
        QTest::keyClicks(&command(window), "true");
        click(window, 1);
    });
    EXPECT_EQ(GetCommandLine(nullptr, nullptr), 1);
    EXPECT_EQ(shown().find("The settings can't be stored in \""), 0U);
    EXPECT_EQ(shown().find('\n'), shown().size() - 1);
}
