// Which directories of a tree the process watches, as the system itself tells it: so it holds for every copy of this
// layer in the process.
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <fstream>
#include <set>
#include <vector>

#include "platform/posix/folder_access.h"
#include "platform/posix/system_error.h"
#include "platform/vo_directory_watch.h"
#include "platform/vo_native_names.h"

namespace
{
// The numbers of all directories that an inotify descriptor of this process watches: lines "inotify wd:1 ino:9e7e ...",
// in hexadecimal.
bool ListWatched(std::set<uint64_t>* psetInodes)
{
    const Descriptor folder(open("/proc/self/fdinfo", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return folder.IsOpen() &&
           ForEachEntry(folder.Get(),
                        [&](const char* pszName)
                        {
                            std::ifstream file(std::string("/proc/self/fdinfo/") + pszName);
                            for (std::string strLine; std::getline(file, strLine);)
                            {
                                const size_t uAt = strLine.find(" ino:");
                                if (strLine.compare(0, 8, "inotify ") == 0 && uAt != std::string::npos)
                                {
                                    psetInodes->insert(strtoull(strLine.c_str() + uAt + 5, nullptr, 16));
                                }
                            }
                        });
}
}  // namespace

bool VOCountUnwatchedDirectories(const VOWString& strRoot, size_t* puCount, VOSystemError* pError)
{
    *puCount = 0;
    std::set<uint64_t> setWatched;
    if (!ListWatched(&setWatched))
    {
        return FailWith(pError, errno);
    }
    const Descriptor root(open(VOToNativePath(strRoot).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    struct stat info;
    if (!root.IsOpen() || fstat(root.Get(), &info) != 0)
    {
        return FailWith(pError, errno);
    }
    *puCount = setWatched.count(info.st_ino) == 0 ? 1 : 0;
    std::vector<std::string> vecFolders{""};
    while (!vecFolders.empty())
    {
        const std::string strFolder = vecFolders.back();
        vecFolders.pop_back();
        const Descriptor folder = OpenFolderBelow(root.Get(), strFolder);
        const auto fnEntry = [&](const char* pszName)
        {
            FileTrace trace;
            if (ReadTrace(folder.Get(), pszName, &trace) && trace.bFolder)
            {
                *puCount += setWatched.count(trace.uInode) == 0 ? 1 : 0;
                vecFolders.push_back(strFolder.empty() ? pszName : strFolder + "/" + pszName);
            }
        };
        // One that can't be opened has been counted, or is gone.
        if (folder.IsOpen() && !ForEachEntry(folder.Get(), fnEntry))
        {
            return FailWith(pError, errno);
        }
    }
    return true;
}
