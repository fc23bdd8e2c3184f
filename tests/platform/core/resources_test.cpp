#include "platform/resources.h"

#include "platform/core/big_endian.h"
#include "platform/memory.h"
#include "tests/support/test_files.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr ResType cstr = four_chars("Cstr");
const std::string data_folder = PAPERMILL_SOURCE_DIR "/tests/platform/core/data/";

struct pascal {
    Str255 bytes;
    explicit pascal(const std::string &text) : bytes()
    {
        bytes[0] = static_cast<unsigned char>(text.size());
        std::memcpy(bytes + 1, text.data(), text.size());
    }
    operator ConstStringPtr() const
    {
        return bytes;
    }
};

OSErr open_file(const std::string &path, std::int8_t permission, ResFileRefNum *file)
{
    FSRef ref;
    const OSErr error = FSPathMakeRef(path.c_str(), &ref, nullptr);
    return error != noErr ? error : FSOpenResourceFile(&ref, 0, nullptr, permission, file);
}

ResFileRefNum opened(const std::string &path, std::int8_t permission = fsCurPerm)
{
    ResFileRefNum file = -1;
    EXPECT_EQ(open_file(path, permission, &file), noErr) << path;
    return file;
}

// The error of opening a file with that content.
OSErr open_error(const std::string &bytes)
{
    temporary_folder folder;
    write_file(folder / "r", bytes);
    ResFileRefNum file = 77;
    const OSErr error = open_file(folder / "r", fsCurPerm, &file);
    if (error == noErr)
        CloseResFile(file);
    else
        EXPECT_EQ(file, 77);
    return error;
}

std::string content(Handle handle)
{
    return handle == nullptr ? "(none)" : std::string(*handle, GetHandleSize(handle));
}

Handle handle_with(const std::string &bytes)
{
    Handle handle = NewHandle(bytes.size());
    std::memcpy(*handle, bytes.data(), bytes.size());
    return handle;
}

void set_content(Handle handle, const std::string &bytes)
{
    SetHandleSize(handle, bytes.size());
    std::memcpy(*handle, bytes.data(), bytes.size());
}

std::string be16(std::uint32_t value)
{
    std::string bytes;
    platform::put16(bytes, value);
    return bytes;
}

std::string be32(std::uint32_t value)
{
    std::string bytes;
    platform::put32(bytes, value);
    return bytes;
}

// Two resources, by hand: 'Cstr' 128 "A" holding "1" and 'Cstr' 129 "B" holding "22", with NULs.
// Places: data 256 (4+2, 4+3), map 269, type list 297, references 307, names 331, end 335.
std::string two_settings()
{
    const std::string header = be32(256) + be32(269) + be32(13) + be32(66);
    return header + std::string(240, 0) + be32(2) + std::string("1\0", 2) + be32(3) +
           std::string("22\0", 3) + header + be32(0) + be16(0) + be16(0) + be16(28) + be16(62) +
           be16(0) + "Cstr" + be16(1) + be16(10) +   //
           be16(128) + be16(0) + be32(0) + be32(0) + //
           be16(129) + be16(2) + be32(6) + be32(0) + "\1A" + "\1B";
}

std::string patched(std::string bytes, std::size_t at, const std::string &with)
{
    return bytes.replace(at, with.size(), with);
}

std::string empty_file()
{
    const std::string header = be32(256) + be32(256) + be32(0) + be32(30);
    return header + std::string(240, 0) + header + be32(0) + be16(0) + be16(0) + be16(28) +
           be16(30) + be16(0xFFFF);
}

} // namespace

// ---- reading ----

TEST(ResourceFiles, ReadsAFileMadeElsewhere)
{
    const ResFileRefNum file = opened(data_folder + "several_types.rsrc", fsRdPerm);
    EXPECT_EQ(content(Get1NamedResource(cstr, pascal("PICT_RES"))), std::string("144\0", 4));
    EXPECT_EQ(content(Get1Resource(cstr, -5)), "");
    EXPECT_EQ(content(Get1Resource(cstr, 200)), std::string("\xA8\x9F\x65\x72\0\1\2\3", 8));
    EXPECT_EQ(content(Get1NamedResource(four_chars("STR "), pascal("Ünïcödé"))), "\5Hello");
    EXPECT_EQ(GetHandleSize(Get1NamedResource(four_chars("STR "), pascal("caf\xE9"))), 1400U);
    EXPECT_EQ(GetHandleSize(Get1Resource(four_chars("PICT"), 256)), 256U);
    EXPECT_EQ(ResError(), noErr);
    EXPECT_EQ(Get1Resource(four_chars("none"), 0), nullptr);
    EXPECT_EQ(ResError(), resNotFound);
    EXPECT_EQ(Get1NamedResource(cstr, pascal("PICT_RE")), nullptr);
    EXPECT_EQ(ResError(), resNotFound);
    CloseResFile(file);
    EXPECT_EQ(platform::live_handles(), 0U);
}

TEST(ResourceFiles, NamesAreFoundWithoutRegardToCase)
{
    const ResFileRefNum file = opened(data_folder + "several_types.rsrc", fsRdPerm);
    EXPECT_NE(Get1NamedResource(cstr, pascal("pict_res")), nullptr);
    EXPECT_NE(Get1NamedResource(four_chars("STR "), pascal("üNÏCÖDÉ")), nullptr);
    EXPECT_EQ(Get1NamedResource(four_chars("STR "), pascal("Unicode")), nullptr);
    CloseResFile(file);
}

TEST(ResourceFiles, TheSameResourceIsTheSameHandle)
{
    const ResFileRefNum file = opened(data_folder + "several_types.rsrc", fsRdPerm);
    Handle handle = Get1Resource(cstr, 128);
    EXPECT_EQ(Get1NamedResource(cstr, pascal("PICT_RES")), handle);
    ReleaseResource(handle);
    EXPECT_EQ(ResError(), noErr);
    EXPECT_FALSE(platform::is_live_handle(handle));
    EXPECT_EQ(content(Get1Resource(cstr, 128)), std::string("144\0", 4));
    CloseResFile(file);
}

TEST(ResourceFiles, DetachedHandleOutlivesTheFile)
{
    const ResFileRefNum file = opened(data_folder + "several_types.rsrc", fsRdPerm);
    Handle handle = Get1Resource(cstr, 128);
    DetachResource(handle);
    EXPECT_EQ(ResError(), noErr);
    EXPECT_NE(Get1Resource(cstr, 128), handle);
    CloseResFile(file);
    EXPECT_EQ(content(handle), std::string("144\0", 4));
    DetachResource(handle);
    EXPECT_EQ(ResError(), resNotFound);
    DisposeHandle(handle);
}

TEST(ResourceFiles, EmptyForkOfTheOriginalSystemOpens)
{
    std::string blank = empty_file();
    blank.replace(16, 44, "This resource fork intentionally left blank ");
    temporary_folder folder;
    write_file(folder / "r", blank);
    const ResFileRefNum file = opened(folder / "r");
    EXPECT_EQ(Get1Resource(cstr, 128), nullptr);
    AddResource(handle_with("x"), cstr, 128, nullptr);
    CloseResFile(file);
    EXPECT_EQ(ResError(), noErr);
    EXPECT_EQ(read_file(folder / "r").substr(16, 240), blank.substr(16, 240));
}

// ---- the chain ----

TEST(ResourceChain, ReadingLooksFromTheCurrentFileOn)
{
    temporary_folder folder;
    write_file(folder / "old", two_settings());
    write_file(folder / "new", empty_file());
    EXPECT_EQ(CurResFile(), -1);
    const ResFileRefNum old = opened(folder / "old");
    EXPECT_EQ(CurResFile(), old);
    const ResFileRefNum newer = opened(folder / "new");
    EXPECT_EQ(CurResFile(), newer);
    EXPECT_NE(newer, old);

    EXPECT_EQ(Get1NamedResource(cstr, pascal("A")), nullptr);
    EXPECT_EQ(content(GetNamedResource(cstr, pascal("A"))), std::string("1\0", 2));
    AddResource(handle_with("newer"), cstr, 200, pascal("A"));
    EXPECT_EQ(content(GetNamedResource(cstr, pascal("A"))), "newer");
    UseResFile(old);
    EXPECT_EQ(ResError(), noErr);
    EXPECT_EQ(content(GetNamedResource(cstr, pascal("A"))), std::string("1\0", 2));
    EXPECT_EQ(GetNamedResource(cstr, pascal("C")), nullptr);
    EXPECT_EQ(ResError(), resNotFound);

    UseResFile(newer);
    CloseResFile(newer);
    EXPECT_EQ(CurResFile(), old);
    CloseResFile(old);
    EXPECT_EQ(CurResFile(), -1);
}

TEST(ResourceChain, UnknownFileIsRefused)
{
    UseResFile(12345);
    EXPECT_EQ(ResError(), resFNotFound);
    CloseResFile(-1);
    EXPECT_EQ(ResError(), resFNotFound);
    UseResFile(-1);
    EXPECT_EQ(ResError(), noErr);
    EXPECT_EQ(Get1Resource(cstr, 128), nullptr);
    EXPECT_EQ(ResError(), resNotFound);
    Handle handle = handle_with("x");
    AddResource(handle, cstr, 128, nullptr);
    EXPECT_EQ(ResError(), resFNotFound);
    DisposeHandle(handle);
}

TEST(ResourceChain, NoCurrentFileWhileOthersAreOpen)
{
    temporary_folder folder;
    write_file(folder / "r", two_settings());
    const ResFileRefNum file = opened(folder / "r");
    UseResFile(-1);
    EXPECT_EQ(CurResFile(), -1);
    EXPECT_EQ(GetNamedResource(cstr, pascal("A")), nullptr);
    CloseResFile(file);
    EXPECT_EQ(CurResFile(), -1);
}

// ---- writing ----

TEST(ResourceFiles, NewFileIsWellFormedByteForByte)
{
    temporary_folder folder;
    ASSERT_EQ(platform::create_resource_file((folder / "r").c_str()), noErr);
    EXPECT_EQ(read_file(folder / "r"), empty_file());
    const ResFileRefNum file = opened(folder / "r");
    AddResource(handle_with(std::string("1\0", 2)), cstr, 128, pascal("A"));
    EXPECT_EQ(ResError(), noErr);
    AddResource(handle_with(std::string("22\0", 3)), cstr, 129, pascal("B"));
    EXPECT_EQ(ResError(), noErr);
    CloseResFile(file);
    EXPECT_EQ(ResError(), noErr);
    EXPECT_EQ(read_file(folder / "r"), two_settings());
}

TEST(ResourceFiles, UpdateLosesNothing)
{
    temporary_folder folder;
    write_file(folder / "r", read_file(data_folder + "several_types.rsrc"));
    const ResFileRefNum file = opened(folder / "r");
    Handle changed = Get1NamedResource(cstr, pascal("PICT_RES"));
    set_content(changed, std::string("300 dots per inch\0", 18));
    ChangedResource(changed);
    EXPECT_EQ(ResError(), noErr);
    WriteResource(changed);
    EXPECT_EQ(ResError(), noErr);
    ReleaseResource(changed);
    EXPECT_EQ(Unique1ID(cstr), 129);
    AddResource(handle_with(std::string("x\0", 2)), cstr, 129, pascal("NEW_KEY"));
    EXPECT_EQ(ResError(), noErr);
    AddResource(handle_with("About"), four_chars("TEXT"), 128, pascal("Info"));
    EXPECT_EQ(ResError(), noErr);
    CloseResFile(file);
    EXPECT_EQ(ResError(), noErr);
    EXPECT_EQ(read_file(folder / "r"), read_file(data_folder + "several_types_updated.rsrc"));
}

TEST(ResourceFiles, WritingTheCanonicalFormChangesNoByte)
{
    temporary_folder folder;
    const std::string before = read_file(data_folder + "several_types_updated.rsrc");
    write_file(folder / "r", before);
    const ResFileRefNum file = opened(folder / "r");
    ChangedResource(Get1Resource(cstr, 128));
    CloseResFile(file);
    EXPECT_EQ(ResError(), noErr);
    EXPECT_EQ(read_file(folder / "r"), before);
}

TEST(ResourceFiles, WhatIsNotChangedIsNotWritten)
{
    temporary_folder folder;
    const std::string before = read_file(data_folder + "several_types.rsrc");
    write_file(folder / "r", before);
    struct stat first = {};
    ASSERT_EQ(stat((folder / "r").c_str(), &first), 0);
    const ResFileRefNum file = opened(folder / "r");
    Handle handle = Get1Resource(cstr, 128);
    set_content(handle, "scribble");
    WriteResource(handle);
    EXPECT_EQ(ResError(), noErr);
    ReleaseResource(handle);
    EXPECT_EQ(content(Get1Resource(cstr, 128)), std::string("144\0", 4));
    CloseResFile(file);
    struct stat second = {};
    ASSERT_EQ(stat((folder / "r").c_str(), &second), 0);
    EXPECT_EQ(first.st_ino, second.st_ino);
    EXPECT_EQ(read_file(folder / "r"), before);
}

TEST(ResourceFiles, OneWriteIsOneRewriteOfTheFile)
{
    temporary_folder folder;
    write_file(folder / "r", two_settings());
    const ResFileRefNum file = opened(folder / "r");
    Handle handle = handle_with("z");
    AddResource(handle, cstr, Unique1ID(cstr), pascal("Z"));
    WriteResource(handle);
    struct stat first = {};
    ASSERT_EQ(stat((folder / "r").c_str(), &first), 0);
    CloseResFile(file);
    struct stat second = {};
    ASSERT_EQ(stat((folder / "r").c_str(), &second), 0);
    EXPECT_EQ(first.st_ino, second.st_ino);
    EXPECT_EQ(first.st_mtim.tv_nsec, second.st_mtim.tv_nsec);
    // The file has taken its handle along.
    DisposeHandle(handle);
    EXPECT_EQ(MemError(), nilHandleErr);
    EXPECT_EQ(platform::live_handles(), 0U);
}

TEST(ResourceFiles, ChangedResourceIsKeptUntilItIsWritten)
{
    temporary_folder folder;
    write_file(folder / "r", two_settings());
    const ResFileRefNum file = opened(folder / "r");
    Handle handle = Get1Resource(cstr, 128);
    set_content(handle, "changed");
    ChangedResource(handle);
    DetachResource(handle);
    EXPECT_EQ(ResError(), resAttrErr);
    ReleaseResource(handle);
    EXPECT_EQ(ResError(), noErr);
    CloseResFile(file);
    const ResFileRefNum again = opened(folder / "r");
    EXPECT_EQ(content(Get1Resource(cstr, 128)), "changed");
    EXPECT_EQ(content(Get1Resource(cstr, 129)), std::string("22\0", 3));
    CloseResFile(again);
}

TEST(ResourceFiles, OtherDataStayReadableAfterAWrite)
{
    temporary_folder folder;
    write_file(folder / "r", two_settings());
    const ResFileRefNum file = opened(folder / "r");
    Handle handle = Get1Resource(cstr, 128);
    set_content(handle, std::string(1000, 'x'));
    ChangedResource(handle);
    WriteResource(handle);
    EXPECT_EQ(content(Get1Resource(cstr, 129)), std::string("22\0", 3));
    set_content(handle, "short");
    ChangedResource(handle);
    WriteResource(handle);
    CloseResFile(file);
    const ResFileRefNum again = opened(folder / "r");
    EXPECT_EQ(content(Get1Resource(cstr, 128)), "short");
    EXPECT_EQ(content(Get1Resource(cstr, 129)), std::string("22\0", 3));
    CloseResFile(again);
}

TEST(ResourceFiles, HandleDisposedOfByMistakeLosesNothing)
{
    temporary_folder folder;
    write_file(folder / "r", two_settings());
    const ResFileRefNum file = opened(folder / "r");
    Handle handle = Get1Resource(cstr, 128);
    ChangedResource(handle);
    DisposeHandle(handle);
    EXPECT_EQ(content(Get1Resource(cstr, 128)), std::string("1\0", 2));
    CloseResFile(file);
    EXPECT_EQ(read_file(folder / "r"), two_settings());
}

TEST(ResourceFiles, AddingRefusesWhatCannotBeAdded)
{
    temporary_folder folder;
    write_file(folder / "r", two_settings());
    const ResFileRefNum file = opened(folder / "r");
    AddResource(nullptr, cstr, 300, pascal("N"));
    EXPECT_EQ(ResError(), addResFailed);
    AddResource(Get1Resource(cstr, 128), cstr, 300, pascal("N"));
    EXPECT_EQ(ResError(), addResFailed);
    Handle handle = handle_with("x");
    AddResource(handle, cstr, 128, pascal("N"));
    EXPECT_EQ(ResError(), addResFailed);
    EXPECT_TRUE(platform::is_live_handle(handle));
    ChangedResource(handle);
    EXPECT_EQ(ResError(), resNotFound);
    WriteResource(handle);
    EXPECT_EQ(ResError(), resNotFound);
    ReleaseResource(handle);
    EXPECT_EQ(ResError(), resNotFound);
    CloseResFile(file);
    EXPECT_TRUE(platform::is_live_handle(handle));
    DisposeHandle(handle);
    EXPECT_EQ(read_file(folder / "r"), two_settings());
}

TEST(ResourceFiles, UniqueIdIsTheFirstFreeOneOfItsType)
{
    const ResFileRefNum file = opened(data_folder + "several_types.rsrc", fsRdPerm);
    EXPECT_EQ(Unique1ID(cstr), 129);
    EXPECT_EQ(Unique1ID(four_chars("STR ")), 128);
    EXPECT_EQ(Unique1ID(four_chars("new ")), 128);
    CloseResFile(file);
}

// ---- limits ----

TEST(ResourceLimits, MoreThan2727ResourcesAreRefused)
{
    temporary_folder folder;
    ASSERT_EQ(platform::create_resource_file((folder / "r").c_str()), noErr);
    ResFileRefNum file = opened(folder / "r");
    for (std::int16_t i = 0; i < 2727; ++i) {
        AddResource(handle_with("x"), cstr, i, nullptr);
        ASSERT_EQ(ResError(), noErr) << i;
    }
    CloseResFile(file);
    ASSERT_EQ(ResError(), noErr);
    const std::string full = read_file(folder / "r");

    file = opened(folder / "r");
    EXPECT_EQ(Unique1ID(cstr), 2727);
    for (const ResType type : {cstr, four_chars("new ")}) {
        Handle handle = handle_with("x");
        AddResource(handle, type, 3000, nullptr);
        EXPECT_EQ(ResError(), addResFailed);
        DisposeHandle(handle);
        EXPECT_EQ(MemError(), noErr);
    }
    Handle last = Get1Resource(cstr, 2726);
    set_content(last, "still works");
    ChangedResource(last);
    EXPECT_EQ(ResError(), noErr);
    CloseResFile(file);
    EXPECT_EQ(ResError(), noErr);
    file = opened(folder / "r");
    EXPECT_EQ(content(Get1Resource(cstr, 2726)), "still works");
    CloseResFile(file);
    EXPECT_EQ(read_file(folder / "r").size(), full.size() + 10);
}

TEST(ResourceLimits, NamesThatDoNotFitAreRefused)
{
    temporary_folder folder;
    ASSERT_EQ(platform::create_resource_file((folder / "r").c_str()), noErr);
    const ResFileRefNum file = opened(folder / "r");
    std::int16_t id = 0;
    for (OSErr error = noErr; error == noErr && id < 1000; ++id) {
        std::string name = std::to_string(id);
        name.resize(255, 'n');
        Handle handle = handle_with("x");
        AddResource(handle, cstr, id, pascal(name));
        error = ResError();
        if (error != noErr) {
            EXPECT_EQ(error, addResFailed);
            DisposeHandle(handle);
            break;
        }
    }
    EXPECT_EQ(id, 128); // the 129th name would begin behind 32767
    CloseResFile(file);
    EXPECT_EQ(ResError(), noErr);
    const ResFileRefNum again = opened(folder / "r");
    std::string name = "127";
    name.resize(255, 'n');
    EXPECT_NE(Get1NamedResource(cstr, pascal(name)), nullptr);
    CloseResFile(again);
}

TEST(ResourceLimits, DataBehind16MegabytesAreRefused)
{
    temporary_folder folder;
    write_file(folder / "r", two_settings());
    ResFileRefNum file = opened(folder / "r");
    // The last one in the file may be of any size, but nothing fits behind it.
    AddResource(NewHandle(20U << 20), four_chars("PICT"), 256, nullptr);
    EXPECT_EQ(ResError(), noErr);
    Handle handle = handle_with("x");
    AddResource(handle, cstr, 130, pascal("C"));
    EXPECT_EQ(ResError(), addResFailed);
    DisposeHandle(handle);
    CloseResFile(file);
    EXPECT_EQ(ResError(), noErr);

    const std::string before = read_file(folder / "r");
    EXPECT_EQ(before.size(), two_settings().size() + (20U << 20) + 4 + 8 + 12);
    file = opened(folder / "r");
    Handle first = Get1Resource(cstr, 128);
    SetHandleSize(first, 17U << 20);
    ChangedResource(first);
    EXPECT_EQ(ResError(), addResFailed);
    WriteResource(first);
    EXPECT_EQ(ResError(), noErr); // it does not count as changed
    CloseResFile(file);
    EXPECT_TRUE(read_file(folder / "r") == before);
}

// ---- hostile bytes ----

TEST(DamagedResourceFiles, EmptyFileEndsTooEarly)
{
    EXPECT_EQ(open_error(""), eofErr);
}

TEST(DamagedResourceFiles, EveryFileThatIsCutShortIsRefused)
{
    for (const std::string &whole :
         {two_settings(), read_file(data_folder + "several_types.rsrc")}) {
        for (std::size_t size = 1; size < whole.size(); ++size)
            ASSERT_EQ(open_error(whole.substr(0, size)), mapReadErr) << size;
    }
}

TEST(DamagedResourceFiles, LiesInTheHeaderAreRefused)
{
    const std::string good = two_settings();
    ASSERT_EQ(open_error(good), noErr);
    const struct {
        std::size_t at;
        std::uint32_t value;
    } lies[] = {
        {0, 0},          {0, 15},         {0, 257}, {0, 0xFFFFFFFF}, // data area
        {4, 0},          {4, 15},         {4, 268}, {4, 270},        // map
        {4, 0x80000000}, {4, 0xFFFFFFFF}, {8, 14},  {8, 0xFFFFFFFF}, // their lengths
        {8, 0x7FFFFFFF}, {12, 0},         {12, 29}, {12, 67},        {12, 0xFFFFFFFF},
    };
    for (const auto &lie : lies)
        EXPECT_EQ(open_error(patched(good, lie.at, be32(lie.value))), mapReadErr)
            << lie.at << " " << lie.value;
}

TEST(DamagedResourceFiles, LiesInTheMapAreRefused)
{
    const std::string good = two_settings();
    const struct {
        std::size_t at;
        std::uint32_t value;
    } lies[] = {
        {293, 0},  {293, 27},     {293, 65},     {293, 0xFFFF}, // place of the type list
        {295, 65}, {295, 0xFFFF},                               // place of the name list
        {297, 1},  {297, 0x7FFF}, {297, 0xFFFE},                // number of types
        {303, 2},  {303, 0x7FFF}, {303, 0xFFFE},                // number of references
        {305, 0},  {305, 9},      {305, 35},     {305, 0xFFFF}, // their place
        {309, 4},  {309, 0xFFFE}, {309, 0x8000},                // place of a name
    };
    for (const auto &lie : lies)
        EXPECT_EQ(open_error(patched(good, lie.at, be16(lie.value))), mapReadErr)
            << lie.at << " " << lie.value;
    EXPECT_EQ(open_error(patched(good, 333, "\x02")), mapReadErr); // a name that leaves the map
}

TEST(DamagedResourceFiles, DataOutOfBoundsOrSharedAreRefused)
{
    const std::string good = two_settings();
    for (const std::uint32_t place : {10U, 13U, 14U, 0xFFFFFFU, 1U, 5U, 0U})
        EXPECT_EQ(open_error(patched(good, 323, be32(place))), mapReadErr) << place;
    for (const std::uint32_t length : {4U, 0x7FFFFFFFU, 0xFFFFFFFFU, 0xFFFFFFFCU})
        EXPECT_EQ(open_error(patched(good, 262, be32(length))), mapReadErr) << length;
    EXPECT_EQ(open_error(patched(good, 256, be32(3))), mapReadErr); // runs into the next one
}

TEST(DamagedResourceFiles, MapAndDataMustNotOverlap)
{
    // The map stands first and reaches into the data.
    std::string bytes = two_settings();
    bytes = patched(bytes, 0, be32(270));
    EXPECT_EQ(open_error(bytes + std::string(100, 0)), mapReadErr);
}

TEST(DamagedResourceFiles, TwoTypesMustNotShareReferences)
{
    const std::string header = be32(256) + be32(261) + be32(5) + be32(58);
    const std::string bytes = header + std::string(240, 0) + be32(1) + "x" + header + be32(0) +
                              be16(0) + be16(0) + be16(28) + be16(58) + be16(1) + "AAAA" + be16(0) +
                              be16(18) + "BBBB" + be16(0) + be16(18) + be16(128) + be16(0xFFFF) +
                              be32(0) + be32(0);
    EXPECT_EQ(open_error(bytes), mapReadErr);
}

TEST(DamagedResourceFiles, ReferencesOfTwoTypesMustNotOverlap)
{
    // Each list makes sense by itself, and the data that they name lie apart.
    const auto file = [](std::uint32_t second_list) {
        const std::string header = be32(256) + be32(266) + be32(10) + be32(71);
        return header + std::string(240, 0) + be32(1) + "x" + be32(1) + "y" + header + be32(0) +
               be16(0) + be16(0) + be16(28) + be16(70) + be16(1) + "AAAA" + be16(0) + be16(18) +
               "BBBB" + be16(0) + be16(second_list) + be16(128) + be16(0xFFFF) + be32(0) + be32(5) +
               be16(0) + be16(0) + be32(5) + be32(0) + std::string(1, 0);
    };
    EXPECT_EQ(open_error(file(30)), noErr);
    EXPECT_EQ(open_error(file(22)), mapReadErr);
}

TEST(DamagedResourceFiles, TwiceTheSameIdIsKeptAndTheFirstIsFound)
{
    temporary_folder folder;
    const std::string twice = patched(two_settings(), 319, be16(128));
    write_file(folder / "r", twice);
    const ResFileRefNum file = opened(folder / "r");
    Handle first = Get1Resource(cstr, 128);
    EXPECT_EQ(content(first), std::string("1\0", 2));
    EXPECT_EQ(content(Get1NamedResource(cstr, pascal("B"))), std::string("22\0", 3));
    ChangedResource(first);
    CloseResFile(file);
    EXPECT_EQ(read_file(folder / "r"), twice);
}

TEST(DamagedResourceFiles, NoSingleByteDoesHarm)
{
    temporary_folder folder;
    const std::string good = two_settings();
    int opened_files = 0;
    for (std::size_t at = 0; at < good.size(); ++at) {
        if (at >= 16 && at < 256)
            continue; // reserved; means nothing
        for (const int value : {0, 1, 0x7F, 0x80, 0xFF}) {
            std::string bytes = good;
            bytes[at] = static_cast<char>(value);
            write_file(folder / "r", bytes);
            ResFileRefNum file = -1;
            const OSErr error = open_file(folder / "r", fsCurPerm, &file);
            if (error != noErr) {
                ASSERT_EQ(error, mapReadErr);
                continue;
            }
            ++opened_files;
            Get1NamedResource(cstr, pascal("A"));
            Get1Resource(cstr, 129);
            AddResource(handle_with("added"), four_chars("Test"), 1, pascal("T"));
            ASSERT_EQ(ResError(), noErr);
            CloseResFile(file);
            ASSERT_EQ(ResError(), noErr);
            file = opened(folder / "r", fsRdPerm);
            ASSERT_EQ(content(Get1NamedResource(four_chars("Test"), pascal("t"))), "added");
            CloseResFile(file);
        }
    }
    EXPECT_GT(opened_files, 100);
    EXPECT_EQ(platform::live_handles(), 0U);
}

TEST(DamagedResourceFiles, WhatIsNoOrdinaryFileIsNotThere)
{
    temporary_folder folder;
    ResFileRefNum file = -1;
    EXPECT_EQ(open_file(folder.path(), fsCurPerm, &file), fnfErr);
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0666), 0);
    EXPECT_EQ(open_file(folder / "pipe", fsCurPerm, &file), fnfErr);
}

// ---- permissions and locks ----

TEST(ResourcePermissions, UnknownPermissionOrForkIsRefused)
{
    temporary_folder folder;
    write_file(folder / "r", two_settings());
    FSRef ref;
    ASSERT_EQ(FSPathMakeRef((folder / "r").c_str(), &ref, nullptr), noErr);
    ResFileRefNum file = -1;
    EXPECT_EQ(FSOpenResourceFile(&ref, 0, nullptr, 9, &file), paramErr);
    const std::uint16_t name[] = {'X'};
    EXPECT_EQ(FSOpenResourceFile(&ref, 1, name, fsRdPerm, &file), paramErr);
    const FSRef none = {};
    EXPECT_EQ(FSOpenResourceFile(&none, 0, nullptr, fsRdPerm, &file), paramErr);
}

TEST(ResourcePermissions, FileOpenForReadingIsNotChanged)
{
    temporary_folder folder;
    write_file(folder / "r", two_settings());
    const ResFileRefNum file = opened(folder / "r", fsRdPerm);
    ChangedResource(Get1Resource(cstr, 128));
    EXPECT_EQ(ResError(), wrPermErr);
    Handle handle = handle_with("x");
    AddResource(handle, cstr, 300, nullptr);
    EXPECT_EQ(ResError(), wrPermErr);
    DisposeHandle(handle);
    EXPECT_EQ(MemError(), noErr);
    CloseResFile(file);
    EXPECT_EQ(read_file(folder / "r"), two_settings());
}

TEST(ResourcePermissions, WhatMayNotBeWrittenOpensForReading)
{
    temporary_folder folder;
    ASSERT_EQ(mkdir((folder / "closed").c_str(), 0755), 0);
    write_file(folder / "closed/r", two_settings());
    write_file(folder / "read_only", two_settings());
    ASSERT_EQ(chmod((folder / "closed/r").c_str(), 0666), 0);
    ASSERT_EQ(chmod((folder / "read_only").c_str(), 0444), 0);
    ASSERT_EQ(chmod((folder / "closed").c_str(), 0555), 0);
    EXPECT_TRUE(in_child_without_rights([&] {
        for (const char *name : {"closed/r", "read_only"}) {
            ResFileRefNum file = -1;
            EXPECT_EQ(open_file(folder / name, fsRdWrPerm, &file), permErr);
            EXPECT_EQ(open_file(folder / name, fsWrPerm, &file), permErr);
            file = opened(folder / name, fsCurPerm);
            EXPECT_EQ(content(Get1Resource(cstr, 128)), std::string("1\0", 2));
            ChangedResource(Get1Resource(cstr, 128));
            EXPECT_EQ(ResError(), wrPermErr);
            CloseResFile(file);
        }
    }));
    EXPECT_EQ(read_file(folder / "closed/r"), two_settings());
}

TEST(ResourcePermissions, UnreadableFileIsNotPermitted)
{
    temporary_folder folder;
    write_file(folder / "r", two_settings());
    ASSERT_EQ(chmod((folder / "r").c_str(), 0), 0);
    EXPECT_TRUE(in_child_without_rights([&] {
        ResFileRefNum file = -1;
        EXPECT_EQ(open_file(folder / "r", fsCurPerm, &file), permErr);
    }));
}

TEST(ResourcePermissions, FullDiskLeavesTheOldFile)
{
    temporary_folder folder;
    write_file(folder / "r", two_settings());
    EXPECT_TRUE(in_child([&] {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit = {2000, 2000};
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
        const ResFileRefNum file = opened(folder / "r");
        Handle handle = Get1Resource(cstr, 128);
        SetHandleSize(handle, 100000);
        ChangedResource(handle);
        WriteResource(handle);
        EXPECT_EQ(ResError(), dskFulErr);
        CloseResFile(file);
        EXPECT_EQ(ResError(), dskFulErr);
    }));
    EXPECT_EQ(read_file(folder / "r"), two_settings());
    EXPECT_EQ(names_in(folder.path()), std::vector<std::string>{"r"});
}

TEST(ResourcePermissions, TargetOfALinkIsReplaced)
{
    temporary_folder folder;
    ASSERT_EQ(mkdir((folder / "elsewhere").c_str(), 0777), 0);
    write_file(folder / "elsewhere/r", empty_file());
    ASSERT_EQ(symlink("elsewhere/r", (folder / "link").c_str()), 0);
    const ResFileRefNum file = opened(folder / "link");
    AddResource(handle_with(std::string("1\0", 2)), cstr, 128, pascal("A"));
    AddResource(handle_with(std::string("22\0", 3)), cstr, 129, pascal("B"));
    CloseResFile(file);
    EXPECT_EQ(read_file(folder / "elsewhere/r"), two_settings());
    struct stat status = {};
    ASSERT_EQ(lstat((folder / "link").c_str(), &status), 0);
    EXPECT_TRUE(S_ISLNK(status.st_mode));
    EXPECT_EQ(names_in(folder.path()), (std::vector<std::string>{"elsewhere", "link"}));
}

namespace {

constexpr auto time_of_a_wait = std::chrono::seconds(10);

bool can_lock(const std::string &folder)
{
    const int fd = open(folder.c_str(), O_RDONLY | O_DIRECTORY);
    const bool locked = fd >= 0 && flock(fd, LOCK_EX | LOCK_NB) == 0;
    close(fd);
    return locked;
}

} // namespace

TEST(ResourceLocks, SeveralFilesOfOneFolderOpenTogether)
{
    temporary_folder folder;
    write_file(folder / "a", two_settings());
    write_file(folder / "b", two_settings());
    ASSERT_EQ(symlink(folder.path().c_str(), (folder / "again").c_str()), 0);
    const auto start = std::chrono::steady_clock::now();
    const ResFileRefNum a = opened(folder / "a", fsRdWrPerm);
    const ResFileRefNum b = opened(folder / "again/b", fsRdWrPerm);
    ResFileRefNum twice = -1;
    EXPECT_EQ(open_file(folder / "again/a", fsRdWrPerm, &twice), opWrErr);
    EXPECT_EQ(CurResFile(), b);
    const ResFileRefNum reading = opened(folder / "a", fsRdPerm);
    CloseResFile(a);
    EXPECT_FALSE(can_lock(folder.path())); // still held for b
    CloseResFile(reading);
    CloseResFile(b);
    EXPECT_TRUE(can_lock(folder.path()));
    EXPECT_LT(std::chrono::steady_clock::now() - start, time_of_a_wait);
    EXPECT_EQ(names_in(folder.path()), (std::vector<std::string>{"a", "again", "b"}));
}

TEST(ResourceLocks, WriterWaitsTenSecondsForAnotherProcess)
{
    temporary_folder folder;
    write_file(folder / "r", two_settings());
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const pid_t holder = start_child([&] {
        opened(folder / "r", fsRdWrPerm);
        EXPECT_EQ(write(ready[1], "x", 1), 1);
        pause();
    });
    char byte = 0;
    ASSERT_EQ(read(ready[0], &byte, 1), 1);

    const auto start = std::chrono::steady_clock::now();
    const ResFileRefNum reading = opened(folder / "r", fsRdPerm); // does not wait
    CloseResFile(reading);
    EXPECT_LT(std::chrono::steady_clock::now() - start, time_of_a_wait);
    ResFileRefNum file = -1;
    EXPECT_EQ(open_file(folder / "r", fsCurPerm, &file), opWrErr);
    const auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_GE(waited, time_of_a_wait);
    EXPECT_LT(waited, 6 * time_of_a_wait);

    kill(holder, SIGKILL);
    EXPECT_FALSE(child_succeeded(holder));
    file = opened(folder / "r", fsRdWrPerm); // the lock went with its holder
    CloseResFile(file);
}

// ---- resource forks ----

namespace {

FSSpec spec_of(const std::string &path)
{
    FSRef ref;
    FSSpec spec = {};
    EXPECT_EQ(FSPathMakeRef(path.c_str(), &ref, nullptr), noErr);
    EXPECT_EQ(FSGetCatalogInfo(&ref, kFSCatInfoNone, nullptr, nullptr, &spec, nullptr), noErr);
    return spec;
}

const std::string apple_double_head("\0\x05\x16\x07\0\x02\0\0", 8);

} // namespace

TEST(ResourceForks, FileWithoutOneHasNothingToOpen)
{
    temporary_folder folder;
    write_file(folder / "a.eps", "%!PS");
    const FSSpec spec = spec_of(folder / "a.eps");
    EXPECT_EQ(FSpOpenResFile(&spec, fsCurPerm), -1);
    EXPECT_EQ(ResError(), eofErr);
    EXPECT_EQ(names_in(folder.path()), std::vector<std::string>{"a.eps"});
}

TEST(ResourceForks, NewOneLiesInAnAppleDoubleFile)
{
    temporary_folder folder;
    write_file(folder / "a.eps", "%!PS");
    const FSSpec spec = spec_of(folder / "a.eps");
    FSpCreateResFile(&spec, four_chars("art5"), four_chars("EPSF"), 0);
    ASSERT_EQ(ResError(), noErr);
    const std::string table =
        std::string(16, 0) + be16(2) + be32(9) + be32(50) + be32(32) + be32(2) + be32(82);
    const std::string finder_info = "EPSFart5" + std::string(24, 0);
    EXPECT_EQ(read_file(folder / "._a.eps"),
              apple_double_head + table + be32(286) + finder_info + empty_file());
    FInfo info = {};
    EXPECT_EQ(FSpGetFInfo(&spec, &info), noErr);
    EXPECT_EQ(info.fdType, four_chars("EPSF"));

    FSpCreateResFile(&spec, 0, 0, 0);
    EXPECT_EQ(ResError(), dupFNErr);

    const ResFileRefNum file = FSpOpenResFile(&spec, fsCurPerm);
    ASSERT_NE(file, -1);
    EXPECT_EQ(CurResFile(), file);
    AddResource(handle_with(std::string("1\0", 2)), cstr, 128, pascal("A"));
    AddResource(handle_with(std::string("22\0", 3)), cstr, 129, pascal("B"));
    CloseResFile(file);
    EXPECT_EQ(ResError(), noErr);
    EXPECT_EQ(read_file(folder / "._a.eps"),
              apple_double_head + table + be32(335) + finder_info + two_settings());
    EXPECT_EQ(read_file(folder / "a.eps"), "%!PS");
    EXPECT_EQ(names_in(folder.path()), (std::vector<std::string>{"._a.eps", "a.eps"}));
}

TEST(ResourceForks, OpenByTheirNameToo)
{
    temporary_folder folder;
    write_file(folder / "a", "");
    write_file(folder / "._a", read_file(data_folder + "apple_double.bin"));
    FSRef ref;
    ASSERT_EQ(FSPathMakeRef((folder / "a").c_str(), &ref, nullptr), noErr);
    const std::string ascii = "RESOURCE_FORK";
    const std::u16string name(ascii.begin(), ascii.end());
    ResFileRefNum file = -1;
    ASSERT_EQ(FSOpenResourceFile(&ref, name.size(),
                                 reinterpret_cast<const std::uint16_t *>(name.data()), fsRdPerm,
                                 &file),
              noErr);
    EXPECT_EQ(content(Get1NamedResource(cstr, pascal("PICT_RES"))), std::string("144\0", 4));
    CloseResFile(file);
}

TEST(ResourceForks, UpdateKeepsTheOtherEntriesWhole)
{
    temporary_folder folder;
    write_file(folder / "a", "");
    const std::string old = read_file(data_folder + "apple_double.bin");
    write_file(folder / "._a", old);
    const FSSpec spec = spec_of(folder / "a");
    const std::string finder_info = old.substr(74, 32);
    const std::string comment = "A comment of the Finder's, kept whole";
    const std::string times(16, 0);

    for (int round = 0; round < 2; ++round) {
        const ResFileRefNum file = FSpOpenResFile(&spec, fsCurPerm);
        ASSERT_NE(file, -1);
        Handle handle = Get1Resource(four_chars("PICT"), 256);
        SetHandleSize(handle, 3000 + static_cast<std::size_t>(round) * 500);
        ChangedResource(handle);
        CloseResFile(file);
        ASSERT_EQ(ResError(), noErr);

        const std::string now = read_file(folder / "._a");
        ASSERT_EQ(now.substr(0, 26), old.substr(0, 26));
        // Everything else stays at its place; the fork went behind it, and there it can grow.
        EXPECT_EQ(now.substr(26, 28), old.substr(26, 28));
        EXPECT_EQ(now.substr(26 + 36, 12), old.substr(26 + 36, 12));
        EXPECT_EQ(platform::get32(&now[26 + 28]), old.size());
        EXPECT_EQ(platform::get32(&now[26 + 32]), now.size() - old.size());
        EXPECT_EQ(now.substr(74, 32), finder_info);
        EXPECT_EQ(now.substr(106, comment.size()), comment);
        EXPECT_EQ(now.substr(old.size() - 16, 16), times);
    }
    const ResFileRefNum file = FSpOpenResFile(&spec, fsRdPerm);
    EXPECT_EQ(GetHandleSize(Get1Resource(four_chars("PICT"), 256)), 3500U);
    EXPECT_EQ(content(Get1NamedResource(cstr, pascal("PICT_RES"))), std::string("144\0", 4));
    CloseResFile(file);
}

TEST(ResourceForks, ShrinkingOneStaysInItsPlace)
{
    temporary_folder folder;
    write_file(folder / "a", "");
    const std::string old = read_file(data_folder + "apple_double.bin");
    write_file(folder / "._a", old);
    const FSSpec spec = spec_of(folder / "a");
    const ResFileRefNum file = FSpOpenResFile(&spec, fsCurPerm);
    Handle handle = Get1Resource(four_chars("PICT"), 256);
    SetHandleSize(handle, 1);
    ChangedResource(handle);
    CloseResFile(file);
    ASSERT_EQ(ResError(), noErr);
    const std::string now = read_file(folder / "._a");
    EXPECT_EQ(now.size(), old.size());
    EXPECT_EQ(now.substr(0, 26 + 32), old.substr(0, 26 + 32));
    EXPECT_EQ(now.substr(now.size() - 16), old.substr(old.size() - 16));
    const ResFileRefNum again = FSpOpenResFile(&spec, fsRdPerm);
    EXPECT_EQ(GetHandleSize(Get1Resource(four_chars("PICT"), 256)), 1U);
    CloseResFile(again);
}

TEST(ResourceForks, FinderInformationSetMeanwhileIsKept)
{
    temporary_folder folder;
    write_file(folder / "a", "");
    write_file(folder / "._a", read_file(data_folder + "apple_double.bin"));
    const FSSpec spec = spec_of(folder / "a");
    const ResFileRefNum file = FSpOpenResFile(&spec, fsCurPerm);
    FInfo info = {};
    ASSERT_EQ(FSpGetFInfo(&spec, &info), noErr);
    info.fdType = four_chars("EPSF");
    ASSERT_EQ(FSpSetFInfo(&spec, &info), noErr);
    ChangedResource(Get1Resource(cstr, 128));
    CloseResFile(file);
    ASSERT_EQ(ResError(), noErr);
    EXPECT_EQ(FSpGetFInfo(&spec, &info), noErr);
    EXPECT_EQ(info.fdType, four_chars("EPSF"));
}

TEST(ResourceForks, IsAddedToAnAppleDoubleFileWithoutOne)
{
    temporary_folder folder;
    write_file(folder / "a", "");
    // A gap behind the table has room for one more entry, so nothing moves.
    write_file(folder / "._a", apple_double_head + std::string(16, 'f') + be16(1) + be32(9) +
                                   be32(50) + be32(40) + std::string(12, 0) + "TEXTttxt" +
                                   std::string(24, 0) + "attribut");
    const FSSpec spec = spec_of(folder / "a");
    FSpCreateResFile(&spec, four_chars("ttxt"), four_chars("TEXT"), 0);
    ASSERT_EQ(ResError(), noErr);
    EXPECT_EQ(read_file(folder / "._a"), apple_double_head + std::string(16, 'f') + be16(2) +
                                             be32(9) + be32(50) + be32(40) + be32(2) + be32(90) +
                                             be32(286) + "TEXTttxt" + std::string(24, 0) +
                                             "attribut" + empty_file());
}

TEST(ResourceForks, AttributesThatNamePlacesAreNotMoved)
{
    temporary_folder folder;
    write_file(folder / "a", "");
    const std::string old = apple_double_head + std::string(16, 0) + be16(1) + be32(9) + be32(38) +
                            be32(40) + std::string(40, 'x');
    write_file(folder / "._a", old);
    const FSSpec spec = spec_of(folder / "a");
    FSpCreateResFile(&spec, 0, 0, 0);
    EXPECT_EQ(ResError(), mapReadErr);
    EXPECT_EQ(read_file(folder / "._a"), old);
}

TEST(ResourceForks, DamagedAppleDoubleFileIsRefusedAndLeftAlone)
{
    const std::string good = read_file(data_folder + "apple_double.bin");
    const std::size_t fork = 26 + 24; // the third entry of the table
    for (const std::string &bad :
         {good.substr(0, 20), good.substr(0, 40), good.substr(0, good.size() - 1),
          patched(good, 0, "\1"), patched(good, 4, be32(0x00010000)),
          patched(good, 24, be16(0xFFFF)),           // more entries than there is room for
          patched(good, fork + 4, be32(80)),         // shares bytes with the Finder's
          patched(good, fork + 4, be32(10)),         // lies in the table
          patched(good, fork + 8, be32(0xFFFFFFFF)), // leaves the file
          patched(good, fork + 4, be32(0xFFFFFFFF))}) {
        temporary_folder folder;
        write_file(folder / "a", "");
        write_file(folder / "._a", bad);
        const FSSpec spec = spec_of(folder / "a");
        EXPECT_EQ(FSpOpenResFile(&spec, fsCurPerm), -1);
        EXPECT_EQ(ResError(), mapReadErr);
        FSpCreateResFile(&spec, 0, 0, 0);
        EXPECT_EQ(ResError(), mapReadErr);
        EXPECT_EQ(read_file(folder / "._a"), bad);
    }
}

TEST(ResourceForks, FileMustBeThere)
{
    temporary_folder folder;
    write_file(folder / "a", "");
    const FSSpec spec = spec_of(folder / "a");
    ASSERT_EQ(unlink((folder / "a").c_str()), 0);
    EXPECT_EQ(FSpOpenResFile(&spec, fsCurPerm), -1);
    EXPECT_EQ(ResError(), fnfErr);
    FSpCreateResFile(&spec, 0, 0, 0);
    EXPECT_EQ(ResError(), fnfErr);
}
