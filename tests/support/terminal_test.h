// The fixture of the terminal program's tests.
#ifndef PAPERMILL_TESTS_SUPPORT_TERMINAL_TEST_H
#define PAPERMILL_TESTS_SUPPORT_TERMINAL_TEST_H

#include "tests/support/terminal_user.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

using strings = std::vector<std::string>;

// A user whose every test also holds that nothing is left over when it is done.
class terminal_test : public testing::Test {
protected:
    void TearDown() override
    {
        EXPECT_EQ(user.leftovers(), strings()) << "left over";
    }

    terminal_user user;
};

inline bool contains(const std::string &text, const std::string &part)
{
    return text.find(part) != std::string::npos;
}

inline bool ends_with(const std::string &text, const std::string &end)
{
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

inline std::size_t count(const std::string &text, const std::string &part)
{
    std::size_t result = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++result;
    return result;
}

// What a failing test should show of a run.
inline std::string story(const program_result &result)
{
    return "\nstatus " + std::to_string(result.status) + ", signal " +
           std::to_string(result.signal) + (result.timed_out ? ", timed out" : "") +
           "\n---- output\n" + result.out + "---- errors\n" + result.err + "----\n";
}

#endif
