#include "engine/run_progress.h"

#include "tests/support/temporary_folder.h"
#include "tests/support/test_files.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>

namespace {

class RunProgress : public ::testing::Test {
protected:
    RunProgress()
    {
        follow_output(progress, path);
    }

    void add(const std::string &bytes) const
    {
        std::ofstream file(path, std::ios::binary | std::ios::app);
        file << bytes;
    }

    bool add_and_read(const std::string &bytes)
    {
        add(bytes);
        return read_progress(progress);
    }

    // "page/pages done/total/file"
    std::string numbers() const
    {
        return std::to_string(progress.page) + "/" + std::to_string(progress.pages_done) + "/" +
               std::to_string(progress.total) + "/" + std::to_string(progress.file);
    }

    temporary_folder folder;
    const std::string path = folder / "worksheet";
    run_progress progress;
};

} // namespace

// ---- pages ----

TEST_F(RunProgress, GhostscriptTellsOfAPageAsItBeginsIt)
{
    add_and_read("GPL Ghostscript 10.00.0 (2022-09-21)\nProcessing pages 1 through 20.\n");
    EXPECT_EQ(numbers(), "0/0/20/0");
    add_and_read("Page 1\n");
    EXPECT_EQ(numbers(), "1/0/20/0");
    add_and_read("Loading font Helvetica (or substitute) from /usr/share/x\nPage 2\nPage 3\n");
    EXPECT_EQ(numbers(), "3/2/20/0");
    EXPECT_EQ(progress.last_line, "Page 3");
}

TEST_F(RunProgress, APageIsCountedOnceItsLineHasEnded)
{
    add_and_read("Processing pages 1 through 20.\nPage 1");
    EXPECT_EQ(numbers(), "0/0/20/0");
    EXPECT_EQ(progress.last_line, "Page 1");
    add_and_read("\n");
    EXPECT_EQ(numbers(), "1/0/20/0");
}

TEST_F(RunProgress, PagesAreCountedFromTheFirstOneThatIsConverted)
{
    add_and_read("Processing pages 5 through 7.\nPage 5\nPage 6\n");
    EXPECT_EQ(numbers(), "2/1/3/0");
}

TEST_F(RunProgress, AListOfPagesIsCounted)
{
    add_and_read("Processing pages 1,3-5.\nPage 1\nPage 3\n");
    EXPECT_EQ(numbers(), "2/1/4/0");
}

TEST_F(RunProgress, PagesThatCannotBeCountedBeforehandHaveNoTotal)
{
    for (const char *list : {"odd", "odd:1-", "5 through 3", "", "1,", "0", "-3", "99999999999",
                             "1 through 2147483648", "1 through 3 or so"}) {
        add_and_read(std::string("Processing pages ") + list + ".\nPage 9\n");
        EXPECT_EQ(progress.total, 0) << list;
        EXPECT_EQ(progress.page, 1) << list;
    }
}

TEST_F(RunProgress, AToolThatAnnouncesNothingTellsOfAPageWhenItIsDone)
{
    add_and_read("Page 1\nPage 2\n");
    EXPECT_EQ(numbers(), "2/2/0/0");
}

TEST_F(RunProgress, MorePagesThanAnnouncedLeaveNoTotal)
{
    add_and_read("Processing pages 1 through 2.\nPage 1\nPage 2\nPage 3\n");
    EXPECT_EQ(numbers(), "3/2/0/0");
}

TEST_F(RunProgress, ALineThatOnlyBeginsLikeAPageIsNone)
{
    add_and_read("Page 1 of the manual\nPage\nPage x\nPage -2\nPages 3\n Page2\nPage 0\n"
                 "Page 12345678901\nSee Page 4\n");
    EXPECT_EQ(numbers(), "0/0/0/0");
}

TEST_F(RunProgress, EveryFileOfAMergeHasItsOwnPages)
{
    add_and_read("papermill-in-1:\nProcessing pages 1 through 2.\nPage 1\nPage 2\n");
    EXPECT_EQ(numbers(), "2/1/2/1");
    add_and_read("papermill-in-2:\n");
    EXPECT_EQ(numbers(), "0/0/0/2");
    EXPECT_EQ(progress.last_line, "Page 2"); // a name of the script's own is not shown
    add_and_read("Processing pages 1 through 30.\nPage 1\nPage 2\nPage 3\n");
    EXPECT_EQ(numbers(), "3/2/30/2");
}

TEST_F(RunProgress, SeveralAnnouncementsOfPagesAreSeveralFiles)
{
    add_and_read("Processing pages 1 through 2.\nPage 1\nPage 2\n");
    EXPECT_EQ(numbers(), "2/1/2/0");
    add_and_read("Processing pages 1 through 7.\nPage 1\n");
    EXPECT_EQ(numbers(), "1/0/7/2");
}

// ---- the last line ----

TEST_F(RunProgress, TheLastLineThatIsNotEmptyIsShown)
{
    add_and_read("first\n  second  \n\n\r\n \t \n");
    EXPECT_EQ(progress.last_line, "second");
    add_and_read("carriage\rreturns\r");
    EXPECT_EQ(progress.last_line, "returns");
    add_and_read("both\r\nkinds\r\n");
    EXPECT_EQ(progress.last_line, "kinds");
}

TEST_F(RunProgress, ALineWithoutAnEndIsShown)
{
    add_and_read("done\n10 %");
    EXPECT_EQ(progress.last_line, "10 %");
    add_and_read(" 20 %");
    EXPECT_EQ(progress.last_line, "10 % 20 %");
}

TEST_F(RunProgress, ACharacterThatIsCutWaitsForItsRest)
{
    add_and_read("caf\xC3");
    EXPECT_EQ(progress.last_line, "caf");
    add_and_read("\xA9 \xE2\x82");
    EXPECT_EQ(progress.last_line, "café");
    add_and_read("\xAC\n");
    EXPECT_EQ(progress.last_line, "café €");
}

TEST_F(RunProgress, ALongLineTakesBoundedMemory)
{
    constexpr std::size_t megabyte = 1 << 20;
    const std::string line(megabyte, 'x');
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(add_and_read(line));
        EXPECT_LT(progress.line.capacity(), 10000U);
    }
    std::string cut = line.substr(0, shown_line) + "…";
    EXPECT_EQ(progress.last_line, cut);
    add_and_read("\nPage 1\n");
    EXPECT_EQ(progress.last_line, "Page 1");
    EXPECT_EQ(progress.page, 1);
}

TEST_F(RunProgress, ALongLineOfBlanksHidesNothing)
{
    add_and_read(std::string(100000, ' ') + "text");
    EXPECT_EQ(progress.last_line, "text");
}

TEST_F(RunProgress, ALineThatIsCutIsNoPage)
{
    add_and_read("Page 1" + std::string(5000, ' ') + "x\n");
    EXPECT_EQ(progress.page, 0);
}

TEST_F(RunProgress, MuchOutputIsReadInPieces)
{
    const std::string line = std::string(999, 'x') + "\n";
    std::string much;
    for (int i = 0; i < 20000; ++i)
        much += line;
    add(much + "Page 1\n");
    int calls = 0;
    while (read_progress(progress))
        ++calls;
    EXPECT_GT(calls, 2); // no call keeps the window waiting for all of it
    EXPECT_EQ(progress.last_line, "Page 1");
    EXPECT_EQ(progress.page, 1);
}

// ---- the file ----

TEST_F(RunProgress, OnlyWhatWasAddedIsRead)
{
    EXPECT_FALSE(read_progress(progress)); // not there yet
    EXPECT_TRUE(add_and_read("one\n"));
    EXPECT_FALSE(read_progress(progress));
    EXPECT_TRUE(add_and_read("Page 1\n"));
    EXPECT_FALSE(read_progress(progress));
    EXPECT_EQ(progress.page, 1);
}

TEST_F(RunProgress, AFileThatIsGoneLeavesWhatWasTold)
{
    add_and_read("Processing pages 1 through 9.\nPage 1\n");
    std::filesystem::remove(path);
    EXPECT_FALSE(read_progress(progress));
    EXPECT_EQ(numbers(), "1/0/9/0");
    EXPECT_EQ(progress.last_line, "Page 1");
}

TEST_F(RunProgress, AFileThatWasCutIsReadAnew)
{
    add_and_read("Processing pages 1 through 9.\nPage 1\nPage 2\nunfin");
    write_file(path, "Page 1\n");
    EXPECT_TRUE(read_progress(progress));
    EXPECT_EQ(numbers(), "1/1/0/0");
    EXPECT_EQ(progress.last_line, "Page 1");
    write_file(path, "");
    EXPECT_TRUE(read_progress(progress));
    EXPECT_EQ(progress.last_line, "");
    EXPECT_FALSE(read_progress(progress));
}

TEST_F(RunProgress, AFileThatWasReplacedIsReadAnew)
{
    add_and_read("Page 7\n");
    write_file(path + ".new", "Page 1\nPage 2\nand more\n");
    std::filesystem::rename(path + ".new", path);
    EXPECT_TRUE(read_progress(progress));
    EXPECT_EQ(progress.page, 2);
}

TEST_F(RunProgress, AFileThatWasWrittenAnewInItsPlaceIsReadAnew)
{
    add_and_read("Page 7\n");
    write_file(path, "papermill: Page 7 is not the first line\n");
    EXPECT_TRUE(read_progress(progress));
    EXPECT_EQ(numbers(), "0/0/0/0");
    EXPECT_EQ(progress.last_line, "papermill: Page 7 is not the first line");
}

TEST_F(RunProgress, WhatIsNoFileIsLeftAlone)
{
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    EXPECT_FALSE(read_progress(progress)); // and does not wait for somebody to write
    std::filesystem::remove(path);
    std::filesystem::create_directory(path);
    EXPECT_FALSE(read_progress(progress));
}

TEST_F(RunProgress, AnotherRunForgetsTheLastOne)
{
    add_and_read("papermill-in-2:\nPage 7\n");
    follow_output(progress, folder / "other");
    EXPECT_FALSE(read_progress(progress));
    EXPECT_EQ(numbers(), "0/0/0/0");
    EXPECT_EQ(progress.last_line, "");
}

// ---- bytes for show ----

TEST(LineForShow, BytesThatAreNoUtf8AreTakenForLatin1)
{
    EXPECT_EQ(line_for_show("Gr\xFC\xDF"
                            "e, Grüße",
                            false),
              "Grüße, Grüße");
    EXPECT_EQ(line_for_show("\xC3", false), "Ã");
    EXPECT_EQ(line_for_show("\xED\xA0\x80x", false), "í\u00A0 x"); // half of a pair
    EXPECT_EQ(line_for_show("\xC0\xAF", false), "À¯");             // longer than need be
    EXPECT_EQ(line_for_show("\xF4\x90\x80\x81x", false), "ô   x");
    EXPECT_EQ(line_for_show("𝄞", false), "𝄞");
}

TEST(LineForShow, ControlCharactersBecomeBlanks)
{
    EXPECT_EQ(line_for_show(std::string("a\0b\tc\x1B[1m\x7F"
                                        "d",
                                        11),
                            false),
              "a b c [1m d");
    EXPECT_EQ(line_for_show("a\xC2\x85"
                            "b\xE2\x80\xA8"
                            "c",
                            false),
              "a b c");
    EXPECT_EQ(line_for_show("\n\n", false), "");
}

TEST(LineForShow, NothingTurnsTheDirectionOfWriting)
{
    EXPECT_EQ(line_for_show("a\xE2\x80\xAE"
                            "fdp.exe\xE2\x81\xA6",
                            false),
              "afdp.exe");
    EXPECT_EQ(line_for_show("שלום", false), "שלום");
}

TEST(LineForShow, ALongTextIsCutBetweenCharacters)
{
    std::string text;
    for (std::size_t i = 0; i < shown_line; ++i)
        text += "é";
    EXPECT_EQ(line_for_show(text, false), text);
    EXPECT_EQ(line_for_show(text + "é", false), text + "…");
}
