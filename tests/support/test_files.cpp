#include "tests/support/test_files.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <grp.h>
#include <gtest/gtest.h>
#include <iterator>
#include <linux/landlock.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

void write_file(const std::string &path, const std::string &bytes)
{
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << bytes;
    file.close();
    EXPECT_TRUE(file.good()) << path;
}

std::vector<std::string> names_in(const std::string &folder)
{
    std::vector<std::string> names;
    for (const auto &entry : fs::directory_iterator(folder))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

pid_t start_child(const std::function<void()> &body)
{
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        body();
        std::fflush(stdout);
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    return child;
}

bool child_succeeded(pid_t child)
{
    int status = 0;
    return child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) &&
           WEXITSTATUS(status) == 0;
}

bool in_child(const std::function<void()> &body)
{
    return child_succeeded(start_child(body));
}

bool in_child_without_rights(const std::function<void()> &body)
{
    constexpr uid_t nobody = 65534;
    return in_child([&body] {
        if (getuid() == 0) {
            ASSERT_EQ(setgroups(0, nullptr), 0);
            ASSERT_EQ(setgid(nobody), 0);
            ASSERT_EQ(setuid(nobody), 0);
        }
        body();
    });
}

bool kernel_confines()
{
    return syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION) > 0;
}
