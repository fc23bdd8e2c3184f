#include "app/startup.h"

#include "app/commands.h"
#include "app/cursors.h"
#include "app/drag_drop.h"
#include "app/event_pump.h"
#include "app/globals.h"
#include "app/menus.h"
#include "console/console_io.h"
#include "console/console_text.h"
#include "console/console_window.h"
#include "engine/tool_environment.h"
#include "platform/events.h"
#include "platform/memory.h"
#include "platform/processes.h"
#include "platform/resources.h"
#include "platform/strings.h"
#include "platform/windows.h"
#include "scripting/apple_events.h"
#include "settings/file_choosers.h"
#include "settings/prefs_store.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr std::int32_t system_10_2 = 0x102F;
constexpr std::int32_t system_with_appearance = 0x7FF;
constexpr std::int32_t aqua_menu_bit = 2;

void cut_at_last_slash(char *path)
{
    char *slash = std::strrchr(path, '/');
    if (slash != nullptr)
        *slash = 0;
}

void find_folder(OSType type, Boolean create, char (&path)[path_size])
{
    FSRef folder;
    if (FSFindFolder(kOnAppropriateDisk, type, create, &folder) == noErr)
        FSRefMakePath(&folder, path, path_limit);
}

} // namespace

int initial()
{
    MoreMasters();
    MoreMasters();
    CheckSystem();
    SetUpCursors();
    SetDialogFont(0);
    DoAEInstallation();
    CreateNavUPP1();
    GetFolders();
    getMachOCalls();
    check_config();
    inBackground = GetApplName(ptitle) ? 0 : 1;
    theConsole = SetUpTextWindow(reinterpret_cast<char *>(ptitle));
    Text_Activate(theConsole, inBackground == 0 ? 1 : 0);
    Text_Update(theConsole);
    make_config();

    const char *debug = get_str_resource("DEBUG1");
    doDebug = debug != nullptr && debug[0] == '1' ? 1 : 0;
    SetUpMenus();
    SetBinaryPath();

    char *pdftops = get_string("PDFTOPS_STR");
    usePDFTOPS = pdftops == nullptr || pdftops[0] == 0 || pdftops[0] == '0' ? 0 : 1;
    std::free(pdftops);
    hasPDFTOPS = 1;

    const char *format = get_str_resource("TIFFFORMAT");
    tiff_format = 1;
    if (format != nullptr && format[0] != 0 && format[0] != '0')
        tiff_format = std::atoi(format);
    restore();
    return 1;
}

void CheckSystem()
{
    std::int32_t response = 0;
    Gestalt(gestaltMenuMgrAttr, &response);
    hasAqua = (response & aqua_menu_bit) != 0 ? 1 : 0;
    if (Gestalt(gestaltSystemVersion, &response) != noErr)
        return;
    if (response > system_10_2)
        have103 = 1;
    if (response > system_with_appearance)
        RegisterAppearanceClient();
}

Boolean GetApplName(StringPtr title)
{
    ProcessSerialNumber current = {};
    GetCurrentProcess(&current);
    FSSpec executable = {};
    ProcessInfoRec record = {};
    record.processInfoLength = sizeof record;
    record.processName = title;
    record.processAppSpec = &executable;
    GetProcessInformation(&current, &record);

    FSRef reference;
    if (FSpMakeFSRef(&executable, &reference) == noErr)
        FSRefMakePath(&reference, appPath, path_limit);
    cut_at_last_slash(appPath);
    cut_at_last_slash(appPath);
    platform::copy_whole(contentsPath, appPath);
    cut_at_last_slash(appPath);
    cut_at_last_slash(appPath);
    p2cstr(title);

    ProcessSerialNumber front = {};
    GetFrontProcess(&front);
    Boolean same = 1;
    SameProcess(&current, &front, &same);
    return same;
}

void GetFolders()
{
    if (have103)
        find_folder(kTemporaryFolderType, 1, tmpPath);
    else
        platform::copy_whole(tmpPath, "/tmp");
    find_folder(kCurrentUserFolderType, 1, userPath);
    find_folder(kPreferencesFolderType, 0, prefsPath);
    std::snprintf(worksheet, sizeof worksheet, "%s/worksheet", tmpPath);
}

void mysighandler(int /*signal_number*/)
{
    inScript = 0;
    platform::signal(SIGUSR1, mysighandler);
}

void install_signal_handler()
{
    platform::signal(SIGUSR1, mysighandler);
}

void install_handlers()
{
    install_signal_handler();
    gDragTrackingHandlerUPP = NewDragTrackingHandlerUPP(dragTrackingHandler);
    InstallTrackingHandler(gDragTrackingHandlerUPP, nullptr, nullptr);
    gDragReceiveHandlerUPP = NewDragReceiveHandlerUPP(dragReceiveHandler);
    InstallReceiveHandler(gDragReceiveHandlerUPP, nullptr, nullptr);
    InstallEventHandler(GetApplicationEventTarget(), NewEventHandlerUPP(myAppHandler),
                        application_event_count, applicationEvents, nullptr);
    myMask = 0xFFFF;
}

void tell_scripting_is_off()
{
    if (doDebug)
        text_printf("Scripting is off: no session bus answers.\n");
}

void tell_missing_tools()
{
    for (const char *tool : {"gs", "tcsh"}) {
        if (find_tool(tool).empty())
            text_printf("%s was not found. Install the package %s.\n", tool, package_of(tool));
    }
}

void info()
{
    const unsigned char name[] = {4, 'I', 'n', 'f', 'o'};
    const Handle resource = GetNamedResource(four_chars("TEXT"), name);
    if (resource == nullptr) {
        text_printf("Can't get string resource.\n");
        return;
    }
    const std::size_t size = GetHandleSize(resource);
    if (size == 0)
        return;
    HLock(resource);
    text_printf("\n");
    PutTextInfo(*resource, static_cast<std::int32_t>(size));
    HUnlock(resource);
    DetachResource(resource);
    DisposeHandle(resource);
}
