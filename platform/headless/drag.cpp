#include "platform/drag.h"

// Nothing is ever dragged to a terminal's windows.
OSErr ShowDragHilite(DragRef /*drag*/, RgnHandle /*region*/, Boolean inside)
{
    return inside ? OSErr{noErr} : OSErr{paramErr};
}

OSErr HideDragHilite(DragRef /*drag*/)
{
    return noErr;
}
