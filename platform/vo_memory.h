// Memory of images and tables.
#pragma once

#include <stddef.h>

// Allocates uSize bytes, all zero. The caller owns them and releases them with the runtime's free(). Throws
// std::bad_alloc when there is no memory. A size of 0 gives a block that can be freed and not touched.
//
// Blocks of kVOHugePageThreshold bytes and more are put on huge pages where the system has them: an index is read at
// random, and with small pages most of its lookups would miss the processor's address cache.
void* VOAllocateZeroed(size_t uSize);

// The same without the exception: null when there is no memory.
void* VOTryAllocate(size_t uSize);

// Takes a block of VOAllocateZeroed, or a null pointer, to uSize bytes, which isn't 0. What it holds up to the smaller
// of both sizes stays; what is new is not set. The old block is gone. Throws std::bad_alloc, with the old block as it
// was.
void* VOReallocate(void* pBlock, size_t uSize);

constexpr size_t kVOHugePageThreshold = 4u << 20;
