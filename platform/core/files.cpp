#include "platform/files.h"

#include "platform/core/atomic_file.h"
#include "platform/core/finder_info.h"
#include "platform/strings.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <unordered_map>
#include <vector>

namespace {

constexpr std::int16_t only_volume = -1;
constexpr std::int32_t parent_of_root = 1; // as the original numbers them
constexpr std::int32_t first_folder = 2;   // the root's own number
constexpr std::size_t longest_name = 63;   // of an FSSpec

// Strings with numbers: the same string always gets the same one, so that the tables grow with the
// folders and the long names that are used, not with how often.
class numbered_strings {
public:
    std::size_t number_of(const std::string &string)
    {
        const auto [found, is_new] = numbers.try_emplace(string, strings.size());
        if (is_new)
            strings.push_back(&found->first);
        return found->second;
    }
    [[nodiscard]] const std::string *find(std::size_t number) const
    {
        return number < strings.size() ? strings[number] : nullptr;
    }

private:
    std::unordered_map<std::string, std::size_t> numbers; // its keys stay at their addresses
    std::vector<const std::string *> strings;
};

numbered_strings &folders()
{
    static numbered_strings instance;
    return instance;
}

numbered_strings &long_names()
{
    static numbered_strings instance;
    return instance;
}

// What an FSRef holds. A reference is a specification, so both lead to the same path.
struct reference {
    char mark[4];
    FSSpec spec;
};
static_assert(sizeof(reference) <= sizeof(FSRef));
constexpr char reference_mark[4] = {'P', 'm', 'R', 'f'};

FSRef make_reference(const FSSpec &spec)
{
    reference made = {};
    std::memcpy(made.mark, reference_mark, sizeof made.mark);
    made.spec = spec;
    FSRef result = {};
    std::memcpy(&result, &made, sizeof made);
    return result;
}

// A slash begins no file's name: "/17" stands for long name number 17.
std::string alias(std::size_t number)
{
    std::string made(1, '/');
    return made.append(std::to_string(number));
}

void set_name(const std::string &name, FSSpec *spec)
{
    const std::string kept =
        name.size() <= longest_name ? name : alias(long_names().number_of(name));
    spec->name[0] = static_cast<unsigned char>(kept.size());
    std::memcpy(spec->name + 1, kept.data(), kept.size());
}

OSErr name_of(ConstStringPtr pascal, std::string *name)
{
    const std::string kept(reinterpret_cast<const char *>(pascal + 1), pascal[0]);
    if (kept.empty() || kept[0] != '/') {
        *name = kept;
        return kept.find('/') == std::string::npos && kept.find('\0') == std::string::npos
                   ? OSErr{noErr}
                   : OSErr{bdNamErr};
    }
    char *end = nullptr;
    const std::size_t number = std::strtoul(kept.c_str() + 1, &end, 10);
    const std::string *found = long_names().find(number);
    // Only the one spelling that this layer writes is an alias.
    if (found == nullptr || kept != alias(number))
        return bdNamErr;
    *name = *found;
    return noErr;
}

OSErr folder_path(std::int32_t number, std::string *path)
{
    folders().number_of("/"); // is the first one, whoever asks first
    const std::string *found =
        number < first_folder ? nullptr
                              : folders().find(static_cast<std::size_t>(number - first_folder));
    if (found == nullptr)
        return dirNFErr;
    *path = *found;
    return noErr;
}

// `path` is absolute and plain.
FSSpec spec_of(const std::string &path)
{
    FSSpec spec = {};
    spec.vRefNum = only_volume;
    spec.parID = parent_of_root;
    if (path != "/") {
        folders().number_of("/");
        const std::size_t number = folders().number_of(platform::folder_of(path));
        spec.parID = static_cast<std::int32_t>(number) + first_folder;
        set_name(platform::name_in_folder(path), &spec);
    }
    return spec;
}

// The path from the root on, without empty parts and "."; ".." stays, as it may follow a link.
OSErr plain_path(const char *path, std::string *plain)
{
    std::string whole = path;
    if (whole[0] != '/') {
        char *current = getcwd(nullptr, 0);
        if (current == nullptr)
            return platform::os_error(errno);
        whole = std::string(current) + "/" + whole;
        std::free(current);
    }
    plain->clear();
    for (std::size_t at = 0; at < whole.size();) {
        const std::size_t end = std::min(whole.find('/', at), whole.size());
        const std::string part = whole.substr(at, end - at);
        if (!part.empty() && part != ".")
            *plain += "/" + part;
        at = end + 1;
    }
    if (plain->empty())
        plain->push_back('/');
    return noErr;
}

OSErr exists(const char *path, Boolean *isDirectory)
{
    struct stat status = {};
    if (stat(path, &status) != 0)
        return platform::os_error(errno);
    if (isDirectory != nullptr)
        *isDirectory = S_ISDIR(status.st_mode) ? 1 : 0;
    return noErr;
}

bool is_folder(const std::string &path)
{
    Boolean folder = 0;
    return exists(path.c_str(), &folder) == noErr && folder;
}

OSErr reference_if_there(const std::string &path, FSRef *ref)
{
    const OSErr error = exists(path.c_str(), nullptr);
    if (error == noErr)
        *ref = make_reference(spec_of(path));
    return error;
}

// As it is given: what is there does not matter.
OSErr make_specification(std::int16_t volume, std::int32_t folder, ConstStringPtr name,
                         FSSpec *spec)
{
    *spec = {};
    spec->vRefNum = volume;
    spec->parID = folder;
    if (name != nullptr) {
        if (name[0] > longest_name)
            return bdNamErr;
        std::memcpy(spec->name, name, name[0] + std::size_t{1});
    }
    return noErr;
}

// The file that carries the Finder information, links followed.
OSErr carrier_of(const FSSpec *spec, std::string *path)
{
    std::string named;
    OSErr error = platform::path_of(*spec, &named);
    if (error == noErr)
        error = exists(named.c_str(), nullptr);
    return error == noErr ? platform::follow_links(named, path) : error;
}

} // namespace

OSErr FSPathMakeRef(const char *path, FSRef *ref, Boolean *isDirectory)
{
    if (path[0] == 0)
        return bdNamErr;
    std::string plain;
    OSErr error = exists(path, isDirectory);
    if (error == noErr)
        error = plain_path(path, &plain);
    if (error == noErr)
        *ref = make_reference(spec_of(plain));
    return error;
}

OSErr FSRefMakePath(const FSRef *ref, char *path, std::size_t limit)
{
    std::string whole;
    const OSErr error = platform::path_of(*ref, &whole);
    if (error != noErr)
        return error;
    return platform::copy_whole(path, limit, whole.c_str()) ? OSErr{noErr} : OSErr{paramErr};
}

OSErr FSGetCatalogInfo(const FSRef *ref, FSCatalogInfoBitmap which, void *info, void *name,
                       FSSpec *spec, FSRef *parent)
{
    if (which != kFSCatInfoNone || info != nullptr || name != nullptr || parent != nullptr)
        return paramErr;
    std::string path;
    const OSErr error = platform::path_of(*ref, &path);
    if (error == noErr)
        *spec = spec_of(path);
    return error;
}

OSErr FSMakeFSSpec(std::int16_t volume, std::int32_t directoryID, ConstStringPtr name, FSSpec *spec)
{
    FSSpec wanted = {};
    std::string path;
    OSErr error = make_specification(volume, directoryID, name, &wanted);
    if (error == noErr)
        error = platform::path_of(wanted, &path);
    return error == noErr ? platform::specify(path.c_str(), spec) : error;
}

OSErr FSpMakeFSRef(const FSSpec *spec, FSRef *ref)
{
    std::string path;
    const OSErr error = platform::path_of(*spec, &path);
    return error == noErr ? reference_if_there(path, ref) : error;
}

OSErr PBMakeFSRefSync(FSRefParam *parameters)
{
    FSSpec spec = {};
    const OSErr error = make_specification(parameters->ioVRefNum, parameters->ioDirID,
                                           parameters->ioNamePtr, &spec);
    return error == noErr ? FSpMakeFSRef(&spec, parameters->newRef) : error;
}

OSErr FSpGetFInfo(const FSSpec *spec, FInfo *info)
{
    std::string path;
    std::string bytes;
    OSErr error = carrier_of(spec, &path);
    if (error == noErr)
        error = platform::read_finder_info(path, &bytes);
    if (error == noErr)
        *info = platform::decode_finder_info(bytes);
    return error;
}

OSErr FSpSetFInfo(const FSSpec *spec, const FInfo *info)
{
    std::string path;
    const OSErr error = carrier_of(spec, &path);
    return error == noErr ? platform::write_finder_info(path, *info) : error;
}

OSErr platform::path_of(const FSSpec &spec, std::string *path)
{
    if (spec.vRefNum != 0 && spec.vRefNum != only_volume)
        return nsvErr;
    std::string name;
    OSErr error = whole_name(spec, &name);
    if (error != noErr)
        return error;
    std::string folder;
    if (spec.parID == parent_of_root && name.empty())
        folder = "/";
    else
        error = folder_path(spec.parID, &folder);
    if (error != noErr)
        return error;
    if (name.empty())
        *path = folder;
    else
        *path = folder == "/" ? folder + name : folder + "/" + name;
    return noErr;
}

OSErr platform::whole_name(const FSSpec &spec, std::string *name)
{
    return spec.name[0] > longest_name ? OSErr{bdNamErr} : name_of(spec.name, name);
}

OSErr platform::specify(const char *path, FSSpec *spec)
{
    std::string plain;
    OSErr error = plain_path(path, &plain);
    if (error == noErr)
        error = exists(plain.c_str(), nullptr);
    if (error == fnfErr && !is_folder(folder_of(plain)))
        return dirNFErr;
    if (error == noErr || error == fnfErr)
        *spec = spec_of(plain);
    return error;
}

OSErr platform::path_of(const FSRef &ref, std::string *path)
{
    reference held = {};
    std::memcpy(&held, &ref, sizeof held);
    if (std::memcmp(held.mark, reference_mark, sizeof held.mark) != 0)
        return paramErr;
    return path_of(held.spec, path) == noErr ? OSErr{noErr} : OSErr{paramErr};
}
