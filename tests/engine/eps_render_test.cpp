#include "engine/eps_render.h"

#include "app/globals.h"
#include "engine/eps_scanner.h"
#include "engine/tool_runner.h"
#include "tests/support/conversion_test.h"
#include "tests/support/test_files.h"

#include <climits>
#include <cstdio>
#include <cstring>
#include <set>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

class EpsRender : public conversion_test {
protected:
    std::string size_option(int dpi, int w, int h) const
    {
        EXPECT_EQ(do_eps2pnm("/in.eps", "/out.pnm", dpi, w, h), 1);
        return script.arguments().back();
    }
};

// With the bundle's own script and the real Ghostscript.
class RealRender : public spine_test {
protected:
    RealRender()
    {
        figure = folder.write("slanted.eps", "%!PS-Adobe-3.0 EPSF-3.0\n"
                                             "%%BoundingBox: 10 20 110 220\n"
                                             "10 20 moveto 110 220 lineto 110 20 lineto fill\n"
                                             "showpage\n");
    }

    std::string figure;
};

struct picture {
    int width = 0, height = 0;
    std::string pixels; // three bytes each
};

picture read_picture(const std::string &path)
{
    picture result;
    std::FILE *file = std::fopen(path.c_str(), "rb");
    if (file == nullptr)
        return result;
    char comment[256];
    int most = 0;
    EXPECT_EQ(std::fscanf(file, "P6 "), 0);
    while (std::fscanf(file, " #%255[^\n]", comment) == 1) {
    }
    EXPECT_EQ(std::fscanf(file, "%d %d %d", &result.width, &result.height, &most), 3);
    EXPECT_EQ(most, 255);
    std::fgetc(file);
    for (int c = std::fgetc(file); c != EOF; c = std::fgetc(file))
        result.pixels += static_cast<char>(c);
    std::fclose(file);
    return result;
}

} // namespace

TEST_F(EpsRender, TheCommandIsComposedToTheLetter)
{
    EXPECT_EQ(do_eps2pnm("/tmp/a b.eps", "/tmp/c$d.pnm", 300, 100, 200), 1);
    EXPECT_EQ(command_line, "gs.script eps2pnm " + pid + " \"" + worksheet +
                                "\" \"/tmp/c\\$d.pnm\" \"/tmp/a b.eps\" \" -r300 -g417x833\"");
    EXPECT_EQ(script.arguments(), (words{"eps2pnm", pid, worksheet, "/tmp/c$d.pnm", "/tmp/a b.eps",
                                         " -r300 -g417x833"}));
    EXPECT_STREQ(unixTool, "gs");
}

TEST_F(EpsRender, PixelsAreRoundedToTheNearest)
{
    EXPECT_EQ(size_option(300, 100, 200), " -r300 -g417x833");
    EXPECT_EQ(size_option(72, 100, 200), " -r72 -g100x200");
    EXPECT_EQ(size_option(144, 1, 3), " -r144 -g2x6");
    EXPECT_EQ(size_option(100, 1, 2), " -r100 -g1x3"); // 1.39 and 2.78
    EXPECT_EQ(size_option(108, 1, 3), " -r108 -g2x5"); // 1.5 and 4.5 go up
    EXPECT_EQ(size_option(36, 1, 1), " -r36 -g1x1");   // 0.5
    EXPECT_EQ(size_option(10000, 1, 115), " -r10000 -g139x15972");
}

TEST_F(EpsRender, APictureUpToTheLimitsIsMade)
{
    EXPECT_EQ(size_option(72, 16000, 8000), " -r72 -g16000x8000");
    EXPECT_EQ(size_option(72, 8000, 16000), " -r72 -g8000x16000");
    EXPECT_EQ(size_option(72, 1, 16000), " -r72 -g1x16000");
}

TEST_F(EpsRender, APictureWithoutPixelsOrWithTooManyIsRefused)
{
    struct {
        int dpi, w, h;
    } const sizes[] = {{300, 0, 100},      {300, 100, 0},        {300, -10, 100},
                       {35, 1, 1},         {72, INT_MIN, 1},     {72, 1, INT_MIN},
                       {1000, INT_MAX, 1}, {72, 16001, 1},       {72, 1, 16001},
                       {72, 16000, 8001},  {1200, 14400, 14400}, {10000, INT_MAX, INT_MAX}};
    int refused = 0;
    for (const auto &size : sizes) {
        console.clear();
        EXPECT_EQ(do_eps2pnm("/in.eps", "/out.pnm", size.dpi, size.w, size.h), 0);
        EXPECT_EQ(console.lines(),
                  "/in.eps: a picture of " + std::to_string(size.w) + " x " +
                      std::to_string(size.h) + " points at " + std::to_string(size.dpi) +
                      " dots per inch can't be made; 16000 pixels a side and 128 million in all "
                      "are the most.\n");
        EXPECT_EQ(failed_conversions, ++refused);
    }
    EXPECT_EQ(script.calls(), 0);
}

TEST_F(EpsRender, AResolutionThatIsNoneIsRefused)
{
    for (const int dpi : {0, -72, INT_MIN, 10001, INT_MAX}) {
        console.clear();
        const std::string refusal = "/in.eps: not converted, " + std::to_string(dpi) +
                                    " is no resolution; it goes from 1 to 10000 dots per inch.\n";
        EXPECT_FALSE(resolution_is_good("/in.eps", dpi));
        EXPECT_EQ(console.lines(), refusal);
        EXPECT_EQ(do_eps2pnm("/in.eps", "/out.pnm", dpi, 100, 100), 0);
        EXPECT_EQ(console.lines(), refusal + refusal);
        EXPECT_EQ(last_ending, ended_not_started);
        EXPECT_NE(exit_status, 0);
    }
    EXPECT_EQ(failed_conversions, 10);
    EXPECT_EQ(script.calls(), 0);
    console.clear();
    EXPECT_TRUE(resolution_is_good("/in.eps", 1));
    EXPECT_TRUE(resolution_is_good("/in.eps", 10000));
    EXPECT_EQ(console.text(), "");
}

TEST_F(EpsRender, RefusalsNameTheUsersFile)
{
    set_prepared_from("/home/user/figure.eps");
    EXPECT_FALSE(resolution_is_good("/tmp/tmp1.eps", 0));
    EXPECT_EQ(do_eps2pnm("/tmp/tmp1.eps", "/out.pnm", 72, 0, 1), 0);
    set_prepared_from(nullptr);
    EXPECT_EQ(console.lines(),
              "/home/user/figure.eps: not converted, 0 is no resolution; it goes from 1 to 10000 "
              "dots per inch.\n"
              "/home/user/figure.eps: a picture of 0 x 1 points at 72 dots per inch can't be made; "
              "16000 pixels a side and 128 million in all are the most.\n");
}

TEST_F(EpsRender, ACommandLineThatDoesNotFitIsRefused)
{
    const std::string pnm(command_size, 'p');
    EXPECT_EQ(do_eps2pnm("/in.eps", pnm.c_str(), 72, 10, 10), 0);
    EXPECT_EQ(console.lines(),
              "/in.eps: the command line is too long. Shorten the options or the names.\n");
    EXPECT_EQ(script.calls(), 0);
}

TEST_F(EpsRender, ARunThatCompletedIsOneHoweverItEnded)
{
    for (const bool background : {false, true}) {
        inBackground = background;
        for (const way_to_end &way : ways_to_end) {
            SCOPED_TRACE(way.steps);
            console.clear();
            script.does(std::string("says 'words\\n'; ") + way.steps);
            EXPECT_EQ(do_eps2pnm("/in.eps", "/out.pnm", 72, 10, 10), 1);
            EXPECT_EQ(shown(), "\nwords\n" + complete + failure_line(way, "/in.eps", "gs"));
            EXPECT_EQ(last_ending, way.ending);
        }
    }
    EXPECT_EQ(watched.count("ShowSheetWindow"), ways_to_end.size()); // none in the background
}

TEST_F(EpsRender, NamesReachTheScriptAsTheyAre)
{
    ASSERT_EQ(chdir(folder.path().c_str()), 0);
    for (const std::string &name : telling_names()) {
        EXPECT_EQ(do_eps2pnm((name + ".eps").c_str(), (name + ".pnm").c_str(), 72, 10, 20), 1);
        EXPECT_EQ(own_arguments(), (words{name + ".pnm", name + ".eps", " -r72 -g10x20"}));
        EXPECT_EQ(command_line, "gs.script eps2pnm " + pid + " \"" + worksheet + "\" \"" +
                                    slot(name) + ".pnm\" \"" + slot(name) +
                                    ".eps\" \" -r72 -g10x20\"");
    }
    EXPECT_FALSE(file_exists(folder / "touched"));
}

TEST_F(EpsRender, TheElapsedTimeIsInSeconds)
{
    watched.clock = {0, 90};
    EXPECT_EQ(do_eps2pnm("/in.eps", "/out.pnm", 72, 10, 10), 1);
    EXPECT_EQ(console.lines(), "\nProcessing complete.\nElapsed time = 1.5 sec.\n\n");
}

TEST_F(EpsRender, ThereIsNoConvertingLine)
{
    EXPECT_EQ(do_eps2pnm("/in.eps", "/out.pnm", 72, 10, 10), 1);
    EXPECT_EQ(without_time(console.lines()), complete);
    ASSERT_EQ(watched.count("TXNForceUpdate"), 1U);
    EXPECT_EQ(watched.calls.front().name, "TXNForceUpdate"); // first of all, before the flags
    EXPECT_FALSE(watched.calls.front().in_run);
    EXPECT_EQ(watched.count("SetCursor"), 1U); // the wait's; none at the end
}

TEST_F(EpsRender, ACancelIsTold)
{
    cancel_the_next_run();
    EXPECT_EQ(do_eps2pnm("/in.eps", "/out.pnm", 72, 10, 10), 0);
    EXPECT_EQ(console.lines(), cancelled);
    EXPECT_EQ(last_ending, ended_cancelled);
}

// ---- how the conversions of EPS files begin ----

namespace {

class EpsBeginning : public spine_test {
protected:
    EpsBeginning() : figure(folder.write("figure.eps", "%!PS\n")), output(folder / "out") {}

    std::string banner() const
    {
        return "Converting " + figure + " to " + output + ".\n";
    }

    std::string figure, output;
};

} // namespace

TEST_F(EpsBeginning, AnOlderOutputIsDeleted)
{
    EXPECT_TRUE(begin_eps_conversion(figure.c_str(), output.c_str()));
    EXPECT_EQ(console.lines(), banner());
    folder.write("out", "older");
    console.clear();
    EXPECT_TRUE(begin_eps_conversion(figure.c_str(), output.c_str()));
    EXPECT_EQ(console.lines(), banner());
    EXPECT_FALSE(file_exists(output));
    EXPECT_EQ(failed_conversions, 0);
}

TEST_F(EpsBeginning, ALinkStaysAndItsFileIsDeleted)
{
    const std::string target = folder.write("target", "older");
    ASSERT_EQ(symlink("target", output.c_str()), 0);
    EXPECT_TRUE(begin_eps_conversion(figure.c_str(), output.c_str()));
    EXPECT_TRUE(file_exists(output));
    EXPECT_FALSE(file_exists(target));
    EXPECT_TRUE(begin_eps_conversion(figure.c_str(), output.c_str())); // a link to nothing now
    EXPECT_TRUE(file_exists(output));
    EXPECT_EQ(console.lines(), banner() + banner());
}

TEST_F(EpsBeginning, WhatIsNoFileStays)
{
    for (const bool pipe : {false, true}) {
        ASSERT_EQ(pipe ? mkfifo(output.c_str(), 0600) : mkdir(output.c_str(), 0700), 0);
        EXPECT_TRUE(begin_eps_conversion(figure.c_str(), output.c_str()));
        EXPECT_TRUE(file_exists(output));
        ASSERT_EQ(pipe ? unlink(output.c_str()) : rmdir(output.c_str()), 0);
    }
    EXPECT_TRUE(begin_eps_conversion(figure.c_str(), "/dev/null"));
    EXPECT_TRUE(file_exists("/dev/null"));
}

TEST_F(EpsBeginning, AnInputThatIsNoFileCostsNoOlderOutput)
{
    folder.write("out", "older");
    figure = folder.make_folder("folder.eps");
    EXPECT_TRUE(begin_eps_conversion(figure.c_str(), output.c_str())); // prepare_eps tells it
    EXPECT_EQ(read_file(output), "older");
    figure = folder / "pipe.eps";
    ASSERT_EQ(mkfifo(figure.c_str(), 0600), 0);
    EXPECT_TRUE(begin_eps_conversion(figure.c_str(), output.c_str())); // and never waits
    EXPECT_EQ(read_file(output), "older");
}

TEST_F(EpsBeginning, AMissingInputIsTold)
{
    folder.write("out", "older");
    figure = folder / "missing.eps";
    EXPECT_FALSE(begin_eps_conversion(figure.c_str(), output.c_str()));
    EXPECT_EQ(console.lines(), figure + ": File not found!\n");
    EXPECT_EQ(read_file(output), "older");
    EXPECT_EQ(failed_conversions, 1);
    EXPECT_EQ(last_ending, ended_not_started);
}

TEST_F(EpsBeginning, AnInputThatMayNotBeReadIsToldWithTheReason)
{
    folder.write("out", "older");
    ASSERT_EQ(chmod(figure.c_str(), 0), 0);
    EXPECT_TRUE(in_child_without_rights([&] {
        EXPECT_FALSE(begin_eps_conversion(figure.c_str(), output.c_str()));
        EXPECT_EQ(console.lines(), figure + ": File not found!\n" + figure +
                                       ": the file can't be read: Permission denied.\n");
        EXPECT_EQ(failed_conversions, 1);
    }));
    EXPECT_EQ(read_file(output), "older");
}

TEST_F(EpsBeginning, TheInputIsNeverTheOutput)
{
    const std::string soft = folder / "soft";
    const std::string hard = folder / "hard";
    ASSERT_EQ(symlink("figure.eps", soft.c_str()), 0);
    ASSERT_EQ(link(figure.c_str(), hard.c_str()), 0);
    for (const std::string &same : {figure, soft, hard}) {
        console.clear();
        EXPECT_FALSE(begin_eps_conversion(figure.c_str(), same.c_str()));
        EXPECT_EQ(console.lines(),
                  figure + ": the output would replace the input. Choose another name.\n");
    }
    EXPECT_EQ(folder.names(), (words{"figure.eps", "hard", "soft"}));
    EXPECT_EQ(read_file(figure), "%!PS\n");
    EXPECT_EQ(failed_conversions, 3);
}

// ---- with the real tools ----

TEST_F(RealRender, ThePictureHasExactlyTheBoxsSize)
{
    char copy[path_size];
    int w = 0;
    int h = 0;
    ASSERT_EQ(prepare_eps(figure.c_str(), copy, &w, &h), 1);
    const std::string pnm = folder / "out file.pnm";
    EXPECT_EQ(do_eps2pnm(copy, pnm.c_str(), 300, w, h), 1);
    EXPECT_EQ(last_ending, ended_well) << console.lines();

    const picture result = read_picture(pnm);
    EXPECT_EQ(result.width, 417);
    EXPECT_EQ(result.height, 833);
    ASSERT_EQ(result.pixels.size(), 3U * 417 * 833);
    const auto pixel = [&](std::size_t x, std::size_t y) {
        return static_cast<unsigned char>(result.pixels[3 * (y * 417 + x)]);
    };
    EXPECT_EQ(pixel(2, 2), 255);   // upper left: paper
    EXPECT_EQ(pixel(414, 830), 0); // lower right: the triangle
    EXPECT_EQ(pixel(2, 800), 255); // the drawing has moved to the origin with its corner
    EXPECT_EQ(pixel(414, 20), 0);

    std::set<char> shades(result.pixels.begin(), result.pixels.end());
    EXPECT_GT(shades.size(), 4U); // antialiased: the slanted edge is grey
    std::remove(copy);
}

TEST_F(RealRender, ADocumentThatAsksForAnotherPageGetsTheSameSize)
{
    const std::string eps = folder.write("a4.eps", "%!PS\n<< /PageSize [595 842] >> setpagedevice\n"
                                                   "0 0 50 50 rectfill showpage\n");
    const std::string pnm = folder / "a4.pnm";
    EXPECT_EQ(do_eps2pnm(eps.c_str(), pnm.c_str(), 72, 30, 40), 1);
    const picture result = read_picture(pnm);
    EXPECT_EQ(result.width, 30);
    EXPECT_EQ(result.height, 40);
}

TEST_F(RealRender, AFailureLeavesNoPicture)
{
    const std::string eps = folder.write("bad.eps", "%!PS\n0 0 5 5 rectfill nonsense showpage\n");
    const std::string pnm = folder / "bad.pnm";
    EXPECT_EQ(do_eps2pnm(eps.c_str(), pnm.c_str(), 72, 30, 40), 1);
    EXPECT_EQ(last_ending, ended_with_status);
    EXPECT_EQ(exit_status, 1);
    EXPECT_FALSE(file_exists(pnm));
    EXPECT_NE(console.lines().find("Error: /undefined in nonsense"), std::string::npos);
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"bad.eps", "slanted.eps"}));
}

TEST_F(RealRender, ThePictureIsOfTheKindThatItsNameSays)
{
    const std::pair<const char *, const char *> kinds[] = {
        {"out.png", "\x89PNG"}, {"out.jpg", "\xFF\xD8\xFF"}, {"out.tiff", "II*"}};
    for (const auto &[name, head] : kinds) {
        console.clear();
        EXPECT_TRUE(eps_to_picture(figure.c_str(), (folder / name).c_str(), ".tiff", 72, false));
        EXPECT_EQ(read_file(folder / name).substr(0, std::strlen(head)), head) << console.lines();
    }
    EXPECT_EQ(failed_conversions, 0);
    EXPECT_FALSE(file_exists(std::string(tmpPath) + "/tmp1.eps"));
    EXPECT_FALSE(file_exists(std::string(tmpPath) + "/tmp1.pnm"));
}

TEST_F(RealRender, ACompressedImageIsSmaller)
{
    EXPECT_TRUE(
        eps_to_picture(figure.c_str(), (folder / "plain.tiff").c_str(), ".tiff", 72, false));
    EXPECT_TRUE(eps_to_picture(figure.c_str(), (folder / "small.tiff").c_str(), ".tiff", 72, true));
    const std::size_t size = read_file(folder / "small.tiff").size();
    EXPECT_GT(size, 0U);
    EXPECT_LT(size, read_file(folder / "plain.tiff").size());
}

TEST_F(RealRender, AFigureThatGhostscriptRejectsGivesNoPicture)
{
    const std::string eps = folder.write("bad.eps", "%!PS\n%%BoundingBox: 0 0 30 40\nnonsense\n");
    EXPECT_FALSE(eps_to_picture(eps.c_str(), (folder / "bad.tiff").c_str(), ".tiff", 72, false));
    EXPECT_EQ(last_ending, ended_with_status);
    EXPECT_EQ(failed_conversions, 1);
    EXPECT_EQ(folder.names(), (words{"bad.eps", "slanted.eps"}));
}
