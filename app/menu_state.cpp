#include "app/menu_state.h"

#include "app/globals.h"

MenuRef appleMenu;
MenuRef fileMenu;
MenuRef editMenu;
MenuRef optionsMenu;
MenuRef ConsoleFontMenu;
MenuRef ConsoleFontSizeMenu;

void ChangeMenus(WindowRef /*window*/)
{
    const auto change_all = inRun ? DisableAllMenuItems : EnableAllMenuItems;
    const auto change = inRun ? DisableMenuItem : EnableMenuItem;
    change_all(fileMenu);
    change_all(optionsMenu);
    change(editMenu, clear_item);
    change(editMenu, font_item);
    change(editMenu, size_item);
}
