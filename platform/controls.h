// The Control Manager: what stands in the windows of the interface file. Every control has an ID
// there. The terminal program has no such window, and no controls.
#ifndef PAPERMILL_PLATFORM_CONTROLS_H
#define PAPERMILL_PLATFORM_CONTROLS_H

#include "platform/types.h"
#include "platform/windows.h"

#include <cstddef>

struct OpaqueControl;
using ControlRef = OpaqueControl *; // lives as long as its window

struct ControlID {
    OSType signature;
    std::int32_t id;
};

using ControlPartCode = std::int16_t;
constexpr ControlPartCode kControlEntireControl = 0;
constexpr ControlPartCode kControlEditTextPart = 5;

// What a control knows of itself. A text, of a label or an edit field, is UTF-8, and bytes that are
// none come back as they are. A label that the interface file gives the property "elide" ("middle",
// "right") shows as much of it as has room. An edit field with the property "maxBytes" takes no
// more.
constexpr OSType kControlStaticTextTextTag = four_chars("text");
constexpr OSType kControlEditTextSelectionTag = four_chars("sele");
constexpr OSType kControlProgressBarIndeterminateTag = four_chars("inde"); // a Boolean

// A list, whose items the user can move and remove. Its texts have a NUL behind each; set them, and
// they have the numbers 0, 1, 2…; its order tells the numbers of those that are there now, as
// std::int32_t.
constexpr OSType kControlListItemsTag = four_chars("item");
constexpr OSType kControlListOrderTag = four_chars("ordr");

struct ControlEditTextSelectionRec {
    std::int16_t selStart, selEnd; // in characters; an end behind the text is the text's
};

// The control of that ID. errUnknownControl, and *control unchanged, when there is none.
OSStatus GetControlByID(WindowRef window, const ControlID *id, ControlRef *control);

// The operations below take a null control; those with a result then give errUnknownControl.
OSStatus GetControlID(ControlRef control, ControlID *id);

// Copies the data of that tag into `buffer`, at most `size` bytes; *actual (may be null) tells how
// many there are. errDataNotSupported when the control has none of that tag. Setting replaces them.
OSErr GetControlData(ControlRef control, ControlPartCode part, OSType tag, std::size_t size,
                     void *buffer, std::size_t *actual);
OSErr SetControlData(ControlRef control, ControlPartCode part, OSType tag, std::size_t size,
                     const void *data);

// A check box has the values 0 and 1; a tab control the number of its tab, from 1 on; a list that
// of the item that is selected, or 0; a progress bar how far it is, of a maximum. Others have 0.
std::int32_t GetControl32BitValue(ControlRef control);
void SetControl32BitMaximum(ControlRef control, std::int32_t maximum); // of a progress bar
void SetControl32BitValue(ControlRef control, std::int32_t value);

// Fills *bounds with the control's place in its window, and returns it.
Rect *GetControlBounds(ControlRef control, Rect *bounds);

void Draw1Control(ControlRef control); // draws it anew
void ShowControl(ControlRef control);
void HideControl(ControlRef control); // others take its room

// Gives the keyboard to the control. errCouldntSetFocus when it takes none.
OSErr SetKeyboardFocus(WindowRef window, ControlRef control, ControlPartCode part);

// The control that has it, or had it last; null: none. errUnknownControl, and *control unchanged,
// without a window.
OSErr GetKeyboardFocus(WindowRef window, ControlRef *control);

// The control that contains all others of the window; errNoRootControl when there is none.
OSErr GetRootControl(WindowRef window, ControlRef *root);

// Makes the control, with all that it contains, show as active and take input, or neither.
OSErr ActivateControl(ControlRef control);
OSErr DeactivateControl(ControlRef control);

#endif
