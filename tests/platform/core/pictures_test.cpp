#include "platform/quickdraw.h"

#include "platform/core/image_magick.h"
#include "platform/core/system_colours.h"
#include "platform/memory.h"
#include "tests/support/picture_reader.h"
#include "tests/support/run_program.h"
#include "tests/support/test_files.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <initializer_list>
#include <set>
#include <string>

namespace {

constexpr std::int32_t dots_144 = 144 << 16;

// A horizontal ramp of grey, so that few depths hold it without dithering.
constexpr int ramp_width = 96;
constexpr int ramp_height = 40;

// The picture of a bitmap, as ImageMagick writes it.
Handle picture_of(const std::string &bitmap)
{
    const program_result made =
        run_program({.arguments = {"/usr/bin/convert", "-density", "72", "-units", "PixelsPerInch",
                                   "pnm:-", "pict:-"},
                     .input = bitmap});
    EXPECT_EQ(made.status, 0) << made.err;
    if (made.out.size() <= 512)
        return NewHandle(0);
    Handle picture = NewHandle(made.out.size() - 512);
    std::memcpy(*picture, made.out.data() + 512, made.out.size() - 512);
    return picture;
}

// The ramp's pixels.
pict_content original()
{
    pict_content picture;
    picture.width = ramp_width;
    picture.height = ramp_height;
    for (int y = 0; y < ramp_height; ++y) {
        for (int x = 0; x < ramp_width; ++x)
            picture.pixels += std::string(3, static_cast<char>(x * 255 / (ramp_width - 1)));
    }
    return picture;
}

Handle ramp()
{
    return picture_of("P6 " + std::to_string(ramp_width) + " " + std::to_string(ramp_height) +
                      " 255\n" + original().pixels);
}

Handle handle_with(const std::string &bytes)
{
    Handle handle = NewHandle(bytes.size());
    std::memcpy(*handle, bytes.data(), bytes.size());
    return handle;
}

std::string content(Handle handle)
{
    return handle == nullptr ? "" : std::string(*handle, GetHandleSize(handle));
}

// Draws the picture at that depth and records it over the frame; what is read of the recording.
pict_content redrawn(Handle picture, std::int16_t depth, const Rect &frame)
{
    GWorldPtr world = nullptr;
    EXPECT_EQ(NewGWorld(&world, depth, &frame, nullptr, nullptr, useTempMem), noErr);
    CGrafPtr old = nullptr;
    GDHandle device = nullptr;
    GetGWorld(&old, &device);
    SetGWorld(world, nullptr);
    EXPECT_NE(LockPixels(GetGWorldPixMap(world)), 0);
    DrawPicture(picture, &frame);
    EXPECT_EQ(QDError(), noErr);
    SetGWorld(old, device);
    const OpenCPicParams parameters = {frame, dots_144, dots_144, -2, 0, 0};
    const PicHandle recorded = OpenCPicture(&parameters);
    EXPECT_NE(recorded, nullptr);
    CopyBits(*GetGWorldPixMap(world), old->portPixMap, &frame, &frame, ditherCopy, nullptr);
    EXPECT_EQ(QDError(), noErr);
    ClosePicture();
    UnlockPixels(GetGWorldPixMap(world));
    DisposeGWorld(world);
    pict_content seen = read_picture_data(content(recorded));
    KillPicture(recorded);
    return seen;
}

// The mean grey of the columns from `left` to `right`.
double brightness(const pict_content &picture, int left, int right)
{
    double sum = 0;
    for (int y = 0; y < picture.height; ++y) {
        for (int x = left; x < right; ++x) {
            for (int i = 0; i < 3; ++i)
                sum += static_cast<unsigned char>(
                    picture.pixels[static_cast<std::size_t>((y * picture.width + x) * 3 + i)]);
        }
    }
    return sum / (3.0 * picture.height * (right - left));
}

std::set<std::string> colours_in(const pict_content &picture)
{
    std::set<std::string> colours;
    for (std::size_t i = 0; i < picture.pixels.size(); i += 3)
        colours.insert(picture.pixels.substr(i, 3));
    return colours;
}

std::set<std::string> as_set(const std::vector<platform::colour> &table)
{
    std::set<std::string> colours;
    for (const platform::colour &each : table) {
        std::string bytes;
        for (const std::uint8_t component : {each.red, each.green, each.blue})
            bytes += static_cast<char>(component);
        colours.insert(bytes);
    }
    return colours;
}

} // namespace

TEST(SystemColours, AreWhiteFirstAndBlackLastAndAllDifferent)
{
    for (const int depth : {1, 2, 4, 8}) {
        const std::vector<platform::colour> table = platform::system_colours(depth);
        EXPECT_EQ(table.size(), 1U << depth);
        EXPECT_EQ(as_set(table).size(), table.size());
        EXPECT_EQ(table.front().red & table.front().green & table.front().blue, 255);
        EXPECT_EQ(table.back().red | table.back().green | table.back().blue, 0);
    }
}

TEST(Rectangles, AreEmptyWithoutAPointInside)
{
    const Rect empty[] = {{0, 0, 0, 0}, {5, 5, 5, 9}, {5, 5, 9, 5}, {5, 5, 4, 9}, {5, 5, 9, 4}};
    for (const Rect &each : empty)
        EXPECT_NE(EmptyRect(&each), 0);
    const Rect one = {-1, -1, 0, 0};
    EXPECT_EQ(EmptyRect(&one), 0);
}

TEST(Ports, ThereIsAlwaysOne)
{
    GrafPtr first = nullptr;
    GetPort(&first);
    ASSERT_NE(first, nullptr);
    const Rect bounds = {0, 0, 10, 10};
    GWorldPtr world = nullptr;
    ASSERT_EQ(NewGWorld(&world, 8, &bounds, nullptr, nullptr, 0), noErr);
    SetPort(world);
    ForeColor(whiteColor);
    BackColor(blackColor);
    EXPECT_EQ(world->fgColor, whiteColor);
    EXPECT_EQ(world->bkColor, blackColor);
    EXPECT_EQ(first->fgColor, blackColor);
    CGrafPtr current = nullptr;
    GDHandle device = nullptr;
    GetGWorld(&current, &device);
    EXPECT_EQ(current, world);
    DisposeGWorld(world); // the first one is there again
    GetPort(&current);
    EXPECT_EQ(current, first);
    EXPECT_EQ(GetGWorldPixMap(world), nullptr);
}

TEST(OffscreenWorlds, AreRefusedWithoutMeaning)
{
    const Rect bounds = {0, 0, 10, 10};
    const Rect empty = {0, 0, 0, 10};
    GWorldPtr world = nullptr;
    for (const std::int16_t depth : std::initializer_list<std::int16_t>{-1, 3, 5, 7, 24, 64})
        EXPECT_EQ(NewGWorld(&world, depth, &bounds, nullptr, nullptr, 0), cDepthErr) << depth;
    EXPECT_EQ(QDError(), cDepthErr);
    EXPECT_EQ(NewGWorld(&world, 8, &empty, nullptr, nullptr, 0), paramErr);
    Handle table = NewHandle(8);
    EXPECT_EQ(NewGWorld(&world, 8, &bounds, table, nullptr, 0), paramErr);
    DisposeHandle(table);
    EXPECT_EQ(world, nullptr);
}

TEST(Pictures, KeepTheirPixelsAtTheFullDepth)
{
    Handle picture = ramp();
    const Rect frame = {0, 0, ramp_height, ramp_width};
    for (const std::int16_t depth : std::initializer_list<std::int16_t>{32, 0}) {
        const pict_content seen = redrawn(picture, depth, frame);
        EXPECT_EQ(seen.complaint, "");
        EXPECT_EQ(seen.depths, std::vector<int>{32});
        EXPECT_EQ(seen.modes, std::vector<int>{64});
        EXPECT_EQ(seen.x_resolution, 144);
        EXPECT_EQ(seen.y_resolution, 144);
        EXPECT_TRUE(seen.pixels == original().pixels);
    }
    DisposeHandle(picture);
}

TEST(Pictures, AreDitheredAtALowerDepth)
{
    Handle picture = ramp();
    const Rect frame = {0, 0, ramp_height, ramp_width};
    for (const std::int16_t depth : std::initializer_list<std::int16_t>{1, 2, 4, 8, 16}) {
        const pict_content seen = redrawn(picture, depth, frame);
        ASSERT_EQ(seen.complaint, "") << depth;
        EXPECT_EQ(seen.depths, std::vector<int>{depth});
        EXPECT_EQ(seen.width, ramp_width);
        EXPECT_EQ(seen.height, ramp_height);
        if (depth <= 8) {
            const std::set<std::string> table = as_set(platform::system_colours(depth));
            for (const std::string &colour : colours_in(seen))
                EXPECT_EQ(table.count(colour), 1U) << depth;
        }
        // Every part is as bright as it was; without dithering, half of it would be far away.
        for (int left = 0; left < ramp_width; left += 24)
            EXPECT_LT(std::abs(brightness(seen, left, left + 24) -
                               brightness(original(), left, left + 24)),
                      12)
                << depth << " from " << left;
    }
    DisposeHandle(picture);
}

TEST(Pictures, AreReadByOthersAtEveryDepth)
{
    Handle picture = ramp();
    const Rect frame = {0, 0, ramp_height, ramp_width};
    for (const std::int16_t depth : std::initializer_list<std::int16_t>{1, 2, 4, 8, 16, 32}) {
        GWorldPtr world = nullptr;
        ASSERT_EQ(NewGWorld(&world, depth, &frame, nullptr, nullptr, useTempMem), noErr);
        SetPort(world);
        DrawPicture(picture, &frame);
        SetPort(nullptr);
        GrafPtr port = nullptr;
        GetPort(&port);
        const OpenCPicParams parameters = {frame, dots_144, dots_144, -2, 0, 0};
        const PicHandle recorded = OpenCPicture(&parameters);
        CopyBits(*GetGWorldPixMap(world), port->portPixMap, &frame, &frame, srcCopy, nullptr);
        ClosePicture();
        DisposeGWorld(world);
        const pict_content seen = read_picture_data(content(recorded));
        EXPECT_EQ(seen.modes, std::vector<int>{0});
        const std::string read =
            run_program({.arguments = {"/usr/bin/convert", "pict:-", "-depth", "8", "rgb:-"},
                         .input = std::string(512, '\0') + content(recorded)})
                .out;
        KillPicture(recorded);
        ASSERT_EQ(read.size(), seen.pixels.size()) << depth;
        std::size_t wrong = 0;
        for (std::size_t i = 0; i < read.size(); ++i) // 5 bits are spread out in one way or another
            wrong += std::abs(static_cast<unsigned char>(read[i]) -
                              static_cast<unsigned char>(seen.pixels[i])) > (depth == 16 ? 7 : 0);
        EXPECT_EQ(wrong, 0U) << depth;
    }
    DisposeHandle(picture);
}

TEST(Pictures, AreFittedIntoTheirRectangleAndStayInThePort)
{
    std::string bitmap = "P6 20 5 255\n";
    for (int i = 0; i < 20 * 5; ++i)
        bitmap += i % 20 < 10 ? std::string("\xFF\0\0", 3) : std::string("\0\0\xFF", 3);
    Handle picture = picture_of(bitmap); // red and blue, side by side
    const Rect bounds = {10, 20, 20, 40};
    GWorldPtr world = nullptr;
    ASSERT_EQ(NewGWorld(&world, 32, &bounds, nullptr, nullptr, 0), noErr);
    GrafPtr first = nullptr;
    GetPort(&first);
    SetPort(world);
    const Rect drawn = {5, 20, 15, 60}; // larger than the port, on two sides
    const Rect clip = {0, 0, 100, 35};
    ClipRect(&clip);
    DrawPicture(picture, &drawn);
    EXPECT_EQ(QDError(), noErr);
    SetPort(first);
    const OpenCPicParams parameters = {bounds, 72 << 16, 72 << 16, -2, 0, 0};
    const PicHandle recorded = OpenCPicture(&parameters);
    CopyBits(*GetGWorldPixMap(world), first->portPixMap, &bounds, &bounds, srcCopy, nullptr);
    ClosePicture();
    DisposeGWorld(world);
    const pict_content seen = read_picture_data(content(recorded));
    KillPicture(recorded);
    DisposeHandle(picture);
    EXPECT_EQ(seen.complaint, "");
    EXPECT_EQ(seen.left, 20);
    EXPECT_EQ(seen.top, 10);
    const auto pixel = [&](int x, int y) {
        return seen.pixels.substr(static_cast<std::size_t>((y * 20 + x) * 3), 3);
    };
    const std::string red("\xFF\0\0", 3);
    const std::string white(3, '\xFF');
    EXPECT_EQ(pixel(0, 0), red);
    EXPECT_EQ(pixel(10, 4), red);
    EXPECT_EQ(pixel(15, 0), white); // clipped
    EXPECT_EQ(pixel(0, 5), white);  // below the rectangle
}

TEST(Pictures, APartCanBeRecorded)
{
    Handle picture = ramp();
    const Rect frame = {0, 0, ramp_height, ramp_width};
    GWorldPtr world = nullptr;
    ASSERT_EQ(NewGWorld(&world, 32, &frame, nullptr, nullptr, 0), noErr);
    GrafPtr port = nullptr;
    GetPort(&port);
    SetPort(world);
    DrawPicture(picture, &frame);
    SetPort(port);
    const Rect whole = {0, 0, 10, 10};
    const OpenCPicParams parameters = {whole, dots_144, dots_144, -2, 0, 0};
    const PicHandle recorded = OpenCPicture(&parameters);
    const Rect from = {7, 50, 12, 56};
    const Rect to = {1, 2, 6, 8};
    CopyBits(*GetGWorldPixMap(world), port->portPixMap, &from, &to, srcCopy, nullptr);
    EXPECT_EQ(QDError(), noErr);
    ClosePicture();
    DisposeGWorld(world);
    const pict_content seen = read_picture_data(content(recorded));
    KillPicture(recorded);
    DisposeHandle(picture);
    EXPECT_EQ(seen.complaint, "");
    for (int y = 0; y < 10; ++y) {
        for (int x = 0; x < 10; ++x) {
            const bool inside = y >= 1 && y < 6 && x >= 2 && x < 8;
            const auto there = static_cast<std::size_t>(((y + 6) * ramp_width + x + 48) * 3);
            EXPECT_EQ(seen.pixels.substr(static_cast<std::size_t>((y * 10 + x) * 3), 3),
                      inside ? original().pixels.substr(there, 3) : std::string(3, '\xFF'));
        }
    }
}

TEST(Pictures, WhatCannotBeRecordedIsTold)
{
    const Rect frame = {0, 0, 10, 10};
    const Rect empty = {0, 0, 10, 0};
    const Rect other = {0, 0, 5, 10};
    const Rect outside = {5, 5, 15, 15};
    GWorldPtr world = nullptr;
    ASSERT_EQ(NewGWorld(&world, 8, &frame, nullptr, nullptr, 0), noErr);
    GrafPtr port = nullptr;
    GetPort(&port);
    const PixMap *pixels = *GetGWorldPixMap(world);

    ClosePicture();
    EXPECT_EQ(QDError(), paramErr); // none is open
    CopyBits(pixels, port->portPixMap, &frame, &frame, srcCopy, nullptr);
    EXPECT_EQ(QDError(), paramErr);
    const OpenCPicParams without_frame = {empty, dots_144, dots_144, -2, 0, 0};
    EXPECT_EQ(OpenCPicture(&without_frame), nullptr);
    const OpenCPicParams without_resolution = {frame, 0, dots_144, -2, 0, 0};
    EXPECT_EQ(OpenCPicture(&without_resolution), nullptr);
    EXPECT_EQ(QDError(), paramErr);

    const OpenCPicParams good = {frame, dots_144, dots_144, -2, 0, 0};
    const PicHandle recorded = OpenCPicture(&good);
    EXPECT_EQ(OpenCPicture(&good), nullptr); // one at a time
    struct {
        const PixMap *from, *to;
        Rect from_rect, to_rect;
    } const wrong[] = {
        {pixels, pixels, frame, frame},
        {port->portPixMap, port->portPixMap, frame, frame},
        {pixels, port->portPixMap, frame, other},
        {pixels, port->portPixMap, outside, outside},
        {pixels, port->portPixMap, empty, empty},
    };
    for (const auto &each : wrong) {
        CopyBits(each.from, each.to, &each.from_rect, &each.to_rect, srcCopy, nullptr);
        EXPECT_EQ(QDError(), paramErr);
    }
    ClosePicture();
    EXPECT_EQ(QDError(), noErr);
    const pict_content seen = read_picture_data(content(recorded));
    EXPECT_EQ(seen.complaint, ""); // a picture without a drawing
    EXPECT_EQ(seen.depths, std::vector<int>());
    KillPicture(recorded);
    DisposeGWorld(world);
}

TEST(Pictures, WhatIsNoPictureIsNotDrawn)
{
    const Rect frame = {0, 0, 10, 10};
    GWorldPtr world = nullptr;
    ASSERT_EQ(NewGWorld(&world, 8, &frame, nullptr, nullptr, 0), noErr);
    Handle good = ramp();
    std::string cut = content(good).substr(0, 60);
    SetPort(nullptr);
    DrawPicture(good, &frame);
    EXPECT_EQ(QDError(), paramErr); // the first port has no pixels
    SetPort(world);
    for (const std::string &bytes : {std::string(), std::string(9, 'x'), std::string(1000, 'x'),
                                     std::string(1000, '\0'), cut}) {
        Handle bad = handle_with(bytes);
        DrawPicture(bad, &frame);
        EXPECT_EQ(QDError(), paramErr) << bytes.size();
        DisposeHandle(bad);
    }
    DisposeHandle(good);
    DisposeGWorld(world);
}

TEST(Pictures, AMissingImageMagickIsTold)
{
    Handle picture = ramp();
    const Rect frame = {0, 0, ramp_height, ramp_width};
    GWorldPtr world = nullptr;
    ASSERT_EQ(NewGWorld(&world, 8, &frame, nullptr, nullptr, 0), noErr);
    SetPort(world);
    const std::string path = std::getenv("PATH");
    setenv("PATH", PAPERMILL_BUNDLE "/Resources/bin", 1);
    DrawPicture(picture, &frame);
    setenv("PATH", path.c_str(), 1);
    EXPECT_EQ(QDError(), fnfErr);
    DisposeHandle(picture);
    DisposeGWorld(world);
}

TEST(Pictures, TheHeadTellsFrameAndResolution)
{
    Handle picture = ramp();
    platform::picture_head head = {};
    ASSERT_TRUE(platform::read_picture_head(picture, &head));
    EXPECT_EQ(head.frame.right, ramp_width);
    EXPECT_EQ(head.frame.bottom, ramp_height);
    EXPECT_EQ(head.x_resolution, 72 << 16);
    (*picture)[21] = 100; // the whole dots of the horizontal resolution
    ASSERT_TRUE(platform::read_picture_head(picture, &head));
    EXPECT_EQ(head.x_resolution, 100 << 16);
    EXPECT_EQ(head.y_resolution, 72 << 16);
    DisposeHandle(picture);

    // Version 1 knows no resolution.
    Handle old = handle_with(std::string("\0\x14\0\1\0\2\0\5\0\7\x11\1\xFF", 13));
    ASSERT_TRUE(platform::read_picture_head(old, &head));
    EXPECT_EQ(head.frame.top, 1);
    EXPECT_EQ(head.frame.left, 2);
    EXPECT_EQ(head.frame.bottom, 5);
    EXPECT_EQ(head.frame.right, 7);
    EXPECT_EQ(head.y_resolution, 72 << 16);
    DisposeHandle(old);
    Handle none = handle_with("neither one nor the other");
    EXPECT_FALSE(platform::read_picture_head(none, &head));
    DisposeHandle(none);
}
