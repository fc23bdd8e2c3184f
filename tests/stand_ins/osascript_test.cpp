// osascript as a program: its call, what it prints, and how it finds the program that it asks.
#include "tests/support/service_test.h"

#include "tests/support/eventually.h"

namespace {

class Osascript : public service_test {
protected:
    // The message on standard error and nothing else.
    static void expect_failure(const program_result &r, const std::string &message)
    {
        EXPECT_EQ(r.err, message + "\n");
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(r.status, 1);
    }

    static void expect_result(const program_result &r, const std::string &out)
    {
        EXPECT_EQ(r.out, out);
        EXPECT_EQ(r.err, "");
        EXPECT_EQ(r.status, 0);
    }

    static void expect_wrong_usage(const program_result &r)
    {
        EXPECT_NE(r.err, "");
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(r.status, 2);
    }
};

const std::string silence =
    "execution error: papermill is not answering on the session bus. (-600)";

} // namespace

TEST_F(Osascript, PrintsTheLastResult)
{
    expect_result(osascript({"1 + 1"}), "2\n");
    expect_result(osascript({"{1, \"a b\", POSIX file \"/x\"}"}), "1, a b, file /x\n");
    expect_result(osascript({"set x to 5", "return \"x: \" & x"}), "x: 5\n");
    expect_result(osascript({""}), "");
    expect_result(call_osascript({"-ss", "-e", "{1, \"a \\\"b\", POSIX file \"/x\"}"}),
                  "{1, \"a \\\"b\", POSIX file \"/x\"}\n");
    expect_result(call_osascript({"-s", "s", "-s", "h", "-e", "\"a\""}), "a\n");
}

TEST_F(Osascript, PrintsErrorsWhereItIsTold)
{
    expect_failure(osascript({"error \"x\""}), "0:9: execution error: x (-2700)");
    const program_result r = call_osascript({"-so", "-e", "error \"x\""});
    EXPECT_EQ(r.out, "0:9: execution error: x (-2700)\n");
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(r.status, 1);
    expect_failure(call_osascript({"-s", "oe", "-e", "nonsense"}),
                   "0:8: syntax error: \"nonsense\" is not understood here. (-2741)");
}

TEST_F(Osascript, LogsToStandardError)
{
    const program_result r = osascript({"log \"here\"", "log {1, 2}"});
    EXPECT_EQ(r.err, "here\n1, 2\n");
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.status, 0);
}

TEST_F(Osascript, ReadsTheScriptFromAFileOrItsInput)
{
    user.write("script", "#!/usr/bin/osascript\r\non run argv\r\nreturn count of argv\r\nend run");
    expect_result(call_osascript({"script"}), "0\n");
    expect_result(call_osascript({"script", "-e", "b"}), "2\n");
    expect_result(call_osascript({"--", "script", "a"}), "1\n");
    expect_result(call_osascript({}, "1 + 2"), "3\n");
    expect_result(call_osascript({"-"}, "1 + 2\n"), "3\n");
    expect_result(call_osascript({"-", "a b"}, "on run argv\nitem 1 of argv\nend run"), "a b\n");
    expect_result(call_osascript({"-e", "on run argv", "-e", "argv", "-e", "end run", "a", "b"}),
                  "a, b\n");
}

TEST_F(Osascript, RefusesFilesThatAreNoScripts)
{
    expect_failure(call_osascript({"none"}), "osascript: none: No such file or directory");
    expect_failure(call_osascript({"."}), "osascript: .: Is a directory");
    user.write("compiled", "FasdUAS 1.101.10");
    expect_failure(call_osascript({"compiled"}),
                   "osascript: compiled: this is a compiled script; save it as text.");
    expect_failure(call_osascript({"/dev/zero"}), "osascript: /dev/zero: the script is too long.");
}

TEST_F(Osascript, TellsWrongUsageApart)
{
    expect_wrong_usage(call_osascript({"-e"}));
    expect_wrong_usage(call_osascript({"-x", "done"}));
    expect_wrong_usage(call_osascript({"-i"}));
    expect_wrong_usage(call_osascript({"-s", "x", "-e", "1"}));
    expect_wrong_usage(call_osascript({"-l", "JavaScript", "-e", "1"}));
    expect_result(call_osascript({"-l", "applescript", "-e", "1"}), "1\n");
}

TEST_F(Osascript, SaysThatItsOutputCannotBeWritten)
{
    const program_result r =
        user.run({"sh", "-c", PAPERMILL_BUNDLE "/Resources/bin/osascript -e 1 > /dev/full"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "osascript: the result can't be written: No space left on device.\n");
}

TEST_F(Osascript, SaysThatNobodyAnswers)
{
    const strings lines = {"tell application \"papermill\"", "done", "end tell"};
    const strings other = {"tell application \"papermill\" to exec \"true\""};
    expect_failure(osascript(lines), "29:33: " + silence);
    expect_failure(osascript(other), "32:43: " + silence);
    bus.stop();
    expect_failure(osascript(lines), "29:33: " + silence);
    expect_failure(osascript(other), "32:43: " + silence);
    for (const char *variable : {"DBUS_SESSION_BUS_ADDRESS", "XDG_RUNTIME_DIR"})
        user.environment[variable] = std::nullopt;
    expect_failure(osascript(lines), "29:33: " + silence);
}

TEST_F(Osascript, SendsNothingOfAScriptWithAnError)
{
    start_service();
    const program_result r = osascript({"tell application \"papermill\"",
                                        "exec \"touch made\" in "
                                        "POSIX file \".\"",
                                        "nonsense", "end tell"});
    EXPECT_EQ(r.status, 1);
    EXPECT_FALSE(user.has("made"));
}

TEST_F(Osascript, ConvertsAndWaits)
{
    start_service();
    user.write("a b.ps", drawing_ps(80, 60));
    user.write("\xff.ps", drawing_ps(70, 50));
    expect_result(
        osascript({"tell application \"papermill\"",
                   "convert POSIX file \"a b.ps\" to POSIX file \"$c.pdf\"",
                   "convert POSIX file \"\xff.ps\" to POSIX file \"d\xfe.pdf\"", "end tell"}),
        "");
    EXPECT_EQ(pdf_page_size(user.path("$c.pdf")), "80 x 60");
    EXPECT_EQ(pdf_page_size(user.path("d\xfe.pdf")), "70 x 50");
}

TEST_F(Osascript, PrintsTheRepliesOfTheProgram)
{
    start_service();
    expect_result(osascript({"tell application \"papermill\" to exec \"true\""}), "0\n");
    expect_result(
        osascript({"tell application \"papermill\"", "set a to exec \"sh -c 'exit 3'\"",
                   "set b to exec \"pwd > here\" in POSIX file \".\"", "{a, b}", "end tell"}),
        "3, 0\n");
    EXPECT_EQ(user.read("here"), user.work + "\n");
}

TEST_F(Osascript, TellsTheErrorsOfTheProgram)
{
    start_service();
    const std::string says = ": execution error: papermill got an error: ";
    const auto fails = [&](const std::string &request, int size, const std::string &message) {
        expect_failure(osascript({"tell application \"papermill\" to " + request}),
                       "32:" + std::to_string(32 + size) + says + message);
    };
    fails("print \"a\"", 9, "The request was refused or is not understood. (-1708)");
    fails("convert \"a\"", 11, "File not found. (-43)");
    fails("exec", 4, "A parameter is missing. (-1701)");
    fails("«event TSRYnone»", 16, "The request was refused or is not understood. (-1708)");
}

TEST_F(Osascript, IsToldThatTheProgramIsBusy)
{
    start_service();
    running_program first(user.call({"send", "exec", "sleep 100"}));
    ASSERT_TRUE(wait_for("sleep"));
    expect_failure(osascript({"tell application \"papermill\" to exec \"true\""}),
                   "32:43: execution error: papermill got an error: Papermill is busy with a "
                   "previous request. (-1708)");
    expect_failure(osascript({"tell application \"papermill\" to open \"a\""}),
                   "32:40: execution error: papermill got an error: Papermill is busy with another "
                   "request. (-1708)");
}

TEST_F(Osascript, WaitsNoLongerThanItIsTold)
{
    start_service();
    expect_failure(
        osascript({"with timeout of 1 second",
                   "tell application \"papermill\" to exec \"sleep 100\"", "end timeout"}),
        "57:73: execution error: papermill got an error: There was no answer in time. "
        "(-1712)");
    ASSERT_TRUE(wait_for("sleep"));
}

TEST_F(Osascript, GoesOnWithoutAnAnswerIfItIsTold)
{
    start_service();
    expect_result(
        osascript({"ignoring application responses",
                   "tell application \"papermill\" to exec \"sleep 100\"", "end ignoring"}),
        "");
    ASSERT_TRUE(wait_for("sleep"));
}

TEST_F(Osascript, AsksTheProgramThatTheEnvironmentNames)
{
    start_service();
    const strings exec = {"tell application \"papermill\" to exec \"true\""};
    const strings done = {"tell application \"papermill\" to done"};
    user.environment["PAPERMILL_INSTANCE"] =
        "org.papermill.Papermill.pid" + std::to_string(service->pid());
    expect_result(osascript(exec), "0\n");
    expect_result(osascript(done), "");
    user.environment["PAPERMILL_INSTANCE"] = "org.papermill.Papermill.pid1";
    expect_failure(osascript(exec), "32:43: " + silence);
    expect_failure(osascript(done), "32:36: " + silence);
}

TEST_F(Osascript, AnEmptyInstanceMeansThatNobodyHearsOfTheRunsEnd)
{
    start_service();
    user.environment["PAPERMILL_INSTANCE"] = "";
    expect_result(osascript({"tell application \"papermill\" to exec \"true\""}), "0\n");
    expect_failure(osascript({"tell application \"papermill\" to done"}), "32:36: " + silence);
}

// A report goes to a program that is busy with the very run: nobody waits for its answer. One that
// comes too early makes the run one without a status, which shows that it was heard.
TEST_F(Osascript, ReportsTheRunThatTheEnvironmentNames)
{
    start_service();
    int serial = 0;
    for (const bool right : {false, true}) {
        ++serial;
        running_program first(
            user.call({"send", "exec", "--in", ".",
                       "sh -c 'touch begun; until test -e go; do sleep 0.01; done; rm begun go'"}));
        ASSERT_TRUE(eventually([&] { return user.has("begun"); }));
        user.environment["PAPERMILL_INSTANCE"] = "org.papermill.Papermill";
        user.environment["PAPERMILL_RUN"] = std::to_string(right ? serial : serial - 1);
        expect_result(osascript({"tell application \"papermill\" to done"}), "");
        user.write("go", "");
        EXPECT_EQ(first.finish().status, right ? 1 : 0);
    }
}
