#include "platform/core/finder_info.h"

#include "platform/core/apple_double.h"
#include "platform/core/atomic_file.h"
#include "platform/core/big_endian.h"
#include "platform/core/folder_lock.h"

#include <algorithm>
#include <cerrno>
#include <sys/xattr.h>

namespace {

constexpr char attribute_name[] = "user.com.apple.FinderInfo";
constexpr std::size_t record_size = 16;

std::int16_t get_signed16(const char *bytes)
{
    return static_cast<std::int16_t>(platform::get16(bytes));
}

// Where Finder information stands in the AppleDouble file; null when it has none of it.
const platform::apple_double_entry *record_in(const platform::apple_double &file)
{
    const auto *entry = file.find(platform::finder_info_entry);
    return entry != nullptr && entry->length >= record_size ? entry : nullptr;
}

OSErr read_attribute(const std::string &path, std::string *bytes)
{
    std::string read(platform::finder_info_size, 0);
    if (getxattr(path.c_str(), attribute_name, read.data(), read.size()) < 0 && errno != ENODATA &&
        errno != ENOTSUP && errno != ERANGE)
        return platform::os_error(errno);
    *bytes = read;
    return noErr;
}

OSErr write_attribute(const std::string &path, const std::string &bytes)
{
    const bool nothing = std::all_of(bytes.begin(), bytes.end(), [](char c) { return c == 0; });
    const int result = nothing
                           ? removexattr(path.c_str(), attribute_name)
                           : setxattr(path.c_str(), attribute_name, bytes.data(), bytes.size(), 0);
    if (result != 0 && errno != ENODATA && errno != ENOTSUP)
        return platform::os_error(errno);
    return noErr;
}

} // namespace

OSErr platform::read_finder_info(const std::string &path, std::string *bytes)
{
    apple_double beside;
    // What is no AppleDouble file, whatever its name, keeps nothing for this one.
    if (read_apple_double(apple_double_path(path), &beside) != noErr)
        return read_attribute(path, bytes);
    const apple_double_entry *entry = record_in(beside);
    if (entry == nullptr)
        return read_attribute(path, bytes);
    bytes->assign(finder_info_size, 0);
    return read_at(beside.file.get(), entry->offset, bytes->data(),
                   std::min<std::size_t>(entry->length, finder_info_size));
}

OSErr platform::write_finder_info(const std::string &path, const FInfo &info)
{
    folder_lock lock;
    OSErr error = lock.acquire(folder_of(path));
    // Without rights in the folder there is no changing the file beside, but an attribute may do.
    if (error == opWrErr)
        return error;
    std::string bytes;
    error = read_finder_info(path, &bytes);
    if (error != noErr)
        return error;
    bytes = encode_finder_info(info, bytes);

    const std::string beside_path = apple_double_path(path);
    apple_double beside;
    if (read_apple_double(beside_path, &beside) != noErr)
        return write_attribute(path, bytes);
    const apple_double_entry *entry = record_in(beside);
    const std::uint32_t kept = entry == nullptr ? 0 : entry->length - std::uint32_t{record_size};
    const std::size_t own = entry == nullptr ? finder_info_size : record_size;
    off_t offset = 0;
    return write_apple_double_entry(
        beside_path, finder_info_entry, static_cast<std::uint32_t>(own) + kept,
        [&](file_writer &to) {
            to.put(bytes.data(), own);
            if (entry != nullptr)
                to.copy(beside.file.get(), off_t{entry->offset} + off_t{record_size}, kept);
        },
        nullptr, &offset);
}

FInfo platform::decode_finder_info(const std::string &bytes)
{
    const char *b = bytes.data();
    return {get32(b),
            get32(b + 4),
            get16(b + 8),
            {get_signed16(b + 10), get_signed16(b + 12)},
            get_signed16(b + 14)};
}

std::string platform::encode_finder_info(const FInfo &info, const std::string &bytes)
{
    std::string encoded;
    put32(encoded, info.fdType);
    put32(encoded, info.fdCreator);
    put16(encoded, info.fdFlags);
    put16(encoded, static_cast<std::uint16_t>(info.fdLocation.v));
    put16(encoded, static_cast<std::uint16_t>(info.fdLocation.h));
    put16(encoded, static_cast<std::uint16_t>(info.fdFldr));
    return encoded + bytes.substr(record_size);
}
