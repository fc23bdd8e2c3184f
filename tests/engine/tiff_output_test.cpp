#include "engine/tiff_output.h"

#include "app/globals.h"
#include "platform/strings.h"
#include "tests/support/conversion_test.h"

#include <cstdlib>
#include <string>
#include <unistd.h>

namespace {

class PsToTiff : public conversion_test {
protected:
    PsToTiff() : input(folder / "pages.ps"), pattern(folder / "pages-%d.tiff") {}

    // The devices' part of the command line after the conversion.
    std::string options_of_a_run()
    {
        do_ps2tiff(input.c_str());
        return own_arguments().at(2);
    }

    std::string input, pattern;
};

// gs.script leaves a bitmap where it should; convert and convert102 are the test's own and note
// how they were called.
class EpsToTiff : public conversion_test {
protected:
    EpsToTiff()
        : figure(folder.write("figure.eps", "%!PS-Adobe-3.0 EPSF-3.0\n"
                                            "%%BoundingBox: 10 20 110 220\n"
                                            "showpage\n")),
          output(folder / "figure.tiff"), copy(std::string(tmpPath) + "/tmp1.eps"),
          pnm(std::string(tmpPath) + "/tmp1.pnm"), old_path(std::getenv("PATH"))
    {
        script.does("echo pixels > \"$4\"; ends 0 done; reports");
        convert_does("echo 'two words'; cp \"$pnm\" \"$out\"");
        setenv("PATH", (tools.path() + ":" + old_path).c_str(), 1);
    }

    ~EpsToTiff() override
    {
        setenv("PATH", old_path.c_str(), 1);
    }

    // $pnm and $out are its last two arguments.
    void convert_does(const std::string &steps) const
    {
        for (const char *name : {"convert", "convert102"}) {
            tools.write_program(name, "#!/bin/sh\n"
                                      "name=${0##*/}\n"
                                      "for word in \"$name\" \"$@\"; do printf '%s\\0' \"$word\"\n"
                                      "done > '" +
                                          tools.path() +
                                          "/call'\n"
                                          "for word; do pnm=$out out=$word; done\n" +
                                          steps + "\n");
        }
    }

    // Of the last call, with the name that it was called by. Forgets the call.
    words convert_call() const
    {
        words all;
        const std::string bytes = read_file(tools / "call");
        for (std::size_t at = 0; at < bytes.size(); at += all.back().size() + 1)
            all.emplace_back(bytes.c_str() + at);
        unlink((tools / "call").c_str());
        return all;
    }

    std::string banner() const
    {
        return "Converting " + figure + " to " + output + ".\n";
    }

    std::string second_banner() const
    {
        return "Converting " + pnm + " to " + output + "\n";
    }

    void expect_no_temporary_files() const
    {
        EXPECT_FALSE(file_exists(copy));
        EXPECT_FALSE(file_exists(pnm));
        EXPECT_FALSE(file_exists(worksheet));
    }

    std::string figure, output, copy, pnm;
    std::string old_path;
    temporary_folder tools;
};

} // namespace

TEST(TiffDevices, StandInTheirOrder)
{
    const words expected = {"tiffgray", "tiff12nc", "tiff24nc", "tiff32nc", "tiffcrle",
                            "tiffg3",   "tiffg32d", "tiffg4",   "tifflzw",  "tiffpack"};
    EXPECT_EQ(words(tformats, tformats + tiff_device_count), expected);
}

// ---- pages ----

TEST_F(PsToTiff, TheCommandIsComposedToTheLetter)
{
    do_ps2tiff(input.c_str());
    EXPECT_EQ(command_line, "gs.script ps2tiff " + pid + " \"" + worksheet + "\" \"" + pattern +
                                "\" \"" + input + "\" \"-sDEVICE=tiff24nc -r150\"");
    EXPECT_EQ(script.arguments(),
              (words{"ps2tiff", pid, worksheet, pattern, input, "-sDEVICE=tiff24nc -r150"}));
    EXPECT_STREQ(unixTool, "gs");
    EXPECT_EQ(shown(), "Converting " + input + " to tiff\n" + complete);
    EXPECT_EQ(redraws(), words{"Converting " + input + " to tiff\n"});
    EXPECT_EQ(watched.order(),
              "TXNForceUpdate ShowSheetWindow HideSheetWindow SetCursor SetCursor");
}

TEST_F(PsToTiff, TheSettingIsTheResolution)
{
    EXPECT_EQ(options_of_a_run(), "-sDEVICE=tiff24nc -r150"); // not set
    const std::pair<const char *, const char *> values[] = {
        {"", "150"}, {"300", "300"}, {"72dpi", "72"}, {" 96", "96"}, {"1", "1"}, {"10000", "10000"},
    };
    for (const auto &[value, told] : values) {
        set_setting("TIFF_OPTION_STR", value);
        EXPECT_EQ(options_of_a_run(), std::string("-sDEVICE=tiff24nc -r") + told);
    }
}

TEST_F(PsToTiff, AResolutionThatIsNoneIsRefused)
{
    const std::pair<const char *, const char *> values[] = {
        {"0", "0"},    {"-150", "-150"},
        {"high", "0"}, {"10001", "10001"},
        {"0x96", "0"}, {"99999999999999999999", "2147483647"},
        {".5", "0"},   {"-99999999999999999999", "-2147483648"},
    };
    for (const auto &[value, number] : values) {
        console.clear();
        set_setting("TIFF_OPTION_STR", value);
        do_ps2tiff(input.c_str());
        EXPECT_EQ(console.lines(),
                  input + ": not converted, " + number +
                      " is no resolution; it goes from 1 to 10000 dots per inch.\n");
    }
    EXPECT_EQ(script.calls(), 0);
    EXPECT_EQ(failed_conversions, 8);
}

TEST_F(PsToTiff, TheChosenDeviceIsNotAskedFor)
{
    set_setting("TIFFFORMAT", "8");
    tiff_format = 8;
    EXPECT_EQ(options_of_a_run(), "-sDEVICE=tiff24nc -r150");
    tiff_format = 1;
}

TEST_F(PsToTiff, ThePagesAreNamedAfterTheInput)
{
    const std::pair<const char *, const char *> names[] = {
        {"/a/b/fig.ps", "/a/b/fig-%d.tiff"}, {"/a/b/fig.1.ps", "/a/b/fig.1-%d.tiff"},
        {"/a/b/fig", "/a/b/fig-%d.tiff"},    {"/a.b/c/fig", "/a-%d.tiff"},
        {"/a/b/.hidden", "/a/b/-%d.tiff"},   {"/a/b/%d.ps", "/a/b/%d-%d.tiff"},
    };
    for (const auto &[from, to] : names) {
        do_ps2tiff(from);
        EXPECT_EQ(own_arguments(), (words{to, from, "-sDEVICE=tiff24nc -r150"}));
    }
}

TEST_F(PsToTiff, NamesReachTheScriptAsTheyAre)
{
    ASSERT_EQ(chdir(folder.path().c_str()), 0);
    for (const std::string &name : telling_names()) {
        console.clear();
        const std::string from = folder / (name + ".ps");
        const std::string to = folder / (name + "-%d.tiff");
        do_ps2tiff(from.c_str());
        EXPECT_EQ(command_line, "gs.script ps2tiff " + pid + " \"" + worksheet + "\" \"" +
                                    slot(to) + "\" \"" + slot(from) +
                                    "\" \"-sDEVICE=tiff24nc -r150\"");
        EXPECT_EQ(own_arguments(), (words{to, from, "-sDEVICE=tiff24nc -r150"}));
        EXPECT_EQ(shown(), "Converting " + from + " to tiff\n" + complete);
    }
    EXPECT_FALSE(file_exists(folder / "touched"));
}

TEST_F(PsToTiff, APathThatDoesNotFitIsRefused)
{
    for (const std::size_t size : {path_size, path_size - 7}) { // the second: not with the ending
        console.clear();
        const std::string path = "/" + std::string(size - 1, 'p');
        do_ps2tiff(path.c_str());
        EXPECT_EQ(console.lines(),
                  path + ": the path is too long. Move the file or shorten its name.\n");
    }
    EXPECT_EQ(script.calls(), 0);
    EXPECT_EQ(failed_conversions, 2);
    const std::string longest = "/" + std::string(path_size - 10, 'p');
    do_ps2tiff(longest.c_str());
    EXPECT_EQ(own_arguments().at(0), longest + "-%d.tiff");
}

TEST_F(PsToTiff, EndingsAreToldApart)
{
    for (const bool background : {false, true}) {
        inBackground = background;
        for (const way_to_end &way : ways_to_end) {
            SCOPED_TRACE(way.steps);
            console.clear();
            failed_conversions = 0;
            script.does(std::string("says 'words\\n'; ") + way.steps);
            do_ps2tiff(input.c_str());
            EXPECT_EQ(shown(), "Converting " + input + " to tiff\n\nwords\n" + complete +
                                   failure_line(way, input, "gs"));
            EXPECT_EQ(last_ending, way.ending);
            EXPECT_EQ(failed_conversions, way.ending == ended_well ? 0 : 1);
        }
    }
    EXPECT_EQ(watched.count("ShowSheetWindow"), ways_to_end.size()); // none in the background
}

TEST_F(PsToTiff, ACancelIsTold)
{
    cancel_the_next_run();
    do_ps2tiff(input.c_str());
    EXPECT_EQ(shown(), "Converting " + input + " to tiff\n" + cancelled);
    EXPECT_EQ(last_ending, ended_cancelled);
    EXPECT_EQ(failed_conversions, 0);
}

TEST_F(PsToTiff, TheElapsedTimeIsInSeconds)
{
    watched.clock = {60, 63};
    do_ps2tiff(input.c_str());
    EXPECT_EQ(console.lines(), "Converting " + input +
                                   " to tiff\n\nProcessing complete.\nElapsed time = 0.1 sec.\n\n");
}

// ---- one image ----

TEST_F(EpsToTiff, TheFigureIsRenderedAndConverted)
{
    epstotiff(figure.c_str(), nullptr);
    EXPECT_EQ(script.arguments(),
              (words{"eps2pnm", pid, worksheet, pnm, copy, " -r144 -g200x400"}));
    EXPECT_EQ(script.environment().at("PAPERMILL_PREPARED_FROM"), figure);
    EXPECT_EQ(command_line, "convert -density 144x144 \"" + pnm + "\" \"" + output + "\"");
    EXPECT_EQ(convert_call(), (words{"convert", "-density", "144x144", pnm, output}));
    EXPECT_EQ(shown(), banner() + complete + second_banner() + "two words\n");
    EXPECT_EQ(read_file(output), "pixels\n");
    EXPECT_EQ(failed_conversions, 0);
    EXPECT_EQ(exit_status, 0);
    expect_no_temporary_files();
    EXPECT_EQ(redraws().front(), banner());
    EXPECT_EQ(watched.calls.back().name, "SetCursor");
    EXPECT_EQ(without_time(watched.calls.back().shown), shown()); // the last of all
}

TEST_F(EpsToTiff, TheSettingIsTheResolution)
{
    struct {
        const char *value; // null: not stored
        const char *options, *density;
    } const resolutions[] = {
        {nullptr, " -r144 -g200x400", "144x144"},
        {"", " -r144 -g200x400", "144x144"},
        {"300", " -r300 -g417x833", "300x300"},
        {"72 dpi", " -r72 -g100x200", "72x72"},
        {"1", " -r1 -g1x3", "1x1"},
    };
    for (const auto &each : resolutions) {
        if (each.value != nullptr)
            set_setting("TIFF_OPTION_STR", each.value);
        epstotiff(figure.c_str(), nullptr);
        EXPECT_EQ(own_arguments().at(2), each.options);
        EXPECT_EQ(convert_call(), (words{"convert", "-density", each.density, pnm, output}));
    }
}

TEST_F(EpsToTiff, AResolutionThatIsNoneIsRefused)
{
    const std::string older = folder.write("figure.tiff", "older");
    for (const std::string value : {"0", "-1", "10001", "none"}) {
        console.clear();
        set_setting("TIFF_OPTION_STR", value.c_str());
        epstotiff(figure.c_str(), nullptr);
        EXPECT_EQ(shown(), figure + ": not converted, " + (value == "none" ? "0" : value) +
                               " is no resolution; it goes from 1 to 10000 dots per inch.\n");
        expect_no_temporary_files();
    }
    EXPECT_EQ(read_file(older), "older");
    EXPECT_EQ(script.calls(), 0);
    EXPECT_EQ(convert_call(), words());
    EXPECT_EQ(failed_conversions, 4);
}

TEST_F(EpsToTiff, APictureThatIsTooLargeIsRefused)
{
    set_setting("TIFF_OPTION_STR", "10000");
    epstotiff(figure.c_str(), nullptr);
    EXPECT_EQ(shown(), banner() + figure +
                           ": a picture of 100 x 200 points at 10000 dots per inch can't be made; "
                           "16000 pixels a side and 128 million in all are the most.\n");
    EXPECT_EQ(script.calls(), 0);
    EXPECT_EQ(failed_conversions, 1);
    expect_no_temporary_files();
}

TEST_F(EpsToTiff, AValueThatBeginsWithOneCompresses)
{
    struct {
        const char *value; // null: not stored
        bool compresses;
    } const values[] = {{nullptr, false}, {"0", false},  {"", false},  {"yes", false},
                        {" 1", false},    {"1", true},   {"10", true}, {"1no", true},
                        {"01", false},    {"lzw", false}};
    for (const auto &each : values) {
        SCOPED_TRACE(each.value == nullptr ? "(missing)" : each.value);
        if (each.value != nullptr)
            set_setting("TIFFCOMPRESS", each.value);
        epstotiff(figure.c_str(), nullptr);
        EXPECT_EQ(command_line, std::string("convert ") +
                                    (each.compresses ? "-compress lzw " : "") +
                                    "-density 144x144 \"" + pnm + "\" \"" + output + "\"");
        EXPECT_EQ(convert_call().at(1), each.compresses ? "-compress" : "-density");
    }
}

TEST_F(EpsToTiff, OlderSystemsHaveAToolOfTheirOwn)
{
    have103 = 0;
    epstotiff(figure.c_str(), nullptr);
    EXPECT_EQ(command_line, "convert102 -density 144x144 \"" + pnm + "\" \"" + output + "\"");
    EXPECT_EQ(convert_call(), (words{"convert102", "-density", "144x144", pnm, output}));
    set_setting("TIFFCOMPRESS", "1");
    epstotiff(figure.c_str(), nullptr);
    EXPECT_EQ(command_line,
              "convert102 -compress lzw -density 144x144 \"" + pnm + "\" \"" + output + "\"");
    EXPECT_EQ(convert_call(),
              (words{"convert102", "-compress", "lzw", "-density", "144x144", pnm, output}));
}

TEST_F(EpsToTiff, TheOutputCanBeGiven)
{
    output = folder / "given.out";
    epstotiff(figure.c_str(), output.c_str());
    EXPECT_EQ(shown(), banner() + complete + second_banner() + "two words\n");
    EXPECT_EQ(convert_call().back(), output);
}

TEST_F(EpsToTiff, WithoutAnInputTheCurrentOneIsConverted)
{
    platform::copy_whole(in_file, figure.c_str());
    epstotiff(nullptr, nullptr);
    EXPECT_EQ(shown(), banner() + complete + second_banner() + "two words\n");
    output = folder / "given.out";
    epstotiff(nullptr, output.c_str());
    EXPECT_EQ(convert_call().back(), output);
}

TEST_F(EpsToTiff, AnOlderOutputIsDeletedFirst)
{
    folder.write("figure.tiff", "older");
    script.does("[ -e '" + output + "' ] && echo > \"$run/../there\"; ends 1 done; reports");
    epstotiff(figure.c_str(), nullptr);
    EXPECT_EQ(script.calls(), 1);
    EXPECT_FALSE(file_exists(output));
    EXPECT_FALSE(file_exists(std::string(tmpPath) + "/there"));
}

TEST_F(EpsToTiff, AMissingFigureIsTold)
{
    folder.write("missing.tiff", "older");
    const std::string missing = folder / "missing.eps";
    epstotiff(missing.c_str(), nullptr);
    EXPECT_EQ(console.lines(), missing + ": File not found!\n");
    EXPECT_EQ(read_file(folder / "missing.tiff"), "older");
    EXPECT_EQ(script.calls(), 0);
    EXPECT_EQ(convert_call(), words());
    EXPECT_EQ(failed_conversions, 1);
}

TEST_F(EpsToTiff, AFigureWithoutABoxIsNotConverted)
{
    figure = folder.write("plain.eps", "%!PS\nshowpage\n");
    output = folder / "plain.tiff";
    epstotiff(figure.c_str(), nullptr);
    EXPECT_EQ(console.lines(), banner() + "Bounding Box comment not found in " + figure + "!\n");
    EXPECT_EQ(script.calls(), 0);
    EXPECT_EQ(convert_call(), words());
    EXPECT_EQ(failed_conversions, 1);
    expect_no_temporary_files();
}

TEST_F(EpsToTiff, AfterAFailedRenderingThereIsNothingToConvert)
{
    for (const bool background : {false, true}) {
        inBackground = background;
        for (const way_to_end &way : ways_to_end) {
            if (way.ending == ended_well)
                continue;
            SCOPED_TRACE(way.steps);
            console.clear();
            failed_conversions = 0;
            script.does(std::string("echo half > \"$4\"; ") + way.steps);
            epstotiff(figure.c_str(), nullptr);
            EXPECT_EQ(shown(), banner() + complete + failure_line(way, figure, "gs"));
            EXPECT_EQ(convert_call(), words());
            EXPECT_EQ(last_ending, way.ending);
            EXPECT_EQ(failed_conversions, 1);
            expect_no_temporary_files();
        }
    }
}

TEST_F(EpsToTiff, AfterACancelThereIsNothingToConvert)
{
    doDebug = 1;
    cancel_the_next_run();
    epstotiff(figure.c_str(), nullptr);
    EXPECT_EQ(shown(), banner() + "Creating temporary file " + copy + ".\n" + cancelled);
    EXPECT_EQ(convert_call(), words());
    EXPECT_EQ(last_ending, ended_cancelled);
    EXPECT_EQ(failed_conversions, 0);
    expect_no_temporary_files();
}

TEST_F(EpsToTiff, TheLastToolsEndingIsToldToo)
{
    struct {
        const char *steps;
        std::int32_t status;
        int ending;
        const char *told;
    } const ways[] = {
        {"exit 1", 1, ended_with_status, "failed, convert ended with status 1."},
        {"kill -9 $$", 137, ended_by_signal, "failed, convert was ended by signal 9."},
        {"exit 127", 127, ended_not_started, "not done, convert was not started."},
    };
    for (const auto &way : ways) {
        console.clear();
        failed_conversions = 0;
        convert_does(std::string("echo words; ") + way.steps);
        epstotiff(figure.c_str(), nullptr);
        EXPECT_EQ(shown(), banner() + complete + second_banner() + "words\n" + figure + ": " +
                               way.told + "\n");
        EXPECT_EQ(exit_status, way.status);
        EXPECT_EQ(last_ending, way.ending);
        EXPECT_EQ(failed_conversions, 1);
        expect_no_temporary_files();
    }
}

TEST_F(EpsToTiff, InTheBackgroundThereIsNoSheet)
{
    inBackground = 1;
    epstotiff(figure.c_str(), nullptr);
    EXPECT_EQ(shown(), banner() + complete + second_banner() + "two words\n");
    EXPECT_EQ(watched.count("ShowSheetWindow"), 0U);
    EXPECT_EQ(read_file(output), "pixels\n");
}

TEST_F(EpsToTiff, DebugLinesTellOfTheTemporaryFiles)
{
    doDebug = 1;
    epstotiff(figure.c_str(), nullptr);
    EXPECT_EQ(shown(), banner() + "Creating temporary file " + copy + ".\n" + complete +
                           "Deleting temporary file " + copy + ".\n" + second_banner() +
                           "two words\nDeleting temporary file " + pnm + ".\n");
    expect_no_temporary_files();
}

TEST_F(EpsToTiff, NamesReachTheToolAsTheyAre)
{
    ASSERT_EQ(chdir(folder.path().c_str()), 0);
    const std::string bytes = read_file(figure);
    for (const std::string &name : telling_names()) {
        SCOPED_TRACE(name);
        figure = folder.write(name + ".eps", bytes);
        output = folder / (name + ".tiff");
        console.clear();
        epstotiff(figure.c_str(), nullptr);
        EXPECT_EQ(command_line,
                  "convert -density 144x144 \"" + pnm + "\" \"" + slot(output) + "\"");
        EXPECT_EQ(convert_call().back(), output);
        EXPECT_EQ(shown(), banner() + complete + second_banner() + "two words\n");
        EXPECT_EQ(read_file(output), "pixels\n");
    }
    EXPECT_FALSE(file_exists(folder / "touched"));
}

TEST_F(EpsToTiff, AFigureIsNeverItsOwnOutput)
{
    const std::string bytes = read_file(figure);
    epstotiff(figure.c_str(), figure.c_str());
    EXPECT_EQ(console.lines(),
              figure + ": the output would replace the input. Choose another name.\n");
    EXPECT_EQ(read_file(figure), bytes);
    EXPECT_EQ(script.calls(), 0);
    EXPECT_EQ(failed_conversions, 1);
}

TEST_F(EpsToTiff, APathThatDoesNotFitIsRefused)
{
    const std::string path = "/" + std::string(path_size - 1, 'p');
    const std::string refusal =
        path + ": the path is too long. Move the file or shorten its name.\n";
    epstotiff(path.c_str(), output.c_str());
    epstotiff(figure.c_str(), path.c_str());
    EXPECT_EQ(console.lines(), refusal + refusal);
    console.clear();
    const std::string fits_alone = "/" + std::string(path_size - 5, 'p');
    epstotiff(fits_alone.c_str(), nullptr);
    EXPECT_EQ(console.lines(),
              fits_alone + ": the path is too long. Move the file or shorten its name.\n");
    EXPECT_EQ(script.calls(), 0);
    EXPECT_EQ(failed_conversions, 3);
}
