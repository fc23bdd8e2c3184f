#include "platform/resources.h"

#include "platform/core/apple_double.h"
#include "platform/core/atomic_file.h"
#include "platform/core/finder_info.h"
#include "platform/core/folder_lock.h"
#include "platform/core/resource_fork.h"
#include "platform/memory.h"
#include "platform/strings.h"

#include <algorithm>
#include <bitset>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <list>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr ResFileRefNum no_file = -1;
constexpr std::int16_t first_free_id = 128; // lower ones belong to the system
constexpr std::int16_t last_id = 32767;
constexpr char resource_fork_name[] = "RESOURCE_FORK";

struct resource_file {
    ResFileRefNum number = no_file;
    std::string path; // of the file, links followed
    bool in_resource_fork = false;
    bool writable = false;
    platform::folder_lock lock; // held while writable
    platform::unique_fd fd;     // what holds the fork
    platform::fork_place place = {-1, 0, 0};
    platform::resource_fork fork;
};

OSErr res_error;
ResFileRefNum current = no_file;

// The open files, the last opened first.
std::list<resource_file> &chain()
{
    static auto &instance = *new std::list<resource_file>;
    return instance;
}

OSErr result(OSErr error)
{
    res_error = error;
    return error;
}

// ---- finding ----

std::list<resource_file>::iterator file_numbered(ResFileRefNum number)
{
    return std::find_if(chain().begin(), chain().end(),
                        [number](const resource_file &file) { return file.number == number; });
}

struct found_resource {
    resource_file *file;
    platform::resource *resource;
};

found_resource resource_of(Handle handle)
{
    if (platform::is_live_handle(handle)) {
        for (resource_file &file : chain()) {
            for (auto &type : file.fork.types) {
                for (auto &resource : type.resources) {
                    if (resource->data == handle)
                        return {&file, resource.get()};
                }
            }
        }
    }
    return {nullptr, nullptr};
}

bool has_name(const platform::resource &resource, ConstStringPtr name)
{
    if (!resource.name)
        return false;
    Str255 own;
    own[0] = static_cast<unsigned char>(resource.name->size());
    std::memcpy(own + 1, resource.name->data(), resource.name->size());
    return EqualString(own, name, 0, 1) != 0;
}

template <class condition>
platform::resource *find_in(resource_file &file, ResType type, condition wanted)
{
    for (auto &each : file.fork.types) {
        if (each.type != type)
            continue;
        for (auto &resource : each.resources) {
            if (wanted(*resource))
                return resource.get();
        }
    }
    return nullptr;
}

platform::resource *find_id(resource_file &file, ResType type, std::int16_t id)
{
    return find_in(file, type, [id](const platform::resource &r) { return r.id == id; });
}

platform::resource *find_name(resource_file &file, ResType type, ConstStringPtr name)
{
    return find_in(file, type, [name](const platform::resource &r) { return has_name(r, name); });
}

// The resource's handle, its data read if they are not in memory.
Handle loaded(resource_file &file, platform::resource &resource)
{
    if (platform::is_live_handle(resource.data)) {
        result(noErr);
        return resource.data;
    }
    Handle data = NewHandle(resource.length);
    if (data == nullptr) {
        result(memFullErr);
        return nullptr;
    }
    if (result(platform::read_at(file.place.fd, file.place.start + resource.place, *data,
                                 resource.length)) != noErr) {
        DisposeHandle(data);
        return nullptr;
    }
    resource.data = data;
    return data;
}

Handle loaded_or_not_found(std::list<resource_file>::iterator file, platform::resource *resource)
{
    if (resource != nullptr)
        return loaded(*file, *resource);
    result(resNotFound);
    return nullptr;
}

// ---- opening ----

bool wants_resource_fork(std::size_t length, const std::uint16_t *name)
{
    return length == sizeof resource_fork_name - 1 &&
           std::equal(name, name + length, resource_fork_name);
}

// Whether the user may replace the file that holds the fork.
OSErr may_write(const std::string &file)
{
    if (faccessat(AT_FDCWD, file.c_str(), W_OK, AT_EACCESS) != 0 ||
        faccessat(AT_FDCWD, platform::folder_of(file).c_str(), W_OK | X_OK, AT_EACCESS) != 0)
        return platform::os_error(errno);
    return noErr;
}

// Takes the file's folder for writing, or settles for reading where that is enough.
OSErr prepare_writing(resource_file &file, const std::string &container, std::int8_t permission)
{
    if (permission == fsRdPerm)
        return noErr;
    if (std::any_of(chain().begin(), chain().end(), [&file](const resource_file &other) {
            return other.writable && other.path == file.path &&
                   other.in_resource_fork == file.in_resource_fork;
        }))
        return opWrErr;
    OSErr error = may_write(container);
    if (error == noErr)
        error = file.lock.acquire(platform::folder_of(container));
    file.writable = error == noErr;
    if (permission == fsCurPerm && (error == permErr || error == wPrErr))
        return noErr;
    return error;
}

OSErr open_data_fork(resource_file &file)
{
    file.fd =
        platform::unique_fd(open(file.path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status = {};
    if (file.fd.get() < 0 || fstat(file.fd.get(), &status) != 0)
        return platform::os_error(errno);
    if (!S_ISREG(status.st_mode))
        return fnfErr;
    file.place = {file.fd.get(), 0, status.st_size};
    return noErr;
}

OSErr open_resource_fork(resource_file &file)
{
    platform::apple_double beside;
    const OSErr error =
        platform::read_apple_double(platform::apple_double_path(file.path), &beside);
    if (error != noErr)
        return error == fnfErr ? OSErr{eofErr} : error;
    const platform::apple_double_entry *entry = beside.find(platform::resource_fork_entry);
    if (entry == nullptr)
        return eofErr;
    file.fd = std::move(beside.file);
    file.place = {file.fd.get(), off_t{entry->offset}, off_t{entry->length}};
    return noErr;
}

ResFileRefNum free_number()
{
    static ResFileRefNum last;
    do
        last = last == 32767 ? ResFileRefNum{1} : static_cast<ResFileRefNum>(last + 1);
    while (file_numbered(last) != chain().end());
    return last;
}

OSErr open_file(const std::string &path, bool in_resource_fork, std::int8_t permission,
                ResFileRefNum *number)
{
    if (permission < fsCurPerm || permission > fsRdWrPerm)
        return paramErr;
    resource_file file;
    OSErr error = platform::follow_links(path, &file.path);
    if (error != noErr)
        return error;
    struct stat status = {};
    if (stat(file.path.c_str(), &status) != 0)
        return platform::os_error(errno);
    file.in_resource_fork = in_resource_fork;
    const std::string container =
        in_resource_fork ? platform::apple_double_path(file.path) : file.path;
    // The lock comes first: what is read must not be out of date when it is written back.
    error = prepare_writing(file, container, permission);
    if (error == noErr || (in_resource_fork && error == fnfErr))
        error = in_resource_fork ? open_resource_fork(file) : open_data_fork(file);
    if (error == noErr)
        error = platform::read_resource_fork(file.place, &file.fork);
    if (error != noErr)
        return error;
    file.number = free_number();
    *number = current = file.number;
    chain().push_front(std::move(file));
    return noErr;
}

// ---- writing ----

bool is_changed(const resource_file &file)
{
    for (const auto &type : file.fork.types) {
        if (std::any_of(type.resources.begin(), type.resources.end(),
                        [](const auto &resource) { return resource->changed; }))
            return true;
    }
    return false;
}

OSErr write_file(resource_file &file)
{
    platform::fork_layout layout;
    OSErr error = platform::lay_out(file.fork, &layout);
    if (error != noErr)
        return error;
    const auto fill = [&](platform::file_writer &to) {
        platform::write_resource_fork(layout, file.place, to);
    };
    platform::unique_fd written;
    off_t start = 0;
    if (file.in_resource_fork)
        error = platform::write_apple_double_entry(platform::apple_double_path(file.path),
                                                   platform::resource_fork_entry, layout.size, fill,
                                                   &written, &start);
    else
        error = platform::replace_file_with(file.path, fill, &written);
    if (error != noErr)
        return error;
    platform::take_over(layout);
    file.fd = std::move(written);
    file.place = {file.fd.get(), start, off_t{layout.size}};
    return noErr;
}

// What every change asks for first.
OSErr check_change(const resource_file &file)
{
    return file.writable ? OSErr{noErr} : OSErr{wrPermErr};
}

platform::resource_type &type_in(platform::resource_fork &fork, ResType type)
{
    const auto found = std::find_if(fork.types.begin(), fork.types.end(),
                                    [type](const auto &each) { return each.type == type; });
    if (found != fork.types.end())
        return *found;
    fork.types.push_back({type, {}});
    return fork.types.back();
}

OSErr add_resource(resource_file &file, Handle data, ResType type, std::int16_t id,
                   ConstStringPtr name)
{
    const OSErr error = check_change(file);
    if (error != noErr)
        return error;
    if (find_id(file, type, id) != nullptr)
        return addResFailed;
    std::size_t count = 0;
    for (const auto &each : file.fork.types)
        count += each.resources.size();

    auto added = std::make_unique<platform::resource>();
    added->id = id;
    if (name != nullptr && name[0] > 0)
        added->name.emplace(reinterpret_cast<const char *>(name + 1), name[0]);
    added->rank = static_cast<std::uint32_t>(count);
    added->data = data;
    added->changed = true;
    const std::size_t types = file.fork.types.size();
    platform::resource_type &group = type_in(file.fork, type);
    group.resources.push_back(std::move(added));
    platform::fork_layout unused;
    if (platform::lay_out(file.fork, &unused) == noErr)
        return noErr;
    group.resources.pop_back();
    if (file.fork.types.size() > types)
        file.fork.types.pop_back();
    return addResFailed;
}

// ---- making ----

OSErr create_resource_fork(const std::string &path, OSType creator, OSType type)
{
    platform::folder_lock lock;
    OSErr error = lock.acquire(platform::folder_of(path));
    std::string finder_info;
    if (error == noErr)
        error = platform::read_finder_info(path, &finder_info);
    if (error != noErr)
        return error;
    FInfo info = platform::decode_finder_info(finder_info);
    info.fdCreator = creator;
    info.fdType = type;

    const std::string beside_path = platform::apple_double_path(path);
    const std::string empty = platform::empty_resource_fork();
    platform::apple_double beside;
    error = platform::read_apple_double(beside_path, &beside);
    if (error == fnfErr)
        return platform::create_apple_double(
            beside_path, platform::encode_finder_info(info, finder_info), empty);
    if (error != noErr)
        return error;
    const platform::apple_double_entry *entry = beside.find(platform::resource_fork_entry);
    if (entry != nullptr && entry->length > 0)
        return dupFNErr;
    off_t unused = 0;
    error = platform::write_apple_double_entry(
        beside_path, platform::resource_fork_entry, static_cast<std::uint32_t>(empty.size()),
        [&empty](platform::file_writer &to) { to.put(empty.data(), empty.size()); }, nullptr,
        &unused);
    return error == noErr ? platform::write_finder_info(path, info) : error;
}

} // namespace

OSErr FSOpenResourceFile(const FSRef *ref, std::size_t forkNameLength,
                         const std::uint16_t *forkName, std::int8_t permission, ResFileRefNum *file)
{
    const bool in_resource_fork = wants_resource_fork(forkNameLength, forkName);
    if (forkNameLength != 0 && !in_resource_fork)
        return result(paramErr);
    std::string path;
    if (result(platform::path_of(*ref, &path)) == noErr)
        result(open_file(path, in_resource_fork, permission, file));
    return res_error;
}

ResFileRefNum FSpOpenResFile(const FSSpec *spec, std::int8_t permission)
{
    std::string path;
    ResFileRefNum file = no_file;
    if (result(platform::path_of(*spec, &path)) == noErr)
        result(open_file(path, true, permission, &file));
    return file;
}

void FSpCreateResFile(const FSSpec *spec, OSType creator, OSType type, std::int16_t /*script*/)
{
    std::string named;
    std::string path;
    FSRef there;
    if (result(FSpMakeFSRef(spec, &there)) == noErr &&
        result(platform::path_of(*spec, &named)) == noErr &&
        result(platform::follow_links(named, &path)) == noErr)
        result(create_resource_fork(path, creator, type));
}

ResFileRefNum CurResFile()
{
    return current;
}

void UseResFile(ResFileRefNum file)
{
    const bool known = file == no_file || file_numbered(file) != chain().end();
    if (result(known ? OSErr{noErr} : OSErr{resFNotFound}) == noErr)
        current = file;
}

void CloseResFile(ResFileRefNum file)
{
    const auto closed = file_numbered(file);
    if (closed == chain().end()) {
        result(resFNotFound);
        return;
    }
    const OSErr error = is_changed(*closed) ? write_file(*closed) : OSErr{noErr};
    for (auto &type : closed->fork.types) {
        for (auto &resource : type.resources)
            DisposeHandle(resource->data);
    }
    const auto next = chain().erase(closed);
    if (current == file)
        current = next == chain().end() ? no_file : next->number;
    result(error);
}

Handle Get1NamedResource(ResType type, ConstStringPtr name)
{
    const auto file = file_numbered(current);
    return loaded_or_not_found(file,
                               file == chain().end() ? nullptr : find_name(*file, type, name));
}

Handle Get1Resource(ResType type, std::int16_t id)
{
    const auto file = file_numbered(current);
    return loaded_or_not_found(file, file == chain().end() ? nullptr : find_id(*file, type, id));
}

Handle GetNamedResource(ResType type, ConstStringPtr name)
{
    auto file = file_numbered(current);
    platform::resource *found = nullptr;
    for (; file != chain().end(); ++file) {
        found = find_name(*file, type, name);
        if (found != nullptr)
            break;
    }
    return loaded_or_not_found(file, found);
}

std::int16_t Unique1ID(ResType type)
{
    std::bitset<last_id + 1> used;
    const auto file = file_numbered(current);
    if (file != chain().end()) {
        find_in(*file, type, [&used](const platform::resource &r) {
            if (r.id >= 0)
                used.set(static_cast<std::size_t>(r.id));
            return false;
        });
    }
    std::int16_t id = first_free_id;
    while (id < last_id && used.test(static_cast<std::size_t>(id)))
        ++id;
    result(noErr);
    return id; // should all be used, AddResource refuses the last one
}

void AddResource(Handle data, ResType type, std::int16_t id, ConstStringPtr name)
{
    const auto file = file_numbered(current);
    if (file == chain().end())
        result(resFNotFound);
    else if (!platform::is_live_handle(data) || resource_of(data).resource != nullptr)
        result(addResFailed);
    else
        result(add_resource(*file, data, type, id, name));
}

void ChangedResource(Handle resource)
{
    const found_resource found = resource_of(resource);
    if (found.resource == nullptr) {
        result(resNotFound);
        return;
    }
    if (result(check_change(*found.file)) != noErr)
        return;
    const bool was_changed = found.resource->changed;
    found.resource->changed = true;
    platform::fork_layout unused;
    if (result(platform::lay_out(found.file->fork, &unused)) != noErr)
        found.resource->changed = was_changed;
}

void WriteResource(Handle resource)
{
    const found_resource found = resource_of(resource);
    if (found.resource == nullptr)
        result(resNotFound);
    else
        result(found.resource->changed ? write_file(*found.file) : OSErr{noErr});
}

void ReleaseResource(Handle resource)
{
    const found_resource found = resource_of(resource);
    if (result(found.resource == nullptr ? OSErr{resNotFound} : OSErr{noErr}) != noErr ||
        found.resource->changed)
        return;
    DisposeHandle(resource);
    found.resource->data = nullptr;
}

void DetachResource(Handle resource)
{
    const found_resource found = resource_of(resource);
    if (found.resource == nullptr)
        result(resNotFound);
    else if (result(found.resource->changed ? OSErr{resAttrErr} : OSErr{noErr}) == noErr)
        found.resource->data = nullptr;
}

OSErr ResError()
{
    return res_error;
}

OSErr platform::create_resource_file(const char *path)
{
    const std::string empty = empty_resource_fork();
    return replace_file(path, empty.data(), empty.size());
}
