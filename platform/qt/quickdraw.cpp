#include "platform/quickdraw.h"

#include <QCursor>
#include <QGuiApplication>

namespace {

// A cursor record stands for a cursor of the desktop: its first word tells which.
Cursor i_beam = {{Qt::IBeamCursor}, {}, {}};
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

// The arrow leaves every widget the cursor that it has of itself.
void SetCursor(const Cursor *cursor)
{
    if (QGuiApplication::overrideCursor() != nullptr)
        QGuiApplication::restoreOverrideCursor();
    if (cursor->data[0] != Qt::ArrowCursor)
        QGuiApplication::setOverrideCursor(QCursor(static_cast<Qt::CursorShape>(cursor->data[0])));
}
