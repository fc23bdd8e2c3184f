#include "platform/core/drags.h"

#include "platform/core/coercions.h"

#include <algorithm>
#include <cctype>
#include <cstring>

namespace {

template <typename handler>
struct installed {
    handler call;
    void *reference_constant;
};

template <typename handler>
using installed_handlers = std::vector<installed<handler>>;

installed_handlers<DragTrackingHandlerUPP> &trackers()
{
    static installed_handlers<DragTrackingHandlerUPP> instance;
    return instance;
}

installed_handlers<DragReceiveHandlerUPP> &receivers()
{
    static installed_handlers<DragReceiveHandlerUPP> instance;
    return instance;
}

template <typename handler>
OSErr install(installed_handlers<handler> *handlers, handler call, WindowRef window,
              void *reference_constant)
{
    if (call == nullptr || window != nullptr)
        return paramErr;
    const bool there = std::any_of(handlers->begin(), handlers->end(),
                                   [call](const auto &each) { return each.call == call; });
    if (there)
        return duplicateHandlerErr;
    handlers->push_back({call, reference_constant});
    return noErr;
}

// What the item has to tell as a file.
OSErr get_file(DragRef drag, DragItemRef item, OSType flavor, HFSFlavor *file)
{
    if (item < 1 || item > drag->items.size())
        return badDragItemErr;
    const std::string &path = drag->items[item - 1];
    *file = {};
    if (flavor != kDragFlavorTypeHFS || path.empty() ||
        platform::specify(path.c_str(), &file->fileSpec) != noErr)
        return badDragFlavorErr;
    FInfo info = {};
    FSpGetFInfo(&file->fileSpec, &info);
    file->fileType = info.fdType;
    file->fileCreator = info.fdCreator;
    file->fdFlags = info.fdFlags;
    return noErr;
}

// Whether the line begins as a URI does: with a scheme.
bool is_uri(std::string_view line)
{
    const auto is_letter = [](char c) { return std::isalpha(static_cast<unsigned char>(c)) != 0; };
    const auto *const end = std::find_if_not(line.begin(), line.end(), [&](char c) {
        return is_letter(c) || (c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.';
    });
    return end != line.begin() && end != line.end() && *end == ':' && is_letter(line.front());
}

} // namespace

DragTrackingHandlerUPP NewDragTrackingHandlerUPP(DragTrackingHandlerUPP handler)
{
    return handler;
}

DragReceiveHandlerUPP NewDragReceiveHandlerUPP(DragReceiveHandlerUPP handler)
{
    return handler;
}

OSErr InstallTrackingHandler(DragTrackingHandlerUPP handler, WindowRef window, void *refCon)
{
    return install(&trackers(), handler, window, refCon);
}

OSErr InstallReceiveHandler(DragReceiveHandlerUPP handler, WindowRef window, void *refCon)
{
    return install(&receivers(), handler, window, refCon);
}

OSErr GetDragAttributes(DragRef /*drag*/, std::uint32_t *attributes)
{
    *attributes = kDragHasLeftSenderWindow;
    return noErr;
}

OSErr GetDragModifiers(DragRef drag, std::int16_t *now, std::int16_t *down, std::int16_t *up)
{
    *now = drag->modifiers;
    *down = 0;
    *up = drag->modifiers;
    return noErr;
}

OSErr GetDragMouse(DragRef drag, Point *mouse, Point *pinned)
{
    *mouse = drag->mouse;
    if (pinned != nullptr)
        *pinned = drag->mouse;
    return noErr;
}

OSErr CountDragItems(DragRef drag, std::uint16_t *count)
{
    constexpr std::size_t most = 0xFFFF;
    *count = static_cast<std::uint16_t>(std::min(drag->items.size(), most));
    return noErr;
}

OSErr GetDragItemReferenceNumber(DragRef drag, std::uint16_t index, DragItemRef *item)
{
    if (index < 1 || index > drag->items.size())
        return badDragItemErr;
    *item = index;
    return noErr;
}

OSErr GetFlavorFlags(DragRef drag, DragItemRef item, OSType flavor, std::uint32_t *flags)
{
    HFSFlavor file;
    const OSErr error = get_file(drag, item, flavor, &file);
    if (error == noErr)
        *flags = 0;
    return error;
}

OSErr GetFlavorDataSize(DragRef drag, DragItemRef item, OSType flavor, std::size_t *size)
{
    HFSFlavor file;
    const OSErr error = get_file(drag, item, flavor, &file);
    if (error == noErr)
        *size = sizeof file;
    return error;
}

OSErr GetFlavorData(DragRef drag, DragItemRef item, OSType flavor, void *data, std::size_t *size,
                    std::size_t offset)
{
    HFSFlavor file;
    const OSErr error = get_file(drag, item, flavor, &file);
    if (error != noErr)
        return error;
    const std::size_t from = std::min(offset, sizeof file);
    *size = std::min(*size, sizeof file - from);
    std::memcpy(data, reinterpret_cast<const char *>(&file) + from, *size);
    return noErr;
}

std::vector<std::string> platform::items_of_uri_list(std::string_view list)
{
    std::vector<std::string> items;
    while (!list.empty()) {
        std::string_view line = list.substr(0, list.find('\n'));
        list.remove_prefix(std::min(line.size() + 1, list.size()));
        if (!line.empty() && line.back() == '\r')
            line.remove_suffix(1);
        if (!is_uri(line))
            continue;
        std::string &path = items.emplace_back();
        if (path_from_text(line, &path) != noErr)
            path.clear();
    }
    return items;
}

void platform::track_drag(DragTrackingMessage message, WindowRef window, DragRef drag)
{
    for (const auto &each : trackers())
        each.call(message, window, each.reference_constant, drag);
}

void platform::receive_drop(WindowRef window, DragRef drag)
{
    for (const auto &each : receivers())
        each.call(window, each.reference_constant, drag);
}
