// Files that are replaced whole: a reader finds the old content or the new one, never a part.
#ifndef PAPERMILL_PLATFORM_CORE_ATOMIC_FILE_H
#define PAPERMILL_PLATFORM_CORE_ATOMIC_FILE_H

#include "platform/types.h"

#include <cstddef>
#include <functional>
#include <string>
#include <sys/types.h>

namespace platform {

// The result code for an errno.
OSErr os_error(int number);

// The path cut at its last slash: what it names, in which folder ("/" for the root's own).
std::string folder_of(const std::string &path);
std::string name_in_folder(const std::string &path);

// The path of what has that name in the folder.
std::string in_folder(const std::string &folder, const std::string &name);

// The absolute path without "." and ".." among its folders, as the system follows them. The path
// itself where one of its folders is missing.
std::string without_dots(const std::string &path);

// The path as the root folder sees it, without "." and ".." as above: outputs are named by cutting
// a path at its last dot. Empty, and errno tells why, when the path is a relative one and
// the current folder is gone.
std::string absolute_path(const std::string &path);

// The path with every link followed. Where nothing is there: the path itself, unless it is a link
// that leads nowhere, which is fnfErr.
OSErr follow_links(const std::string &path, std::string *followed);

// Where a link leads, as it stands in it; empty for what is no link.
std::string link_target(const std::string &link);

// The file that a write to `path` would reach: links are followed, also one to nothing yet.
std::string write_target(std::string path);

// A file descriptor that is closed with its owner.
class unique_fd {
public:
    explicit unique_fd(int fd = -1) : number(fd) {}
    ~unique_fd();
    unique_fd(unique_fd &&other) noexcept;
    unique_fd &operator=(unique_fd &&other) noexcept;
    [[nodiscard]] int get() const
    {
        return number;
    }

private:
    int number;
};

// Reads exactly `size` bytes at `place`. eofErr when there are fewer.
OSErr read_at(int fd, off_t place, void *buffer, std::size_t size);

// Collects what is written to a file. The first error is kept, and what follows it is dropped.
class file_writer {
public:
    explicit file_writer(int fd) : to(fd) {}
    void put(const void *bytes, std::size_t size);
    void copy(int from, off_t place, off_t size); // bytes of another file
    OSErr finish();                               // writes what is still held back

private:
    int to;
    std::string held_back;
    OSErr error = noErr;
};

// Replaces the file at `path`, or makes it, with what `fill` writes: a temporary file in the same
// folder, synced and renamed. Links are followed; the old file's permissions, owner and extended
// attributes are kept, a new one gets the user's usual ones. *written (may be null) receives the
// new file, open for reading. On an error the old file is untouched and nothing is left behind.
// paramErr for what is no ordinary file.
OSErr replace_file_with(const std::string &path, const std::function<void(file_writer &)> &fill,
                        unique_fd *written);

} // namespace platform

#endif
