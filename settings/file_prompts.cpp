#include "settings/file_prompts.h"

#include "app/globals.h"
#include "platform/strings.h"
#include "settings/file_choosers.h"
#include "settings/prefs_store.h"

#include <cstddef>
#include <cstring>
#include <string>

int get_file(char *path, const char *ext)
{
    return nav_get_file1(path, ext, nullptr, 0, "Select an input file");
}

int get_input_file(char *path, const char *ext)
{
    char chosen[path_size];
    if (get_file(chosen, ext) == 0) {
        path[0] = 0;
        return 0;
    }
    platform::copy_whole(path, path_size, chosen);
    const char *slash = std::strrchr(chosen, '/');
    if (slash != nullptr)
        set_str_resource("TEXDIR",
                         std::string(chosen, static_cast<std::size_t>(slash - chosen)).c_str());
    return 1;
}

int put_file(const char *prompt, const char *defaultName, char *path)
{
    return nav_put_file1(prompt, defaultName, path);
}

int put_output_file(char *path, const char *prompt, const char *defaultName)
{
    char chosen[path_size];
    if (put_file(prompt, defaultName == nullptr ? "" : defaultName, chosen) == 0) {
        path[0] = 0;
        return 0;
    }
    platform::copy_whole(path, path_size, chosen);
    return 1;
}

int get_working_folder(char *folder, const char *prompt)
{
    return nav_get_working_folder1(folder, prompt);
}
