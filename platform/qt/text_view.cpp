#include "platform/qt/text_view.h"

#include <QAccessible>
#include <QAccessibleTextInsertEvent>
#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QMenu>
#include <QMimeData>
#include <QPainter>
#include <QScrollBar>
#include <QStyle>
#include <QTextBoundaryFinder>

#include <algorithm>
#include <cmath>

namespace {

constexpr int frame_time = 16;     // least milliseconds between two drawings of text that grows
constexpr int longest_pause = 200; // and most, where a drawing takes long
constexpr int drag_time = 30;      // and between two steps of a drag beyond the edge
constexpr std::size_t longest_told = 65536; // bytes that a screen reader is told of at once

// A part of a text that has been copied: it becomes a string only when somebody asks for it.
class copied_text : public QMimeData {
public:
    copied_text(platform::text_store from, std::size_t start, std::size_t end)
        : text_then(std::move(from)), from_place(start), to_place(end)
    {
    }

    [[nodiscard]] QStringList formats() const override
    {
        return {QStringLiteral("text/plain")};
    }

    [[nodiscard]] bool hasFormat(const QString &type) const override
    {
        return type == QLatin1String("text/plain");
    }

protected:
    [[nodiscard]] QVariant retrieveData(const QString &type, QMetaType /*wanted*/) const override
    {
        if (!hasFormat(type))
            return {};
        QString copy;
        copy.reserve(static_cast<qsizetype>(to_place - from_place));
        text_then.for_each_part(from_place, to_place, [&](std::string_view part) {
            copy += platform::shown_string(part);
            return true;
        });
        return copy;
    }

private:
    const platform::text_store text_then;
    const std::size_t from_place, to_place;
};

} // namespace

namespace platform {

text_view::text_view(QWidget *parent) : QAbstractScrollArea(parent), shown_rows(shown)
{
    install_text_view_accessibility();
    setFrameShape(QFrame::NoFrame);
    setFocusPolicy(Qt::StrongFocus);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff); // lines end at the view's edge
    viewport()->setCursor(Qt::IBeamCursor);
    viewport()->setAutoFillBackground(false); // or the window beneath would not know of its drawing
    verticalScrollBar()->setAccessibleName(tr("Scroll the text"));
    last_refresh.start();
    caret_changed.start();
    lay_out_anew();
}

// ---- the text ----

const text_store &text_view::text() const
{
    return shown;
}

void text_view::append(std::string_view bytes)
{
    shown.append(bytes);
    typed_from = shown.size();
    stale();
}

void text_view::replace(std::size_t start, std::size_t end, std::string_view bytes)
{
    std::string behind;
    shown.for_each_part(end, shown.size(), [&](std::string_view part) {
        behind.append(part);
        return true;
    });
    shown.truncate(start);
    shown.append(bytes);
    shown.append(behind);
    typed_from = shown.size();
    told = std::min(told, start);
    anchor = moving = std::min(moving, shown.size());
    if (shown.size() == 0) {
        has_cursor = false;
        following = true;
    }
    shown_rows.text_changed();
    settle();
    viewport()->update();
}

// ---- how it looks ----

void text_view::set_text_font(const QFont &new_font)
{
    font = new_font;
    lay_out_anew();
}

const QFont &text_view::text_font() const
{
    return font;
}

void text_view::set_margins(int left, int top_margin, int right, int bottom)
{
    margins = QMargins(left, top_margin, right, bottom);
    lay_out_anew();
}

void text_view::show_caret(bool is_shown)
{
    has_caret = is_shown;
    caret_is_on = true;
    caret_changed.restart();
    setAttribute(Qt::WA_InputMethodEnabled, is_shown);
    if (is_shown)
        following = true; // whoever is asked something sees where
    stale();
}

void text_view::blink()
{
    const int flash = QApplication::cursorFlashTime();
    if (!has_caret || flash <= 0 || caret_changed.elapsed() < flash / 2)
        return;
    caret_is_on = !caret_is_on;
    caret_changed.restart();
    viewport()->update();
}

void text_view::set_active(bool active)
{
    is_active = active;
    viewport()->update();
}

// Draws what has come as soon as the last drawing is old enough: a flood of appends costs a few
// drawings.
void text_view::stale()
{
    is_stale = true;
    if (!refresh.isActive())
        refresh.start(static_cast<int>(
                          std::clamp<qint64>(frame_time - last_refresh.elapsed(), 0, frame_time)),
                      this);
}

void text_view::bring_up_to_date()
{
    if (!is_stale)
        return;
    take_in();
    viewport()->update();
}

// Makes the appended text count.
void text_view::take_in()
{
    refresh.stop();
    is_stale = false;
    last_refresh.restart();
    shown_rows.text_grew();
    settle();
    tell_of_growth(told);
    refresh_cost = last_refresh.elapsed();
}

void text_view::draw_now()
{
    bring_up_to_date();
    viewport()->repaint();
}

void text_view::tell_of_growth(std::size_t old_size)
{
    told = shown.size();
    if (!QAccessible::isActive() || old_size >= told)
        return;
    const std::size_t from = told - std::min(told - old_size, longest_told);
    QString grown;
    shown.for_each_part(from, told, [&](std::string_view part) {
        grown += shown_string(part);
        return true;
    });
    QAccessibleInterface *own = QAccessible::queryAccessibleInterface(this);
    const int count = own->textInterface()->characterCount();
    QAccessibleTextInsertEvent event(this, count - static_cast<int>(grown.size()), grown);
    QAccessible::updateAccessibility(&event);
}

// ---- geometry ----

text_rows &text_view::rows()
{
    return shown_rows;
}

std::int64_t text_view::content_height() const
{
    return shown_rows.count() * shown_rows.height() + margins.top() + margins.bottom();
}

std::int64_t text_view::lowest_top() const
{
    return std::max<std::int64_t>(0, content_height() - viewport()->height());
}

std::int64_t text_view::y_of(row_place row) const
{
    return margins.top() + (shown_rows.count_before(row.block) + row.row) * shown_rows.height();
}

// What is seen stays where it is when a block above it, or its own, gets its true height.
void text_view::make_exact(std::size_t block)
{
    if (shown_rows.is_exact(block))
        return;
    const bool starts_above = y_of({block, 0}) < top;
    const std::int64_t more = shown_rows.make_exact(block);
    if (starts_above)
        top = std::max<std::int64_t>(0, top + more * shown_rows.height());
}

row_place text_view::row_at(std::int64_t y)
{
    for (;;) {
        const row_place found = shown_rows.find((y - margins.top()) / shown_rows.height());
        if (shown_rows.is_exact(found.block))
            return found;
        const std::int64_t old_top = top;
        make_exact(found.block);
        y += top - old_top;
    }
}

// Lays out what is in sight, and puts the view's top where it belongs.
void text_view::settle()
{
    const std::int64_t visible = viewport()->height();
    for (bool settled = false; !settled;) {
        if (following) {
            std::int64_t below = 0;
            for (std::size_t block = shown.block_count(); block-- > 0 && below < visible;) {
                make_exact(block);
                below += shown_rows.count_in(block) * shown_rows.height();
            }
            top = lowest_top();
        }
        top = std::clamp<std::int64_t>(top, 0, lowest_top());
        const std::int64_t old_top = top;
        const std::size_t first = row_at(top).block;
        const std::size_t last = row_at(top + visible).block;
        for (std::size_t block = first; block <= last; ++block)
            make_exact(block);
        settled = top == old_top && top <= lowest_top();
    }
    set_bars();
}

// The bar counts pixels, or several at once where they are too many for it.
void text_view::set_bars()
{
    constexpr std::int64_t longest_bar = 1'000'000'000;
    QScrollBar *const bar = verticalScrollBar();
    setting_bars = true;
    bar_unit = lowest_top() / longest_bar + 1;
    const auto in_units = [&](std::int64_t pixels) { return static_cast<int>(pixels / bar_unit); };
    bar->setRange(0, in_units(lowest_top()));
    bar->setPageStep(std::max(1, in_units(viewport()->height() - shown_rows.height())));
    bar->setSingleStep(std::max(1, in_units(shown_rows.height())));
    bar->setValue(in_units(top));
    setting_bars = false;
}

void text_view::scroll(std::int64_t new_top)
{
    top = std::clamp<std::int64_t>(new_top, 0, lowest_top());
    following = false;
    settle();
    following = top >= lowest_top();
    viewport()->update();
}

// The user has moved the bar.
void text_view::scrollContentsBy(int /*dx*/, int /*dy*/)
{
    if (setting_bars)
        return;
    const QScrollBar *const bar = verticalScrollBar();
    scroll(bar->value() == bar->maximum() ? lowest_top() : bar->value() * bar_unit);
}

bool text_view::follows() const
{
    return following;
}

// The rows are others: the one at the top stays there.
void text_view::lay_out_anew()
{
    if (is_stale)
        bring_up_to_date();
    const row_place old_row = row_at(top);
    const std::size_t place = shown_rows.start_of(old_row);
    const std::int64_t beyond = top - y_of(old_row);
    const int width = viewport()->width() - margins.left() - margins.right();
    shown_rows.set_look(font, std::max(1, width));
    if (!following) {
        top = 0; // so that nothing is moved while the block is laid out
        make_exact(shown.block_at(place));
        top = y_of(shown_rows.row_of(place)) +
              std::min<std::int64_t>(beyond, shown_rows.height() - 1);
    }
    settle();
    viewport()->update();
}

void text_view::resizeEvent(QResizeEvent * /*event*/)
{
    lay_out_anew();
}

void text_view::changeEvent(QEvent *event)
{
    QAbstractScrollArea::changeEvent(event);
    if (event->type() == QEvent::StyleChange || event->type() == QEvent::FontChange)
        lay_out_anew();
}

std::size_t text_view::place_at(QPointF point)
{
    bring_up_to_date();
    const auto y = static_cast<std::int64_t>(std::floor(point.y())) + top;
    if (y < margins.top())
        return 0;
    if (y >= content_height() - margins.bottom())
        return shown.size();
    return shown_rows.place_at(row_at(y), point.x() - margins.left());
}

text_view::range text_view::character_range(std::size_t place)
{
    bring_up_to_date();
    make_exact(shown.block_at(place));
    return {place, shown_rows.next_place(place, QTextLayout::SkipCharacters)};
}

text_view::range text_view::word_range(std::size_t place)
{
    bring_up_to_date();
    make_exact(shown.block_at(place));
    return shown_rows.word_at(place);
}

text_view::range text_view::row_range(std::size_t place)
{
    bring_up_to_date();
    make_exact(shown.block_at(place));
    const row_place row = shown_rows.row_of(place);
    const row_place next = next_row(row, 1);
    return {shown_rows.start_of(row), next == row ? shown.size() : shown_rows.start_of(next)};
}

QRectF text_view::character_at(std::size_t place)
{
    bring_up_to_date();
    make_exact(shown.block_at(place));
    const row_place row = shown_rows.row_of(place);
    const qreal x = shown_rows.x_of(place);
    const std::size_t next = shown_rows.next_place(place, QTextLayout::SkipCharacters);
    const bool same_row = next <= shown_rows.end_of(row);
    const qreal width = same_row ? shown_rows.x_of(next) - x : 1;
    return {x + margins.left(), static_cast<qreal>(y_of(row) - top), std::max(width, qreal{1}),
            static_cast<qreal>(shown_rows.height())};
}

void text_view::scroll_to(std::size_t place)
{
    bring_up_to_date();
    make_exact(shown.block_at(place));
    const std::int64_t y = y_of(shown_rows.row_of(place));
    const std::int64_t highest = y + shown_rows.height() + margins.bottom() - viewport()->height();
    if (y - margins.top() < top)
        scroll(y - margins.top());
    else if (highest > top)
        scroll(highest);
}

// ---- drawing ----

void text_view::paintEvent(QPaintEvent *event)
{
    QElapsedTimer painting;
    painting.start();
    const QRect dirty = event->rect();
    if (is_stale) {
        take_in();
        if (dirty != viewport()->rect())
            viewport()->update(); // later: what has grown may have moved all the rest
    }
    QPainter painter(viewport());
    const QPalette::ColorGroup group = is_active ? QPalette::Active : QPalette::Inactive;
    painter.fillRect(dirty, palette().brush(group, QPalette::Base));
    painter.setPen(palette().color(group, QPalette::Text));
    row_place row = row_at(top + dirty.top());
    std::int64_t y = y_of(row) - top;
    const std::int64_t behind = content_height() - margins.bottom() - top;
    while (y <= dirty.bottom() && y < behind) {
        draw_row(painter, shown_rows.at(row), y);
        row = next_row(row, 1);
        y += shown_rows.height();
    }
    draw_caret(painter);
    shown_rows.drop_unused();
    // Whatever a drawing costs, most of the time is for the work that is shown.
    constexpr int share = 4;
    refresh_pause =
        std::clamp<qint64>((refresh_cost + painting.elapsed()) * share, frame_time, longest_pause);
    last_refresh.restart();
}

void text_view::draw_row(QPainter &painter, const row_of_piece &row, std::int64_t y)
{
    const QTextLine line = row.drawn->layout.lineAt(row.line);
    if (!line.isValid())
        return;
    const QPointF origin(margins.left(), static_cast<qreal>(y));
    const shown_text &drawn = row.drawn->shown;
    const int line_end = line.textStart() + line.textLength();
    const std::size_t first = row.piece_start + drawn.place_of(line.textStart());
    const bool is_last = row.line + 1 == row.drawn->layout.lineCount();
    const std::size_t last = is_last ? row.piece_start + row.drawn->piece.size
                                     : row.piece_start + drawn.place_of(line_end);

    const std::size_t from = std::max(first, selection_start());
    const std::size_t to = std::min(last, selection_end());
    const bool ends_selected = is_last && row.drawn->piece.ends_line && selection_start() <= last &&
                               selection_end() > last;
    const QPointF line_origin = origin + QPointF(0, shown_rows.ascent() - line.ascent() - line.y());
    if (from >= to && !ends_selected) {
        line.draw(&painter, line_origin);
        return;
    }

    const qreal left =
        line.cursorToX(static_cast<int>(drawn.unit_of(std::min(from, last) - row.piece_start)));
    qreal right = line.cursorToX(static_cast<int>(drawn.unit_of(to - row.piece_start)));
    if (ends_selected)
        right += shown_rows.height() / 3.0;
    const QRect selected = QRectF(origin + QPointF(std::min(left, right), 0),
                                  QSizeF(std::abs(right - left), shown_rows.height()))
                               .toRect();
    const QPalette::ColorGroup group = is_active ? QPalette::Active : QPalette::Inactive;
    painter.save();
    painter.setClipRegion(QRegion(viewport()->rect()) - selected);
    line.draw(&painter, line_origin);
    painter.setClipRect(selected);
    painter.fillRect(selected, palette().brush(group, QPalette::Highlight));
    painter.setPen(palette().color(group, QPalette::HighlightedText));
    line.draw(&painter, line_origin);
    painter.restore();
}

void text_view::draw_caret(QPainter &painter)
{
    if (!has_caret || !caret_is_on || !is_active || !hasFocus())
        return;
    const QRectF place = character_at(shown.size());
    const int width = style()->pixelMetric(QStyle::PM_TextCursorWidth, nullptr, this);
    painter.fillRect(QRectF(place.topLeft(), QSizeF(width, place.height())), painter.pen().color());
}

void text_view::focusInEvent(QFocusEvent *event)
{
    QAbstractScrollArea::focusInEvent(event);
    viewport()->update();
}

void text_view::focusOutEvent(QFocusEvent *event)
{
    QAbstractScrollArea::focusOutEvent(event);
    viewport()->update();
}

void text_view::timerEvent(QTimerEvent *event)
{
    if (event->timerId() == refresh.timerId())
        bring_up_to_date();
    else if (event->timerId() == drag_scroll.timerId())
        drag_to(drag_point);
    else
        QAbstractScrollArea::timerEvent(event);
}

// ---- the selection ----

std::size_t text_view::selection_start() const
{
    return std::min(anchor, moving);
}

std::size_t text_view::selection_end() const
{
    return std::max(anchor, moving);
}

std::size_t text_view::cursor() const
{
    return has_cursor ? moving : shown.size();
}

void text_view::select(std::size_t new_anchor, std::size_t new_cursor)
{
    anchor = std::min(new_anchor, shown.size());
    moving = std::min(new_cursor, shown.size());
    has_cursor = true;
    wanted_x = -1;
    viewport()->update();
    if (!QAccessible::isActive())
        return;
    int start = 0;
    int end = 0;
    QAccessible::queryAccessibleInterface(this)->textInterface()->selection(0, &start, &end);
    QAccessibleTextSelectionEvent event(this, start, end);
    QAccessible::updateAccessibility(&event);
}

void text_view::select_all()
{
    bring_up_to_date();
    select(0, shown.size());
}

void text_view::copy() const
{
    if (anchor != moving)
        QApplication::clipboard()->setMimeData(
            new copied_text(shown.snapshot(), selection_start(), selection_end()));
}

// The character, word or line there.
text_view::range text_view::unit_at(std::size_t place)
{
    switch (drag_unit) {
    case unit::word:
        return word_range(place);
    case unit::line:
        return {shown.line_start(place), std::min(shown.line_end(place) + 1, shown.size())};
    case unit::character:
        break;
    }
    return {place, place};
}

void text_view::click(QPointF point)
{
    const std::size_t place = place_at(point);
    select(place, place);
}

void text_view::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton)
        return;
    const QPoint moved = event->pos() - double_click_point;
    const bool third = double_clicked.isValid() &&
                       double_clicked.elapsed() < QApplication::doubleClickInterval() &&
                       moved.manhattanLength() < QApplication::startDragDistance();
    double_clicked.invalidate();
    dragging = true;
    drag_unit = third ? unit::line : unit::character;
    const std::size_t place = place_at(event->position());
    if (event->modifiers().testFlag(Qt::ShiftModifier)) {
        const std::size_t from = has_cursor ? anchor : shown.size();
        drag_start = {from, from};
        select(from, place);
        return;
    }
    drag_start = unit_at(place);
    select(drag_start.first, drag_start.second);
}

void text_view::mouseDoubleClickEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton)
        return;
    double_clicked.start();
    double_click_point = event->pos();
    dragging = true;
    drag_unit = unit::word;
    drag_start = unit_at(place_at(event->position()));
    select(drag_start.first, drag_start.second);
}

void text_view::mouseMoveEvent(QMouseEvent *event)
{
    if (!dragging)
        return;
    drag_to(event->position());
    const bool beyond = event->pos().y() < 0 || event->pos().y() >= viewport()->height();
    if (!beyond)
        drag_scroll.stop();
    else if (!drag_scroll.isActive())
        drag_scroll.start(drag_time, this);
}

// Selects up to the point; scrolls where it is beyond the edge, the faster the farther.
void text_view::drag_to(QPointF point)
{
    drag_point = point;
    const qreal below = point.y() - viewport()->height() + 1;
    const qreal beyond = point.y() < 0 ? point.y() : std::max(below, qreal{0});
    if (beyond != 0)
        scroll(top + static_cast<std::int64_t>(beyond));
    const range here = unit_at(place_at(point));
    if (here.first < drag_start.first)
        select(drag_start.second, here.first);
    else
        select(drag_start.first, std::max(here.second, drag_start.second));
}

void text_view::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton || !dragging)
        return;
    dragging = false;
    drag_scroll.stop();
    QClipboard *const clipboard = QApplication::clipboard();
    if (clipboard->supportsSelection() && anchor != moving)
        clipboard->setMimeData(
            new copied_text(shown.snapshot(), selection_start(), selection_end()),
            QClipboard::Selection);
}

void text_view::contextMenuEvent(QContextMenuEvent *event)
{
    auto *menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    QAction *const copying = menu->addAction(tr("&Copy"), this, &text_view::copy);
    copying->setShortcut(QKeySequence::Copy);
    copying->setEnabled(anchor != moving);
    QAction *const selecting = menu->addAction(tr("Select &All"), this, &text_view::select_all);
    selecting->setShortcut(QKeySequence::SelectAll);
    selecting->setEnabled(shown.size() > 0);
    menu->popup(event->reason() == QContextMenuEvent::Keyboard
                    ? viewport()->mapToGlobal(QPoint(margins.left(), margins.top()))
                    : event->globalPos());
}

// ---- keys ----

// Adds what the user has typed at the text's end.
void text_view::type(const QString &typed)
{
    const std::size_t floor = typed_from;
    append(typed.toStdString());
    typed_from = floor;
    caret_is_on = true;
    caret_changed.restart();
    following = true;
}

// Takes the last character off that was typed: never what was there before.
void text_view::rub_out()
{
    bring_up_to_date();
    if (shown.size() <= typed_from)
        return;
    const std::size_t floor = typed_from;
    replace(shown_rows.previous_place(shown.size(), QTextLayout::SkipCharacters), shown.size(), {});
    typed_from = floor;
    following = true;
}

bool text_view::type_key(QKeyEvent *event)
{
    const QString typed = event->text();
    if (!has_caret)
        return false;
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)
        type(QStringLiteral("\r"));
    else if (event->key() == Qt::Key_Backspace)
        rub_out();
    else if (!typed.isEmpty() && (typed[0].isPrint() || typed[0] == QLatin1Char('\t')))
        type(typed);
    else
        return false;
    return true;
}

// What an input method has composed.
void text_view::inputMethodEvent(QInputMethodEvent *event)
{
    if (has_caret && !event->commitString().isEmpty())
        type(event->commitString());
    event->accept();
}

QVariant text_view::inputMethodQuery(Qt::InputMethodQuery query) const
{
    if (query == Qt::ImCursorRectangle)
        return QRectF(margins.left(),
                      static_cast<qreal>(content_height() - top) - margins.bottom() -
                          shown_rows.height(),
                      1, shown_rows.height());
    if (query == Qt::ImEnabled)
        return has_caret;
    return QAbstractScrollArea::inputMethodQuery(query);
}

// While keys are typed, Tab is one of them.
bool text_view::focusNextPrevChild(bool next)
{
    return !has_caret && QAbstractScrollArea::focusNextPrevChild(next);
}

row_place text_view::next_row(row_place row, int count)
{
    for (; count > 0; --count) {
        make_exact(row.block);
        if (row.row + 1 < shown_rows.count_in(row.block))
            ++row.row;
        else if (row.block + 1 < shown.block_count())
            row = {row.block + 1, 0};
    }
    for (; count < 0; ++count) {
        if (row.row > 0) {
            --row.row;
        } else if (row.block > 0) {
            make_exact(row.block - 1);
            row = {row.block - 1,
                   static_cast<std::uint32_t>(shown_rows.count_in(row.block - 1) - 1)};
        }
    }
    make_exact(row.block);
    return row;
}

// The place that many rows below the cursor.
std::size_t text_view::vertical(int count)
{
    make_exact(shown.block_at(cursor()));
    if (wanted_x < 0)
        wanted_x = shown_rows.x_of(cursor());
    const row_place old_row = shown_rows.row_of(cursor());
    const row_place row = next_row(old_row, count);
    if (row == old_row)
        return count < 0 ? 0 : shown.size();
    return shown_rows.place_at(row, wanted_x);
}

// Moves the selection's end there.
void text_view::move_cursor(std::size_t place)
{
    const qreal x = wanted_x;
    select(has_cursor ? anchor : shown.size(), place);
    wanted_x = x;
    scroll_to(place);
}

bool text_view::select_key(QKeyEvent *event)
{
    const int page = std::max(1, viewport()->height() / shown_rows.height() - 1);
    const auto horizontal = [this](std::size_t place) {
        wanted_x = -1;
        move_cursor(place);
        return true;
    };
    const auto along = [this](int count) {
        move_cursor(vertical(count));
        return true;
    };
    make_exact(shown.block_at(cursor()));
    if (event->matches(QKeySequence::SelectNextChar))
        return horizontal(shown_rows.next_place(cursor(), QTextLayout::SkipCharacters));
    if (event->matches(QKeySequence::SelectPreviousChar))
        return horizontal(shown_rows.previous_place(cursor(), QTextLayout::SkipCharacters));
    if (event->matches(QKeySequence::SelectNextWord))
        return horizontal(shown_rows.next_place(cursor(), QTextLayout::SkipWords));
    if (event->matches(QKeySequence::SelectPreviousWord))
        return horizontal(shown_rows.previous_place(cursor(), QTextLayout::SkipWords));
    if (event->matches(QKeySequence::SelectStartOfLine))
        return horizontal(shown_rows.start_of(shown_rows.row_of(cursor())));
    if (event->matches(QKeySequence::SelectEndOfLine))
        return horizontal(shown_rows.end_of(shown_rows.row_of(cursor())));
    if (event->matches(QKeySequence::SelectStartOfDocument))
        return horizontal(0);
    if (event->matches(QKeySequence::SelectEndOfDocument))
        return horizontal(shown.size());
    if (event->matches(QKeySequence::SelectNextLine))
        return along(1);
    if (event->matches(QKeySequence::SelectPreviousLine))
        return along(-1);
    if (event->matches(QKeySequence::SelectNextPage))
        return along(page);
    if (event->matches(QKeySequence::SelectPreviousPage))
        return along(-page);
    return false;
}

bool text_view::scroll_key(QKeyEvent *event)
{
    QScrollBar *const bar = verticalScrollBar();
    const auto step = [bar](QAbstractSlider::SliderAction action) {
        bar->triggerAction(action);
        return true;
    };
    if (event->modifiers().testFlag(Qt::ShiftModifier))
        return false;
    switch (event->key()) {
    case Qt::Key_Up:
        return step(QAbstractSlider::SliderSingleStepSub);
    case Qt::Key_Down:
        return step(QAbstractSlider::SliderSingleStepAdd);
    case Qt::Key_PageUp:
        return step(QAbstractSlider::SliderPageStepSub);
    case Qt::Key_PageDown:
        return step(QAbstractSlider::SliderPageStepAdd);
    case Qt::Key_Home:
        return step(QAbstractSlider::SliderToMinimum);
    case Qt::Key_End:
        return step(QAbstractSlider::SliderToMaximum);
    default:
        return false;
    }
}

void text_view::keyPressEvent(QKeyEvent *event)
{
    bring_up_to_date();
    if (event->matches(QKeySequence::Copy))
        copy();
    else if (event->matches(QKeySequence::SelectAll))
        select_all();
    else if (!select_key(event) && !scroll_key(event) && !type_key(event))
        event->ignore();
}

} // namespace platform
