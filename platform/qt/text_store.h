// The bytes of a long text, found again by line: what the text view shows a part of.
//
// The text lies in blocks of about 4 KB, each of whole pieces. A piece is a line with its line
// end, or a part of a very long line, so that no layout ever has to do with a whole megabyte.
#ifndef PAPERMILL_PLATFORM_QT_TEXT_STORE_H
#define PAPERMILL_PLATFORM_QT_TEXT_STORE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

// A line, or a part of one, by its place in its block.
struct text_piece {
    std::uint32_t start = 0;
    std::uint32_t size = 0; // without the line end
    bool ends_line = false; // a carriage return or a line feed follows
    bool operator==(const text_piece &) const = default;
};

// How many pieces there are of about the same length, and how long they are together.
struct piece_lengths {
    std::uint32_t pieces = 0;
    std::uint32_t bytes = 0;
};

struct text_block {
    std::size_t start = 0; // place of its first byte in the text
    std::string bytes;
    std::array<piece_lengths, 8> lengths = {}; // of its finished pieces
};

class text_store {
public:
    static constexpr std::size_t piece_limit = 2048; // bytes of a piece, or a few more
    static constexpr std::size_t block_limit = 4096; // a block ends with the piece that gets there

    void append(std::string_view bytes);
    void truncate(std::size_t size); // keeps the first bytes

    [[nodiscard]] std::size_t size() const;

    // There is always one block at least. The last one may grow; the others stay as they are.
    [[nodiscard]] std::size_t block_count() const;
    [[nodiscard]] const text_block &block(std::size_t number) const;
    [[nodiscard]] std::size_t block_at(std::size_t place) const; // the one that holds that byte

    // The pieces of the block from the one at `start` on, which is where a piece starts. The last
    // block's last piece is what follows the text's last line end, if only nothing.
    void find_pieces(std::size_t number, std::uint32_t start,
                     std::vector<text_piece> *pieces) const;

    // The line that holds the byte: where it starts, and where its line end is or the text's end.
    [[nodiscard]] std::size_t line_start(std::size_t place) const;
    [[nodiscard]] std::size_t line_end(std::size_t place) const;

    // Calls the function with the bytes of start..end, a part at a time, until it returns false.
    void for_each_part(std::size_t start, std::size_t end,
                       const std::function<bool(std::string_view)> &part) const;

    // The same text, which later changes do not touch; the blocks are shared.
    [[nodiscard]] text_store snapshot() const;

private:
    void close_pieces();
    [[nodiscard]] text_block &open_block();

    std::vector<std::shared_ptr<text_block>> blocks = {std::make_shared<text_block>()};
    std::size_t piece_start = 0; // in the open block: of the piece that is not finished
    std::size_t searched = 0;    // and how far there is no line end in it
};

// The size of the finished piece that the bytes begin with, its line end included; 0 when it may
// go on. There is no line end in the first `searched` bytes.
std::size_t finished_piece(std::string_view bytes, std::size_t searched);

} // namespace platform

#endif
