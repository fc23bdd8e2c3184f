#include "settings/setting_keys.h"

#include <cstring>
#include <gtest/gtest.h>
#include <set>
#include <string>

namespace {

const setting_key *find(const std::string &name)
{
    for (std::size_t i = 0; i < setting_key_count; ++i) {
        if (name == setting_keys[i].name)
            return &setting_keys[i];
    }
    return nullptr;
}

} // namespace

TEST(SettingKeys, AllAreListedOnce)
{
    const std::set<std::string> expected = {
        "PS2PDF_OPTION_STR", "APPLE_PDF_STR", "PDF2PS_OPTION_STR", "PDFTOPS_STR",
        "TIFF_OPTION_STR",   "TIFFCOMPRESS",  "TIFFFORMAT",        "PICT_RES",
        "PICT_PREVIEW",      "PICT_DELETE",   "PDFMERGE_INFILES",  "PDFMERGE_OUTFILE",
        "PDFMERGE_DIR",      "GSDIR",         "GSCOMMAND",         "TEXDIR",
        "FONTNAME",          "FONTSIZE",      "GSWINDOW",          "DEBUG1"};
    std::set<std::string> listed;
    for (std::size_t i = 0; i < setting_key_count; ++i) {
        EXPECT_TRUE(listed.insert(setting_keys[i].name).second) << setting_keys[i].name;
        EXPECT_GT(std::strlen(setting_keys[i].meaning), 0U);
        EXPECT_EQ(std::strchr(setting_keys[i].meaning, '\n'), nullptr);
    }
    EXPECT_EQ(listed, expected);
}

TEST(SettingKeys, DefaultsThatDifferAreBothTold)
{
    EXPECT_STREQ(find("TIFF_OPTION_STR")->shipped, "150");
    EXPECT_STREQ(default_text(*find("TIFF_OPTION_STR")), "150 from PostScript, 144 from EPS");
    EXPECT_STREQ(find("FONTSIZE")->shipped, "12");
}

TEST(SettingKeys, DefaultTextIsNeverNull)
{
    EXPECT_STREQ(default_text(*find("PICT_RES")), "144");
    EXPECT_STREQ(default_text(*find("GSDIR")), "");
    EXPECT_EQ(find("GSDIR")->shipped, nullptr);
    EXPECT_STREQ(default_text(*find("GSWINDOW")), "the window's own place");
}
