// What this process holds of the system, for tests that something doesn't grow.
#pragma once

#include <stddef.h>

namespace votest
{
struct ProcessResources
{
    size_t uHandles = 0;    // descriptors on Linux, handles on Windows
    size_t uMappings = 0;   // ranges of the address space that map something
    size_t uHeapBytes = 0;  // memory in use, where the allocator tells; otherwise 0
};
ProcessResources ResourcesOfThisProcess();
}  // namespace votest
