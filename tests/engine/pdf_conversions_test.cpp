#include "engine/pdf_conversions.h"

#include "app/globals.h"
#include "engine/tool_runner.h"
#include "platform/strings.h"
#include "tests/support/conversion_test.h"

#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>

namespace {

// One of the conversions from in_file to out_file.
struct conversion {
    const char *name; // the script's subcommand
    void (*convert)();
    const char *tool;
    bool captured; // its line has the capture file
    bool options;  // and options as its last part
};

const conversion conversions[] = {
    {"pdf2pdf", do_pdf2pdf, "gs", true, true},
    {"pdf2ps", [] { do_pdf2ps(nullptr); }, "gs", true, true},
    {"pdftops", [] { do_pdftops(nullptr); }, "pdftops", true, false},
    {"eps2eps", do_eps2eps, "gs", true, false},
    {"ps2ascii", [] { do_ps2ascii(nullptr); }, "gs", false, false},
};

// Without any options stored.
class PdfOptions : public conversion_test {
protected:
    PdfOptions()
    {
        take(folder.write("in.pdf", "%PDF-"), folder / "out.ps");
    }

    static void take(const std::string &input, const std::string &output)
    {
        ASSERT_TRUE(platform::copy_whole(in_file, input.c_str()));
        ASSERT_TRUE(platform::copy_whole(out_file, output.c_str()));
    }
};

class PdfConversions : public PdfOptions {
protected:
    PdfConversions()
    {
        set_setting("PS2PDF_OPTION_STR", "-r300 -dA=1");
        set_setting("PDF2PS_OPTION_STR", "-r300 -dA=1");
    }

    std::string line_of(const conversion &each) const
    {
        std::string line = std::string("gs.script ") + each.name + " " + pid;
        if (each.captured)
            line += std::string(" \"") + worksheet + "\"";
        line += " \"" + slot(out_file) + "\" \"" + slot(in_file) + "\"";
        return each.options ? line + " \"-r300 -dA=1\"" : line;
    }

    std::string banner_of(const conversion &each) const
    {
        if (!each.captured)
            return "Processing: " + line_of(each) + "\n";
        return std::string("Converting ") + in_file + " to " + out_file + "\n";
    }

    words arguments_of(const conversion &each) const
    {
        words all = {each.name, pid};
        if (each.captured)
            all.emplace_back(worksheet);
        all.insert(all.end(), {out_file, in_file});
        if (each.options)
            all.emplace_back("-r300 -dA=1");
        return all;
    }
};

} // namespace

// ---- what all have in common ----

TEST_F(PdfConversions, EachHasACommandLineAndAConvertingLineOfItsOwn)
{
    for (const conversion &each : conversions) {
        SCOPED_TRACE(each.name);
        console.clear();
        each.convert();
        EXPECT_EQ(command_line, line_of(each));
        EXPECT_EQ(script.arguments(), arguments_of(each));
        EXPECT_STREQ(unixTool, each.tool);
        EXPECT_EQ(shown(), banner_of(each) + complete);
    }
    EXPECT_EQ(failed_conversions, 0);
}

TEST_F(PdfConversions, NamesReachTheScriptAsTheyAre)
{
    ASSERT_EQ(chdir(folder.path().c_str()), 0);
    for (const std::string &name : telling_names()) {
        take(folder / (name + " in.pdf"), folder / (name + " out.ps"));
        for (const conversion &each : conversions) {
            SCOPED_TRACE(each.name);
            console.clear();
            each.convert();
            EXPECT_EQ(command_line, line_of(each));
            EXPECT_EQ(script.arguments(), arguments_of(each));
            EXPECT_EQ(shown(), banner_of(each) + complete);
        }
    }
    EXPECT_FALSE(file_exists(folder / "touched"));
}

TEST_F(PdfConversions, TheConvertingLineIsShownBeforeTheTool)
{
    for (const conversion &each : conversions) {
        SCOPED_TRACE(each.name);
        console.clear();
        watched.calls.clear();
        each.convert();
        EXPECT_EQ(redraws(), words{banner_of(each)});
    }
}

TEST_F(PdfConversions, OnlyTheWaitRestoresTheCursor)
{
    for (const conversion &each : conversions) {
        SCOPED_TRACE(each.name);
        watched.calls.clear();
        each.convert();
        EXPECT_EQ(watched.order(), "TXNForceUpdate ShowSheetWindow HideSheetWindow SetCursor");
    }
}

TEST_F(PdfConversions, WhatTheToolsSayIsShownExceptForText)
{
    script.does("says 'a tool'\"'\"'s words\\n'; echo 'its own words' > \"$run/messages\"\n"
                "ends 0 done; reports");
    for (const conversion &each : conversions) {
        SCOPED_TRACE(each.name);
        take(in_file, folder / each.name);
        console.clear();
        each.convert();
        EXPECT_EQ(shown(),
                  banner_of(each) + (each.captured ? "\na tool's words\n" : "") + complete);
        EXPECT_FALSE(file_exists(worksheet));
    }
}

TEST_F(PdfConversions, TheElapsedTimeIsInSeconds)
{
    for (const conversion &each : conversions) {
        SCOPED_TRACE(each.name);
        console.clear();
        watched.clock = {100, 250};
        each.convert();
        EXPECT_EQ(console.lines(),
                  banner_of(each) + "\nProcessing complete.\nElapsed time = 2.5 sec.\n\n");
    }
}

TEST_F(PdfConversions, EndingsAreToldApart)
{
    for (const conversion &each : conversions) {
        for (const way_to_end &way : ways_to_end) {
            SCOPED_TRACE(std::string(each.name) + ": " + way.steps);
            console.clear();
            failed_conversions = 0;
            script.does(way.steps);
            each.convert();
            EXPECT_EQ(shown(), banner_of(each) + complete + failure_line(way, in_file, each.tool));
            EXPECT_EQ(last_ending, way.ending);
            EXPECT_EQ(exit_status, way.status);
            EXPECT_EQ(failed_conversions, way.ending == ended_well ? 0 : 1);
        }
    }
}

TEST_F(PdfConversions, AfterACancelNothingElseIsPrinted)
{
    for (const conversion &each : conversions) {
        SCOPED_TRACE(each.name);
        console.clear();
        cancel_the_next_run();
        each.convert();
        EXPECT_EQ(shown(), banner_of(each) + cancelled);
        EXPECT_EQ(last_ending, ended_cancelled);
    }
    EXPECT_EQ(failed_conversions, 0);
}

TEST_F(PdfConversions, InTheBackgroundTheToolIsWaitedForWithoutASheet)
{
    inBackground = 1;
    script.does("sleep 0.1; echo > \"$run/../ended\"; ends 0 done; reports");
    for (const conversion &each : conversions) {
        SCOPED_TRACE(each.name);
        console.clear();
        each.convert();
        EXPECT_EQ(shown(), banner_of(each) + complete);
        EXPECT_EQ(unlink((std::string(tmpPath) + "/ended").c_str()), 0);
    }
    EXPECT_EQ(watched.count("ShowSheetWindow"), 0U);
}

TEST_F(PdfConversions, OnlyPdfToPdfMayReplaceItsInput)
{
    const std::string hard = folder / "hard.pdf";
    ASSERT_EQ(link(in_file, hard.c_str()), 0);
    for (const std::string &output : {std::string(in_file), hard}) {
        take(in_file, output);
        for (const conversion &each : conversions) {
            SCOPED_TRACE(each.name);
            console.clear();
            failed_conversions = 0;
            const int calls = script.calls();
            each.convert();
            if (each.convert == do_pdf2pdf) {
                EXPECT_EQ(script.arguments(), arguments_of(each));
                EXPECT_EQ(failed_conversions, 0);
                continue;
            }
            EXPECT_EQ(console.lines(),
                      std::string(in_file) +
                          ": the output would replace the input. Choose another name.\n");
            EXPECT_EQ(script.calls(), calls);
            EXPECT_EQ(failed_conversions, 1);
        }
    }
    EXPECT_EQ(read_file(in_file), "%PDF-");
}

TEST_F(PdfConversions, NeitherFileIsTouchedByTheRoutine)
{
    const std::string older = folder.write("out.ps", "older");
    for (const conversion &each : conversions)
        each.convert();
    EXPECT_EQ(read_file(older), "older");
    take(folder / "missing.pdf", out_file);
    for (const conversion &each : conversions)
        each.convert();
    EXPECT_EQ(script.calls(), 10);
    EXPECT_EQ(failed_conversions, 0);
}

TEST_F(PdfConversions, ACommandLineThatDoesNotFitIsRefused)
{
    const std::string options(command_size, 'o');
    set_setting("PS2PDF_OPTION_STR", options.c_str());
    set_setting("PDF2PS_OPTION_STR", options.c_str());
    do_pdf2pdf();
    do_pdf2ps(nullptr);
    const std::string refusal =
        std::string(in_file) +
        ": the command line is too long. Shorten the options or the names.\n";
    EXPECT_EQ(console.lines(), refusal + refusal);
    EXPECT_EQ(script.calls(), 0);
    EXPECT_EQ(failed_conversions, 2);
}

// ---- a given input ----

TEST_F(PdfConversions, AGivenInputBecomesTheCurrentOne)
{
    void (*const routines[])(const char *) = {do_pdf2ps, do_pdftops, do_ps2ascii};
    int n = 0;
    for (const auto routine : routines) {
        const std::string given = folder / ("given " + std::to_string(++n));
        routine(given.c_str());
        EXPECT_EQ(in_file, given);
        EXPECT_EQ(*(script.arguments().begin() + (routine == do_ps2ascii ? 3 : 4)), given);
        routine(nullptr);
        EXPECT_EQ(in_file, given);
        routine(in_file);
        EXPECT_EQ(in_file, given);
    }
    EXPECT_EQ(script.calls(), 9);
}

TEST_F(PdfConversions, APathThatDoesNotFitIsRefused)
{
    const std::string before = in_file;
    const std::string path = "/" + std::string(path_size - 1, 'p');
    const std::string refusal =
        path + ": the path is too long. Move the file or shorten its name.\n";
    do_pdf2ps(path.c_str());
    do_pdftops(path.c_str());
    do_ps2ascii(path.c_str());
    EXPECT_EQ(console.lines(), refusal + refusal + refusal);
    EXPECT_EQ(in_file, before);
    EXPECT_EQ(script.calls(), 0);
    EXPECT_EQ(failed_conversions, 3);
}

TEST_F(PdfConversions, TheLongestPathsAreConverted)
{
    take("/" + std::string(path_size - 2, '"'), "/" + std::string(path_size - 2, '$'));
    for (const conversion &each : conversions) {
        SCOPED_TRACE(each.name);
        each.convert();
        EXPECT_EQ(script.arguments(), arguments_of(each));
    }
}

// ---- options ----

TEST_F(PdfOptions, OfPdfToPdfFallBackToPrinterQuality)
{
    do_pdf2pdf();
    EXPECT_EQ(own_arguments(), (words{out_file, in_file, fallback_options}));
    EXPECT_EQ(command_line, "gs.script pdf2pdf " + pid + " \"" + worksheet + "\" \"" + out_file +
                                "\" \"" + in_file + "\" \"" + fallback_options + "\"");
    set_setting("PS2PDF_OPTION_STR", "");
    do_pdf2pdf();
    EXPECT_EQ(own_arguments().back(), fallback_options);
    set_setting("PS2PDF_OPTION_STR", "-dPDFSETTINGS=/screen");
    do_pdf2pdf();
    EXPECT_EQ(own_arguments().back(), "-dPDFSETTINGS=/screen");
}

TEST_F(PdfOptions, OfPdfToPostScriptAreEmptyUnlessSet)
{
    do_pdf2ps(nullptr);
    EXPECT_EQ(own_arguments(), (words{out_file, in_file, ""}));
    set_setting("PDF2PS_OPTION_STR", "");
    do_pdf2ps(nullptr);
    EXPECT_EQ(own_arguments(), (words{out_file, in_file, ""}));
    set_setting("PDF2PS_OPTION_STR", "-dLanguageLevel=1");
    do_pdf2ps(nullptr);
    EXPECT_EQ(own_arguments().back(), "-dLanguageLevel=1");
}

TEST_F(PdfOptions, AreNeverGivenToPdftops)
{
    do_pdftops(nullptr);
    EXPECT_EQ(own_arguments(), (words{out_file, in_file}));
    for (const char *options : {"", "-dLanguageLevel=1", "-level1"}) {
        set_setting("PDF2PS_OPTION_STR", options);
        do_pdftops(nullptr);
        EXPECT_EQ(own_arguments(), (words{out_file, in_file}));
    }
}

TEST_F(PdfOptions, AreOneArgumentWhateverTheyHold)
{
    const std::string options =
        "-sA=\"b\" $HOME `id` $(id) \\ ' \n -sLong=" + std::string(600, 'x');
    set_setting("PS2PDF_OPTION_STR", options.c_str());
    set_setting("PDF2PS_OPTION_STR", options.c_str());
    do_pdf2pdf();
    EXPECT_EQ(own_arguments().at(2), options);
    do_pdf2ps(nullptr);
    EXPECT_EQ(own_arguments().at(2), options);
}

// ---- text ----

TEST_F(PdfConversions, TheTextToolsWordsAreShownWhenItFailed)
{
    script.does("echo 'Error: /undefined' > \"$run/messages\"; ends 1 done; reports");
    do_ps2ascii(nullptr);
    EXPECT_EQ(shown(), "Processing: " + std::string(command_line) + "\n" + complete +
                           "\nError: /undefined\n" + in_file +
                           ": failed, gs ended with status 1.\n");
    EXPECT_FALSE(file_exists(worksheet));
}

// ---- PDF to DSC ----

namespace {

// Everything beside PATH's own cp and rm is the test's: they note how they are called.
class PdfToDsc : public conversion_test {
protected:
    PdfToDsc() : old_path(std::getenv("PATH"))
    {
        for (const std::string name : {"cp", "rm"}) {
            tools.write_program(name, "#!/bin/sh\n"
                                      "printf '%s\\n' " +
                                          name + " \"$@\" >> '" + tools.path() +
                                          "/log'\n"
                                          "exec /bin/" +
                                          name + " \"$@\"\n");
        }
        setenv("PATH", (tools.path() + ":" + old_path).c_str(), 1);
        input = folder.write("paper.pdf", "%PDF-");
        output = folder.make_folder("made") + "/index.dsc";
        copy = folder / "made/paper.pdf";
    }

    ~PdfToDsc() override
    {
        setenv("PATH", old_path.c_str(), 1);
    }

    std::string line(const std::string &in_name, const std::string &out_name) const
    {
        return "gs.script pdf2dsc " + pid + " \"" + worksheet + "\" \"" + slot(in_name) + "\" \"" +
               slot(out_name) + "\"";
    }

    std::string banner() const
    {
        return "Processing: " + line("paper.pdf", "index.dsc") + "\n";
    }

    std::string file_commands() const
    {
        return read_file(tools / "log");
    }

    static std::string current_folder()
    {
        char path[path_size];
        return getcwd(path, sizeof path) == nullptr ? "" : path;
    }

    std::string old_path;
    temporary_folder tools;
    std::string input, output, copy;
};

const std::string launch_error = "An error occurred when running gs.script.\n"
                                 "Launch /Applications/Utilities/Console and examine "
                                 "console.log.\n";

} // namespace

TEST_F(PdfToDsc, TheIndexIsMadeInTheOutputsFolderOnACopy)
{
    platform::copy_whole(in_file, "/in");
    platform::copy_whole(out_file, "/out");
    script.does("cp -f \"$4\" \"$run/../seen\"; says 'words\\n'; ends 0 done; reports");
    do_pdf2dsc(input.c_str(), output.c_str());
    EXPECT_EQ(script.arguments(), (words{"pdf2dsc", pid, worksheet, "paper.pdf", "index.dsc"}));
    EXPECT_EQ(script.working_folder(), folder / "made");
    EXPECT_EQ(read_file(std::string(tmpPath) + "/seen"), "%PDF-");
    EXPECT_EQ(shown(), banner() + "\nwords\n" + complete);
    EXPECT_EQ(redraws(), words{banner()});
    EXPECT_STREQ(unixTool, "gs");
    EXPECT_EQ(watched.count("SetCursor"), 1U); // the wait's
    EXPECT_EQ(file_commands().substr(0, file_commands().find("cp\n-f\npaper.pdf")),
              "cp\n-f\n" + input + "\n" + copy + "\n");
    EXPECT_EQ(command_line, "rm -f \"" + copy + "\"");
    EXPECT_FALSE(file_exists(copy));
    EXPECT_EQ(read_file(input), "%PDF-");
    EXPECT_EQ(current_folder(), folder / "made"); // it stays
    EXPECT_STREQ(in_file, "/in");                 // the current request is not used
    EXPECT_STREQ(out_file, "/out");
    EXPECT_EQ(failed_conversions, 0);
}

TEST_F(PdfToDsc, TheCopyIsThereBeforeTheConvertingLine)
{
    do_pdf2dsc(input.c_str(), output.c_str());
    EXPECT_EQ(file_commands(), "cp\n-f\n" + input + "\n" + copy + "\nrm\n-f\n" + copy + "\n");
    EXPECT_EQ(watched.order(), "TXNForceUpdate ShowSheetWindow HideSheetWindow SetCursor");
}

TEST_F(PdfToDsc, AnInputThatLiesInTheOutputsFolderIsDeleted)
{
    testing::internal::CaptureStderr();
    do_pdf2dsc(input.c_str(), (folder / "index.dsc").c_str());
    EXPECT_NE(testing::internal::GetCapturedStderr().find("same file"), std::string::npos);
    EXPECT_EQ(shown(), launch_error + banner() + complete);
    EXPECT_EQ(script.calls(), 1);
    EXPECT_FALSE(file_exists(input));
    EXPECT_EQ(failed_conversions, 0);
}

TEST_F(PdfToDsc, TheCopyIsRemovedAfterACancelToo)
{
    cancel_the_next_run();
    do_pdf2dsc(input.c_str(), output.c_str());
    EXPECT_EQ(shown(), banner() + cancelled);
    EXPECT_FALSE(file_exists(copy));
    EXPECT_EQ(read_file(input), "%PDF-");
    EXPECT_EQ(current_folder(), folder / "made");
    EXPECT_EQ(last_ending, ended_cancelled);
}

TEST_F(PdfToDsc, TheCopyIsRemovedHoweverTheRunEnds)
{
    for (const bool background : {false, true}) {
        inBackground = background;
        for (const way_to_end &way : ways_to_end) {
            SCOPED_TRACE(way.steps);
            console.clear();
            failed_conversions = 0;
            script.does(way.steps);
            do_pdf2dsc(input.c_str(), output.c_str());
            EXPECT_EQ(shown(), banner() + complete + failure_line(way, input, "gs"));
            EXPECT_EQ(last_ending, way.ending);
            EXPECT_EQ(exit_status, way.status);
            EXPECT_EQ(failed_conversions, way.ending == ended_well ? 0 : 1);
            EXPECT_FALSE(file_exists(copy));
        }
    }
}

TEST_F(PdfToDsc, WithoutASlashNothingHappens)
{
    ASSERT_EQ(chdir(folder.path().c_str()), 0);
    platform::copy_whole(command_line, "before");
    do_pdf2dsc("paper.pdf", output.c_str());
    do_pdf2dsc(input.c_str(), "index.dsc");
    do_pdf2dsc("paper.pdf", "index.dsc");
    EXPECT_EQ(console.text(), "");
    EXPECT_EQ(script.calls(), 0);
    EXPECT_EQ(file_commands(), "");
    EXPECT_STREQ(command_line, "before");
    EXPECT_EQ(current_folder(), folder.path());
    EXPECT_EQ(read_file(input), "%PDF-");
    EXPECT_EQ(failed_conversions, 0);
}

TEST_F(PdfToDsc, AFolderThatIsNotThereIsTold)
{
    testing::internal::CaptureStderr();
    do_pdf2dsc(input.c_str(), (folder / "missing/index.dsc").c_str());
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(shown(), launch_error + banner() + "Can't change to the folder " +
                           folder / "missing/" + ": No such file or directory.\n" + complete +
                           input + ": not done, gs was not started.\n");
    EXPECT_EQ(script.calls(), 0);
    EXPECT_EQ(read_file(input), "%PDF-");
    EXPECT_EQ(failed_conversions, 1);
}

TEST_F(PdfToDsc, NamesReachEveryCommandAsTheyAre)
{
    ASSERT_EQ(chdir(folder.path().c_str()), 0);
    script.does("cp \"$4\" \"$run/../seen\"; ends 0 done; reports");
    for (const std::string &name : telling_names()) {
        SCOPED_TRACE(name);
        console.clear();
        const std::string into = folder.make_folder("folder " + name);
        const std::string from = folder.write(name, name);
        do_pdf2dsc(from.c_str(), (into + "/out " + name).c_str());
        EXPECT_EQ(own_arguments(), (words{name, "out " + name}));
        EXPECT_EQ(shown(), "Processing: " + line(name, "out " + name) + "\n" + complete);
        EXPECT_EQ(command_line, "rm -f \"" + slot(into + "/" + name) + "\"");
        EXPECT_EQ(read_file(std::string(tmpPath) + "/seen"), name);
        EXPECT_FALSE(file_exists(into + "/" + name));
        EXPECT_EQ(read_file(from), name);
        EXPECT_FALSE(file_exists(into + "/touched"));
    }
    EXPECT_FALSE(file_exists(folder / "touched"));
}

TEST_F(PdfToDsc, CommandsThatDoNotFitAreRefusedBeforeAnythingIsDone)
{
    const std::string huge = "/" + std::string(command_size / 2, '"');
    do_pdf2dsc(huge.c_str(), output.c_str());
    EXPECT_EQ(console.lines(),
              huge + ": the command line is too long. Shorten the options or the names.\n");
    EXPECT_EQ(script.calls(), 0);
    EXPECT_EQ(file_commands(), "");
    EXPECT_EQ(failed_conversions, 1);
}

// ---- strip ----

TEST(Strip, RemovesEveryDoubleQuote)
{
    struct {
        const char *before, *after;
    } const texts[] = {{"", ""},
                       {"\"", ""},
                       {"\"\"\"", ""},
                       {"plain", "plain"},
                       {"\"a b\" \"c\"", "a b c"},
                       {"a\"\"b\"c", "abc"},
                       {"it's `a` \\\"b", "it's `a` \\b"},
                       {"\xFF\"\xFE", "\xFF\xFE"}};
    for (const auto &text : texts) {
        char buffer[32];
        ASSERT_TRUE(platform::copy_whole(buffer, text.before));
        strip(buffer);
        EXPECT_STREQ(buffer, text.after);
    }
}
