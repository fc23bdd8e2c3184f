#include "cli/commands.h"

#include "app/command_line.h"
#include "app/globals.h"
#include "cli/exit_statuses.h"
#include "cli/send.h"
#include "cli/service.h"
#include "console/console_io.h"
#include "engine/dispatch.h"
#include "engine/eps_extraction.h"
#include "engine/pdf_conversions.h"
#include "engine/pdf_merge.h"
#include "engine/pict_output.h"
#include "engine/tiff_output.h"
#include "engine/tool_environment.h"
#include "engine/tool_runner.h"
#include "platform/core/atomic_file.h"
#include "platform/processes.h"
#include "platform/strings.h"
#include "settings/path_utils.h"
#include "settings/prefs_store.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
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

int open_files(const cli_request &request)
{
    if (!has_folder(request.words))
        return cli_failed;
    clear_jobs();
    for (const std::string &file : request.words)
        add_job(platform::absolute_path(file).c_str());
    doOpenDoc();
    return outcome();
}

int ps2pdf(const cli_request &request)
{
    if (request.words.size() == 1)
        return open_files(request);
    if (!has_folder(request.words))
        return cli_failed;
    do_ps2pdf1(platform::absolute_path(request.words[0]).c_str(),
               platform::absolute_path(request.words[1]).c_str());
    return outcome();
}

// ---- conversions ----

// An option's value; empty when it was not given.
std::string option(const cli_request &request, const char *name)
{
    const auto found = request.options.find(name);
    return found == request.options.end() ? "" : found->second;
}

// Puts the call's files into in_file and out_file. Without OUT the output is named after the input.
bool take_files(const cli_request &request, const char *extension)
{
    return has_folder(request.words) &&
           take_path(in_file, platform::absolute_path(request.words[0]).c_str()) &&
           (request.words.size() > 1
                ? take_path(out_file, platform::absolute_path(request.words[1]).c_str())
                : take_output(out_file, nullptr, in_file, extension));
}

int pdf2pdf(const cli_request &request)
{
    if (take_files(request, ".pdf"))
        do_pdf2pdf();
    return outcome();
}

int pdf2ps(const cli_request &request)
{
    if (!take_files(request, ".ps"))
        return outcome();
    if (usePDFTOPS || request.options.count("--pdftops") > 0)
        do_pdftops(nullptr);
    else
        do_pdf2ps(nullptr);
    return outcome();
}

int ps2ascii(const cli_request &request)
{
    if (take_files(request, ".txt"))
        do_ps2ascii(nullptr);
    return outcome();
}

int eps2eps(const cli_request &request)
{
    if (take_files(request, ".eps"))
        do_eps2eps();
    return outcome();
}

int ps2eps(const cli_request &request)
{
    if (!take_files(request, ".eps"))
        return outcome();
    do_ps2eps(nullptr);
    if (userCancel != 0) // which that conversion does not tell
        text_printf("\nUser cancelled processing.\n");
    return outcome();
}

int eps2tiff(const cli_request &request)
{
    if (take_files(request, ".tiff"))
        epstotiff(in_file, out_file);
    return outcome();
}

int ps2tiff(const cli_request &request)
{
    if (has_folder(request.words))
        do_ps2tiff(platform::absolute_path(request.words[0]).c_str());
    return outcome();
}

int eps2pict(const cli_request &request)
{
    if (take_files(request, ".pict"))
        epstopict(in_file, out_file);
    return outcome();
}

int pdf2pict(const cli_request &request)
{
    if (take_files(request, ".pict"))
        do_pdf2pict(nullptr, out_file);
    return outcome();
}

int ps2pict(const cli_request &request)
{
    if (has_folder(request.words))
        do_ps2pict(platform::absolute_path(request.words[0]).c_str(), nullptr);
    return outcome();
}

int merge(const cli_request &request)
{
    const std::string folder = current_folder();
    if (folder.empty())
        return cli_failed;
    std::string list; // its names are words of the shell's line
    for (const std::string &file : request.words)
        list += (list.empty() ? "" : " ") + platform::as_word(file.c_str());
    run_pdfmerge(list.c_str(), option(request, "-o").c_str(), folder.c_str());
    return outcome();
}

// Puts the index where the user wants it: a link or a device is written through.
bool place_index(const std::string &index, const char *output)
{
    struct stat status = {};
    const bool exists = stat(output, &status) == 0;
    if (exists && S_ISDIR(status.st_mode)) {
        text_printf("%s: this is a folder; the output needs a file name.\n", output);
        return false;
    }
    if (exists && access(output, W_OK) != 0) {
        text_printf("%s: the file can't be replaced: %s.\n", output, std::strerror(errno));
        return false;
    }
    const platform::unique_fd made(open(index.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat of_index = {};
    fstat(made.get(), &of_index);
    const auto copy = [&](platform::file_writer &file) {
        file.copy(made.get(), 0, of_index.st_size);
    };
    errno = 0;
    OSErr error = noErr;
    if (exists && !S_ISREG(status.st_mode)) {
        const platform::unique_fd device(open(output, O_WRONLY | O_CLOEXEC));
        platform::file_writer file(device.get());
        copy(file);
        error = file.finish();
    } else {
        error = platform::replace_file_with(platform::write_target(output), copy, nullptr);
    }
    if (error == noErr)
        return true;
    text_printf("%s: the file can't be written: %s.\n", output, std::strerror(errno));
    return false;
}

// do_pdf2dsc deletes a PDF file that lies in the output's folder: it works in one of its own.
int pdf2dsc(const cli_request &request)
{
    if (!take_files(request, ".dsc") || refuse_own_input(in_file, out_file))
        return outcome();
    const std::string folder = std::string(tmpPath) + "/index";
    const std::string name = std::strrchr(in_file, '/') + 1;
    const std::string index = folder + "/" + (name == "made.dsc" ? "new.dsc" : "made.dsc");
    if (mkdir(folder.c_str(), 0700) != 0) {
        text_printf("Can't make the folder %s: %s.\n", folder.c_str(), std::strerror(errno));
        return cli_failed;
    }
    do_pdf2dsc(in_file, index.c_str());
    if (outcome() == cli_done && !place_index(index, out_file))
        return cli_failed;
    return outcome();
}

// ---- everything else ----

int exec(const cli_request &request)
{
    std::string command;
    for (const std::string &word : request.words)
        command += (command.empty() ? "" : " ") + word;
    const std::string given = option(request, "-C");
    if (!has_folder({given}))
        return cli_failed;
    const std::string folder = given.empty() ? current_folder() : platform::absolute_path(given);
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

constexpr cli_argument ps_input = {"IN", "the PostScript or EPS file", true, false};
constexpr cli_argument eps_input = {"IN", "the EPS file", true, false};
constexpr cli_argument pdf_input = {"IN", "the PDF file", true, false};
constexpr cli_argument pdf_output = {"OUT", "the PDF; without it, IN's name with .pdf", false,
                                     false};
constexpr cli_argument ps_output = {"OUT", "the PostScript; without it, IN's name with .ps", false,
                                    false};
constexpr cli_argument text_output = {"OUT", "the text; without it, IN's name with .txt", false,
                                      false};
constexpr cli_argument tiff_output = {"OUT", "the image; without it, IN's name with .tiff", false,
                                      false};
constexpr cli_argument picture_output = {"OUT", "the picture; without it, IN's name with .pict",
                                         false, false};
constexpr cli_argument any_output = {"OUT", "the file to write", true, false};
constexpr cli_argument key = {"KEY", "the setting's name", true, false};

} // namespace

// A conversion's row.
static cli_command conversion(const char *name, const char *help,
                              const std::vector<cli_argument> &arguments,
                              int (*run)(const cli_request &),
                              const std::vector<cli_option> &options = {})
{
    return {name, nullptr, help, arguments, options, false, true, run};
}

const std::vector<cli_command> cli_commands = {
    conversion("", "Convert each file to PDF, as if it were opened",
               {{"FILE", "PostScript or EPS files", false, true}}, open_files),
    conversion("ps2pdf", "PostScript or EPS to PDF", {ps_input, pdf_output}, ps2pdf),
    conversion("pdf2pdf", "PDF to PDF, distilled anew", {pdf_input, any_output}, pdf2pdf),
    conversion("merge", "Several PDF files into one",
               {{"IN", "the PDF files, in their order", true, true}}, merge,
               {{"-o", "OUT", "The file to write", true}}),
    conversion("pdf2ps", "PDF to PostScript", {pdf_input, ps_output}, pdf2ps,
               {{"--pdftops", nullptr, "With pdftops instead of Ghostscript", false}}),
    conversion("pdf2dsc", "An index of a PDF file's pages, to lie beside it",
               {pdf_input, any_output}, pdf2dsc),
    conversion("ps2ascii", "PostScript to text", {ps_input, text_output}, ps2ascii),
    conversion("ps2eps", "A page of PostScript to EPS, under IN's name with .eps", {ps_input},
               ps2eps),
    conversion("eps2eps", "EPS to EPS, rewritten by Ghostscript", {eps_input, any_output}, eps2eps),
    conversion("eps2tiff", "EPS to TIFF", {eps_input, tiff_output}, eps2tiff),
    conversion("ps2tiff", "PostScript to TIFF, a file for each page: IN's name with -1.tiff",
               {ps_input}, ps2tiff),
    conversion("eps2pict", "EPS to a picture", {eps_input, picture_output}, eps2pict),
    conversion("pdf2pict", "The first page of a PDF file to a picture", {pdf_input, picture_output},
               pdf2pict),
    conversion("ps2pict", "The first page of PostScript to a picture, under IN's name with .pict",
               {ps_input}, ps2pict),
    {"exec",
     nullptr,
     "Run a command line and show what it prints",
     {{"COMMAND", "the command, as a shell takes it", true, true}},
     {{"-C", "FOLDER", "The folder to run in", false}},
     true,
     true,
     exec},
    {"serve",
     nullptr,
     "Answer requests from the session bus until a quit request or Ctrl-C",
     {},
     {},
     false,
     true,
     serve},
    {"send",
     nullptr,
     "Ask the running program for something and wait until it is done",
     {{"EVENT", list_of_events(), true, false},
      {"PARAMETER", "what the request needs", false, true}},
     {},
     true,
     false,
     send_event,
     false},
    {"tools",
     nullptr,
     "List the outside tools, and the packages that bring what is missing",
     {},
     {},
     false,
     false,
     tools},
    {"list", "settings", "Show all settings", {}, {}, false, false, settings_list},
    {"get",
     "settings",
     "Print a setting's value; status 1 when it is not set",
     {key},
     {},
     false,
     false,
     settings_get},
    {"set",
     "settings",
     "Store a setting; an empty value means not set",
     {key, {"VALUE", "the new value", true, false}},
     {},
     true,
     false,
     settings_set},
};
