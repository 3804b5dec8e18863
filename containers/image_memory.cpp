#include "internal/vo_bytes.h"
#include "platform/vo_memory.h"

void* VOAllocateImage(unsigned long long ullSize)
{
    return VOAllocateZeroed(static_cast<size_t>(ullSize));
}

void* VOReallocateImage(void* pvBlock, unsigned long long ullSize)
{
    return VOReallocate(pvBlock, static_cast<size_t>(ullSize));
}
