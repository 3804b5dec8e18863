#include "platform/vo_memory.h"

#include <stdint.h>
#include <stdlib.h>

#include <new>

#include "platform/fault_points.h"

#if defined(__linux__)
#include <sys/mman.h>
#include <unistd.h>
#endif

namespace
{
// Asks for huge pages under a fresh block. A block of this size has its own mapping as a rule, and the advice is given
// for every page that it touches, the first and the last one with the neighbours' bytes in them too: leaving the edges
// out would split the mapping and cost its first and last huge page. It is advice only, so a refusal changes nothing.
void AdviseHugePages([[maybe_unused]] void* pBlock, [[maybe_unused]] size_t uSize)
{
#if defined(__linux__)
    const uintptr_t uPage = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
    const uintptr_t uBegin = reinterpret_cast<uintptr_t>(pBlock) & ~(uPage - 1);
    const uintptr_t uEnd = (reinterpret_cast<uintptr_t>(pBlock) + uSize + uPage - 1) & ~(uPage - 1);
    (void)madvise(reinterpret_cast<void*>(uBegin), uEnd - uBegin, MADV_HUGEPAGE);
#endif
}

// What the calls that throw do with a block of theirs, or none.
void* Allocated(void* pBlock, size_t uSize)
{
    if (pBlock == nullptr)
    {
        throw std::bad_alloc();
    }
    if (uSize >= kVOHugePageThreshold)
    {
        AdviseHugePages(pBlock, uSize);
    }
    return pBlock;
}
}  // namespace

void* VOTryAllocate(size_t uSize)
{
    return VO_FAULT_POINT("VOTryAllocate") ? nullptr : calloc(uSize != 0 ? uSize : 1, 1);
}

void* VOAllocateZeroed(size_t uSize)
{
    return Allocated(VO_FAULT_POINT("VOAllocateZeroed") ? nullptr : calloc(uSize != 0 ? uSize : 1, 1), uSize);
}

void* VOReallocate(void* pBlock, size_t uSize)
{
    return Allocated(VO_FAULT_POINT("VOReallocate") ? nullptr : realloc(pBlock, uSize), uSize);
}
