#include "platform/core/drags.h"

#include "tests/support/temporary_folder.h"

#include <gtest/gtest.h>

#include <cstring>
#include <unistd.h>

using items = std::vector<std::string>;
using platform::items_of_uri_list;

// ---- what a file manager offers ----

TEST(UriLists, FilesOfThisMachineHavePaths)
{
    char own_name[256] = {};
    gethostname(own_name, sizeof own_name - 1);
    EXPECT_EQ(items_of_uri_list("file:///a.ps\r\n"), items{"/a.ps"});
    EXPECT_EQ(items_of_uri_list("file://localhost/a.ps"), items{"/a.ps"});
    EXPECT_EQ(items_of_uri_list(std::string("file://") + own_name + "/a.ps"), items{"/a.ps"});
    EXPECT_EQ(items_of_uri_list("FILE:/a.ps\n"), items{"/a.ps"});
    EXPECT_EQ(items_of_uri_list("file:///a.ps\r\nfile:///b.ps\r\n"), (items{"/a.ps", "/b.ps"}));
}

TEST(UriLists, NamesAreBytes)
{
    EXPECT_EQ(items_of_uri_list("file:///tmp/two%20words%23%25.ps"), items{"/tmp/two words#%.ps"});
    EXPECT_EQ(items_of_uri_list("file:///%C3%A4%ff.ps"), items{"/\xC3\xA4\xFF.ps"});
    EXPECT_EQ(items_of_uri_list("file:///\xC3\xA4 #?.ps\n"), items{"/\xC3\xA4 #?.ps"});
    EXPECT_EQ(items_of_uri_list("file:///new%0Aline%0D.ps\r\n"), items{"/new\nline\r.ps"});
}

TEST(UriLists, WhatIsElsewhereOrNoFileHasNone)
{
    for (const char *uri :
         {"file://elsewhere.example/a.ps", "file://localhost.example/a.ps", "http://x/a.ps",
          "sftp://localhost/a.ps", "mailto:a.ps", "file:a.ps", "file:", "file://",
          "file:///a%00.ps", "file:///a%zz.ps", "file:///a%2"})
        EXPECT_EQ(items_of_uri_list(uri), items{""}) << uri;
}

TEST(UriLists, CommentsAndWhatIsNoUriDoNotCount)
{
    EXPECT_EQ(items_of_uri_list("# file:///b.ps\r\n\r\nfile:///a.ps\r\n"), items{"/a.ps"});
    EXPECT_EQ(items_of_uri_list("file:///a.ps\nThe title of a page\n"), items{"/a.ps"});
    for (const char *list :
         {"", "\n", "\r\n\r\n", "/a.ps", "a.ps\n", ":", "1:x", "~/a.ps", "two words: a.ps"})
        EXPECT_EQ(items_of_uri_list(list), items()) << list;
    const std::string wide("f\0i\0l\0e\0:\0/\0/\0/\0a\0", 18);
    EXPECT_EQ(items_of_uri_list(wide), items());
}

// ---- a drag within its handlers ----

TEST(Drags, ItemsCountFromOne)
{
    OpaqueDrag drag;
    drag.items = {"/a", "/b"};
    std::uint16_t count = 0;
    EXPECT_EQ(CountDragItems(&drag, &count), noErr);
    EXPECT_EQ(count, 2);
    DragItemRef item = 0;
    EXPECT_EQ(GetDragItemReferenceNumber(&drag, 0, &item), badDragItemErr);
    EXPECT_EQ(GetDragItemReferenceNumber(&drag, 3, &item), badDragItemErr);
    EXPECT_EQ(GetDragItemReferenceNumber(&drag, 2, &item), noErr);
    std::uint32_t flags = 0;
    EXPECT_EQ(GetFlavorFlags(&drag, 0, kDragFlavorTypeHFS, &flags), badDragItemErr);
    EXPECT_EQ(GetFlavorFlags(&drag, 3, kDragFlavorTypeHFS, &flags), badDragItemErr);
}

TEST(Drags, AFileHasOneFlavor)
{
    const temporary_folder folder;
    OpaqueDrag drag;
    drag.items = {folder.write("a.ps", "%!PS\n"), folder / "missing", ""};
    std::uint32_t flags = 1;
    EXPECT_EQ(GetFlavorFlags(&drag, 1, kDragFlavorTypeHFS, &flags), noErr);
    EXPECT_EQ(flags, 0U);
    EXPECT_EQ(GetFlavorFlags(&drag, 1, four_chars("TEXT"), &flags), badDragFlavorErr);
    std::size_t size = 0;
    EXPECT_EQ(GetFlavorDataSize(&drag, 2, kDragFlavorTypeHFS, &size), badDragFlavorErr);
    EXPECT_EQ(GetFlavorDataSize(&drag, 3, kDragFlavorTypeHFS, &size), badDragFlavorErr);
    ASSERT_EQ(GetFlavorDataSize(&drag, 1, kDragFlavorTypeHFS, &size), noErr);
    EXPECT_EQ(size, sizeof(HFSFlavor));
    HFSFlavor file = {};
    ASSERT_EQ(GetFlavorData(&drag, 1, kDragFlavorTypeHFS, &file, &size, 0), noErr);
    std::string path;
    EXPECT_EQ(platform::path_of(file.fileSpec, &path), noErr);
    EXPECT_EQ(path, folder / "a.ps");

    HFSFlavor part = {};
    size = 4;
    ASSERT_EQ(
        GetFlavorData(&drag, 1, kDragFlavorTypeHFS, &part, &size, offsetof(HFSFlavor, fileSpec)),
        noErr);
    EXPECT_EQ(size, 4U);
    EXPECT_EQ(std::memcmp(&part, &file.fileSpec, 4), 0);
    ASSERT_EQ(GetFlavorData(&drag, 1, kDragFlavorTypeHFS, &part, &size, sizeof part + 1), noErr);
    EXPECT_EQ(size, 0U);
}

TEST(Drags, TheFinderInformationComesAlong)
{
    const temporary_folder folder;
    OpaqueDrag drag;
    drag.items = {folder.write("a.ps", "%!PS\n")};
    FSSpec spec = {};
    ASSERT_EQ(platform::specify(drag.items[0].c_str(), &spec), noErr);
    const FInfo info = {four_chars("TEXT"), four_chars("ttxt"), 0x4000, {0, 0}, 0};
    ASSERT_EQ(FSpSetFInfo(&spec, &info), noErr);
    FInfo kept = {};
    ASSERT_EQ(FSpGetFInfo(&spec, &kept), noErr); // not every file system keeps it
    HFSFlavor file = {};
    std::size_t size = sizeof file;
    ASSERT_EQ(GetFlavorData(&drag, 1, kDragFlavorTypeHFS, &file, &size, 0), noErr);
    EXPECT_EQ(file.fileType, kept.fdType);
    EXPECT_EQ(file.fileCreator, kept.fdCreator);
    EXPECT_EQ(file.fdFlags, kept.fdFlags);
}

TEST(Drags, ItTellsItsPlaceAndTheKeys)
{
    OpaqueDrag drag;
    drag.mouse = {12, -34};
    drag.modifiers = 0x0200;
    Point mouse = {};
    Point pinned = {};
    GetDragMouse(&drag, &mouse, &pinned);
    EXPECT_EQ(mouse.v, 12);
    EXPECT_EQ(mouse.h, -34);
    EXPECT_EQ(pinned.h, -34);
    std::int16_t now = 0;
    std::int16_t down = 1;
    std::int16_t up = 0;
    GetDragModifiers(&drag, &now, &down, &up);
    EXPECT_EQ(now, 0x0200);
    EXPECT_EQ(down, 0);
    EXPECT_EQ(up, 0x0200);
    std::uint32_t attributes = 0;
    GetDragAttributes(&drag, &attributes);
    EXPECT_EQ(attributes, kDragHasLeftSenderWindow);
}

// ---- handlers ----

namespace {

std::vector<int> told;

OSErr note_message(DragTrackingMessage message, WindowRef /*window*/, void *data, DragRef /*drag*/)
{
    told.push_back(message + *static_cast<int *>(data));
    return noErr;
}

OSErr note_drop(WindowRef /*window*/, void * /*data*/, DragRef /*drag*/)
{
    told.push_back(-1);
    return paramErr; // is of no consequence
}

} // namespace

TEST(Drags, HandlersAreForAllWindowsAndInstalledOnce)
{
    int offset = 100;
    OpaqueDrag drag;
    auto *const one = reinterpret_cast<WindowRef>(&offset);
    EXPECT_EQ(InstallTrackingHandler(note_message, one, &offset), paramErr);
    EXPECT_EQ(InstallTrackingHandler(nullptr, nullptr, &offset), paramErr);
    EXPECT_EQ(InstallTrackingHandler(NewDragTrackingHandlerUPP(note_message), nullptr, &offset),
              noErr);
    EXPECT_EQ(InstallTrackingHandler(note_message, nullptr, &offset), duplicateHandlerErr);
    EXPECT_EQ(InstallReceiveHandler(note_drop, one, nullptr), paramErr);
    EXPECT_EQ(InstallReceiveHandler(NewDragReceiveHandlerUPP(note_drop), nullptr, nullptr), noErr);
    EXPECT_EQ(InstallReceiveHandler(note_drop, nullptr, nullptr), duplicateHandlerErr);
    platform::track_drag(kDragTrackingInWindow, nullptr, &drag);
    platform::receive_drop(nullptr, &drag);
    EXPECT_EQ(told, (std::vector<int>{103, -1}));
}
