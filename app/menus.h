// The menu bar: building it, and the menus of the console's font and size.
#ifndef PAPERMILL_APP_MENUS_H
#define PAPERMILL_APP_MENUS_H

#include "platform/menus.h"

// Builds the menu bar from the interface file, at start-up. Without one there are no menus.
void SetUpMenus();

// ---- the console's font and size ----
// What an item does: it gets the mark, and its text or size is stored. Without such an item nothing
// happens.
void DoConsoleFont(std::uint16_t item);
void DoConsoleFontSize(std::uint16_t item);

void CheckFontMenu();        // the mark at the font of the setting, if it is in the menu
void CheckConsoleFontSize(); // the same with the size: any that is not in the menu counts as 14

// ---- nothing in the program calls these ----

// Enable or disable every item of the menu. The file menu's first item stays disabled.
void enable_menu(MenuRef menu);
void disable_menu(MenuRef menu);

std::int32_t menu_choice(Point point); // MenuSelect there

#endif
