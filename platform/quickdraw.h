// The part of QuickDraw that the shell needs: cursors. The terminal program has no pointer to show
// them on, so there they are only records.
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

CursHandle GetCursor(std::int16_t id);    // a system cursor; 1 is the I-beam; null if unknown
Cursor *GetQDGlobalsArrow(Cursor *arrow); // fills *arrow with the arrow and returns it
void SetCursor(const Cursor *cursor);     // shows it

#endif
