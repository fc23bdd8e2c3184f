#include "dialogs/about_window.h"

#include "app/globals.h"
#include "platform/memory.h"

#include <cstdio>
#include <string>

WindowRef aboutWindow;
PicHandle aboutPic;

const EventTypeSpec aboutWindowEvents[about_event_count] = {
    {kEventClassWindow, kEventWindowUpdate},
    {kEventClassWindow, kEventWindowActivated},
    {kEventClassWindow, kEventWindowDeactivated},
    {kEventClassWindow, kEventWindowBoundsChanged},
    {kEventClassWindow, kEventWindowClose},
    {kEventClassControl, kEventControlHit},
    {kEventClassMouse, kEventMouseUp},
    {kEventClassKeyboard, kEventRawKeyUp},
};

namespace {

constexpr std::int16_t picture_side = 32;
constexpr std::int16_t picture_top = 20;
constexpr long file_header = 512; // no part of the picture

EventHandlerUPP handler_procedure;

void make_about_window()
{
    IBNibRef nib = nullptr;
    if (CreateNibReference("ps2pdf", &nib) != noErr)
        return;
    CreateWindowFromNib(nib, "about box", &aboutWindow);
    DisposeNibReference(nib);
    ChangeWindowAttributes(aboutWindow, 0, kWindowCollapseBoxAttribute);
    ChangeWindowAttributes(aboutWindow, kWindowStandardHandlerAttribute, 0);
    InstallEventHandler(GetWindowEventTarget(aboutWindow), doGetAboutWindowHandlerUPP(),
                        about_event_count, aboutWindowEvents, nullptr);
}

} // namespace

void aboutApp()
{
    if (aboutWindow == nullptr)
        make_about_window();
    if (!IsWindowVisible(aboutWindow))
        ShowWindow(aboutWindow);
    SelectWindow(aboutWindow);
}

OSStatus aboutWindowEventHandler(EventHandlerCallRef /*call*/, EventRef event, void * /*userData*/)
{
    WindowRef window = nullptr;
    if (GetEventClass(event) != kEventClassWindow ||
        GetEventParameter(event, kEventParamDirectObject, sizeof(void *), &window) != noErr ||
        GetEventKind(event) != kEventWindowClose)
        return eventNotHandledErr;
    HideWindow(window);
    return noErr;
}

EventHandlerUPP doGetAboutWindowHandlerUPP()
{
    if (handler_procedure == nullptr)
        handler_procedure = NewEventHandlerUPP(aboutWindowEventHandler);
    return handler_procedure;
}

void about_update()
{
    if (aboutPic == nullptr)
        return;
    Rect content;
    if (GetWindowBounds(aboutWindow, kWindowContentRgn, &content) != noErr)
        return;
    const auto left =
        static_cast<std::int16_t>((content.right - content.left) / 2 - picture_side / 2);
    Rect place;
    SetRect(&place, left, picture_top, static_cast<std::int16_t>(left + picture_side),
            picture_top + picture_side);
    SetPortWindowPort(aboutWindow);
    DrawPicture(aboutPic, &place);
}

PicHandle myGetPict(const char *name)
{
    const std::string path = std::string(contentsPath) + "/Resources/" + name;
    std::FILE *file = std::fopen(path.c_str(), "rb");
    if (file == nullptr)
        return nullptr;
    std::fseek(file, 0, SEEK_END);
    const long size = std::ftell(file) - file_header;
    std::fseek(file, file_header, SEEK_SET);
    // A file that is no longer than its header holds no picture.
    Handle picture = size <= 0 ? nullptr : NewHandle(static_cast<std::size_t>(size));
    if (picture != nullptr) {
        HLock(picture);
        const bool whole = std::fread(*picture, 1, static_cast<std::size_t>(size), file) ==
                           static_cast<std::size_t>(size);
        HUnlock(picture);
        if (!whole) {
            DisposeHandle(picture);
            picture = nullptr;
        }
    }
    std::fclose(file);
    return picture;
}
