#include <dirent.h>
#include <malloc.h>

#include <fstream>
#include <string>

#include "support/process_resources.h"

namespace votest
{
ProcessResources ResourcesOfThisProcess()
{
    ProcessResources kResources;
    if (DIR* const pDirectory = opendir("/proc/self/fd"))
    {
        while (readdir(pDirectory) != nullptr)
        {
            ++kResources.uHandles;
        }
        closedir(pDirectory);
    }
    std::ifstream kMaps("/proc/self/maps");
    for (std::string strLine; std::getline(kMaps, strLine);)
    {
        ++kResources.uMappings;
    }
    kResources.uHeapBytes = mallinfo2().uordblks;
    return kResources;
}
}  // namespace votest
