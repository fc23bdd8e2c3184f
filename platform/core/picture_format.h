// Pictures in QuickDraw's own format, written row by row: a size and a frame, the version with the
// best resolution, then opcodes, each at an even place. Numbers are big-endian.
//
//   pixels of 32 bits: opcode 9A, the three components of each row one after the other, packed
//   pixels of 16 bits: opcode 9A, packed by words of 5 bits a component
//   pixels of 1, 2, 4, 8 bits: opcode 98 with a colour table, packed
//
// The length of a packed row stands in one byte or in two, by the bytes of an unpacked one, and
// readers differ on the limit; a row has at most 14 bits for that number. So narrow pixel maps are
// made a little wider than what is drawn of them, and a wide picture is drawn in several pieces.
#ifndef PAPERMILL_PLATFORM_CORE_PICTURE_FORMAT_H
#define PAPERMILL_PLATFORM_CORE_PICTURE_FORMAT_H

#include "platform/types.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace platform {

constexpr std::int32_t largest_picture_side = 32767;       // pixels
constexpr std::int32_t largest_picture_resolution = 32767; // dots per inch
constexpr std::size_t picture_file_header = 512;           // zero bytes before a file's picture
constexpr std::size_t picture_size_length = 2;             // the size at a picture's start

struct colour {
    std::uint8_t red, green, blue;
};

// What a picture shows.
struct picture_shape {
    Rect frame;                       // in pixels; not empty
    std::uint16_t x_resolution;       // dots per inch, 1 to largest_picture_resolution
    std::uint16_t y_resolution;       //
    int depth = 32;                   // bits of a pixel: 1, 2, 4, 8, 16, 32
    std::vector<colour> colours = {}; // the colour table, at depths up to 8
    std::uint16_t transfer_mode = 64; // of the drawing; 64 is ditherCopy
};

// The head of a picture without drawings, up to and with its clipping rectangle; end_of_picture()
// ends one.
std::string start_of_picture(const Rect &frame, const Rect &clip, std::uint16_t x_resolution,
                             std::uint16_t y_resolution);
std::string end_of_picture();

// The two bytes of the size at a picture's start: the low 16 bits of its length.
std::string picture_size(std::size_t length);

// Writes the drawing of one pixel map as opcodes that follow each other.
class pixel_map_writer {
public:
    using sink = std::function<void(const std::string &)>; // takes the bytes as they are made

    pixel_map_writer(picture_shape of, sink to);

    // The rows from the top: a pixel is three bytes (red, green, blue) at depths 16 and 32, else
    // one, the index into the colour table.
    void put_row(const std::uint8_t *pixels);

private:
    void begin(std::int32_t left, std::int32_t right, std::int32_t top, std::int32_t bottom);
    void put_packed(const std::uint8_t *pixels, std::int32_t count);
    void end();

    picture_shape shape;
    sink out;
    std::int32_t width, height;
    std::size_t pixel_size;         // bytes of a pixel as it comes
    std::int32_t piece_width;       // pixels of what is drawn at once
    std::int32_t piece_height;      // rows, likewise
    std::int32_t map_width = 0;     // of the piece's pixel map
    std::int32_t row = 0;           // the next one
    std::size_t written = 0;        // of the piece now written
    std::vector<std::uint8_t> held; // rows of a piece, when there are several beside each other
};

} // namespace platform

#endif
