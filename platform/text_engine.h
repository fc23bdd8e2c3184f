// The text engine: the console's scrolling text. In the terminal program the text goes to standard
// output as it is appended, and nothing of it is kept.
#ifndef PAPERMILL_PLATFORM_TEXT_ENGINE_H
#define PAPERMILL_PLATFORM_TEXT_ENGINE_H

#include "platform/events.h"
#include "platform/files.h"
#include "platform/quickdraw.h"
#include "platform/types.h"
#include "platform/windows.h"

#include <cstddef>

struct OpaqueTXNObject;
using TXNObject = OpaqueTXNObject *; // owned by the engine until TXNDeleteObject
using TXNFrameID = std::uint32_t;
using TXNOffset = std::uint32_t;
using TXNControlTag = OSType;

constexpr TXNOffset kTXNEndOffset = 0x7FFFFFFF; // as both ends of a range: append
constexpr OSType kTXNTextData = four_chars("TEXT");

// ---- the engine ----

// A default font: its number, its size as a Fixed.
struct TXNMacOSPreferredFontDescription {
    std::int16_t fontID;
    Fixed pointSize;
    std::uint32_t encoding;
    std::uint32_t fontStyle;
};

enum : std::uint32_t { kTXNAlwaysUseQuickDrawTextMask = 16 };

// Starts the engine. New objects have the first one of the `count` fonts; the options say how text
// was drawn of old and are of no consequence.
OSStatus TXNInitTextension(const TXNMacOSPreferredFontDescription *fonts, std::size_t count,
                           std::uint32_t options);
void TXNTerminateTextension();

// ---- text objects ----

// How an object looks in its window. The text is always wrapped at the view's edge, so that there
// is nothing to scroll sideways; the window's own edge is what it grows by.
enum : std::uint32_t {
    kTXNDrawGrowIconMask = 1U << 0,
    kTXNWantHScrollBarMask = 1U << 2,
    kTXNWantVScrollBarMask = 1U << 3,
    kTXNDoNotInstallDragProcsMask = 1U << 10,
    kTXNAlwaysWrapAtViewEdgeMask = 1U << 11,
};

enum : std::uint32_t { kTXNTextEditStyleFrameType = 1 }; // the one kind of frame
enum : std::uint32_t { kTXNMacOSEncoding = 1 };          // bytes as the tools give them

// Makes an empty text object in `window`, in the frame, which is in the window's coordinates.
// noErr, *object and *frameID, or an error and both unchanged.
OSStatus TXNNewObject(WindowRef window, const Rect *frame, std::uint32_t frameOptions,
                      std::uint32_t frameType, OSType fileType, std::uint32_t encoding,
                      TXNObject *object, TXNFrameID *frameID);

// Disposes of the object; null is ignored.
void TXNDeleteObject(TXNObject object);

// ---- the operations below need an object; without one they do nothing, or return paramErr ----

// Replaces the range start..end by `length` bytes of `type`; both ends kTXNEndOffset append.
// Bytes that are no UTF-8 are shown, never dropped; a carriage return ends a line. The terminal
// program can only append.
OSStatus TXNSetData(TXNObject object, OSType type, const void *data, std::size_t length,
                    TXNOffset start, TXNOffset end);

// Writes the text into the open data fork, with line feeds at the ends of lines. dskFulErr and the
// like when it fails; in the terminal program paramErr: there is no text any more. The file, where
// there is only a data fork to write, is not looked at.
OSStatus TXNSave(TXNObject object, OSType fileType, OSType resourceType, std::uint32_t encoding,
                 const FSSpec *file, FSIORefNum data, std::int16_t resources);

void TXNSelectAll(TXNObject object); // for TXNClear and TXNSetTypeAttributes; it is not to be seen
OSStatus TXNClear(TXNObject object); // delete what has been selected so

// ---- controls ----

// 1: the caret is shown and keys are typed at the end of the text. 0: a passive display. The user
// can select and copy either way.
constexpr TXNControlTag kTXNSelectionStateTag = four_chars("slst");
constexpr TXNControlTag kTXNMarginsTag = four_chars("marg");
constexpr TXNControlTag kTXNContextTag = 0x7FFF; // what the text is drawn into

struct TXNMargins {
    std::int16_t topMargin, leftMargin, bottomMargin, rightMargin; // pixels
};

union TXNControlData {
    std::uint32_t uValue;
    const TXNMargins *marginsPtr;
    CGContextRef context; // that of the window's port
};

// Sets `count` controls of the object. paramErr at the first one that is unknown or has no value
// that could be; those before it are set.
OSStatus TXNSetTXNObjectControls(TXNObject object, Boolean clearAll, std::size_t count,
                                 const TXNControlTag *tags, const TXNControlData *data);

// ---- style ----

constexpr OSType kTXNFontSizeAttribute = four_chars("size"); // 4 bytes: a Fixed, in points
constexpr OSType kTXNFontNameAttribute = four_chars("fntn"); // 256 bytes: a Pascal string
constexpr std::size_t kTXNFontSizeAttributeSize = 4;
constexpr std::size_t kTXNFontNameAttributeSize = 256;
constexpr TXNOffset kTXNUseCurrentSelection = 0xFFFFFFFF;

struct TXNTypeAttributes {
    OSType tag;
    std::size_t size; // of the value
    union {
        Fixed dataValue;
        ConstStringPtr dataPtr;
    } data;
};

// Gives what TXNSelectAll has selected the attributes (both ends are kTXNUseCurrentSelection), and
// with it all text to come: an object has one style. Sizes are kept between 4 and 288 points.
// paramErr when nothing is selected, and for attributes that are unknown.
OSStatus TXNSetTypeAttributes(TXNObject object, std::size_t count,
                              const TXNTypeAttributes *attributes, TXNOffset start, TXNOffset end);

// ---- the object in its window ----

void TXNForceUpdate(TXNObject object);              // redraw now
void TXNUpdate(TXNObject object);                   // redraw what is out of date
void TXNIdle(TXNObject object);                     // idle work: the caret blinks
void TXNFocus(TXNObject object, Boolean focus);     // give or take the keyboard focus
void TXNActivate(TXNObject object, Boolean active); // show as active or inactive

// Puts the frame there, in the window's coordinates.
void TXNSetFrameBounds(TXNObject object, std::int16_t top, std::int16_t left, std::int16_t bottom,
                       std::int16_t right, TXNFrameID frame);
void TXNRecalcTextLayout(TXNObject object); // wrap the lines anew

// A click at event->where, which is on the screen: it is for the text, or begins to grow the
// window.
void TXNClick(TXNObject object, const EventRecord *event);
void TXNGrowWindow(TXNObject object, const EventRecord *event);

enum : std::int16_t { inZoomIn = 7, inZoomOut = 8 };
void TXNZoomWindow(TXNObject object, std::int16_t part); // to the screen's size, and back

// Shows the cursor that belongs where the mouse is: over the text the I-beam, else the arrow. Over
// the text *region becomes the place where it holds, on the screen.
void TXNAdjustCursor(TXNObject object, RgnHandle region);

#endif
