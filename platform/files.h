// The File Manager: references to files, their Finder information, data forks.
#ifndef PAPERMILL_PLATFORM_FILES_H
#define PAPERMILL_PLATFORM_FILES_H

#include "platform/types.h"

#include <cstddef>
#include <string>

// A file or folder, by volume, parent folder and name. A name of more than 63 bytes travels as an
// alias from a table in this layer and comes back whole.
struct FSSpec {
    std::int16_t vRefNum;
    std::int32_t parID;
    Str63 name;
};

// An opaque reference to a file or folder that exists.
struct FSRef {
    std::uint8_t hidden[80];
};

struct FInfo {
    OSType fdType;
    OSType fdCreator;
    std::uint16_t fdFlags;
    Point fdLocation;
    std::int16_t fdFldr;
};

// The arguments of PBMakeFSRefSync.
struct FSRefParam {
    ConstStringPtr ioNamePtr; // null: the folder ioDirID itself
    std::int16_t ioVRefNum;
    std::int32_t ioDirID;
    FSRef *newRef; // receives the result
};

using FSCatalogInfoBitmap = std::uint32_t;
constexpr FSCatalogInfoBitmap kFSCatInfoNone = 0;

// POSIX path -> reference, which keeps the path as it is given, made absolute. fnfErr when nothing
// is there (dirNFErr: not even the folder), bdNamErr for an empty path; *isDirectory (may be null)
// tells whether it is a folder, links followed.
OSErr FSPathMakeRef(const char *path, FSRef *ref, Boolean *isDirectory);

// Reference -> POSIX path with its NUL in at most `limit` bytes; paramErr when it does not fit or
// the reference is none. The buffer is unchanged on an error.
OSErr FSRefMakePath(const FSRef *ref, char *path, std::size_t limit);

// Reference -> specification (and nothing else: `which` is kFSCatInfoNone, info and name null).
OSErr FSGetCatalogInfo(const FSRef *ref, FSCatalogInfoBitmap which, void *info, void *name,
                       FSSpec *spec, FSRef *parent);

// Folder and name (null or empty: the folder itself) -> specification. fnfErr, with the
// specification made, when only the file is not there; else the errors of PBMakeFSRefSync.
OSErr FSMakeFSSpec(std::int16_t volume, std::int32_t directoryID, ConstStringPtr name,
                   FSSpec *spec);

// Specification -> reference. fnfErr when the file is not there.
OSErr FSpMakeFSRef(const FSSpec *spec, FSRef *ref);

// Folder and name -> reference. nsvErr for a volume other than the one that there is (0 and -1),
// dirNFErr for an unknown folder, bdNamErr for a name that no file can have, fnfErr.
OSErr PBMakeFSRefSync(FSRefParam *parameters);

// Reads or writes the Finder information: type, creator, flags, place. Zeros where none is kept.
// It lies in the AppleDouble file beside the file where there is one, else in an extended
// attribute; writing drops it silently on a file system that has none. Links are followed.
OSErr FSpGetFInfo(const FSSpec *spec, FInfo *info);
OSErr FSpSetFInfo(const FSSpec *spec, const FInfo *info);

// Makes an empty file of that creator and type; `script` is of no consequence. dupFNErr when there
// is something of that name.
OSErr FSpCreate(const FSSpec *spec, OSType creator, OSType type, std::int16_t script);

// ---- data forks ----

using FSIORefNum = std::int16_t; // an open data fork

// How SetFPos counts.
enum : std::int16_t { fsAtMark = 0, fsFromStart = 1, fsFromLEOF = 2, fsFromMark = 3 };

// Opens the file's data; permission as for resource files (1 is reading, 3 both). *file is
// unchanged on an error: fnfErr, permErr, paramErr for a folder or a device, tmfoErr when too
// many are open.
OSErr FSpOpenDF(const FSSpec *spec, std::int8_t permission, FSIORefNum *file);
OSErr FSClose(FSIORefNum file);

// All of these: rfNumErr for what is not open. Sizes and places have 31 bits.
OSErr GetEOF(FSIORefNum file, std::int32_t *size); // ioErr for a larger file

// Cuts the file off, or takes the room for it; dskFulErr, with the file as it was, when there is
// none.
OSErr SetEOF(FSIORefNum file, std::int32_t size);

// Where the next bytes are read or written. eofErr beyond the end, which is where the mark is then;
// posErr before the start.
OSErr SetFPos(FSIORefNum file, std::int16_t mode, std::int32_t offset);

// Reads *count bytes; *count tells how many there were: eofErr when they are fewer.
OSErr FSRead(FSIORefNum file, std::int32_t *count, void *buffer);

// Writes *count bytes; *count tells how many were written. wrPermErr when it is open for reading.
OSErr FSWrite(FSIORefNum file, std::int32_t *count, const void *buffer);

// Sees to it that what was written to the volume (0 and -1: the one that there is; the name is
// null) has reached the disk. Files that are replaced whole already have; nsvErr for another.
OSErr FlushVol(ConstStringPtr name, std::int16_t volume);

namespace platform {

// The paths behind a specification and a reference, whether or not the file is there; bdNamErr or
// dirNFErr for a specification, paramErr for a reference that this process did not make.
OSErr path_of(const FSSpec &spec, std::string *path);
OSErr path_of(const FSRef &ref, std::string *path);

// The specification's name, a long one whole; bdNamErr when no file can have it.
OSErr whole_name(const FSSpec &spec, std::string *name);

// The specification of what is at that path, or may be: fnfErr, with the specification made, when
// nothing is there but its folder; dirNFErr without the folder.
OSErr specify(const char *path, FSSpec *spec);

// Writes the whole file: a temporary file beside it, synced, renamed over it. Links are followed,
// and the old file's permissions are kept. noErr, or an error with the old file untouched and
// nothing left behind; paramErr when it is no ordinary file.
OSErr replace_file(const char *path, const void *bytes, std::size_t size);

} // namespace platform

#endif
