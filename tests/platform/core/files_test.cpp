#include "platform/files.h"

#include "tests/support/test_files.h"

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <sched.h>
#include <string>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace {

constexpr char finder_attribute[] = "user.com.apple.FinderInfo";

FSSpec spec_of(const std::string &path)
{
    FSRef ref;
    FSSpec spec = {};
    EXPECT_EQ(FSPathMakeRef(path.c_str(), &ref, nullptr), noErr) << path;
    EXPECT_EQ(FSGetCatalogInfo(&ref, kFSCatInfoNone, nullptr, nullptr, &spec, nullptr), noErr);
    return spec;
}

std::string path_of(const FSRef &ref)
{
    char path[5000] = "";
    EXPECT_EQ(FSRefMakePath(&ref, path, sizeof path), noErr);
    return path;
}

// There and back through all three kinds of reference.
std::string round_trip(const std::string &path)
{
    const FSSpec spec = spec_of(path);
    FSRef ref;
    EXPECT_EQ(FSpMakeFSRef(&spec, &ref), noErr) << path;
    return path_of(ref);
}

bool has_attributes(const std::string &path)
{
    return setxattr(path.c_str(), "user.probe", "x", 1, 0) == 0 &&
           removexattr(path.c_str(), "user.probe") == 0;
}

std::string attribute_of(const std::string &path)
{
    char bytes[256];
    const ssize_t size = getxattr(path.c_str(), finder_attribute, bytes, sizeof bytes);
    return size < 0 ? "none" : std::string(bytes, static_cast<std::size_t>(size));
}

FInfo finder_info_of(const std::string &path)
{
    const FSSpec spec = spec_of(path);
    FInfo info = {1, 1, 1, {1, 1}, 1};
    EXPECT_EQ(FSpGetFInfo(&spec, &info), noErr);
    return info;
}

OSErr set_finder_info(const std::string &path, const FInfo &info)
{
    const FSSpec spec = spec_of(path);
    return FSpSetFInfo(&spec, &info);
}

const std::string data_folder = PAPERMILL_SOURCE_DIR "/tests/platform/core/data/";
const FInfo sample = {four_chars("EPSF"), four_chars("art5"), 0x8001, {-2, 300}, -4};
const std::string sample_bytes("EPSFart5\x80\x01\xFF\xFE\x01\x2C\xFF\xFC", 16);

} // namespace

// ---- references ----

TEST(FileReferences, PathsComeBackWhole)
{
    temporary_folder folder;
    for (const std::string &name :
         {std::string("plain.ps"), std::string(" two blanks "),
          std::string("q\"'`$(x);&|<*[a]{b}~!#@:%d\\"), std::string("tab\tline\nend"),
          std::string("caf\xE9 \xFF\xFE"), std::string("-dash"), std::string("grün.eps"),
          std::string(63, 'a'), std::string(64, 'b'), std::string(255, 'c'), std::string("..."),
          std::string("#17"), std::string(64, '\xE9')}) {
        const std::string path = folder / name;
        write_file(path, "");
        EXPECT_EQ(round_trip(path), path);
    }
}

TEST(FileReferences, FoldersAndTheRootComeBack)
{
    temporary_folder folder;
    EXPECT_EQ(round_trip(folder.path()), folder.path());
    EXPECT_EQ(round_trip("/"), "/");
    EXPECT_EQ(round_trip("/usr"), "/usr");
    Boolean is_folder = 0;
    FSRef ref;
    EXPECT_EQ(FSPathMakeRef(folder.path().c_str(), &ref, &is_folder), noErr);
    EXPECT_EQ(is_folder, 1);
    write_file(folder / "file", "");
    EXPECT_EQ(FSPathMakeRef((folder / "file").c_str(), &ref, &is_folder), noErr);
    EXPECT_EQ(is_folder, 0);
}

TEST(FileReferences, DeepPathComesBackWhole)
{
    temporary_folder folder;
    std::string path = folder.path();
    for (int i = 0; i < 12; ++i) {
        path += "/" + std::string(250, static_cast<char>('a' + i));
        ASSERT_EQ(mkdir(path.c_str(), 0777), 0);
    }
    EXPECT_GT(path.size(), 3000U);
    EXPECT_EQ(round_trip(path), path);
}

TEST(FileReferences, RelativePathIsMadeAbsolute)
{
    temporary_folder folder;
    write_file(folder / "a.ps", "");
    ASSERT_EQ(chdir(folder.path().c_str()), 0);
    EXPECT_EQ(round_trip("a.ps"), folder / "a.ps");
    EXPECT_EQ(round_trip("./a.ps"), folder / "a.ps");
    EXPECT_EQ(round_trip("."), folder.path());
    EXPECT_EQ(round_trip(folder.path() + "//.//a.ps"), folder / "a.ps");
    EXPECT_EQ(round_trip(folder.path() + "/"), folder.path());
    ASSERT_EQ(chdir("/"), 0);
}

TEST(FileReferences, ASpecificationIsMadeOfFolderAndName)
{
    temporary_folder folder;
    const FSSpec file = spec_of(folder.write("file", ""));
    FSSpec made = {};
    EXPECT_EQ(FSMakeFSSpec(0, file.parID, file.name, &made), noErr);
    EXPECT_EQ(std::memcmp(&made, &file, sizeof file), 0);
    std::string path;
    for (const unsigned char *none : {static_cast<const unsigned char *>(nullptr),
                                      reinterpret_cast<const unsigned char *>("")}) {
        ASSERT_EQ(FSMakeFSSpec(file.vRefNum, file.parID, none, &made), noErr);
        EXPECT_EQ(platform::path_of(made, &path), noErr);
        EXPECT_EQ(path, folder.path());
    }
    const unsigned char absent[] = {6, 'a', 'b', 's', 'e', 'n', 't'};
    EXPECT_EQ(FSMakeFSSpec(file.vRefNum, file.parID, absent, &made), fnfErr);
    EXPECT_EQ(platform::path_of(made, &path), noErr);
    EXPECT_EQ(path, folder / "absent");

    const FSSpec before = made;
    const unsigned char slash[] = {3, 'a', '/', 'b'};
    EXPECT_EQ(FSMakeFSSpec(7, file.parID, absent, &made), nsvErr);
    EXPECT_EQ(FSMakeFSSpec(file.vRefNum, 1 << 20, absent, &made), dirNFErr);
    EXPECT_EQ(FSMakeFSSpec(file.vRefNum, file.parID, slash, &made), bdNamErr);
    const Str255 too_long = {64};
    EXPECT_EQ(FSMakeFSSpec(file.vRefNum, file.parID, too_long, &made), bdNamErr);
    folder.make_folder("gone");
    const FSSpec inside = spec_of(folder.write("gone/x", ""));
    ASSERT_EQ(unlink((folder / "gone/x").c_str()), 0);
    ASSERT_EQ(rmdir((folder / "gone").c_str()), 0);
    EXPECT_EQ(FSMakeFSSpec(inside.vRefNum, inside.parID, inside.name, &made), dirNFErr);
    EXPECT_EQ(std::memcmp(&made, &before, sizeof made), 0);
    EXPECT_EQ(FSMakeFSSpec(inside.vRefNum, inside.parID, nullptr, &made),
              fnfErr); // its own folder is there
}

TEST(FileReferences, LinkKeepsItsOwnName)
{
    temporary_folder folder;
    ASSERT_EQ(mkdir((folder / "target").c_str(), 0777), 0);
    ASSERT_EQ(symlink("target", (folder / "link").c_str()), 0);
    Boolean is_folder = 0;
    FSRef ref;
    ASSERT_EQ(FSPathMakeRef((folder / "link").c_str(), &ref, &is_folder), noErr);
    EXPECT_EQ(is_folder, 1);
    EXPECT_EQ(path_of(ref), folder / "link");
}

TEST(FileReferences, WhatIsNotThereHasNone)
{
    temporary_folder folder;
    FSRef ref;
    EXPECT_EQ(FSPathMakeRef((folder / "absent").c_str(), &ref, nullptr), fnfErr);
    EXPECT_EQ(FSPathMakeRef("", &ref, nullptr), bdNamErr);
    write_file(folder / "file", "");
    EXPECT_EQ(FSPathMakeRef((folder / "file/inside").c_str(), &ref, nullptr), dirNFErr);
    EXPECT_EQ(FSPathMakeRef((folder / std::string(256, 'x')).c_str(), &ref, nullptr), bdNamErr);
    ASSERT_EQ(symlink("nowhere", (folder / "dangling").c_str()), 0);
    EXPECT_EQ(FSPathMakeRef((folder / "dangling").c_str(), &ref, nullptr), fnfErr);
    const FSSpec spec = spec_of(folder / "file");
    ASSERT_EQ(unlink((folder / "file").c_str()), 0);
    EXPECT_EQ(FSpMakeFSRef(&spec, &ref), fnfErr);
}

TEST(FileReferences, PathThatDoesNotFitLeavesTheBuffer)
{
    FSRef ref;
    ASSERT_EQ(FSPathMakeRef("/usr", &ref, nullptr), noErr);
    char path[5] = "old";
    EXPECT_EQ(FSRefMakePath(&ref, path, 4), paramErr);
    EXPECT_STREQ(path, "old");
    EXPECT_EQ(FSRefMakePath(&ref, path, 5), noErr);
    EXPECT_STREQ(path, "/usr");
    const FSRef none = {};
    EXPECT_EQ(FSRefMakePath(&none, path, sizeof path), paramErr);
}

TEST(FileReferences, TablesDoNotGrowWithUse)
{
    temporary_folder folder;
    const std::string long_name(200, 'n');
    write_file(folder / "a", "");
    write_file(folder / long_name, "");
    const FSSpec plain = spec_of(folder / "a");
    const FSSpec alias = spec_of(folder / long_name);
    for (int i = 0; i < 1000; ++i) {
        FSRef ref;
        ASSERT_EQ(FSpMakeFSRef(&alias, &ref), noErr);
        const FSSpec again = spec_of(folder / long_name);
        ASSERT_EQ(again.parID, plain.parID);
        ASSERT_EQ(std::memcmp(again.name, alias.name, sizeof alias.name), 0);
    }
    ASSERT_EQ(mkdir((folder / "d").c_str(), 0777), 0);
    write_file(folder / "d/e", "");
    EXPECT_EQ(spec_of(folder / "d/e").parID, plain.parID + 1);
}

TEST(FileReferences, FolderAndNameMakeAReference)
{
    temporary_folder folder;
    const std::string long_name(100, 'n');
    write_file(folder / "a", "");
    write_file(folder / long_name, "");
    const FSSpec plain = spec_of(folder / "a");
    const FSSpec alias = spec_of(folder / long_name);
    FSRef ref = {};
    FSRefParam parameters = {plain.name, plain.vRefNum, plain.parID, &ref};
    ASSERT_EQ(PBMakeFSRefSync(&parameters), noErr);
    EXPECT_EQ(path_of(ref), folder / "a");
    parameters.ioNamePtr = alias.name;
    ASSERT_EQ(PBMakeFSRefSync(&parameters), noErr);
    EXPECT_EQ(path_of(ref), folder / long_name);
    parameters.ioNamePtr = nullptr;
    ASSERT_EQ(PBMakeFSRefSync(&parameters), noErr);
    EXPECT_EQ(path_of(ref), folder.path());
    const unsigned char empty[] = {0};
    parameters.ioNamePtr = empty;
    ASSERT_EQ(PBMakeFSRefSync(&parameters), noErr);
    EXPECT_EQ(path_of(ref), folder.path());
}

TEST(FileReferences, HostileArgumentsAreRefused)
{
    FSRef ref = {};
    const unsigned char slash[] = {3, 'a', '/', 'b'};
    const unsigned char nul[] = {3, 'a', 0, 'b'};
    const unsigned char unknown_alias[] = {7, '/', '9', '9', '9', '9', '9', '9'};
    const unsigned char up[] = {5, '/', '/', 'e', 't', 'c'};
    const unsigned char number_and_more[] = {3, '/', '0', 'x'};
    for (const unsigned char *name : {slash, nul, unknown_alias, up, number_and_more}) {
        FSRefParam parameters = {name, 0, 2, &ref};
        EXPECT_EQ(PBMakeFSRefSync(&parameters), bdNamErr);
    }
    unsigned char too_long[256];
    std::memset(too_long, 'x', sizeof too_long);
    FSRefParam parameters = {too_long, 0, 2, &ref};
    EXPECT_EQ(PBMakeFSRefSync(&parameters), bdNamErr);
    for (const std::int32_t folder : {0, -1, 999999, INT32_MIN, INT32_MAX}) {
        parameters = {nullptr, 0, folder, &ref};
        EXPECT_EQ(PBMakeFSRefSync(&parameters), dirNFErr) << folder;
    }
    parameters = {nullptr, 7, 2, &ref};
    EXPECT_EQ(PBMakeFSRefSync(&parameters), nsvErr);

    FSRef forged;
    std::memset(&forged, 0xFF, sizeof forged);
    char path[100];
    EXPECT_EQ(FSRefMakePath(&forged, path, sizeof path), paramErr);
    ASSERT_EQ(FSPathMakeRef("/usr", &forged, nullptr), noErr);
    for (std::size_t i = 0; i < sizeof forged; ++i) {
        FSRef damaged = forged;
        damaged.hidden[i] ^= 0xFF;
        FSRefMakePath(&damaged, path, sizeof path); // any result, but no harm
    }
}

TEST(FileReferences, UnreachableFileIsNotPermitted)
{
    if (getuid() != 0)
        GTEST_SKIP() << "needs two users";
    temporary_folder folder;
    ASSERT_EQ(mkdir((folder / "closed").c_str(), 0700), 0);
    write_file(folder / "closed/a", "");
    EXPECT_TRUE(in_child_without_rights([&] {
        FSRef ref;
        EXPECT_EQ(FSPathMakeRef((folder / "closed/a").c_str(), &ref, nullptr), permErr);
    }));
}

// ---- Finder information ----

TEST(FinderInformation, IsZeroWhereNoneIsKept)
{
    temporary_folder folder;
    write_file(folder / "a", "");
    const FInfo info = finder_info_of(folder / "a");
    EXPECT_EQ(info.fdType, 0U);
    EXPECT_EQ(info.fdCreator, 0U);
    EXPECT_EQ(info.fdFlags, 0);
    EXPECT_EQ(info.fdLocation.v, 0);
    EXPECT_EQ(info.fdFldr, 0);
}

TEST(FinderInformation, LiesBigEndianInTheAttribute)
{
    temporary_folder folder;
    write_file(folder / "a", "content");
    if (!has_attributes(folder / "a"))
        GTEST_SKIP() << "no extended attributes here";
    ASSERT_EQ(set_finder_info(folder / "a", sample), noErr);
    EXPECT_EQ(attribute_of(folder / "a"), sample_bytes + std::string(16, 0));
    EXPECT_EQ(names_in(folder.path()), std::vector<std::string>{"a"});
    EXPECT_EQ(read_file(folder / "a"), "content");
    const FInfo info = finder_info_of(folder / "a");
    EXPECT_EQ(info.fdType, sample.fdType);
    EXPECT_EQ(info.fdCreator, sample.fdCreator);
    EXPECT_EQ(info.fdFlags, sample.fdFlags);
    EXPECT_EQ(info.fdLocation.v, -2);
    EXPECT_EQ(info.fdLocation.h, 300);
    EXPECT_EQ(info.fdFldr, -4);
}

TEST(FinderInformation, AttributeKeepsItsSecondHalf)
{
    temporary_folder folder;
    write_file(folder / "a", "");
    if (!has_attributes(folder / "a"))
        GTEST_SKIP() << "no extended attributes here";
    const std::string old = std::string(16, 'o') + "0123456789abcdef";
    ASSERT_EQ(setxattr((folder / "a").c_str(), finder_attribute, old.data(), old.size(), 0), 0);
    ASSERT_EQ(set_finder_info(folder / "a", sample), noErr);
    EXPECT_EQ(attribute_of(folder / "a"), sample_bytes + "0123456789abcdef");
}

TEST(FinderInformation, ZerosLeaveNoAttribute)
{
    temporary_folder folder;
    write_file(folder / "a", "");
    EXPECT_EQ(set_finder_info(folder / "a", FInfo{}), noErr);
    EXPECT_EQ(attribute_of(folder / "a"), "none");
    EXPECT_EQ(set_finder_info(folder / "a", sample), noErr);
    EXPECT_EQ(set_finder_info(folder / "a", FInfo{}), noErr);
    EXPECT_EQ(attribute_of(folder / "a"), "none");
}

TEST(FinderInformation, AppleDoubleFileHoldsOverTheAttribute)
{
    temporary_folder folder;
    write_file(folder / "a", "");
    ASSERT_EQ(set_finder_info(folder / "a", sample), noErr);
    const std::string before = attribute_of(folder / "a");
    const std::string old = read_file(data_folder + "apple_double.bin");
    write_file(folder / "._a", old);

    FInfo info = finder_info_of(folder / "a");
    EXPECT_EQ(info.fdType, four_chars("TEXT"));
    EXPECT_EQ(info.fdCreator, four_chars("ttxt"));
    EXPECT_EQ(info.fdFlags, 0x0100);
    EXPECT_EQ(info.fdLocation.v, 0x10);
    EXPECT_EQ(info.fdLocation.h, 0x20);
    EXPECT_EQ(info.fdFldr, -2);

    // Only the record changes; entries that are not known here stay, byte for byte.
    ASSERT_EQ(set_finder_info(folder / "a", sample), noErr);
    std::string expected = old;
    const std::size_t record = 26 + 4 * 12;
    expected.replace(record, 16, sample_bytes);
    EXPECT_EQ(read_file(folder / "._a"), expected);
    EXPECT_EQ(attribute_of(folder / "a"), before);
}

TEST(FinderInformation, IsAddedToAnAppleDoubleFileWithoutAny)
{
    temporary_folder folder;
    write_file(folder / "a", "");
    std::string old("\0\x05\x16\x07\0\x02\0\0", 8);
    old += "0123456789abcdef" + std::string("\0\x01\0\0\0\x02\0\0\0\x26\0\0\0\x05", 14) + "hello";
    write_file(folder / "._a", old);
    ASSERT_EQ(set_finder_info(folder / "a", sample), noErr);
    std::string expected("\0\x05\x16\x07\0\x02\0\0", 8);
    expected += "0123456789abcdef";
    expected += std::string("\0\x02\0\0\0\x02\0\0\0\x32\0\0\0\x05", 14);
    expected += std::string("\0\0\0\x09\0\0\0\x37\0\0\0\x20", 12);
    expected += "hello" + sample_bytes + std::string(16, 0);
    EXPECT_EQ(read_file(folder / "._a"), expected);
    EXPECT_EQ(finder_info_of(folder / "a").fdType, sample.fdType);
}

TEST(FinderInformation, FileThatOnlyHasTheNameIsLeftAlone)
{
    temporary_folder folder;
    for (const std::string &content :
         {std::string("my notes"), std::string(),
          read_file(data_folder + "apple_double.bin").substr(0, 100)}) {
        write_file(folder / "a", "");
        write_file(folder / "._a", content);
        EXPECT_EQ(set_finder_info(folder / "a", sample), noErr);
        EXPECT_EQ(read_file(folder / "._a"), content);
    }
}

TEST(FinderInformation, BelongsToTheTargetOfALink)
{
    temporary_folder folder;
    write_file(folder / "target", "");
    write_file(folder / "._target", read_file(data_folder + "apple_double.bin"));
    ASSERT_EQ(symlink("target", (folder / "link").c_str()), 0);
    EXPECT_EQ(finder_info_of(folder / "link").fdType, four_chars("TEXT"));
    ASSERT_EQ(set_finder_info(folder / "link", sample), noErr);
    EXPECT_EQ(finder_info_of(folder / "target").fdType, sample.fdType);
    EXPECT_EQ(names_in(folder.path()), (std::vector<std::string>{"._target", "link", "target"}));
}

TEST(FinderInformation, NameTooLongForAnAppleDoubleFileHasNone)
{
    temporary_folder folder;
    const std::string path = folder / std::string(254, 'x');
    write_file(path, "");
    EXPECT_EQ(finder_info_of(path).fdType, 0U);
    EXPECT_EQ(set_finder_info(path, sample), noErr);
}

TEST(FinderInformation, IsDroppedSilentlyWithoutAttributes)
{
    temporary_folder folder;
    if (unshare(CLONE_NEWNS) != 0 ||
        mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("none", folder.path().c_str(), "ramfs", 0, nullptr) != 0)
        GTEST_SKIP() << "mounting is not allowed here";
    write_file(folder / "a", "");
    EXPECT_FALSE(has_attributes(folder / "a"));
    EXPECT_EQ(set_finder_info(folder / "a", sample), noErr);
    EXPECT_EQ(finder_info_of(folder / "a").fdType, 0U);
    EXPECT_EQ(names_in(folder.path()), std::vector<std::string>{"a"});
    EXPECT_EQ(umount(folder.path().c_str()), 0);
}

TEST(FinderInformation, IsNotPermittedOnSomebodyElsesFile)
{
    if (getuid() != 0)
        GTEST_SKIP() << "needs two users";
    temporary_folder folder;
    write_file(folder / "a", "");
    if (!has_attributes(folder / "a"))
        GTEST_SKIP() << "no extended attributes here";
    EXPECT_TRUE(in_child_without_rights(
        [&] { EXPECT_EQ(set_finder_info(folder / "a", sample), permErr); }));
}

// ---- replacing ----

TEST(ReplaceFile, KeepsModeAndAttributesAndLeavesNothingElse)
{
    temporary_folder folder;
    write_file(folder / "a", "old");
    ASSERT_EQ(chmod((folder / "a").c_str(), 0640), 0);
    const bool attributes = has_attributes(folder / "a");
    if (attributes) {
        ASSERT_EQ(setxattr((folder / "a").c_str(), "user.note", "kept", 4, 0), 0);
    }
    if (getuid() == 0) {
        ASSERT_EQ(chown((folder / "a").c_str(), 65534, 65534), 0);
    }
    ASSERT_EQ(platform::replace_file((folder / "a").c_str(), "new content", 11), noErr);
    EXPECT_EQ(read_file(folder / "a"), "new content");
    struct stat status = {};
    ASSERT_EQ(stat((folder / "a").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0640U);
    if (getuid() == 0) {
        EXPECT_EQ(status.st_uid, 65534U);
    }
    char note[10] = "";
    if (attributes) {
        EXPECT_EQ(getxattr((folder / "a").c_str(), "user.note", note, sizeof note), 4);
    }
    EXPECT_EQ(names_in(folder.path()), std::vector<std::string>{"a"});
}

TEST(ReplaceFile, NewFileGetsTheUsersMode)
{
    temporary_folder folder;
    umask(027);
    ASSERT_EQ(platform::replace_file((folder / "a").c_str(), "", 0), noErr);
    struct stat status = {};
    ASSERT_EQ(stat((folder / "a").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0640U);
}

TEST(ReplaceFile, ReplacesTheTargetOfALink)
{
    temporary_folder folder;
    ASSERT_EQ(mkdir((folder / "elsewhere").c_str(), 0777), 0);
    write_file(folder / "elsewhere/target", "old");
    ASSERT_EQ(symlink("elsewhere/target", (folder / "link").c_str()), 0);
    ASSERT_EQ(platform::replace_file((folder / "link").c_str(), "new", 3), noErr);
    EXPECT_EQ(read_file(folder / "elsewhere/target"), "new");
    struct stat status = {};
    ASSERT_EQ(lstat((folder / "link").c_str(), &status), 0);
    EXPECT_TRUE(S_ISLNK(status.st_mode));

    ASSERT_EQ(symlink("nowhere", (folder / "dangling").c_str()), 0);
    EXPECT_EQ(platform::replace_file((folder / "dangling").c_str(), "new", 3), fnfErr);
    ASSERT_EQ(lstat((folder / "dangling").c_str(), &status), 0);
    EXPECT_TRUE(S_ISLNK(status.st_mode));
}

TEST(ReplaceFile, TakesTheLongestName)
{
    temporary_folder folder;
    const std::string path = folder / std::string(255, 'x');
    EXPECT_EQ(platform::replace_file(path.c_str(), "new", 3), noErr);
    EXPECT_EQ(read_file(path), "new");
}

TEST(ReplaceFile, RefusesWhatIsNoOrdinaryFile)
{
    temporary_folder folder;
    EXPECT_EQ(platform::replace_file(folder.path().c_str(), "new", 3), paramErr);
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0666), 0);
    EXPECT_EQ(platform::replace_file((folder / "pipe").c_str(), "new", 3), paramErr);
    EXPECT_EQ(platform::replace_file((folder / "absent/a").c_str(), "new", 3), fnfErr);
}

TEST(ReplaceFile, FullDiskLeavesTheOldFile)
{
    temporary_folder folder;
    write_file(folder / "a", "old");
    EXPECT_TRUE(in_child([&] {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit = {1000, 1000};
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
        const std::string large(200000, 'x');
        EXPECT_EQ(platform::replace_file((folder / "a").c_str(), large.data(), large.size()),
                  dskFulErr);
    }));
    EXPECT_EQ(read_file(folder / "a"), "old");
    EXPECT_EQ(names_in(folder.path()), std::vector<std::string>{"a"});
}

TEST(ReplaceFile, ClosedFolderLeavesTheOldFile)
{
    temporary_folder folder;
    write_file(folder / "a", "old");
    ASSERT_EQ(chmod(folder.path().c_str(), 0555), 0);
    EXPECT_TRUE(in_child_without_rights(
        [&] { EXPECT_EQ(platform::replace_file((folder / "a").c_str(), "new", 3), permErr); }));
    EXPECT_EQ(read_file(folder / "a"), "old");
    EXPECT_EQ(names_in(folder.path()), std::vector<std::string>{"a"});
}
