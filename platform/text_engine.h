// The text engine: the console's scrolling text. In the terminal program the text goes to standard
// output as it is appended, and nothing of it is kept.
#ifndef PAPERMILL_PLATFORM_TEXT_ENGINE_H
#define PAPERMILL_PLATFORM_TEXT_ENGINE_H

#include "platform/types.h"
#include "platform/windows.h"

#include <cstddef>

struct OpaqueTXNObject;
using TXNObject = OpaqueTXNObject *; // owned by the engine until TXNDeleteObject
using TXNOffset = std::uint32_t;
using TXNControlTag = OSType;

constexpr TXNOffset kTXNEndOffset = 0x7FFFFFFF; // as both ends of a range: append
constexpr OSType kTXNTextData = four_chars("TEXT");
constexpr TXNControlTag kTXNSelectionStateTag = four_chars("slst");

union TXNControlData {
    std::uint32_t uValue;
    std::int32_t sValue;
};

// Makes a text object in `window`. noErr and *object, or an error and *object unchanged.
OSStatus TXNNewObject(WindowRef window, TXNObject *object);

// Disposes of the object; null is ignored.
void TXNDeleteObject(TXNObject object);

// Replaces the range start..end by `length` bytes of `type`; both ends kTXNEndOffset append.
// Bytes that are no UTF-8 are shown, never dropped; a carriage return ends a line.
OSStatus TXNSetData(TXNObject object, OSType type, const void *data, std::size_t length,
                    TXNOffset start, TXNOffset end);

// Sets `count` controls of the object. The one known to the terminal program is the selection
// state: 1 lets typed keys through to the window's handler, 0 makes the text a passive display.
OSStatus TXNSetTXNObjectControls(TXNObject object, Boolean clearAll, std::size_t count,
                                 const TXNControlTag *tags, const TXNControlData *data);

void TXNForceUpdate(TXNObject object);              // redraw now
void TXNUpdate(TXNObject object);                   // redraw what is out of date
void TXNSelectAll(TXNObject object);                // select the whole text
OSStatus TXNClear(TXNObject object);                // delete the selection
void TXNIdle(TXNObject object);                     // idle work: the caret blinks
void TXNFocus(TXNObject object, Boolean focus);     // give or take the keyboard focus
void TXNActivate(TXNObject object, Boolean active); // show as active or inactive

#endif
