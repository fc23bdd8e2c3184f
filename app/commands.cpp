#include "app/commands.h"

#include "app/command_line.h"
#include "app/cursors.h"
#include "app/globals.h"
#include "app/menu_state.h"
#include "app/menus.h"
#include "console/console_io.h"
#include "console/console_window.h"
#include "dialogs/about_window.h"
#include "dialogs/command_window.h"
#include "dialogs/preferences_window.h"
#include "engine/eps_extraction.h"
#include "engine/pdf_conversions.h"
#include "engine/pdf_merge.h"
#include "engine/pict_output.h"
#include "engine/ps_to_pdf.h"
#include "engine/tiff_output.h"
#include "engine/tool_launcher.h"
#include "engine/tool_runner.h"
#include "platform/menus.h"
#include "platform/processes.h"
#include "platform/strings.h"
#include "settings/file_prompts.h"
#include "settings/path_utils.h"
#include "settings/prefs_store.h"

#include <cstring>
#include <string>

const EventTypeSpec applicationEvents[application_event_count] = {
    {kEventClassCommand, kEventCommandProcess},
    {kEventClassApplication, kEventAppActivated},
    {kEventClassApplication, kEventAppDeactivated},
    {kEventClassMenu, kEventMenuEnableItems},
};

namespace {

// ---- asking for files ----

// The upper-case endings never decide: has_extension does not look at the case.
bool is_eps(const char *path)
{
    return has_extension(path, ".eps") || has_extension(path, ".EPS") ||
           has_extension(path, ".epsf") || has_extension(path, ".EPSF");
}

bool is_pdf(const char *path)
{
    return has_extension(path, ".pdf") || has_extension(path, ".PDF");
}

bool is_ps(const char *path)
{
    return has_extension(path, ".ps") || has_extension(path, ".PS");
}

const char *name_of(const char *path)
{
    const char *slash = std::strrchr(path, '/');
    return slash == nullptr ? path : slash + 1;
}

// Asks for in_file and then for out_file, for which the input's name with the other extension is
// proposed.
bool choose_files(const char *kind, const char *prompt, const char *extension)
{
    if (!get_input_file(in_file, kind))
        return false;
    const std::string input = in_file;
    char proposed[path_size];
    const std::string appended = has_extension(in_file, extension) ? "-new" : "";
    if (!derive_output(name_of(in_file), (appended + extension).c_str(), proposed, sizeof proposed))
        proposed[0] = 0;
    if (!put_output_file(out_file, prompt, proposed))
        return false;
    // While a chooser is open, a request may have converted another file.
    return take_path(in_file, input.c_str());
}

// ---- the commands ----

void ps_to_pdf()
{
    if (!get_input_file(in_file, ".ps"))
        return;
    if (is_eps(in_file))
        epstopdf(in_file, nullptr);
    else
        do_ps2pdf(nullptr);
}

void eps_to_pdf()
{
    if (get_input_file(in_file, ".eps") && is_eps(in_file))
        epstopdf(in_file, nullptr);
}

void pdf_to_pdf()
{
    if (choose_files(".pdf", "Save pdf file as", ".pdf"))
        do_pdf2pdf();
}

void ps_to_eps()
{
    if (get_input_file(in_file, ".ps"))
        do_ps2eps(nullptr);
}

void ps_to_text()
{
    if (choose_files(".ps", "Save text file as", ".txt"))
        do_ps2ascii(nullptr);
}

void eps_to_eps()
{
    if (choose_files(".eps", "Save eps file as", ".eps"))
        do_eps2eps();
}

void pdf_to_ps()
{
    if (!choose_files(".pdf", "Save ps file as", ".ps"))
        return;
    if (usePDFTOPS)
        do_pdftops(nullptr);
    else
        do_pdf2ps(nullptr);
}

void eps_to_tiff()
{
    if (!get_input_file(in_file, ".eps"))
        return;
    if (is_eps(in_file))
        epstotiff(in_file, nullptr);
    else
        text_printf("%s is not an eps file.\n", in_file);
}

void to_pict()
{
    if (!get_input_file(in_file, nullptr))
        return;
    if (is_eps(in_file))
        epstopict(in_file, nullptr);
    else if (is_pdf(in_file))
        do_pdf2pict(in_file, nullptr);
    else if (is_ps(in_file))
        do_ps2pict(in_file, nullptr);
    else
        text_printf("%s is not an eps, ps or pdf file.\n", in_file);
}

void run_command()
{
    if (GetCommandLine(nullptr, nullptr))
        ExecuteCommand();
}

void save_console()
{
    in_file[0] = 0; // no conversion reads it now: it may well be replaced
    SaveConsole();
}

void switch_debug()
{
    doDebug = doDebug ? 0 : 1;
    CheckMenuItem(optionsMenu, debug_item, doDebug);
    if (set_str_resource("DEBUG1", doDebug ? "1" : "0") == 0)
        tell_settings_are_not_stored();
}

// The viewer is opened in every case, if only with what an earlier preview has left.
void preview_eps()
{
    if (!get_input_file(in_file, ".eps"))
        return;
    static char preview[path_size];
    if (!derive_output((std::string("/tmp/") + name_of(in_file)).c_str(), ".pdf", preview,
                       sizeof preview)) {
        refuse_long_path(in_file);
        return;
    }
    if (is_eps(in_file))
        epstopdf(in_file, preview);
    InvokeTool2(("open -a Preview \"" + platform::in_double_quotes(preview) + "\"").c_str());
}

struct menu_command {
    std::int16_t menu;
    std::uint16_t item;
    void (*run)();
};

constexpr menu_command commands[] = {
    {apple_menu_id, 1, aboutApp},
    {file_menu_id, 1, eps_to_eps},
    {file_menu_id, 2, eps_to_pdf},
    {file_menu_id, 3, eps_to_tiff},
    {file_menu_id, 5, pdf_to_pdf},
    {file_menu_id, 6, pdf_to_ps},
    {file_menu_id, 8, ps_to_text},
    {file_menu_id, 9, ps_to_eps},
    {file_menu_id, 10, ps_to_pdf},
    {file_menu_id, 12, do_pdfmerge},
    {file_menu_id, 14, to_pict},
    {file_menu_id, 16, run_command},
    {file_menu_id, 18, save_console},
    {edit_menu_id, clear_item, ClearTextWindow},
    {options_menu_id, debug_item, switch_debug},
    {options_menu_id, 2, preview_eps},
};

// ---- events ----

void process_command(EventRef event)
{
    HICommand command = {};
    if (GetEventParameter(event, kEventParamDirectObject, sizeof command, &command) != noErr)
        return;
    if (command.commandID == kHICommandPreferences) {
        HiliteMenu(0);
        GetPrefs();
    }
    if (command.commandID != kHICommandQuit)
        do_menus(GetMenuID(command.menu.menuRef), command.menu.menuItemIndex);
}

} // namespace

OSStatus myAppHandler(EventHandlerCallRef /*call*/, EventRef event, void * /*userData*/)
{
    const OSType event_class = GetEventClass(event);
    const std::uint32_t kind = GetEventKind(event);
    if (event_class == kEventClassApplication && kind == kEventAppActivated) {
        inBackground = 0;
        restore();
    } else if (event_class == kEventClassApplication && kind == kEventAppDeactivated) {
        inBackground = 1;
    } else if (event_class == kEventClassCommand && kind == kEventCommandProcess) {
        process_command(event);
    } else if (event_class == kEventClassMenu && kind == kEventMenuEnableItems) {
        ChangeMenus(FrontWindow());
    }
    return eventNotHandledErr;
}

void do_menus(std::int16_t menuID, std::uint16_t item)
{
    HiliteMenu(0);
    if (menuID == font_menu_id) {
        DoConsoleFont(item);
        SetFontAndSize();
        return;
    }
    if (menuID == size_menu_id) {
        DoConsoleFontSize(item);
        SetFontAndSize();
        return;
    }
    for (const menu_command &each : commands) {
        if (each.menu == menuID && each.item == item)
            each.run();
    }
}
