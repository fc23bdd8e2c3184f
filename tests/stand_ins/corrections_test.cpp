#include "stand_ins/corrections.h"
#include "tests/support/test_files.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

class Corrections : public testing::Test {
protected:
    // What becomes of the bbox device's file; `messages` holds what was said.
    std::string boxes(const std::string &bytes)
    {
        const std::string path = folder.write("result.bbox", bytes);
        folder.write("messages", "before\n");
        well = correct_boxes(path, folder / "messages");
        messages = read_file(folder / "messages").substr(7);
        return read_file(path);
    }

    // What becomes of a rewritten file, whose measured box is 10 20 110 220, when the input begins
    // like that.
    std::string eps_of(const std::string &input)
    {
        const std::string path = folder.write(
            "result.eps", "%!PS-Adobe-3.0 EPSF-3.0\n%%BoundingBox: 3010 3020 3110 3220\n"
                          "%%HiResBoundingBox: 3010.25 3020.50 3109.75 3219.50\n%%Pages: 1\n"
                          "%%EndComments\n%%BeginProlog\n%%EndProlog\n%%EOF\n");
        well = correct_eps(path, folder.write("in.eps", input));
        const std::string result = read_file(path);
        const std::string head = "%!PS-Adobe-3.0 EPSF-3.0\n";
        const std::string tail = "%%Pages: 1\n%%EndComments\n-3000 -3000 translate\n"
                                 "%%BeginProlog\n%%EndProlog\n%%EOF\n";
        if (result.size() < head.size() + tail.size() ||
            result.compare(0, head.size(), head) != 0 ||
            result.compare(result.size() - tail.size(), tail.size(), tail) != 0)
            return "not as it should be:\n" + result;
        return result.substr(head.size(), result.size() - head.size() - tail.size());
    }

    std::string index_of(const std::string &input)
    {
        const std::string path = folder.write("result.dsc", "(papermill-in) (r) file\n");
        well = correct_index(path, input);
        return read_file(path);
    }

    temporary_folder folder;
    std::string messages;
    bool well = false;
};

const std::string measured = "%%BoundingBox: 10 20 110 220\n"
                             "%%HiResBoundingBox: 10.250000 20.500000 109.750000 219.500000\n";

} // namespace

// ---- boxes ----

TEST_F(Corrections, BoxesComeWithoutTheShift)
{
    EXPECT_EQ(boxes("%%BoundingBox: 3072 3071 3251 3251\n"
                    "%%HiResBoundingBox: 3072.725906 3071.537906 3250.007901 3250.007901\n"),
              "%%BoundingBox: 72 71 251 251\n"
              "%%HiResBoundingBox: 72.725906 71.537906 250.007901 250.007901\n");
    EXPECT_TRUE(well);
    EXPECT_EQ(messages, "");
}

TEST_F(Corrections, BoxesMayLieLeftOfAndBelowTheOrigin)
{
    EXPECT_EQ(boxes("%%BoundingBox: 2950 2970 3000 2999\n"
                    "%%HiResBoundingBox: 2950.5 2970.25 2999.75 2998.125\n"),
              "%%BoundingBox: -50 -30 0 -1\n"
              "%%HiResBoundingBox: -49.500000 -29.750000 -0.250000 -1.875000\n");
}

TEST_F(Corrections, TheBoxOfABlankPageStaysAsItIs)
{
    const std::string blank = "%%BoundingBox: 0 0 0 0\n"
                              "%%HiResBoundingBox: 0.000000 0.000000 0.000000 0.000000\n";
    EXPECT_EQ(boxes(blank), blank);
    EXPECT_TRUE(well);
    // One that has nothing but a corner at the origin is none.
    EXPECT_EQ(boxes("%%BoundingBox: 0 0 3001 3001\n"), "%%BoundingBox: -3000 -3000 1 1\n");
}

TEST_F(Corrections, EveryPageHasItsBox)
{
    EXPECT_EQ(boxes("%%BoundingBox: 3001 3002 3003 3004\n%%BoundingBox: 0 0 0 0\n"
                    "%%BoundingBox: 3005 3006 3007 3008\n"),
              "%%BoundingBox: 1 2 3 4\n%%BoundingBox: 0 0 0 0\n%%BoundingBox: 5 6 7 8\n");
}

TEST_F(Corrections, OtherLinesAreMessages)
{
    EXPECT_EQ(boxes("a warning\n%%BoundingBox: 3001 3002 3003 3004\n %%BoundingBox: 1 2 3 4\n"
                    "%%Bounding\nlast"),
              "%%BoundingBox: 1 2 3 4\n");
    EXPECT_EQ(messages, "a warning\n %%BoundingBox: 1 2 3 4\n%%Bounding\nlast");
    EXPECT_EQ(read_file(folder / "messages").substr(0, 7), "before\n");
}

TEST_F(Corrections, LinesThatOnlyLookLikeBoxesAreMessages)
{
    const std::string alien = "%%BoundingBox: (atend)\n%%BoundingBox: 1 2 3\n%%BoundingBox:\n"
                              "%%BoundingBox: nan nan nan nan\n%%BoundingBox: 1 2 3 inf\n"
                              "%%HiResBoundingBox: 1e300 -1e300 1 1\n%%BoundingBox: 1e6 1 1 1\n";
    EXPECT_EQ(boxes(alien + "%%BoundingBox: 3001 3002 3003 3004\n"), "%%BoundingBox: 1 2 3 4\n");
    EXPECT_EQ(messages, alien);
    EXPECT_TRUE(well);
    boxes(alien);
    EXPECT_FALSE(well); // none of them is one
}

TEST_F(Corrections, WithoutABoxThereIsNoResult)
{
    boxes("");
    EXPECT_FALSE(well);
    boxes("nothing of that kind\n");
    EXPECT_FALSE(well);
    EXPECT_EQ(messages, "nothing of that kind\n");
    EXPECT_FALSE(correct_boxes(folder / "missing", folder / "messages"));
    EXPECT_FALSE(correct_boxes(folder / "result.bbox", folder / "no/messages"));
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"messages", "result.bbox"}));
}

TEST_F(Corrections, LongLinesAreWhole)
{
    // Boxes within them, also where a piece ends, are none.
    for (const std::size_t before : {4080U, 4094U, 4095U, 4096U, 8190U}) {
        const std::string line = std::string(before, 'x') + "%%BoundingBox: 3001 3002 3003 3004\n";
        EXPECT_EQ(boxes(line + "%%BoundingBox: 3001 3002 3003 3004\n"), "%%BoundingBox: 1 2 3 4\n");
        EXPECT_EQ(messages, line);
    }
}

// ---- eps ----

TEST_F(Corrections, ARewrittenFileKeepsItsBox)
{
    EXPECT_EQ(eps_of("%!PS-Adobe-3.0 EPSF-3.0\n%%BoundingBox: 0 0 300 400\n%%EndComments\n"),
              "%%BoundingBox: 0 0 300 400\n");
    EXPECT_TRUE(well);
    EXPECT_EQ(eps_of("%!PS\n%%BoundingBox: -5 -6 7 8\n%%HiResBoundingBox: -4.5 -5.5 6.5 7.25\n"),
              "%%BoundingBox: -5 -6 7 8\n%%HiResBoundingBox: -4.5 -5.5 6.5 7.25\n");
}

TEST_F(Corrections, ABoxStandsAsItStood)
{
    EXPECT_EQ(eps_of("%%BoundingBox:   0.5 +0.25\t1e2 99.750   \n"),
              "%%BoundingBox: 0.5 +0.25\t1e2 99.750\n");
    EXPECT_EQ(eps_of("%%BoundingBox:1 2 3 4 and more\n"), "%%BoundingBox: 1 2 3 4\n");
}

TEST_F(Corrections, LinesOfTheInputMayEndAnyhow)
{
    const std::string both = "%%BoundingBox: 1 2 3 4\n%%HiResBoundingBox: 1.5 2.5 2.75 3.5\n";
    for (const std::string end : {"\r", "\r\n", "\n"}) {
        std::string lines = "%!PS\n" + both + "body\n";
        for (std::size_t at = 0; (at = lines.find('\n', at)) != std::string::npos; at += end.size())
            lines.replace(at, 1, end);
        EXPECT_EQ(eps_of(lines), both);
    }
    EXPECT_EQ(eps_of("%%BoundingBox: 1 2 3 4"), "%%BoundingBox: 1 2 3 4\n");
}

TEST_F(Corrections, TheHeaderMayComeAfterSomethingElse)
{
    const std::string both = "%%BoundingBox: 1 2 3 4\n%%HiResBoundingBox: 1.5 2.5 2.75 3.5\n";
    const std::string late = "%%BoundingBox: 5 6 7 8\n%%HiResBoundingBox: 5.5 6.5 7.5 8.5\n";
    for (const std::string &before : {std::string("\xC5\xD0\xD3\xC6\x1E\0\0\0", 8),
                                      std::string("\x1B%-12345X@PJL JOB\n"), std::string("\4")})
        EXPECT_EQ(eps_of(before + "%!PS-Adobe-3.0 EPSF-3.0\n" + both + "body\n" + late), both);
}

TEST_F(Corrections, WithoutABoxInTheInputItIsMeasured)
{
    EXPECT_EQ(eps_of("%!PS-Adobe-3.0\n%%Pages: 1\n"), measured);
    EXPECT_EQ(eps_of("%!PS\n%%BoundingBox: (atend)\n%%HiResBoundingBox: (atend)\n"), measured);
    EXPECT_EQ(eps_of("%!PS\n%%HiResBoundingBox: 1 2 3 4\n"), measured);
    EXPECT_EQ(eps_of(""), measured);
}

TEST_F(Corrections, ABoxAtTheEndIsTaken)
{
    EXPECT_EQ(eps_of("%!PS\n%%BoundingBox: (atend)\n%%HiResBoundingBox: (atend)\n%%EndComments\n"
                     "body\n%%Trailer\n%%BoundingBox: 1 2 3 4\n"
                     "%%HiResBoundingBox: 1.5 2.5 2.75 3.75\n%%EOF\n"),
              "%%BoundingBox: 1 2 3 4\n%%HiResBoundingBox: 1.5 2.5 2.75 3.75\n");
}

TEST_F(Corrections, BoxesOfPicturesWithinThePictureAreNotTaken)
{
    const std::string inner = "%!PS\n%%BoundingBox: 50 50 60 60\n"
                              "%%HiResBoundingBox: 50.5 50.5 59.5 59.5\n%%EndComments\n";
    const std::string nested = "%%BeginDocument: inner.eps\n" + inner + "%%EndDocument\n";
    const std::string twice =
        "%%BeginDocument: outer.eps\n" + nested + inner + "%%EndDocument\n%%EndDocument\n" + nested;
    const std::string header = "%!PS\n%%BoundingBox: 1 2 3 4\n%%EndComments\n";
    const std::string promise = "%!PS\n%%BoundingBox: (atend)\n%%EndComments\n";
    const std::string trailer = "%%Trailer\n%%BoundingBox: 1 2 3 4\n";
    for (const std::string &within : {nested, twice, inner})
        EXPECT_EQ(eps_of(header + within), "%%BoundingBox: 1 2 3 4\n") << within;
    for (const std::string &within : {nested, twice}) {
        EXPECT_EQ(eps_of(promise + within + trailer), "%%BoundingBox: 1 2 3 4\n") << within;
        EXPECT_EQ(eps_of(promise + within), measured) << within;
        EXPECT_EQ(eps_of("%!PS\n%%EndComments\n" + within), measured) << within;
    }
}

TEST_F(Corrections, WhatIsNoBoxIsNotTaken)
{
    for (const std::string &numbers :
         {std::string("nan nan nan nan"), std::string("inf inf inf inf"),
          std::string("0x1 0x2 0x3 0x4"), std::string("1 2 3"), std::string("1,2,3,4"),
          std::string("one two three four"), std::string(), std::string("() show"),
          std::string("1 2 3 ") + std::string(5000, ' ') + "4", std::string("1 2 3 infinity")})
        EXPECT_EQ(eps_of("%!PS\n%%BoundingBox: " + numbers + "\n"), measured) << numbers;
    // Not a whole line, and not at its beginning.
    EXPECT_EQ(eps_of("%!PS %%BoundingBox: 1 2 3 4\n"), measured);
    EXPECT_EQ(eps_of(std::string(4095, 'x') + "%%BoundingBox: 1 2 3 4\n"), measured);
}

TEST_F(Corrections, OnlyTheHeaderOfARewrittenFileIsChanged)
{
    const std::string body = "%%BeginProlog\n%%BoundingBox: 3010 3020 3110 3220\r%%EndComments\n" +
                             std::string("\0\r\n\xFF", 4) + std::string(9000, 'b') +
                             "\n%%BoundingBox: 1 2 3 4\n%%EOF";
    const std::string path = folder.write(
        "result.eps", "%!PS\n%%BoundingBox: 3010 3020 3110 3220\n%%EndComments\n" + body);
    EXPECT_TRUE(correct_eps(path, folder.write("in.eps", "%!PS\n")));
    EXPECT_EQ(read_file(path), "%!PS\n%%BoundingBox: 10 20 110 220\n%%EndComments\n"
                               "-3000 -3000 translate\n" +
                                   body);
}

TEST_F(Corrections, AMissingRewrittenFileIsTold)
{
    EXPECT_FALSE(correct_eps(folder / "missing", folder / "in.eps"));
    EXPECT_TRUE(folder.names().empty());
}

// ---- index ----

TEST_F(Corrections, AnIndexNamesTheUsersFile)
{
    EXPECT_EQ(index_of("/some/folder/a b.pdf"), "(a b.pdf) (r) file\n");
    EXPECT_TRUE(well);
    EXPECT_EQ(index_of("beside.pdf"), "(beside.pdf) (r) file\n");
}

TEST_F(Corrections, AnIndexNamesItAsPostScriptReadsIt)
{
    EXPECT_EQ(index_of("a(b)c).pdf"), "(a\\(b\\)c\\).pdf) (r) file\n");
    EXPECT_EQ(index_of("back\\slash.pdf"), "(back\\\\slash.pdf) (r) file\n");
    EXPECT_EQ(index_of("new\nline\ttab\x7F.pdf"), "(new\\012line\\011tab\\177.pdf) (r) file\n");
    EXPECT_EQ(index_of("\xC3\xA4\xFF"
                       "9.pdf"),
              "(\\303\\244\\3779.pdf) (r) file\n");
    EXPECT_EQ(index_of("papermill-in"), "(papermill-in) (r) file\n");
}

TEST_F(Corrections, NothingElseOfAnIndexIsChanged)
{
    const std::string path = folder.write(
        "result.dsc", "%%Title: (papermill-in)\n(papermill-in) (r) file\n (papermill-in)\n"
                      "(papermill-in-1)\n" +
                          std::string(4095, 'x') + "(papermill-in)\n%%EOF");
    EXPECT_TRUE(correct_index(path, "/users/own.pdf"));
    EXPECT_EQ(read_file(path), "%%Title: (papermill-in)\n(own.pdf) (r) file\n (papermill-in)\n"
                               "(papermill-in-1)\n" +
                                   std::string(4095, 'x') + "(papermill-in)\n%%EOF");
    EXPECT_FALSE(correct_index(folder / "missing", "/users/own.pdf"));
    EXPECT_EQ(folder.names(), std::vector<std::string>{"result.dsc"});
}
