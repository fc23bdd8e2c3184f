// Numbers, rectangles and regions.
#include "platform/quickdraw.h"

#include <algorithm>
#include <limits>

Fixed Long2Fix(std::int32_t number)
{
    constexpr std::int64_t least = std::numeric_limits<Fixed>::min();
    constexpr std::int64_t most = std::numeric_limits<Fixed>::max();
    return static_cast<Fixed>(std::clamp(std::int64_t{number} * 65536, least, most));
}

void SetRect(Rect *rect, std::int16_t left, std::int16_t top, std::int16_t right,
             std::int16_t bottom)
{
    *rect = {top, left, bottom, right};
}

Boolean EmptyRect(const Rect *rect)
{
    return rect->left >= rect->right || rect->top >= rect->bottom ? 1 : 0;
}

Boolean PtInRect(Point point, const Rect *rect)
{
    return point.h >= rect->left && point.h < rect->right && point.v >= rect->top &&
                   point.v < rect->bottom
               ? 1
               : 0;
}

void InsetRect(Rect *rect, std::int16_t dh, std::int16_t dv)
{
    *rect = {static_cast<std::int16_t>(rect->top + dv), static_cast<std::int16_t>(rect->left + dh),
             static_cast<std::int16_t>(rect->bottom - dv),
             static_cast<std::int16_t>(rect->right - dh)};
    if (EmptyRect(rect))
        *rect = {};
}

Boolean SectRect(const Rect *a, const Rect *b, Rect *both)
{
    const Rect common = {std::max(a->top, b->top), std::max(a->left, b->left),
                         std::min(a->bottom, b->bottom), std::min(a->right, b->right)};
    const bool apart = EmptyRect(a) || EmptyRect(b) || EmptyRect(&common);
    *both = apart ? Rect{} : common;
    return apart ? 0 : 1;
}

RgnHandle NewRgn()
{
    return new Region *(new Region{});
}

void SetRectRgn(RgnHandle region, std::int16_t left, std::int16_t top, std::int16_t right,
                std::int16_t bottom)
{
    SetRect(&(*region)->bounds, left, top, right, bottom);
}

void RectRgn(RgnHandle region, const Rect *rect)
{
    (*region)->bounds = *rect;
}

void DisposeRgn(RgnHandle region)
{
    if (region == nullptr)
        return;
    delete *region;
    delete region;
}
