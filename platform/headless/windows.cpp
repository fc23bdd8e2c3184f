#include "platform/windows.h"

#include "platform/headless/state.h"
#include "platform/quickdraw.h"

#include <algorithm>
#include <memory>
#include <vector>

namespace {

// The windows in the order in which they were made.
std::vector<std::unique_ptr<OpaqueWindow>> windows;

} // namespace

WindowRef NewCWindow(void * /*storage*/, const Rect *bounds, ConstStringPtr title, Boolean visible,
                     std::int16_t /*procID*/, WindowRef /*behind*/, Boolean closeBox,
                     std::int32_t referenceConstant)
{
    auto window = std::make_unique<OpaqueWindow>();
    window->bounds = *bounds;
    window->title.assign(reinterpret_cast<const char *>(title) + 1, title[0]);
    window->visible = visible != 0;
    window->attributes = closeBox ? kWindowCloseBoxAttribute : 0;
    window->reference_constant = referenceConstant;
    windows.push_back(std::move(window));
    return windows.back().get();
}

void DisposeWindow(WindowRef window)
{
    GrafPtr port = nullptr;
    GetPort(&port);
    if (port == GetWindowPort(window))
        SetPort(nullptr);
    const auto end = std::remove_if(windows.begin(), windows.end(),
                                    [&](const auto &each) { return each.get() == window; });
    windows.erase(end, windows.end());
}

OSStatus CreateNibReference(const char * /*name*/, IBNibRef * /*nib*/)
{
    return fnfErr;
}

OSStatus CreateWindowFromNib(IBNibRef /*nib*/, const char * /*name*/, WindowRef * /*window*/)
{
    return fnfErr;
}

void DisposeNibReference(IBNibRef /*nib*/) {}

void SetDialogFont(std::int16_t /*font*/) {}

void SetWRefCon(WindowRef window, std::int32_t constant)
{
    if (window != nullptr)
        window->reference_constant = constant;
}

std::int32_t GetWRefCon(WindowRef window)
{
    return window == nullptr ? 0 : window->reference_constant;
}

// Dialogs come from the interface file.
std::int16_t GetWindowKind(WindowRef window)
{
    return window == nullptr ? std::int16_t{0} : std::int16_t{userKind};
}

OSStatus ChangeWindowAttributes(WindowRef window, std::uint32_t set, std::uint32_t clear)
{
    if (window == nullptr)
        return paramErr;
    window->attributes = (window->attributes | set) & ~clear;
    return noErr;
}

void ShowWindow(WindowRef window)
{
    if (window != nullptr)
        window->visible = true;
}

void HideWindow(WindowRef window)
{
    if (window != nullptr)
        window->visible = false;
}

Boolean IsWindowVisible(WindowRef window)
{
    return window != nullptr && window->visible ? 1 : 0;
}

void SelectWindow(WindowRef window)
{
    const auto selected = std::find_if(windows.begin(), windows.end(),
                                       [&](const auto &each) { return each.get() == window; });
    if (selected != windows.end())
        std::rotate(selected, selected + 1, windows.end());
}

OSStatus ShowSheetWindow(WindowRef sheet, WindowRef /*parent*/)
{
    ShowWindow(sheet);
    return noErr;
}

OSStatus HideSheetWindow(WindowRef sheet)
{
    HideWindow(sheet);
    return noErr;
}

WindowRef FrontWindow()
{
    for (auto window = windows.rbegin(); window != windows.rend(); ++window) {
        if ((*window)->visible)
            return window->get();
    }
    return nullptr;
}

EventTargetRef GetWindowEventTarget(WindowRef window)
{
    return window == nullptr ? nullptr : &window->target;
}

GrafPtr GetWindowPort(WindowRef window)
{
    return window == nullptr ? nullptr : &window->port;
}

void SetPortWindowPort(WindowRef window)
{
    if (window != nullptr)
        SetPort(&window->port);
}

Rect *GetWindowPortBounds(WindowRef window, Rect *bounds)
{
    *bounds = {};
    if (window != nullptr) {
        bounds->right = static_cast<std::int16_t>(window->bounds.right - window->bounds.left);
        bounds->bottom = static_cast<std::int16_t>(window->bounds.bottom - window->bounds.top);
    }
    return bounds;
}

// Where the current port's window begins on the screen that it would be on.
static Point port_origin()
{
    GrafPtr port = nullptr;
    GetPort(&port);
    for (const auto &window : windows) {
        if (&window->port == port)
            return {window->bounds.top, window->bounds.left};
    }
    return {};
}

void LocalToGlobal(Point *point)
{
    const Point origin = port_origin();
    point->h = static_cast<std::int16_t>(point->h + origin.h);
    point->v = static_cast<std::int16_t>(point->v + origin.v);
}

void GlobalToLocal(Point *point)
{
    const Point origin = port_origin();
    point->h = static_cast<std::int16_t>(point->h - origin.h);
    point->v = static_cast<std::int16_t>(point->v - origin.v);
}

OSStatus GetWindowBounds(WindowRef window, std::uint16_t region, Rect *bounds)
{
    if (window == nullptr || region != kWindowContentRgn)
        return paramErr;
    *bounds = window->bounds;
    return noErr;
}

OSStatus InvalWindowRect(WindowRef window, const Rect * /*rect*/)
{
    return window == nullptr ? OSStatus{paramErr} : OSStatus{noErr};
}

// There is nothing to draw.
void BeginUpdate(WindowRef /*window*/) {}
void EndUpdate(WindowRef /*window*/) {}
