#include "platform/core/folder_lock.h"

#include "platform/core/atomic_file.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <map>
#include <sys/file.h>
#include <sys/stat.h>
#include <thread>
#include <utility>

namespace {

using namespace std::chrono_literals;

constexpr auto longest_wait = 10s;
constexpr auto longest_nap = 16ms;

struct locked_folder {
    platform::unique_fd fd;
    int holders = 0;
};

// By device and inode: the same folder may be reached by several paths.
std::map<std::pair<dev_t, ino_t>, locked_folder> &locked_folders()
{
    static auto &instance = *new std::map<std::pair<dev_t, ino_t>, locked_folder>;
    return instance;
}

OSErr wait_for_lock(int fd)
{
    const auto deadline = std::chrono::steady_clock::now() + longest_wait;
    for (auto nap = 1ms; flock(fd, LOCK_EX | LOCK_NB) != 0; nap = std::min(nap * 2, longest_nap)) {
        if (errno == EINTR)
            continue;
        if (errno != EWOULDBLOCK)
            return noErr; // a file system without such locks: better unlocked than read-only
        if (std::chrono::steady_clock::now() >= deadline)
            return opWrErr;
        std::this_thread::sleep_for(nap);
    }
    return noErr;
}

} // namespace

platform::folder_lock::~folder_lock()
{
    if (!held)
        return;
    const auto found = locked_folders().find({device, inode});
    if (--found->second.holders == 0)
        locked_folders().erase(found);
}

platform::folder_lock::folder_lock(folder_lock &&other) noexcept
    : held(std::exchange(other.held, false)), device(other.device), inode(other.inode)
{
}

OSErr platform::folder_lock::acquire(const std::string &folder)
{
    unique_fd fd(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    struct stat status = {};
    if (fd.get() < 0 || fstat(fd.get(), &status) != 0)
        return os_error(errno);
    const std::pair<dev_t, ino_t> key(status.st_dev, status.st_ino);
    if (locked_folders().count(key) == 0) {
        const OSErr error = wait_for_lock(fd.get());
        if (error != noErr)
            return error;
        locked_folders()[key].fd = std::move(fd);
    }
    ++locked_folders()[key].holders;
    device = status.st_dev;
    inode = status.st_ino;
    held = true;
    return noErr;
}
