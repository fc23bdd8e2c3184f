#include "stand_ins/corrections.h"

#include "platform/core/run_folder.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr char box_comment[] = "%%BoundingBox:";
constexpr char fine_box_comment[] = "%%HiResBoundingBox:";

bool begins_with(const char *text, const char *start)
{
    return std::strncmp(text, start, std::strlen(start)) == 0;
}

// A piece of a line, of 4,095 bytes at most; LF and CR both end one and are kept.
bool read_piece(std::FILE *file, std::string *piece, bool *starts_line)
{
    constexpr std::size_t longest = 4095;
    *starts_line = piece->empty() || piece->back() == '\n' || piece->back() == '\r';
    piece->clear();
    for (int c = 0; piece->size() < longest && c != '\n' && c != '\r';) {
        c = std::fgetc(file);
        if (c == EOF)
            break;
        *piece += static_cast<char>(c);
    }
    return !piece->empty();
}

// Rewrites the file through `change`, which gets each piece of a line and writes what is to stand
// in its place.
template <typename Change>
bool rewrite(const std::string &path, Change change)
{
    const std::string fresh = path + ".corrected";
    std::FILE *in = std::fopen(path.c_str(), "re");
    std::FILE *out = std::fopen(fresh.c_str(), "we");
    bool good = in != nullptr && out != nullptr;
    std::string piece;
    bool starts_line = false;
    while (good && read_piece(in, &piece, &starts_line))
        change(piece, starts_line, out);
    if (in != nullptr) {
        good = good && std::ferror(in) == 0;
        std::fclose(in);
    }
    if (out != nullptr)
        good = std::ferror(out) == 0 && std::fclose(out) == 0 && good;
    good = good && std::rename(fresh.c_str(), path.c_str()) == 0;
    if (!good)
        std::remove(fresh.c_str());
    return good;
}

void put(const std::string &text, std::FILE *out)
{
    std::fwrite(text.data(), 1, text.size(), out);
}

// A box comment of the shifted page, with the shift taken off; empty when it is not the device's.
// The box of a page without marks is all zeros, whatever the shift.
std::string without_shift(const std::string &line)
{
    const bool fine = begins_with(line.c_str(), fine_box_comment);
    const char *comment = fine ? fine_box_comment : box_comment;
    double box[4] = {};
    const int read = std::sscanf(line.c_str() + std::strlen(comment), "%lf %lf %lf %lf", &box[0],
                                 &box[1], &box[2], &box[3]);
    const bool blank = std::all_of(box, box + 4, [](double side) { return side == 0; });
    const bool on_page =
        std::all_of(box, box + 4, [](double side) { return std::abs(side) < 1e6; });
    if (read != 4 || !on_page)
        return "";
    if (blank)
        return line;
    for (double &side : box)
        side -= page_shift;
    char text[160];
    if (fine)
        std::snprintf(text, sizeof text, "%s %.6f %.6f %.6f %.6f\n", comment, box[0], box[1],
                      box[2], box[3]);
    else
        std::snprintf(text, sizeof text, "%s %.0f %.0f %.0f %.0f\n", comment, box[0], box[1],
                      box[2], box[3]);
    return text;
}

bool is_box_comment(const std::string &line)
{
    return begins_with(line.c_str(), box_comment) || begins_with(line.c_str(), fine_box_comment);
}

struct declared_boxes {
    std::string coarse, fine; // four numbers each; empty: not declared
};

// Four numbers after the comment, as they stand; empty when they are none, "(atend)" for instance.
std::string four_numbers(const char *text)
{
    const char *end = text + std::strspn(text, " \t");
    const char *start = end;
    for (int i = 0; i < 4; ++i) {
        char *after = nullptr;
        std::strtod(end, &after);
        if (after == end)
            return "";
        end = after;
    }
    const std::string numbers(start, end);
    return numbers.find_first_not_of("0123456789+-.eE \t") == std::string::npos ? numbers : "";
}

// Goes to the PostScript of a file that may have a binary preview: returns where it ends, or -1
// when it ends with the file.
long seek_postscript(std::FILE *file)
{
    unsigned char head[12] = {};
    if (std::fread(head, 1, sizeof head, file) == sizeof head &&
        std::memcmp(head, "\xc5\xd0\xd3\xc6", 4) == 0) {
        const auto number = [&](int at) {
            return static_cast<long>(head[at]) | static_cast<long>(head[at + 1]) << 8 |
                   static_cast<long>(head[at + 2]) << 16 | static_cast<long>(head[at + 3]) << 24;
        };
        if (std::fseek(file, number(4), SEEK_SET) == 0)
            return number(4) + number(8);
    }
    std::rewind(file);
    return -1;
}

// The first declaration holds, and of those that come at the end, the last. Those of pictures
// within the picture do not count; the finer box is declared in the header or promised there.
declared_boxes read_boxes(const std::string &path)
{
    declared_boxes found;
    bool coarse_at_end = false;
    bool fine_at_end = false;
    bool header_begun = false; // the file may begin with something else
    bool in_header = true;
    int depth = 0; // of pictures within pictures
    std::FILE *file = std::fopen(path.c_str(), "re");
    if (file == nullptr)
        return found;
    std::string piece;
    bool starts_line = false;
    const long end = seek_postscript(file);
    while ((end < 0 || std::ftell(file) < end) && read_piece(file, &piece, &starts_line)) {
        if (!starts_line)
            continue;
        const char *line = piece.c_str();
        const bool is_comment = line[0] == '%';
        const bool is_empty = line[0] == '\n' || line[0] == '\r';
        if (begins_with(line, "%%EndComments") || (header_begun && !is_comment && !is_empty))
            in_header = false;
        header_begun = header_begun || is_comment;
        if (begins_with(line, "%%BeginDocument"))
            ++depth;
        else if (begins_with(line, "%%EndDocument"))
            depth = std::max(depth - 1, 0);
        if (depth > 0 || !is_box_comment(piece))
            continue;
        const bool fine = begins_with(line, fine_box_comment);
        std::string &box = fine ? found.fine : found.coarse;
        bool &at_end = fine ? fine_at_end : coarse_at_end;
        const std::string numbers = four_numbers(line + piece.find(':') + 1);
        if (numbers.empty())
            at_end = at_end || box.empty();
        else if (at_end || (box.empty() && (in_header || !fine)))
            box = numbers;
    }
    std::fclose(file);
    return found;
}

// The text as it stands between the parentheses of a PostScript string.
std::string in_postscript_string(const std::string &text)
{
    std::string result;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        char octal[8];
        if (c == '(' || c == ')' || c == '\\') {
            result += '\\';
            result += c;
        } else if (byte < ' ' || byte > '~') {
            std::snprintf(octal, sizeof octal, "\\%03o", byte);
            result += octal;
        } else {
            result += c;
        }
    }
    return result;
}

} // namespace

bool correct_boxes(const std::string &path, const std::string &messages)
{
    std::FILE *rest = std::fopen(messages.c_str(), "ae");
    if (rest == nullptr)
        return false;
    bool found = false;
    const bool good = rewrite(path, [&](const std::string &line, bool starts, std::FILE *out) {
        const std::string box = starts && is_box_comment(line) ? without_shift(line) : "";
        found = found || !box.empty();
        if (box.empty())
            put(line, rest);
        else
            put(box, out);
    });
    std::fclose(rest);
    return good && found;
}

bool correct_eps(const std::string &path, const std::string &input)
{
    const declared_boxes boxes = read_boxes(input);
    bool in_header = true;
    return rewrite(path, [&](const std::string &line, bool starts, std::FILE *out) {
        if (!in_header || !starts) {
            put(line, out);
        } else if (begins_with(line.c_str(), "%%EndComments")) {
            in_header = false;
            put(line, out);
            const std::string back = std::to_string(-page_shift);
            put(back + " " + back + " translate\n", out);
        } else if (!is_box_comment(line) || boxes.coarse.empty()) {
            const std::string box = is_box_comment(line) ? without_shift(line) : "";
            put(box.empty() ? line : box, out);
        } else if (begins_with(line.c_str(), box_comment)) {
            put(std::string(box_comment) + " " + boxes.coarse + "\n", out);
            if (!boxes.fine.empty())
                put(std::string(fine_box_comment) + " " + boxes.fine + "\n", out);
        }
    });
}

bool correct_index(const std::string &path, const std::string &input)
{
    const std::string own = std::string("(") + platform::input_link + ")";
    std::string name = input.substr(input.rfind('/') + 1);
    if (name[0] == '%') // PostScript would take it for a device, or for a command to run
        name.insert(0, "./");
    const std::string users = "(" + in_postscript_string(name) + ")";
    return rewrite(path, [&](const std::string &line, bool starts, std::FILE *out) {
        const bool is_name = starts && begins_with(line.c_str(), own.c_str());
        put(is_name ? users + line.substr(own.size()) : line, out);
    });
}
