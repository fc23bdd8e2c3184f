#include "platform/files.h"
#include "tests/support/test_files.h"

#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr std::int8_t reading = 1;
constexpr std::int8_t both = 3;

FSSpec spec_of(const std::string &path)
{
    FSRef ref;
    FSSpec spec = {};
    EXPECT_EQ(FSPathMakeRef(path.c_str(), &ref, nullptr), noErr) << path;
    EXPECT_EQ(FSGetCatalogInfo(&ref, kFSCatInfoNone, nullptr, nullptr, &spec, nullptr), noErr);
    return spec;
}

OSErr open_error(const std::string &path, std::int8_t permission)
{
    const FSSpec spec = spec_of(path);
    FSIORefNum file = 77;
    const OSErr error = FSpOpenDF(&spec, permission, &file);
    if (error == noErr)
        FSClose(file);
    else
        EXPECT_EQ(file, 77);
    return error;
}

class DataForks : public testing::Test {
protected:
    FSIORefNum opened(const std::string &path, std::int8_t permission)
    {
        const FSSpec spec = spec_of(path);
        FSIORefNum file = -1;
        EXPECT_EQ(FSpOpenDF(&spec, permission, &file), noErr);
        return file;
    }

    temporary_folder folder;
};

std::string read_some(FSIORefNum file, std::int32_t count, OSErr expected)
{
    std::string bytes(static_cast<std::size_t>(count), '?');
    EXPECT_EQ(FSRead(file, &count, bytes.data()), expected);
    return bytes.substr(0, static_cast<std::size_t>(count));
}

OSErr write_some(FSIORefNum file, const std::string &bytes)
{
    auto count = static_cast<std::int32_t>(bytes.size());
    const OSErr error = FSWrite(file, &count, bytes.data());
    EXPECT_EQ(count, error == noErr ? static_cast<std::int32_t>(bytes.size()) : 0);
    return error;
}

} // namespace

TEST_F(DataForks, AreReadAtAMark)
{
    const FSIORefNum file = opened(folder.write("f", "0123456789"), reading);
    std::int32_t size = 0;
    EXPECT_EQ(GetEOF(file, &size), noErr);
    EXPECT_EQ(size, 10);
    EXPECT_EQ(read_some(file, 3, noErr), "012");
    EXPECT_EQ(read_some(file, 0, noErr), "");
    EXPECT_EQ(read_some(file, 3, noErr), "345");
    EXPECT_EQ(SetFPos(file, fsFromStart, 1), noErr);
    EXPECT_EQ(read_some(file, 2, noErr), "12");
    EXPECT_EQ(SetFPos(file, fsFromMark, 2), noErr);
    EXPECT_EQ(SetFPos(file, fsAtMark, 1000), noErr); // stays
    EXPECT_EQ(read_some(file, 2, noErr), "56");
    EXPECT_EQ(SetFPos(file, fsFromLEOF, -4), noErr);
    EXPECT_EQ(read_some(file, 10, eofErr), "6789");
    EXPECT_EQ(read_some(file, 1, eofErr), "");
    EXPECT_EQ(FSClose(file), noErr);
}

TEST_F(DataForks, TheMarkStaysInTheFile)
{
    const FSIORefNum file = opened(folder.write("f", "0123456789"), reading);
    EXPECT_EQ(SetFPos(file, fsFromStart, 10), noErr);
    EXPECT_EQ(SetFPos(file, fsFromStart, 3), noErr);
    EXPECT_EQ(SetFPos(file, fsFromStart, -1), posErr);
    EXPECT_EQ(SetFPos(file, fsFromMark, -4), posErr);
    EXPECT_EQ(SetFPos(file, 7, 0), paramErr);
    EXPECT_EQ(read_some(file, 1, noErr), "3"); // nothing has changed
    EXPECT_EQ(SetFPos(file, fsFromStart, 11), eofErr);
    EXPECT_EQ(read_some(file, 1, eofErr), ""); // at the end now
    FSClose(file);
}

TEST_F(DataForks, AreWrittenAtAMark)
{
    const std::string path = folder.write("f", "0123456789");
    const FSIORefNum file = opened(path, both);
    EXPECT_EQ(SetFPos(file, fsFromStart, 2), noErr);
    EXPECT_EQ(write_some(file, "ab"), noErr);
    EXPECT_EQ(read_file(path), "01ab456789");
    EXPECT_EQ(SetFPos(file, fsFromLEOF, 0), noErr);
    EXPECT_EQ(write_some(file, "cd"), noErr);
    EXPECT_EQ(read_file(path), "01ab456789cd");
    EXPECT_EQ(SetEOF(file, 4), noErr);
    EXPECT_EQ(read_file(path), "01ab");
    EXPECT_EQ(SetEOF(file, 6), noErr);
    EXPECT_EQ(read_file(path), std::string("01ab\0\0", 6));
    EXPECT_EQ(FSClose(file), noErr);
}

TEST_F(DataForks, WhatIsOpenForReadingIsNotWritten)
{
    const std::string path = folder.write("f", "0123456789");
    const FSIORefNum file = opened(path, reading);
    EXPECT_EQ(write_some(file, "x"), wrPermErr);
    EXPECT_EQ(SetEOF(file, 0), wrPermErr);
    FSClose(file);
    EXPECT_EQ(read_file(path), "0123456789");
}

TEST_F(DataForks, NumbersThatAreNotOpenAreTold)
{
    std::int32_t number = 1;
    char byte = 0;
    const FSIORefNum closed = opened(folder.write("f", "0"), both);
    EXPECT_EQ(FSClose(closed), noErr);
    for (const FSIORefNum file : {closed, FSIORefNum{0}, FSIORefNum{-1}, FSIORefNum{32767}}) {
        EXPECT_EQ(FSClose(file), rfNumErr);
        EXPECT_EQ(GetEOF(file, &number), rfNumErr);
        EXPECT_EQ(SetEOF(file, 0), rfNumErr);
        EXPECT_EQ(SetFPos(file, fsFromStart, 0), rfNumErr);
        EXPECT_EQ(FSRead(file, &number, &byte), rfNumErr);
        EXPECT_EQ(FSWrite(file, &number, &byte), rfNumErr);
    }
}

TEST_F(DataForks, WhatIsNoFileIsNotOpened)
{
    EXPECT_EQ(open_error(folder.path(), reading), paramErr);
    EXPECT_EQ(open_error(folder.path(), both), paramErr);
    EXPECT_EQ(open_error("/dev/null", reading), paramErr);
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0666), 0);
    EXPECT_EQ(open_error(folder / "pipe", reading), paramErr); // and nobody waits for its writer
    EXPECT_EQ(open_error(folder / "pipe", both), paramErr);
    const std::string gone = folder.write("gone", "");
    const FSSpec spec = spec_of(gone);
    unlink(gone.c_str());
    FSIORefNum file = 77;
    EXPECT_EQ(FSpOpenDF(&spec, reading, &file), fnfErr);
}

TEST_F(DataForks, WhatMayNotBeWrittenIsNotOpenedForIt)
{
    const std::string path = folder.write("f", "x");
    chmod(path.c_str(), 0444);
    chmod(folder.path().c_str(), 0755);
    EXPECT_TRUE(in_child_without_rights([&] {
        EXPECT_EQ(open_error(path, reading), noErr);
        EXPECT_EQ(open_error(path, both), permErr);
    }));
}

TEST_F(DataForks, ThereAreSoManyAndThenTheyCanBeHadAgain)
{
    const FSSpec spec = spec_of(folder.write("f", "x"));
    std::vector<FSIORefNum> files;
    FSIORefNum file = 0;
    OSErr error = noErr;
    while ((error = FSpOpenDF(&spec, reading, &file)) == noErr && files.size() < 1000)
        files.push_back(file);
    EXPECT_EQ(error, tmfoErr);
    EXPECT_GT(files.size(), 10U);
    for (const FSIORefNum each : files)
        EXPECT_EQ(FSClose(each), noErr);
    EXPECT_EQ(FSpOpenDF(&spec, reading, &file), noErr);
    EXPECT_EQ(FSClose(file), noErr);
}

TEST_F(DataForks, RoomThatIsNotThereIsToldBeforeAnythingIsLost)
{
    const std::string path = folder.write("f", "0123456789");
    EXPECT_TRUE(in_child([&] {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit = {100, 100};
        setrlimit(RLIMIT_FSIZE, &limit);
        const FSIORefNum file = opened(path, both);
        EXPECT_EQ(SetEOF(file, 101), dskFulErr);
        EXPECT_EQ(read_file(path), "0123456789");
        EXPECT_EQ(SetFPos(file, fsFromStart, 0), noErr);
        std::int32_t count = 200;
        EXPECT_EQ(FSWrite(file, &count, std::string(200, 'x').data()), dskFulErr);
        EXPECT_EQ(count, 100);
        FSClose(file);
    }));
}

TEST_F(DataForks, FilesTooLargeForTheNumbersAreTold)
{
    const std::string path = folder.write("f", "");
    std::filesystem::resize_file(path, 0x7FFFFFFF);
    std::int32_t size = 0;
    const FSIORefNum file = opened(path, reading);
    EXPECT_EQ(GetEOF(file, &size), noErr);
    EXPECT_EQ(size, 0x7FFFFFFF);
    std::filesystem::resize_file(path, 0x80000000);
    EXPECT_EQ(GetEOF(file, &size), ioErr);
    FSClose(file);
}

TEST_F(DataForks, ThereIsOneVolumeToFlush)
{
    EXPECT_EQ(FlushVol(nullptr, -1), noErr);
    EXPECT_EQ(FlushVol(nullptr, 0), noErr);
    EXPECT_EQ(FlushVol(nullptr, 5), nsvErr);
}

TEST_F(DataForks, AFileIsMadeWithItsCreatorAndType)
{
    const std::string path = folder.write("log", "");
    const FSSpec spec = spec_of(path);
    EXPECT_EQ(FSpCreate(&spec, four_chars("MPS "), four_chars("TEXT"), 0), dupFNErr);
    unlink(path.c_str());
    ASSERT_EQ(FSpCreate(&spec, four_chars("MPS "), four_chars("TEXT"), 0), noErr);
    EXPECT_EQ(read_file(path), "");
    EXPECT_TRUE(file_exists(path));
    FInfo info = {};
    EXPECT_EQ(FSpGetFInfo(&spec, &info), noErr);
    EXPECT_EQ(info.fdCreator, four_chars("MPS "));
    EXPECT_EQ(info.fdType, four_chars("TEXT"));
}

TEST_F(DataForks, NoFileIsMadeInAFolderThatIsGone)
{
    const std::string gone = folder.make_folder("gone");
    const FSSpec spec = spec_of(folder.write("gone/log", ""));
    std::filesystem::remove_all(gone);
    EXPECT_EQ(FSpCreate(&spec, 0, 0, 0), fnfErr);
}
