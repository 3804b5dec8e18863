// Memory of images and tables, and the processor's prefetch.
#pragma once

#include <stddef.h>

#if defined(__SSE2__) || defined(_M_X64)
#include <xmmintrin.h>
#endif

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

// Starts to load the cache line at an address that will be read soon. Any address may be given.
inline void VOPrefetch(const void* pAddress)
{
#if defined(__SSE2__) || defined(_M_X64)
    _mm_prefetch(static_cast<const char*>(pAddress), _MM_HINT_T0);
#elif defined(__GNUC__)
    __builtin_prefetch(pAddress);
#else
    (void)pAddress;
#endif
}
