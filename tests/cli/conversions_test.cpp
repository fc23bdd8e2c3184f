// What the conversions make of real documents, as other programs find it.

#include "cli/exit_statuses.h"
#include "tests/support/conversions.h"
#include "tests/support/real_files.h"
#include "tests/support/terminal_test.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <ostream>
#include <set>
#include <sstream>
#include <utility>

namespace fs = std::filesystem;

namespace {

class Conversion : public terminal_test {
protected:
    void convert(const strings &words)
    {
        const program_result result = user.papermill(words);
        EXPECT_EQ(result.status, cli_done) << story(result);
        EXPECT_EQ(result.err, "");
    }

    // Ghostscript alone, as a test's own tool.
    void ghostscript(strings words)
    {
        words.insert(words.begin(), {"gs", "-q", "-dSAFER", "-dNOPAUSE", "-dBATCH"});
        const program_result result = user.run(words);
        ASSERT_EQ(result.status, 0) << story(result);
    }

    // Pages of three sizes, the second turned, with a link within the document and one out of it.
    void make_pdf_with_links(const std::string &name, const std::string &words)
    {
        const std::string font = "/Helvetica findfont 14 scalefont setfont\n";
        user.write("links.ps",
                   "%!PS\n<< /PageSize [300 200] >> setpagedevice\n" + font + "20 150 moveto (" +
                       words +
                       " first) show 0 0 30 20 rectfill\n"
                       "[ /Rect [20 20 100 40] /Border [0 0 0] /Subtype /Link /Action << /Subtype "
                       "/URI /URI (http://example.org/" +
                       words +
                       ") >> /ANN pdfmark\n"
                       "[ /Rect [120 20 180 40] /Border [0 0 0] /Subtype /Link /Page 3 /View [/XYZ "
                       "0 100 null] "
                       "/ANN pdfmark\nshowpage\n"
                       "<< /PageSize [200 400] >> setpagedevice\n" +
                       font +
                       "[ {ThisPage} << /Rotate 90 >> /PUT pdfmark\n"
                       "20 350 moveto (" +
                       words +
                       " second) show 0 0 30 20 rectfill showpage\n"
                       "<< /PageSize [250 250] >> setpagedevice\n" +
                       font + "20 150 moveto (" + words +
                       " third) show 200 200 30 20 rectfill showpage\n");
        ghostscript(
            {"-sDEVICE=pdfwrite", "-sOutputFile=" + name, "-dAutoRotatePages=/None", "links.ps"});
        fs::remove(user.path("links.ps"));
    }

    // The sizes of all pages as they are shown.
    std::vector<std::pair<double, double>> pages_of(const std::string &name)
    {
        const program_result result = user.run({"pdfinfo", "-f", "1", "-l", "99", name});
        std::istringstream lines(result.out);
        std::vector<std::pair<double, double>> sizes;
        for (std::string line; std::getline(lines, line);) {
            int page = 0;
            double width = 0;
            double height = 0;
            int turn = 0;
            if (std::sscanf(line.c_str(), "Page %d size: %lf x %lf", &page, &width, &height) == 3)
                sizes.emplace_back(width, height);
            else if (std::sscanf(line.c_str(), "Page %d rot: %d", &page, &turn) == 2 &&
                     turn % 180 == 90)
                std::swap(sizes.back().first, sizes.back().second);
        }
        return sizes;
    }

    std::string words_in_order(const std::string &name)
    {
        std::istringstream text(pdf_text(user.path(name)));
        std::string result;
        for (std::string word; text >> word;)
            result += word + " ";
        return result;
    }

    // The file as qpdf writes it for people to read.
    std::string readable(const std::string &name)
    {
        return user.run({"qpdf", "--qdf", "--object-streams=disable", name, "-"}).out;
    }

    void expect_same_pages(const std::string &made, const std::string &original, int pages)
    {
        ASSERT_EQ(pdf_page_count(user.path(made)), pages);
        for (int page = 1; page <= pages; ++page)
            EXPECT_LT(difference(pdf_picture(user.path(made), page),
                                 pdf_picture(user.path(original), page)),
                      0.2)
                << "page " << page;
    }
};

// ---- PDF to PDF, merged PDF ----

TEST_F(Conversion, Pdf2pdfKeepsPagesTextAndLinks)
{
    make_pdf_with_links("in.pdf", "apple");
    convert({"pdf2pdf", "in.pdf", "out.pdf"});
    EXPECT_EQ(qpdf_complaints(user.path("out.pdf")), "");
    EXPECT_EQ(pages_of("out.pdf"), pages_of("in.pdf"));
    EXPECT_EQ(words_in_order("out.pdf"), "apple first apple second apple third ");
    const std::string readable_out = readable("out.pdf");
    EXPECT_EQ(count(readable_out, "/Subtype /Link"), 2U);
    EXPECT_TRUE(contains(readable_out, "(http://example.org/apple)"));
    expect_same_pages("out.pdf", "in.pdf", 3);

    // And onto itself.
    convert({"pdf2pdf", "out.pdf", "out.pdf"});
    EXPECT_EQ(qpdf_complaints(user.path("out.pdf")), "");
    EXPECT_EQ(pages_of("out.pdf"), pages_of("in.pdf"));
    EXPECT_EQ(user.names(), (strings{"in.pdf", "out.pdf"}));
}

TEST_F(Conversion, Pdf2pdfHeedsTheOptionsOfTheSetting)
{
    make_pdf_with_links("in.pdf", "apple");
    convert({"pdf2pdf", "in.pdf", "out.pdf"});
    EXPECT_EQ(user.read("out.pdf").substr(0, 8), "%PDF-1.3"); // the default
    user.set("PS2PDF_OPTION_STR", "-dCompatibilityLevel=1.6 -dFirstPage=3");
    convert({"pdf2pdf", "in.pdf", "out.pdf"});
    EXPECT_EQ(user.read("out.pdf").substr(0, 8), "%PDF-1.6");
    EXPECT_EQ(words_in_order("out.pdf"), "apple third ");
}

TEST_F(Conversion, MergeKeepsOrderPagesTextAndLinks)
{
    make_pdf_with_links("b one.pdf", "apple");
    make_pdf_with_links("a two.pdf", "plum");
    ASSERT_TRUE(make_with_groff(user, ".PP\nA letter in between.\n", "letter.pdf"));
    fs::remove(user.path("source.ms"));
    convert(
        {"merge", "-o", "all of them.pdf", "b one.pdf", "letter.pdf", "a two.pdf", "letter.pdf"});
    const std::string out = user.path("all of them.pdf");
    EXPECT_EQ(qpdf_complaints(out), "");
    EXPECT_EQ(pdf_page_count(out), 8);
    EXPECT_EQ(words_in_order("all of them.pdf"),
              "apple first apple second apple third A letter in between. "
              "plum first plum second plum third A letter in between. ");
    const std::string all = readable("all of them.pdf");
    EXPECT_EQ(count(all, "/Subtype /Link"), 4U);
    EXPECT_TRUE(contains(all, "(http://example.org/apple)"));
    EXPECT_TRUE(contains(all, "(http://example.org/plum)"));
    const std::pair<int, const char *> from[] = {
        {1, "b one.pdf"}, {2, "b one.pdf"}, {3, "b one.pdf"}, {1, "letter.pdf"},
        {1, "a two.pdf"}, {2, "a two.pdf"}, {3, "a two.pdf"}, {1, "letter.pdf"}};
    int page = 0;
    for (const auto &[number, name] : from) {
        ++page;
        EXPECT_LT(difference(pdf_picture(out, page), pdf_picture(user.path(name), number)), 0.1)
            << "page " << page;
    }
}

// A link within the second file leads to the second file's page.
TEST_F(Conversion, MergedLinksLeadToTheirOwnPages)
{
    make_pdf_with_links("one.pdf", "apple");
    make_pdf_with_links("two.pdf", "plum");
    convert({"merge", "-o", "all.pdf", "one.pdf", "two.pdf"});
    const std::string all = readable("all.pdf");
    // The pages' object numbers in their order, and those that links lead to.
    std::istringstream kids(all.substr(all.find("/Kids [") + 7));
    std::vector<int> pages;
    for (std::string number, generation, letter; kids >> number >> generation >> letter;) {
        if (number[0] == ']')
            break;
        pages.push_back(std::stoi(number));
    }
    ASSERT_EQ(pages.size(), 6U);
    std::set<int> targets;
    for (std::size_t at = all.find("/Dest ["); at != std::string::npos;
         at = all.find("/Dest [", at + 1)) {
        std::istringstream target(all.substr(at + 7, 40));
        int number = 0;
        target >> number;
        targets.insert(number);
    }
    EXPECT_EQ(targets, (std::set<int>{pages[2], pages[5]}));
}

TEST_F(Conversion, MergeWorksInTheFolderItIsCalledFrom)
{
    fs::create_directories(user.path("sub folder/deeper"));
    user.write("sub folder/a.pdf", make_document(document::pdf, 101));
    user.write("sub folder/deeper/b.pdf", make_document(document::pdf, 102));
    const std::string elsewhere = user.elsewhere("c.pdf");
    write_file(elsewhere, make_document(document::pdf, 103));
    program_call call = user.call({"merge", "deeper/b.pdf", "a.pdf", elsewhere, "-o", "out.pdf"});
    call.folder = user.path("sub folder");
    const program_result result = run_program(call);
    EXPECT_EQ(result.status, cli_done) << story(result);
    EXPECT_TRUE(contains(result.out, "Current directory -- " + user.path("sub folder") + ".\n"))
        << story(result);
    EXPECT_EQ(names_in(user.path("sub folder")), (strings{"a.pdf", "deeper", "out.pdf"}));
    EXPECT_EQ(words_in_order("sub folder/out.pdf"), "papermill102 papermill101 papermill103 ");
}

// Neither read nor changed.
TEST_F(Conversion, MergeLeavesTheRememberedMergeAlone)
{
    user.set("PDFMERGE_INFILES", "x.pdf y.pdf");
    user.set("PDFMERGE_OUTFILE", "z.pdf");
    user.set("PDFMERGE_DIR", "/nowhere");
    user.write("a.pdf", make_document(document::pdf, 101));
    convert({"merge", "-o", "out.pdf", "a.pdf"});
    EXPECT_EQ(user.papermill({"settings", "get", "PDFMERGE_INFILES"}).out, "x.pdf y.pdf\n");
    EXPECT_EQ(user.papermill({"settings", "get", "PDFMERGE_OUTFILE"}).out, "z.pdf\n");
    EXPECT_EQ(user.papermill({"settings", "get", "PDFMERGE_DIR"}).out, "/nowhere\n");
    EXPECT_EQ(user.names(), (strings{"a.pdf", "out.pdf"}));
}

TEST_F(Conversion, MergeNamesTheOneThatIsBad)
{
    user.write("good.pdf", make_document(document::pdf, 101));
    user.write("text.pdf", "no PDF\n");
    user.write("pages.pdf", pdf_file({}));
    user.write("out.pdf", "an older result");
    ASSERT_EQ(
        user.run({"qpdf", "--encrypt", "user", "owner", "256", "--", "good.pdf", "locked.pdf"})
            .status,
        0);
    const strings before = user.names();
    const std::pair<const char *, const char *> bad[] = {
        {"none.pdf", ": File not found!\n"},
        {"text.pdf", ": this is no PDF file.\n"},
        {"pages.pdf", ": the PDF file has no pages.\n"},
        {"locked.pdf", ": the file is encrypted; it opens with its password only.\n"}};
    for (const auto &[name, cause] : bad) {
        for (const strings &list :
             {strings{name, "good.pdf", "good.pdf"}, strings{"good.pdf", name, "good.pdf"},
              strings{"good.pdf", "good.pdf", name}}) {
            strings words = {"merge", "-o", "out.pdf"};
            words.insert(words.end(), list.begin(), list.end());
            const program_result result = user.papermill(words);
            EXPECT_EQ(result.status, cli_failed) << story(result);
            EXPECT_EQ(count(result.out, std::string("\n") + name + cause), 1U) << story(result);
            EXPECT_EQ(user.read("out.pdf"), "an older result");
            EXPECT_EQ(user.names(), before);
        }
    }
}

// ---- PDF to PostScript ----

struct pdf_to_ps {
    const char *title;
    strings words;
};

void PrintTo(const pdf_to_ps &each, std::ostream *stream)
{
    *stream << each.title;
}

class PdfToPs : public Conversion, public testing::WithParamInterface<pdf_to_ps> {
protected:
    void expect_the_pages_again(const std::string &original, int pages)
    {
        strings words = GetParam().words;
        words.insert(words.end(), {original, "out.ps"});
        convert(words);
        // Back to PDF, with a tool of the test's own.
        ghostscript(
            {"-sDEVICE=pdfwrite", "-dAutoRotatePages=/None", "-sOutputFile=back.pdf", "out.ps"});
        expect_same_pages("back.pdf", original, pages);
    }
};

TEST_P(PdfToPs, DrawsTheSamePages)
{
    ASSERT_TRUE(make_with_groff(user,
                                ".TL\nA report\n.PP\nThe quick brown fox. Office, waffle.\n"
                                ".bp\n.PP\nThe end, in \\fBbold\\fP and \\f(CWtypewriter\\fP.\n",
                                "in.pdf"));
    expect_the_pages_again("in.pdf", 2);
}

TEST_P(PdfToPs, DrawsTheSamePagesOfCairo)
{
    ASSERT_TRUE(make_with_groff(user, ".PP\nThe quick brown fox.\n.bp\n.PP\nThe end.\n", "g.pdf"));
    const program_result made = user.run({"pdftocairo", "-pdf", "g.pdf", "in.pdf"});
    ASSERT_EQ(made.status, 0) << story(made);
    expect_the_pages_again("in.pdf", 2);
}

TEST_P(PdfToPs, KeepsPagesOfManySizes)
{
    make_pdf_with_links("in.pdf", "apple");
    strings words = GetParam().words;
    words.insert(words.end(), {"in.pdf", "out.ps"});
    convert(words);
    ghostscript(
        {"-sDEVICE=pdfwrite", "-dAutoRotatePages=/None", "-sOutputFile=back.pdf", "out.ps"});
    ASSERT_EQ(pdf_page_count(user.path("back.pdf")), 3);
    for (const int page : {1, 3})
        EXPECT_LT(difference(pdf_picture(user.path("back.pdf"), page),
                             pdf_picture(user.path("in.pdf"), page)),
                  0.1)
            << "page " << page;
    // The turned page may come turned on a page that is not: the same ink on the same area.
    const grey_picture second = pdf_picture(user.path("back.pdf"), 2);
    EXPECT_EQ(second.width * second.height, 200 * 400);
}

INSTANTIATE_TEST_SUITE_P(Tools, PdfToPs,
                         testing::Values(pdf_to_ps{"Ghostscript", {"pdf2ps"}},
                                         pdf_to_ps{"Pdftops", {"pdf2ps", "--pdftops"}}),
                         [](const testing::TestParamInfo<pdf_to_ps> &each) {
                             return each.param.title;
                         });

TEST_F(Conversion, SettingChoosesPdftops)
{
    user.write("in.pdf", make_document(document::pdf, 101));
    convert({"pdf2ps", "in.pdf", "gs.ps"});
    user.set("PDFTOPS_STR", "1");
    convert({"pdf2ps", "in.pdf", "poppler.ps"});
    EXPECT_TRUE(contains(user.read("gs.ps"), "Ghostscript"));
    EXPECT_FALSE(contains(user.read("poppler.ps"), "Ghostscript"));
    EXPECT_TRUE(contains(user.read("poppler.ps"), "xpdf"))
        << user.read("poppler.ps").substr(0, 200);
}

TEST_F(Conversion, WithoutOutNamesTheOutputAfterTheInput)
{
    user.write("a.b.pdf", make_document(document::pdf, 101));
    convert({"pdf2ps", "a.b.pdf"});
    user.write("text.ps", make_document(document::ps, 102));
    convert({"ps2ascii", "text.ps"});
    user.write("figure.eps", make_document(document::eps, 103));
    convert({"eps2tiff", "figure.eps"});
    EXPECT_EQ(user.names(),
              (strings{"a.b.pdf", "a.b.ps", "figure.eps", "figure.tiff", "text.ps", "text.txt"}));
}

// ---- PostScript to text ----

// Single blanks for all that is blank.
std::string in_one_line(const std::string &text)
{
    std::istringstream words(text);
    std::string result;
    for (std::string word; words >> word;)
        result += word + " ";
    return result;
}

TEST_F(Conversion, Ps2asciiKeepsWordsAndTheirOrder)
{
    ASSERT_TRUE(make_with_groff(
        user,
        ".NH\nFirst things\n.PP\nThe office has an efficient waffle machine; the flat file is "
        "finished.\n.PP\nGr\\[:o]\\[ss]ere \\[:U]bung f\\[:u]r \\[:A]rzte, \\('e\\(`a, \\[Eu]5.\n"
        ".bp\n.NH\nSecond things\n.PP\nThe \\fBend\\fP of the \\fIsecond\\fP page.\n",
        "in.ps"));
    convert({"ps2ascii", "in.ps", "out.txt"});
    const std::string text = in_one_line(user.read("out.txt"));
    std::size_t at = 0;
    for (const char *part :
         {"1. First things",
          "The office has an efficient waffle machine; the flat file is finished.",
          "Gr\xc3\xb6\xc3\x9f"
          "ere \xc3\x9c"
          "bung f\xc3\xbcr \xc3\x84rzte, \xc3\xa9\xc3\xa0, \xe2\x82\xac"
          "5.",
          "2. Second things", "The end of the second page."}) {
        const std::size_t found = text.find(part, at);
        EXPECT_NE(found, std::string::npos) << part << " is not in\n" << text;
        at = found == std::string::npos ? at : found;
    }
    EXPECT_FALSE(contains(user.read("out.txt"), "\r"));
}

TEST_F(Conversion, Ps2asciiFollowsColumns)
{
    std::string source = ".2C\n.ad l\n.PP\n";
    for (int line = 1; line <= 100; ++line)
        source += "Sentence number " + std::to_string(line) + " of the text flows on.\n";
    ASSERT_TRUE(make_with_groff(user, source, "in.ps"));
    convert({"ps2ascii", "in.ps"});
    const std::string text = in_one_line(user.read("in.txt"));
    std::size_t at = 0;
    for (int line = 1; line <= 100; ++line) {
        at = text.find("Sentence number " + std::to_string(line) + " of the text flows on.", at);
        ASSERT_NE(at, std::string::npos) << line << " in\n" << text;
    }
}

TEST_F(Conversion, Ps2asciiKeepsTheLinesOfAListing)
{
    std::string list;
    for (int i = 1; i <= 150; ++i)
        list += "Line " + std::to_string(i) + "\n";
    user.write("list.txt", list);
    const program_result made =
        user.run({"enscript", "-q", "-B", "-M", "A4", "-o", "in.ps", "list.txt"});
    ASSERT_EQ(made.status, 0) << story(made);
    convert({"ps2ascii", "in.ps", "out.txt"});
    std::string lines;
    std::istringstream text(user.read("out.txt"));
    for (std::string line; std::getline(text, line);) {
        line.erase(std::remove(line.begin(), line.end(), '\f'), line.end());
        const std::size_t start = line.find_first_not_of(' ');
        if (start != std::string::npos)
            lines += line.substr(start) + "\n";
    }
    EXPECT_EQ(lines, list);
}

// ---- PDF to DSC ----

TEST_F(Conversion, Pdf2dscMakesAnIndexOfThePages)
{
    fs::create_directory(user.path("made here"));
    make_pdf_with_links("made here/my (own) paper.pdf", "apple");
    const std::string bytes = user.read("made here/my (own) paper.pdf");
    convert({"pdf2dsc", "made here/my (own) paper.pdf", "made here/index.dsc"});
    EXPECT_EQ(names_in(user.path("made here")), (strings{"index.dsc", "my (own) paper.pdf"}));
    EXPECT_EQ(user.read("made here/my (own) paper.pdf"), bytes);

    const std::string index = user.read("made here/index.dsc");
    EXPECT_EQ(index.compare(0, 14, "%!PS-Adobe-3.0"), 0);
    EXPECT_TRUE(contains(index, "\n%%Pages: 3\n"));
    // As a viewer shows page 2: what comes before all pages, the page, what comes after them.
    const std::size_t first = index.find("%%Page: 1 1");
    const std::size_t second = index.find("%%Page: 2 2");
    const std::size_t third = index.find("%%Page: 3 3");
    const std::size_t trailer = index.find("%%Trailer");
    ASSERT_TRUE(first < second && second < third && third < trailer) << index;
    user.write("made here/second.dsc", index.substr(0, first) +
                                           index.substr(second, third - second) +
                                           index.substr(trailer));
    program_call viewer = user.call({});
    viewer.folder = user.path("made here");
    viewer.arguments = {"gs",
                        "-q",
                        "-dSAFER",
                        "-dNOPAUSE",
                        "-dBATCH",
                        "-sDEVICE=pdfwrite",
                        "-dAutoRotatePages=/None",
                        "-sOutputFile=second.pdf",
                        "--permit-file-read=my (own) paper.pdf",
                        "second.dsc"};
    const program_result shown = run_program(viewer);
    EXPECT_EQ(shown.status, 0) << story(shown);
    EXPECT_EQ(in_one_line(pdf_text(user.path("made here/second.pdf"))), "apple second ");
    const grey_picture page = pdf_picture(user.path("made here/second.pdf"));
    EXPECT_EQ(page.width * page.height, 200 * 400);
}

// Whoever opens the index may let it read more than it should. What begins with a percent sign is
// a device to PostScript.
TEST_F(Conversion, Pdf2dscMakesNoDeviceOfAName)
{
    for (const char *name : {"%pipe%touch pwned; cat p.pdf #.pdf", "%d.pdf", "%stdin.pdf"}) {
        user.write(name, make_document(document::pdf, 101));
        user.write("p.pdf", make_document(document::pdf, 101));
        convert({"pdf2dsc", name, "index.dsc"});
        const program_result shown =
            user.run({"gs", "-q", "-dSAFER", "-dNOPAUSE", "-dBATCH", "-sDEVICE=txtwrite",
                      "-sOutputFile=out.txt", "--permit-file-read=*", "--permit-file-read=./*",
                      "index.dsc"});
        // Ghostscript opens nothing that is called like a pipe.
        if (contains(name, "%pipe%"))
            EXPECT_TRUE(contains(shown.out, "/invalidfileaccess")) << story(shown);
        else
            EXPECT_TRUE(contains(user.read("out.txt"), "papermill101")) << name << story(shown);
        EXPECT_FALSE(user.has("pwned")) << name;
        fs::remove(user.path(name));
    }
}

// ---- PostScript to EPS ----

class PsToEps : public Conversion, public testing::WithParamInterface<producer> {
protected:
    // What the page looks like to others.
    grey_picture page_picture(int scale)
    {
        const program_result made =
            user.run({"ps2pdf", "-sPAPERSIZE=a4", "-dAutoRotatePages=/None", "in.ps", "page.pdf"});
        EXPECT_EQ(made.status, 0) << story(made);
        EXPECT_EQ(pdf_page_count(user.path("page.pdf")), 1);
        return pdf_picture(user.path("page.pdf"), 1, 72 * scale);
    }

    static grey_picture part(const grey_picture &from, int left, int top, int width, int height)
    {
        grey_picture result = {width, height, std::string()};
        for (int y = top; y < top + height; ++y) {
            for (int x = left; x < left + width; ++x) {
                const bool within = x >= 0 && x < from.width && y >= 0 && y < from.height;
                result.pixels +=
                    within ? from.pixels[static_cast<std::size_t>(y * from.width + x)] : '\xff';
            }
        }
        return result;
    }

    // The picture of the EPS file, placed on a page of another document, of the part of that page
    // where the original's page would lie.
    grey_picture placed(const std::string &eps, int width, int height, int scale)
    {
        const std::string zoom = std::to_string(scale);
        // As programs that import figures do it, and with a document that goes on after it.
        const std::string page =
            user.write("outer.ps", "%!PS-Adobe-3.0\n"
                                   "/figure save def 57 66\n"
                                   "100 200 translate " +
                                       zoom + " " + zoom +
                                       " scale\n"
                                       "/showpage {} def\n"
                                       "%%BeginDocument: figure.eps\n" +
                                       eps +
                                       "\n%%EndDocument\n"
                                       "66 eq exch 57 eq and figure exch {restore} if\n"
                                       "100 200 1 1 rectfill showpage\n");
        EXPECT_EQ(ps_picture(page, 9, 9, 0, 0, 2).width, 0) << "the figure ejects a page";
        return ps_picture(page, width * scale, height * scale, 100, 200);
    }
};

TEST_P(PsToEps, DrawsThePageWhereverItIsPlaced)
{
    const producer &from = GetParam();
    ASSERT_TRUE(make_real_file(user, from));
    convert({"ps2eps", "in.ps"});
    const std::string eps = user.read("in.eps");
    EXPECT_EQ(eps.compare(0, 24, "%!PS-Adobe-2.0 EPSF-2.0\n"), 0) << eps.substr(0, 100);
    EXPECT_EQ(count(eps, "%%BoundingBox:"), 1U);

    for (const int scale : {1, 2}) {
        const grey_picture page = page_picture(scale);
        ASSERT_GT(page.width, 500);
        EXPECT_LT(difference(placed(eps, page.width / scale, page.height / scale, scale), page),
                  0.25)
            << "at scale " << scale;
    }
}

TEST_P(PsToEps, IsConvertedAsAFigureOfItsOwn)
{
    const producer &from = GetParam();
    ASSERT_TRUE(make_real_file(user, from));
    convert({"ps2eps", "in.ps"});
    convert({"in.eps"});
    const std::array<int, 4> box = eps_box(user.read("in.eps"));
    const int width = box[2] - box[0];
    const int height = box[3] - box[1];
    EXPECT_GT(width, 20);
    EXPECT_GT(height, 5);
    EXPECT_EQ(pdf_page_size(user.path("in.pdf")),
              std::to_string(width) + " x " + std::to_string(height));
    const grey_picture page = page_picture(1);
    const grey_picture expected = part(page, box[0], page.height - box[3], width, height);
    EXPECT_LT(difference(pdf_picture(user.path("in.pdf")), expected), 0.25);
}

const producer page_producers[] = {
    {"Groff", "groff -Tps -ms -P-pa4 list.txt > in.ps", "in.ps", nullptr, 1, true},
    {"Enscript", "head -30 list.txt > short.txt; enscript -q -M A4 -o in.ps short.txt", "in.ps",
     nullptr, 1, true},
    {"Gnuplot",
     "sed 's/ eps / landscape /; s/in.eps/in.ps/; s/size 4in,3in//' plot.gp > page.gp; "
     "gnuplot page.gp",
     "in.ps", nullptr, 1, true},
    {"Poppler", "pdftops -f 2 -l 2 original.pdf in.ps", "in.ps", nullptr, 1, true},
    {"Cairo", "pdftocairo -ps -f 2 -l 2 original.pdf in.ps", "in.ps", nullptr, 1, true},
    {"Ghostscript",
     "gs -q -dSAFER -dNOPAUSE -dBATCH -sDEVICE=ps2write -dFirstPage=2 -dLastPage=2 "
     "-sOutputFile=in.ps original.pdf",
     "in.ps", nullptr, 1, true},
};

INSTANTIATE_TEST_SUITE_P(Producers, PsToEps, testing::ValuesIn(page_producers),
                         [](const testing::TestParamInfo<producer> &each) {
                             return each.param.title;
                         });

TEST_F(Conversion, Ps2epsKeepsMarksAtNegativeCoordinates)
{
    const std::string marks = "0 0 20 20 rectfill -50 -30 10 10 rectfill\n";
    user.write("in.ps", "%!PS\n" + marks + "showpage\n");
    convert({"ps2eps", "in.ps"});
    const std::array<int, 4> box = eps_box(user.read("in.eps"));
    EXPECT_NEAR(box[0], -50, 1);
    EXPECT_NEAR(box[1], -30, 1);
    EXPECT_NEAR(box[2], 20, 1);
    EXPECT_NEAR(box[3], 20, 1);
    convert({"in.eps"});
    EXPECT_LT(
        difference(pdf_picture(user.path("in.pdf")), ps_picture(user.path("in.ps"), box[2] - box[0],
                                                                box[3] - box[1], box[0], box[1])),
        0.1);
}

TEST_F(Conversion, Ps2epsTellsOfSeveralPages)
{
    user.write("in.ps", big_ps(2));
    const program_result result = user.papermill({"ps2eps", "in.ps"});
    EXPECT_EQ(result.status, cli_done) << story(result);
    EXPECT_EQ(count(result.out, user.path("in.ps") +
                                    ": it has 2 pages, which lie on top of each other in the EPS "
                                    "file.\n"),
              1U)
        << story(result);
}

// ---- TIFF ----

struct tiff_size {
    int width, height; // points
    int dpi;           // 0: not set
    int wide, high;    // pixels
};

class Tiff : public Conversion {
protected:
    // What tiffinfo says of it.
    std::string tiff(const std::string &name)
    {
        const program_result result = user.run({"tiffinfo", name});
        EXPECT_EQ(result.status, 0) << story(result);
        return result.out;
    }

    void expect_tiff(const std::string &name, int wide, int high, int dpi)
    {
        const std::string found = tiff(name);
        EXPECT_TRUE(contains(found, "Image Width: " + std::to_string(wide) +
                                        " Image Length: " + std::to_string(high) + "\n"))
            << found;
        const std::string number = std::to_string(dpi);
        EXPECT_TRUE(contains(found, "Resolution: " + number + ", " + number + " pixels/inch\n"))
            << found;
        EXPECT_EQ(count(found, "TIFF Directory at offset"), 1U) << found;
    }

    // How many shades there are between black and white.
    std::size_t shades(const std::string &name)
    {
        const std::string pixels = image_picture(user.path(name)).pixels;
        std::set<char> values(pixels.begin(), pixels.end());
        values.erase('\0');
        values.erase('\xff');
        return values.size();
    }
};

TEST_F(Tiff, OfAFigureIsOfTheSizeOfItsBoxAtTheResolution)
{
    const tiff_size sizes[] = {{100, 50, 0, 200, 100},   {100, 50, 72, 100, 50},
                               {100, 50, 300, 417, 208}, {101, 51, 72, 101, 51},
                               {101, 51, 100, 140, 71},  {333, 7, 150, 694, 15},
                               {1, 1, 300, 4, 4},        {600, 800, 30, 250, 333}};
    for (const tiff_size &each : sizes) {
        user.set("TIFF_OPTION_STR", each.dpi == 0 ? "" : std::to_string(each.dpi));
        user.write("in.eps", drawing_eps(each.width, each.height));
        convert({"eps2tiff", "in.eps", "out.tiff"});
        expect_tiff("out.tiff", each.wide, each.high, each.dpi == 0 ? 144 : each.dpi);
    }
}

TEST_F(Tiff, OfAPageIsOfItsSizeAtTheResolution)
{
    const tiff_size sizes[] = {{100, 50, 0, 208, 104},
                               {100, 50, 72, 100, 50},
                               {100, 50, 300, 417, 208},
                               {333, 77, 150, 694, 160}};
    for (const tiff_size &each : sizes) {
        user.set("TIFF_OPTION_STR", each.dpi == 0 ? "" : std::to_string(each.dpi));
        user.write("in.ps", drawing_ps(each.width, each.height));
        convert({"ps2tiff", "in.ps"});
        expect_tiff("in-1.tiff", each.wide, each.high, each.dpi == 0 ? 150 : each.dpi);
    }
}

TEST_F(Tiff, ShowsTheDrawingAntialiased)
{
    user.set("TIFF_OPTION_STR", "72");
    user.write("in.eps", drawing_eps(100, 50));
    user.write("in.ps", drawing_ps(100, 50));
    convert({"eps2tiff", "in.eps", "out.tiff"});
    convert({"ps2tiff", "in.ps"});
    EXPECT_LT(difference(image_picture(user.path("out.tiff")),
                         ps_picture(user.path("in.eps"), 100, 50, 30, 40)),
              0.05);
    EXPECT_LT(
        difference(image_picture(user.path("in-1.tiff")), ps_picture(user.path("in.ps"), 100, 50)),
        0.05);
    EXPECT_GT(shades("out.tiff"), 5U);
    EXPECT_GT(shades("in-1.tiff"), 5U);
}

TEST_F(Tiff, IsCompressedWhenTheSettingSaysSo)
{
    user.write("in.eps", drawing_eps(200, 100));
    for (const char *value : {"", "0", "yes"}) {
        user.set("TIFFCOMPRESS", value);
        convert({"eps2tiff", "in.eps", "plain.tiff"});
        EXPECT_TRUE(contains(tiff("plain.tiff"), "Compression Scheme: None")) << value;
    }
    user.set("TIFFCOMPRESS", "1");
    convert({"eps2tiff", "in.eps", "small.tiff"});
    EXPECT_TRUE(contains(tiff("small.tiff"), "Compression Scheme: LZW"));
    EXPECT_LT(user.read("small.tiff").size() * 4, user.read("plain.tiff").size());
    EXPECT_EQ(image_picture(user.path("small.tiff")).pixels,
              image_picture(user.path("plain.tiff")).pixels);
}

TEST_F(Tiff, PagesAreNumberedFromOne)
{
    std::string pages = "%!PS\n";
    for (int page = 1; page <= 11; ++page)
        pages += "<< /PageSize [" + std::to_string(100 + page) +
                 " 50] >> setpagedevice\n"
                 "0 0 9 9 rectfill showpage\n";
    user.write("my %d paper.ps", pages);
    user.set("TIFF_OPTION_STR", "72");
    convert({"ps2tiff", "my %d paper.ps"});
    strings expected = {"my %d paper.ps"};
    for (int page = 1; page <= 11; ++page) {
        expected.push_back("my %d paper-" + std::to_string(page) + ".tiff");
        expect_tiff(expected.back(), 100 + page, 50, 72);
    }
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(user.names(), expected);
}

TEST_F(Tiff, OfARealPageLooksLikeIt)
{
    ASSERT_TRUE(make_with_groff(user, ".PP\nThe quick brown fox.\n.bp\n.PP\nThe end.\n", "in.ps"));
    user.set("TIFF_OPTION_STR", "72");
    convert({"ps2tiff", "in.ps"});
    for (int page = 1; page <= 2; ++page) {
        const grey_picture image = image_picture(user.path("in-" + std::to_string(page) + ".tiff"));
        EXPECT_LT(difference(image,
                             ps_picture(user.path("in.ps"), image.width, image.height, 0, 0, page)),
                  0.1);
    }
}

} // namespace
