#include "app/drag_drop.h"

#include "app/globals.h"
#include "platform/core/drags.h"
#include "tests/support/fake_script.h"
#include "tests/support/spine_test.h"
#include "tests/support/test_files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

namespace {

constexpr char long_path_message[] = ": the path is too long. Move the file or shorten its name.\n";

bool operator==(const Rect &a, const Rect &b)
{
    return a.top == b.top && a.left == b.left && a.bottom == b.bottom && a.right == b.right;
}

class DragDrop : public spine_test {
protected:
    DragDrop()
    {
        const Rect bounds = {200, 100, 500, 700}; // 600 wide, 300 high
        window = NewCWindow(nullptr, &bounds, reinterpret_cast<ConstStringPtr>("\1w"), 1,
                            documentProc, nullptr, 0, 0);
        acceptDrag = 0;
        inmyDrag = 0;
        dragFile[0] = 0;
    }

    ~DragDrop() override
    {
        SetPort(nullptr);
        DisposeWindow(window);
    }

    void tell(DragTrackingMessage message)
    {
        EXPECT_EQ(dragTrackingHandler(message, window, nullptr, &drag), noErr);
    }

    void enter(const std::vector<std::string> &items)
    {
        drag.items = items;
        tell(kDragTrackingEnterHandler);
        tell(kDragTrackingEnterWindow);
    }

    // Moves to the place in the window. True when there is a highlight then.
    bool highlighted_at(std::int16_t x, std::int16_t y)
    {
        drag.mouse = {static_cast<std::int16_t>(200 + y), static_cast<std::int16_t>(100 + x)};
        tell(kDragTrackingInWindow);
        return watched.highlighted;
    }

    void drop(const std::vector<std::string> &items)
    {
        drag.items = items;
        EXPECT_EQ(dragReceiveHandler(window, nullptr, &drag), noErr);
    }

    std::string page(const std::string &name) const
    {
        return folder.write(name, "%!PS\nshowpage\n");
    }

    std::string figure(const std::string &name) const
    {
        return folder.write(name, "%!PS-Adobe-3.0 EPSF-3.0\n%%BoundingBox: 0 0 10 10\n");
    }

    fake_script script;
    WindowRef window;
    OpaqueDrag drag;
};

} // namespace

// ---- tracking ----

TEST_F(DragDrop, OneFileMayBeDropped)
{
    for (const char *name : {"a.ps", "a.eps", "a.pdf", "a"}) { // what it is shows at the drop
        acceptDrag = 0;
        enter({page(name)});
        EXPECT_EQ(acceptDrag, 1) << name;
    }
}

TEST_F(DragDrop, TwoFilesNoneAndWhatIsNoFileMayNot)
{
    const std::string file = page("a.ps");
    const std::vector<std::vector<std::string>> drags = {
        {file, file}, {file, ""}, {"", file}, {}, {""}, {folder / "missing.ps"}};
    for (const auto &items : drags) {
        acceptDrag = 1;
        enter(items);
        EXPECT_EQ(acceptDrag, 0) << items.size();
        EXPECT_FALSE(highlighted_at(50, 50));
    }
}

TEST_F(DragDrop, WhileAConversionRunsNothingMayBeDropped)
{
    inRun = 1;
    acceptDrag = 1;
    enter({page("a.ps")});
    EXPECT_EQ(acceptDrag, 0);
    EXPECT_FALSE(highlighted_at(50, 50));
    inRun = 0; // it was decided when the drag entered
    EXPECT_FALSE(highlighted_at(50, 50));
}

TEST_F(DragDrop, TheDecisionIsKeptUntilTheNextDragEnters)
{
    enter({page("a.ps")});
    tell(kDragTrackingLeaveWindow);
    tell(kDragTrackingLeaveHandler);
    EXPECT_EQ(acceptDrag, 1);
    enter({});
    EXPECT_EQ(acceptDrag, 0);
}

TEST_F(DragDrop, ADragIsKnownToBeOverAWindow)
{
    EXPECT_EQ(inmyDrag, 0);
    tell(kDragTrackingEnterHandler);
    EXPECT_EQ(inmyDrag, 0);
    tell(kDragTrackingEnterWindow);
    EXPECT_EQ(inmyDrag, 1);
    tell(kDragTrackingLeaveWindow);
    EXPECT_EQ(inmyDrag, 0);
}

TEST_F(DragDrop, TheHighlightLeavesTheStripAtTheRightAndAtTheBottom)
{
    enter({page("a.ps")});
    EXPECT_TRUE(highlighted_at(0, 0));
    EXPECT_TRUE(highlighted_at(583, 283));
    EXPECT_FALSE(highlighted_at(584, 283));
    EXPECT_TRUE(highlighted_at(300, 150));
    EXPECT_FALSE(highlighted_at(583, 284));
    EXPECT_FALSE(highlighted_at(599, 0));
    EXPECT_FALSE(highlighted_at(0, 299));
}

TEST_F(DragDrop, TheHighlightLiesTwoPixelsWithinThePlaceToDrop)
{
    GrafPtr port = GetWindowPort(window);
    const Rect old_clip = {1, 2, 3, 4};
    port->clip = old_clip;
    enter({page("a.ps")});
    ASSERT_TRUE(highlighted_at(10, 10));
    EXPECT_TRUE((watched.highlight == Rect{2, 2, 282, 582}));
    EXPECT_TRUE((watched.highlight_clip == Rect{0, 0, 284, 584}));
    EXPECT_EQ(watched.highlight_port, port);
    EXPECT_EQ(watched.highlight_inside, 1);
    EXPECT_TRUE(port->clip == old_clip);
    EXPECT_EQ(watched.regions, 0);
}

TEST_F(DragDrop, LeavingHidesTheHighlight)
{
    enter({page("a.ps")});
    ASSERT_TRUE(highlighted_at(10, 10));
    tell(kDragTrackingLeaveHandler); // alone it means nothing
    EXPECT_TRUE(watched.highlighted);
    tell(kDragTrackingLeaveWindow);
    EXPECT_FALSE(watched.highlighted);
}

// ---- dropping ----

TEST_F(DragDrop, PostScriptAndEpsAreConverted)
{
    int calls = 0;
    for (const char *name : {"a.ps", "b.PS", "c.Ps"}) {
        drop({page(name)});
        EXPECT_EQ(script.calls(), ++calls) << name;
        EXPECT_EQ(dragFile, folder / name);
    }
    for (const char *name : {"a.eps", "b.EPS", "c.Eps"}) {
        drop({figure(name)});
        EXPECT_EQ(script.calls(), ++calls) << name;
    }
}

TEST_F(DragDrop, OtherFilesAreIgnoredInSilence)
{
    for (const char *name : {"a.pdf", "a.epsf", "a.txt", "ps", "a.ps.gz", "a.psx"}) {
        watched.highlighted = true;
        drop({page(name)});
        EXPECT_TRUE(watched.highlighted) << name; // until the drag leaves
    }
    EXPECT_EQ(script.calls(), 0);
    EXPECT_EQ(console.text(), "");
}

TEST_F(DragDrop, WhileAConversionRunsADropDoesNothing)
{
    inRun = 1;
    watched.highlighted = true;
    drop({page("a.ps")});
    EXPECT_FALSE(watched.highlighted);
    inRun = 0;
    EXPECT_EQ(script.calls(), 0);
    EXPECT_EQ(console.text(), "");
}

TEST_F(DragDrop, OfSeveralFilesOnlyTheFirstCounts)
{
    const std::string first = page("first.ps");
    drop({first, page("second.ps"), page("third.ps")});
    EXPECT_EQ(script.calls(), 1);
    EXPECT_EQ(dragFile, first);
    drop({page("a.pdf"), first});
    EXPECT_EQ(script.calls(), 1);
}

TEST_F(DragDrop, TheFileOfAnEarlierDropIsNotConvertedAgain)
{
    const std::string file = page("a.ps");
    drop({file});
    ASSERT_EQ(script.calls(), 1);
    const std::string gone = page("b.ps");
    ASSERT_EQ(unlink(gone.c_str()), 0);
    for (const std::vector<std::string> &items :
         {std::vector<std::string>{}, {""}, {"", file}, {gone}})
        drop(items);
    EXPECT_EQ(script.calls(), 1);
    EXPECT_STREQ(dragFile, "");
}

TEST_F(DragDrop, LongAndOddNamesComeWhole)
{
    for (const std::string &name :
         {std::string(64, 'n'), std::string(240, 'n'), std::string("$(touch x) \"'`\\"),
          std::string("\xC3\xA4\xFF"), std::string("new\nline")}) {
        const std::string path = page(name + ".ps");
        drop({path});
        EXPECT_EQ(dragFile, path);
    }
    EXPECT_EQ(script.calls(), 5);
}

TEST_F(DragDrop, APathThatDoesNotFitIsRefusedWhole)
{
    std::string deep = folder.path();
    while (deep.size() + 201 + 4 < path_size) {
        deep += "/" + std::string(200, 'd');
        ASSERT_EQ(mkdir(deep.c_str(), 0700), 0);
    }
    const std::string path = deep + "/" + std::string(path_size - deep.size() - 4, 'n') + ".ps";
    ASSERT_EQ(path.size(), path_size);
    write_file(path, "%!PS\nshowpage\n");
    inRun = 1;
    drop({path});
    EXPECT_EQ(console.text(), "");
    inRun = 0;
    drop({path});
    EXPECT_EQ(console.lines(), path + long_path_message);
    EXPECT_STREQ(dragFile, "");
    console.clear();
    write_file(path + "x", "%!PS\nshowpage\n");
    drop({path + "x"}); // it would not be converted anyway
    EXPECT_EQ(console.text(), "");
    EXPECT_EQ(script.calls(), 0);
}

TEST_F(DragDrop, AFileIsNotReplacedByItsOwnOutput)
{
    const std::string input = page("a.ps");
    ASSERT_EQ(symlink(input.c_str(), (folder / "a.pdf").c_str()), 0);
    const std::string eps = figure("b.eps");
    ASSERT_EQ(link(eps.c_str(), (folder / "b.pdf").c_str()), 0);
    const std::string both = input +
                             ": the output would replace the input. Choose another name.\n" + eps +
                             ": the output would replace the input. Choose another name.\n";
    drop({input});
    drop({eps});
    EXPECT_EQ(console.lines(), both);
    EXPECT_EQ(script.calls(), 0);
    EXPECT_EQ(read_file(input), "%!PS\nshowpage\n");
    EXPECT_NE(read_file(eps), "");
}
