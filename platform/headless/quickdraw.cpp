#include "platform/quickdraw.h"

namespace {

Cursor i_beam = {};
CursPtr i_beam_master = &i_beam;

} // namespace

CursHandle GetCursor(std::int16_t id)
{
    return id == 1 ? &i_beam_master : nullptr;
}

Cursor *GetQDGlobalsArrow(Cursor *arrow)
{
    *arrow = Cursor{};
    return arrow;
}

// A terminal has no pointer.
void SetCursor(const Cursor * /*cursor*/) {}
