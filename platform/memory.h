// The Memory Manager: relocatable blocks behind handles. A handle points to a master pointer, so
// *handle is the block; a handle that is no longer alive is recognised and left alone.
#ifndef PAPERMILL_PLATFORM_MEMORY_H
#define PAPERMILL_PLATFORM_MEMORY_H

#include "platform/types.h"

#include <cstddef>

void MoreMasters(); // reserves master pointers; nothing to do here

// A new block of `size` bytes, owned by the caller until DisposeHandle, or by a resource file once
// it is added to one. Null, and MemError memFullErr, when there is no memory.
Handle NewHandle(std::size_t size);

// Frees the block. Harmless for null and for a handle that is already gone, as the handles of a
// closed resource file are.
void DisposeHandle(Handle handle);

std::size_t GetHandleSize(Handle handle); // bytes; 0 for a handle that is none

// Resizes the block, keeping what fits; *handle may change. The result is MemError's.
void SetHandleSize(Handle handle, std::size_t size);

void HLock(Handle handle);   // blocks do not move by themselves here:
void HUnlock(Handle handle); // both only check the handle, for MemError

OSErr MemError(); // the result of the last operation of this manager

namespace platform {
bool is_live_handle(Handle handle); // made by NewHandle and not disposed of since
std::size_t live_handles();         // how many there are; leak tests count them
} // namespace platform

#endif
