#include "dialogs/wait_progress.h"

#include "app/globals.h"
#include "console/console_text.h"
#include "engine/tool_runner.h"
#include "platform/events.h"
#include "platform/processes.h"
#include "platform/qt/state.h"
#include "platform/strings.h"
#include "tests/qt/desktop_test.h"
#include "tests/support/fake_script.h"
#include "tests/support/run_program.h"

#include <QAccessible>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QtTest>

#include <csignal>
#include <memory>
#include <set>

namespace {

std::string text_of(const QWidget *label)
{
    return qobject_cast<const QLabel *>(label)->text().toStdString();
}

class WaitSheet : public desktop_test {
protected:
    // Runs gs.script as the conversions do.
    static int run(const std::string &subcommand_and_arguments = "pdf2pdf \"out\" \"in\" \"\"",
                   run_options options = run_options())
    {
        const std::size_t blank = subcommand_and_arguments.find(' ');
        platform::copy_whole(command_line,
                             ("gs.script " + subcommand_and_arguments.substr(0, blank) + " " +
                              std::to_string(appPID) + " \"" + worksheet + "\"" +
                              subcommand_and_arguments.substr(blank))
                                 .c_str());
        if (options.subject == nullptr)
            options.subject = "/home/user/report.ps";
        if (options.output == nullptr)
            options.output = "/home/user/report.pdf";
        return run_and_wait(options);
    }

    static QWidget *part(int id)
    {
        return control_of(waitWindow, id);
    }

    static QPushButton *button()
    {
        return qobject_cast<QPushButton *>(part(wait_button));
    }

    static bool sheet_is_up()
    {
        return waitWindow != nullptr && waitWindow->widget->isVisible();
    }

    static void click()
    {
        QTest::mouseClick(button(), Qt::LeftButton);
    }

    // A script whose tool writes its process number and would run for an hour.
    static constexpr char endless[] = "sleep 3600 & echo $! > \"$run/../pid\"; wait";

    // Whether the tool of the endless script has begun.
    static bool tool_runs()
    {
        const std::string number = read_file(std::string(tmpPath) + "/pid");
        return number.find('\n') != std::string::npos && kill(std::stoi(number), 0) == 0;
    }

    std::string pdf_of_pages(int pages) const
    {
        const std::string path = folder / "many.pdf";
        run_program(
            {.arguments = {"gs", "-q", "-dNOPAUSE", "-dBATCH", "-sDEVICE=pdfwrite",
                           "-sOutputFile=" + path, "-c",
                           "/Helvetica findfont 24 scalefont setfont 1 1 " + std::to_string(pages) +
                               " {100 100 moveto 10 string cvs show showpage} for"}});
        return path;
    }
};

} // namespace

// ---- the button and the keys ----

TEST_F(WaitSheet, TheButtonEndsTheWaitAtOnceAndLeavesTheToolRunning)
{
    const fake_script script(endless);
    watch_the_wait([&] {
        if (!tool_runs())
            return false;
        EXPECT_TRUE(sheet_is_up());
        click();
        EXPECT_EQ(inScript, 0);
        EXPECT_EQ(userCancel, 1);
        return true;
    });
    EXPECT_EQ(run(), 0);
    EXPECT_FALSE(sheet_is_up());
    EXPECT_TRUE(tool_runs());
    EXPECT_EQ(shown(), "\nUser cancelled processing.\n");
    EXPECT_EQ(last_ending, ended_cancelled);
    EXPECT_FALSE(file_exists(worksheet));
}

TEST_F(WaitSheet, SpaceReturnAndEnterPressTheButtonAndTabStays)
{
    const fake_script script(endless);
    for (const Qt::Key key : {Qt::Key_Space, Qt::Key_Return, Qt::Key_Enter}) {
        watch_the_wait([key] {
            if (!sheet_is_up() || QApplication::focusWidget() != button())
                return false;
            for (const Qt::Key harmless : {Qt::Key_Tab, Qt::Key_Backtab}) {
                press(harmless);
                EXPECT_EQ(QApplication::focusWidget(), button());
                EXPECT_EQ(inScript, 1);
            }
            press(key);
            return true;
        });
        EXPECT_EQ(run(), 0) << key;
        EXPECT_EQ(userCancel, 1);
    }
}

TEST_F(WaitSheet, AnotherKeyEndsTheToolToo)
{
    const fake_script script(endless);
    run_options options;
    options.unix_tool = "sleep";
    watch_the_wait([] {
        if (!tool_runs() || QApplication::focusWidget() != button())
            return false;
        press(Qt::Key_Escape);
        return true;
    });
    EXPECT_EQ(run("pdf2pdf \"out\" \"in\" \"\"", options), 0);
    EXPECT_TRUE(QTest::qWaitFor([] { return !tool_runs(); }));
}

TEST_F(WaitSheet, TheSheetIsMadeOnce)
{
    const fake_script script;
    run();
    WindowRef first = waitWindow;
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(GetWRefCon(first), 145);
    run();
    EXPECT_EQ(waitWindow, first);
    EXPECT_EQ(first->target.handlers.size(), 1U);
    EXPECT_FALSE(sheet_is_up());
}

TEST_F(WaitSheet, AScriptThatReportsEndsTheWait)
{
    const fake_script script;
    EXPECT_EQ(run(), 1);
    EXPECT_EQ(userCancel, 0);
    EXPECT_NE(shown().find("tool output"), std::string::npos) << shown();
}

// ---- what it shows ----

TEST_F(WaitSheet, ItTellsWhatIsConverted)
{
    const fake_script script(endless);
    watch_the_wait([] {
        if (!sheet_is_up())
            return false;
        EXPECT_EQ(text_of(part(wait_doing)), "Converting:");
        EXPECT_EQ(text_of(part(wait_input)), "/home/user/report.ps");
        EXPECT_EQ(text_of(part(wait_output)), "/home/user/report.pdf");
        EXPECT_EQ(text_of(part(wait_elapsed)), "Elapsed time: 0:00");
        EXPECT_EQ(text_of(part(wait_last_line)), "The tool has said nothing yet.");
        EXPECT_FALSE(part(wait_pages)->isVisible());
        EXPECT_FALSE(part(wait_notice)->isVisible());
        EXPECT_TRUE(part(wait_hint)->isVisible());
        click();
        return true;
    });
    run();
}

TEST_F(WaitSheet, WhatHasNoOutputNamesNone)
{
    const fake_script script(endless);
    run_options options;
    options.doing = "Running:";
    options.subject = "ls -l";
    for (const std::string &output : {std::string(), std::string(tmpPath) + "/tmp1.pnm"}) {
        options.output = output.c_str(); // the temporary folder's files are nobody's output
        watch_the_wait([] {
            if (!sheet_is_up())
                return false;
            EXPECT_EQ(text_of(part(wait_doing)), "Running:");
            EXPECT_EQ(text_of(part(wait_input)), "ls -l");
            EXPECT_FALSE(part(wait_output)->isVisible());
            EXPECT_FALSE(part(wait_output_label)->isVisible());
            click();
            return true;
        });
        run("exec ls -l", options);
    }
}

TEST_F(WaitSheet, APreparedCopysRunNamesTheUsersFile)
{
    const fake_script script(endless);
    set_prepared_from("/home/user/figure.eps");
    watch_the_wait([] {
        if (!sheet_is_up())
            return false;
        EXPECT_EQ(text_of(part(wait_input)), "/home/user/figure.eps");
        click();
        return true;
    });
    run();
    set_prepared_from(nullptr);
}

TEST_F(WaitSheet, LongNamesAreCutInTheMiddleAndToldWhole)
{
    const fake_script script(endless);
    const std::string name = "/home/user/" + std::string(300, 'x') + "/the end.ps";
    run_options options;
    options.subject = name.c_str();
    watch_the_wait([&] {
        if (!sheet_is_up())
            return false;
        const auto *label = qobject_cast<QLabel *>(part(wait_input));
        const std::string name_shown = text_of(label);
        EXPECT_NE(name_shown.find("…"), std::string::npos) << name_shown;
        EXPECT_EQ(name_shown.find("/home/user/"), 0U) << name_shown;
        EXPECT_NE(name_shown.find("/the end.ps"), std::string::npos) << name_shown;
        EXPECT_LE(label->fontMetrics().horizontalAdvance(label->text()), label->width());
        EXPECT_EQ(label->accessibleName().toStdString(), name);
        EXPECT_NE(label->toolTip().toStdString().find(name), std::string::npos);
        EXPECT_LE(waitWindow->widget->width(), theConsole->widget->width());
        EXPECT_EQ(text_of(part(wait_output)), "/home/user/report.pdf");
        EXPECT_EQ(part(wait_output)->toolTip(), QString());
        click();
        return true;
    });
    run("pdf2pdf \"out\" \"in\" \"\"", options);
}

TEST_F(WaitSheet, ANameIsNeverTakenForMarkup)
{
    const fake_script script(endless);
    run_options options;
    options.subject = "<b>bold</b>\n\xFC &amp; \xE2\x80\xAE.ps";
    watch_the_wait([] {
        if (!sheet_is_up())
            return false;
        EXPECT_EQ(text_of(part(wait_input)), "<b>bold</b> ü &amp; .ps");
        EXPECT_EQ(qobject_cast<QLabel *>(part(wait_input))->textFormat(), Qt::PlainText);
        click();
        return true;
    });
    run("pdf2pdf \"out\" \"in\" \"\"", options);
}

TEST_F(WaitSheet, PagesAndTheLastLineAppearWhileTheToolPrints)
{
    const fake_script script("says 'Processing pages 1 through 20.\\nPage 1\\nPage 2\\nPage 3\\n"
                             "Loading a font\\n'; sleep 3600");
    watch_the_wait([] {
        if (!sheet_is_up() || text_of(part(wait_last_line)) != "Loading a font")
            return false;
        EXPECT_TRUE(part(wait_pages)->isVisible());
        EXPECT_EQ(text_of(part(wait_pages)), "Page 3 of 20");
        const auto *bar = qobject_cast<QProgressBar *>(part(wait_bar));
        EXPECT_EQ(bar->maximum(), 20);
        EXPECT_EQ(bar->value(), 2);
        click();
        return true;
    });
    run();
}

TEST_F(WaitSheet, TheNextRunBeginsWithoutTheLastOnesPages)
{
    const fake_script script("says 'Processing pages 1 through 20.\\nPage 1\\nPage 2\\n'; "
                             "sleep 3600");
    watch_the_wait([] {
        if (!sheet_is_up() || text_of(part(wait_last_line)) != "Page 2")
            return false;
        click();
        return true;
    });
    run();
    script.does(endless);
    watch_the_wait([] {
        if (!sheet_is_up())
            return false;
        EXPECT_EQ(text_of(part(wait_last_line)), "The tool has said nothing yet.");
        EXPECT_FALSE(part(wait_pages)->isVisible());
        EXPECT_EQ(qobject_cast<QProgressBar *>(part(wait_bar))->maximum(), 0);
        click();
        return true;
    });
    run();
}

TEST_F(WaitSheet, AMergeTellsTheFile)
{
    const fake_script script("says 'papermill-in-2:\\n'; sleep 3600");
    watch_the_wait([&] {
        if (!sheet_is_up() || !part(wait_pages)->isVisible())
            return false;
        if (text_of(part(wait_pages)) == "File 2") {
            std::FILE *file = std::fopen(worksheet, "ae");
            std::fputs("Processing pages 1 through 5.\nPage 1\n", file);
            std::fclose(file);
            return false;
        }
        EXPECT_EQ(text_of(part(wait_pages)), "File 2: page 1 of 5");
        click();
        return true;
    });
    run();
}

TEST_F(WaitSheet, WhatToolsPrintForTheApplicationAloneIsFollowed)
{
    const fake_script script("echo 'Page 1' > \"$run/messages\"; sleep 3600");
    run_options options;
    options.copy_output = false;
    watch_the_wait([] {
        if (!sheet_is_up() || text_of(part(wait_last_line)) != "Page 1")
            return false;
        click();
        return true;
    });
    run("ps2ascii \"out\" \"in\"", options);
}

TEST_F(WaitSheet, ARealConversionTellsItsPagesAsItGoes)
{
    const std::string input = pdf_of_pages(1500);
    const std::string output = folder / "out.pdf";
    run_options options;
    options.subject = input.c_str();
    std::set<int> values;
    std::set<std::string> lines;
    watch_the_wait([&] {
        if (!sheet_is_up())
            return true; // the wait is over
        if (qobject_cast<QProgressBar *>(part(wait_bar))->maximum() == 1500)
            values.insert(qobject_cast<QProgressBar *>(part(wait_bar))->value());
        if (part(wait_pages)->isVisible())
            lines.insert(text_of(part(wait_pages)));
        return false;
    });
    EXPECT_EQ(run("pdf2pdf \"" + output + "\" \"" + input + "\" \"\"", options), 1);
    EXPECT_EQ(last_ending, ended_well) << shown();
    EXPECT_GE(values.size(), 3U);
    ASSERT_FALSE(lines.empty());
    for (const std::string &line : lines)
        EXPECT_TRUE(line.rfind("Page ", 0) == 0 && line.find(" of 1500") != std::string::npos)
            << line;
}

TEST_F(WaitSheet, TheElapsedTimeGoesOn)
{
    const fake_script script(endless);
    watch_the_wait([] {
        if (!sheet_is_up() || text_of(part(wait_elapsed)) != "Elapsed time: 0:01")
            return false;
        click();
        return true;
    });
    EXPECT_EQ(run(), 0);
}

TEST_F(WaitSheet, AScriptThatDiesWithoutAReportIsTold)
{
    platform::on_processes_gone(tell_script_died);
    const fake_script script("exit 0");
    watch_the_wait([] {
        if (!sheet_is_up() || !part(wait_notice)->isVisible())
            return false;
        EXPECT_EQ(inScript, 1); // only the user ends the wait
        EXPECT_FALSE(part(wait_hint)->isVisible());
        EXPECT_FALSE(part(wait_bar)->isEnabled());
        EXPECT_EQ(qobject_cast<QProgressBar *>(part(wait_bar))->maximum(), 1);
        click();
        return true;
    });
    EXPECT_EQ(run(), 0);

    script.does(endless);
    watch_the_wait([] {
        if (!sheet_is_up())
            return false;
        EXPECT_FALSE(part(wait_notice)->isVisible());
        EXPECT_TRUE(part(wait_hint)->isVisible());
        EXPECT_TRUE(part(wait_bar)->isEnabled());
        click();
        return true;
    });
    EXPECT_EQ(run(), 0);
}

// ---- for everybody ----

TEST_F(WaitSheet, EveryControlHasANameAndADescription)
{
    const fake_script script(endless);
    watch_the_wait([] {
        if (!sheet_is_up())
            return false;
        for (int id = 1; id <= wait_hint; ++id) {
            if (part(id) == nullptr || !part(id)->isVisible())
                continue;
            QAccessibleInterface *face = QAccessible::queryAccessibleInterface(part(id));
            EXPECT_NE(face->text(QAccessible::Name), QString()) << id;
            // Captions stand for what they are the captions of.
            const auto *label = qobject_cast<QLabel *>(part(id));
            const bool caption = label != nullptr && label->buddy() != nullptr;
            EXPECT_TRUE(caption || !face->text(QAccessible::Description).isEmpty()) << id;
        }
        click();
        return true;
    });
    run();
}

TEST_F(WaitSheet, ItHasRoomForItsControlsInASmallWindowAndInLargeType)
{
    const fake_script script(endless);
    const QFont before = QApplication::font();
    // Whether each control has the room that it needs, within the sheet, and that in the window.
    const auto has_room_for_all = [] {
        const QWidget *sheet = waitWindow->widget;
        bool room = theConsole->widget->rect().contains(sheet->geometry());
        for (int id = 1; id <= wait_hint; ++id) {
            QWidget *each = part(id);
            if (each == nullptr || !each->isVisible())
                continue;
            const QRect place(each->mapTo(sheet, QPoint()), each->size());
            room = room && sheet->rect().contains(place) && each->height() > 0 &&
                   each->width() >= each->minimumSizeHint().width();
        }
        return room;
    };
    for (const int points : {10, 24}) {
        QFont font = before;
        font.setPointSize(points);
        QApplication::setFont(font);
        QCoreApplication::processEvents(); // the menu bar has its new height
        theConsole->widget->resize(300, 0);
        const QSize size_before = theConsole->widget->size();
        // A larger font takes a few turns of the loop to come to all of them.
        watch_the_wait([&] {
            if (!sheet_is_up() || !has_room_for_all())
                return false;
            click();
            return true;
        });
        run();
        EXPECT_EQ(theConsole->widget->size(), size_before) << points;
    }
    QApplication::setFont(before);
}

TEST_F(WaitSheet, ItStandsAboveTheTextWhateverSizeTheWindowGets)
{
    const fake_script script(endless);
    watch_the_wait([] {
        if (!sheet_is_up())
            return false;
        for (const QSize size : {QSize(1000, 700), QSize(600, 400)}) {
            theConsole->widget->resize(size);
            QCoreApplication::processEvents();
            const QRect place = waitWindow->widget->geometry();
            const QRect view = theConsole->content->geometry();
            EXPECT_EQ(place.topLeft(), below_menus(1, 1).topLeft());
            EXPECT_EQ(place.width(), size.width());
            EXPECT_EQ(view.top(), place.bottom() + 1);
            EXPECT_EQ(view.bottom() + 1, size.height());
        }
        click();
        return true;
    });
    run();
    EXPECT_EQ(theConsole->widget->size(), QSize(600, 400)); // the user's own
    QCoreApplication::processEvents();
    EXPECT_EQ(theConsole->content->geometry(), below_menus(600, 400));
}

TEST(ClockText, HoursAppearWhenThereAreSome)
{
    EXPECT_EQ(clock_text(0), "0:00");
    EXPECT_EQ(clock_text(59), "0:59");
    EXPECT_EQ(clock_text(60), "1:00");
    EXPECT_EQ(clock_text(3599), "59:59");
    EXPECT_EQ(clock_text(3600), "1:00:00");
    EXPECT_EQ(clock_text(360000 + 62), "100:01:02");
}
