#include "tests/support/picture_reader.h"

#include "tests/support/temporary_folder.h"

#include <algorithm>
#include <cstdint>

namespace {

struct rectangle {
    int top, left, bottom, right;
    bool operator==(const rectangle &other) const = default;
};

class reader {
public:
    explicit reader(const std::string &data) : bytes(data) {}
    read_picture read();

private:
    bool fail(const std::string &what)
    {
        if (result.complaint.empty())
            result.complaint = what + " at " + std::to_string(at);
        return false;
    }
    unsigned byte()
    {
        if (at < bytes.size())
            return static_cast<unsigned char>(bytes[at++]);
        fail("the end is missing");
        return 0;
    }
    unsigned word()
    {
        const unsigned high = byte();
        return high << 8 | byte();
    }
    std::uint32_t long_word()
    {
        const std::uint32_t high = word();
        return high << 16 | word();
    }
    int number()
    {
        return static_cast<std::int16_t>(word());
    }
    rectangle rect()
    {
        const int top = number();
        const int left = number();
        const int bottom = number();
        return {top, left, bottom, number()};
    }
    void expect(std::uint32_t wanted, std::uint32_t got, const char *what)
    {
        if (wanted != got)
            fail(std::string(what) + " is " + std::to_string(got));
    }
    bool opcode();
    void pixel_map(bool direct);
    std::string row(int row_bytes, int depth);
    void draw(const std::string &row, int y, const rectangle &from, const rectangle &to, int depth);

    const std::string &bytes;
    std::size_t at = 0;
    std::vector<std::string> colours;
    rectangle frame = {};
    read_picture result;
};

// One row of a pixel map, unpacked: the components one after the other, words, or bits.
std::string reader::row(int row_bytes, int depth)
{
    const std::size_t size = static_cast<std::size_t>(depth == 32 ? row_bytes / 4 * 3 : row_bytes);
    std::string unpacked;
    const std::size_t length = row_bytes > 250 ? word() : byte();
    const std::size_t end = at + length;
    const std::size_t item = depth == 16 ? 2 : 1;
    while (at < end && result.complaint.empty()) {
        const int flag = static_cast<std::int8_t>(byte());
        if (flag >= 0) {
            for (std::size_t n = item * static_cast<std::size_t>(flag + 1); n > 0; --n)
                unpacked += static_cast<char>(byte());
        } else if (flag > -128) {
            std::string repeated;
            while (repeated.size() < item)
                repeated += static_cast<char>(byte());
            for (int n = 0; n < 1 - flag; ++n)
                unpacked += repeated;
        }
    }
    if (at != end || unpacked.size() != size)
        fail("a row of " + std::to_string(unpacked.size()) + " bytes");
    return unpacked;
}

void reader::draw(const std::string &row, int y, const rectangle &from, const rectangle &to,
                  int depth)
{
    const std::size_t planes = row.size() / 3;
    for (int x = from.left; x < from.right; ++x) {
        const auto i = static_cast<std::size_t>(x);
        std::string pixel;
        if (depth == 32) {
            for (std::size_t plane = 0; plane < 3; ++plane)
                pixel += row[plane * planes + i];
        } else if (depth == 16) {
            const unsigned value = static_cast<unsigned char>(row[2 * i]) << 8 |
                                   static_cast<unsigned char>(row[2 * i + 1]);
            for (const int shift : {10, 5, 0})
                pixel += static_cast<char>((value >> shift & 31) * 255 / 31);
        } else {
            const auto bits = static_cast<std::size_t>(depth);
            const unsigned value = static_cast<unsigned char>(row[i * bits / 8]);
            const std::size_t index = value >> (8 - bits - i * bits % 8) & ((1U << depth) - 1);
            if (index >= colours.size()) {
                fail("a colour that is none");
                return;
            }
            pixel = colours[index];
        }
        const int column = to.left + x - from.left - frame.left;
        const int line = to.top + y - from.top - frame.top;
        const auto place = static_cast<std::size_t>(line * result.width + column);
        result.pixels.replace(3 * place, 3, pixel);
    }
}

void reader::pixel_map(bool direct)
{
    if (direct)
        long_word(); // where it was in memory
    const unsigned flags_and_bytes = word();
    const int row_bytes = static_cast<int>(flags_and_bytes & 0x3FFF);
    const rectangle bounds = rect();
    expect(0, word(), "the version");
    const unsigned packing = word();
    long_word(); // the packed size
    const std::uint32_t x_resolution = long_word();
    const std::uint32_t y_resolution = long_word();
    if (x_resolution >> 16 != static_cast<unsigned>(result.x_resolution) ||
        y_resolution >> 16 != static_cast<unsigned>(result.y_resolution))
        fail("another resolution");
    expect(direct ? 16 : 0, word(), "the pixel type");
    const int depth = static_cast<int>(word());
    const unsigned components = word();
    const int component_bits = static_cast<int>(word());
    for (int i = 0; i < 3; ++i)
        long_word();
    const bool known =
        direct ? depth == 16 || depth == 32 : depth == 1 || depth == 2 || depth == 4 || depth == 8;
    if (!known || (flags_and_bytes & 0xC000) != 0x8000 || row_bytes % 2 != 0) {
        fail("no pixel map");
        return;
    }
    expect(direct ? 3 : 1, components, "the number of components");
    expect(static_cast<unsigned>(!direct       ? depth
                                 : depth == 32 ? 8
                                               : 5),
           static_cast<unsigned>(component_bits), "their size");
    expect(!direct ? 0 : depth == 32 ? 4 : 3, packing, "the packing");
    if (row_bytes < ((bounds.right - bounds.left) * depth + 7) / 8)
        fail("rows that are too short");
    if (row_bytes < 8)
        fail("rows that may not be packed");

    colours.clear();
    if (!direct) {
        long_word(); // its identity
        word();
        const std::size_t count = word() + std::size_t{1};
        while (colours.size() < count && result.complaint.empty()) {
            expect(static_cast<unsigned>(colours.size()), word(), "a colour's index");
            std::string colour;
            for (int i = 0; i < 3; ++i)
                colour += static_cast<char>(word() >> 8);
            colours.push_back(colour);
        }
    }
    const rectangle from = rect();
    const rectangle to = rect();
    if (from.right - from.left != to.right - to.left ||
        from.bottom - from.top != to.bottom - to.top || from.left < bounds.left ||
        from.top < bounds.top || from.right > bounds.right || from.bottom > bounds.bottom ||
        to.left < frame.left || to.top < frame.top || to.right > frame.right ||
        to.bottom > frame.bottom) {
        fail("a drawing out of its place");
        return;
    }
    result.depths.push_back(depth);
    result.modes.push_back(number());
    for (int y = bounds.top; y < bounds.bottom && result.complaint.empty(); ++y) {
        const std::string unpacked = row(row_bytes, depth);
        if (result.complaint.empty() && y >= from.top && y < from.bottom)
            draw(unpacked, y, from, to, depth);
    }
}

// False at the end of the picture.
bool reader::opcode()
{
    if (at % 2 != 0)
        expect(0, byte(), "the filler");
    const unsigned code = word();
    switch (code) {
    case 0x0001: // the clipping rectangle
        expect(10, word(), "the region's size");
        if (!(rect() == frame))
            fail("a part that is left out");
        return true;
    case 0x0098:
    case 0x009A:
        pixel_map(code == 0x009A);
        return true;
    case 0x00FF:
        return false;
    default:
        return fail("opcode " + std::to_string(code));
    }
}

read_picture reader::read()
{
    expect(static_cast<unsigned>(bytes.size() & 0xFFFF), word(), "the size");
    frame = rect();
    result.top = frame.top;
    result.left = frame.left;
    result.width = frame.right - frame.left;
    result.height = frame.bottom - frame.top;
    if (result.width <= 0 || result.height <= 0)
        fail("an empty frame");
    expect(0x0011, word(), "the version's opcode");
    expect(0x02FF, word(), "the version");
    expect(0x0C00, word(), "the header's opcode");
    expect(0xFFFE, word(), "the kind of header");
    word();
    result.x_resolution = long_word() / 65536.0;
    result.y_resolution = long_word() / 65536.0;
    if (!(rect() == frame))
        fail("another frame");
    long_word();
    if (!result.complaint.empty())
        return result;
    result.pixels.assign(static_cast<std::size_t>(result.width) *
                             static_cast<std::size_t>(result.height) * 3,
                         '\xFF');
    while (result.complaint.empty() && opcode()) {
    }
    if (at != bytes.size())
        fail("something behind the end");
    return result;
}

} // namespace

read_picture read_picture_data(const std::string &bytes)
{
    return reader(bytes).read();
}

read_picture read_picture_file(const std::string &path)
{
    const std::string bytes = read_file(path);
    if (bytes.size() < 512 || bytes.find_first_not_of('\0') < 512) {
        read_picture result;
        result.complaint = "no picture file";
        return result;
    }
    return read_picture_data(bytes.substr(512));
}
