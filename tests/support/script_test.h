// The fixture of the helper script's tests: calls it by hand, with a run's folder.
#ifndef PAPERMILL_TESTS_SUPPORT_SCRIPT_TEST_H
#define PAPERMILL_TESTS_SUPPORT_SCRIPT_TEST_H

#include "tests/support/run_program.h"
#include "tests/support/test_files.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

using words = std::vector<std::string>;

extern const std::string bundled_tools; // the folder
extern const std::string one_page;      // PostScript

// For tools of the test's own, which run in the run's folder: keeps the words that the tool was
// called with, and what its standard input is; makes a PDF file.
extern const std::string keep_words, make_pdf;

// How often the script has reported with a signal: the test plays the application.
int reports();

class script_test : public testing::Test {
protected:
    script_test();
    ~script_test() override;

    // A tool of the test's own, first on PATH. It may write into $TMPDIR and papermill-out.
    void install(const std::string &tool, const std::string &script);

    program_call call(const std::string &subcommand, const words &arguments) const;
    int script(const std::string &subcommand, const words &arguments) const;
    int ps2pdf(const std::string &options = "") const;

    std::string said() const; // in the capture file, or in the run's folder where there is none
    std::string ending() const;
    void new_run();
    std::string text_of(const std::string &pdf) const;

    // What a tool of the test's own was called with.
    words tool_words(const std::string &tool = "gs") const;
    std::string tool_input(const std::string &tool = "gs") const;

    temporary_folder temporary, users, tools;
    std::string run, capture, input, output, path;
};

#endif
