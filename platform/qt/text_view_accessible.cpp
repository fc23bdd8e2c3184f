// What a screen reader reads of a text view.
#include "platform/qt/text_view.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QFontInfo>
#include <QTextBoundaryFinder>

#include <algorithm>
#include <limits>
#include <vector>

namespace {

using platform::text_store;
using platform::text_view;

// Offsets count the units of the text as it is shown, from its start.
class accessible_text_view : public QAccessibleWidget, public QAccessibleTextInterface {
public:
    explicit accessible_text_view(text_view *widget)
        : QAccessibleWidget(widget, QAccessible::Terminal), view(widget)
    {
    }

    void *interface_cast(QAccessible::InterfaceType type) override
    {
        if (type == QAccessible::TextInterface)
            return static_cast<QAccessibleTextInterface *>(this);
        return QAccessibleWidget::interface_cast(type);
    }

    [[nodiscard]] QAccessible::State state() const override
    {
        QAccessible::State result = QAccessibleWidget::state();
        result.readOnly = true;
        result.multiLine = true;
        result.selectableText = true;
        return result;
    }

    // ---- the text ----

    [[nodiscard]] QString text(int start, int end) const override
    {
        const std::size_t from = place_of(start);
        return string(from, std::max(from, place_of(end)));
    }

    using QAccessibleWidget::text;

    [[nodiscard]] int characterCount() const override
    {
        return offset_of(view->text().size());
    }

    QString textBeforeOffset(int offset, QAccessible::TextBoundaryType type, int *start,
                             int *end) const override
    {
        const range here = around(place_of(offset), type);
        if (here.first == 0)
            return told({0, 0}, start, end);
        return told(around(here.first - 1, type), start, end);
    }

    QString textAfterOffset(int offset, QAccessible::TextBoundaryType type, int *start,
                            int *end) const override
    {
        const range here = around(place_of(offset), type);
        if (here.second >= view->text().size())
            return told({here.second, here.second}, start, end);
        return told(around(here.second, type), start, end);
    }

    QString textAtOffset(int offset, QAccessible::TextBoundaryType type, int *start,
                         int *end) const override
    {
        return told(around(place_of(offset), type), start, end);
    }

    QString attributes(int /*offset*/, int *start, int *end) const override
    {
        *start = 0;
        *end = characterCount();
        const QFontInfo font(view->text_font());
        return QStringLiteral("font-family:\"%1\";font-size:%2pt;")
            .arg(font.family())
            .arg(font.pointSizeF());
    }

    // ---- selection and cursor ----

    void selection(int number, int *start, int *end) const override
    {
        const bool there = number < selectionCount();
        *start = there ? offset_of(view->selection_start()) : 0;
        *end = there ? offset_of(view->selection_end()) : 0;
    }

    [[nodiscard]] int selectionCount() const override
    {
        return view->selection_start() == view->selection_end() ? 0 : 1;
    }

    void addSelection(int start, int end) override
    {
        setSelection(0, start, end);
    }

    void removeSelection(int /*number*/) override
    {
        view->select(view->cursor(), view->cursor());
    }

    void setSelection(int /*number*/, int start, int end) override
    {
        view->select(place_of(start), place_of(end));
    }

    [[nodiscard]] int cursorPosition() const override
    {
        return offset_of(view->cursor());
    }

    void setCursorPosition(int offset) override
    {
        view->select(place_of(offset), place_of(offset));
        view->scroll_to(place_of(offset));
    }

    // ---- geometry ----

    [[nodiscard]] QRect characterRect(int offset) const override
    {
        const QRect place = view->character_at(place_of(offset)).toAlignedRect();
        return place.translated(view->viewport()->mapToGlobal(QPoint(0, 0)));
    }

    [[nodiscard]] int offsetAtPoint(const QPoint &point) const override
    {
        const QPoint inside = view->viewport()->mapFromGlobal(point);
        return view->viewport()->rect().contains(inside) ? offset_of(view->place_at(inside)) : -1;
    }

    void scrollToSubstring(int start, int /*end*/) override
    {
        view->scroll_to(place_of(start));
    }

private:
    using range = std::pair<std::size_t, std::size_t>;

    // How many units the block has; those of finished blocks are counted once.
    std::size_t units_of(std::size_t block) const
    {
        const text_store &text = view->text();
        if (block + 1 == text.block_count())
            return platform::count_shown(text.block(block).bytes);
        // What is cut off at the text's end and comes again may be other text.
        if (units.size() < text.block_count())
            units.resize(text.block_count());
        counted &known = units[block];
        if (known.bytes != &text.block(block))
            known = {&text.block(block), platform::count_shown(text.block(block).bytes)};
        return known.units;
    }

    int offset_of(std::size_t place) const
    {
        const text_store &text = view->text();
        const std::size_t block = text.block_at(place);
        std::size_t units_before = 0;
        for (std::size_t i = 0; i < block; ++i)
            units_before += units_of(i);
        const std::string_view bytes = text.block(block).bytes;
        units_before += platform::count_shown(bytes.substr(0, place - text.block(block).start));
        return static_cast<int>(
            std::min<std::size_t>(units_before, std::numeric_limits<int>::max()));
    }

    std::size_t place_of(int offset) const
    {
        const text_store &text = view->text();
        auto left = static_cast<std::size_t>(std::max(offset, 0));
        for (std::size_t block = 0; block < text.block_count(); ++block) {
            const std::size_t count = units_of(block);
            if (left < count || block + 1 == text.block_count()) {
                const platform::shown_text shown = platform::show_text(text.block(block).bytes);
                return text.block(block).start +
                       shown.place_of(static_cast<qsizetype>(std::min(left, count)));
            }
            left -= count;
        }
        return text.size();
    }

    QString string(std::size_t from, std::size_t to) const
    {
        QString result;
        view->text().for_each_part(from, to, [&](std::string_view part) {
            result += platform::shown_string(part);
            return true;
        });
        return result;
    }

    QString told(range what, int *start, int *end) const
    {
        *start = offset_of(what.first);
        *end = offset_of(what.second);
        return string(what.first, what.second);
    }

    // The character, word, row and so on at the place, blanks and line end included.
    range around(std::size_t place, QAccessible::TextBoundaryType type) const
    {
        const text_store &text = view->text();
        switch (type) {
        case QAccessible::CharBoundary:
            return view->character_range(place);
        case QAccessible::WordBoundary:
            return view->word_range(place);
        case QAccessible::LineBoundary:
            return view->row_range(place);
        case QAccessible::SentenceBoundary:
        case QAccessible::ParagraphBoundary:
            return {text.line_start(place), std::min(text.line_end(place) + 1, text.size())};
        case QAccessible::NoBoundary:
            break;
        }
        return {0, text.size()};
    }

    struct counted {
        const platform::text_block *bytes = nullptr;
        std::size_t units = 0;
    };

    text_view *const view;
    mutable std::vector<counted> units; // of the blocks, once they have been counted
};

QAccessibleInterface *make_interface(const QString & /*class_name*/, QObject *object)
{
    auto *const view = dynamic_cast<text_view *>(object);
    return view == nullptr ? nullptr : new accessible_text_view(view);
}

} // namespace

void platform::install_text_view_accessibility()
{
    static const bool installed = [] {
        QAccessible::installFactory(make_interface);
        return true;
    }();
    static_cast<void>(installed);
}
