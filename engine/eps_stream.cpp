#include "engine/eps_stream.h"

#include "engine/byte_lanes.h"
#include "platform/events.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>

std::size_t refill_size = window_size;

namespace {

constexpr char control_d = 4;
constexpr char exit_language[] = "\33%-12345X"; // ends a printer's job language, and begins one
constexpr std::size_t exit_size = sizeof exit_language - 1;
constexpr char language_line[] = "@PJL";
constexpr std::size_t line_mark_size = sizeof language_line - 1;
constexpr char end_comment[] = "%%EOF";
constexpr std::size_t end_comment_size = sizeof end_comment - 1;

constexpr unsigned char preview_mark[] = {0xC5, 0xD0, 0xD3, 0xC6};
constexpr std::size_t preview_fields = 12; // the mark, then offset and length of the section

constexpr std::size_t tail_size = 8192; // a tail is looked for in so many last bytes

bool is_line_end(char c)
{
    return c == '\n' || c == '\r';
}

bool block_has_line_end(const char *block)
{
    return any_in_block(block, [](const char *p) {
        const byte_lanes bytes = load_lanes(p);
        return static_cast<byte_lanes>((bytes == '\n') | (bytes == '\r'));
    });
}

bool begins_with(const char *p, const char *end, const char *text, std::size_t size)
{
    return static_cast<std::size_t>(end - p) >= size && std::memcmp(p, text, size) == 0;
}

// Reads up to `size` bytes at `offset`; fewer only at the end of the file or on an error.
std::size_t read_at(eps_input *in, char *bytes, std::size_t size, std::int64_t offset)
{
    std::size_t got = 0;
    while (got < size) {
        const ssize_t n =
            pread(in->fd, bytes + got, size - got, offset + static_cast<std::int64_t>(got));
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            in->error = errno;
        if (n <= 0)
            break;
        got += static_cast<std::size_t>(n);
    }
    return got;
}

std::int64_t little_endian(const char *p)
{
    std::int64_t value = 0;
    for (int i = 3; i >= 0; --i)
        value = value * 256 + static_cast<unsigned char>(p[i]);
    return value;
}

// ---- what printers put around a job: control-Ds, language exits and lines, blanks between ----

// Behind the control-D, the language exit or the language line at p; p itself when there is none.
const char *behind_item(const char *p, const char *end)
{
    if (p < end && *p == control_d)
        return p + 1;
    if (begins_with(p, end, exit_language, exit_size))
        return p + exit_size;
    if (!begins_with(p, end, language_line, line_mark_size))
        return p;
    const char *line_end = first_line_end(p, end);
    return line_end != nullptr ? line_end : end;
}

struct item_run {
    const char *first; // the first item, null when there is none
    const char *end;   // behind the items and blanks
};

item_run pass_items(const char *p, const char *end)
{
    item_run run{nullptr, p};
    for (;;) {
        while (run.end < end && std::strchr(" \t\r\n", *run.end) != nullptr) // a NUL counts too
            ++run.end;
        const char *behind = behind_item(run.end, end);
        if (behind == run.end)
            return run;
        if (run.first == nullptr)
            run.first = run.end;
        run.end = behind;
    }
}

bool is_text(const char *p, const char *end)
{
    return p < end && std::all_of(p, end, [](char c) { return c == '\t' || (c >= 32 && c < 127); });
}

// Where the tail begins in the last bytes of a section: whole lines of items, behind the end
// comment (also on its line) or at least behind a line of text. So a control-D among binary data
// is never taken for one. Returns `end` when there is none.
const char *find_tail(const char *begin, const char *end)
{
    const char *tail = end;
    const char *line_limit = end; // the line in question ends here
    while (line_limit > begin) {
        const char *last = is_line_end(line_limit[-1]) ? line_limit - 1 : line_limit;
        const char *before = last_line_end(begin, last);
        const char *line = before != nullptr ? before + 1 : begin;

        if (begins_with(line, last, end_comment, end_comment_size)) {
            const item_run run = pass_items(line + end_comment_size, last);
            return run.end == last && run.first != nullptr ? run.first : tail;
        }
        const item_run run = pass_items(line, last);
        if (run.end != last)
            return is_text(line, last) ? tail : end;
        if (run.first != nullptr)
            tail = run.first;
        line_limit = line;
    }
    return end;
}

// ---- the section ----

// Narrows the stream to the section that a binary preview header names, if that is believable.
void follow_preview_header(eps_input *in, std::int64_t file_size)
{
    char *head = in->room;
    if (read_at(in, head, preview_fields, 0) < preview_fields ||
        std::memcmp(head, preview_mark, sizeof preview_mark) != 0)
        return;
    const std::int64_t offset = little_endian(head + 4);
    const std::int64_t length = little_endian(head + 8);
    if (offset < static_cast<std::int64_t>(preview_fields) || offset >= file_size || length == 0)
        return;
    in->first = offset;
    in->limit = std::min(offset + length, file_size);
}

// Takes a printer's head off the section, and then also its tail.
void strip_printer_job(eps_input *in, std::int64_t file_size)
{
    const std::int64_t limit = std::min(in->limit, file_size);
    if (limit <= in->first)
        return;
    const auto size = static_cast<std::size_t>(limit - in->first);

    const char *bytes = in->room;
    std::size_t got = read_at(in, in->room, std::min(size, window_size), in->first);
    const item_run head = pass_items(bytes, bytes + got);
    if (head.first == nullptr)
        return;
    in->first += head.end - bytes;

    const std::size_t wanted = std::min(tail_size, static_cast<std::size_t>(limit - in->first));
    got = read_at(in, in->room, wanted, limit - static_cast<std::int64_t>(wanted));
    if (got == wanted)
        in->limit = limit - (bytes + got - find_tail(bytes, bytes + got));
}

void flush(eps_output *out, const char *bytes, std::size_t size)
{
    while (size > 0 && out->error == 0) {
        const ssize_t n = write(out->fd, bytes, size);
        if (n < 0) {
            if (errno != EINTR)
                out->error = errno;
            continue;
        }
        bytes += n;
        size -= static_cast<std::size_t>(n);
    }
}

} // namespace

const char *first_line_end(const char *from, const char *to)
{
    while (static_cast<std::size_t>(to - from) >= lane_block && !block_has_line_end(from))
        from += lane_block;
    const char *found = std::find_if(from, to, is_line_end);
    return found != to ? found : nullptr;
}

const char *last_line_end(const char *from, const char *to)
{
    while (static_cast<std::size_t>(to - from) >= lane_block &&
           !block_has_line_end(to - lane_block))
        to -= lane_block;
    while (to > from)
        if (is_line_end(*--to))
            return to;
    return nullptr;
}

int open_input(const char *path, eps_input *in)
{
    // Without O_NONBLOCK the open of a FIFO would wait for somebody to write into it.
    in->fd = open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (in->fd < 0)
        return errno;
    struct stat info {};
    int error = 0;
    if (fstat(in->fd, &info) != 0)
        error = errno;
    else if (S_ISDIR(info.st_mode))
        error = EISDIR;
    else if (!S_ISREG(info.st_mode))
        error = EINVAL;
    if (error != 0) {
        close_input(in);
        return error;
    }
    in->error = 0;
    in->first = 0;
    in->limit = std::numeric_limits<std::int64_t>::max();
    follow_preview_header(in, info.st_size);
    strip_printer_job(in, info.st_size);
    rewind_input(in);
    return 0;
}

void rewind_input(eps_input *in)
{
    in->next = in->first;
    in->begin = in->end = in->room + window_margin;
}

bool refill(eps_input *in)
{
    platform::tell_interrupt(); // a large file takes a while
    const std::int64_t left = in->limit - in->next;
    if (left <= 0 || in->error != 0)
        return false;
    char *window = in->room + window_margin;
    const auto kept = static_cast<std::size_t>(in->end - in->begin);
    // The kept bytes go in front of the window, so that every read has an aligned destination.
    std::memmove(window - kept, in->begin, kept);
    in->begin = window - kept;
    in->end = window;
    const auto size = static_cast<std::size_t>(
        std::min(left, static_cast<std::int64_t>(std::min(refill_size, window_size))));
    const std::size_t got = read_at(in, window, size, in->next);
    in->end += got;
    in->next += static_cast<std::int64_t>(got);
    return got > 0;
}

void close_input(eps_input *in)
{
    close(in->fd);
    in->fd = -1;
}

bool open_output(const char *path, const eps_input *source, eps_output *out)
{
    struct stat old {
    }, read{};
    if (stat(path, &old) == 0 && fstat(source->fd, &read) == 0 && old.st_dev == read.st_dev &&
        old.st_ino == read.st_ino)
        return false;
    unlink(path); // an old copy may have another mode, or be a link to somewhere else
    out->fd = open(path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    out->error = 0;
    out->used = 0;
    return out->fd >= 0;
}

void put_bytes(eps_output *out, const char *bytes, std::size_t size)
{
    if (size > sizeof out->bytes - out->used) {
        flush(out, out->bytes, out->used);
        out->used = 0;
    }
    if (size > sizeof out->bytes) {
        flush(out, bytes, size);
        return;
    }
    std::memcpy(out->bytes + out->used, bytes, size);
    out->used += size;
}

int close_output(eps_output *out)
{
    flush(out, out->bytes, out->used);
    if (close(out->fd) != 0 && out->error == 0)
        out->error = errno;
    out->fd = -1;
    return out->error;
}
