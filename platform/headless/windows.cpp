#include "platform/windows.h"

#include "platform/headless/state.h"
#include "platform/quickdraw.h"

#include <memory>
#include <vector>

namespace {

// The windows in the order in which they were made: none is ever disposed of.
std::vector<std::unique_ptr<OpaqueWindow>> windows;

} // namespace

WindowRef NewCWindow(const Rect *bounds, ConstStringPtr title, Boolean visible)
{
    auto window = std::make_unique<OpaqueWindow>();
    window->bounds = *bounds;
    window->title.assign(reinterpret_cast<const char *>(title) + 1, title[0]);
    window->visible = visible != 0;
    windows.push_back(std::move(window));
    return windows.back().get();
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

void SetWRefCon(WindowRef window, std::int32_t constant)
{
    if (window != nullptr)
        window->reference_constant = constant;
}

std::int32_t GetWRefCon(WindowRef window)
{
    return window == nullptr ? 0 : window->reference_constant;
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
