// The basic types of the platform layer, under their classic names.
#ifndef PAPERMILL_PLATFORM_TYPES_H
#define PAPERMILL_PLATFORM_TYPES_H

#include <cstdint>

using OSErr = std::int16_t;    // a classic result code; noErr is 0
using OSStatus = std::int32_t; // a newer result code
using Boolean = unsigned char;
using OSType = std::uint32_t; // four characters, the first one in the highest byte
using ResType = OSType;
using Str255 = unsigned char[256]; // a length byte, then that many bytes
using Str63 = unsigned char[64];
using ConstStringPtr = const unsigned char *;
using StringPtr = unsigned char *;
using Ptr = char *;
using Handle = char **; // points to a master pointer; see memory.h

// A four-character code from its four bytes, e.g. four_chars("Cstr").
constexpr OSType four_chars(const char (&code)[5])
{
    return (OSType{static_cast<unsigned char>(code[0])} << 24) |
           (OSType{static_cast<unsigned char>(code[1])} << 16) |
           (OSType{static_cast<unsigned char>(code[2])} << 8) |
           OSType{static_cast<unsigned char>(code[3])};
}

struct Point {
    std::int16_t v, h;
};

struct Rect {
    std::int16_t top, left, bottom, right;
};

// Result codes that the layer gives.
enum : OSErr {
    noErr = 0,
    dskFulErr = -34,     // the disk is full
    nsvErr = -35,        // no such volume
    ioErr = -36,         // reading or writing failed
    bdNamErr = -37,      // a name that no file can have
    eofErr = -39,        // the file ends too early
    posErr = -40,        // a place before the file's start
    tmfoErr = -42,       // too many files are open
    fnfErr = -43,        // no such file
    wPrErr = -44,        // the volume is read-only
    dupFNErr = -48,      // there is one already
    opWrErr = -49,       // somebody else holds the file for writing
    paramErr = -50,      // an argument makes no sense
    rfNumErr = -51,      // no such open file
    permErr = -54,       // not allowed
    wrPermErr = -61,     // the file was opened for reading only
    memFullErr = -108,   // out of memory
    nilHandleErr = -109, // a handle that is none
    dirNFErr = -120,     // no such folder
    cDepthErr = -157,    // no such number of bits for a pixel
    resNotFound = -192,  // no such resource
    resFNotFound = -193, // no such resource file
    addResFailed = -194, // the resource cannot be added
    rmvResFailed = -196, // the handle is no resource
    resAttrErr = -198,   // the resource's state does not allow it
    mapReadErr = -199,   // the file is no well-formed resource file
    procNotFound = -600, // no such process
    gestaltUndefSelectorErr = -5551,
    eventNotHandledErr = -9874,
    errDataNotSupported = -30581, // the control has no data of this tag
    errUnknownControl = -30584,   // no such control
    errCouldntSetFocus = -30585,  // the control takes no keys
    errNoRootControl = -30587,    // the window has no controls
};

#endif
