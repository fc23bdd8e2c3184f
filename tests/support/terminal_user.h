// A user of the terminal program, for tests: with a home, a temporary folder and a working folder
// of their own, and no settings yet.
#ifndef PAPERMILL_TESTS_SUPPORT_TERMINAL_USER_H
#define PAPERMILL_TESTS_SUPPORT_TERMINAL_USER_H

#include "tests/support/run_program.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/test_files.h"

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

constexpr char program_path[] = PAPERMILL_BUNDLE "/Linux/papermill";

class terminal_user {
    temporary_folder root; // first: what follows lies in it

public:
    // The folders' names end with `suffix`.
    explicit terminal_user(const std::string &suffix = "");

    const std::string work, home, tmp;
    std::map<std::string, std::optional<std::string>> environment;

    // papermill WORDS... in the working folder.
    program_call call(const std::vector<std::string> &words) const;
    program_result papermill(const std::vector<std::string> &words) const;

    // The same on a terminal.
    program_result papermill_on_terminal(const std::vector<std::string> &words) const;

    // Runs papermill under another program, whose words come first.
    program_result papermill_under(std::vector<std::string> words,
                                   const std::vector<std::string> &papermill_words) const;

    // An ordinary program in the working folder.
    program_result run(const std::vector<std::string> &words) const;

    void set(const char *key, const std::string &value) const; // a setting

    std::string write(std::string_view name, std::string_view bytes) const; // in the working folder
    std::string path(std::string_view name) const;                          // there
    std::string read(std::string_view name) const;                          // from there
    bool has(std::string_view name) const;
    std::vector<std::string> names() const; // in the working folder, sorted

    std::string elsewhere(std::string_view name) const; // a path beside the working folder

    // What a run must not leave: names in the temporary folder, and processes. Those that are just
    // ending are waited for: a script that has reported the end of its run is not gone at once.
    std::vector<std::string> leftovers() const;

    // The processes that this user has started and that still run, by name.
    std::vector<pid_t> processes(std::string_view name) const;
};

// A page of the given size in points, with a black square in its lower left corner and `text`.
std::string drawing_ps(int width, int height, std::string_view text = "papermill");
std::string drawing_eps(int width, int height, std::string_view text = "papermill");

// The same on several pages; each has so much on it that nothing makes it small.
std::string big_ps(int pages);

// PostScript that prints "started" and never ends; `eps` makes it an EPS file.
std::string endless_ps();
std::string endless_eps();

// What other programs read from a PDF file, whatever its name. Empty when they cannot.
std::string pdf_page_size(const std::string &path); // of the first page, "WIDTH x HEIGHT"
int pdf_page_count(const std::string &path);        // -1 when it is no PDF file
std::string pdf_text(const std::string &path);
std::string qpdf_complaints(const std::string &path); // empty: qpdf --check has none

// A picture of a page: one byte of grey a pixel. Empty when there is none.
struct grey_picture {
    int width = 0, height = 0;
    std::string pixels;
};
grey_picture pdf_picture(const std::string &path, int page = 1, int dpi = 72);

// What ImageMagick reads of an image.
grey_picture image_picture(const std::string &path);

// What Ghostscript itself paints of a PostScript file: the part of each page of the given size
// whose lower left corner is at (left, bottom).
grey_picture ps_picture(const std::string &path, int width, int height, int left = 0,
                        int bottom = 0, int page = 1);

// How much two pictures differ, from 0 to 1, which is a blank page against one that is not, or
// pages of different sizes. The edges of letters may differ: all is looked at through 3 x 3 pixels.
double difference(const grey_picture &a, const grey_picture &b);

#endif
