#include "settings/prefs_store.h"

#include "console/console_io.h"
#include "engine/tool_launcher.h"
#include "platform/core/folder_lock.h"
#include "platform/files.h"
#include "platform/memory.h"
#include "platform/strings.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/stat.h>

unsigned char havePrefs;
unsigned char damagedPrefs;
char prefsFile[path_size + sizeof prefs_file_name];

namespace {

constexpr ResType setting_type = four_chars("Cstr");
constexpr std::size_t largest_short_value = 255; // bytes with the NUL, for return_str
constexpr std::size_t longest_key = 255;

char return_str[256];

OSErr open_prefs(ResFileRefNum *file)
{
    if (prefsPath[0] == 0) // no folder, no file
        return dirNFErr;
    std::snprintf(prefsFile, sizeof prefsFile, "%s/%s", prefsPath, prefs_file_name);
    FSRef ref;
    const OSErr error = FSPathMakeRef(prefsFile, &ref, nullptr);
    if (error != noErr)
        return error;
    return FSOpenResourceFile(&ref, 0, nullptr, fsCurPerm, file);
}

// The key as a resource name. False for one that can be none.
bool name_of(const char *key, Str255 name)
{
    const std::size_t length = std::strlen(key);
    if (length == 0 || length > longest_key)
        return false;
    std::memcpy(name, key, length + 1);
    c2pstr(reinterpret_cast<char *>(name));
    return true;
}

// The setting in the current file, or null.
Handle find_setting(const char *key)
{
    Str255 name;
    return name_of(key, name) ? Get1NamedResource(setting_type, name) : nullptr;
}

// An empty value, a NUL alone, counts as none.
bool is_set(Handle value)
{
    return GetHandleSize(value) > 1;
}

// Copies the value up to its NUL. A damaged one has none; it ends with its resource.
void copy_value(char *to, Handle value)
{
    HLock(value);
    const std::size_t length = strnlen(*value, GetHandleSize(value));
    std::memcpy(to, *value, length);
    to[length] = 0;
    HUnlock(value);
}

char *copy_of(Handle value)
{
    char *copy = static_cast<char *>(std::calloc(GetHandleSize(value) + 1, 1));
    if (copy != nullptr)
        copy_value(copy, value);
    return copy;
}

// Opens the preferences file and finds the setting for reading. Null, and no file is open, when
// there is none; else the caller ends with close_setting.
Handle open_setting(const char *key, ResFileRefNum *file)
{
    if (!havePrefs)
        return nullptr;
    const ResFileRefNum saved = CurResFile();
    *file = myFSpOpenResFile();
    Handle value = *file == -1 ? nullptr : find_setting(key);
    UseResFile(saved);
    if (value == nullptr && *file != -1)
        CloseResFile(*file);
    return value;
}

void close_setting(Handle value, ResFileRefNum file)
{
    ReleaseResource(value);
    CloseResFile(file);
}

// Adds the setting to the current file. False when it cannot be stored; a handle that the file has
// taken is disposed of with it.
bool add_setting(const char *key, const char *value, Handle *added)
{
    Str255 name;
    if (!name_of(key, name))
        return false;
    const std::size_t size = std::strlen(value) + 1;
    *added = NewHandle(size);
    if (*added == nullptr)
        return false;
    std::memcpy(**added, value, size);
    AddResource(*added, setting_type, Unique1ID(setting_type), name);
    if (ResError() != noErr)
        return false;
    WriteResource(*added);
    return ResError() == noErr;
}

// Replaces the value of a setting that is in the file.
bool change_setting(Handle setting, const char *value)
{
    const std::size_t size = std::strlen(value) + 1;
    if (size != GetHandleSize(setting)) {
        SetHandleSize(setting, size);
        if (MemError() != noErr)
            return false;
    }
    HLock(setting);
    std::memcpy(*setting, value, size);
    HUnlock(setting);
    ChangedResource(setting);
    if (ResError() != noErr)
        return false;
    WriteResource(setting);
    return ResError() == noErr;
}

// Renames the damaged preferences file. False, with a message, when it must stay.
bool put_damaged_aside()
{
    damagedPrefs = 1;
    const std::string first_name = std::string(prefsFile) + ".damaged";
    std::string aside = first_name;
    struct stat status = {};
    for (int n = 2; lstat(aside.c_str(), &status) == 0; ++n)
        aside = first_name + "-" + std::to_string(n);
    if (std::rename(prefsFile, aside.c_str()) != 0) {
        text_printf("The preferences file \"%s\" is damaged and cannot be renamed to \"%s\": %s.\n",
                    prefsFile, aside.c_str(), std::strerror(errno));
        return false;
    }
    text_printf("The preferences file \"%s\" was damaged. It is now named \"%s\".\n", prefsFile,
                aside.c_str());
    return true;
}

// Whether a fresh preferences file may be put in place: only where there is none, or none any
// more. Settings that cannot be reached just now must not be copied over.
bool make_way()
{
    const ResFileRefNum saved = CurResFile();
    ResFileRefNum file = -1;
    const OSErr error = open_prefs(&file);
    switch (error) {
    case noErr: // another copy of the program was faster
        UseResFile(saved);
        CloseResFile(file);
        return false;
    case fnfErr:
    case dirNFErr:
        return true;
    case eofErr:
    case mapReadErr:
        return put_damaged_aside();
    default:
        text_printf("The preferences file \"%s\" cannot be opened (error %d). It stays as it is.\n",
                    prefsFile, error);
        return false;
    }
}

} // namespace

ResFileRefNum myFSpOpenResFile()
{
    ResFileRefNum file = -1;
    return open_prefs(&file) == noErr ? file : ResFileRefNum{-1};
}

void check_config()
{
    havePrefs = 0;
    const ResFileRefNum saved = CurResFile();
    const ResFileRefNum file = myFSpOpenResFile();
    UseResFile(saved);
    if (file != -1) {
        CloseResFile(file);
        havePrefs = 1;
    }
}

void make_config()
{
    if (havePrefs)
        return;
    if (prefsPath[0] == 0) {
        text_printf("No folder for the preferences can be made. Settings are not kept.\n");
        return;
    }
    // Another copy of the program may just be making the file: it looks damaged until it is whole.
    platform::folder_lock lock;
    lock.acquire(prefsPath);
    check_config();
    if (havePrefs)
        return;
    const bool free_to_copy = make_way();
    text_printf("Creating the papermill preferences file.\n");
    if (free_to_copy) {
        const std::string pristine = std::string(contentsPath) + "/Resources/" + prefs_file_name;
        text_printf("Moving \"%s\" to \"%s\"\n\n", pristine.c_str(), prefsPath);
        moveFile(pristine.c_str(), prefsPath);
    }
    check_config();
    if (!havePrefs) {
        text_printf("\nI can't find the papermill preferences file!\n");
        text_printf("You may as well quit right now!\n\n");
    }
}

void NoPrefFile()
{
    if (!havePrefs)
        text_printf("\nI can't find the papermill prefs file!\n");
}

const char *get_str_resource(const char *key)
{
    ResFileRefNum file = -1;
    Handle value = open_setting(key, &file);
    if (value == nullptr)
        return nullptr;
    const char *result = nullptr;
    if (is_set(value) && GetHandleSize(value) <= largest_short_value) {
        copy_value(return_str, value);
        result = return_str;
    }
    close_setting(value, file);
    return result;
}

char *get_string(const char *key)
{
    ResFileRefNum file = -1;
    Handle value = open_setting(key, &file);
    if (value == nullptr)
        return nullptr;
    char *result = is_set(value) ? copy_of(value) : nullptr;
    close_setting(value, file);
    return result;
}

std::string string_setting(const char *key, const char *fallback)
{
    char *value = get_string(key);
    std::string result = value != nullptr ? value : fallback;
    std::free(value);
    return result;
}

int number_setting(const char *key, int fallback)
{
    const std::string value = string_setting(key, "");
    if (value.empty())
        return fallback;
    const long number = std::strtol(value.c_str(), nullptr, 10);
    return static_cast<int>(std::clamp<long>(number, INT_MIN, INT_MAX));
}

int set_str_resource(const char *key, const char *value)
{
    if (!havePrefs)
        return 0;
    const ResFileRefNum saved = CurResFile();
    const ResFileRefNum file = myFSpOpenResFile();
    if (file == -1) {
        UseResFile(saved);
        return 0;
    }
    bool stored = false;
    Handle added = nullptr;
    Handle found = find_setting(key);
    if (found != nullptr) {
        stored = change_setting(found, value);
        ReleaseResource(found);
    } else {
        stored = add_setting(key, value, &added);
    }
    UseResFile(saved);
    CloseResFile(file);
    DisposeHandle(added); // gone already, unless the file has not taken it
    return stored ? 1 : 0;
}

void tell_settings_are_not_stored()
{
    const std::string place =
        prefsFile[0] == 0 ? std::string(prefsPath) + "/" + prefs_file_name : prefsFile;
    text_printf("The settings can't be stored in \"%s\". Make the file and its folder writable.\n",
                place.c_str());
}

char *get_default_resource(const char *key)
{
    Handle value = find_setting(key);
    if (value == nullptr)
        return nullptr;
    char *result = is_set(value) ? copy_of(value) : nullptr;
    ReleaseResource(value);
    return result;
}

char *GetApp(const char *key)
{
    static char application[256];
    const char *value = get_str_resource(key);
    if (value == nullptr)
        return nullptr;
    platform::copy_whole(application, value);
    char *copy = static_cast<char *>(std::calloc(sizeof application, 1));
    if (copy != nullptr)
        platform::copy_whole(copy, sizeof application, application);
    return copy;
}

int SetCurrDirFromParameter(char *text)
{
    constexpr char marker[] = " -@ ";
    char *found = std::strstr(text, marker);
    if (found == nullptr)
        return 0;
    *found = 0;
    const char *folder = found + sizeof marker - 1;
    if (*folder == 0)
        return 0;
    if (platform::copy_whole(curr_dir, folder))
        return 1;
    text_printf("%s: the folder's path is too long.\n", folder);
    return 0;
}
