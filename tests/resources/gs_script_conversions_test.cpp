// Each of the helper script's conversions: how it calls its tools, and what the real ones make.
#include "platform/core/run_folder.h"
#include "tests/support/eventually.h"
#include "tests/support/hostile_names.h"
#include "tests/support/script_test.h"
#include "tests/support/terminal_user.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

class GsScriptConversions : public script_test {
protected:
    // Three pages: a word and a square that moves on.
    std::string three_pages() const
    {
        return users.write("three.ps",
                           "%!PS-Adobe-3.0\n%%Pages: 3\n%%EndComments\n"
                           "<< /PageSize [300 200] >> setpagedevice\n"
                           "/Helvetica findfont 20 scalefont setfont\n"
                           "/page { 0 0 30 30 rectfill 36 6 moveto show showpage } def\n"
                           "(one) page 40 40 translate (two) page (three) page\n%%EOF\n");
    }

    static void make_pdf_of(const std::string &ps, const std::string &pdf)
    {
        ASSERT_EQ(run_program({{"gs", "-q", "-sDEVICE=pdfwrite", "-o", pdf, ps}}).status, 0);
    }

    std::string three_page_pdf(const std::string &name = "three.pdf") const
    {
        make_pdf_of(three_pages(), users / name);
        return users / name;
    }

    std::string locked_pdf() const
    {
        const std::string locked = users / "locked.pdf";
        EXPECT_EQ(run_program({{"qpdf", "--encrypt", "secret", "owner", "256", "--",
                                three_page_pdf(), locked}})
                      .status,
                  0);
        return locked;
    }

    std::string pdf_without_pages() const
    {
        const std::string empty = users / "empty.pdf";
        EXPECT_EQ(run_program({{"qpdf", "--empty", empty}}).status, 0);
        return empty;
    }

    std::string damaged_pdf() const
    {
        std::string bytes = read_file(three_page_pdf());
        bytes.resize(bytes.rfind("startxref"));
        return users.write("damaged.pdf", bytes + "startxref\n99\n%%EOF\n");
    }

    // What stands for a PDF file where a fake tool does not read it.
    std::string fake_pdf(const std::string &name = "in.pdf") const
    {
        return users.write(name, "%PDF-1.7\nstartxref\n9\n%%EOF\n");
    }

    static std::string printed_by(const words &program)
    {
        const program_result result = run_program({program});
        EXPECT_EQ(result.status, 0) << program[0] << result.err;
        return result.out;
    }

    // Format, width and height, as ImageMagick reads them.
    static std::string identified(const std::string &picture)
    {
        return printed_by({"/usr/bin/identify", "-format", "%m %w %h\n", picture});
    }

    void expect_success(int status) const
    {
        EXPECT_EQ(status, 0) << said();
        EXPECT_EQ(ending(), "0 done\n") << said();
        EXPECT_EQ(reports(), 1);
        for (const std::string &name : users.names())
            EXPECT_NE(name.substr(0, 11), ".papermill-");
    }

    // A PATH with all that the script needs itself, and the named tools.
    void leave_on_path(const words &names)
    {
        for (const char *tool : {"sh", "tcsh", "seq"})
            ASSERT_EQ(symlink((std::string("/bin/") + tool).c_str(), (tools / tool).c_str()), 0);
        for (const char *tool : {"papermill_run", "osascript"})
            ASSERT_EQ(symlink((bundled_tools + "/" + tool).c_str(), (tools / tool).c_str()), 0);
        for (const std::string &tool : names)
            tools.write_program(tool, "#!/bin/sh\n");
        path = tools.path();
    }
};

// What a fake tool leaves.
std::string leave(const std::string &kind, const std::string &text)
{
    return "printf '" + text + "' > papermill-out/result." + kind + "\n";
}

const std::string make_ps = leave("ps", "%%!PS-Adobe-3.0\\n%%%%EOF\\n");
const std::string make_pict =
    "{ head -c 522 /dev/zero; printf '\\0\\021\\002\\377\\0\\377'; } > papermill-out/result.pict\n";

} // namespace

// ---- how the tools are called ----

TEST_F(GsScriptConversions, PdfToPdfCallsGhostscript)
{
    install("gs", keep_words + make_pdf);
    expect_success(script("pdf2pdf", {output, fake_pdf(), "-dAutoRotatePages=/All -r300"}));
    // What the user wants comes later, and counts.
    EXPECT_EQ(tool_words(),
              (words{"-dSAFER", "-dNOPAUSE", "-dBATCH", "-sDEVICE=pdfwrite", "-dPDFSTOPONERROR",
                     "-dAutoRotatePages=/None", "-dAutoRotatePages=/All", "-r300",
                     "-sOutputFile=papermill-out/result.pdf", "-c", "save", "pop", "-f",
                     "papermill-in"}));
    EXPECT_EQ(tool_input(), "/dev/null");
}

TEST_F(GsScriptConversions, MergingCallsGhostscriptWithAllInputs)
{
    install("gs", keep_words + make_pdf);
    const words start = {"-dSAFER",
                         "-dNOPAUSE",
                         "-dBATCH",
                         "-sDEVICE=pdfwrite",
                         "-dPDFSTOPONERROR",
                         "-dAutoRotatePages=/None",
                         "-r300",
                         "-dX",
                         "-sOutputFile=papermill-out/result.pdf",
                         "-c",
                         "save",
                         "pop"};
    words merge = {"-r300 -dX", output};
    words expected = start;
    for (int i = 1; i <= 11; ++i) {
        merge.push_back(fake_pdf(std::to_string(i) + ".pdf"));
        const std::string link = "papermill-in-" + std::to_string(i);
        for (const std::string &word :
             {std::string("-c"), "(" + link + ":) = flush", std::string("-f"), link})
            expected.push_back(word);
    }
    expect_success(script("pdfmerge", merge));
    EXPECT_EQ(tool_words(), expected);
    EXPECT_EQ(tool_input(), "/dev/null");

    new_run();
    expect_success(script("pdfmerge", {"-r300 -dX", output, fake_pdf()}));
    expected = start;
    expected.insert(expected.end(), {"-f", "papermill-in"});
    EXPECT_EQ(tool_words(), expected);
}

TEST_F(GsScriptConversions, PdfToPostScriptCallsGhostscript)
{
    install("gs", keep_words + make_ps);
    expect_success(script("pdf2ps", {output, fake_pdf(), "-dLanguageLevel=1 -dX"}));
    EXPECT_EQ(tool_words(),
              (words{"-dSAFER", "-dNOPAUSE", "-dBATCH", "-sDEVICE=ps2write", "-dPDFSTOPONERROR",
                     "-dLanguageLevel=1", "-dX", "-sOutputFile=papermill-out/result.ps", "-c",
                     "save", "pop", "-f", "papermill-in"}));
    EXPECT_EQ(tool_input(), "/dev/null");
}

TEST_F(GsScriptConversions, PdfToPostScriptCallsTheOtherToolWithoutOptions)
{
    install("pdftops", keep_words + make_ps);
    install("gs", "echo called > $TMPDIR/gs\n");
    expect_success(script("pdftops", {output, fake_pdf()}));
    EXPECT_EQ(tool_words("pdftops"), (words{"papermill-in", "papermill-out/result.ps"}));
    EXPECT_EQ(tool_input("pdftops"), "/dev/null");
    EXPECT_FALSE(file_exists(run + "/tmp/gs"));
}

TEST_F(GsScriptConversions, AnIndexIsMadeByGhostscriptsProgram)
{
    install("gs", keep_words + leave("dsc", "%%!PS-Adobe-3.0\\n%%%%Pages: 1\\n%%%%EOF"));
    fake_pdf();
    expect_success(script("pdf2dsc", {"in.pdf", "out.dsc"})); // the input comes first
    EXPECT_EQ(tool_words(),
              (words{"-dSAFER", "-dNOPAUSE", "-dBATCH", "-q", "-dNODISPLAY", "-dPDFSTOPONERROR",
                     "-sPDFname=papermill-in", "-sDSCname=papermill-out/result.dsc",
                     "--permit-file-read=papermill-in",
                     "--permit-file-write=papermill-out/result.dsc", "pdf2dsc.ps", "-c", "quit"}));
    EXPECT_EQ(tool_input(), "/dev/null");
    EXPECT_EQ(users.names(), (words{"in.pdf", "in.ps", "out.dsc"}));
}

TEST_F(GsScriptConversions, TextComesByWayOfAPdfFile)
{
    install("gs", keep_words + "echo > papermill-out/text.pdf\n");
    install("pdftotext", keep_words + leave("txt", "a word\\n"));
    expect_success(script("ps2ascii", {output, input}));
    EXPECT_EQ(tool_words(),
              (words{"-dSAFER", "-dNOPAUSE", "-dBATCH", "-q", "-sDEVICE=pdfwrite",
                     "-dPDFSTOPONERROR", "-dAutoRotatePages=/None",
                     "-sOutputFile=papermill-out/text.pdf", "-c", "save", "pop", "-f", "-_"}));
    EXPECT_EQ(tool_input(), input);
    EXPECT_EQ(tool_words("pdftotext"),
              (words{"-enc", "UTF-8", "papermill-out/text.pdf", "papermill-out/result.txt"}));
    EXPECT_EQ(tool_input("pdftotext"), "/dev/null");
    EXPECT_EQ(users.names(), (words{"in.ps", "out.pdf"}));
}

TEST_F(GsScriptConversions, BoxesAreMeasuredFarFromTheCorner)
{
    install("gs", keep_words + "echo said; echo '%%BoundingBox: 3001 3002 3003 3004' >&2\n");
    expect_success(script("ps2eps", {output, input}));
    EXPECT_EQ(tool_words(),
              (words{"-dSAFER", "-dNOPAUSE", "-dBATCH", "-q", "-sDEVICE=bbox",
                     "-dDEVICEWIDTHPOINTS=9400", "-dDEVICEHEIGHTPOINTS=9400", "-dFIXEDMEDIA", "-c",
                     "<</PageOffset [3000 3000]>> setpagedevice save pop", "-f", "-_"}));
    EXPECT_EQ(tool_input(), input);
    EXPECT_EQ(read_file(output), "%%BoundingBox: 1 2 3 4\n");
    EXPECT_EQ(said(), "said\n");
}

TEST_F(GsScriptConversions, EpsToEpsIsRewrittenFarFromTheCorner)
{
    install("gs", keep_words + leave("eps", "%%!PS\\n%%%%EndComments\\n%%%%EOF\\n"));
    expect_success(script("eps2eps", {output, input}));
    EXPECT_EQ(tool_words(),
              (words{"-dSAFER", "-dNOPAUSE", "-dBATCH", "-q", "-sDEVICE=eps2write",
                     "-sOutputFile=papermill-out/result.eps", "-dDEVICEWIDTHPOINTS=9400",
                     "-dDEVICEHEIGHTPOINTS=9400", "-dFIXEDMEDIA", "-c",
                     "<</PageOffset [3000 3000]>> setpagedevice save pop", "-f", "-_"}));
    EXPECT_EQ(tool_input(), input);
    EXPECT_EQ(read_file(output), "%!PS\n%%EndComments\n-3000 -3000 translate\n%%EOF\n");
}

TEST_F(GsScriptConversions, PageImagesAreAntialiased)
{
    install("gs", keep_words);
    EXPECT_EQ(script("ps2tiff", {users / "page-%d.tiff", input, "-sDEVICE=tiff24nc -r150"}), 0);
    EXPECT_EQ(
        tool_words(),
        (words{"-dSAFER", "-dNOPAUSE", "-dBATCH", "-dTextAlphaBits=4", "-dGraphicsAlphaBits=4",
               "-dNumRenderingThreads=2", "-dPDFSTOPONERROR", "-sDEVICE=tiff24nc", "-r150",
               "-sOutputFile=papermill-out/result-%d.tiff", "-c",
               "<</Install {gsave initmatrix initclip clippath pathbbox newpath 4 2 roll pop pop "
               "dtransform mul abs grestore 660e6 gt {(   **** A page is too large.) = flush 1 "
               ".quit} if}>> setpagedevice",
               "-c", "save", "pop", "-f", "-_"}));
    EXPECT_EQ(tool_input(), input);
    EXPECT_EQ(ending(), "0 unusable\n"); // nothing was made
}

TEST_F(GsScriptConversions, APictureIsPaintedAndThenConverted)
{
    for (const auto &[subcommand, converter] :
         {std::pair("pdf2pict", "convert"), std::pair("pdf2pict102", "convert102")}) {
        new_run();
        install("gs", keep_words + "echo > papermill-out/result.pnm\n");
        install(converter, keep_words + make_pict);
        expect_success(script(subcommand, {output, fake_pdf(), "-r 144"}));
        words called = tool_words();
        ASSERT_EQ(called.size(), 15U);
        EXPECT_EQ(
            (words{called.begin(), called.begin() + 12}),
            (words{"-dSAFER", "-dNOPAUSE", "-dBATCH", "-sDEVICE=ppmraw", "-dTextAlphaBits=4",
                   "-dGraphicsAlphaBits=4", "-dNumRenderingThreads=2", "-r144", "-dUseCropBox",
                   "-dPDFSTOPONERROR", "-sOutputFile=papermill-out/result.pnm",
                   "--permit-file-read=papermill-in"}));
        EXPECT_EQ(called[12], "-c");
        EXPECT_EQ(called[14], "-f");
        EXPECT_EQ(tool_input(), "/dev/null");
        EXPECT_EQ(tool_words(converter), (words{"-density", "144x144", "papermill-out/result.pnm",
                                                "papermill-out/result.pict"}));
        EXPECT_EQ(tool_input(converter), "/dev/null");
    }
}

TEST_F(GsScriptConversions, TheSecondToolWaitsForTheFirst)
{
    install("gs", "exit 3\n");
    for (const char *tool : {"pdftotext", "convert", "convert102"})
        install(tool, "echo called > $TMPDIR/called\n");
    const std::string pdf = fake_pdf();
    for (const words &call :
         {words{"ps2ascii", output, input}, words{"pdf2pict", output, pdf, "-r 72"},
          words{"pdf2pict102", output, pdf, "-r 72"}}) {
        new_run();
        EXPECT_EQ(script(call[0], {call.begin() + 1, call.end()}), 3);
        EXPECT_EQ(ending(), "3 done\n");
        EXPECT_FALSE(file_exists(run + "/tmp/called"));
    }
    // The second one's status counts, too.
    install("gs", "echo | tee papermill-out/text.pdf > papermill-out/result.pnm\n");
    for (const char *tool : {"pdftotext", "convert", "convert102"})
        install(tool, "exit 4\n");
    for (const words &call :
         {words{"ps2ascii", output, input}, words{"pdf2pict", output, pdf, "-r 72"},
          words{"pdf2pict102", output, pdf, "-r 72"}}) {
        new_run();
        EXPECT_EQ(script(call[0], {call.begin() + 1, call.end()}), 4);
        EXPECT_EQ(ending(), "4 done\n");
    }
    EXPECT_EQ(users.names(), (words{"in.pdf", "in.ps"}));
}

TEST_F(GsScriptConversions, OptionsAreWordsAndNothingElse)
{
    install("gs", keep_words);
    users.write("match1", "");
    const std::string options = "-sA=* -sB=match? -sC=[m]* -sD={a,b} -sE=~ -sF=$HOME "
                                "-sG=`touch touched` -sH=a;b|c&d -sI=\"q -sJ=it's -sK=! -sL=\\x";
    const words expected = {"-sA=*",     "-sB=match?", "-sC=[m]*", "-sD={a,b}",   "-sE=~",
                            "-sF=$HOME", "-sG=`touch", "touched`", "-sH=a;b|c&d", "-sI=\"q",
                            "-sJ=it's",  "-sK=!",      "-sL=\\x"};
    const std::string pdf = fake_pdf();
    for (const words &call :
         {words{"pdf2pdf", output, pdf, options}, words{"pdfmerge", options, output, pdf},
          words{"pdf2ps", output, pdf, options}, words{"ps2tiff", output, input, options}}) {
        new_run();
        script(call[0], {call.begin() + 1, call.end()});
        const words called = tool_words();
        EXPECT_NE(std::search(called.begin(), called.end(), expected.begin(), expected.end()),
                  called.end())
            << call[0] << testing::PrintToString(called);
    }
    EXPECT_FALSE(file_exists(users / "touched"));
    EXPECT_FALSE(file_exists(run + "/touched"));
}

TEST_F(GsScriptConversions, AnyNamesAreMerged)
{
    install("gs", keep_words + make_pdf + "for each in papermill-in-*; do cat $each; done\n");
    words merge = {"", output};
    std::string all;
    for (const std::string &name : hostile_names()) {
        const std::string bytes = "%PDF-1.7\nstartxref\n" + std::to_string(merge.size());
        merge.push_back(users.write(name, bytes));
        all += bytes;
    }
    const words before = users.names();
    for (const char *locale : {"C", "C.UTF-8"}) {
        new_run();
        program_call plain = call("pdfmerge", merge);
        plain.environment["LC_ALL"] = locale;
        const program_result result = run_program(plain);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.err, "");
        EXPECT_EQ(ending(), "0 done\n");
        EXPECT_EQ(said().size(), all.size());
        std::filesystem::remove(output);
        EXPECT_EQ(users.names(), before);
    }
}

// ---- how they can end ----

TEST_F(GsScriptConversions, AMissingToolIsToldWithItsPackage)
{
    const std::string pdf = fake_pdf();
    const std::string no_gs = "gs was not found. Install the package ghostscript.\n";
    const auto poppler = [](const std::string &tool) {
        return tool + " was not found. Install the package poppler-utils.\n";
    };
    const auto bundled = [](const std::string &tool) {
        return tool + " was not found beside gs.script. Install papermill again.\n";
    };
    const struct {
        words call, present;
        std::string message;
    } cases[] = {
        {{"pdf2pdf", output, pdf, ""}, {}, no_gs},
        {{"pdfmerge", "", output, pdf}, {}, no_gs},
        {{"pdf2ps", output, pdf, ""}, {}, no_gs},
        {{"pdf2dsc", "in.pdf", "out.dsc"}, {}, no_gs},
        {{"ps2eps", output, input}, {}, no_gs},
        {{"eps2eps", output, input}, {}, no_gs},
        {{"eps2pnm", output, input, "-r72"}, {}, no_gs},
        {{"ps2tiff", output, input, "-r72"}, {}, no_gs},
        {{"pdftops", output, pdf}, {"gs"}, poppler("pdftops")},
        {{"ps2ascii", output, input}, {"pdftotext"}, no_gs},
        {{"ps2ascii", output, input}, {"gs"}, poppler("pdftotext")},
        {{"pdf2pict", output, pdf, "-r 72"}, {"convert"}, no_gs},
        {{"pdf2pict", output, pdf, "-r 72"}, {"gs", "convert102"}, bundled("convert")},
        {{"pdf2pict102", output, pdf, "-r 72"}, {"gs", "convert"}, bundled("convert102")},
    };
    leave_on_path({});
    for (const auto &each : cases) {
        new_run();
        for (const std::string &tool : each.present)
            tools.write_program(tool, "#!/bin/sh\n");
        EXPECT_EQ(script(each.call[0], {each.call.begin() + 1, each.call.end()}), 127);
        EXPECT_EQ(ending(), "127 missing\n") << each.call[0];
        EXPECT_EQ(said(), each.message);
        EXPECT_EQ(reports(), 1);
        EXPECT_FALSE(file_exists(run + "/papermill-out"));
        for (const std::string &tool : each.present)
            std::filesystem::remove(tools / tool);
    }
    EXPECT_EQ(users.names(), (words{"in.pdf", "in.ps"}));
}

TEST_F(GsScriptConversions, AToolThatCannotBeStartedIsMissing)
{
    // It is there and may be run, but what would run it is not.
    leave_on_path({});
    tools.write_program("gs", "#!/no/such/interpreter\n");
    EXPECT_EQ(script("pdf2pdf", {output, fake_pdf(), ""}), 127);
    EXPECT_EQ(ending(), "127 missing\n");
    EXPECT_EQ(said(), "gs can't be started: No such file or directory.\n");
    EXPECT_EQ(users.names(), (words{"in.pdf", "in.ps"}));
}

TEST_F(GsScriptConversions, OnlyPdfFilesAreTakenForPdf)
{
    for (const words &call :
         {words{"pdf2pdf", output, input, ""}, words{"pdfmerge", "", output, fake_pdf(), input},
          words{"pdf2ps", output, input, ""}, words{"pdftops", output, input},
          words{"pdf2dsc", input, output}, words{"pdf2pict", output, input, "-r 72"},
          words{"pdf2pict102", output, input, "-r 72"}}) {
        new_run();
        install("convert102", "");
        EXPECT_EQ(script(call[0], {call.begin() + 1, call.end()}), 66) << call[0];
        EXPECT_EQ(ending(), "66 missing\n");
        EXPECT_EQ(said(), input + ": this is no PDF file.\n");
        EXPECT_EQ(reports(), 1);
    }
    EXPECT_EQ(users.names(), (words{"in.pdf", "in.ps"}));
}

TEST_F(GsScriptConversions, CallsThatLackArgumentsAreRefused)
{
    for (const words &call : {words{"pdfmerge", "", output}, words{"pdfmerge", ""},
                              words{"pdfmerge"}, words{"pdf2pdf"}, words{"ps2ascii"}}) {
        new_run();
        EXPECT_NE(script(call[0], {call.begin() + 1, call.end()}), 0);
        EXPECT_EQ(ending().substr(2), " missing\n") << call[0] << call.size();
        EXPECT_NE(said(), "");
        EXPECT_EQ(reports(), 1);
    }
    EXPECT_EQ(users.names(), words{"in.ps"});
}

TEST_F(GsScriptConversions, APictureOfAbsurdSizeDoesNotFillTheDisk)
{
    // One byte behind the limit; what lies before takes no room on the disk.
    const std::string pdf = fake_pdf();
    for (const auto &[call, kilobytes, name] :
         {std::tuple(words{"eps2pnm", output, input, "-r72"}, 400000L, "result.pnm"),
          std::tuple(words{"ps2tiff", output, input, "-r72"}, 2000000L, "result-1.tiff"),
          std::tuple(words{"pdf2pict", output, pdf, "-r 72"}, 400000L, "result.pnm")}) {
        const auto write_at = [](long place, const char *file) {
            return "exec dd if=/dev/zero status=none bs=1 count=1 seek=" + std::to_string(place) +
                   " of=papermill-out/" + file + "\n";
        };
        install("convert", "exit 1\n");
        for (const bool fits : {true, false}) {
            new_run();
            install("gs", write_at(kilobytes * 1024 - (fits ? 1 : 0), name));
            const program_result result =
                run_program(this->call(call[0], {call.begin() + 1, call.end()}));
            const bool too_large = result.status == 128 + SIGXFSZ;
            EXPECT_EQ(too_large, !fits) << call[0] << result.status;
            EXPECT_EQ(said(), too_large ? call[2] + ": a page is too large for a picture at this "
                                                    "resolution.\n"
                                        : "");
        }
    }
    EXPECT_EQ(users.names(), (words{"in.pdf", "in.ps"}));
}

TEST_F(GsScriptConversions, ACancelledRunLeavesAndReportsNothing)
{
    install("osascript", "echo > " + temporary / "asked" + "\n");
    // The tool notices nothing, and ends well when the application has cleared up.
    const std::string wait = ": > $TMPDIR/started\n"
                             "while [ -d \"$PAPERMILL_RUN_FOLDER\" ]; do sleep 0.01; done\n";
    install("gs", wait);
    install("pdftops", wait);
    for (const char *tool : {"pdftotext", "convert"})
        install(tool, "echo > " + temporary / "called" + "\n");
    const std::string pdf = fake_pdf();
    for (const words &call :
         {words{"ps2pdf", output, input, ""}, words{"pdf2pdf", output, pdf, ""},
          words{"pdfmerge", "", output, pdf, pdf}, words{"pdf2ps", output, pdf, ""},
          words{"pdf2dsc", pdf, output}, words{"ps2ascii", output, input},
          words{"ps2eps", output, input}, words{"eps2eps", output, input},
          words{"eps2pnm", output, input, ""}, words{"ps2tiff", output, input, ""},
          words{"pdf2pict", output, pdf, "-r 72"}, words{"pdftops", output, pdf}}) {
        new_run();
        running_program script(this->call(call[0], {call.begin() + 1, call.end()}));
        ASSERT_TRUE(eventually([&] { return file_exists(run + "/tmp/started"); })) << call[0];
        platform::remove_run_folder(run);
        script.finish();
        EXPECT_EQ(users.names(), (words{"in.pdf", "in.ps"})) << call[0];
        EXPECT_EQ(reports(), 0) << call[0];
        std::filesystem::remove(capture); // the application's
        EXPECT_TRUE(temporary.names().empty()) << call[0];
    }
}

TEST_F(GsScriptConversions, CalledByHandItShowsTheMessagesThatHaveNoFile)
{
    install("gs", "echo what gs said of papermill-in\nexit 1\n");
    for (const char *subcommand : {"ps2ascii", "ps2eps"}) {
        program_call alone = call(subcommand, {output, input});
        alone.environment["PAPERMILL_RUN_FOLDER"] = std::nullopt;
        alone.environment["TMPDIR"] = run + "/tmp";
        const program_result result = run_program(alone);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.out, "what gs said of " + input + "\n") << subcommand;
        EXPECT_EQ(result.err, "");
        EXPECT_TRUE(names_in(run + "/tmp").empty());
        alone.arguments.back() = users / "missing.ps";
        EXPECT_EQ(run_program(alone).out, users / "missing.ps" + ": File not found!\n");
    }
    EXPECT_EQ(reports(), 0);
    EXPECT_FALSE(file_exists(capture));
    EXPECT_EQ(users.names(), words{"in.ps"});
}

// ---- with the real tools ----

TEST_F(GsScriptConversions, PdfBecomesPdf)
{
    const std::string pdf = three_page_pdf();
    expect_success(script("pdf2pdf", {output, pdf, "-dCompatibilityLevel=1.3"}));
    EXPECT_EQ(read_file(output).substr(0, 8), "%PDF-1.3");
    EXPECT_EQ(pdf_page_count(output), 3);
    EXPECT_EQ(pdf_page_size(output), "300 x 200");
    EXPECT_EQ(text_of(output), "one\n\n\ftwo\n\n\fthree\n\n\f");
    EXPECT_EQ(qpdf_complaints(output), "");
    EXPECT_LT(difference(pdf_picture(output, 2), pdf_picture(pdf, 2)), 0.02);
}

TEST_F(GsScriptConversions, PdfBecomesPdfInItsOwnPlace)
{
    const std::string pdf = three_page_pdf();
    const std::string before = read_file(pdf);
    expect_success(script("pdf2pdf", {pdf, pdf, ""}));
    EXPECT_NE(read_file(pdf), before);
    EXPECT_EQ(text_of(pdf), "one\n\n\ftwo\n\n\fthree\n\n\f");
}

TEST_F(GsScriptConversions, PagesStayTheWayUpThatTheyHave)
{
    // The text runs upwards: left alone, Ghostscript would turn the page.
    const std::string ps = users.write(
        "up.ps", "%!PS\n<< /PageSize [300 200] >> setpagedevice /Helvetica findfont 20 scalefont "
                 "setfont 100 20 translate 90 rotate 0 0 moveto (upwards) show 0 30 moveto "
                 "(we go) show showpage\n");
    const std::string pdf = users / "up.pdf";
    ASSERT_EQ(
        run_program({{"gs", "-q", "-sDEVICE=pdfwrite", "-dAutoRotatePages=/None", "-o", pdf, ps}})
            .status,
        0);
    for (const words &call :
         {words{"pdf2pdf", output, pdf, ""}, words{"pdfmerge", "", output, pdf, pdf}}) {
        new_run();
        expect_success(script(call[0], {call.begin() + 1, call.end()}));
        EXPECT_NE(printed_by({"pdfinfo", output}).find("Page rot:        0\n"), std::string::npos);
        EXPECT_LT(difference(pdf_picture(output), pdf_picture(pdf)), 0.02);
    }
}

TEST_F(GsScriptConversions, PdfFilesAreMergedInTheirOrder)
{
    const std::string three = three_page_pdf("three pages.pdf");
    const std::string single = users / "single.pdf";
    make_pdf_of(users.write("single.ps", drawing_ps(400, 100, "single")), single);
    expect_success(script("pdfmerge", {"", output, single, three, single}));
    EXPECT_EQ(text_of(output), "single\n\n\fone\n\n\ftwo\n\n\fthree\n\n\fsingle\n\n\f");
    EXPECT_EQ(pdf_page_size(output), "400 x 100");
    EXPECT_EQ(qpdf_complaints(output), "");
    // Who reads the messages sees which file they are about.
    EXPECT_NE(said().find("\n" + three + ":\nProcessing pages 1 through 3.\n"), std::string::npos);
}

TEST_F(GsScriptConversions, PdfBecomesPostScriptByEitherTool)
{
    const std::string pdf = three_page_pdf();
    for (const words &call :
         {words{"pdf2ps", output, pdf, "-dLanguageLevel=2"}, words{"pdftops", output, pdf}}) {
        new_run();
        expect_success(script(call[0], {call.begin() + 1, call.end()}));
        EXPECT_EQ(read_file(output).substr(0, 10), "%!PS-Adobe");
        make_pdf_of(output, users / "back.pdf");
        EXPECT_EQ(text_of(users / "back.pdf"), "one\n\n\ftwo\n\n\fthree\n\n\f");
        EXPECT_LT(difference(pdf_picture(users / "back.pdf", 2), pdf_picture(pdf, 2)), 0.02);
        std::filesystem::remove(users / "back.pdf");
    }
}

TEST_F(GsScriptConversions, APageIsShownFromTheIndex)
{
    const std::string name = "a (1) \\ \xC3\xA4.pdf";
    three_page_pdf(name);
    expect_success(script("pdf2dsc", {name, "index.dsc"}));
    const std::string index = read_file(users / "index.dsc");
    EXPECT_NE(index.find("\n%%Pages: 3\n"), std::string::npos);

    // As viewers do it: all that comes before the first page, and the page.
    const auto part = [&](const char *from, const char *to) {
        const std::size_t start = *from == 0 ? 0 : index.find(from);
        return index.substr(start, index.find(to) - start);
    };
    const std::string second =
        users.write("second.ps", part("", "\n%%Page: 1") + "\n" + part("%%Page: 2", "%%Page: 3"));
    const auto painted = [&](const words &what) {
        program_call gs;
        gs.arguments = {"gs",   "-q", "-dSAFER",         "-dBATCH", "-dNOPAUSE", "-sDEVICE=ppmraw",
                        "-r72", "-o", users / "page.ppm"};
        gs.arguments.insert(gs.arguments.end(), what.begin(), what.end());
        gs.folder = users.path();
        const program_result result = run_program(gs);
        EXPECT_EQ(result.status, 0) << result.out << result.err;
        return read_file(users / "page.ppm");
    };
    const std::string from_index = painted({"--permit-file-read=" + name, second});
    EXPECT_EQ(from_index, painted({"-dFirstPage=2", "-dLastPage=2", name}));
    EXPECT_NE(from_index, painted({"-dLastPage=1", name}));
}

TEST_F(GsScriptConversions, PostScriptBecomesText)
{
    input = users.write("text.ps",
                        "%!PS\n/Times-Roman findfont dup length dict copy dup /Encoding "
                        "ISOLatin1Encoding put /L exch definefont 12 scalefont setfont\n"
                        "72 700 moveto (gr\\374n & wei\\337) show 72 680 moveto (next line) show "
                        "showpage 72 700 moveto (page two) show showpage\n");
    expect_success(script("ps2ascii", {output, input}));
    EXPECT_EQ(read_file(output), "gr\xC3\xBCn & wei\xC3\x9F\nnext line\n\n\fpage two\n\n\f");
    EXPECT_EQ(said(), "");
    EXPECT_FALSE(file_exists(capture));
}

TEST_F(GsScriptConversions, ADocumentWithoutTextIsTold)
{
    input = users.write("square.ps", "%!PS\n72 72 99 99 rectfill showpage\n");
    EXPECT_EQ(script("ps2ascii", {output, input}), 0);
    EXPECT_EQ(ending(), "0 unusable\n");
    EXPECT_EQ(said(), input + ": there is no text in it.\n");
    EXPECT_EQ(users.names(), (words{"in.ps", "square.ps"}));
}

TEST_F(GsScriptConversions, BoxesHoldWhatIsOnThePage)
{
    input = users.write("boxes.ps",
                        "%!PS\n(noise) print flush -50 -30 40 40 rectfill (more) print showpage\n"
                        "showpage\n<< /PageSize [100 100] >> setpagedevice grestoreall\n"
                        "2000 3000 10 10 rectfill initgraphics 5 6 7 8 rectfill showpage\n");
    expect_success(script("ps2eps", {output, input}));
    const std::string boxes = read_file(output);
    words coarse;
    for (std::size_t at = boxes.find("%%BoundingBox:"); at != std::string::npos;
         at = boxes.find("%%BoundingBox:", at + 1))
        coarse.push_back(boxes.substr(at, boxes.find('\n', at) - at));
    // The device rounds outwards.
    EXPECT_EQ(coarse, (words{"%%BoundingBox: -51 -31 -9 11", "%%BoundingBox: 0 0 0 0",
                             "%%BoundingBox: 4 5 2011 3011"}));
    EXPECT_EQ(said(), "noisemore");
}

TEST_F(GsScriptConversions, EpsIsRewrittenInItsPlace)
{
    input = users.write("figure.eps",
                        "%!PS-Adobe-3.0 EPSF-3.0\n%%BoundingBox: -50 -30 100 80\n"
                        "%%HiResBoundingBox: -49.5 -29.5 99.5 79.5\n%%EndComments\n"
                        "-50 -30 40 40 rectfill 60 50 40 30 rectfill\n"
                        "/Helvetica findfont 20 scalefont setfont 0 0 moveto (text) show\n"
                        "showpage\n%%EOF\n");
    expect_success(script("eps2eps", {output, input}));
    const std::string made = read_file(output);
    EXPECT_EQ(made.substr(0, 14), "%!PS-Adobe-3.0");
    EXPECT_NE(made.find("\n%%BoundingBox: -50 -30 100 80\n%%HiResBoundingBox: -49.5 -29.5 99.5 "
                        "79.5\n"),
              std::string::npos);
    EXPECT_LT(
        difference(ps_picture(output, 150, 110, -50, -30), ps_picture(input, 150, 110, -50, -30)),
        0.01);
    // Measured, it has the same marks; the device rounds outwards.
    new_run();
    expect_success(script("ps2eps", {users / "box", output}));
    EXPECT_EQ(read_file(users / "box").substr(0, 30), "%%BoundingBox: -51 -31 101 81\n");
}

TEST_F(GsScriptConversions, SeveralPagesAreNoEps)
{
    EXPECT_EQ(script("eps2eps", {output, three_pages()}), 1);
    EXPECT_EQ(ending(), "1 done\n");
    EXPECT_EQ(users.names(), (words{"in.ps", "three.ps"}));
}

TEST_F(GsScriptConversions, EveryPageBecomesATiffFile)
{
    expect_success(
        script("ps2tiff", {users / "page %d of-%d.tiff", three_pages(), "-sDEVICE=tiff24nc -r36"}));
    EXPECT_EQ(users.names(), (words{"in.ps", "page %d of-1.tiff", "page %d of-2.tiff",
                                    "page %d of-3.tiff", "three.ps"}));
    // A plain name: ImageMagick would take the pattern for one of its own.
    std::filesystem::rename(users / "page %d of-2.tiff", users / "two.tiff");
    EXPECT_EQ(identified(users / "two.tiff"), "TIFF 150 100\n");
    const std::string info = printed_by({"tiffinfo", users / "two.tiff"});
    EXPECT_NE(info.find("Resolution: 36, 36 pixels/inch"), std::string::npos) << info;
    EXPECT_NE(info.find("Samples/Pixel: 3"), std::string::npos) << info;
    // The corner of the second page's square; edges are smooth.
    EXPECT_EQ(printed_by({"/usr/bin/convert", users / "two.tiff", "-format",
                          "%[pixel:p{22,78}] %[pixel:p{18,78}]", "info:"}),
              "srgb(0,0,0) srgb(255,255,255)");
}

TEST_F(GsScriptConversions, PdfBecomesAPicture)
{
    // The machine's own converter; the bundle's takes the same call.
    install("convert", "exec /usr/bin/convert \"$@\"\n");
    expect_success(script("pdf2pict", {output, three_page_pdf(), "-r 144"}));
    EXPECT_EQ(identified("pict:" + output), "PICT 600 400\n");
    EXPECT_EQ(read_file(output).substr(0, 512), std::string(512, '\0'));
    EXPECT_NE(said().find("A picture holds one page: page 1 of 3 is taken.\n"), std::string::npos);
    // Page 1: its square lies in the corner.
    EXPECT_EQ(printed_by({"/usr/bin/convert", "pict:" + output, "-format",
                          "%[pixel:p{3,397}] %[pixel:p{90,310}]", "info:"}),
              "srgb(0,0,0) srgb(255,255,255)");
}

TEST_F(GsScriptConversions, APictureShowsWhatTheCropBoxLeaves)
{
    install("convert", "exec /usr/bin/convert \"$@\"\n");
    std::string bytes = read_file(three_page_pdf());
    make_pdf_of(users.write("crop.ps", "%!PS\n<< /PageSize [300 200] >> setpagedevice\n"
                                       "[/CropBox [10 20 110 70] /PAGE pdfmark\n"
                                       "10 20 30 30 rectfill showpage\n"),
                users / "crop.pdf");
    expect_success(script("pdf2pict", {output, users / "crop.pdf", "-r 72"}));
    EXPECT_EQ(identified("pict:" + output), "PICT 100 50\n");
    EXPECT_EQ(said().find("A picture holds one page"), std::string::npos);
}

TEST_F(GsScriptConversions, WhyAPdfFileIsOfNoUseIsTold)
{
    install("convert", "exec /usr/bin/convert \"$@\"\n");
    const std::string locked = locked_pdf();
    const std::string empty = pdf_without_pages();
    const words before = users.names();
    for (const char *subcommand : {"pdf2pdf", "pdf2ps", "pdftops", "pdf2dsc", "pdf2pict"}) {
        for (const auto &[file, message] :
             {std::pair(locked, ": the file is encrypted; it opens with its password only.\n"),
              std::pair(empty, ": the PDF file has no pages.\n")}) {
            new_run();
            const bool input_first = std::string(subcommand) == "pdf2dsc";
            script(subcommand, {input_first ? file : output, input_first ? output : file, "-r72"});
            EXPECT_NE(ending(), "0 done\n") << subcommand;
            const std::string shown = said();
            const std::string last = file + message;
            ASSERT_GE(shown.size(), last.size()) << subcommand;
            EXPECT_EQ(shown.substr(shown.size() - last.size()), last) << subcommand;
            EXPECT_EQ(users.names(), before);
        }
    }
}

TEST_F(GsScriptConversions, TheFileThatSpoilsAMergeIsNamed)
{
    const std::string good = three_page_pdf("good.pdf");
    const std::string locked = locked_pdf();
    const std::string empty = pdf_without_pages();
    const std::string damaged = damaged_pdf();
    const struct {
        words inputs;
        std::string message, ending;
    } cases[] = {
        {{good, locked, good}, locked + ": the file is encrypted; ", "1 done\n"},
        {{good, empty, good}, empty + ": the PDF file has no pages.\n", "0 unusable\n"},
        {{good, damaged, good}, damaged + ": the file was damaged and has been ", "0 done\n"},
    };
    for (const auto &each : cases) {
        for (const char *options : {"", "-dFirstPage=2", "-q"}) {
            // Quiet means that repairs are not told.
            if (each.inputs[1] == damaged && std::string(options) == "-q")
                continue;
            new_run();
            words merge = {options, output};
            merge.insert(merge.end(), each.inputs.begin(), each.inputs.end());
            script("pdfmerge", merge);
            EXPECT_EQ(ending(), each.ending) << options;
            EXPECT_NE(said().find("\n" + each.message), std::string::npos) << options << said();
            EXPECT_EQ(std::filesystem::remove(output), each.ending == "0 done\n");
        }
    }
}

TEST_F(GsScriptConversions, ARepairedPdfFileIsTold)
{
    install("convert", "exec /usr/bin/convert \"$@\"\n");
    const std::string damaged = damaged_pdf();
    for (const char *subcommand : {"pdf2pdf", "pdf2ps", "pdf2pict"}) {
        new_run();
        expect_success(script(subcommand, {output, damaged, "-r72"}));
        EXPECT_NE(said().find("\n" + damaged +
                              ": the file was damaged and has been repaired; something may be "
                              "missing.\n"),
                  std::string::npos)
            << subcommand << said();
    }
}

TEST_F(GsScriptConversions, APageThatCannotBeReadIsAnError)
{
    // The content of the second page ends too early, and is no content.
    std::string bytes = read_file(three_page_pdf());
    const std::string plain = users / "plain.pdf";
    ASSERT_EQ(
        run_program({{"qpdf", "--qdf", "--object-streams=disable", users / "three.pdf", plain}})
            .status,
        0);
    bytes = read_file(plain);
    const std::size_t second = bytes.find("stream\n", bytes.find("stream\n") + 20);
    ASSERT_NE(second, std::string::npos);
    const std::size_t third = bytes.find("stream\n", bytes.find("endstream", second) + 9);
    ASSERT_NE(third, std::string::npos);
    bytes.replace(third + 7, 20, ")>>]]} BI ID EI q Q Q");
    write_file(plain, bytes);
    for (const char *subcommand : {"pdf2pdf", "pdf2ps"}) {
        new_run();
        EXPECT_EQ(script(subcommand, {output, plain, ""}), 1) << said();
        EXPECT_EQ(ending(), "1 done\n");
        EXPECT_FALSE(file_exists(output));
    }
}
