#include "tests/support/conversion_test.h"

#include "app/globals.h"
#include "tests/support/eventually.h"

#include <cstring>
#include <unistd.h>

const std::string complete = "\nProcessing complete.\nElapsed time = N sec.\n\n";
const std::string cancelled = "\nUser cancelled processing.\n";
const std::string fallback_options =
    "-dPDFSETTINGS=/printer -dCompatibilityLevel=1.3 -sPAPERSIZE=letter";

const std::vector<way_to_end> ways_to_end = {
    {"ends 0 done; reports", 0, ended_well, ""},
    {"ends 3 done; reports", 3, ended_with_status, "S: failed, T ended with status 3.\n"},
    {"ends 139 done; reports", 139, ended_by_signal, "S: failed, T was ended by signal 11.\n"},
    {"ends 0 unusable; reports", 0, ended_without_result,
     "S: failed, T ended without an error but left no usable result.\n"},
    {"ends 127 missing; reports", 127, ended_not_started, "S: not done, T was not started.\n"},
    {"exit 0", 127, ended_not_started, "S: not done, T was not started.\n"},
};

std::string failure_line(const way_to_end &way, const std::string &subject, const std::string &tool)
{
    std::string line = way.line;
    if (line.empty())
        return line;
    line.replace(line.find('T'), 1, tool);
    return line.replace(0, 1, subject);
}

conversion_test::conversion_test() : script("ends 0 done; reports"), pid(std::to_string(getpid()))
{
}

std::string conversion_test::shown() const
{
    return without_time(console.lines());
}

words conversion_test::own_arguments() const
{
    const words all = script.arguments();
    EXPECT_GE(all.size(), 3U);
    EXPECT_EQ(all.at(1), pid);
    EXPECT_EQ(all.at(2), worksheet);
    return {all.begin() + 3, all.end()};
}

void conversion_test::cancel_the_next_run() const
{
    script.does("echo > \"$run/begun\"; sleep 60");
    during_the_wait([] {
        const std::string sign =
            std::string(tmpPath) + "/run." + std::to_string(run_serial) + "/begun";
        EXPECT_TRUE(eventually([&] { return file_exists(sign); }));
        userCancel = 1;
        inScript = 0;
    });
}

words telling_names()
{
    return {"plain",           "two words",     "a\"b",       "$HOME",     "$(touch touched)",
            "`touch touched`", "back\\slash\\", "it's;&|<>*", "new\nline", "%s%d",
            "\xC3\xA4\xFF"};
}

std::string slot(const std::string &text)
{
    std::string result;
    for (const char c : text) {
        if (std::strchr("\"$`\\", c) != nullptr)
            result += '\\';
        result += c;
    }
    return result;
}

words redraws()
{
    words result;
    for (const platform_call &call : watched.calls) {
        if (call.name == "TXNForceUpdate")
            result.push_back((call.in_run ? "(in the run)" : "") + without_time(call.shown));
    }
    return result;
}
