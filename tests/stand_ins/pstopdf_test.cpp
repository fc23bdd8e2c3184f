#include "platform/core/run_processes.h"
#include "tests/support/eventually.h"
#include "tests/support/run_program.h"
#include "tests/support/temporary_folder.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <sstream>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

static const std::string pstopdf = PAPERMILL_BUNDLE "/Resources/bin/pstopdf";

static const std::string head = "%!PS\n/Helvetica findfont 20 scalefont setfont\n";
static const std::string endless = head + "72 72 moveto (one) show showpage\n{} loop\n";
static const std::string noisy = head + "(a message) print (another) = showpage\n";

static std::string page(const std::string &text)
{
    return "72 72 moveto (" + text + ") show showpage\n";
}

static const std::string two_pages = head + page("one") + page("two");

class Pstopdf : public testing::Test {
protected:
    program_call call(const std::vector<std::string> &arguments) const
    {
        program_call result = {.arguments = {pstopdf},
                               .environment = {{"TMPDIR", temporary.path()}},
                               .folder = folder.path()};
        result.arguments.insert(result.arguments.end(), arguments.begin(), arguments.end());
        return result;
    }
    program_result run(const std::vector<std::string> &arguments) const
    {
        return run_program(call(arguments));
    }

    std::string text_of(const std::string &name) const
    {
        return run_program({{"pdftotext", folder / name, "-"}}).out;
    }
    int pages_of(const std::string &name) const
    {
        const program_result r = run_program({{"qpdf", "--show-npages", folder / name}});
        return r.status == 0 ? std::stoi(r.out) : -1;
    }
    // All that the file says, without dates and identifiers.
    std::string content_of(const std::string &name) const
    {
        std::istringstream lines(
            run_program({{"qpdf", "--qdf", "--static-id", folder / name, "-"}}).out);
        std::string result, line;
        while (std::getline(lines, line)) {
            if (line.find("Date") == std::string::npos && line.find("uuid") == std::string::npos &&
                line.find("/ID ") == std::string::npos)
                result += line + "\n";
        }
        return result;
    }

    temporary_folder folder, temporary;
};

TEST_F(Pstopdf, ConvertsTheOutputOfAnotherProgram)
{
    const program_result groff = run_program(
        {.arguments = {"groff", "-Tps", "-ms"}, .input = ".LP\nfirst words\n.bp\nlast words\n"});
    ASSERT_EQ(groff.status, 0);
    folder.write("letter.ps", groff.out);
    const program_result r = run({"letter.ps", "-o", "out.pdf"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out + r.err, "");
    EXPECT_EQ(pages_of("out.pdf"), 2);
    EXPECT_NE(text_of("out.pdf").find("first words"), std::string::npos);
    EXPECT_NE(text_of("out.pdf").find("last words"), std::string::npos);
    EXPECT_TRUE(temporary.names().empty());
}

TEST_F(Pstopdf, TakesItsArgumentsInAnyOrder)
{
    folder.write("in.ps", two_pages);
    std::vector<std::string> parts = {"-l", "-o", "-p", "in.ps"};
    std::sort(parts.begin(), parts.end());
    do {
        std::vector<std::string> arguments;
        for (const std::string &part : parts) {
            arguments.push_back(part);
            if (part == "-o")
                arguments.emplace_back("out.pdf");
        }
        const program_result r = run(arguments);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, "Page 1\nPage 2\n");
        EXPECT_EQ(pages_of("out.pdf"), 2);
        EXPECT_EQ(folder.names(), (std::vector<std::string>{"in.ps", "out.pdf"}));
        std::filesystem::remove(folder / "out.pdf");
    } while (std::next_permutation(parts.begin(), parts.end()));
}

TEST_F(Pstopdf, NamesTheOutputAfterTheInput)
{
    const temporary_folder source;
    const std::vector<std::pair<std::string, std::string>> names = {{"a.ps", "a.pdf"},
                                                                    {"b.c.eps", "b.c.pdf"},
                                                                    {"d", "d.pdf"},
                                                                    {".ps", ".ps.pdf"},
                                                                    {"e.", "e.pdf"}};
    for (const auto &[input, output] : names) {
        EXPECT_EQ(run({source.write(input, two_pages)}).status, 0);
        EXPECT_EQ(pages_of(output), 2) << output;
    }
    EXPECT_EQ(folder.names().size(), names.size());
}

TEST_F(Pstopdf, ReadsStandardInput)
{
    for (const std::vector<std::string> &arguments :
         {std::vector<std::string>{}, {"-i"}, {"-p", "-l", "-i"}}) {
        program_call c = call(arguments);
        c.input = two_pages;
        EXPECT_EQ(run_program(c).status, 0);
        EXPECT_EQ(pages_of("stdin.pdf"), 2);
        EXPECT_EQ(folder.names(), std::vector<std::string>{"stdin.pdf"});
        std::filesystem::remove(folder / "stdin.pdf");
    }
    program_call c = call({"-i", "-o", "named.pdf"});
    c.input = two_pages;
    EXPECT_EQ(run_program(c).status, 0);
    EXPECT_EQ(folder.names(), std::vector<std::string>{"named.pdf"});
    c.input = head + "nonsense\n";
    EXPECT_EQ(run_program(c).status, 1);
}

// ---- messages ----

TEST_F(Pstopdf, PrintsMessagesOnStandardError)
{
    folder.write("in.ps", noisy + "nonsense\n");
    const program_result r = run({"in.ps"});
    EXPECT_EQ(r.out, "");
    EXPECT_NE(r.err.find("a messageanother\n"), std::string::npos);
    EXPECT_NE(r.err.find("Error: /undefined in nonsense"), std::string::npos);
    EXPECT_NE(r.err.find("Unrecoverable error"), std::string::npos);
    EXPECT_EQ(r.status, 1);
}

TEST_F(Pstopdf, WritesMessagesToALog)
{
    folder.write("in.ps", noisy + "nonsense\n");
    const program_result r = run({"-l", "in.ps", "-o", "out"});
    EXPECT_EQ(r.out + r.err, "");
    EXPECT_EQ(r.status, 1);
    const std::string log = read_file(folder / "out.log");
    EXPECT_NE(log.find("a messageanother\n"), std::string::npos);
    EXPECT_NE(log.find("Error: /undefined in nonsense"), std::string::npos);
    EXPECT_NE(log.find("Unrecoverable error"), std::string::npos);
}

TEST_F(Pstopdf, LeavesNoLogWithoutMessages)
{
    folder.write("in.ps", two_pages);
    folder.write("in.pdf.log", "of an earlier run");
    EXPECT_EQ(run({"-l", "in.ps"}).status, 0);
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"in.pdf", "in.ps"}));
}

TEST_F(Pstopdf, ReplacesAnOlderLogWithoutFollowingLinks)
{
    folder.write("in.ps", noisy);
    const std::string precious = folder.write("precious", "kept");
    std::filesystem::create_symlink(precious, folder / "in.pdf.log");
    EXPECT_EQ(run({"-l", "in.ps"}).status, 0);
    EXPECT_EQ(read_file(precious), "kept");
    EXPECT_EQ(read_file(folder / "in.pdf.log"), "a messageanother\n");
}

TEST_F(Pstopdf, PrintsMessagesThatNoLogCanTake)
{
    folder.write("in.ps", noisy);
    folder.make_folder("in.pdf.log");
    const program_result r = run({"-l", "in.ps"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "pstopdf: in.pdf.log: File exists\na messageanother\n");
}

TEST_F(Pstopdf, WritesLongMessagesWhole)
{
    folder.write("in.ps", head + "1 1 100000 {=} for showpage\n");
    EXPECT_EQ(run({"-l", "in.ps"}).status, 0);
    std::string expected;
    for (int i = 1; i <= 100000; ++i)
        expected += std::to_string(i) + "\n";
    EXPECT_TRUE(read_file(folder / "in.pdf.log") == expected); // a difference would be too long
}

// ---- pages ----

TEST_F(Pstopdf, TellsEachPageAndChangesNothing)
{
    struct document {
        std::string name, body;
        int pages, told;
    };
    const std::vector<document> documents = {
        {"plain", page("one") + page("two") + page("three"), 3, 3},
        {"sizes",
         page("one") + "<< /PageSize [300 300] >> setpagedevice\n" + page("two") +
             "save << /PageSize [400 300] >> setpagedevice\n" + page("three") + "restore\n" +
             page("four"),
         4, 4},
        {"begin page",
         "<< /BeginPage {pop 9 9 moveto 50 50 lineto stroke} >> setpagedevice\n" + page("one"), 1,
         1},
        {"grestoreall", page("one") + "grestoreall initgraphics\n" + page("two"), 2, 2},
        {"copypage", "72 72 moveto (one) show copypage\n" + page("two"), 2, 2},
        {"redefined", "/exch {stop} def /pop {stop} def /if {stop} def\n" + page("one"), 1, 1},
        {"save", "save\n" + page("one") + "restore\n" + page("two"), 2, 2},
        // A document that says itself what a page's end is has its way.
        {"every second page",
         "<< /EndPage {2 ne {2 mod 1 eq} {pop false} ifelse} >> setpagedevice\n" + page("a") +
             page("b") + page("c") + page("d"),
         2, 0},
    };
    for (const document &each : documents) {
        folder.write("in.ps", head + each.body);
        const program_result plain = run({"in.ps", "-o", "plain.pdf"});
        ASSERT_EQ(plain.status, 0) << each.name;
        const program_result r = run({"in.ps", "-o", "told.pdf", "-p"});
        ASSERT_EQ(r.status, 0) << each.name << r.err;
        std::string lines;
        for (int i = 1; i <= each.told; ++i)
            lines += "Page " + std::to_string(i) + "\n";
        EXPECT_EQ(r.out, lines) << each.name;
        EXPECT_EQ(r.err, plain.err) << each.name;
        EXPECT_EQ(pages_of("told.pdf"), each.pages) << each.name;
        ASSERT_NE(content_of("told.pdf"), "");
        EXPECT_EQ(content_of("told.pdf"), content_of("plain.pdf")) << each.name;
    }
}

TEST_F(Pstopdf, TellsAPageWhenItIsFinished)
{
    folder.write("in.ps", endless);
    running_program r(call({"in.ps", "-p"}));
    EXPECT_TRUE(r.wait_for_output("Page 1\n"));
    r.send_signal(SIGKILL);
    EXPECT_EQ(r.finish().signal, SIGKILL);
}

TEST_F(Pstopdf, KeepsPageLinesApartFromMessages)
{
    folder.write("in.ps",
                 head + "(no line end) print\n" + page("one") + "(Page 9) =\n" + page("two"));
    const program_result r = run({"in.ps", "-p"});
    EXPECT_EQ(r.out, "Page 1\nPage 2\n");
    EXPECT_EQ(r.err, "no line endPage 9\n");
}

TEST_F(Pstopdf, GoesOnWhenNobodyReadsThePageLines)
{
    std::string document = head;
    for (int i = 0; i < 20; ++i)
        document += page("x");
    folder.write("in.ps", document);
    program_call c = call({});
    c.arguments = {"sh", "-c", "exec \"$0\" in.ps -p | true", pstopdf};
    EXPECT_EQ(run_program(c).status, 0);
    EXPECT_EQ(pages_of("in.pdf"), 20);
}

// ---- names ----

TEST_F(Pstopdf, ConvertsFilesOfAnyName)
{
    const std::string long_name(240, 'n');
    for (const std::string name :
         {"a b", "it's \"so\"", "$HOME `x` $(touch x)", "a;b&c|d<e>f", "*[a]{a,b}~!#:?", "%d%s%%",
          "\\", "tab\tline\nend", "|touch x", "%pipe%touch x", "%stdin", "@list",
          "\xc3\xa4\xc3\xb6", "\xff\xfe", "(paren", "= -c quit", long_name.c_str()}) {
        folder.write(name, two_pages);
        const std::string output = name + std::string(".pdf");
        const program_result r = run({name, "-l", "-p", "-o", output});
        EXPECT_EQ(r.status, 0) << name;
        EXPECT_EQ(r.out + r.err, "Page 1\nPage 2\n") << name;
        std::vector<std::string> expected = {name, output};
        std::sort(expected.begin(), expected.end());
        EXPECT_EQ(folder.names(), expected);
        std::filesystem::copy_file(folder / output, temporary / "copy.pdf");
        EXPECT_EQ(run_program({{"qpdf", "--show-npages", temporary / "copy.pdf"}}).out, "2\n");
        std::filesystem::remove(temporary / "copy.pdf");
        std::filesystem::remove(folder / name);
        std::filesystem::remove(folder / output);
    }
}

TEST_F(Pstopdf, ConvertsFilesWithALeadingDash)
{
    folder.write("-dash.ps", two_pages);
    EXPECT_EQ(run({"./-dash.ps"}).status, 0);
    EXPECT_EQ(run({"./-dash.ps", "-o", "-other"}).status, 0);
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"-dash.pdf", "-dash.ps", "-other"}));
    EXPECT_EQ(pages_of("-other"), 2);
}

TEST_F(Pstopdf, WritesThroughALink)
{
    folder.write("in.ps", two_pages);
    folder.write("target", "old");
    std::filesystem::create_symlink("target", folder / "out.pdf");
    EXPECT_EQ(run({"in.ps", "-o", "out.pdf"}).status, 0);
    EXPECT_TRUE(std::filesystem::is_symlink(folder / "out.pdf"));
    EXPECT_EQ(pages_of("target"), 2);
    EXPECT_EQ(run({"in.ps", "-o", "/dev/null"}).status, 0);
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
}

TEST_F(Pstopdf, ReplacesAnOlderOutputWhole)
{
    folder.write("in.ps", two_pages);
    folder.write("in.pdf", std::string(1000000, 'x'));
    EXPECT_EQ(run({"in.ps"}).status, 0);
    EXPECT_EQ(pages_of("in.pdf"), 2);
    EXPECT_LT(std::filesystem::file_size(folder / "in.pdf"), 100000U);
}

TEST_F(Pstopdf, RefusesToOverwriteItsInput)
{
    folder.write("in.pdf", two_pages);
    std::filesystem::create_symlink("in.pdf", folder / "link");
    std::filesystem::create_hard_link(folder / "in.pdf", folder / "hard");
    for (const std::string output : {"in.pdf", "./in.pdf", "link", "hard"}) {
        const program_result r = run({"in.pdf", "-o", output});
        EXPECT_EQ(r.status, 1);
        EXPECT_EQ(r.err,
                  "pstopdf: " + output + ": the output is the input. Choose another name.\n");
    }
    EXPECT_EQ(run({"in.pdf"}).status, 1);
    EXPECT_EQ(read_file(folder / "in.pdf"), two_pages);
}

// ---- failures ----

TEST_F(Pstopdf, NamesWhatItCannotOpen)
{
    folder.write("in.ps", two_pages);
    folder.make_folder("folder");
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
        {{"no.ps"}, "pstopdf: no.ps: No such file or directory\n"},
        {{"folder"}, "pstopdf: folder: Is a directory\n"},
        {{"in.ps", "-o", "folder"}, "pstopdf: folder: Is a directory\n"},
        {{"in.ps", "-o", "no/out.pdf"}, "pstopdf: no/out.pdf: No such file or directory\n"},
        {{"in.ps", "-o", ""}, "pstopdf: : No such file or directory\n"},
    };
    for (const auto &[arguments, message] : cases) {
        const program_result r = run(arguments);
        EXPECT_EQ(r.status, 1);
        EXPECT_EQ(r.err, message);
        EXPECT_EQ(r.out, "");
    }
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"folder", "in.ps"}));
}

TEST_F(Pstopdf, NamesWhatItMayNotOpen)
{
    // Root may open everything: give its rights up.
    std::filesystem::permissions(folder.path(), std::filesystem::perms(0755));
    std::filesystem::copy_file(pstopdf, folder / "pstopdf");
    folder.write("in.ps", two_pages);
    std::filesystem::permissions(folder.write("secret.ps", two_pages), std::filesystem::perms(0));
    program_call c = call({});
    c.arguments = {"./pstopdf", "secret.ps", "-o", "/dev/null"};
    if (geteuid() == 0)
        c.arguments.insert(c.arguments.begin(), {"setpriv", "--reuid=65534", "--clear-groups"});
    program_result r = run_program(c);
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "pstopdf: secret.ps: Permission denied\n");

    std::filesystem::permissions(folder.path(), std::filesystem::perms(0555));
    c.arguments.erase(c.arguments.end() - 3, c.arguments.end());
    c.arguments.push_back("in.ps");
    r = run_program(c);
    std::filesystem::permissions(folder.path(), std::filesystem::perms(0755));
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "pstopdf: in.pdf: Permission denied\n");
}

TEST_F(Pstopdf, NamesThePackageOfAMissingGhostscript)
{
    folder.write("in.ps", two_pages);
    program_call c = call({"in.ps"});
    c.environment["PATH"] = PAPERMILL_BUNDLE "/Resources/bin";
    const program_result r = run_program(c);
    EXPECT_EQ(r.status, 127);
    EXPECT_EQ(r.err, "pstopdf: gs was not found. Install the package ghostscript.\n");
    EXPECT_EQ(folder.names(), std::vector<std::string>{"in.ps"});
}

TEST_F(Pstopdf, EndsWithGhostscriptsStatus)
{
    folder.write("in.ps", two_pages);
    const temporary_folder bin;
    program_call c = call({"in.ps", "-l", "-p"});
    c.environment["PATH"] = bin.path() + ":/usr/bin:/bin";
    bin.write_program("gs", "#!/bin/sh\nexit 77\n");
    EXPECT_EQ(run_program(c).status, 77);
    bin.write_program("gs", "#!/bin/sh\nkill -SEGV $$\n");
    EXPECT_EQ(run_program(c).status, 128 + SIGSEGV);
}

TEST_F(Pstopdf, LetsADocumentReadAndWriteNothing)
{
    const std::string secret = folder.write("secret", "secret");
    for (const std::string &attempt :
         {"(" + secret + ") (r) file", "(" + folder / "made" + ") (w) file",
          std::string("(%pipe%touch made) (w) file"),
          std::string("(/proc/self/environ) (r) file")}) {
        folder.write("in.ps", head + attempt + "\n" + page("one"));
        const program_result r = run({"in.ps", "-p"});
        EXPECT_EQ(r.status, 1) << attempt;
        EXPECT_NE(r.err.find("invalidfileaccess"), std::string::npos) << r.err;
    }
    EXPECT_FALSE(file_exists(folder / "made"));
}

TEST_F(Pstopdf, TakesGhostscriptAlongWhenItIsKilled)
{
    prctl(PR_SET_CHILD_SUBREAPER, 1); // Ghostscript's end becomes visible here
    folder.write("in.ps", endless);
    for (const int number : {SIGKILL, SIGTERM, SIGINT}) {
        running_program r(call({"in.ps", "-l", "-p"}));
        ASSERT_TRUE(r.wait_for_output("Page 1\n"));
        const auto below = platform::list_run_processes(r.pid(), "");
        ASSERT_EQ(below.size(), 1U);
        EXPECT_EQ(below[0].name, "gs");
        r.send_signal(number);
        EXPECT_EQ(r.finish().signal, number);
        int status = 0;
        EXPECT_TRUE(eventually([&] { return waitpid(below[0].pid, &status, WNOHANG) > 0; }));
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
    }
}

TEST_F(Pstopdf, TellsThatGhostscriptWasKilled)
{
    folder.write("in.ps", endless);
    running_program r(call({"in.ps", "-p"}));
    ASSERT_TRUE(r.wait_for_output("Page 1\n"));
    const auto below = platform::list_run_processes(r.pid(), "");
    ASSERT_EQ(below.size(), 1U);
    kill(below[0].pid, SIGKILL);
    EXPECT_EQ(r.finish().status, 128 + SIGKILL);
}

// ---- forms that are not its own ----

TEST_F(Pstopdf, HandsUnknownOptionsOverToTheOtherPstopdf)
{
    folder.write("in.ps", two_pages);
    const temporary_folder bin;
    bin.write_program("pstopdf", "#!/bin/sh\nprintf '%s|' other \"$@\"\n");
    program_call c = call({"in.ps", "--paper=a4", "-l"});
    c.environment["PATH"] = PAPERMILL_BUNDLE "/Resources/bin:" + bin.path() + ":/usr/bin:/bin";
    EXPECT_EQ(run_program(c).out, "other|in.ps|--paper=a4|-l|");
    EXPECT_EQ(folder.names(), std::vector<std::string>{"in.ps"});
}

TEST_F(Pstopdf, ShowsItsUsage)
{
    folder.write("in.ps", two_pages);
    for (const std::vector<std::string> &arguments : {std::vector<std::string>{"--paper=a4"},
                                                      {"in.ps", "-x"},
                                                      {"in.ps", "-o"},
                                                      {"in.ps", "in.ps"},
                                                      {"in.ps", "-i"},
                                                      {"in.ps", "-o", "a", "-o", "b"},
                                                      {"-"}}) {
        const program_result r = run(arguments);
        EXPECT_EQ(r.status, 2);
        EXPECT_EQ(r.err, "usage: pstopdf [in] [-o out] [-l] [-p] [-i]\n");
    }
    EXPECT_EQ(folder.names(), std::vector<std::string>{"in.ps"});
}
