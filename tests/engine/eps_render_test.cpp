#include "engine/eps_render.h"

#include "app/globals.h"
#include "engine/eps_scanner.h"
#include "platform/events.h"
#include "tests/support/fake_script.h"
#include "tests/support/spine_test.h"

#include <climits>
#include <cstdio>
#include <set>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using words = std::vector<std::string>;

const std::string complete = "\nProcessing complete.\nElapsed time = N sec.\n\n";

class EpsRender : public spine_test {
protected:
    EpsRender() : script("ends 0 done; reports") {}

    std::string size_option(int dpi, int w, int h) const
    {
        EXPECT_EQ(do_eps2pnm("/in.eps", "/out.pnm", dpi, w, h), 1);
        return script.arguments().back();
    }

    fake_script script;
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
    const std::string pid = std::to_string(getpid());
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
    EXPECT_EQ(size_option(1200, 14400, 14400), " -r1200 -g240000x240000");
}

TEST_F(EpsRender, APictureWithoutPixelsIsRefused)
{
    struct {
        int dpi, w, h;
    } const sizes[] = {{300, 0, 100},    {300, 100, 0},      {300, -10, 100},
                       {0, 100, 100},    {-72, 100, 100},    {35, 1, 1},
                       {72, INT_MIN, 1}, {1000, INT_MAX, 1}, {INT_MAX, INT_MAX, INT_MAX}};
    for (const auto &size : sizes) {
        console.clear();
        EXPECT_EQ(do_eps2pnm("/in.eps", "/out.pnm", size.dpi, size.w, size.h), 0);
        EXPECT_EQ(console.lines(), "/in.eps: a picture of " + std::to_string(size.w) + " x " +
                                       std::to_string(size.h) + " points at " +
                                       std::to_string(size.dpi) +
                                       " dots per inch can't be made.\n");
    }
    EXPECT_EQ(script.calls(), 0);
    EXPECT_EQ(failed_conversions, 9);
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
    script.does("exec sleep 600");
    EventLoopTimerRef timer = nullptr;
    InstallEventLoopTimer(
        GetCurrentEventLoop(), 0.0, 3600.0,
        [](EventLoopTimerRef, void *) {
            userCancel = 1;
            inScript = 0;
        },
        nullptr, &timer);
    EXPECT_EQ(do_eps2pnm("/in.eps", "/out.pnm", 72, 10, 10), 0);
    RemoveEventLoopTimer(timer);
    EXPECT_EQ(console.lines(), "\nUser cancelled processing.\n");
    EXPECT_EQ(last_ending, ended_cancelled);
}

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
