// Makes EPS files for measuring, and times the scanner on them. See eps_scan.sh.
#include "app/globals.h"
#include "engine/eps_scanner.h"

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/resource.h>
#include <unistd.h>

namespace {

std::uint32_t random_bits()
{
    static std::uint32_t state = 2463534242U;
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    return state;
}

std::string random_line(std::size_t size, const char *alphabet, std::uint32_t letters)
{
    std::string line;
    while (line.size() < size)
        line += alphabet[random_bits() % letters];
    return line;
}

// About a megabyte of the body of an EPS file.
std::string body(const std::string &kind)
{
    std::string text;
    while (text.size() < 1U << 20) {
        if (kind == "lines") {
            char line[128];
            std::snprintf(line, sizeof line, "%u.%03u %u.%03u moveto %u.%03u %u.%03u lineto %s\n",
                          random_bits() % 600, random_bits() % 1000, random_bits() % 800,
                          random_bits() % 1000, random_bits() % 600, random_bits() % 1000,
                          random_bits() % 800, random_bits() % 1000,
                          random_bits() % 64 == 0 ? "Do /Times-Bold findfont"
                                                  : "stroke % of a curve");
            text += line;
        } else if (kind == "hex") {
            text += random_line(64, "0123456789ABCDEF", 16) + "\n";
        } else if (kind == "ascii85") {
            std::string line;
            while (line.size() < 72)
                line += static_cast<char>('!' + random_bits() % 85);
            text += line + "\n";
        } else { // binary: as good as no line ends
            std::string bytes;
            while (bytes.size() < 4096) {
                const auto c = static_cast<char>(random_bits() >> 8);
                bytes += c == '\n' || c == '\r' ? 'x' : c;
            }
            text += bytes;
        }
    }
    return text;
}

bool generate(const char *path, std::int64_t size, const std::string &kind)
{
    std::FILE *file = std::fopen(path, "wb");
    if (file == nullptr)
        return false;
    std::fputs("%!PS-Adobe-3.0 EPSF-3.0\n%%BoundingBox: 10 20 110 220\n%%EndComments\n", file);
    const std::string text = body(kind);
    for (std::int64_t written = 0; written < size;
         written += static_cast<std::int64_t>(text.size()))
        std::fwrite(text.data(), 1, text.size(), file);
    std::fputs("\nshowpage\n%%EOF\n", file);
    return std::fclose(file) == 0;
}

double seconds()
{
    using clock = std::chrono::steady_clock;
    return std::chrono::duration<double>(clock::now().time_since_epoch()).count();
}

} // namespace

int main(int argc, char **argv)
{
    if (argc == 5 && std::strcmp(argv[1], "--generate") == 0)
        return generate(argv[2], std::strtoll(argv[3], nullptr, 10), argv[4]) ? 0 : 1;
    if (argc != 3) {
        std::fputs("usage: eps_scan FILE FOLDER\n"
                   "       eps_scan --generate FILE BYTES lines|hex|ascii85|binary\n",
                   stderr);
        return 2;
    }
    std::snprintf(tmpPath, sizeof tmpPath, "%s", argv[2]);
    char tmpname[path_size];
    int w = 0;
    int h = 0;

    const double start = seconds();
    const int found = scanfile(argv[1]);
    const double scanned = seconds();
    const int done = prepare_eps(argv[1], tmpname, &w, &h);
    const double end = seconds();
    unlink(tmpname);
    if (found == 0 || done == 0)
        return 1;

    // prepare_eps scans and copies: it is both passes together.
    struct rusage usage {};
    getrusage(RUSAGE_SELF, &usage);
    std::printf("%.4f %.4f %ld\n", scanned - start, end - scanned, usage.ru_maxrss);
    return 0;
}
