#include "console/console_window.h"

#include "app/cursors.h"
#include "app/globals.h"
#include "app/pascal_text.h"
#include "console/console_io.h"
#include "console/console_text.h"
#include "engine/tool_launcher.h"
#include "platform/files.h"
#include "platform/fonts.h"
#include "platform/quickdraw.h"
#include "platform/strings.h"
#include "settings/file_prompts.h"
#include "settings/path_utils.h"
#include "settings/prefs_store.h"

#include <cstdio>
#include <cstring>
#include <iterator>

TXNFrameID frameID;
RgnHandle sMouseRgn;
Str255 consoleFontName;

// Not all of them are told of here.
const EventTypeSpec windowEvents[13] = {
    {kEventClassWindow, kEventWindowUpdate},
    {kEventClassWindow, kEventWindowActivated},
    {kEventClassWindow, kEventWindowDeactivated},
    {kEventClassWindow, 0x50}, // its ideal size
    {kEventClassWindow, kEventWindowGetMinimumSize},
    {kEventClassWindow, 0x4C}, // it has been zoomed
    {kEventClassWindow, 0x1C}, // its bounds begin to change
    {kEventClassWindow, kEventWindowBoundsChanged},
    {kEventClassWindow, 0x1D}, // they have come to rest
    {kEventClassWindow, kEventWindowClose},
    {kEventClassControl, 0xD},
    {kEventClassKeyboard, kEventRawKeyDown},
    {kEventClassCommand, kEventCommandProcess},
};

namespace {

constexpr std::int16_t menu_bar_height = 20;
constexpr Point minimum_size = {100, 100};
constexpr std::int16_t left_inset = 3;
constexpr std::int16_t scroll_bar = 16;       // room for one
constexpr std::int16_t scroll_bar_click = 15; // where a click is for it
constexpr std::int16_t text_margin = 5;
constexpr std::int32_t default_size = 12; // points
constexpr char fallback_font[] = "\6Monaco";

ConstStringPtr pascal(const char *literal)
{
    return reinterpret_cast<ConstStringPtr>(literal);
}

// Puts the text's frame over the whole window. It is wider than the one that the text was made
// with, which leaves room for scroll bars.
void fill_window()
{
    Rect bounds = {};
    GetWindowPortBounds(theConsole, &bounds);
    TXNSetFrameBounds(text, bounds.top, bounds.left, bounds.bottom, bounds.right, frameID);
    TXNRecalcTextLayout(text);
}

bool make_text(WindowRef window)
{
    Rect frame = {};
    GetWindowPortBounds(window, &frame);
    frame.left = static_cast<std::int16_t>(frame.left + left_inset);
    frame.right = static_cast<std::int16_t>(frame.right - scroll_bar);
    frame.bottom = static_cast<std::int16_t>(frame.bottom - scroll_bar);
    constexpr std::uint32_t options = kTXNDrawGrowIconMask | kTXNWantHScrollBarMask |
                                      kTXNWantVScrollBarMask | kTXNDoNotInstallDragProcsMask |
                                      kTXNAlwaysWrapAtViewEdgeMask;
    static_assert(options == 0x0C0D);
    if (TXNNewObject(window, &frame, options, kTXNTextEditStyleFrameType, kTXNTextData,
                     kTXNMacOSEncoding, &text, &frameID) != noErr)
        return false;

    const TXNMargins margins = {text_margin, text_margin, text_margin, text_margin};
    TXNControlTag tag = kTXNMarginsTag;
    TXNControlData data = {};
    data.marginsPtr = &margins;
    if (TXNSetTXNObjectControls(text, 0, 1, &tag, &data) != noErr)
        return false;

    tag = kTXNContextTag;
    return CreateCGContextForPort(GetWindowPort(window), &data.context) == noErr &&
           TXNSetTXNObjectControls(text, 0, 1, &tag, &data) == noErr;
}

OSStatus key_pressed(EventRef event)
{
    char character = 0;
    std::uint32_t modifiers = 0;
    GetEventParameter(event, kEventParamKeyMacCharCodes, sizeof character, &character);
    GetEventParameter(event, kEventParamKeyModifiers, sizeof modifiers, &modifiers);
    if (inScript == 1) {
        std::snprintf(acmd, sizeof acmd, "ps -x -c -o pid,command | grep %s", unixTool);
        GetProcessInfo(acmd);
        inScript = 0;
        userCancel = 1;
        return noErr;
    }
    if (get_text != 0) {
        TextKey1(character);
        return eventNotHandledErr; // the text engine shows what was typed
    }
    return noErr;
}

OSStatus window_event(EventRef event)
{
    switch (GetEventKind(event)) {
    case kEventWindowUpdate:
        Text_Update(theConsole);
        return eventNotHandledErr;
    case kEventWindowActivated:
        Text_Activate(theConsole, 1);
        return eventNotHandledErr;
    case kEventWindowDeactivated:
        Text_Activate(theConsole, 0);
        return eventNotHandledErr;
    case kEventWindowBoundsChanged:
        fill_window();
        return eventNotHandledErr;
    case kEventWindowGetMinimumSize:
        SetEventParameter(event, kEventParamDimensions, sizeof minimum_size, &minimum_size);
        return noErr;
    case kEventWindowClose:
        CloseTextWindow(theConsole);
        return noErr;
    default:
        return eventNotHandledErr;
    }
}

} // namespace

// ---- setting up ----

void InitMLTE()
{
    TXNMacOSPreferredFontDescription font = {};
    GetFNum(pascal("\15Lucida Grande"), &font.fontID);
    font.pointSize = Long2Fix(default_size);
    TXNInitTextension(&font, 1, kTXNAlwaysUseQuickDrawTextMask);
}

void Finalize()
{
    TXNTerminateTextension();
}

WindowRef SetUpTextWindow(char *title)
{
    InitMLTE();
    if (sMouseRgn == nullptr)
        sMouseRgn = NewRgn();
    SetRectRgn(sMouseRgn, -32767, -32767, 32767, 32767);
    Rect bounds = {};
    if (!GetWindow(&bounds))
        SetRect(&bounds, 10, 45, 600, 300);
    WindowRef window = NewCWindow(nullptr, &bounds, c2pstr(title), 0, documentProc, nullptr, 1, 0);
    p2cstr(reinterpret_cast<StringPtr>(title));
    if (window == nullptr)
        return nullptr;
    ChangeWindowAttributes(window, kWindowStandardHandlerAttribute, 0);
    ChangeWindowAttributes(window, 0, kWindowCloseBoxAttribute); // the user cannot close it
    InstallEventHandler(GetWindowEventTarget(window), doGetHandlerUPP(), std::size(windowEvents),
                        windowEvents, nullptr);
    SetPortWindowPort(window);
    if (!make_text(window))
        return nullptr;

    theConsole = window; // what follows is for the console only
    SetFontAndSize();
    SetSelectionState(0);
    ShowWindow(window);
    return window;
}

Boolean GetWindow(Rect *rect)
{
    const char *saved = get_str_resource("GSWINDOW");
    if (saved == nullptr || std::sscanf(saved, "%hd %hd %hd %hd", &rect->top, &rect->left,
                                        &rect->bottom, &rect->right) != 4)
        return 0;
    for (GDHandle device = GetDeviceList(); device != nullptr; device = GetNextDevice(device)) {
        if (!TestDeviceAttribute(device, screenDevice) ||
            !TestDeviceAttribute(device, screenActive))
            continue;
        Rect screen = (*device)->gdRect;
        if (device == GetMainDevice())
            screen.top = static_cast<std::int16_t>(screen.top + menu_bar_height);
        Rect common = {};
        if (SectRect(rect, &screen, &common))
            return 1;
    }
    return 0;
}

void SaveWindow(const Rect *rect)
{
    if (GetDeviceList() == nullptr) // a window that was never on a screen has no place there
        return;
    GrafPtr old_port = nullptr;
    GetPort(&old_port);
    SetPortWindowPort(theConsole);
    Point corner = {rect->top, rect->left};
    Point opposite = {rect->bottom, rect->right};
    LocalToGlobal(&corner);
    LocalToGlobal(&opposite);
    char saved[64];
    std::snprintf(saved, sizeof saved, "%d %d %d %d", corner.v, corner.h, opposite.v, opposite.h);
    set_str_resource("GSWINDOW", saved);
    SetPort(old_port);
}

void SetFontAndSize()
{
    SetPortWindowPort(theConsole);

    Str255 system_font;
    GetFontName(0, system_font);
    char name[256]; // a stored name with room for its length byte
    const char *stored = get_str_resource("FONTNAME");
    if (stored != nullptr && platform::copy_whole(name, stored)) {
        pStrCopy(consoleFontName, c2pstr(name));
        std::int16_t number = 0;
        GetFNum(consoleFontName, &number);
        if (number == 0 && !EqualString(consoleFontName, system_font, 0, 0))
            pStrCopy(consoleFontName, pascal(fallback_font));
    } else {
        pStrCopy(consoleFontName, system_font);
    }

    std::int32_t size = default_size;
    const char *stored_size = get_str_resource("FONTSIZE");
    if (stored_size == nullptr || std::sscanf(stored_size, "%d", &size) != 1)
        size = default_size;

    TXNTypeAttributes attributes[2] = {};
    attributes[0].tag = kTXNFontSizeAttribute;
    attributes[0].size = kTXNFontSizeAttributeSize;
    attributes[0].data.dataValue = Long2Fix(size);
    attributes[1].tag = kTXNFontNameAttribute;
    attributes[1].size = kTXNFontNameAttributeSize;
    attributes[1].data.dataPtr = consoleFontName;
    SetSelectionState(0);
    TXNSelectAll(text);
    TXNSetTypeAttributes(text, std::size(attributes), attributes, kTXNUseCurrentSelection,
                         kTXNUseCurrentSelection);
}

void SaveConsole()
{
    char path[path_size];
    if (!put_file("Save console output as", "console.log", path))
        return;
    FSSpec spec = {};
    FSPathMakeFSSpec(path, &spec, nullptr);
    constexpr std::int16_t system_script = -1;
    FSpCreate(&spec, four_chars("MPS "), four_chars("TEXT"), system_script);
    constexpr std::int8_t to_read_and_write = 3;
    FSIORefNum file = 0;
    if (FSpOpenDF(&spec, to_read_and_write, &file) != noErr) {
        std::printf("can't open data fork");
        std::fflush(stdout);
        return;
    }
    SetEOF(file, 0);
    const OSStatus error =
        TXNSave(text, kTXNTextData, four_chars("MPSR"), kTXNMacOSEncoding, &spec, file, 0);
    FSClose(file);
    if (error != noErr)
        return;
    FInfo info = {};
    FSpGetFInfo(&spec, &info);
    info.fdCreator = four_chars("ttxt"); // so that it opens in the system's editor
    info.fdType = four_chars("TEXT");
    FSpSetFInfo(&spec, &info);
}

void TextCleanUp()
{
    Rect bounds = {};
    GetWindowPortBounds(theConsole, &bounds);
    SaveWindow(&bounds);
    TXNDeleteObject(text);
    text = nullptr;
}

// ---- operations on the window ----

void Text_Activate(WindowRef window, Boolean active)
{
    if (window != theConsole)
        return;
    GrafPtr old_port = nullptr;
    GetPort(&old_port);
    SetPortWindowPort(window);
    TXNFocus(text, active);
    TXNActivate(text, active);
    SetPort(old_port);
}

void Text_Update(WindowRef window)
{
    if (window == theConsole)
        TXNUpdate(text);
}

void CloseTextWindow(WindowRef window)
{
    if (window == theConsole)
        HideWindow(window);
}

void ForceTextUpdate()
{
    TXNForceUpdate(text);
}

void GrowTextWindow(Point point)
{
    EventRecord event = {};
    event.what = mouseDown;
    event.where = point;
    TXNGrowWindow(text, &event);
    fill_window();
}

void ZoomTextWindow(std::int16_t part)
{
    TXNZoomWindow(text, part);
}

void DoTextContent(const EventRecord *event)
{
    Point point = event->where;
    GlobalToLocal(&point);
    Rect bounds = {};
    GetWindowPortBounds(theConsole, &bounds);
    bounds.right = static_cast<std::int16_t>(bounds.right - scroll_bar_click);
    bounds.bottom = static_cast<std::int16_t>(bounds.bottom - scroll_bar_click);
    if (PtInRect(point, &bounds))
        TXNClick(text, event);
}

void AdjustCursor()
{
    if (FrontWindow() == theConsole && get_text != 0)
        TXNAdjustCursor(text, sMouseRgn);
    else
        restore();
}

// ---- events ----

OSStatus windowEventHandler(EventHandlerCallRef /*call*/, EventRef event, void * /*userData*/)
{
    if (GetEventClass(event) == kEventClassKeyboard && GetEventKind(event) == kEventRawKeyDown)
        return key_pressed(event);
    if (GetEventClass(event) == kEventClassWindow)
        return window_event(event);
    return eventNotHandledErr;
}

EventHandlerUPP doGetHandlerUPP()
{
    static const EventHandlerUPP handler = NewEventHandlerUPP(windowEventHandler);
    return handler;
}
