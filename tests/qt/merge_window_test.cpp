#include "dialogs/merge_window.h"

#include "app/commands.h"
#include "app/globals.h"
#include "dialogs/dialog_machinery.h"
#include "engine/pdf_merge.h"
#include "engine/tool_runner.h"
#include "platform/processes.h"
#include "platform/strings.h"
#include "settings/prefs_store.h"
#include "tests/qt/chooser_user.h"
#include "tests/qt/desktop_test.h"
#include "tests/qt/traced_settings.h"
#include "tests/support/hostile_names.h"
#include "tests/support/terminal_user.h"
#include "tests/support/without_rights.h"

#include <QAccessible>
#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMimeData>
#include <QPushButton>
#include <QStyledItemDelegate>
#include <QTest>
#include <QWindow>

#include <cstdio>
#include <set>
#include <sys/stat.h>
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
            EXPECT_EQ(chooser.windowTitle(), "Add PDF files");
            type_name(chooser, path);
            press_accept(chooser);
        });
        click(window, merge_add);
    }

    // Several at once, by clicks in the folder that the chooser shows.
    void adds_several(const QWidget &window, const strings &clicked)
    {
        user.in_chooser([clicked](QFileDialog &chooser) {
            sort_by_name(chooser);
            for (const std::string &name : clicked)
                name == clicked[0] ? click_row(chooser, name) : click_row_too(chooser, name);
            press_accept(chooser);
        });
        click(window, merge_add);
    }

    static std::string notice(const QWidget &window)
    {
        const auto &label = *qobject_cast<QLabel *>(control_in(window, merge_notice));
        return label.isVisible() ? label.accessibleName().toStdString() : "";
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

TEST_F(QtMergeWindow, AChosenFolderComesBackAfterOk)
{
    const std::string other = folder.make_folder("other");
    EXPECT_EQ(open([&](QWidget &window) {
                  user.in_chooser([&](QFileDialog &chooser) {
                      type_name(chooser, other);
                      press_accept(chooser);
                  });
                  click(window, 3);
                  type(names(window), "a.pdf");
                  type(output(window), "b.pdf");
                  click(window, 1);
              }),
              1);
    EXPECT_EQ(in, other);
}

TEST_F(QtMergeWindow, TheCursorIsTheTextsOverBothFields)
{
    look([](QWidget &window) {
        for (const auto &[id, cursor] :
             {std::pair(4, 5), std::pair(1, 1), std::pair(6, 5), std::pair(5, 1)}) {
            const QWidget &part = *control_in(window, id);
            QTest::mouseMove(window.windowHandle(), part.mapTo(&window, part.rect().center()));
            QCoreApplication::processEvents();
            EXPECT_EQ(currcurs, cursor) << id;
        }
    });
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
    folder.write("s.pdf", "");
    look([this](QWidget &window) {
        adds(window, folder / "long name.pdf");
        EXPECT_EQ(names(window).text(), QString(1015, 'x'));
        EXPECT_EQ(listed_files(window).size(), 1U);
        EXPECT_EQ(notice(window), "There is no room for long name.pdf: all names together have at "
                                  "most 1023 bytes. Merge some of them first.");
        adds(window, folder / "s.pdf"); // which fits
        EXPECT_EQ(listed_files(window).size(), 2U);
        EXPECT_EQ(notice(window), "");
    });
}

TEST_F(QtMergeWindow, WhenNotAllFindRoomNoneIsAdded)
{
    strings all;
    for (int number = 1; number <= 12; ++number) {
        all.push_back("file " + std::to_string(number) + ".pdf");
        folder.write(all.back(), "");
    }
    const temporary_folder elsewhere;
    platform::copy_whole(in, elsewhere.path().c_str());
    const std::size_t word = (folder / all[8]).size() + 3; // with quotes and a blank
    const std::string first(1023 - 9 * word, 'x');         // so that nine fit to the byte
    platform::copy_whole(list, first.c_str());
    look([&](QWidget &window) {
        const int width = window.width();
        adds_several(window, all);
        EXPECT_EQ(listed_files(window), strings{first});
        EXPECT_EQ(names(window).text().toStdString(), first);
        EXPECT_EQ(notice(window),
                  "Nothing was added, because from file 10.pdf on there is no room for 3 of the 12 "
                  "files: all names together have at "
                  "most 1023 bytes. Choose the folder that the files lie in first.");
        EXPECT_EQ(window.width(), width); // a long path does not widen it
        user.cancels();
        click(window, merge_add); // which changes nothing
        EXPECT_NE(notice(window), "");
        adds_several(window, strings(all.begin(), all.begin() + 9));
        EXPECT_EQ(names(window).text().size(), 1023);
        EXPECT_EQ(listed_files(window).size(), 10U);
        EXPECT_EQ(notice(window), "");
    });
}

TEST_F(QtMergeWindow, EverythingHasItsRoomInTheSmallestWindow)
{
    const QFont usual = QApplication::font();
    const std::string long_name = std::string(251, 'n') + ".pdf";
    folder.write(long_name, "");
    platform::copy_whole(list, std::string(1015, 'x').c_str());
    for (const int points : {usual.pointSize(), 20}) {
        for (const auto direction : {Qt::LeftToRight, Qt::RightToLeft}) {
            QFont font = usual;
            font.setPointSize(points);
            QApplication::setFont(font);
            QApplication::setLayoutDirection(direction);
            look([&](QWidget &window) {
                window.resize(10, 10);
                QCoreApplication::processEvents();
                const QListWidget &shown_list = files(window);
                EXPECT_GE(shown_list.viewport()->width(),
                          8 * shown_list.fontMetrics().averageCharWidth());
                adds(window, folder / long_name);
                EXPECT_NE(notice(window).find(long_name), std::string::npos);
                window.resize(10, 10);
                QCoreApplication::processEvents();
                const QWidget *label = control_in(window, merge_notice);
                EXPECT_GE(label->height(), label->heightForWidth(label->width()));
                for (const int id : {1, 2, 3, 11, 12, 13, 14}) {
                    const QWidget *button = control_in(window, id);
                    EXPECT_GE(button->height(), button->sizeHint().height()) << id << points;
                    const QRect place(button->mapTo(&window, QPoint(0, 0)), button->size());
                    EXPECT_TRUE(window.rect().contains(place)) << id << points;
                }
                EXPECT_LT(window.width(), 1000);
                EXPECT_LT(window.height(), 760);
            });
        }
    }
    QApplication::setLayoutDirection(Qt::LeftToRight);
    QApplication::setFont(usual);
}

TEST_F(QtMergeWindow, TheEndOfALongPathIsSeen)
{
    const std::string long_path = "/papers/" + std::string(300, 'n');
    platform::copy_whole(list, (long_path + "/a.pdf " + long_path + "/b.pdf c.pdf").c_str());
    look([&](QWidget &window) {
        QListWidget &shown_list = files(window);
        shown_list.setAlternatingRowColors(false);
        shown_list.setCurrentRow(2);
        QCoreApplication::processEvents();
        const auto picture = [&](int row) {
            QRect place = shown_list.visualItemRect(shown_list.item(row));
            return shown_list.viewport()->grab(place & shown_list.viewport()->rect()).toImage();
        };
        EXPECT_NE(picture(0), picture(1));
        EXPECT_EQ(shown_list.item(0)->toolTip().toStdString(), long_path + "/a.pdf");
    });
}

TEST_F(QtMergeWindow, NamesRunFromLeftToRightInAWindowThatRunsTheOtherWay)
{
    QApplication::setLayoutDirection(Qt::RightToLeft);
    platform::copy_whole(list, "'(a).pdf' '\xD7\x90.pdf'"); // the second one in Hebrew letters
    look([&](QWidget &window) {
        QListWidget &shown_list = files(window);
        const auto picture = [&](int row) {
            shown_list.setCurrentRow(row == 0 ? 1 : 0);
            return shown_list.viewport()->grab(shown_list.visualItemRect(shown_list.item(row)));
        };
        const QImage mirrored = picture(0).toImage();
        const QImage hebrew = picture(1).toImage();
        shown_list.setItemDelegate(new QStyledItemDelegate(&shown_list));
        EXPECT_NE(picture(0).toImage(), mirrored); // as it would be otherwise: ".pdf(a)"
        EXPECT_EQ(picture(1).toImage(), hebrew);
    });
    QApplication::setLayoutDirection(Qt::LeftToRight);
}

// ---- adding ----

TEST_F(QtMergeWindow, SeveralFilesAreAddedInTheirNaturalOrder)
{
    for (const char *name : {"page 10.pdf", "page 2.pdf", "it's.pdf", "a.pdf"})
        folder.write(name, "");
    platform::copy_whole(list, "first.pdf *.pdf");
    EXPECT_EQ(open([&](QWidget &window) {
                  select(window, 0);
                  adds_several(window, {"page 10.pdf", "it's.pdf", "page 2.pdf"});
                  EXPECT_EQ(listed_files(window), (strings{"first.pdf", "*.pdf", "it's.pdf",
                                                           "page 2.pdf", "page 10.pdf"}));
                  EXPECT_EQ(files(window).currentRow(), 4);
                  adds_several(window, {"a.pdf"});
                  adds_several(window, {"a.pdf"}); // once more is twice in the result
                  type(output(window), "out.pdf");
                  click(window, 1);
              }),
              1);
    EXPECT_STREQ(list, "first.pdf *.pdf 'it'\\''s.pdf' 'page 2.pdf' 'page 10.pdf' a.pdf a.pdf");
}

TEST_F(QtMergeWindow, EveryNameIsCarriedThroughTheFieldByteForByte)
{
    strings all = hostile_names();
    std::string every_byte;
    for (int byte = 1; byte < 256; ++byte)
        every_byte += byte == '/' ? "" : std::string(1, static_cast<char>(byte));
    all.push_back(every_byte);
    all.push_back("\xEF\xBB\xBFmark"); // of the byte order
    for (const char *bad : {"\xED\xA0\x80", "\xED\xB3\xA4", "\xC0\xAF", "\xF4\x90\x80\x80"})
        all.push_back(bad); // a surrogate, one like the field's own, an overlong slash, too large
    for (const std::string &name : all) {
        SCOPED_TRACE(name);
        const std::string word = platform::as_word(name.c_str());
        platform::copy_whole(list, word.c_str());
        EXPECT_EQ(open([](QWidget &window) {
                      type(output(window), "out.pdf");
                      click(window, 1);
                  }),
                  1);
        EXPECT_EQ(list, word);
    }
}

TEST_F(QtMergeWindow, BytesThatAreNotUtf8CountAsBytes)
{
    platform::copy_whole(list, "\xE4\xF6");
    EXPECT_EQ(open([](QWidget &window) {
                  names(window).setFocus();
                  QTest::keyClick(&names(window), Qt::Key_End);
                  QTest::keyClicks(&names(window), QString(1030, 'x'));
                  type(output(window), "out.pdf");
                  click(window, 1);
              }),
              1);
    EXPECT_EQ(list, "\xE4\xF6" + std::string(1021, 'x'));
}

TEST_F(QtMergeWindow, ANameThatIsNotUtf8IsAddedAndShownInTheList)
{
    folder.write("latin\xE4.pdf", "");
    EXPECT_EQ(open([&](QWidget &window) {
                  user.in_chooser([](QFileDialog &chooser) {
                      QTest::mouseClick(chooser.findChild<QPushButton *>("unlistedButton"),
                                        Qt::LeftButton);
                  });
                  user.in_dialog("unlistedNames", [](QDialog &dialog) { press_accept(dialog); });
                  click(window, merge_add);
                  EXPECT_EQ(listed_files(window), strings{"latin\\xe4.pdf"});
                  EXPECT_EQ(notice(window), "");
                  type(output(window), "out.pdf");
                  click(window, 1);
              }),
              1);
    EXPECT_STREQ(list, "'latin\xE4.pdf'");
}

// ---- by keyboard ----

TEST_F(QtMergeWindow, AButtonThatCanDoNoMoreLeavesTheKeyboardToTheList)
{
    platform::copy_whole(list, "1.pdf 2.pdf 3.pdf");
    look([](QWidget &window) {
        const auto hit = [&window](int button) {
            control_in(window, button)->setFocus();
            QTest::keyClick(control_in(window, button), Qt::Key_Space);
        };
        select(window, 2);
        hit(merge_up);
        EXPECT_TRUE(control_in(window, merge_up)->hasFocus());
        hit(merge_up);
        EXPECT_EQ(names(window).text(), "3.pdf 1.pdf 2.pdf");
        EXPECT_TRUE(files(window).hasFocus());
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Space); // once too often
        EXPECT_EQ(names(window).text(), "3.pdf 1.pdf 2.pdf");
        EXPECT_EQ(files(window).currentRow(), 0);
        EXPECT_TRUE(files(window).item(0)->isSelected());
        hit(merge_down);
        hit(merge_down);
        EXPECT_TRUE(files(window).hasFocus());
        EXPECT_EQ(names(window).text(), "1.pdf 2.pdf 3.pdf");
        for (int left = 2; left >= 0; --left) {
            hit(merge_remove);
            EXPECT_EQ(files(window).count(), left);
            EXPECT_EQ(files(window).selectedItems().size(), left > 0 ? 1 : 0);
        }
        EXPECT_TRUE(files(window).hasFocus());
    });
}

TEST_F(QtMergeWindow, WhatHasTheKeyboardInTheListIsSelected)
{
    platform::copy_whole(list, "1.pdf 2.pdf");
    look([](QWidget &window) {
        QTest::keyClick(&names(window), Qt::Key_Tab);
        ASSERT_TRUE(files(window).hasFocus());
        EXPECT_EQ(files(window).currentRow(), 0);
        EXPECT_TRUE(files(window).item(0)->isSelected());
        EXPECT_TRUE(control_in(window, merge_remove)->isEnabled());
        EXPECT_TRUE(control_in(window, merge_down)->isEnabled());
        QTest::keyClick(&files(window), Qt::Key_Down);
        EXPECT_EQ(files(window).selectedItems(), QList{files(window).item(1)});
    });
}

TEST_F(QtMergeWindow, TabGoesThroughTheWindowAsItIsRead)
{
    platform::copy_whole(list, "1.pdf 2.pdf 3.pdf");
    look([](QWidget &window) {
        select(window, 1); // so that every button is in use
        names(window).setFocus();
        const int order[] = {4, merge_list, merge_add, merge_remove, merge_up, merge_down, 3, 6,
                             2, 1,          4};
        for (const int id : order) {
            EXPECT_EQ(QApplication::focusWidget(), control_in(window, id)) << id;
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        }
    });
}

TEST_F(QtMergeWindow, EveryControlTellsScreenReadersWhatItIs)
{
    look([](QWidget &window) {
        std::set<QString> descriptions;
        for (int id = 1; id <= merge_notice; ++id) {
            QWidget *const control = control_in(window, id);
            if (control == nullptr)
                continue;
            QAccessibleInterface *const told = QAccessible::queryAccessibleInterface(control);
            const QString description = told->text(QAccessible::Description);
            EXPECT_FALSE(description.isEmpty()) << id;
            EXPECT_TRUE(descriptions.insert(description).second) << description.toStdString();
            if (id != merge_notice) {
                EXPECT_FALSE(told->text(QAccessible::Name).isEmpty()) << id;
            }
        }
        EXPECT_EQ(descriptions.size(), 12U);
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

TEST_F(QtMerge, NamesThatAreNotUtf8AreMergedAndRemembered)
{
    ASSERT_EQ(std::rename((folder / "one.pdf").c_str(), (folder / "one\xE4.pdf").c_str()), 0);
    const auto merge = [this](const std::string &expected) {
        user.in_window(title, [expected](QWidget &window) {
            EXPECT_EQ(listed_files(window), (strings{expected, "two.pdf"}));
            type(output(window), "both.pdf");
            click(window, 1);
        });
        do_pdfmerge();
        EXPECT_EQ(pdf_page_count(folder / "both.pdf"), 2) << shown();
    };
    set_str_resource("PDFMERGE_INFILES", "'one\xE4.pdf' two.pdf");
    merge("one\\xe4.pdf");
    EXPECT_EQ(string_setting("PDFMERGE_INFILES", ""), "'one\xE4.pdf' two.pdf");
    EXPECT_EQ(unlink((folder / "both.pdf").c_str()), 0);
    merge("one\\xe4.pdf");
}

TEST_F(QtMerge, AFolderThatGoesWhileTheWindowIsOpenIsTold)
{
    const std::string gone = folder.make_folder("gone");
    set_str_resource("PDFMERGE_DIR", gone.c_str());
    user.in_window(title, [&gone](QWidget &window) {
        EXPECT_EQ(folder_shown(window), gone);
        type(names(window), "one.pdf two.pdf");
        type(output(window), "both.pdf");
        EXPECT_EQ(rmdir(gone.c_str()), 0);
        click(window, 1);
    });
    do_pdfmerge();
    EXPECT_NE(shown().find("Can't change to the folder " + gone + ": No such file or directory.\n"),
              std::string::npos)
        << shown();
    EXPECT_NE(last_ending, ended_well);
    EXPECT_FALSE(file_exists(folder / "both.pdf"));
    EXPECT_EQ(inRun, 0);
}

TEST_F(QtMerge, SettingsThatMayNotBeWrittenKeepNothingFromBeingMerged)
{
    ASSERT_EQ(chmod(prefsPath, 0500), 0);
    user.in_window(title, [](QWidget &window) {
        type(names(window), "one.pdf two.pdf");
        type(output(window), "both.pdf");
        click(window, 1);
    });
    {
        const without_rights nobody;
        do_pdfmerge();
    }
    ASSERT_EQ(chmod(prefsPath, 0700), 0);
    EXPECT_EQ(shown().find(settings_complaint()), 0U) << shown();
    EXPECT_EQ(shown().rfind(settings_complaint()), 0U) << shown();
    EXPECT_EQ(pdf_page_count(folder / "both.pdf"), 2);
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
