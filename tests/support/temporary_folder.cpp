#include "tests/support/temporary_folder.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <sys/stat.h>

temporary_folder::temporary_folder()
{
    const char *base = std::getenv("TMPDIR");
    std::string pattern = std::string(base != nullptr ? base : "/tmp") + "/papermill-test-XXXXXX";
    // Tests that give up root's rights work in it, too.
    if (mkdtemp(pattern.data()) == nullptr || chmod(pattern.c_str(), 0777) != 0)
        throw std::runtime_error("no temporary folder: " + pattern);
    own_path = std::filesystem::canonical(pattern);
}

temporary_folder::~temporary_folder()
{
    std::error_code ignored;
    std::filesystem::remove_all(own_path, ignored);
}

const std::string &temporary_folder::path() const
{
    return own_path;
}

std::string temporary_folder::operator/(std::string_view name) const
{
    return own_path + "/" + std::string(name);
}

std::string temporary_folder::write(std::string_view name, std::string_view bytes) const
{
    std::string result = *this / name;
    std::ofstream file(result, std::ios::binary | std::ios::trunc);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size())).flush();
    if (!file)
        throw std::runtime_error("cannot write " + result);
    return result;
}

std::string temporary_folder::write_program(std::string_view name, std::string_view bytes) const
{
    std::string result = write(name, bytes);
    chmod(result.c_str(), 0755);
    return result;
}

std::string temporary_folder::make_folder(std::string_view name) const
{
    std::string result = *this / name;
    std::filesystem::create_directories(result);
    return result;
}

std::vector<std::string> temporary_folder::names() const
{
    std::vector<std::string> result;
    for (const auto &entry : std::filesystem::directory_iterator(own_path))
        result.push_back(entry.path().filename());
    std::sort(result.begin(), result.end());
    return result;
}

bool file_exists(const std::string &path)
{
    struct stat found;
    return lstat(path.c_str(), &found) == 0;
}

std::string read_file(const std::string &path)
{
    // A process may end while its files under /proc are read: that is an end, not an exception.
    std::ifstream file(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << file.rdbuf();
    return bytes.str();
}
