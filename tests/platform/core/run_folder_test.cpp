#include "platform/core/run_folder.h"

#include "tests/support/temporary_folder.h"

#include <gtest/gtest.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

class RunFolder : public testing::Test {
protected:
    RunFolder() : run(folder.make_folder("run.1"))
    {
        folder.make_folder("run.1/tmp/deep");
        folder.write("run.1/status", "0 done\n");
        users.write("out.pdf", "older");
    }

    void link_output(const std::string &target) const
    {
        ASSERT_EQ(symlink(target.c_str(), (run + "/papermill-out").c_str()), 0);
    }

    temporary_folder folder;
    temporary_folder users;
    std::string run;
};

using names = std::vector<std::string>;

} // namespace

TEST_F(RunFolder, GoesWithAllThatIsInItAndItsUnfinishedOutput)
{
    users.make_folder(".papermill-abcdef/more");
    users.write(".papermill-abcdef/result.pdf", "half");
    link_output(users / ".papermill-abcdef");
    platform::remove_run_folder(run);
    EXPECT_TRUE(folder.names().empty());
    EXPECT_EQ(users.names(), names{"out.pdf"});
}

TEST_F(RunFolder, UnfinishedOutputGoesAlone)
{
    users.make_folder(".papermill-abcdef");
    link_output(users / ".papermill-abcdef");
    platform::remove_unfinished_output(run);
    EXPECT_EQ(users.names(), names{"out.pdf"});
    EXPECT_TRUE(file_exists(run + "/status"));
}

TEST_F(RunFolder, ALinkToAnythingElseIsNotFollowed)
{
    users.make_folder("papermill-abcdef");
    users.write("papermill-abcdef/kept", "x");
    users.make_folder(".papermillabc");
    for (const std::string &target :
         {users / "papermill-abcdef", users / ".papermillabc", users.path(), users / "out.pdf",
          users / ".papermill-gone", users / "x/.papermill-/../../out.pdf"}) {
        link_output(target);
        platform::remove_unfinished_output(run);
        unlink((run + "/papermill-out").c_str());
    }
    EXPECT_EQ(users.names(), (names{".papermillabc", "out.pdf", "papermill-abcdef"}));
    EXPECT_EQ(read_file(users / "papermill-abcdef/kept"), "x");
}

TEST_F(RunFolder, LinksInItAreNotFollowed)
{
    ASSERT_EQ(symlink(users.path().c_str(), (run + "/tmp/link").c_str()), 0);
    ASSERT_EQ(symlink((users / "out.pdf").c_str(), (run + "/papermill-in").c_str()), 0);
    platform::remove_run_folder(run);
    EXPECT_TRUE(folder.names().empty());
    EXPECT_EQ(read_file(users / "out.pdf"), "older");
}

TEST_F(RunFolder, RemovingOneThatIsGoneIsHarmless)
{
    platform::remove_run_folder(folder / "missing");
    platform::remove_run_folder(folder / "missing/run.1");
    EXPECT_EQ(folder.names(), names{"run.1"});
}
