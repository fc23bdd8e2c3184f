#include "settings/file_choosers.h"

#include "app/globals.h"
#include "console/console_io.h"
#include "console/console_text.h"
#include "platform/core/atomic_file.h"
#include "platform/strings.h"
#include "settings/path_utils.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

NavEventUPP eventProc1;
NavObjectFilterUPP filterProc1;
NavObjectFilterUPP appFilterProc1;
NavDialogRef gModalToApplicationNavDialogRef;
NavDialogRef modalToWindowNavDialogRef;
FSRef replyFSRef;
char replyFileName[reply_name_size];
unsigned char didCancel;
std::uint32_t selector;
char values[most_popup_items][popup_title_size];
std::int32_t mapInt[most_popup_items];
char gExt[longest_extension + 1];
char gExt1[longest_extension + 1];
OSType gSig;
OSType gSig1;

namespace {

constexpr char client_name[] = "Tessary"; // the program's first name, kept as the key
constexpr OSType saved_type = four_chars("TEXT");
constexpr OSType saved_creator = four_chars("R*ch");

NavDialogCreationOptions common_options(const char *prompt)
{
    NavDialogCreationOptions options;
    NavGetDefaultDialogCreationOptions(&options);
    options.clientName = client_name;
    options.windowTitle = prompt;
    options.modality = kWindowModalityAppModal;
    didCancel = 0;
    replyFSRef = {}; // so that an earlier choice is never taken for this one's
    replyFileName[0] = 0;
    return options;
}

// Runs the chooser that has been made (or not: `made` is the result). False when it was cancelled
// or could not be run.
bool run(OSStatus made, NavDialogRef *dialog)
{
    if (made != noErr || *dialog == nullptr)
        return false;
    const OSStatus error = NavDialogRun(*dialog);
    if (error != noErr) {
        NavDialogDispose(*dialog);
        *dialog = nullptr;
        return false;
    }
    return didCancel == 0;
}

// The same, and puts what was chosen into `path`. False, and `path` unchanged, when there is
// nothing.
bool run(OSStatus made, NavDialogRef *dialog, char *path)
{
    return run(made, dialog) && FSRefMakePath(&replyFSRef, path, chosen_path_limit) == noErr;
}

void add_popup_item(std::size_t *count, std::int32_t kind, const char *extension)
{
    char(&title)[popup_title_size] = values[*count];
    if (kind == kind_text_files)
        platform::copy_whole(title, "All text files");
    else if (kind == kind_all_files)
        platform::copy_whole(title, "All files");
    else
        std::snprintf(title, sizeof title, "All files with %s extension", extension);
    mapInt[(*count)++] = kind;
}

// An extension that does not fit its place is not offered.
bool take_extension(char (&place)[longest_extension + 1], const char *extension)
{
    place[0] = 0;
    return extension != nullptr && platform::copy_whole(place, extension);
}

// Makes the chooser for a file, or for several where there is somewhere to put their paths.
OSStatus make_get_file(const char *prompt, const char *ext1, const char *ext2, int allowText,
                       std::vector<std::string> *several)
{
    NavDialogCreationOptions options = common_options(prompt);
    options.optionFlags &= ~kNavAllowPreviews;
    if (several == nullptr)
        options.optionFlags &= ~kNavAllowMultipleFiles;
    std::size_t count = 0;
    std::memset(mapInt, 0, sizeof mapInt);
    if (take_extension(gExt, ext1))
        add_popup_item(&count, kind_first_extension, gExt);
    if (take_extension(gExt1, ext2))
        add_popup_item(&count, kind_second_extension, gExt1);
    if (allowText == 1)
        add_popup_item(&count, kind_text_files, nullptr);
    add_popup_item(&count, kind_all_files, nullptr);
    const char *titles[most_popup_items] = {};
    for (std::size_t i = 0; i < count; ++i)
        titles[i] = values[i];
    options.popupExtension = titles;
    options.popupExtensionCount = count;
    selector = 0;
    return NavCreateGetFileDialog(&options, nullptr, eventProc1, nullptr, filterProc1, several,
                                  &gModalToApplicationNavDialogRef);
}

bool is_reference(const AEDesc &item)
{
    return item.descriptorType == typeFSS || item.descriptorType == typeFSRef;
}

// Whether the item, a reference of either kind, has the extension. A path that is too long to be
// taken has none.
bool item_has_extension(const AEDesc &item, const char *extension)
{
    AEDesc reference;
    if (AECoerceDesc(&item, typeFSRef, &reference) != noErr)
        return false;
    FSRef ref = {};
    AEGetDescData(&reference, &ref, sizeof ref);
    AEDisposeDesc(&reference);
    char path[chosen_path_limit];
    return FSRefMakePath(&ref, path, sizeof path) == noErr && has_extension(path, extension) == 1;
}

// The path of what was chosen when it is longer than a chosen path may be; else empty.
std::string path_that_is_too_long(const FSRef &chosen)
{
    char path[chosen_path_limit];
    std::string whole;
    if (FSRefMakePath(&chosen, path, sizeof path) != noErr)
        platform::path_of(chosen, &whole);
    return whole;
}

// Tells the user when a new file cannot be made at that place, before anything is lost by trying.
void refuse_unwritable(NavDialogRef dialog, const char *path)
{
    struct stat status = {};
    const bool exists = stat(path, &status) == 0;
    const int error = errno;
    const std::string folder = platform::folder_of(platform::write_target(path));
    if (same_file(path, in_file))
        platform::refuse_choice(
            dialog, "%s: the output would replace the input. Choose another name.", path);
    else if (!exists && error != ENOENT)
        platform::refuse_choice(dialog, "%s: the file can't be written: %s.", path,
                                std::strerror(error));
    else if (exists && access(path, W_OK) != 0)
        platform::refuse_choice(dialog, "%s: the file can't be replaced: %s.", path,
                                std::strerror(errno));
    else if (exists && !S_ISREG(status.st_mode))
        return; // a device or a pipe, which is written through
    // A result is made beside an old one before it replaces it, so the folder counts for both.
    else if (access(folder.c_str(), F_OK) != 0)
        platform::refuse_choice(dialog, "%s: there is no folder %s.", path, folder.c_str());
    else if (access(folder.c_str(), W_OK | X_OK) != 0)
        platform::refuse_choice(dialog, "%s: nothing can be written into the folder %s: %s.", path,
                                folder.c_str(), std::strerror(errno));
}

// The user has named a new file.
void take_new_file(NavDialogRef dialog, const NavReplyRecord &reply)
{
    std::memset(replyFileName, 0, sizeof replyFileName);
    AEDesc folder;
    if (AECoerceDesc(&reply.selection, typeFSRef, &folder) != noErr)
        return;
    AEGetDescData(&folder, &replyFSRef, sizeof replyFSRef);
    AEDisposeDesc(&folder);
    char path[chosen_path_limit];
    const std::string too_long = path_that_is_too_long(replyFSRef);
    if (!too_long.empty())
        platform::refuse_choice(dialog, "%s: the folder's path is too long.", too_long.c_str());
    else if (!platform::copy_whole(replyFileName, reply.saveFileName))
        platform::refuse_choice(dialog,
                                "%s: the path is too long. Move the file or shorten its name.",
                                reply.saveFileName);
    else if (FSRefMakePath(&replyFSRef, path, sizeof path) == noErr)
        refuse_unwritable(dialog, platform::in_folder(path, replyFileName).c_str());
}

// False, and the user is told, when the path of what was chosen is too long.
bool has_room(NavDialogRef dialog, const FSRef &chosen)
{
    const std::string too_long = path_that_is_too_long(chosen);
    if (!too_long.empty())
        platform::refuse_choice(dialog,
                                "%s: the path is too long. Move the file or shorten its name.",
                                too_long.c_str());
    return too_long.empty();
}

bool item_of(const AEDescList &list, std::int32_t number, FSRef *ref)
{
    AEDesc item;
    if (AEGetNthDesc(&list, number, typeFSRef, nullptr, &item) != noErr)
        return false;
    AEGetDescData(&item, ref, sizeof *ref);
    AEDisposeDesc(&item);
    return true;
}

// The user has chosen what is there.
void take_selection(NavDialogRef dialog, const NavReplyRecord &reply)
{
    std::int32_t count = 0;
    if (gModalToApplicationNavDialogRef != nullptr &&
        AECountItems(&reply.selection, &count) == noErr && item_of(reply.selection, 1, &replyFSRef))
        has_room(dialog, replyFSRef);
}

// The user has chosen files that are to be read: all of them are taken, or the chooser stays.
void take_files(NavDialogRef dialog, const NavReplyRecord &reply, std::vector<std::string> *paths)
{
    std::int32_t count = 0;
    AECountItems(&reply.selection, &count);
    std::vector<std::string> chosen;
    for (std::int32_t number = 1; number <= count; ++number) {
        FSRef ref = {};
        char path[chosen_path_limit];
        if (!item_of(reply.selection, number, &ref) || !has_room(dialog, ref) ||
            FSRefMakePath(&ref, path, sizeof path) != noErr)
            return;
        if (access(path, R_OK) != 0)
            return platform::refuse_choice(dialog, "%s: the file can't be read: %s.", path,
                                           std::strerror(errno));
        chosen.emplace_back(path);
    }
    *paths = chosen;
}

// Makes the file, or empties it. A device or a pipe holds nothing that could be emptied, and to
// open one may take for ever. False, with a message, when it cannot be done after all.
bool create_file(const char *path)
{
    struct stat status = {};
    if (stat(path, &status) == 0 && !S_ISREG(status.st_mode))
        return true;
    std::FILE *file = std::fopen(path, "we");
    if (file != nullptr && std::fclose(file) == 0)
        return true;
    text_printf("%s: the file can't be written: %s.\n", path, std::strerror(errno));
    return false;
}

} // namespace

void CreateNavUPP1()
{
    eventProc1 = NewNavEventUPP(myEventProc1);
    filterProc1 = NewNavObjectFilterUPP(myFilterProc1);
    appFilterProc1 = NewNavObjectFilterUPP(myAppFilterProc1);
}

int nav_get_file1(char *path, const char *ext1, const char *ext2, int allowText, const char *prompt)
{
    const OSStatus made = make_get_file(prompt, ext1, ext2, allowText, nullptr);
    return run(made, &gModalToApplicationNavDialogRef, path) ? 1 : 0;
}

int nav_get_files1(std::vector<std::string> *paths, const char *extension, const char *prompt)
{
    std::vector<std::string> chosen;
    const OSStatus made = make_get_file(prompt, extension, nullptr, 0, &chosen);
    if (!run(made, &gModalToApplicationNavDialogRef) || chosen.empty())
        return 0;
    *paths = chosen;
    return 1;
}

int nav_get_working_folder1(char *folder, const char *prompt)
{
    const NavDialogCreationOptions options = common_options(prompt);
    const OSStatus made = NavCreateChooseFolderDialog(&options, eventProc1, filterProc1, nullptr,
                                                      &gModalToApplicationNavDialogRef);
    return run(made, &gModalToApplicationNavDialogRef, folder) ? 1 : 0;
}

int nav_get_app1(const char *prompt, char *path, OSType signature, OSType signature2)
{
    NavDialogCreationOptions options = common_options(*prompt == 0 ? nullptr : prompt);
    options.optionFlags |= kNavAllFilesInPopup | kNavSupportPackages;
    gSig = signature;
    gSig1 = signature2;
    const OSStatus made =
        NavCreateChooseFileDialog(&options, nullptr, eventProc1, nullptr, appFilterProc1, nullptr,
                                  &gModalToApplicationNavDialogRef);
    return run(made, &gModalToApplicationNavDialogRef, path) ? 1 : 0;
}

int nav_put_file1(const char *prompt, const char *defaultName, char *path)
{
    NavDialogCreationOptions options = common_options(prompt);
    options.optionFlags |= kNavNoTypePopup;
    options.saveFileName = *defaultName == 0 ? "Untitled" : defaultName;
    const OSStatus made = NavCreatePutFileDialog(&options, saved_type, saved_creator, eventProc1,
                                                 theConsole, &modalToWindowNavDialogRef);
    char folder[chosen_path_limit];
    if (!run(made, &modalToWindowNavDialogRef, folder) || replyFileName[0] == 0)
        return 0;
    const std::string chosen = platform::in_folder(folder, replyFileName);
    if (chosen.size() >= path_size) {
        text_printf("%s: the path is too long. Move the file or shorten its name.\n",
                    chosen.c_str());
        return 0;
    }
    if (!create_file(chosen.c_str()))
        return 0;
    platform::copy_whole(path, path_size, chosen.c_str());
    return 1;
}

void myEventProc1(NavEventCallbackMessage message, NavCBRec *parameters, void *userData)
{
    NavDialogRef &open = gModalToApplicationNavDialogRef != nullptr
                             ? gModalToApplicationNavDialogRef
                             : modalToWindowNavDialogRef;
    switch (message) {
    case kNavCBTerminate:
        NavDialogDispose(open);
        open = nullptr;
        break;
    case kNavCBCancel:
        didCancel = 1;
        break;
    case kNavCBPopupMenuSelect:
        selector = static_cast<const NavMenuItemSpec *>(parameters->eventData.eventDataParms.param)
                       ->menuType;
        break;
    case kNavCBUserAction: {
        NavReplyRecord reply;
        if (NavDialogGetReply(parameters->context, &reply) != noErr)
            break;
        const NavUserAction action = NavDialogGetUserAction(parameters->context);
        // Only the chooser of several files has somewhere to put them.
        auto *const several = action == kNavUserActionOpen
                                  ? static_cast<std::vector<std::string> *>(userData)
                                  : nullptr;
        if (reply.validRecord && action == kNavUserActionSaveAs)
            take_new_file(parameters->context, reply);
        else if (reply.validRecord && several != nullptr)
            take_files(parameters->context, reply, several);
        else if (reply.validRecord &&
                 (action == kNavUserActionOpen || action == kNavUserActionChoose))
            take_selection(parameters->context, reply);
        NavDisposeReply(&reply);
        break;
    }
    default:
        break;
    }
}

Boolean myFilterProc1(AEDesc *item, void *info, void * /*userData*/, NavFilterModes /*filterMode*/)
{
    const auto *known = static_cast<const NavFileOrFolderInfo *>(info);
    if (!is_reference(*item) || known->isFolder)
        return 1;
    const std::int32_t kind = selector < most_popup_items ? mapInt[selector] : kind_all_files;
    if (kind == kind_first_extension)
        return item_has_extension(*item, gExt) ? 1 : 0;
    if (kind == kind_second_extension)
        return item_has_extension(*item, gExt1) ? 1 : 0;
    if (kind == kind_text_files)
        return known->finderInfo.fdType == four_chars("TEXT") ? 1 : 0;
    return 1; // all files, or no popup was ever shown
}

Boolean myAppFilterProc1(AEDesc *item, void *info, void * /*userData*/,
                         NavFilterModes /*filterMode*/)
{
    const auto *known = static_cast<const NavFileOrFolderInfo *>(info);
    if (!is_reference(*item) || known->isFolder)
        return 1;
    const FInfo &finder = known->finderInfo;
    if (finder.fdType != four_chars("APPL"))
        return 0;
    const bool accepted = gSig == any_signature || finder.fdCreator == gSig ||
                          (gSig1 != 0 && finder.fdCreator == gSig1);
    return accepted ? 1 : 0;
}
