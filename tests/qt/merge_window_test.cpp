#include "dialogs/merge_window.h"

#include "app/commands.h"
#include "app/globals.h"
#include "dialogs/dialog_machinery.h"
#include "engine/pdf_merge.h"
#include "engine/tool_runner.h"
#include "platform/strings.h"
#include "settings/prefs_store.h"
#include "tests/qt/chooser_user.h"
#include "tests/qt/desktop_test.h"
#include "tests/qt/traced_settings.h"
#include "tests/support/terminal_user.h"

#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMimeData>
#include <QPushButton>
#include <QTest>
#include <QWindow>

#include <unistd.h>

namespace {

using strings = std::vector<std::string>;

constexpr char title[] = "Merge PDF Files";

class QtMergeWindow : public desktop_test {
protected:
    QtMergeWindow()
    {
        EXPECT_EQ(chdir(folder.path().c_str()), 0); // where the choosers begin
        platform::copy_whole(in, folder.path().c_str());
        settings_stored.clear();
    }
    ~QtMergeWindow() override
    {
        EXPECT_EQ(chdir("/"), 0);
    }

    static QLineEdit &names(const QWidget &window)
    {
        return *qobject_cast<QLineEdit *>(control_in(window, 4));
    }

    static QLineEdit &output(const QWidget &window)
    {
        return *qobject_cast<QLineEdit *>(control_in(window, 6));
    }

    static QListWidget &files(const QWidget &window)
    {
        return *qobject_cast<QListWidget *>(control_in(window, merge_list));
    }

    static strings listed_files(const QWidget &window)
    {
        strings all;
        for (int row = 0; row < files(window).count(); ++row)
            all.push_back(files(window).item(row)->text().toStdString());
        return all;
    }

    static std::string folder_shown(const QWidget &window)
    {
        return control_in(window, 5)->accessibleName().toStdString();
    }

    static void click(const QWidget &window, int id)
    {
        QTest::mouseClick(control_in(window, id), Qt::LeftButton);
    }

    static void select(const QWidget &window, int row)
    {
        QListWidget &list = files(window);
        QTest::mouseClick(list.viewport(), Qt::LeftButton, {},
                          list.visualItemRect(list.item(row)).center());
    }

    static void type(QLineEdit &field, const QString &text)
    {
        field.setFocus();
        field.selectAll();
        QTest::keyClick(&field, Qt::Key_Delete);
        QTest::keyClicks(&field, text);
    }

    void adds(const QWidget &window, const std::string &path)
    {
        user.in_chooser([path](QFileDialog &chooser) {
            EXPECT_EQ(chooser.windowTitle(), "Add a PDF file");
            type_name(chooser, path);
            press_accept(chooser);
        });
        click(window, merge_add);
    }

    // Opens the window with what the buffers hold.
    int open(std::function<void(QWidget &)> action)
    {
        user.in_window(title, std::move(action));
        return GetPdfMergeFiles(list, out, in);
    }

    void look(const std::function<void(QWidget &)> &action)
    {
        EXPECT_EQ(open([action](QWidget &window) {
                      action(window);
                      click(window, 2);
                  }),
                  0);
    }

    char list[field_size] = "";
    char out[field_size] = "";
    char in[path_size] = "";
    chooser_user user;
};

} // namespace

// ---- what it shows and gives back ----

TEST_F(QtMergeWindow, AtFirstItShowsTheApplicationsFolderAndEmptyFields)
{
    in[0] = 0;
    look([](QWidget &window) {
        EXPECT_EQ(folder_shown(window), appPath);
        EXPECT_EQ(names(window).text(), "");
        EXPECT_EQ(output(window).text(), "");
        EXPECT_TRUE(names(window).hasFocus());
        EXPECT_EQ(listed_files(window), strings());
        for (const int button : {merge_remove, merge_up, merge_down})
            EXPECT_FALSE(control_in(window, button)->isEnabled());
    });
    EXPECT_STREQ(list, "");
    EXPECT_STREQ(in, "");
}

TEST_F(QtMergeWindow, AFolderThatIsGoneIsReplacedByTheApplications)
{
    platform::copy_whole(in, (folder / "gone").c_str());
    look([](QWidget &window) { EXPECT_EQ(folder_shown(window), appPath); });
}

TEST_F(QtMergeWindow, WhatItIsGivenComesBackChangedAfterOk)
{
    platform::copy_whole(list, "a.pdf b.pdf");
    platform::copy_whole(out, "ab.pdf");
    EXPECT_EQ(open([this](QWidget &window) {
                  EXPECT_EQ(names(window).text(), "a.pdf b.pdf");
                  EXPECT_EQ(names(window).selectedText(), ".pdf b.pdf");
                  EXPECT_EQ(output(window).text(), "ab.pdf");
                  EXPECT_EQ(folder_shown(window), folder.path());
                  type(names(window), "c.pdf d.pdf");
                  type(output(window), "cd.pdf");
                  QTest::keyClick(window.windowHandle(), Qt::Key_Return);
              }),
              1);
    EXPECT_STREQ(list, "c.pdf d.pdf");
    EXPECT_STREQ(out, "cd.pdf");
    EXPECT_EQ(in, folder.path());
}

TEST_F(QtMergeWindow, AnEmptyFieldKeepsItOpenAndGetsTheKeyboard)
{
    EXPECT_EQ(open([](QWidget &window) {
                  type(output(window), "ab.pdf");
                  click(window, 1);
                  EXPECT_TRUE(window.isVisible());
                  EXPECT_TRUE(names(window).hasFocus());
                  type(names(window), "a.pdf");
                  type(output(window), "");
                  click(window, 1);
                  EXPECT_TRUE(window.isVisible());
                  EXPECT_TRUE(output(window).hasFocus());
                  window.close();
              }),
              0);
    EXPECT_STREQ(list, "");
    EXPECT_EQ(shown(), "");
}

TEST_F(QtMergeWindow, AChosenFolderIsStoredAtOnceUnderItsOtherName)
{
    const std::string other = folder.make_folder("other");
    EXPECT_EQ(open([&](QWidget &window) {
                  user.in_chooser([&](QFileDialog &chooser) {
                      EXPECT_EQ(chooser.windowTitle(), "Select a working folder");
                      type_name(chooser, other);
                      press_accept(chooser);
                  });
                  click(window, 3);
                  EXPECT_EQ(folder_shown(window), other);
                  EXPECT_EQ(settings_stored, strings{"TEXDIR=" + other});
                  user.cancels();
                  click(window, 3);
                  EXPECT_EQ(folder_shown(window), other);
                  click(window, 2);
              }),
              0);
    EXPECT_EQ(settings_stored, strings{"TEXDIR=" + other});
    EXPECT_EQ(in, folder.path());
}

TEST_F(QtMergeWindow, FieldsTake1023Bytes)
{
    EXPECT_EQ(open([](QWidget &window) {
                  for (QLineEdit *field : {&names(window), &output(window)}) {
                      field->setFocus();
                      field->setText(QString(1021, 'x'));
                      QTest::keyClicks(field, "yz!");
                  }
                  click(window, 1);
              }),
              1);
    EXPECT_EQ(list, std::string(1021, 'x') + "yz");
    EXPECT_EQ(out, std::string(1021, 'x') + "yz");
}

// ---- the list ----

TEST_F(QtMergeWindow, FilesAreAddedByTheirNamesInTheFolderAndQuoted)
{
    folder.write("a b's.pdf", "");
    folder.make_folder("sub");
    folder.write("sub/c.pdf", "");
    folder.write("-d.pdf", "");
    const temporary_folder elsewhere;
    elsewhere.write("e.pdf", "");
    EXPECT_EQ(open([&](QWidget &window) {
                  for (const std::string &path : {folder / "a b's.pdf", folder / "sub/c.pdf",
                                                  folder / "-d.pdf", elsewhere / "e.pdf"})
                      adds(window, path);
                  EXPECT_EQ(listed_files(window),
                            (strings{"a b's.pdf", "sub/c.pdf", "./-d.pdf", elsewhere / "e.pdf"}));
                  EXPECT_EQ(files(window).currentRow(), 3);
                  user.cancels();
                  click(window, merge_add);
                  type(output(window), "out.pdf");
                  click(window, 1);
              }),
              1);
    EXPECT_EQ(list, "'a b'\\''s.pdf' sub/c.pdf ./-d.pdf " + (elsewhere / "e.pdf"));
    EXPECT_EQ(string_setting("TEXDIR", "not set"), "not set");
}

TEST_F(QtMergeWindow, TheListFollowsTheTextWhereItIsNames)
{
    look([](QWidget &window) {
        type(names(window), "a.pdf 'b c.pdf' \"d \\$e.pdf\" f\\ g.pdf *.pdf");
        EXPECT_EQ(listed_files(window),
                  (strings{"a.pdf", "b c.pdf", "d $e.pdf", "f g.pdf", "*.pdf"}));
        EXPECT_FALSE(control_in(window, merge_notice)->isVisible());
        for (const char *more : {"a.pdf 'b", "$HOME/a.pdf", "a.pdf; true", "a.pdf \\"}) {
            type(names(window), more);
            EXPECT_EQ(names(window).text(), more);
            EXPECT_EQ(listed_files(window), strings()) << more;
            EXPECT_FALSE(files(window).isEnabled());
            EXPECT_FALSE(control_in(window, merge_add)->isEnabled());
            EXPECT_TRUE(control_in(window, merge_notice)->isVisible());
        }
        type(names(window), "a.pdf");
        EXPECT_EQ(listed_files(window), strings{"a.pdf"});
        EXPECT_TRUE(files(window).isEnabled());
        EXPECT_FALSE(control_in(window, merge_notice)->isVisible());
    });
}

TEST_F(QtMergeWindow, TheOrderIsChangedByButtonsAndTheWordsKeepTheirQuotes)
{
    platform::copy_whole(list, "'a b.pdf' c.pdf *.pdf");
    look([](QWidget &window) {
        select(window, 0);
        EXPECT_FALSE(control_in(window, merge_up)->isEnabled());
        click(window, merge_down);
        EXPECT_EQ(names(window).text(), "c.pdf 'a b.pdf' *.pdf");
        EXPECT_EQ(files(window).currentRow(), 1);
        click(window, merge_down);
        EXPECT_EQ(names(window).text(), "c.pdf *.pdf 'a b.pdf'");
        EXPECT_FALSE(control_in(window, merge_down)->isEnabled());
        click(window, merge_up);
        EXPECT_EQ(listed_files(window), (strings{"c.pdf", "a b.pdf", "*.pdf"}));
        click(window, merge_remove);
        EXPECT_EQ(names(window).text(), "c.pdf *.pdf");
        EXPECT_EQ(files(window).currentRow(), 1);
        click(window, merge_remove);
        click(window, merge_remove);
        EXPECT_EQ(names(window).text(), "");
        EXPECT_FALSE(control_in(window, merge_remove)->isEnabled());
    });
}

TEST_F(QtMergeWindow, TheOrderIsChangedByKeys)
{
    platform::copy_whole(list, "1.pdf 2.pdf 3.pdf");
    look([](QWidget &window) {
        files(window).setFocus();
        QTest::keyClick(&files(window), Qt::Key_Home);
        QTest::keyClick(&files(window), Qt::Key_Up, Qt::AltModifier); // there is nothing above
        EXPECT_EQ(names(window).text(), "1.pdf 2.pdf 3.pdf");
        QTest::keyClick(&files(window), Qt::Key_Down, Qt::AltModifier);
        QTest::keyClick(&files(window), Qt::Key_Down, Qt::AltModifier);
        QTest::keyClick(&files(window), Qt::Key_Down, Qt::AltModifier); // nor below
        EXPECT_EQ(names(window).text(), "2.pdf 3.pdf 1.pdf");
        EXPECT_EQ(files(window).currentRow(), 2);
        QTest::keyClick(&files(window), Qt::Key_Up, Qt::AltModifier);
        EXPECT_EQ(names(window).text(), "2.pdf 1.pdf 3.pdf");
        QTest::keyClick(&files(window), Qt::Key_Delete);
        EXPECT_EQ(names(window).text(), "2.pdf 3.pdf");
        EXPECT_EQ(listed_files(window), (strings{"2.pdf", "3.pdf"}));
    });
}

TEST_F(QtMergeWindow, TheOrderIsChangedByDragging)
{
    platform::copy_whole(list, "1.pdf 2.pdf 3.pdf");
    look([](QWidget &window) {
        QListWidget &shown_list = files(window);
        select(window, 0);
        // What the drop of a dragged row does to the list.
        EXPECT_TRUE(shown_list.model()->moveRow({}, 0, {}, 3));
        QCoreApplication::processEvents();
        EXPECT_EQ(names(window).text(), "2.pdf 3.pdf 1.pdf");
        EXPECT_TRUE(shown_list.model()->moveRow({}, 2, {}, 1));
        QCoreApplication::processEvents();
        EXPECT_EQ(names(window).text(), "2.pdf 1.pdf 3.pdf");
        EXPECT_EQ(shown_list.dragDropMode(), QAbstractItemView::InternalMove);
    });
}

TEST_F(QtMergeWindow, WhatFindsNoRoomIsToldAndNotAdded)
{
    platform::copy_whole(list, std::string(1015, 'x').c_str());
    folder.write("long name.pdf", "");
    folder.write("bad\xFF.pdf", "");
    look([this](QWidget &window) {
        adds(window, folder / "long name.pdf");
        EXPECT_EQ(names(window).text(), QString(1015, 'x'));
        EXPECT_EQ(listed_files(window).size(), 1U);
        const auto &notice = *qobject_cast<QLabel *>(control_in(window, merge_notice));
        EXPECT_TRUE(notice.isVisible());
        EXPECT_TRUE(notice.text().contains("no room")) << notice.text().toStdString();
    });
}

// ---- the command ----

namespace {

class QtMerge : public QtMergeWindow {
protected:
    QtMerge()
    {
        for (const char *name : {"one", "two"}) {
            folder.write(std::string(name) + ".ps", drawing_ps(200, 100));
            run_program({.arguments = {"gs", "-q", "-dNOPAUSE", "-dBATCH", "-sDEVICE=pdfwrite",
                                       std::string("-sOutputFile=") + name + ".pdf",
                                       std::string(name) + ".ps"}});
        }
        set_str_resource("PDFMERGE_DIR", folder.path().c_str());
        settings_stored.clear();
    }
};

} // namespace

TEST_F(QtMerge, WhatIsAskedForIsKeptAndMerged)
{
    user.in_window(title, [this](QWidget &window) {
        adds(window, folder / "two.pdf");
        adds(window, folder / "one.pdf");
        type(output(window), "both.pdf");
        click(window, 1);
    });
    do_menus(133, 12);
    EXPECT_EQ(pdf_page_count(folder / "both.pdf"), 2) << shown();
    EXPECT_EQ(settings_stored,
              (strings{"PDFMERGE_INFILES=two.pdf one.pdf", "PDFMERGE_OUTFILE=both.pdf",
                       "PDFMERGE_DIR=" + folder.path()}));
    const std::string command = command_line;
    EXPECT_TRUE(command.ends_with(" \"" + std::string(distilling_options) +
                                  "\" \"both.pdf\" two.pdf one.pdf"))
        << command;
    EXPECT_EQ(shown().find("Merging two.pdf one.pdf to both.pdf.\nCurrent directory -- " +
                           folder.path() + ".\n"),
              0U);
    user.in_window(title, [](QWidget &window) {
        EXPECT_EQ(names(window).text(), "two.pdf one.pdf");
        EXPECT_EQ(names(window).selectedText(), "wo.pdf one.pdf");
        EXPECT_EQ(output(window).text(), "both.pdf");
        click(window, 2);
    });
    do_pdfmerge();
}

TEST_F(QtMerge, CancelPrintsAndStoresNothing)
{
    user.in_window(title, [](QWidget &window) {
        type(names(window), "one.pdf");
        type(output(window), "x.pdf");
        QTest::keyClick(window.windowHandle(), Qt::Key_Escape);
    });
    do_pdfmerge();
    EXPECT_EQ(settings_stored, strings());
    EXPECT_EQ(shown(), "");
}

TEST_F(QtMerge, ARememberedListThatIsTooLongIsLeftOut)
{
    set_str_resource("PDFMERGE_INFILES", std::string(1024, 'x').c_str());
    set_str_resource("PDFMERGE_OUTFILE", std::string(1023, 'y').c_str());
    user.in_window(title, [](QWidget &window) {
        EXPECT_EQ(names(window).text(), "");
        EXPECT_EQ(output(window).text(), QString(1023, 'y'));
        click(window, 2);
    });
    do_pdfmerge();
}
