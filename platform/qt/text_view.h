// A view of a long text that grows at its end: wrapped at the view's edge, scrolled, selected and
// copied; typed into only at its end, and only while the caret is shown. It costs what the text
// itself takes, and a little.
#ifndef PAPERMILL_PLATFORM_QT_TEXT_VIEW_H
#define PAPERMILL_PLATFORM_QT_TEXT_VIEW_H

#include "platform/qt/text_rows.h"
#include "platform/qt/text_store.h"

#include <QAbstractScrollArea>
#include <QBasicTimer>
#include <QElapsedTimer>

#include <string_view>
#include <utility>

namespace platform {

// Places count bytes of the text.
class text_view : public QAbstractScrollArea {
public:
    explicit text_view(QWidget *parent);

    // ---- the text ----

    [[nodiscard]] const text_store &text() const;
    void append(std::string_view bytes); // is drawn soon
    void replace(std::size_t start, std::size_t end, std::string_view bytes);

    // ---- how it looks ----

    void set_text_font(const QFont &font);
    [[nodiscard]] const QFont &text_font() const;
    void set_margins(int left, int top, int right, int bottom);
    void show_caret(bool shown); // at the text's end, where keys are typed while it is shown
    void blink();                // to be called now and then while the caret is shown
    void set_active(bool active);

    void lay_out_anew();     // wraps the lines, as after every change of size or look
    void bring_up_to_date(); // what has been appended counts from now on
    void draw_now();

    // ---- the selection ----

    [[nodiscard]] std::size_t selection_start() const;
    [[nodiscard]] std::size_t selection_end() const;
    [[nodiscard]] std::size_t cursor() const; // the end that moves
    void select(std::size_t anchor, std::size_t cursor);
    void click(QPointF point); // as with the mouse
    void select_all();
    void copy() const;

    // ---- where things are, in the viewport's pixels ----

    using range = std::pair<std::size_t, std::size_t>; // from a place to the one behind it

    std::size_t place_at(QPointF point);
    range character_range(std::size_t place);
    range word_range(std::size_t place);
    range row_range(std::size_t place); // with the line end
    QRectF character_at(std::size_t place);
    void scroll_to(std::size_t place);  // as little as is needed
    [[nodiscard]] bool follows() const; // new text is scrolled to

    text_rows &rows();

protected:
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void changeEvent(QEvent *event) override;
    void timerEvent(QTimerEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void inputMethodEvent(QInputMethodEvent *event) override;
    [[nodiscard]] QVariant inputMethodQuery(Qt::InputMethodQuery query) const override;
    bool focusNextPrevChild(bool next) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void contextMenuEvent(QContextMenuEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;
    void scrollContentsBy(int dx, int dy) override;

private:
    enum class unit { character, word, line };

    void stale();
    void take_in();
    void make_exact(std::size_t block);
    void settle();
    void scroll(std::int64_t new_top);
    void set_bars();
    [[nodiscard]] std::int64_t content_height() const;
    [[nodiscard]] std::int64_t lowest_top() const;
    [[nodiscard]] std::int64_t y_of(row_place row) const; // in the whole text
    row_place row_at(std::int64_t y);
    row_place next_row(row_place row, int count);
    [[nodiscard]] range unit_at(std::size_t place);
    void drag_to(QPointF point);
    void type(const QString &typed);
    void rub_out();
    bool type_key(QKeyEvent *event);
    bool scroll_key(QKeyEvent *event);
    bool select_key(QKeyEvent *event);
    void move_cursor(std::size_t place);
    std::size_t vertical(int count);
    void draw_row(QPainter &painter, const row_of_piece &row, std::int64_t y);
    void draw_caret(QPainter &painter);
    void tell_of_growth(std::size_t old_size);

    text_store shown;
    text_rows shown_rows;
    QFont font;
    QMargins margins;

    std::int64_t top = 0; // the viewport's upper edge in the whole text, in pixels
    std::int64_t bar_unit = 1;
    bool following = true;
    bool setting_bars = false;
    bool is_stale = false;
    QBasicTimer refresh;
    QElapsedTimer last_refresh;
    qint64 refresh_cost = 0;  // milliseconds that the last one took
    qint64 refresh_pause = 0; // and that are to be between two of them

    bool has_caret = false;
    bool caret_is_on = true;
    bool is_active = true;
    QElapsedTimer caret_changed;
    std::size_t typed_from = 0; // what lies before was not typed
    std::size_t told = 0;       // how much of the text a screen reader has been told of

    std::size_t anchor = 0, moving = 0; // the selection's ends
    bool has_cursor = false;            // the user has put it somewhere; else it is at the end
    qreal wanted_x = -1;                // of a cursor that moves up and down
    unit drag_unit = unit::character;
    range drag_start = {};
    bool dragging = false;
    QPointF drag_point;
    QBasicTimer drag_scroll;
    QElapsedTimer double_clicked;
    QPoint double_click_point;
};

// Makes views that are made from then on accessible to screen readers; once is enough.
void install_text_view_accessibility();

} // namespace platform

#endif
