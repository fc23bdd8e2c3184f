#include "platform/strings.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace {

constexpr std::uint32_t first_accented = 0xC0; // of Latin-1
constexpr std::uint32_t end_accented = 0x180;  // of Latin Extended-A

// The letter under the diacritical mark; a full stop where there is no mark to take off.
constexpr char plain_letters[] = "AAAAAA.CEEEEIIII.NOOOOO..UUUUY..aaaaaa.ceeeeiiii.nooooo..uuuuy.y"
                                 "AaAaAaCcCcCcCcDd..EeEeEeEeEeGgGgGgGgHh..IiIiIiIiI...JjKk.LlLlLl."
                                 "...NnNnNn...OoOoOo..RrRrRrSsSsSsSsTtTt..UuUuUuUuUuUuWwYyYZzZzZz.";
static_assert(sizeof plain_letters - 1 == end_accented - first_accented);

// A byte that is no UTF-8 counts as a character of its own, above all others.
constexpr std::uint32_t no_character = 0x110000;
constexpr std::uint32_t end_of_string = 0x7FFFFFFF;

bool between(std::uint32_t c, std::uint32_t first, std::uint32_t last)
{
    return c >= first && c <= last;
}

std::uint32_t lower_case(std::uint32_t c)
{
    if (between(c, 'A', 'Z') || (between(c, 0xC0, 0xDE) && c != 0xD7))
        return c + 32;
    if (c == 0x178)
        return 0xFF;
    if (c == 0x130 || c == 0x131 || c == 0x138) // have no partner beside them
        return c;
    if (between(c, 0x100, 0x137) || between(c, 0x14A, 0x177)) // capitals are even
        return c | 1;
    if (between(c, 0x139, 0x148) || between(c, 0x179, 0x17E)) // capitals are odd
        return (c & 1) != 0 ? c + 1 : c;
    return c;
}

std::uint32_t without_mark(std::uint32_t c)
{
    if (!between(c, first_accented, end_accented - 1))
        return c;
    const char letter = plain_letters[c - first_accented];
    return letter == '.' ? c : static_cast<unsigned char>(letter);
}

bool is_combining_mark(std::uint32_t c)
{
    return between(c, 0x300, 0x36F);
}

struct reader {
    const unsigned char *at;
    const unsigned char *end;
    bool caseSensitive;
    bool diacSensitive;
};

std::uint32_t next_character(reader &r)
{
    const std::uint32_t first = *r.at++;
    std::uint32_t c = 0;
    std::ptrdiff_t more = 0;
    if (first < 0x80)
        return first;
    if (between(first, 0xC2, 0xDF)) {
        c = first & 0x1F;
        more = 1;
    } else if (between(first, 0xE0, 0xEF)) {
        c = first & 0x0F;
        more = 2;
    } else if (between(first, 0xF0, 0xF4)) {
        c = first & 0x07;
        more = 3;
    }
    if (more == 0 || r.end - r.at < more)
        return no_character + first;
    for (std::ptrdiff_t i = 0; i < more; ++i) {
        if ((r.at[i] & 0xC0) != 0x80)
            return no_character + first;
        c = (c << 6) | (r.at[i] & 0x3FU);
    }
    r.at += more;
    return c;
}

// The next character as it is compared, or end_of_string.
std::uint32_t next_compared(reader &r)
{
    while (r.at != r.end) {
        std::uint32_t c = next_character(r);
        if (!r.diacSensitive) {
            if (is_combining_mark(c))
                continue;
            c = without_mark(c);
        }
        return r.caseSensitive ? c : lower_case(c);
    }
    return end_of_string;
}

} // namespace

StringPtr c2pstr(char *s)
{
    const std::size_t length = std::min<std::size_t>(std::strlen(s), 255);
    std::memmove(s + 1, s, length);
    auto *pascal = reinterpret_cast<StringPtr>(s);
    pascal[0] = static_cast<unsigned char>(length);
    return pascal;
}

char *p2cstr(StringPtr s)
{
    const std::size_t length = s[0];
    std::memmove(s, s + 1, length);
    s[length] = 0;
    return reinterpret_cast<char *>(s);
}

Boolean EqualString(ConstStringPtr a, ConstStringPtr b, Boolean caseSensitive,
                    Boolean diacSensitive)
{
    reader left = {a + 1, a + 1 + a[0], caseSensitive != 0, diacSensitive != 0};
    reader right = {b + 1, b + 1 + b[0], caseSensitive != 0, diacSensitive != 0};
    for (;;) {
        const std::uint32_t x = next_compared(left);
        const std::uint32_t y = next_compared(right);
        if (x != y)
            return 0;
        if (x == end_of_string)
            return 1;
    }
}

bool platform::copy_whole(char *buffer, std::size_t size, const char *s)
{
    const std::size_t length = std::strlen(s);
    if (length >= size)
        return false;
    std::memmove(buffer, s, length + 1);
    return true;
}

std::size_t platform::whole_characters(const char *text, std::size_t size)
{
    const auto byte_before = [text](std::size_t end) {
        return static_cast<unsigned char>(text[end - 1]);
    };
    std::size_t start = size;
    while (start > 0 && size - start < 3 && (byte_before(start) & 0xC0U) == 0x80)
        --start;
    if (start == 0)
        return size;
    const unsigned char first = byte_before(start);
    const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : first >= 0xC0 ? 2 : 1;
    return start - 1 + length > size ? start - 1 : size;
}

void platform::to_pascal(std::string_view text, StringPtr pascal)
{
    pascal[0] = static_cast<unsigned char>(std::min<std::size_t>(text.size(), 255));
    std::copy_n(text.begin(), pascal[0], pascal + 1);
}
