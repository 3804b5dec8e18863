// The program's own operator new and delete, which take the place of the runtime's.
#include "support/new_faults.h"

#include <stdlib.h>

#include <new>

namespace
{
thread_local unsigned s_uCallsLeft = 0;
thread_local bool s_bFired = false;

void* Allocate(size_t uSize)
{
    if (s_uCallsLeft != 0 && --s_uCallsLeft == 0)
    {
        s_bFired = true;
        return nullptr;
    }
    return malloc(uSize != 0 ? uSize : 1);
}

void* AllocateOrThrow(size_t uSize)
{
    void* pvBlock = Allocate(uSize);
    if (pvBlock == nullptr)
    {
        throw std::bad_alloc();
    }
    return pvBlock;
}
}  // namespace

void* operator new(size_t uSize)
{
    return AllocateOrThrow(uSize);
}

void* operator new[](size_t uSize)
{
    return AllocateOrThrow(uSize);
}

void* operator new(size_t uSize, const std::nothrow_t&) noexcept
{
    return Allocate(uSize);
}

void* operator new[](size_t uSize, const std::nothrow_t&) noexcept
{
    return Allocate(uSize);
}

void operator delete(void* pvBlock) noexcept
{
    free(pvBlock);
}

void operator delete[](void* pvBlock) noexcept
{
    free(pvBlock);
}

void operator delete(void* pvBlock, size_t) noexcept
{
    free(pvBlock);
}

void operator delete[](void* pvBlock, size_t) noexcept
{
    free(pvBlock);
}

namespace votest
{
void NewFaults::Arm(unsigned uNth)
{
    s_uCallsLeft = uNth;
    s_bFired = false;
}

void NewFaults::Disarm()
{
    s_uCallsLeft = 0;
}

bool NewFaults::Fired()
{
    return s_bFired;
}
}  // namespace votest
