#include "platform/apple_events.h"

#include "platform/core/records.h"
#include "platform/files.h"
#include "tests/support/descriptors.h"
#include "tests/support/temporary_folder.h"

#include <cstring>
#include <ctime>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

// Every descriptor that a test makes has to be disposed of in it.
using Descriptors = descriptor_test;

// The bytes that a list begins with.
std::string head_of_a_list()
{
    AEDescList list = list_of({});
    std::string head = bytes_of(list);
    AEDisposeDesc(&list);
    return head;
}

std::string path_of_text(const std::string &text, DescType type)
{
    AEDesc desc = text_of(text);
    std::string path = path_as(type, desc);
    AEDisposeDesc(&desc);
    return path;
}

} // namespace

TEST_F(Descriptors, HoldACopyOfTheirData)
{
    std::string data("a\0b", 3);
    AEDesc desc = text_of(data);
    data[0] = 'x';
    EXPECT_EQ(desc.descriptorType, typeChar);
    EXPECT_EQ(AEGetDescDataSize(&desc), 3U);
    char two[3] = "##";
    EXPECT_EQ(AEGetDescData(&desc, two, 1), noErr);
    EXPECT_STREQ(two, "a#");
    EXPECT_EQ(AEDisposeDesc(&desc), noErr);
    EXPECT_EQ(desc.descriptorType, typeNull);
    EXPECT_EQ(desc.dataHandle, nullptr);
    EXPECT_EQ(AEGetDescDataSize(&desc), 0U);
    EXPECT_EQ(AEGetDescData(&desc, two, 1), paramErr);
    EXPECT_EQ(AEDisposeDesc(&desc), noErr);
}

TEST_F(Descriptors, MayBeEmpty)
{
    AEDesc desc;
    EXPECT_EQ(AECreateDesc(typeChar, nullptr, 0, &desc), noErr);
    EXPECT_EQ(AEGetDescDataSize(&desc), 0U);
    AEDisposeDesc(&desc);
}

TEST_F(Descriptors, WithoutMemoryThereIsNone)
{
    AEDesc desc;
    EXPECT_EQ(AECreateDesc(typeChar, "x", static_cast<std::size_t>(-1), &desc), memFullErr);
    EXPECT_EQ(desc.dataHandle, nullptr);
}

TEST_F(Descriptors, ListsCountFromOne)
{
    AEDescList list = list_of({"first", "", "third"});
    std::int32_t count = 0;
    EXPECT_EQ(AECountItems(&list, &count), noErr);
    EXPECT_EQ(count, 3);
    EXPECT_EQ(item_of(list, 1), "first");
    EXPECT_EQ(item_of(list, 2), "");
    EXPECT_EQ(item_of(list, 3), "third");
    for (const std::int32_t none : {0, 4, -1})
        EXPECT_EQ(item_of(list, none), "error -1701");
    AEDisposeDesc(&list);
}

TEST_F(Descriptors, ItemsAreReplacedAndAppendedByIndex)
{
    AEDescList list = list_of({"one", "two"});
    AEDesc item = text_of("a longer text");
    EXPECT_EQ(AEPutDesc(&list, 1, &item), noErr);
    EXPECT_EQ(AEPutDesc(&list, 3, &item), noErr);
    EXPECT_EQ(AEPutDesc(&list, 5, &item), errAEDescNotFound);
    EXPECT_EQ(AEPutDesc(&list, -1, &item), errAEDescNotFound);
    EXPECT_EQ(AEPutDesc(&item, 1, &item), errAEWrongDataType);
    EXPECT_EQ(item_of(list, 1), "a longer text");
    EXPECT_EQ(item_of(list, 2), "two");
    EXPECT_EQ(item_of(list, 3), "a longer text");
    AEDisposeDesc(&item);
    AEDisposeDesc(&list);
}

TEST_F(Descriptors, ItemsCanBeReadIntoABuffer)
{
    AEDescList list = list_of({"hello"});
    char buffer[10] = "#########";
    DescType type = 0;
    std::size_t size = 0;
    EXPECT_EQ(AEGetNthPtr(&list, 1, typeWildCard, nullptr, &type, buffer, 2, &size), noErr);
    EXPECT_EQ(type, typeChar);
    EXPECT_EQ(size, 5U);
    EXPECT_STREQ(buffer, "he#######");
    EXPECT_EQ(AEGetNthPtr(&list, 1, typeLongInteger, nullptr, nullptr, buffer, 2, nullptr),
              errAECoercionFail);
    EXPECT_EQ(AEGetNthPtr(&list, 2, typeWildCard, nullptr, nullptr, buffer, 2, nullptr),
              errAEDescNotFound);
    AEDisposeDesc(&list);
}

TEST_F(Descriptors, ListsHoldLists)
{
    AEDescList inner = list_of({"deep"});
    AEDescList outer;
    ASSERT_EQ(AECreateList(&outer), noErr);
    ASSERT_EQ(AEPutDesc(&outer, 0, &inner), noErr);
    AEDisposeDesc(&inner);
    ASSERT_EQ(AEGetNthDesc(&outer, 1, typeAEList, nullptr, &inner), noErr);
    EXPECT_EQ(item_of(inner, 1), "deep");
    EXPECT_EQ(item_of(outer, 1), "deep"); // a list of one becomes what its item can become
    AEDisposeDesc(&inner);
    AEDisposeDesc(&outer);
}

TEST_F(Descriptors, AnythingIsAListOfOneAndBack)
{
    AEDesc text = text_of("x");
    AEDescList list;
    ASSERT_EQ(AECoerceDesc(&text, typeAEList, &list), noErr);
    EXPECT_EQ(item_of(list, 1), "x");
    AEDesc back;
    ASSERT_EQ(AECoerceDesc(&list, typeChar, &back), noErr);
    EXPECT_EQ(bytes_of(back), "x");
    AEDesc none;
    EXPECT_EQ(AECoerceDesc(&text, typeLongInteger, &none), errAECoercionFail);
    EXPECT_EQ(none.dataHandle, nullptr);
    AEDescList two = list_of({"a", "b"});
    EXPECT_EQ(AECoerceDesc(&two, typeChar, &none), errAECoercionFail);
    AEDisposeDesc(&text);
    AEDisposeDesc(&list);
    AEDisposeDesc(&back);
    AEDisposeDesc(&two);
}

TEST_F(Descriptors, WhatOnlyClaimsToBeAListIsNone)
{
    const std::string head = head_of_a_list();
    AEDescList list = list_of({"x"});
    const std::string whole = bytes_of(list);
    AEDisposeDesc(&list);
    const std::string cut = whole.substr(0, whole.size() - 1);
    std::string huge = whole;
    for (std::size_t i = whole.size() - 5; i < whole.size() - 1; ++i)
        huge[i] = '\xFF'; // the size of the item's data
    for (const std::string &bytes :
         {std::string("short"), head.substr(1), head + "short", cut, huge}) {
        AEDesc desc;
        ASSERT_EQ(AECreateDesc(typeAEList, bytes.data(), bytes.size(), &desc), noErr);
        std::int32_t count = 9;
        EXPECT_EQ(AECountItems(&desc, &count), errAEWrongDataType);
        EXPECT_EQ(item_of(desc, 1), "error -1703");
        AEDesc result;
        EXPECT_EQ(AECoerceDesc(&desc, typeChar, &result), errAEWrongDataType);
        AEDisposeDesc(&desc);
    }
    AEDesc text = text_of("x");
    std::int32_t count = 9;
    EXPECT_EQ(AECountItems(&text, &count), errAEWrongDataType);
    AEDisposeDesc(&text);
}

TEST_F(Descriptors, FileReferencesBecomeSpecificationsAndBack)
{
    temporary_folder folder;
    const std::string path = folder.write(std::string(200, 'n') + ".ps", "");
    FSRef ref;
    ASSERT_EQ(FSPathMakeRef(path.c_str(), &ref, nullptr), noErr);
    AEDesc reference;
    AEDesc specification;
    AEDesc back;
    ASSERT_EQ(AECreateDesc(typeFSRef, &ref, sizeof ref, &reference), noErr);
    ASSERT_EQ(AECoerceDesc(&reference, typeFSS, &specification), noErr);
    EXPECT_EQ(AEGetDescDataSize(&specification), sizeof(FSSpec));
    ASSERT_EQ(AECoerceDesc(&specification, typeFSRef, &back), noErr);
    FSRef found = {};
    AEGetDescData(&back, &found, sizeof found);
    char found_path[1024];
    ASSERT_EQ(FSRefMakePath(&found, found_path, sizeof found_path), noErr);
    EXPECT_EQ(found_path, path);
    AEDisposeDesc(&back);

    ASSERT_EQ(unlink(path.c_str()), 0);
    EXPECT_EQ(AECoerceDesc(&specification, typeFSRef, &back), fnfErr);
    AEDisposeDesc(&reference);
    AEDisposeDesc(&specification);
    for (const DescType type : {typeFSRef, typeFSS}) {
        AEDesc damaged;
        ASSERT_EQ(AECreateDesc(type, "x", 1, &damaged), noErr);
        EXPECT_EQ(AECoerceDesc(&damaged, type == typeFSS ? typeFSRef : typeFSS, &back),
                  errAECoercionFail);
        AEDisposeDesc(&damaged);
    }
}

TEST_F(Descriptors, AListThatIsDamagedFurtherBehindIsReadAsFarAsItGoes)
{
    AEDescList list = list_of({"one", "two", "three"});
    const std::string bytes = bytes_of(list);
    AEDisposeDesc(&list);
    ASSERT_EQ(AECreateDesc(typeAEList, bytes.data(), bytes.size() - 1, &list), noErr);
    std::int32_t count = 0;
    EXPECT_EQ(AECountItems(&list, &count), errAEWrongDataType);
    EXPECT_EQ(item_of(list, 2), "two");
    EXPECT_EQ(item_of(list, 3), "error -1703");
    EXPECT_EQ(item_of(list, 4), "error -1703");
    AEDesc item = text_of("x");
    EXPECT_EQ(AEPutDesc(&list, 4, &item), errAEWrongDataType);
    AEDisposeDesc(&item);
    AEDisposeDesc(&list);
}

TEST_F(Descriptors, ItemsCanBeReadInAnyOrder)
{
    AEDescList list = list_of({"one", "two", "three", "four"});
    for (const int index : {4, 1, 3, 3, 2, 4, 5, 1, 0, 2}) {
        const char *const texts[] = {"error -1701", "one", "two", "three", "four", "error -1701"};
        EXPECT_EQ(item_of(list, index), texts[index]) << index;
    }
    // What was found last may be replaced by something longer, or something shorter.
    for (const char *text : {"much longer than it was", ""}) {
        EXPECT_EQ(item_of(list, 4), "four");
        AEDesc item = text_of(text);
        EXPECT_EQ(AEPutDesc(&list, 2, &item), noErr);
        AEDisposeDesc(&item);
        EXPECT_EQ(item_of(list, 4), "four");
        EXPECT_EQ(item_of(list, 2), text);
        EXPECT_EQ(item_of(list, 3), "three");
    }
    AEDisposeDesc(&list);
}

TEST_F(Descriptors, AListCanBeAnItemOfItself)
{
    AEDescList list = list_of({std::string(100000, 'x')});
    ASSERT_EQ(AEPutDesc(&list, 0, &list), noErr);
    AEDescList inner;
    ASSERT_EQ(AEGetNthDesc(&list, 2, typeAEList, nullptr, &inner), noErr);
    EXPECT_EQ(item_of(inner, 1), std::string(100000, 'x'));
    EXPECT_EQ(item_of(list, 1), std::string(100000, 'x'));
    AEDisposeDesc(&inner);
    AEDisposeDesc(&list);
}

// Both in one go through the list: were each append and each look-up a walk of its own, or were the
// list copied each time, it would take many times as long.
TEST_F(Descriptors, AListOfTenThousandIsMadeAndReadAtOnce)
{
    constexpr int many = 10000;
    const std::clock_t start = std::clock(); // the processor's time: others may keep it busy
    AEDescList list;
    ASSERT_EQ(AECreateList(&list), noErr);
    const std::string padding(100, 'p');
    for (int i = 1; i <= many; ++i) {
        AEDesc item = text_of(padding + std::to_string(i));
        ASSERT_EQ(AEPutDesc(&list, i % 2 == 0 ? 0 : i, &item), noErr);
        AEDisposeDesc(&item);
    }
    std::int32_t count = 0;
    EXPECT_EQ(AECountItems(&list, &count), noErr);
    EXPECT_EQ(count, many);
    for (int i = 1; i <= many; ++i) {
        char text[200];
        std::size_t size = 0;
        ASSERT_EQ(AEGetNthPtr(&list, i, typeChar, nullptr, nullptr, text, sizeof text, &size),
                  noErr);
        ASSERT_EQ(std::string(text, size), padding + std::to_string(i));
    }
    AEDisposeDesc(&list);
    EXPECT_LT(static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC, 1.0);
}

TEST_F(Descriptors, ListsWithinListsAreUnwrappedHoweverDeep)
{
    constexpr std::size_t deep =
        200000; // a function that called itself for each would not come back
    constexpr std::size_t level = sizeof(platform::record_head) + sizeof(platform::record);
    const std::string text = "core";
    std::string bytes;
    for (std::size_t below = deep; below-- > 0;) {
        const auto size = static_cast<std::uint32_t>(below * level + text.size());
        const platform::record_head head = {};
        const platform::record item = {typeWildCard, platform::list_item,
                                       below == 0 ? typeChar : typeAEList, size};
        bytes.append(reinterpret_cast<const char *>(&head), sizeof head);
        bytes.append(reinterpret_cast<const char *>(&item), sizeof item);
    }
    bytes += text;
    AEDescList list;
    ASSERT_EQ(AECreateDesc(typeAEList, bytes.data(), bytes.size(), &list), noErr);
    AEDesc core;
    ASSERT_EQ(AECoerceDesc(&list, typeChar, &core), noErr);
    EXPECT_EQ(bytes_of(core), text);
    AEDisposeDesc(&core);
    AEDisposeDesc(&list);
}

// ---- text that names a file ----

TEST_F(Descriptors, AnAbsolutePathBecomesAReferenceOrASpecification)
{
    temporary_folder folder;
    for (const std::string &name :
         {std::string("plain.ps"), std::string("with blank%20.ps"), std::string("caf\xE9 \xFF"),
          std::string("#?&%zz"), std::string(255, 'n')}) {
        const std::string path = folder.write(name, "");
        EXPECT_EQ(path_of_text(path, typeFSRef), path);
        EXPECT_EQ(path_of_text(path, typeFSS), path);
    }
    EXPECT_EQ(path_of_text(folder.path() + "//./plain.ps", typeFSRef), folder / "plain.ps");
    EXPECT_EQ(path_of_text(folder.path() + "/", typeFSRef), folder.path());
    EXPECT_EQ(path_of_text("/", typeFSRef), "/");
    EXPECT_EQ(path_of_text("/", typeFSS), "/");
}

TEST_F(Descriptors, AFileUriBecomesThePathThatItEncodes)
{
    temporary_folder folder;
    const std::string path = folder.write("a b%\xE9#.ps", "");
    const std::string encoded = folder.path() + "/a%20b%25%e9%23.ps";
    for (const char *start :
         {"file://", "file:", "FILE://", "file://localhost", "File://LocalHost"})
        EXPECT_EQ(path_of_text(start + encoded, typeFSRef), path) << start;
    EXPECT_EQ(path_of_text("file://" + folder.path() + "/a%20b%25\xE9#.ps", typeFSS), path);
    EXPECT_EQ(path_of_text("file:///", typeFSRef), "/");
}

TEST_F(Descriptors, OtherUrisNameNoFileOfThisMachine)
{
    temporary_folder folder;
    const std::string path = folder.write("a.ps", "");
    for (const char *host :
         {"server", "localhost.example", "local", "localhost:80", "user@localhost"})
        EXPECT_EQ(path_of_text(std::string("file://") + host + path, typeFSRef), "error -35")
            << host;
    for (const std::string &text :
         {"http://localhost" + path, std::string("file:"), std::string("file://"),
          std::string("file://localhost"), std::string("file:a.ps"), "fil" + path, " " + path,
          std::string("a.ps"), std::string("./a.ps"), std::string("~/a.ps"), std::string()})
        for (const DescType type : {typeFSRef, typeFSS})
            EXPECT_EQ(path_of_text(text, type), "error -43") << text;
}

TEST_F(Descriptors, WhatNoPathCanHoldIsRefused)
{
    temporary_folder folder;
    const std::string path = folder.write("a", "");
    const std::string uri = "file://" + path;
    std::string deep;
    while (deep.size() < 4096)
        deep += "/" + std::string(250, 'd');
    for (const DescType type : {typeFSRef, typeFSS}) {
        for (const std::string &text :
             {path + std::string("\0", 1), std::string(path).insert(3, 1, '\0'), uri + "%00",
              uri + "%", uri + "%4", uri + "%4g", uri + "%-1", uri + "% 1", deep, "file:" + deep,
              folder.path() + "/" + std::string(256, 'n'), "/" + std::string(1 << 20, 'm')})
            EXPECT_EQ(path_of_text(text, type), "error -37") << text.substr(0, 100);
    }
}

TEST_F(Descriptors, AReferenceNeedsItsFileASpecificationOnlyItsFolder)
{
    temporary_folder folder;
    folder.write("file", "");
    const std::string absent = folder / "absent.pdf";
    const std::string long_absent = folder.path() + "/" + std::string(200, 'n');
    EXPECT_EQ(path_of_text(absent, typeFSRef), "error -43");
    EXPECT_EQ(path_of_text(absent, typeFSS), absent);
    EXPECT_EQ(path_of_text("file://" + absent, typeFSS), absent);
    EXPECT_EQ(path_of_text(long_absent, typeFSS), long_absent);
    for (const char *nowhere : {"no/x.pdf", "no/such/x.pdf", "file/x.pdf"})
        EXPECT_EQ(path_of_text(folder / nowhere, typeFSS), "error -120") << nowhere;
}

TEST_F(Descriptors, OtherTypesOfDataNameNoFile)
{
    temporary_folder folder;
    const std::string path = folder.write("a", "");
    AEDesc desc;
    ASSERT_EQ(AECreateDesc(four_chars("utf8"), path.data(), path.size(), &desc), noErr);
    EXPECT_EQ(path_as(typeFSRef, desc), "error -1700");
    AEDisposeDesc(&desc);
}
