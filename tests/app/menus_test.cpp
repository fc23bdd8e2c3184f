// The menus' logic on menus that nobody shows.
#include "app/menus.h"

#include "app/commands.h"
#include "app/event_pump.h"
#include "app/globals.h"
#include "app/menu_state.h"
#include "app/startup.h"
#include "platform/core/carbon_events.h"
#include "platform/core/event_queue.h"
#include "platform/core/menu_model.h"
#include "settings/prefs_store.h"
#include "tests/support/spine_test.h"

namespace {

class Menus : public spine_test {
protected:
    Menus()
    {
        const std::pair<MenuRef *, int> counts[] = {
            {&appleMenu, 5},   {&fileMenu, 18},       {&editMenu, 9},
            {&optionsMenu, 2}, {&ConsoleFontMenu, 0}, {&ConsoleFontSizeMenu, 4}};
        const std::int16_t ids[] = {apple_menu_id,   file_menu_id, edit_menu_id,
                                    options_menu_id, font_menu_id, size_menu_id};
        for (std::size_t i = 0; i < std::size(ids); ++i) {
            *counts[i].first = platform::make_menu(ids[i]);
            for (int item = 0; item < counts[i].second; ++item)
                platform::append_item(*counts[i].first, {"item"});
        }
        for (const char *font : {"Alpha", "Sch\u00f6n Sans", "alpha", "Zeta"})
            platform::append_item(ConsoleFontMenu, {font});
    }
    ~Menus() override
    {
        platform::forget_menus();
        for (MenuRef *menu : {&appleMenu, &fileMenu, &editMenu, &optionsMenu, &ConsoleFontMenu,
                              &ConsoleFontSizeMenu})
            *menu = nullptr;
    }

    // The numbers of the items that are marked, or disabled, with blanks behind them.
    static std::string checked(MenuRef menu)
    {
        std::string numbers;
        for (std::uint16_t item = 1; item <= CountMenuItems(menu); ++item)
            if (platform::find_item(menu, item)->checked)
                numbers += std::to_string(item) + " ";
        return numbers;
    }
    static std::string disabled(MenuRef menu)
    {
        std::string numbers;
        for (std::uint16_t item = 1; item <= CountMenuItems(menu); ++item)
            if (!platform::find_item(menu, item)->enabled)
                numbers += std::to_string(item) + " ";
        return numbers;
    }

    static std::string setting(const char *key)
    {
        return string_setting(key, "not set");
    }
};

const std::string all_of_file = "1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 ";

} // namespace

// ---- the console's size ----

TEST_F(Menus, TheMarkStandsAtTheSizeOfTheSetting)
{
    const std::pair<const char *, const char *> marks[] = {
        {"9", "1 "}, {"10", "2 "}, {"12", "3 "}, {"14", "4 "},  {"11", "4 "},
        {"0", "4 "}, {"-9", "4 "}, {"9x", "1 "}, {"big", "2 "}, {"", "2 "}};
    for (const auto &[size, mark] : marks) {
        set_setting("FONTSIZE", size);
        CheckConsoleFontSize();
        EXPECT_EQ(checked(ConsoleFontSizeMenu), mark) << size;
    }
}

TEST_F(Menus, ASizeIsMarkedAndStored)
{
    CheckConsoleFontSize();
    const char *const sizes[] = {"9", "10", "12", "14"};
    for (std::uint16_t item = 1; item <= 4; ++item) {
        DoConsoleFontSize(item);
        EXPECT_EQ(checked(ConsoleFontSizeMenu), std::to_string(item) + " ");
        EXPECT_EQ(setting("FONTSIZE"), sizes[item - 1]);
    }
    for (const std::uint16_t none : std::initializer_list<std::uint16_t>{0, 5, 65535}) {
        DoConsoleFontSize(none);
        EXPECT_EQ(checked(ConsoleFontSizeMenu), "4 ");
        EXPECT_EQ(setting("FONTSIZE"), "14");
    }
}

// ---- the console's font ----

TEST_F(Menus, TheMarkStandsAtTheFirstFontOfThatNameWhateverItsCaseAndMarks)
{
    const std::pair<const char *, const char *> marks[] = {
        {"Alpha", "1 "}, {"ALPHA", "1 "}, {"schon sans", "2 "}, {"Zeta", "4 "}, {"Zet", ""},
        {"gone", ""},    {"", ""}};
    for (const auto &[name, mark] : marks) {
        set_setting("FONTNAME", name);
        for (std::uint16_t item = 1; item <= 4; ++item)
            CheckMenuItem(ConsoleFontMenu, item, 0);
        CheckFontMenu();
        EXPECT_EQ(checked(ConsoleFontMenu), mark) << name;
    }
}

TEST_F(Menus, AFontIsMarkedAndStored)
{
    DoConsoleFont(4);
    EXPECT_EQ(checked(ConsoleFontMenu), "4 ");
    EXPECT_EQ(setting("FONTNAME"), "Zeta");
    DoConsoleFont(2);
    EXPECT_EQ(checked(ConsoleFontMenu), "2 ");
    EXPECT_EQ(setting("FONTNAME"), "Sch\u00f6n Sans");
    for (const std::uint16_t none : std::initializer_list<std::uint16_t>{0, 5, 65535}) {
        DoConsoleFont(none);
        EXPECT_EQ(checked(ConsoleFontMenu), "2 ");
        EXPECT_EQ(setting("FONTNAME"), "Sch\u00f6n Sans");
    }
}

TEST_F(Menus, AFontWithALongNameIsStoredWhole)
{
    const std::string longest(254, 'x');
    platform::append_item(ConsoleFontMenu, {longest});
    DoConsoleFont(5);
    EXPECT_EQ(setting("FONTNAME"), longest);
    CheckMenuItem(ConsoleFontMenu, 5, 0);
    CheckFontMenu();
    EXPECT_EQ(checked(ConsoleFontMenu), "5 ");
}

// ---- what holds during a run ----

TEST_F(Menus, ARunDisablesWhatWouldDisturbIt)
{
    ChangeMenus(nullptr);
    for (MenuRef menu : {appleMenu, fileMenu, editMenu, optionsMenu})
        EXPECT_EQ(disabled(menu), "");
    inRun = 1;
    ChangeMenus(nullptr);
    EXPECT_EQ(disabled(fileMenu), all_of_file);
    EXPECT_EQ(disabled(optionsMenu), "1 2 ");
    EXPECT_EQ(disabled(editMenu), "6 8 9 ");
    EXPECT_EQ(disabled(appleMenu), "");
    inRun = 0;
    ChangeMenus(nullptr);
    for (MenuRef menu : {appleMenu, fileMenu, editMenu, optionsMenu})
        EXPECT_EQ(disabled(menu), "");
}

TEST_F(Menus, TheStateFollowsTheRunWhenAMenuIsOpened)
{
    install_handlers();
    inRun = 1;
    EXPECT_EQ(disabled(fileMenu), "");
    platform::ask_which_items_hold();
    EXPECT_EQ(disabled(fileMenu), all_of_file);
    inRun = 0;
    platform::ask_which_items_hold();
    EXPECT_EQ(disabled(fileMenu), "");
}

TEST_F(Menus, AMenuIsEnabledWholeButForTheFirstItemOfTheFileMenu)
{
    disable_menu(fileMenu);
    EXPECT_EQ(disabled(fileMenu), all_of_file);
    enable_menu(fileMenu);
    EXPECT_EQ(disabled(fileMenu), "1 ");
    disable_menu(optionsMenu);
    EXPECT_EQ(disabled(optionsMenu), "1 2 ");
    enable_menu(optionsMenu);
    EXPECT_EQ(disabled(optionsMenu), "");
    disable_menu(nullptr);
    enable_menu(nullptr);
}

// ---- commands that need no chooser ----

TEST_F(Menus, TheDebugSwitchIsTurnedMarkedAndStored)
{
    doDebug = 0;
    do_menus(options_menu_id, 1);
    EXPECT_EQ(doDebug, 1);
    EXPECT_EQ(checked(optionsMenu), "1 ");
    EXPECT_EQ(setting("DEBUG1"), "1");
    do_menus(options_menu_id, 1);
    EXPECT_EQ(doDebug, 0);
    EXPECT_EQ(checked(optionsMenu), "");
    EXPECT_EQ(setting("DEBUG1"), "0");
}

TEST_F(Menus, PairsThatAreInNoTableDoNothing)
{
    const std::pair<int, int> pairs[] = {{0, 0},    {1, 1},    {128, 3},     {128, 5},  {133, 0},
                                         {133, 4},  {133, 7},  {133, 11},    {133, 13}, {133, 15},
                                         {133, 17}, {133, 19}, {133, 65535}, {131, 1},  {131, 7},
                                         {131, 8},  {132, 0},  {132, 3},     {-133, 1}};
    for (const auto &[menu, item] : pairs)
        do_menus(static_cast<std::int16_t>(menu), static_cast<std::uint16_t>(item));
    EXPECT_EQ(console.text(), "");
    EXPECT_EQ(setting("DEBUG1"), "not set");
    EXPECT_EQ(setting("FONTNAME"), "not set");
}

TEST_F(Menus, ACommandEventRunsItsItemAndIsLeftToThePlatformToo)
{
    install_handlers();
    doDebug = 0;
    EXPECT_EQ(platform::send_menu_command(optionsMenu, 1), eventNotHandledErr);
    EXPECT_EQ(doDebug, 1);
    platform::find_item(optionsMenu, 1)->command = kHICommandQuit;
    EXPECT_EQ(platform::send_menu_command(optionsMenu, 1), eventNotHandledErr);
    EXPECT_EQ(doDebug, 1); // to quit is the platform's
}

// ---- without menus ----

TEST_F(Menus, WithoutAnInterfaceFileThereAreNone)
{
    platform::forget_menus();
    doDebug = 1;
    SetUpMenus();
    for (MenuRef menu :
         {appleMenu, fileMenu, editMenu, optionsMenu, ConsoleFontMenu, ConsoleFontSizeMenu})
        EXPECT_EQ(menu, nullptr);
    ChangeMenus(nullptr);
    EXPECT_EQ(menu_choice({10, 10}), 0);
    set_setting("FONTNAME", "Zeta");
    do_menus(font_menu_id, 1);
    EXPECT_EQ(setting("FONTNAME"), "Zeta"); // there is no text that could be stored
    do_menus(options_menu_id, 1);
    EXPECT_EQ(doDebug, 0);
}

TEST_F(Menus, NoChooserNoCommand)
{
    constexpr std::uint16_t merge = 12;
    constexpr std::uint16_t command = 16;
    for (std::uint16_t item = 1; item <= 18; ++item) {
        if (item != merge && item != command)
            do_menus(file_menu_id, item);
    }
    do_menus(options_menu_id, 2);
    EXPECT_EQ(console.text(), "");
}

TEST_F(Menus, AWindowThatCannotBeMadeIsTold)
{
    do_menus(file_menu_id, 12);
    do_menus(file_menu_id, 16);
    EXPECT_EQ(console.text(), "The window \"pdfmerge\" can't be made. Install papermill again.\r"
                              "The window \"command line\" can't be made. Install papermill "
                              "again.\r");
}

// ---- the classic pump ----

TEST_F(Menus, AClickOutsideTheMenuBarIsNoneOfThePumps)
{
    inRun = 1;
    for (const std::uint16_t what : {mouseDown, nullEvent}) {
        const EventRecord event = {what, 0, 0, {300, 300}, 0};
        DoEvent(&event);
    }
    EXPECT_EQ(disabled(fileMenu), "");
}

TEST_F(Menus, TheClassicPumpHandlesARequestThatWaits)
{
    static int handled;
    handled = 0;
    AEInstallEventHandler(
        four_chars("test"), four_chars("pump"),
        NewAEEventHandlerUPP([](const AppleEvent *, AppleEvent *, std::uint32_t) -> OSErr {
            ++handled;
            return noErr;
        }),
        0, 0);
    AppleEvent request;
    AECreateAppleEvent(four_chars("test"), four_chars("pump"), &request);
    platform::queue_request(request, false, [](OSErr, const AppleEvent &) {});
    const EventRecord click = {mouseDown, 0, 0, {300, 300}, 0};
    DoEvent(&click);
    EXPECT_EQ(handled, 0);
    const EventRecord announced = {kHighLevelEvent, 0, 0, {0, 0}, 0};
    DoEvent(&announced);
    EXPECT_EQ(handled, 1);
    EXPECT_FALSE(platform::requests_wait());
}
