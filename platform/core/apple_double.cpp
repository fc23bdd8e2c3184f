#include "platform/core/apple_double.h"

#include "platform/core/big_endian.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <limits>
#include <sys/stat.h>

namespace {

constexpr std::uint32_t magic = 0x00051607;
constexpr std::uint32_t version = 0x00020000;
constexpr std::uint32_t header_size = 26;
constexpr std::uint32_t table_entry_size = 12;
constexpr std::size_t filler_size = 16;

std::uint32_t end_of_table(std::size_t entries)
{
    return header_size + static_cast<std::uint32_t>(entries) * table_entry_size;
}

std::string header_of(const std::string &filler,
                      const std::vector<platform::apple_double_entry> &entries)
{
    std::string header;
    platform::put32(header, magic);
    platform::put32(header, version);
    header += filler;
    platform::put16(header, static_cast<std::uint32_t>(entries.size()));
    for (const auto &entry : entries) {
        platform::put32(header, entry.id);
        platform::put32(header, entry.offset);
        platform::put32(header, entry.length);
    }
    return header;
}

// Where the first entry with content begins at or behind `from`; the file's end when none does.
std::uint64_t next_content(const platform::apple_double &of, std::uint64_t from)
{
    auto next = static_cast<std::uint64_t>(of.size);
    for (const auto &entry : of.entries) {
        if (entry.length > 0 && entry.offset >= from)
            next = std::min<std::uint64_t>(next, entry.offset);
    }
    return next;
}

bool is_well_formed(const platform::apple_double &read)
{
    std::vector<platform::apple_double_entry> sorted;
    for (const auto &entry : read.entries) {
        if (entry.length > 0)
            sorted.push_back(entry);
    }
    std::sort(sorted.begin(), sorted.end(),
              [](const auto &a, const auto &b) { return a.offset < b.offset; });
    std::uint64_t end = end_of_table(read.entries.size());
    for (const auto &entry : sorted) {
        if (entry.offset < end)
            return false;
        end = std::uint64_t{entry.offset} + entry.length;
    }
    return end <= static_cast<std::uint64_t>(read.size);
}

// How the new file is put together: a header with its table, then the old file from `kept_from`
// to `kept_to`, the entry's new content, and the old file from `rest_from` on.
struct plan {
    std::vector<platform::apple_double_entry> entries;
    std::uint64_t kept_from, kept_to, rest_from;
    std::uint32_t offset; // of the new content
};

OSErr make_plan(const platform::apple_double &old, std::uint32_t id, std::uint32_t size,
                plan *result)
{
    plan made = {old.entries, end_of_table(old.entries.size()), 0, 0, 0};
    const auto file_size = static_cast<std::uint64_t>(old.size);
    const platform::apple_double_entry *present = old.find(id);
    std::uint64_t moved = 0; // by how much the old content goes up
    std::size_t index = 0;

    if (present != nullptr) {
        index = static_cast<std::size_t>(present - old.entries.data());
    } else {
        if (old.entries.size() >= std::numeric_limits<std::uint16_t>::max())
            return addResFailed;
        if (next_content(old, 0) < made.kept_from + table_entry_size) {
            const platform::apple_double_entry *finder = old.find(platform::finder_info_entry);
            if (finder != nullptr && finder->length > platform::finder_info_size)
                return mapReadErr;
            moved = table_entry_size;
            for (auto &entry : made.entries) {
                if (entry.offset > std::numeric_limits<std::uint32_t>::max() - moved)
                    return addResFailed;
                entry.offset += static_cast<std::uint32_t>(moved);
            }
        } else {
            made.kept_from += table_entry_size;
        }
        index = made.entries.size();
        made.entries.push_back({id, 0, 0});
    }

    const bool has_content = present != nullptr && present->length > 0;
    const std::uint64_t end =
        has_content ? std::uint64_t{present->offset} + present->length : file_size;
    const std::uint64_t next = next_content(old, end);
    const bool last = has_content && next == file_size;
    if (has_content && (last || size <= next - present->offset)) {
        made.kept_to = present->offset;
        made.rest_from =
            last && size != present->length ? file_size : std::uint64_t{present->offset} + size;
    } else {
        made.kept_to = file_size;
        made.rest_from = file_size;
    }
    const std::uint64_t offset = made.kept_to + moved;
    if (offset + size > std::numeric_limits<std::uint32_t>::max())
        return addResFailed;
    made.offset = static_cast<std::uint32_t>(offset);
    made.entries[index].offset = made.offset;
    made.entries[index].length = size;
    *result = made;
    return noErr;
}

} // namespace

const platform::apple_double_entry *platform::apple_double::find(std::uint32_t id) const
{
    const auto found = std::find_if(entries.begin(), entries.end(),
                                    [id](const auto &entry) { return entry.id == id; });
    return found == entries.end() ? nullptr : &*found;
}

std::string platform::apple_double_path(const std::string &path)
{
    const std::size_t name = path.rfind('/') + 1; // 0 when there is no slash
    return path.substr(0, name) + "._" + path.substr(name);
}

OSErr platform::read_apple_double(const std::string &path, apple_double *result)
{
    apple_double read;
    read.file = unique_fd(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status = {};
    if (read.file.get() < 0 || fstat(read.file.get(), &status) != 0) {
        // A name too long for its two more characters: there cannot be one.
        return errno == ENAMETOOLONG ? OSErr{fnfErr} : os_error(errno);
    }
    char header[header_size];
    if (!S_ISREG(status.st_mode) || read_at(read.file.get(), 0, header, sizeof header) != noErr ||
        get32(header) != magic || get32(header + 4) != version)
        return mapReadErr;
    read.size = status.st_size;
    read.filler.assign(header + 8, filler_size);
    const std::size_t count = get16(header + 24);
    std::string table(count * table_entry_size, 0);
    if (read_at(read.file.get(), header_size, table.data(), table.size()) != noErr)
        return mapReadErr;
    for (std::size_t i = 0; i < table.size(); i += table_entry_size)
        read.entries.push_back({get32(&table[i]), get32(&table[i + 4]), get32(&table[i + 8])});
    if (!is_well_formed(read))
        return mapReadErr;
    *result = std::move(read);
    return noErr;
}

OSErr platform::write_apple_double_entry(const std::string &path, std::uint32_t id,
                                         std::uint32_t size,
                                         const std::function<void(file_writer &)> &fill,
                                         unique_fd *written, off_t *offset)
{
    apple_double old;
    OSErr error = read_apple_double(path, &old);
    if (error != noErr)
        return error;
    plan made = {};
    error = make_plan(old, id, size, &made);
    if (error != noErr)
        return error;
    const std::string header = header_of(old.filler, made.entries);
    const auto compose = [&](file_writer &to) {
        const int from = old.file.get();
        to.put(header.data(), header.size());
        to.copy(from, static_cast<off_t>(made.kept_from),
                static_cast<off_t>(made.kept_to - made.kept_from));
        fill(to);
        to.copy(from, static_cast<off_t>(made.rest_from),
                old.size - static_cast<off_t>(made.rest_from));
    };
    error = replace_file_with(path, compose, written);
    if (error == noErr)
        *offset = made.offset;
    return error;
}

OSErr platform::create_apple_double(const std::string &path, const std::string &finder_info,
                                    const std::string &resource_fork)
{
    const std::uint32_t finder_at = end_of_table(2);
    const auto finder_length = static_cast<std::uint32_t>(finder_info.size());
    const std::string bytes = header_of(std::string(filler_size, 0),
                                        {{finder_info_entry, finder_at, finder_length},
                                         {resource_fork_entry, finder_at + finder_length,
                                          static_cast<std::uint32_t>(resource_fork.size())}}) +
                              finder_info + resource_fork;
    return replace_file_with(
        path, [&](file_writer &to) { to.put(bytes.data(), bytes.size()); }, nullptr);
}
