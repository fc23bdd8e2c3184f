// How far a run is, as its tools tell it: the file that takes their output is read while it grows.
#ifndef PAPERMILL_ENGINE_RUN_PROGRESS_H
#define PAPERMILL_ENGINE_RUN_PROGRESS_H

#include <cstdint>
#include <string>
#include <sys/types.h>

constexpr std::size_t shown_line = 200; // characters of a line that is shown

struct run_progress {
    // ---- what the tools have told ----
    std::string last_line;       // the last one that is not empty, as line_for_show makes it
    std::int32_t page = 0;       // the page last told of, counted from 1; 0: none yet
    std::int32_t pages_done = 0; // how many are finished
    std::int32_t total = 0;      // how many there will be; 0: not told
    std::int32_t file = 0;       // of several inputs, the one that page and total are about; else 0

    // ---- where the reading stands ----
    std::string path;
    dev_t device = 0; // of the file that was read
    ino_t inode = 0;
    off_t place = 0;        // bytes read
    std::string behind;     // the last of them: another file has others there
    std::string line;       // the start of the line that has not ended yet
    bool line_cut = false;  // there was more of it than is kept
    std::string ended_line; // the start of the last line that has
    bool ended_line_cut = false;
    std::int32_t headers = 0;     // announcements of a PDF file's pages
    bool file_announced = false;  // each input is announced by its number
    std::int32_t pages_begun = 0; // pages told of since the last announcement
};

// Forgets all, and follows the file at `path` from its start; it need not be there yet.
void follow_output(run_progress &progress, const std::string &path);

// Reads what was added to the file since the last call, a few megabytes at most, in bounded memory
// whatever a line's length. A file that was cut or replaced is read from its start; one that is
// missing leaves all as it was. True when there is something new to show.
bool read_progress(run_progress &progress);

// The bytes of a line as UTF-8 that can be shown in one line: bytes that are no UTF-8 are taken for
// Latin-1, control characters become blanks, those that turn the direction of writing are left out,
// and after `longest` characters comes an ellipsis. With `unfinished`, a character that lacks its
// last bytes is left out.
std::string line_for_show(const std::string &bytes, bool unfinished,
                          std::size_t longest = shown_line);

#endif
