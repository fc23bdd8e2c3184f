#include "platform/core/menu_model.h"

#include "platform/core/carbon_events.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace {

using strings = std::vector<std::string>;

std::string text_of(MenuRef menu, std::uint16_t item)
{
    Str255 text;
    GetMenuItemText(menu, item, text);
    return {reinterpret_cast<const char *>(text) + 1, text[0]};
}

std::vector<std::pair<MenuRef, int>> changes;

class MenuModel : public ::testing::Test {
protected:
    MenuModel()
    {
        changes.clear();
        platform::append_item(menu, {"First", four_chars("frst")});
        platform::append_item(menu, {""}); // a separator
        platform::append_item(menu, {"Third", four_chars("thrd"), true, false, submenu});
        platform::append_item(submenu, {"Inner", four_chars("innr")});
        platform::on_menu_change(
            [](MenuRef of, std::uint16_t item) { changes.emplace_back(of, item); });
    }
    ~MenuModel() override
    {
        platform::on_menu_change(nullptr);
        platform::forget_menus();
    }

    // Which items are enabled: "1-1" for the first and the third of three.
    std::string enabled() const
    {
        std::string all;
        for (const menu_item &item : menu->items)
            all += item.enabled ? '1' : '-';
        return all;
    }

    const MenuRef menu = platform::make_menu(200);
    const MenuRef submenu = platform::make_menu(201);
};

HICommand seen;
OSStatus answer;

OSStatus see_command(EventHandlerCallRef /*call*/, EventRef event, void * /*userData*/)
{
    EXPECT_EQ(GetEventParameter(event, kEventParamDirectObject, sizeof seen, &seen), noErr);
    return answer;
}

} // namespace

TEST_F(MenuModel, MenusAreFoundByTheirIDs)
{
    EXPECT_EQ(GetMenuHandle(200), menu);
    EXPECT_EQ(GetMenuHandle(201), submenu);
    EXPECT_EQ(GetMenuHandle(1), nullptr);
    EXPECT_EQ(GetMenuID(submenu), 201);
    platform::forget_menus();
    EXPECT_EQ(GetMenuHandle(200), nullptr);
}

TEST_F(MenuModel, ItemsAreCountedFromOneWithTheSeparators)
{
    EXPECT_EQ(CountMenuItems(menu), 3);
    EXPECT_EQ(text_of(menu, 1), "First");
    EXPECT_EQ(text_of(menu, 2), "");
    EXPECT_EQ(text_of(menu, 3), "Third");
}

TEST_F(MenuModel, ALongTextIsCutAt255Bytes)
{
    platform::append_item(menu, {std::string(300, 'x')});
    EXPECT_EQ(text_of(menu, 4), std::string(255, 'x'));
}

TEST_F(MenuModel, AnItemMayOpenAnotherMenu)
{
    MenuRef found = menu;
    EXPECT_EQ(GetMenuItemHierarchicalMenu(menu, 3, &found), noErr);
    EXPECT_EQ(found, submenu);
    EXPECT_EQ(GetMenuItemHierarchicalMenu(menu, 1, &found), paramErr);
    EXPECT_EQ(found, nullptr);
}

TEST_F(MenuModel, MarksAndStatesAreKeptAndTold)
{
    CheckMenuItem(menu, 1, 1);
    EXPECT_TRUE(platform::find_item(menu, 1)->checked);
    CheckMenuItem(menu, 1, 0);
    EXPECT_FALSE(platform::find_item(menu, 1)->checked);
    DisableMenuItem(menu, 3);
    EXPECT_EQ(enabled(), "11-");
    EnableMenuItem(menu, 3);
    EXPECT_EQ(enabled(), "111");
    DisableAllMenuItems(menu);
    EXPECT_EQ(enabled(), "---");
    EnableAllMenuItems(menu);
    EXPECT_EQ(enabled(), "111");
    const std::vector<std::pair<MenuRef, int>> expected = {
        {menu, 1}, {menu, 1}, {menu, 3}, {menu, 3}, {menu, 1},
        {menu, 2}, {menu, 3}, {menu, 1}, {menu, 2}, {menu, 3}};
    EXPECT_EQ(changes, expected);
}

TEST_F(MenuModel, ACommandIsEnabledInOneMenuOrInAll)
{
    DisableAllMenuItems(menu);
    DisableAllMenuItems(submenu);
    EnableMenuCommand(menu, four_chars("innr")); // another menu's
    EXPECT_FALSE(platform::find_item(submenu, 1)->enabled);
    EnableMenuCommand(nullptr, four_chars("innr"));
    EXPECT_TRUE(platform::find_item(submenu, 1)->enabled);
    EnableMenuCommand(menu, four_chars("thrd"));
    EXPECT_EQ(enabled(), "--1");
    EnableMenuCommand(nullptr, four_chars("none"));
    EXPECT_EQ(enabled(), "--1");
}

TEST_F(MenuModel, WhatIsNotThereIsBorne)
{
    for (const std::uint16_t item : std::initializer_list<std::uint16_t>{0, 4, 65535}) {
        EXPECT_EQ(text_of(menu, item), "") << item;
        CheckMenuItem(menu, item, 1);
        DisableMenuItem(menu, item);
    }
    EXPECT_TRUE(changes.empty());
    MenuRef found = menu;
    EXPECT_EQ(CountMenuItems(nullptr), 0);
    EXPECT_EQ(GetMenuID(nullptr), 0);
    EXPECT_EQ(text_of(nullptr, 1), "");
    EXPECT_EQ(GetMenuItemHierarchicalMenu(nullptr, 1, &found), paramErr);
    EXPECT_EQ(found, nullptr);
    CheckMenuItem(nullptr, 1, 1);
    EnableMenuItem(nullptr, 1);
    DisableAllMenuItems(nullptr);
    AppendResMenu(nullptr, four_chars("FONT"));
    HiliteMenu(0);
    DrawMenuBar();
}

TEST_F(MenuModel, AChosenItemComesToTheApplicationAsACommand)
{
    const EventTypeSpec command = {kEventClassCommand, kEventCommandProcess};
    InstallEventHandler(GetApplicationEventTarget(), see_command, 1, &command, nullptr);
    answer = eventNotHandledErr;
    EXPECT_EQ(platform::send_menu_command(submenu, 1), eventNotHandledErr);
    EXPECT_EQ(seen.commandID, four_chars("innr"));
    EXPECT_EQ(seen.menu.menuRef, submenu);
    EXPECT_EQ(seen.menu.menuItemIndex, 1);
    EXPECT_EQ(seen.attributes, kHICommandFromMenu);
    answer = noErr;
    EXPECT_EQ(platform::send_menu_command(menu, 2), noErr);
    EXPECT_EQ(seen.commandID, 0U);
}
