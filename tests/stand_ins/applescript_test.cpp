// The script language: what is understood, what is refused, what is asked of the program.
#include "stand_ins/applescript_interpreter.h"

#include "platform/core/atomic_file.h"
#include "tests/support/temporary_folder.h"

#include <gtest/gtest.h>

#include <deque>
#include <unistd.h>

using namespace applescript;

namespace {

using strings = std::vector<std::string>;

std::string four(std::uint32_t code)
{
    std::string result;
    for (int shift = 24; shift >= 0; shift -= 8)
        result += static_cast<char>(code >> shift);
    return result;
}

std::string readable(const request_value &v)
{
    switch (v.kind) {
    case request_value::none:
        return "nothing";
    case request_value::number:
        return std::to_string(v.number_value);
    case request_value::text:
        return "'" + v.bytes + "'";
    case request_value::list:
        break;
    }
    std::string result = "[";
    for (const request_value &item : v.items)
        result += (&item == v.items.data() ? "" : " ") + readable(item);
    return result + "]";
}

std::string readable(const request &asked)
{
    std::string result = four(asked.event_class) + " " + four(asked.event_id);
    for (const auto &[keyword, value] : asked.parameters)
        result += " " + four(keyword) + "=" + readable(value);
    return result;
}

request_reply status(std::int32_t number)
{
    return {noErr, "", {request_value::number, "", number, {}}};
}

request_reply refused(OSErr error)
{
    return {error, scripting_error_text(error), {}};
}

// What a script did with a program that answers with these replies, and with nothing after them.
struct story {
    explicit story(const std::string &text, const strings &arguments = {},
                   std::deque<request_reply> replies = {})
    {
        script understood;
        std::optional<value> result;
        problem error = parse_script(text, &understood);
        if (error.number == 0)
            error = run_script(understood, arguments,
                               {[&](const request &made, AESendMode mode, std::int32_t ticks) {
                                    asked.push_back(readable(made));
                                    modes.push_back(mode);
                                    times.push_back(ticks);
                                    if (replies.empty())
                                        return request_reply();
                                    const request_reply reply = replies.front();
                                    replies.pop_front();
                                    return reply;
                                },
                                [&](const std::string &line) { logged.push_back(line); }},
                               &result);
        if (error.number != 0)
            failure = describe(error, understood.text);
        if (result && error.number == 0)
            shows = source(*result);
    }

    strings asked, logged;
    std::vector<AESendMode> modes;
    std::vector<std::int32_t> times;
    std::string shows;   // the result as it is written in a script
    std::string failure; // the message
};

// In a tell block of its own.
std::string told(const std::string &lines)
{
    return "tell application \"papermill\"\n" + lines + "\nend tell";
}

std::string result_of(const std::string &text, const strings &arguments = {})
{
    const story s(text, arguments);
    return s.failure.empty() ? s.shows : s.failure;
}

strings asked_by(const std::string &text, const std::deque<request_reply> &replies = {})
{
    const story s(text, {}, replies);
    EXPECT_EQ(s.failure, "") << text;
    return s.asked;
}

std::string here(const std::string &name)
{
    return platform::absolute_path(name);
}

// The message without its text: "FROM:TO: KIND (NUMBER)".
std::string failure_of(const std::string &text)
{
    const story s(text);
    EXPECT_EQ(s.asked, strings()) << "sent by a script with an error: " << text;
    const std::size_t kind = s.failure.find(" error: ");
    if (kind == std::string::npos)
        return "none";
    return s.failure.substr(0, kind) + s.failure.substr(s.failure.rfind(" ("));
}

} // namespace

TEST(AppleScript, AsksForTheRequestsByTheirWords)
{
    EXPECT_EQ(asked_by(told("run")), strings{"aevt oapp"});
    EXPECT_EQ(asked_by(told("open POSIX file \"/a\"")), strings{"aevt odoc ----=['/a']"});
    EXPECT_EQ(asked_by(told("print POSIX file \"/a\"")), strings{"aevt pdoc ----=['/a']"});
    EXPECT_EQ(asked_by(told("quit")), strings{"aevt quit"});
    EXPECT_EQ(asked_by(told("activate")), strings{"misc actv"});
    EXPECT_EQ(asked_by(told("done")), strings{"TSRY done"});
    EXPECT_EQ(asked_by(told("exec \"gs -h\"")), strings{"TSRY exec ----='gs -h'"});
    EXPECT_EQ(asked_by(told("exec \"ls\" in POSIX file \"/tmp\"")),
              strings{"TSRY exec ----='ls' dest='/tmp'"});
    EXPECT_EQ(asked_by(told("pdf2dsc POSIX file \"/a.pdf\" to POSIX file \"/a.dsc\"")),
              strings{"TSRY dscs ----='/a.pdf' dest='/a.dsc'"});
    EXPECT_EQ(asked_by(told("ps2eps POSIX file \"/a\"")), strings{"TSRY epsf ----=['/a']"});
    EXPECT_EQ(asked_by(told("eps2tiff POSIX file \"/a\"")), strings{"TSRY etif ----=['/a']"});
    EXPECT_EQ(asked_by(told("eps2pict POSIX file \"/a\"")), strings{"TSRY epic ----=['/a']"});
    EXPECT_EQ(asked_by(told("pdf2ps POSIX file \"/a\"")), strings{"TSRY pdfp ----=['/a']"});
    EXPECT_EQ(asked_by(told("convert POSIX file \"/a\" to POSIX file \"/b\"")),
              strings{"TSRY cdoc ----=['/a' '/b']"});
}

TEST(AppleScript, NamesTheApplicationInSeveralWays)
{
    for (const char *application :
         {"application \"papermill\"", "app \"Papermill\"", "APPLICATION \"PAPERMILL\"",
          "application id \"org.papermill.Papermill\"", "the application \"papermill\""}) {
        const std::string name = application;
        EXPECT_EQ(asked_by("tell " + name + " to done"), strings{"TSRY done"}) << name;
        EXPECT_EQ(asked_by("tell " + name + "\ndone\nend tell"), strings{"TSRY done"}) << name;
        EXPECT_EQ(asked_by("tell " + name + "\ndone\nend"), strings{"TSRY done"}) << name;
    }
    EXPECT_EQ(asked_by(told(told("done"))), strings{"TSRY done"});
    EXPECT_EQ(asked_by("tell app \"papermill\" to tell app \"papermill\" to done"),
              strings{"TSRY done"});
    EXPECT_EQ(asked_by("quit application \"papermill\"\nactivate app \"papermill\""),
              (strings{"aevt quit", "misc actv"}));
}

TEST(AppleScript, TakesListsOfFilesAndPathsAsText)
{
    EXPECT_EQ(asked_by(told("open {POSIX file \"/a\", \"/b\", POSIX file \"/c\"}")),
              strings{"aevt odoc ----=['/a' '/b' '/c']"});
    EXPECT_EQ(asked_by(told("open {}")), strings{"aevt odoc ----=[]"});
    EXPECT_EQ(asked_by(told("convert {POSIX file \"/a\"} to \"/b\"")),
              strings{"TSRY cdoc ----=['/a' '/b']"});
    EXPECT_EQ(asked_by(told("open POSIX file \"a b\"")),
              strings{"aevt odoc ----=['" + here("a b") + "']"});
    EXPECT_EQ(asked_by(told("open \"\xff\x01\"")),
              strings{"aevt odoc ----=['" + here("\xff\x01") + "']"});
    EXPECT_EQ(asked_by(told("exec 5")), strings{"TSRY exec ----='5'"});
}

TEST(AppleScript, LeavesMissingParametersToTheProgram)
{
    EXPECT_EQ(asked_by(told("convert \"/a\"")), strings{"TSRY cdoc ----=['/a']"});
    EXPECT_EQ(asked_by(told("convert to \"/b\"")), strings{"TSRY cdoc ----=['/b']"});
    EXPECT_EQ(asked_by(told("open")), strings{"aevt odoc"});
    EXPECT_EQ(asked_by(told("exec in \"/tmp\"")), strings{"TSRY exec dest='/tmp'"});
}

TEST(AppleScript, TakesRawEvents)
{
    EXPECT_EQ(asked_by(told("«event TSRYexec» \"true\" given «class dest»:(POSIX file \"/tmp\")")),
              strings{"TSRY exec ----='true' dest='/tmp'"});
    EXPECT_EQ(asked_by(told("«event TSRYdone»")), strings{"TSRY done"});
    EXPECT_EQ(asked_by(told("«event abcdefgh» given «class aaaa»:{1, \"x\"}, «class bbbb»:-2")),
              strings{"abcd efgh aaaa=[1 'x'] bbbb=-2"});
    EXPECT_EQ(asked_by(told("done given «class dest»:\"/x\"")), strings{"TSRY done dest='/x'"});
    EXPECT_EQ(failure_of(told("«event TSRYexe»")), "29:44: syntax (-2741)");
    EXPECT_EQ(failure_of(told("«class TSRYexec»")), "29:45: syntax (-2741)");
    EXPECT_EQ(failure_of(told("«event TSRYexec")), "29:30: syntax (-2741)");
    EXPECT_EQ(failure_of("«event TSRYexec»"), "0:16: syntax (-2741)");
}

TEST(AppleScript, GivesTheRepliesResult)
{
    const story number(told("exec \"true\""), {}, {status(0)});
    EXPECT_EQ(number.shows, "0");
    const story none(told("open \"/a\""));
    EXPECT_EQ(none.shows, "");
    EXPECT_EQ(none.failure, "");
    const story last(told("exec \"true\"\nopen \"/a\""), {}, {status(0)});
    EXPECT_EQ(last.shows, "");
    const story text(told("exec \"true\""), {}, {{noErr, "", {request_value::text, "so", 0, {}}}});
    EXPECT_EQ(text.shows, "\"so\"");
    const story used(told("set s to exec \"false\"\nif s is not 0 then return \"failed: \" & s"),
                     {}, {status(1)});
    EXPECT_EQ(used.shows, "\"failed: 1\"");
    const story kept(told("exec \"false\"\nlog the result\nset x to (exec \"a\") + (exec \"b\")"),
                     {}, {status(3), status(4), status(5)});
    EXPECT_EQ(kept.logged, strings{"3"});
    EXPECT_EQ(kept.shows, "9");
    EXPECT_EQ(story(told("set x to open \"/a\"")).failure,
              "38:47: execution error: No result was returned from some part of this expression. "
              "(-2763)");
}

TEST(AppleScript, TellsTheProgramsErrors)
{
    EXPECT_EQ(story(told("exec \"a\""), {}, {refused(errAEEventNotHandled)}).failure,
              "29:37: execution error: papermill got an error: The request was refused or is not "
              "understood. (-1708)");
    EXPECT_EQ(story(told("exec \"a\""), {},
                    {{errAEEventNotHandled, "Papermill is busy with a previous request.", {}}})
                  .failure,
              "29:37: execution error: papermill got an error: Papermill is busy with a previous "
              "request. (-1708)");
    EXPECT_EQ(story(told("done"), {}, {refused(procNotFound)}).failure,
              "29:33: execution error: papermill is not answering on the session bus. (-600)");
    const story stopped(told("exec \"a\"\nexec \"b\""), {}, {refused(errAETimeout)});
    EXPECT_EQ(stopped.asked.size(), 1U);
}

TEST(AppleScript, CountsPositionsInCharactersOfTheWholeScript)
{
    const std::deque<request_reply> away = {refused(procNotFound)};
    EXPECT_EQ(story("-- é≠𝄞\ntell app \"papermill\" to done", {}, away).failure.substr(0, 5),
              "31:35");
    EXPECT_EQ(story("\r\n\r\ntell app \"papermill\" to done", {}, away).failure.substr(0, 5),
              "26:30");
    EXPECT_EQ(
        story("log \"\xff\xfe\"\ntell app \"papermill\" to done", {}, away).failure.substr(0, 5),
        "33:37");
}

TEST(AppleScript, WaitsAsLongAsItIsTold)
{
    const story s(told("exec \"a\"\nwith timeout of 90 seconds\nexec \"b\"\nend timeout\n"
                       "with timeout of 1 second\nignoring application responses\nexec \"c\"\n"
                       "end ignoring\nend timeout\nexec \"d\"\n"
                       "with timeout of 99999999999 seconds\nexec \"e\"\nend timeout"));
    EXPECT_EQ(s.failure, "");
    EXPECT_EQ(s.modes, (std::vector<AESendMode>{kAEWaitReply, kAEWaitReply, kAENoReply,
                                                kAEWaitReply, kAEWaitReply}));
    EXPECT_EQ(s.times, (std::vector<std::int32_t>{kNoTimeOut, 5400, 60, kNoTimeOut, 2147483640}));
}

TEST(AppleScript, CatchesErrors)
{
    const std::deque<request_reply> away = {refused(procNotFound)};
    const story caught(told("try\nexec \"a\"\non error msg number n\nlog msg\nreturn n\nend try"),
                       {}, away);
    EXPECT_EQ(caught.failure, "");
    EXPECT_EQ(caught.logged, strings{"papermill is not answering on the session bus."});
    EXPECT_EQ(caught.shows, "-600");
    EXPECT_EQ(story(told("try\nexec \"a\"\nend try\nexec \"b\""), {}, away).asked.size(), 2U);
    EXPECT_EQ(story(told("try\nexec \"a\"\non error number n\nreturn n\nend"), {}, away).shows,
              "-600");
    EXPECT_EQ(result_of("try\nerror \"x\"\non error m\nerror m & \"y\" number 5\nend try"),
              "25:47: execution error: xy (5)");
    EXPECT_EQ(result_of("error"), "0:5: execution error: An error occurred. (-2700)");
    EXPECT_EQ(result_of("error \"x\" number 0"), "0:18: execution error: x (-2700)");
    EXPECT_EQ(result_of("try\nreturn 1\nend try\nreturn 2"), "1");
}

TEST(AppleScript, Decides)
{
    EXPECT_EQ(result_of("if 1 = 1 then return \"yes\""), "\"yes\"");
    EXPECT_EQ(result_of("if 1 = 2 then return \"yes\""), "");
    const auto choose = [](const std::string &x) {
        return result_of("set x to " + x +
                         "\nif x is 1 then\n\"one\"\nelse if x ≠ 2 then\n\"other\"\nelse\n"
                         "\"two\"\nend if");
    };
    EXPECT_EQ(choose("1"), "\"one\"");
    EXPECT_EQ(choose("2"), "\"two\"");
    EXPECT_EQ(choose("3"), "\"other\"");
    EXPECT_EQ(result_of("if 1 then return 2"),
              "3:4: execution error: Can't make 1 into a boolean. (-1700)");
}

TEST(AppleScript, Compares)
{
    for (const char *holds : {"1 = 1",
                              "1 is 1",
                              "1 is equal to 1",
                              "1 equals 1",
                              "1 ≠ 2",
                              "1 is not 2",
                              "1 is not equal to 2",
                              "\"A\" = \"a\"",
                              "1 is not \"1\"",
                              "{1, \"B\"} = {1, \"b\"}",
                              "{1} ≠ {1, 2}",
                              "POSIX file \"/a\" is POSIX file \"/a\"",
                              "1 < 2",
                              "2 > 1",
                              "1 ≤ 1",
                              "1 <= 1",
                              "2 ≥ 1",
                              "2 >= 1",
                              "1 is less than 2",
                              "2 is greater than 1",
                              "\"a\" < \"B\"",
                              "\"3\" < 10",
                              "\"abc\" contains \"B\"",
                              "\"abc\" starts with \"AB\"",
                              "\"abc\" begins with \"a\"",
                              "\"abc\" ends with \"bc\"",
                              "{1, 2} contains 2",
                              "{1, 2} starts with 1",
                              "{1, 2} ends with 2",
                              "not {} starts with 1",
                              "not \"c\" ends with \"bc\"",
                              "true and not false",
                              "false or true",
                              "1 = 1 and 2 = 2",
                              "missing value is missing value",
                              "true or nothing_that_is_read"}) {
        std::string text = std::string("set nothing_that_is_read to 0\n") + holds;
        if (std::string(holds).find("nothing") != std::string::npos)
            text = std::string(holds) + "\nset x to the result\nif false then set "
                                        "nothing_that_is_read to 0\nx";
        EXPECT_EQ(result_of(text), "true") << holds;
    }
    EXPECT_EQ(result_of("1 < {}"), "0:6: execution error: Can't make {} into an integer. (-1700)");
    EXPECT_EQ(result_of("1 contains 1"), "0:12: execution error: Can't make 1 into text. (-1700)");
    EXPECT_EQ(result_of("1 and true"),
              "0:10: execution error: Can't make 1 into a boolean. (-1700)");
    EXPECT_EQ(result_of("true and 1"),
              "0:10: execution error: Can't make 1 into a boolean. (-1700)");
}

TEST(AppleScript, Calculates)
{
    EXPECT_EQ(result_of("1 + 2 * 3 - 4"), "3");
    EXPECT_EQ(result_of("(1 + 2) * -3"), "-9");
    EXPECT_EQ(result_of("7 div 2 + 7 mod 4 + -(1)"), "5");
    EXPECT_EQ(result_of("\"3\" + 1"), "4");
    EXPECT_EQ(result_of("1 div 0"), "0:7: execution error: Can't divide by zero. (-2701)");
    const std::string too_large =
        "execution error: The result of a numeric operation was too large. (-2702)";
    EXPECT_EQ(result_of("9223372036854775807 + 1"), "0:23: " + too_large);
    EXPECT_EQ(result_of("-9223372036854775807 - 2"), "0:24: " + too_large);
    EXPECT_EQ(result_of("9223372036854775807 * 2"), "0:23: " + too_large);
    EXPECT_EQ(result_of("(-9223372036854775807 - 1) div -1"), "0:33: " + too_large);
    EXPECT_EQ(result_of("\"a\" + 1"),
              "0:7: execution error: Can't make \"a\" into an integer. (-1700)");
}

TEST(AppleScript, JoinsTextAndLists)
{
    EXPECT_EQ(result_of("\"a\" & 1 & true & POSIX file \"/x\" & {2, \"b\"}"), "\"a1true/x2b\"");
    EXPECT_EQ(result_of("{1} & 2 & {3, {4}}"), "{1, 2, 3, {4}}");
    EXPECT_EQ(result_of("1 & \"a\""), "{1, \"a\"}");
    EXPECT_EQ(result_of("\"a\" & tab & return & linefeed & space & quote"), "\"a\\t\\r\\n \\\"\"");
    EXPECT_EQ(result_of("\"a\" & {missing value}"),
              "0:21: execution error: Can't make {missing value} into text. (-1700)");
}

TEST(AppleScript, TurnsValuesIntoOthers)
{
    EXPECT_EQ(result_of("12 as text"), "\"12\"");
    EXPECT_EQ(result_of("\"a\" & 1 as string"), "\"a1\"");
    EXPECT_EQ(result_of("\" 1\" as integer"),
              "0:15: execution error: Can't make \" 1\" into an integer. (-1700)");
    EXPECT_EQ(result_of("\"-12\" as integer"), "-12");
    EXPECT_EQ(result_of("{\"5\"} as number"), "5");
    EXPECT_EQ(result_of("5 as list"), "{5}");
    EXPECT_EQ(result_of("\"/a\" as POSIX file"), "POSIX file \"/a\"");
    EXPECT_EQ(result_of("POSIX file \"/a\" as alias"), "POSIX file \"/a\"");
    EXPECT_EQ(result_of("POSIX path of (POSIX file \"/a\") & \"/b\""), "\"/a/b\"");
    EXPECT_EQ(result_of("POSIX path of POSIX file \"b c\""), "\"" + here("b c") + "\"");
    EXPECT_EQ(result_of("quoted form of \"it's\""), "\"'it'\\\\''s'\"");
    EXPECT_EQ(result_of("\"ls \" & quoted form of POSIX path of POSIX file \"/a b\""),
              "\"ls '/a b'\"");
    EXPECT_EQ(result_of("POSIX file \"\""), "0:13: execution error: File \"\" wasn't found. (-43)");
    EXPECT_EQ(result_of("POSIX file 5"),
              "0:12: execution error: Can't make 5 into a file. (-1700)");
    EXPECT_EQ(story(told("exec {1}")).failure,
              "34:37: execution error: Can't make {1} into text. (-1700)");
    EXPECT_EQ(story(told("pdf2dsc {\"a\", \"b\"}")).failure,
              "37:47: execution error: Can't make {\"a\", \"b\"} into a file. (-1700)");
}

TEST(AppleScript, FilesAreRelativeToTheCurrentFolder)
{
    const temporary_folder folder;
    const std::string before = platform::absolute_path(".");
    ASSERT_EQ(chdir(folder.path().c_str()), 0);
    EXPECT_EQ(result_of("POSIX file \"a\""), "POSIX file \"" + (folder / "a") + "\"");
    const std::string gone = folder.make_folder("gone");
    ASSERT_EQ(chdir(gone.c_str()), 0);
    ASSERT_EQ(rmdir(gone.c_str()), 0);
    EXPECT_EQ(result_of("POSIX file \"a\""),
              "0:14: execution error: File \"a\" wasn't found. (-43)");
    ASSERT_EQ(chdir(before.c_str()), 0);
}

TEST(AppleScript, TakesListsApart)
{
    const std::string list = "set l to {1, 2, 3, 4}\n";
    EXPECT_EQ(result_of(list + "item 2 of l"), "2");
    EXPECT_EQ(result_of(list + "item -1 in l"), "4");
    EXPECT_EQ(result_of(list + "first item of l & second item of l & third item of l & "
                               "the last item of l"),
              "{1, 2, 3, 4}");
    EXPECT_EQ(result_of(list + "items 2 thru -2 of l"), "{2, 3}");
    EXPECT_EQ(result_of(list + "items 3 through 1 of l"), "{1, 2, 3}");
    EXPECT_EQ(result_of(list + "items of l"), "{1, 2, 3, 4}");
    EXPECT_EQ(result_of("every item of {}"), "{}");
    EXPECT_EQ(result_of(list + "rest of l"), "{2, 3, 4}");
    EXPECT_EQ(result_of(list + "(count of l) + (count l) + (length of l) + (count items of l) + "
                               "(number of items in l)"),
              "20");
    EXPECT_EQ(result_of("count of \"é≠\""), "2");
    EXPECT_EQ(result_of("item 1 of item 2 of {1, {2, 3}}"), "2");
    for (const char *none : {"item 0 of {1}", "item 2 of {1}", "item -2 of {1}",
                             "items 1 thru 2 of {1}", "rest of {}"})
        EXPECT_NE(result_of(none).find("(-1728)"), std::string::npos) << none;
    EXPECT_EQ(result_of("item 1 of \"a\""),
              "0:13: execution error: Can't make \"a\" into a list. (-1700)");
}

TEST(AppleScript, Repeats)
{
    EXPECT_EQ(asked_by(told("repeat with f in {\"/a\", \"/b\"}\nopen f\nend repeat")),
              (strings{"aevt odoc ----=['/a']", "aevt odoc ----=['/b']"}));
    EXPECT_EQ(asked_by(told("repeat 2 times\ndone\nend repeat")).size(), 2U);
    EXPECT_EQ(asked_by(told("repeat 0 times\ndone\nend repeat")).size(), 0U);
    const std::string collect = "set s to {}\n";
    EXPECT_EQ(result_of(collect + "repeat with i from 1 to 3\nset s to s & i\nend\ns"),
              "{1, 2, 3}");
    EXPECT_EQ(result_of(collect + "repeat with i from 5 to 1 by -2\nset s to s & i\nend\ns"),
              "{5, 3, 1}");
    EXPECT_EQ(result_of(collect + "repeat with i from 9223372036854775807 to 9223372036854775807\n"
                                  "set s to s & i\nend\ncount s"),
              "1");
    EXPECT_EQ(result_of("repeat with i from 1 to 3 by 0\nend repeat"),
              "29:30: execution error: A loop can't count by 0. (-50)");
    EXPECT_EQ(result_of("set i to 0\nrepeat while i < 5\nset i to i + 1\nend repeat\ni"), "5");
    EXPECT_EQ(result_of("set i to 0\nrepeat until i = 5\nset i to i + 1\nend repeat\ni"), "5");
    EXPECT_EQ(result_of("set i to 0\nrepeat\nset i to i + 1\nif i = 7 then exit repeat\nend\ni"),
              "7");
    EXPECT_EQ(result_of("repeat with i from 1 to 3\nif i = 2 then return i\nend repeat\n0"), "2");
    EXPECT_EQ(result_of("repeat with i from 1 to 3\nerror \"x\"\nend repeat"),
              "26:35: execution error: x (-2700)");
    EXPECT_EQ(result_of("set i to 0\nrepeat 100000 times\nset i to i + 1\nend repeat\ni"),
              "100000");
}

TEST(AppleScript, TakesTheCallsArguments)
{
    const strings arguments = {"a.ps", "b c.ps"};
    const auto run = [&](const std::string &lines) {
        return result_of("on run argv\n" + lines + "\nend run", arguments);
    };
    EXPECT_EQ(run("argv"), "{\"a.ps\", \"b c.ps\"}");
    EXPECT_EQ(run("item 2 of argv"), "\"b c.ps\"");
    EXPECT_EQ(run("return count of argv"), "2");
    EXPECT_EQ(result_of("on run\n1\nend run", arguments), "1");
    EXPECT_EQ(result_of("\n-- it\non run argv\n1\nend\n", {}), "1");
    const story s(
        "on run argv\ntell application \"papermill\"\nconvert POSIX file (item 1 of argv) "
        "to POSIX file (item 2 of argv)\nend tell\nend run",
        {"/a", "/b"});
    EXPECT_EQ(s.asked, strings{"TSRY cdoc ----=['/a' '/b']"});
    EXPECT_EQ(failure_of("on run argv\nend run\nlog 1"), "20:23: syntax (-2741)");
    EXPECT_EQ(failure_of("log 1\non run argv\nend run"), "6:8: syntax (-2741)");
    EXPECT_EQ(failure_of("on open files\nend open"), "0:2: syntax (-2741)");
}

TEST(AppleScript, ReadsWordsAndBlanksAsTheyComeAlong)
{
    EXPECT_EQ(asked_by("\tTELL  Application\t\"PaperMill\" \n  Done\t\nEND Tell"),
              strings{"TSRY done"});
    EXPECT_EQ(
        asked_by("-- one\n# two\n(* three (* four *)\n*)\n" + told("done -- five\n") + " # six"),
        strings{"TSRY done"});
    EXPECT_EQ(asked_by("tell app \"papermill\" ¬\n\tto ¬ \n exec (* what *) \"a\""),
              strings{"TSRY exec ----='a'"});
    EXPECT_EQ(asked_by("#!/usr/bin/osascript\r\n" + told("done\r")), strings{"TSRY done"});
    EXPECT_EQ(asked_by(""), strings());
    EXPECT_EQ(asked_by("\n\n-- nothing"), strings());
    EXPECT_EQ(asked_by(told("")), strings());
    EXPECT_EQ(result_of("set LongName to 1\nLONGNAME + longname"), "2");
    EXPECT_EQ(result_of("get \"a\\\\\\\"\\t\\n\\r\nb\""), "\"a\\\\\\\"\\t\\n\\r\\nb\"");
}

TEST(AppleScript, RefusesWhatItDoesNotUnderstand)
{
    EXPECT_EQ(failure_of("done"), "0:4: syntax (-2741)");
    EXPECT_EQ(failure_of("tell application \"Finder\" to done"), "17:25: syntax (-2741)");
    EXPECT_EQ(failure_of("tell application id \"com.example\" to done"), "20:33: syntax (-2741)");
    EXPECT_EQ(failure_of("tell application \"papermill\" to launch"), "32:38: syntax (-2741)");
    EXPECT_EQ(failure_of("tell application \"papermill\" to"), "31:31: syntax (-2741)");
    EXPECT_EQ(failure_of("tell application \"papermill\" done"), "29:33: syntax (-2741)");
    EXPECT_EQ(failure_of(told("done done")), "34:38: syntax (-2741)");
    EXPECT_EQ(failure_of(told("done \"x\"")), "34:37: syntax (-2741)");
    EXPECT_EQ(failure_of("tell application \"papermill\"\ndone"), "33:33: syntax (-2741)");
    EXPECT_EQ(failure_of(told("done") + " now"), "43:46: syntax (-2741)");
    EXPECT_EQ(failure_of("tell application \"papermill\"\ndone\nend\ndone"),
              "38:42: syntax (-2741)");
    EXPECT_EQ(failure_of(told("done") + "\nend tell"), "43:46: syntax (-2741)");
    EXPECT_EQ(failure_of("tell application \"papermill"), "17:27: syntax (-2741)");
    EXPECT_EQ(failure_of("tell application \"pap\\ermill\" to done"), "17:22: syntax (-2741)");
    EXPECT_EQ(failure_of("tell application papermill"), "17:26: syntax (-2741)");
    EXPECT_EQ(failure_of("tell"), "4:4: syntax (-2741)");
    EXPECT_EQ(failure_of(told("set done to 1")), "33:37: syntax (-2741)");
    EXPECT_EQ(failure_of("do shell script \"touch x\""), "0:2: syntax (-2741)");
    EXPECT_EQ(failure_of("display dialog \"x\""), "0:7: syntax (-2741)");
    EXPECT_EQ(failure_of("delay 5"), "0:5: syntax (-2741)");
    EXPECT_EQ(failure_of("file \"HD:x\""), "0:4: syntax (-2741)");
    EXPECT_EQ(failure_of("property x : 1"), "0:8: syntax (-2741)");
    EXPECT_EQ(failure_of("\"a\" as record"), "4:6: syntax (-2741)");
    EXPECT_EQ(failure_of("log {a:1}"), "6:7: syntax (-2741)");
    EXPECT_EQ(failure_of("log 1.5"), "5:6: syntax (-2741)");
    EXPECT_EQ(failure_of("log 99999999999999999999"), "4:24: syntax (-2741)");
    EXPECT_EQ(failure_of("log x"), "4:5: syntax (-2741)");
    EXPECT_EQ(failure_of("log (1"), "6:6: syntax (-2741)");
    EXPECT_EQ(failure_of("log {1, "), "8:8: syntax (-2741)");
    EXPECT_EQ(failure_of("log 1 log 2"), "6:9: syntax (-2741)");
    EXPECT_EQ(failure_of("set x 1"), "6:7: syntax (-2741)");
    EXPECT_EQ(failure_of("set end to 1"), "4:7: syntax (-2741)");
    EXPECT_EQ(failure_of("if 1 = 1\nlog 1\nend if"), "8:8: syntax (-2741)");
    EXPECT_EQ(failure_of("if true then\nlog 1\nend repeat"), "23:29: syntax (-2741)");
    EXPECT_EQ(failure_of("else"), "0:4: syntax (-2741)");
    EXPECT_EQ(failure_of("exit repeat"), "0:4: syntax (-2741)");
    EXPECT_EQ(failure_of("try\nlog 1\non run\nend try"), "10:12: syntax (-2741)");
    EXPECT_EQ(failure_of(told("convert \"/a\" to \"/b\" to \"/c\"")), "50:52: syntax (-2741)");
    EXPECT_EQ(failure_of(told("exec \"a\" to \"/b\"")), "38:40: syntax (-2741)");
    EXPECT_EQ(failure_of("\xff\xfe"), "0:1: syntax (-2741)");
    EXPECT_EQ(failure_of(std::string("log \"\0\"", 7)), "4:6: syntax (-2741)");
    EXPECT_EQ(failure_of("(* never (* closed *)"), "0:21: syntax (-2741)");
    EXPECT_EQ(failure_of("log 1 ¬ 2"), "6:8: syntax (-2741)");
    EXPECT_EQ(failure_of("log 1 ¬"), "6:7: syntax (-2741)");
}

TEST(AppleScript, SaysWhatIsWrong)
{
    EXPECT_EQ(story("tell").failure,
              "4:4: syntax error: Expected \"application\" but found end of script. (-2741)");
    EXPECT_EQ(story("delay 5").failure,
              "0:5: syntax error: \"delay\" is not understood here. (-2741)");
    EXPECT_EQ(story("convert \"a\" to \"b\"").failure,
              "0:7: syntax error: The request \"convert\" belongs into tell application "
              "\"papermill\". (-2741)");
}

TEST(AppleScript, SendsNothingOfAScriptWithAnError)
{
    EXPECT_EQ(failure_of(told("done\nnonsense")), "34:42: syntax (-2741)");
    EXPECT_EQ(failure_of(told("done") + "\nlog unheard_of"), "47:57: syntax (-2741)");
}

TEST(AppleScript, AVariableThatIsSetTooLateIsAnErrorOfTheRun)
{
    EXPECT_EQ(result_of("log x\nset x to 1"),
              "4:5: execution error: The variable x is not defined. (-2753)");
    EXPECT_EQ(result_of("log the result"),
              "8:14: execution error: The variable result is not defined. (-2753)");
}

TEST(AppleScript, BoundsNesting)
{
    const auto nested = [](const std::string &opening, int times, const std::string &rest) {
        std::string result;
        for (int i = 0; i < times; ++i)
            result += opening;
        return result + rest;
    };
    for (const char *opening : {"(", "{", "- ", "not ", "POSIX path of ", "item ", "if true then ",
                                "tell app \"papermill\" to ", "repeat\n", "try\n"}) {
        const story s(nested(opening, 20000, "1"));
        EXPECT_NE(s.failure.find(": syntax error: The script is nested too deeply. (-2740)"),
                  std::string::npos)
            << opening << s.failure;
    }
    EXPECT_EQ(story(nested("(", 100000, "")).failure.substr(0, 8), "99:100: ");
    EXPECT_EQ(result_of(nested("(", 50, "7") + std::string(50, ')')), "7");
    EXPECT_EQ(result_of("1" + nested(" + 1", 100000, "")), "100001");
    EXPECT_EQ(result_of("count of ({}" + nested(" & 1", 1000, "") + ")"), "1000");
    EXPECT_EQ(result_of("set l to {}\nrepeat 1000 times\nset l to {l}\nend repeat"),
              "39:42: execution error: Too many lists lie in each other. (-2700)");
}

TEST(AppleScript, ShowsValuesForPeople)
{
    EXPECT_EQ(shown(text_of("a\"b")), "a\"b");
    EXPECT_EQ(shown(list_of({number_of(1), list_of({text_of(""), boolean_of(false)}), value()})),
              "1, , false, missing value");
    EXPECT_EQ(shown({value::file, 0, "/a b"}), "file /a b");
    EXPECT_EQ(shown(list_of({})), "");
}

TEST(ScriptingErrors, EachHasASentence)
{
    const OSErr errors[] = {fnfErr,
                            dirNFErr,
                            userCanceledErr,
                            procNotFound,
                            connectionInvalid,
                            errAECoercionFail,
                            errAEDescNotFound,
                            errAEWrongDataType,
                            errAEEventNotHandled,
                            errAETimeout};
    for (const OSErr error : errors)
        EXPECT_STRNE(scripting_error_text(error), scripting_error_text(-9999)) << error;
}
