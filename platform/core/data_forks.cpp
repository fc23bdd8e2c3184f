// The data forks of files: opened, read and written at a mark.
#include "platform/files.h"

#include "platform/core/atomic_file.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr std::size_t most_open = 64;
constexpr std::int8_t read_permission = 1;

struct open_fork {
    int descriptor = -1; // -1: the place is free
    bool writable = false;
};

// Number n is at place n - 1.
std::array<open_fork, most_open> forks;

open_fork *fork_numbered(FSIORefNum file)
{
    const auto place = static_cast<std::size_t>(file - 1);
    return file >= 1 && place < forks.size() && forks[place].descriptor >= 0 ? &forks[place]
                                                                             : nullptr;
}

OSErr size_of(const open_fork &fork, off_t *size)
{
    struct stat status = {};
    if (fstat(fork.descriptor, &status) != 0)
        return platform::os_error(errno);
    *size = status.st_size;
    return noErr;
}

} // namespace

OSErr FSpCreate(const FSSpec *spec, OSType creator, OSType type, std::int16_t /*script*/)
{
    std::string path;
    OSErr error = platform::path_of(*spec, &path);
    if (error != noErr)
        return error;
    const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (descriptor < 0)
        return errno == EEXIST ? OSErr{dupFNErr} : platform::os_error(errno);
    close(descriptor);
    FInfo info = {};
    error = FSpGetFInfo(spec, &info);
    info.fdCreator = creator;
    info.fdType = type;
    return error == noErr ? FSpSetFInfo(spec, &info) : error;
}

OSErr FSpOpenDF(const FSSpec *spec, std::int8_t permission, FSIORefNum *file)
{
    std::string path;
    const OSErr error = platform::path_of(*spec, &path);
    if (error != noErr)
        return error;
    std::size_t place = 0;
    while (place < forks.size() && forks[place].descriptor >= 0)
        ++place;
    if (place == forks.size())
        return tmfoErr;
    const bool writable = permission != read_permission;
    const int descriptor =
        open(path.c_str(), (writable ? O_RDWR : O_RDONLY) | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (descriptor < 0)
        return errno == EISDIR ? OSErr{paramErr} : platform::os_error(errno);
    struct stat status = {};
    if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
        close(descriptor);
        return paramErr;
    }
    forks[place] = {descriptor, writable};
    *file = static_cast<FSIORefNum>(place + 1);
    return noErr;
}

OSErr FSClose(FSIORefNum file)
{
    open_fork *fork = fork_numbered(file);
    if (fork == nullptr)
        return rfNumErr;
    const int result = close(fork->descriptor);
    *fork = {};
    return result == 0 ? OSErr{noErr} : platform::os_error(errno);
}

OSErr GetEOF(FSIORefNum file, std::int32_t *size)
{
    const open_fork *fork = fork_numbered(file);
    if (fork == nullptr)
        return rfNumErr;
    off_t whole = 0;
    const OSErr error = size_of(*fork, &whole);
    if (error != noErr)
        return error;
    if (whole > std::numeric_limits<std::int32_t>::max())
        return ioErr;
    *size = static_cast<std::int32_t>(whole);
    return noErr;
}

OSErr SetEOF(FSIORefNum file, std::int32_t size)
{
    const open_fork *fork = fork_numbered(file);
    if (fork == nullptr)
        return rfNumErr;
    if (!fork->writable)
        return wrPermErr;
    off_t old = 0;
    const OSErr error = size_of(*fork, &old);
    if (error != noErr)
        return error;
    if (size > old) {
        const int failure = posix_fallocate(fork->descriptor, 0, size);
        if (failure != 0) {
            [[maybe_unused]] const int undone = ftruncate(fork->descriptor, old);
            return platform::os_error(failure);
        }
    }
    return ftruncate(fork->descriptor, size) == 0 ? OSErr{noErr} : platform::os_error(errno);
}

OSErr SetFPos(FSIORefNum file, std::int16_t mode, std::int32_t offset)
{
    const open_fork *fork = fork_numbered(file);
    if (fork == nullptr)
        return rfNumErr;
    off_t end = 0;
    const OSErr error = size_of(*fork, &end);
    if (error != noErr)
        return error;
    off_t place = offset;
    switch (mode) {
    case fsAtMark:
        return noErr;
    case fsFromStart:
        break;
    case fsFromLEOF:
        place += end;
        break;
    case fsFromMark:
        place += lseek(fork->descriptor, 0, SEEK_CUR);
        break;
    default:
        return paramErr;
    }
    if (place < 0)
        return posErr;
    lseek(fork->descriptor, place > end ? end : place, SEEK_SET);
    return place > end ? OSErr{eofErr} : OSErr{noErr};
}

OSErr FSRead(FSIORefNum file, std::int32_t *count, void *buffer)
{
    const std::int32_t wanted = *count;
    *count = 0;
    const open_fork *fork = fork_numbered(file);
    if (fork == nullptr)
        return rfNumErr;
    if (wanted < 0)
        return paramErr;
    while (*count < wanted) {
        const ssize_t n = read(fork->descriptor, static_cast<char *>(buffer) + *count,
                               static_cast<std::size_t>(wanted - *count));
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return platform::os_error(errno);
        if (n == 0)
            return eofErr;
        *count += static_cast<std::int32_t>(n);
    }
    return noErr;
}

OSErr FSWrite(FSIORefNum file, std::int32_t *count, const void *buffer)
{
    const std::int32_t wanted = *count;
    *count = 0;
    const open_fork *fork = fork_numbered(file);
    if (fork == nullptr)
        return rfNumErr;
    if (!fork->writable)
        return wrPermErr;
    if (wanted < 0)
        return paramErr;
    while (*count < wanted) {
        const ssize_t n = write(fork->descriptor, static_cast<const char *>(buffer) + *count,
                                static_cast<std::size_t>(wanted - *count));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return n == 0 ? OSErr{dskFulErr} : platform::os_error(errno);
        *count += static_cast<std::int32_t>(n);
    }
    return noErr;
}

OSErr FlushVol(ConstStringPtr name, std::int16_t volume)
{
    return name == nullptr && (volume == 0 || volume == -1) ? OSErr{noErr} : OSErr{nsvErr};
}
