// Access to values inside an image. An image sits at any byte offset, so what lies inside it is read and
// written by byte copies of the right width only; compilers turn these into plain moves.
#pragma once

#include <string.h>

#include <type_traits>
#if defined(__SSE2__) || defined(_M_X64)
#include <xmmintrin.h>
#endif

#include "../vo_types.h"

template <typename T>
inline T VOLoad(const void* pvFrom)
{
    static_assert(std::is_trivially_copyable_v<T>, "images hold flat values only");
    T value;
    memcpy(&value, pvFrom, sizeof(T));
    return value;
}

template <typename T>
inline void VOStore(void* pvTo, const T& kValue)
{
    static_assert(std::is_trivially_copyable_v<T>, "images hold flat values only");
    memcpy(pvTo, &kValue, sizeof(T));
}

// Starts to load the cache line at an address that will be read soon; any address may be given. It is called straight
// from a function with a result: a compiler takes one that does nothing else for useless, and drops the calls to it.
inline void VOPrefetch(const void* pvAddress)
{
#if defined(__SSE2__) || defined(_M_X64)
    _mm_prefetch(static_cast<const char*>(pvAddress), _MM_HINT_T0);
#else
    (void)pvAddress;
#endif
}

// The version text that begins an image: 8 bytes with its terminator, compared over all 8.
#define VO_IMAGE_VERSION_1_0 "ver.1.0"
#define VO_IMAGE_VERSION_1_1 "ver.1.1"

inline bool VOIsVersion(const char (&szVersion)[8], const char (&szWanted)[8])
{
    return memcmp(szVersion, szWanted, sizeof(szVersion)) == 0;
}

// A length that bounds nothing: the caller of SetAlloc vouches for the image.
inline constexpr unsigned long long kVOUnbounded = ~0ull;

// What is left of such a length behind so many bytes, which it has.
inline unsigned long long VOLimitBehind(unsigned long long ullLimit, unsigned long long ullBytes)
{
    return ullLimit == kVOUnbounded ? kVOUnbounded : ullLimit - ullBytes;
}

// What the size words of an image can say at most.
inline constexpr unsigned long long kVOMaxImageSize = 0xFFFFFFFFull;

// Zeroed memory from the global allocator, released with the runtime's free. Large blocks are asked for on
// huge pages where the system has them. Throws std::bad_alloc when there is none.
VOBASE_API void* VOAllocateImage(unsigned long long ullSize);

// Takes such a block, or a null pointer, to another size, keeping what it holds; what is new is not set. A large block
// grows without being copied. Throws std::bad_alloc, with the old block as it was.
VOBASE_API void* VOReallocateImage(void* pvBlock, unsigned long long ullSize);

// A new image, owned by the caller, of what writes itself without failing; an empty pointer when no size word could
// name it.
template <typename Alloc, typename Container>
Alloc* VOMakeImage(const Container& container)
{
    const unsigned long long ullSize = container.AllocSize();
    if (ullSize > kVOMaxImageSize)
    {
        return nullptr;
    }
    unsigned char* const pbAlloc = static_cast<unsigned char*>(VOAllocateImage(ullSize));
    container.WriteAlloc(pbAlloc);
    return reinterpret_cast<Alloc*>(pbAlloc);
}
