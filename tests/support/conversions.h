// The conversions of the terminal program, for what holds of all of them.
#ifndef PAPERMILL_TESTS_SUPPORT_CONVERSIONS_H
#define PAPERMILL_TESTS_SUPPORT_CONVERSIONS_H

#include "tests/support/terminal_user.h"

#include <gtest/gtest.h>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

enum class document { ps, eps, pdf };

enum conversion_trait : unsigned {
    deletes_older = 1,    // an older output, as soon as it has seen its input
    by_pstopdf = 2,       // with the setting that chooses it
    tells_names_only = 4, // the tools' messages name the files without their folders
    goes_onto_itself = 8, // the output may be the input
};

struct conversion {
    const char *title;                // letters, for a test's name
    std::vector<std::string> command; // its words; none: the file is opened
    document takes;
    const char *ending; // with which it names an output after its input
    bool takes_out;     // the call names its output
    const char *tool;   // that the console names when it fails
    unsigned traits = 0;

    bool is(conversion_trait trait) const
    {
        return (traits & trait) != 0;
    }
};

void PrintTo(const conversion &each, std::ostream *stream);
std::string conversion_title(const testing::TestParamInfo<conversion> &info);

extern const std::vector<conversion> conversions;

std::vector<conversion> conversions_that(bool (*wanted)(const conversion &));
bool takes_out(const conversion &each);
bool names_its_output(const conversion &each); // after the input: it takes no OUT

// The words of the call. `out` counts where the conversion takes one.
std::vector<std::string> call_words(const conversion &how, const std::string &in,
                                    const std::string &out);

// The name of the output of `in` where the call names none.
std::string output_of(const conversion &how, const std::string &in);

// Whether another program finds in the file what the conversion makes of make_document(…, width).
testing::AssertionResult is_made_of(const conversion &how, const std::string &path, int width);

// ---- documents ----

std::string ending_of(document kind); // of a file's name

// One page, `width` by 50 points, with a black square in its lower left corner and the text
// "papermillWIDTH".
std::string make_document(document kind, int width);

// One that a tool never comes to the end of; of PostScript, after it has printed "started".
std::string endless_document(const conversion &how);

struct pdf_page {
    int width, height;   // points
    std::string content; // operators; the font is /F, Helvetica
    int rotate = 0;
};
std::string pdf_file(const std::vector<pdf_page> &pages);

// A file of these objects, numbered from 1, the first of which is the catalog.
std::string pdf_of_objects(const std::vector<std::string> &objects);
std::string pdf_stream(std::string_view dictionary, std::string_view content);

#endif
