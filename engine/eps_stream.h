// The byte streams of the EPS routines: the PostScript section of a file, read through a fixed
// window, and a copy in the making. Both have fixed buffers, so a file of any size takes the same
// memory; and both read and write plainly, so a file that is cut short meanwhile just ends sooner.
#ifndef PAPERMILL_ENGINE_EPS_STREAM_H
#define PAPERMILL_ENGINE_EPS_STREAM_H

#include <cstddef>
#include <cstdint>

constexpr std::size_t window_size = 262144; // bytes that one refill reads at most
constexpr std::size_t window_margin = 4096; // room in front for bytes that are kept over a refill

// Bytes per refill, 1 to window_size; window_size unless a test sets less.
extern std::size_t refill_size;

// An open input. What lies before its PostScript section (a binary preview header, a control-D, a
// printer-job-language head) is not part of the stream, nor is the tail that belongs to it.
struct eps_input {
    int fd;
    int error;          // errno of the read that failed, or 0
    std::int64_t first; // file offset where the section begins
    std::int64_t limit; // file offset where it ends at the latest
    std::int64_t next;  // file offset of the byte that the next refill reads
    const char *begin;  // the unread bytes in the window
    const char *end;
    alignas(4096) char room[window_margin + window_size];
};

// Opens a regular file for reading and finds its PostScript section. Returns 0, or an errno and the
// stream is not open: EISDIR for a folder, EINVAL for anything else that is no regular file. Never
// waits, whatever kind of file the path names.
int open_input(const char *path, eps_input *in);

// Goes back to the section's first byte.
void rewind_input(eps_input *in);

// Reads the next bytes behind the unread ones, of which there may be at most window_margin.
// begin and end move. False when there are no more: the section's end, or an error.
bool refill(eps_input *in);

void close_input(eps_input *in);

// The first carriage return or line feed in [from, to), or null.
const char *first_line_end(const char *from, const char *to);

// The last one, or null.
const char *last_line_end(const char *from, const char *to);

// A file in the making.
struct eps_output {
    int fd;
    int error; // errno of the write that failed, or 0; what follows it is not written
    std::size_t used;
    char bytes[65536];
};

// Makes the file anew, with mode 0600; one that stands there is removed first. False when it
// cannot be made, or when it is the file that `source` reads.
bool open_output(const char *path, const eps_input *source, eps_output *out);

void put_bytes(eps_output *out, const char *bytes, std::size_t size);

// Writes what is left and closes the file; returns the errno of what failed, or 0.
int close_output(eps_output *out);

#endif
