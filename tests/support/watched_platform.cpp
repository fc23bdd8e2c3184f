#include "tests/support/watched_platform.h"

#include "app/globals.h"
#include "platform/apple_events.h"
#include "platform/drag.h"
#include "platform/events.h"
#include "platform/navigation.h"
#include "platform/processes.h"
#include "platform/quickdraw.h"
#include "platform/text_engine.h"
#include "tests/support/console_capture.h"

#include <algorithm>

watched_platform watched;

std::size_t watched_platform::count(const std::string &name) const
{
    return static_cast<std::size_t>(std::count_if(
        calls.begin(), calls.end(), [&](const platform_call &call) { return call.name == name; }));
}

const platform_call *watched_platform::first(const std::string &name) const
{
    const auto found = std::find_if(calls.begin(), calls.end(),
                                    [&](const platform_call &call) { return call.name == name; });
    return found == calls.end() ? nullptr : &*found;
}

std::string watched_platform::order() const
{
    std::string names;
    for (const platform_call &call : calls)
        names += (names.empty() ? "" : " ") + call.name;
    return names;
}

static void note(const char *name)
{
    watched.calls.push_back(
        {name, watched.console != nullptr ? watched.console->lines() : "", inRun == 1});
}

// A step of a start, while one is alive; those within another one do not count.
class step {
public:
    explicit step(const std::string &name)
    {
        if (depth++ == 0)
            watched.steps.push_back(name);
    }
    ~step()
    {
        --depth;
    }
    step(const step &) = delete;
    step &operator=(const step &) = delete;

private:
    static inline int depth = 0;
};

// The linker sends the calls of the operation `name` to watched_..., and gives the operation itself
// the name real_.... The names are those that the compiler makes of the declarations.
#define REAL(mangled) __asm__("__real_" mangled)
#define WATCHED(mangled) __asm__("__wrap_" mangled)

std::uint32_t real_TickCount() REAL("_Z9TickCountv");
std::uint32_t watched_TickCount() WATCHED("_Z9TickCountv");
std::uint32_t watched_TickCount()
{
    if (watched.clock.empty())
        return real_TickCount();
    const std::uint32_t now = watched.clock.front();
    if (watched.clock.size() > 1) // the last reading stays
        watched.clock.erase(watched.clock.begin());
    return now;
}

OSErr real_Gestalt(OSType selector, std::int32_t *response) REAL("_Z7GestaltjPi");
OSErr watched_Gestalt(OSType selector, std::int32_t *response) WATCHED("_Z7GestaltjPi");
OSErr watched_Gestalt(OSType selector, std::int32_t *response)
{
    const step s(selector == four_chars("menu") ? "Gestalt menu" : "Gestalt other");
    const auto &errors = watched.gestalt_errors;
    if (std::find(errors.begin(), errors.end(), selector) != errors.end())
        return gestaltUndefSelectorErr;
    const auto answer = watched.gestalt.find(selector);
    if (answer == watched.gestalt.end())
        return real_Gestalt(selector, response);
    *response = answer->second;
    return noErr;
}

OSStatus real_RegisterAppearanceClient() REAL("_Z24RegisterAppearanceClientv");
OSStatus watched_RegisterAppearanceClient() WATCHED("_Z24RegisterAppearanceClientv");
OSStatus watched_RegisterAppearanceClient()
{
    const step s("RegisterAppearanceClient");
    note("RegisterAppearanceClient");
    return real_RegisterAppearanceClient();
}

void real_SetCursor(const Cursor *cursor) REAL("_Z9SetCursorPK6Cursor");
void watched_SetCursor(const Cursor *cursor) WATCHED("_Z9SetCursorPK6Cursor");
void watched_SetCursor(const Cursor *cursor)
{
    const step s("SetCursor");
    note("SetCursor");
    real_SetCursor(cursor);
}

void real_TXNForceUpdate(TXNObject object) REAL("_Z14TXNForceUpdateP15OpaqueTXNObject");
void watched_TXNForceUpdate(TXNObject object) WATCHED("_Z14TXNForceUpdateP15OpaqueTXNObject");
void watched_TXNForceUpdate(TXNObject object)
{
    note("TXNForceUpdate");
    real_TXNForceUpdate(object);
}

void real_TXNSelectAll(TXNObject object) REAL("_Z12TXNSelectAllP15OpaqueTXNObject");
void watched_TXNSelectAll(TXNObject object) WATCHED("_Z12TXNSelectAllP15OpaqueTXNObject");
void watched_TXNSelectAll(TXNObject object)
{
    note("TXNSelectAll");
    real_TXNSelectAll(object);
}

OSStatus real_TXNClear(TXNObject object) REAL("_Z8TXNClearP15OpaqueTXNObject");
OSStatus watched_TXNClear(TXNObject object) WATCHED("_Z8TXNClearP15OpaqueTXNObject");
OSStatus watched_TXNClear(TXNObject object)
{
    note("TXNClear");
    return real_TXNClear(object);
}

void real_TXNIdle(TXNObject object) REAL("_Z7TXNIdleP15OpaqueTXNObject");
void watched_TXNIdle(TXNObject object) WATCHED("_Z7TXNIdleP15OpaqueTXNObject");
void watched_TXNIdle(TXNObject object)
{
    note("TXNIdle");
    real_TXNIdle(object);
}

void real_TXNActivate(TXNObject object, Boolean active) REAL("_Z11TXNActivateP15OpaqueTXNObjecth");
void watched_TXNActivate(TXNObject object, Boolean active)
    WATCHED("_Z11TXNActivateP15OpaqueTXNObjecth");
void watched_TXNActivate(TXNObject object, Boolean active)
{
    note(active ? "TXNActivate(1)" : "TXNActivate(0)");
    real_TXNActivate(object, active);
}

Boolean real_WaitNextEvent(std::uint16_t mask, EventRecord *event, std::uint32_t sleep,
                           void *mouse_region) REAL("_Z13WaitNextEventtP11EventRecordjPv");
Boolean watched_WaitNextEvent(std::uint16_t mask, EventRecord *event, std::uint32_t sleep,
                              void *mouse_region) WATCHED("_Z13WaitNextEventtP11EventRecordjPv");
Boolean watched_WaitNextEvent(std::uint16_t mask, EventRecord *event, std::uint32_t sleep,
                              void *mouse_region)
{
    watched.event_mask = mask;
    watched.event_sleep = sleep;
    return real_WaitNextEvent(mask, event, sleep, mouse_region);
}

OSStatus real_ShowSheetWindow(WindowRef sheet, WindowRef parent)
    REAL("_Z15ShowSheetWindowP12OpaqueWindowS0_");
OSStatus watched_ShowSheetWindow(WindowRef sheet, WindowRef parent)
    WATCHED("_Z15ShowSheetWindowP12OpaqueWindowS0_");
OSStatus watched_ShowSheetWindow(WindowRef sheet, WindowRef parent)
{
    note("ShowSheetWindow");
    return real_ShowSheetWindow(sheet, parent);
}

OSStatus real_HideSheetWindow(WindowRef sheet) REAL("_Z15HideSheetWindowP12OpaqueWindow");
OSStatus watched_HideSheetWindow(WindowRef sheet) WATCHED("_Z15HideSheetWindowP12OpaqueWindow");
OSStatus watched_HideSheetWindow(WindowRef sheet)
{
    note("HideSheetWindow");
    return real_HideSheetWindow(sheet);
}

OSErr real_GetProcessInformation(const ProcessSerialNumber *process, ProcessInfoRec *info)
    REAL("_Z21GetProcessInformationPK19ProcessSerialNumberP14ProcessInfoRec");
OSErr watched_GetProcessInformation(const ProcessSerialNumber *process, ProcessInfoRec *info)
    WATCHED("_Z21GetProcessInformationPK19ProcessSerialNumberP14ProcessInfoRec");
OSErr watched_GetProcessInformation(const ProcessSerialNumber *process, ProcessInfoRec *info)
{
    const step s("GetProcessInformation");
    const std::string &path = watched.executable;
    if (path.empty())
        return real_GetProcessInformation(process, info);
    const std::string name = path.substr(path.rfind('/') + 1);
    if (info->processName != nullptr) {
        info->processName[0] = static_cast<unsigned char>(name.size());
        std::copy(name.begin(), name.end(), info->processName + 1);
    }
    FSRef reference;
    const OSErr error = FSPathMakeRef(path.c_str(), &reference, nullptr);
    if (error != noErr || info->processAppSpec == nullptr)
        return error;
    return FSGetCatalogInfo(&reference, kFSCatInfoNone, nullptr, nullptr, info->processAppSpec,
                            nullptr);
}

// ---- Apple events ----

static std::string text_of_code(OSType code)
{
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8)
        text += static_cast<char>(code >> shift & 0xFF);
    return text;
}

OSErr real_AEInstallEventHandler(AEEventClass event_class, AEEventID event_id,
                                 AEEventHandlerUPP handler, std::uint32_t refcon, Boolean system)
    REAL("_Z21AEInstallEventHandlerjjPFsPK6AEDescPS_jEjh");
OSErr watched_AEInstallEventHandler(AEEventClass event_class, AEEventID event_id,
                                    AEEventHandlerUPP handler, std::uint32_t refcon, Boolean system)
    WATCHED("_Z21AEInstallEventHandlerjjPFsPK6AEDescPS_jEjh");
OSErr watched_AEInstallEventHandler(AEEventClass event_class, AEEventID event_id,
                                    AEEventHandlerUPP handler, std::uint32_t refcon, Boolean system)
{
    watched.installed.push_back(text_of_code(event_class) + "/" + text_of_code(event_id));
    if (refcon != 0 || system)
        ++watched.other_installations;
    return real_AEInstallEventHandler(event_class, event_id, handler, refcon, system);
}

OSErr real_AESetInteractionAllowed(std::uint8_t level) REAL("_Z23AESetInteractionAllowedh");
OSErr watched_AESetInteractionAllowed(std::uint8_t level) WATCHED("_Z23AESetInteractionAllowedh");
OSErr watched_AESetInteractionAllowed(std::uint8_t level)
{
    const std::string call = "AESetInteractionAllowed(" + std::to_string(level) + ")";
    note(call.c_str());
    watched.installed.push_back(call);
    return real_AESetInteractionAllowed(level);
}

OSErr real_AEProcessAppleEvent(const EventRecord *event)
    REAL("_Z19AEProcessAppleEventPK11EventRecord");
OSErr watched_AEProcessAppleEvent(const EventRecord *event)
    WATCHED("_Z19AEProcessAppleEventPK11EventRecord");
OSErr watched_AEProcessAppleEvent(const EventRecord *event)
{
    note("AEProcessAppleEvent");
    return real_AEProcessAppleEvent(event);
}

Boolean watched_CheckEventQueueForUserCancel() WATCHED("_Z28CheckEventQueueForUserCancelv");
Boolean watched_CheckEventQueueForUserCancel()
{
    return watched.user_cancels ? 1 : 0;
}

// ---- what start-up does before and after the handlers ----

void real_SetDialogFont(std::int16_t font) REAL("_Z13SetDialogFonts");
void watched_SetDialogFont(std::int16_t font) WATCHED("_Z13SetDialogFonts");
void watched_SetDialogFont(std::int16_t font)
{
    const step s("SetDialogFont " + std::to_string(font));
    note("SetDialogFont");
    real_SetDialogFont(font);
}

NavEventUPP real_NewNavEventUPP(NavEventUPP callback) REAL("_Z14NewNavEventUPPPFviP8NavCBRecPvE");
NavEventUPP watched_NewNavEventUPP(NavEventUPP callback)
    WATCHED("_Z14NewNavEventUPPPFviP8NavCBRecPvE");
NavEventUPP watched_NewNavEventUPP(NavEventUPP callback)
{
    note("NewNavEventUPP");
    return real_NewNavEventUPP(callback);
}

OSErr real_ShowDragHilite(DragRef drag, RgnHandle region, Boolean inside)
    REAL("_Z14ShowDragHiliteP10OpaqueDragPP6Regionh");
OSErr watched_ShowDragHilite(DragRef drag, RgnHandle region, Boolean inside)
    WATCHED("_Z14ShowDragHiliteP10OpaqueDragPP6Regionh");
OSErr watched_ShowDragHilite(DragRef drag, RgnHandle region, Boolean inside)
{
    watched.highlighted = true;
    watched.highlight = (*region)->bounds;
    GetPort(&watched.highlight_port);
    watched.highlight_clip = watched.highlight_port->clip;
    watched.highlight_inside = inside;
    return real_ShowDragHilite(drag, region, inside);
}

OSErr real_HideDragHilite(DragRef drag) REAL("_Z14HideDragHiliteP10OpaqueDrag");
OSErr watched_HideDragHilite(DragRef drag) WATCHED("_Z14HideDragHiliteP10OpaqueDrag");
OSErr watched_HideDragHilite(DragRef drag)
{
    watched.highlighted = false;
    return real_HideDragHilite(drag);
}

RgnHandle real_NewRgn() REAL("_Z6NewRgnv");
RgnHandle watched_NewRgn() WATCHED("_Z6NewRgnv");
RgnHandle watched_NewRgn()
{
    ++watched.regions;
    return real_NewRgn();
}

void real_DisposeRgn(RgnHandle region) REAL("_Z10DisposeRgnPP6Region");
void watched_DisposeRgn(RgnHandle region) WATCHED("_Z10DisposeRgnPP6Region");
void watched_DisposeRgn(RgnHandle region)
{
    --watched.regions;
    real_DisposeRgn(region);
}

// ---- the steps of a start, some of which are the program's own ----

#define WATCH_STEP(result, name, mangled, parameters, arguments, shown)                            \
    result real_##name parameters REAL(mangled);                                                   \
    result watched_##name parameters WATCHED(mangled);                                             \
    result watched_##name parameters                                                               \
    {                                                                                              \
        const step s(shown);                                                                       \
        return real_##name arguments;                                                              \
    }

WATCH_STEP(void, MoreMasters, "_Z11MoreMastersv", (), (), "MoreMasters")
WATCH_STEP(CursHandle, GetCursor, "_Z9GetCursors", (std::int16_t id), (id),
           "GetCursor " + std::to_string(id))
WATCH_STEP(void, DoAEInstallation, "_Z16DoAEInstallationv", (), (), "DoAEInstallation")
WATCH_STEP(void, CreateNavUPP1, "_Z13CreateNavUPP1v", (), (), "CreateNavUPP1")
WATCH_STEP(OSErr, FSFindFolder, "_Z12FSFindFoldersjhP5FSRef",
           (std::int16_t domain, OSType type, Boolean create, FSRef *folder),
           (domain, type, create, folder),
           std::string("FSFindFolder ") + static_cast<char>(type >> 24) + (create ? " create" : ""))
WATCH_STEP(void, getMachOCalls, "_Z13getMachOCallsv", (), (), "getMachOCalls")
WATCH_STEP(void, check_config, "_Z12check_configv", (), (), "check_config")
WATCH_STEP(WindowRef, SetUpTextWindow, "_Z15SetUpTextWindowPc", (char *title), (title),
           "SetUpTextWindow")
WATCH_STEP(void, Text_Activate, "_Z13Text_ActivateP12OpaqueWindowh",
           (WindowRef window, Boolean active), (window, active),
           "Text_Activate " + std::to_string(active))
WATCH_STEP(void, Text_Update, "_Z11Text_UpdateP12OpaqueWindow", (WindowRef window), (window),
           "Text_Update")
WATCH_STEP(void, make_config, "_Z11make_configv", (), (), "make_config")
WATCH_STEP(const char *, get_str_resource, "_Z16get_str_resourcePKc", (const char *key), (key),
           std::string("get_str_resource ") + key)
WATCH_STEP(char *, get_string, "_Z10get_stringPKc", (const char *key), (key),
           std::string("get_string ") + key)
WATCH_STEP(void, SetUpMenus, "_Z10SetUpMenusv", (), (), "SetUpMenus")
WATCH_STEP(void, SetBinaryPath, "_Z13SetBinaryPathv", (), (), "SetBinaryPath")
WATCH_STEP(void, signal, "_ZN8platform6signalEiPFviE", (int number, void (*handler)(int)),
           (number, handler), "signal " + std::to_string(number))
WATCH_STEP(OSErr, InstallTrackingHandler,
           "_Z22InstallTrackingHandlerPFssP12OpaqueWindowPvP10OpaqueDragES0_S1_",
           (DragTrackingHandlerUPP handler, WindowRef window, void *constant),
           (handler, window, constant), "InstallTrackingHandler")
WATCH_STEP(OSErr, InstallReceiveHandler,
           "_Z21InstallReceiveHandlerPFsP12OpaqueWindowPvP10OpaqueDragES0_S1_",
           (DragReceiveHandlerUPP handler, WindowRef window, void *constant),
           (handler, window, constant), "InstallReceiveHandler")
WATCH_STEP(OSStatus, InstallEventHandler,
           "_Z19InstallEventHandlerP17OpaqueEventTargetPFiP22OpaqueEventHandlerCallP11OpaqueEventPv"
           "EmPK13EventTypeSpecS5_",
           (EventTargetRef target, EventHandlerUPP handler, std::size_t count,
            const EventTypeSpec *list, void *data),
           (target, handler, count, list, data), "InstallEventHandler " + std::to_string(count))
