#include "platform/memory.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <unordered_set>

namespace {

// A master pointer, the size of its block, and the room that the block has. The block comes first:
// a handle is the address of all.
struct master {
    Ptr block;
    std::size_t size;
    std::size_t room;
};

// Handles are told apart by address alone, so a disposed one's master pointer is not used again
// before this many others: a stale handle stays recognisable for that long.
constexpr std::size_t resting_masters = 4096;

// The sizes of the original are signed 32-bit numbers.
constexpr std::size_t largest_block = 0x7FFFFFFF;

struct registry {
    std::deque<master> masters; // never shrinks, so that addresses stay
    std::deque<master *> disposed;
    std::unordered_set<Handle> live;
};

OSErr mem_error;

registry &handles()
{
    static registry &instance = *new registry; // outlives every static that disposes of a handle
    return instance;
}

master *master_of(Handle handle)
{
    return reinterpret_cast<master *>(handle);
}

bool check(Handle handle)
{
    mem_error = platform::is_live_handle(handle) ? noErr : nilHandleErr;
    return mem_error == noErr;
}

// Gives the block room for `size` bytes. A block that grows gets half as much again: what is made
// by appending to it is copied a few times, not with every piece.
bool make_room(master *resized, std::size_t size)
{
    if (size > resized->size && size <= resized->room)
        return true;
    const std::size_t room =
        size > resized->size ? std::max(size, resized->room + resized->room / 2) : size;
    void *block = std::realloc(resized->block, std::max<std::size_t>(room, 1));
    if (block == nullptr)
        return false;
    resized->block = static_cast<Ptr>(block);
    resized->room = room;
    return true;
}

} // namespace

void MoreMasters() {}

Handle NewHandle(std::size_t size)
{
    mem_error = memFullErr;
    if (size > largest_block)
        return nullptr;
    Ptr block = static_cast<Ptr>(std::calloc(1, std::max<std::size_t>(size, 1)));
    if (block == nullptr)
        return nullptr;

    registry &all = handles();
    master *chosen = nullptr;
    if (all.disposed.size() > resting_masters) {
        chosen = all.disposed.front();
        all.disposed.pop_front();
    } else {
        chosen = &all.masters.emplace_back();
    }
    *chosen = {block, size, size};
    Handle handle = &chosen->block;
    all.live.insert(handle);
    mem_error = noErr;
    return handle;
}

void DisposeHandle(Handle handle)
{
    if (!check(handle))
        return;
    master *disposed = master_of(handle);
    std::free(disposed->block);
    *disposed = {nullptr, 0, 0};
    handles().live.erase(handle);
    handles().disposed.push_back(disposed);
}

std::size_t GetHandleSize(Handle handle)
{
    return check(handle) ? master_of(handle)->size : 0;
}

void SetHandleSize(Handle handle, std::size_t size)
{
    if (!check(handle))
        return;
    master *resized = master_of(handle);
    if (size > largest_block || !make_room(resized, size)) {
        mem_error = memFullErr;
        return;
    }
    if (size > resized->size)
        std::memset(resized->block + resized->size, 0, size - resized->size);
    resized->size = size;
}

void HLock(Handle handle)
{
    check(handle);
}

void HUnlock(Handle handle)
{
    check(handle);
}

OSErr MemError()
{
    return mem_error;
}

bool platform::is_live_handle(Handle handle)
{
    return handles().live.count(handle) != 0;
}

std::size_t platform::live_handles()
{
    return handles().live.size();
}
