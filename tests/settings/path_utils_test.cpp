#include "settings/path_utils.h"

#include "platform/core/atomic_file.h"
#include "tests/support/test_files.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

std::FILE *stream_of(const std::string &bytes)
{
    std::FILE *stream = std::tmpfile();
    std::fwrite(bytes.data(), 1, bytes.size(), stream);
    std::rewind(stream);
    return stream;
}

std::vector<std::string> lines_of(const std::string &bytes, int size)
{
    std::vector<std::string> lines;
    std::FILE *stream = stream_of(bytes);
    char buffer[100];
    while (mfgets(buffer, size, stream) != nullptr)
        lines.emplace_back(buffer);
    std::fclose(stream);
    return lines;
}

using lines = std::vector<std::string>;

std::string derived(const std::string &input, const char *extension, std::size_t size = 1024)
{
    std::string output(size, '#');
    return derive_output(input.c_str(), extension, output.data(), size) ? output.c_str()
                                                                        : "refused";
}

} // namespace

TEST(Mfgets, BothLineEndsEndALineAndAreKept)
{
    EXPECT_EQ(lines_of("a\nb\rc", 100), (lines{"a\n", "b\r", "c"}));
    EXPECT_EQ(lines_of("a\r\nb", 100), (lines{"a\r", "\n", "b"}));
    EXPECT_EQ(lines_of("\n\n", 100), (lines{"\n", "\n"}));
    EXPECT_EQ(lines_of("", 100), lines{});
}

TEST(Mfgets, LongLinesComeInPieces)
{
    EXPECT_EQ(lines_of("abcdefg\nh", 4), (lines{"abc", "def", "g\n", "h"}));
    EXPECT_EQ(lines_of("abc\n", 4), (lines{"abc", "\n"}));
    EXPECT_EQ(lines_of("ab", 2), (lines{"a", "b"}));
}

TEST(Mfgets, SizeOneStoresNothingAndLooksForTheEnd)
{
    std::FILE *stream = stream_of("a");
    char buffer[2] = "x";
    EXPECT_EQ(mfgets(buffer, 1, stream), buffer);
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(mfgets(buffer, 2, stream), buffer);
    EXPECT_STREQ(buffer, "a"); // nothing was taken
    EXPECT_EQ(mfgets(buffer, 1, stream), nullptr);
    std::fclose(stream);
}

TEST(Mfgets, EndOfFileLeavesAnEmptyBuffer)
{
    std::FILE *stream = stream_of("");
    char buffer[4] = "old";
    EXPECT_EQ(mfgets(buffer, 4, stream), nullptr);
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(mfgets(buffer, 0, stream), nullptr);
    std::fclose(stream);
}

TEST(HasExtension, IgnoresCase)
{
    EXPECT_EQ(has_extension("/a/b.eps", ".eps"), 1);
    EXPECT_EQ(has_extension("/a/b.EpS", ".eps"), 1);
    EXPECT_EQ(has_extension("/a/b.eps", ".EPS"), 1);
    EXPECT_EQ(has_extension("/a/b.eps2", ".eps"), 0);
    EXPECT_EQ(has_extension("/a/b.ps", ".eps"), 0);
}

TEST(HasExtension, PathAsLongOrShorter)
{
    EXPECT_EQ(has_extension(".eps", ".eps"), 1);
    EXPECT_EQ(has_extension("eps", ".eps"), 0);
    EXPECT_EQ(has_extension("", ".eps"), 0);
    EXPECT_EQ(has_extension("x", ""), 1);
}

TEST(DeriveOutput, CutsAtTheLastDot)
{
    EXPECT_EQ(derived("/a/b.ps", ".pdf"), "/a/b.pdf");
    EXPECT_EQ(derived("/a/b.c.ps", ".pdf"), "/a/b.c.pdf");
    EXPECT_EQ(derived("/a/b", ".pdf"), "/a/b.pdf");
    EXPECT_EQ(derived("/a.d/b", ".pdf"), "/a.pdf"); // the dot counts wherever it stands
    EXPECT_EQ(derived(".", ".pdf"), ".pdf");
    EXPECT_EQ(derived("", ".pdf"), ".pdf");
}

TEST(DeriveOutput, WritesNothingThatDoesNotFit)
{
    EXPECT_EQ(derived("/abc.ps", ".pdf", 9), "/abc.pdf");
    EXPECT_EQ(derived("/abc.ps", ".pdf", 8), "refused");
    char buffer[4] = "old";
    EXPECT_FALSE(derive_output("/abc.ps", ".pdf", buffer, sizeof buffer));
    EXPECT_STREQ(buffer, "old");
}

TEST(DeriveOutput, MayWriteOverItsInput)
{
    char buffer[20] = "/a/b.ps";
    EXPECT_TRUE(derive_output(buffer, ".pict", buffer, sizeof buffer));
    EXPECT_STREQ(buffer, "/a/b.pict");
}

TEST(AbsolutePath, BeginsInTheCurrentFolder)
{
    EXPECT_TRUE(in_child([] {
        ASSERT_EQ(chdir("/usr"), 0);
        EXPECT_EQ(platform::absolute_path("a.ps"), "/usr/a.ps");
        EXPECT_EQ(platform::absolute_path("lib/a.ps"), "/usr/lib/a.ps");
        EXPECT_EQ(platform::absolute_path("/x/a.ps"), "/x/a.ps");
        ASSERT_EQ(chdir("/"), 0);
        EXPECT_EQ(platform::absolute_path("a.ps"), "/a.ps");
    }));
}

TEST(AbsolutePath, HasNoDotsAmongItsFolders)
{
    const temporary_folder folder;
    folder.make_folder("in");
    EXPECT_EQ(platform::absolute_path(folder / "in/../a.ps"), folder / "a.ps");
    EXPECT_EQ(platform::absolute_path(folder / "./in/./a"), folder / "in/a");
    EXPECT_EQ(platform::absolute_path("/usr/../a.b/x"), "/usr/../a.b/x"); // there is no such folder
    EXPECT_EQ(platform::absolute_path(folder / "a..b/.c"), folder / "a..b/.c");
}

TEST(AbsolutePath, HasNoneInAFolderThatIsGone)
{
    EXPECT_TRUE(in_child([] {
        const temporary_folder folder;
        const std::string gone = folder.make_folder("gone");
        ASSERT_EQ(chdir(gone.c_str()), 0);
        ASSERT_EQ(rmdir(gone.c_str()), 0);
        EXPECT_EQ(platform::absolute_path("a.ps"), "");
        EXPECT_EQ(platform::absolute_path("/a.ps"), "/a.ps");
    }));
}

TEST(SameFile, IsToldByDeviceAndInode)
{
    temporary_folder folder;
    const std::string a = folder.write("a", "");
    const std::string b = folder.write("b", "");
    ASSERT_EQ(link(a.c_str(), (folder / "hard").c_str()), 0);
    ASSERT_EQ(symlink("a", (folder / "link").c_str()), 0);
    EXPECT_TRUE(same_file(a.c_str(), (folder / "hard").c_str()));
    EXPECT_TRUE(same_file(a.c_str(), (folder / "link").c_str()));
    EXPECT_FALSE(same_file(a.c_str(), b.c_str()));
    EXPECT_FALSE(same_file((folder / "absent").c_str(), (folder / "absent").c_str()));
    EXPECT_FALSE(same_file(a.c_str(), ""));
}

TEST(FileCodes, AreSetAndRead)
{
    temporary_folder folder;
    write_file(folder / "in.ps", "");
    write_file(folder / "out.eps", "");
    OSType creator = 1;
    OSType type = 1;
    EXPECT_EQ(get_full_info((folder / "in.ps").c_str(), &creator, &type), 1);
    EXPECT_EQ(creator, 0U);
    EXPECT_EQ(type, 0U);
    EXPECT_EQ(set_file_info((folder / "out.eps").c_str(), four_chars("ttxt"), four_chars("EPSF")),
              noErr);
    EXPECT_EQ(get_full_info((folder / "out.eps").c_str(), &creator, &type), 1);
    EXPECT_EQ(creator, four_chars("ttxt"));
    EXPECT_EQ(type, four_chars("EPSF"));
}

TEST(FileCodes, SettingThemKeepsTheRest)
{
    temporary_folder folder;
    write_file(folder / "a", "");
    FSSpec spec = {};
    ASSERT_EQ(FSPathMakeFSSpec((folder / "a").c_str(), &spec, nullptr), noErr);
    const FInfo before = {1, 2, 0x4000, {5, 6}, 7};
    ASSERT_EQ(FSpSetFInfo(&spec, &before), noErr);
    ASSERT_EQ(set_file_info((folder / "a").c_str(), four_chars("ttxt"), four_chars("TEXT")), noErr);
    FInfo after = {};
    ASSERT_EQ(FSpGetFInfo(&spec, &after), noErr);
    EXPECT_EQ(after.fdFlags, before.fdFlags);
    EXPECT_EQ(after.fdLocation.h, 6);
    EXPECT_EQ(after.fdFldr, 7);
    EXPECT_EQ(after.fdType, four_chars("TEXT"));
    EXPECT_EQ(after.fdCreator, four_chars("ttxt"));
}

TEST(FileCodes, MissingFileIsAnError)
{
    temporary_folder folder;
    OSType creator = 1;
    OSType type = 2;
    EXPECT_EQ(set_file_info((folder / "absent").c_str(), 0, 0), fnfErr);
    EXPECT_EQ(get_full_info((folder / "absent").c_str(), &creator, &type), 0);
    EXPECT_EQ(creator, 1U);
    EXPECT_EQ(type, 2U);
}

TEST(UnixPathToFolder, OnlyAFolderIsOne)
{
    temporary_folder folder;
    write_file(folder / "file", "");
    FSSpec spec = {};
    EXPECT_EQ(UnixPathToFolder(folder.path().c_str(), &spec), 1);
    EXPECT_EQ(UnixPathToFolder((folder / "absent").c_str(), &spec), 0);
    spec = {};
    EXPECT_EQ(UnixPathToFolder((folder / "file").c_str(), &spec), 0);
    EXPECT_EQ(std::memcmp(spec.name, "\4file", 5), 0); // made all the same
}

TEST(FSPathMakeFSSpec, TellsFoldersAndErrors)
{
    temporary_folder folder;
    FSSpec spec = {};
    Boolean is_folder = 0;
    EXPECT_EQ(FSPathMakeFSSpec(folder.path().c_str(), &spec, &is_folder), noErr);
    EXPECT_EQ(is_folder, 1);
    EXPECT_EQ(FSPathMakeFSSpec((folder / "absent").c_str(), &spec, &is_folder), fnfErr);
}

TEST(FSMakePath, FolderAndNameMakeAPath)
{
    temporary_folder folder;
    const std::string long_name(200, 'n');
    char path[1024];
    for (const std::string &name : {std::string("a.ps"), long_name, std::string("caf\xE9")}) {
        write_file(folder / name, "");
        FSSpec spec = {};
        ASSERT_EQ(FSPathMakeFSSpec((folder / name).c_str(), &spec, nullptr), noErr);
        EXPECT_EQ(FSMakePath(spec.vRefNum, spec.parID, spec.name, path, sizeof path), noErr);
        EXPECT_EQ(path, folder / name);
        EXPECT_EQ(FSMakePath(spec.vRefNum, spec.parID, nullptr, path, sizeof path), noErr);
        EXPECT_EQ(path, folder.path());
        FSRef ref = {};
        EXPECT_EQ(FSMakeFSRef(spec.vRefNum, spec.parID, spec.name, &ref), noErr);
        EXPECT_EQ(FSRefMakePath(&ref, path, sizeof path), noErr);
        EXPECT_EQ(path, folder / name);
    }
}

TEST(FSMakePath, ReturnsTheSecondStepsError)
{
    temporary_folder folder;
    write_file(folder / "a", "");
    FSSpec spec = {};
    ASSERT_EQ(FSPathMakeFSSpec((folder / "a").c_str(), &spec, nullptr), noErr);
    char path[10] = "old";
    EXPECT_EQ(FSMakePath(spec.vRefNum, spec.parID, spec.name, path, sizeof path), paramErr);
    EXPECT_STREQ(path, "old");
    ASSERT_EQ(unlink((folder / "a").c_str()), 0);
    FSRef ref = {};
    EXPECT_EQ(FSMakeFSRef(spec.vRefNum, spec.parID, spec.name, &ref), fnfErr);
    EXPECT_EQ(FSMakePath(spec.vRefNum, spec.parID, spec.name, path, 1000), paramErr);
}
