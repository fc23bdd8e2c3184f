#include "platform/memory.h"

#include <cstring>
#include <gtest/gtest.h>

TEST(Handles, NewBlockHasItsSizeAndZeros)
{
    Handle handle = NewHandle(5);
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(MemError(), noErr);
    EXPECT_EQ(GetHandleSize(handle), 5U);
    EXPECT_EQ(std::memcmp(*handle, "\0\0\0\0\0", 5), 0);
    DisposeHandle(handle);
    EXPECT_EQ(MemError(), noErr);
}

TEST(Handles, EmptyBlockIsABlock)
{
    Handle handle = NewHandle(0);
    ASSERT_NE(handle, nullptr);
    EXPECT_NE(*handle, nullptr);
    EXPECT_EQ(GetHandleSize(handle), 0U);
    DisposeHandle(handle);
}

TEST(Handles, ResizingKeepsWhatFits)
{
    Handle handle = NewHandle(4);
    std::memcpy(*handle, "abcd", 4);
    SetHandleSize(handle, 100000);
    EXPECT_EQ(MemError(), noErr);
    EXPECT_EQ(GetHandleSize(handle), 100000U);
    EXPECT_EQ(std::memcmp(*handle, "abcd\0", 5), 0);
    EXPECT_EQ((*handle)[99999], 0);
    SetHandleSize(handle, 2);
    EXPECT_EQ(GetHandleSize(handle), 2U);
    EXPECT_EQ(std::memcmp(*handle, "ab", 2), 0);
    DisposeHandle(handle);
}

TEST(Handles, MoreThanThereIsIsRefused)
{
    EXPECT_EQ(NewHandle(std::size_t{1} << 40), nullptr);
    EXPECT_EQ(MemError(), memFullErr);
    Handle handle = NewHandle(3);
    std::memcpy(*handle, "abc", 3);
    SetHandleSize(handle, static_cast<std::size_t>(-1));
    EXPECT_EQ(MemError(), memFullErr);
    EXPECT_EQ(GetHandleSize(handle), 3U);
    EXPECT_EQ(std::memcmp(*handle, "abc", 3), 0);
    DisposeHandle(handle);
}

TEST(Handles, DisposedOneIsRecognised)
{
    const std::size_t before = platform::live_handles();
    Handle handle = NewHandle(1);
    EXPECT_TRUE(platform::is_live_handle(handle));
    EXPECT_EQ(platform::live_handles(), before + 1);
    DisposeHandle(handle);
    EXPECT_EQ(platform::live_handles(), before);
    EXPECT_FALSE(platform::is_live_handle(handle));

    // It must not be taken for one that was made since.
    Handle others[100];
    for (Handle &other : others)
        other = NewHandle(1);
    DisposeHandle(handle);
    EXPECT_EQ(MemError(), nilHandleErr);
    SetHandleSize(handle, 10);
    EXPECT_EQ(MemError(), nilHandleErr);
    EXPECT_EQ(GetHandleSize(handle), 0U);
    HLock(handle);
    EXPECT_EQ(MemError(), nilHandleErr);
    EXPECT_EQ(platform::live_handles(), before + 100);
    for (Handle other : others)
        DisposeHandle(other);
}

TEST(Handles, NullIsHarmless)
{
    DisposeHandle(nullptr);
    EXPECT_EQ(MemError(), nilHandleErr);
    EXPECT_EQ(GetHandleSize(nullptr), 0U);
    HUnlock(nullptr);
    EXPECT_EQ(MemError(), nilHandleErr);
}

TEST(Handles, MasterPointersAreUsedAgain)
{
    Handle first = NewHandle(1);
    DisposeHandle(first);
    bool again = false;
    for (int i = 0; i < 20000 && !again; ++i) {
        Handle next = NewHandle(1);
        again = next == first;
        DisposeHandle(next);
    }
    EXPECT_TRUE(again);
}
