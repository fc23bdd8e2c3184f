#include "app/menus.h"

#include "app/globals.h"
#include "app/menu_state.h"
#include "platform/strings.h"
#include "settings/prefs_store.h"

#include <cstdio>
#include <iterator>

namespace {

constexpr const char *sizes[] = {"9", "10", "12", "14"}; // of the size menu's items, from 1 on

// What the menu takes a missing size for. The text gets 12 then: only the mark is at 10.
constexpr int size_when_missing = 10;

// What cannot be stored holds for nothing: the text's font and size are those of the settings.
void store(const char *key, const char *value)
{
    if (set_str_resource(key, value) == 0)
        tell_settings_are_not_stored();
}

void uncheck_all(MenuRef menu)
{
    for (std::uint16_t item = 1; item <= CountMenuItems(menu); ++item)
        CheckMenuItem(menu, item, 0);
}

} // namespace

void SetUpMenus()
{
    IBNibRef nib = nullptr;
    if (CreateNibReference("ps2pdf", &nib) == noErr) {
        SetMenuBarFromNib(nib, "MainMenu");
        DisposeNibReference(nib);
    }
    appleMenu = GetMenuHandle(apple_menu_id);
    fileMenu = GetMenuHandle(file_menu_id);
    editMenu = GetMenuHandle(edit_menu_id);
    optionsMenu = GetMenuHandle(options_menu_id);
    GetMenuItemHierarchicalMenu(editMenu, font_item, &ConsoleFontMenu);
    GetMenuItemHierarchicalMenu(editMenu, size_item, &ConsoleFontSizeMenu);
    AppendResMenu(ConsoleFontMenu, four_chars("FONT"));
    CheckConsoleFontSize();
    CheckFontMenu();
    if (doDebug)
        CheckMenuItem(optionsMenu, debug_item, 1);
    EnableMenuCommand(nullptr, kHICommandPreferences);
    DrawMenuBar();
}

// ---- the console's font and size ----

void DoConsoleFont(std::uint16_t item)
{
    Str255 name;
    GetMenuItemText(ConsoleFontMenu, item, name);
    if (name[0] == 0)
        return; // stored, it would mean that no font is set
    uncheck_all(ConsoleFontMenu);
    CheckMenuItem(ConsoleFontMenu, item, 1);
    store("FONTNAME", p2cstr(name));
}

void CheckFontMenu()
{
    char stored[256]; // the name with room for its length byte
    const char *setting = get_str_resource("FONTNAME");
    if (setting == nullptr || !platform::copy_whole(stored, setting))
        return;
    const ConstStringPtr name = c2pstr(stored);
    for (std::uint16_t item = 1; item <= CountMenuItems(ConsoleFontMenu); ++item) {
        Str255 text;
        GetMenuItemText(ConsoleFontMenu, item, text);
        if (!EqualString(text, name, 0, 0))
            continue;
        CheckMenuItem(ConsoleFontMenu, item, 1);
        return;
    }
}

void DoConsoleFontSize(std::uint16_t item)
{
    if (item < 1 || item > std::size(sizes))
        return;
    uncheck_all(ConsoleFontSizeMenu);
    CheckMenuItem(ConsoleFontSizeMenu, item, 1);
    store("FONTSIZE", sizes[item - 1]);
}

void CheckConsoleFontSize()
{
    int size = size_when_missing;
    const char *setting = get_str_resource("FONTSIZE");
    if (setting == nullptr || std::sscanf(setting, "%d", &size) != 1)
        size = size_when_missing;
    std::uint16_t item = 4;
    if (size == 9)
        item = 1;
    else if (size == 10)
        item = 2;
    else if (size == 12)
        item = 3;
    uncheck_all(ConsoleFontSizeMenu);
    CheckMenuItem(ConsoleFontSizeMenu, item, 1);
}

// ---- nothing in the program calls these ----

void enable_menu(MenuRef menu)
{
    for (std::uint16_t item = 1; item <= CountMenuItems(menu); ++item)
        EnableMenuItem(menu, item);
    if (menu == fileMenu)
        DisableMenuItem(menu, 1);
}

void disable_menu(MenuRef menu)
{
    for (std::uint16_t item = 1; item <= CountMenuItems(menu); ++item)
        DisableMenuItem(menu, item);
}

std::int32_t menu_choice(Point point)
{
    return MenuSelect(point);
}
