// Merging as a user does it: by mouse, by keyboard, with real keys and real files.
#include "tests/desktop/desktop_window.h"
#include "tests/support/eventually.h"

#include <cstdio>
#include <sstream>

namespace {

class MergeWindow : public Window {
protected:
    // A PDF file of one page, on which `text` stands.
    void make_pdf(const std::string &name, const std::string &text) const
    {
        user.write("page.ps", drawing_ps(200, 100, text));
        const program_result made = user.papermill({"ps2pdf", "page.ps", name});
        EXPECT_EQ(made.status, 0) << made.out << made.err;
    }

    void open_merge_window()
    {
        start({});
        desk.press("ctrl+m");
        asking = desk.wait_for_window("Merge PDF Files");
        ASSERT_TRUE(desk.wait_for_focus(asking));
        let_it_settle();
    }

    // Opens the chooser of Add… by its letter.
    void open_chooser() const
    {
        desk.press("alt+a");
        const std::string chooser = desk.wait_for_window("Add PDF files");
        ASSERT_TRUE(desk.wait_for_focus(chooser));
        let_it_settle();
    }

    // The texts of the file's pages, in their order.
    std::vector<std::string> pages(const std::string &name) const
    {
        std::vector<std::string> texts;
        std::istringstream words(pdf_text(user.path(name)));
        for (std::string each; words >> each;)
            texts.push_back(each);
        return texts;
    }

    void expect_merged(const std::string &name, const std::vector<std::string> &texts) const
    {
        EXPECT_TRUE(eventually([&] { return pages(name).size() == texts.size(); }));
        EXPECT_EQ(pages(name), texts);
        EXPECT_TRUE(desk.wait_for_focus(console));
    }

    std::string asking; // the window's number
};

// A part of the screen.
struct area {
    int width = 0, height = 0, left = 0, top = 0;
};

class DraggingInTheMergeWindow : public MergeWindow {
protected:
    std::string picture(const std::string &name) const
    {
        const std::string file = user.elsewhere(name);
        EXPECT_EQ(user.run({"import", "-window", "root", file}).status, 0);
        return file;
    }

    // Where the screen changes when the next item of the list is selected by its key.
    area changed_by_down() const
    {
        const std::string before = picture("before.png");
        desk.press("Down");
        let_it_settle();
        const program_result found =
            user.run({"convert", before, picture("after.png"), "-compose", "difference",
                      "-composite", "-threshold", "0", "-format", "%@", "info:"});
        area changed;
        EXPECT_EQ(std::sscanf(found.out.c_str(), "%dx%d+%d+%d", &changed.width, &changed.height,
                              &changed.left, &changed.top),
                  4)
            << found.out << found.err;
        return changed;
    }

    void point(int x, int y) const
    {
        desk.xdotool({"mousemove", "--sync", std::to_string(x), std::to_string(y)});
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }

    // Presses the button at one place, moves by small steps to another one, and lets go there.
    void drag(int x, int from, int to) const
    {
        constexpr int steps = 12; // each to another place: the tool waits until it is there
        point(x, from);
        desk.xdotool({"mousedown", "1"});
        for (int step = 1; step <= steps; ++step)
            point(x + step % 2, from + (to - from) * step / steps);
        desk.xdotool({"mouseup", "1"});
        let_it_settle();
    }
};

} // namespace

TEST_F(DraggingInTheMergeWindow, TheMouseDragsAnItemToAnotherPlace)
{
    for (const char *name : {"one", "two", "three", "four", "five"})
        make_pdf(std::string(name) + ".pdf", name);
    user.set("PDFMERGE_DIR", user.work);
    user.set("PDFMERGE_INFILES", "one.pdf two.pdf three.pdf four.pdf five.pdf");
    user.set("PDFMERGE_OUTFILE", "all.pdf");
    open_merge_window();
    desk.press("Tab"); // into the list
    desk.press("Home");
    desk.press("Down");
    let_it_settle();
    // With the second and the third item, all buttons are in use: nothing else changes.
    const area two_rows = changed_by_down();
    const int row = two_rows.height / 2;
    ASSERT_GT(row, 10);
    const int first = two_rows.top - row; // the list's upper edge
    const int x = two_rows.left + 20;
    drag(x, first + 3 * row + row / 2, first + 2);             // the fourth before the first
    drag(x, first + row + row / 2, first + 5 * row + row / 2); // the second behind the last
    desk.press("Return");
    expect_merged("all.pdf", {"four", "two", "three", "five", "one"});
    EXPECT_EQ(user.papermill({"settings", "get", "PDFMERGE_INFILES"}).out,
              "four.pdf two.pdf three.pdf five.pdf one.pdf\n");
    end_with_quit();
}

TEST_F(MergeWindow, TheKeyboardAloneMergesFilesThatAreChosenTogether)
{
    make_pdf("page 2.pdf", "two");
    make_pdf("page 10.pdf", "ten");
    make_pdf("unasked.pdf", "unasked");
    user.set("PDFMERGE_DIR", user.work);
    open_merge_window();
    open_chooser();
    desk.press("shift+Tab"); // from the name into the list
    desk.press("Home");
    desk.press("shift+Down");
    let_it_settle();
    desk.press("Return");
    ASSERT_TRUE(desk.wait_for_focus(asking));
    let_it_settle();
    desk.press("alt+u"); // the last one, which is selected
    let_it_settle();
    desk.press("alt+m");
    desk.xdotool({"type", "both.pdf"});
    let_it_settle();
    desk.press("Return");
    expect_merged("both.pdf", {"ten", "two"});
    EXPECT_EQ(user.papermill({"settings", "get", "PDFMERGE_INFILES"}).out,
              "'page 10.pdf' 'page 2.pdf'\n");
    end_with_quit();
}

TEST_F(MergeWindow, NamesAreTypedOneByOneAndMovedByKeysInTheList)
{
    make_pdf("one.pdf", "one");
    make_pdf("two words.pdf", "two");
    make_pdf("three.pdf", "three");
    user.set("PDFMERGE_DIR", user.work);
    open_merge_window();
    for (const char *name : {"one.pdf", "two words.pdf", "three.pdf"}) {
        open_chooser();
        desk.xdotool({"type", user.path(name)});
        desk.press("Return");
        ASSERT_TRUE(desk.wait_for_focus(asking));
        let_it_settle();
    }
    desk.press("alt+p");
    desk.press("Tab"); // from the field into the list
    desk.press("alt+Up");
    desk.press("Home");
    desk.press("Delete");
    desk.press("alt+m");
    desk.xdotool({"type", "rest.pdf"});
    let_it_settle();
    desk.press("Return");
    expect_merged("rest.pdf", {"three", "two"});
    end_with_quit();
}
