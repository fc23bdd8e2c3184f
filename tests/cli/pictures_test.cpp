// Pictures and images, from the terminal, with the real tools.

#include "cli/exit_statuses.h"
#include "platform/core/apple_double.h"
#include "tests/support/eventually.h"
#include "tests/support/hostile_names.h"
#include "tests/support/picture_reader.h"
#include "tests/support/terminal_test.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

class PictureFiles : public terminal_test {
protected:
    PictureFiles()
    {
        // ImageMagick's own convert, not another program of that name.
        user.environment["PATH"] = "/usr/bin:/bin";
    }

    // Whether the drawing's black square is where it must be.
    static bool shows_drawing(const pict_content &picture)
    {
        if (picture.width < 20 || picture.height < 20)
            return false;
        const auto pixel = [&](int x, int y) {
            return static_cast<unsigned char>(
                picture.pixels[static_cast<std::size_t>((y * picture.width + x) * 3)]);
        };
        return pixel(2, picture.height - 3) == 0 && pixel(picture.width - 1, 0) == 255;
    }
};

} // namespace

TEST_F(PictureFiles, AFigureBecomesAPictureOfItsBoxsSize)
{
    user.write("in.eps", drawing_eps(100, 50));
    const program_result result = user.papermill({"eps2pict", "in.eps"});
    EXPECT_EQ(result.status, cli_done) << story(result);
    const pict_content picture = read_picture_file(user.path("in.pict"));
    EXPECT_EQ(picture.complaint, "");
    EXPECT_EQ(picture.width, 200);
    EXPECT_EQ(picture.height, 100);
    EXPECT_EQ(picture.x_resolution, 144);
    EXPECT_TRUE(shows_drawing(picture));
    EXPECT_EQ(user.run({"identify", "-format", "%m %w %h", user.path("in.pict")}).out,
              "PICT 200 100");
    EXPECT_EQ(user.names(), (strings{"in.eps", "in.pict"}));
    EXPECT_FALSE(contains(result.out, "Adding PICT")) << story(result);
}

TEST_F(PictureFiles, TheSettingIsTheResolution)
{
    user.set("PICT_RES", "300");
    user.write("in.eps", drawing_eps(100, 50));
    EXPECT_EQ(user.papermill({"eps2pict", "in.eps", "out"}).status, cli_done);
    const pict_content picture = read_picture_file(user.path("out"));
    EXPECT_EQ(picture.complaint, "");
    EXPECT_EQ(picture.width, 417);
    EXPECT_EQ(picture.height, 208);
    EXPECT_EQ(picture.x_resolution, 300);
}

TEST_F(PictureFiles, ThePictureJustMadeIsThePreview)
{
    user.set("PICT_PREVIEW", "1");
    user.write("in.eps", drawing_eps(100, 50));
    user.write("in.pict", "an older picture");
    const program_result result = user.papermill({"eps2pict", "in.eps", "out.pict"});
    EXPECT_EQ(result.status, cli_done) << story(result);
    EXPECT_TRUE(contains(result.out, "Adding PICT resource to " + user.path("in.eps") + ".\n"));
    EXPECT_EQ(user.read("in.pict"), "an older picture");
    const std::string picture = user.read("out.pict");
    ASSERT_GT(picture.size(), 512U);
    EXPECT_NE(user.read("._in.eps").find(picture.substr(512)), std::string::npos);
    EXPECT_EQ(user.names(), (strings{"._in.eps", "in.eps", "in.pict", "out.pict"}));

    user.set("PICT_DELETE", "1");
    user.set("PICT_RES", "72");
    EXPECT_EQ(user.papermill({"eps2pict", "in.eps"}).status, cli_done);
    EXPECT_EQ(user.names(), (strings{"._in.eps", "in.eps", "out.pict"}));
    EXPECT_EQ(user.read("._in.eps").find(picture.substr(512)), std::string::npos); // replaced
}

TEST_F(PictureFiles, APreviewThatCannotBeStoredIsAFailure)
{
    user.set("PICT_PREVIEW", "1");
    user.set("PICT_DELETE", "1");
    user.write("in.eps", drawing_eps(100, 50));
    user.write("._in.eps", "no AppleDouble file");
    const program_result result = user.papermill({"eps2pict", "in.eps"});
    EXPECT_EQ(result.status, cli_failed) << story(result);
    EXPECT_TRUE(contains(result.out, "can't open\n" + user.path("in.eps") +
                                         ": the preview can't be stored in it (error -199).\n"))
        << story(result);
    EXPECT_EQ(read_picture_file(user.path("in.pict")).complaint, "");
}

TEST_F(PictureFiles, TheFirstPageOfAPdfFileBecomesAPicture)
{
    user.write("in.ps", drawing_ps(100, 50) + "showpage\n");
    ASSERT_EQ(user.papermill({"ps2pdf", "in.ps"}).status, cli_done);
    ASSERT_EQ(pdf_page_count(user.path("in.pdf")), 2);
    for (const strings &words :
         {strings{"pdf2pict", "in.pdf"}, {"pdf2pict", "in.pdf", "in.pict"}}) {
        const program_result result = user.papermill(words);
        EXPECT_EQ(result.status, cli_done) << story(result);
        EXPECT_TRUE(contains(result.out, "A picture holds one page: page 1 of 2 is taken.\n"))
            << story(result);
        const pict_content picture = read_picture_file(user.path("in.pict"));
        EXPECT_EQ(picture.complaint, "");
        EXPECT_EQ(picture.width, 200);
        EXPECT_EQ(picture.height, 100);
        EXPECT_EQ(picture.y_resolution, 144);
        EXPECT_TRUE(shows_drawing(picture));
        fs::remove(user.path("in.pict"));
    }
}

TEST_F(PictureFiles, TheFirstPageOfPostScriptBecomesAPicture)
{
    user.write("in.ps", drawing_ps(100, 50) + "showpage\n");
    const program_result result = user.papermill({"ps2pict", "in.ps"});
    EXPECT_EQ(result.status, cli_done) << story(result);
    const pict_content picture = read_picture_file(user.path("in.pict"));
    EXPECT_EQ(picture.complaint, "");
    EXPECT_EQ(picture.width, 200);
    EXPECT_TRUE(shows_drawing(picture));
    EXPECT_TRUE(contains(result.out, "page 1 of 2 is taken.\n")) << story(result);
    EXPECT_EQ(user.names(), (strings{"in.pict", "in.ps"}));
}

TEST_F(PictureFiles, AFailureNamesTheUsersFileAndKeepsThePicture)
{
    user.write("bad.ps", "%!PS\nnonsense\n");
    user.write("bad.pict", "older");
    const program_result result = user.papermill({"ps2pict", "bad.ps"});
    EXPECT_EQ(result.status, cli_failed);
    EXPECT_TRUE(contains(result.out, user.path("bad.ps") + ": failed, gs ended with status 1.\n"))
        << story(result);
    EXPECT_EQ(user.read("bad.pict"), "older");

    user.write("bad.pdf", "%PDF-1.4\nnothing\n");
    EXPECT_EQ(user.papermill({"pdf2pict", "bad.pdf"}).status, cli_failed);
    EXPECT_EQ(user.papermill({"pdf2pict", "none.pdf"}).status, cli_failed);
    EXPECT_EQ(user.papermill({"pdf2pict", "bad.pdf", "bad.pdf"}).status, cli_failed);
    EXPECT_EQ(user.read("bad.pict"), "older");
    EXPECT_EQ(user.names(), (strings{"bad.pdf", "bad.pict", "bad.ps"}));
}

TEST_F(PictureFiles, FilesOfAnyNameAreConverted)
{
    user.set("PICT_PREVIEW", "1");
    user.set("PICT_RES", "36");
    for (const std::string &name : hostile_names()) {
        user.write(name + ".eps", drawing_eps(100, 50));
        const program_result result = user.papermill({"eps2pict", "./" + name + ".eps"});
        EXPECT_EQ(result.status, cli_done) << story(result);
        EXPECT_EQ(read_picture_file(user.path(name + ".pict")).complaint, "") << name;
        EXPECT_TRUE(user.has("._" + name + ".eps")) << name;
        EXPECT_EQ(user.names().size(), 3U);
        for (const std::string &made : user.names())
            fs::remove(user.path(made));
    }
}

TEST_F(PictureFiles, AMissingImageMagickIsTold)
{
    if (access("/usr/local/bin/convert", X_OK) == 0)
        GTEST_SKIP() << "a convert lies in a folder that is always looked into";
    user.write("in.eps", drawing_eps(100, 50));
    user.write("in.ps", drawing_ps(100, 50));
    ASSERT_EQ(user.papermill({"ps2pdf", "in.ps"}).status, cli_done);
    // All that there is but ImageMagick.
    const temporary_folder tools;
    for (const auto &entry : fs::directory_iterator("/usr/bin")) {
        const std::string name = entry.path().filename();
        if (name.compare(0, 7, "convert") != 0)
            fs::create_symlink(entry.path(), tools / name);
    }
    user.environment["PATH"] = tools.path();
    for (const strings &words : {strings{"eps2pict", "in.eps"},
                                 {"pdf2pict", "in.pdf"},
                                 {"ps2pict", "in.ps"},
                                 {"eps2tiff", "in.eps"}}) {
        const program_result result = user.papermill(words);
        EXPECT_EQ(result.status, cli_failed);
        EXPECT_TRUE(
            contains(result.out, "convert was not found. Install the package imagemagick.\n"))
            << story(result);
        EXPECT_TRUE(contains(result.out, ": not done, ")) << story(result);
    }
    EXPECT_EQ(user.names(), (strings{"in.eps", "in.pdf", "in.ps"}));
}

TEST_F(PictureFiles, InterruptEndsConvertAndLeavesNothing)
{
    const temporary_folder tools;
    tools.write_program("convert", "#!/bin/sh\necho $$ > new; mv new pid; exec sleep 1000\n");
    user.environment["PATH"] = tools.path() + ":/usr/bin:/bin";
    if (access("/usr/local/bin/convert", X_OK) == 0)
        GTEST_SKIP() << "a convert lies in a folder that is always looked into";
    user.write("in.eps", drawing_eps(100, 50));
    user.write("later.eps", drawing_eps(100, 50));
    for (const bool whole_group : {false, true}) {
        running_program program(user.call({"eps2pict", "in.eps"}));
        pid_t tool = 0; // it says who it is in the only folder where it may write
        ASSERT_TRUE(eventually([&] {
            for (const std::string &name : user.names()) {
                if (name[0] == '.')
                    tool = std::atoi(read_file(user.path(name) + "/pid").c_str());
            }
            return tool > 0;
        }));
        if (whole_group)
            kill(-program.pid(), SIGINT);
        else
            program.send_signal(SIGINT);
        const program_result result = program.finish();
        EXPECT_EQ(result.status, cli_interrupted) << story(result);
        EXPECT_TRUE(contains(result.out, "\nUser cancelled processing.\n")) << story(result);
        EXPECT_FALSE(contains(result.out, "failed")) << story(result);
        EXPECT_TRUE(eventually([&] { return kill(tool, 0) != 0; }));
        EXPECT_EQ(user.leftovers(), strings());
        EXPECT_EQ(user.names(), (strings{"in.eps", "later.eps"}));
    }
}
