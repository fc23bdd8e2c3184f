#include "tests/support/terminal_user.h"

#include "tests/support/eventually.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <unistd.h>

namespace fs = std::filesystem;

terminal_user::terminal_user(const std::string &suffix)
    : work(root.make_folder("work" + suffix)), home(root.make_folder("home" + suffix)),
      tmp(root.make_folder("tmp" + suffix))
{
    // Nor is the user's own session bus any business of the tests.
    environment = {{"HOME", home},
                   {"TMPDIR", tmp},
                   {"XDG_CONFIG_HOME", std::nullopt},
                   {"DBUS_SESSION_BUS_ADDRESS", std::nullopt},
                   {"XDG_RUNTIME_DIR", std::nullopt},
                   {"LC_ALL", "C.UTF-8"}};
}

program_call terminal_user::call(const std::vector<std::string> &words) const
{
    program_call result;
    result.arguments = {program_path};
    result.arguments.insert(result.arguments.end(), words.begin(), words.end());
    result.environment = environment;
    result.folder = work;
    return result;
}

program_result terminal_user::papermill(const std::vector<std::string> &words) const
{
    return run_program(call(words));
}

program_result terminal_user::papermill_on_terminal(const std::vector<std::string> &words) const
{
    program_call result = call(words);
    result.on_terminal = true;
    return run_program(result);
}

program_result terminal_user::papermill_under(std::vector<std::string> words,
                                              const std::vector<std::string> &papermill_words) const
{
    words.emplace_back(program_path);
    words.insert(words.end(), papermill_words.begin(), papermill_words.end());
    return run(words);
}

program_result terminal_user::run(const std::vector<std::string> &words) const
{
    program_call result = call({});
    result.arguments = words;
    return run_program(result);
}

void terminal_user::set(const char *key, const std::string &value) const
{
    const program_result result = papermill({"settings", "set", key, value});
    if (result.status != 0)
        throw std::runtime_error(std::string("cannot set ") + key + ": " + result.err);
}

std::string terminal_user::write(std::string_view name, std::string_view bytes) const
{
    const std::string result = path(name);
    write_file(result, std::string(bytes));
    return result;
}

std::string terminal_user::path(std::string_view name) const
{
    return work + "/" + std::string(name);
}

std::string terminal_user::read(std::string_view name) const
{
    return read_file(path(name));
}

bool terminal_user::has(std::string_view name) const
{
    return file_exists(path(name));
}

std::vector<std::string> terminal_user::names() const
{
    return names_in(work);
}

std::string terminal_user::elsewhere(std::string_view name) const
{
    return root / name;
}

std::vector<pid_t> terminal_user::processes(std::string_view name) const
{
    // Whoever it is, it has inherited the temporary folder, or one within it.
    const std::string mark = "TMPDIR=" + tmp;
    std::vector<pid_t> result;
    std::error_code ignored;
    for (fs::directory_iterator entry("/proc", ignored), end; entry != end;
         entry.increment(ignored)) {
        const long pid = std::strtol(entry->path().filename().c_str(), nullptr, 10);
        if (pid <= 0 || read_file(entry->path() / "environ").find(mark) == std::string::npos)
            continue;
        std::string command = read_file(entry->path() / "comm");
        command.erase(std::min(command.find('\n'), command.size()));
        if (name.empty() || command == name)
            result.push_back(static_cast<pid_t>(pid));
    }
    return result;
}

std::vector<std::string> terminal_user::leftovers() const
{
    std::vector<pid_t> living;
    eventually([&] {
        living = processes("");
        return living.empty();
    });
    std::vector<std::string> result = names_in(tmp);
    for (const pid_t pid : living)
        result.push_back("process " + std::to_string(pid));
    return result;
}

// ---- documents ----

static std::string drawing(std::string_view text)
{
    return "0 0 20 20 rectfill\n"
           "/Helvetica findfont 10 scalefont setfont 24 6 moveto (" +
           std::string(text) + ") show\n";
}

std::string drawing_ps(int width, int height, std::string_view text)
{
    return "%!PS-Adobe-3.0\n%%EndComments\n<< /PageSize [" + std::to_string(width) + " " +
           std::to_string(height) + "] >> setpagedevice\n" + drawing(text) + "showpage\n%%EOF\n";
}

// It lies away from the origin, so that a box that is not heeded shows.
std::string drawing_eps(int width, int height, std::string_view text)
{
    return "%!PS-Adobe-3.0 EPSF-3.0\n%%BoundingBox: 30 40 " + std::to_string(width + 30) + " " +
           std::to_string(height + 40) + "\n%%EndComments\n30 40 translate\n" + drawing(text) +
           "showpage\n%%EOF\n";
}

std::string big_ps(int pages)
{
    std::string result = "%!PS-Adobe-3.0\n/Helvetica findfont 8 scalefont setfont\n";
    unsigned seed = 1;
    for (int page = 1; page <= pages; ++page) {
        for (int line = 0; line < 90; ++line) {
            result += "20 " + std::to_string(20 + 8 * line) + " moveto (";
            for (int digit = 0; digit < 100; ++digit) {
                seed = seed * 1103515245 + 12345;
                result += static_cast<char>('0' + (seed >> 16) % 10);
            }
            result += ") show\n";
        }
        result += "showpage\n";
    }
    return result + "%%EOF\n";
}

std::string endless_ps()
{
    return "%!PS\n(started\\n) print flush {} loop\n";
}

std::string endless_eps()
{
    return "%!PS-Adobe-3.0 EPSF-3.0\n%%BoundingBox: 0 0 50 50\n"
           "(started\\n) print flush {} loop\n%%EOF\n";
}

// ---- results ----

// Runs a program on the file, which gets an ordinary name for it.
static program_result look_at(const std::string &path, std::vector<std::string> words)
{
    const temporary_folder folder;
    const std::string name = folder / "file.pdf";
    fs::create_symlink(path, name);
    std::replace(words.begin(), words.end(), std::string("FILE"), name);
    program_call call;
    call.arguments = std::move(words);
    return run_program(call);
}

static std::string field(const std::string &text, const std::string &name)
{
    const std::size_t at = text.find(name);
    if (at == std::string::npos)
        return "";
    const std::size_t start = text.find_first_not_of(' ', at + name.size());
    return text.substr(start, text.find('\n', start) - start);
}

std::string pdf_page_size(const std::string &path)
{
    const std::string size = field(look_at(path, {"pdfinfo", "FILE"}).out, "Page size:");
    return size.substr(0, size.find(" pts"));
}

int pdf_page_count(const std::string &path)
{
    const std::string count = field(look_at(path, {"pdfinfo", "FILE"}).out, "Pages:");
    return count.empty() ? -1 : std::atoi(count.c_str());
}

std::string pdf_text(const std::string &path)
{
    return look_at(path, {"pdftotext", "-layout", "FILE", "-"}).out;
}

std::string qpdf_complaints(const std::string &path)
{
    const program_result result = look_at(path, {"qpdf", "--check", "FILE"});
    return result.status == 0 ? "" : result.out + result.err;
}

// Reads a "P5" file, whose header may hold comments.
static grey_picture read_pgm(const std::string &bytes)
{
    if (bytes.compare(0, 2, "P5") != 0)
        return {};
    int numbers[3] = {}; // width, height, the value of white
    std::size_t at = 2;
    for (int &number : numbers) {
        at = bytes.find_first_not_of(" \n", at);
        while (at < bytes.size() && bytes[at] == '#')
            at = bytes.find_first_not_of(" \n", bytes.find('\n', at));
        if (at >= bytes.size())
            return {};
        number = std::atoi(bytes.c_str() + at);
        at = bytes.find_first_of(" \n", at);
    }
    grey_picture result = {numbers[0], numbers[1], bytes.substr(at + 1)};
    const auto size =
        static_cast<std::size_t>(result.width) * static_cast<std::size_t>(result.height);
    return result.pixels.size() == size && numbers[2] == 255 ? result : grey_picture();
}

grey_picture pdf_picture(const std::string &path, int page, int dpi)
{
    const std::string number = std::to_string(page);
    return read_pgm(look_at(path, {"pdftoppm", "-gray", "-r", std::to_string(dpi), "-f", number,
                                   "-l", number, "FILE"})
                        .out);
}

grey_picture image_picture(const std::string &path)
{
    return read_pgm(
        look_at(path, {"convert", "FILE", "-colorspace", "Gray", "-depth", "8", "pgm:-"}).out);
}

grey_picture ps_picture(const std::string &path, int width, int height, int left, int bottom,
                        int page)
{
    const temporary_folder folder;
    program_call call;
    call.arguments = {"gs",
                      "-q",
                      "-dSAFER",
                      "-dNOPAUSE",
                      "-dBATCH",
                      "-sDEVICE=pgmraw",
                      "-r72",
                      "-dTextAlphaBits=4",
                      "-dGraphicsAlphaBits=4",
                      "-g" + std::to_string(width) + "x" + std::to_string(height),
                      "-sOutputFile=" + folder / "%d.pgm",
                      "-c",
                      std::to_string(-left) + " " + std::to_string(-bottom) + " translate",
                      "-f",
                      path};
    run_program(call);
    return read_pgm(read_file(folder / (std::to_string(page) + ".pgm")));
}

// How dark the nine pixels around (x, y) are together.
static int ink(const grey_picture &picture, int x, int y)
{
    int sum = 0;
    for (int dy = -1; dy <= 1; ++dy) {
        for (int dx = -1; dx <= 1; ++dx) {
            const auto row = static_cast<std::size_t>(y + dy);
            const auto column = static_cast<std::size_t>(x + dx);
            const std::size_t at = row * static_cast<std::size_t>(picture.width) + column;
            sum += 255 - static_cast<unsigned char>(picture.pixels[at]);
        }
    }
    return sum;
}

double difference(const grey_picture &a, const grey_picture &b)
{
    if (a.pixels.empty() || b.pixels.empty() || a.width != b.width || a.height != b.height)
        return 1;
    double differs = 0;
    double all = 0;
    for (int y = 1; y < a.height - 1; ++y) {
        for (int x = 1; x < a.width - 1; ++x) {
            differs += std::abs(ink(a, x, y) - ink(b, x, y));
            all += ink(a, x, y) + ink(b, x, y);
        }
    }
    return all > 0 ? differs / all : 1;
}
