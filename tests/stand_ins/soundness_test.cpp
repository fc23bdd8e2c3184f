#include "stand_ins/soundness.h"
#include "tests/support/run_program.h"
#include "tests/support/test_files.h"

#include <cstdint>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using words = std::vector<std::string>;

class Soundness : public testing::Test {
protected:
    bool sound(const std::string &kind, const std::string &bytes) const
    {
        return is_sound(kind, folder.write("made", bytes));
    }

    std::string gs(const std::string &device, const std::string &input,
                   const words &more = {}) const
    {
        program_call call;
        call.arguments = {
            "gs", "-q",           "-dSAFER", "-dBATCH", "-dNOPAUSE", "-r36", "-sDEVICE=" + device,
            "-o", folder / device};
        call.arguments.insert(call.arguments.end(), more.begin(), more.end());
        call.arguments.push_back(input);
        EXPECT_EQ(run_program(call).status, 0) << device;
        return folder / device;
    }

    std::string convert(const std::string &input, const std::string &output,
                        const words &more) const
    {
        program_call call;
        call.arguments = {"/usr/bin/convert", input};
        call.arguments.insert(call.arguments.end(), more.begin(), more.end());
        call.arguments.push_back(output);
        EXPECT_EQ(run_program(call).status, 0) << output;
        return output;
    }

    // The file is sound, and wherever it is cut it is not. Its last `spare` bytes, a line end for
    // instance, may be missing; and what ends with `end` all the same is no cut that shows.
    static void expect_noticed_cuts(const std::string &kind, const std::string &path,
                                    std::uintmax_t spare = 0, const std::string &end = "")
    {
        EXPECT_TRUE(is_sound(kind, path)) << path;
        const std::string whole = read_file(path);
        const std::uintmax_t size = whole.size();
        ASSERT_GT(size, 400U);
        const std::uintmax_t step = size / 150 + 1;
        for (std::uintmax_t left = size - spare; left > 0;) {
            left -= left + 100 > size || left < 100 ? 1 : std::min(step, left);
            const bool looks_whole = !end.empty() && left >= end.size() &&
                                     whole.compare(left - end.size(), end.size(), end) == 0;
            std::filesystem::resize_file(path, left);
            ASSERT_EQ(is_sound(kind, path), looks_whole) << path << " cut to " << left;
        }
    }

    temporary_folder folder;
    const std::string document =
        folder.write("in.ps", "%!PS\n/Helvetica findfont 40 scalefont setfont\n"
                              "0.2 0.4 0.8 setrgbcolor 30 30 300 200 rectfill\n"
                              "0 setgray 72 400 moveto (page) show showpage\n");
};

// A TIFF file with these directory entries (tag, type, count, value) behind 100 bytes of pixels.
struct tiff_entry {
    std::uint16_t tag, type;
    std::uint32_t count, value;
};

std::string little(std::uint32_t number, int size)
{
    std::string bytes;
    for (int i = 0; i < size; ++i)
        bytes += static_cast<char>(number >> 8 * i);
    return bytes;
}

constexpr std::uint32_t pixels_at = 8;
constexpr std::uint32_t pixels = 100;
constexpr std::uint32_t directory_at = pixels_at + pixels;

std::string tiff(const std::vector<tiff_entry> &entries, std::uint32_t directory = directory_at)
{
    std::string bytes = "II" + little(42, 2) + little(directory, 4) + std::string(pixels, 'p') +
                        little(static_cast<std::uint32_t>(entries.size()), 2);
    for (const tiff_entry &entry : entries)
        bytes += little(entry.tag, 2) + little(entry.type, 2) + little(entry.count, 4) +
                 little(entry.value, 4);
    return bytes + little(0, 4);
}

} // namespace

TEST_F(Soundness, NoticesACutPdfFile)
{
    expect_noticed_cuts("pdf", gs("pdfwrite", document), 1);
}

TEST_F(Soundness, NoticesACutPostScriptFile)
{
    expect_noticed_cuts("ps", gs("ps2write", document), 1);
    const std::string by_pdftops = folder / "pdftops.ps";
    ASSERT_EQ(run_program({{"pdftops", gs("pdfwrite", document), by_pdftops}}).status, 0);
    expect_noticed_cuts("ps", by_pdftops, 1);
}

TEST_F(Soundness, NoticesACutEpsFile)
{
    expect_noticed_cuts("eps", gs("eps2write", document), 1);
}

TEST_F(Soundness, NoticesACutIndex)
{
    const std::string pdf = gs("pdfwrite", document);
    const std::string index = folder / "index.dsc";
    ASSERT_EQ(run_program({{"gs", "-q", "-dNODISPLAY", "-sPDFname=" + pdf, "-sDSCname=" + index,
                            "--permit-file-read=" + pdf, "--permit-file-write=" + index,
                            "pdf2dsc.ps", "-c", "quit"}})
                  .status,
              0);
    expect_noticed_cuts("dsc", index, 1);
}

TEST_F(Soundness, NoticesACutBitmap)
{
    expect_noticed_cuts("pnm", gs("ppmraw", document));
}

TEST_F(Soundness, NoticesACutPageImage)
{
    expect_noticed_cuts("tiff", gs("tiff24nc", document));
    expect_noticed_cuts("tiff", gs("tifflzw", document));
    expect_noticed_cuts("tiff", gs("tiffg4", document));
    const std::string bitmap = gs("ppmraw", document);
    expect_noticed_cuts("tiff", convert(bitmap, folder / "lzw.tiff", {"-compress", "lzw"}));
    expect_noticed_cuts("tiff", convert(bitmap, folder / "big.tiff", {"-endian", "MSB"}));
}

TEST_F(Soundness, NoticesACutPicture)
{
    expect_noticed_cuts("pict", convert(gs("ppmraw", document), folder / "page.pict", {}), 0,
                        std::string("\0\xFF", 2));
}

TEST_F(Soundness, WantsTheRightHead)
{
    const std::string end = "\n%%EOF\n";
    EXPECT_TRUE(sound("pdf", "%PDF-1.7" + end));
    EXPECT_FALSE(sound("pdf", " %PDF-1.7" + end));
    for (const char *kind : {"ps", "eps", "dsc"}) {
        EXPECT_TRUE(sound(kind, "%!PS-Adobe-3.0" + end));
        EXPECT_FALSE(sound(kind, "%PDF-1.7" + end)) << kind;
        EXPECT_FALSE(sound(kind, "\n%!PS-Adobe-3.0" + end)) << kind;
    }
}

TEST_F(Soundness, WantsTheRightEnd)
{
    for (const auto &[kind, head] : {std::pair("pdf", "%PDF-1.7\n"), std::pair("ps", "%!PS\n"),
                                     std::pair("eps", "%!PS\n"), std::pair("dsc", "%!PS\n")}) {
        for (const char *end : {"%%EOF", "%%EOF\n", "%%EOF\r\n", "%%EOF  \n\n"})
            EXPECT_TRUE(sound(kind, std::string(head) + end)) << kind << end;
        for (const char *end : {"%%EO", "%%EOF\nmore\n", "%%EOF)", "1(%%EOF", "%%EOF1"})
            EXPECT_FALSE(sound(kind, std::string(head) + end)) << kind << end;
        EXPECT_TRUE(sound(kind, head + std::string(100000, 'x') + "\n%%EOF\n")) << kind;
    }
}

TEST_F(Soundness, AnIndexHasPages)
{
    EXPECT_FALSE(sound("dsc", "%!PS-Adobe-3.0\n%%Pages: 0\n%%EOF"));
    EXPECT_TRUE(sound("dsc", "%!PS-Adobe-3.0\n%%Pages: 10\n%%EOF"));
}

TEST_F(Soundness, TextHoldsMoreThanBlanks)
{
    EXPECT_FALSE(sound("txt", " \t\r\n\f\v\n\f"));
    EXPECT_TRUE(sound("txt", "\n\f.\n"));
    EXPECT_TRUE(sound("txt", std::string(100000, ' ') + "\xC3\xA4"));
}

TEST_F(Soundness, OtherKindsHoldSomething)
{
    EXPECT_FALSE(sound("bbox", ""));
    EXPECT_TRUE(sound("bbox", "%%BoundingBox: 0 0 0 0\n"));
}

TEST_F(Soundness, OnlyAFileIsSound)
{
    for (const char *kind : {"pdf", "ps", "eps", "dsc", "txt", "bbox", "pnm", "tiff", "pict"}) {
        EXPECT_FALSE(is_sound(kind, folder / "missing")) << kind;
        EXPECT_FALSE(is_sound(kind, folder.path())) << kind;
        EXPECT_FALSE(is_sound(kind, "/dev/zero")) << kind;
        EXPECT_FALSE(sound(kind, "")) << kind;
    }
}

TEST_F(Soundness, APictureEndsAsItsVersionWants)
{
    const std::string head(512 + 10, '\0');
    EXPECT_TRUE(sound("pict", head + std::string("\0\x11\x02\xFF\x0C\0\0\xFF", 8)));
    EXPECT_FALSE(sound("pict", head + std::string("\0\x11\x02\xFF\x0C\0\x01\xFF", 8)));
    EXPECT_TRUE(sound("pict", head + "\x11\x01\xA0\xFF"));
    EXPECT_FALSE(sound("pict", head + "\x11\x01\xA0\xFE"));
    EXPECT_FALSE(sound("pict", head + std::string("\0\x12\0\xFF", 4)));
}

TEST_F(Soundness, APageImagesStripsLieWithinIt)
{
    const tiff_entry offset = {273, 4, 1, pixels_at};
    const tiff_entry size = {279, 4, 1, pixels};
    EXPECT_TRUE(sound("tiff", tiff({offset, size})));
    EXPECT_TRUE(sound("tiff", tiff({{273, 3, 1, pixels_at}, {279, 3, 1, pixels}})));
    const std::string whole = tiff({offset, size});
    const auto end = static_cast<std::uint32_t>(whole.size());
    EXPECT_TRUE(sound("tiff", tiff({offset, {279, 4, 1, end - pixels_at}})));

    EXPECT_FALSE(sound("tiff", tiff({offset, {279, 4, 1, end - pixels_at + 1}})));
    EXPECT_FALSE(sound("tiff", tiff({offset, {279, 4, 1, UINT32_MAX}})));
    EXPECT_FALSE(sound("tiff", tiff({offset, {279, 4, 1, 0}})));
    EXPECT_FALSE(sound("tiff", tiff({{273, 4, 1, end}, size})));
    EXPECT_FALSE(sound("tiff", tiff({{273, 4, 1, 0}, size})));
    EXPECT_FALSE(sound("tiff", tiff({{273, 4, 1, UINT32_MAX}, size})));
    EXPECT_FALSE(sound("tiff", tiff({offset})));
    EXPECT_FALSE(sound("tiff", tiff({size})));
    EXPECT_FALSE(sound("tiff", tiff({})));
    EXPECT_FALSE(sound("tiff", tiff({{273, 4, 2, pixels_at}, size})));
    EXPECT_FALSE(sound("tiff", tiff({{273, 4, UINT32_MAX, 8}, {279, 4, UINT32_MAX, 8}})));
    EXPECT_FALSE(sound("tiff", tiff({{273, 0, UINT32_MAX, 8}, {279, 0, UINT32_MAX, 8}})));
    EXPECT_FALSE(sound("tiff", tiff({offset, size, {270, 2, 50, end + 12 - 49}})));
    EXPECT_TRUE(sound("tiff", tiff({offset, size, {270, 2, 50, end + 12 - 50}})));
    EXPECT_FALSE(sound("tiff", tiff({offset, size}, end)));
    EXPECT_FALSE(sound("tiff", tiff({offset, size}, UINT32_MAX)));
    EXPECT_FALSE(sound("tiff", tiff({offset, size}, 4)));
    EXPECT_FALSE(sound("tiff", "IM" + whole.substr(2)));
}
