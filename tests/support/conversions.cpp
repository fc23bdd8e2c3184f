#include "tests/support/conversions.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <ostream>
#include <sstream>

namespace fs = std::filesystem;

const std::vector<conversion> conversions = {
    {"PsOpened", {}, document::ps, ".pdf", false, "gs"},
    {"Ps2pdf", {"ps2pdf"}, document::ps, ".pdf", true, "gs"},
    {"EpsOpened", {}, document::eps, ".pdf", false, "gs", deletes_older},
    {"Eps2pdf", {"ps2pdf"}, document::eps, ".pdf", true, "gs", deletes_older},
    {"Ps2pdfByPstopdf", {"ps2pdf"}, document::ps, ".pdf", true, "pstopdf", by_pstopdf},
    {"Eps2pdfByPstopdf",
     {"ps2pdf"},
     document::eps,
     ".pdf",
     true,
     "pstopdf",
     by_pstopdf | deletes_older},
    {"Pdf2pdf", {"pdf2pdf"}, document::pdf, ".pdf", true, "gs", goes_onto_itself},
    {"Merge", {"merge"}, document::pdf, ".pdf", true, "gs", goes_onto_itself},
    {"Pdf2ps", {"pdf2ps"}, document::pdf, ".ps", true, "gs"},
    {"Pdftops", {"pdf2ps", "--pdftops"}, document::pdf, ".ps", true, "pdftops"},
    {"Pdf2dsc", {"pdf2dsc"}, document::pdf, ".dsc", true, "gs", tells_names_only},
    {"Ps2ascii", {"ps2ascii"}, document::ps, ".txt", true, "gs"},
    {"Ps2eps", {"ps2eps"}, document::ps, ".eps", false, "gs"},
    {"Eps2eps", {"eps2eps"}, document::eps, ".eps", true, "gs"},
    {"Eps2tiff", {"eps2tiff"}, document::eps, ".tiff", true, "gs", deletes_older},
    {"Ps2tiff", {"ps2tiff"}, document::ps, "-1.tiff", false, "gs"},
    {"Eps2pict", {"eps2pict"}, document::eps, ".pict", true, "gs", deletes_older},
    {"Pdf2pict", {"pdf2pict"}, document::pdf, ".pict", true, "gs"},
    {"Ps2pict", {"ps2pict"}, document::ps, ".pict", false, "gs"},
};

void PrintTo(const conversion &each, std::ostream *stream)
{
    *stream << each.title;
}

std::string conversion_title(const testing::TestParamInfo<conversion> &info)
{
    return info.param.title;
}

std::vector<conversion> conversions_that(bool (*wanted)(const conversion &))
{
    std::vector<conversion> result;
    std::copy_if(conversions.begin(), conversions.end(), std::back_inserter(result), wanted);
    return result;
}

bool takes_out(const conversion &each)
{
    return each.takes_out;
}

bool names_its_output(const conversion &each)
{
    return !each.takes_out && !each.command.empty();
}

std::vector<std::string> call_words(const conversion &how, const std::string &in,
                                    const std::string &out)
{
    std::vector<std::string> words = how.command;
    if (!words.empty() && words[0] == "merge") {
        words.insert(words.end(), {"-o", out, "--", in});
        return words;
    }
    words.insert(words.end(), {"--", in});
    if (how.takes_out)
        words.push_back(out);
    return words;
}

std::string output_of(const conversion &how, const std::string &in)
{
    return in.substr(0, in.rfind('.')) + how.ending;
}

// ---- what was made ----

namespace {

using testing::AssertionFailure;
using testing::AssertionResult;
using testing::AssertionSuccess;

// What a program finds in a file that may have any name, "FILE" in its words.
std::string found_in(const std::string &path, std::vector<std::string> words)
{
    const temporary_folder folder;
    const std::string name = folder / "file";
    fs::create_symlink(path, name);
    for (std::string &word : words) {
        const std::size_t at = word.find("FILE");
        if (at != std::string::npos)
            word.replace(at, 4, name);
    }
    program_call call;
    call.arguments = std::move(words);
    const program_result result = run_program(call);
    return result.status == 0 ? result.out + result.err : "failed:\n" + result.out + result.err;
}

AssertionResult expect_found(const std::string &found, const std::string &expected)
{
    if (found.find(expected) != std::string::npos)
        return AssertionSuccess();
    return AssertionFailure() << "\"" << expected << "\" is not in\n" << found.substr(0, 2000);
}

// The picture that Ghostscript makes of the first page tells the page's size.
AssertionResult has_page_of_width(const std::string &path, int width)
{
    const std::string picture =
        found_in(path, {"gs", "-q", "-dSAFER", "-dNOPAUSE", "-dBATCH", "-sDEVICE=pgmraw", "-r72",
                        "-dEPSCrop", "-sOutputFile=-", "FILE"});
    return expect_found(picture.substr(0, 200), "\n" + std::to_string(width) + " 50\n");
}

} // namespace

AssertionResult is_made_of(const conversion &how, const std::string &path, int width)
{
    const std::string ending = fs::path(std::string("a") + how.ending).extension();
    const std::string number = std::to_string(width);
    if (ending == ".pdf")
        return expect_found(found_in(path, {"pdfinfo", "FILE"}), " " + number + " x 50 pts");
    if (ending == ".ps")
        return has_page_of_width(path, width);
    if (ending == ".txt")
        return expect_found(read_file(path), "papermill" + number + "\n");
    if (ending == ".dsc")
        return expect_found(read_file(path), "%%Pages: 1\n");
    if (ending == ".tiff") {
        // At the resolution that is the default.
        const int dpi = how.takes == document::eps ? 144 : 150;
        return expect_found(found_in(path, {"tiffinfo", "FILE"}),
                            "Image Width: " + std::to_string((width * dpi + 36) / 72) +
                                " Image Length: " + std::to_string((50 * dpi + 36) / 72) + "\n");
    }
    if (ending == ".pict")
        return expect_found(found_in(path, {"identify", "-format", "%w x %h", "pict:FILE"}),
                            std::to_string(2 * width) + " x 100");
    // EPS. What ps2eps makes of a page is as large as the marks on it.
    const std::string text = read_file(path);
    if (text.compare(0, 4, "%!PS") != 0 || text.find(" EPSF-") == std::string::npos)
        return AssertionFailure() << "no EPS file: " << text.substr(0, 100);
    if (how.takes == document::eps)
        return has_page_of_width(path, width);
    return expect_found(text, "papermill" + number);
}

// ---- documents ----

std::string ending_of(document kind)
{
    return kind == document::ps ? ".ps" : kind == document::eps ? ".eps" : ".pdf";
}

std::string make_document(document kind, int width)
{
    const std::string text = "papermill" + std::to_string(width);
    if (kind == document::ps)
        return drawing_ps(width, 50, text);
    if (kind == document::eps)
        return drawing_eps(width, 50, text);
    return pdf_file({{width, 50, "0 0 20 20 re f BT /F 10 Tf 24 6 Td (" + text + ") Tj ET"}});
}

std::string pdf_stream(std::string_view dictionary, std::string_view content)
{
    return "<< " + std::string(dictionary) + " /Length " + std::to_string(content.size()) +
           " >>\nstream\n" + std::string(content) + "\nendstream";
}

std::string pdf_of_objects(const std::vector<std::string> &objects)
{
    std::string file = "%PDF-1.4\n";
    std::string table = "0000000000 65535 f \n";
    int number = 0;
    for (const std::string &object : objects) {
        char entry[32];
        std::snprintf(entry, sizeof entry, "%010zu 00000 n \n", file.size());
        table += entry;
        file += std::to_string(++number) + " 0 obj\n" + object + "\nendobj\n";
    }
    const std::string size = std::to_string(objects.size() + 1);
    const std::string table_at = std::to_string(file.size());
    return file + "xref\n0 " + size + "\n" + table + "trailer\n<< /Size " + size +
           " /Root 1 0 R >>\nstartxref\n" + table_at + "\n%%EOF\n";
}

std::string pdf_file(const std::vector<pdf_page> &pages)
{
    std::vector<std::string> objects = {"<< /Type /Catalog /Pages 2 0 R >>", "",
                                        "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>"};
    std::string kids;
    for (const pdf_page &page : pages) {
        const std::size_t number = objects.size() + 1;
        std::ostringstream object;
        object << "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 " << page.width << " " << page.height
               << "] /Rotate " << page.rotate << " /Resources << /Font << /F 3 0 R >> >> /Contents "
               << number + 1 << " 0 R >>";
        kids += std::to_string(number) + " 0 R ";
        objects.push_back(object.str());
        objects.push_back(pdf_stream("", page.content));
    }
    objects[1] =
        "<< /Type /Pages /Kids [" + kids + "] /Count " + std::to_string(pages.size()) + " >>";
    return pdf_of_objects(objects);
}

// Ten forms, each of which draws the next one ten times.
static std::string endless_pdf()
{
    std::string content;
    for (int i = 0; i < 10; ++i)
        content += "q 1 0 0 1 1 0 cm /X Do Q ";
    std::vector<std::string> objects = {
        "<< /Type /Catalog /Pages 2 0 R >>", "<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
        "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 50 50] /Contents 4 0 R "
        "/Resources << /XObject << /X 5 0 R >> >> >>",
        pdf_stream("", content)};
    const std::string form = "/Type /XObject /Subtype /Form /BBox [0 0 50 50]";
    for (int next = 6; next < 15; ++next)
        objects.push_back(pdf_stream(form + " /Resources << /XObject << /X " +
                                         std::to_string(next) + " 0 R >> >>",
                                     content));
    objects.push_back(pdf_stream(form, "0 0 1 1 re f"));
    return pdf_of_objects(objects);
}

// As many pages as make an index a work of hours.
static std::string pdf_of_countless_pages()
{
    constexpr int count = 200000;
    std::string kids;
    for (int i = 0; i < count; ++i)
        kids += "3 0 R ";
    return pdf_of_objects(
        {"<< /Type /Catalog /Pages 2 0 R >>",
         "<< /Type /Pages /Kids [" + kids + "] /Count " + std::to_string(count) + " >>",
         "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 50 50] >>"});
}

std::string endless_document(const conversion &how)
{
    if (how.takes == document::ps)
        return endless_ps();
    if (how.takes == document::eps)
        return endless_eps();
    return std::string(how.ending) == ".dsc" ? pdf_of_countless_pages() : endless_pdf();
}
