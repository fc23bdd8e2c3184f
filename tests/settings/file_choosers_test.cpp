// Without a desktop, no chooser can be made.
#include "settings/file_choosers.h"

#include "app/globals.h"
#include "settings/file_prompts.h"
#include "tests/support/spine_test.h"

namespace {

class FileChoosersWithoutADesktop : public spine_test {};

} // namespace

TEST_F(FileChoosersWithoutADesktop, ChooseNothingAndLeaveTheBuffer)
{
    CreateNavUPP1();
    EXPECT_EQ(eventProc1, &myEventProc1);
    EXPECT_EQ(filterProc1, &myFilterProc1);
    EXPECT_EQ(appFilterProc1, &myAppFilterProc1);
    char path[path_size] = "old";
    EXPECT_EQ(nav_get_file1(path, ".ps", nullptr, 1, "Select an input file"), 0);
    std::vector<std::string> paths = {"old"};
    EXPECT_EQ(nav_get_files1(&paths, ".pdf", "Add PDF files"), 0);
    EXPECT_EQ(paths, std::vector<std::string>{"old"});
    EXPECT_EQ(nav_get_working_folder1(path, "Select a working folder"), 0);
    EXPECT_EQ(nav_get_app1("", path, four_chars("****"), 0), 0);
    EXPECT_EQ(nav_put_file1("Save", "", path), 0);
    EXPECT_STREQ(path, "old");
    EXPECT_EQ(gModalToApplicationNavDialogRef, nullptr);
    EXPECT_EQ(modalToWindowNavDialogRef, nullptr);
    EXPECT_EQ(NavDialogRun(nullptr), kNavWrongDialogStateErr);
    EXPECT_EQ(put_output_file(path, "Save", nullptr), 0);
    EXPECT_STREQ(path, "");
    EXPECT_EQ(console.text(), "");
}
