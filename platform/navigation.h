// Navigation Services: the modal choosers for files, folders and applications.
//
// Texts are C strings here, in UTF-8; names of files are bytes, whatever they are. One item is
// chosen, but for the files that NavCreateGetFileDialog lets choose with kNavAllowMultipleFiles.
#ifndef PAPERMILL_PLATFORM_NAVIGATION_H
#define PAPERMILL_PLATFORM_NAVIGATION_H

#include "platform/apple_events.h"
#include "platform/files.h"
#include "platform/types.h"

#include <cstddef>
#include <cstdint>

struct OpaqueNavDialog;
using NavDialogRef = OpaqueNavDialog *;

enum : OSErr {
    kNavWrongDialogStateErr = -5694,    // the chooser runs already, or nothing is chosen
    kNavInvalidSystemConfigErr = -5696, // no chooser can be made here
};

// ---- what a chooser is like ----

using NavDialogOptionFlags = std::uint32_t;
enum : NavDialogOptionFlags {
    kNavNoTypePopup = 0x1,           // no popup of file kinds
    kNavDontAddTranslateItems = 0x4, // this, stationery and previews there are none of here
    kNavAllFilesInPopup = 0x10,      // the popup ends in an item for all files
    kNavAllowStationery = 0x20,
    kNavAllowPreviews = 0x40,
    kNavAllowMultipleFiles = 0x80,
    kNavSupportPackages = 0x1000, // a folder that is an application can be chosen as a file
    kNavDefaultNavDlogOptions =
        kNavDontAddTranslateItems | kNavAllowStationery | kNavAllowPreviews | kNavAllowMultipleFiles
};

using WindowModality = std::uint32_t;
constexpr WindowModality kWindowModalityAppModal = 2;

// The strings are the caller's; they are copied when the chooser is made.
struct NavDialogCreationOptions {
    NavDialogOptionFlags optionFlags;
    const char *clientName;            // keys the folder where the next chooser starts
    const char *windowTitle;           // null: what the chooser is for
    const char *saveFileName;          // proposed name; null: none
    const char *const *popupExtension; // the popup's items; the first one holds at the start
    std::size_t popupExtensionCount;
    WindowModality modality;
};

// The default flags, no strings, modal to the application.
OSStatus NavGetDefaultDialogCreationOptions(NavDialogCreationOptions *options);

// ---- what a chooser asks and tells while it runs ----

// What is known of the item that a filter is asked about.
struct NavFileOrFolderInfo {
    Boolean isFolder;
    FInfo finderInfo; // of a file; one without a type counts as 'TEXT' when its content is text,
                      // and as 'APPL' when it is a program that may be run
};

// True: the item (a descriptor of typeFSRef) is shown. `info` points to a NavFileOrFolderInfo.
using NavFilterModes = std::int16_t;
constexpr NavFilterModes kNavFilteringBrowserList = 0;
using NavObjectFilterUPP = Boolean (*)(AEDesc *item, void *info, void *userData,
                                       NavFilterModes filterMode);
NavObjectFilterUPP NewNavObjectFilterUPP(NavObjectFilterUPP filter);

using NavEventCallbackMessage = std::int32_t;
enum : NavEventCallbackMessage {
    kNavCBTerminate = 3,       // it is over; the program may dispose of the chooser here
    kNavCBPopupMenuSelect = 8, // the parameter is a NavMenuItemSpec; the filter is asked anew
    kNavCBCancel = 10,         // the user cancelled
    kNavCBUserAction = 12      // the user has chosen: there is a reply. Comes before the question
                               // whether an existing file is to be replaced, so it may come again
};

struct NavMenuItemSpec {
    OSType menuCreator;
    OSType menuType; // the item's index in popupExtension
};

struct NavCBRec {
    NavDialogRef context;
    struct {
        struct {
            void *param;
        } eventDataParms;
    } eventData;
};
using NavEventUPP = void (*)(NavEventCallbackMessage message, NavCBRec *parameters, void *userData);
NavEventUPP NewNavEventUPP(NavEventUPP callback);

using NavUserAction = std::uint32_t;
enum : NavUserAction {
    kNavUserActionNone = 0,
    kNavUserActionCancel = 1,
    kNavUserActionOpen = 2,
    kNavUserActionSaveAs = 3,
    kNavUserActionChoose = 4
};

// ---- the choosers ----

// Each makes a chooser, hidden until it is run, and sets *dialog; the event callback, the filter
// and the user data may be null. kNavInvalidSystemConfigErr, and *dialog unchanged, where none can
// be made. There are no type lists and no previews here: both are null.
OSStatus NavCreateGetFileDialog(const NavDialogCreationOptions *options, const void *typeList,
                                NavEventUPP events, const void *preview, NavObjectFilterUPP filter,
                                void *userData, NavDialogRef *dialog);
OSStatus NavCreateChooseFileDialog(const NavDialogCreationOptions *options, const void *typeList,
                                   NavEventUPP events, const void *preview,
                                   NavObjectFilterUPP filter, void *userData, NavDialogRef *dialog);
OSStatus NavCreateChooseFolderDialog(const NavDialogCreationOptions *options, NavEventUPP events,
                                     NavObjectFilterUPP filter, void *userData,
                                     NavDialogRef *dialog);

// The type and the creator are for files that the system makes; the program makes its own.
OSStatus NavCreatePutFileDialog(const NavDialogCreationOptions *options, OSType type,
                                OSType creator, NavEventUPP events, void *userData,
                                NavDialogRef *dialog);

// Shows the chooser on the active window and waits for its end. noErr, also when it was cancelled;
// kNavWrongDialogStateErr when it runs already or is none.
OSStatus NavDialogRun(NavDialogRef dialog);
void NavDialogDispose(NavDialogRef dialog); // null, and one that is gone, do nothing

NavUserAction NavDialogGetUserAction(NavDialogRef dialog);

struct NavReplyRecord {
    Boolean validRecord;
    AEDescList selection;     // what was chosen, a file reference each, in the order in which they
                              // are listed; of a save chooser the folder
    const char *saveFileName; // of a save chooser, else null
};

// What the user has chosen, the caller's until NavDisposeReply. kNavWrongDialogStateErr when
// nothing is chosen; *reply is no valid record then.
OSStatus NavDialogGetReply(NavDialogRef dialog, NavReplyRecord *reply);
OSStatus NavDisposeReply(NavReplyRecord *reply);

namespace platform {

// For an event callback, at kNavCBUserAction: what was chosen cannot be taken. Tells the user why,
// on the chooser, which stays open. The text is formatted as with printf.
[[gnu::format(printf, 2, 3)]] void refuse_choice(NavDialogRef dialog, const char *format, ...);

} // namespace platform

#endif
