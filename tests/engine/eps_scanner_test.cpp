#include "engine/eps_scanner.h"

#include "app/globals.h"
#include "tests/support/console_capture.h"
#include "tests/support/eps_reference.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

extern int width, height, xoffset, yoffset; // the module's own; other modules get w and h

namespace {

const std::string header = "%!PS-Adobe-3.0 EPSF-3.0\n";
const std::string box_line = "%%BoundingBox: 10 20 110 220\n";
const std::string block = "%%BoundingBox: 0 0 100 200\n"
                          "<< /PageSize [100 200] >> setpagedevice \n"
                          "gsave -10 -20 translate\n";
const std::string last = "grestore \n";
const std::string drawing = "newpath 10 20 moveto\nshowpage\n%%EOF\n";
const std::string plain = header + box_line + drawing;
const std::string plain_copy = header + block + drawing + last;

const std::string job_end = "\x1b%-12345X";

class EpsScanner : public testing::Test {
protected:
    EpsScanner()
    {
        std::string name = (fs::temp_directory_path() / "eps_scanner.XXXXXX").string();
        folder = mkdtemp(name.data());
        std::snprintf(tmpPath, sizeof tmpPath, "%s", folder.c_str());
        input = folder / "drawing.eps";
    }
    ~EpsScanner() override
    {
        refill_size = window_size;
        doDebug = 0;
        fs::remove_all(folder);
    }

    void write(const std::string &bytes) const
    {
        std::ofstream(input, std::ios::binary) << bytes;
    }
    bool scan(const std::string &bytes) const
    {
        write(bytes);
        return scanfile(input.c_str()) == 1;
    }
    int prepare()
    {
        return prepare_eps(input.c_str(), tmpname, &w, &h);
    }
    std::string copy() const
    {
        std::ifstream stream(tmpname, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    }
    // The copy that is made of the bytes, or what the console says.
    std::string prepared(const std::string &bytes)
    {
        write(bytes);
        console.clear();
        return prepare() == 1 ? copy() : console.lines();
    }
    std::string not_found() const
    {
        return "Bounding Box comment not found in " + input.string() + "!\n";
    }
    bool copy_exists() const
    {
        return fs::exists(folder / "tmp1.eps");
    }

    fs::path folder;
    fs::path input;
    char tmpname[path_size] = {};
    int w = -1;
    int h = -1;
    console_capture console;
};

const std::string unreplaced = "\nUnable to write BoundingBox.\nNo output file created.\n";

std::array<int, 4> box()
{
    return {bbox[0], bbox[1], bbox[2], bbox[3]};
}

std::array<int, 4> numbers(const char *s)
{
    std::array<int, 4> out{7, 7, 7, 7};
    read_number(s, 4, out.data());
    return out;
}

using box_of = std::array<int, 4>;

std::string preview_header(std::uint32_t offset, std::uint32_t length)
{
    std::string bytes = "\xC5\xD0\xD3\xC6";
    for (const std::uint32_t value : {offset, length})
        for (int shift = 0; shift < 32; shift += 8)
            bytes += static_cast<char>(value >> shift);
    return bytes.append(18, '\0'); // no further previews, no checksum
}

eps_input stream;

} // namespace

// ---- macfgets, macfputs ----

class EpsLines : public EpsScanner {
protected:
    void open(const std::string &bytes)
    {
        write(bytes);
        ASSERT_EQ(open_input(input.c_str(), &stream), 0);
    }
    ~EpsLines() override
    {
        close_input(&stream);
    }
    std::string line(int size = 10000)
    {
        count = macfgets(buffer, size, &stream);
        return std::string(buffer, static_cast<std::size_t>(count));
    }
    char buffer[10000];
    int count = -1;
};

TEST_F(EpsLines, EndBehindALineFeedOrACarriageReturn)
{
    open("one\ntwo\rthree\r\nfour");
    EXPECT_EQ(line(), "one\n");
    EXPECT_EQ(line(), "two\r");
    EXPECT_EQ(line(), "three\r");
    EXPECT_EQ(line(), "\n");
    EXPECT_EQ(line(), "four");
    EXPECT_EQ(line(), "");
    EXPECT_EQ(count, 0);
    EXPECT_EQ(buffer[0], 0);
}

TEST_F(EpsLines, AreClosedWithANul)
{
    open("abc\nd");
    std::memset(buffer, 'x', sizeof buffer);
    line();
    EXPECT_STREQ(buffer, "abc\n");
    line();
    EXPECT_STREQ(buffer, "d");
}

TEST_F(EpsLines, MayHoldNuls)
{
    open(std::string("a\0b\n", 4) + "c");
    EXPECT_EQ(line(), std::string("a\0b\n", 4));
    EXPECT_EQ(line(), "c");
}

TEST_F(EpsLines, ComeInPiecesWhenTheyAreLong)
{
    open(std::string(9999, 'a') + std::string(9998, 'b') + "\n" + "c");
    EXPECT_EQ(line(), std::string(9999, 'a'));
    EXPECT_EQ(line(), std::string(9998, 'b') + "\n");
    EXPECT_EQ(line(), "c");
}

TEST_F(EpsLines, OfExactlyTheBuffersSizeLeaveTheirEndAlone)
{
    open(std::string(9999, 'a') + "\nb");
    EXPECT_EQ(line(), std::string(9999, 'a'));
    EXPECT_EQ(line(), "\n");
    EXPECT_EQ(line(), "b");
}

TEST_F(EpsLines, RespectSmallBuffers)
{
    open("abcdef\n");
    std::memset(buffer, 'x', sizeof buffer);
    EXPECT_EQ(line(4), "abc");
    EXPECT_EQ(buffer[3], 0);
    EXPECT_EQ(buffer[4], 'x');
    EXPECT_EQ(line(1), "");
    EXPECT_EQ(macfgets(buffer, 0, &stream), 0);
    EXPECT_EQ(line(), "def\n");
}

TEST_F(EpsLines, AreTheSameWhateverTheWindow)
{
    for (const std::size_t size : {1, 2, 3, 5}) {
        refill_size = size;
        open("one\r\ntwo three\n");
        EXPECT_EQ(line(), "one\r");
        EXPECT_EQ(line(), "\n");
        EXPECT_EQ(line(), "two three\n");
        EXPECT_EQ(line(), "");
    }
}

TEST_F(EpsLines, AreWrittenByTheirLengthWithoutRegardToNuls)
{
    static eps_output out;
    const fs::path path = folder / "out";
    open(std::string("a\0b\r", 4));
    ASSERT_TRUE(open_output(path.c_str(), &stream, &out));
    numch = macfgets(buffer, sizeof buffer, &stream);
    macfputs(buffer, &out);
    numch = 2;
    macfputs("xyz", &out);
    numch = 0;
    macfputs("xyz", &out);
    EXPECT_EQ(close_output(&out), 0);
    std::ifstream written(path, std::ios::binary);
    EXPECT_EQ(
        std::string(std::istreambuf_iterator<char>(written), std::istreambuf_iterator<char>()),
        std::string("a\0b\rxy", 6));
}

// ---- __istype, read_number, strip_ext ----

TEST(EpsNumbers, KnowTheWhiteSpaceClassOnly)
{
    for (int c = -2; c < 400; ++c) {
        const bool space = c == ' ' || (c >= 9 && c <= 13);
        EXPECT_EQ(__istype(c, 0x4000), space ? 1 : 0) << c;
        EXPECT_EQ(__istype(c, 0x4000 | 0x100), space ? 1 : 0) << c;
        EXPECT_EQ(__istype(c, 0x100), 0) << c;
    }
}

TEST(EpsNumbers, AreSeparatedByAnyWhiteSpace)
{
    EXPECT_EQ(numbers(" 1\t2\v\f3\r\n4 5"), (box_of{1, 2, 3, 4}));
}

TEST(EpsNumbers, AreReadAsIntegersUpToTheFirstOtherCharacter)
{
    EXPECT_EQ(numbers("12.75 -0.5 +7 -3x"), (box_of{12, 0, 7, -3}));
    EXPECT_EQ(numbers("x5 0x10 1e3 --4"), (box_of{0, 0, 1, 0}));
}

TEST(EpsNumbers, ThatAreMissingAreZero)
{
    EXPECT_EQ(numbers("5 6"), (box_of{5, 6, 0, 0}));
    EXPECT_EQ(numbers(""), (box_of{0, 0, 0, 0}));
    EXPECT_EQ(numbers("  \n"), (box_of{0, 0, 0, 0}));
}

TEST(EpsNumbers, BeyondTheIntegersAreTheNearestOne)
{
    EXPECT_EQ(numbers("2147483648 -2147483649 99999999999999999999999 -99999999999999999999999"),
              (box_of{INT_MAX, INT_MIN, INT_MAX, INT_MIN}));
    EXPECT_EQ(numbers(std::string(20000, '9').c_str()), (box_of{INT_MAX, 0, 0, 0}));
}

TEST(EpsNumbers, CellsBehindTheCountAreUntouched)
{
    std::array<int, 4> out{7, 7, 7, 7};
    read_number("1 2 3 4", 2, out.data());
    EXPECT_EQ(out, (box_of{1, 2, 7, 7}));
}

TEST(StripExt, CutsTheExtensionOfTheLastComponentOnly)
{
    const auto strip = [](const char *path) {
        char buffer[64];
        std::snprintf(buffer, sizeof buffer, "%s", path);
        const char *cut = strip_ext(buffer);
        EXPECT_TRUE(cut == nullptr || cut == buffer + std::strlen(buffer)) << path;
        return std::string(cut != nullptr ? "cut " : "") + buffer;
    };
    EXPECT_EQ(strip("/a/b.eps"), "cut /a/b");
    EXPECT_EQ(strip("/a.d/b.c.eps"), "cut /a.d/b.c");
    EXPECT_EQ(strip("/a.d/b"), "/a.d/b");
    EXPECT_EQ(strip("b.eps"), "cut b");
    EXPECT_EQ(strip("b"), "b");
    EXPECT_EQ(strip("/a/.eps"), "cut /a/");
    EXPECT_EQ(strip("/a/b."), "cut /a/b");
    EXPECT_EQ(strip(""), "");
}

// ---- scanfile ----

TEST_F(EpsScanner, TakesTheBoxOfTheComment)
{
    EXPECT_TRUE(scan(plain));
    EXPECT_EQ(box(), (box_of{10, 20, 110, 220}));
    EXPECT_EQ(width, 100);
    EXPECT_EQ(height, 200);
    EXPECT_EQ(xoffset, -10);
    EXPECT_EQ(yoffset, -20);
}

TEST_F(EpsScanner, TakesTheFirstBoxWhicheverKindItIs)
{
    for (const char *kind : {"HiResBoundingBox", "ExactBoundingBox", "BoundingBox"}) {
        EXPECT_TRUE(scan(header + "%%" + kind + ": 1.9 2 3 4\n" + box_line)) << kind;
        EXPECT_EQ(box(), (box_of{1, 2, 3, 4})) << kind;
    }
}

TEST_F(EpsScanner, DoesNotExamineTheFirstTwoBytesOfALine)
{
    EXPECT_TRUE(scan("xyBoundingBox: 1 2 3 4\n"));
    EXPECT_FALSE(scan(std::string("\0\0BoundingBox: 1 2 3 4\n", 23))) << "no colon before a NUL";
    EXPECT_FALSE(scan("%BoundingBox: 1 2 3 4\n"));
    EXPECT_FALSE(scan("%%%BoundingBox: 1 2 3 4\n"));
    EXPECT_FALSE(scan("%% BoundingBox: 1 2 3 4\n"));
    EXPECT_FALSE(scan("%%boundingbox: 1 2 3 4\n"));
}

TEST_F(EpsScanner, KeepsTheLastBoxWhenAFileHasNone)
{
    ASSERT_TRUE(scan(plain));
    EXPECT_FALSE(scan(header + drawing));
    EXPECT_EQ(box(), (box_of{10, 20, 110, 220}));
    EXPECT_EQ(width, 100);
    EXPECT_FALSE(scan(""));
    EXPECT_EQ(yoffset, -20);
}

TEST_F(EpsScanner, AnswersNoForAFileThatCannotBeOpened)
{
    EXPECT_EQ(scanfile((folder / "missing").c_str()), 0);
    EXPECT_EQ(scanfile(folder.c_str()), 0);
    EXPECT_EQ(console.text(), "");
}

TEST_F(EpsScanner, PassesOverABoxThatComesAtTheEnd)
{
    EXPECT_TRUE(scan(header + "%%BoundingBox: (atend)\n%%Trailer\n%%BoundingBox: 1 2 3 4\n"));
    EXPECT_EQ(box(), (box_of{1, 2, 3, 4}));
    EXPECT_FALSE(scan(header + "%%BoundingBox: (atend)\n"));
}

TEST_F(EpsScanner, KnowsTheAtEndFormToTheLetterOnly)
{
    EXPECT_TRUE(scan(header + "%%BoundingBox:(atend)\n" + box_line));
    EXPECT_EQ(box(), (box_of{0, 0, 0, 0}));
    EXPECT_TRUE(scan(header + "%%HiResBoundingBox: (atend)\n" + box_line));
    EXPECT_EQ(box(), (box_of{0, 0, 0, 0}));
}

TEST_F(EpsScanner, PassesOverACommentWithoutAColon)
{
    EXPECT_TRUE(scan(header + "%%BoundingBox 1 2 3 4\n" + box_line));
    EXPECT_EQ(box(), (box_of{10, 20, 110, 220}));
    EXPECT_TRUE(scan(header + std::string("%%BoundingBox\0: 1 2 3 4\n", 24) + box_line));
    EXPECT_EQ(box(), (box_of{10, 20, 110, 220}));
}

TEST_F(EpsScanner, LooksForTheColonInTheWholeLine)
{
    EXPECT_TRUE(scan(":%BoundingBox: 1 2 3 4\n"));
    EXPECT_EQ(box(), (box_of{0, 1, 2, 3})) << "the first colon counts";
}

TEST_F(EpsScanner, IgnoresEmbeddedDocuments)
{
    const std::string embedded = "%%BeginDocument: a.eps\n%%BoundingBox: 1 2 3 4\n";
    EXPECT_TRUE(scan(header + embedded + "%%EndDocument\n" + box_line));
    EXPECT_EQ(box(), (box_of{10, 20, 110, 220}));
    EXPECT_FALSE(scan(header + embedded));
    EXPECT_FALSE(scan(header + embedded + box_line)) << "an unclosed one goes to the file's end";
    // They do not nest: the first end closes.
    EXPECT_TRUE(scan(header + embedded + "%%BeginDocument\n%%EndDocument\n" + box_line +
                     "%%EndDocument\n"));
}

TEST_F(EpsScanner, NumbersAtTheLimitsDoNotOverflow)
{
    EXPECT_TRUE(scan(header + "%%BoundingBox: -2147483648 -2147483648 2147483647 99999999999\n"));
    EXPECT_EQ(width, INT_MAX);
    EXPECT_EQ(height, INT_MAX);
    EXPECT_EQ(xoffset, INT_MAX);
    EXPECT_TRUE(scan(header + "%%BoundingBox: 2147483647 1 -2147483648 0\n"));
    EXPECT_EQ(width, INT_MIN);
    EXPECT_EQ(height, -1);
    EXPECT_EQ(xoffset, -INT_MAX);
}

TEST_F(EpsScanner, AShortLineDoesNotShowWhatAnEarlierOneHeld)
{
    EXPECT_FALSE(scan("%%BeginDocument\n%%EndDocument\n%%\n\n%\n"));
    // "%%" and the line end are all there is: a copy must not replace them.
    EXPECT_EQ(prepared(header + box_line + "\n%\n%%\nx"), header + block + "\n%\n%%\nx" + last);
    EXPECT_EQ(prepared("%!PS\n" + box_line + "%"), "%!PS\n" + block + "%" + last);
    EXPECT_EQ(prepared("%!PS header\n\n\n" + box_line), "%!PS header\n\n\n" + block + last);
    EXPECT_EQ(prepared("\n%\n%!PS\n" + box_line), "%!PS\n" + block + last);
    // Nor does a line that ends where an earlier one went on.
    EXPECT_TRUE(scan("%%BoundingBox: (atend)\n%%BoundingBox: "));
    EXPECT_EQ(box(), (box_of{0, 0, 0, 0}));
}

// ---- prepare_eps ----

TEST_F(EpsScanner, PreparesACopyWithThePageAtTheOrigin)
{
    EXPECT_EQ(prepared(plain), plain_copy);
    EXPECT_EQ(w, 100);
    EXPECT_EQ(h, 200);
    EXPECT_EQ(tmpname, (folder / "tmp1.eps").string());
    EXPECT_EQ(console.text(), "");
    EXPECT_EQ(bbneeded, 0);
    EXPECT_EQ(wrotebb, 1);
}

TEST_F(EpsScanner, PutsTheTrailersBoxWhereTheHeaderSaidAtEnd)
{
    EXPECT_EQ(prepared(header + "%%BoundingBox: (atend)\n%%EndComments\nshowpage\n%%Trailer\n" +
                       box_line + "%%EOF\n"),
              header + block + "%%EndComments\nshowpage\n%%Trailer\n%%EOF\n" + last);
    EXPECT_EQ(w, 100);
    EXPECT_EQ(h, 200);
}

TEST_F(EpsScanner, ReplacesAllBoxCommentsByOneBlock)
{
    EXPECT_EQ(prepared(header +
                       "%%HiResBoundingBox: 10.7 20.2 110.9 220.5\n%%Title: x\n"
                       "%%BoundingBox: 10 20 111 221\n%%ExactBoundingBox: 1 2 3 4\n" +
                       drawing + "%%HiResBoundingBox: 1 2 3 4\n%%BoundingBox: (atend)\n"),
              header + block + "%%Title: x\n" + drawing + last);
}

TEST_F(EpsScanner, ReplacesACommentWithoutAColonToo)
{
    EXPECT_EQ(prepared(header + "%%BoundingBox 1 2 3 4\n" + box_line), header + block + last);
}

TEST_F(EpsScanner, CopiesEmbeddedDocumentsUnchanged)
{
    const std::string embedded = "%%BeginDocument: a.eps\n%!PS\n%%BoundingBox: 1 2 3 4\n"
                                 "%%BeginDocument: b\n%%EndDocument of b\n";
    EXPECT_EQ(prepared(header + embedded + box_line + drawing),
              header + embedded + block + drawing + last);
    const std::string unclosed = "%%BeginDocument: a.eps\n%%BoundingBox: 1 2 3 4\nlast";
    EXPECT_EQ(prepared(header + box_line + unclosed), header + block + unclosed + last);
}

TEST_F(EpsScanner, KeepsLineEndsOfEveryKind)
{
    EXPECT_EQ(prepared("%!PS\r%%BoundingBox: 10 20 110 220\r1\r2\r%%EOF\r"),
              "%!PS\r" + block + "1\r2\r%%EOF\r" + last);
    // The comment's own line ends behind the carriage return; the line feed stays.
    EXPECT_EQ(prepared("%!PS\r\n%%BoundingBox: 10 20 110 220\r\n1\r\n2\r\n%%EOF\r\n"),
              "%!PS\r\n" + block + "\n1\r\n2\r\n%%EOF\r\n" + last);
    EXPECT_EQ(prepared("%!PS\n\r\n\r\r%%BoundingBox: 10 20 110 220\n\n\r1"),
              "%!PS\n\r\n\r\r" + block + "\n\r1" + last);
}

TEST_F(EpsScanner, AppendsTheLastLineAfterWhateverTheFileEndedWith)
{
    EXPECT_EQ(prepared(header + box_line + "showpage"), header + block + "showpage" + last);
    EXPECT_EQ(prepared(header + "%%BoundingBox: 10 20 110 220"), header + block + last);
}

TEST_F(EpsScanner, CopiesEveryByteOfBinaryData)
{
    std::string bytes;
    for (int i = 0; i < 256; ++i)
        bytes += static_cast<char>(i);
    const std::string data = bytes + bytes + std::string(5000, '\0') + bytes;
    EXPECT_EQ(prepared(header + box_line + data + drawing), header + block + data + drawing + last);
}

TEST_F(EpsScanner, DropsWhatPrecedesTheHeaderLine)
{
    EXPECT_EQ(prepared("junk\r\n\nmore %!PS junk\n" + plain), plain_copy);
    EXPECT_EQ(prepared("%!P\n%!p\n% !PS\n" + plain), plain_copy);
    EXPECT_EQ(prepared("x!PS\n" + box_line), "x!PS\n" + block + last);
}

TEST_F(EpsScanner, CountsABoxBeforeTheHeaderLineButDoesNotReplaceIt)
{
    EXPECT_EQ(prepared(box_line + header + drawing), unreplaced);
    EXPECT_FALSE(copy_exists());
    EXPECT_EQ(w, -1);
    EXPECT_EQ(h, -1);
    EXPECT_EQ(prepared(box_line + drawing), unreplaced) << "no header line at all";
    EXPECT_EQ(prepared(box_line + header + "%%BoundingBox: 1 2 3 4\n"), header + block + last);
}

TEST_F(EpsScanner, FillsMissingNumbersWithZero)
{
    EXPECT_EQ(prepared(header + "%%BoundingBox: 10 20\n"),
              header +
                  "%%BoundingBox: 0 0 -10 -20\n<< /PageSize [-10 -20] >> setpagedevice \n"
                  "gsave -10 -20 translate\n" +
                  last);
}

TEST_F(EpsScanner, WritesTheLongestNumbersWhole)
{
    EXPECT_EQ(prepared(header + "%%BoundingBox: 2147483647 2147483647 -9999999999 -9999999999\n"),
              header +
                  "%%BoundingBox: 0 0 -2147483648 -2147483648\n"
                  "<< /PageSize [-2147483648 -2147483648] >> setpagedevice \n"
                  "gsave -2147483647 -2147483647 translate\n" +
                  last);
}

TEST_F(EpsScanner, TestsEachPieceOfALongLineLikeALine)
{
    const std::string piece(9999, 'x');
    const std::string comment = "%%BoundingBox: 10 20 110 220 ";
    const std::string rest(9999 - comment.size(), 'y');
    EXPECT_EQ(prepared(header + piece + comment + rest + "z\n"),
              header + piece + block + "z\n" + last);
    EXPECT_EQ(prepared(header + piece + piece + comment + "\n"),
              header + piece + piece + block + last);
    for (const std::size_t size : {9998U, 10000U, 2U * 9999U - 1U})
        EXPECT_EQ(prepared(header + std::string(size, 'x') + comment + "\n"), not_found()) << size;
    // The next piece begins 9999 bytes later, not after the box comment's own end.
    EXPECT_EQ(prepared(header + comment + rest + comment + "\nz\n"), header + block + "z\n" + last);
}

TEST_F(EpsScanner, StartsOverWithEveryFile)
{
    EXPECT_EQ(prepared(plain), plain_copy);
    EXPECT_EQ(prepared(header + drawing), not_found());
    EXPECT_EQ(bbneeded, 1);
    EXPECT_EQ(wrotebb, 0);
    EXPECT_EQ(prepared(plain), plain_copy);
    EXPECT_EQ(prepared(header + "%%BoundingBox: 0 0 1 1\n").size(),
              (header + block + last).size() - 12);
}

TEST_F(EpsScanner, SaysWhereTheCopyGoesWhenDebugging)
{
    doDebug = 1;
    write(plain);
    EXPECT_EQ(prepare(), 1);
    EXPECT_EQ(console.lines(), "Creating temporary file " + std::string(tmpname) + ".\n");
}

TEST_F(EpsScanner, MakesACopyThatOnlyItsOwnerReads)
{
    const fs::path target = folder / "elsewhere";
    std::ofstream(target) << "precious";
    fs::create_symlink(target, folder / "tmp1.eps");
    umask(0);
    EXPECT_EQ(prepared(plain), plain_copy);
    struct stat info {};
    ASSERT_EQ(lstat(tmpname, &info), 0);
    EXPECT_EQ(info.st_mode, S_IFREG | 0600U);
    EXPECT_EQ(fs::file_size(target), 8U) << "the old copy is replaced, not written through";

    ASSERT_EQ(chmod(tmpname, 0644), 0);
    EXPECT_EQ(prepared(plain + "%"), header + block + drawing + "%" + last);
    ASSERT_EQ(lstat(tmpname, &info), 0);
    EXPECT_EQ(info.st_mode, S_IFREG | 0600U);
}

// ---- heads and tails that are not PostScript ----

TEST_F(EpsScanner, ReadsTheSectionThatABinaryPreviewHeaderNames)
{
    const std::string preview = "%!PS\n%%BoundingBox: 1 2 3 4\n\r%%BeginDocument\n";
    const auto size = static_cast<std::uint32_t>(plain.size());
    const auto before = static_cast<std::uint32_t>(30 + preview.size());
    EXPECT_EQ(prepared(preview_header(30, size) + plain), plain_copy);
    EXPECT_EQ(prepared(preview_header(30, size) + plain + preview), plain_copy);
    EXPECT_EQ(prepared(preview_header(before, size) + preview + plain), plain_copy);
    EXPECT_EQ(prepared(preview_header(before + 1, size) + preview + "x" + plain + preview),
              plain_copy)
        << "the section may begin and end within a line";
    EXPECT_EQ(prepared(preview_header(30, size + 1000) + plain), plain_copy);
    EXPECT_EQ(prepared(preview_header(30, UINT32_MAX) + plain), plain_copy);
    EXPECT_EQ(prepared(preview_header(30, size - 5) + plain),
              header + block + drawing.substr(0, drawing.size() - 5) + last);
}

TEST_F(EpsScanner, ReadsAFileWithABogusPreviewHeaderAsItIs)
{
    for (const std::uint32_t offset : {0U, 4U, 11U, 1000000U, UINT32_MAX, UINT32_MAX - 29}) {
        EXPECT_EQ(prepared(preview_header(offset, 40) + "\n" + plain), plain_copy) << offset;
        EXPECT_EQ(prepared(preview_header(offset, UINT32_MAX) + plain), unreplaced) << offset;
    }
    EXPECT_EQ(prepared(preview_header(31, 0) + "\n" + plain), plain_copy);
    EXPECT_EQ(prepared("\xC5\xD0\xD3\xC6"), not_found());
    EXPECT_EQ(prepared("\xC5\xD0\xD3\xC6\x20"), not_found());
    EXPECT_EQ(prepared(std::string("\xC5\xD0\xD3\xC6\x0c\0\0\0\x09\0\0\0", 12)), not_found());
}

TEST_F(EpsScanner, GivesAPrintersJobTheSameCopyAsItsPlainTwin)
{
    const std::string d = "\x04";
    const std::string language = "@PJL JOB\r\n@PJL SET X=1\r\n@PJL ENTER LANGUAGE=POSTSCRIPT\r\n";
    for (const std::string &head :
         {d, d + d + d, d + "\n" + d, "\r\n" + d, job_end, job_end + "\r\n", job_end + language,
          job_end + language + d, d + job_end + language + "\r\n", language, language + d,
          std::string("\0\0", 2) + job_end + job_end + language}) {
        for (const std::string &tail :
             {std::string(), d, d + d, d + "\n", d + "\r\n" + d, job_end, job_end + "\r\n",
              job_end + "@PJL RESET\r\n@PJL EOJ\r\n" + job_end, d + job_end + "@PJL EOJ",
              d + job_end, job_end + std::string(600, '\0')})
            EXPECT_EQ(prepared(head + plain + tail), plain_copy)
                << testing::PrintToString(head) << testing::PrintToString(tail);
    }
}

TEST_F(EpsScanner, CutsATailWhereverTheLastLineEnds)
{
    const std::string body = header + box_line;
    const std::string copied = header + block;
    for (const char *end : {"%%EOF", "%%EOF\r\n", "%%EOF\r", "%%EOF \n\n", "%%EOF\n \t\r\n",
                            "showpage\n", "showpage\r\n\r\n", "%%Trailer\r"}) {
        EXPECT_EQ(prepared("\x04" + body + end + "\x04"), copied + end + last) << end;
        EXPECT_EQ(prepared("\x04" + body + end + job_end), copied + end + last) << end;
    }
}

TEST_F(EpsScanner, LeavesTheEndOfAFileWithoutAPrintersHeadAlone)
{
    for (const std::string &tail : {std::string("\x04"), job_end, job_end + "@PJL EOJ\n"})
        EXPECT_EQ(prepared(plain + tail), header + block + drawing + tail + last);
}

TEST_F(EpsScanner, NeverTakesBinaryDataForATail)
{
    const std::string body = "\x04" + header + box_line;
    const std::string copied = header + block;
    const std::string data = "\x04\x80\x04\n\x04%%EOF\n\x04\x04 \x81\x04\n\x04";
    for (const std::string &end : std::initializer_list<std::string>{
             data, data + "\n\x04\x04", data + drawing, "%%EOF\n\x04" + data, "%%EOF\n\x04 1\n",
             "%%EOF\x04 1\n", "%%EOF\nx\x04\n", "showpage\x04", "showpage\x04\n", "\x1b%-12345 \n",
             "%%EOF\n\x1b%-1234", "\x80\n" + std::string(3, '\x04')})
        EXPECT_EQ(prepared(body + end), copied + end + last) << testing::PrintToString(end);
}

TEST_F(EpsScanner, CutsTheTailBehindTheDataAllTheSame)
{
    const std::string data = "\x04\x80\x04\n%%EOF\n\x04\n\x04\x04 \x81\x04\n";
    EXPECT_EQ(prepared("\x04" + header + box_line + data + drawing + "\x04"),
              header + block + data + drawing + last);
    EXPECT_EQ(prepared("\x04" + header + box_line + std::string(50000, 'x') + "\n%%EOF\n\x04"),
              header + block + std::string(50000, 'x') + "\n%%EOF\n" + last);
}

TEST_F(EpsScanner, ReadsAPrintersJobWithinAPreviewsSection)
{
    const std::string section = job_end + "@PJL\n\x04" + plain + "\x04" + job_end;
    const auto size = static_cast<std::uint32_t>(section.size());
    EXPECT_EQ(prepared(preview_header(33, size) + "TTT" + section + "\x04TTT"), plain_copy);
}

TEST_F(EpsScanner, SurvivesAFileThatIsNothingButAHead)
{
    for (const std::string &head : {std::string("\x04"), std::string(20000, '\x04'), job_end,
                                    std::string("@PJL"), "@PJL " + std::string(300000, 'x')})
        EXPECT_EQ(prepared(head), not_found());
    EXPECT_EQ(prepared(std::string(100000, '\x04') + plain + "\x04"), plain_copy);
}

// ---- what can go wrong ----

TEST_F(EpsScanner, SaysThatAMissingFileIsNotFound)
{
    EXPECT_EQ(prepare(), 0);
    EXPECT_EQ(console.lines(), input.string() + ": File not found!\n");
    EXPECT_FALSE(copy_exists());
    EXPECT_EQ(w, -1);
}

TEST_F(EpsScanner, SaysThatAFileHasNoBox)
{
    EXPECT_EQ(prepared(header + drawing), not_found());
    EXPECT_EQ(prepared(""), not_found());
    EXPECT_FALSE(copy_exists());
}

TEST_F(EpsScanner, SaysThatTheCopyCannotBeMade)
{
    fs::create_directory(folder / "tmp1.eps");
    EXPECT_EQ(prepared(plain), "\nCan't open temporary file.\n");
    EXPECT_TRUE(fs::is_directory(folder / "tmp1.eps"));
    std::snprintf(tmpPath, sizeof tmpPath, "%s/missing", folder.c_str());
    EXPECT_EQ(prepared(plain), "\nCan't open temporary file.\n");
}

TEST_F(EpsScanner, DoesNotWriteOverItsOwnInput)
{
    input = folder / "tmp1.eps";
    EXPECT_EQ(prepared(plain), "\nCan't open temporary file.\n");
    EXPECT_EQ(copy(), plain);
}

TEST_F(EpsScanner, RefusesATemporaryPathThatDoesNotFit)
{
    write(plain);
    const std::string deep = "/" + std::string(path_limit - 1, 'x');
    std::snprintf(tmpPath, sizeof tmpPath, "%s", deep.c_str());
    EXPECT_EQ(prepare(), 0);
    EXPECT_EQ(console.lines(), deep + "/tmp1.eps: The path of the temporary file is too long!\n");
}

TEST_F(EpsScanner, RefusesWhatIsNoRegularFileWithoutWaiting)
{
    const std::string no_file = ": this is no ordinary file.\n";
    EXPECT_EQ(prepare_eps(folder.c_str(), tmpname, &w, &h), 0);
    EXPECT_EQ(console.lines(), folder.string() + ": this is a folder, not a file.\n");

    console.clear();
    ASSERT_EQ(mkfifo(input.c_str(), 0600), 0);
    EXPECT_EQ(prepare(), 0);
    EXPECT_EQ(console.lines(), input.string() + no_file);

    console.clear();
    EXPECT_EQ(prepare_eps("/dev/zero", tmpname, &w, &h), 0);
    EXPECT_EQ(console.lines(), "/dev/zero" + no_file);
    EXPECT_FALSE(copy_exists());
}

TEST_F(EpsScanner, SaysWhyAFileCannotBeOpened)
{
    write(plain);
    ASSERT_EQ(chmod(input.c_str(), 0), 0);
    ASSERT_EQ(chmod(folder.c_str(), 0777), 0);
    const bool root = geteuid() == 0;
    ASSERT_TRUE(!root || seteuid(65534) == 0); // nothing is unreadable to root
    const int done = prepare();
    ASSERT_TRUE(!root || seteuid(0) == 0);
    EXPECT_EQ(done, 0);
    EXPECT_EQ(console.lines(), input.string() + ": File not found!\n" + input.string() +
                                   ": the file can't be read: Permission denied.\n");
}

TEST_F(EpsScanner, SaysThatReadingFailed)
{
    // A regular file whose first bytes cannot be read.
    EXPECT_EQ(prepare_eps("/proc/self/mem", tmpname, &w, &h), 0);
    EXPECT_EQ(console.lines(), "/proc/self/mem: the file can't be read: Input/output error.\n");
    EXPECT_EQ(scanfile("/proc/self/mem"), 0);
    EXPECT_FALSE(copy_exists());
}

TEST_F(EpsScanner, SaysThatTheCopyCannotBeWritten)
{
    struct rlimit old {};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old), 0);
    std::signal(SIGXFSZ, SIG_IGN);
    for (const std::size_t size : {100U, 70000U, 1000000U}) {
        write(plain + std::string(size, 'x'));
        console.clear();
        const struct rlimit small {
            200, old.rlim_max
        };
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
        const int done = prepare();
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &old), 0);
        EXPECT_EQ(done, 0);
        EXPECT_EQ(console.lines(),
                  "Can't write the temporary copy of " + input.string() + ": File too large.\n");
        EXPECT_FALSE(copy_exists());
        EXPECT_EQ(w, -1);
    }
    EXPECT_EQ(prepared(plain), plain_copy);
}

TEST_F(EpsScanner, LeavesNoFileOpen)
{
    const auto open_files = [] {
        return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
    };
    const auto before = open_files();
    prepared(plain);
    prepared(header);
    prepared(box_line);
    scan(plain);
    input = folder / "missing";
    prepare();
    prepare_eps(folder.c_str(), tmpname, &w, &h);
    input = folder / "tmp1.eps";
    prepared(plain);
    EXPECT_EQ(open_files(), before);
}

// ---- against the reference ----

class EpsReference : public EpsScanner {
protected:
    void compare(const std::string &bytes)
    {
        write(bytes);
        const eps_reference::result expected = eps_reference::prepare(bytes);
        const int done = prepare();
        ASSERT_EQ(done != 0, expected.replaced);
        if (expected.found) {
            ASSERT_EQ(box(),
                      (box_of{expected.box[0], expected.box[1], expected.box[2], expected.box[3]}));
        }
        if (done == 0)
            return;
        ++replaced;
        const std::string got = copy();
        ASSERT_EQ(got.size(), expected.copy.size());
        const auto differ = std::mismatch(got.begin(), got.end(), expected.copy.begin());
        ASSERT_TRUE(differ.first == got.end()) << "from " << differ.first - got.begin();
    }
    std::size_t random(std::size_t limit)
    {
        return std::uniform_int_distribution<std::size_t>(0, limit - 1)(engine);
    }
    std::string some_bytes(const std::string &pool, std::size_t count)
    {
        std::string bytes;
        while (bytes.size() < count)
            bytes += pool[random(pool.size())];
        return bytes;
    }
    // Parts that mean something, whole and cut, at lengths around a piece's.
    std::string random_file(std::size_t parts)
    {
        static const std::vector<std::string> words = {"%%BoundingBox: 10 20 110 220",
                                                       "%%BoundingBox: (atend)",
                                                       "%%HiResBoundingBox: 1.5 2 3 4",
                                                       "%%ExactBoundingBox: -1 -2 3",
                                                       "%%BeginDocument: x",
                                                       "%%EndDocument",
                                                       "%%BoundingBox",
                                                       "%%BoundingBoxBoundingBox:",
                                                       "BoundingBoxExactBoundingBox",
                                                       "BegiDocumentEndDocument",
                                                       "%!PS-Adobe",
                                                       "!PS",
                                                       "\x04",
                                                       "\x1b%-12345X",
                                                       "@PJL",
                                                       "%%EOF",
                                                       "BouDocBou",
                                                       ":",
                                                       "%%",
                                                       "%",
                                                       std::string(1, '\0'),
                                                       "%%HiResBegBoundingBox",
                                                       "xx"};
        static const std::vector<std::string> ends = {"\n", "\r", "\r\n", "\n\r", "", "\n\n"};
        std::string bytes = random(2) == 0 ? header : "";
        for (std::size_t i = 0; i < parts; ++i) {
            std::string word = words[random(words.size())];
            if (random(4) == 0)
                word = word.substr(random(word.size()));
            if (random(12) == 0)
                bytes += some_bytes("xBoD", 9999 - 40 + random(50));
            else if (random(12) == 0)
                bytes += std::string(9999 - word.size(), ' ');
            bytes += word;
            if (random(5) == 0)
                bytes += some_bytes("abc 123", random(200));
            bytes += ends[random(ends.size())];
        }
        return bytes;
    }
    std::mt19937 engine{20240229};
    int replaced = 0;
};

TEST_F(EpsReference, AgreesOnRandomFilesWhateverTheWindow)
{
    for (int i = 0; i < 4000; ++i) {
        constexpr std::array<std::size_t, 8> sizes = {7, 17, 18, 19, 64, 257, 4096, window_size};
        refill_size = sizes[random(sizes.size())];
        compare(random_file(1 + random(12)));
        ASSERT_FALSE(HasFatalFailure()) << "file " << i << ", window " << refill_size;
    }
    EXPECT_GT(replaced, 800) << "most of the files must come as far as a copy";
}

TEST_F(EpsReference, AgreesOnRandomBytesOfTheKeywords)
{
    for (int i = 0; i < 2000; ++i) {
        refill_size = 1 + random(40);
        std::string bytes = "%!PS\n%%BoundingBox: 1 2 3 4\n";
        for (std::size_t n = random(60); n > 0; --n)
            bytes += random(3) == 0   ? some_bytes("\r\n%", 1 + random(3))
                     : random(2) == 0 ? "Document"
                                      : std::string("BoundingBox").substr(0, 1 + random(11));
        compare(bytes);
        ASSERT_FALSE(HasFatalFailure()) << "file " << i << ", window " << refill_size;
    }
}

TEST_F(EpsReference, AgreesOnAKeywordAtEveryPlaceOfAWindow)
{
    for (const std::size_t size : {64U, 128U, 129U}) {
        refill_size = size;
        for (std::size_t shift = 0; shift < 2 * size + 20; ++shift) {
            const std::string fill = std::string(shift, 'x') + "\n";
            compare(header + box_line + fill + "%%BoundingBox: 1 2 3 4\n" + fill +
                    "%%BeginDocument\n" + fill + box_line + "%%EndDocument\n" + fill +
                    "%%HiResBoundingBox: 1 2 3 4\n%%E");
            ASSERT_FALSE(HasFatalFailure()) << shift;
        }
    }
}

TEST_F(EpsReference, AgreesOnFilesOfManyWindows)
{
    for (int i = 0; i < 6; ++i) {
        std::string bytes = header;
        if (i % 2 == 0)
            bytes += box_line;
        while (bytes.size() < 3 * window_size) {
            bytes += random_file(1 + random(5));
            bytes += some_bytes("0123456789ABCDEFo\n", random(3000));
            bytes += std::string(random(2) * random(60000), 'D');
        }
        compare(bytes + box_line);
        ASSERT_FALSE(HasFatalFailure()) << "file " << i;
    }
}

// Looking for the line's beginning from every candidate anew would take minutes here.
TEST_F(EpsReference, AHostileFileTakesNoLongerThanAnyOther)
{
    std::string bytes = header;
    while (bytes.size() < 32U << 20)
        bytes += "BoundingBox";
    bytes += "\n" + box_line;
    write(bytes);
    // Work that grew with the square of the size would not end before the test runner's patience.
    EXPECT_EQ(prepare(), 1);
    EXPECT_EQ(fs::file_size(tmpname), eps_reference::prepare(bytes).copy.size());
}
