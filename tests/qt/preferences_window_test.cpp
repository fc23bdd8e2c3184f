#include "dialogs/preferences_window.h"

#include "app/globals.h"
#include "dialogs/dialog_machinery.h"
#include "platform/qt/state.h"
#include "settings/prefs_store.h"
#include "tests/qt/chooser_user.h"
#include "tests/qt/desktop_test.h"
#include "tests/qt/traced_settings.h"
#include "tests/support/without_rights.h"

#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QLineEdit>
#include <QPushButton>
#include <QTabBar>
#include <QTabWidget>
#include <QTest>
#include <QWindow>

#include <filesystem>
#include <sys/stat.h>

namespace {

using strings = std::vector<std::string>;

constexpr char title[] = "Preferences";

class QtPreferences : public desktop_test {
protected:
    QtPreferences()
    {
        for (std::size_t i = 0; i < setting_key_count; ++i)
            set_str_resource(setting_keys[i].name, "");
        settings_read.clear();
        settings_stored.clear();
    }

    static QLineEdit &field(const QWidget &window, int id)
    {
        return *qobject_cast<QLineEdit *>(control_in(window, id));
    }

    static QCheckBox &box(const QWidget &window, int id)
    {
        return *qobject_cast<QCheckBox *>(control_in(window, id));
    }

    static QTabWidget &tabs(const QWidget &window)
    {
        return *qobject_cast<QTabWidget *>(control_in(window, 3));
    }

    static void turn_to(const QWidget &window, int tab)
    {
        QTabBar *const bar = tabs(window).tabBar();
        QTest::mouseClick(bar, Qt::LeftButton, {}, bar->tabRect(tab - 1).center());
    }

    static void click(const QWidget &window, int id)
    {
        QTest::mouseClick(control_in(window, id), Qt::LeftButton);
    }

    // A box reacts to clicks on its mark.
    static void toggle(const QWidget &window, int id)
    {
        QTest::mouseClick(control_in(window, id), Qt::LeftButton, {},
                          QPoint(8, box(window, id).height() / 2));
    }

    static void paste(const QWidget &window, int id, const QString &text)
    {
        field(window, id).setFocus();
        field(window, id).selectAll();
        QApplication::clipboard()->setText(text);
        QTest::keyClick(window.windowHandle(), Qt::Key_V, Qt::ControlModifier);
    }

    static std::string value(const char *key)
    {
        return string_setting(key, "not set");
    }

    void presses_ok()
    {
        user.in_window(title, [](QWidget &window) { click(window, 1); });
    }

    // Opens the window and hands it to the function before it is cancelled.
    void look(const std::function<void(QWidget &)> &action)
    {
        user.in_window(title, [action](QWidget &window) {
            action(window);
            click(window, 2);
        });
        EXPECT_EQ(GetPrefs(), 0);
    }

    chooser_user user;
};

} // namespace

// ---- what it shows ----

TEST_F(QtPreferences, WithoutSettingsItShowsItsDefaultsAndTheFirstPane)
{
    look([](QWidget &window) {
        EXPECT_EQ(field(window, 6).text(), "");
        EXPECT_EQ(field(window, 9).text(), "");
        EXPECT_EQ(field(window, 11).text(), "150");
        EXPECT_EQ(field(window, 15).text(), "144");
        for (const int id : {4, 7, 17, 13, 14})
            EXPECT_FALSE(box(window, id).isChecked()) << id;
        EXPECT_EQ(tabs(window).currentIndex(), 0);
        for (const int pane : {1001, 1002, 1003, 1004})
            EXPECT_EQ(control_in(window, pane)->isVisible(), pane == 1001) << pane;
    });
    EXPECT_STREQ(defaultPsOptions,
                 "-dPDFSETTINGS=/printer -dCompatibilityLevel=1.3 -sPAPERSIZE=letter");
    EXPECT_STREQ(defaultPdfOptions, "-dASCII85EncodePages=false -dLanguageLevel=1");
}

TEST_F(QtPreferences, TheSettingsAreReadInTheirOrderAndShown)
{
    const std::pair<const char *, const char *> given[] = {
        {"PS2PDF_OPTION_STR", "-dA"}, {"APPLE_PDF_STR", "1"},   {"PDF2PS_OPTION_STR", "-dB"},
        {"PDFTOPS_STR", "yes"},       {"TIFF_OPTION_STR", "7"}, {"TIFFCOMPRESS", "1"},
        {"PICT_RES", "eight"},        {"PICT_PREVIEW", "1"},    {"PICT_DELETE", "1"}};
    strings keys;
    for (const auto &[key, text] : given) {
        set_str_resource(key, text);
        keys.emplace_back(key);
    }
    settings_read.clear();
    look([&](QWidget &window) {
        EXPECT_EQ(settings_read, keys);
        EXPECT_EQ(field(window, 6).text(), "-dA");
        EXPECT_EQ(field(window, 9).text(), "-dB");
        EXPECT_EQ(field(window, 11).text(), "7");
        EXPECT_EQ(field(window, 15).text(), "eight");
        for (const int id : {4, 7, 17, 13, 14})
            EXPECT_TRUE(box(window, id).isChecked()) << id;
    });
}

TEST_F(QtPreferences, TheBoxesTakeTheirSettingsInTwoWays)
{
    struct {
        const char *text;
        bool unless_zero, if_one;
    } const rows[] = {{"0", false, false}, {"01", false, false}, {"1", true, true},
                      {"10", true, true},  {"2", true, false},   {"yes", true, false}};
    for (const auto &row : rows) {
        for (const char *key :
             {"APPLE_PDF_STR", "PDFTOPS_STR", "TIFFCOMPRESS", "PICT_PREVIEW", "PICT_DELETE"})
            set_str_resource(key, row.text);
        look([&row](QWidget &window) {
            for (const int id : {4, 7})
                EXPECT_EQ(box(window, id).isChecked(), row.unless_zero) << row.text << id;
            for (const int id : {17, 13, 14})
                EXPECT_EQ(box(window, id).isChecked(), row.if_one) << row.text << id;
        });
    }
}

// ---- what OK stores ----

TEST_F(QtPreferences, OkStoresAllInItsOrderAsItWasTyped)
{
    user.in_window(title, [](QWidget &window) {
        paste(window, 6, "-dOne");
        toggle(window, 4);
        turn_to(window, 2);
        paste(window, 9, "");
        toggle(window, 7);
        turn_to(window, 3);
        paste(window, 11, "fine");
        toggle(window, 17);
        turn_to(window, 4);
        paste(window, 15, "99");
        toggle(window, 13);
        toggle(window, 14);
        click(window, 1);
    });
    usePDFTOPS = 0;
    EXPECT_EQ(GetPrefs(), 1);
    EXPECT_EQ(settings_stored,
              (strings{"TIFF_OPTION_STR=fine", "TIFFCOMPRESS=1", "PICT_RES=99", "PICT_PREVIEW=1",
                       "PICT_DELETE=1", "PDF2PS_OPTION_STR=", "PDFTOPS_STR=1",
                       "PS2PDF_OPTION_STR=-dOne", "APPLE_PDF_STR=1"}));
    EXPECT_EQ(usePDFTOPS, 1);
    EXPECT_EQ(value("TIFF_OPTION_STR"), "fine");
    EXPECT_EQ(shown(), "");
}

TEST_F(QtPreferences, EachBoxIsStoredUnderItsOwnName)
{
    const std::pair<int, const char *> boxes[] = {{4, "APPLE_PDF_STR"},
                                                  {7, "PDFTOPS_STR"},
                                                  {17, "TIFFCOMPRESS"},
                                                  {13, "PICT_PREVIEW"},
                                                  {14, "PICT_DELETE"}};
    for (const auto &[chosen, chosen_key] : boxes) {
        user.in_window(title, [&](QWidget &window) {
            for (const auto &[id, key] : boxes)
                box(window, id).setChecked(id == chosen);
            click(window, 1);
        });
        EXPECT_EQ(GetPrefs(), 1);
        for (const auto &[id, key] : boxes)
            EXPECT_EQ(value(key), id == chosen ? "1" : "0") << chosen_key << " " << key;
    }
}

TEST_F(QtPreferences, EmptyFieldsAreStoredAsTheyAre)
{
    for (const char *key :
         {"PS2PDF_OPTION_STR", "PDF2PS_OPTION_STR", "TIFF_OPTION_STR", "PICT_RES"})
        set_str_resource(key, "7");
    user.in_window(title, [](QWidget &window) {
        for (const int id : {6, 9, 11, 15})
            field(window, id).clear();
        click(window, 1);
    });
    EXPECT_EQ(GetPrefs(), 1);
    for (const char *key :
         {"PS2PDF_OPTION_STR", "PDF2PS_OPTION_STR", "TIFF_OPTION_STR", "PICT_RES"})
        EXPECT_EQ(value(key), "not set") << key;
    look([](QWidget &window) { // what they mean then is shown
        EXPECT_EQ(field(window, 11).text(), "150");
        EXPECT_EQ(field(window, 15).text(), "144");
    });
}

TEST_F(QtPreferences, WhatIsNotThereCountsAsUncheckedAndOneIsLeftAsItIs)
{
    set_str_resource("PDFTOPS_STR", "1");
    set_str_resource("APPLE_PDF_STR", "1");
    usePDFTOPS = 1;
    hasPDFTOPS = 0;
    have103 = 0;
    user.in_window(title, [](QWidget &window) {
        EXPECT_FALSE(box(window, 4).isVisible());
        EXPECT_FALSE(box(window, 4).isEnabled());
        turn_to(window, 2);
        EXPECT_FALSE(box(window, 7).isVisible());
        EXPECT_FALSE(box(window, 7).isEnabled());
        EXPECT_FALSE(box(window, 7).isChecked());
        click(window, 1);
    });
    EXPECT_EQ(GetPrefs(), 1);
    EXPECT_EQ(value("PDFTOPS_STR"), "0");
    EXPECT_EQ(usePDFTOPS, 0);
    EXPECT_EQ(value("APPLE_PDF_STR"), "1");
    have103 = 1;
    lastTabControl = 1001;
}

TEST_F(QtPreferences, CancelEscapeAndTheWindowManagerStoreNothing)
{
    usePDFTOPS = 0;
    const std::function<void(QWidget &)> ways[] = {
        [](QWidget &window) { click(window, 2); },
        [](QWidget &window) { QTest::keyClick(window.windowHandle(), Qt::Key_Escape); },
        [](QWidget &window) { window.close(); }};
    for (const auto &way : ways) {
        user.in_window(title, [&way](QWidget &window) {
            paste(window, 6, "typed");
            turn_to(window, 2);
            toggle(window, 7);
            way(window);
        });
        EXPECT_EQ(GetPrefs(), 0);
        lastTabControl = 1001;
    }
    EXPECT_EQ(settings_stored, strings());
    EXPECT_EQ(usePDFTOPS, 0);
}

TEST_F(QtPreferences, ReturnConfirmsFromAField)
{
    user.in_window(title, [](QWidget &window) {
        paste(window, 6, "typed");
        QTest::keyClick(window.windowHandle(), Qt::Key_Return);
    });
    EXPECT_EQ(GetPrefs(), 1);
    EXPECT_EQ(value("PS2PDF_OPTION_STR"), "typed");
}

TEST_F(QtPreferences, TheLetterOfABoxTurnsIt)
{
    look([](QWidget &window) {
        turn_to(window, 3);
        for (const bool checked : {true, false}) {
            QTest::keyClick(window.windowHandle(), Qt::Key_M, Qt::AltModifier);
            EXPECT_EQ(box(window, 17).isChecked(), checked); // at once: Return may follow
            EXPECT_TRUE(box(window, 17).hasFocus());
        }
    });
}

TEST_F(QtPreferences, TheButtonsPutTheUsualOptionsIntoTheFields)
{
    user.in_window(title, [](QWidget &window) {
        click(window, 5);
        EXPECT_EQ(field(window, 6).text(), defaultPsOptions);
        turn_to(window, 2);
        click(window, 8);
        EXPECT_EQ(field(window, 9).text(), defaultPdfOptions);
        click(window, 1);
    });
    EXPECT_EQ(GetPrefs(), 1);
    EXPECT_EQ(value("PS2PDF_OPTION_STR"), distilling_options);
    EXPECT_EQ(value("PDF2PS_OPTION_STR"), "-dASCII85EncodePages=false -dLanguageLevel=1");
    lastTabControl = 1001;
}

TEST_F(QtPreferences, AFieldTakesFiveHundredBytesAndCutsNoCharacter)
{
    user.in_window(title, [](QWidget &window) {
        paste(window, 6, QString(600, 'x'));
        turn_to(window, 2);
        paste(window, 9, QString(499, 'x') + "é");
        turn_to(window, 3);
        paste(window, 11, QString(498, 'x') + "é");
        turn_to(window, 4);
        paste(window, 15, QString(501, '9'));
        click(window, 1);
    });
    EXPECT_EQ(GetPrefs(), 1);
    EXPECT_EQ(value("PS2PDF_OPTION_STR"), std::string(500, 'x'));
    EXPECT_EQ(value("PDF2PS_OPTION_STR"), std::string(499, 'x'));
    EXPECT_EQ(value("TIFF_OPTION_STR"), std::string(498, 'x') + "é");
    EXPECT_EQ(value("PICT_RES"), std::string(500, '9'));
    lastTabControl = 1001;
}

TEST_F(QtPreferences, ALongerSettingIsCutWhereItIsStored)
{
    set_str_resource("PS2PDF_OPTION_STR", (std::string(498, 'x') + "€€").c_str());
    presses_ok();
    EXPECT_EQ(GetPrefs(), 1);
    EXPECT_EQ(value("PS2PDF_OPTION_STR"), std::string(498, 'x'));
}

TEST_F(QtPreferences, SettingsThatCannotBeStoredAreToldInOneLine)
{
    std::filesystem::remove_all(prefsPath);
    presses_ok();
    EXPECT_EQ(GetPrefs(), 1);
    EXPECT_EQ(shown(), settings_complaint());
}

TEST_F(QtPreferences, SettingsThatMayNotBeWrittenAreToldInOneLineAndStay)
{
    set_str_resource("PS2PDF_OPTION_STR", "-dBefore");
    ASSERT_EQ(chmod(prefsPath, 0500), 0);
    user.in_window(title, [](QWidget &window) {
        paste(window, 6, "-dAfter");
        const without_rights nobody;
        click(window, 1);
    });
    EXPECT_EQ(GetPrefs(), 1);
    ASSERT_EQ(chmod(prefsPath, 0700), 0);
    EXPECT_EQ(shown(), settings_complaint());
    EXPECT_EQ(value("PS2PDF_OPTION_STR"), "-dBefore");
}

// ---- tabs ----

TEST_F(QtPreferences, TheWindowOpensWithThePaneThatWasShownLast)
{
    look([](QWidget &window) {
        turn_to(window, 3);
        EXPECT_EQ(lastTabControl, 1003);
        for (const int pane : {1001, 1002, 1003, 1004})
            EXPECT_EQ(control_in(window, pane)->isVisible(), pane == 1003) << pane;
    });
    look([](QWidget &window) {
        EXPECT_EQ(tabs(window).currentIndex(), 2);
        for (const int pane : {1001, 1002, 1003, 1004})
            EXPECT_EQ(control_in(window, pane)->isVisible(), pane == 1003) << pane;
        QTest::keyClick(window.windowHandle(), Qt::Key_I, Qt::AltModifier);
        EXPECT_EQ(lastTabControl, 1004);
        QTest::keyClick(window.windowHandle(), Qt::Key_P, Qt::AltModifier);
        EXPECT_EQ(lastTabControl, 1001);
    });
}

// ---- the cursor ----

TEST_F(QtPreferences, OnlyTheFieldOfTheChosenTabCountsWhereverTheOthersLie)
{
    const std::vector<int> fields = {6, 9, 11, 15}; // of the tabs, from the first on
    look([&](QWidget &window) {
        WindowRef own = platform::window_of(&window);
        const auto cursor_at = [own](QPoint place) {
            ChangeEditCursor(
                own, {static_cast<std::int16_t>(place.y()), static_cast<std::int16_t>(place.x())});
            return currcurs;
        };
        for (std::size_t tab = 0; tab < fields.size(); ++tab) {
            turn_to(window, static_cast<int>(tab) + 1);
            for (std::size_t i = 0; i < fields.size(); ++i)
                field(window, fields[i]).setGeometry(20, 20 + 40 * static_cast<int>(i), 100, 20);
            for (const int id : fields) {
                const QPoint corner = field(window, id).mapTo(&window, QPoint(0, 0));
                const QRect place(corner, field(window, id).size());
                EXPECT_EQ(cursor_at(place.center()), id == fields[tab] ? 5 : 1) << tab << id;
                EXPECT_EQ(cursor_at({place.right() + 1, place.center().y()}), 1) << tab << id;
                EXPECT_EQ(cursor_at({place.left() - 1, place.center().y()}), 1) << tab << id;
            }
        }
    });
}

TEST_F(QtPreferences, TheArrowIsThereAgainWhenTheWindowIsClosed)
{
    user.in_window(title, [](QWidget &window) {
        QWidget &text = field(window, 6);
        QTest::mouseMove(window.windowHandle(), text.mapTo(&window, text.rect().center()));
        QCoreApplication::processEvents();
        EXPECT_NE(QApplication::overrideCursor(), nullptr);
        QTest::keyClick(window.windowHandle(), Qt::Key_Return);
    });
    EXPECT_EQ(GetPrefs(), 1);
    EXPECT_EQ(QApplication::overrideCursor(), nullptr);
}

TEST_F(QtPreferences, TheCursorIsTheTextsOverTheFieldOfTheTabThatIsChosen)
{
    const auto point_at = [](const QWidget &window, int id) {
        const QWidget *const control = control_in(window, id);
        const QPoint place = control->mapTo(&window, control->rect().center());
        QTest::mouseMove(window.windowHandle(), place);
        QCoreApplication::processEvents();
    };
    const std::pair<int, int> fields[] = {{1, 6}, {2, 9}, {3, 11}, {4, 15}};
    look([&](QWidget &window) {
        for (const auto &[tab, id] : fields) {
            turn_to(window, tab);
            point_at(window, 1);
            EXPECT_EQ(currcurs, 1) << tab;
            EXPECT_EQ(QApplication::overrideCursor(), nullptr);
            point_at(window, id);
            EXPECT_EQ(currcurs, 5) << tab;
            ASSERT_NE(QApplication::overrideCursor(), nullptr) << tab;
            EXPECT_EQ(QApplication::overrideCursor()->shape(), Qt::IBeamCursor);
        }
        // The place of the third pane's field, while another tab is selected.
        const QWidget *const third = control_in(window, 11);
        const QPoint global = third->mapToGlobal(third->rect().center());
        turn_to(window, 1);
        QTest::mouseMove(window.windowHandle(), window.mapFromGlobal(global) + QPoint(0, 60));
        QCoreApplication::processEvents();
        EXPECT_EQ(currcurs, 1);
    });
    EXPECT_EQ(QApplication::overrideCursor(), nullptr);
    lastTabControl = 1001;
}
