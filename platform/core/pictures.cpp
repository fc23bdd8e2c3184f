// Ports, offscreen worlds and the recording of pictures.
#include "platform/quickdraw.h"

#include "platform/core/big_endian.h"
#include "platform/core/image_magick.h"
#include "platform/core/picture_format.h"
#include "platform/core/system_colours.h"
#include "platform/memory.h"

#include <algorithm>
#include <cstring>
#include <list>
#include <new>
#include <string>
#include <unordered_map>
#include <vector>

// A pixel is three bytes at depths 16 and 32, else the index of its colour.
struct PixMap {
    Rect bounds;
    int depth;
    std::vector<platform::colour> colours;
    std::string pixels;
};

namespace {

constexpr Rect everywhere = {-32767, -32767, 32767, 32767};
constexpr std::size_t version_place = 10;  // of the version's opcode in a picture
constexpr std::size_t extended_place = 16; // of the kind of header, where the resolution follows
constexpr std::int32_t default_resolution = 72 << 16;

PixMap no_pixels = {};
GrafPort first_port = {&no_pixels, everywhere, blackColor, whiteColor};
GrafPtr current_port = &first_port;
OSErr qd_error;
platform::window_painter paint_window; // null: windows take no drawings

// An offscreen world with its pixels.
struct world {
    GrafPort port; // comes first: a world's pointer is that of its port
    PixMap map;
    PixMap *master; // what a handle of the pixels points to
};

std::list<world> &worlds()
{
    static auto &instance = *new std::list<world>;
    return instance;
}

// The picture that is recorded now.
struct recording {
    PicHandle picture = nullptr; // null: none is
    OpenCPicParams parameters = {};
    Rect clip = {};
    std::string data;
};
recording open_picture;

world *world_of(const GrafPort *port)
{
    for (world &each : worlds()) {
        if (&each.port == port)
            return &each;
    }
    return nullptr;
}

int width_of(const Rect &rect)
{
    return rect.right - rect.left;
}

int height_of(const Rect &rect)
{
    return rect.bottom - rect.top;
}

Rect common_part(const Rect &a, const Rect &b)
{
    Rect both = {};
    SectRect(&a, &b, &both);
    return both;
}

bool lies_in(const Rect &inner, const Rect &outer)
{
    return inner.top >= outer.top && inner.left >= outer.left && inner.bottom <= outer.bottom &&
           inner.right <= outer.right;
}

std::size_t bytes_of_pixel(const PixMap &map)
{
    return map.depth > 8 ? 3 : 1;
}

std::size_t place_in(const PixMap &map, int x, int y)
{
    const auto row = static_cast<std::size_t>(y - map.bounds.top);
    const auto column = static_cast<std::size_t>(x - map.bounds.left);
    return (row * static_cast<std::size_t>(width_of(map.bounds)) + column) * bytes_of_pixel(map);
}

// The indices of pixels that have a table's colours, of three bytes each.
class colour_indices {
public:
    explicit colour_indices(const std::vector<platform::colour> &colours)
    {
        for (std::size_t i = 0; i < colours.size(); ++i)
            indices.try_emplace(key(colours[i].red, colours[i].green, colours[i].blue),
                                static_cast<char>(i));
    }
    // 0, which is white, for a colour that is not in the table.
    [[nodiscard]] char of(const char *pixel) const
    {
        const auto *p = reinterpret_cast<const unsigned char *>(pixel);
        const auto found = indices.find(key(p[0], p[1], p[2]));
        return found == indices.end() ? '\0' : found->second;
    }

private:
    static std::uint32_t key(unsigned red, unsigned green, unsigned blue)
    {
        return red << 16 | green << 8 | blue;
    }
    std::unordered_map<std::uint32_t, char> indices;
};

OSErr result(OSErr error)
{
    qd_error = error;
    return error;
}

std::int16_t get_signed16(const char *bytes)
{
    return static_cast<std::int16_t>(platform::get16(bytes));
}

std::uint16_t dots(std::int32_t resolution)
{
    return static_cast<std::uint16_t>(resolution >> 16);
}

bool is_resolution(std::int32_t resolution)
{
    return resolution >> 16 >= 1;
}

} // namespace

// ---- ports ----

void GetPort(GrafPtr *port)
{
    *port = current_port;
}

void SetPort(GrafPtr port)
{
    current_port = port != nullptr ? port : &first_port;
}

void GetGWorld(CGrafPtr *port, GDHandle *device)
{
    *port = current_port;
    *device = nullptr;
}

void SetGWorld(CGrafPtr port, GDHandle /*device*/)
{
    SetPort(port);
}

OSStatus CreateCGContextForPort(CGrafPtr port, CGContextRef *context)
{
    if (port == nullptr)
        return paramErr;
    *context = port;
    return noErr;
}

void ClipRect(const Rect *rect)
{
    current_port->clip = *rect;
}

void GetClip(RgnHandle region)
{
    RectRgn(region, &current_port->clip);
}

void SetClip(RgnHandle region)
{
    ClipRect(&(*region)->bounds);
}

void ForeColor(std::int32_t colour)
{
    current_port->fgColor = colour;
}

void BackColor(std::int32_t colour)
{
    current_port->bkColor = colour;
}

// ---- offscreen worlds ----

OSErr NewGWorld(GWorldPtr *made, std::int16_t depth, const Rect *bounds, CTabHandle table,
                GDHandle device, std::uint32_t /*flags*/)
{
    const int bits = depth == 0 ? 32 : depth;
    if (bits != 1 && bits != 2 && bits != 4 && bits != 8 && bits != 16 && bits != 32)
        return result(cDepthErr);
    if (EmptyRect(bounds) != 0 || table != nullptr || device != nullptr)
        return result(paramErr);
    const auto count =
        static_cast<std::size_t>(width_of(*bounds)) * static_cast<std::size_t>(height_of(*bounds));
    // What cannot be had is told, as everywhere in this layer.
    try {
        world &fresh = worlds().emplace_front();
        fresh.map.bounds = *bounds;
        fresh.map.depth = bits;
        if (bits > 8) {
            fresh.map.pixels.assign(count * 3, '\xFF');
        } else {
            fresh.map.colours = platform::system_colours(bits);
            fresh.map.pixels.assign(count, '\0'); // white
        }
        fresh.master = &fresh.map;
        fresh.port = {&fresh.map, *bounds, blackColor, whiteColor};
        *made = &fresh.port;
    } catch (const std::bad_alloc &) {
        worlds().pop_front();
        return result(memFullErr);
    }
    return result(noErr);
}

void DisposeGWorld(GWorldPtr old)
{
    if (current_port == old)
        current_port = &first_port;
    worlds().remove_if([old](const world &each) { return &each.port == old; });
}

PixMapHandle GetGWorldPixMap(GWorldPtr of)
{
    world *found = world_of(of);
    return found == nullptr ? nullptr : &found->master;
}

Boolean LockPixels(PixMapHandle /*pixels*/)
{
    return 1;
}

void UnlockPixels(PixMapHandle /*pixels*/) {}

// ---- pictures ----

bool platform::read_picture_head(PicHandle picture, picture_head *head)
{
    const std::size_t size = GetHandleSize(picture);
    constexpr std::size_t least = version_place + 2;
    if (size < least)
        return false;
    const char *data = *picture;
    const std::uint16_t version = get16(data + version_place);
    if (version != 0x1101 && version != 0x0011)
        return false;
    *head = {{get_signed16(data + 2), get_signed16(data + 4), get_signed16(data + 6),
              get_signed16(data + 8)},
             default_resolution,
             default_resolution};
    if (version == 0x0011 && size >= extended_place + 12 &&
        get16(data + extended_place) == 0xFFFE) {
        const auto x = static_cast<std::int32_t>(get32(data + extended_place + 4));
        const auto y = static_cast<std::int32_t>(get32(data + extended_place + 8));
        if (is_resolution(x) && is_resolution(y)) {
            head->x_resolution = x;
            head->y_resolution = y;
        }
    }
    return true;
}

void platform::on_drawing_in_window(window_painter painter)
{
    paint_window = painter;
}

void DrawPicture(PicHandle picture, const Rect *rect)
{
    const bool in_window = world_of(current_port) == nullptr;
    platform::picture_head head = {};
    if ((in_window && (current_port == &first_port || paint_window == nullptr)) ||
        EmptyRect(rect) != 0 || !platform::read_picture_head(picture, &head)) {
        result(paramErr);
        return;
    }
    const std::string file = std::string(platform::picture_file_header, '\0') +
                             std::string(*picture, GetHandleSize(picture));
    std::string drawn;
    if (in_window) {
        if (result(platform::draw_picture_file(file, width_of(*rect), height_of(*rect), {}, 256,
                                               &drawn)) == noErr)
            paint_window(current_port, *rect, drawn.data());
        return;
    }
    PixMap &map = *current_port->portPixMap;
    const int levels = map.depth == 16 ? 32 : 256;
    if (result(platform::draw_picture_file(file, width_of(*rect), height_of(*rect), map.colours,
                                           levels, &drawn)) != noErr)
        return;
    const colour_indices indices(map.colours);
    const Rect seen = common_part(common_part(*rect, map.bounds), current_port->clip);
    for (int y = seen.top; y < seen.bottom; ++y) {
        for (int x = seen.left; x < seen.right; ++x) {
            const auto from =
                static_cast<std::size_t>((y - rect->top) * width_of(*rect) + x - rect->left) * 3;
            if (map.depth > 8)
                map.pixels.replace(place_in(map, x, y), 3, drawn, from, 3);
            else
                map.pixels[place_in(map, x, y)] = indices.of(&drawn[from]);
        }
    }
}

PicHandle OpenCPicture(const OpenCPicParams *parameters)
{
    if (open_picture.picture != nullptr || EmptyRect(&parameters->srcRect) != 0 ||
        !is_resolution(parameters->hRes) || !is_resolution(parameters->vRes)) {
        result(paramErr);
        return nullptr;
    }
    const PicHandle picture = NewHandle(0);
    result(MemError());
    if (picture == nullptr)
        return nullptr;
    open_picture = {picture, *parameters, common_part(current_port->clip, parameters->srcRect), ""};
    open_picture.data = platform::start_of_picture(parameters->srcRect, open_picture.clip,
                                                   dots(parameters->hRes), dots(parameters->vRes));
    return picture;
}

void CopyBits(const PixMap *from, const PixMap *to, const Rect *fromRect, const Rect *toRect,
              std::int16_t mode, Handle mask)
{
    if (open_picture.picture == nullptr || to != current_port->portPixMap || from->pixels.empty() ||
        mask != nullptr || EmptyRect(fromRect) != 0 || !lies_in(*fromRect, from->bounds) ||
        width_of(*fromRect) != width_of(*toRect) || height_of(*fromRect) != height_of(*toRect)) {
        result(paramErr);
        return;
    }
    platform::pixel_map_writer map({*toRect, dots(open_picture.parameters.hRes),
                                    dots(open_picture.parameters.vRes), from->depth, from->colours,
                                    static_cast<std::uint16_t>(mode)},
                                   [](const std::string &bytes) { open_picture.data += bytes; });
    for (int y = fromRect->top; y < fromRect->bottom; ++y)
        map.put_row(reinterpret_cast<const std::uint8_t *>(from->pixels.data()) +
                    place_in(*from, fromRect->left, y));
    result(noErr);
}

void ClosePicture()
{
    if (open_picture.picture == nullptr) {
        result(paramErr);
        return;
    }
    std::string &data = open_picture.data;
    data += platform::end_of_picture();
    data.replace(0, platform::picture_size_length, platform::picture_size(data.size()));
    SetHandleSize(open_picture.picture, data.size());
    if (result(MemError()) == noErr)
        std::memcpy(*open_picture.picture, data.data(), data.size());
    open_picture = {};
}

void KillPicture(PicHandle picture)
{
    DisposeHandle(picture);
}

OSErr QDError()
{
    return qd_error;
}
