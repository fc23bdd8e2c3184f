#include "app/drag_drop.h"

#include "app/globals.h"
#include "engine/dispatch.h"
#include "engine/tool_runner.h"
#include "settings/path_utils.h"

#include <string>

unsigned char acceptDrag;
unsigned char inmyDrag;
DragTrackingHandlerUPP gDragTrackingHandlerUPP;
DragReceiveHandlerUPP gDragReceiveHandlerUPP;

namespace {

constexpr std::int16_t scroll_bar = 16;     // it and the grow box are no place to drop
constexpr std::int16_t highlight_inset = 2; // from the edge of what is

bool holds_one_file(DragRef drag)
{
    std::uint16_t count = 0;
    DragItemRef item = 0;
    std::uint32_t flags = 0;
    return CountDragItems(drag, &count) == noErr && count == 1 &&
           GetDragItemReferenceNumber(drag, 1, &item) == noErr &&
           GetFlavorFlags(drag, item, kDragFlavorTypeHFS, &flags) == noErr;
}

void show_highlight(const Rect &place, DragRef drag)
{
    const RgnHandle old_clip = NewRgn();
    GetClip(old_clip);
    ClipRect(&place);
    Rect framed = place;
    InsetRect(&framed, highlight_inset, highlight_inset);
    const RgnHandle highlight = NewRgn();
    RectRgn(highlight, &framed);
    ShowDragHilite(drag, highlight, 1);
    DisposeRgn(highlight);
    SetClip(old_clip);
    DisposeRgn(old_clip);
}

void track_in_window(WindowRef window, DragRef drag)
{
    SetPortWindowPort(window);
    Point mouse = {};
    GetDragMouse(drag, &mouse, nullptr);
    GlobalToLocal(&mouse);
    Rect place = {};
    GetWindowPortBounds(window, &place);
    place.right = static_cast<std::int16_t>(place.right - scroll_bar);
    place.bottom = static_cast<std::int16_t>(place.bottom - scroll_bar);
    if (PtInRect(mouse, &place))
        show_highlight(place, drag);
    else
        HideDragHilite(drag);
}

bool is_converted(const char *path)
{
    return has_extension(path, ".ps") || has_extension(path, ".eps");
}

// Puts the path of the drag's first item, the only one that counts, into dragFile; empty when it
// has none, so that the file of an earlier drop is not converted again. A path that does not fit is
// told of.
void take_file(DragRef drag)
{
    dragFile[0] = 0;
    DragItemRef item = 0;
    std::size_t size = 0;
    if (GetDragItemReferenceNumber(drag, 1, &item) != noErr ||
        GetFlavorDataSize(drag, item, kDragFlavorTypeHFS, &size) != noErr)
        return;
    HFSFlavor file = {};
    size = sizeof file;
    FSRef reference;
    if (GetFlavorData(drag, item, kDragFlavorTypeHFS, &file, &size, 0) != noErr ||
        FSpMakeFSRef(&file.fileSpec, &reference) != noErr ||
        FSRefMakePath(&reference, dragFile, sizeof dragFile) == noErr)
        return;
    std::string path;
    if (platform::path_of(reference, &path) == noErr && is_converted(path.c_str()) && inRun == 0)
        refuse_long_path(path.c_str());
}

} // namespace

OSErr dragTrackingHandler(DragTrackingMessage message, WindowRef window, void * /*refCon*/,
                          DragRef drag)
{
    switch (message) {
    case kDragTrackingEnterHandler:
        acceptDrag = holds_one_file(drag) && inRun == 0 ? 1 : 0;
        break;
    case kDragTrackingEnterWindow:
        inmyDrag = 1;
        break;
    case kDragTrackingInWindow:
        if (acceptDrag == 1)
            track_in_window(window, drag);
        break;
    case kDragTrackingLeaveWindow:
        HideDragHilite(drag);
        inmyDrag = 0;
        break;
    default:
        break;
    }
    return noErr;
}

OSErr dragReceiveHandler(WindowRef /*window*/, void * /*refCon*/, DragRef drag)
{
    // The modifier keys do not change what happens.
    std::uint32_t attributes = 0;
    std::int16_t now = 0;
    std::int16_t down = 0;
    std::int16_t up = 0;
    GetDragAttributes(drag, &attributes);
    GetDragModifiers(drag, &now, &down, &up);
    take_file(drag);
    if (is_converted(dragFile)) {
        HideDragHilite(drag);
        if (inRun == 0)
            runDragFile();
    }
    return noErr;
}
