#include "platform/qt/text_rows.h"

#include <QFontMetricsF>
#include <QTextBoundaryFinder>

#include <algorithm>
#include <cmath>

namespace platform {

text_rows::text_rows(const text_store &shown) : text(shown)
{
    set_look(QFont(), 100);
}

void text_rows::set_look(const QFont &new_font, qreal new_width)
{
    font = new_font;
    width = new_width;
    const QFontMetricsF metrics(font);
    row_height = std::max(1, static_cast<int>(std::ceil(metrics.lineSpacing())));
    row_ascent = std::round(metrics.ascent() + (row_height - metrics.height()) / 2);
    tab_width = 8 * metrics.horizontalAdvance(QLatin1Char(' '));
    columns = std::max(1.0, width / std::max(1.0, metrics.averageCharWidth()));
    for (unsigned char c = 32; c < 127; ++c)
        advances[c] = metrics.horizontalAdvance(QLatin1Char(static_cast<char>(c)));
    text_changed();
}

void text_rows::text_changed()
{
    blocks.clear();
    pieces.clear();
    counts.clear();
    total = 0;
    text_grew();
}

void text_rows::text_grew()
{
    const std::size_t first = counts.empty() ? 0 : counts.size() - 1;
    counts.resize(text.block_count());
    // What is on the screen stays where it is: it is followed exactly.
    if (blocks.count(first) != 0)
        set_count(first, laid_out(first).ends.back(), true);
    else
        set_count(first, estimate(first), false);
    for (std::size_t block = first + 1; block < counts.size(); ++block)
        set_count(block, estimate(block), false);
}

int text_rows::height() const
{
    return row_height;
}

qreal text_rows::ascent() const
{
    return row_ascent;
}

std::int64_t text_rows::count() const
{
    return total;
}

std::int64_t text_rows::count_before(std::size_t block) const
{
    std::int64_t rows = 0;
    for (std::size_t i = 0; i < block; ++i)
        rows += counts[i].rows;
    return rows;
}

std::int64_t text_rows::count_in(std::size_t block) const
{
    return counts[block].rows;
}

void text_rows::set_count(std::size_t block, std::uint32_t rows, bool exact)
{
    total += std::int64_t{rows} - counts[block].rows;
    counts[block] = {rows, exact};
}

std::uint32_t text_rows::estimate(std::size_t block) const
{
    const auto rows_of_length = [&](double length) { return std::ceil(length / columns); };
    const text_block &from = text.block(block);
    double rows = 0;
    std::size_t counted = 0;
    for (const piece_lengths &each : from.lengths) {
        if (each.pieces == 0)
            continue;
        rows += each.pieces * std::max(1.0, rows_of_length(double(each.bytes) / each.pieces));
        counted += each.bytes;
    }
    if (block + 1 == text.block_count())
        rows += std::max(1.0, rows_of_length(double(from.bytes.size() - counted)));
    return static_cast<std::uint32_t>(rows);
}

std::int64_t text_rows::make_exact(std::size_t block)
{
    const std::uint32_t old = counts[block].rows;
    const bool was_exact = counts[block].exact;
    const std::uint32_t rows = laid_out(block).ends.back();
    if (!was_exact)
        set_count(block, rows, true);
    return std::int64_t{rows} - old;
}

bool text_rows::is_exact(std::size_t block) const
{
    return counts[block].exact;
}

// Lays out what has come to the block since it was laid out last: all but its last piece stays.
text_rows::block_layout &text_rows::laid_out(std::size_t block)
{
    block_layout &result = blocks[block];
    result.last_use = use;
    const text_block &from = text.block(block);
    const bool is_last = block + 1 == text.block_count();
    if (!result.pieces.empty() && result.bytes == from.bytes.size() && result.was_last == is_last)
        return result;

    std::uint32_t start = 0;
    if (!result.pieces.empty()) {
        start = result.pieces.back().start;
        result.pieces.pop_back();
        result.ends.pop_back();
    }
    const std::size_t old = result.pieces.size();
    text.find_pieces(block, start, &result.pieces);
    std::uint32_t rows = result.ends.empty() ? 0 : result.ends.back();
    for (std::size_t i = old; i < result.pieces.size(); ++i) {
        const text_piece &piece = result.pieces[i];
        rows += rows_of(std::string_view(from.bytes).substr(piece.start, piece.size));
        result.ends.push_back(rows);
    }
    result.bytes = from.bytes.size();
    result.was_last = is_last;
    return result;
}

bool text_rows::surely_fits(std::string_view bytes) const
{
    constexpr qreal slack = 0.98; // letters may be moved apart a little
    const qreal room = width * slack - 1;
    qreal used = 0;
    for (const char c : bytes) {
        if (c < 32 || c == 127)
            return false;
        used += advances[static_cast<unsigned char>(c)];
        if (used > room)
            return false;
    }
    return true;
}

void text_rows::lay_out(std::string_view bytes, piece_layout *into) const
{
    into->shown = show_text(bytes);
    QTextOption option;
    option.setWrapMode(surely_fits(bytes) ? QTextOption::NoWrap
                                          : QTextOption::WrapAtWordBoundaryOrAnywhere);
    option.setTabStopDistance(tab_width);
    QTextLayout &layout = into->layout;
    layout.setFont(font);
    layout.setText(into->shown.text);
    layout.setTextOption(option);
    layout.setCacheEnabled(true);
    layout.beginLayout();
    for (int row = 0;; ++row) {
        QTextLine line = layout.createLine();
        if (!line.isValid())
            break;
        line.setLineWidth(width);
        line.setPosition(QPointF(0, row * row_height + row_ascent - line.ascent()));
    }
    layout.endLayout();
}

std::uint32_t text_rows::rows_of(std::string_view bytes)
{
    if (surely_fits(bytes))
        return 1;
    lay_out(bytes, &scratch);
    return static_cast<std::uint32_t>(std::max(1, scratch.layout.lineCount()));
}

piece_layout &text_rows::drawn(std::size_t block, const text_piece &piece)
{
    const text_block &from = text.block(block);
    std::unique_ptr<piece_layout> &result = pieces[from.start + piece.start];
    if (result == nullptr)
        result = std::make_unique<piece_layout>();
    // An unfinished piece grows; one that has grown has another size.
    if (result->last_use == 0 || result->piece.size != piece.size)
        lay_out(std::string_view(from.bytes).substr(piece.start, piece.size), result.get());
    result->piece = piece;
    result->last_use = use;
    return *result;
}

void text_rows::drop_unused()
{
    const auto unused = [this](const auto &each) { return each.last_use != use; };
    std::erase_if(pieces, [&](const auto &each) { return unused(*each.second); });
    std::erase_if(blocks, [&](const auto &each) { return unused(each.second); });
    ++use;
}

row_place text_rows::find(std::int64_t row) const
{
    row = std::clamp(row, std::int64_t{0}, total - 1);
    std::size_t block = 0;
    while (row >= counts[block].rows)
        row -= counts[block++].rows;
    return {block, static_cast<std::uint32_t>(row)};
}

row_of_piece text_rows::at(row_place place)
{
    const block_layout &block = laid_out(place.block);
    const std::uint32_t row = std::min(place.row, block.ends.back() - 1);
    const auto number = static_cast<std::size_t>(
        std::upper_bound(block.ends.begin(), block.ends.end(), row) - block.ends.begin());
    const std::uint32_t first = number == 0 ? 0 : block.ends[number - 1];
    const text_piece &piece = block.pieces[number];
    return {text.block(place.block).start + piece.start, &drawn(place.block, piece),
            static_cast<int>(row - first)};
}

// The piece that holds the place; its start.
piece_layout &text_rows::drawn_at(std::size_t place, std::size_t *piece_start)
{
    const std::size_t number = text.block_at(place);
    const block_layout &block = laid_out(number);
    const std::size_t start = text.block(number).start;
    const auto behind = std::upper_bound(
        block.pieces.begin() + 1, block.pieces.end(), place - start,
        [](std::size_t wanted, const text_piece &piece) { return wanted < piece.start; });
    const text_piece &piece = *(behind - 1);
    *piece_start = start + piece.start;
    return drawn(number, piece);
}

row_place text_rows::row_of(std::size_t place)
{
    std::size_t start = 0;
    const piece_layout &piece = drawn_at(place, &start);
    const std::size_t number = text.block_at(place);
    const block_layout &block = laid_out(number);
    const auto index = static_cast<std::size_t>(
        std::upper_bound(
            block.pieces.begin(), block.pieces.end(), piece.piece.start,
            [](std::uint32_t wanted, const text_piece &each) { return wanted < each.start; }) -
        block.pieces.begin() - 1);
    const std::uint32_t first = index == 0 ? 0 : block.ends[index - 1];
    const QTextLine line =
        piece.layout.lineForTextPosition(static_cast<int>(piece.shown.unit_of(place - start)));
    return {number, first + static_cast<std::uint32_t>(std::max(0, line.lineNumber()))};
}

std::size_t text_rows::start_of(row_place place)
{
    const row_of_piece row = at(place);
    const QTextLine line = row.drawn->layout.lineAt(row.line);
    return row.piece_start +
           (line.isValid() ? row.drawn->shown.place_of(line.textStart()) : std::size_t{0});
}

std::size_t text_rows::end_of(row_place place)
{
    const row_of_piece row = at(place);
    if (row.line + 1 >= row.drawn->layout.lineCount())
        return row.piece_start + row.drawn->piece.size;
    // The place behind a wrapped row's last character is the next row's first one.
    const QTextLine line = row.drawn->layout.lineAt(row.line);
    const int end = row.drawn->layout.previousCursorPosition(line.textStart() + line.textLength());
    return row.piece_start + row.drawn->shown.place_of(end);
}

std::size_t text_rows::place_at(row_place place, qreal x)
{
    const row_of_piece row = at(place);
    const QTextLine line = row.drawn->layout.lineAt(row.line);
    if (!line.isValid())
        return row.piece_start;
    const std::size_t found = row.piece_start + row.drawn->shown.place_of(line.xToCursor(x));
    return std::min(found, end_of(place));
}

qreal text_rows::x_in(const row_of_piece &row, std::size_t place)
{
    const QTextLine line = row.drawn->layout.lineAt(row.line);
    if (!line.isValid())
        return 0;
    const auto unit = static_cast<int>(row.drawn->shown.unit_of(place - row.piece_start));
    return line.cursorToX(std::clamp(unit, line.textStart(), line.textStart() + line.textLength()));
}

qreal text_rows::x_of(std::size_t place)
{
    return x_in(at(row_of(place)), place);
}

std::pair<std::size_t, std::size_t> text_rows::word_at(std::size_t place)
{
    std::size_t start = 0;
    const piece_layout &piece = drawn_at(place, &start);
    const qsizetype unit = piece.shown.unit_of(place - start);
    QTextBoundaryFinder finder(QTextBoundaryFinder::Word, piece.shown.text);
    finder.setPosition(unit);
    const qsizetype first = finder.isAtBoundary() ? unit : finder.toPreviousBoundary();
    finder.setPosition(unit);
    const qsizetype behind = finder.toNextBoundary();
    return {start + piece.shown.place_of(std::max<qsizetype>(first, 0)),
            behind < 0 ? start + piece.piece.size : start + piece.shown.place_of(behind)};
}

std::size_t text_rows::next_place(std::size_t place, QTextLayout::CursorMode mode)
{
    std::size_t start = 0;
    const piece_layout &piece = drawn_at(place, &start);
    auto unit = static_cast<int>(piece.shown.unit_of(place - start));
    if (unit >= piece.shown.text.size())
        return std::min(place + 1, text.size()); // over the line end
    // A character that is shown as several is passed as one.
    while (unit < piece.shown.text.size() && start + piece.shown.place_of(unit) <= place)
        unit = piece.layout.nextCursorPosition(unit, mode);
    return start + piece.shown.place_of(unit);
}

std::size_t text_rows::previous_place(std::size_t place, QTextLayout::CursorMode mode)
{
    std::size_t start = 0;
    const piece_layout *piece = &drawn_at(place, &start);
    if (place == start) {
        if (place == 0)
            return 0;
        piece = &drawn_at(place - 1, &start);
        if (piece->piece.ends_line)
            return place - 1;
    }
    const auto unit = static_cast<int>(piece->shown.unit_of(place - start));
    return start + piece->shown.place_of(piece->layout.previousCursorPosition(unit, mode));
}

} // namespace platform
