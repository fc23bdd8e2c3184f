// The tools of one run: whether they are there, and how they are run.
#ifndef PAPERMILL_STAND_INS_TOOLS_H
#define PAPERMILL_STAND_INS_TOOLS_H

#include <string>
#include <vector>

constexpr int tool_not_found = 127; // a status, as shells give it

// The words of a call, the tool's name first.
using tool_call = std::vector<std::string>;

// True when PATH leads to the tool; else says which package brings it.
bool tool_is_there(const std::string &tool);

// Where one tool runs, and what it may do there.
struct tool_setting {
    std::string run_folder; // its current folder
    bool reads_document;    // papermill-in is its standard input; else that is empty
    int output;             // gets what it prints
    int errors;             // gets its messages
    long limit;             // no file that it writes becomes larger, in kilobytes; 0: no limit
};

// Runs the tool and returns its status as shells tell it. The tool writes into its $TMPDIR and
// papermill-out and nowhere else: Ghostscript's own -dSAFER lets a document write to files that it
// lets it read (mode r+).
int run_tool(const tool_call &call, const tool_setting &setting);

// Becomes the program of the call; when there is none, says so and returns tool_not_found.
int become(const tool_call &call);

// Waits for the child and returns its status as shells tell it.
int wait_for(int child);

#endif
