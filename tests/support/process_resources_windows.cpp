#include "support/process_resources.h"

#include "platform/vo_platform.h"

namespace votest
{
ProcessResources ResourcesOfThisProcess()
{
    ProcessResources resources;
    DWORD uHandles = 0;
    GetProcessHandleCount(GetCurrentProcess(), &uHandles);
    resources.uHandles = uHandles;
    MEMORY_BASIC_INFORMATION about = {};
    for (const char* pAt = nullptr; VirtualQuery(pAt, &about, sizeof(about)) != 0;
         pAt = static_cast<const char*>(about.BaseAddress) + about.RegionSize)
    {
        resources.uMappings += about.Type == MEM_MAPPED && about.BaseAddress == about.AllocationBase ? 1 : 0;
    }
    return resources;
}
}  // namespace votest
