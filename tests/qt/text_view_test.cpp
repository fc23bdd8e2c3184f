#include "platform/qt/text_view.h"

#include <QAccessible>
#include <QApplication>
#include <QClipboard>
#include <QElapsedTimer>
#include <QFontDatabase>
#include <QMimeData>
#include <QScrollBar>
#include <QTest>

#include <gtest/gtest.h>

#include <string>

using platform::text_view;

namespace {

class TextView : public ::testing::Test {
protected:
    TextView() : view(nullptr)
    {
        QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
        font.setPointSize(10);
        view.set_text_font(font);
        view.set_margins(5, 5, 5, 5);
        view.resize(400, 300);
        view.show();
        view.activateWindow();
        view.setFocus();
        EXPECT_TRUE(QTest::qWaitForWindowActive(&view));
        QApplication::clipboard()->clear();
    }

    void append(const std::string &bytes)
    {
        view.append(bytes);
        view.bring_up_to_date();
    }

    void append_lines(int count, const std::string &text = "line ")
    {
        std::string lines;
        for (int i = 0; i < count; ++i)
            lines += text + std::to_string(i) + "\r";
        append(lines);
    }

    QScrollBar *bar() const
    {
        return view.verticalScrollBar();
    }

    std::string part(std::size_t start, std::size_t end) const
    {
        std::string text;
        view.text().for_each_part(start, end, [&](std::string_view bytes) {
            text += bytes;
            return true;
        });
        return text;
    }

    // The row that begins at the upper edge, or is cut by it.
    std::string top_row()
    {
        const std::size_t place = view.place_at(QPointF(0, 5));
        const text_view::range row = view.row_range(place);
        return part(row.first, row.second);
    }

    QPoint point_of(std::size_t place)
    {
        const QRectF there = view.character_at(place);
        return {static_cast<int>(there.left()) + 1, static_cast<int>(there.center().y())};
    }

    void key(int code, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        QTest::keyClick(&view, static_cast<Qt::Key>(code), modifiers);
    }

    std::string selected() const
    {
        return part(view.selection_start(), view.selection_end());
    }

    static QString clipboard()
    {
        return QApplication::clipboard()->text();
    }

    text_view view;
};

constexpr Qt::KeyboardModifiers shift = Qt::ShiftModifier;
constexpr Qt::KeyboardModifiers control = Qt::ControlModifier;

} // namespace

// ---- drawing ----

TEST_F(TextView, WhatIsAppendedIsDrawn)
{
    const QImage empty = view.grab().toImage();
    view.append("some text");
    EXPECT_NE(view.grab().toImage(), empty);
}

TEST_F(TextView, ACharacterMayComeInTwoParts)
{
    append("caf\xC3");
    append("\xA9 au lait");
    const QImage in_parts = view.grab().toImage();
    view.replace(0, view.text().size(), "caf\xC3\xA9 au lait");
    EXPECT_EQ(view.grab().toImage(), in_parts);
    key(Qt::Key_A, control);
    key(Qt::Key_C, control);
    EXPECT_EQ(clipboard(), u"caf\u00e9 au lait");
}

TEST_F(TextView, LinesAreWrappedAtTheEdge)
{
    append(std::string(300, 'x') + "\rnext");
    const QRectF last = view.character_at(299);
    EXPECT_LE(last.right(), view.viewport()->width());
    EXPECT_GT(last.top(), view.character_at(0).top());
    EXPECT_EQ(view.character_at(301).left(), view.character_at(0).left());
    EXPECT_EQ(view.character_at(301).top() - last.top(), view.rows().height());
}

TEST_F(TextView, TheColoursAreThePalettes)
{
    append("text");
    view.select(0, 4);
    QPalette palette = view.palette();
    palette.setColor(QPalette::Base, QColor(1, 2, 3));
    palette.setColor(QPalette::Highlight, QColor(9, 99, 199));
    view.setPalette(palette);
    const QImage image = view.grab().toImage();
    EXPECT_EQ(image.pixelColor(200, 200), QColor(1, 2, 3));
    EXPECT_EQ(image.pixelColor(point_of(0).x(), 6), QColor(9, 99, 199));
}

// ---- following and scrolling ----

TEST_F(TextView, NewTextIsFollowed)
{
    append_lines(200);
    EXPECT_GT(bar()->maximum(), 0);
    EXPECT_EQ(bar()->value(), bar()->maximum());
    append_lines(200);
    EXPECT_EQ(bar()->value(), bar()->maximum());
}

TEST_F(TextView, AUserWhoHasScrolledUpIsLeftThere)
{
    append_lines(5000);
    bar()->setValue(2000);
    const std::string row = top_row();
    append_lines(50000);
    EXPECT_EQ(bar()->value(), 2000);
    EXPECT_EQ(top_row(), row);
    EXPECT_FALSE(view.follows());
    bar()->setValue(bar()->maximum());
    EXPECT_TRUE(view.follows());
    append_lines(10);
    EXPECT_EQ(bar()->value(), bar()->maximum());
}

TEST_F(TextView, TheRowAtTheTopStaysThereWhenTheWidthChanges)
{
    append_lines(3000, std::string(150, 'x') + " ");
    bar()->setValue(bar()->maximum() / 2);
    const std::size_t place = view.place_at(QPointF(0, 5));
    const std::size_t line = view.text().line_start(place);
    view.resize(700, 300);
    EXPECT_EQ(view.text().line_start(view.place_at(QPointF(0, 5))), line);
    view.resize(250, 300);
    EXPECT_EQ(view.text().line_start(view.place_at(QPointF(0, 5))), line);
}

TEST_F(TextView, FromEndToStartEveryRowIsSeenOnceInItsOrder)
{
    // Nobody knows how many rows these are before they are laid out.
    std::string text;
    for (int i = 0; i < 2000; ++i)
        text += std::to_string(i) + " " + std::string(static_cast<std::size_t>(i * 37 % 400), 'w') +
                (i % 3 == 0 ? " \xE2\x82\xAC" : "") + "\r";
    append(text);
    std::size_t seen = view.place_at(QPointF(0, 5));
    for (int steps = 0; bar()->value() > 0; ++steps) {
        ASSERT_LT(steps, 100000);
        key(Qt::Key_Up);
        const std::size_t next = view.place_at(QPointF(0, 5));
        ASSERT_LE(next, seen);
        ASSERT_EQ(view.row_range(next).second >= seen, true) << next << " " << seen;
        seen = next;
    }
    EXPECT_EQ(seen, 0U);
}

TEST_F(TextView, TheEndsAreReachedFromAnywhere)
{
    append_lines(30000, "a line that is wrapped at this width, because it is so very long, ");
    key(Qt::Key_Home);
    EXPECT_EQ(bar()->value(), 0);
    EXPECT_EQ(view.place_at(QPointF(5, 6)), 0U);
    key(Qt::Key_End);
    EXPECT_EQ(bar()->value(), bar()->maximum());
    EXPECT_EQ(view.place_at(QPointF(399, 299)), view.text().size());
    EXPECT_TRUE(view.follows());
}

TEST_F(TextView, PagesOverlapByARow)
{
    append_lines(1000);
    key(Qt::Key_Home);
    const int page = view.viewport()->height();
    key(Qt::Key_PageDown);
    EXPECT_EQ(bar()->value(), page - view.rows().height());
    key(Qt::Key_PageUp);
    EXPECT_EQ(bar()->value(), 0);
}

TEST_F(TextView, AShortTextHasNothingToScroll)
{
    append_lines(3);
    EXPECT_EQ(bar()->maximum(), 0);
    EXPECT_FALSE(bar()->isVisible());
}

// ---- load ----

TEST_F(TextView, ALineOfAMegabyteIsShownAtOnce)
{
    QElapsedTimer timer;
    timer.start();
    append(std::string(1 << 20, 'x') + "\r");
    view.grab();
    key(Qt::Key_Home);
    view.grab();
    bar()->setValue(bar()->maximum() / 2);
    view.grab();
    view.resize(500, 300);
    view.grab();
    EXPECT_LT(timer.elapsed(), 2000); // a layout of the whole line takes that long alone
    key(Qt::Key_A, control);
    key(Qt::Key_C, control);
    EXPECT_EQ(clipboard().size(), (1 << 20) + 1);
}

TEST_F(TextView, AFloodOfAppendsCostsFewDrawings)
{
    class counter : public QObject {
    public:
        int paints = 0;
        bool eventFilter(QObject * /*watched*/, QEvent *event) override
        {
            paints += event->type() == QEvent::Paint ? 1 : 0;
            return false;
        }
    } counted;
    view.viewport()->installEventFilter(&counted);
    for (int i = 0; i < 20000; ++i) {
        view.append("a line of output that somebody prints\r");
        if (i % 100 == 0)
            QCoreApplication::processEvents();
    }
    EXPECT_LT(counted.paints, 190);
    EXPECT_TRUE(QTest::qWaitFor([&] { return counted.paints > 0; }));
    view.viewport()->removeEventFilter(&counted);
}

// ---- the mouse ----

TEST_F(TextView, ADragSelectsFromCharacterToCharacter)
{
    append("first line\rsecond line\r");
    QTest::mousePress(view.viewport(), Qt::LeftButton, {}, point_of(2));
    QTest::mouseMove(view.viewport(), point_of(15));
    QTest::mouseRelease(view.viewport(), Qt::LeftButton, {}, point_of(15));
    EXPECT_EQ(selected(), "rst line\rseco");
    key(Qt::Key_C, control);
    EXPECT_EQ(clipboard(), "rst line\nseco");
}

TEST_F(TextView, AClickTakesTheSelectionBack)
{
    append("some words");
    view.select(0, 4);
    QTest::mouseClick(view.viewport(), Qt::LeftButton, {}, point_of(7));
    EXPECT_EQ(selected(), "");
    EXPECT_EQ(view.cursor(), 7U);
}

TEST_F(TextView, AShiftedClickExtendsTheSelection)
{
    append("some words here");
    QTest::mouseClick(view.viewport(), Qt::LeftButton, {}, point_of(5));
    QTest::mouseClick(view.viewport(), Qt::LeftButton, shift, point_of(11));
    EXPECT_EQ(selected(), "words ");
}

TEST_F(TextView, ADoubleClickSelectsAWordAndAThirdTheLine)
{
    append("first\rsome \xC3\xBC"
           "ber words\rlast");
    const QPoint there = point_of(13);
    QTest::mouseClick(view.viewport(), Qt::LeftButton, {}, there);
    QTest::mouseDClick(view.viewport(), Qt::LeftButton, {}, there);
    EXPECT_EQ(selected(), "\xC3\xBC"
                          "ber");
    QTest::mouseClick(view.viewport(), Qt::LeftButton, {}, there);
    EXPECT_EQ(selected(), "some \xC3\xBC"
                          "ber words\r");
}

TEST_F(TextView, ADragAfterADoubleClickGoesByWords)
{
    append("one two three four");
    const QPoint there = point_of(5);
    QTest::mouseClick(view.viewport(), Qt::LeftButton, {}, there);
    QTest::mouseDClick(view.viewport(), Qt::LeftButton, {}, there);
    QTest::mousePress(view.viewport(), Qt::LeftButton, {}, there);
    QTest::mouseRelease(view.viewport(), Qt::LeftButton, {}, there);
    QTest::qWait(QApplication::doubleClickInterval() + 50);
    QTest::mouseDClick(view.viewport(), Qt::LeftButton, {}, there);
    QTest::mouseMove(view.viewport(), point_of(10));
    EXPECT_EQ(selected(), "two three");
    QTest::mouseMove(view.viewport(), point_of(1));
    EXPECT_EQ(selected(), "one two");
    QTest::mouseRelease(view.viewport(), Qt::LeftButton, {}, point_of(1));
}

TEST_F(TextView, ADragBeyondTheEdgeScrolls)
{
    append_lines(500);
    key(Qt::Key_Home);
    QTest::mousePress(view.viewport(), Qt::LeftButton, {}, point_of(0));
    QTest::mouseMove(view.viewport(), QPoint(50, view.viewport()->height() + 30));
    const int value = bar()->value();
    const std::size_t reached = view.selection_end();
    EXPECT_TRUE(QTest::qWaitFor([&] { return bar()->value() > value + 100; }));
    QTest::mouseRelease(view.viewport(), Qt::LeftButton, {}, QPoint(50, 100));
    EXPECT_GT(view.selection_end(), reached);
}

TEST_F(TextView, APlaceIsWhereItsCharacterIsDrawn)
{
    append("some \xC3\xBC"
           "ber \x1B words " +
           std::string(200, 'x') + "\r\rend");
    std::size_t place = 0;
    while (place < view.text().size()) {
        EXPECT_EQ(view.place_at(point_of(place)), place);
        place = view.character_range(place).second;
    }
}

// ---- the keyboard ----

TEST_F(TextView, ShiftAndArrowsSelect)
{
    append("first\rsecond\rthird");
    QTest::mouseClick(view.viewport(), Qt::LeftButton, {}, point_of(8));
    key(Qt::Key_Right, shift);
    EXPECT_EQ(selected(), "c");
    key(Qt::Key_Left, shift);
    key(Qt::Key_Left, shift);
    EXPECT_EQ(selected(), "e");
    key(Qt::Key_Up, shift);
    EXPECT_EQ(selected(), "irst\rse");
    key(Qt::Key_Down, shift);
    key(Qt::Key_Down, shift);
    EXPECT_EQ(selected(), "cond\rt");
    key(Qt::Key_End, shift);
    EXPECT_EQ(selected(), "cond\rthird");
    key(Qt::Key_Home, shift);
    EXPECT_EQ(selected(), "cond\r");
}

TEST_F(TextView, ShiftAndControlGoByWordsAndToTheEnds)
{
    append("one two three\rfour");
    QTest::mouseClick(view.viewport(), Qt::LeftButton, {}, point_of(4));
    key(Qt::Key_Right, shift | control);
    EXPECT_EQ(selected(), "two ");
    key(Qt::Key_End, shift | control);
    EXPECT_EQ(selected(), "two three\rfour");
    key(Qt::Key_Home, shift | control);
    EXPECT_EQ(selected(), "one ");
}

TEST_F(TextView, ACharacterOfSeveralBytesIsPassedAsOne)
{
    append("a\xC3\xA9\x1B\xF0\x9F\x98\x80z");
    view.select(0, 0);
    const char *const steps[] = {"a", "a\xC3\xA9", "a\xC3\xA9\x1B", "a\xC3\xA9\x1B\xF0\x9F\x98\x80",
                                 "a\xC3\xA9\x1B\xF0\x9F\x98\x80z"};
    for (const char *step : steps) {
        key(Qt::Key_Right, shift);
        EXPECT_EQ(selected(), step);
    }
    for (int i = 3; i >= 0; --i) {
        key(Qt::Key_Left, shift);
        EXPECT_EQ(selected(), steps[i]);
    }
}

TEST_F(TextView, SelectingByPagesScrollsAlong)
{
    append_lines(1000);
    key(Qt::Key_PageUp, shift);
    key(Qt::Key_PageUp, shift);
    EXPECT_EQ(view.selection_end(), view.text().size());
    const QRectF there = view.character_at(view.selection_start());
    EXPECT_GE(there.top(), 0);
    EXPECT_LT(there.bottom(), view.viewport()->height());
    EXPECT_LT(bar()->value(), bar()->maximum());
}

TEST_F(TextView, EverythingIsSelectedAndCopied)
{
    append("caf\xE9\rand \xE2\x82\xAC\r");
    key(Qt::Key_A, control);
    key(Qt::Key_C, control);
    EXPECT_EQ(clipboard(), u"caf\u00e9\nand \u20ac\n");
}

TEST_F(TextView, WithoutASelectionNothingIsCopied)
{
    append("text");
    QApplication::clipboard()->setText("before");
    key(Qt::Key_C, control);
    EXPECT_EQ(clipboard(), "before");
}

TEST_F(TextView, WhatWasCopiedStaysWhenTheTextGoes)
{
    append_lines(5000);
    key(Qt::Key_A, control);
    key(Qt::Key_C, control);
    const qsizetype size = static_cast<qsizetype>(view.text().size());
    view.replace(0, view.text().size(), "");
    append("other");
    EXPECT_EQ(clipboard().size(), size);
    EXPECT_TRUE(clipboard().startsWith("line 0\nline 1\n"));
}

// ---- typing ----

TEST_F(TextView, WithoutACaretNothingIsTyped)
{
    key(Qt::Key_X);
    key(Qt::Key_Return);
    EXPECT_EQ(view.text().size(), 0U);
}

TEST_F(TextView, TypedCharactersComeToTheEnd)
{
    append("name? ");
    view.show_caret(true);
    view.select(0, 0);
    QTest::keyClicks(&view, "Ann");
    key(Qt::Key_Return);
    EXPECT_EQ(part(0, view.text().size()), "name? Ann\r");
}

TEST_F(TextView, BackspaceTakesOffOnlyWhatWasTyped)
{
    append("name? ");
    view.show_caret(true);
    QTest::sendKeyEvent(QTest::Click, &view, Qt::Key_unknown, QString(QChar(0xE9)), {});
    key(Qt::Key_X);
    key(Qt::Key_Backspace);
    EXPECT_EQ(part(0, view.text().size()), "name? \xC3\xA9");
    key(Qt::Key_Backspace);
    key(Qt::Key_Backspace);
    key(Qt::Key_Backspace);
    EXPECT_EQ(part(0, view.text().size()), "name? ");
}

TEST_F(TextView, TheCaretBlinks)
{
    append("name? ");
    const QImage without = view.grab().toImage();
    view.show_caret(true);
    const QImage with = view.grab().toImage();
    EXPECT_NE(with, without);
    view.blink();
    EXPECT_EQ(view.grab().toImage(), with);
    QTest::qWait(QApplication::cursorFlashTime() / 2 + 20);
    view.blink();
    EXPECT_EQ(view.grab().toImage(), without);
    view.show_caret(false);
    EXPECT_EQ(view.grab().toImage(), without);
}

// ---- screen readers ----

namespace {

class AccessibleTextView : public TextView {
protected:
    AccessibleTextView()
    {
        view.setAccessibleName("Console");
        whole = QAccessible::queryAccessibleInterface(&view);
        EXPECT_NE(whole, nullptr);
        text = whole->textInterface();
        EXPECT_NE(text, nullptr);
    }

    QAccessibleInterface *whole;
    QAccessibleTextInterface *text;
};

} // namespace

TEST_F(AccessibleTextView, ItHasANameAndARole)
{
    EXPECT_EQ(whole->text(QAccessible::Name), "Console");
    EXPECT_EQ(whole->role(), QAccessible::Terminal);
    EXPECT_TRUE(whole->state().readOnly);
    EXPECT_TRUE(whole->state().focused);
}

TEST_F(AccessibleTextView, ItsTextIsReadAsItIsShown)
{
    append("caf\xC3\xA9 \x1B\rnext\r");
    EXPECT_EQ(text->characterCount(), 13);
    EXPECT_EQ(text->text(0, 13), u"caf\u00e9 ^[\nnext\n");
    EXPECT_EQ(text->text(3, 7), u"\u00e9 ^[");
    append("more");
    EXPECT_EQ(text->text(13, 17), "more");
}

TEST_F(AccessibleTextView, ItIsReadByWordAndLine)
{
    append("one two\rthree");
    int start = 0;
    int end = 0;
    EXPECT_EQ(text->textAtOffset(5, QAccessible::WordBoundary, &start, &end), "two");
    EXPECT_EQ(start, 4);
    EXPECT_EQ(end, 7);
    EXPECT_EQ(text->textAtOffset(5, QAccessible::LineBoundary, &start, &end), "one two\n");
    EXPECT_EQ(text->textAfterOffset(5, QAccessible::LineBoundary, &start, &end), "three");
    EXPECT_EQ(text->textBeforeOffset(9, QAccessible::LineBoundary, &start, &end), "one two\n");
    EXPECT_EQ(text->textBeforeOffset(1, QAccessible::LineBoundary, &start, &end), "");
    EXPECT_EQ(text->textAtOffset(2, QAccessible::CharBoundary, &start, &end), "e");
}

TEST_F(AccessibleTextView, OffsetsHoldInALongText)
{
    append_lines(20000, "\xC3\xA9 ");
    const int count = text->characterCount();
    const QString all = text->text(0, count);
    EXPECT_EQ(all.size(), count);
    EXPECT_EQ(text->text(count - 8, count), all.right(8));
    EXPECT_EQ(text->text(70000, 70020), all.mid(70000, 20));
}

TEST_F(AccessibleTextView, ItsSelectionIsTheUsers)
{
    append("caf\xC3\xA9 au lait");
    view.select(6, 8);
    EXPECT_EQ(text->selectionCount(), 1);
    int start = 0;
    int end = 0;
    text->selection(0, &start, &end);
    EXPECT_EQ(start, 5);
    EXPECT_EQ(end, 7);
    text->setSelection(0, 0, 4);
    EXPECT_EQ(selected(), "caf\xC3\xA9");
    text->removeSelection(0);
    EXPECT_EQ(text->selectionCount(), 0);
}

TEST_F(AccessibleTextView, CharactersAreWhereTheyAreDrawn)
{
    append("one\rtwo");
    const QRect place = text->characterRect(5);
    EXPECT_EQ(text->offsetAtPoint(place.center() - QPoint(2, 0)), 5);
}
