#include "platform/core/run_folder.h"

#include <cstring>
#include <filesystem>

namespace fs = std::filesystem;

void platform::remove_unfinished_output(const std::string &run_folder)
{
    std::error_code ignored;
    const fs::path unfinished = fs::read_symlink(run_folder + "/" + output_link, ignored);
    const std::string name = unfinished.filename().string();
    if (name.compare(0, std::strlen(unfinished_prefix), unfinished_prefix) == 0)
        fs::remove_all(unfinished, ignored);
}

void platform::remove_run_folder(const std::string &folder)
{
    std::error_code ignored;
    remove_unfinished_output(folder);
    fs::remove_all(folder, ignored);
}
