#include "engine/eps_extraction.h"

#include "app/globals.h"
#include "platform/strings.h"
#include "settings/path_utils.h"
#include "tests/support/conversion_test.h"
#include "tests/support/test_files.h"

#include <csignal>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const std::string box_steps = "says '%%%%BoundingBox: 10 20 110 220\\n'";
const std::string plain_box = "10 20 110 220";

class PsToEps : public conversion_test {
protected:
    PsToEps()
        : input(folder.write("page.ps", "%!PS\nshowpage\n")), output(folder / "page.eps"),
          boxes(std::string(tmpPath) + "/tmp.bbox")
    {
        // Its first string argument, where others have the capture file, is the file of boxes.
        script.does(box_steps + "; ends 0 done; reports");
        a = b = c = d = 0;
    }

    ~PsToEps() override
    {
        a = b = c = d = 0;
    }

    void convert()
    {
        console.clear();
        failed_conversions = 0;
        do_ps2eps(input.c_str());
    }

    // The EPS file of an input of these bytes.
    std::string eps_of(const std::string &bytes)
    {
        folder.write("page.ps", bytes);
        convert();
        EXPECT_EQ(console.lines(), banner() + done);
        return read_file(output);
    }

    std::string banner() const
    {
        return "Converting \"" + input + "\" to \"" + output + "\".\n";
    }

    static constexpr char done[] = "Processing complete.\n\n";
    static constexpr char unable[] = "Unable to compute the bounding box.\n";

    std::string input, output, boxes;
};

std::string with_line_ends(const words &lines, char line_end)
{
    std::string result;
    for (const std::string &line : lines)
        result += line + line_end;
    return result;
}

std::string header(char line_end = '\n', const std::string &box = plain_box)
{
    return with_line_ends({"%!PS-Adobe-2.0 EPSF-2.0", "%%Pages: 1", "%%BoundingBox: " + box, "save",
                           "countdictstack", "mark", "newpath", "/showpage {} def",
                           "/setpagedevice {pop} def", "%%EndProlog", "%%Page 1 1"},
                          line_end);
}

std::string trailer(char line_end = '\n')
{
    return with_line_ends(
        {"%%Trailer", "cleartomark", "countdictstack exch sub { end } repeat", "restore", "%%EOF"},
        line_end);
}

} // namespace

// ---- the run ----

TEST_F(PsToEps, TheCommandHasNoCaptureFile)
{
    convert();
    EXPECT_EQ(command_line, "gs.script ps2eps " + pid + " \"" + boxes + "\" \"" + input + "\"");
    EXPECT_EQ(script.arguments(), (words{"ps2eps", pid, boxes, input}));
    EXPECT_STREQ(unixTool, "gs");
    EXPECT_EQ(console.lines(), banner() + done); // and no elapsed time
    EXPECT_EQ(redraws(), words{banner()});
    EXPECT_EQ(watched.order(),
              "TXNForceUpdate ShowSheetWindow HideSheetWindow SetCursor SetCursor");
    EXPECT_EQ(watched.calls.back().shown, banner() + done);
    EXPECT_FALSE(file_exists(boxes));
    EXPECT_EQ(failed_conversions, 0);
}

TEST_F(PsToEps, WithoutAnInputTheCurrentOneIsConverted)
{
    platform::copy_whole(in_file, input.c_str());
    do_ps2eps(nullptr);
    EXPECT_EQ(console.lines(), banner() + done);
    EXPECT_EQ(out_file, output);
    EXPECT_TRUE(file_exists(output));
}

TEST_F(PsToEps, AGivenInputBecomesTheCurrentOne)
{
    platform::copy_whole(in_file, "/before");
    convert();
    EXPECT_EQ(in_file, input);
    EXPECT_EQ(out_file, output);
}

TEST_F(PsToEps, TheOutputIsTheInputCutAtItsLastDot)
{
    folder.make_folder("dir.v2");
    const std::pair<const char *, const char *> names[] = {
        {"noextension", "noextension.eps"}, {"dir.v2/page", "dir.eps"}, {"a.b.ps", "a.b.eps"},
        {"dir.v2/b.PS", "dir.v2/b.eps"},    {".hidden", ".eps"},        {"end.", "end.eps"},
    };
    for (const auto &[from, to] : names) {
        input = folder.write(from, "%!PS\nshowpage\n");
        output = folder / to;
        convert();
        EXPECT_EQ(console.lines(), banner() + done);
        EXPECT_EQ(read_file(output), header() + "showpage\n" + trailer());
    }
}

TEST_F(PsToEps, NamesReachTheScriptAsTheyAre)
{
    ASSERT_EQ(chdir(folder.path().c_str()), 0);
    for (const std::string &name : telling_names()) {
        SCOPED_TRACE(name);
        input = folder.write(name + ".ps", "%!PS\nshowpage\n");
        output = folder / (name + ".eps");
        convert();
        EXPECT_EQ(command_line,
                  "gs.script ps2eps " + pid + " \"" + boxes + "\" \"" + slot(input) + "\"");
        EXPECT_EQ(script.arguments(), (words{"ps2eps", pid, boxes, input}));
        EXPECT_EQ(console.lines(), banner() + done);
        EXPECT_EQ(read_file(output), header() + "showpage\n" + trailer());
    }
    EXPECT_FALSE(file_exists(folder / "touched"));
}

TEST_F(PsToEps, APathThatDoesNotFitIsRefused)
{
    platform::copy_whole(in_file, "/before");
    input = "/" + std::string(path_size - 1, 'p');
    convert();
    EXPECT_EQ(console.lines(),
              input + ": the path is too long. Move the file or shorten its name.\n");
    EXPECT_STREQ(in_file, "/before");
    input = "/" + std::string(path_size - 4, 'p'); // not with ".eps"
    convert();
    EXPECT_EQ(console.lines(),
              input + ": the path is too long. Move the file or shorten its name.\n");
    EXPECT_EQ(failed_conversions, 1);
    EXPECT_EQ(script.calls(), 0);
}

TEST_F(PsToEps, InTheBackgroundThereIsNoSheet)
{
    inBackground = 1;
    script.does("sleep 0.1; " + box_steps + "; ends 0 done; reports");
    convert();
    EXPECT_EQ(console.lines(), banner() + done);
    EXPECT_EQ(watched.count("ShowSheetWindow"), 0U);
    EXPECT_EQ(read_file(output), header() + "showpage\n" + trailer());
}

// ---- the wrapper ----

TEST_F(PsToEps, LineFeedsEndEveryLine)
{
    EXPECT_EQ(eps_of("%!PS-Adobe-3.0\n%%Pages: 1\n% a comment\n0 0 moveto\nshowpage\n%%EOF\n"),
              header() + "% a comment\n0 0 moveto\nshowpage\n" + trailer());
}

TEST_F(PsToEps, CarriageReturnsEndEveryLine)
{
    EXPECT_EQ(eps_of("%!PS-Adobe-3.0\r%%Pages: 1\r0 0 moveto\rshowpage\r"),
              header('\r') + "0 0 moveto\rshowpage\r" + trailer('\r'));
}

TEST_F(PsToEps, AfterBothTheWrappersLinesEndWithACarriageReturn)
{
    // The line feeds behind the dropped lines are lines of their own, and stay.
    EXPECT_EQ(eps_of("%!PS\r\n%%Pages: 1\r\n0 0 moveto\r\nshowpage\r\n"),
              header('\r') + "\n\n0 0 moveto\r\nshowpage\r\n" + trailer('\r'));
}

TEST_F(PsToEps, OnlyTheFirstLineDecidesOnTheLineEnd)
{
    EXPECT_EQ(eps_of("%!PS\none\rtwo\r\n"), header() + "one\rtwo\r\n" + trailer());
    EXPECT_EQ(eps_of("%!PS\rone\ntwo\n"), header('\r') + "one\ntwo\n" + trailer('\r'));
    EXPECT_EQ(eps_of("\n%!PS\rone\r"), header() + "\none\r" + trailer());
}

TEST_F(PsToEps, AFirstLineOfMoreThan1019BytesCountsAsOneWithoutALineFeed)
{
    const std::string fits = "%!" + std::string(1016, 'x') + "\n"; // 1019 bytes with its line feed
    EXPECT_EQ(eps_of(fits + "showpage\n"), header() + "showpage\n" + trailer());
    const std::string longer = "%!" + std::string(1017, 'x') + "\n";
    EXPECT_EQ(eps_of(longer + "showpage\n"), header('\r') + "\nshowpage\n" + trailer('\r'));
}

TEST_F(PsToEps, AFileWithoutLinesHasTheWrapperOnly)
{
    EXPECT_EQ(eps_of(""), header('\r') + trailer('\r'));
    EXPECT_EQ(eps_of("%!PS"), header('\r') + trailer('\r'));
    EXPECT_EQ(eps_of("showpage"), header('\r') + "showpage" + trailer('\r'));
}

TEST_F(PsToEps, TheDocumentsOwnCommentsAreDropped)
{
    EXPECT_EQ(eps_of("%!PS-Adobe-3.0\n"
                     "%%BoundingBox: 0 0 1 1\n"
                     "%%Pages: 7\n"
                     "%%EndComments\n"
                     "%\n"
                     "% %% stays\n"
                     "%a\n"
                     " %%stays too\n"
                     "%!drop\n"
                     "%%\n"
                     "(%%) show %% and this\n"
                     "%%Trailer\n"
                     "%%EOF\n"),
              header() + "%\n% %% stays\n%a\n %%stays too\n(%%) show %% and this\n" + trailer());
}

TEST_F(PsToEps, LongLinesComeInPiecesOf1019Bytes)
{
    const std::string piece(1019, 'x');
    // Whole, although no piece but the last has a line end.
    EXPECT_EQ(eps_of("%!PS\n" + piece + piece + piece + "end\n"),
              header() + piece + piece + piece + "end\n" + trailer());
    // A piece that happens to begin like a comment is dropped with what follows in it.
    EXPECT_EQ(eps_of("%!PS\n" + piece + "%% dropped\nnext\n"),
              header() + piece + "next\n" + trailer());
    EXPECT_EQ(eps_of("%!PS\n" + piece + "%!" + std::string(1017, 'y') + "rest\n"),
              header() + piece + "rest\n" + trailer());
    EXPECT_EQ(eps_of("%!PS\n" + piece + "y%% stays\n"),
              header() + piece + "y%% stays\n" + trailer());
    // So does the rest of a long comment not.
    EXPECT_EQ(eps_of("%!PS\n%%" + std::string(1017, 'y') + "rest\n"),
              header() + "rest\n" + trailer());
}

TEST_F(PsToEps, ANulCutsTheRestOfItsPieceOnly)
{
    EXPECT_EQ(eps_of("%!PS\n" + std::string("one\0two\nthree\n\0\n\0%%\nfour\n", 25)),
              header() + "onethree\nfour\n" + trailer());
}

TEST_F(PsToEps, OtherBytesAreCopied)
{
    std::string bytes;
    for (int i = 1; i < 256; ++i)
        bytes += static_cast<char>(i);
    EXPECT_EQ(eps_of("%!PS\n" + bytes + "\n"), header() + bytes + "\n" + trailer());
}

TEST_F(PsToEps, ALargePageIsCopiedWhole)
{
    std::string body;
    for (int i = 0; i < 50000; ++i)
        body += std::to_string(i) + " 0 moveto\n";
    EXPECT_TRUE(eps_of("%!PS\n" + body) == header() + body + trailer());
}

// ---- the box ----

TEST_F(PsToEps, TheFirstBoxCounts)
{
    const std::pair<const char *, const char *> files[] = {
        {"%%%%BoundingBox: 1 2 3 4\\n%%%%HiResBoundingBox: 1.5 2.5 3.5 4.5\\n", "1 2 3 4"},
        {"%%%%HiResBoundingBox: 9.5 9.5 9.5 9.5\\n%%%%BoundingBox: 1 2 3 4\\n", "1 2 3 4"},
        {"words\\r%%%%BoundingBox: -5 -6 70 80\\r", "-5 -6 70 80"},
        {" %%%%BoundingBox: 9 9 9 9\\n%%%%BoundingBox:\\t1  2 3\\t4", "1 2 3 4"},
        {"%%%%BoundingBox: 0 0 0 0\\n", "0 0 0 0"},
    };
    for (const auto &[file, box] : files) {
        script.does(std::string("says '") + file + "'; ends 0 done; reports");
        EXPECT_EQ(eps_of("%!PS\n"), header('\n', box) + trailer());
        EXPECT_EQ(std::to_string(a) + " " + std::to_string(b) + " " + std::to_string(c) + " " +
                      std::to_string(d),
                  box);
        EXPECT_FALSE(file_exists(boxes));
    }
}

TEST_F(PsToEps, LinesOfTheBoxesComeInPiecesOf254Bytes)
{
    script.does("says '%0254d%%%%BoundingBox: 1 2 3 4\\n' 0; ends 0 done; reports");
    EXPECT_EQ(eps_of("%!PS\n"), header('\n', "1 2 3 4") + trailer());
    script.does("says '%0253d%%%%BoundingBox: 5 6 7 8\\n' 0; ends 0 done; reports");
    EXPECT_EQ(eps_of("%!PS\n"), header('\n', "1 2 3 4") + trailer()); // the one before
}

TEST_F(PsToEps, WithoutABoxTheLastOneHolds)
{
    script.does("says 'no box\\n'; ends 0 done; reports");
    EXPECT_EQ(eps_of("%!PS\n"), header('\n', "0 0 0 0") + trailer()); // none was ever measured
    script.does(box_steps + "; ends 0 done; reports");
    EXPECT_EQ(eps_of("%!PS\n"), header() + trailer());
    for (const char *steps : {"says 'no box\\n'", ": > \"$3\"", "says '%%%%BoundingBox\\n'"}) {
        script.does(std::string(steps) + "; ends 0 done; reports");
        EXPECT_EQ(eps_of("%!PS\n"), header() + trailer());
        EXPECT_FALSE(file_exists(boxes));
    }
    script.does("says '%%%%BoundingBox: 1 2 x\\n'; ends 0 done; reports");
    EXPECT_EQ(eps_of("%!PS\n"), header('\n', "1 2 110 220") + trailer());
}

TEST_F(PsToEps, TheBoxIsADebugLine)
{
    doDebug = 1;
    convert();
    EXPECT_EQ(console.lines(), banner() + "Bounding Box: 10 20 110 220\n" + done);
}

TEST_F(PsToEps, SeveralPagesAreTold)
{
    script.does("for i in 1 2 3; do says \"%%%%BoundingBox: $i 0 9 9\\n\"; done\n"
                "ends 0 done; reports");
    convert();
    EXPECT_EQ(console.lines(),
              banner() + done + input +
                  ": it has 3 pages, which lie on top of each other in the EPS file.\n");
    EXPECT_EQ(read_file(output), header('\n', "1 0 9 9") + "showpage\n" + trailer());
    EXPECT_EQ(failed_conversions, 0);
}

// ---- failures ----

TEST_F(PsToEps, WithoutAFileOfBoxesNothingIsWritten)
{
    folder.write("page.eps", "older");
    for (const bool background : {false, true}) {
        inBackground = background;
        for (const way_to_end &way : ways_to_end) {
            SCOPED_TRACE(way.steps);
            way_to_end expected = way;
            if (way.ending == ended_well) { // but there is no box
                expected.ending = ended_without_result;
                expected.line = "S: failed, T ended without an error but left no usable result.\n";
            }
            script.does(way.steps);
            watched.calls.clear();
            convert();
            EXPECT_EQ(console.lines(), banner() + unable + failure_line(expected, input, "gs"));
            EXPECT_EQ(last_ending, expected.ending);
            EXPECT_EQ(exit_status, way.status);
            EXPECT_EQ(failed_conversions, 1);
            EXPECT_EQ(read_file(output), "older");
            // The wait restores the cursor; the routine itself does not.
            EXPECT_EQ(watched.count("SetCursor"), background ? 0U : 1U);
        }
    }
}

TEST_F(PsToEps, TheToolsWordsAreShownWhenItFailed)
{
    script.does("echo 'Error: /undefined' > \"$run/messages\"; ends 1 done; reports");
    convert();
    EXPECT_EQ(console.lines(), banner() + unable + "\nError: /undefined\n" + input +
                                   ": failed, gs ended with status 1.\n");
    EXPECT_FALSE(file_exists(worksheet));
    script.does("echo 'nothing to worry' > \"$run/messages\"; " + box_steps +
                "; ends 0 done; reports");
    convert();
    EXPECT_EQ(console.lines(), banner() + done);
    EXPECT_FALSE(file_exists(worksheet));
}

TEST_F(PsToEps, AFailureIsToldOnceAlthoughThereIsABox)
{
    script.does(box_steps + "; ends 3 done; reports");
    convert();
    EXPECT_EQ(console.lines(), banner() + done + input + ": failed, gs ended with status 3.\n");
    EXPECT_EQ(failed_conversions, 1);
    EXPECT_EQ(read_file(output), header() + "showpage\n" + trailer());
}

TEST_F(PsToEps, ACancelLeavesNoBox)
{
    cancel_the_next_run();
    convert();
    EXPECT_EQ(console.lines(), banner() + unable);
    EXPECT_EQ(last_ending, ended_cancelled);
    EXPECT_EQ(failed_conversions, 0);
    EXPECT_FALSE(file_exists(output));
    EXPECT_EQ(watched.count("SetCursor"), 1U); // the wait's
}

TEST_F(PsToEps, ACancelAfterTheBoxCostsNothing)
{
    folder.write("page.ps", "%!PS\nshowpage\n");
    cancel_the_next_run();
    script.does(box_steps + "; echo > \"$run/begun\"; sleep 60");
    convert();
    EXPECT_EQ(console.lines(), banner() + done);
    EXPECT_EQ(read_file(output), header() + "showpage\n" + trailer());
}

TEST_F(PsToEps, AnInputThatIsGoneIsTold)
{
    folder.write("page.eps", "older");
    script.does(box_steps + "; rm \"$4\"; ends 0 done; reports");
    convert();
    EXPECT_EQ(console.lines(),
              banner() + done + input + ": the file can't be read: No such file or directory.\n");
    EXPECT_EQ(failed_conversions, 1);
    EXPECT_EQ(last_ending, ended_without_result);
    EXPECT_EQ(read_file(output), "older");
    EXPECT_EQ(watched.count("SetCursor"), 2U);
}

TEST_F(PsToEps, AFolderOfTheOutputsNameIsTold)
{
    folder.make_folder("page.eps");
    convert();
    EXPECT_EQ(console.lines(),
              banner() + done + output + ": the file can't be written: it is no ordinary file.\n");
    EXPECT_EQ(failed_conversions, 1);
}

TEST_F(PsToEps, AnOutputThatMayNotBeWrittenIsTold)
{
    const std::string closed = folder.make_folder("closed");
    input = folder.write("closed/page.ps", "%!PS\n");
    output = closed + "/page.eps";
    ASSERT_EQ(chmod(closed.c_str(), 0555), 0);
    script.does(box_steps + "; ends 0 done");
    const auto refused = [&] {
        EXPECT_TRUE(in_child_without_rights([&] {
            inBackground = 1; // nobody hears a report there
            convert();
            EXPECT_EQ(console.lines(), banner() + done + output +
                                           ": the file can't be written: Permission denied.\n");
            EXPECT_EQ(failed_conversions, 1);
            EXPECT_EQ(last_ending, ended_without_result);
        }));
    };
    refused();
    EXPECT_FALSE(file_exists(output));
    // The folder may be written, but the file may not.
    ASSERT_EQ(chmod(closed.c_str(), 0777), 0);
    folder.write("closed/page.eps", "older");
    ASSERT_EQ(chmod(output.c_str(), 0444), 0);
    refused();
    EXPECT_EQ(read_file(output), "older");
}

TEST_F(PsToEps, AFullDiskKeepsTheOlderFile)
{
    folder.write("page.eps", "older");
    folder.write("page.ps", "%!PS\n" + std::string(500, 'x') + "\n" + std::string(300000, 'y'));
    const words before = folder.names();
    script.does(box_steps + "; ends 0 done");
    EXPECT_TRUE(in_child([&] {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit = {100000, 100000};
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
        inBackground = 1;
        convert();
        EXPECT_EQ(console.lines(),
                  banner() + done + output + ": the file can't be written: File too large.\n");
        EXPECT_EQ(failed_conversions, 1);
    }));
    EXPECT_EQ(read_file(output), "older");
    EXPECT_EQ(folder.names(), before);
}

// ---- the output file ----

TEST_F(PsToEps, AnInputOfTheOutputsNameIsReplacedByItsOwnPicture)
{
    input = output = folder.write("figure.eps", "%!PS\n%%BoundingBox: 0 0 9 9\n0 0 moveto\n");
    convert();
    EXPECT_EQ(console.lines(), banner() + done);
    EXPECT_EQ(read_file(output), header() + "0 0 moveto\n" + trailer());
}

TEST_F(PsToEps, AnOlderFileIsReplacedWhole)
{
    folder.write("page.eps", std::string(5000, 'o'));
    ASSERT_EQ(chmod(output.c_str(), 0640), 0);
    const std::string other_name = folder / "other name";
    ASSERT_EQ(link(output.c_str(), other_name.c_str()), 0);
    convert();
    EXPECT_EQ(read_file(output), header() + "showpage\n" + trailer());
    EXPECT_EQ(read_file(other_name), std::string(5000, 'o')); // whoever has it open keeps it
    struct stat status = {};
    ASSERT_EQ(stat(output.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0640U);
    EXPECT_EQ(folder.names(), (words{"other name", "page.eps", "page.ps"}));
}

TEST_F(PsToEps, ALinkIsWrittenThrough)
{
    const std::string target = folder.write("target.eps", "older");
    ASSERT_EQ(symlink("target.eps", output.c_str()), 0);
    convert();
    EXPECT_EQ(read_file(target), header() + "showpage\n" + trailer());
    struct stat status = {};
    ASSERT_EQ(lstat(output.c_str(), &status), 0);
    EXPECT_TRUE(S_ISLNK(status.st_mode));
}

TEST_F(PsToEps, TypeAndCreatorAreTheInputs)
{
    ASSERT_EQ(set_file_info(input.c_str(), four_chars("ttxt"), four_chars("EPSF")), noErr);
    convert();
    OSType creator = 0;
    OSType type = 0;
    ASSERT_EQ(get_full_info(output.c_str(), &creator, &type), 1);
    EXPECT_EQ(creator, four_chars("ttxt"));
    EXPECT_EQ(type, four_chars("EPSF"));
    EXPECT_EQ(folder.names(), (words{"page.eps", "page.ps"}));
}
