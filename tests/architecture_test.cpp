// Holds the floors of docs/architecture.md: the table there is read, not repeated here.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

const fs::path root = PAPERMILL_SOURCE_DIR;

// A module is a header with its source: their path without the ending.
struct place {
    int floor;
    int position; // from the left
};

// Rows such as | 2 | `settings/path_utils`, `engine/tool_environment` |; a name that ends in a
// slash stands for all files of the folder.
std::map<std::string, place> read_floors()
{
    std::map<std::string, place> floors;
    std::ifstream document(root / "docs/architecture.md");
    const std::regex row(R"(^\| (\d) \| (.*) \|$)");
    const std::regex name("`([a-z_/]+)`");
    for (std::string line; std::getline(document, line);) {
        std::smatch match;
        if (!std::regex_match(line, match, row))
            continue;
        const int floor = std::stoi(match[1]);
        const std::string cells = match[2];
        int position = 0;
        for (std::sregex_iterator it(cells.begin(), cells.end(), name), end; it != end; ++it)
            floors[(*it)[1]] = {floor, position++};
    }
    return floors;
}

const place *find_place(const std::map<std::string, place> &floors, const std::string &module)
{
    auto found = floors.find(module);
    for (std::string folder = module; found == floors.end() && folder.find('/') != folder.npos;) {
        folder.erase(folder.rfind('/'));
        found = floors.find(folder + "/");
    }
    return found == floors.end() ? nullptr : &found->second;
}

std::vector<std::string> included_modules(const fs::path &file)
{
    std::vector<std::string> modules;
    std::ifstream stream(file);
    const std::regex include("^#include \"([^\"]+)\\.h\"");
    for (std::string line; std::getline(stream, line);) {
        std::smatch match;
        if (std::regex_search(line, match, include))
            modules.push_back(match[1]);
    }
    return modules;
}

// Every source of the program, with the modules that it includes.
std::map<std::string, std::set<std::string>> read_includes()
{
    std::map<std::string, std::set<std::string>> includes;
    for (const char *folder : {"app", "cli", "console", "dialogs", "engine", "platform",
                               "scripting", "settings", "stand_ins"}) {
        if (!fs::exists(root / folder))
            continue;
        for (const auto &entry : fs::recursive_directory_iterator(root / folder)) {
            const std::string ending = entry.path().extension();
            if (ending != ".cpp" && ending != ".h")
                continue;
            fs::path module = fs::relative(entry.path(), root);
            module.replace_extension();
            for (const std::string &included : included_modules(entry.path())) {
                if (included != module.string())
                    includes[module.string()].insert(included);
            }
            includes[module.string()];
        }
    }
    return includes;
}

bool reaches(const std::map<std::string, std::set<std::string>> &includes, const std::string &from,
             const std::string &to, std::set<std::string> &seen)
{
    const auto found = includes.find(from);
    if (found == includes.end() || !seen.insert(from).second)
        return false;
    return std::any_of(found->second.begin(), found->second.end(), [&](const auto &next) {
        return next == to || reaches(includes, next, to, seen);
    });
}

} // namespace

TEST(Architecture, EveryFileStandsOnAFloor)
{
    const auto floors = read_floors();
    ASSERT_GT(floors.size(), 10U);
    for (const auto &[module, included] : read_includes())
        EXPECT_NE(find_place(floors, module), nullptr) << module << " is on no floor";
}

TEST(Architecture, EveryFloorNameIsAFile)
{
    for (const auto &[name, where] : read_floors()) {
        const bool folder = name.back() == '/';
        EXPECT_TRUE(folder ? fs::is_directory(root / name)
                           : fs::exists(root / (name + ".h")) || fs::exists(root / (name + ".cpp")))
            << name << " is not there";
    }
}

TEST(Architecture, NoIncludeClimbs)
{
    const auto floors = read_floors();
    for (const auto &[module, included] : read_includes()) {
        const place *from = find_place(floors, module);
        for (const std::string &other : included) {
            const place *to = find_place(floors, other);
            if (from == nullptr || to == nullptr)
                continue;
            const bool allowed = to->floor < from->floor ||
                                 (to->floor == from->floor && to->position <= from->position);
            EXPECT_TRUE(allowed) << module << " includes " << other << ", which is not below it";
        }
    }
}

TEST(Architecture, NoIncludesGoRoundInACircle)
{
    const auto includes = read_includes();
    ASSERT_GT(includes.size(), 20U);
    for (const auto &[module, included] : includes) {
        std::set<std::string> seen;
        EXPECT_FALSE(reaches(includes, module, module, seen)) << module << " includes itself";
    }
}
