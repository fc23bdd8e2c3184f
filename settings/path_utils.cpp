#include "settings/path_utils.h"

#include "platform/strings.h"

#include <cstdlib>
#include <cstring>
#include <string>
#include <strings.h>
#include <sys/stat.h>

char *mfgets(char *buffer, int size, std::FILE *stream)
{
    if (size <= 0)
        return nullptr;
    int stored = 0;
    int c = std::getc(stream);
    if (c != EOF && size == 1)
        std::ungetc(c, stream); // only a look ahead: is this the end?
    const bool at_end = c == EOF;
    while (c != EOF && stored < size - 1) {
        buffer[stored++] = static_cast<char>(c);
        if (c == '\n' || c == '\r' || stored == size - 1)
            break;
        c = std::getc(stream);
    }
    buffer[stored] = 0;
    return at_end ? nullptr : buffer;
}

int has_extension(const char *path, const char *extension)
{
    const std::size_t path_length = std::strlen(path);
    const std::size_t length = std::strlen(extension);
    if (path_length < length)
        return 0;
    return strncasecmp(path + path_length - length, extension, length) == 0 ? 1 : 0;
}

bool derive_output(const char *input, const char *extension, char *output, std::size_t size)
{
    const char *dot = std::strrchr(input, '.');
    std::string derived(input, dot == nullptr ? input + std::strlen(input) : dot);
    derived += extension;
    return platform::copy_whole(output, size, derived.c_str());
}

bool same_file(const char *a, const char *b)
{
    struct stat first = {};
    struct stat second = {};
    return stat(a, &first) == 0 && stat(b, &second) == 0 && first.st_dev == second.st_dev &&
           first.st_ino == second.st_ino;
}

OSErr set_file_info(const char *path, OSType creator, OSType type)
{
    FSSpec spec;
    FInfo info;
    OSErr error = FSPathMakeFSSpec(path, &spec, nullptr);
    if (error == noErr)
        error = FSpGetFInfo(&spec, &info);
    if (error != noErr)
        return error;
    info.fdCreator = creator;
    info.fdType = type;
    return FSpSetFInfo(&spec, &info);
}

int get_full_info(const char *path, OSType *creator, OSType *type)
{
    FSSpec spec;
    FInfo info;
    if (FSPathMakeFSSpec(path, &spec, nullptr) != noErr || FSpGetFInfo(&spec, &info) != noErr)
        return 0;
    *creator = info.fdCreator;
    *type = info.fdType;
    return 1;
}

int UnixPathToFolder(const char *path, FSSpec *spec)
{
    Boolean is_folder = 0;
    return FSPathMakeFSSpec(path, spec, &is_folder) == noErr && is_folder ? 1 : 0;
}

OSErr FSPathMakeFSSpec(const char *path, FSSpec *spec, Boolean *isDirectory)
{
    FSRef ref;
    const OSErr error = FSPathMakeRef(path, &ref, isDirectory);
    if (error != noErr)
        return error;
    return FSGetCatalogInfo(&ref, kFSCatInfoNone, nullptr, nullptr, spec, nullptr);
}

OSErr FSMakePath(std::int16_t volume, std::int32_t directoryID, ConstStringPtr name, char *path,
                 std::size_t maxLength)
{
    FSRef ref = {}; // stays no reference when the first step fails
    FSMakeFSRef(volume, directoryID, name, &ref);
    return FSRefMakePath(&ref, path, maxLength);
}

OSErr FSMakeFSRef(std::int16_t volume, std::int32_t directoryID, ConstStringPtr name, FSRef *ref)
{
    FSRefParam parameters = {};
    parameters.ioVRefNum = volume;
    parameters.ioDirID = directoryID;
    parameters.ioNamePtr = name;
    parameters.newRef = ref;
    return PBMakeFSRefSync(&parameters);
}
