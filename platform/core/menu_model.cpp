#include "platform/core/menu_model.h"

#include "platform/core/carbon_events.h"
#include "platform/strings.h"

#include <algorithm>
#include <list>

namespace {

std::list<OpaqueMenu> menus; // in the order in which they were made
platform::menu_watcher watching;

void tell_change(MenuRef menu, std::uint16_t item)
{
    if (watching != nullptr)
        watching(menu, item);
}

void enable(MenuRef menu, std::uint16_t item, bool enabled)
{
    menu_item *found = platform::find_item(menu, item);
    if (found == nullptr || found->enabled == enabled)
        return;
    found->enabled = enabled;
    tell_change(menu, item);
}

void enable_all(MenuRef menu, bool enabled)
{
    for (std::uint16_t item = 1; item <= CountMenuItems(menu); ++item)
        enable(menu, item, enabled);
}

// True when the menu has an item of that command.
bool enable_in(MenuRef menu, OSType command, bool enabled)
{
    for (std::uint16_t item = 1; item <= CountMenuItems(menu); ++item) {
        if (platform::find_item(menu, item)->command != command)
            continue;
        enable(menu, item, enabled);
        return true;
    }
    return false;
}

} // namespace

// ---- the model ----

MenuRef platform::make_menu(std::int16_t id)
{
    menus.push_back({id, {}});
    return &menus.back();
}

void platform::forget_menus()
{
    menus.clear();
}

void platform::append_item(MenuRef menu, const menu_item &item)
{
    if (menu == nullptr)
        return;
    menu->items.push_back(item);
    tell_change(menu, CountMenuItems(menu));
}

menu_item *platform::find_item(MenuRef menu, std::uint16_t item)
{
    return item >= 1 && item <= CountMenuItems(menu) ? &menu->items[item - 1U] : nullptr;
}

void platform::on_menu_change(menu_watcher watcher)
{
    watching = watcher;
}

void platform::enable_command(OSType command, bool enabled)
{
    std::any_of(menus.begin(), menus.end(),
                [&](OpaqueMenu &menu) { return enable_in(&menu, command, enabled); });
}

void platform::ask_which_items_hold()
{
    OpaqueEvent question = {kEventClassMenu, kEventMenuEnableItems, {}};
    send_event(GetApplicationEventTarget(), &question);
}

OSStatus platform::send_menu_command(MenuRef menu, std::uint16_t item)
{
    const menu_item *chosen = find_item(menu, item);
    const HICommand command = {
        kHICommandFromMenu, chosen == nullptr ? 0 : chosen->command, {menu, item}};
    OpaqueEvent event = {kEventClassCommand, kEventCommandProcess, {}};
    SetEventParameter(&event, kEventParamDirectObject, sizeof command, &command);
    return send_event(GetApplicationEventTarget(), &event);
}

// ---- the operations ----

MenuRef GetMenuHandle(std::int16_t menuID)
{
    const auto found = std::find_if(menus.begin(), menus.end(),
                                    [&](const OpaqueMenu &menu) { return menu.id == menuID; });
    return found == menus.end() ? nullptr : &*found;
}

std::int16_t GetMenuID(MenuRef menu)
{
    return menu == nullptr ? std::int16_t{0} : menu->id;
}

std::uint16_t CountMenuItems(MenuRef menu)
{
    return menu == nullptr ? std::uint16_t{0} : static_cast<std::uint16_t>(menu->items.size());
}

void GetMenuItemText(MenuRef menu, std::uint16_t item, StringPtr text)
{
    const menu_item *found = platform::find_item(menu, item);
    platform::to_pascal(found == nullptr ? std::string_view() : found->text, text);
}

OSStatus GetMenuItemHierarchicalMenu(MenuRef menu, std::uint16_t item, MenuRef *submenu)
{
    const menu_item *found = platform::find_item(menu, item);
    *submenu = found == nullptr ? nullptr : found->submenu;
    return *submenu == nullptr ? paramErr : noErr;
}

void CheckMenuItem(MenuRef menu, std::uint16_t item, Boolean checked)
{
    menu_item *found = platform::find_item(menu, item);
    if (found == nullptr)
        return;
    found->checked = checked != 0;
    tell_change(menu, item);
}

void EnableMenuItem(MenuRef menu, std::uint16_t item)
{
    enable(menu, item, true);
}

void DisableMenuItem(MenuRef menu, std::uint16_t item)
{
    enable(menu, item, false);
}

void EnableAllMenuItems(MenuRef menu)
{
    enable_all(menu, true);
}

void DisableAllMenuItems(MenuRef menu)
{
    enable_all(menu, false);
}

void EnableMenuCommand(MenuRef menu, OSType command)
{
    if (menu == nullptr)
        platform::enable_command(command, true);
    else
        enable_in(menu, command, true);
}
