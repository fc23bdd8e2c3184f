// The menus as both programs keep them: what stands in them and in which state it is. Who shows
// them is told of every change.
#ifndef PAPERMILL_PLATFORM_CORE_MENU_MODEL_H
#define PAPERMILL_PLATFORM_CORE_MENU_MODEL_H

#include "platform/menus.h"

#include <string>
#include <vector>

struct menu_item {
    std::string text; // UTF-8; empty: a separator
    OSType command = 0;
    bool enabled = true;
    bool checked = false;
    MenuRef submenu = nullptr;
};

struct OpaqueMenu {
    std::int16_t id;
    std::vector<menu_item> items;
};

namespace platform {

MenuRef make_menu(std::int16_t id); // an empty one, which GetMenuHandle finds from now on
void forget_menus();                // all of them
void append_item(MenuRef menu, const menu_item &item);

// The item of that number, or null.
menu_item *find_item(MenuRef menu, std::uint16_t item);

// Called after the item has changed or come into being.
using menu_watcher = void (*)(MenuRef menu, std::uint16_t item);
void on_menu_change(menu_watcher watcher);

// Enables or disables the first item that has the command.
void enable_command(OSType command, bool enabled);

// Asks the application's handlers to enable and disable the items as things stand.
void ask_which_items_hold();

// Tells the application's handlers that the item has been chosen. Their result: eventNotHandledErr
// when it is left to the platform.
OSStatus send_menu_command(MenuRef menu, std::uint16_t item);

} // namespace platform

#endif
