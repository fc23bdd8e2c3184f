// Where the rows of a long text are when it is wrapped at a width. Only what is looked at is laid
// out; the number of all other rows is an estimate, which becomes exact where somebody looks.
#ifndef PAPERMILL_PLATFORM_QT_TEXT_ROWS_H
#define PAPERMILL_PLATFORM_QT_TEXT_ROWS_H

#include "platform/qt/shown_text.h"
#include "platform/qt/text_store.h"

#include <QFont>
#include <QTextLayout>

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <utility>
#include <vector>

namespace platform {

// A row by its number in its block.
struct row_place {
    std::size_t block = 0;
    std::uint32_t row = 0;
    bool operator==(const row_place &) const = default;
};

// A piece as it is drawn.
struct piece_layout {
    text_piece piece;
    shown_text shown;
    QTextLayout layout;
    unsigned last_use = 0;
};

// A row with the piece that it belongs to.
struct row_of_piece {
    std::size_t piece_start = 0; // place of the piece's first byte in the text
    piece_layout *drawn = nullptr;
    int line = 0; // the row's number in the piece
};

class text_rows {
public:
    explicit text_rows(const text_store &shown);

    void set_look(const QFont &font, qreal width); // nothing is exact afterwards
    void text_grew();
    void text_changed(); // otherwise than by growing

    [[nodiscard]] int height() const;   // of a row, in pixels
    [[nodiscard]] qreal ascent() const; // from a row's upper edge to its base line
    [[nodiscard]] std::int64_t count() const;
    [[nodiscard]] std::int64_t count_before(std::size_t block) const;
    [[nodiscard]] std::int64_t count_in(std::size_t block) const;

    // Lays the block out; how many rows more than estimated there are.
    std::int64_t make_exact(std::size_t block);
    [[nodiscard]] bool is_exact(std::size_t block) const;

    // The block of that row, and its number there; both within what there is.
    [[nodiscard]] row_place find(std::int64_t row) const;

    // All below need the block to be exact.

    row_of_piece at(row_place place); // valid until the next call of drop_unused or another change
    row_place row_of(std::size_t place);
    std::size_t start_of(row_place place);
    std::size_t end_of(row_place place); // the row's last place, ahead of its line end
    std::size_t place_at(row_place place, qreal x);
    qreal x_of(std::size_t place);
    qreal x_in(const row_of_piece &row, std::size_t place); // within the row's text

    // The word, or the blanks, at a place.
    std::pair<std::size_t, std::size_t> word_at(std::size_t place);
    std::size_t next_place(std::size_t place, QTextLayout::CursorMode mode);
    std::size_t previous_place(std::size_t place, QTextLayout::CursorMode mode);

    void drop_unused(); // what no call since the last one has used

private:
    struct row_count {
        std::uint32_t rows = 0;
        bool exact = false;
    };
    struct block_layout {
        std::vector<text_piece> pieces;
        std::vector<std::uint32_t> ends; // how many rows there are up to each piece's end
        std::size_t bytes = 0;           // of the block when it was laid out
        bool was_last = false;
        unsigned last_use = 0;
    };

    void set_count(std::size_t block, std::uint32_t rows, bool exact);
    [[nodiscard]] std::uint32_t estimate(std::size_t block) const;
    block_layout &laid_out(std::size_t block);
    [[nodiscard]] bool surely_fits(std::string_view bytes) const;
    void lay_out(std::string_view bytes, piece_layout *into) const;
    std::uint32_t rows_of(std::string_view bytes);
    piece_layout &drawn(std::size_t block, const text_piece &piece);
    piece_layout &drawn_at(std::size_t place, std::size_t *piece_start);

    const text_store &text;
    QFont font;
    qreal width = 0;
    int row_height = 1;
    qreal row_ascent = 0;
    qreal tab_width = 0;
    double columns = 1;                   // of the width
    std::array<qreal, 128> advances = {}; // of the printing ASCII characters
    std::vector<row_count> counts;        // of every block
    std::int64_t total = 0;               // of counts
    std::map<std::size_t, block_layout> blocks;
    std::map<std::size_t, std::unique_ptr<piece_layout>> pieces; // by their places
    piece_layout scratch;
    unsigned use = 1;
};

} // namespace platform

#endif
