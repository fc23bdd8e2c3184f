// The part of QuickDraw that the program needs: cursors; and pictures, which are drawn into
// offscreen worlds and recorded anew. The terminal program has no pointer to show a cursor on, so
// there they are only records.
#ifndef PAPERMILL_PLATFORM_QUICKDRAW_H
#define PAPERMILL_PLATFORM_QUICKDRAW_H

#include "platform/types.h"

// A cursor of 16 by 16 pixels: image, mask, the point that points.
struct Cursor {
    std::uint16_t data[16];
    std::uint16_t mask[16];
    Point hotSpot;
};
static_assert(sizeof(Cursor) == 68);

using CursPtr = Cursor *;
using CursHandle = CursPtr *;

// ---- cursors ----

CursHandle GetCursor(std::int16_t id);    // a system cursor; 1 is the I-beam; null if unknown
Cursor *GetQDGlobalsArrow(Cursor *arrow); // fills *arrow with the arrow and returns it
void SetCursor(const Cursor *cursor);     // shows it

// ---- numbers, rectangles and regions ----

using Fixed = std::int32_t; // a number with 16 bits of fraction

// The number as a Fixed; the nearest one there is where it has more than 16 bits.
Fixed Long2Fix(std::int32_t number);

void SetRect(Rect *rect, std::int16_t left, std::int16_t top, std::int16_t right,
             std::int16_t bottom);
Boolean EmptyRect(const Rect *rect);                          // 1: it encloses no point
Boolean PtInRect(Point point, const Rect *rect);              // right and bottom edge lie outside
void InsetRect(Rect *rect, std::int16_t dh, std::int16_t dv); // smaller on every side; empty when
                                                              // nothing is left
Boolean SectRect(const Rect *a, const Rect *b, Rect *both);   // 0, and *both empty, when they are
                                                              // apart; *both may be one of them

// A region is a rectangle here. The caller owns what NewRgn makes.
struct Region {
    Rect bounds;
};
using RgnHandle = Region **;
RgnHandle NewRgn(); // an empty one
void SetRectRgn(RgnHandle region, std::int16_t left, std::int16_t top, std::int16_t right,
                std::int16_t bottom);
void RectRgn(RgnHandle region, const Rect *rect); // makes it that rectangle
void DisposeRgn(RgnHandle region);

// ---- ports ----

// Pixels in memory, or, in the port that the program has before any other, none.
struct PixMap;
using PixMapHandle = PixMap **;

// Classic colours.
enum : std::int32_t { whiteColor = 30, blackColor = 33 };

// What is drawn into. A window's port has no pixels that anybody could draw.
struct GrafPort {
    PixMap *portPixMap = nullptr;               // its pixels
    Rect clip = {-32767, -32767, 32767, 32767}; // nothing is drawn outside of it
    std::int32_t fgColor = blackColor;          // the colour numbers of ForeColor and BackColor
    std::int32_t bkColor = whiteColor;
};
using GrafPtr = GrafPort *;
using CGrafPtr = GrafPort *;
using GWorldPtr = GrafPort *;
struct GDevice;
using GDHandle = GDevice **;
using CTabHandle = Handle; // null: the depth's own colour table

// The current port, never null; the first one draws nowhere, but what is drawn in it can be
// recorded. Offscreen worlds have no device: theirs is null.
void GetPort(GrafPtr *port);
void SetPort(GrafPtr port);
void GetGWorld(CGrafPtr *port, GDHandle *device);
void SetGWorld(CGrafPtr port, GDHandle device);

// What the current port's drawing is kept within.
void ClipRect(const Rect *rect);
void GetClip(RgnHandle region); // copies it into the region
void SetClip(RgnHandle region); // makes it a copy of the region

void ForeColor(std::int32_t colour); // of what is drawn in the current port from then on
void BackColor(std::int32_t colour);

// A context draws where its port does, and lives as long. paramErr without a port.
using CGContextRef = GrafPtr;
OSStatus CreateCGContextForPort(CGrafPtr port, CGContextRef *context);

// ---- screens ----

// A screen, by its place on the desktop.
struct GDevice {
    Rect gdRect;
};

enum : std::int16_t { screenDevice = 13, screenActive = 15 };

// The screens one after the other; null: there is none, or no other. A list begun anew takes note
// of screens that have come and gone; handles of the list before are not valid any more.
GDHandle GetDeviceList();
GDHandle GetNextDevice(GDHandle device);
GDHandle GetMainDevice(); // the one with the menu bar
Boolean TestDeviceAttribute(GDHandle device, std::int16_t attribute);

// ---- offscreen worlds ----

enum : std::uint32_t { useTempMem = 4 };

// Makes a white offscreen world with 1, 2, 4, 8, 16 or 32 bits a pixel (0: 32) over the rectangle,
// with the system's colours up to 8 bits; table and device are null. *made is unchanged on an
// error: cDepthErr, paramErr for an empty rectangle or another table, memFullErr.
OSErr NewGWorld(GWorldPtr *made, std::int16_t depth, const Rect *bounds, CTabHandle table,
                GDHandle device, std::uint32_t flags);

// Frees it. The current port becomes the first one again if it was that.
void DisposeGWorld(GWorldPtr old);

PixMapHandle GetGWorldPixMap(GWorldPtr of); // its pixels, for LockPixels and CopyBits
Boolean LockPixels(PixMapHandle pixels);    // always 1: they do not move by themselves here
void UnlockPixels(PixMapHandle pixels);

// ---- pictures ----

// The data of a picture, without the header of a file.
using PicHandle = Handle;

enum : std::int16_t { srcCopy = 0, ditherCopy = 64 };

// Draws the picture, fitted into the rectangle, into the current port, an offscreen world or a
// window's. Its colours become those of the world, dithered. ImageMagick reads it. QDError: fnfErr
// when there is none, paramErr for what is no picture or another port, ioErr when it fails.
void DrawPicture(PicHandle picture, const Rect *rect);

// How a picture is recorded.
struct OpenCPicParams {
    Rect srcRect;         // its frame
    std::int32_t hRes;    // dots per inch, with 16 bits of fraction
    std::int32_t vRes;    //
    std::int16_t version; // -2
    std::int16_t reserved1;
    std::int32_t reserved2;
};

// From here to ClosePicture, what CopyBits draws in the current port is recorded in the new handle,
// which the caller owns, and which is no picture before ClosePicture. Null, and QDError paramErr
// for an empty frame, a resolution that is none, or while another one is recorded.
PicHandle OpenCPicture(const OpenCPicParams *parameters);
void ClosePicture();

// Records a part of an offscreen world's pixels in the picture that is open: the destination is the
// current port's pixels, both rectangles have the same size, and there is no mask. QDError paramErr
// for all else.
void CopyBits(const PixMap *from, const PixMap *to, const Rect *fromRect, const Rect *toRect,
              std::int16_t mode, Handle mask);

void KillPicture(PicHandle picture); // frees it

OSErr QDError(); // the result of the last operation on worlds and pictures

namespace platform {

// What stands at a picture's start.
struct picture_head {
    Rect frame;
    std::int32_t x_resolution, y_resolution; // dots per inch, with 16 bits of fraction
};

// False for what is no picture.
bool read_picture_head(PicHandle picture, picture_head *head);

// What has been drawn in the rectangle of a window's port, three bytes for each pixel.
using window_painter = void (*)(GrafPtr port, const Rect &rect, const char *pixels);

// From now on, the painter is told what is drawn in ports that are no offscreen worlds. Without
// one, nothing is drawn there.
void on_drawing_in_window(window_painter painter);

} // namespace platform

#endif
