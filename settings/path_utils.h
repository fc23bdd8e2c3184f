// Lines, extensions, Finder codes, and the ways between POSIX paths and the file system's own
// references.
#ifndef PAPERMILL_SETTINGS_PATH_UTILS_H
#define PAPERMILL_SETTINGS_PATH_UTILS_H

#include "platform/files.h"
#include "platform/types.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

// Reads one line, at most size - 1 bytes: LF and CR both end one and are kept. Always ends with a
// NUL. Returns the buffer; null when the file ends before any byte was read. A size of 1 takes
// nothing from the stream.
char *mfgets(char *buffer, int size, std::FILE *stream);

// 1 when the path ends in `extension`, without regard to case; else 0.
int has_extension(const char *path, const char *extension);

// The path of an output: the input's, cut at its last "." (wherever in the path that is), with the
// extension appended. False, and nothing written, when it does not fit. Input and output may be
// the same buffer.
bool derive_output(const char *input, const char *extension, char *output, std::size_t size);

// True when both paths lead to one file (by device and inode, links followed).
bool same_file(const char *a, const char *b);

// Gives the file that creator and type, keeping the rest of its Finder information. Returns the
// File Manager's result.
OSErr set_file_info(const char *path, OSType creator, OSType type);

// 1, with the file's codes; 0 when they cannot be read.
int get_full_info(const char *path, OSType *creator, OSType *type);

// 1 when the path is a folder that is there. *spec is made for a plain file too, with the result 0.
int UnixPathToFolder(const char *path, FSSpec *spec);

// The first error of the File Manager; *isDirectory (may be null) tells whether it is a folder.
OSErr FSPathMakeFSSpec(const char *path, FSSpec *spec, Boolean *isDirectory);

// Folder and name (null: the folder itself) -> path with its NUL in at most maxLength bytes. Only
// the second step's error is returned: paramErr, too, when there is nothing of that name.
OSErr FSMakePath(std::int16_t volume, std::int32_t directoryID, ConstStringPtr name, char *path,
                 std::size_t maxLength);

// Folder and name -> reference.
OSErr FSMakeFSRef(std::int16_t volume, std::int32_t directoryID, ConstStringPtr name, FSRef *ref);

#endif
