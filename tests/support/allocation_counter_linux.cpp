#include "support/allocation_counter.h"

#include <errno.h>
#include <stdlib.h>

#include "platform/sanitizers.h"

namespace
{
thread_local size_t s_uAllocations = 0;
thread_local size_t s_uCounters = 0;

// Runs inside the heap, also where a sanitizer isn't ready for it.
__attribute__((no_sanitize("thread"))) void CountOne()
{
    if (s_uCounters != 0)
    {
        ++s_uAllocations;
    }
}
}  // namespace

#if VO_ADDRESS_SANITIZER || VO_THREAD_SANITIZER

// The sanitizers bring their own heap, which tells about each block.
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*pfnMalloc)(const volatile void*, size_t),
                                                         void (*pfnFree)(const volatile void*));

namespace
{
__attribute__((no_sanitize("thread"))) void OnMalloc(const volatile void*, size_t)
{
    CountOne();
}

__attribute__((no_sanitize("thread"))) void OnFree(const volatile void*) {}

void InstallOnce()
{
    static const int s_nInstalled = __sanitizer_install_malloc_and_free_hooks(&OnMalloc, &OnFree);
    (void)s_nInstalled;
}
}  // namespace

#else

// The program's own malloc family, which glibc lets a program put in front of its own; operator new ends up here too.
extern "C"
{
    void* __libc_malloc(size_t uSize);
    void* __libc_calloc(size_t uCount, size_t uSize);
    void* __libc_realloc(void* pvBlock, size_t uSize);
    void* __libc_memalign(size_t uAlignment, size_t uSize);
    void __libc_free(void* pvBlock);

    __attribute__((visibility("default"))) void* malloc(size_t uSize)
    {
        CountOne();
        return __libc_malloc(uSize);
    }

    __attribute__((visibility("default"))) void* calloc(size_t uCount, size_t uSize)
    {
        CountOne();
        return __libc_calloc(uCount, uSize);
    }

    __attribute__((visibility("default"))) void* realloc(void* pvBlock, size_t uSize)
    {
        CountOne();
        return __libc_realloc(pvBlock, uSize);
    }

    __attribute__((visibility("default"))) void* aligned_alloc(size_t uAlignment, size_t uSize)
    {
        CountOne();
        return __libc_memalign(uAlignment, uSize);
    }

    __attribute__((visibility("default"))) void* memalign(size_t uAlignment, size_t uSize)
    {
        CountOne();
        return __libc_memalign(uAlignment, uSize);
    }

    __attribute__((visibility("default"))) int posix_memalign(void** ppvBlock, size_t uAlignment, size_t uSize)
    {
        CountOne();
        void* pvBlock = __libc_memalign(uAlignment, uSize);
        if (pvBlock == nullptr)
        {
            return ENOMEM;
        }
        *ppvBlock = pvBlock;
        return 0;
    }

    __attribute__((visibility("default"))) void free(void* pvBlock)
    {
        __libc_free(pvBlock);
    }
}

namespace
{
void InstallOnce() {}
}  // namespace

#endif

namespace votest
{
AllocationCounter::AllocationCounter()
{
    InstallOnce();
    ++s_uCounters;
    m_uBefore = s_uAllocations;
}

AllocationCounter::~AllocationCounter()
{
    --s_uCounters;
}

size_t AllocationCounter::Count() const
{
    return s_uAllocations - m_uBefore;
}
}  // namespace votest
