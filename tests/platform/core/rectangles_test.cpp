#include "platform/quickdraw.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

void expect_rect(const Rect &rect, int left, int top, int right, int bottom)
{
    EXPECT_EQ(rect.left, left);
    EXPECT_EQ(rect.top, top);
    EXPECT_EQ(rect.right, right);
    EXPECT_EQ(rect.bottom, bottom);
}

} // namespace

TEST(Rectangles, ANumberHasSixteenBitsOfFraction)
{
    EXPECT_EQ(Long2Fix(12), 0xC0000);
    EXPECT_EQ(Long2Fix(-1), -0x10000);
    EXPECT_EQ(Long2Fix(40000), std::numeric_limits<Fixed>::max());
    EXPECT_EQ(Long2Fix(-40000), std::numeric_limits<Fixed>::min());
}

TEST(Rectangles, SidesAreSetInTheirOrder)
{
    Rect rect = {};
    SetRect(&rect, 10, 45, 600, 300);
    expect_rect(rect, 10, 45, 600, 300);
}

TEST(Rectangles, RightAndBottomEdgeLieOutside)
{
    const Rect rect = {10, 20, 30, 40};
    EXPECT_TRUE(PtInRect({10, 20}, &rect));
    EXPECT_TRUE(PtInRect({29, 39}, &rect));
    EXPECT_FALSE(PtInRect({30, 39}, &rect));
    EXPECT_FALSE(PtInRect({29, 40}, &rect));
    EXPECT_FALSE(PtInRect({9, 20}, &rect));
    EXPECT_FALSE(PtInRect({10, 19}, &rect));
}

TEST(Rectangles, WhatTwoHaveInCommonIsARectangle)
{
    Rect a = {0, 0, 100, 100};
    const Rect b = {50, 60, 200, 90};
    Rect both = {};
    EXPECT_TRUE(SectRect(&a, &b, &both));
    expect_rect(both, 60, 50, 90, 100);
    EXPECT_TRUE(SectRect(&a, &b, &a));
    expect_rect(a, 60, 50, 90, 100);
}

TEST(Rectangles, TwoThatOnlyTouchAreApart)
{
    const Rect a = {0, 0, 100, 100};
    const Rect beside = {0, 100, 100, 200};
    const Rect empty = {10, 10, 10, 90};
    Rect both = {1, 2, 3, 4};
    EXPECT_FALSE(SectRect(&a, &beside, &both));
    expect_rect(both, 0, 0, 0, 0);
    EXPECT_FALSE(SectRect(&a, &empty, &both));
}

TEST(Rectangles, ARegionIsEmptyAtFirst)
{
    RgnHandle region = NewRgn();
    expect_rect((*region)->bounds, 0, 0, 0, 0);
    SetRectRgn(region, -32767, -5, 7, 32767);
    expect_rect((*region)->bounds, -32767, -5, 7, 32767);
    const Rect rect = {1, 2, 3, 4};
    RectRgn(region, &rect);
    expect_rect((*region)->bounds, 2, 1, 4, 3);
    DisposeRgn(region);
    DisposeRgn(nullptr);
}

TEST(Rectangles, AnInsetIsOnEverySide)
{
    Rect rect = {10, 20, 30, 60};
    InsetRect(&rect, 3, 1);
    expect_rect(rect, 23, 11, 57, 29);
    InsetRect(&rect, -3, -1);
    expect_rect(rect, 20, 10, 60, 30);
    InsetRect(&rect, 20, 0); // nothing is left
    expect_rect(rect, 0, 0, 0, 0);
}

TEST(Rectangles, TheClipIsSavedAndRestored)
{
    const Rect rect = {1, 2, 3, 4};
    GrafPtr port = nullptr;
    GetPort(&port);
    const Rect old = port->clip;
    RgnHandle saved = NewRgn();
    GetClip(saved);
    expect_rect((*saved)->bounds, old.left, old.top, old.right, old.bottom);
    ClipRect(&rect);
    expect_rect(port->clip, 2, 1, 4, 3);
    SetClip(saved);
    expect_rect(port->clip, old.left, old.top, old.right, old.bottom);
    DisposeRgn(saved);
}
