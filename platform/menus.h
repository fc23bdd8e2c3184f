// The Menu Manager: menus by their IDs, items by their numbers from 1 on, separators counted. The
// menu bar comes from the interface file. Every operation takes a null menu and a number that no
// item has, and then does nothing; the terminal program has no interface file, and no menus.
#ifndef PAPERMILL_PLATFORM_MENUS_H
#define PAPERMILL_PLATFORM_MENUS_H

#include "platform/types.h"
#include "platform/windows.h"

struct OpaqueMenu;
using MenuRef = OpaqueMenu *; // lives until another menu bar is set

// What the direct object of the event kEventCommandProcess is, when an item has been chosen. The
// menu bar sends it to the application's handlers, and only for an item that is enabled; what no
// handler takes is left to the platform, which knows the commands "quit", "ahlp" (the manual),
// "copy" and "sall".
struct HICommand {
    std::uint32_t attributes;
    OSType commandID; // that of the item in the interface file; 0: it has none
    struct {
        MenuRef menuRef;
        std::uint16_t menuItemIndex;
    } menu;
};
constexpr std::uint32_t kHICommandFromMenu = 1; // an attribute
constexpr OSType kHICommandPreferences = four_chars("pref");
constexpr OSType kHICommandQuit = four_chars("quit");
constexpr OSType kHICommandAppHelp = four_chars("ahlp");
constexpr OSType kHICommandCopy = four_chars("copy");
constexpr OSType kHICommandSelectAll = four_chars("sall");

// Makes the menu bar `name` of the interface file the program's. An error, and no change, when
// there is none of that name or no document window that could show it. Before one of its menus
// opens, and before a shortcut is looked for in it, the application gets kEventMenuEnableItems.
OSStatus SetMenuBarFromNib(IBNibRef nib, const char *name);

MenuRef GetMenuHandle(std::int16_t menuID); // null when there is none
std::int16_t GetMenuID(MenuRef menu);       // 0 for none
std::uint16_t CountMenuItems(MenuRef menu); // with the separators

// The item's text without its mnemonic, at most 255 bytes; empty for a separator.
void GetMenuItemText(MenuRef menu, std::uint16_t item, StringPtr text);

// The menu that the item opens. paramErr, and *submenu null, when it opens none.
OSStatus GetMenuItemHierarchicalMenu(MenuRef menu, std::uint16_t item, MenuRef *submenu);

// Appends an item for the name of each resource of that type, sorted. 'FONT' stands for the
// desktop's fonts, which are no resources; there are no others.
void AppendResMenu(MenuRef menu, ResType type);

void CheckMenuItem(MenuRef menu, std::uint16_t item, Boolean checked); // sets or takes its mark
void EnableMenuItem(MenuRef menu, std::uint16_t item);
void DisableMenuItem(MenuRef menu, std::uint16_t item);
void EnableAllMenuItems(MenuRef menu);
void DisableAllMenuItems(MenuRef menu);

// The first item that has the command, in `menu` or, when it is null, in all menus.
void EnableMenuCommand(MenuRef menu, OSType command);

void DrawMenuBar();
void HiliteMenu(std::int16_t menuID); // 0: no title is highlighted any more; others are not used

// Opens the menu whose title is at that point of the screen, and waits until the user has chosen
// or gone away. The menu's ID in the upper half, the item in the lower one; 0 for no choice. The
// command event has been sent by then.
std::int32_t MenuSelect(Point where);

#endif
