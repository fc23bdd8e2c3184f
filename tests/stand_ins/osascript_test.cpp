#include "tests/support/run_program.h"

#include <gtest/gtest.h>

static const std::string osascript = PAPERMILL_BUNDLE "/Resources/bin/osascript";

static program_result run_lines(const std::vector<std::string> &lines)
{
    program_call call = {.arguments = {osascript}};
    for (const std::string &line : lines) {
        call.arguments.push_back("-e");
        call.arguments.push_back(line);
    }
    return run_program(call);
}

// Nothing answers, which is an error of the run, not of the script.
static void expect_no_answer(const program_result &r, const std::string &place)
{
    EXPECT_EQ(r.err, place + ": execution error: papermill is not answering on the session bus. "
                             "(-600)\n");
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.status, 1);
}

static void expect_syntax_error(const std::vector<std::string> &lines, const std::string &place)
{
    const program_result r = run_lines(lines);
    EXPECT_EQ(r.err.rfind(place + ": syntax error: ", 0), 0U) << r.err;
    EXPECT_EQ(r.err.find(" (-2741)\n"), r.err.size() - 9) << r.err;
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.status, 1);
}

TEST(Osascript, SaysThatNobodyAnswersDone)
{
    expect_no_answer(run_lines({"tell application \"papermill\"", "done", "end tell"}), "0:4");
}

TEST(Osascript, ReadsTheOneLineForm)
{
    expect_no_answer(run_lines({"tell application \"papermill\" to done"}), "32:36");
}

TEST(Osascript, ReadsWordsAndBlanksAsAppleScriptDoes)
{
    expect_no_answer(run_lines({"\tTELL  Application\t\"PaperMill\" ", "  Done\t", "END Tell"}),
                     "2:6");
    expect_no_answer(run_lines({"tell app \"papermill\"\ndone\rend"}), "0:4");
    expect_no_answer(run_lines({"", "-- finished", "tell application \"papermill\" # it", "",
                                "done -- now", "end tell"}),
                     "0:4");
    expect_no_answer(run_lines({R"(tell application "pap\ermill" to done)"}), "33:37");
}

TEST(Osascript, SendsNothingForAnEmptyScript)
{
    const program_result r = run_lines({"tell application \"papermill\"", "end tell"});
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(r.status, 0);
}

TEST(Osascript, RefusesWhatItDoesNotUnderstand)
{
    expect_syntax_error({"done"}, "0:4");
    expect_syntax_error({"tell application \"Finder\" to done"}, "17:25");
    expect_syntax_error({"tell application \"papermill\" to launch"}, "32:38");
    expect_syntax_error({"tell application \"papermill\" to"}, "31:31");
    expect_syntax_error({"tell application \"papermill\" done"}, "29:33");
    expect_syntax_error({"tell application \"papermill\"", "done done", "end tell"}, "5:9");
    expect_syntax_error({"tell application \"papermill\"", "done"}, "0:0");
    expect_syntax_error({"tell application \"papermill\"", "done", "end tell now"}, "9:12");
    expect_syntax_error({"tell application \"papermill\"", "done", "end", "done"}, "0:4");
    expect_syntax_error({"tell application \"papermill"}, "17:27");
    expect_syntax_error({"tell application papermill"}, "17:26");
    expect_syntax_error({"tell"}, "4:4");
    expect_syntax_error({"do shell script \"touch x\""}, "0:2");
    expect_syntax_error({"\xff\xfe"}, "0:1");
    expect_syntax_error({std::string(100000, '(')}, "0:1");
}

TEST(Osascript, SendsNothingOfAScriptWithAnError)
{
    expect_syntax_error({"tell application \"papermill\"", "done", "nonsense", "end tell"}, "0:8");
}

TEST(Osascript, TellsWrongUsageApart)
{
    for (const std::vector<std::string> &arguments : {std::vector<std::string>{osascript},
                                                      {osascript, "-e"},
                                                      {osascript, "-x", "done"},
                                                      {osascript, "-e", "done", "more"}}) {
        const program_result r = run_program({arguments});
        EXPECT_EQ(r.status, 2);
        EXPECT_NE(r.err.find("usage: osascript"), std::string::npos);
    }
}
