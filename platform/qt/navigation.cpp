#include "platform/navigation.h"

#include "platform/core/atomic_file.h"
#include "platform/qt/chooser.h"

#include <QApplication>
#include <QFile>
#include <QMimeDatabase>

#include <cstdarg>
#include <cstring>
#include <fcntl.h>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <unistd.h>
#include <vector>

struct OpaqueNavDialog {
    platform::chooser_request request;
    std::string client;
    NavUserAction action; // what the user does when he chooses
    NavEventUPP events;
    NavObjectFilterUPP filter;
    void *user_data;
    bool running = false;
    QWidget *window = nullptr;       // while it is shown
    std::vector<std::string> chosen; // empty: nothing yet
    bool refused = false;            // the program does not take it
    bool disposed = false;           // while it ran; it is freed when it has run
};

namespace {

std::set<NavDialogRef> &choosers()
{
    static std::set<NavDialogRef> living;
    return living;
}

// The folder where each client's last chooser ended.
std::map<std::string, std::string> &last_folders()
{
    static std::map<std::string, std::string> folders;
    return folders;
}

std::string text_of(const char *s)
{
    return s == nullptr ? std::string() : std::string(s);
}

// The last folder of this client, else the current one, else the home folder: who starts the
// program from a menu is nowhere.
std::string first_folder(const std::string &client)
{
    const auto last = last_folders().find(client);
    if (last != last_folders().end() && access(last->second.c_str(), R_OK | X_OK) == 0)
        return last->second;
    const QString current = QDir::currentPath();
    return current.isEmpty() || current == "/" ? QDir::homePath().toStdString()
                                               : current.toStdString();
}

void tell(NavDialogRef dialog, NavEventCallbackMessage message, void *parameter)
{
    if (dialog->events == nullptr)
        return;
    NavCBRec record = {};
    record.context = dialog;
    record.eventData.eventDataParms.param = parameter;
    dialog->events(message, &record, dialog->user_data);
}

AEDesc descriptor_of(const std::string &path)
{
    AEDesc item = {typeNull, nullptr};
    FSRef ref;
    if (FSPathMakeRef(path.c_str(), &ref, nullptr) == noErr)
        AECreateDesc(typeFSRef, &ref, sizeof ref, &item);
    return item;
}

QMimeType mime_type_of(const std::string &path)
{
    const QMimeDatabase database;
    const QByteArray name = QByteArray::fromStdString(path);
    if (name.isValidUtf8())
        return database.mimeTypeForFile(QString::fromUtf8(name));
    QFile file; // by its descriptor: Qt has no name for it
    const platform::unique_fd fd(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!file.open(fd.get(), QIODevice::ReadOnly))
        return database.mimeTypeForName("application/octet-stream");
    return database.mimeTypeForFileNameAndData(QString::fromUtf8(name), &file);
}

// What the file counts as when it has no Finder type.
OSType type_by_content(const std::string &path)
{
    const QMimeType mime = mime_type_of(path);
    // A position-independent program looks like a library.
    if ((mime.inherits("application/x-executable") || mime.inherits("application/x-sharedlib") ||
         mime.inherits("application/x-pie-executable")) &&
        access(path.c_str(), X_OK) == 0)
        return four_chars("APPL");
    return mime.inherits("text/plain") ? four_chars("TEXT") : 0;
}

FInfo finder_info_of(const std::string &path, const FSRef &ref)
{
    FInfo finder = {};
    FSSpec spec;
    if (FSGetCatalogInfo(&ref, kFSCatInfoNone, nullptr, nullptr, &spec, nullptr) == noErr)
        FSpGetFInfo(&spec, &finder);
    if (finder.fdType == 0)
        finder.fdType = type_by_content(path);
    return finder;
}

// What the program's filter says. What is gone, or leads nowhere, is not shown.
bool shows(NavDialogRef dialog, const std::string &path, bool is_folder)
{
    if (dialog->filter == nullptr)
        return true;
    AEDesc item = descriptor_of(path);
    FSRef ref = {};
    if (AEGetDescData(&item, &ref, sizeof ref) != noErr)
        return false;
    NavFileOrFolderInfo info = {};
    info.isFolder = is_folder ? 1 : 0;
    if (!is_folder)
        info.finderInfo = finder_info_of(path, ref);
    const bool shown =
        dialog->filter(&item, &info, dialog->user_data, kNavFilteringBrowserList) != 0;
    AEDisposeDesc(&item);
    return shown;
}

// Lets the program see what was chosen. False when it refuses.
bool takes(NavDialogRef dialog, const std::vector<std::string> &paths)
{
    dialog->chosen = paths;
    dialog->refused = false;
    tell(dialog, kNavCBUserAction, nullptr);
    return !dialog->refused;
}

// Room for everything that a chooser is made from.
struct chooser_parts {
    platform::choice what;
    NavUserAction action;
    NavEventUPP events;
    NavObjectFilterUPP filter;
    void *user_data;
};

OSStatus make(const NavDialogCreationOptions &options, const chooser_parts &parts,
              NavDialogRef *made)
{
    if (qApp == nullptr)
        return kNavInvalidSystemConfigErr;
    auto dialog = std::make_unique<OpaqueNavDialog>();
    platform::chooser_request &request = dialog->request;
    request.what = parts.what;
    request.title = QString::fromUtf8(options.windowTitle);
    request.name = QString::fromUtf8(options.saveFileName);
    for (std::size_t i = 0; i < options.popupExtensionCount; ++i)
        request.popup << QString::fromUtf8(options.popupExtension[i]);
    request.takes_packages = (options.optionFlags & kNavSupportPackages) != 0;
    request.takes_several = parts.what == platform::choice::open_file &&
                            (options.optionFlags & kNavAllowMultipleFiles) != 0;
    dialog->client = text_of(options.clientName);
    dialog->action = parts.action;
    dialog->events = parts.events;
    dialog->filter = parts.filter;
    dialog->user_data = parts.user_data;
    const NavDialogRef reference = dialog.get();
    request.shows = [reference](const std::string &path, bool is_folder) {
        return shows(reference, path, is_folder);
    };
    request.popup_selected = [reference](int index) {
        NavMenuItemSpec item = {0, static_cast<OSType>(index)};
        tell(reference, kNavCBPopupMenuSelect, &item);
    };
    request.takes = [reference](const std::vector<std::string> &paths) {
        return takes(reference, paths);
    };
    choosers().insert(dialog.release());
    *made = reference;
    return noErr;
}

} // namespace

OSStatus NavCreateGetFileDialog(const NavDialogCreationOptions *options, const void * /*typeList*/,
                                NavEventUPP events, const void * /*preview*/,
                                NavObjectFilterUPP filter, void *userData, NavDialogRef *dialog)
{
    return make(*options,
                {platform::choice::open_file, kNavUserActionOpen, events, filter, userData},
                dialog);
}

OSStatus NavCreateChooseFileDialog(const NavDialogCreationOptions *options,
                                   const void * /*typeList*/, NavEventUPP events,
                                   const void * /*preview*/, NavObjectFilterUPP filter,
                                   void *userData, NavDialogRef *dialog)
{
    return make(*options,
                {platform::choice::choose_file, kNavUserActionChoose, events, filter, userData},
                dialog);
}

OSStatus NavCreateChooseFolderDialog(const NavDialogCreationOptions *options, NavEventUPP events,
                                     NavObjectFilterUPP filter, void *userData,
                                     NavDialogRef *dialog)
{
    return make(*options,
                {platform::choice::choose_folder, kNavUserActionChoose, events, filter, userData},
                dialog);
}

OSStatus NavCreatePutFileDialog(const NavDialogCreationOptions *options, OSType /*type*/,
                                OSType /*creator*/, NavEventUPP events, void *userData,
                                NavDialogRef *dialog)
{
    return make(*options,
                {platform::choice::new_file, kNavUserActionSaveAs, events, nullptr, userData},
                dialog);
}

OSStatus NavDialogRun(NavDialogRef dialog)
{
    if (!choosers().contains(dialog) || dialog->running)
        return kNavWrongDialogStateErr;
    dialog->request.folder = first_folder(dialog->client);
    dialog->chosen.clear();
    dialog->running = true;
    {
        platform::chooser window(dialog->request, QApplication::activeWindow());
        dialog->window = &window;
        const bool accepted = window.exec() == QDialog::Accepted;
        if (accepted) {
            const bool folder = dialog->request.what == platform::choice::choose_folder;
            const std::string &last = dialog->chosen.back();
            last_folders()[dialog->client] = folder ? last : platform::folder_of(last);
        } else {
            dialog->chosen.clear();
            tell(dialog, kNavCBCancel, nullptr);
        }
        dialog->window = nullptr;
    }
    tell(dialog, kNavCBTerminate, nullptr);
    dialog->running = false;
    if (dialog->disposed)
        NavDialogDispose(dialog);
    return noErr;
}

void NavDialogDispose(NavDialogRef dialog)
{
    if (!choosers().contains(dialog))
        return;
    if (dialog->running) {
        dialog->disposed = true;
        return;
    }
    choosers().erase(dialog);
    delete dialog;
}

NavUserAction NavDialogGetUserAction(NavDialogRef dialog)
{
    if (!choosers().contains(dialog) || dialog->chosen.empty())
        return kNavUserActionNone;
    return dialog->action;
}

OSStatus NavDialogGetReply(NavDialogRef dialog, NavReplyRecord *reply)
{
    *reply = {};
    if (!choosers().contains(dialog) || dialog->chosen.empty())
        return kNavWrongDialogStateErr;
    const bool is_new = dialog->action == kNavUserActionSaveAs;
    OSStatus error = AECreateList(&reply->selection);
    bool all = true;
    for (const std::string &path : dialog->chosen) {
        AEDesc item = descriptor_of(is_new ? platform::folder_of(path) : path);
        all = all && item.dataHandle != nullptr;
        if (error == noErr && item.dataHandle != nullptr)
            error = AEPutDesc(&reply->selection, 0, &item);
        AEDisposeDesc(&item);
    }
    reply->validRecord = error == noErr && all ? 1 : 0;
    if (is_new)
        reply->saveFileName = strdup(platform::name_in_folder(dialog->chosen.front()).c_str());
    return error;
}

void platform::refuse_choice(NavDialogRef dialog, const char *format, ...)
{
    if (!choosers().contains(dialog) || dialog->window == nullptr)
        return;
    dialog->refused = true;
    std::va_list arguments;
    va_start(arguments, format);
    show_refusal(dialog->window, format, arguments);
    va_end(arguments);
}
