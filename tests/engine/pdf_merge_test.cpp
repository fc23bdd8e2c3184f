#include "engine/pdf_merge.h"

#include "app/globals.h"
#include "settings/prefs_store.h"
#include "tests/support/conversion_test.h"

#include <climits>
#include <string>
#include <unistd.h>

namespace {

class PdfMerge : public conversion_test {
protected:
    PdfMerge() : place(folder.path()) {}

    void merge(const std::string &list, const std::string &output)
    {
        console.clear();
        run_pdfmerge(list.c_str(), output.c_str(), place.c_str());
    }

    std::string banner(const std::string &list, const std::string &output) const
    {
        return "Merging " + list + " to " + output + ".\nCurrent directory -- " + place + ".\n";
    }

    std::string place;
};

std::string current_folder()
{
    char path[PATH_MAX];
    return getcwd(path, sizeof path) == nullptr ? "" : path;
}

} // namespace

TEST_F(PdfMerge, TheListIsTheOnePartWithoutQuotes)
{
    set_setting("PS2PDF_OPTION_STR", "-dPDFSETTINGS=/screen -r72");
    merge("a.pdf b.pdf", "ab.pdf");
    EXPECT_EQ(command_line, "gs.script pdfmerge " + pid + " \"" + worksheet +
                                "\" \"-dPDFSETTINGS=/screen -r72\" \"ab.pdf\" a.pdf b.pdf");
    EXPECT_EQ(own_arguments(), (words{"-dPDFSETTINGS=/screen -r72", "ab.pdf", "a.pdf", "b.pdf"}));
    EXPECT_EQ(script.arguments().front(), "pdfmerge");
    EXPECT_STREQ(unixTool, "gs");
}

TEST_F(PdfMerge, BothLinesAreShownBeforeTheTool)
{
    script.does("says 'words\\n'; ends 0 done; reports");
    merge("a.pdf b.pdf", "ab.pdf");
    EXPECT_EQ(shown(), banner("a.pdf b.pdf", "ab.pdf") + "\nwords\n" + complete);
    EXPECT_EQ(redraws(), words{banner("a.pdf b.pdf", "ab.pdf")});
    EXPECT_EQ(watched.order(),
              "TXNForceUpdate ShowSheetWindow HideSheetWindow SetCursor SetCursor");
}

TEST_F(PdfMerge, MissingOrEmptyOptionsFallBackToPrinterQuality)
{
    merge("a.pdf", "out.pdf");
    EXPECT_EQ(own_arguments().front(), fallback_options);
    EXPECT_EQ(command_line, "gs.script pdfmerge " + pid + " \"" + worksheet + "\" \"" +
                                fallback_options + "\" \"out.pdf\" a.pdf");
    set_setting("PS2PDF_OPTION_STR", "");
    merge("a.pdf", "out.pdf");
    EXPECT_EQ(own_arguments().front(), fallback_options);
}

TEST_F(PdfMerge, OptionsAreOneArgumentWhateverTheyHold)
{
    const std::string options = "-sA=\"b\" $HOME `id` $(id) \\ ' \n " + std::string(600, 'x');
    set_setting("PS2PDF_OPTION_STR", options.c_str());
    merge("a.pdf", "out.pdf");
    EXPECT_EQ(own_arguments(), (words{options, "out.pdf", "a.pdf"}));
}

TEST_F(PdfMerge, TheShellTakesTheListApart)
{
    folder.write("1.pdf", "");
    folder.write("2.pdf", "");
    const std::pair<const char *, words> lists[] = {
        {"a.pdf   b.pdf\tc.pdf", {"a.pdf", "b.pdf", "c.pdf"}},
        {"\"two words.pdf\" 'it is.pdf' three\\ words.pdf",
         {"two words.pdf", "it is.pdf", "three words.pdf"}},
        {"/x/a.pdf ../b.pdf", {"/x/a.pdf", "../b.pdf"}},
        {"'$HOME' \"a\\\"b\" \xFF.pdf", {"$HOME", "a\"b", "\xFF.pdf"}},
    };
    for (const auto &[list, names] : lists) {
        merge(list, "out.pdf");
        words expected = {fallback_options, "out.pdf"};
        expected.insert(expected.end(), names.begin(), names.end());
        EXPECT_EQ(own_arguments(), expected);
        EXPECT_EQ(shown(), banner(list, "out.pdf") + complete);
    }
    // A pattern matches in the working folder of the line, which is the merge's.
    merge("[12].pdf", "out.pdf");
    EXPECT_EQ(own_arguments(), (words{fallback_options, "out.pdf", "1.pdf", "2.pdf"}));
}

TEST_F(PdfMerge, TheOutputIsOneWordWhateverItsName)
{
    for (const std::string &name : telling_names()) {
        merge("a.pdf", name);
        EXPECT_EQ(own_arguments(), (words{fallback_options, name, "a.pdf"}));
        EXPECT_EQ(command_line, "gs.script pdfmerge " + pid + " \"" + worksheet + "\" \"" +
                                    fallback_options + "\" \"" + slot(name) + "\" a.pdf");
        EXPECT_EQ(shown(), banner("a.pdf", name) + complete);
    }
    EXPECT_FALSE(file_exists(folder / "touched"));
}

TEST_F(PdfMerge, TheFolderStaysTheWorkingFolder)
{
    for (const std::string &name : telling_names()) {
        ASSERT_EQ(chdir("/"), 0);
        place = folder.make_folder(name);
        merge("a.pdf", "out.pdf");
        EXPECT_EQ(current_folder(), place);
        EXPECT_EQ(shown(), banner("a.pdf", "out.pdf") + complete);
    }
    merge("a.pdf", "out.pdf");
    EXPECT_EQ(script.working_folder(), place);
}

TEST_F(PdfMerge, AFolderThatIsNotThereIsTold)
{
    const std::string before = current_folder();
    place = folder / "missing";
    merge("a.pdf", "out.pdf");
    EXPECT_EQ(shown(), banner("a.pdf", "out.pdf") + "Can't change to the folder " + place +
                           ": No such file or directory.\n" + complete +
                           "out.pdf: not done, gs was not started.\n");
    EXPECT_EQ(script.calls(), 0);
    EXPECT_EQ(current_folder(), before);
    EXPECT_EQ(failed_conversions, 1);
}

TEST_F(PdfMerge, EndingsAreToldApart)
{
    for (const bool background : {false, true}) {
        inBackground = background;
        for (const way_to_end &way : ways_to_end) {
            SCOPED_TRACE(way.steps);
            failed_conversions = 0;
            script.does(way.steps);
            merge("a.pdf", "out.pdf");
            EXPECT_EQ(shown(),
                      banner("a.pdf", "out.pdf") + complete + failure_line(way, "out.pdf", "gs"));
            EXPECT_EQ(last_ending, way.ending);
            EXPECT_EQ(exit_status, way.status);
            EXPECT_EQ(failed_conversions, way.ending == ended_well ? 0 : 1);
        }
    }
    EXPECT_EQ(watched.count("ShowSheetWindow"), ways_to_end.size()); // none in the background
}

TEST_F(PdfMerge, AfterACancelTheCursorIsRestored)
{
    cancel_the_next_run();
    merge("a.pdf", "out.pdf");
    EXPECT_EQ(shown(), banner("a.pdf", "out.pdf") + cancelled);
    EXPECT_EQ(watched.count("SetCursor"), 2U); // the wait's and the merge's own
    EXPECT_EQ(last_ending, ended_cancelled);
    EXPECT_EQ(failed_conversions, 0);
}

TEST_F(PdfMerge, TheElapsedTimeIsInSeconds)
{
    watched.clock = {6, 66};
    merge("a.pdf", "out.pdf");
    EXPECT_EQ(console.lines(),
              banner("a.pdf", "out.pdf") + "\nProcessing complete.\nElapsed time = 1.0 sec.\n\n");
}

TEST_F(PdfMerge, AListThatDoesNotFitIsRefused)
{
    merge(std::string(command_size, 'x'), "out.pdf");
    EXPECT_EQ(console.lines(),
              "out.pdf: the command line is too long. Shorten the options or the names.\n");
    EXPECT_EQ(script.calls(), 0);
    EXPECT_EQ(failed_conversions, 1);
}

TEST_F(PdfMerge, TheRememberedMergeIsNotTouched)
{
    merge("a.pdf", "out.pdf");
    for (const char *key : {"PDFMERGE_INFILES", "PDFMERGE_OUTFILE", "PDFMERGE_DIR"})
        EXPECT_EQ(string_setting(key, "(not set)"), "(not set)");
}
