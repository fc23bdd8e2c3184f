#include "dialogs/merge_words.h"

#include "tests/support/run_program.h"

#include <gtest/gtest.h>

namespace {

using strings = std::vector<std::string>;

strings names_in_text(const std::string &text)
{
    std::vector<merge_word> words;
    EXPECT_TRUE(split_words(text, &words)) << text;
    strings names;
    for (const merge_word &each : words)
        names.push_back(each.name);
    return names;
}

} // namespace

TEST(MergeWords, WordsAreTakenApartAsTheShellDoes)
{
    const char *const texts[] = {"",
                                 "  ",
                                 "a.pdf b.pdf",
                                 " a.pdf\t b.pdf ",
                                 "'a b' \"c d\" e\\ f",
                                 "it\\'s \"it's\" 'say \"x\"'",
                                 "\"a\\\"b\" \"c\\d\" \"e\\$f\" 'g\\h'",
                                 "a'b c'd\"e f\"g",
                                 "''",
                                 "a#b '#c' \\#d",
                                 "'$x' '`y`' \\$z",
                                 "'a;b' \"(c)\" d\\&e \"f|g>h<i\"",
                                 "Grüße.pdf 'ü ü'"};
    for (const std::string text : texts) {
        strings expected;
        const program_result shell = run_program(
            {.arguments = {"sh", "-c", "for x in " + text + "\ndo printf '%s\\n' \"$x\"; done"}});
        for (std::size_t at = 0; at < shell.out.size();) {
            const std::size_t end = shell.out.find('\n', at);
            expected.push_back(shell.out.substr(at, end - at));
            at = end + 1;
        }
        EXPECT_EQ(names_in_text(text), expected) << text;
    }
}

TEST(MergeWords, APatternStaysOne)
{
    EXPECT_EQ(names_in_text("*.pdf [ab]?.pdf ~/x.pdf"), (strings{"*.pdf", "[ab]?.pdf", "~/x.pdf"}));
}

TEST(MergeWords, WhatIsMoreThanNamesIsNotTakenApart)
{
    for (const std::string text :
         {"'a", "\"a", "a\\", "$HOME", "\"$HOME\"", "`ls`", "\"`ls`\"", "a;b", "a|b", "a&", "(a)",
          "a>b", "<a", "# all", "a #b", "a\nb", "$(ls)"}) {
        std::vector<merge_word> words(1);
        EXPECT_FALSE(split_words(text, &words)) << text;
        EXPECT_TRUE(words.empty());
    }
}

TEST(MergeWords, WhatWasTakenApartIsPutTogetherWithItsQuotes)
{
    std::vector<merge_word> words;
    ASSERT_TRUE(split_words("  'a b'   c\\ d *.pdf ", &words));
    EXPECT_EQ(join_words(words), "'a b' c\\ d *.pdf");
}

TEST(MergeWords, AFileIsNamedFromTheFolder)
{
    const struct {
        const char *path, *folder, *name, *word;
    } rows[] = {{"/papers/a.pdf", "/papers", "a.pdf", "a.pdf"},
                {"/papers/sub/a.pdf", "/papers/", "sub/a.pdf", "sub/a.pdf"},
                {"/papers-old/a.pdf", "/papers", "/papers-old/a.pdf", "/papers-old/a.pdf"},
                {"/a.pdf", "/", "a.pdf", "a.pdf"},
                {"/papers/-a.pdf", "/papers", "./-a.pdf", "./-a.pdf"},
                {"/papers/a b.pdf", "/papers", "a b.pdf", "'a b.pdf'"},
                {"/papers/$(x).pdf", "/papers", "$(x).pdf", "'$(x).pdf'"}};
    for (const auto &row : rows) {
        const merge_word made = word_for(row.path, row.folder);
        EXPECT_EQ(made.name, row.name);
        EXPECT_EQ(made.word, row.word);
        EXPECT_EQ(names_in_text(made.word), strings{row.name});
    }
}
