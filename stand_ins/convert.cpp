// convert, convert102 [-compress lzw] -density NxN BITMAP OUTPUT: a bitmap (PNM) becomes a TIFF or
// a PICT file, with ImageMagick. Any other call goes on to the next tool of that name.
//
// ImageMagick works in a private folder beside the output, where it meets no name that somebody
// else chose, and writes nowhere else. $PAPERMILL_PICTURE, tiff or pict, says what the output is to
// be; without it, the output's ending does. PICT files are written here, from the pixels that
// ImageMagick reads: its own ones are misread by others where they are 1, 2 or 63 to 66 pixels
// wide, and have rows that are too long for the format from 4096 pixels on.
//
// The application shows standard output alone, so that is where the messages go.
#include "platform/core/atomic_file.h"
#include "platform/core/picture_format.h"
#include "platform/core/run_folder.h"
#include "stand_ins/complain.h"
#include "stand_ins/confine.h"
#include "stand_ins/next_tool.h"
#include "stand_ins/result_place.h"
#include "stand_ins/soundness.h"

#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <strings.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

enum exit_code { ex_failed = 1, ex_no_tool = 127, ex_signal = 128 };

struct request {
    bool lzw = false;
    std::uint16_t x_resolution = 0, y_resolution = 0; // dots per inch
    const char *density = nullptr;                    // both, as given
    const char *input = nullptr, *output = nullptr;
    std::string kind;              // tiff or pict
    long width = 0, height = 0;    // of the bitmap, in pixels
    const char *subject = nullptr; // the file that messages name
};

// What the files are called in the private folder.
constexpr char input_name[] = "input";
constexpr char result_name[] = "result";
constexpr char messages_name[] = "messages";

// ---- the call ----

bool read_resolution(const char *text, request *to)
{
    unsigned x = 0;
    unsigned y = 0;
    char rest = 0;
    constexpr unsigned most = platform::largest_picture_resolution;
    if (std::isdigit(static_cast<unsigned char>(text[0])) == 0 ||
        std::sscanf(text, "%5ux%5u%c", &x, &y, &rest) != 2 || x < 1 || y < 1 || x > most ||
        y > most)
        return false;
    to->density = text;
    to->x_resolution = static_cast<std::uint16_t>(x);
    to->y_resolution = static_cast<std::uint16_t>(y);
    return true;
}

// The next number of a bitmap's head, where a comment may stand before it; 0 when there is none.
long next_number(std::FILE *file)
{
    int c = std::fgetc(file);
    while (std::isspace(c) != 0 || c == '#') {
        if (c == '#') {
            while (c != '\n' && c != EOF)
                c = std::fgetc(file);
        }
        c = std::fgetc(file);
    }
    long number = 0;
    constexpr long most = 999'999'999;
    for (; c >= '0' && c <= '9' && number <= most; c = std::fgetc(file))
        number = number * 10 + (c - '0');
    return number;
}

// True for an ordinary file that begins as a bitmap does.
bool read_bitmap_size(const char *path, request *to)
{
    const int descriptor = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    struct stat status = {};
    if (descriptor < 0 || fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
        if (descriptor >= 0)
            close(descriptor);
        return false;
    }
    std::FILE *file = fdopen(descriptor, "r");
    const int first = std::fgetc(file);
    const int second = std::fgetc(file);
    const bool bitmap = first == 'P' && second >= '1' && second <= '6';
    if (bitmap) {
        to->width = next_number(file);
        to->height = next_number(file);
    }
    std::fclose(file);
    return bitmap && to->width > 0 && to->height > 0;
}

bool has_ending(const std::string &path, const std::string &ending)
{
    return path.size() >= ending.size() &&
           strcasecmp(path.c_str() + path.size() - ending.size(), ending.c_str()) == 0;
}

// Empty for an output that is none of this program's.
std::string kind_of(const char *output)
{
    const char *wanted = std::getenv("PAPERMILL_PICTURE");
    if (wanted != nullptr && (std::strcmp(wanted, "tiff") == 0 || std::strcmp(wanted, "pict") == 0))
        return wanted;
    if (has_ending(output, ".pict") || has_ending(output, ".pct"))
        return "pict";
    return has_ending(output, ".tiff") || has_ending(output, ".tif") ? "tiff" : "";
}

// False for a call in another form.
bool read_arguments(int argc, char **argv, request *to)
{
    int at = 1;
    if (argc - at > 2 && std::strcmp(argv[at], "-compress") == 0 &&
        std::strcmp(argv[at + 1], "lzw") == 0) {
        to->lzw = true;
        at += 2;
    }
    if (argc - at != 4 || std::strcmp(argv[at], "-density") != 0 ||
        !read_resolution(argv[at + 1], to))
        return false;
    to->input = argv[at + 2];
    to->output = argv[at + 3];
    to->kind = kind_of(to->output);
    // The bitmap is a temporary file; the user knows what it was made of, or what is made of it.
    const char *original = std::getenv("PAPERMILL_PREPARED_FROM");
    to->subject = original != nullptr ? original : to->output;
    return !to->kind.empty() && read_bitmap_size(to->input, to);
}

// ---- ImageMagick ----

volatile std::sig_atomic_t stopped_by;   // the signal that ends this program
volatile std::sig_atomic_t image_magick; // the child's process, 0 while there is none

void stop(int number)
{
    stopped_by = number;
    if (image_magick != 0)
        kill(image_magick, SIGKILL);
}

void catch_signals()
{
    struct sigaction action = {};
    action.sa_handler = stop;
    sigemptyset(&action.sa_mask);
    for (const int number : {SIGINT, SIGTERM, SIGHUP})
        sigaction(number, &action, nullptr);
    std::signal(SIGPIPE, SIG_IGN); // of the console, which may be gone
    std::signal(SIGXFSZ, SIG_IGN); // of a limit; what can't be written is told
}

std::vector<std::string> arguments_for(const request &job)
{
    // Where no policy holds it back, it would take all memory and then all of the disk.
    std::vector<std::string> call = {"convert", "-limit", "memory", "256MiB", "-limit",
                                     "map",     "512MiB", "-limit", "disk",   "4GiB"};
    if (job.lzw)
        call.insert(call.end(), {"-compress", "lzw"});
    // Of several bitmaps in the file, the first one.
    call.insert(call.end(), {"-density", job.density, "-units", "PixelsPerInch",
                             std::string("pnm:") + input_name + "[0]"});
    if (job.kind == "pict")
        call.insert(call.end(), {"-colorspace", "sRGB", "-depth", "8", "rgb:-"});
    else
        call.push_back(std::string("tiff:") + result_name);
    return call;
}

[[noreturn]] void become_image_magick(const std::string &tool, const request &job,
                                      const std::string &folder, int output, pid_t parent)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent)
        _exit(ex_signal + SIGKILL); // it died before the line above
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGPIPE})
        std::signal(number, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);

    const int nothing = open("/dev/null", O_RDONLY);
    const int messages =
        chdir(folder.c_str()) == 0 ? open(messages_name, O_WRONLY | O_CREAT | O_APPEND, 0600) : -1;
    if (nothing < 0 || messages < 0 || dup2(nothing, STDIN_FILENO) < 0 ||
        dup2(output, STDOUT_FILENO) < 0 || dup2(messages, STDERR_FILENO) < 0)
        _exit(ex_failed);
    for (const char *name : {"TMPDIR", "MAGICK_TMPDIR", "MAGICK_TEMPORARY_PATH"})
        setenv(name, ".", 1);
    confine_writes({folder});

    std::vector<std::string> words = arguments_for(job);
    std::vector<char *> call;
    call.reserve(words.size() + 1);
    for (std::string &word : words)
        call.push_back(word.data());
    call.push_back(nullptr);
    execv(tool.c_str(), call.data());
    complain("%s can't be started: %s.", tool.c_str(), std::strerror(errno));
    _exit(ex_no_tool);
}

// ---- the picture ----

bool read_whole(int from, std::uint8_t *bytes, std::size_t size)
{
    while (size > 0) {
        const ssize_t n = read(from, bytes, size);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        bytes += n;
        size -= static_cast<std::size_t>(n);
    }
    return true;
}

bool is_at_end(int file)
{
    std::uint8_t byte = 0;
    return !read_whole(file, &byte, 1);
}

// Makes a picture file of the pixels that come. False when it could not be written; errno says why.
// Pixels that are missing are not told here: their sender failed, and says so.
bool write_picture(const request &job, int pixels, const std::string &path, bool *complete)
{
    std::FILE *file = std::fopen(path.c_str(), "we");
    if (file == nullptr)
        return false;
    std::size_t size = 0;
    const auto put = [&](const std::string &bytes) {
        std::fwrite(bytes.data(), 1, bytes.size(), file);
        size += bytes.size();
    };
    const Rect frame = {0, 0, static_cast<std::int16_t>(job.height),
                        static_cast<std::int16_t>(job.width)};
    std::fwrite(std::string(platform::picture_file_header, '\0').data(), 1,
                platform::picture_file_header, file);
    put(platform::start_of_picture(frame, frame, job.x_resolution, job.y_resolution));
    platform::pixel_map_writer map({frame, job.x_resolution, job.y_resolution}, put);
    std::vector<std::uint8_t> row(static_cast<std::size_t>(job.width) * 3);
    *complete = true;
    for (long y = 0; *complete && y < job.height; ++y) {
        *complete = read_whole(pixels, row.data(), row.size());
        if (*complete)
            map.put_row(row.data());
    }
    *complete = *complete && is_at_end(pixels);
    put(platform::end_of_picture());
    const std::string length = platform::picture_size(size);
    bool written = std::fseek(file, platform::picture_file_header, SEEK_SET) == 0 &&
                   std::fwrite(length.data(), 1, length.size(), file) == length.size();
    written = std::ferror(file) == 0 && written;
    return std::fclose(file) == 0 && written;
}

// ---- what is told ----

std::string read_text(const std::string &path)
{
    std::string text(65536, '\0');
    std::FILE *file = std::fopen(path.c_str(), "re");
    if (file == nullptr)
        return "";
    text.resize(std::fread(text.data(), 1, text.size(), file));
    std::fclose(file);
    return text;
}

void replace_all(std::string &text, const std::string &from, const std::string &to)
{
    for (std::size_t at = text.find(from); at != std::string::npos;
         at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
}

// Shows what ImageMagick said, with the user's names in the place of its own.
void show_messages(const request &job, std::string text)
{
    if (!text.empty() && text.back() != '\n')
        text += '\n';
    for (const char *own : {"input", "pnm:input", "input[0]", "pnm:input[0]"})
        replace_all(text, std::string("`") + own + "'", std::string("`") + job.subject + "'");
    for (const char *own : {"-", "result", "tiff:result", "rgb:-"})
        replace_all(text, std::string("`") + own + "'", std::string("`") + job.output + "'");
    std::fputs(text.c_str(), stdout);
    std::fflush(stdout);
}

bool is_too_large(const std::string &messages)
{
    return messages.find("exceeds limit") != std::string::npos ||
           messages.find("resources exhausted") != std::string::npos;
}

void refuse_size(const request &job)
{
    complain("%s: a picture of %ld x %ld pixels is too large. Choose a lower resolution.",
             job.subject, job.width, job.height);
}

// ---- one conversion ----

// Runs ImageMagick in the folder and leaves the result there. Returns the exit status.
int make_result(const std::string &tool, const request &job, const std::string &folder)
{
    if (symlink(absolute(job.input).c_str(), (folder + "/" + input_name).c_str()) != 0) {
        tell_unusable_folder(job.output);
        return ex_failed;
    }
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        complain("%s can't be started: %s.", "convert", std::strerror(errno));
        return ex_failed;
    }
    // What arrives before the child is known to stop() waits until it is.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    sigprocmask(SIG_SETMASK, &all, &before);
    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child == 0)
        become_image_magick(tool, job, folder, ends[1], parent);
    image_magick = child > 0 ? child : 0;
    sigprocmask(SIG_SETMASK, &before, nullptr);
    close(ends[1]);
    if (child < 0) {
        complain("%s can't be started: %s.", "convert", std::strerror(errno));
        close(ends[0]);
        return ex_failed;
    }

    const std::string result = folder + "/" + result_name;
    bool complete = true;
    bool written = true;
    int reason = 0;
    if (job.kind == "pict") {
        written = write_picture(job, ends[0], result, &complete);
        reason = errno;
    }
    close(ends[0]);
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    image_magick = 0;
    if (stopped_by != 0)
        return ex_signal + stopped_by;

    const std::string messages = read_text(folder + "/" + messages_name);
    show_messages(job, messages);
    if (WIFSIGNALED(status)) {
        complain("%s: ImageMagick was ended by signal %d.", job.subject, WTERMSIG(status));
        return ex_signal + WTERMSIG(status);
    }
    if (!written) {
        complain("%s: the result can't be put there: %s.", job.output, std::strerror(reason));
        return ex_failed;
    }
    if (WEXITSTATUS(status) != 0) {
        if (is_too_large(messages))
            refuse_size(job);
        else
            tell_full_disk(job.output, folder, platform::folder_of(folder));
        return WEXITSTATUS(status);
    }
    if (!complete || !is_sound(job.kind, result)) {
        complain("%s: ImageMagick left no usable result.", job.subject);
        return ex_failed;
    }
    return 0;
}

// The link by which the application finds what is unfinished here when it clears up after a run;
// empty outside of a run, and where gs.script has such a folder already, which holds all of it.
std::string link_of_run()
{
    const char *run_folder = std::getenv("PAPERMILL_RUN_FOLDER");
    if (run_folder == nullptr)
        return "";
    const std::string link = std::string(run_folder) + "/" + platform::output_link;
    return platform::link_target(link).empty() ? link : "";
}

int convert(const request &job)
{
    const std::string tool = find_next_tool("convert");
    if (tool.empty()) {
        complain("convert was not found. Install the package imagemagick.");
        return ex_no_tool;
    }
    if (job.kind == "pict" && (job.width > platform::largest_picture_side ||
                               job.height > platform::largest_picture_side)) {
        refuse_size(job);
        return ex_failed;
    }
    result_place place;
    std::string folder;
    const std::string link = link_of_run();
    const char *temporary = std::getenv("TMPDIR");
    if (!find_place(job.output, &place) ||
        !make_unfinished_folder(job.output,
                                !place.device          ? place.folder
                                : temporary != nullptr ? temporary
                                                       : "/tmp",
                                link, &folder))
        return ex_failed;
    int status =
        stopped_by != 0 ? ex_signal + stopped_by : make_result(absolute(tool), job, folder);
    if (status == 0 && stopped_by == 0 &&
        !put_result(folder + "/" + result_name, place.destination, job.output))
        status = ex_failed;
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
    if (!link.empty())
        unlink(link.c_str());
    return status;
}

} // namespace

int main(int argc, char **argv)
{
    request job;
    if (!read_arguments(argc, argv, &job)) {
        const char *slash = std::strrchr(argv[0], '/');
        hand_over(slash == nullptr ? argv[0] : slash + 1, argv);
    }
    dup2(STDOUT_FILENO, STDERR_FILENO);
    catch_signals();
    const int status = convert(job);
    if (stopped_by != 0) {
        std::signal(stopped_by, SIG_DFL);
        std::raise(stopped_by);
    }
    return status;
}
