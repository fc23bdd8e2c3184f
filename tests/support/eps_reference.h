// What the EPS scanner must do, written line by line over the whole file in memory, as slow and as
// plain as can be. The scanner's results are compared with these.
#ifndef PAPERMILL_TESTS_SUPPORT_EPS_REFERENCE_H
#define PAPERMILL_TESTS_SUPPORT_EPS_REFERENCE_H

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace eps_reference {

struct result {
    bool found = false; // a box was taken
    int box[4] = {};
    bool replaced = false; // the copy has it
    std::string copy;
};

inline bool is_line_end(char c)
{
    return c == '\n' || c == '\r';
}

// Lines with their ends; none is longer than `longest`.
inline std::vector<std::string> split(const std::string &bytes, std::size_t longest)
{
    std::vector<std::string> lines;
    std::string line;
    for (const char c : bytes) {
        line += c;
        if (is_line_end(c) || line.size() == longest) {
            lines.push_back(line);
            line.clear();
        }
    }
    if (!line.empty())
        lines.push_back(line);
    return lines;
}

// ---- the PostScript section ----

inline std::size_t field(const std::string &bytes, std::size_t at)
{
    std::size_t value = 0;
    for (std::size_t i = 0; i < 4; ++i)
        value |= std::size_t{static_cast<unsigned char>(bytes[at + i])} << (8 * i);
    return value;
}

inline std::string without_preview(const std::string &bytes)
{
    if (bytes.size() < 12 || bytes.compare(0, 4, "\xC5\xD0\xD3\xC6") != 0)
        return bytes;
    const std::size_t offset = field(bytes, 4);
    const std::size_t length = field(bytes, 8);
    if (offset < 12 || offset >= bytes.size() || length == 0)
        return bytes;
    return bytes.substr(offset, length);
}

// Length of the blanks, control-Ds, language exits and language lines at `at`. Where the first of
// these that is no blank begins goes to *first, or npos.
inline std::size_t job_items(const std::string &bytes, std::size_t at, std::size_t *first)
{
    const std::size_t begin = at;
    *first = std::string::npos;
    while (at < bytes.size()) {
        std::size_t size = 0;
        if (bytes[at] == 4)
            size = 1;
        else if (bytes.compare(at, 9, "\x1b%-12345X") == 0)
            size = 9;
        else if (bytes.compare(at, 4, "@PJL") == 0)
            while (at + size < bytes.size() && !is_line_end(bytes[at + size]))
                ++size;
        if (size > 0)
            *first = std::min(*first, at);
        else if (std::string(" \t\r\n\0", 5).find(bytes[at]) != std::string::npos)
            size = 1;
        else
            break;
        at += size;
    }
    return at - begin;
}

inline std::string without_printer_job(std::string bytes)
{
    std::size_t first = 0;
    const std::size_t head = job_items(bytes.substr(0, 262144), 0, &first);
    if (first == std::string::npos)
        return bytes;
    bytes.erase(0, head);

    const std::size_t before = bytes.size() - std::min<std::size_t>(bytes.size(), 8192);
    std::vector<std::string> lines = split(bytes.substr(before), std::string::npos);
    std::size_t tail = bytes.size();
    std::size_t end = bytes.size();
    for (; !lines.empty(); lines.pop_back()) {
        std::string line = lines.back();
        const std::size_t start = end - line.size();
        if (is_line_end(line.back()))
            line.pop_back();
        if (line.compare(0, 5, "%%EOF") == 0) {
            if (job_items(line, 5, &first) == line.size() - 5 && first != std::string::npos)
                tail = start + first;
            return bytes.substr(0, tail);
        }
        if (job_items(line, 0, &first) != line.size()) {
            for (const char c : line)
                if (c != '\t' && (c < ' ' || c > '~'))
                    return bytes;
            return bytes.substr(0, tail);
        }
        if (first != std::string::npos)
            tail = start + first;
        end = start;
    }
    return bytes;
}

// ---- the line rules ----

inline std::string up_to_nul(const std::string &bytes)
{
    return bytes.substr(0, bytes.find('\0'));
}

// Whether the text of the line from its byte number `from` on, up to a NUL, begins so.
inline bool begins(const std::string &line, std::size_t from, const std::string &keyword)
{
    const std::string text = line.size() > from ? up_to_nul(line.substr(from)) : "";
    return text.compare(0, keyword.size(), keyword) == 0;
}

inline bool is_box(const std::string &line)
{
    return begins(line, 2, "HiResBoundingBox") || begins(line, 2, "ExactBoundingBox") ||
           begins(line, 2, "BoundingBox");
}

inline int number(const std::string &token)
{
    std::size_t at = 0;
    const bool minus = !token.empty() && token[0] == '-';
    if (minus || (!token.empty() && token[0] == '+'))
        ++at;
    std::int64_t value = 0;
    for (; at < token.size() && token[at] >= '0' && token[at] <= '9'; ++at)
        value = std::min<std::int64_t>(value * 10 + (token[at] - '0'), INT64_C(1) << 40);
    return static_cast<int>(std::clamp<std::int64_t>(minus ? -value : value, INT_MIN, INT_MAX));
}

inline int difference(int a, int b)
{
    return static_cast<int>(std::clamp<std::int64_t>(std::int64_t{a} - b, INT_MIN, INT_MAX));
}

inline void scan(const std::vector<std::string> &lines, result *r)
{
    bool embedded = false;
    for (const std::string &line : lines) {
        if (embedded) {
            embedded = !begins(line, 2, "EndDocument");
        } else if (begins(line, 2, "BeginDocument")) {
            embedded = true;
        } else if (is_box(line) && !begins(line, 2, "BoundingBox: (atend)") && !r->found) {
            const std::string text = up_to_nul(line);
            const std::size_t colon = text.find(':');
            if (colon == std::string::npos)
                continue;
            std::string token;
            std::size_t count = 0;
            for (const char c : text.substr(colon + 1) + ' ') {
                if (std::string(" \t\n\v\f\r").find(c) == std::string::npos) {
                    token += c;
                } else if (!token.empty() && count < 4) {
                    r->box[count++] = number(token);
                    token.clear();
                }
            }
            while (count < 4)
                r->box[count++] = 0;
            r->found = true;
        }
    }
}

inline void copy(const std::vector<std::string> &lines, result *r)
{
    const int width = difference(r->box[2], r->box[0]);
    const int height = difference(r->box[3], r->box[1]);
    char block[256];
    std::snprintf(block, sizeof block,
                  "%%%%BoundingBox: 0 0 %d %d\n<< /PageSize [%d %d] >> setpagedevice \n"
                  "gsave %d %d translate\n",
                  width, height, width, height, difference(0, r->box[0]), difference(0, r->box[1]));

    bool body = false;
    bool embedded = false;
    for (const std::string &line : lines) {
        if (!body) {
            body = begins(line, 1, "!PS");
            if (body)
                r->copy += line;
        } else if (embedded) {
            r->copy += line;
            embedded = !begins(line, 2, "EndDocument");
        } else if (is_box(line)) {
            if (!r->replaced)
                r->copy += block;
            r->replaced = true;
        } else {
            r->copy += line;
            embedded = begins(line, 2, "BeginDocument");
        }
    }
    r->copy += "grestore \n";
}

inline result prepare(const std::string &file)
{
    const std::vector<std::string> lines = split(without_printer_job(without_preview(file)), 9999);
    result r;
    scan(lines, &r);
    if (r.found)
        copy(lines, &r);
    return r;
}

} // namespace eps_reference

#endif
