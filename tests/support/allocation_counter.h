// Counts what the calling thread takes from the heap while an object lives: operator new, malloc, calloc, realloc and
// the aligned forms, wherever the call is made. Linux only.
#pragma once

#include <stddef.h>

namespace votest
{
class AllocationCounter
{
public:
    AllocationCounter();
    ~AllocationCounter();
    AllocationCounter(const AllocationCounter&) = delete;
    AllocationCounter& operator=(const AllocationCounter&) = delete;

    size_t Count() const;

private:
    size_t m_uBefore;
};
}  // namespace votest
