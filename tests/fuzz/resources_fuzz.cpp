// Opens the bytes as a resource file and as an AppleDouble file with a resource fork, reads
// everything in it, changes it, and expects to find the changes and all the rest again.
#include "platform/core/resource_fork.h"
#include "platform/files.h"
#include "platform/memory.h"
#include "platform/resources.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <map>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace {

constexpr ResType test_type = four_chars("Fuzz");
constexpr std::int16_t test_id = 4711;

// In memory where there is a file system for it: syncing a disk would take most of the time.
const std::string &folder()
{
    static const std::string &made = *new std::string([] {
        std::string name = access("/dev/shm", W_OK) == 0 ? "/dev/shm/" : "/tmp/";
        name += "papermill-fuzz-XXXXXX";
        if (mkdtemp(name.data()) == nullptr)
            std::abort();
        return name;
    }()); // outlives the handler that removes the folder
    return made;
}

void remove_folder()
{
    unlink((folder() + "/plain").c_str());
    unlink((folder() + "/forked").c_str());
    unlink((folder() + "/._forked").c_str());
    rmdir(folder().c_str());
}

void write_file(const std::string &path, const std::uint8_t *data, std::size_t size)
{
    std::FILE *file = std::fopen(path.c_str(), "wb");
    if (file == nullptr || std::fwrite(data, 1, size, file) != size || std::fclose(file) != 0)
        std::abort();
}

void expect(bool condition)
{
    if (!condition)
        std::abort();
}

ResFileRefNum open_fork(const std::string &path, bool in_resource_fork)
{
    FSRef ref;
    FSSpec spec;
    expect(FSPathMakeRef(path.c_str(), &ref, nullptr) == noErr);
    expect(FSGetCatalogInfo(&ref, kFSCatInfoNone, nullptr, nullptr, &spec, nullptr) == noErr);
    if (in_resource_fork)
        return FSpOpenResFile(&spec, fsCurPerm);
    ResFileRefNum file = -1;
    FSOpenResourceFile(&ref, 0, nullptr, fsCurPerm, &file);
    return file;
}

// Type and ID of every resource in a plain file, with the data of the first of each.
using contents = std::map<std::pair<ResType, std::int16_t>, std::string>;

contents read_all(const std::string &path)
{
    contents all;
    const platform::unique_fd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat status = {};
    platform::resource_fork fork;
    if (fstat(fd.get(), &status) != 0 ||
        platform::read_resource_fork({fd.get(), 0, status.st_size}, &fork) != noErr)
        return all;
    for (const auto &type : fork.types) {
        for (const auto &resource : type.resources) {
            Handle handle = Get1Resource(type.type, resource->id);
            expect(handle != nullptr);
            all[{type.type, resource->id}] = std::string(*handle, GetHandleSize(handle));
        }
    }
    return all;
}

void change_and_reread(const std::string &path, bool in_resource_fork)
{
    ResFileRefNum file = open_fork(path, in_resource_fork);
    if (file == -1)
        return;
    contents before;
    if (!in_resource_fork)
        before = read_all(path);

    // A setting of the seeds, changed; one that is not there, added.
    const unsigned char name[] = {8, 'P', 'I', 'C', 'T', '_', 'R', 'E', 'S'};
    Handle changed = Get1NamedResource(four_chars("Cstr"), name);
    if (changed != nullptr) {
        SetHandleSize(changed, GetHandleSize(changed) + 3);
        ChangedResource(changed);
        WriteResource(changed);
        ReleaseResource(changed);
    }
    Unique1ID(test_type);
    Handle added = NewHandle(5);
    std::memcpy(*added, "added", 5);
    AddResource(added, test_type, test_id, name);
    const bool is_added = ResError() == noErr;
    if (!is_added)
        DisposeHandle(added);
    CloseResFile(file);
    const bool is_written = ResError() == noErr;
    expect(platform::live_handles() == 0);

    file = open_fork(path, in_resource_fork);
    expect(file != -1);
    if (is_added && is_written) {
        Handle found = Get1Resource(test_type, test_id);
        expect(found != nullptr && GetHandleSize(found) == 5 &&
               std::memcmp(*found, "added", 5) == 0);
    }
    if (!in_resource_fork) {
        const contents after = read_all(path);
        for (const auto &[key, data] : before) {
            expect(after.count(key) == 1);
            expect(changed != nullptr || after.at(key) == data);
        }
    }
    CloseResFile(file);
    expect(platform::live_handles() == 0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const bool registered = std::atexit(remove_folder) == 0;
    expect(registered);
    const std::string plain = folder() + "/plain";
    write_file(plain, data, size);
    change_and_reread(plain, false);

    const std::string forked = folder() + "/forked";
    write_file(forked, data, 0);
    write_file(folder() + "/._forked", data, size);
    change_and_reread(forked, true);

    FSRef ref;
    FSSpec spec;
    FInfo info = {};
    expect(FSPathMakeRef(forked.c_str(), &ref, nullptr) == noErr);
    expect(FSGetCatalogInfo(&ref, kFSCatInfoNone, nullptr, nullptr, &spec, nullptr) == noErr);
    if (FSpGetFInfo(&spec, &info) == noErr) {
        info.fdType = test_type;
        if (FSpSetFInfo(&spec, &info) == noErr)
            expect(FSpGetFInfo(&spec, &info) == noErr && info.fdType == test_type);
    }
    return 0;
}
