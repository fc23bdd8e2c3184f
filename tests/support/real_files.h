// Documents as other programs write them.
#ifndef PAPERMILL_TESTS_SUPPORT_REAL_FILES_H
#define PAPERMILL_TESTS_SUPPORT_REAL_FILES_H

#include "tests/support/terminal_user.h"

#include <array>
#include <gtest/gtest.h>
#include <iosfwd>
#include <string>
#include <vector>

struct producer {
    const char *title;
    const char *script; // makes in.ps or in.eps from report.ms, plot.gp and list.txt
    const char *name;
    const char *page_size; // null: what the file's own box says
    int pages;
    bool has_text;
    const char *twin = "twin.pdf"; // the PDF file that it was made from, or one that ps2pdf makes
};

void PrintTo(const producer &each, std::ostream *stream);

extern const std::vector<producer> producers;

// Has the producer make its file in the user's working folder.
testing::AssertionResult make_real_file(const terminal_user &user, const producer &from);

// What groff makes of this source, given by its lines, as "NAME.ps" or ".pdf".
testing::AssertionResult make_with_groff(const terminal_user &user, const std::string &source,
                                         const std::string &name);

// The words of a text, sorted, ligatures as single letters. The texts of two readers differ in
// blanks, in the order of what stands side by side, and in how they write ligatures.
std::vector<std::string> words_of(std::string text);

// The four numbers of the first box comment.
std::array<int, 4> eps_box(const std::string &bytes);

#endif
