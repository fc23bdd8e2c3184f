#include "app/startup.h"

#include "app/cursors.h"
#include "app/drag_drop.h"
#include "app/event_pump.h"
#include "app/globals.h"
#include "app/pascal_text.h"
#include "console/console_text.h"
#include "console/console_window.h"
#include "platform/processes.h"
#include "platform/resources.h"
#include "settings/file_choosers.h"
#include "settings/prefs_store.h"
#include "tests/support/spine_test.h"

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>

namespace {

class StartUp : public spine_test {
protected:
    ~StartUp() override
    {
        platform::set_front_process(true);
    }

    // A bundle as it is installed, with an executable of that name.
    std::string make_bundle(const std::string &place, const std::string &name) const
    {
        folder.make_folder(place + "/X.app/Contents/MacOS");
        folder.make_folder(place + "/X.app/Contents/Resources");
        return folder.write(place + "/X.app/Contents/MacOS/" + name, "#!/bin/sh\n");
    }
};

constexpr OSType menu_selector = four_chars("menu");
constexpr OSType version_selector = four_chars("sysv");

} // namespace

// ---- the system ----

TEST_F(StartUp, TheMenuLayoutIsBitOneOfTheAnswer)
{
    const std::pair<std::int32_t, int> answers[] = {{0, 0}, {1, 0}, {2, 1},
                                                    {3, 1}, {4, 0}, {-1, 1}};
    for (const auto &[answer, aqua] : answers) {
        watched.gestalt[menu_selector] = answer;
        hasAqua = 99;
        CheckSystem();
        EXPECT_EQ(hasAqua, aqua) << answer;
    }
    watched.gestalt_errors = {menu_selector};
    CheckSystem();
    EXPECT_EQ(hasAqua, 0);
}

TEST_F(StartUp, SystemsAbove102FAreNewEnough)
{
    const std::pair<std::int32_t, int> versions[] = {
        {0x1030, 1}, {0x1049, 1}, {0x102F, 0}, {0x1000, 0}, {0, 0}};
    for (const auto &[version, enough] : versions) {
        watched.gestalt[version_selector] = version;
        have103 = 0;
        CheckSystem();
        EXPECT_EQ(have103, enough) << version;
    }
}

TEST_F(StartUp, TheSystemsFlagIsNeverCleared)
{
    watched.gestalt[version_selector] = 0x1000;
    have103 = 1;
    CheckSystem();
    EXPECT_EQ(have103, 1);
}

TEST_F(StartUp, SystemsAbove7FFHaveAnAppearance)
{
    watched.gestalt[version_selector] = 0x7FF;
    CheckSystem();
    EXPECT_EQ(watched.count("RegisterAppearanceClient"), 0U);
    watched.gestalt[version_selector] = 0x800;
    CheckSystem();
    EXPECT_EQ(watched.count("RegisterAppearanceClient"), 1U);
}

TEST_F(StartUp, WithoutAVersionNothingMoreIsLearnt)
{
    watched.gestalt_errors = {version_selector};
    have103 = 0;
    CheckSystem();
    EXPECT_EQ(have103, 0);
    EXPECT_EQ(watched.count("RegisterAppearanceClient"), 0U);
}

TEST_F(StartUp, ThisSystemIsNewEnoughAndHasTheAquaLayout)
{
    have103 = 0;
    hasAqua = 0;
    CheckSystem();
    EXPECT_EQ(have103, 1);
    EXPECT_EQ(hasAqua, 1);
}

// ---- the program's own place ----

TEST_F(StartUp, TheBundleIsFoundFromTheExecutable)
{
    watched.executable = make_bundle("Tools", "X");
    Str255 title;
    EXPECT_EQ(GetApplName(title), 1);
    EXPECT_EQ(contentsPath, folder / "Tools/X.app/Contents");
    EXPECT_EQ(appPath, folder / "Tools");
    EXPECT_STREQ(reinterpret_cast<char *>(title), "X");
}

TEST_F(StartUp, TheBundlesPlaceMayHaveAnyName)
{
    for (const std::string &place : {std::string("two words"), std::string("a\"$(x)'`\\"),
                                     std::string(200, 'l'), std::string("\xC3\xA4")}) {
        watched.executable = make_bundle(place, "papermill");
        Str255 title;
        GetApplName(title);
        EXPECT_EQ(contentsPath, folder / place + "/X.app/Contents");
        EXPECT_EQ(appPath, folder / place);
    }
}

TEST_F(StartUp, ANameOf31CharactersIsWhole)
{
    const std::string name(31, 'n');
    watched.executable = make_bundle("Tools", name);
    Str255 title;
    GetApplName(title);
    EXPECT_EQ(reinterpret_cast<char *>(title), name);
}

TEST_F(StartUp, TheProgramAsItRunsKnowsItself)
{
    Str255 title;
    GetApplName(title);
    EXPECT_STREQ(reinterpret_cast<char *>(title), "unit_tests");
    EXPECT_TRUE(file_exists(std::string(contentsPath) + "/tests/unit_tests"));
}

TEST_F(StartUp, TheFrontProcessIsToldFromTheOthers)
{
    Str255 title;
    EXPECT_EQ(GetApplName(title), 1);
    platform::set_front_process(false);
    EXPECT_EQ(GetApplName(title), 0);
}

// ---- folders ----

TEST_F(StartUp, NewSystemsHaveATemporaryFolderOfTheProcesssOwn)
{
    have103 = 1;
    GetFolders();
    EXPECT_NE(std::strstr(tmpPath, ("papermill-" + std::to_string(getuid()) + "-").c_str()),
              nullptr)
        << tmpPath;
    EXPECT_EQ(access(tmpPath, W_OK), 0);
    EXPECT_EQ(worksheet, std::string(tmpPath) + "/worksheet");
    EXPECT_STREQ(userPath, std::getenv("HOME"));
    EXPECT_EQ(prefsPath, std::string(std::getenv("HOME")) + "/.config/papermill");
}

TEST_F(StartUp, OldSystemsUseTheCommonTemporaryFolder)
{
    have103 = 0;
    GetFolders();
    EXPECT_STREQ(tmpPath, "/tmp");
    EXPECT_STREQ(worksheet, "/tmp/worksheet");
    EXPECT_STREQ(userPath, std::getenv("HOME"));
}

// ---- the settings read at start ----

TEST_F(StartUp, DebugIsOnWhenItsSettingBeginsWithOne)
{
    initial();
    EXPECT_EQ(doDebug, 0); // missing
    const std::pair<const char *, int> cases[] = {{"1", 1},   {"10", 1}, {"0", 0}, {"", 0},
                                                  {"yes", 0}, {" 1", 0}, {"01", 0}};
    for (const auto &[value, on] : cases) {
        set_setting("DEBUG1", value);
        delete_console_text();
        doDebug = 99;
        initial();
        EXPECT_EQ(doDebug, on) << value;
    }
}

TEST_F(StartUp, PdftopsIsUsedUnlessItsSettingBeginsWithZero)
{
    usePDFTOPS = 99;
    initial();
    EXPECT_EQ(usePDFTOPS, 0); // missing
    const std::pair<const char *, int> cases[] = {{"0", 0},   {"", 0},   {"00", 0}, {"1", 1},
                                                  {"yes", 1}, {"no", 1}, {" ", 1}};
    for (const auto &[value, used] : cases) {
        set_setting("PDFTOPS_STR", value);
        delete_console_text();
        hasPDFTOPS = 0;
        initial();
        EXPECT_EQ(usePDFTOPS, used) << value;
        EXPECT_EQ(hasPDFTOPS, 1);
    }
}

TEST_F(StartUp, TheTiffFormatIsANumber)
{
    tiff_format = 99;
    initial();
    EXPECT_EQ(tiff_format, 1); // missing
    const std::pair<const char *, int> cases[] = {{"0", 1},   {"", 1},    {"07", 1}, {"7", 7},
                                                  {"12", 12}, {"abc", 0}, {"3x", 3}};
    for (const auto &[value, number] : cases) {
        set_setting("TIFFFORMAT", value);
        delete_console_text();
        tiff_format = 99;
        initial();
        EXPECT_EQ(tiff_format, number) << value;
    }
}

// ---- the steps together ----

TEST_F(StartUp, EverythingStandsAfterwards)
{
    appPID = 0;
    theConsole = nullptr;
    eventProc1 = nullptr;
    EXPECT_EQ(initial(), 1);
    EXPECT_EQ(eventProc1, &myEventProc1);
    EXPECT_NE(theConsole, nullptr);
    EXPECT_EQ(FrontWindow(), theConsole);
    EXPECT_STREQ(reinterpret_cast<char *>(ptitle), "unit_tests");
    EXPECT_EQ(appPID, getpid());
    EXPECT_EQ(inBackground, 0);
    const std::string path = std::getenv("PATH");
    EXPECT_EQ(path.find(std::string(contentsPath) + "/Resources/bin:/usr/local/bin:"), 0U);
    EXPECT_EQ(watched.order(), "RegisterAppearanceClient SetDialogFont AESetInteractionAllowed(1) "
                               "NewNavEventUPP TXNSelectAll TXNActivate(1) SetCursor");
    ASSERT_EQ(watched.installed.size(), 13U);
    EXPECT_EQ(watched.installed.back(), "AESetInteractionAllowed(1)");
    EXPECT_EQ(console.text(), "");
}

TEST_F(StartUp, TheStepsComeInTheirOrder)
{
    watched.steps.clear();
    EXPECT_EQ(initial(), 1);
    EXPECT_EQ(watched.steps, (std::vector<std::string>{"MoreMasters",
                                                       "MoreMasters",
                                                       "Gestalt menu",
                                                       "Gestalt other",
                                                       "RegisterAppearanceClient",
                                                       "GetCursor 1",
                                                       "SetDialogFont 0",
                                                       "DoAEInstallation",
                                                       "CreateNavUPP1",
                                                       "FSFindFolder t create",
                                                       "FSFindFolder c create",
                                                       "FSFindFolder p",
                                                       "getMachOCalls",
                                                       "check_config",
                                                       "GetProcessInformation",
                                                       "SetUpTextWindow",
                                                       "Text_Activate 1",
                                                       "Text_Update",
                                                       "make_config",
                                                       "get_str_resource DEBUG1",
                                                       "SetUpMenus",
                                                       "SetBinaryPath",
                                                       "get_string PDFTOPS_STR",
                                                       "get_str_resource TIFFFORMAT",
                                                       "SetCursor"}));
    watched.steps.clear();
    gDragTrackingHandlerUPP = nullptr;
    gDragReceiveHandlerUPP = nullptr;
    myMask = 0;
    install_handlers();
    EXPECT_EQ(watched.steps, (std::vector<std::string>{
                                 "signal " + std::to_string(SIGUSR1), "InstallTrackingHandler",
                                 "InstallReceiveHandler", "InstallEventHandler 4"}));
    EXPECT_EQ(gDragTrackingHandlerUPP, &dragTrackingHandler);
    EXPECT_EQ(gDragReceiveHandlerUPP, &dragReceiveHandler);
    EXPECT_EQ(myMask, 0xFFFF);
}

TEST_F(StartUp, InTheBackgroundTheConsoleIsInactive)
{
    platform::set_front_process(false);
    initial();
    EXPECT_EQ(inBackground, 1);
    EXPECT_EQ(watched.count("TXNActivate(0)"), 1U);
    EXPECT_EQ(watched.count("TXNActivate(1)"), 0U);
}

TEST_F(StartUp, MessagesOfLaterStepsReachTheConsole)
{
    set_setting("DEBUG1", "1");
    initial();
    EXPECT_EQ(console.lines(), std::string(appPath) +
                                   "/bin/gs not found. Using system ghostscript.\nPATH = " +
                                   std::getenv("PATH") + "\n\n");
}

TEST_F(StartUp, AMissingPreferencesFileIsCreatedAndTold)
{
    ASSERT_EQ(unlink((std::string(prefsPath) + "/PapermillPrefsDF").c_str()), 0);
    watched.executable = make_bundle("Tools", "papermill");
    const std::string pristine =
        folder.write("Tools/X.app/Contents/Resources/PapermillPrefsDF",
                     read_file(std::string(PAPERMILL_BUNDLE) + "/Resources/PapermillPrefsDF"));
    initial();
    EXPECT_EQ(console.lines(), "Creating the papermill preferences file.\nMoving \"" + pristine +
                                   "\" to \"" + prefsPath + "\"\n\n");
    EXPECT_EQ(read_file(std::string(prefsPath) + "/PapermillPrefsDF"), read_file(pristine));
    EXPECT_EQ(havePrefs, 1);
}

// ---- the signal ----

TEST_F(StartUp, TheSignalEndsTheWaitAgainAndAgain)
{
    install_signal_handler();
    for (int i = 0; i < 3; ++i) {
        inScript = 1;
        raise(SIGUSR1);
        EXPECT_EQ(inScript, 0);
    }
}

TEST_F(StartUp, TheHandlerInstallsItselfAgain)
{
    std::signal(SIGUSR1, SIG_IGN);
    inScript = 1;
    mysighandler(SIGUSR1);
    EXPECT_EQ(inScript, 0);
    inScript = 1;
    raise(SIGUSR1);
    EXPECT_EQ(inScript, 0);
}

// ---- the pump, cursors, small helpers ----

namespace {

class Pump : public spine_test {
protected:
    Pump()
    {
        char title[32] = "console";
        theConsole = SetUpTextWindow(title);
        watched.calls.clear();
    }

    ~Pump() override
    {
        get_text = 0;
    }
};

} // namespace

TEST_F(Pump, OneTurnAsksForEventsFor15Ticks)
{
    EXPECT_EQ(main_event(0x1234), 0); // nothing came
    EXPECT_EQ(watched.event_mask, 0x1234);
    EXPECT_EQ(watched.event_sleep, 15U);
}

TEST_F(Pump, ATurnWithoutAnEventIsIdle)
{
    get_text = 1;
    main_event(0xFFFF);
    EXPECT_EQ(watched.order(), "TXNIdle");
}

TEST_F(Pump, TheCaretBlinksOnlyInAReadingConsoleInFront)
{
    get_text = 1;
    do_idle();
    EXPECT_EQ(watched.count("TXNIdle"), 1U);

    get_text = 0;
    do_idle();
    get_text = 2;
    do_idle();
    get_text = 1;
    inBackground = 1;
    do_idle();
    inBackground = 0;
    const Rect bounds = {0, 0, 9, 9};
    ShowWindow(NewCWindow(nullptr, &bounds, reinterpret_cast<ConstStringPtr>("\5other"), 0,
                          documentProc, nullptr, 0, 0));
    // It is in front now.
    do_idle();
    EXPECT_EQ(watched.count("TXNIdle"), 1U);
}

TEST_F(Pump, OtherEventsAskForNothing)
{
    EventRecord event = {};
    for (const std::uint16_t what : {std::uint16_t{0}, mouseDown, std::uint16_t{24}}) {
        event.what = what;
        DoEvent(&event);
    }
    EXPECT_EQ(watched.order(), "");
    EXPECT_EQ(console.text(), "");
}

TEST_F(Pump, AHighLevelEventIsARequestThatWaits)
{
    EventRecord event = {};
    event.what = 23;
    DoEvent(&event);
    EXPECT_EQ(watched.order(), "AEProcessAppleEvent");
}

TEST_F(StartUp, TheEditCursorIsACopyOfTheSystems)
{
    std::memset(&editCursor, 0x5A, sizeof editCursor);
    SetUpCursors();
    EXPECT_EQ(std::memcmp(&editCursor, *GetCursor(1), sizeof editCursor), 0);
}

TEST_F(StartUp, RestoreSetsTheArrow)
{
    restore();
    EXPECT_EQ(watched.order(), "SetCursor");
}

TEST_F(StartUp, PascalStringsAreCopiedByTheirLength)
{
    Str255 to;
    std::memset(to, '#', sizeof to);
    const unsigned char from[] = "\3abcdef";
    pStrCopy(to, from);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(to), 5), "\3abc#");
    Str255 longest;
    std::memset(longest, 'x', sizeof longest);
    longest[0] = 255;
    pStrCopy(to, longest);
    EXPECT_EQ(std::memcmp(to, longest, sizeof to), 0);
    longest[0] = 0;
    longest[1] = 'y';
    pStrCopy(to, longest);
    EXPECT_EQ(to[0], 0);
    EXPECT_EQ(to[1], 'x');
}

// ---- the program's own resources ----

namespace {

class OwnResources : public StartUp {
protected:
    OwnResources()
    {
        watched.executable = make_bundle("Tools", "papermill");
    }

    ~OwnResources() override
    {
        if (CurResFile() != -1)
            CloseResFile(CurResFile());
    }

    void install_resources() const
    {
        folder.write("Tools/X.app/Contents/Resources/Papermill.rsrc",
                     read_file(std::string(PAPERMILL_BUNDLE) + "/Resources/Papermill.rsrc"));
    }
};

} // namespace

TEST_F(OwnResources, TheInfoTextIsShown)
{
    install_resources();
    ASSERT_TRUE(platform::open_application_resources());
    info();
    const std::string shown = console.text();
    EXPECT_EQ(shown.substr(0, 11), "\rPapermill ");
    EXPECT_NE(shown.find("\rFree software under the MIT licence.\r"), std::string::npos);
    EXPECT_EQ(shown.find('\n'), std::string::npos);
    console.clear();
    info(); // it is there for the next time, too
    EXPECT_EQ(console.text(), shown);
}

TEST_F(OwnResources, WithoutTheInfoTextThatIsTold)
{
    EXPECT_FALSE(platform::open_application_resources());
    info();
    EXPECT_EQ(console.lines(), "Can't get string resource.\n");
}

TEST_F(OwnResources, ShippedDefaultsAreRead)
{
    install_resources();
    ASSERT_TRUE(platform::open_application_resources());
    char *value = get_default_resource("PS2PDF_OPTION_STR");
    EXPECT_NE(value, nullptr);
    std::free(value);
    EXPECT_EQ(get_default_resource("NO_SUCH_KEY"), nullptr);
}

TEST_F(OwnResources, SettingsLeaveThemInTheirPlace)
{
    install_resources();
    ASSERT_TRUE(platform::open_application_resources());
    const ResFileRefNum own = CurResFile();
    set_setting("FONTNAME", "Monaco");
    EXPECT_STREQ(get_str_resource("FONTNAME"), "Monaco");
    EXPECT_EQ(get_str_resource("PS2PDF_OPTION_STR"), nullptr); // a default is no setting
    EXPECT_EQ(CurResFile(), own);
}

TEST_F(StartUp, ThatScriptingIsOffIsSaidToWhoeverWantsToKnowAll)
{
    doDebug = 0;
    tell_scripting_is_off();
    EXPECT_EQ(console.text(), "");
    doDebug = 1;
    tell_scripting_is_off();
    EXPECT_EQ(console.text(), "Scripting is off: no session bus answers.\r");
}
