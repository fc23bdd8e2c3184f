#include "stand_ins/settling.h"

#include "platform/core/atomic_file.h"
#include "platform/core/run_folder.h"
#include "stand_ins/complain.h"
#include "stand_ins/corrections.h"
#include "stand_ins/reporting.h"
#include "stand_ins/result_place.h"
#include "stand_ins/soundness.h"
#include "stand_ins/staging.h"
#include "stand_ins/tools.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr std::size_t window_size = 65536;

bool file_contains(const std::string &path, const char *text)
{
    std::FILE *file = std::fopen(path.c_str(), "re");
    if (file == nullptr)
        return false;
    const std::size_t length = std::strlen(text);
    std::string window;
    std::vector<char> chunk(window_size);
    bool found = false;
    while (!found) {
        const std::size_t n = std::fread(chunk.data(), 1, chunk.size(), file);
        if (n == 0)
            break;
        window.append(chunk.data(), n);
        found = window.find(text) != std::string::npos;
        // What may be the start of the text waits for the next chunk.
        window.erase(0, window.size() - std::min(window.size(), length - 1));
    }
    std::fclose(file);
    return found;
}

// ---- what the messages tell ----

// The worst comes last.
enum class trouble { none, repaired, too_large, no_pages, locked };

// What is wrong with the PDF files, and the input that has the worst of it.
struct diagnosis {
    trouble what = trouble::none;
    const char *input;
};

trouble trouble_in(const char *line)
{
    // Of Ghostscript and of pdftops. Each begins a line.
    constexpr struct {
        const char *text;
        trouble meaning;
    } known[] = {
        {"   **** This file requires a password for access.", trouble::locked},
        {"   **** Error: Password did not work.", trouble::locked},
        {"Command Line Error: Incorrect password", trouble::locked},
        {"   **** Warning: PDF document has no pages.", trouble::no_pages},
        {"Syntax Error: Invalid page count 0", trouble::no_pages},
        {"   **** This file had errors that were repaired", trouble::repaired},
        {"Syntax Error", trouble::repaired},
        {"   **** A page is too large.", trouble::too_large},
    };
    for (const auto &each : known) {
        if (std::strncmp(line, each.text, std::strlen(each.text)) == 0)
            return each.meaning;
    }
    return trouble::none;
}

// Reads the messages while the run's own names are still in them.
diagnosis diagnose(const finished_run &run)
{
    diagnosis worst = {trouble::none, run.inputs[0]};
    std::FILE *file = std::fopen(run.capture.c_str(), "re");
    if (file == nullptr)
        return worst;
    const char *input = run.inputs[0];
    std::vector<char> line(window_size);
    while (std::fgets(line.data(), static_cast<int>(line.size()), file) != nullptr) {
        // gs.script announces each of several inputs.
        unsigned number = 0;
        char colon = 0;
        if (std::sscanf(line.data(), "papermill-in-%5u%c", &number, &colon) == 2 && colon == ':' &&
            number > 0 && number <= run.inputs.size())
            input = run.inputs[number - 1];
        const trouble found = trouble_in(line.data());
        if (found > worst.what)
            worst = {found, input};
    }
    std::fclose(file);
    return worst;
}

// True when Ghostscript's messages tell of an error that its status does not. What a document
// prints may hold the same words, but not in this form.
bool tells_of_error(const std::string &capture)
{
    return file_contains(capture, "   **** Error") || file_contains(capture, "ERROR: ioerror") ||
           file_contains(capture, "Error: /ioerror");
}

// The user's own file, when the input is a copy that was prepared from it.
const char *users_name(const char *input)
{
    const char *original = getenv("PAPERMILL_PREPARED_FROM");
    return original == nullptr ? input : original;
}

// Says in plain words what the tools said in theirs.
void tell_cause(const finished_run &run, const diagnosis &found, bool good)
{
    const char *input = users_name(found.input);
    if (found.what == trouble::locked)
        complain("%s: the file is encrypted; it opens with its password only.", input);
    else if (found.what == trouble::no_pages)
        complain("%s: the PDF file has no pages.", input);
    else if (run.status == 128 + SIGXFSZ || found.what == trouble::too_large)
        complain("%s: a page is too large for a picture at this resolution.", input);
    else if (run.status == 0 && !good && run.kind == "txt")
        complain("%s: there is no text in it.", input);
    else if (good && found.what == trouble::repaired)
        complain("%s: the file was damaged and has been repaired; something may be missing.",
                 input);
    else if (!good)
        tell_full_disk(
            run.output, run.folder + "/" + platform::output_link,
            platform::folder_of(platform::link_target(run.folder + "/" + destination_link)));
}

// ---- the user's names ----

struct renaming {
    std::string from, to;
};

// Writes the capture file anew with the user's names in the place of the run's own.
void name_users_files(const std::string &capture, const std::vector<renaming> &names)
{
    if (!file_contains(capture, "papermill-"))
        return;
    const std::string fresh = capture + ".named";
    std::FILE *in = std::fopen(capture.c_str(), "re");
    std::FILE *out = std::fopen(fresh.c_str(), "we");
    bool good = in != nullptr && out != nullptr;
    std::size_t longest = 0;
    for (const renaming &name : names)
        longest = std::max(longest, name.from.size());

    std::string window;
    std::vector<char> chunk(window_size);
    for (bool more = good; more;) {
        const std::size_t n = std::fread(chunk.data(), 1, chunk.size(), in);
        more = n > 0;
        window.append(chunk.data(), n);
        // What may be the start of a name waits for the next chunk.
        const std::size_t keep = more ? std::min(longest, window.size()) : 0;
        std::size_t at = 0;
        while (at < window.size() - keep) {
            const auto name = std::find_if(names.begin(), names.end(), [&](const renaming &each) {
                return window.compare(at, each.from.size(), each.from) == 0;
            });
            if (name == names.end()) {
                std::fputc(window[at], out);
                ++at;
            } else {
                std::fwrite(name->to.data(), 1, name->to.size(), out);
                at += name->from.size();
            }
        }
        window.erase(0, at);
    }
    if (in != nullptr)
        std::fclose(in);
    if (out != nullptr)
        good = std::fclose(out) == 0 && good;
    if (!good || rename(fresh.c_str(), capture.c_str()) != 0)
        std::remove(fresh.c_str());
}

std::vector<renaming> names_of(const finished_run &run, const std::string &result)
{
    std::vector<renaming> names = {{result, run.output}};
    // The last one first: papermill-in-1 is the start of papermill-in-10.
    for (std::size_t i = run.inputs.size(); i > 0; --i)
        names.push_back({input_link_name(i, run.inputs.size()), users_name(run.inputs[i - 1])});
    return names;
}

// ---- the result's way ----

// The pattern with the page's number in the place of its last %d.
std::string page_name(std::string pattern, int page)
{
    const std::size_t place = pattern.rfind("%d");
    return place == std::string::npos ? pattern : pattern.replace(place, 2, std::to_string(page));
}

// Whether both paths lead to the same file.
bool is_same_file(const char *first, const std::string &second)
{
    struct stat a = {};
    struct stat b = {};
    return stat(first, &a) == 0 && stat(second.c_str(), &b) == 0 && a.st_dev == b.st_dev &&
           a.st_ino == b.st_ino;
}

// Moves the picture of each page. None is moved unless all are good. The names of the pages are not
// known before: only now can one be a link to the input.
bool place_pages(const finished_run &run, const std::string &result, const std::string &destination)
{
    int pages = 0;
    while (access(page_name(result, pages + 1).c_str(), F_OK) == 0) {
        ++pages;
        if (!is_sound(run.kind, page_name(result, pages)))
            return false;
        if (is_same_file(run.inputs[0], page_name(destination, pages))) {
            complain("%s: the output would replace the input. Choose another name.", run.inputs[0]);
            return false;
        }
    }
    for (int page = 1; page <= pages; ++page) {
        if (!put_result(page_name(result, page),
                        platform::write_target(page_name(destination, page)),
                        page_name(run.output, page).c_str()))
            return false;
    }
    return pages > 0;
}

bool correct(const finished_run &run, const std::string &result)
{
    if (run.kind == "bbox")
        return correct_boxes(result, run.capture);
    if (run.kind == "eps")
        return correct_eps(result, run.folder + "/" + platform::input_link);
    if (run.kind == "dsc")
        return correct_index(result, run.inputs[0]);
    return true;
}

} // namespace

int settle(const finished_run &run)
{
    if (access(run.folder.c_str(), F_OK) != 0)
        return run.status;
    const bool by_pages = run.kind == "tiff";
    const std::string name =
        std::string(platform::output_link) + "/result" + (by_pages ? "-%d." : ".") + run.kind;
    const std::string result = run.folder + "/" + name;
    // What the bbox device says is its result; when it failed, what it said is a message.
    if (run.kind == "bbox" && run.status != 0)
        correct_boxes(result, run.capture);

    const diagnosis found = diagnose(run);
    name_users_files(run.capture, names_of(run, name));
    // From here on, this program's own messages follow the tools'.
    if (std::freopen(run.capture.c_str(), "ae", stderr) == nullptr)
        errno = 0; // told to nobody then
    bool good = false;
    if (run.status == 0 && found.what <= trouble::repaired && !tells_of_error(run.capture)) {
        const std::string destination = platform::link_target(run.folder + "/" + destination_link);
        if (by_pages)
            good = place_pages(run, result, destination);
        else
            good = is_sound(run.kind, result) && correct(run, result) &&
                   put_result(result, destination, run.output);
    }
    tell_cause(run, found, good);
    std::fflush(stderr);
    platform::remove_unfinished_output(run.folder);
    write_status(run.folder, run.status,
                 good || run.status != 0 ? (run.status == tool_not_found ? "missing" : "done")
                                         : "unusable");
    return run.status;
}
