// Event records of the scripting interface, and the typed data that they and the choosers hand
// over.
#ifndef PAPERMILL_PLATFORM_APPLE_EVENTS_H
#define PAPERMILL_PLATFORM_APPLE_EVENTS_H

#include "platform/events.h"
#include "platform/types.h"

#include <cstddef>

using DescType = OSType;
using AEKeyword = OSType;
using AEEventClass = OSType;
using AEEventID = OSType;

constexpr DescType typeAEList = four_chars("list");
constexpr DescType typeAppleEvent = four_chars("aevt");
constexpr DescType typeChar = four_chars("TEXT");
constexpr DescType typeFSRef = four_chars("fsrf");
constexpr DescType typeFSS = four_chars("fss ");
constexpr DescType typeKeyword = four_chars("keyw");
constexpr DescType typeType = four_chars("type");        // a four-character code
constexpr DescType typeLongInteger = four_chars("long"); // 32 bits with a sign
constexpr DescType typeNull = four_chars("null");
constexpr DescType typeWildCard = four_chars("****"); // whatever type it has

constexpr AEEventClass kCoreEventClass = four_chars("aevt");
constexpr AEEventID kAEOpenApplication = four_chars("oapp");
constexpr AEEventID kAEOpenDocuments = four_chars("odoc");
constexpr AEEventID kAEPrintDocuments = four_chars("pdoc");
constexpr AEEventID kAEQuitApplication = four_chars("quit");

constexpr AEKeyword keyDirectObject = four_chars("----");
constexpr AEKeyword keyErrorNumber = four_chars("errn");
constexpr AEKeyword keyErrorString = four_chars("errs");

// Attributes: facts about the event, no parameters of it.
constexpr AEKeyword keyMissedKeywordAttr = four_chars("miss"); // the first unread parameter's name
constexpr AEKeyword keyAddressAttr = four_chars("addr");       // TEXT: the bus name of its receiver
constexpr AEKeyword keyEventClassAttr = four_chars("evcl");
constexpr AEKeyword keyEventIDAttr = four_chars("evid");
constexpr AEKeyword keyRunAttr = four_chars("run "); // 'long': the run that a report belongs to

enum : OSErr {
    userCanceledErr = -128,       // the idle routine ended the wait for a reply
    connectionInvalid = -609,     // the program ended before it answered
    errAECoercionFail = -1700,    // the data cannot become that type
    errAEDescNotFound = -1701,    // no such item, parameter or attribute
    errAEWrongDataType = -1703,   // the descriptor is no list, no event
    errAEEventNotHandled = -1708, // nobody handles it, or its handler will not
    errAETimeout = -1712,         // no reply within the time
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
// specification and the other way round, and text that is an absolute path or a file: URI as
// either (with the File Manager's errors; a specification's file need not be there, its folder
// must); anything as a list of one item, and a list of one item as what its item can become. Else
// errAECoercionFail.
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

// ---- events and replies ----

// The functions below give errAEWrongDataType for what is no event. A reply that nobody wants is a
// null descriptor.

// An event without parameters.
OSErr AECreateAppleEvent(AEEventClass eventClass, AEEventID eventID, AppleEvent *result);

// Gives the event the parameter, or another value for it.
OSErr AEPutParamPtr(AppleEvent *event, AEKeyword keyword, DescType type, const void *data,
                    std::size_t size);
OSErr AEPutParamDesc(AppleEvent *event, AEKeyword keyword, const AEDesc *value);

// The parameter as that type, as the functions for lists do; errAEDescNotFound when it is not
// there. It counts as read from then on, also when it cannot become that type.
OSErr AEGetParamPtr(const AppleEvent *event, AEKeyword keyword, DescType type, DescType *actualType,
                    void *buffer, std::size_t limit, std::size_t *actualSize);
OSErr AEGetParamDesc(const AppleEvent *event, AEKeyword keyword, DescType type, AEDesc *result);

// The same for attributes, which need not be read. The missed keyword ('keyw') is there as long as
// a parameter is unread; class and ID always are ('type'). These three cannot be put: paramErr.
OSErr AEPutAttributePtr(AppleEvent *event, AEKeyword keyword, DescType type, const void *data,
                        std::size_t size);
OSErr AEGetAttributePtr(const AppleEvent *event, AEKeyword keyword, DescType type,
                        DescType *actualType, void *buffer, std::size_t limit,
                        std::size_t *actualSize);

// ---- receiving ----

using AEEventHandlerUPP = OSErr (*)(const AppleEvent *event, AppleEvent *reply,
                                    std::uint32_t refcon);
AEEventHandlerUPP NewAEEventHandlerUPP(AEEventHandlerUPP handler);

// Installs the handler for events of that class and ID, in place of one that was installed before.
// A system handler, for all programs, is refused with paramErr.
OSErr AEInstallEventHandler(AEEventClass eventClass, AEEventID eventID, AEEventHandlerUPP handler,
                            std::uint32_t refcon, Boolean isSystemHandler);

// Whose requests may ask the user something; this system's all come from this machine.
constexpr std::uint8_t kAEInteractWithLocal = 1;
OSErr AESetInteractionAllowed(std::uint8_t level);

// Hands the request that has been waiting longest to its handler and answers it. Its handler's
// result; noErr when none waits. `event` is the classic event that announced it.
OSErr AEProcessAppleEvent(const EventRecord *event);

// ---- sending ----

// Called again and again while AESend waits; true ends the wait.
using AEIdleUPP = Boolean (*)(EventRecord *event, std::int32_t *sleepTime, void *mouseRegion);
AEIdleUPP NewAEIdleUPP(AEIdleUPP routine);

Boolean CheckEventQueueForUserCancel(); // the user has asked to end what is going on

using AESendMode = std::int32_t;
constexpr AESendMode kAENoReply = 1;
constexpr AESendMode kAEWaitReply = 3;
constexpr std::int32_t kNoTimeOut = -2;

// Sends the event to the program that its address names. Waits for the reply if one is wanted,
// `ticks` at most; `idle` may be null. *reply is the caller's to dispose of (null descriptor
// without a reply). noErr when the event was delivered and the reply, if wanted, has come: what the
// handler's error was is the reply's keyErrorNumber ('long'), which is not there for noErr.
// procNotFound when nobody answers at that address.
OSErr AESend(const AppleEvent *event, AppleEvent *reply, AESendMode mode, std::int32_t ticks,
             AEIdleUPP idle);

namespace platform {

// Hands the event to its handler: its result, or errAEEventNotHandled.
OSErr handle_apple_event(const AppleEvent *event, AppleEvent *reply);

} // namespace platform

#endif
