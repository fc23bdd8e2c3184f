// Event records of the scripting interface, and the typed data that they and the choosers hand
// over.
#ifndef PAPERMILL_PLATFORM_APPLE_EVENTS_H
#define PAPERMILL_PLATFORM_APPLE_EVENTS_H

#include "platform/types.h"

#include <cstddef>

using DescType = OSType;
using AEKeyword = OSType;

constexpr DescType typeAEList = four_chars("list");
constexpr DescType typeFSRef = four_chars("fsrf");
constexpr DescType typeFSS = four_chars("fss ");
constexpr DescType typeNull = four_chars("null");
constexpr DescType typeWildCard = four_chars("****"); // whatever type it has

enum : OSErr {
    errAECoercionFail = -1700,  // the data cannot become that type
    errAEDescNotFound = -1701,  // the list has no such item
    errAEWrongDataType = -1703, // the descriptor is no list
};

// A typed piece of data; an event or a reply is a record of them.
struct AEDesc {
    OSType descriptorType;
    Handle dataHandle; // null: the descriptor has no data
};
using AppleEvent = AEDesc;
using AEDescList = AEDesc;

// Every function that makes a descriptor leaves its disposal to the caller; on an error the result
// is a null descriptor, which needs none (and bears one). memFullErr when there is no memory.

// A descriptor with a copy of the bytes.
OSErr AECreateDesc(DescType type, const void *data, std::size_t size, AEDesc *result);

// Frees the data and makes it a null descriptor.
OSErr AEDisposeDesc(AEDesc *desc);

std::size_t AEGetDescDataSize(const AEDesc *desc); // bytes

// Copies the data, at most `limit` bytes of it. paramErr when there is none.
OSErr AEGetDescData(const AEDesc *desc, void *buffer, std::size_t limit);

// A copy as another type: any type as itself or as typeWildCard; a file reference as a
// specification and the other way round (with the File Manager's errors); anything as a list of
// one item, and a list of one item as what its item can become. Else errAECoercionFail.
OSErr AECoerceDesc(const AEDesc *desc, DescType type, AEDesc *result);

// ---- lists ----

// The functions below give errAEWrongDataType for what is no list. Items are counted from 1.

OSErr AECreateList(AEDescList *result); // an empty one

// Appends a copy (index 0 or one beyond the last), or replaces the item; errAEDescNotFound for an
// index further beyond.
OSErr AEPutDesc(AEDescList *list, std::int32_t index, const AEDesc *item);

OSErr AECountItems(const AEDescList *list, std::int32_t *count);

// A copy of the item as that type. *keyword (may be null) receives typeWildCard: items of a list
// have no names. errAEDescNotFound when there is no such item.
OSErr AEGetNthDesc(const AEDescList *list, std::int32_t index, DescType type, AEKeyword *keyword,
                   AEDesc *result);

// The item's data as that type, at most `limit` bytes of it; *actualType and *actualSize (may be
// null) receive the type and the whole size.
OSErr AEGetNthPtr(const AEDescList *list, std::int32_t index, DescType type, AEKeyword *keyword,
                  DescType *actualType, void *buffer, std::size_t limit, std::size_t *actualSize);

#endif
