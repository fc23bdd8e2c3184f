#include "app/cursors.h"

Cursor editCursor;

void SetUpCursors()
{
    constexpr std::int16_t i_beam = 1;
    const CursHandle cursor = GetCursor(i_beam);
    if (cursor != nullptr)
        editCursor = **cursor;
}

void restore()
{
    Cursor arrow;
    SetCursor(GetQDGlobalsArrow(&arrow));
}
