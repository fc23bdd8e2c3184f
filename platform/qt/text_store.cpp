#include "platform/qt/text_store.h"

#include <algorithm>
#include <cstring>

namespace {

// Longest piece of each class of lengths but the last.
constexpr std::array<std::size_t, 7> class_ends = {40, 80, 120, 200, 400, 800, 1600};

bool ends_line(char byte)
{
    return byte == '\r' || byte == '\n';
}

bool continues_character(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80;
}

// Where to cut a line that is too long: behind a blank where there is one not too far ahead of the
// limit, else ahead of a UTF-8 character.
std::size_t cut_of(std::string_view bytes)
{
    constexpr std::size_t limit = platform::text_store::piece_limit;
    const std::size_t blank = bytes.rfind(' ', limit - 1);
    if (blank != std::string_view::npos && blank >= limit - limit / 4)
        return blank + 1;
    std::size_t cut = limit;
    while (cut > limit - 3 && continues_character(bytes[cut]))
        --cut;
    return continues_character(bytes[cut]) ? limit : cut;
}

void count_piece(platform::text_block &block, std::size_t size)
{
    const auto place = static_cast<std::size_t>(
        std::lower_bound(class_ends.begin(), class_ends.end(), size) - class_ends.begin());
    block.lengths[place].pieces += 1;
    block.lengths[place].bytes += static_cast<std::uint32_t>(size);
}

} // namespace

namespace platform {

std::size_t finished_piece(std::string_view bytes, std::size_t searched)
{
    constexpr std::size_t reach = text_store::piece_limit + 3; // the cut looks that far
    const std::string_view head = bytes.substr(0, reach);
    const auto *const end =
        std::find_if(head.begin() + static_cast<std::ptrdiff_t>(std::min(searched, head.size())),
                     head.end(), ends_line);
    if (end != head.end())
        return static_cast<std::size_t>(end - head.begin()) + 1;
    return head.size() < reach ? 0 : cut_of(head);
}

text_block &text_store::open_block()
{
    return *blocks.back();
}

void text_store::append(std::string_view bytes)
{
    while (!bytes.empty()) {
        const std::string_view slice = bytes.substr(0, piece_limit);
        bytes.remove_prefix(slice.size());
        std::string &into = open_block().bytes;
        if (into.empty())
            into.reserve(block_limit + 2 * piece_limit);
        into.append(slice);
        close_pieces();
    }
}

// Takes note of the pieces that are finished by now; ends the block when it has its size.
void text_store::close_pieces()
{
    for (;;) {
        text_block &block = open_block();
        const std::string_view rest = std::string_view(block.bytes).substr(piece_start);
        const std::size_t size = finished_piece(rest, searched);
        if (size == 0) {
            searched = rest.size();
            return;
        }
        count_piece(block, size);
        piece_start += size;
        searched = 0;
        if (piece_start < block_limit)
            continue;

        auto next = std::make_shared<text_block>();
        next->start = block.start + piece_start;
        next->bytes.reserve(block_limit + 2 * piece_limit);
        next->bytes.assign(block.bytes, piece_start);
        block.bytes.resize(piece_start);
        block.bytes.shrink_to_fit();
        piece_start = 0;
        blocks.push_back(std::move(next));
    }
}

void text_store::truncate(std::size_t size)
{
    if (size >= this->size())
        return;
    const std::size_t last = block_at(size);
    std::string kept = blocks[last]->bytes.substr(0, size - blocks[last]->start);
    const std::size_t start = blocks[last]->start;
    blocks.resize(last);
    blocks.push_back(std::make_shared<text_block>());
    blocks.back()->start = start;
    piece_start = 0;
    searched = 0;
    append(kept);
}

std::size_t text_store::size() const
{
    return blocks.back()->start + blocks.back()->bytes.size();
}

std::size_t text_store::block_count() const
{
    return blocks.size();
}

const text_block &text_store::block(std::size_t number) const
{
    return *blocks[number];
}

std::size_t text_store::block_at(std::size_t place) const
{
    const auto behind = std::upper_bound(
        blocks.begin() + 1, blocks.end(), place,
        [](std::size_t wanted, const auto &block) { return wanted < block->start; });
    return static_cast<std::size_t>(behind - blocks.begin()) - 1;
}

void text_store::find_pieces(std::size_t number, std::uint32_t start,
                             std::vector<text_piece> *pieces) const
{
    const std::string_view bytes = block(number).bytes;
    std::size_t at = start;
    const bool is_last = number + 1 == block_count();
    while (at < bytes.size()) {
        // What looks unfinished at the end of another block was cut where the block ends.
        std::size_t size = finished_piece(bytes.substr(at), 0);
        if (size == 0 && is_last)
            break;
        if (size == 0)
            size = bytes.size() - at;
        const bool ended = ends_line(bytes[at + size - 1]);
        pieces->push_back({static_cast<std::uint32_t>(at),
                           static_cast<std::uint32_t>(ended ? size - 1 : size), ended});
        at += size;
    }
    if (is_last)
        pieces->push_back(
            {static_cast<std::uint32_t>(at), static_cast<std::uint32_t>(bytes.size() - at), false});
}

std::size_t text_store::line_start(std::size_t place) const
{
    for (std::size_t number = block_at(place);; --number) {
        const text_block &from = block(number);
        const std::string_view before = std::string_view(from.bytes).substr(0, place - from.start);
        const std::size_t end = before.find_last_of("\r\n");
        if (end != std::string_view::npos)
            return from.start + end + 1;
        if (number == 0)
            return 0;
        place = from.start;
    }
}

std::size_t text_store::line_end(std::size_t place) const
{
    std::size_t found = size();
    for_each_part(place, found, [&](std::string_view part) {
        const std::size_t end = part.find_first_of("\r\n");
        if (end == std::string_view::npos) {
            place += part.size();
            return true;
        }
        found = place + end;
        return false;
    });
    return found;
}

void text_store::for_each_part(std::size_t start, std::size_t end,
                               const std::function<bool(std::string_view)> &part) const
{
    end = std::min(end, size());
    for (std::size_t number = block_at(start); start < end; ++number) {
        const text_block &from = block(number);
        const std::string_view bytes =
            std::string_view(from.bytes).substr(start - from.start, end - start);
        if (!part(bytes))
            return;
        start += bytes.size();
    }
}

text_store text_store::snapshot() const
{
    text_store copy = *this;
    copy.blocks.back() = std::make_shared<text_block>(*blocks.back());
    return copy;
}

} // namespace platform
