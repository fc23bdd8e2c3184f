// The end of a run, as it is reported to the desktop program: once, on the bus or by a signal, and
// only by the run that it is the end of.
#include "app/globals.h"
#include "app/startup.h"
#include "engine/dispatch.h"
#include "engine/tool_runner.h"
#include "platform/apple_events.h"
#include "platform/core/session_bus.h"
#include "platform/processes.h"
#include "platform/qt/application.h"
#include "platform/qt/state.h"
#include "scripting/apple_events.h"
#include "scripting/terms.h"
#include "tests/qt/desktop_test.h"
#include "tests/support/eventually.h"
#include "tests/support/fake_script.h"
#include "tests/support/own_bus.h"
#include "tests/support/terminal_user.h"

#include <QApplication>
#include <QTest>

#include <csignal>
#include <cstdlib>

namespace {

int by_bus;
volatile std::sig_atomic_t by_signal;

OSErr count_event(const AppleEvent *event, AppleEvent *reply, std::uint32_t refcon)
{
    ++by_bus;
    return HandleDone(event, reply, refcon);
}

void count_signal(int /*number*/)
{
    by_signal = by_signal + 1;
    inScript = 0;
}

class QtReports : public desktop_test {
protected:
    QtReports()
    {
        // The program connects once, and again when the bus is back at the same address.
        static bool connected = false;
        if (connected) {
            bus().stop();
            EXPECT_TRUE(QTest::qWaitFor([] { return !answers(); }, 60000));
            bus().start();
        } else {
            connect();
        }
        connected = true;
        EXPECT_TRUE(QTest::qWaitFor(answers, 60000));
        by_bus = 0;
        by_signal = 0;
        AEInstallEventHandler(papermill_class, four_chars("done"), count_event, 0, 0);
        platform::signal(SIGUSR1, count_signal);
        wait_for_focus();
    }

    // Converts a small file, after which the report's way has been counted.
    void convert()
    {
        const std::string input = folder.write("a.ps", drawing_ps(80, 60));
        do_ps2pdf1(input.c_str(), (folder / "a.pdf").c_str());
        EXPECT_EQ(last_ending, ended_well);
        EXPECT_EQ(pdf_page_size(folder / "a.pdf"), "80 x 60");
        // A second report would come before the reporting process has ended.
        EXPECT_TRUE(eventually([] { return platform::run_processes().empty(); }));
        QApplication::processEvents();
    }

    static own_bus &bus()
    {
        static own_bus instance;
        return instance;
    }

private:
    static void connect()
    {
        for (const auto &[name, value] : bus().environment())
            setenv(name.c_str(), value->c_str(), 1);
        EXPECT_EQ(platform::take_program_name(), platform::program_name::taken);
        platform::serve_bus();
    }

    // Whether the tools are told where to report.
    static bool answers()
    {
        const char *instance = std::getenv("PAPERMILL_INSTANCE");
        return instance != nullptr && *instance != 0;
    }
};

// Sends a report as another program does, and leaves the answer in a file.
std::string answer_file;
void send_report(const std::string &parameters)
{
    const std::string line = "gdbus call --session --dest org.papermill.Papermill --object-path "
                             "/org/papermill/Papermill --method org.papermill.AppleEvents.Send "
                             "TSRY done \"" +
                             parameters + "\" true > " + answer_file + ".new && mv " + answer_file +
                             ".new " + answer_file + " &";
    EXPECT_EQ(std::system(line.c_str()), 0);
}

} // namespace

TEST_F(QtReports, ComeOverTheBusExactlyOnce)
{
    convert();
    EXPECT_EQ(by_bus, 1);
    EXPECT_EQ(by_signal, 0);
    convert();
    EXPECT_EQ(by_bus, 2);
    EXPECT_EQ(by_signal, 0);
}

TEST_F(QtReports, ComeByASignalExactlyOnceWhereNoBusAnswers)
{
    bus().stop();
    convert();
    EXPECT_EQ(by_bus, 0);
    EXPECT_EQ(by_signal, 1);
    convert();
    EXPECT_EQ(by_bus, 0);
    EXPECT_EQ(by_signal, 2);
}

TEST_F(QtReports, OfACancelledRunDoNotEndTheNextOne)
{
    answer_file = folder / "answer";
    // Neither of the two ends by itself.
    const fake_script script("says 'working\\n'; sleep 4711");
    static std::int32_t first;
    static int step;
    step = 0;
    const std::string input = folder.write("a.ps", drawing_ps(80, 60));
    watch_the_wait([] {
        if (waitWindow == nullptr)
            return false;
        first = run_serial;
        press(Qt::Key_Escape); // the sheet's button
        return true;
    });
    do_ps2pdf1(input.c_str(), (folder / "a.pdf").c_str());
    EXPECT_EQ(last_ending, ended_cancelled);
    EXPECT_TRUE(eventually([&] { return script.calls() == 1; })); // it goes on

    // The first one reports; then somebody does who does not know of runs.
    watch_the_wait([] {
        if (step == 0) {
            EXPECT_EQ(run_serial, first + 1);
            send_report("{'run ': <" + std::to_string(first) + ">}");
            step = 1;
        } else if (step == 1 && file_exists(answer_file)) {
            EXPECT_EQ(read_file(answer_file), "(0, @a{sv} {})\n");
            EXPECT_EQ(inScript, 1); // the wait goes on
            EXPECT_EQ(inRun, 1);
            EXPECT_EQ(by_bus, 0);
            send_report("@a{sv} {}");
            step = 2;
        }
        return step == 2;
    });
    do_ps2pdf1(input.c_str(), (folder / "a.pdf").c_str());
    EXPECT_EQ(step, 2);
    EXPECT_EQ(by_bus, 1);
    EXPECT_EQ(userCancel, 0);
    EXPECT_EQ(by_signal, 0);
}

TEST_F(QtReports, OfTheCurrentRunByItsNumberEndIt)
{
    answer_file = folder / "answer";
    const fake_script script("says 'working\\n'; sleep 4711");
    const std::string input = folder.write("a.ps", drawing_ps(80, 60));
    watch_the_wait([] {
        send_report("{'run ': <" + std::to_string(run_serial) + ">}");
        return true;
    });
    do_ps2pdf1(input.c_str(), (folder / "a.pdf").c_str());
    EXPECT_EQ(by_bus, 1);
    EXPECT_EQ(userCancel, 0);
}
