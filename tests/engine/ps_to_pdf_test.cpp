#include "engine/ps_to_pdf.h"

#include "app/globals.h"
#include "engine/tool_runner.h"
#include "platform/strings.h"
#include "tests/support/conversion_test.h"

#include <string>
#include <unistd.h>
#include <utility>

namespace {

class PsToPdf : public conversion_test {
protected:
    PsToPdf()
    {
        input = folder.write("drawing.ps", "%!PS\nshowpage\n");
    }

    std::string input;
};

class EpsToPdf : public PsToPdf {
protected:
    EpsToPdf()
    {
        figure = folder.write("figure.eps", "%!PS-Adobe-3.0 EPSF-3.0\n"
                                            "%%BoundingBox: 10 20 110 220\n"
                                            "showpage\n");
        copy = std::string(tmpPath) + "/tmp1.eps";
    }

    std::string figure, copy;
};

} // namespace

// ---- the two routes ----

TEST_F(PsToPdf, TheGhostscriptRouteHasFourQuotedArguments)
{
    set_setting("PS2PDF_OPTION_STR", "-dPDFSETTINGS=/screen -r300");
    do_ps2pdf(input.c_str());
    const std::string output = folder / "drawing.pdf";
    EXPECT_EQ(command_line, "gs.script ps2pdf " + pid + " \"" + worksheet + "\" \"" + output +
                                "\" \"" + input + "\" \"-dPDFSETTINGS=/screen -r300\"");
    EXPECT_EQ(script.arguments(),
              (words{"ps2pdf", pid, worksheet, output, input, "-dPDFSETTINGS=/screen -r300"}));
    EXPECT_STREQ(unixTool, "gs");
    EXPECT_EQ(shown(), "Converting " + input + " to " + output + ".\n" + complete);
}

TEST_F(PsToPdf, TheRouteOfTheSystemsConverterHasThreeQuotedArguments)
{
    set_setting("APPLE_PDF_STR", "1");
    set_setting("PS2PDF_OPTION_STR", "-r300");
    do_ps2pdf(input.c_str());
    const std::string output = folder / "drawing.pdf";
    EXPECT_EQ(command_line, "gs.script pstopdf " + pid + " \"" + worksheet + "\" \"" + output +
                                "\" \"" + input + "\"");
    EXPECT_EQ(script.arguments(), (words{"pstopdf", pid, worksheet, output, input}));
    EXPECT_STREQ(unixTool, "pstopdf");
    EXPECT_EQ(shown(), "Converting " + input + " to " + output + ".\n" + complete);
}

TEST_F(PsToPdf, TheSettingAndTheSystemsVersionChooseTheRoute)
{
    struct {
        const char *value; // null: not stored
        unsigned char system;
        const char *route;
    } const choices[] = {
        {nullptr, 1, "ps2pdf"}, {nullptr, 0, "ps2pdf"}, {"0", 1, "ps2pdf"},   {"0", 0, "ps2pdf"},
        {"01", 1, "ps2pdf"},    {"", 1, "ps2pdf"},      {"1", 1, "pstopdf"},  {"1", 0, "ps2pdf"},
        {"yes", 1, "pstopdf"},  {"yes", 0, "ps2pdf"},   {"no", 1, "pstopdf"}, {" 0", 1, "pstopdf"},
    };
    for (const auto &each : choices) {
        SCOPED_TRACE(each.value == nullptr ? "(missing)" : each.value);
        have103 = each.system;
        if (each.value != nullptr)
            set_setting("APPLE_PDF_STR", each.value);
        do_ps2pdf(input.c_str());
        EXPECT_EQ(script.arguments().at(0), each.route);
        do_ps2pdf2(input.c_str(), (folder / "other.pdf").c_str());
        EXPECT_EQ(script.arguments().at(0), each.route);
    }
}

TEST_F(PsToPdf, MissingOrEmptyOptionsAreAnEmptyArgument)
{
    do_ps2pdf(input.c_str());
    EXPECT_EQ(own_arguments().at(2), "");
    const std::string line = command_line;
    EXPECT_EQ(line.substr(line.size() - 3), " \"\"");
    set_setting("PS2PDF_OPTION_STR", "");
    do_ps2pdf(input.c_str());
    EXPECT_EQ(own_arguments(), (words{folder / "drawing.pdf", input, ""}));
}

TEST_F(PsToPdf, SettingsAreReadForEveryRun)
{
    set_setting("PS2PDF_OPTION_STR", "-r100");
    do_ps2pdf(input.c_str());
    EXPECT_EQ(own_arguments().at(2), "-r100");
    set_setting("PS2PDF_OPTION_STR", "-r200");
    do_ps2pdf(input.c_str());
    EXPECT_EQ(own_arguments().at(2), "-r200");
}

TEST_F(PsToPdf, OptionsAreOneArgumentWhateverTheyHold)
{
    set_setting("PS2PDF_OPTION_STR", "-sA=\"b\" $HOME `id` \\ '");
    do_ps2pdf(input.c_str());
    EXPECT_EQ(own_arguments().at(2), "-sA=\"b\" $HOME `id` \\ '");
}

TEST_F(PsToPdf, OptionsOf255BytesAndMoreComeWhole)
{
    const std::string options = "-sLong=" + std::string(600, 'x');
    set_setting("PS2PDF_OPTION_STR", options.c_str());
    do_ps2pdf(input.c_str());
    EXPECT_EQ(own_arguments().at(2), options);
}

// ---- names ----

TEST_F(PsToPdf, WithoutAnInputTheCurrentOneIsConverted)
{
    platform::copy_whole(in_file, input.c_str());
    do_ps2pdf(nullptr);
    EXPECT_EQ(own_arguments(), (words{folder / "drawing.pdf", input, ""}));
}

TEST_F(PsToPdf, TheOutputIsTheInputCutAtItsLastDot)
{
    const std::pair<const char *, const char *> names[] = {
        {"/a/b/fig.ps", "/a/b/fig.pdf"},
        {"/a/b/fig.1.ps", "/a/b/fig.1.pdf"},
        {"/a/b/fig", "/a/b/fig.pdf"},
        {"/a.b/c/fig", "/a.pdf"}, // a folder's dot counts when the name has none
        {"/a/b/.hidden", "/a/b/.pdf"},
        {"/a/b/fig.", "/a/b/fig.pdf"},
        {"/a/b/fig.PS", "/a/b/fig.pdf"},
    };
    for (const auto &[from, to] : names) {
        do_ps2pdf(from);
        EXPECT_EQ(own_arguments(), (words{to, from, ""}));
    }
}

TEST_F(PsToPdf, NamesReachTheScriptAsTheyAre)
{
    ASSERT_EQ(chdir(folder.path().c_str()), 0);
    for (const std::string &name :
         {std::string("two words"), std::string("it's"), std::string("a\"b"), std::string("$HOME"),
          std::string("$(touch touched)"), std::string("`touch touched`"),
          std::string("a;b&c|d<e>f"), std::string("*[a]{b,c}?~!#@:%d%s"),
          std::string("back\\slash\\"), std::string("\ttab"), std::string("new\nline"),
          std::string("-dash"), std::string("\xC3\xA4\xFF"), std::string(240, 'n')}) {
        const std::string from = folder / (name + ".ps");
        do_ps2pdf(from.c_str());
        EXPECT_EQ(own_arguments(), (words{folder / (name + ".pdf"), from, ""}));
    }
    EXPECT_FALSE(file_exists(folder / "touched"));
}

TEST_F(PsToPdf, APathThatDoesNotFitIsRefused)
{
    const std::string path = "/" + std::string(path_size - 1, 'p');
    do_ps2pdf(path.c_str());
    EXPECT_EQ(console.lines(),
              path + ": the path is too long. Move the file or shorten its name.\n");
    console.clear();
    do_ps2pdf2("/a.ps", path.c_str());
    EXPECT_EQ(console.lines(),
              path + ": the path is too long. Move the file or shorten its name.\n");
    console.clear();
    // The input fits, but not with ".pdf" behind it.
    const std::string input_fits = "/" + std::string(path_size - 3, 'p');
    do_ps2pdf(input_fits.c_str());
    EXPECT_EQ(console.lines(),
              input_fits + ": the path is too long. Move the file or shorten its name.\n");
    console.clear();
    EXPECT_EQ(epstopdf("/a.eps", path.c_str()), 0);
    EXPECT_EQ(console.lines(),
              path + ": the path is too long. Move the file or shorten its name.\n");
    EXPECT_EQ(script.calls(), 0);
    EXPECT_EQ(failed_conversions, 4);
}

TEST_F(PsToPdf, TheLongestPathIsConverted)
{
    const std::string path = "/" + std::string(path_size - 6, 'p');
    do_ps2pdf(path.c_str());
    EXPECT_EQ(own_arguments(), (words{path + ".pdf", path, ""}));
}

TEST_F(PsToPdf, TheOutputIsNeverTheInput)
{
    const std::string pdf = folder.write("paper.pdf", "%PDF-");
    do_ps2pdf(pdf.c_str());
    do_ps2pdf2(input.c_str(), input.c_str());
    EXPECT_EQ(console.lines(),
              pdf + ": the output would replace the input. Choose another name.\n" + input +
                  ": the output would replace the input. Choose another name.\n");
    EXPECT_EQ(script.calls(), 0);
    EXPECT_EQ(read_file(pdf), "%PDF-");
    EXPECT_EQ(failed_conversions, 2);
}

TEST_F(PsToPdf, NeitherFileIsTouchedByTheRoutine)
{
    // The output is neither deleted beforehand nor looked for afterwards, the input is not tested.
    const std::string older = folder.write("drawing.pdf", "older");
    do_ps2pdf(input.c_str());
    EXPECT_EQ(read_file(older), "older");
    do_ps2pdf((folder / "missing.ps").c_str());
    EXPECT_EQ(script.calls(), 2);
    EXPECT_EQ(failed_conversions, 0);
}

// ---- the sequence ----

TEST_F(PsToPdf, TheConvertingLineIsShownBeforeTheTool)
{
    for (const char *apple : {"0", "1"}) {
        set_setting("APPLE_PDF_STR", apple);
        console.clear();
        watched.calls.clear();
        do_ps2pdf(input.c_str());
        EXPECT_EQ(redraws(),
                  words{"Converting " + input + " to " + folder / "drawing.pdf" + ".\n"});
        EXPECT_EQ(watched.calls.back().name, "SetCursor");
    }
}

TEST_F(PsToPdf, WithAGivenOutputThereIsNoConvertingLine)
{
    do_ps2pdf2(input.c_str(), (folder / "other.pdf").c_str());
    EXPECT_EQ(own_arguments(), (words{folder / "other.pdf", input, ""}));
    EXPECT_EQ(shown(), complete);
    EXPECT_EQ(redraws(), words{complete});             // after the result lines,
    EXPECT_EQ(watched.calls.back().name, "SetCursor"); // just before restore()
    EXPECT_EQ((watched.calls.end() - 2)->name, "TXNForceUpdate");
}

TEST_F(PsToPdf, TheSystemsConverterRedrawsFirstWithAGivenOutput)
{
    set_setting("APPLE_PDF_STR", "1");
    do_ps2pdf2(input.c_str(), (folder / "other.pdf").c_str());
    EXPECT_EQ(own_arguments(), (words{folder / "other.pdf", input}));
    EXPECT_EQ(shown(), complete);
    EXPECT_EQ(redraws(), words{""});
    EXPECT_EQ(watched.calls.front().name, "TXNForceUpdate");
}

TEST_F(PsToPdf, ToolOutputAndFailuresAreShown)
{
    script.does("says 'GPL Ghostscript\\n'; ends 1 done; reports");
    do_ps2pdf(input.c_str());
    EXPECT_EQ(shown(), "Converting " + input + " to " + folder / "drawing.pdf" +
                           ".\n\nGPL Ghostscript\n" + complete + input +
                           ": failed, gs ended with status 1.\n");
    console.clear();
    set_setting("APPLE_PDF_STR", "1");
    script.does("ends 137 done; reports");
    do_ps2pdf2(input.c_str(), (folder / "o.pdf").c_str());
    EXPECT_EQ(shown(), complete + input + ": failed, pstopdf was ended by signal 9.\n");
}

// ---- EPS ----

TEST_F(EpsToPdf, TheFigureIsPreparedAndItsCopyConverted)
{
    script.does("cp \"$5\" \"$run/../kept.eps\"; ends 0 done; reports");
    EXPECT_EQ(epstopdf(figure.c_str(), nullptr), 0);
    EXPECT_EQ(script.arguments(),
              (words{"ps2pdf", pid, worksheet, folder / "figure.pdf", copy, ""}));
    EXPECT_EQ(script.environment().at("PAPERMILL_PREPARED_FROM"), figure);
    EXPECT_EQ(shown(), "Converting " + figure + " to " + folder / "figure.pdf" + ".\n" + complete);
    EXPECT_EQ(read_file(std::string(tmpPath) + "/kept.eps"),
              "%!PS-Adobe-3.0 EPSF-3.0\n"
              "%%BoundingBox: 0 0 100 200\n"
              "<< /PageSize [100 200] >> setpagedevice \n"
              "gsave -10 -20 translate\n"
              "showpage\n"
              "grestore \n");
    EXPECT_FALSE(file_exists(copy));
    EXPECT_EQ(failed_conversions, 0);
}

TEST_F(EpsToPdf, TheOutputCanBeGiven)
{
    epstopdf(figure.c_str(), (folder / "given.out").c_str());
    EXPECT_EQ(own_arguments(), (words{folder / "given.out", copy, ""}));
    EXPECT_EQ(shown(), "Converting " + figure + " to " + folder / "given.out" + ".\n" + complete);
}

TEST_F(EpsToPdf, TheOutputIsNamedAsForPostScript)
{
    folder.make_folder("a.b");
    const std::string nested = folder.write("a.b/figure", read_file(figure));
    epstopdf(nested.c_str(), nullptr);
    EXPECT_EQ(own_arguments().at(0), folder / "a.pdf");
}

TEST_F(EpsToPdf, AMissingFigureIsTold)
{
    const std::string missing = folder / "missing.eps";
    const std::string older = folder.write("missing.pdf", "older");
    EXPECT_EQ(epstopdf(missing.c_str(), nullptr), 0);
    EXPECT_EQ(console.lines(), missing + ": File not found!\n");
    EXPECT_EQ(script.calls(), 0);
    EXPECT_EQ(read_file(older), "older");
    EXPECT_EQ(failed_conversions, 1);
}

TEST_F(EpsToPdf, AnOlderOutputIsDeletedFirst)
{
    const std::string older = folder.write("figure.pdf", "older");
    script.does("[ -e \"$4\" ] && echo > \"$run/../still.there\"; ends 1 done; reports");
    epstopdf(figure.c_str(), nullptr);
    EXPECT_FALSE(file_exists(older));
    EXPECT_FALSE(file_exists(std::string(tmpPath) + "/still.there"));
}

TEST_F(EpsToPdf, AFigureWithoutABoxIsNotConverted)
{
    const std::string plain = folder.write("plain.eps", "%!PS\nshowpage\n");
    EXPECT_EQ(epstopdf(plain.c_str(), nullptr), 0);
    EXPECT_EQ(console.lines(), "Converting " + plain + " to " + folder / "plain.pdf" +
                                   ".\nBounding Box comment not found in " + plain + "!\n");
    EXPECT_EQ(script.calls(), 0);
    EXPECT_EQ(failed_conversions, 1);
    EXPECT_EQ(watched.calls.back().name, "SetCursor");
}

TEST_F(EpsToPdf, DebugLinesTellOfTheTemporaryFile)
{
    doDebug = 1;
    epstopdf(figure.c_str(), nullptr);
    EXPECT_EQ(shown(), "Converting " + figure + " to " + folder / "figure.pdf" +
                           ".\nCreating temporary file " + copy + ".\n" + complete +
                           "Deleting temporary file " + copy + ".\n");
}

TEST_F(EpsToPdf, AFigureIsNeverItsOwnOutput)
{
    const std::string bytes = read_file(figure);
    EXPECT_EQ(epstopdf(figure.c_str(), figure.c_str()), 0);
    EXPECT_EQ(console.lines(),
              figure + ": the output would replace the input. Choose another name.\n");
    const std::string link_to_it = folder / "link.pdf";
    ASSERT_EQ(symlink(figure.c_str(), link_to_it.c_str()), 0);
    EXPECT_EQ(epstopdf(figure.c_str(), link_to_it.c_str()), 0);
    EXPECT_EQ(read_file(figure), bytes);
    EXPECT_TRUE(file_exists(link_to_it));
    EXPECT_EQ(script.calls(), 0);
    EXPECT_EQ(failed_conversions, 2);
}

TEST_F(EpsToPdf, AFailureNamesTheFigureNotItsCopy)
{
    script.does("ends 1 done; reports");
    epstopdf(figure.c_str(), nullptr);
    EXPECT_EQ(shown(), "Converting " + figure + " to " + folder / "figure.pdf" + ".\n" + complete +
                           figure + ": failed, gs ended with status 1.\n");
    EXPECT_FALSE(file_exists(copy));
}

TEST_F(EpsToPdf, TheSystemsConverterTakesFiguresToo)
{
    set_setting("APPLE_PDF_STR", "1");
    epstopdf(figure.c_str(), nullptr);
    EXPECT_EQ(script.arguments(), (words{"pstopdf", pid, worksheet, folder / "figure.pdf", copy}));
}
