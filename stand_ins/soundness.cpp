#include "stand_ins/soundness.h"

#include <cctype>
#include <cstdint>
#include <cstdio>
#include <sys/stat.h>

namespace {

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

bool ends_with_eof_comment(std::FILE *file)
{
    return tail_of(file, 1024).find("%%EOF") != std::string::npos;
}

bool dsc_is_sound(std::FILE *file)
{
    return head_of(file, 4) == "%!PS" && ends_with_eof_comment(file) &&
           head_of(file, 4096).find("%%Pages: 0\n") == std::string::npos;
}

bool has_text(std::FILE *file)
{
    std::rewind(file);
    for (int c = std::fgetc(file); c != EOF; c = std::fgetc(file)) {
        if (std::isspace(c) == 0)
            return true;
    }
    return false;
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

// The directory of the first image is written last: where it lies within the file, all of the
// image does.
bool tiff_is_sound(std::FILE *file, off_t size)
{
    const std::string head = head_of(file, 8);
    const bool little = head.compare(0, 4, std::string("II*\0", 4)) == 0;
    if (head.size() < 8 || (!little && head.compare(0, 4, std::string("MM\0*", 4)) != 0))
        return false;
    std::uint32_t directory = 0;
    for (std::size_t i = 0; i < 4; ++i)
        directory = directory << 8 | static_cast<unsigned char>(head[little ? 7 - i : 4 + i]);
    return directory >= 8 && directory < size;
}

// 512 bytes of header, then size, frame and the version's opcode.
bool pict_is_sound(std::FILE *file)
{
    constexpr std::size_t header = 512;
    constexpr std::size_t version_at = header + 10;
    const std::string head = head_of(file, version_at + 2);
    return head.size() == version_at + 2 &&
           (head.compare(version_at, 2, std::string("\0\x11", 2)) == 0 ||
            head.compare(version_at, 2, "\x11\x01") == 0);
}

} // namespace

bool is_sound(const std::string &kind, const std::string &path)
{
    std::FILE *file = std::fopen(path.c_str(), "re");
    if (file == nullptr)
        return false;
    struct stat status = {};
    bool sound = fstat(fileno(file), &status) == 0 && S_ISREG(status.st_mode) && status.st_size > 0;
    if (!sound) {
    } else if (kind == "pdf")
        sound = head_of(file, 5) == "%PDF-" && ends_with_eof_comment(file);
    else if (kind == "ps" || kind == "eps")
        sound = head_of(file, 4) == "%!PS" && ends_with_eof_comment(file);
    else if (kind == "dsc")
        sound = dsc_is_sound(file);
    else if (kind == "txt")
        sound = has_text(file);
    else if (kind == "pnm")
        sound = pnm_is_sound(file, status.st_size);
    else if (kind == "tiff")
        sound = tiff_is_sound(file, status.st_size);
    else if (kind == "pict")
        sound = pict_is_sound(file);
    std::fclose(file);
    return sound;
}
