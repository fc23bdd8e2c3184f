#include "platform/text_engine.h"

#include "platform/files.h"
#include "platform/fonts.h"
#include "platform/qt/state.h"
#include "platform/qt/text_view.h"
#include "settings/path_utils.h"
#include "tests/qt/desktop_test.h"
#include "tests/support/temporary_folder.h"

#include <QApplication>
#include <QFontInfo>
#include <QTest>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>

namespace {

constexpr Rect frame = {0, 0, 300, 400};
constexpr std::uint32_t bars = kTXNWantHScrollBarMask | kTXNWantVScrollBarMask;

class TextEngine : public ::testing::Test {
protected:
    TextEngine()
    {
        const Rect bounds = {100, 100, 400, 500};
        const unsigned char title[] = {1, 't'};
        window = NewCWindow(nullptr, &bounds, title, 0, documentProc, nullptr, 1, 0);
        EXPECT_EQ(TXNNewObject(window, &frame, bars, kTXNTextEditStyleFrameType, kTXNTextData,
                               kTXNMacOSEncoding, &object, &frame_id),
                  noErr);
        ShowWindow(window);
        EXPECT_TRUE(QTest::qWaitForWindowExposed(window->widget));
    }

    ~TextEngine() override
    {
        TXNDeleteObject(object);
        DisposeWindow(window);
    }

    OSStatus append(const std::string &bytes) const
    {
        return TXNSetData(object, kTXNTextData, bytes.data(), bytes.size(), kTXNEndOffset,
                          kTXNEndOffset);
    }

    platform::text_view &view() const
    {
        return *dynamic_cast<platform::text_view *>(window->content);
    }

    std::string shown() const
    {
        std::string all;
        view().text().for_each_part(0, view().text().size(), [&](std::string_view part) {
            all += part;
            return true;
        });
        return all;
    }

    OSStatus set_control(TXNControlTag tag, TXNControlData data) const
    {
        return TXNSetTXNObjectControls(object, 0, 1, &tag, &data);
    }

    // With the name as the program passes it: 256 bytes.
    OSStatus set_font(const char *name, Fixed size) const
    {
        Str255 pascal = {};
        pascal[0] = static_cast<unsigned char>(std::strlen(name));
        std::memcpy(pascal + 1, name, pascal[0]);
        TXNTypeAttributes attributes[2] = {};
        attributes[0].tag = kTXNFontSizeAttribute;
        attributes[0].size = kTXNFontSizeAttributeSize;
        attributes[0].data.dataValue = size;
        attributes[1].tag = kTXNFontNameAttribute;
        attributes[1].size = kTXNFontNameAttributeSize;
        attributes[1].data.dataPtr = pascal;
        TXNSelectAll(object);
        return TXNSetTypeAttributes(object, 2, attributes, kTXNUseCurrentSelection,
                                    kTXNUseCurrentSelection);
    }

    WindowRef window = nullptr;
    TXNObject object = nullptr;
    TXNFrameID frame_id = 0;
};

} // namespace

TEST_F(TextEngine, AWindowHasOneText)
{
    TXNObject other = nullptr;
    TXNFrameID other_frame = 77;
    EXPECT_EQ(TXNNewObject(window, &frame, bars, kTXNTextEditStyleFrameType, kTXNTextData,
                           kTXNMacOSEncoding, &other, &other_frame),
              paramErr);
    EXPECT_EQ(TXNNewObject(nullptr, &frame, bars, kTXNTextEditStyleFrameType, kTXNTextData,
                           kTXNMacOSEncoding, &other, &other_frame),
              paramErr);
    EXPECT_EQ(other, nullptr);
    EXPECT_EQ(other_frame, 77U);
    TXNDeleteObject(object);
    EXPECT_EQ(TXNNewObject(window, &frame, bars, kTXNTextEditStyleFrameType, kTXNTextData,
                           kTXNMacOSEncoding, &object, &frame_id),
              noErr);
}

TEST_F(TextEngine, DataIsAppendedAndReplaced)
{
    EXPECT_EQ(append("one three"), noErr);
    EXPECT_EQ(TXNSetData(object, kTXNTextData, "two ", 4, 4, 4), noErr);
    EXPECT_EQ(shown(), "one two three");
    EXPECT_EQ(TXNSetData(object, kTXNTextData, "1", 1, 0, 3), noErr);
    EXPECT_EQ(shown(), "1 two three");
    EXPECT_EQ(TXNSetData(object, kTXNTextData, "!", 1, 5, kTXNEndOffset), noErr);
    EXPECT_EQ(shown(), "1 two!");
    EXPECT_EQ(TXNSetData(object, four_chars("PICT"), "x", 1, kTXNEndOffset, kTXNEndOffset),
              paramErr);
    EXPECT_EQ(shown(), "1 two!");
}

TEST_F(TextEngine, ClearingNeedsASelection)
{
    append("text");
    EXPECT_EQ(TXNClear(object), noErr);
    EXPECT_EQ(shown(), "text");
    TXNSelectAll(object);
    EXPECT_EQ(view().selection_start(), view().selection_end()); // it is not to be seen
    EXPECT_EQ(TXNClear(object), noErr);
    EXPECT_EQ(shown(), "");
    append("more");
    EXPECT_EQ(shown(), "more");
}

TEST_F(TextEngine, AForcedUpdateIsOnTheScreenAtOnce)
{
    append("first\r");
    TXNForceUpdate(object);
    class counter : public QObject {
    public:
        int paints = 0;
        bool eventFilter(QObject * /*watched*/, QEvent *event) override
        {
            paints += event->type() == QEvent::Paint ? 1 : 0;
            return false;
        }
    } counted;
    view().viewport()->installEventFilter(&counted);
    append("second\r");
    EXPECT_EQ(counted.paints, 0);
    TXNForceUpdate(object);
    EXPECT_EQ(counted.paints, 1);
    view().viewport()->removeEventFilter(&counted);
}

TEST_F(TextEngine, TheMarginsAreKeptFree)
{
    append("text");
    const TXNMargins margins = {7, 11, 13, 17};
    TXNControlData data = {};
    data.marginsPtr = &margins;
    EXPECT_EQ(set_control(kTXNMarginsTag, data), noErr);
    EXPECT_EQ(view().character_at(0).topLeft(), QPointF(11, 7));
    append(std::string(1000, 'x'));
    for (std::size_t place = 0; place < 1004; ++place)
        ASSERT_LE(view().character_at(place).right(), view().viewport()->width() - 17);
}

TEST_F(TextEngine, OnlyItsWindowsContextWillDo)
{
    TXNControlData data = {};
    EXPECT_EQ(CreateCGContextForPort(nullptr, &data.context), paramErr);
    EXPECT_EQ(CreateCGContextForPort(GetWindowPort(window), &data.context), noErr);
    EXPECT_EQ(set_control(kTXNContextTag, data), noErr);
    GrafPort other;
    EXPECT_EQ(CreateCGContextForPort(&other, &data.context), noErr);
    EXPECT_EQ(set_control(kTXNContextTag, data), paramErr);
    EXPECT_EQ(set_control(four_chars("none"), data), paramErr);
}

TEST_F(TextEngine, TheSelectionStateLetsKeysBeTyped)
{
    EXPECT_TRUE(QTest::qWaitForWindowActive(window->widget));
    TXNFocus(object, 1);
    QTest::keyClick(&view(), Qt::Key_X);
    EXPECT_EQ(shown(), "");
    TXNControlData data = {};
    data.uValue = 1;
    EXPECT_EQ(set_control(kTXNSelectionStateTag, data), noErr);
    QTest::keyClick(&view(), Qt::Key_X);
    EXPECT_EQ(shown(), "x");
    data.uValue = 0;
    EXPECT_EQ(set_control(kTXNSelectionStateTag, data), noErr);
    QTest::keyClick(&view(), Qt::Key_X);
    EXPECT_EQ(shown(), "x");
}

TEST_F(TextEngine, FontAndSizeHoldForAllTheText)
{
    append("text");
    EXPECT_EQ(set_font("Monaco", Long2Fix(17)), noErr);
    EXPECT_TRUE(QFontInfo(view().text_font()).fixedPitch());
    EXPECT_EQ(view().text_font().pointSizeF(), 17);
    EXPECT_EQ(set_font("Monaco", 0x128000), noErr);
    EXPECT_EQ(view().text_font().pointSizeF(), 18.5);
    EXPECT_EQ(set_font("Monaco", Long2Fix(-3)), noErr);
    EXPECT_EQ(view().text_font().pointSizeF(), 4);
    EXPECT_EQ(set_font("Monaco", Long2Fix(2000000000)), noErr);
    EXPECT_EQ(view().text_font().pointSizeF(), 288);
}

TEST_F(TextEngine, StylesNeedASelectionAndKnownAttributes)
{
    const QFont before = view().text_font();
    TXNTypeAttributes attribute = {};
    attribute.tag = kTXNFontSizeAttribute;
    attribute.size = kTXNFontSizeAttributeSize;
    attribute.data.dataValue = Long2Fix(20);
    EXPECT_EQ(TXNSetTypeAttributes(object, 1, &attribute, kTXNUseCurrentSelection,
                                   kTXNUseCurrentSelection),
              paramErr);
    TXNSelectAll(object);
    EXPECT_EQ(TXNSetTypeAttributes(object, 1, &attribute, 0, 2), paramErr);
    attribute.tag = four_chars("face");
    EXPECT_EQ(TXNSetTypeAttributes(object, 1, &attribute, kTXNUseCurrentSelection,
                                   kTXNUseCurrentSelection),
              paramErr);
    EXPECT_EQ(view().text_font(), before);
}

TEST_F(TextEngine, TheFrameIsWhereItIsPut)
{
    TXNSetFrameBounds(object, 10, 20, 110, 320, frame_id);
    const QPoint corner = platform::content_of(*window).topLeft();
    EXPECT_EQ(view().geometry(), QRect(20, 10, 300, 100).translated(corner));
}

TEST_F(TextEngine, TheFrameMakesRoomForASheet)
{
    const int bar = platform::content_of(*window).top();
    EXPECT_EQ(view().geometry(), QRect(0, bar, 400, 300));
    WindowRef sheet = make_wait_sheet();
    ASSERT_EQ(ShowSheetWindow(sheet, window), noErr);
    EXPECT_EQ(view().geometry().top(), sheet->widget->geometry().bottom() + 1);
    EXPECT_EQ(view().geometry().bottom(), window->widget->height() - 1);
    ASSERT_EQ(HideSheetWindow(sheet), noErr);
    EXPECT_EQ(view().geometry(), QRect(0, bar, 400, 300));
    DisposeWindow(sheet);
}

TEST_F(TextEngine, AClickGoesToItsPlaceInTheText)
{
    append("some text");
    view().select(0, 3);
    const QPoint inside = view().character_at(5).center().toPoint() - QPoint(2, 0);
    const QPoint there = view().viewport()->mapToGlobal(inside);
    EventRecord event = {};
    event.what = mouseDown;
    event.where = {static_cast<std::int16_t>(there.y()), static_cast<std::int16_t>(there.x())};
    TXNClick(object, &event);
    EXPECT_EQ(view().selection_start(), view().selection_end());
    EXPECT_EQ(view().cursor(), 5U);
}

TEST_F(TextEngine, AWindowIsZoomedAndBack)
{
    TXNZoomWindow(object, inZoomOut);
    EXPECT_TRUE(window->widget->isMaximized());
    TXNZoomWindow(object, inZoomIn);
    EXPECT_FALSE(window->widget->isMaximized());
}

TEST_F(TextEngine, TheCursorsPlaceIsTheText)
{
    RgnHandle region = NewRgn();
    const Rect before = {-1, -2, 3, 4};
    (*region)->bounds = before;
    QCursor::setPos(window->widget->mapToGlobal(QPoint(-20, -20)));
    TXNAdjustCursor(object, region);
    EXPECT_EQ(std::memcmp(&(*region)->bounds, &before, sizeof before), 0);
    QCursor::setPos(window->widget->mapToGlobal(QPoint(50, 50)));
    TXNAdjustCursor(object, region);
    const QPoint corner = view().viewport()->mapToGlobal(QPoint(0, 0));
    EXPECT_EQ((*region)->bounds.left, corner.x());
    EXPECT_EQ((*region)->bounds.bottom, corner.y() + view().viewport()->height());
    delete *region;
    delete region;
}

// ---- saving ----

namespace {

// A file, open for writing.
struct open_file {
    explicit open_file(const std::string &at) : path(at)
    {
        EXPECT_EQ(FSPathMakeFSSpec(path.c_str(), &spec, nullptr), noErr);
        EXPECT_EQ(FSpOpenDF(&spec, 3, &data), noErr);
    }

    std::string path;
    FSSpec spec = {};
    FSIORefNum data = 0;
};

} // namespace

TEST_F(TextEngine, ASavedTextHasLineFeeds)
{
    const temporary_folder folder;
    open_file file(folder.write("log", ""));
    std::string text = "caf\xE9\rtab\t\x1B\rline feed\n";
    for (int i = 0; i < 20000; ++i)
        text += "line " + std::to_string(i) + "\r";
    append(text);
    EXPECT_EQ(TXNSave(object, kTXNTextData, four_chars("MPSR"), kTXNMacOSEncoding, &file.spec,
                      file.data, 0),
              noErr);
    FSClose(file.data);
    std::replace(text.begin(), text.end(), '\r', '\n');
    EXPECT_TRUE(read_file(file.path) == text);
}

TEST_F(TextEngine, AFileThatCannotBeWrittenIsToldOf)
{
    const temporary_folder folder;
    open_file file(folder.write("log", ""));
    append("text");
    FSClose(file.data);
    EXPECT_EQ(TXNSave(object, kTXNTextData, four_chars("MPSR"), kTXNMacOSEncoding, &file.spec,
                      file.data, 0),
              rfNumErr);
    EXPECT_EQ(TXNSave(object, four_chars("PICT"), 0, kTXNMacOSEncoding, &file.spec, file.data, 0),
              paramErr);
}

TEST(WithoutATextObject, NothingHappens)
{
    EventRecord event = {};
    TXNDeleteObject(nullptr);
    TXNForceUpdate(nullptr);
    TXNUpdate(nullptr);
    TXNIdle(nullptr);
    TXNSelectAll(nullptr);
    TXNFocus(nullptr, 1);
    TXNActivate(nullptr, 1);
    TXNSetFrameBounds(nullptr, 0, 0, 1, 1, 1);
    TXNRecalcTextLayout(nullptr);
    TXNClick(nullptr, &event);
    TXNGrowWindow(nullptr, &event);
    TXNZoomWindow(nullptr, inZoomOut);
    TXNAdjustCursor(nullptr, nullptr);
    EXPECT_EQ(TXNClear(nullptr), paramErr);
    EXPECT_EQ(TXNSetData(nullptr, kTXNTextData, "x", 1, kTXNEndOffset, kTXNEndOffset), paramErr);
    EXPECT_EQ(TXNSetTXNObjectControls(nullptr, 0, 0, nullptr, nullptr), paramErr);
    EXPECT_EQ(TXNSetTypeAttributes(nullptr, 0, nullptr, 0, 0), paramErr);
    EXPECT_EQ(TXNSave(nullptr, kTXNTextData, 0, 0, nullptr, 0, 0), paramErr);
}

// ---- fonts ----

namespace {

std::int16_t number_of(const char *name)
{
    Str255 pascal = {};
    pascal[0] = static_cast<unsigned char>(std::strlen(name));
    std::memcpy(pascal + 1, name, pascal[0]);
    std::int16_t number = -1;
    GetFNum(pascal, &number);
    return number;
}

std::string name_of(std::int16_t number)
{
    Str255 name = {};
    GetFontName(number, name);
    return {reinterpret_cast<const char *>(name) + 1, name[0]};
}

} // namespace

TEST(Fonts, NumberZeroIsTheInterfaceFont)
{
    EXPECT_NE(name_of(0), "");
    EXPECT_EQ(number_of(name_of(0).c_str()), 0);
}

TEST(Fonts, NumbersAndNamesLeadToEachOther)
{
    std::int16_t number = 0;
    for (; !name_of(number).empty(); ++number)
        EXPECT_EQ(number_of(name_of(number).c_str()), number) << name_of(number);
    EXPECT_GT(number, 3);
    EXPECT_EQ(name_of(-1), "");
}

TEST(Fonts, CaseAndMarksAreOfNoConsequence)
{
    EXPECT_EQ(number_of("mon\xC3\xA1"
                        "CO"),
              number_of("Monaco"));
}

TEST(Fonts, TheOriginalsFontsAreThereUnderTheirNames)
{
    EXPECT_GT(number_of("Monaco"), 0);
    EXPECT_GT(number_of("Lucida Grande"), 0);
    EXPECT_EQ(number_of("A font that nobody has"), 0);
}
