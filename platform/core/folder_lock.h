// The lock that a program holds on a folder while it changes files in it, against other copies of
// the program. It is the folder itself that is locked: no lock file is left behind, and a file may
// be replaced meanwhile.
#ifndef PAPERMILL_PLATFORM_CORE_FOLDER_LOCK_H
#define PAPERMILL_PLATFORM_CORE_FOLDER_LOCK_H

#include "platform/types.h"

#include <string>
#include <sys/types.h>

namespace platform {

// One holder of a folder's lock. A process may hold the same folder several times; the lock goes
// with the last holder.
class folder_lock {
public:
    folder_lock() = default;
    ~folder_lock();
    folder_lock(folder_lock &&other) noexcept;
    folder_lock &operator=(folder_lock &&other) = delete;

    // Waits about ten seconds for another process. opWrErr when that one still holds the folder
    // then; another error when the folder cannot be opened.
    OSErr acquire(const std::string &folder);

private:
    bool held = false;
    dev_t device = 0;
    ino_t inode = 0;
};

} // namespace platform

#endif
