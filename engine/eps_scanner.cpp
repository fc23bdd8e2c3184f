#include "engine/eps_scanner.h"

#include "app/globals.h"
#include "console/console_io.h"
#include "engine/byte_lanes.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <locale.h>
#include <span>
#include <unistd.h>

int bbox[4];
int width, height;
int xoffset, yoffset;
int numch;
unsigned char bbneeded = 1;
unsigned char wrotebb;

namespace {

constexpr int line_size = 10000;          // room of a line with its NUL
constexpr int piece_size = line_size - 1; // longer lines come in pieces of this size

char ch[line_size];      // the line last read
char ch1[line_size];     // the same from its second or third byte on
char command[line_size]; // what follows the colon of a bounding box comment
char e_num[line_size];   // one number of it

eps_input source;
eps_output copy;

// ---- passing over lines that do not matter, at the speed of the memory ----

// Every keyword holds "Bou" or "Doc", which makes one test of a block of bytes enough for all.
struct keyword {
    const char *text;
    std::size_t size;
    std::size_t core; // where "Bou" or "Doc" is in it
};

constexpr std::array<keyword, 4> comment_keywords = {{{"BeginDocument", 13, 5},
                                                      {"HiResBoundingBox", 16, 5},
                                                      {"ExactBoundingBox", 16, 5},
                                                      {"BoundingBox", 11, 0}}};
constexpr std::array<keyword, 1> end_keywords = {{{"EndDocument", 11, 3}}};

constexpr std::size_t lead = 2;            // bytes of a line before the keyword
constexpr std::size_t longest_before = 5;  // bytes of a keyword before its core
constexpr std::size_t longest_behind = 11; // and from its core on
constexpr std::ptrdiff_t core_size = 3;

bool is_core(const char *p)
{
    return (p[0] == 'B' || p[0] == 'D') && p[1] == 'o' && (p[2] == 'u' || p[2] == 'c');
}

// Whether a core may begin in the block; two bytes behind it are read. One test stands for B and D
// and two letters more, one for u, c and six more: seldom wrong, and cheaper than two each.
bool block_may_have_core(const char *block)
{
    return any_in_block(block, [](const char *p) {
        constexpr unsigned char first = static_cast<unsigned char>(~('B' ^ 'D'));
        constexpr unsigned char third = static_cast<unsigned char>(~('u' ^ 'c'));
        return static_cast<byte_lanes>(((load_lanes(p) & first) == ('B' & first)) &
                                       (load_lanes(p + 1) == 'o') &
                                       ((load_lanes(p + 2) & third) == ('u' & third)));
    });
}

// The first core that begins in [from, to), or null; two bytes behind are read.
const char *find_core(const char *from, const char *to)
{
    while (from < to) {
        const auto size = std::min(static_cast<std::size_t>(to - from), lane_block);
        if (size < lane_block || block_may_have_core(from)) {
            const char *end = from + size;
            for (const char *p = from; p < end; ++p)
                if (is_core(p))
                    return p;
        }
        from += size;
    }
    return nullptr;
}

// Where in the stream the line or piece begins that holds the position `known`. Line ends are
// looked for backwards from each candidate, never further than to the one before: a file full of
// candidates takes no longer than any other.
struct line_tracker {
    std::int64_t start;
    std::int64_t known;
};

std::int64_t position(const eps_input *in, const char *p)
{
    return in->next - (in->end - p);
}

void advance(line_tracker *line, const eps_input *in, const char *to)
{
    const std::int64_t at = position(in, to);
    if (at > line->known) {
        if (const char *line_end = last_line_end(to - (at - line->known), to))
            line->start = position(in, line_end) + 1;
        line->known = at;
    }
    line->start += (at - line->start) / piece_size * piece_size;
}

// The line or piece that begins with one of the keywords, at its third byte, the core at `core`
// being part of it; or null.
const char *keyword_line(std::span<const keyword> keywords, const eps_input *in, const char *core,
                         line_tracker *line)
{
    for (const keyword &word : keywords) {
        const std::size_t before = word.core + lead;
        if (static_cast<std::size_t>(core - in->begin) < before ||
            static_cast<std::size_t>(in->end - core) < word.size - word.core)
            continue;
        const char *start = core - before;
        if (std::memcmp(start + lead, word.text, word.size) != 0 ||
            first_line_end(start, start + lead) != nullptr)
            continue;
        advance(line, in, start);
        if (line->start == position(in, start))
            return start;
    }
    return nullptr;
}

void hand_over(eps_input *in, const char *to, eps_output *out)
{
    if (out != nullptr)
        put_bytes(out, in->begin, static_cast<std::size_t>(to - in->begin));
    in->begin = to;
}

// Passes over all lines before the next one that begins with one of the keywords, writing them to
// `out` (may be null). The stream must be at the beginning of a line. False when the stream ended
// or failed, or the output did.
bool pass_to(std::span<const keyword> keywords, eps_input *in, eps_output *out)
{
    line_tracker line{position(in, in->begin), position(in, in->begin)};
    const char *from = in->begin; // cores before this one are done with
    for (bool more = true; out == nullptr || out->error == 0;) {
        // A keyword may be cut by the window's end: its core has to wait for the next refill.
        const auto wait = more ? std::ptrdiff_t{longest_behind} - 1 : core_size - 1;
        const char *to = std::max(from, in->end - std::min(wait, in->end - in->begin));
        while (const char *core = find_core(from, to)) {
            if (const char *start = keyword_line(keywords, in, core, &line)) {
                hand_over(in, start, out);
                return true;
            }
            from = core + 1;
        }
        if (!more) {
            hand_over(in, in->end, out);
            return false;
        }
        const auto before = static_cast<std::ptrdiff_t>(longest_before + lead);
        const char *keep = to - std::min(before, to - in->begin);
        advance(&line, in, keep);
        hand_over(in, keep, out);
        more = refill(in);
        from = in->begin + (to - keep);
    }
    return false;
}

// ---- single lines ----

bool next_line(eps_input *in)
{
    numch = macfgets(ch, line_size, in);
    return numch > 0;
}

// Puts the line without its first `from` bytes into ch1, where the keyword tests look.
void take_text(int from)
{
    const auto size = static_cast<std::size_t>(std::max(numch - from, 0));
    std::memcpy(ch1, ch + from, size);
    ch1[size] = 0;
}

bool begins(const char *text)
{
    return std::strncmp(ch1, text, std::strlen(text)) == 0;
}

int nearest_int(std::int64_t value)
{
    return static_cast<int>(std::clamp<std::int64_t>(value, INT_MIN, INT_MAX));
}

// Takes the box of the line in ch. False when the line has no colon.
bool take_box()
{
    const char *colon = std::strchr(ch, ':');
    if (colon == nullptr)
        return false;
    std::strcpy(command, colon + 1);
    read_number(command, 4, bbox);
    width = nearest_int(std::int64_t{bbox[2]} - bbox[0]);
    height = nearest_int(std::int64_t{bbox[3]} - bbox[1]);
    xoffset = nearest_int(-std::int64_t{bbox[0]});
    yoffset = nearest_int(-std::int64_t{bbox[1]});
    return true;
}

// Reads the whole section in any case, so that a spot that cannot be read is met before anything
// is written.
bool scan(eps_input *in)
{
    bool found = false;
    while (!found && pass_to(comment_keywords, in, nullptr) && next_line(in)) {
        take_text(lead);
        if (begins("BeginDocument")) {
            if (pass_to(end_keywords, in, nullptr))
                next_line(in);
        } else if (!begins("BoundingBox: (atend)")) {
            found = take_box();
        }
    }
    do
        in->begin = in->end;
    while (refill(in));
    return found;
}

void put_replacement(eps_output *out)
{
    char text[192]; // eight numbers of eleven bytes at most
    const int size = std::snprintf(text, sizeof text,
                                   "%%%%BoundingBox: %d %d %d %d\n"
                                   "<< /PageSize [%d %d] >> setpagedevice \n"
                                   "gsave %d %d translate\n",
                                   0, 0, width, height, width, height, xoffset, yoffset);
    put_bytes(out, text, static_cast<std::size_t>(size));
}

// Copies the stream from its PostScript header line on, with the first bounding box comment
// replaced and the others left out.
void copy_with_box(eps_input *in, eps_output *out)
{
    do {
        if (!next_line(in))
            break;
        take_text(1);
    } while (!begins("!PS"));
    if (numch > 0)
        macfputs(ch, out);

    while (pass_to(comment_keywords, in, out) && next_line(in)) {
        take_text(lead);
        if (begins("BeginDocument")) {
            macfputs(ch, out);
            if (pass_to(end_keywords, in, out) && next_line(in))
                macfputs(ch, out);
        } else if (bbneeded != 0) {
            put_replacement(out);
            bbneeded = 0;
            wrotebb = 1;
        }
    }
    constexpr char last_line[] = "grestore \n";
    put_bytes(out, last_line, sizeof last_line - 1);
}

void report_unreadable(const char *path, int error)
{
    if (error == EISDIR)
        text_printf("%s: this is a folder, not a file.\n", path);
    else if (error == EINVAL)
        text_printf("%s: this is no ordinary file.\n", path);
    else
        text_printf("%s: the file can't be read: %s.\n", path, std::strerror(error));
}

// The second half of prepare_eps: the box is known, the source stands at its first byte.
bool write_copy(const char *in, const char *tmpname)
{
    if (doDebug != 0)
        text_printf("Creating temporary file %s.\n", tmpname);
    if (!open_output(tmpname, &source, &copy)) {
        text_printf("\nCan't open temporary file.\n");
        return false;
    }
    copy_with_box(&source, &copy);
    const int error = close_output(&copy);
    if (source.error == 0 && error == 0 && wrotebb != 0)
        return true;

    if (source.error != 0) {
        report_unreadable(in, source.error);
    } else if (error != 0) {
        text_printf("Can't write the temporary copy of %s: %s.\n", in, std::strerror(error));
    } else {
        text_printf("\nUnable to write BoundingBox.\n");
        text_printf("No output file created.\n");
    }
    unlink(tmpname);
    return false;
}

constexpr std::array<unsigned, 128> default_classes = [] {
    std::array<unsigned, 128> classes{};
    for (const unsigned c : {9U, 10U, 11U, 12U, 13U, 32U}) // tab to carriage return, and the blank
        classes[c] = whitespace_class;
    return classes;
}();

} // namespace

int macfgets(char *buf, int size, eps_input *in)
{
    if (size < 1)
        return 0;
    const auto room = static_cast<std::size_t>(size - 1);
    std::size_t count = 0;
    while (count < room && (in->begin < in->end || refill(in))) {
        const char *to =
            in->begin + std::min(room - count, static_cast<std::size_t>(in->end - in->begin));
        const char *line_end = first_line_end(in->begin, to);
        if (line_end != nullptr)
            to = line_end + 1;
        const auto n = static_cast<std::size_t>(to - in->begin);
        std::memcpy(buf + count, in->begin, n);
        count += n;
        in->begin = to;
        if (line_end != nullptr)
            break;
    }
    buf[count] = 0;
    return static_cast<int>(count);
}

void macfputs(const char *buf, eps_output *out)
{
    put_bytes(out, buf, static_cast<std::size_t>(numch));
}

int __istype(int code, unsigned mask)
{
    static const locale_t c_locale = newlocale(LC_CTYPE_MASK, "C", nullptr);
    unsigned classes = 0;
    if (code > UCHAR_MAX || code < 0)
        return 0;
    if (code <= 127)
        classes = default_classes[static_cast<std::size_t>(code)];
    else if (isspace_l(code, c_locale) != 0)
        classes = whitespace_class;
    return (classes & mask) != 0 ? 1 : 0;
}

void read_number(const char *s, int n, int *out)
{
    const auto is_space = [](char c) {
        return __istype(static_cast<unsigned char>(c), whitespace_class) != 0;
    };
    for (int i = 0; i < n; ++i) {
        while (*s != 0 && is_space(*s))
            ++s;
        const char *token = s;
        while (*s != 0 && !is_space(*s))
            ++s;
        const auto size = std::min(static_cast<std::size_t>(s - token), sizeof e_num - 1);
        std::memcpy(e_num, token, size);
        e_num[size] = 0;
        out[i] = nearest_int(std::strtol(e_num, nullptr, 10));
    }
}

int scanfile(const char *path)
{
    if (open_input(path, &source) != 0)
        return 0;
    const bool found = scan(&source);
    close_input(&source);
    return found && source.error == 0 ? 1 : 0;
}

int prepare_eps(const char *in, char *tmpname, int *w, int *h)
{
    bbneeded = 1;
    wrotebb = 0;
    const int size = std::snprintf(tmpname, path_size, "%s/tmp1.eps", tmpPath);
    if (size < 0 || static_cast<std::size_t>(size) >= path_size) {
        tmpname[0] = 0;
        text_printf("%s/tmp1.eps: The path of the temporary file is too long!\n", tmpPath);
        return 0;
    }

    if (const int error = open_input(in, &source)) {
        if (error != EISDIR && error != EINVAL)
            text_printf("%s: File not found!\n", in);
        if (error != ENOENT)
            report_unreadable(in, error);
        return 0;
    }

    bool done = false;
    const bool found = scan(&source);
    if (source.error != 0) {
        report_unreadable(in, source.error);
    } else if (!found) {
        text_printf("Bounding Box comment not found in %s!\n", in);
    } else {
        rewind_input(&source);
        done = write_copy(in, tmpname);
    }
    close_input(&source);
    if (!done)
        return 0;
    *w = width;
    *h = height;
    return 1;
}

char *strip_ext(char *path)
{
    char *slash = std::strrchr(path, '/');
    char *dot = std::strrchr(slash != nullptr ? slash + 1 : path, '.');
    if (dot != nullptr)
        *dot = 0;
    return dot;
}
