// A handle is a small number in the shape of a pointer: the index of a record, or an offset in a pool. Its low 32 bits
// count.
#pragma once

#include <stdint.h>

inline unsigned int NumberOf(const void* hHandle)
{
    return static_cast<unsigned int>(reinterpret_cast<uintptr_t>(hHandle));
}

inline void* HandleOf(unsigned int uNumber)
{
    return reinterpret_cast<void*>(static_cast<uintptr_t>(uNumber));
}
