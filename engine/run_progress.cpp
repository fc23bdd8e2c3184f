#include "engine/run_progress.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr std::size_t kept_of_line = 1024;    // bytes: shown_line characters take fewer
constexpr std::size_t kept_behind = 64;       // bytes by which a file is known again
constexpr std::size_t chunk = 64 << 10;       // bytes of one read
constexpr std::size_t most_at_once = 4 << 20; // bytes of one call
constexpr int longest_number = 9;             // digits
constexpr char announced_input[] = "papermill-in-";

struct character {
    char32_t code = 0;
    std::size_t size = 0; // bytes; 0: no UTF-8
};

// The UTF-8 character at the start of the bytes. *lacks is set when they are the start of one.
character first_character(const char *bytes, std::size_t size, bool *lacks)
{
    const auto lead = static_cast<unsigned char>(bytes[0]);
    if (lead < 0x80)
        return {lead, 1};
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4)
        return {};
    constexpr std::array<char32_t, 5> smallest = {0, 0, 0x80, 0x800, 0x10000};
    char32_t code = lead & (0x7FU >> length);
    std::size_t at = 1;
    for (; at < length && at < size; ++at) {
        const auto next = static_cast<unsigned char>(bytes[at]);
        if ((next & 0xC0U) != 0x80)
            return {};
        code = code << 6 | (next & 0x3FU);
    }
    *lacks = at < length;
    if (*lacks || code < smallest[length] || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF))
        return {};
    return {code, length};
}

bool is_control(char32_t code)
{
    return code < 0x20 || (code >= 0x7F && code < 0xA0) || code == 0x2028 || code == 0x2029;
}

bool turns_direction(char32_t code)
{
    return code == 0x61C || code == 0x200E || code == 0x200F ||
           (code >= 0x202A && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
}

bool is_blank(char byte)
{
    const auto code = static_cast<unsigned char>(byte);
    return code <= ' ' || code == 0x7F;
}

// Reads a number of a few digits, and moves on behind it. 0 when there is none.
std::int32_t take_number(const char *&text)
{
    std::int32_t number = 0;
    for (int digits = 0; *text >= '0' && *text <= '9'; ++digits, ++text) {
        if (digits == longest_number)
            return 0;
        number = number * 10 + (*text - '0');
    }
    return number;
}

bool take_word(const char *&text, const char *word)
{
    const std::size_t length = std::strlen(word);
    if (std::strncmp(text, word, length) != 0)
        return false;
    text += length;
    return true;
}

// How many pages "1 through 20." or "1,3-5." are; 0 when it cannot be known ("odd.").
std::int32_t count_pages(const char *text)
{
    std::int32_t count = 0;
    for (;;) {
        const std::int32_t first = take_number(text);
        std::int32_t last = first;
        if (take_word(text, " through ") || take_word(text, "-"))
            last = take_number(text);
        if (first < 1 || last < first || count > INT32_MAX - (last - first + 1))
            return 0;
        count += last - first + 1;
        if (std::strcmp(text, ".") == 0)
            return count;
        if (!take_word(text, ","))
            return 0;
    }
}

// Ghostscript tells of a page as it begins it, and announces a PDF file's pages. A tool that
// announces nothing tells of a page when it is done.
void take_page(run_progress &progress, std::int32_t number)
{
    if (progress.headers == 0) {
        progress.page = number;
        progress.pages_done = number;
        return;
    }
    progress.pages_done = progress.pages_begun;
    progress.page = ++progress.pages_begun;
    if (progress.total != 0 && progress.page > progress.total)
        progress.total = 0; // the announcement was not about these
}

void begin_file(run_progress &progress, std::int32_t total)
{
    progress.page = progress.pages_done = progress.pages_begun = 0;
    progress.total = total;
}

// Takes in a line that has ended.
void take_line(run_progress &progress)
{
    std::string &line = progress.line;
    while (!line.empty() && is_blank(line.back()))
        line.pop_back();
    const char *text = line.c_str();
    if (!progress.line_cut && take_word(text, announced_input)) {
        // A name of the script's own, which tells the user nothing.
        const std::int32_t number = take_number(text);
        if (number > 0 && std::strcmp(text, ":") == 0) {
            progress.file = number;
            progress.file_announced = true;
            begin_file(progress, 0);
            line.clear();
        }
    } else if (!progress.line_cut && take_word(text, "Processing pages ")) {
        ++progress.headers;
        if (!progress.file_announced)
            progress.file = progress.headers > 1 ? progress.headers : 0;
        begin_file(progress, count_pages(text));
    } else if (!progress.line_cut && take_word(text, "Page ")) {
        const std::int32_t number = take_number(text);
        if (number > 0 && *text == 0)
            take_page(progress, number);
    }
    if (!line.empty()) {
        progress.ended_line.swap(line);
        progress.ended_line_cut = progress.line_cut;
    }
    line.clear();
    progress.line_cut = false;
}

// Takes in bytes without a line end.
void take_piece(run_progress &progress, const char *piece, std::size_t size)
{
    if (progress.line.empty()) { // a line may begin with any number of blanks
        const char *text = std::find_if_not(piece, piece + size, is_blank);
        size -= static_cast<std::size_t>(text - piece);
        piece = text;
    }
    const std::size_t kept = std::min(size, kept_of_line - progress.line.size());
    progress.line.append(piece, kept);
    progress.line_cut = progress.line_cut || kept < size;
}

void take_bytes(run_progress &progress, const char *bytes, std::size_t size)
{
    const char *const end = bytes + size;
    while (bytes != end) {
        const auto left = static_cast<std::size_t>(end - bytes);
        const auto *line_feed = static_cast<const char *>(std::memchr(bytes, '\n', left));
        const char *const last = line_feed != nullptr ? line_feed : end;
        while (const auto *carriage_return = static_cast<const char *>(
                   std::memchr(bytes, '\r', static_cast<std::size_t>(last - bytes)))) {
            take_piece(progress, bytes, static_cast<std::size_t>(carriage_return - bytes));
            take_line(progress);
            bytes = carriage_return + 1;
        }
        take_piece(progress, bytes, static_cast<std::size_t>(last - bytes));
        if (line_feed != nullptr)
            take_line(progress);
        bytes = line_feed != nullptr ? line_feed + 1 : end;
    }
}

// Whether the file that is open is the one that was read, and has what was read of it.
bool is_the_same(const run_progress &progress, int file, const struct stat &found)
{
    if (found.st_dev != progress.device || found.st_ino != progress.inode ||
        found.st_size < progress.place)
        return false;
    std::array<char, kept_behind> bytes;
    const std::string &behind = progress.behind;
    const auto size = static_cast<ssize_t>(behind.size());
    return pread(file, bytes.data(), behind.size(), progress.place - size) == size &&
           std::memcmp(bytes.data(), behind.data(), behind.size()) == 0;
}

// Reads on from where the reading stands. True when there was something.
bool read_on(run_progress &progress, int file)
{
    static char bytes[chunk];
    std::size_t read_now = 0;
    while (read_now < most_at_once) {
        const ssize_t n = pread(file, bytes, chunk, progress.place);
        if (n <= 0)
            break;
        const auto size = static_cast<std::size_t>(n);
        take_bytes(progress, bytes, size);
        progress.place += n;
        progress.behind.append(bytes + size - std::min(size, kept_behind),
                               std::min(size, kept_behind));
        if (progress.behind.size() > kept_behind)
            progress.behind.erase(0, progress.behind.size() - kept_behind);
        read_now += size;
    }
    return read_now > 0;
}

// What has no line end yet is the tool's last word all the same.
void show_last_line(run_progress &progress)
{
    std::string shown;
    if (progress.line.compare(0, sizeof announced_input - 1, announced_input) != 0)
        shown = line_for_show(progress.line, true);
    if (shown.empty())
        shown = line_for_show(progress.ended_line, progress.ended_line_cut);
    if (!shown.empty())
        progress.last_line = shown;
}

} // namespace

void follow_output(run_progress &progress, const std::string &path)
{
    progress = run_progress();
    progress.path = path;
}

bool read_progress(run_progress &progress)
{
    // Whatever stands there, opening it does not wait.
    const int file = open(progress.path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (file < 0)
        return false;
    struct stat found = {};
    bool news = false;
    if (fstat(file, &found) == 0 && S_ISREG(found.st_mode)) {
        if (!is_the_same(progress, file, found)) {
            news = progress.place > 0;
            follow_output(progress, std::string(progress.path));
            progress.device = found.st_dev;
            progress.inode = found.st_ino;
        }
        if (read_on(progress, file)) {
            news = true;
            show_last_line(progress);
        }
    }
    close(file);
    return news;
}

std::string line_for_show(const std::string &bytes, bool unfinished, std::size_t longest)
{
    std::string shown;
    std::size_t characters = 0;
    for (std::size_t at = 0; at < bytes.size();) {
        bool lacks = false;
        character next = first_character(bytes.data() + at, bytes.size() - at, &lacks);
        if (lacks && unfinished)
            break;
        const bool latin_1 = next.size == 0;
        if (latin_1)
            next = {static_cast<unsigned char>(bytes[at]), 1};
        const std::string own = bytes.substr(at, next.size);
        at += next.size;
        if (turns_direction(next.code))
            continue;
        if (is_control(next.code) || next.code == ' ') {
            if (shown.empty())
                continue;
            shown += ' ';
        } else if (latin_1) {
            shown += static_cast<char>(0xC0U | next.code >> 6);
            shown += static_cast<char>(0x80U | (next.code & 0x3FU));
        } else {
            shown += own;
        }
        if (++characters == longest) {
            if (at < bytes.size() || unfinished)
                shown += "…";
            break;
        }
    }
    while (!shown.empty() && shown.back() == ' ')
        shown.pop_back();
    return shown;
}
