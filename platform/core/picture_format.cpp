#include "platform/core/picture_format.h"

#include "platform/core/big_endian.h"

#include <algorithm>
#include <utility>

namespace {

enum opcode : std::uint16_t {
    op_clip = 0x0001,
    op_version = 0x0011,
    op_packed_map = 0x0098,
    op_direct_map = 0x009A,
    op_end = 0x00FF,
    op_header = 0x0C00,
};

enum : std::uint16_t {
    version_2 = 0x02FF,
    extended_header = 0xFFFE,
    rectangle_region = 10, // the bytes of a region that is a rectangle
    is_pixel_map = 0x8000, // the flag in its row's bytes
    packed_by_words = 3,
    packed_by_components = 4,
    direct_pixels = 16,
};
constexpr std::uint32_t no_base_address = 0xFF;

constexpr std::int32_t most_row_bytes = 0x3FFE;
constexpr std::int32_t rows_at_once = 64; // of pieces that lie beside each other
constexpr std::size_t longest_run = 128;

void put_rect(std::string &to, std::int32_t top, std::int32_t left, std::int32_t bottom,
              std::int32_t right)
{
    for (const std::int32_t side : {top, left, bottom, right})
        platform::put16(to, static_cast<std::uint32_t>(side));
}

void put_rect(std::string &to, const Rect &rect)
{
    put_rect(to, rect.top, rect.left, rect.bottom, rect.right);
}

std::int32_t row_bytes(std::int32_t width, int depth)
{
    return (width * depth + 15) / 16 * 2;
}

// Whether every reader agrees on how the rows of such a map are kept: below 8 bytes they are not
// packed, from 251 on their length takes two bytes. Some count the three components, not the four
// bytes of a pixel, and some begin with two bytes at 201.
bool is_read_alike(std::int32_t width, int depth)
{
    const std::int32_t bytes = row_bytes(width, depth);
    const std::int32_t packed = depth == 32 ? width * 3 : bytes;
    return (packed >= 8 && bytes <= 250 && packed <= 200) || (bytes > 250 && packed > 200);
}

void append(std::string &to, std::uint8_t byte)
{
    to += static_cast<char>(byte);
}

void append(std::string &to, std::uint16_t word)
{
    platform::put16(to, word);
}

// Runs of at least three equal items are told by their number, all else is copied.
template <class item>
std::string packed(const std::vector<item> &items)
{
    const std::size_t count = items.size();
    const auto run_begins = [&](std::size_t at) {
        return at + 2 < count && items[at] == items[at + 1] && items[at] == items[at + 2];
    };
    std::string result;
    for (std::size_t at = 0; at < count;) {
        std::size_t end = at;
        const bool run = run_begins(at);
        while (end < count && end - at < longest_run &&
               (run ? items[end] == items[at] : !run_begins(end)))
            ++end;
        const int length = static_cast<int>(end - at);
        result += static_cast<char>(run ? 1 - length : length - 1);
        if (run) {
            append(result, items[at]);
            at = end;
        }
        for (; at < end; ++at)
            append(result, items[at]);
    }
    return result;
}

// The components of the pixels one after the other, the map's own width each.
std::vector<std::uint8_t> in_planes(const std::uint8_t *pixels, std::size_t count,
                                    std::size_t width)
{
    std::vector<std::uint8_t> planes(3 * width, 0xFF);
    for (std::size_t i = 0; i < count; ++i) {
        for (std::size_t component = 0; component < 3; ++component)
            planes[component * width + i] = pixels[3 * i + component];
    }
    return planes;
}

std::vector<std::uint16_t> in_words(const std::uint8_t *pixels, std::size_t count,
                                    std::size_t width)
{
    std::vector<std::uint16_t> words(width, 0x7FFF);
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint8_t *p = pixels + 3 * i;
        words[i] = static_cast<std::uint16_t>(p[0] >> 3 << 10 | p[1] >> 3 << 5 | p[2] >> 3);
    }
    return words;
}

std::vector<std::uint8_t> in_bits(const std::uint8_t *pixels, std::size_t count, std::size_t width,
                                  int depth)
{
    std::vector<std::uint8_t> bytes(
        static_cast<std::size_t>(row_bytes(static_cast<std::int32_t>(width), depth)));
    const auto bits = static_cast<std::size_t>(depth);
    const unsigned mask = (1U << depth) - 1;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t shift = 8 - bits - i * bits % 8;
        bytes[i * bits / 8] |= static_cast<std::uint8_t>((pixels[i] & mask) << shift);
    }
    return bytes;
}

} // namespace

std::string platform::start_of_picture(const Rect &frame, const Rect &clip,
                                       std::uint16_t x_resolution, std::uint16_t y_resolution)
{
    std::string head = picture_size(0);
    put_rect(head, frame);
    put16(head, op_version);
    put16(head, version_2);
    put16(head, op_header);
    put16(head, extended_header);
    put16(head, 0);
    put32(head, std::uint32_t{x_resolution} << 16);
    put32(head, std::uint32_t{y_resolution} << 16);
    put_rect(head, frame);
    put32(head, 0);
    put16(head, op_clip);
    put16(head, rectangle_region);
    put_rect(head, clip);
    return head;
}

std::string platform::end_of_picture()
{
    std::string end;
    put16(end, op_end);
    return end;
}

std::string platform::picture_size(std::size_t length)
{
    std::string size;
    put16(size, static_cast<std::uint32_t>(length & 0xFFFF));
    return size;
}

platform::pixel_map_writer::pixel_map_writer(picture_shape of, sink to)
    : shape(std::move(of)), out(std::move(to)), width(shape.frame.right - shape.frame.left),
      height(shape.frame.bottom - shape.frame.top), pixel_size(shape.depth > 8 ? 3 : 1),
      piece_width(std::min(width, most_row_bytes * 8 / shape.depth / 8 * 8)), piece_height(height)
{
    if (piece_width < width) {
        piece_height = rows_at_once;
        held.reserve(static_cast<std::size_t>(width * rows_at_once) * pixel_size);
    }
}

void platform::pixel_map_writer::put_row(const std::uint8_t *pixels)
{
    ++row;
    if (piece_width == width) {
        if (row == 1)
            begin(0, width, 0, height);
        put_packed(pixels, width);
        if (row == height)
            end();
        return;
    }

    const std::size_t row_size = static_cast<std::size_t>(width) * pixel_size;
    held.insert(held.end(), pixels, pixels + row_size);
    const auto rows = static_cast<std::int32_t>(held.size() / row_size);
    if (rows < piece_height && row < height)
        return;
    for (std::int32_t left = 0; left < width; left += piece_width) {
        const std::int32_t right = std::min(width, left + piece_width);
        begin(left, right, row - rows, row);
        for (std::int32_t i = 0; i < rows; ++i)
            put_packed(held.data() + static_cast<std::size_t>(i) * row_size +
                           static_cast<std::size_t>(left) * pixel_size,
                       right - left);
        end();
    }
    held.clear();
}

// The opcode, the pixel map's record and where it is drawn.
void platform::pixel_map_writer::begin(std::int32_t left, std::int32_t right, std::int32_t top,
                                       std::int32_t bottom)
{
    const bool direct = shape.depth > 8;
    map_width = right - left;
    while (!is_read_alike(map_width, shape.depth))
        ++map_width;

    std::string head;
    put16(head, direct ? op_direct_map : op_packed_map);
    if (direct)
        put32(head, no_base_address);
    put16(head, static_cast<std::uint32_t>(row_bytes(map_width, shape.depth) | is_pixel_map));
    put_rect(head, 0, 0, bottom - top, map_width);
    put16(head, 0); // version
    put16(head, !direct ? 0 : shape.depth == 32 ? packed_by_components : packed_by_words);
    put32(head, 0); // bytes of the packed pixels, which nobody reads
    put32(head, std::uint32_t{shape.x_resolution} << 16);
    put32(head, std::uint32_t{shape.y_resolution} << 16);
    put16(head, direct ? direct_pixels : 0);
    put16(head, static_cast<std::uint32_t>(shape.depth));
    put16(head, direct ? 3 : 1); // components, and the bits of each
    put16(head, static_cast<std::uint32_t>(!direct ? shape.depth : shape.depth == 32 ? 8 : 5));
    put32(head, 0); // bytes from plane to plane
    put32(head, 0); // the colour table's place in memory
    put32(head, 0);
    if (!direct) {
        put32(head, 0); // the table's identity
        put16(head, 0);
        put16(head, static_cast<std::uint32_t>(shape.colours.size() - 1));
        for (std::size_t i = 0; i < shape.colours.size(); ++i) {
            const colour &each = shape.colours[i];
            put16(head, static_cast<std::uint32_t>(i));
            for (const std::uint8_t component : {each.red, each.green, each.blue})
                put16(head, component * 0x101U);
        }
    }
    put_rect(head, 0, 0, bottom - top, right - left);
    const Rect &frame = shape.frame;
    put_rect(head, frame.top + top, frame.left + left, frame.top + bottom, frame.left + right);
    put16(head, shape.transfer_mode);
    written = head.size();
    out(head);
}

void platform::pixel_map_writer::put_packed(const std::uint8_t *pixels, std::int32_t count)
{
    const auto items = static_cast<std::size_t>(count);
    const auto map = static_cast<std::size_t>(map_width);
    const std::string row_data = shape.depth == 32 ? packed(in_planes(pixels, items, map))
                                 : shape.depth == 16
                                     ? packed(in_words(pixels, items, map))
                                     : packed(in_bits(pixels, items, map, shape.depth));
    std::string bytes;
    if (row_bytes(map_width, shape.depth) > 250)
        put16(bytes, static_cast<std::uint32_t>(row_data.size()));
    else
        bytes += static_cast<char>(row_data.size());
    bytes += row_data;
    written += bytes.size();
    out(bytes);
}

void platform::pixel_map_writer::end()
{
    if (written % 2 != 0)
        out(std::string(1, '\0'));
}
