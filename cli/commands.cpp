#include "cli/commands.h"

#include "app/command_line.h"
#include "app/globals.h"
#include "cli/exit_statuses.h"
#include "console/console_io.h"
#include "engine/dispatch.h"
#include "engine/tool_environment.h"
#include "engine/tool_runner.h"
#include "platform/processes.h"
#include "platform/strings.h"
#include "settings/prefs_store.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace {

int outcome()
{
    return failed_conversions == 0 ? cli_done : cli_failed;
}

// Empty, after a message, when the folder is gone: nothing is done in another one instead.
std::string current_folder()
{
    char folder[PATH_MAX];
    if (getcwd(folder, sizeof folder) != nullptr)
        return folder;
    std::fprintf(stderr, "papermill: the current folder is gone: %s.\n", std::strerror(errno));
    return "";
}

bool is_absolute(const std::string &path)
{
    return !path.empty() && path[0] == '/';
}

// False when a relative word has no folder to be relative to.
bool has_folder(const std::vector<std::string> &words)
{
    return std::all_of(words.begin(), words.end(), is_absolute) || !current_folder().empty();
}

std::string with_slash(const std::string &folder)
{
    return folder == "/" ? folder : folder + "/";
}

// Without "." and ".." among its folders: outputs are named by cutting a path at its last dot.
std::string absolute(const std::string &path)
{
    const std::string whole = is_absolute(path) ? path : with_slash(current_folder()) + path;
    const std::size_t slash = whole.rfind('/');
    std::string folder = whole.substr(0, slash + 1);
    if (folder.find("/./") != std::string::npos || folder.find("/../") != std::string::npos) {
        char *real = realpath(folder.c_str(), nullptr); // null: it will be told that it is missing
        if (real != nullptr)
            folder = with_slash(real);
        std::free(real);
    }
    return folder + whole.substr(slash + 1);
}

int open_files(const cli_request &request)
{
    if (!has_folder(request.words))
        return cli_failed;
    numberOfJobs = 0;
    for (const std::string &file : request.words)
        add_job(absolute(file).c_str());
    doOpenDoc();
    return outcome();
}

int ps2pdf(const cli_request &request)
{
    if (request.words.size() == 1)
        return open_files(request);
    if (!has_folder(request.words))
        return cli_failed;
    do_ps2pdf1(absolute(request.words[0]).c_str(), absolute(request.words[1]).c_str());
    return outcome();
}

int exec(const cli_request &request)
{
    std::string command;
    for (const std::string &word : request.words)
        command += (command.empty() ? "" : " ") + word;
    if (!has_folder({request.folder}))
        return cli_failed;
    const std::string folder = request.folder.empty() ? current_folder() : absolute(request.folder);
    if (!take_path(curr_dir, folder.c_str()))
        return cli_failed;
    // A list or a pipeline is one command for the helper script.
    if (command.find_first_of("|;&\n") != std::string::npos)
        command = "sh -c " + platform::as_word(command.c_str());
    if (!platform::copy_whole(command_line, command.c_str())) {
        text_printf("%s: the command is too long.\n", command.c_str());
        return cli_failed;
    }
    ExecuteCommand();
    return outcome();
}

std::string first_line_of(const char *command)
{
    std::FILE *pipe = popen((std::string(command) + " 2>&1 < /dev/null").c_str(), "re");
    if (pipe == nullptr)
        return "";
    char line[256];
    std::string result = std::fgets(line, sizeof line, pipe) == nullptr ? "" : line;
    pclose(pipe);
    return result.substr(0, result.find('\n'));
}

int tools(const cli_request & /*request*/)
{
    bool complete = true;
    for (std::size_t i = 0; i < outside_tool_count; ++i) {
        const outside_tool &tool = outside_tools[i];
        const std::string path = find_tool(tool.name);
        if (path.empty()) {
            complete = false;
            std::printf("%-8s missing: needed for %s; install the package %s\n", tool.name,
                        tool.use, tool.package);
        } else {
            std::printf("%-8s %-24s %s\n", tool.name, path.c_str(),
                        first_line_of(tool.version_command).c_str());
        }
    }
    return complete ? cli_done : cli_failed;
}

const setting_key *find_setting(const std::string &name)
{
    for (std::size_t i = 0; i < setting_key_count; ++i) {
        if (name == setting_keys[i].name)
            return &setting_keys[i];
    }
    std::fprintf(stderr,
                 "papermill: there is no setting %s; \"papermill settings list\" "
                 "shows them.\n",
                 name.c_str());
    return nullptr;
}

int settings_list(const cli_request & /*request*/)
{
    for (std::size_t i = 0; i < setting_key_count; ++i) {
        const setting_key &key = setting_keys[i];
        char *value = get_string(key.name);
        std::printf("%s: %s\n", key.name, key.meaning);
        if (value != nullptr)
            std::printf("    %s\n", value);
        else if (*default_text(key) != 0)
            std::printf("    (not set: %s)\n", default_text(key));
        else
            std::printf("    (not set)\n");
        std::free(value);
    }
    return cli_done;
}

int settings_get(const cli_request &request)
{
    const setting_key *key = find_setting(request.words[0]);
    if (key == nullptr)
        return cli_usage;
    char *value = get_string(key->name);
    if (value == nullptr)
        return cli_failed;
    std::printf("%s\n", value);
    std::free(value);
    return cli_done;
}

int settings_set(const cli_request &request)
{
    const setting_key *key = find_setting(request.words[0]);
    if (key == nullptr)
        return cli_usage;
    if (set_str_resource(key->name, request.words[1].c_str()) == 0) {
        std::fprintf(stderr, "papermill: %s was not set: the file %s can't be written.\n",
                     key->name, prefsFile);
        return cli_failed;
    }
    return cli_done;
}

constexpr cli_argument input = {"IN", "the PostScript or EPS file", true, false};
constexpr cli_argument output = {"OUT", "the PDF; without it, IN's name with .pdf", false, false};
constexpr cli_argument key = {"KEY", "the setting's name", true, false};

} // namespace

const std::vector<cli_command> cli_commands = {
    {"",
     nullptr,
     "Convert each file to PDF, as if it were opened",
     {{"FILE", "PostScript or EPS files", false, true}},
     false,
     false,
     true,
     open_files},
    {"ps2pdf", nullptr, "PostScript or EPS to PDF", {input, output}, false, false, true, ps2pdf},
    {"exec",
     nullptr,
     "Run a command line and show what it prints",
     {{"COMMAND", "the command, as a shell takes it", true, true}},
     true,
     true,
     true,
     exec},
    {"tools",
     nullptr,
     "List the outside tools, and the packages that bring what is missing",
     {},
     false,
     false,
     false,
     tools},
    {"list", "settings", "Show all settings", {}, false, false, false, settings_list},
    {"get",
     "settings",
     "Print a setting's value; status 1 when it is not set",
     {key},
     false,
     false,
     false,
     settings_get},
    {"set",
     "settings",
     "Store a setting; an empty value means not set",
     {key, {"VALUE", "the new value", true, false}},
     false,
     true,
     false,
     settings_set},
};
