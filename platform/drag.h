// Drags of files from other programs over the program's windows. The terminal program has no
// windows that anything could be dragged to: handlers can be installed there, and nothing comes.
#ifndef PAPERMILL_PLATFORM_DRAG_H
#define PAPERMILL_PLATFORM_DRAG_H

#include "platform/files.h"
#include "platform/quickdraw.h"
#include "platform/types.h"
#include "platform/windows.h"

#include <cstddef>

struct OpaqueDrag;
using DragRef = OpaqueDrag *;

enum : OSErr {
    badDragItemErr = -1851,     // the drag has no such item
    badDragFlavorErr = -1852,   // the item has no such flavor
    duplicateHandlerErr = -1855 // the handler is installed already
};

using DragTrackingMessage = std::int16_t;
constexpr DragTrackingMessage kDragTrackingEnterHandler = 1; // over windows that a handler is for
constexpr DragTrackingMessage kDragTrackingEnterWindow = 2;
constexpr DragTrackingMessage kDragTrackingInWindow = 3; // again with every move
constexpr DragTrackingMessage kDragTrackingLeaveWindow = 4;
constexpr DragTrackingMessage kDragTrackingLeaveHandler = 5;

// A file, as one item of a drag holds it.
constexpr OSType kDragFlavorTypeHFS = four_chars("hfs ");
struct HFSFlavor {
    OSType fileType; // the Finder information; zeros where none is kept
    OSType fileCreator;
    std::uint16_t fdFlags;
    FSSpec fileSpec;
};

// Tells what a drag does over a window, from entering to leaving; a drop is followed by leaving,
// too. The drag is offered to be dropped where a highlight is shown for it, and nowhere else. While
// a modal window is up, no drag enters any window. The result is of no consequence.
using DragTrackingHandlerUPP = OSErr (*)(DragTrackingMessage message, WindowRef window,
                                         void *refCon, DragRef drag);

// Takes what was dropped. Whoever dropped it has been answered by then and waits no longer. The
// result is of no consequence.
using DragReceiveHandlerUPP = OSErr (*)(WindowRef window, void *refCon, DragRef drag);

DragTrackingHandlerUPP NewDragTrackingHandlerUPP(DragTrackingHandlerUPP handler);
DragReceiveHandlerUPP NewDragReceiveHandlerUPP(DragReceiveHandlerUPP handler);

// Installs the handler for every window (`window` is null; paramErr for one alone).
// duplicateHandlerErr when it is installed.
OSErr InstallTrackingHandler(DragTrackingHandlerUPP handler, WindowRef window, void *refCon);
OSErr InstallReceiveHandler(DragReceiveHandlerUPP handler, WindowRef window, void *refCon);

// ---- a drag, within its handlers ----

constexpr std::uint32_t kDragHasLeftSenderWindow = 1U << 0; // always: others send
OSErr GetDragAttributes(DragRef drag, std::uint32_t *attributes);

// The modifier keys: now, when the button went down (not known here: 0), when it came up.
OSErr GetDragModifiers(DragRef drag, std::int16_t *now, std::int16_t *down, std::int16_t *up);

// Where the pointer is on the screen. `pinned`, where the drag is kept, may be null.
OSErr GetDragMouse(DragRef drag, Point *mouse, Point *pinned);

// The items count from 1; badDragItemErr for any other.
using DragItemRef = std::uint32_t;
OSErr CountDragItems(DragRef drag, std::uint16_t *count);
OSErr GetDragItemReferenceNumber(DragRef drag, std::uint16_t index, DragItemRef *item);

// badDragFlavorErr when the item is no file that is there, and for every other flavor.
OSErr GetFlavorFlags(DragRef drag, DragItemRef item, OSType flavor, std::uint32_t *flags);
OSErr GetFlavorDataSize(DragRef drag, DragItemRef item, OSType flavor, std::size_t *size);

// Copies at most *size bytes of the flavor's data from `offset` on; *size tells how many.
OSErr GetFlavorData(DragRef drag, DragItemRef item, OSType flavor, void *data, std::size_t *size,
                    std::size_t offset);

// Shows the region of the current port's window, as far as its clip region has it, as a place to
// drop the drag: framed along its edge, on the inside (`inside` is 1; paramErr for 0). The drag's
// other highlight goes.
OSErr ShowDragHilite(DragRef drag, RgnHandle region, Boolean inside);
OSErr HideDragHilite(DragRef drag);

#endif
