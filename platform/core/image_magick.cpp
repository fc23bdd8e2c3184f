#include "platform/core/image_magick.h"

#include "platform/core/atomic_file.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int all_levels = 256;
constexpr int map_place = 3; // the descriptor at which the child finds the colours
constexpr int command_not_found = 127;

// An open file in memory with these bytes, to be read from its start.
platform::unique_fd memory_file(const std::string &bytes)
{
    platform::unique_fd file(memfd_create("papermill", MFD_CLOEXEC));
    if (file.get() < 0)
        return file;
    platform::file_writer writer(file.get());
    writer.put(bytes.data(), bytes.size());
    if (writer.finish() != noErr || lseek(file.get(), 0, SEEK_SET) != 0)
        return platform::unique_fd();
    return file;
}

std::string bitmap_of(const std::vector<platform::colour> &colours)
{
    std::string bitmap = "P6 " + std::to_string(colours.size()) + " 1 255\n";
    for (const platform::colour &each : colours) {
        for (const std::uint8_t component : {each.red, each.green, each.blue})
            bitmap += static_cast<char>(component);
    }
    return bitmap;
}

// The status of ImageMagick, which reads the picture from `in`; -1 when it cannot be started.
int run(std::vector<std::string> words, int in, int map, int out)
{
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_adddup2(&files, in, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&files, out, STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&files, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    if (map >= 0)
        posix_spawn_file_actions_adddup2(&files, map, map_place);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);

    std::vector<char *> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string &word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    pid_t child = -1;
    const int error =
        posix_spawnp(&child, arguments[0], &files, &attributes, arguments.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&files);
    if (error != 0)
        return error == ENOENT ? command_not_found : -1;

    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR)
            return -1;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace

OSErr platform::draw_picture_file(const std::string &file, std::int32_t width, std::int32_t height,
                                  const std::vector<colour> &colours, int levels,
                                  std::string *pixels)
{
    // No file lies in the places of the child's own ones, so that none is lost there.
    const auto keep_away = [](unique_fd taken) {
        return unique_fd(fcntl(taken.get(), F_DUPFD_CLOEXEC, map_place + 1));
    };
    const unique_fd in = keep_away(memory_file(file));
    const unique_fd map = keep_away(memory_file(bitmap_of(colours)));
    const unique_fd out = keep_away(memory_file(""));
    if (in.get() < 0 || map.get() < 0 || out.get() < 0)
        return ioErr;

    std::vector<std::string> words = {"convert",
                                      "-limit",
                                      "memory",
                                      "256MiB",
                                      "-limit",
                                      "map",
                                      "512MiB",
                                      "-limit",
                                      "disk",
                                      "4GiB",
                                      "pict:-",
                                      "-background",
                                      "white",
                                      "-alpha",
                                      "remove",
                                      "-colorspace",
                                      "sRGB",
                                      "-resize",
                                      std::to_string(width) + "x" + std::to_string(height) + "!"};
    if (!colours.empty())
        words.insert(words.end(), {"-dither", "FloydSteinberg", "-remap",
                                   "ppm:fd:" + std::to_string(map_place)});
    else if (levels < all_levels)
        words.insert(words.end(),
                     {"-dither", "FloydSteinberg", "-posterize", std::to_string(levels)});
    words.insert(words.end(), {"-depth", "8", "rgb:-"});

    const int status = run(words, in.get(), colours.empty() ? -1 : map.get(), out.get());
    if (status == command_not_found)
        return fnfErr;
    if (status < 0)
        return ioErr;
    struct stat drawn = {};
    const auto size = static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 3;
    if (status != 0 || fstat(out.get(), &drawn) != 0 ||
        static_cast<std::size_t>(drawn.st_size) != size)
        return paramErr;
    pixels->resize(size);
    return read_at(out.get(), 0, pixels->data(), size);
}
