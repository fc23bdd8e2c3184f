// The EPS scanner against the plain reference, byte for byte. The first byte of the input chooses
// how much the scanner reads at a time.
#include "app/globals.h"
#include "engine/eps_scanner.h"
#include "platform/headless/terminal.h"
#include "tests/support/eps_reference.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sys/mman.h>
#include <unistd.h>

namespace {

constexpr std::array<std::size_t, 8> sizes = {window_size, 1, 2, 7, 18, 64, 257, 4096};

void check(bool holds, const char *what)
{
    if (holds)
        return;
    std::fprintf(stderr, "differs from the reference: %s\n", what);
    std::abort();
}

int open_input_file()
{
    std::string folder = (std::filesystem::temp_directory_path() / "eps_fuzz.XXXXXX").string();
    check(mkdtemp(folder.data()) != nullptr, "no temporary folder");
    std::snprintf(tmpPath, sizeof tmpPath, "%s", folder.c_str());
    std::atexit([] { std::filesystem::remove_all(tmpPath); });
    platform::set_text_writer([](const char *, std::size_t) {});
    return memfd_create("eps", MFD_CLOEXEC);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const int fd = open_input_file();
    if (size == 0)
        return 0;
    refill_size = sizes[data[0] % sizes.size()];
    const std::string file(reinterpret_cast<const char *>(data) + 1, size - 1);
    check(ftruncate(fd, 0) == 0 &&
              pwrite(fd, file.data(), file.size(), 0) == static_cast<ssize_t>(file.size()),
          "input not written");
    const std::string path = "/proc/self/fd/" + std::to_string(fd);

    const eps_reference::result expected = eps_reference::prepare(file);
    check(scanfile(path.c_str()) == (expected.found ? 1 : 0), "the result of the scan");
    check(!expected.found || std::equal(bbox, bbox + 4, expected.box), "the box");

    char copy_path[path_size];
    int w = 0;
    int h = 0;
    const int done = prepare_eps(path.c_str(), copy_path, &w, &h);
    check(done == (expected.replaced ? 1 : 0), "the result of the preparation");
    if (done == 0) {
        check(access(copy_path, F_OK) != 0, "a copy was left");
        return 0;
    }
    check(w == eps_reference::difference(expected.box[2], expected.box[0]), "the width");
    check(h == eps_reference::difference(expected.box[3], expected.box[1]), "the height");
    std::ifstream stream(copy_path, std::ios::binary);
    const std::string copy((std::istreambuf_iterator<char>(stream)),
                           std::istreambuf_iterator<char>());
    check(copy == expected.copy, "the copy");
    unlink(copy_path);
    return 0;
}
