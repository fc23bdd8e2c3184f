#include "stand_ins/soundness.h"

#include <cctype>
#include <cstdint>
#include <cstdio>
#include <iterator>
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

// As the last line. Ghostscript's PostScript holds the same characters further up.
bool ends_with_eof_comment(std::FILE *file)
{
    const std::string tail = tail_of(file, 1024);
    const std::string comment = "\n%%EOF";
    const std::size_t last = tail.find_last_not_of(" \t\r\n");
    return last != std::string::npos && last + 1 >= comment.size() &&
           tail.compare(last + 1 - comment.size(), comment.size(), comment) == 0;
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

struct tiff_file {
    std::FILE *file;
    std::uint64_t size;
    bool little;
};

// The number of 2 or 4 bytes at that place; more than fits when it is not within the file.
std::uint64_t tiff_number(const tiff_file &tiff, std::uint64_t at, unsigned size)
{
    unsigned char bytes[4] = {};
    if (at + size > tiff.size || std::fseek(tiff.file, static_cast<long>(at), SEEK_SET) != 0 ||
        std::fread(bytes, 1, size, tiff.file) != size)
        return UINT64_MAX;
    std::uint64_t number = 0;
    for (unsigned i = 0; i < size; ++i)
        number = number << 8 | bytes[tiff.little ? size - 1 - i : i];
    return number;
}

// A list of numbers in the directory of a TIFF file.
struct tiff_list {
    std::uint64_t count = 0, place = 0;
    unsigned size = 0; // of a number, in bytes

    std::uint64_t at(const tiff_file &tiff, std::uint64_t i) const
    {
        return tiff_number(tiff, place + i * size, size);
    }
};

// All strips of the first image and all that its directory points to lie within the file.
bool tiff_is_sound(std::FILE *file, off_t size)
{
    constexpr unsigned strip_offsets = 273;
    constexpr unsigned strip_sizes = 279;
    constexpr unsigned type_sizes[] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8};
    const std::string head = head_of(file, 4);
    const tiff_file tiff = {file, static_cast<std::uint64_t>(size), head[0] == 'I'};
    if (head != std::string("II*\0", 4) && head != std::string("MM\0*", 4))
        return false;
    const std::uint64_t directory = tiff_number(tiff, 4, 4);
    const std::uint64_t entries = directory < tiff.size ? tiff_number(tiff, directory, 2) : 0;
    if (directory < 8 || entries > UINT16_MAX)
        return false;
    tiff_list offsets;
    tiff_list sizes;
    for (std::uint64_t i = 0; i < entries; ++i) {
        const std::uint64_t entry = directory + 2 + i * 12;
        const std::uint64_t tag = tiff_number(tiff, entry, 2);
        const std::uint64_t type = tiff_number(tiff, entry + 2, 2);
        tiff_list list;
        list.size = type < std::size(type_sizes) ? type_sizes[type] : 1;
        list.count = tiff_number(tiff, entry + 4, 4);
        list.place = list.count * list.size <= 4 ? entry + 8 : tiff_number(tiff, entry + 8, 4);
        if (list.place > tiff.size || list.count * list.size > tiff.size - list.place)
            return false;
        if (tag == strip_offsets)
            offsets = list;
        else if (tag == strip_sizes)
            sizes = list;
    }
    bool sound =
        offsets.count > 0 && offsets.count == sizes.count && offsets.size <= 4 && sizes.size <= 4;
    for (std::uint64_t i = 0; sound && i < offsets.count; ++i) {
        const std::uint64_t start = offsets.at(tiff, i);
        const std::uint64_t length = sizes.at(tiff, i);
        sound = start >= 8 && start < tiff.size && length > 0 && length <= tiff.size - start;
    }
    return sound;
}

// 512 bytes of header, then size, frame and the version's opcode; at the end, the opcode for it.
bool pict_is_sound(std::FILE *file)
{
    constexpr std::size_t header = 512;
    constexpr std::size_t version_at = header + 10;
    const std::string head = head_of(file, version_at + 2);
    if (head.size() < version_at + 2)
        return false;
    if (head.compare(version_at, 2, "\x11\x01") == 0)
        return tail_of(file, 1) == "\xFF";
    return head.compare(version_at, 2, std::string("\0\x11", 2)) == 0 &&
           tail_of(file, 2) == std::string("\0\xFF", 2);
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
