#include "platform/qt/text_store.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

using platform::text_piece;
using platform::text_store;

namespace {

std::string whole(const text_store &store, std::size_t start = 0)
{
    std::string all;
    store.for_each_part(start, store.size(), [&](std::string_view part) {
        all += part;
        return true;
    });
    return all;
}

// The text of every piece, those that end a line with a "|".
std::vector<std::string> pieces_of(const text_store &store)
{
    std::vector<std::string> result;
    for (std::size_t number = 0; number < store.block_count(); ++number) {
        std::vector<text_piece> pieces;
        store.find_pieces(number, 0, &pieces);
        for (const text_piece &piece : pieces)
            result.push_back(store.block(number).bytes.substr(piece.start, piece.size) +
                             (piece.ends_line ? "|" : ""));
    }
    return result;
}

// Lines of all lengths, some very long, some of UTF-8 characters, some of no text at all.
std::string wild_text(std::size_t size)
{
    std::mt19937 random(20);
    std::string text;
    while (text.size() < size) {
        const std::size_t length = random() % 20 == 0 ? random() % 20000 : random() % 120;
        switch (random() % 4) {
        case 0:
            text.append(length, 'x');
            break;
        case 1:
            for (std::size_t i = 0; i < length; ++i)
                text += static_cast<char>(random() % 256);
            break;
        case 2:
            for (std::size_t i = 0; i < length; ++i)
                text += "\xE2\x82\xAC";
            break;
        default:
            for (std::size_t i = 0; i < length; ++i)
                text += "word "[i % 5];
        }
        text += '\r';
    }
    return text;
}

} // namespace

TEST(TextStore, AnEmptyTextHasOneEmptyPiece)
{
    const text_store store;
    EXPECT_EQ(store.size(), 0U);
    EXPECT_EQ(store.block_count(), 1U);
    EXPECT_EQ(pieces_of(store), std::vector<std::string>({""}));
}

TEST(TextStore, CarriageReturnsAndLineFeedsEndLines)
{
    text_store store;
    store.append("one\rtwo\n\rthree");
    EXPECT_EQ(pieces_of(store), std::vector<std::string>({"one|", "two|", "|", "three"}));
    store.append("\r");
    EXPECT_EQ(pieces_of(store), std::vector<std::string>({"one|", "two|", "|", "three|", ""}));
}

TEST(TextStore, NothingIsLostAndNoPieceIsLong)
{
    const std::string text = wild_text(1000000);
    text_store store;
    store.append(text);
    EXPECT_TRUE(whole(store) == text);
    EXPECT_TRUE(whole(store, 123456) == text.substr(123456));
    std::string joined;
    for (std::string piece : pieces_of(store)) {
        EXPECT_LE(piece.size(), text_store::piece_limit + 4);
        if (!piece.empty() && piece.back() == '|')
            piece.pop_back();
        joined += piece;
    }
    std::string expected;
    for (const char c : text) {
        if (c != '\r' && c != '\n' && c != '|')
            expected += c;
    }
    std::erase(joined, '|');
    EXPECT_TRUE(joined == expected);
    for (std::size_t i = 0; i < store.block_count(); ++i)
        EXPECT_LE(store.block(i).bytes.size(),
                  text_store::block_limit + 2 * text_store::piece_limit);
}

TEST(TextStore, ThePiecesAreTheSameHoweverTheTextComes)
{
    const std::string text = wild_text(200000);
    text_store at_once;
    at_once.append(text);
    const std::vector<std::string> expected = pieces_of(at_once);
    for (const std::size_t slice : {std::size_t{1}, std::size_t{1000}, std::size_t{8192}}) {
        text_store store;
        for (std::size_t at = 0; at < text.size(); at += slice)
            store.append(std::string_view(text).substr(at, slice));
        EXPECT_TRUE(pieces_of(store) == expected) << slice;
    }
}

TEST(TextStore, ALongLineIsCutBehindABlank)
{
    text_store store;
    store.append(std::string(2000, 'x') + " " + std::string(2000, 'y'));
    const std::vector<std::string> pieces = pieces_of(store);
    ASSERT_EQ(pieces.size(), 2U);
    EXPECT_EQ(pieces[0], std::string(2000, 'x') + " ");
    EXPECT_EQ(pieces[1], std::string(2000, 'y'));
}

TEST(TextStore, ALongLineIsNotCutWithinACharacter)
{
    for (std::size_t before = 0; before < 4; ++before) {
        std::string text(before, 'x');
        while (text.size() < 3 * text_store::piece_limit)
            text += "\xF0\x9F\x98\x80";
        text_store store;
        store.append(text);
        std::size_t joined = 0;
        for (const std::string &piece : pieces_of(store)) {
            EXPECT_EQ((joined + piece.size() - before) % 4, 0U) << before;
            joined += piece.size();
        }
    }
}

TEST(TextStore, ATruncatedTextGoesOnAsIfNothingHadFollowed)
{
    const std::string text = wild_text(100000);
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{50000}}) {
        text_store store;
        store.append(text);
        store.truncate(size);
        EXPECT_EQ(store.size(), size);
        store.append("end");
        text_store expected;
        expected.append(text.substr(0, size) + "end");
        EXPECT_TRUE(whole(store) == whole(expected)) << size;
        EXPECT_TRUE(pieces_of(store) == pieces_of(expected)) << size;
    }
}

TEST(TextStore, LinesAreFoundAcrossBlocks)
{
    text_store store;
    store.append("ahead\r" + std::string(50000, 'x') + "\rbehind");
    EXPECT_EQ(store.line_start(3), 0U);
    EXPECT_EQ(store.line_end(3), 5U);
    EXPECT_EQ(store.line_start(40000), 6U);
    EXPECT_EQ(store.line_end(40000), 50006U);
    EXPECT_EQ(store.line_start(store.size()), 50007U);
    EXPECT_EQ(store.line_end(50007), store.size());
}

TEST(TextStore, ASnapshotStaysAsItIs)
{
    const std::string text = wild_text(50000);
    text_store store;
    store.append(text);
    const text_store then = store.snapshot();
    store.append("more");
    EXPECT_TRUE(whole(then) == text);
    store.truncate(0);
    store.append("other");
    EXPECT_TRUE(whole(then) == text);
}
