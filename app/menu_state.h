// The program's menus, and which of their items hold at the moment.
#ifndef PAPERMILL_APP_MENU_STATE_H
#define PAPERMILL_APP_MENU_STATE_H

#include "platform/menus.h"
#include "platform/windows.h"

// The menus' IDs in the interface file.
enum : std::int16_t {
    apple_menu_id = 128,
    edit_menu_id = 131,
    options_menu_id = 132,
    file_menu_id = 133,
    font_menu_id = 164,
    size_menu_id = 165
};

// Items that are addressed outside the table of commands.
enum : std::uint16_t { clear_item = 6, font_item = 8, size_item = 9, debug_item = 1 };

// Null in the terminal program; SetUpMenus -> menus, commands.
extern MenuRef appleMenu;           // the application's own
extern MenuRef fileMenu;            // conversions
extern MenuRef editMenu;            // the console
extern MenuRef optionsMenu;         // the debug switch, the preview
extern MenuRef ConsoleFontMenu;     // of an item of editMenu
extern MenuRef ConsoleFontSizeMenu; // likewise

// Disables what would disturb a run while there is one, and enables it again. The application menu
// stays as it is. The window is of no consequence.
void ChangeMenus(WindowRef window);

#endif
