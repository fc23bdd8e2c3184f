#include "platform/apple_events.h"

#include "platform/files.h"
#include "platform/memory.h"
#include "tests/support/temporary_folder.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

constexpr DescType text_type = four_chars("TEXT");

// Every descriptor that a test makes has to be disposed of in it.
class Descriptors : public ::testing::Test {
protected:
    ~Descriptors() override
    {
        EXPECT_EQ(platform::live_handles(), handles_before);
    }

private:
    std::size_t handles_before = platform::live_handles();
};

AEDesc text_of(const std::string &text)
{
    AEDesc desc;
    EXPECT_EQ(AECreateDesc(text_type, text.data(), text.size(), &desc), noErr);
    return desc;
}

std::string bytes_of(const AEDesc &desc)
{
    std::string bytes(AEGetDescDataSize(&desc), '#');
    EXPECT_EQ(AEGetDescData(&desc, bytes.data(), bytes.size()), noErr);
    return bytes;
}

AEDesc list_of(const std::vector<std::string> &texts)
{
    AEDescList list;
    EXPECT_EQ(AECreateList(&list), noErr);
    for (const std::string &text : texts) {
        AEDesc item = text_of(text);
        EXPECT_EQ(AEPutDesc(&list, 0, &item), noErr);
        AEDisposeDesc(&item);
    }
    return list;
}

std::string item_of(const AEDescList &list, std::int32_t index)
{
    AEDesc item;
    AEKeyword keyword = 0;
    const OSErr error = AEGetNthDesc(&list, index, text_type, &keyword, &item);
    if (error != noErr)
        return "error " + std::to_string(error);
    EXPECT_EQ(keyword, typeWildCard);
    const std::string bytes = bytes_of(item);
    AEDisposeDesc(&item);
    return bytes;
}

} // namespace

TEST_F(Descriptors, HoldACopyOfTheirData)
{
    std::string data("a\0b", 3);
    AEDesc desc = text_of(data);
    data[0] = 'x';
    EXPECT_EQ(desc.descriptorType, text_type);
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
    EXPECT_EQ(AECreateDesc(text_type, nullptr, 0, &desc), noErr);
    EXPECT_EQ(AEGetDescDataSize(&desc), 0U);
    AEDisposeDesc(&desc);
}

TEST_F(Descriptors, WithoutMemoryThereIsNone)
{
    AEDesc desc;
    EXPECT_EQ(AECreateDesc(text_type, "x", static_cast<std::size_t>(-1), &desc), memFullErr);
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
    EXPECT_EQ(type, text_type);
    EXPECT_EQ(size, 5U);
    EXPECT_STREQ(buffer, "he#######");
    EXPECT_EQ(AEGetNthPtr(&list, 1, typeFSRef, nullptr, nullptr, buffer, 2, nullptr),
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
    ASSERT_EQ(AECoerceDesc(&list, text_type, &back), noErr);
    EXPECT_EQ(bytes_of(back), "x");
    AEDesc none;
    EXPECT_EQ(AECoerceDesc(&text, typeFSRef, &none), errAECoercionFail);
    EXPECT_EQ(none.dataHandle, nullptr);
    AEDescList two = list_of({"a", "b"});
    EXPECT_EQ(AECoerceDesc(&two, text_type, &none), errAECoercionFail);
    AEDisposeDesc(&text);
    AEDisposeDesc(&list);
    AEDisposeDesc(&back);
    AEDisposeDesc(&two);
}

TEST_F(Descriptors, WhatOnlyClaimsToBeAListIsNone)
{
    for (const std::string &bytes : {std::string("short"), std::string("TEXT\xFF\xFF\xFF\xFFx"),
                                     std::string("TEXT\0\0\0\2x", 9)}) {
        AEDesc desc;
        ASSERT_EQ(AECreateDesc(typeAEList, bytes.data(), bytes.size(), &desc), noErr);
        std::int32_t count = 9;
        EXPECT_EQ(AECountItems(&desc, &count), errAEWrongDataType);
        EXPECT_EQ(item_of(desc, 1), "error -1703");
        AEDesc result;
        EXPECT_EQ(AECoerceDesc(&desc, text_type, &result), errAEWrongDataType);
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
