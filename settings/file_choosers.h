// The modal choosers: an input file, a folder, an application, a new file. See file_prompts.h for
// the ways in that the menus and the windows use.
//
// The choosers share one dialog reference of each kind, one set of callbacks and one reply: one of
// them is open at a time. A buffer for a path has path_size bytes; cancel and errors give 0 and
// leave it as it was.
#ifndef PAPERMILL_SETTINGS_FILE_CHOOSERS_H
#define PAPERMILL_SETTINGS_FILE_CHOOSERS_H

#include "platform/navigation.h"
#include "platform/types.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

constexpr std::size_t chosen_path_limit = 511; // what a chosen path may have, with its NUL
constexpr std::size_t longest_extension = 16;  // bytes of an extension offered in the popup
constexpr std::size_t reply_name_size = 1024;  // room for the name of a new file
constexpr std::size_t popup_title_size = 64;
constexpr std::size_t most_popup_items = 4;          // two extensions, text files, all files
constexpr OSType any_signature = four_chars("****"); // every application

// ---- made once, by CreateNavUPP1 ----
extern NavEventUPP eventProc1;
extern NavObjectFilterUPP filterProc1;
extern NavObjectFilterUPP appFilterProc1;

// ---- the open chooser; choosers and callbacks set and read what follows ----
extern NavDialogRef gModalToApplicationNavDialogRef; // opening a file, a folder or an application
extern NavDialogRef modalToWindowNavDialogRef;       // saving
extern FSRef replyFSRef;                             // what was chosen; of a new file the folder
extern char replyFileName[reply_name_size];          // the name of a new file
extern unsigned char didCancel;                      // the user cancelled

// ---- the popup of nav_get_file1 and nav_get_files1 ----
// The kind of an item: which files it shows.
enum : std::int32_t {
    kind_first_extension = 1,
    kind_second_extension = 2,
    kind_text_files = 3,
    kind_all_files = 4
};
extern std::uint32_t selector;                          // index of the item that holds
extern char values[most_popup_items][popup_title_size]; // the items' titles
extern std::int32_t mapInt[most_popup_items]; // the items' kinds; 0: there is no such item
extern char gExt[longest_extension + 1];      // the first extension, or empty
extern char gExt1[longest_extension + 1];     // the second one

// ---- the application chooser ----
extern OSType gSig;  // the creator that an application must have; '****': any
extern OSType gSig1; // another one that will do; 0: none

void CreateNavUPP1(); // makes the callbacks

// Asks for a file. The popup offers the files of each extension (may be null; one that is too long
// is not offered), text files if allowText is 1, and all files. 1, with the file's path.
int nav_get_file1(char *path, const char *ext1, const char *ext2, int allowText,
                  const char *prompt);

// Asks for one file or several that can be read. 1, with their paths in the order in which they are
// listed; 0, and *paths as it was. The user is told, and the chooser stays, when a file among them
// cannot be read.
int nav_get_files1(std::vector<std::string> *paths, const char *extension, const char *prompt);

// Asks for a folder. 1, with the folder's path.
int nav_get_working_folder1(char *folder, const char *prompt);

// Asks for an application of one of the two creators; an empty prompt leaves the title to the
// system. 1, with its path. Nothing in the program calls it.
int nav_get_app1(const char *prompt, char *path, OSType signature, OSType signature2);

// Asks for the name of a new file; an empty defaultName proposes "Untitled". The file is made at
// once, an existing one is emptied; a device or a pipe is left alone. 1, with the file's path. The
// user is told, and the chooser stays, when the file is in_file or cannot be written.
int nav_put_file1(const char *prompt, const char *defaultName, char *path);

// ---- the choosers' callbacks ----
void myEventProc1(NavEventCallbackMessage message, NavCBRec *parameters, void *userData);
Boolean myFilterProc1(AEDesc *item, void *info, void *userData, NavFilterModes filterMode);
Boolean myAppFilterProc1(AEDesc *item, void *info, void *userData, NavFilterModes filterMode);

#endif
