#include "tests/support/fake_script.h"

#include <cstdio>
#include <cstdlib>

static std::vector<std::string> split_at_nul(const std::string &bytes)
{
    std::vector<std::string> texts;
    for (std::size_t start = 0; start < bytes.size();) {
        const std::size_t end = bytes.find('\0', start);
        texts.push_back(bytes.substr(start, end - start));
        start = end + 1;
    }
    return texts;
}

fake_script::fake_script(const std::string &steps) : old_path(std::getenv("PATH"))
{
    does(steps);
    setenv("PATH", (folder.path() + ":" + old_path).c_str(), 1);
}

fake_script::~fake_script()
{
    setenv("PATH", old_path.c_str(), 1);
}

void fake_script::does(const std::string &steps) const
{
    // Under another name first: the shell of an earlier run may not have read its script's end yet.
    folder.write_program("new", "#!/bin/sh\n"
                                "own='" +
                                    folder.path() +
                                    "'\n"
                                    "for word; do printf '%s\\0' \"$word\"; done > $own/words\n"
                                    "env -0 > $own/variables\n"
                                    "pwd > $own/folder\n"
                                    "echo >> $own/calls\n"
                                    "pid=$2 capture=$3 run=$PAPERMILL_RUN_FOLDER\n"
                                    "says() { printf \"$@\" >> \"$capture\"; }\n"
                                    "ends() { echo \"$1 $2\" > \"$run/status\"; }\n"
                                    "reports() { kill -USR1 \"$pid\"; }\n" +
                                    steps + "\n");
    std::rename((folder / "new").c_str(), (folder / "gs.script").c_str());
}

int fake_script::calls() const
{
    return static_cast<int>(read_file(folder / "calls").size());
}

std::vector<std::string> fake_script::arguments() const
{
    return split_at_nul(read_file(folder / "words"));
}

std::map<std::string, std::string> fake_script::environment() const
{
    std::map<std::string, std::string> variables;
    for (const std::string &text : split_at_nul(read_file(folder / "variables"))) {
        const std::size_t equals = text.find('=');
        variables[text.substr(0, equals)] = text.substr(equals + 1);
    }
    return variables;
}

std::string fake_script::working_folder() const
{
    const std::string line = read_file(folder / "folder");
    return line.substr(0, line.find('\n'));
}
