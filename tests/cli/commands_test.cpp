// The terminal program's commands as they are typed, their output and their exit statuses.

#include "cli/commands.h"
#include "cli/exit_statuses.h"
#include "settings/setting_keys.h"
#include "tests/support/terminal_test.h"

#include <filesystem>
#include <sstream>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

// ---- help and wrong usage ----

class Help : public terminal_test {};

TEST_F(Help, IsPrintedForTheProgram)
{
    const program_result result = user.papermill({"--help"});
    EXPECT_EQ(result.status, cli_done);
    EXPECT_EQ(result.err, "");
    for (const cli_command &command : cli_commands) {
        const char *word = command.group != nullptr ? command.group : command.name;
        EXPECT_TRUE(contains(result.out, word)) << word;
    }
    for (const int status : {cli_done, cli_failed, cli_usage, cli_busy, cli_interrupted})
        EXPECT_TRUE(contains(result.out, std::to_string(status) + " ")) << status;
}

TEST_F(Help, IsPrintedForEveryCommand)
{
    for (const cli_command &command : cli_commands) {
        if (*command.name == 0)
            continue;
        strings words = {command.name, "--help"};
        if (command.group != nullptr)
            words.insert(words.begin(), command.group);
        const program_result result = user.papermill(words);
        EXPECT_EQ(result.status, cli_done) << command.name;
        EXPECT_TRUE(contains(result.out, command.help)) << story(result);
        for (const cli_argument &argument : command.arguments) {
            std::istringstream help(argument.help); // its lines are indented
            for (std::string line; std::getline(help, line);)
                EXPECT_TRUE(contains(result.out, line)) << line << story(result);
        }
    }
}

TEST_F(Help, StartsNothing)
{
    user.papermill({"--help"});
    user.papermill({"--version"});
    user.papermill({"ps2pdf", "--help"});
    EXPECT_EQ(names_in(user.home), strings());
}

TEST_F(Help, VersionIsOneLine)
{
    const program_result result = user.papermill({"--version"});
    EXPECT_EQ(result.status, cli_done);
    EXPECT_EQ(result.out.rfind("papermill ", 0), 0U) << result.out;
    EXPECT_EQ(count(result.out, "\n"), 1U);
    EXPECT_EQ(result.err, "");
}

TEST_F(Help, WrongUsageIsTold)
{
    user.write("in.ps", drawing_ps(50, 50));
    const std::vector<strings> calls = {
        {},
        {"--"},
        {"--quiet"},
        {"--nosuchoption"},
        {"--nosuchoption", "in.ps"},
        {"-x"},
        {"ps2pdf"},
        {"ps2pdf", "in.ps", "a.pdf", "b.pdf"},
        {"ps2pdf", "--nosuchoption", "in.ps"},
        {"exec"},
        {"exec", "-C"},
        {"exec", "-C", "folder"},
        {"tools", "in.ps"},
        {"settings"},
        {"settings", "nosuchword"},
        {"settings", "get"},
        {"settings", "get", "PICT_RES", "more"},
        {"settings", "set", "PICT_RES"},
        {"settings", "set", "PICT_RES", "1", "2"},
        {"settings", "list", "more"},
    };
    for (const strings &words : calls) {
        const program_result result = user.papermill(words);
        EXPECT_EQ(result.status, cli_usage) << story(result);
        EXPECT_NE(result.err, "") << story(result);
        EXPECT_EQ(result.out, "") << story(result);
    }
    EXPECT_EQ(user.names(), strings{"in.ps"});
}

// ---- conversions ----

class Convert : public terminal_test {};

TEST_F(Convert, StatusesAreAPromise)
{
    EXPECT_EQ(cli_done, 0);
    EXPECT_EQ(cli_failed, 1);
    EXPECT_EQ(cli_usage, 2);
    EXPECT_EQ(cli_busy, 75);
    EXPECT_EQ(cli_interrupted, 130);
}

TEST_F(Convert, NamesTheOutputAfterTheInput)
{
    user.write("in.v1.ps", drawing_ps(51, 50));
    user.write("fig.EPSF", drawing_eps(52, 50));
    const program_result ps = user.papermill({"ps2pdf", "in.v1.ps"});
    EXPECT_EQ(ps.status, cli_done) << story(ps);
    EXPECT_TRUE(contains(ps.out, "Converting " + user.path("in.v1.ps") + " to " +
                                     user.path("in.v1.pdf") + ".\n"));
    EXPECT_TRUE(contains(ps.out, "\nProcessing complete.\nElapsed time = "));
    EXPECT_EQ(user.papermill({"ps2pdf", "fig.EPSF"}).status, cli_done);
    EXPECT_EQ(pdf_page_size(user.path("in.v1.pdf")), "51 x 50");
    EXPECT_EQ(pdf_page_size(user.path("fig.pdf")), "52 x 50");
}

TEST_F(Convert, WithoutADotInTheNameAppends)
{
    user.write("plain", drawing_ps(51, 50));
    EXPECT_EQ(user.papermill({"plain"}).status, cli_done);
    EXPECT_EQ(user.names(), (strings{"plain", "plain.pdf"}));
}

TEST_F(Convert, SeveralFilesInTheirOrder)
{
    user.write("b.ps", drawing_ps(51, 50));
    user.write("a.eps", drawing_eps(52, 50));
    user.write("c.PS", drawing_ps(53, 50));
    user.write("d.EPS", drawing_eps(54, 50));
    const program_result result = user.papermill({"b.ps", "a.eps", "c.PS", "d.EPS"});
    EXPECT_EQ(result.status, cli_done) << story(result);
    std::size_t last = 0;
    for (const char *name : {"b.ps", "a.eps", "c.PS", "d.EPS"}) {
        const std::size_t at = result.out.find("Converting " + user.path(name));
        ASSERT_NE(at, std::string::npos) << name;
        EXPECT_GE(at, last) << name;
        last = at;
    }
    EXPECT_EQ(count(result.out, "Converting "), 4U);
    EXPECT_EQ(pdf_page_size(user.path("b.pdf")), "51 x 50");
    EXPECT_EQ(pdf_page_size(user.path("a.pdf")), "52 x 50");
    EXPECT_EQ(pdf_page_size(user.path("c.pdf")), "53 x 50");
    EXPECT_EQ(pdf_page_size(user.path("d.pdf")), "54 x 50");
}

TEST_F(Convert, GoesOnAfterAFailure)
{
    user.write("a.ps", drawing_ps(51, 50));
    user.write("b.ps", "%!PS\nnosuchoperator\n");
    user.write("c.eps", "no EPS at all");
    user.write("d.eps", drawing_eps(52, 50));
    const program_result result = user.papermill({"a.ps", "b.ps", "none.ps", "c.eps", "d.eps"});
    EXPECT_EQ(result.status, cli_failed) << story(result);
    EXPECT_TRUE(contains(result.out, user.path("b.ps") + ": failed")) << story(result);
    EXPECT_EQ(user.names(), (strings{"a.pdf", "a.ps", "b.ps", "c.eps", "d.eps", "d.pdf"}));
}

TEST_F(Convert, FilesThatAreCalledLikeCommands)
{
    for (const char *name : {"ps2pdf", "exec", "settings", "--help"})
        user.write(name, drawing_ps(51, 50));
    EXPECT_EQ(user.papermill({"./ps2pdf"}).status, cli_done);
    EXPECT_EQ(user.papermill({"--", "exec"}).status, cli_done);
    EXPECT_EQ(user.papermill({"--", "--help"}).status, cli_done);
    EXPECT_EQ(user.papermill({"ps2pdf", "settings", "tools"}).status, cli_done);
    EXPECT_EQ(user.names(), (strings{"--help", "--help.pdf", "exec", "exec.pdf", "ps2pdf",
                                     "ps2pdf.pdf", "settings", "tools"}));
}

TEST_F(Convert, CommandWordsAfterAFileAreFiles)
{
    user.write("in.ps", drawing_ps(51, 50));
    user.write("tools", drawing_ps(52, 50));
    const program_result result = user.papermill({"in.ps", "tools"});
    EXPECT_EQ(result.status, cli_done) << story(result);
    EXPECT_EQ(pdf_page_size(user.path("tools.pdf")), "52 x 50");
}

TEST_F(Convert, WordsInBracketsAreNoLists)
{
    for (const char *name : {"[a,b]", "[c]", "[]", "\1[d]"})
        user.write(name, drawing_ps(51, 50));
    const program_result result = user.papermill({"[a,b]", "[c]", "[]", "\1[d]"});
    EXPECT_EQ(result.status, cli_done) << story(result);
    EXPECT_EQ(user.names(), (strings{"\1[d]", "\1[d].pdf", "[]", "[].pdf", "[a,b]", "[a,b].pdf",
                                     "[c]", "[c].pdf"}));
    const program_result command = user.papermill({"exec", "echo", "[a,b]"});
    EXPECT_TRUE(contains(command.out, "\n[a,b]\n")) << story(command);
    const program_result merged = user.papermill({"merge", "-o", "[o,p]", "[c].pdf", "[].pdf"});
    EXPECT_EQ(merged.status, cli_done) << story(merged);
    EXPECT_EQ(pdf_page_count(user.path("[o,p]")), 2);
}

TEST_F(Convert, PassesTheOptionsOfTheSetting)
{
    user.write("in.ps", drawing_ps(50, 50));
    // Words are split, and stay words: none of them names the files here.
    user.set("PS2PDF_OPTION_STR", "-dCompatibilityLevel=1.3  -sMARK=* -sOTHER=[a-z]*");
    const program_result result = user.papermill({"in.ps"});
    EXPECT_EQ(result.status, cli_done) << story(result);
    EXPECT_EQ(user.read("in.pdf").substr(0, 8), "%PDF-1.3");

    user.set("PS2PDF_OPTION_STR", "-dCompatibilityLevel=nonsense");
    EXPECT_EQ(user.papermill({"in.ps"}).status, cli_failed);
    EXPECT_EQ(user.read("in.pdf").substr(0, 8), "%PDF-1.3"); // still the older one

    user.set("PS2PDF_OPTION_STR", "-dFoo=`touch${IFS}pwned` $(touch pwned) ;touch pwned");
    user.papermill({"in.ps"});
    EXPECT_EQ(user.names(), (strings{"in.pdf", "in.ps"}));
}

TEST_F(Convert, ColoursOfTheUsersListingsAreNoConcern)
{
    user.environment["LS_COLORS"] = "rs=0:xx=1:zz";
    user.write("a.ps", drawing_ps(50, 50));
    const program_result result = user.papermill({"a.ps"});
    EXPECT_EQ(result.status, cli_done) << story(result);
    EXPECT_TRUE(user.has("a.pdf"));
}

TEST_F(Convert, WorksWithoutAFolderForThePreferences)
{
    user.environment["HOME"] = "/proc/nowhere";
    user.environment["XDG_CONFIG_HOME"] = "/proc/nowhere";
    user.write("a.ps", drawing_ps(50, 50));
    const program_result result = user.papermill({"a.ps"});
    EXPECT_EQ(result.status, cli_done) << story(result);
    EXPECT_TRUE(contains(result.out, "No folder for the preferences can be made."))
        << story(result);
    EXPECT_FALSE(contains(result.out, "Moving")) << story(result);
    EXPECT_TRUE(user.has("a.pdf"));
    EXPECT_EQ(user.papermill({"settings", "set", "DEBUG1", "1"}).status, cli_failed);
}

TEST_F(Convert, BackgroundDoesTheSame)
{
    user.write("in.ps", drawing_ps(51, 50));
    user.write("fig.eps", drawing_eps(52, 50));
    const program_result result = user.papermill({"--background", "in.ps", "fig.eps"});
    EXPECT_EQ(result.status, cli_done) << story(result);
    EXPECT_EQ(pdf_page_size(user.path("in.pdf")), "51 x 50");
    EXPECT_EQ(pdf_page_size(user.path("fig.pdf")), "52 x 50");
    EXPECT_EQ(user.papermill({"--background", "none.ps"}).status, cli_failed);
}

// ---- what is printed ----

class Console : public terminal_test {};

TEST_F(Console, EndsLinesWithLineFeeds)
{
    user.write("in.ps", "%!PS\n(a line\\n) print (another\\r) print (a third\\n) print\n"
                        "0 0 9 9 rectfill showpage\n");
    const program_result result = user.papermill({"in.ps"});
    EXPECT_EQ(result.status, cli_done);
    EXPECT_FALSE(contains(result.out, "\r")) << result.out;
    EXPECT_TRUE(contains(result.out, "a line\nanother\na third\n")) << result.out;
    EXPECT_EQ(result.err, "");
}

// The tools know the user's files under other names.
TEST_F(Console, NamesTheUsersFilesInTheToolsMessages)
{
    const std::string says = "(Can't read papermill-in. Can't write papermill-out/result.pdf.\\n) "
                             "print 0 0 9 9 rectfill showpage\n";
    const auto told = [&](const char *name) {
        return "Can't read " + user.path(name) + ". Can't write " + user.path("my out.pdf") + ".\n";
    };
    user.write("my in.ps", "%!PS\n" + says);
    const program_result ps = user.papermill({"ps2pdf", "my in.ps", "my out.pdf"});
    EXPECT_TRUE(contains(ps.out, told("my in.ps"))) << story(ps);

    user.write("my in.eps", "%!PS-Adobe-3.0 EPSF-3.0\n%%BoundingBox: 0 0 9 9\n" + says);
    const program_result eps = user.papermill({"ps2pdf", "my in.eps", "my out.pdf"});
    EXPECT_TRUE(contains(eps.out, told("my in.eps"))) << story(eps);
}

TEST_F(Console, QuietPrintsNothingOnSuccess)
{
    user.write("in.ps", "%!PS\n(a line\\n) print 0 0 9 9 rectfill showpage\n");
    const program_result result = user.papermill({"--quiet", "in.ps"});
    EXPECT_EQ(result.status, cli_done);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "");
    EXPECT_TRUE(user.has("in.pdf"));
}

TEST_F(Console, QuietTellsTheWholeStoryOfAFailure)
{
    user.write("in.ps", "%!PS\n(a line\\n) print nosuchoperator\n");
    user.papermill({"settings", "list"});
    const program_result loud = user.papermill({"in.ps"});
    const program_result quiet = user.papermill({"--quiet", "in.ps"});
    EXPECT_EQ(quiet.status, cli_failed);
    EXPECT_EQ(quiet.out, "");
    const auto without_time = [](std::string text) {
        const std::size_t at = text.find("Elapsed time");
        return at == std::string::npos ? text : text.erase(at, text.find('\n', at) - at);
    };
    EXPECT_EQ(without_time(quiet.err), without_time(loud.out));
    EXPECT_TRUE(contains(quiet.err, "nosuchoperator"));
    EXPECT_TRUE(contains(quiet.err, user.path("in.ps")));
}

TEST_F(Console, FirstStartTellsOfThePreferencesFile)
{
    user.write("in.ps", drawing_ps(50, 50));
    const std::string first = user.papermill({"in.ps"}).out;
    const std::string folder = user.home + "/.config/papermill";
    EXPECT_EQ(first.find("Creating the papermill preferences file.\nMoving \""), 0U) << first;
    EXPECT_TRUE(contains(first, "/Resources/PapermillPrefsDF\" to \"" + folder + "\"\n\n"))
        << first;
    EXPECT_EQ(names_in(folder), strings{"PapermillPrefsDF"});
    EXPECT_EQ(user.papermill({"in.ps"}).out.find("Converting "), 0U);
}

TEST_F(Console, DebugSettingSaysMore)
{
    user.write("in.eps", drawing_eps(50, 50));
    user.set("DEBUG1", "1");
    const program_result result = user.papermill({"in.eps"});
    EXPECT_EQ(result.status, cli_done);
    for (const char *line : {"PATH = ", "Creating temporary file ", "Deleting temporary file "})
        EXPECT_TRUE(contains(result.out, line)) << line << story(result);
}

// Control characters of a document steer no terminal; a file or a pipe gets every byte.
TEST_F(Console, TerminalGetsNoControlCharacters)
{
    user.write("in.ps", "%!PS\n(beep\\007 red\\033[31m del\\177 tab\\t. end\\n) print\n"
                        "0 0 9 9 rectfill showpage\n");
    EXPECT_TRUE(contains(user.papermill({"in.ps"}).out, "beep\a red\033[31m del\177 tab\t. end\n"));

    const program_result shown = user.papermill_on_terminal({"in.ps"});
    EXPECT_TRUE(contains(shown.out, "Processing complete.")) << story(shown);
    EXPECT_FALSE(contains(shown.out, "\a")) << story(shown);
    EXPECT_FALSE(contains(shown.out, "\033")) << story(shown);
    EXPECT_FALSE(contains(shown.out, "\177")) << story(shown);
    EXPECT_TRUE(contains(shown.out, "beep^G red^[[31m del^? ")) << story(shown);
}

TEST_F(Console, TerminalGetsNoControlCharactersInQuietModeEither)
{
    user.write("in.ps", "%!PS\n(red\\033[31m\\n) print nosuchoperator\n");
    const program_result shown = user.papermill_on_terminal({"--quiet", "in.ps"});
    EXPECT_TRUE(contains(shown.out, "nosuchoperator")) << story(shown);
    EXPECT_FALSE(contains(shown.out, "\033")) << story(shown);
}

// ---- exec ----

class Exec : public terminal_test {};

TEST_F(Exec, RunsInTheCurrentFolder)
{
    const program_result result = user.papermill({"exec", "pwd"});
    EXPECT_EQ(result.status, cli_done) << story(result);
    EXPECT_TRUE(contains(result.out, "Processing: pwd\nCurrent directory -- " + user.work + "\n"))
        << story(result);
    EXPECT_TRUE(contains(result.out, "\n" + user.work + "\n\nProcessing complete.\n"))
        << story(result);
}

TEST_F(Exec, RunsInAnotherFolder)
{
    fs::create_directory(user.path("a $HOME b"));
    for (const std::string &folder : {std::string("a $HOME b"), user.path("a $HOME b")}) {
        const program_result result = user.papermill({"exec", "-C", folder, "pwd"});
        EXPECT_EQ(result.status, cli_done) << story(result);
        EXPECT_TRUE(contains(result.out, "\n\n" + user.path("a $HOME b") + "\n")) << story(result);
    }
}

TEST_F(Exec, FolderThatIsNotThereIsTold)
{
    const program_result result = user.papermill({"exec", "-C", "nowhere", "touch", "here"});
    EXPECT_EQ(result.status, cli_failed);
    EXPECT_TRUE(contains(result.out, user.path("nowhere"))) << story(result);
    EXPECT_EQ(user.names(), strings());
}

TEST_F(Exec, TakesItsWordsWithTheirOptions)
{
    user.write("file", "");
    const program_result result = user.papermill({"exec", "ls", "--all", "-d", "file"});
    EXPECT_EQ(result.status, cli_done) << story(result);
    EXPECT_TRUE(contains(result.out, "Processing: ls --all -d file\n")) << story(result);
    EXPECT_TRUE(contains(result.out, "\nfile\n")) << story(result);
}

TEST_F(Exec, TakesTheCommandAsAShellDoes)
{
    user.write("a.txt", "");
    user.write("b.txt", "");
    const program_result result =
        user.papermill({"exec", "printf '<%s>' *.txt \"two  words\" $HOME"});
    EXPECT_EQ(result.status, cli_done) << story(result);
    EXPECT_TRUE(contains(result.out, "<a.txt><b.txt><two  words><" + user.home + ">"))
        << story(result);
}

TEST_F(Exec, ShowsBothStreams)
{
    const program_result result = user.papermill({"exec", "sh -c 'echo to out; echo to err 1>&2'"});
    EXPECT_EQ(result.status, cli_done) << story(result);
    EXPECT_TRUE(contains(result.out, "to out\n")) << story(result);
    EXPECT_TRUE(contains(result.out, "to err\n")) << story(result);
}

TEST_F(Exec, TellsAStatus)
{
    for (const char *background : {"", "--background"}) {
        strings words = {"exec", "sh -c 'echo hello; exit 7'"};
        if (*background != 0)
            words.insert(words.begin(), background);
        const program_result result = user.papermill(words);
        EXPECT_EQ(result.status, cli_failed) << story(result);
        EXPECT_TRUE(contains(result.out, "hello\n")) << story(result);
        EXPECT_TRUE(contains(result.out, ": failed, the command ended with status 7.\n"))
            << story(result);
    }
}

TEST_F(Exec, TellsASignal)
{
    const program_result result = user.papermill({"exec", "sh -c 'kill -11 $$'"});
    EXPECT_EQ(result.status, cli_failed) << story(result);
    EXPECT_TRUE(contains(result.out, ": failed, the command was ended by signal 11.\n"))
        << story(result);
}

TEST_F(Exec, TellsACommandThatIsNotThere)
{
    const program_result result = user.papermill({"exec", "nosuchcommand", "a"});
    EXPECT_EQ(result.status, cli_failed) << story(result);
    EXPECT_TRUE(contains(result.out, "nosuchcommand")) << story(result);
    EXPECT_TRUE(contains(result.out, ": not done, the command was not started.\n"))
        << story(result);
}

TEST_F(Exec, LeavesRedirectedOutputWhereItGoes)
{
    const program_result result =
        user.papermill({"exec", "sh -c 'echo to file; echo shown 1>&2' > 'o ut.txt'"});
    EXPECT_EQ(result.status, cli_done) << story(result);
    EXPECT_EQ(user.read("o ut.txt"), "to file\n");
    EXPECT_TRUE(contains(result.out, "shown\n")) << story(result);
    EXPECT_EQ(result.err, "");

    EXPECT_EQ(user.papermill({"exec", "echo more >> 'o ut.txt'"}).status, cli_done);
    EXPECT_EQ(user.read("o ut.txt"), "to file\nmore\n");
    EXPECT_EQ(user.names(), strings{"o ut.txt"});
}

TEST_F(Exec, TellsTheStatusOfARedirectedCommand)
{
    const program_result result = user.papermill({"exec", "sh -c 'exit 3' > out.txt"});
    EXPECT_EQ(result.status, cli_failed) << story(result);
    EXPECT_TRUE(contains(result.out, "the command ended with status 3.")) << story(result);
}

TEST_F(Exec, RunsAPipelineWholly)
{
    const program_result result = user.papermill({"exec", "echo hello | tr a-z A-Z > out.txt"});
    EXPECT_EQ(result.status, cli_done) << story(result);
    EXPECT_EQ(user.read("out.txt"), "HELLO\n");

    const program_result shown = user.papermill({"exec", "echo hello | tr a-z A-Z"});
    EXPECT_EQ(shown.status, cli_done) << story(shown);
    EXPECT_TRUE(contains(shown.out, "\nHELLO\n")) << story(shown);
    EXPECT_FALSE(contains(shown.out, "\nhello\n")) << story(shown);
}

TEST_F(Exec, RunsAListAsOneCommand)
{
    const program_result result = user.papermill({"exec", "cd / && pwd; echo 'a; b'; false"});
    EXPECT_EQ(result.status, cli_failed) << story(result);
    EXPECT_TRUE(contains(result.out, "\n/\na; b\n")) << story(result);
    EXPECT_TRUE(contains(result.out, "the command ended with status 1.")) << story(result);
}

TEST_F(Exec, RunsNowhereElseWhenItsFolderIsGone)
{
    user.write("a.ps", drawing_ps(50, 50));
    const std::string gone = user.path("gone");
    const auto from_nowhere = [&](const std::string &words) {
        return user.run({"sh", "-c",
                         "mkdir gone && cd gone && rmdir \"$0\" && exec \"$1\" " + words, gone,
                         program_path});
    };
    for (const char *words :
         {"exec touch there", "exec -C tmp touch there", "../a.ps", "ps2pdf ../a.ps there.pdf"}) {
        const program_result result = from_nowhere(words);
        EXPECT_EQ(result.status, cli_failed) << story(result);
        EXPECT_TRUE(contains(result.err, "the current folder is gone")) << story(result);
    }
    EXPECT_FALSE(file_exists("/there") || file_exists("/tmp/there") || file_exists("/there.pdf") ||
                 file_exists("/a.pdf"));
}

TEST_F(Exec, ClosedStandardFilesAreNoOtherFiles)
{
    const program_result result =
        user.run({"sh", "-c", "exec \"$0\" exec 'echo told >&2' 2>&-", program_path});
    EXPECT_EQ(result.status, cli_done) << story(result);
    EXPECT_TRUE(contains(result.out, "\ntold\n")) << story(result);
}

TEST_F(Exec, ReadsNoInput)
{
    program_call call = user.call({"exec", "cat"});
    call.input = "typed\n";
    const program_result result = run_program(call);
    EXPECT_EQ(result.status, cli_done) << story(result);
    EXPECT_FALSE(contains(result.out, "typed")) << story(result);
}

TEST_F(Exec, ShowsALongOutputWhole)
{
    const program_result result = user.papermill({"exec", "seq 20000"});
    EXPECT_EQ(result.status, cli_done);
    std::string expected = "\n";
    for (int i = 1; i <= 20000; ++i)
        expected += std::to_string(i) + "\n";
    EXPECT_TRUE(contains(result.out, expected));
}

TEST_F(Exec, TooLongACommandIsRefused)
{
    const program_result result = user.papermill({"exec", "true " + std::string(20000, 'x')});
    EXPECT_EQ(result.status, cli_failed);
    EXPECT_TRUE(contains(result.out, "too long")) << result.out.substr(0, 100);
}

// ---- tools ----

class Tools : public terminal_test {};

TEST_F(Tools, AreListedWithPathAndVersion)
{
    const program_result result = user.papermill({"tools"});
    EXPECT_EQ(result.status, cli_done) << story(result);
    EXPECT_EQ(result.err, "");
    const program_result gs = user.run({"gs", "--version"});
    EXPECT_TRUE(contains(result.out, gs.out.substr(0, gs.out.find('\n')))) << story(result);
    EXPECT_TRUE(contains(result.out, "/gs ")) << story(result);
    EXPECT_TRUE(contains(result.out, "/tcsh ")) << story(result);
}

TEST_F(Tools, MissingOnesAreToldWithTheirPackage)
{
    if (fs::exists("/usr/local/bin/gs") || fs::exists("/usr/local/bin/tcsh"))
        GTEST_SKIP() << "tools lie in a folder that is always looked into";
    fs::create_directory(user.path("bin"));
    fs::create_symlink("/bin/tcsh", user.path("bin/tcsh"));
    fs::create_symlink("/bin/sh", user.path("bin/sh"));
    fs::create_symlink("/bin/cp", user.path("bin/cp"));
    user.environment["PATH"] = user.path("bin");
    const program_result result = user.papermill({"tools"});
    EXPECT_EQ(result.status, cli_failed) << story(result);
    EXPECT_TRUE(contains(result.out, "install the package ghostscript\n")) << story(result);
    EXPECT_FALSE(contains(result.out, "install the package tcsh\n")) << story(result);
}

// ---- settings ----

class Settings : public terminal_test {
protected:
    [[nodiscard]] std::string file() const
    {
        return user.home + "/.config/papermill/PapermillPrefsDF";
    }
};

TEST_F(Settings, ListNamesEveryKey)
{
    const program_result result = user.papermill({"settings", "list"});
    EXPECT_EQ(result.status, cli_done);
    EXPECT_EQ(result.err, "");
    for (std::size_t i = 0; i < setting_key_count; ++i)
        EXPECT_TRUE(contains(result.out, setting_keys[i].name)) << setting_keys[i].name;
    EXPECT_FALSE(contains(result.out, "Creating"));
}

TEST_F(Settings, SetThenGet)
{
    for (const char *value : {"-dPDFSETTINGS=/screen", " blanks  around ",
                              "it's \"quoted\" \\ $HOME `x` %s", "-x", "--",
                              "Gr\xc3\xbc\xc3\x9f"
                              "e",
                              "0", "a\nb\tc"}) {
        const program_result set =
            user.papermill({"settings", "set", "--", "PS2PDF_OPTION_STR", value});
        EXPECT_EQ(set.status, cli_done) << value << story(set);
        EXPECT_EQ(set.out + set.err, "");
        const program_result get = user.papermill({"settings", "get", "PS2PDF_OPTION_STR"});
        EXPECT_EQ(get.status, cli_done) << value;
        EXPECT_EQ(get.out, std::string(value) + "\n");
        EXPECT_EQ(get.err, "");
    }
}

TEST_F(Settings, GetPrintsNothingElseOnTheVeryFirstStart)
{
    // The start that makes the preferences file says so, but not here.
    const program_result unset = user.papermill({"settings", "get", "PICT_RES"});
    EXPECT_EQ(unset.out, "");
    EXPECT_EQ(unset.status, cli_failed);

    terminal_user other;
    const program_result set = other.papermill({"settings", "set", "PICT_RES", "72"});
    EXPECT_EQ(set.status, cli_done);
    EXPECT_EQ(set.out + set.err, "");
    const program_result get = other.papermill({"settings", "get", "PICT_RES"});
    EXPECT_EQ(get.out, "72\n");
    EXPECT_EQ(get.err, "");
}

TEST_F(Settings, GetOfAnUnsetOneFails)
{
    user.set("PICT_RES", "72");
    user.set("PICT_RES", ""); // not set any more
    const program_result result = user.papermill({"settings", "get", "PICT_RES"});
    EXPECT_EQ(result.status, cli_failed);
    EXPECT_EQ(result.out, "");
}

TEST_F(Settings, UnknownKeysAreWrongUsage)
{
    for (const strings &words :
         {strings{"settings", "get", "NOSUCHKEY"}, strings{"settings", "set", "NOSUCHKEY", "1"},
          strings{"settings", "get", "pict_res"}, strings{"settings", "get", ""}}) {
        const program_result result = user.papermill(words);
        EXPECT_EQ(result.status, cli_usage) << story(result);
        EXPECT_TRUE(contains(result.err, words[2])) << story(result);
        EXPECT_EQ(result.out, "");
    }
}

TEST_F(Settings, OutputThatCannotBeWrittenIsTold)
{
    for (const char *words : {"settings list", "tools", "--version"}) {
        const program_result result = user.run(
            {"sh", "-c", std::string("exec \"$0\" ") + words + " > /dev/full", program_path});
        EXPECT_EQ(result.status, cli_failed) << story(result);
        EXPECT_TRUE(contains(result.err, "the output can't be written")) << story(result);
    }
}

TEST_F(Settings, KeepsTheOthers)
{
    user.set("PICT_RES", "72");
    user.set("PS2PDF_OPTION_STR", std::string(3000, 'x'));
    user.set("TIFFFORMAT", "3");
    user.set("PS2PDF_OPTION_STR", "short");
    EXPECT_EQ(user.papermill({"settings", "get", "PICT_RES"}).out, "72\n");
    EXPECT_EQ(user.papermill({"settings", "get", "TIFFFORMAT"}).out, "3\n");
    EXPECT_EQ(user.papermill({"settings", "get", "PS2PDF_OPTION_STR"}).out, "short\n");
}

TEST_F(Settings, FileThatCannotBeWrittenIsTold)
{
    user.set("PICT_RES", "72");
    const std::string before = read_file(file());
    const fs::path folder = fs::path(file()).parent_path();
    chmod(file().c_str(), 0444);
    chmod(folder.c_str(), 0555);
    const strings wrapper = {"setpriv", "--bounding-set=-all", "--no-new-privs"};
    const program_result set = user.papermill_under(wrapper, {"settings", "set", "PICT_RES", "99"});
    EXPECT_EQ(set.status, cli_failed) << story(set);
    EXPECT_TRUE(contains(set.err, file())) << story(set);
    const program_result get = user.papermill_under(wrapper, {"settings", "get", "PICT_RES"});
    EXPECT_EQ(get.out, "72\n") << story(get);
    EXPECT_EQ(read_file(file()), before);
    EXPECT_EQ(names_in(folder), strings{"PapermillPrefsDF"});
    chmod(folder.c_str(), 0755);
}

TEST_F(Settings, FullDiskKeepsThem)
{
    user.set("PICT_RES", "72");
    const std::string before = read_file(file());
    const program_result set =
        user.papermill_under({"prlimit", "--fsize=100"},
                             {"settings", "set", "PS2PDF_OPTION_STR", std::string(2000, 'x')});
    EXPECT_EQ(set.status, cli_failed) << story(set);
    EXPECT_TRUE(contains(set.err, file())) << story(set);
    EXPECT_EQ(read_file(file()), before);
    EXPECT_EQ(names_in(fs::path(file()).parent_path()), strings{"PapermillPrefsDF"});
}

class DamagedSettings : public Settings, public testing::WithParamInterface<const char *> {
protected:
    void damage() const
    {
        const std::string kind = GetParam();
        const std::string whole = read_file(file());
        std::string bytes;
        if (kind == "cut")
            bytes = whole.substr(0, whole.size() / 2);
        else if (kind == "head")
            bytes = whole.substr(0, 10);
        else if (kind == "random")
            bytes = std::string("\xff\x00\x7f random \xfe", 12) + std::string(500, '\xaa');
        write_file(file(), bytes);
    }
};

TEST_P(DamagedSettings, AreToldOnceAndPutAside)
{
    user.write("in.ps", drawing_ps(50, 50));
    user.set("PICT_RES", "72");
    damage();
    const std::string damaged = read_file(file());

    const program_result first = user.papermill({"in.ps"});
    EXPECT_EQ(first.status, cli_done) << story(first);
    EXPECT_EQ(count(first.out, "damaged. It is now named \"" + file() + ".damaged\""), 1U)
        << story(first);
    EXPECT_EQ(read_file(file() + ".damaged"), damaged);
    EXPECT_TRUE(user.has("in.pdf"));

    const program_result second = user.papermill({"in.ps"});
    EXPECT_FALSE(contains(second.out, "damaged")) << story(second);
    EXPECT_EQ(user.papermill({"settings", "get", "PICT_RES"}).status, cli_failed);
    user.set("PICT_RES", "99");
    EXPECT_EQ(user.papermill({"settings", "get", "PICT_RES"}).out, "99\n");
    EXPECT_EQ(names_in(fs::path(file()).parent_path()),
              (strings{"PapermillPrefsDF", "PapermillPrefsDF.damaged"}));
}

TEST_P(DamagedSettings, AreToldInEveryCommand)
{
    user.write("in.ps", drawing_ps(50, 50));
    for (const strings &words :
         {strings{"settings", "list"}, strings{"settings", "get", "PICT_RES"},
          strings{"settings", "set", "PICT_RES", "99"}, strings{"tools"},
          strings{"--quiet", "in.ps"}}) {
        user.set("PICT_RES", "72");
        damage();
        const program_result result = user.papermill(words);
        EXPECT_TRUE(contains(result.err, "damaged")) << words[0] << story(result);
        EXPECT_FALSE(contains(result.out, "damaged")) << words[0] << story(result);
    }
}

INSTANTIATE_TEST_SUITE_P(Ways, DamagedSettings, testing::Values("empty", "cut", "head", "random"),
                         [](const testing::TestParamInfo<const char *> &each) {
                             return std::string(each.param);
                         });

} // namespace
