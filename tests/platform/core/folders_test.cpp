#include "platform/core/folders.h"

#include "tests/support/test_files.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// Every process has one temporary folder in its life, so each of these is a child of its own.
class Folders : public testing::Test {
protected:
    Folders()
    {
        setenv("TMPDIR", folder.path().c_str(), 1);
    }

    ~Folders() override
    {
        unsetenv("TMPDIR");
    }

    // Runs `body` in a child that then ends as programs do.
    static bool in_ending_child(const std::function<void()> &body)
    {
        return child_succeeded(start_child([&body] {
            body();
            std::exit(testing::Test::HasFailure() ? 1 : 0);
        }));
    }

    // Starts a child that makes its folder and lives on; returns when the folder is there.
    pid_t start_owner() const
    {
        int told[2];
        EXPECT_EQ(pipe(told), 0);
        const pid_t child = start_child([&] {
            const std::string own = platform::temporary_folder(true);
            EXPECT_EQ(write(told[1], own.data(), own.size()), static_cast<ssize_t>(own.size()));
            pause();
        });
        char byte = 0;
        EXPECT_EQ(read(told[0], &byte, 1), 1);
        close(told[0]);
        close(told[1]);
        return child;
    }

    static std::string folder_of(const std::string &path)
    {
        return path.substr(0, path.rfind('/'));
    }

    static void end(pid_t child)
    {
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
    }

    std::string prefix() const
    {
        return folder / ("papermill-" + std::to_string(getuid()) + "-");
    }

    temporary_folder folder; // $TMPDIR
    temporary_folder elsewhere;
};

} // namespace

TEST_F(Folders, TheTemporaryFolderIsPrivateAndGoesWithTheProcess)
{
    EXPECT_TRUE(in_ending_child([&] {
        EXPECT_EQ(platform::temporary_folder(false), "");
        const mode_t old_mask = umask(0);
        const std::string own = platform::temporary_folder(true);
        umask(old_mask);
        EXPECT_EQ(own.substr(0, prefix().size()), prefix());
        struct stat status = {};
        ASSERT_EQ(stat(own.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode, S_IFDIR | 0700U);
        EXPECT_EQ(platform::temporary_folder(true), own);
        EXPECT_EQ(platform::temporary_folder(false), own);
        write_file(own + "/worksheet", "x");
        std::filesystem::create_directories(own + "/run.1/tmp/deep");
    }));
    EXPECT_TRUE(folder.names().empty());
}

TEST_F(Folders, AForkedChildLeavesItsParentsFolderAlone)
{
    EXPECT_TRUE(in_ending_child([&] {
        const std::string own = platform::temporary_folder(true);
        EXPECT_TRUE(in_ending_child([] {}));
        EXPECT_TRUE(file_exists(own));
    }));
    EXPECT_TRUE(folder.names().empty());
}

TEST_F(Folders, AtTheEndUnfinishedOutputGoesToo)
{
    EXPECT_TRUE(in_ending_child([&] {
        const std::string run = platform::temporary_folder(true) + "/run.1";
        std::filesystem::create_directories(run);
        elsewhere.make_folder(".papermill-abc");
        elsewhere.write(".papermill-abc/result.pdf", "half");
        std::filesystem::create_symlink(elsewhere / ".papermill-abc", run + "/papermill-out");
    }));
    EXPECT_TRUE(elsewhere.names().empty());
}

TEST_F(Folders, WhatAKilledProcessLeftGoesAtTheNextStart)
{
    const pid_t killed = start_owner();
    const std::string leftover = folder / folder.names().at(0);
    std::filesystem::create_directories(leftover + "/run.3/tmp");
    write_file(leftover + "/worksheet", "x");
    elsewhere.make_folder(".papermill-abc");
    elsewhere.write(".papermill-abc/result.pdf", "half");
    elsewhere.write("result.pdf", "the user's");
    std::filesystem::create_symlink(elsewhere / ".papermill-abc",
                                    leftover + "/run.3/papermill-out");
    end(killed);
    EXPECT_TRUE(file_exists(leftover));

    EXPECT_TRUE(in_ending_child([&] {
        platform::temporary_folder(true);
        EXPECT_FALSE(file_exists(leftover));
        EXPECT_EQ(folder.names().size(), 1U);
    }));
    EXPECT_EQ(elsewhere.names(), std::vector<std::string>{"result.pdf"});
}

TEST_F(Folders, WhatALivingProcessHasIsKept)
{
    const pid_t living = start_owner();
    const std::string own = folder.names().at(0);
    EXPECT_TRUE(in_ending_child([&] { platform::temporary_folder(true); }));
    EXPECT_EQ(folder.names(), std::vector<std::string>{own});
    end(living);
}

TEST_F(Folders, OnlyFoldersOfThatNameAreLeftovers)
{
    elsewhere.write("kept", "x");
    const std::string name = "papermill-" + std::to_string(getuid()) + "-";
    folder.make_folder("papermill-9999999-abcdef");
    folder.make_folder("papermill");
    folder.write(name + "file", "a file");
    ASSERT_EQ(symlink(elsewhere.path().c_str(), (folder / (name + "link")).c_str()), 0);
    folder.make_folder(name + "abcdef");
    EXPECT_TRUE(in_ending_child([&] { platform::temporary_folder(true); }));
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"papermill", name + "file", name + "link",
                                                        "papermill-9999999-abcdef"}));
    EXPECT_EQ(elsewhere.names(), std::vector<std::string>{"kept"});
}

TEST_F(Folders, FoldersOfOtherUsersAreNotLeftovers)
{
    if (getuid() != 0)
        GTEST_SKIP() << "only root can give a folder away";
    const std::string name = "papermill-0-abcdef";
    ASSERT_EQ(chown(folder.make_folder(name).c_str(), 65534, 65534), 0);
    EXPECT_TRUE(in_ending_child([&] { platform::temporary_folder(true); }));
    EXPECT_EQ(folder.names(), std::vector<std::string>{name});
}

TEST_F(Folders, ManyStartsAtOnceDoNotTakeEachOthersFolder)
{
    std::vector<pid_t> children;
    for (int i = 0; i < 20; ++i) {
        children.push_back(start_child([] {
            const std::string own = platform::temporary_folder(true);
            ASSERT_NE(own, "");
            for (int look = 0; look < 20; ++look) {
                ASSERT_TRUE(file_exists(own));
                usleep(1000);
            }
            std::exit(testing::Test::HasFailure() ? 1 : 0);
        }));
    }
    for (const pid_t child : children)
        EXPECT_TRUE(child_succeeded(child));
    EXPECT_TRUE(folder.names().empty());
}

TEST_F(Folders, WithoutAUsableTmpdirItLiesInTmp)
{
    for (const char *tmpdir : {"", "relative/path", "/no/such/folder", "/proc"}) {
        setenv("TMPDIR", tmpdir, 1);
        EXPECT_TRUE(in_ending_child([] {
            EXPECT_EQ(folder_of(platform::temporary_folder(true)), "/tmp");
        })) << tmpdir;
    }
    unsetenv("TMPDIR");
    EXPECT_TRUE(
        in_ending_child([] { EXPECT_EQ(folder_of(platform::temporary_folder(true)), "/tmp"); }));
}

TEST_F(Folders, ATmpdirWhosePathIsTooLongIsNotUsed)
{
    std::string deep;
    while (folder.path().size() + deep.size() < 950)
        deep += std::string(99, 'd') + "/";
    setenv("TMPDIR", folder.make_folder(deep).c_str(), 1);
    EXPECT_TRUE(
        in_ending_child([] { EXPECT_EQ(folder_of(platform::temporary_folder(true)), "/tmp"); }));
}

TEST_F(Folders, AFolderThatCannotBeWrittenIsNotUsed)
{
    const std::string locked = folder.make_folder("locked");
    ASSERT_EQ(chmod(locked.c_str(), 0555), 0);
    setenv("TMPDIR", locked.c_str(), 1);
    EXPECT_TRUE(in_child_without_rights([] {
        const std::string own = platform::temporary_folder(true);
        EXPECT_EQ(folder_of(own), "/tmp");
        rmdir(own.c_str());
    }));
}

TEST_F(Folders, SlashesAtTheEndOfTmpdirAreDropped)
{
    setenv("TMPDIR", (folder.path() + "//").c_str(), 1);
    EXPECT_TRUE(in_ending_child(
        [&] { EXPECT_EQ(platform::temporary_folder(true).substr(0, prefix().size()), prefix()); }));
}

// ---- home and preferences ----

TEST_F(Folders, TheHomeFolderIsTheEnvironmentsOrTheSystems)
{
    EXPECT_TRUE(in_child([&] {
        setenv("HOME", folder.path().c_str(), 1);
        EXPECT_EQ(platform::home_folder(), folder.path());
        for (const char *odd : {"", "relative"}) {
            setenv("HOME", odd, 1);
            EXPECT_EQ(platform::home_folder().substr(0, 1), "/");
        }
        unsetenv("HOME");
        EXPECT_EQ(platform::home_folder().substr(0, 1), "/");
    }));
}

TEST_F(Folders, ThePreferencesFolderIsMadeBeforeItIsNamed)
{
    EXPECT_TRUE(in_child([&] {
        setenv("HOME", folder.path().c_str(), 1);
        unsetenv("XDG_CONFIG_HOME");
        EXPECT_EQ(platform::preferences_folder(), folder / ".config/papermill");
        EXPECT_TRUE(std::filesystem::is_directory(folder / ".config/papermill"));
        EXPECT_EQ(platform::preferences_folder(), folder / ".config/papermill");

        setenv("XDG_CONFIG_HOME", (folder / "a/b").c_str(), 1);
        EXPECT_EQ(platform::preferences_folder(), folder / "a/b/papermill");
        EXPECT_TRUE(std::filesystem::is_directory(folder / "a/b/papermill"));

        setenv("XDG_CONFIG_HOME", "relative", 1);
        EXPECT_EQ(platform::preferences_folder(), folder / ".config/papermill");
    }));
}

TEST_F(Folders, APreferencesFolderThatCannotBeMadeIsNone)
{
    EXPECT_TRUE(in_child([&] {
        setenv("XDG_CONFIG_HOME", folder.write("file", "x").c_str(), 1);
        EXPECT_EQ(platform::preferences_folder(), "");
    }));
}
