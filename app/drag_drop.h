// Files that are dragged over the program's windows and dropped there.
#ifndef PAPERMILL_APP_DRAG_DROP_H
#define PAPERMILL_APP_DRAG_DROP_H

#include "platform/drag.h"

extern unsigned char acceptDrag; // the drag may be dropped; decided when it enters, kept till then
extern unsigned char inmyDrag;   // it is over one of the windows

// As they are installed; startup sets them.
extern DragTrackingHandlerUPP gDragTrackingHandlerUPP;
extern DragReceiveHandlerUPP gDragReceiveHandlerUPP;

// Highlights the window under a drag of one file, but for the strip along its right and bottom
// edges, while no conversion runs.
OSErr dragTrackingHandler(DragTrackingMessage message, WindowRef window, void *refCon,
                          DragRef drag);

// Converts the first file of a drop, if it is PostScript or EPS and no conversion runs.
OSErr dragReceiveHandler(WindowRef window, void *refCon, DragRef drag);

#endif
