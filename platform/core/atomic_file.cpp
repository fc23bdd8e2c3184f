#include "platform/core/atomic_file.h"

#include "platform/files.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <utility>

namespace {

constexpr std::size_t buffer_size = 65536;

// A temporary file. Where the file system can, it has no name before it is complete, so that a
// program that is killed leaves nothing behind.
struct temporary {
    platform::unique_fd file;
    std::string name; // empty: none yet
};

std::string next_name()
{
    static unsigned counter;
    return ".pm-" + std::to_string(getpid()) + "-" + std::to_string(++counter);
}

OSErr make_temporary(int folder, mode_t mode, temporary *made)
{
    made->file = platform::unique_fd(openat(folder, ".", O_TMPFILE | O_RDWR | O_CLOEXEC, mode));
    if (made->file.get() >= 0)
        return noErr;
    int fd = -1;
    do {
        made->name = next_name();
        fd = openat(folder, made->name.c_str(), O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC | O_NOFOLLOW,
                    mode);
    } while (fd < 0 && errno == EEXIST);
    if (fd < 0) {
        made->name.clear();
        return platform::os_error(errno);
    }
    made->file = platform::unique_fd(fd);
    return noErr;
}

// Names the finished file `name`, over what has that name now.
OSErr put_in_place(int folder, temporary *finished, const std::string &name)
{
    if (finished->name.empty()) {
        const std::string open_file = "/proc/self/fd/" + std::to_string(finished->file.get());
        std::string linked;
        do {
            linked = next_name();
            if (linkat(AT_FDCWD, open_file.c_str(), folder, linked.c_str(), AT_SYMLINK_FOLLOW) == 0)
                finished->name = linked;
        } while (finished->name.empty() && errno == EEXIST);
        if (finished->name.empty())
            return platform::os_error(errno);
    }
    if (renameat(folder, finished->name.c_str(), folder, name.c_str()) != 0)
        return platform::os_error(errno);
    finished->name.clear();
    fsync(folder); // the file is in place either way; some file systems cannot sync a folder
    return noErr;
}

// What cannot be kept (an owner, for instance, by a user who is not root) is let go.
void keep_attributes(const std::string &path, const struct stat &old, int to)
{
    constexpr uid_t same_owner = static_cast<uid_t>(-1);
    [[maybe_unused]] const bool owned =
        fchown(to, old.st_uid, old.st_gid) == 0 || fchown(to, same_owner, old.st_gid) == 0;
    fchmod(to, old.st_mode & 0777);

    char names[buffer_size];
    const ssize_t size = listxattr(path.c_str(), names, sizeof names);
    for (ssize_t at = 0; at < size;) {
        const std::string name = names + at;
        at += static_cast<ssize_t>(name.size()) + 1;
        static char value[buffer_size];
        const ssize_t length = getxattr(path.c_str(), name.c_str(), value, sizeof value);
        if (length >= 0)
            fsetxattr(to, name.c_str(), value, static_cast<std::size_t>(length), 0);
    }
}

} // namespace

OSErr platform::os_error(int number)
{
    switch (number) {
    case 0:
        return noErr;
    case ENOENT:
    case ELOOP:
        return fnfErr;
    case ENOTDIR:
        return dirNFErr;
    case EACCES:
    case EPERM:
        return permErr;
    case EROFS:
        return wPrErr;
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
        return dskFulErr;
    case ENAMETOOLONG:
        return bdNamErr;
    case ENOMEM:
        return memFullErr;
    default:
        return ioErr;
    }
}

std::string platform::folder_of(const std::string &path)
{
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

std::string platform::name_in_folder(const std::string &path)
{
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string platform::in_folder(const std::string &folder, const std::string &name)
{
    return folder == "/" ? folder + name : folder + "/" + name;
}

std::string platform::without_dots(const std::string &path)
{
    const std::string folder = path.substr(0, path.rfind('/') + 1);
    if (folder.find("/./") == std::string::npos && folder.find("/../") == std::string::npos)
        return path;
    char *real = realpath(folder.c_str(), nullptr);
    const std::string result = real == nullptr ? path : in_folder(real, name_in_folder(path));
    std::free(real);
    return result;
}

std::string platform::absolute_path(const std::string &path)
{
    if (!path.empty() && path[0] == '/')
        return without_dots(path);
    char folder[PATH_MAX];
    if (getcwd(folder, sizeof folder) == nullptr)
        return "";
    return without_dots(in_folder(folder, path));
}

OSErr platform::follow_links(const std::string &path, std::string *followed)
{
    char *resolved = realpath(path.c_str(), nullptr);
    if (resolved != nullptr) {
        *followed = resolved;
        std::free(resolved);
        return noErr;
    }
    struct stat status = {};
    if (errno != ENOENT || lstat(path.c_str(), &status) == 0)
        return os_error(errno);
    *followed = path;
    return noErr;
}

std::string platform::link_target(const std::string &link)
{
    char target[PATH_MAX];
    const ssize_t length = readlink(link.c_str(), target, sizeof target);
    return length <= 0 ? "" : std::string(target, static_cast<std::size_t>(length));
}

std::string platform::write_target(std::string path)
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

platform::unique_fd::~unique_fd()
{
    if (number >= 0)
        close(number);
}

platform::unique_fd::unique_fd(unique_fd &&other) noexcept : number(std::exchange(other.number, -1))
{
}

platform::unique_fd &platform::unique_fd::operator=(unique_fd &&other) noexcept
{
    std::swap(number, other.number);
    return *this;
}

OSErr platform::read_at(int fd, off_t place, void *buffer, std::size_t size)
{
    auto *to = static_cast<char *>(buffer);
    while (size > 0) {
        const ssize_t n = pread(fd, to, size, place);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return os_error(errno);
        if (n == 0)
            return eofErr;
        to += n;
        place += n;
        size -= static_cast<std::size_t>(n);
    }
    return noErr;
}

void platform::file_writer::put(const void *bytes, std::size_t size)
{
    held_back.append(static_cast<const char *>(bytes), size);
    if (held_back.size() >= buffer_size)
        finish();
}

void platform::file_writer::copy(int from, off_t place, off_t size)
{
    char buffer[buffer_size];
    while (size > 0 && error == noErr) {
        const std::size_t n = static_cast<std::size_t>(std::min<off_t>(size, sizeof buffer));
        error = read_at(from, place, buffer, n);
        if (error == noErr)
            put(buffer, n);
        place += static_cast<off_t>(n);
        size -= static_cast<off_t>(n);
    }
}

OSErr platform::file_writer::finish()
{
    std::size_t written = 0;
    while (written < held_back.size() && error == noErr) {
        const ssize_t n = write(to, held_back.data() + written, held_back.size() - written);
        if (n > 0)
            written += static_cast<std::size_t>(n);
        else if (n == 0 || errno != EINTR)
            error = n == 0 ? OSErr{dskFulErr} : os_error(errno);
    }
    held_back.clear();
    return error;
}

OSErr platform::replace_file_with(const std::string &path,
                                  const std::function<void(file_writer &)> &fill,
                                  unique_fd *written)
{
    std::string target;
    OSErr error = follow_links(path, &target);
    if (error != noErr)
        return error;
    const std::string name = name_in_folder(target);
    const unique_fd folder(open(folder_of(target).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder.get() < 0)
        return os_error(errno);
    struct stat old = {};
    const bool exists = fstatat(folder.get(), name.c_str(), &old, AT_SYMLINK_NOFOLLOW) == 0;
    if (!exists && errno != ENOENT)
        return os_error(errno);
    if (exists && !S_ISREG(old.st_mode))
        return paramErr;

    temporary made;
    error = make_temporary(folder.get(), exists ? 0600 : 0666, &made);
    if (error != noErr)
        return error;
    file_writer writer(made.file.get());
    fill(writer);
    error = writer.finish();
    if (error == noErr && exists)
        keep_attributes(target, old, made.file.get());
    if (error == noErr && fsync(made.file.get()) != 0)
        error = os_error(errno);
    if (error == noErr)
        error = put_in_place(folder.get(), &made, name);
    if (!made.name.empty())
        unlinkat(folder.get(), made.name.c_str(), 0);
    if (error == noErr && written != nullptr)
        *written = std::move(made.file);
    return error;
}

OSErr platform::replace_file(const char *path, const void *bytes, std::size_t size)
{
    return replace_file_with(
        path, [&](file_writer &to) { to.put(bytes, size); }, nullptr);
}
