// Real documents, as other programs write them: page sizes, texts and pictures of what comes out.

#include "cli/exit_statuses.h"
#include "tests/support/real_files.h"
#include "tests/support/terminal_test.h"

#include <array>
#include <ostream>

namespace {

class RealFile : public terminal_test, public testing::WithParamInterface<producer> {
protected:
    void expect_a_good_pdf(const producer &from)
    {
        const std::string out = user.path("out.pdf");
        EXPECT_EQ(qpdf_complaints(out), "");
        EXPECT_EQ(pdf_page_count(out), from.pages);
        if (contains(from.name, ".eps")) {
            box = eps_box(user.read(from.name));
        } else { // the whole page
            box[2] = 595;
            box[3] = 842;
        }
        const int width = box[2] - box[0];
        const int height = box[3] - box[1];
        const std::string size = std::to_string(width) + " x " + std::to_string(height);
        if (from.page_size != nullptr) {
            EXPECT_EQ(from.page_size, size);
        }
        EXPECT_EQ(pdf_page_size(out).substr(0, size.size()), size);

        const std::string twin_pdf = user.path(from.twin);
        if (!user.has(from.twin))
            user.run({"ps2pdf", "-dEPSCrop", from.name, twin_pdf});
        const strings words = words_of(pdf_text(twin_pdf));
        EXPECT_EQ(words_of(pdf_text(out)), words);
        EXPECT_NE(words.empty(), from.has_text);
        for (int page = 1; page <= from.pages; ++page) {
            // Nobody scales a scan as Ghostscript does.
            const grey_picture twin = from.has_text ? ps_picture(user.path(from.name), width,
                                                                 height, box[0], box[1], page)
                                                    : pdf_picture(twin_pdf, page);
            EXPECT_LT(difference(pdf_picture(out, page), twin), 0.2) << "page " << page;
        }
    }

    std::array<int, 4> box = {};
};

TEST_P(RealFile, BecomesTheSamePagesAsPdf)
{
    const producer &from = GetParam();
    ASSERT_TRUE(make_real_file(user, from));
    const program_result result = user.papermill({"ps2pdf", from.name, "out.pdf"});
    ASSERT_EQ(result.status, cli_done) << story(result);
    expect_a_good_pdf(from);
}

TEST_P(RealFile, BecomesTheSamePagesAsPdfWithPstopdf)
{
    const producer &from = GetParam();
    ASSERT_TRUE(make_real_file(user, from));
    user.set("APPLE_PDF_STR", "1");
    const program_result result = user.papermill({"ps2pdf", from.name, "out.pdf"});
    ASSERT_EQ(result.status, cli_done) << story(result);
    EXPECT_TRUE(contains(result.out, "Page " + std::to_string(from.pages) + "\n"));
    expect_a_good_pdf(from);
}

// The page as its own maker draws it, taken from another place of a larger page.
TEST_P(RealFile, IsDrawnTheSameAfterEps2eps)
{
    const producer &from = GetParam();
    if (!contains(from.name, ".eps"))
        return; // the others hold pages
    ASSERT_TRUE(make_real_file(user, from));
    const program_result result = user.papermill({"eps2eps", from.name, "out.eps"});
    ASSERT_EQ(result.status, cli_done) << story(result);
    box = eps_box(user.read(from.name));
    EXPECT_EQ(eps_box(user.read("out.eps")), box);
    const auto picture = [&](const char *name) {
        return ps_picture(user.path(name), box[2] - box[0], box[3] - box[1], box[0], box[1]);
    };
    EXPECT_LT(difference(picture("out.eps"), picture(from.name)), 0.1);
}

INSTANTIATE_TEST_SUITE_P(Producers, RealFile, testing::ValuesIn(producers),
                         [](const testing::TestParamInfo<producer> &each) {
                             return each.param.title;
                         });

// ---- the kinds of EPS files there are ----

// The drawing that all of them show: 100 points wide and 50 high, its lower left corner at (30,
// 40).
const std::string header = "%!PS-Adobe-3.0 EPSF-3.0\n";
const std::string box_line = "%%BoundingBox: 30 40 130 90\n";
const std::string drawing = "0 0 1 setrgbcolor 30 40 20 20 rectfill 110 80 20 10 rectfill\n"
                            "/Helvetica findfont 10 scalefont setfont 54 46 moveto\n"
                            "(papermill) show\n";
const std::string plain = header + box_line + "%%EndComments\n" + drawing + "showpage\n%%EOF\n";

std::string with_line_ends(const std::string &line_end)
{
    std::string result;
    for (const char c : plain)
        result += c == '\n' ? line_end : std::string(1, c);
    return result;
}

// A binary preview header: where the PostScript and where the preview is, each with its length.
std::string with_preview(bool preview_first)
{
    const std::string preview = std::string("II*\0", 4) + std::string(400, '\r') +
                                "%!PS\n%%BoundingBox: 0 0 1 1\nshowpage\n";
    constexpr std::size_t header_size = 30;
    const std::size_t ps_at = header_size + (preview_first ? preview.size() : 0);
    const std::size_t preview_at = header_size + (preview_first ? 0 : plain.size());
    std::string result = "\xc5\xd0\xd3\xc6";
    for (const std::size_t number :
         {ps_at, plain.size(), std::size_t{0}, std::size_t{0}, preview_at, preview.size()}) {
        for (int shift = 0; shift < 32; shift += 8)
            result += static_cast<char>(number >> shift & 255);
    }
    result += "\xff\xff";
    return result + (preview_first ? preview + plain : plain + preview);
}

struct eps_kind {
    const char *title;
    std::string bytes;
};

void PrintTo(const eps_kind &each, std::ostream *stream)
{
    *stream << each.title;
}

const eps_kind eps_kinds[] = {
    {"Plain", plain},
    {"MacLineEnds", with_line_ends("\r")},
    {"DosLineEnds", with_line_ends("\r\n")},
    {"WithoutShowpage", header + box_line + drawing + "%%EOF\n"},
    {"WithoutTheLastLineEnd", header + box_line + drawing + "showpage\n%%EOF"},
    {"LeadingControlD", "\004" + plain},
    {"LeadingAndTrailingControlD", "\004" + plain + "\004"},
    {"PjlHead", "\033%-12345X@PJL JOB\r\n@PJL ENTER LANGUAGE = POSTSCRIPT\r\n" + plain +
                    "\004\033%-12345X@PJL EOJ\r\n\033%-12345X"},
    {"PreviewBehind", with_preview(false)},
    {"PreviewBefore", with_preview(true)},
    {"TextPreview", header + box_line +
                        "%%EndComments\n%%BeginPreview: 8 1 1 1\n% 00\n%%EndPreview\n" + drawing +
                        "showpage\n%%EOF\n"},
    {"BoxAtTheEnd", header + "%%BoundingBox: (atend)\n%%EndComments\n" + drawing +
                        "showpage\n%%Trailer\n" + box_line + "%%EOF\n"},
    {"FinerBoxBehind", header + box_line + "%%HiResBoundingBox: 30.4 40.3 129.6 89.7\n" + drawing +
                           "showpage\n%%EOF\n"},
    {"FinerBoxBefore", header + "%%HiResBoundingBox: 30.2 40.3 130.6 90.7\n" + box_line + drawing +
                           "showpage\n%%EOF\n"},
    {"NegativeCoordinates",
     header + "%%BoundingBox: -50 -20 50 30\n-80 -60 translate\n" + drawing + "showpage\n%%EOF\n"},
    {"FarAway", header + "%%BoundingBox: 3000 4000 3100 4050\n2970 3960 translate\n" + drawing +
                    "showpage\n%%EOF\n"},
    {"EmbeddedDocument", header + box_line + drawing +
                             "save\n/showpage {} def\n%%BeginDocument: other.eps\n" + header +
                             "%%BoundingBox: 0 0 10 10\nshowpage\n%%EndDocument\nrestore\n"
                             "showpage\n%%EOF\n"},
    {"LongLines",
     header + box_line + "% " + std::string(30000, 'x') + "\n" + drawing + "showpage\n%%EOF\n"},
};

class EpsKind : public terminal_test, public testing::WithParamInterface<eps_kind> {
protected:
    void expect_the_drawing()
    {
        const program_result result = user.papermill({"in.eps"});
        EXPECT_EQ(result.status, cli_done) << story(result);
        const std::string out = user.path("in.pdf");
        EXPECT_EQ(qpdf_complaints(out), "");
        EXPECT_EQ(pdf_page_count(out), 1);
        EXPECT_EQ(pdf_page_size(out), "100 x 50");
        EXPECT_EQ(words_of(pdf_text(out)), strings{"papermill"});
        const std::string twin = user.write("twin.ps", "%!PS\n" + drawing + "showpage\n");
        EXPECT_LT(difference(pdf_picture(out), ps_picture(twin, 100, 50, 30, 40)), 0.15);
    }
};

TEST_P(EpsKind, ShowsTheSameDrawing)
{
    user.write("in.eps", GetParam().bytes);
    expect_the_drawing();
}

TEST_P(EpsKind, ShowsTheSameDrawingWithPstopdf)
{
    user.set("APPLE_PDF_STR", "1");
    user.write("in.eps", GetParam().bytes);
    expect_the_drawing();
}

// What the result declares, and what it draws around its box, too.
TEST_P(EpsKind, IsRewrittenAsTheSameDrawing)
{
    const std::string bytes = GetParam().bytes;
    user.write("in.eps", bytes);
    const program_result result = user.papermill({"eps2eps", "in.eps", "out.eps"});
    ASSERT_EQ(result.status, cli_done) << story(result);
    const std::string made = user.read("out.eps");
    const std::array<int, 4> box = eps_box(made);
    EXPECT_EQ(box[2] - box[0], 100) << made.substr(0, 300);
    EXPECT_EQ(box[3] - box[1], 50) << made.substr(0, 300);
    if (!contains(bytes, "(atend)")) {
        // The first box that is not a preview's.
        const std::size_t at =
            bytes.find(GetParam().title == std::string("PreviewBefore") ? header + "%%BoundingBox:"
                                                                        : "%%BoundingBox:");
        EXPECT_EQ(box, eps_box(bytes.substr(at)));
    }
    const std::string twin = user.write("twin.ps", "%!PS\n" + drawing + "showpage\n");
    const grey_picture expected = ps_picture(twin, 120, 70, 20, 30);
    EXPECT_LT(
        difference(ps_picture(user.path("out.eps"), 120, 70, box[0] - 10, box[1] - 10), expected),
        0.15);
    // It is EPS for this program, too.
    const program_result again = user.papermill({"ps2pdf", "out.eps", "out.pdf"});
    EXPECT_EQ(again.status, cli_done) << story(again);
    EXPECT_EQ(pdf_page_size(user.path("out.pdf")), "100 x 50");
    EXPECT_EQ(words_of(pdf_text(user.path("out.pdf"))), strings{"papermill"});
}

INSTANTIATE_TEST_SUITE_P(Kinds, EpsKind, testing::ValuesIn(eps_kinds),
                         [](const testing::TestParamInfo<eps_kind> &each) {
                             return each.param.title;
                         });

TEST_F(EpsKind, MostlyVerticalTextIsNotTurned)
{
    std::string vertical = "90 rotate /Helvetica findfont 8 scalefont setfont\n";
    for (int i = 1; i <= 7; ++i)
        vertical += "10 " + std::to_string(-12 * i) + " moveto (vertical line " +
                    std::to_string(i) + ") show\n";
    user.write("in.eps", header + "%%BoundingBox: 0 0 100 120\n" + vertical + "showpage\n");
    for (const char *pstopdf : {"0", "1"}) {
        user.set("APPLE_PDF_STR", pstopdf);
        ASSERT_EQ(user.papermill({"in.eps"}).status, cli_done);
        const std::string out = user.path("in.pdf");
        EXPECT_EQ(pdf_page_size(out), "100 x 120") << pstopdf;
        EXPECT_LT(difference(pdf_picture(out), ps_picture(user.path("in.eps"), 100, 120)), 0.2)
            << pstopdf;
    }
}

TEST_F(EpsKind, FractionsOfABoxAreCutOff)
{
    user.write("in.eps", header +
                             "%%HiResBoundingBox: 10.7 20.2 110.9 220.5\n"
                             "%%BoundingBox: 10 20 111 221\n" +
                             drawing + "showpage\n");
    EXPECT_EQ(user.papermill({"in.eps"}).status, cli_done);
    EXPECT_EQ(pdf_page_size(user.path("in.pdf")), "100 x 200");
}

TEST_F(EpsKind, FinerAndFractionalBoxesStayAsTheyStand)
{
    user.write("in.eps", header +
                             "%%BoundingBox: -10.5 -20.25 110.75 60.5\n"
                             "%%HiResBoundingBox: -10.4 -20.2 110.7 60.4\n" +
                             drawing + "showpage\n");
    const program_result result = user.papermill({"eps2eps", "in.eps", "out.eps"});
    ASSERT_EQ(result.status, cli_done) << story(result);
    const std::string made = user.read("out.eps");
    EXPECT_EQ(count(made, "\n%%BoundingBox: -10.5 -20.25 110.75 60.5\n"), 1U)
        << made.substr(0, 300);
    EXPECT_EQ(count(made, "\n%%HiResBoundingBox: -10.4 -20.2 110.7 60.4\n"), 1U)
        << made.substr(0, 300);
    EXPECT_EQ(count(made, "BoundingBox"), 2U);
}

TEST_F(EpsKind, ManyPagesOfPostScriptAreAllThere)
{
    user.write("in.ps", big_ps(40));
    EXPECT_EQ(user.papermill({"in.ps"}).status, cli_done);
    EXPECT_EQ(pdf_page_count(user.path("in.pdf")), 40);
    EXPECT_EQ(qpdf_complaints(user.path("in.pdf")), "");
}

} // namespace
