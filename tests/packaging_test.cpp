// What the desktop finds the program by.
#include "tests/support/run_program.h"
#include "tests/support/temporary_folder.h"

#include <gtest/gtest.h>

#include <string>

namespace {

class Packaging : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!file_exists(PAPERMILL_BUNDLE "/Linux/papermill-desktop"))
            GTEST_SKIP() << "there is no desktop program";
        const program_result installed = run_program(
            {{"cmake", "--install", PAPERMILL_BUNDLE "/../..", "--prefix", prefix.path()}});
        ASSERT_EQ(installed.status, 0) << installed.err;
    }

    const temporary_folder prefix;
    const std::string desktop_file = prefix / "share/applications/org.papermill.Papermill.desktop";
};

} // namespace

TEST_F(Packaging, TheDesktopFileIsAValidOne)
{
    const program_result result = run_program({{"desktop-file-validate", desktop_file}});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out + result.err, "");
}

TEST_F(Packaging, TheIconIsInstalledUnderTheNameThatTheDesktopLooksFor)
{
    EXPECT_NE(read_file(desktop_file).find("\nIcon=org.papermill.Papermill\n"), std::string::npos);
    const std::string icon =
        prefix / "share/icons/hicolor/scalable/apps/org.papermill.Papermill.svg";
    const program_result drawn = run_program(
        {{"convert", icon, "-format", "%wx%h %k", "info:"}, {{"PATH", "/usr/bin:/bin"}}});
    EXPECT_EQ(drawn.status, 0) << drawn.err;
    EXPECT_EQ(drawn.out.substr(0, 8), "128x128 ");
    EXPECT_GT(std::stoi(drawn.out.substr(8)), 4); // colours
}
