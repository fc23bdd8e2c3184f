#include "tests/support/descriptors.h"

#include "platform/files.h"

static std::string told(OSErr error)
{
    return "error " + std::to_string(error);
}

descriptor_test::~descriptor_test()
{
    EXPECT_EQ(platform::live_handles(), handles_before);
}

AEDesc text_of(const std::string &text)
{
    AEDesc desc;
    EXPECT_EQ(AECreateDesc(typeChar, text.data(), text.size(), &desc), noErr);
    return desc;
}

AEDescList list_of(const std::vector<std::string> &texts)
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

std::string bytes_of(const AEDesc &desc)
{
    std::string bytes(AEGetDescDataSize(&desc), '#');
    EXPECT_EQ(AEGetDescData(&desc, bytes.data(), bytes.size()), noErr);
    return bytes;
}

std::string item_of(const AEDescList &list, std::int32_t index)
{
    AEDesc item;
    AEKeyword keyword = 0;
    const OSErr error = AEGetNthDesc(&list, index, typeChar, &keyword, &item);
    if (error != noErr)
        return told(error);
    EXPECT_EQ(keyword, typeWildCard);
    const std::string bytes = bytes_of(item);
    AEDisposeDesc(&item);
    return bytes;
}

std::string path_as(DescType type, const AEDesc &desc)
{
    AEDesc coerced;
    OSErr error = AECoerceDesc(&desc, type, &coerced);
    if (error != noErr)
        return told(error);
    FSRef ref = {};
    FSSpec spec = {};
    std::string path;
    if (type == typeFSRef) {
        EXPECT_EQ(AEGetDescDataSize(&coerced), sizeof ref);
        AEGetDescData(&coerced, &ref, sizeof ref);
        error = platform::path_of(ref, &path);
    } else {
        EXPECT_EQ(AEGetDescDataSize(&coerced), sizeof spec);
        AEGetDescData(&coerced, &spec, sizeof spec);
        error = platform::path_of(spec, &path);
    }
    EXPECT_EQ(error, noErr);
    AEDisposeDesc(&coerced);
    return path;
}
