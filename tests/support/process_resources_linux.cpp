#include <dirent.h>
#include <malloc.h>

#include <fstream>
#include <string>

#include "support/process_resources.h"

namespace votest
{
ProcessResources ResourcesOfThisProcess()
{
    ProcessResources resources;
    if (DIR* const pDirectory = opendir("/proc/self/fd"))
    {
        while (readdir(pDirectory) != nullptr)
        {
            ++resources.uHandles;
        }
        closedir(pDirectory);
    }
    std::ifstream maps("/proc/self/maps");
    for (std::string strLine; std::getline(maps, strLine);)
    {
        ++resources.uMappings;
    }
    resources.uHeapBytes = mallinfo2().uordblks;
    return resources;
}
}  // namespace votest
