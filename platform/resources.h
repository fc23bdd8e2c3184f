// The Resource Manager: typed, numbered, named pieces of data in resource files. The format is the
// classic one (header, data area, map with type list, reference list and name list, big-endian).
//
// Files form a chain, the last opened first; reading looks through the chain from the current file
// on, the calls with a 1 in their name in the current file alone. Every change is written to a
// temporary file, synced and renamed over the old one; nothing else in the file is lost by it.
// While a file is open for writing, its folder is locked against other copies of the program.
#ifndef PAPERMILL_PLATFORM_RESOURCES_H
#define PAPERMILL_PLATFORM_RESOURCES_H

#include "platform/files.h"
#include "platform/types.h"

#include <cstddef>

using ResFileRefNum = std::int16_t; // an open resource file; -1 is none

// fsCurPerm is reading and writing where that is permitted, else reading alone.
enum : std::int8_t { fsCurPerm = 0, fsRdPerm = 1, fsWrPerm = 2, fsRdWrPerm = 3 };

// Opens the resource file in the fork `forkName` (UTF-16) of `ref` and makes it the current one. A
// name of length 0 is the data fork, "RESOURCE_FORK" the resource fork. *file is unchanged on an
// error: fnfErr, permErr; opWrErr when another copy of the program has had the folder for ten
// seconds, or the file is open for writing here; eofErr for an empty fork or none, mapReadErr for
// one that is not well-formed; paramErr for another fork.
OSErr FSOpenResourceFile(const FSRef *ref, std::size_t forkNameLength,
                         const std::uint16_t *forkName, std::int8_t permission,
                         ResFileRefNum *file);

// Opens the resource fork of the file and makes it the current one; -1 when it cannot, and
// ResError tells.
ResFileRefNum FSpOpenResFile(const FSSpec *spec, std::int8_t permission);

// Gives a file that exists an empty resource fork and that creator and type. ResError: dupFNErr
// when it has a resource fork already. `script` means nothing here.
void FSpCreateResFile(const FSSpec *spec, OSType creator, OSType type, std::int16_t script);

ResFileRefNum CurResFile();          // the current resource file, -1 when there is none
void UseResFile(ResFileRefNum file); // makes it the current one (-1: none); ResError tells

// Writes what was changed, disposes of the file's handles, and makes the file opened before it the
// current one if it was that. ResError tells when the changes could not be written; the file is
// closed all the same.
void CloseResFile(ResFileRefNum file);

// The resource of that type and name (compared without regard to case) in the current file, or
// null with ResError resNotFound. The handle belongs to the file.
Handle Get1NamedResource(ResType type, ConstStringPtr name);
Handle Get1Resource(ResType type, std::int16_t id);

// The same through the chain of open files, from the current one on.
Handle GetNamedResource(ResType type, ConstStringPtr name);

std::int16_t Unique1ID(ResType type); // an ID of 128 or more that the current file does not use

// Adds the handle to the current file, which owns it from then on; an empty name is none.
// addResFailed where it is not a handle, is a resource already, has the type and ID of another one
// in the file, or no longer fits the format; wrPermErr when the file is open for reading.
void AddResource(Handle data, ResType type, std::int16_t id, ConstStringPtr name);

// The handle's data are to be written. The same errors; resNotFound when it is no resource.
void ChangedResource(Handle resource);

// Writes the file now, if the resource was changed.
void WriteResource(Handle resource);

// Gives the data back to the file; a changed resource is kept until it is written.
void ReleaseResource(Handle resource);

// The handle becomes the caller's, the file keeps its data. resAttrErr when it is changed.
void DetachResource(Handle resource);

OSErr ResError(); // the result of the last operation of this manager

namespace platform {

// The bundle's Resources folder, found from the executable; empty when that cannot be found.
std::string resources_folder();

// Opens the application's own resources, Papermill.rsrc in the bundle that the executable stands
// in, for reading, as the last file of the chain. Called once, before start-up. False when there
// are none.
bool open_application_resources();

// Makes an empty resource file in the data fork, over any file of that name.
OSErr create_resource_file(const char *path);

} // namespace platform

#endif
