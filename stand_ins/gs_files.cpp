// The file work of gs.script: gives the tools safe names, and puts a good result into its place.
//
//     gs_files stage INPUT OUTPUT
//     gs_files confine TOOL ARGUMENT...
//     gs_files settle STATUS KIND INPUT OUTPUT CAPTURE
//     gs_files command COUNT TOOL ARGUMENT...
//     gs_files signal PID
//
// Works in the run's folder, $PAPERMILL_RUN_FOLDER. "stage" links papermill-in to the input,
// papermill-out to a new folder beside the destination, papermill-to to the destination itself.
// "confine" becomes the tool, which then writes into its $TMPDIR and papermill-out and nowhere
// else: Ghostscript's own -dSAFER lets a document write to files that it lets it read (mode r+).
// "settle" looks at the tool's status, its messages and papermill-out/result.KIND; moves a good
// result over the destination; writes the status and the way it ended into the file "status"; and
// ends with that status. "command" becomes the tool, with the last COUNT words of the script's own
// call behind its arguments, empty ones included. "signal" sends SIGUSR1 to the application, if it
// is still there to be told. When the run's folder is gone, the run was cancelled: nothing is done.

#include "platform/core/run_folder.h"
#include "platform/core/run_processes.h"
#include "stand_ins/confine.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

enum exit_code { ex_usage = 64, ex_input = 66, ex_output = 73, ex_no_tool = 127 };

constexpr char destination_link[] = "papermill-to";
constexpr std::size_t window_size = 65536;

std::string run_folder;

[[gnu::format(printf, 1, 2)]] void complain(const char *format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    std::vfprintf(stderr, format, arguments);
    va_end(arguments);
    std::fputc('\n', stderr);
}

std::string in_run_folder(const char *name)
{
    return run_folder + "/" + name;
}

std::string link_target(const std::string &link)
{
    char target[PATH_MAX];
    const ssize_t length = readlink(link.c_str(), target, sizeof target);
    return length <= 0 ? "" : std::string(target, static_cast<std::size_t>(length));
}

std::string absolute(const std::string &path)
{
    if (!path.empty() && path[0] == '/')
        return path;
    char folder[PATH_MAX];
    return getcwd(folder, sizeof folder) == nullptr ? path : std::string(folder) + "/" + path;
}

std::string folder_of(const std::string &path)
{
    const std::size_t slash = path.rfind('/');
    return slash == 0 ? "/" : path.substr(0, slash);
}

// The user's own file, when the input is a copy that was prepared from it.
const char *users_name(const char *input)
{
    const char *original = getenv("PAPERMILL_PREPARED_FROM");
    return original == nullptr ? input : original;
}

// The file that a write to `path` would reach: links are followed, also one to nothing yet.
std::string write_target(std::string path)
{
    constexpr int most_links = 40;
    for (int i = 0; i < most_links; ++i) {
        const std::string target = link_target(path);
        if (target.empty())
            return path;
        path = target[0] == '/' ? target : folder_of(path).append("/").append(target);
    }
    return path;
}

// Becomes the tool of the call; returns only when there is none.
int become(char *const *call)
{
    execvp(call[0], call);
    complain("%s can't be started: %s.", call[0], std::strerror(errno));
    return ex_no_tool;
}

// ---- stage ----

bool input_is_good(const char *input)
{
    const int descriptor = open(input, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) {
        if (errno == ENOENT)
            complain("%s: File not found!", input);
        else
            complain("%s: the file can't be read: %s.", input, std::strerror(errno));
        return false;
    }
    struct stat status = {};
    fstat(descriptor, &status);
    close(descriptor);
    if (S_ISDIR(status.st_mode))
        complain("%s: this is a folder, not a file.", input);
    else if (!S_ISREG(status.st_mode))
        complain("%s: this is no ordinary file.", input);
    else if (status.st_size == 0)
        complain("%s: the file is empty.", input);
    else
        return true;
    return false;
}

void tell_unusable_folder(const char *file)
{
    complain("%s: the temporary folder can't be used: %s.", file, std::strerror(errno));
}

// Links the run to a new folder beside the destination and makes that folder: in this order, so
// that whoever clears up after a run that was killed finds it. False, after a complaint, if it
// cannot.
bool make_unfinished_folder(const char *output, const std::string &folder)
{
    constexpr char letters[] = "abcdefghijklmnopqrstuvwxyz012345";
    const std::string link = in_run_folder(platform::output_link);
    for (;;) {
        std::array<unsigned char, 6> random;
        const bool drawn =
            getrandom(random.data(), random.size(), 0) == static_cast<ssize_t>(random.size());
        std::string unfinished = folder + "/" + platform::unfinished_prefix;
        for (const unsigned char each : random)
            unfinished += letters[each % 32];
        if (!drawn || symlink(unfinished.c_str(), link.c_str()) != 0) {
            tell_unusable_folder(output);
            return false;
        }
        if (mkdir(unfinished.c_str(), 0700) == 0)
            return true;
        const int error = errno;
        unlink(link.c_str());
        if (error == EEXIST)
            continue;
        if (error == ENOENT || error == ENOTDIR)
            complain("%s: there is no folder %s.", output, folder.c_str());
        else
            complain("%s: nothing can be written into the folder %s: %s.", output, folder.c_str(),
                     std::strerror(error));
        return false;
    }
}

// A device gets the result copied in the end.
bool make_folder_for_device(const char *output)
{
    const std::string unfinished = in_run_folder("result");
    if (mkdir(unfinished.c_str(), 0700) == 0 &&
        symlink(unfinished.c_str(), in_run_folder(platform::output_link).c_str()) == 0)
        return true;
    tell_unusable_folder(output);
    return false;
}

bool link_output(const char *output)
{
    const std::string destination = write_target(absolute(output));
    const std::string folder = folder_of(destination);
    struct stat status = {};
    const bool exists = stat(destination.c_str(), &status) == 0;
    if (exists && S_ISDIR(status.st_mode)) {
        complain("%s: this is a folder; the output needs a file name.", output);
        return false;
    }
    if (exists && access(destination.c_str(), W_OK) != 0) {
        complain("%s: the file can't be replaced: %s.", output, std::strerror(errno));
        return false;
    }
    const bool device = exists && !S_ISREG(status.st_mode);
    if (!(device ? make_folder_for_device(output) : make_unfinished_folder(output, folder)))
        return false;
    if (symlink(destination.c_str(), in_run_folder(destination_link).c_str()) == 0)
        return true;
    tell_unusable_folder(output);
    platform::remove_unfinished_output(run_folder);
    return false;
}

int stage(const char *input, const char *output)
{
    if (!input_is_good(input))
        return ex_input;
    if (symlink(absolute(input).c_str(), in_run_folder(platform::input_link).c_str()) != 0) {
        tell_unusable_folder(input);
        return ex_output;
    }
    return link_output(output) ? 0 : ex_output;
}

// ---- confine ----

int confine(char **call)
{
    std::vector<std::string> folders = {in_run_folder(platform::output_link)};
    if (const char *temporary = getenv("TMPDIR"); temporary != nullptr)
        folders.emplace_back(temporary);
    // The list of fonts, which whoever is first writes down for all.
    if (const char *cache = getenv("XDG_CACHE_HOME"); cache != nullptr)
        folders.push_back(std::string(cache) + "/fontconfig");
    else if (const char *home = getenv("HOME"); home != nullptr)
        folders.push_back(std::string(home) + "/.cache/fontconfig");
    confine_writes(folders);
    return become(call);
}

// ---- command ----

int command(int count, char **call)
{
    std::string words;
    const std::string path = "/proc/" + std::to_string(getppid()) + "/cmdline";
    if (std::FILE *file = std::fopen(path.c_str(), "re"); file != nullptr) {
        for (int c = std::fgetc(file); c != EOF; c = std::fgetc(file))
            words += static_cast<char>(c);
        std::fclose(file);
    }
    if (!words.empty() && words.back() != 0)
        words += '\0';
    std::vector<char *> starts; // of the words; each ends with a NUL
    for (std::size_t start = 0; start < words.size(); start = words.find('\0', start) + 1)
        starts.push_back(&words[start]);
    if (count < 0 || starts.size() < static_cast<std::size_t>(count)) {
        complain("gs_files: the words of the command can't be read.");
        return ex_usage;
    }

    std::vector<char *> all;
    for (char **word = call; *word != nullptr; ++word)
        all.push_back(*word);
    all.insert(all.end(), starts.end() - count, starts.end());
    all.push_back(nullptr);
    return become(all.data());
}

// ---- settle ----

// True when `text` stands somewhere in the file.
bool file_contains(const char *path, const char *text)
{
    std::FILE *file = std::fopen(path, "re");
    if (file == nullptr)
        return false;
    const std::size_t overlap = std::strlen(text) - 1;
    std::string window;
    std::vector<char> chunk(window_size);
    bool found = false;
    while (!found) {
        const std::size_t n = std::fread(chunk.data(), 1, chunk.size(), file);
        if (n == 0)
            break;
        window.append(chunk.data(), n);
        found = window.find(text) != std::string::npos;
        window.erase(0, window.size() - std::min(window.size(), overlap));
    }
    std::fclose(file);
    return found;
}

// True when Ghostscript's messages tell of an error that its status does not. What a document
// prints may hold the same words, but not in this form.
bool tells_of_error(const char *capture)
{
    return file_contains(capture, "   **** Error") || file_contains(capture, "ERROR: ioerror") ||
           file_contains(capture, "Error: /ioerror");
}

struct renaming {
    std::string from, to;
};

// Writes the capture file anew with the user's names in the place of the run's own.
void name_users_files(const char *capture, const std::vector<renaming> &names)
{
    if (!file_contains(capture, "papermill-"))
        return;
    const std::string fresh = std::string(capture) + ".named";
    std::FILE *in = std::fopen(capture, "re");
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
    if (!good || rename(fresh.c_str(), capture) != 0)
        std::remove(fresh.c_str());
}

std::string head_of(std::FILE *file, std::size_t size)
{
    std::string bytes(size, '\0');
    std::rewind(file);
    bytes.resize(std::fread(bytes.data(), 1, size, file));
    return bytes;
}

std::string tail_of(std::FILE *file, long size)
{
    std::string bytes(static_cast<std::size_t>(size), '\0');
    if (std::fseek(file, -size, SEEK_END) != 0)
        std::rewind(file);
    bytes.resize(std::fread(bytes.data(), 1, bytes.size(), file));
    return bytes;
}

bool pdf_is_sound(std::FILE *file)
{
    return head_of(file, 5) == "%PDF-" && tail_of(file, 1024).find("%%EOF") != std::string::npos;
}

bool pnm_is_sound(std::FILE *file, off_t size)
{
    // The header's comment lines are Ghostscript's own. Numbers of nine digits at most: their
    // product fits.
    const std::string head = head_of(file, 512);
    long width = 0;
    long height = 0;
    long most = 0;
    int header = 0;
    if (std::sscanf(head.c_str(), "P6 # %*[^\n] %9ld %9ld %9ld%n", &width, &height, &most,
                    &header) != 3 &&
        std::sscanf(head.c_str(), "P6 %9ld %9ld %9ld%n", &width, &height, &most, &header) != 3)
        return false;
    return width > 0 && height > 0 && size >= header + 1 + 3 * width * height;
}

bool is_sound(const std::string &kind, const std::string &path)
{
    std::FILE *file = std::fopen(path.c_str(), "re");
    if (file == nullptr)
        return false;
    struct stat status = {};
    bool sound = fstat(fileno(file), &status) == 0 && S_ISREG(status.st_mode) && status.st_size > 0;
    if (sound && kind == "pdf")
        sound = pdf_is_sound(file);
    else if (sound && kind == "pnm")
        sound = pnm_is_sound(file, status.st_size);
    std::fclose(file);
    return sound;
}

// Copies the result into a device, which cannot be replaced.
bool copy_into(const std::string &result, const std::string &destination)
{
    const int in = open(result.c_str(), O_RDONLY | O_CLOEXEC);
    const int out = open(destination.c_str(), O_WRONLY | O_CLOEXEC);
    bool good = in >= 0 && out >= 0;
    std::array<char, window_size> chunk;
    while (good) {
        const ssize_t n = read(in, chunk.data(), chunk.size());
        if (n <= 0) {
            good = n == 0;
            break;
        }
        for (ssize_t done = 0; good && done < n;) {
            const ssize_t written =
                write(out, chunk.data() + done, static_cast<std::size_t>(n - done));
            good = written > 0;
            done += written;
        }
    }
    if (in >= 0)
        close(in);
    if (out >= 0)
        close(out);
    return good;
}

// Puts the result where the user wants it. An older file there keeps its owner and permissions, and
// is there whole until the new one is.
bool move_into_place(const std::string &result)
{
    const std::string destination = link_target(in_run_folder(destination_link));
    struct stat old = {};
    const bool exists = stat(destination.c_str(), &old) == 0;
    if (exists && !S_ISREG(old.st_mode))
        return copy_into(result, destination);
    if (exists) {
        const int descriptor = open(result.c_str(), O_RDONLY | O_CLOEXEC);
        // Only root can give a file away; whoever cannot keeps what is made.
        if (descriptor >= 0 && fchown(descriptor, old.st_uid, old.st_gid) != 0)
            errno = 0;
        const bool safe = descriptor >= 0 && fchmod(descriptor, old.st_mode & 0777) == 0 &&
                          fsync(descriptor) == 0;
        if (descriptor >= 0)
            close(descriptor);
        if (!safe)
            return false;
    }
    return rename(result.c_str(), destination.c_str()) == 0;
}

void write_status(int status, const char *ending)
{
    // Written whole under another name first: the application may look at any moment.
    const std::string path = in_run_folder("status");
    const std::string fresh = path + ".new";
    std::FILE *file = std::fopen(fresh.c_str(), "we");
    if (file == nullptr)
        return;
    std::fprintf(file, "%d %s\n", status, ending);
    if (std::fclose(file) == 0)
        rename(fresh.c_str(), path.c_str());
}

int settle(int status, const std::string &kind, const char *input, const char *output,
           const char *capture)
{
    if (access(run_folder.c_str(), F_OK) != 0)
        return status;
    const std::string name = std::string(platform::output_link) + "/result." + kind;
    const std::string result = in_run_folder(name.c_str());
    const char *ending = "done";
    if (status == 0) {
        if (tells_of_error(capture) || !is_sound(kind, result)) {
            ending = "unusable";
        } else if (!move_into_place(result)) {
            std::FILE *file = std::fopen(capture, "ae");
            if (file != nullptr) {
                std::fprintf(file, "%s: the result can't be put there: %s.\n", output,
                             std::strerror(errno));
                std::fclose(file);
            }
            ending = "unusable";
        }
    }
    name_users_files(capture, {{name, output}, {platform::input_link, users_name(input)}});
    platform::remove_unfinished_output(run_folder);
    write_status(status, ending);
    return status;
}

// ---- signal ----

// Only an ancestor is told: the number of an application that was killed may be anybody's by now.
int signal_application(pid_t application)
{
    return platform::is_ancestor(application) && kill(application, SIGUSR1) == 0 ? 0 : 1;
}

} // namespace

int main(int argc, char **argv)
{
    const char *folder = getenv("PAPERMILL_RUN_FOLDER");
    if (folder != nullptr) {
        run_folder = folder;
        if (argc == 4 && std::strcmp(argv[1], "stage") == 0)
            return stage(argv[2], argv[3]);
        if (argc == 3 && std::strcmp(argv[1], "signal") == 0)
            return signal_application(std::atoi(argv[2]));
        if (argc > 2 && std::strcmp(argv[1], "confine") == 0)
            return confine(argv + 2);
        if (argc > 3 && std::strcmp(argv[1], "command") == 0)
            return command(std::atoi(argv[2]), argv + 3);
        if (argc == 7 && std::strcmp(argv[1], "settle") == 0)
            return settle(std::atoi(argv[2]), argv[3], argv[4], argv[5], argv[6]);
    }
    complain("gs_files: called by gs.script alone, with a run's folder in the environment.");
    return ex_usage;
}
