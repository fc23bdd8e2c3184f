#include "console/console_window.h"

#include "app/globals.h"
#include "console/console_io.h"
#include "console/console_text.h"
#include "engine/tool_launcher.h"
#include "platform/strings.h"
#include "platform/text_engine.h"

#include <cstdio>

namespace {

constexpr Rect default_bounds = {45, 10, 300, 600};
const EventTypeSpec windowEvents[] = {{kEventClassKeyboard, kEventRawKeyDown}};

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

} // namespace

WindowRef SetUpTextWindow(char *title)
{
    WindowRef window = NewCWindow(&default_bounds, c2pstr(title), 0);
    p2cstr(reinterpret_cast<StringPtr>(title));
    if (window == nullptr)
        return nullptr;
    ChangeWindowAttributes(window, kWindowStandardHandlerAttribute, 0);
    InstallEventHandler(GetWindowEventTarget(window), NewEventHandlerUPP(windowEventHandler),
                        sizeof windowEvents / sizeof windowEvents[0], windowEvents, nullptr);
    if (TXNNewObject(window, &text) != noErr)
        return nullptr;
    SetSelectionState(0);
    ShowWindow(window);
    return window;
}

void Text_Activate(WindowRef window, Boolean active)
{
    if (window != theConsole)
        return;
    TXNFocus(text, active);
    TXNActivate(text, active);
}

void Text_Update(WindowRef window)
{
    if (window == theConsole)
        TXNUpdate(text);
}

OSStatus windowEventHandler(EventHandlerCallRef /*call*/, EventRef event, void * /*userData*/)
{
    if (GetEventClass(event) == kEventClassKeyboard && GetEventKind(event) == kEventRawKeyDown)
        return key_pressed(event);
    return eventNotHandledErr;
}
