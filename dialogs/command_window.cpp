#include "dialogs/command_window.h"

#include "app/globals.h"
#include "dialogs/dialog_controls.h"
#include "dialogs/dialog_machinery.h"
#include "platform/files.h"
#include "platform/strings.h"
#include "settings/path_utils.h"
#include "settings/prefs_store.h"

#include <string>

Boolean GetCommandLine(const char *command, const char *folder)
{
    cancelDialog = 0;
    WindowRef window = make_dialog("command line", command_window_constant);

    const std::string wanted = folder != nullptr ? folder : string_setting("GSDIR", "");
    FSSpec spec;
    if (wanted.empty() || UnixPathToFolder(wanted.c_str(), &spec) == 0 ||
        !platform::copy_whole(gs_folder, wanted.c_str()))
        platform::copy_whole(gs_folder, appPath);
    SetStaticData(window, folder_text, gs_folder);

    // No caller gives a command, and where one is given, the folder is what is shown.
    SetEditData(window, first_field,
                command != nullptr ? gs_folder : string_setting("GSCOMMAND", "").c_str());
    SelectEditData(window, first_field);
    if (!run_dialog(window))
        return 0;

    // While the window closed, a request may have run another command in another folder.
    platform::copy_whole(command_line, gs_command);
    platform::copy_whole(curr_dir, gs_folder);
    const bool folder_stored = set_str_resource("GSDIR", gs_folder) != 0;
    const bool command_stored = set_str_resource("GSCOMMAND", command_line) != 0;
    if (!folder_stored || !command_stored)
        tell_settings_are_not_stored();
    return 1;
}
