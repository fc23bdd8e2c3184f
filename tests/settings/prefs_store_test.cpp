#include "settings/prefs_store.h"

#include "platform/memory.h"
#include "platform/strings.h"
#include "tests/support/console_capture.h"
#include "tests/support/test_files.h"

#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace {

const std::string resources_folder = PAPERMILL_BUNDLE "/Resources/";

// The folders of a program that starts for the first time.
class PrefsStore : public testing::Test {
protected:
    PrefsStore()
    {
        mkdir((folder / "prefs").c_str(), 0777);
        mkdir((folder / "bundle").c_str(), 0777);
        mkdir((folder / "bundle/Resources").c_str(), 0777);
        chmod((folder / "prefs").c_str(), 0777);
        write_file(pristine, read_file(resources_folder + "PapermillPrefsDF"));
        platform::copy_whole(prefsPath, (folder / "prefs").c_str());
        platform::copy_whole(contentsPath, (folder / "bundle").c_str());
    }

    // The start-up's two steps; what they say is `console`'s.
    void start()
    {
        check_config();
        make_config();
    }

    temporary_folder folder;
    const std::string pristine = folder / "bundle/Resources/PapermillPrefsDF";
    const std::string file = folder / "prefs/PapermillPrefsDF";
    console_capture console;
};

std::string string_of(const char *key)
{
    char *value = get_string(key);
    std::string result = value == nullptr ? "(not set)" : value;
    std::free(value);
    return result;
}

std::string short_of(const char *key)
{
    const char *value = get_str_resource(key);
    return value == nullptr ? "(not set)" : value;
}

// A resource with any bytes, which the store itself would not write.
void add_raw(const std::string &path, const std::string &name, const std::string &bytes)
{
    FSRef ref;
    ResFileRefNum file = -1;
    ASSERT_EQ(FSPathMakeRef(path.c_str(), &ref, nullptr), noErr);
    ASSERT_EQ(FSOpenResourceFile(&ref, 0, nullptr, fsRdWrPerm, &file), noErr);
    Handle data = NewHandle(bytes.size());
    std::memcpy(*data, bytes.data(), bytes.size());
    std::string key = name;
    key.resize(256);
    AddResource(data, four_chars("Cstr"), Unique1ID(four_chars("Cstr")), c2pstr(key.data()));
    ASSERT_EQ(ResError(), noErr);
    CloseResFile(file);
    ASSERT_EQ(ResError(), noErr);
}

const std::string cannot_find = "\nI can't find the papermill preferences file!\n"
                                "You may as well quit right now!\n\n";

} // namespace

// ---- start-up ----

TEST_F(PrefsStore, FirstStartCopiesThePristineFile)
{
    check_config();
    EXPECT_EQ(havePrefs, 0);
    EXPECT_EQ(console.text(), "");
    make_config();
    EXPECT_EQ(havePrefs, 1);
    EXPECT_EQ(prefsFile, file);
    EXPECT_EQ(read_file(file), read_file(pristine));
    EXPECT_EQ(console.lines(), "Creating the papermill preferences file.\nMoving \"" + pristine +
                                   "\" to \"" + prefsPath + "\"\n\n");
}

TEST_F(PrefsStore, SecondStartSaysNothing)
{
    start();
    set_str_resource("PICT_RES", "300");
    console.clear();
    havePrefs = 0;
    start();
    EXPECT_EQ(console.text(), "");
    EXPECT_EQ(string_of("PICT_RES"), "300");
}

TEST_F(PrefsStore, MissingPristineFileIsTold)
{
    ASSERT_EQ(unlink(pristine.c_str()), 0);
    start();
    EXPECT_EQ(havePrefs, 0);
    const std::string said = console.lines();
    EXPECT_NE(said.find("Moving \"" + pristine), std::string::npos);
    EXPECT_NE(said.find("cp: "), std::string::npos);
    EXPECT_EQ(said.substr(said.size() - cannot_find.size()), cannot_find);
    EXPECT_EQ(get_str_resource("PICT_RES"), nullptr);
    EXPECT_EQ(get_string("PICT_RES"), nullptr);
    EXPECT_EQ(set_str_resource("PICT_RES", "1"), 0);
    EXPECT_EQ(GetApp("PICT_RES"), nullptr);
}

TEST_F(PrefsStore, WarningOfAMissingFileHasItsOwnWording)
{
    havePrefs = 1;
    NoPrefFile();
    EXPECT_EQ(console.text(), "");
    havePrefs = 0;
    NoPrefFile();
    EXPECT_EQ(console.lines(), "\nI can't find the papermill prefs file!\n");
}

TEST_F(PrefsStore, DamagedFileIsRenamedAsideOnce)
{
    start();
    set_str_resource("PICT_RES", "300");
    const std::string whole = read_file(file);
    std::mt19937 random(1);
    std::string noise(5000, 0);
    for (char &byte : noise)
        byte = static_cast<char>(random());

    int n = 0;
    for (const std::string &damaged : {std::string(), whole.substr(0, 100), whole.substr(0, 300),
                                       whole.substr(0, whole.size() - 1), noise}) {
        ++n;
        write_file(file, damaged);
        console.clear();
        start();
        EXPECT_EQ(havePrefs, 1);
        const std::string aside =
            file + ".damaged" + (n == 1 ? "" : std::string("-") + std::to_string(n));
        EXPECT_EQ(read_file(aside), damaged);
        EXPECT_EQ(read_file(file), read_file(pristine));
        EXPECT_EQ(console.lines(), "The preferences file \"" + file +
                                       "\" was damaged. It is now named \"" + aside +
                                       "\".\nCreating the papermill preferences file.\nMoving \"" +
                                       pristine + "\" to \"" + prefsPath + "\"\n\n");
        for (std::size_t i = 0; i < setting_key_count; ++i)
            EXPECT_EQ(string_of(setting_keys[i].name), "(not set)");
        console.clear();
        start();
        EXPECT_EQ(console.text(), "");
    }
    EXPECT_EQ(names_in(prefsPath).size(), 6U);
}

TEST_F(PrefsStore, DamagedFileThatCannotBeRenamedStays)
{
    write_file(file, "damaged");
    ASSERT_EQ(chmod(file.c_str(), 0666), 0);
    ASSERT_EQ(chmod(prefsPath, 0555), 0);
    EXPECT_TRUE(in_child_without_rights([&] {
        start();
        EXPECT_EQ(havePrefs, 0);
        EXPECT_EQ(console.lines(), "The preferences file \"" + file +
                                       "\" is damaged and cannot be renamed to \"" + file +
                                       ".damaged\": Permission denied.\n"
                                       "Creating the papermill preferences file.\n" +
                                       cannot_find);
    }));
    EXPECT_EQ(read_file(file), "damaged");
    ASSERT_EQ(chmod(prefsPath, 0777), 0);
}

TEST_F(PrefsStore, UnreadableFileIsNeitherRenamedNorCopiedOver)
{
    start();
    set_str_resource("PICT_RES", "300");
    const std::string before = read_file(file);
    for (const mode_t mode : {0000, 0222}) {
        ASSERT_EQ(chmod(file.c_str(), mode), 0);
        EXPECT_TRUE(in_child_without_rights([&] {
            console.clear();
            start();
            EXPECT_EQ(havePrefs, 0);
            EXPECT_EQ(get_string("PICT_RES"), nullptr);
            EXPECT_EQ(console.lines(), "The preferences file \"" + file +
                                           "\" cannot be opened (error -54). It stays as it is.\n"
                                           "Creating the papermill preferences file.\n" +
                                           cannot_find);
        }));
    }
    ASSERT_EQ(chmod(file.c_str(), 0644), 0);
    EXPECT_EQ(read_file(file), before);
    EXPECT_EQ(names_in(prefsPath), std::vector<std::string>{"PapermillPrefsDF"});
}

TEST_F(PrefsStore, FileThatAppearedMeanwhileIsNotCopiedOver)
{
    check_config();
    write_file(file, read_file(pristine));
    havePrefs = 1; // as in the copy of the program that was faster
    set_str_resource("PICT_RES", "300");
    havePrefs = 0;
    make_config();
    EXPECT_EQ(havePrefs, 1);
    EXPECT_EQ(string_of("PICT_RES"), "300");
}

TEST_F(PrefsStore, HostileFolderNamesAreOnlyNames)
{
    const std::string odd = folder / "a $(touch x) `touch y` \"q\" \\ caf\xE9";
    ASSERT_EQ(rename((folder / "prefs").c_str(), odd.c_str()), 0);
    platform::copy_whole(prefsPath, odd.c_str());
    start();
    EXPECT_EQ(havePrefs, 1);
    EXPECT_EQ(set_str_resource("PICT_RES", "300"), 1);
    EXPECT_EQ(names_in(odd), std::vector<std::string>{"PapermillPrefsDF"});
}

TEST_F(PrefsStore, LongestFolderPathFits)
{
    std::string deep = folder / "prefs";
    while (deep.size() + 101 <= path_limit - 1)
        deep += std::string("/") + std::string(100, 'd');
    deep += std::string("/") + std::string(path_limit - 2 - deep.size(), 'e');
    ASSERT_EQ(deep.size(), path_limit - 1);
    ASSERT_EQ(std::system(("mkdir -p " + deep).c_str()), 0);
    platform::copy_whole(prefsPath, deep.c_str());
    start();
    EXPECT_EQ(havePrefs, 1);
    EXPECT_EQ(prefsFile, deep + "/PapermillPrefsDF");
    EXPECT_EQ(set_str_resource("PICT_RES", "300"), 1);
    EXPECT_EQ(string_of("PICT_RES"), "300");
}

// ---- reading and writing ----

TEST_F(PrefsStore, ValueReadsAsItWasWritten)
{
    start();
    EXPECT_EQ(string_of("PICT_RES"), "(not set)");
    EXPECT_EQ(set_str_resource("PICT_RES", "300"), 1);
    EXPECT_EQ(string_of("PICT_RES"), "300");
    EXPECT_EQ(short_of("PICT_RES"), "300");
    EXPECT_EQ(string_of("pict_res"), "300"); // resource names have no case
    EXPECT_EQ(string_of("PICT_PREVIEW"), "(not set)");
}

TEST_F(PrefsStore, WrittenFileIsWellFormedByteForByte)
{
    start();
    ASSERT_EQ(set_str_resource("DEBUG1", "1"), 1);
    const char expected_head[] = "\0\0\1\0\0\0\1\6\0\0\0\6\0\0\0\x39";
    const char expected_tail[] = "\0\0\0\2"
                                 "1\0"
                                 "\0\0\1\0\0\0\1\6\0\0\0\6\0\0\0\x39"
                                 "\0\0\0\0\0\0\0\0\0\x1C\0\x32"
                                 "\0\0Cstr\0\0\0\x0A"
                                 "\0\x80\0\0\0\0\0\0\0\0\0\0"
                                 "\6DEBUG1";
    EXPECT_EQ(read_file(file), std::string(expected_head, 16) + std::string(240, 0) +
                                   std::string(expected_tail, sizeof expected_tail - 1));
}

TEST_F(PrefsStore, EmptyValueReadsAsNotSet)
{
    start();
    EXPECT_EQ(set_str_resource("GSDIR", ""), 1);
    EXPECT_EQ(string_of("GSDIR"), "(not set)");
    EXPECT_EQ(short_of("GSDIR"), "(not set)");
    EXPECT_EQ(GetApp("GSDIR"), nullptr);
    // It is there all the same, as one byte.
    EXPECT_NE(read_file(file).find(std::string("\0\0\0\1\0", 5)), std::string::npos);
    EXPECT_NE(read_file(file).find("\5GSDIR"), std::string::npos);
    EXPECT_EQ(set_str_resource("GSDIR", "/tmp"), 1);
    EXPECT_EQ(string_of("GSDIR"), "/tmp");
    EXPECT_EQ(set_str_resource("GSDIR", ""), 1);
    EXPECT_EQ(string_of("GSDIR"), "(not set)");
}

TEST_F(PrefsStore, LongValuesAreForGetStringOnly)
{
    start();
    for (const std::size_t length : {254U, 255U, 256U, 300U, 100000U}) {
        const std::string value(length, 'v');
        ASSERT_EQ(set_str_resource("PS2PDF_OPTION_STR", value.c_str()), 1);
        EXPECT_TRUE(string_of("PS2PDF_OPTION_STR") == value);
        EXPECT_EQ(short_of("PS2PDF_OPTION_STR"), length == 254 ? value : "(not set)") << length;
    }
}

TEST_F(PrefsStore, ResourceIsAsLongAsItsValue)
{
    start();
    set_str_resource("GSCOMMAND", "ls");
    const std::size_t size = read_file(file).size();
    set_str_resource("GSCOMMAND", "ls -l /tmp");
    EXPECT_EQ(read_file(file).size(), size + 8);
    EXPECT_EQ(string_of("GSCOMMAND"), "ls -l /tmp");
    set_str_resource("GSCOMMAND", "l");
    EXPECT_EQ(read_file(file).size(), size - 1);
    EXPECT_EQ(string_of("GSCOMMAND"), "l");
}

TEST_F(PrefsStore, SecondWriteFindsTheResourceOfTheFirst)
{
    start();
    set_str_resource("GSDIR", "/a");
    const std::string once = read_file(file);
    set_str_resource("GSDIR", "/a");
    EXPECT_EQ(read_file(file), once);
    EXPECT_EQ(once.find("GSDIR"), once.rfind("GSDIR"));
}

TEST_F(PrefsStore, BufferOfTheShortReadIsUsedAgain)
{
    start();
    set_str_resource("GSDIR", "/a");
    set_str_resource("GSCOMMAND", "ls");
    const char *first = get_str_resource("GSDIR");
    EXPECT_STREQ(first, "/a");
    EXPECT_EQ(get_str_resource("GSCOMMAND"), first);
    EXPECT_STREQ(first, "ls");
}

TEST_F(PrefsStore, TextFallsBackWhereNoneIsSet)
{
    EXPECT_EQ(string_setting("PS2PDF_OPTION_STR", "fallback"), "fallback"); // no file yet
    start();
    EXPECT_EQ(string_setting("PS2PDF_OPTION_STR", "fallback"), "fallback");
    set_str_resource("PS2PDF_OPTION_STR", "");
    EXPECT_EQ(string_setting("PS2PDF_OPTION_STR", "fallback"), "fallback");
    EXPECT_EQ(string_setting("PS2PDF_OPTION_STR", ""), "");
    for (const std::string &value : {std::string("-r300"), std::string(" "), std::string("0"),
                                     std::string(100000, 'v'), std::string("\xFF\"$`\\\n")}) {
        set_str_resource("PS2PDF_OPTION_STR", value.c_str());
        EXPECT_TRUE(string_setting("PS2PDF_OPTION_STR", "fallback") == value);
    }
    EXPECT_EQ(platform::live_handles(), 0U);
}

TEST_F(PrefsStore, NumberFallsBackWhereNoneIsSet)
{
    EXPECT_EQ(number_setting("TIFF_OPTION_STR", 144), 144); // no file yet
    start();
    EXPECT_EQ(number_setting("TIFF_OPTION_STR", 144), 144);
    EXPECT_EQ(number_setting("TIFF_OPTION_STR", 150), 150);
    set_str_resource("TIFF_OPTION_STR", "");
    EXPECT_EQ(number_setting("TIFF_OPTION_STR", 144), 144);
}

TEST_F(PrefsStore, NumberIsWhatTheValueBeginsWith)
{
    start();
    const std::pair<std::string, int> values[] = {
        {"300", 300},
        {"0", 0},
        {"-72", -72},
        {"+96", 96},
        {" \t\n12", 12},
        {"12.75", 12},
        {"300dpi", 300},
        {"010", 10}, // not octal
        {"0x10", 0},
        {"high", 0}, // set, and no number: not the fallback
        {" ", 0},
        {"-", 0},
        {".5", 0},
        {"2147483647", INT_MAX},
        {"2147483648", INT_MAX},
        {"-2147483648", INT_MIN},
        {"-2147483649", INT_MIN},
        {"99999999999999999999999", INT_MAX},
        {"-99999999999999999999999", INT_MIN},
        {std::string(300, '0') + "7", 7}, // longer than a short value
    };
    for (const auto &[value, number] : values) {
        set_str_resource("TIFF_OPTION_STR", value.c_str());
        EXPECT_EQ(number_setting("TIFF_OPTION_STR", 144), number) << value;
    }
}

TEST_F(PrefsStore, CurrentResourceFileStays)
{
    FSRef ref;
    ResFileRefNum own = -1;
    ASSERT_EQ(FSPathMakeRef((resources_folder + "Papermill.rsrc").c_str(), &ref, nullptr), noErr);
    ASSERT_EQ(FSOpenResourceFile(&ref, 0, nullptr, fsRdPerm, &own), noErr);
    // One opened later: closing a file makes it the current one, if nothing is done about it.
    ResFileRefNum later = -1;
    ASSERT_EQ(FSPathMakeRef(pristine.c_str(), &ref, nullptr), noErr);
    ASSERT_EQ(FSOpenResourceFile(&ref, 0, nullptr, fsRdPerm, &later), noErr);
    UseResFile(own);
    const auto stays = [own](const char *what) { EXPECT_EQ(CurResFile(), own) << what; };
    check_config();
    stays("check_config, no file");
    make_config();
    stays("make_config");
    check_config();
    stays("check_config");
    set_str_resource("GSDIR", "/a");
    stays("a new setting");
    set_str_resource("GSDIR", "/ab");
    stays("a setting changed");
    get_str_resource("GSDIR");
    get_str_resource("absent");
    stays("get_str_resource");
    std::free(get_string("GSDIR"));
    get_string("absent");
    stays("get_string");
    GetApp("absent");
    stays("GetApp");
    ASSERT_EQ(unlink(file.c_str()), 0);
    get_str_resource("GSDIR");
    get_string("GSDIR");
    set_str_resource("GSDIR", "/a");
    stays("no file any more");
    CloseResFile(later);
    CloseResFile(own);
    EXPECT_EQ(CurResFile(), -1);
    EXPECT_EQ(platform::live_handles(), 0U);
}

TEST_F(PrefsStore, NothingIsLeakedOrLeftOpen)
{
    start();
    for (int i = 0; i < 50; ++i) {
        set_str_resource("GSDIR", std::string(static_cast<std::size_t>(i), 'x').c_str());
        std::free(get_string("GSDIR"));
        get_str_resource("GSDIR");
        get_string("absent");
    }
    EXPECT_EQ(platform::live_handles(), 0U);
    EXPECT_EQ(CurResFile(), -1);
    const int next = open("/dev/null", O_RDONLY);
    EXPECT_LT(next, 10);
    close(next);
    EXPECT_EQ(names_in(prefsPath), std::vector<std::string>{"PapermillPrefsDF"});
}

TEST_F(PrefsStore, KeyThatCannotBeANameIsNotSet)
{
    start();
    const std::string longest(255, 'k');
    EXPECT_EQ(set_str_resource(longest.c_str(), "value"), 1);
    EXPECT_EQ(string_of(longest.c_str()), "value");
    for (const std::string &key :
         {std::string(256, 'k'), std::string(100000, 'k'), std::string()}) {
        EXPECT_EQ(set_str_resource(key.c_str(), "other"), 0);
        EXPECT_EQ(get_string(key.c_str()), nullptr);
        EXPECT_EQ(get_str_resource(key.c_str()), nullptr);
        EXPECT_EQ(get_default_resource(key.c_str()), nullptr);
    }
    EXPECT_EQ(string_of(longest.c_str()), "value");
}

TEST_F(PrefsStore, ValueWithoutItsNulEndsWithItsResource)
{
    start();
    add_raw(file, "NO_NUL", "abc");
    add_raw(file, "LONG_NO_NUL", std::string(255, 'x'));
    add_raw(file, "TWO_NULS", std::string("ab\0cd\0", 6));
    add_raw(file, "NO_BYTES", "");
    EXPECT_EQ(string_of("NO_NUL"), "abc");
    EXPECT_EQ(short_of("NO_NUL"), "abc");
    EXPECT_EQ(string_of("LONG_NO_NUL"), std::string(255, 'x'));
    EXPECT_EQ(short_of("LONG_NO_NUL"), std::string(255, 'x'));
    EXPECT_EQ(string_of("TWO_NULS"), "ab");
    EXPECT_EQ(string_of("NO_BYTES"), "(not set)");
    EXPECT_EQ(short_of("NO_BYTES"), "(not set)");
    EXPECT_EQ(set_str_resource("NO_BYTES", "now"), 1);
    EXPECT_EQ(string_of("NO_BYTES"), "now");
}

TEST_F(PrefsStore, FileOfTheOriginalPlatformLosesNothing)
{
    const std::string data = PAPERMILL_SOURCE_DIR "/tests/platform/core/data/";
    write_file(file, read_file(data + "several_types.rsrc"));
    start();
    EXPECT_EQ(console.text(), "");
    EXPECT_EQ(string_of("PICT_RES"), "144");
    ASSERT_EQ(set_str_resource("PICT_RES", "300 dots per inch"), 1);
    ASSERT_EQ(set_str_resource("NEW_KEY", "x"), 1);
    // The text that the comparison's file has beside.
    FSRef ref;
    ResFileRefNum other = -1;
    ASSERT_EQ(FSPathMakeRef(file.c_str(), &ref, nullptr), noErr);
    ASSERT_EQ(FSOpenResourceFile(&ref, 0, nullptr, fsRdWrPerm, &other), noErr);
    Handle text = NewHandle(5);
    std::memcpy(*text, "About", 5);
    const unsigned char name[] = {4, 'I', 'n', 'f', 'o'};
    AddResource(text, four_chars("TEXT"), 128, name);
    CloseResFile(other);
    EXPECT_EQ(read_file(file), read_file(data + "several_types_updated.rsrc"));
}

TEST_F(PrefsStore, ReadOnlyFileIsReadAndNotWritten)
{
    start();
    set_str_resource("PICT_RES", "300");
    ASSERT_EQ(chmod(file.c_str(), 0444), 0);
    EXPECT_TRUE(in_child_without_rights([&] {
        start();
        EXPECT_EQ(havePrefs, 1);
        EXPECT_EQ(string_of("PICT_RES"), "300");
        EXPECT_EQ(set_str_resource("PICT_RES", "600"), 0);
        EXPECT_EQ(set_str_resource("GSDIR", "/a"), 0);
        EXPECT_EQ(string_of("PICT_RES"), "300");
        EXPECT_EQ(platform::live_handles(), 0U);
        EXPECT_EQ(CurResFile(), -1);
    }));
}

TEST_F(PrefsStore, FullDiskKeepsTheOldValue)
{
    start();
    set_str_resource("PICT_RES", "300");
    const std::string before = read_file(file);
    EXPECT_TRUE(in_child([&] {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit = {2000, 2000};
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
        EXPECT_EQ(set_str_resource("PICT_RES", std::string(5000, '3').c_str()), 0);
        EXPECT_EQ(set_str_resource("GSCOMMAND", std::string(5000, 'x').c_str()), 0);
        EXPECT_EQ(string_of("PICT_RES"), "300");
        EXPECT_EQ(platform::live_handles(), 0U);
    }));
    EXPECT_EQ(read_file(file), before);
    EXPECT_EQ(names_in(prefsPath), std::vector<std::string>{"PapermillPrefsDF"});
}

TEST_F(PrefsStore, FullResourceFileKeepsTheOldValues)
{
    start();
    for (int i = 0;; ++i) {
        std::string key = std::to_string(i);
        key.resize(255, 'k');
        if (set_str_resource(key.c_str(), "v") == 1)
            continue;
        EXPECT_EQ(i, 128);
        break;
    }
    EXPECT_EQ(set_str_resource("LATE", "v"), 0);
    std::string last = "127";
    last.resize(255, 'k');
    EXPECT_EQ(string_of(last.c_str()), "v");
    EXPECT_EQ(platform::live_handles(), 0U);
}

// ---- two copies of the program ----

TEST_F(PrefsStore, TwoProcessesLoseNothing)
{
    start();
    const auto write_all = [](char who) {
        for (int i = 0; i < 100; ++i) {
            const std::string key = who + std::to_string(i % 25);
            EXPECT_EQ(set_str_resource(key.c_str(), std::to_string(i).c_str()), 1) << key;
            usleep(20000); // else the other one may meet a locked file every time it looks
        }
    };
    const pid_t first = start_child([&] { write_all('A'); });
    const pid_t second = start_child([&] { write_all('B'); });
    EXPECT_TRUE(child_succeeded(first));
    EXPECT_TRUE(child_succeeded(second));
    for (const char who : {'A', 'B'}) {
        for (int i = 0; i < 25; ++i)
            EXPECT_EQ(string_of((who + std::to_string(i)).c_str()), std::to_string(75 + i));
    }
    EXPECT_EQ(names_in(prefsPath), std::vector<std::string>{"PapermillPrefsDF"});
}

TEST_F(PrefsStore, KilledWriterLeavesAReadableFile)
{
    start();
    set_str_resource("GSCOMMAND", "start");
    std::mt19937 random(7);
    for (int round = 0; round < 20; ++round) {
        const pid_t writer = start_child([] {
            for (std::size_t i = 0;; i = (i + 997) % 200000)
                set_str_resource("GSCOMMAND", std::string(i + 1, 'x').c_str());
        });
        usleep(static_cast<useconds_t>(3000 + random() % 20000));
        kill(writer, SIGKILL);
        EXPECT_FALSE(child_succeeded(writer));
        check_config();
        ASSERT_EQ(havePrefs, 1);
        const std::string value = string_of("GSCOMMAND");
        EXPECT_TRUE(value == "start" || value.find_first_not_of('x') == std::string::npos);
    }
    EXPECT_EQ(set_str_resource("GSCOMMAND", "end"), 1);
    EXPECT_EQ(string_of("GSCOMMAND"), "end");
}

// ---- shipped defaults, GetApp ----

TEST_F(PrefsStore, ShippedDefaultsAreInTheApplicationsResources)
{
    EXPECT_EQ(get_default_resource("PICT_RES"), nullptr); // no current file
    FSRef ref;
    ResFileRefNum own = -1;
    ASSERT_EQ(FSPathMakeRef((resources_folder + "Papermill.rsrc").c_str(), &ref, nullptr), noErr);
    ASSERT_EQ(FSOpenResourceFile(&ref, 0, nullptr, fsRdPerm, &own), noErr);
    start();
    set_str_resource("PICT_RES", "300");
    for (std::size_t i = 0; i < setting_key_count; ++i) {
        char *value = get_default_resource(setting_keys[i].name);
        if (setting_keys[i].shipped == nullptr)
            EXPECT_EQ(value, nullptr) << setting_keys[i].name;
        else
            EXPECT_STREQ(value, setting_keys[i].shipped);
        std::free(value);
    }
    char *resolution = get_default_resource("PICT_RES");
    EXPECT_STREQ(resolution, "144"); // not the preferences file's
    std::free(resolution);
    CloseResFile(own);
}

TEST_F(PrefsStore, InfoTextIsInTheApplicationsResources)
{
    FSRef ref;
    ResFileRefNum own = -1;
    ASSERT_EQ(FSPathMakeRef((resources_folder + "Papermill.rsrc").c_str(), &ref, nullptr), noErr);
    ASSERT_EQ(FSOpenResourceFile(&ref, 0, nullptr, fsRdPerm, &own), noErr);
    const unsigned char name[] = {4, 'I', 'n', 'f', 'o'};
    Handle text = GetNamedResource(four_chars("TEXT"), name);
    ASSERT_NE(text, nullptr);
    const std::string info(*text, GetHandleSize(text));
    EXPECT_EQ(info.find("Papermill "), 0U);
    EXPECT_NE(info.find("MIT"), std::string::npos);
    EXPECT_NE(info.find("papermill --help"), std::string::npos);
    EXPECT_EQ(info.find('\n'), std::string::npos);
    EXPECT_EQ(info.back(), '\r');
    CloseResFile(own);
}

TEST_F(PrefsStore, GetAppGivesABufferOf256Bytes)
{
    start();
    EXPECT_EQ(GetApp("GSCOMMAND"), nullptr);
    set_str_resource("GSCOMMAND", std::string(200, 'c').c_str());
    std::free(GetApp("GSCOMMAND"));
    set_str_resource("GSCOMMAND", "ls");
    char *value = GetApp("GSCOMMAND");
    ASSERT_NE(value, nullptr);
    EXPECT_STREQ(value, "ls");
    for (int i = 2; i < 256; ++i)
        ASSERT_EQ(value[i], 0) << i;
    std::free(value);
}

// ---- the folder in a request ----

TEST(SetCurrDirFromParameter, CutsTheTextAndSetsTheFolder)
{
    platform::copy_whole(curr_dir, "old");
    char text[] = "a file.ps -@ /some folder -@ /x";
    EXPECT_EQ(SetCurrDirFromParameter(text), 1);
    EXPECT_STREQ(text, "a file.ps");
    EXPECT_STREQ(curr_dir, "/some folder -@ /x"); // only the first marker counts
}

TEST(SetCurrDirFromParameter, NothingBehindTheMarkerKeepsTheFolder)
{
    platform::copy_whole(curr_dir, "old");
    char text[] = "file.ps -@ ";
    EXPECT_EQ(SetCurrDirFromParameter(text), 0);
    EXPECT_STREQ(text, "file.ps");
    EXPECT_STREQ(curr_dir, "old");
}

TEST(SetCurrDirFromParameter, TextWithoutTheMarkerStaysWhole)
{
    platform::copy_whole(curr_dir, "old");
    for (const char *whole : {"file.ps", "file.ps -@", "a-@ b", "a -@", ""}) {
        char text[20];
        ASSERT_TRUE(platform::copy_whole(text, whole));
        EXPECT_EQ(SetCurrDirFromParameter(text), 0);
        EXPECT_STREQ(text, whole);
        EXPECT_STREQ(curr_dir, "old");
    }
}

TEST(SetCurrDirFromParameter, FolderThatDoesNotFitIsRefused)
{
    console_capture console;
    platform::copy_whole(curr_dir, "old");
    std::string text = "f -@ /" + std::string(path_size - 2, 'd');
    std::string fits = text;
    EXPECT_EQ(SetCurrDirFromParameter(fits.data()), 1);
    EXPECT_EQ(std::strlen(curr_dir), path_size - 1);
    platform::copy_whole(curr_dir, "old");
    text += "d";
    EXPECT_EQ(SetCurrDirFromParameter(text.data()), 0);
    EXPECT_STREQ(text.c_str(), "f");
    EXPECT_STREQ(curr_dir, "old");
    EXPECT_NE(console.text().find("the folder's path is too long"), std::string::npos);
}
