// What tests of the single conversions have in common: a script that does nothing but report, and
// what a run shows.
#ifndef PAPERMILL_TESTS_SUPPORT_CONVERSION_TEST_H
#define PAPERMILL_TESTS_SUPPORT_CONVERSION_TEST_H

#include "tests/support/fake_script.h"
#include "tests/support/spine_test.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

using words = std::vector<std::string>;

// The last lines of a run.
extern const std::string complete;
extern const std::string cancelled;

extern const std::string fallback_options; // for PDF files, where none are set

class conversion_test : public spine_test {
protected:
    conversion_test();

    std::string shown() const; // with "N" for the elapsed time

    // The last call's words behind the capture file.
    words own_arguments() const;

    // The next run is cancelled as soon as its script has begun; the script goes on.
    void cancel_the_next_run() const;

    fake_script script;
    const std::string pid; // appPID
};

// A file name that a shell would act upon if it were not made safe, and plain ones. What one of
// them would run makes a file named "touched" in the current folder.
words telling_names();

// The text as it stands between double quotes in a command line.
std::string slot(const std::string &text);

// Where the console was redrawn: what it had shown by then.
words redraws();

// How a run can end when it is not cancelled.
struct way_to_end {
    const char *steps; // of the fake script
    std::int32_t status;
    int ending;       // a run_ending
    const char *line; // the one more line; S stands for the subject, T for the tool
};
extern const std::vector<way_to_end> ways_to_end;

// The line with the subject and the tool in it.
std::string failure_line(const way_to_end &way, const std::string &subject,
                         const std::string &tool);

#endif
