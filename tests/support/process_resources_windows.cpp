#include "support/process_resources.h"

#include "platform/vo_platform.h"

namespace votest
{
ProcessResources ResourcesOfThisProcess()
{
    ProcessResources kResources;
    DWORD uHandles = 0;
    GetProcessHandleCount(GetCurrentProcess(), &uHandles);
    kResources.uHandles = uHandles;
    MEMORY_BASIC_INFORMATION kInfo = {};
    for (const char* pAt = nullptr; VirtualQuery(pAt, &kInfo, sizeof(kInfo)) != 0;
         pAt = static_cast<const char*>(kInfo.BaseAddress) + kInfo.RegionSize)
    {
        kResources.uMappings += kInfo.Type == MEM_MAPPED && kInfo.BaseAddress == kInfo.AllocationBase ? 1 : 0;
    }
    return kResources;
}
}  // namespace votest
