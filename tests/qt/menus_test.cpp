// The menu bar as the user meets it: by mouse, by keyboard, by shortcut; every command, with the
// real tools.
#include "platform/menus.h"

#include "app/commands.h"
#include "app/event_pump.h"
#include "app/globals.h"
#include "app/menu_state.h"
#include "app/menus.h"
#include "console/console_io.h"
#include "console/console_text.h"
#include "console/console_window.h"
#include "engine/tool_runner.h"
#include "platform/core/menu_model.h"
#include "platform/qt/application.h"
#include "platform/qt/state.h"
#include "platform/qt/text_view.h"
#include "platform/strings.h"
#include "settings/prefs_store.h"
#include "tests/qt/chooser_user.h"
#include "tests/qt/desktop_test.h"
#include "tests/support/fake_script.h"
#include "tests/support/run_program.h"
#include "tests/support/terminal_user.h"
#include "tests/support/without_rights.h"

#include <QAccessible>
#include <QActionGroup>
#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QImage>
#include <QLineEdit>
#include <QMenuBar>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <map>
#include <set>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int help_menu = -16490;

using strings = std::vector<std::string>;

class QtMenus : public desktop_test {
protected:
    QtMenus()
    {
        wait_for_focus();
        EXPECT_EQ(chdir(folder.path().c_str()), 0); // where the choosers begin
        folder.write("fig.eps", drawing_eps(120, 90));
        folder.write("page.ps", drawing_ps(200, 100));
        run_program({.arguments = {"gs", "-q", "-dNOPAUSE", "-dBATCH", "-sDEVICE=pdfwrite",
                                   "-sOutputFile=doc.pdf", "page.ps"}});
    }
    ~QtMenus() override
    {
        EXPECT_EQ(chdir("/"), 0);
    }

    static QMenuBar &bar()
    {
        return *theConsole->widget->findChild<QMenuBar *>();
    }

    static QMenu &menu(int id)
    {
        for (QMenu *each : bar().findChildren<QMenu *>())
            if (each->property("menuID").toInt() == id)
                return *each;
        throw std::runtime_error("no such menu");
    }

    static QAction &item(int id, int number)
    {
        return *menu(id).actions()[number - 1];
    }

    // The visible items that do something, of all menus but that of the fonts.
    static std::vector<QAction *> items()
    {
        std::vector<QAction *> all;
        for (const int id : {128, 133, 131, 132, 165})
            for (QAction *each : menu(id).actions())
                if (each->isVisible() && !each->isSeparator() && each->menu() == nullptr)
                    all.push_back(each);
        return all;
    }

    // Presses the item's shortcut.
    static void press_shortcut(const QAction &of)
    {
        const QKeyCombination keys = of.shortcut()[0];
        press(keys.key(), keys.keyboardModifiers());
    }

    static platform::text_view &view()
    {
        return *dynamic_cast<platform::text_view *>(theConsole->content);
    }

    static std::string setting(const char *key)
    {
        return string_setting(key, "not set");
    }

    void chooses(const std::string &name)
    {
        user.in_chooser([name](QFileDialog &chooser) {
            type_name(chooser, name);
            press_accept(chooser);
        });
    }

    chooser_user user;
};

// A row of the table of commands, whose files are chosen by hand.
struct command_row {
    int menu, item;
    const char *kind; // the extension that the chooser offers; null: none
    const char *input;
    const char *prompt; // of the chooser for the output; null: there is none
    const char *proposed;
    const char *output;
    const char *begins; // the output with these bytes
};

const command_row rows[] = {
    {133, 1, ".eps", "fig.eps", "Save eps file as", "fig-new.eps", "out.eps",
     "%!PS-Adobe-3.0 EPSF"},
    {133, 2, ".eps", "fig.eps", nullptr, nullptr, "fig.pdf", "%PDF"},
    {133, 3, ".eps", "fig.eps", nullptr, nullptr, "fig.tiff", "II*"},
    {133, 5, ".pdf", "doc.pdf", "Save pdf file as", "doc-new.pdf", "out.pdf", "%PDF"},
    {133, 6, ".pdf", "doc.pdf", "Save ps file as", "doc.ps", "out.ps", "%!PS"},
    {133, 8, ".ps", "page.ps", "Save text file as", "page.txt", "out.txt", "papermill"},
    {133, 9, ".ps", "page.ps", nullptr, nullptr, "page.eps", "%!PS-Adobe-2.0 EPSF"},
    {133, 10, ".ps", "page.ps", nullptr, nullptr, "page.pdf", "%PDF"},
    {133, 14, nullptr, "fig.eps", nullptr, nullptr, "fig.pict", ""},
    {133, 14, nullptr, "doc.pdf", nullptr, nullptr, "doc.pict", ""},
    {133, 14, nullptr, "page.ps", nullptr, nullptr, "page.pict", ""},
};

void PrintTo(const command_row &row, std::ostream *stream)
{
    *stream << row.menu << "/" << row.item << " " << row.input;
}

class QtMenuCommand : public QtMenus, public testing::WithParamInterface<command_row> {
protected:
    static void expect_input_chooser(const QFileDialog &chooser, const char *kind)
    {
        EXPECT_EQ(chooser.windowTitle(), "Select an input file");
        const std::string first =
            kind == nullptr ? "All files" : std::string("All files with ") + kind + " extension";
        EXPECT_EQ(chooser.findChild<QComboBox *>("fileTypeCombo")->itemText(0).toStdString(),
                  first);
    }
};

INSTANTIATE_TEST_SUITE_P(Rows, QtMenuCommand, testing::ValuesIn(rows));

// A script whose tool would run for an hour.
constexpr char endless[] = "sleep 3600";

bool run_script()
{
    platform::copy_whole(command_line, ("gs.script pdf2pdf " + std::to_string(appPID) + " \"" +
                                        worksheet + "\" \"out\" \"in\" \"\"")
                                           .c_str());
    run_options options;
    options.subject = "in";
    return run_and_wait(options) == 1;
}

} // namespace

// ---- the table, by hand ----

TEST_P(QtMenuCommand, ConvertsWhatIsChosen)
{
    const command_row &row = GetParam();
    user.in_chooser([&](QFileDialog &chooser) {
        expect_input_chooser(chooser, row.kind);
        type_name(chooser, row.input);
        press_accept(chooser);
    });
    if (row.prompt != nullptr) {
        user.in_chooser([&](QFileDialog &chooser) {
            EXPECT_EQ(chooser.windowTitle(), row.prompt);
            EXPECT_EQ(chooser.findChild<QLineEdit *>("fileNameEdit")->text(), row.proposed);
            type_name(chooser, row.output);
            press_accept(chooser);
        });
    }
    do_menus(static_cast<std::int16_t>(row.menu), static_cast<std::uint16_t>(row.item));
    EXPECT_EQ(last_ending, ended_well) << shown();
    const std::string made = read_file(folder / row.output);
    EXPECT_GT(made.size(), 10U) << shown();
    EXPECT_EQ(made.substr(0, std::string(row.begins).size()), row.begins);
    EXPECT_EQ(setting("TEXDIR"), folder.path());
}

TEST_P(QtMenuCommand, ItsShortcutOpensTheChooser)
{
    const command_row &row = GetParam();
    user.in_chooser([&](QFileDialog &chooser) { expect_input_chooser(chooser, row.kind); });
    user.cancels();
    press_shortcut(item(row.menu, row.item));
    EXPECT_EQ(shown(), "");
}

TEST_P(QtMenuCommand, ItsLettersOpenTheChooser)
{
    const command_row &row = GetParam();
    user.in_chooser([&](QFileDialog &chooser) { expect_input_chooser(chooser, row.kind); });
    user.cancels();
    press(Qt::Key_F, Qt::AltModifier);
    EXPECT_EQ(QApplication::activePopupWidget(), &menu(133));
    press(QKeySequence::mnemonic(item(row.menu, row.item).text())[0].key());
    EXPECT_EQ(shown(), "");
    EXPECT_EQ(QApplication::activePopupWidget(), nullptr);
}

TEST_P(QtMenuCommand, ACancelledChooserEndsItInSilence)
{
    const command_row &row = GetParam();
    const strings before = folder.names();
    user.cancels();
    item(row.menu, row.item).trigger();
    if (row.prompt != nullptr) {
        chooses(row.input);
        user.cancels();
        item(row.menu, row.item).trigger();
    }
    EXPECT_EQ(shown(), "");
    EXPECT_EQ(folder.names(), before);
}

// ---- the table's odd rows ----

TEST_F(QtMenus, AnEpsFileAmongPostScriptGetsAPageOfItsSizeWhateverTheCaseOfItsEnding)
{
    for (const char *name : {"a.eps", "b.EPS", "c.Eps", "d.epsf", "e.EPSF"}) {
        folder.write(name, drawing_eps(120, 90));
        chooses(name);
        do_menus(file_menu_id, 10);
        const std::string made = std::string(name, 1) + ".pdf";
        EXPECT_EQ(pdf_page_size(folder / made), "120 x 90") << name;
    }
}

TEST_F(QtMenus, EpsToPdfPassesOverWhatIsNoEpsFile)
{
    chooses("page.ps");
    do_menus(file_menu_id, 2);
    EXPECT_EQ(shown(), "");
    EXPECT_FALSE(file_exists(folder / "page.pdf"));
}

TEST_F(QtMenus, WhatIsOfNoUseIsToldWhereTheTableSaysSo)
{
    chooses("page.ps");
    do_menus(file_menu_id, 3);
    EXPECT_EQ(shown(), (folder / "page.ps") + " is not an eps file.\n");
    ClearTextWindow();
    folder.write("notes.txt", "text");
    chooses("notes.txt");
    do_menus(file_menu_id, 14);
    EXPECT_EQ(shown(), (folder / "notes.txt") + " is not an eps, ps or pdf file.\n");
}

TEST_F(QtMenus, PdfToPostScriptUsesPdftopsWhenTheFlagSaysSo)
{
    for (const bool flag : {false, true}) {
        usePDFTOPS = flag ? 1 : 0;
        chooses("doc.pdf");
        chooses(flag ? "made1.ps" : "made0.ps");
        do_menus(file_menu_id, 6);
    }
    EXPECT_EQ(read_file(folder / "made0.ps").find("poppler"), std::string::npos);
    EXPECT_NE(read_file(folder / "made1.ps").find("poppler"), std::string::npos);
}

TEST_F(QtMenus, TheInputIsNeverReplaced)
{
    // A PDF file that is taken for PostScript would become itself.
    chooses("doc.pdf");
    do_menus(file_menu_id, 10);
    EXPECT_NE(shown().find("the output would replace the input"), std::string::npos) << shown();
    EXPECT_EQ(pdf_page_count(folder / "doc.pdf"), 1);
    // A link to the page where its EPS file would stand.
    ClearTextWindow();
    const std::string page = read_file("page.ps");
    EXPECT_EQ(symlink("page.ps", "page.eps"), 0);
    chooses("page.ps");
    do_menus(file_menu_id, 9);
    EXPECT_NE(shown().find("the output would replace the input"), std::string::npos) << shown();
    EXPECT_EQ(read_file("page.ps"), page);
    // The chooser for the output refuses the input's own name, and asks on.
    chooses("doc.pdf");
    chooses("doc.pdf");
    user.reads("the output would replace the input");
    chooses("other.pdf");
    do_menus(file_menu_id, 5);
    EXPECT_EQ(pdf_page_count(folder / "other.pdf"), 1);
}

TEST_F(QtMenus, AFileConvertedWhileTheChooserWasOpenDoesNotTakeTheInputsPlace)
{
    chooses("doc.pdf");
    user.in_chooser([](QFileDialog &chooser) {
        platform::copy_whole(in_file, "/nonexistent.pdf"); // as a request does
        type_name(chooser, "out.pdf");
        press_accept(chooser);
    });
    do_menus(file_menu_id, 5);
    EXPECT_EQ(pdf_page_count(folder / "out.pdf"), 1) << shown();
}

// ---- the preview ----

namespace {

// Names in /tmp that are the test's alone; what stands there under them goes with it.
class QtPreview : public QtMenus {
protected:
    QtPreview() : old_path(std::getenv("PATH"))
    {
        tools.write_program("open",
                            "#!/bin/sh\nprintf '%s\\n' \"$@\" >> '" + tools.path() + "/opened'\n");
        setenv("PATH", (tools.path() + ":" + old_path).c_str(), 1);
    }
    ~QtPreview() override
    {
        setenv("PATH", old_path.c_str(), 1);
        for (const std::string &name : made)
            std::remove(name.c_str());
    }

    // Previews the file, and expects that the viewer is given `name` in /tmp.
    void preview(const std::string &input, const std::string &name)
    {
        made.push_back("/tmp/" + name);
        std::remove((tools / "opened").c_str());
        chooses(input);
        do_menus(options_menu_id, 2);
        EXPECT_EQ(read_file(tools / "opened"), "-a\nPreview\n/tmp/" + name + "\n") << shown();
    }

    const std::string own = "papermill-preview-" + std::to_string(getpid());
    temporary_folder tools;

private:
    std::string old_path;
    strings made;
};

} // namespace

TEST_F(QtPreview, ThePdfStandsInTheTemporaryFolderUnderTheInputsName)
{
    for (const std::string &name :
         {own + ".1", own + " it's $(touch touched) `touch touched`\"\\"}) {
        folder.write(name + ".eps", drawing_eps(120, 90));
        preview(name + ".eps", name + ".pdf");
        EXPECT_EQ(pdf_page_size("/tmp/" + name + ".pdf"), "120 x 90");
    }
    EXPECT_FALSE(file_exists("touched"));
    EXPECT_FALSE(file_exists(folder / (own + ".1.pdf")));
}

TEST_F(QtPreview, WhatIsNoEpsFileIsNotConvertedButTheViewerIsOpenedAllTheSame)
{
    folder.write(own, drawing_eps(120, 90)); // without a dot
    preview(own, own + ".pdf");
    EXPECT_FALSE(file_exists("/tmp/" + own + ".pdf"));
    EXPECT_EQ(shown(), "");
}

TEST_F(QtPreview, ACancelledChooserOpensNoViewer)
{
    user.cancels();
    press_shortcut(item(132, 2));
    EXPECT_FALSE(file_exists(tools / "opened"));
}

// ---- the other commands ----

TEST_F(QtMenus, TheConsoleIsSavedAlsoOverAnEarlierInput)
{
    text_printf("what it shows\n");
    user.in_chooser([](QFileDialog &chooser) {
        EXPECT_EQ(chooser.windowTitle(), "Save console output as");
        EXPECT_EQ(chooser.findChild<QLineEdit *>("fileNameEdit")->text(), "console.log");
        press_accept(chooser);
    });
    press_shortcut(item(133, 18));
    EXPECT_EQ(read_file("console.log"), "what it shows\n");

    platform::copy_whole(in_file, (folder / "console.log").c_str());
    text_printf("more\n");
    chooses("console.log");
    user.in_message([](QMessageBox &box) {
        EXPECT_NE(box.text().indexOf("exists already"), -1) << box.text().toStdString();
        for (QAbstractButton *button : box.buttons())
            if (box.buttonRole(button) == QMessageBox::AcceptRole ||
                box.buttonRole(button) == QMessageBox::DestructiveRole)
                button->click();
    });
    do_menus(file_menu_id, 18);
    EXPECT_EQ(read_file("console.log"), "what it shows\nmore\n");
}

TEST_F(QtMenus, TheConsoleIsCleared)
{
    text_printf("text");
    press_shortcut(item(131, 6));
    EXPECT_EQ(shown(), "");
    text_printf("text");
    do_menus(edit_menu_id, 6);
    EXPECT_EQ(shown(), "");
}

TEST_F(QtMenus, TextIsSelectedAndCopied)
{
    text_printf("some text");
    press(Qt::Key_E, Qt::AltModifier);
    EXPECT_FALSE(item(131, 1).isEnabled()); // nothing is selected
    press(Qt::Key_A);
    EXPECT_EQ(view().selection_end(), 9U);
    press(Qt::Key_E, Qt::AltModifier);
    EXPECT_TRUE(item(131, 1).isEnabled());
    press(Qt::Key_C);
    EXPECT_EQ(QApplication::clipboard()->text(), "some text");
    QApplication::clipboard()->clear();
    item(131, 1).trigger();
    EXPECT_EQ(QApplication::clipboard()->text(), "some text");
    view().select(0, 0);
    item(131, 2).trigger();
    EXPECT_EQ(view().selection_end(), 9U);
}

TEST_F(QtMenus, TheDebugSwitchShowsItsMark)
{
    for (const int on : {1, 0, 1}) {
        press_shortcut(item(132, 1));
        EXPECT_EQ(doDebug, on);
        EXPECT_EQ(item(132, 1).isChecked(), on == 1);
        EXPECT_EQ(setting("DEBUG1"), std::to_string(on));
    }
    SetUpMenus();
    EXPECT_TRUE(item(132, 1).isChecked());
    doDebug = 0;
}

TEST_F(QtMenus, TheConsoleIsNotSavedWhenTheChooserIsCancelled)
{
    text_printf("what it shows\n");
    const strings before = folder.names();
    user.cancels();
    do_menus(file_menu_id, 18);
    EXPECT_EQ(shown(), "what it shows\n");
    EXPECT_EQ(folder.names(), before);
}

TEST_F(QtMenus, NoTitleStaysHighlightedWhileACommandWorks)
{
    for (const std::uint16_t number : std::initializer_list<std::uint16_t>{1, 3}) {
        EXPECT_EQ(bar().activeAction(), nullptr);
        bar().setActiveAction(menu(128).menuAction());
        ASSERT_NE(bar().activeAction(), nullptr);
        if (number == 3) {
            user.in_window("Preferences", [](QWidget &window) {
                EXPECT_EQ(bar().activeAction(), nullptr);
                window.close();
            });
            platform::send_menu_command(appleMenu, number);
        } else {
            do_menus(0, 0);
        }
        EXPECT_EQ(bar().activeAction(), nullptr) << number;
    }
}

TEST_F(QtMenus, ThePreferencesAreOpenedOnceAlsoDuringARun)
{
    for (const bool run : {false, true}) {
        theConsole->widget->activateWindow(); // as a window manager does when a dialog is closed
        wait_for_focus();
        inRun = run ? 1 : 0;
        user.in_window("Preferences", [](QWidget &window) { window.close(); });
        press(Qt::Key_Comma, Qt::ControlModifier);
    }
    inRun = 0;
    EXPECT_EQ(shown(), "");
}

TEST_F(QtMenus, QuitAsksTheProgramToEnd)
{
    static int asked;
    asked = 0;
    platform::on_quit([] { ++asked; });
    press_shortcut(item(128, 5));
    EXPECT_EQ(asked, 1);
    inRun = 1; // also while a run is on
    press_shortcut(item(128, 5));
    item(128, 5).trigger();
    EXPECT_EQ(asked, 3);
    platform::on_quit(nullptr);
}

// ---- font and size ----

TEST_F(QtMenus, TheFontsAreThoseOfTheDesktop)
{
    const QStringList all = [] {
        QStringList names;
        for (const QAction *each : menu(164).actions())
            names.append(each->text());
        return names;
    }();
    EXPECT_GT(all.size(), 3);
    EXPECT_TRUE(all.contains("DejaVu Sans Mono"));
    EXPECT_FALSE(all.contains("Lucida Grande")); // which only stands for another one
    EXPECT_EQ(CountMenuItems(ConsoleFontMenu), all.size());
    QStringList sorted = all;
    sorted.sort(Qt::CaseInsensitive);
    EXPECT_EQ(all, sorted);
}

TEST_F(QtMenus, AFontsNameMayHaveAnAmpersand)
{
    menu_item added;
    added.text = "A & B";
    platform::append_item(ConsoleFontMenu, added);
    QAction &shown_item = *menu(164).actions().last();
    EXPECT_EQ(shown_item.text(), "A && B");
    shown_item.trigger();
    EXPECT_EQ(setting("FONTNAME"), "A & B");
    EXPECT_TRUE(shown_item.isChecked());
}

TEST_F(QtMenus, AFontHoldsAtOnce)
{
    const auto fonts = menu(164).actions();
    for (const QString name : {"DejaVu Serif", "DejaVu Sans Mono"}) {
        const auto chosen = std::find_if(fonts.begin(), fonts.end(),
                                         [&](QAction *each) { return each->text() == name; });
        ASSERT_NE(chosen, fonts.end());
        (*chosen)->trigger();
        EXPECT_EQ(view().text_font().family(), name);
        EXPECT_EQ(setting("FONTNAME"), name.toStdString());
        EXPECT_EQ(std::count_if(fonts.begin(), fonts.end(),
                                [](QAction *each) { return each->isChecked(); }),
                  1);
        EXPECT_TRUE((*chosen)->isChecked());
    }
    SetUpMenus();
    EXPECT_TRUE(menu(164).findChild<QActionGroup *>()->checkedAction() != nullptr);
    EXPECT_EQ(menu(164).findChild<QActionGroup *>()->checkedAction()->text(), "DejaVu Sans Mono");
}

TEST_F(QtMenus, AFontThatIsGoneIsReplacedAndHasNoMark)
{
    set_str_resource("FONTNAME", "A font that nobody has");
    SetUpMenus();
    SetFontAndSize();
    for (const QAction *each : menu(164).actions())
        EXPECT_FALSE(each->isChecked()) << each->text().toStdString();
    EXPECT_TRUE(QFontInfo(view().text_font()).fixedPitch());
    EXPECT_EQ(setting("FONTNAME"), "A font that nobody has"); // it may come back
}

TEST_F(QtMenus, WhatIsChosenAndMayNotBeStoredIsTold)
{
    ASSERT_EQ(chmod(prefsPath, 0500), 0);
    for (QAction *each : {menu(164).actions().first(), &item(165, 4), &item(132, 1)}) {
        const without_rights nobody;
        ClearTextWindow();
        each->trigger();
        EXPECT_EQ(shown(), settings_complaint()) << each->text().toStdString();
    }
    EXPECT_EQ(doDebug, 1); // it holds for this time
    ASSERT_EQ(chmod(prefsPath, 0700), 0);
}

TEST_F(QtMenus, ASizeHoldsAtOnce)
{
    EXPECT_TRUE(item(165, 2).isChecked()); // none is set
    const int sizes[] = {9, 10, 12, 14};
    for (int number = 4; number >= 1; --number) {
        press(Qt::Key_E, Qt::AltModifier);
        press(Qt::Key_S);
        press(Qt::Key_0 + sizes[number - 1] % 10);
        EXPECT_EQ(view().text_font().pointSize(), sizes[number - 1]);
        EXPECT_EQ(setting("FONTSIZE"), std::to_string(sizes[number - 1]));
        for (int each = 1; each <= 4; ++each)
            EXPECT_EQ(item(165, each).isChecked(), each == number);
    }
    item(165, 1).trigger(); // chosen once more, it keeps its mark
    EXPECT_TRUE(item(165, 1).isChecked());
}

// ---- while a run is on ----

TEST_F(QtMenus, ARunIsNotDisturbedByMenusAndShortcuts)
{
    const fake_script script(endless);
    watch_the_wait([] {
        if (theConsole->sheet == nullptr || !theConsole->sheet->isVisible())
            return false;
        for (const int id : {133, 132}) {
            for (QAction *each : menu(id).actions()) {
                if (!each->isVisible() || each->isSeparator())
                    continue;
                press_shortcut(*each);
                each->trigger();
                EXPECT_FALSE(each->isEnabled()) << each->text().toStdString();
            }
        }
        press_shortcut(item(131, 6));
        for (const int number : {6, 8, 9})
            EXPECT_FALSE(item(131, number).isEnabled()) << number;
        EXPECT_TRUE(item(131, 2).isEnabled());
        EXPECT_TRUE(item(128, 5).isEnabled());
        EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
        EXPECT_EQ(doDebug, 0);

        // Keys that work the menus end nothing.
        press(Qt::Key_F, Qt::AltModifier);
        EXPECT_EQ(QApplication::activePopupWidget(), &menu(133));
        press(Qt::Key_Right);
        EXPECT_EQ(QApplication::activePopupWidget(), &menu(131));
        press(Qt::Key_Escape);
        press(Qt::Key_Right);
        press(Qt::Key_X);
        press(Qt::Key_Escape);
        press(Qt::Key_F10);
        EXPECT_EQ(QApplication::activePopupWidget(), &menu(128));
        press(Qt::Key_Escape);
        press(Qt::Key_Escape);
        EXPECT_EQ(QApplication::activePopupWidget(), nullptr);
        EXPECT_EQ(inScript, 1);
        EXPECT_EQ(userCancel, 0);
        press(Qt::Key_X); // this one does
        EXPECT_EQ(userCancel, 1);
        return true;
    });
    EXPECT_FALSE(run_script());

    // Its end is known before the menus are opened again.
    user.cancels();
    press_shortcut(item(133, 2));
}

TEST_F(QtMenus, AMenuThatIsOpenWhenTheRunEndsHoldsNothingUp)
{
    const fake_script script("sleep 0.3; ends 0 done; reports");
    watch_the_wait([] {
        if (theConsole->sheet == nullptr || !theConsole->sheet->isVisible())
            return false;
        press(Qt::Key_F, Qt::AltModifier);
        EXPECT_EQ(QApplication::activePopupWidget(), &menu(133));
        return true;
    });
    EXPECT_TRUE(run_script());
    EXPECT_EQ(QApplication::activePopupWidget(), &menu(133));
    press(Qt::Key_Escape);
    press(Qt::Key_Escape);
    EXPECT_EQ(QApplication::activePopupWidget(), nullptr);
    user.cancels();
    press_shortcut(item(133, 2));
}

TEST_F(QtMenus, WhatStillLooksEnabledWhenARunHasBegunIsRefused)
{
    inRun = 1;
    EXPECT_TRUE(item(132, 1).isEnabled());
    item(132, 1).trigger();
    EXPECT_EQ(doDebug, 0);
    EXPECT_FALSE(item(132, 1).isChecked());
    inRun = 0;
    press_shortcut(item(132, 1));
    EXPECT_EQ(doDebug, 1);
    doDebug = 0;
}

TEST_F(QtMenus, NothingIsChosenBehindAChooser)
{
    user.in_chooser([](QFileDialog & /*chooser*/) {
        item(132, 1).trigger(); // as a desktop with a menu bar of its own could
        EXPECT_EQ(doDebug, 0);
        EXPECT_FALSE(item(132, 1).isChecked());
    });
    user.cancels();
    do_menus(file_menu_id, 10);
}

// ---- the bar ----

TEST_F(QtMenus, ItemsStandAtTheirNumbers)
{
    EXPECT_EQ(GetMenuHandle(128), appleMenu);
    const std::pair<MenuRef, int> counts[] = {
        {appleMenu, 5}, {fileMenu, 18}, {editMenu, 9}, {optionsMenu, 2}, {ConsoleFontSizeMenu, 4}};
    for (const auto &[each, count] : counts)
        EXPECT_EQ(CountMenuItems(each), count) << GetMenuID(each);
    for (int number = 1; number <= 18; ++number) {
        const bool separator = std::set<int>({4, 7, 11, 13, 15, 17}).count(number) == 1;
        EXPECT_EQ(item(133, number).isSeparator(), separator) << number;
    }
    EXPECT_EQ(GetMenuID(ConsoleFontMenu), 164);
    EXPECT_EQ(GetMenuID(ConsoleFontSizeMenu), 165);
    EXPECT_EQ(item(131, 8).menu(), &menu(164));
    EXPECT_EQ(item(131, 9).menu(), &menu(165));
    Str255 name;
    GetMenuItemText(fileMenu, 10, name);
    EXPECT_STREQ(p2cstr(name), "PostScript to PDF\u2026");
}

TEST_F(QtMenus, LettersAndShortcutsAreEachThereOnce)
{
    std::set<QString> shortcuts;
    for (const QAction *each : items()) {
        const QKeySequence keys = each->shortcut();
        const bool is_size = menu(165).actions().contains(const_cast<QAction *>(each));
        const bool is_about = each == menu(128).actions().first();
        EXPECT_EQ(keys.isEmpty(), is_size || is_about) << each->text().toStdString();
        EXPECT_FALSE(each->autoRepeat()); // a key that is held down opens no second chooser
        if (keys.isEmpty())
            continue;
        EXPECT_TRUE(shortcuts.insert(keys.toString()).second) << keys.toString().toStdString();
        // A plain key ends a run.
        EXPECT_TRUE((keys[0].keyboardModifiers() & Qt::ControlModifier) != 0 ||
                    keys[0].key() == Qt::Key_F1)
            << keys.toString().toStdString();
    }
    for (const int id : {0, 128, 133, 131, 132, 165, help_menu}) {
        std::set<QString> letters;
        for (const QAction *each : id == 0 ? bar().actions() : menu(id).actions()) {
            if (each->isSeparator()) // also those that are not shown yet
                continue;
            const QString letter = QKeySequence::mnemonic(each->text()).toString();
            EXPECT_FALSE(letter.isEmpty()) << each->text().toStdString();
            EXPECT_TRUE(letters.insert(letter).second) << each->text().toStdString();
        }
    }
}

TEST_F(QtMenus, TheManualHasARowForEachItem)
{
    const std::string manual = read_file(PAPERMILL_SOURCE_DIR "/docs/desktop.md");
    const auto plain = [](QString label) { return label.remove('&').toStdString(); };
    int rows_found = 0;
    for (const int id : {128, 133, 131, 132, help_menu}) {
        const std::size_t heading = manual.find("| " + plain(menu(id).title()) + " | | |\n");
        ASSERT_NE(heading, std::string::npos) << id;
        const std::string table = manual.substr(heading, manual.find("\n\n", heading) - heading);
        for (const QAction *each : menu(id).actions()) {
            if (each->isSeparator() || !each->isVisible())
                continue;
            const std::string keys = each->shortcut().toString().toStdString();
            const std::string row =
                "\n| " + plain(each->text()) + " | " + keys + (keys.empty() ? "| " : " | ");
            EXPECT_NE(table.find(row), std::string::npos) << row;
            ++rows_found;
        }
        for (const QAction *each : menu(165).actions())
            EXPECT_EQ(table.find(plain(each->text())) == std::string::npos, id != 131);
    }
    EXPECT_GE(rows_found, 19);
}

// Under a heading of its own or one that it shares, with a picture; Quit has nothing to show.
TEST_F(QtMenus, TheManualWalksThroughEachItemWithAPicture)
{
    const std::string manual = read_file(PAPERMILL_SOURCE_DIR "/docs/commands.md") + "\n## ";
    std::map<std::string, std::string> sections; // by the items of the heading
    for (std::size_t at = manual.find("\n### "); at != std::string::npos;
         at = manual.find("\n### ", at + 1)) {
        const std::size_t end = manual.find('\n', at + 1);
        const std::string told = manual.substr(end, manual.find("\n##", end) - end);
        const QString heading = QString::fromStdString(manual.substr(at + 5, end - at - 5));
        sections[heading.toStdString()] = told;
        for (const QString &each : heading.split(", "))
            sections[each.toStdString()] = told;
    }
    for (const int id : {128, 133, 131, 132, help_menu}) {
        for (const QAction *each : menu(id).actions()) {
            if (each->isSeparator() || !each->isVisible())
                continue;
            const std::string name = each->text().remove('&').toStdString();
            ASSERT_EQ(sections.count(name), 1U) << name;
            const std::string told = sections[name];
            const std::size_t picture = told.find("](images/");
            EXPECT_EQ(picture == std::string::npos, name == "Quit") << name;
            if (picture == std::string::npos)
                continue;
            const std::string file =
                told.substr(picture + 2, told.find(')', picture) - picture - 2);
            EXPECT_FALSE(
                QImage(PAPERMILL_SOURCE_DIR "/docs/" + QString::fromStdString(file)).isNull())
                << file;
        }
    }
}

TEST_F(QtMenus, F10AndArrowsReachAnItem)
{
    press(Qt::Key_F10);
    EXPECT_EQ(QApplication::activePopupWidget(), &menu(128));
    press(Qt::Key_Right);
    press(Qt::Key_Right);
    press(Qt::Key_Right);
    EXPECT_EQ(QApplication::activePopupWidget(), &menu(132));
    EXPECT_EQ(menu(132).activeAction(), &item(132, 1));
    press(Qt::Key_Return);
    EXPECT_EQ(doDebug, 1);
    EXPECT_TRUE(view().hasFocus());
    doDebug = 0;
}

TEST_F(QtMenus, AClickOfTheClassicPumpOpensTheMenuAndWaits)
{
    const auto middle_of = [](int id) {
        const QPoint place =
            bar().mapToGlobal(bar().actionGeometry(menu(id).menuAction()).center());
        return Point{static_cast<std::int16_t>(place.y()), static_cast<std::int16_t>(place.x())};
    };
    WindowRef window = theConsole;
    EXPECT_EQ(FindWindow(middle_of(132), &window), inMenuBar);
    EXPECT_EQ(window, nullptr);

    QTimer::singleShot(0, [] { press(Qt::Key_D); });
    EXPECT_EQ(menu_choice(middle_of(132)), 132 << 16 | 1);
    EXPECT_EQ(doDebug, 1);
    QTimer::singleShot(0, [] { press(Qt::Key_Escape); });
    EXPECT_EQ(MenuSelect(middle_of(133)), 0);
    EXPECT_EQ(MenuSelect({-5, -5}), 0);

    inRun = 1;
    bool opened = false;
    QTimer::singleShot(0, [&opened] {
        opened = QApplication::activePopupWidget() == &menu(133);
        EXPECT_FALSE(item(133, 10).isEnabled());
        press(Qt::Key_Escape);
    });
    const EventRecord click = {mouseDown, 0, 0, middle_of(133), 0};
    DoEvent(&click);
    EXPECT_TRUE(opened);
    doDebug = 0;
}

TEST_F(QtMenus, AnotherBarTakesThePlaceOfTheFirst)
{
    IBNibRef nib = nullptr;
    ASSERT_EQ(CreateNibReference("ps2pdf", &nib), noErr);
    EXPECT_EQ(SetMenuBarFromNib(nib, "nothing"), fnfErr);
    EXPECT_EQ(SetMenuBarFromNib(nib, "wait"), fnfErr); // without a menu bar
    EXPECT_EQ(GetMenuHandle(133), fileMenu);
    DisposeNibReference(nib);
    SetUpMenus();
    EXPECT_EQ(theConsole->widget->findChildren<QMenuBar *>().size(), 1);
    EXPECT_EQ(GetMenuHandle(133), fileMenu);
    press_shortcut(item(132, 1));
    EXPECT_EQ(doDebug, 1);
    doDebug = 0;
}

TEST_F(QtMenus, TheTextLiesBelowTheBarInEverySizeAndDirection)
{
    for (const auto direction : {Qt::LeftToRight, Qt::RightToLeft}) {
        QApplication::setLayoutDirection(direction);
        const int smallest = theConsole->widget->minimumHeight();
        for (const QSize size : {QSize(100, smallest), QSize(600, 400), QSize(1200, 900)}) {
            theConsole->widget->resize(size);
            QCoreApplication::processEvents();
            EXPECT_EQ(bar().geometry(), QRect(0, 0, size.width(), bar().height()));
            EXPECT_EQ(theConsole->content->geometry(), below_menus(size.width(), size.height()));
        }
        const QRect first = bar().actionGeometry(menu(128).menuAction());
        const QRect second = bar().actionGeometry(menu(133).menuAction());
        EXPECT_EQ(first.left() < second.left(), direction == Qt::LeftToRight);
        EXPECT_FALSE(first.intersects(second));
    }
    QApplication::setLayoutDirection(Qt::LeftToRight);
    const int before = bar().height();
    const QFont font = QApplication::font();
    QFont larger = font;
    larger.setPointSize(30);
    QApplication::setFont(larger);
    EXPECT_TRUE(QTest::qWaitFor(
        [&] { return bar().height() > before && theConsole->content->y() == bar().height(); }));
    EXPECT_EQ(theConsole->content->height(), 900 - before); // of the size that it had
    QApplication::setFont(font);
}

TEST_F(QtMenus, AScreenReaderIsToldOfEveryItem)
{
    const auto name_of = [](QObject *of) {
        return QAccessible::queryAccessibleInterface(of)->text(QAccessible::Name);
    };
    EXPECT_EQ(name_of(&bar()), "Menus");
    QAccessibleInterface *file = QAccessible::queryAccessibleInterface(&menu(133));
    ASSERT_EQ(file->childCount(), 18);
    EXPECT_EQ(file->child(9)->text(QAccessible::Name), "PostScript to PDF\u2026");
    EXPECT_EQ(file->child(9)->role(), QAccessible::MenuItem);
    QAccessibleInterface *size = QAccessible::queryAccessibleInterface(&menu(165))->child(1);
    EXPECT_TRUE(size->state().checkable);
    EXPECT_TRUE(size->state().checked);
}
