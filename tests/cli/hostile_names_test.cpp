// Files and folders whose names mean something to a shell, to a tool, or to nobody.

#include "cli/exit_statuses.h"
#include "tests/support/conversions.h"
#include "tests/support/terminal_test.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <ostream>

namespace fs = std::filesystem;

namespace {

struct hostile_name {
    const char *title; // letters, for the test's name
    std::string name;
};

void PrintTo(const hostile_name &each, std::ostream *stream)
{
    *stream << each.title;
}

// "pwned" is a command on PATH that leaves a trace when a part of a name is run.
const hostile_name hostile_names[] = {
    {"blanks", "two  words here"},
    {"single_quote", "it's"},
    {"double_quote", "say \"hi\""},
    {"lone_double_quote", "6\""},
    {"variable", "$HOME"},
    {"variable_in_braces", "${HOME}"},
    {"tcsh_variable", "$argv[1]:q"},
    {"lone_dollar", "a$"},
    {"backquotes", "`pwned`"},
    {"lone_backquote", "a`b"},
    {"substitution", "$(pwned)"},
    {"substitution_out_of_quotes", "\"$(pwned)\""},
    {"broken_quotes", "\";pwned;\""},
    {"broken_single_quotes", "';pwned;'"},
    {"semicolon", "a;pwned;b"},
    {"ampersand", "a&pwned&b"},
    {"pipe", "a|pwned"},
    {"leading_pipe", "|pwned"},
    {"pipe_device", "%pipe%pwned"},
    {"less", "a<b"},
    {"greater", "a>pwned.txt"},
    {"star", "*"},
    {"question_mark", "?"},
    {"brackets", "[a]"},
    {"bracket_list", "[a,b]"},
    {"braces", "{a,b}"},
    {"parentheses", "(a)"},
    {"postscript_string", "(a) run) pop"},
    {"tilde", "~"},
    {"tilde_user", "~root"},
    {"exclamation", "!"},
    {"two_exclamations", "a!!b"},
    {"hash", "#"},
    {"at", "@"},
    {"at_name", "@pwned"},
    {"colon", "a:b"},
    {"lone_colon", ":"},
    {"percent_d", "%d"},
    {"percent_s", "%s%n%s"},
    {"percent_percent", "100%%"},
    {"caret", "^a^b^"},
    {"equals", "A=b"},
    {"backslash", "a\\b"},
    {"ends_with_backslash", "a\\"},
    {"backslash_n", "a\\nb"},
    {"tab", "a\tb"},
    {"newline", "a\nb"},
    {"newline_command", "a\npwned\nb"},
    {"carriage_return", "a\rb"},
    {"escape", "a\x1b[31mb"},
    {"leading_dash", "-dash"},
    {"option", "-sOutputFile=pwned"},
    {"long_option", "--help"},
    {"leading_blank", " a"},
    {"trailing_blank", "a "},
    {"leading_dot", ".a"},
    {"two_dots", "..a"},
    {"dots", "a.b.c"},
    {"umlauts", "Gr\xc3\xbc\xc3\x9f"
                "e"},
    {"japanese", "\xe6\x97\xa5\xe6\x9c\xac\xe8\xaa\x9e"},
    {"latin_1", "\xe9t\xe9"},
    {"no_utf_8", "a\xff\xfe\xc3"},
    {"own_names", "papermill-in"},
    {"long", std::string(240, 'n')},
    {"long_umlauts",
     [] {
         std::string name;
         while (name.size() < 240)
             name += "\xc3\xbc";
         return name;
     }()},
};

struct way {
    const char *locale;
    const char *pstopdf; // the setting
};

const way ways[] = {{"C", "0"}, {"C.UTF-8", "0"}, {"C", "1"}, {"C.UTF-8", "1"}};

// Everything that the program meets is called that: files, the folders they lie in, the home, the
// temporary folder.
class HostileName : public testing::TestWithParam<hostile_name> {
protected:
    void SetUp() override
    {
        trace = user.elsewhere("trace");
        const fs::path commands = user.elsewhere("commands");
        fs::create_directory(commands);
        write_file(commands / "pwned", "#!/bin/sh\necho ran >> '" + trace + "'\n");
        fs::permissions(commands / "pwned", fs::perms::owner_all);
        user.environment["PATH"] = std::string(std::getenv("PATH")) + ":" + commands.string();
    }

    void TearDown() override
    {
        EXPECT_FALSE(file_exists(trace)) << "a part of a name was run";
        EXPECT_EQ(user.leftovers(), strings());
        EXPECT_EQ(names_in(user.home), strings{".config"});
        EXPECT_EQ(names_in(user.home + "/.config/papermill"), strings{"PapermillPrefsDF"});
    }

    void go(const way &which)
    {
        user.environment["LC_ALL"] = which.locale;
        user.set("APPLE_PDF_STR", which.pstopdf);
    }

    // Converts, and holds that the files in the working folder are then the ones given.
    void convert(const strings &words, strings expected)
    {
        std::sort(expected.begin(), expected.end());
        const program_result result = user.papermill(words);
        EXPECT_EQ(result.status, cli_done) << story(result);
        EXPECT_EQ(user.names(), expected) << story(result);
        EXPECT_EQ(result.err, "");
    }

    const std::string name = GetParam().name;
    const std::string folder_name = name.size() < 100 ? name + ".d" : "d";
    terminal_user user{name.size() < 100 ? name : ""};
    std::string trace;
};

TEST_P(HostileName, OfFilesThatAreOpened)
{
    // Two folders, because both outputs are called the same.
    fs::create_directory(user.path(folder_name));
    user.write(name + ".ps", drawing_ps(101, 50));
    user.write(folder_name + "/" + name + ".eps", drawing_eps(102, 50));
    const std::string first = user.path(name + ".pdf");
    const std::string second = user.path(folder_name + "/" + name + ".pdf");
    for (const way &each : ways) {
        SCOPED_TRACE(std::string(each.locale) + " " + each.pstopdf);
        go(each);
        convert({"--", name + ".ps", folder_name + "/" + name + ".eps"},
                {name + ".ps", folder_name, name + ".pdf"});
        EXPECT_EQ(names_in(user.path(folder_name)), (strings{name + ".eps", name + ".pdf"}));
        EXPECT_EQ(pdf_page_size(first), "101 x 50");
        EXPECT_EQ(pdf_page_size(second), "102 x 50");
        std::remove(first.c_str());
        std::remove(second.c_str());
    }
}

TEST_P(HostileName, OfTheOutput)
{
    user.write("in.ps", drawing_ps(103, 50));
    user.write("in.eps", drawing_eps(104, 50));
    go({"C", "0"});
    convert({"ps2pdf", "--", "in.ps", name}, {"in.ps", "in.eps", name});
    EXPECT_EQ(pdf_page_size(user.path(name)), "103 x 50");
    // And once more, in the place of what is there.
    go({"C.UTF-8", "1"});
    convert({"ps2pdf", "--", "in.eps", name}, {"in.ps", "in.eps", name});
    EXPECT_EQ(pdf_page_size(user.path(name)), "104 x 50");
}

// All of them take the same way to their tools: these names are one of each kind.
class HostileNameAnywhere : public HostileName {};

TEST_P(HostileNameAnywhere, OfInputAndOutputOfEveryConversion)
{
    go({"C.UTF-8", "0"});
    for (const conversion &how : conversions) {
        if (how.command.empty() || how.command[0] == "ps2pdf")
            continue; // above
        SCOPED_TRACE(how.title);
        const std::string folder = "folder";
        const std::string in = name + ending_of(how.takes);
        const std::string out = how.takes_out ? folder + "/" + name : output_of(how, in);
        user.write(in, make_document(how.takes, 107));
        fs::create_directory(user.path(folder));
        const program_result result = user.papermill(call_words(how, in, out));
        EXPECT_EQ(result.status, cli_done) << story(result);
        EXPECT_EQ(result.err, "");
        EXPECT_EQ(names_in(user.path(folder)), how.takes_out ? strings{name} : strings());
        fs::remove(user.path(in));
        EXPECT_TRUE(is_made_of(how, user.path(out), 107)) << story(result);
        fs::remove(user.path(out));
        fs::remove(user.path(folder));
        EXPECT_EQ(user.names(), strings());
    }
}

std::string title(const testing::TestParamInfo<hostile_name> &info)
{
    return info.param.title;
}

INSTANTIATE_TEST_SUITE_P(Names, HostileName, testing::ValuesIn(hostile_names), title);

std::vector<hostile_name> one_of_each_kind()
{
    const strings titles = {"blanks",
                            "single_quote",
                            "double_quote",
                            "variable",
                            "tcsh_variable",
                            "backquotes",
                            "substitution",
                            "broken_quotes",
                            "leading_pipe",
                            "pipe_device",
                            "star",
                            "bracket_list",
                            "parentheses",
                            "postscript_string",
                            "at_name",
                            "exclamation",
                            "percent_d",
                            "percent_s",
                            "lone_colon",
                            "backslash_n",
                            "ends_with_backslash",
                            "newline_command",
                            "option",
                            "latin_1",
                            "no_utf_8",
                            "own_names",
                            "long"};
    std::vector<hostile_name> result;
    for (const hostile_name &each : hostile_names) {
        if (std::find(titles.begin(), titles.end(), each.title) != titles.end())
            result.push_back(each);
    }
    return result;
}

INSTANTIATE_TEST_SUITE_P(Names, HostileNameAnywhere, testing::ValuesIn(one_of_each_kind()), title);

// The names are words of one line for the shell.
TEST(HostileNames, OfAllThatIsMerged)
{
    terminal_user user;
    strings words = {"merge", "-o", "$(pwned) \"out\".pdf", "--"};
    int width = 110;
    for (const hostile_name &each : hostile_names) {
        user.write(each.name, make_document(document::pdf, ++width));
        words.push_back(each.name);
    }
    const program_result result = user.papermill(words);
    EXPECT_EQ(result.status, cli_done) << story(result);
    const std::string out = user.path(words[2]);
    const int count = static_cast<int>(std::size(hostile_names));
    ASSERT_EQ(pdf_page_count(out), count) << story(result);
    const std::string text = pdf_text(out);
    std::size_t at = 0;
    for (int page = 0; page < count; ++page) {
        at = text.find("papermill" + std::to_string(111 + page), at);
        ASSERT_NE(at, std::string::npos) << "page " << page + 1 << " of\n" << text;
    }
    EXPECT_EQ(user.names().size(), std::size(hostile_names) + 1);
    EXPECT_EQ(user.leftovers(), strings());
}

// The settings may lie under a name of their own choice, too.
TEST(HostileNames, OfTheSettingsFolder)
{
    terminal_user user;
    const std::string settings = user.elsewhere("$(pwned) \"it's\n\\`");
    user.environment["XDG_CONFIG_HOME"] = settings;
    user.set("PICT_RES", "99");
    EXPECT_EQ(user.papermill({"settings", "get", "PICT_RES"}).out, "99\n");
    EXPECT_EQ(names_in(settings + "/papermill"), strings{"PapermillPrefsDF"});
    EXPECT_EQ(names_in(user.home), strings());
}

// The program itself may stand under any name that can be part of PATH.
TEST(HostileNames, OfTheBundle)
{
    terminal_user user;
    const fs::path bundle = user.elsewhere("my $(pwned) \"it's\" \\`[a] \xe9.app");
    fs::create_directory(bundle);
    fs::copy(PAPERMILL_BUNDLE, bundle / "Contents", fs::copy_options::recursive);
    user.write("in.ps", drawing_ps(105, 50));
    const program_result result = user.run({bundle / "Contents/Linux/papermill", "in.ps"});
    EXPECT_EQ(result.status, cli_done) << story(result);
    EXPECT_EQ(pdf_page_size(user.path("in.pdf")), "105 x 50");
    EXPECT_EQ(user.leftovers(), strings());
}

// Links to the program find its parts.
TEST(HostileNames, OfALinkToTheProgram)
{
    terminal_user user;
    const std::string link = user.elsewhere("my $(pwned) link");
    fs::create_symlink(program_path, link);
    user.write("in.ps", drawing_ps(106, 50));
    const program_result result = user.run({link, "in.ps"});
    EXPECT_EQ(result.status, cli_done) << story(result);
    EXPECT_EQ(pdf_page_size(user.path("in.pdf")), "106 x 50");
}

} // namespace
