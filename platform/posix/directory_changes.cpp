#include "platform/posix/directory_changes.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include <fstream>
#include <memory>
#include <new>
#include <set>
#include <vector>

#include "platform/fault_points.h"
#include "platform/posix/files.h"
#include "platform/posix/kernel.h"
#include "platform/vo_directories.h"
#include "platform/vo_owners.h"
#include "platform/vo_platform.h"
#include "platform/vo_text.h"

// The calls that read directory changes.

namespace
{
std::string NativePath(const VOWCHAR* pszPath)
{
    VOWString strPath(static_cast<size_t>(lstrlenW(pszPath)), 0);
    lstrcpyW(strPath.data(), pszPath);
    return VOToNativePath(strPath);
}

// Opens the path for a look: nothing stays open behind the handle before the first read. Null with errno set.
std::shared_ptr<DirectoryObject> OpenForChanges(const std::string& strPath)
{
    const std::unique_ptr<char, VOFreeBlock> pszAbsolute(realpath(strPath.c_str(), nullptr));
    if (pszAbsolute == nullptr)
    {
        return nullptr;
    }
    const std::string strAbsolute = pszAbsolute.get();
    const Descriptor descriptor(open(strAbsolute.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat info;
    if (!descriptor.IsOpen() || fstat(descriptor.Get(), &info) != 0)
    {
        return nullptr;
    }
    return std::make_shared<DirectoryObject>(strAbsolute, FileIdentity{info.st_dev, info.st_ino},
                                             S_ISDIR(info.st_mode));
}

std::shared_ptr<DirectoryObject> FindDirectory(HANDLE hDirectory)
{
    std::shared_ptr<DirectoryObject> pDirectory = HandleTable::Instance().Find<DirectoryObject>(hDirectory);
    if (!pDirectory)
    {
        SetLastError(ERROR_INVALID_HANDLE);
    }
    return pDirectory;
}

// 0, or an error value.
DWORD BeginRead(HANDLE hDirectory, bool bValid, void* pBuffer, DWORD uLength, DWORD uFilter, OVERLAPPED* pOverlapped)
{
    const std::shared_ptr<DirectoryObject> pDirectory = FindDirectory(hDirectory);
    if (!pDirectory)
    {
        return ERROR_INVALID_HANDLE;
    }
    if (!pDirectory->IsFolder() || !bValid)
    {
        return ERROR_INVALID_PARAMETER;
    }
    if (VO_FAULT_POINT("ReadDirectoryChangesW"))
    {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
    const std::shared_ptr<Event> pEvent = FindEvent(pOverlapped->hEvent);
    return pEvent ? pDirectory->Read(pBuffer, uLength, uFilter, pOverlapped, pEvent) : DWORD{ERROR_INVALID_HANDLE};
}
}  // namespace

HANDLE CreateFileW(const VOWCHAR* pszPath, DWORD /*uAccess*/, DWORD uShare, void* pSecurity, DWORD uDisposition,
                   DWORD uFlags, HANDLE hTemplate)
{
    const DWORD uShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    if (pszPath == nullptr || uShare != uShareAll || pSecurity != nullptr || uDisposition != OPEN_EXISTING ||
        uFlags != (FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OVERLAPPED) || hTemplate != nullptr)
    {
        SetLastError(ERROR_INVALID_PARAMETER);
        return INVALID_HANDLE_VALUE;
    }
    if (VO_FAULT_POINT("CreateFileW"))
    {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return INVALID_HANDLE_VALUE;
    }
    const std::shared_ptr<DirectoryObject> pDirectory = OpenForChanges(NativePath(pszPath));
    if (!pDirectory)
    {
        SetLastError(ErrorFromErrno(errno == ENOTDIR ? ENOENT : errno));
        return INVALID_HANDLE_VALUE;
    }
    return HandleTable::Instance().Add(pDirectory);
}

BOOL ReadDirectoryChangesW(HANDLE hDirectory, void* pBuffer, DWORD uLength, BOOL bSubtree, DWORD uFilter,
                           DWORD* /*puBytes*/, OVERLAPPED* pOverlapped, void* pfnRoutine)
{
    const DWORD uAll = FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_DIR_NAME | FILE_NOTIFY_CHANGE_LAST_WRITE;
    const bool bValid = pBuffer != nullptr && reinterpret_cast<uintptr_t>(pBuffer) % sizeof(DWORD) == 0 &&
                        bSubtree != FALSE && uFilter != 0 && (uFilter & ~uAll) == 0 && pOverlapped != nullptr &&
                        pfnRoutine == nullptr;
    DWORD uError = ERROR_NOT_ENOUGH_MEMORY;
    try
    {
        uError = BeginRead(hDirectory, bValid, pBuffer, uLength, uFilter, pOverlapped);
    }
    catch (const std::bad_alloc&)
    {
        // Nothing is pending then.
    }
    if (uError != ERROR_SUCCESS)
    {
        SetLastError(uError);
        return FALSE;
    }
    return TRUE;
}

BOOL GetOverlappedResult(HANDLE hDirectory, OVERLAPPED* pOverlapped, DWORD* puBytes, BOOL bWait)
{
    const std::shared_ptr<DirectoryObject> pDirectory = FindDirectory(hDirectory);
    if (!pDirectory)
    {
        return FALSE;
    }
    const DWORD uError = pDirectory->Result(pOverlapped, puBytes, bWait != FALSE);
    if (uError != ERROR_SUCCESS)
    {
        SetLastError(uError);
        return FALSE;
    }
    return TRUE;
}

BOOL CancelIoEx(HANDLE hDirectory, OVERLAPPED* pOverlapped)
{
    const std::shared_ptr<DirectoryObject> pDirectory = FindDirectory(hDirectory);
    if (!pDirectory)
    {
        return FALSE;
    }
    if (!pDirectory->Cancel(pOverlapped))
    {
        SetLastError(ERROR_NOT_FOUND);
        return FALSE;
    }
    return TRUE;
}

BOOL PathIsDirectoryW(const VOWCHAR* pszPath)
{
    struct stat info;
    return pszPath != nullptr && stat(NativePath(pszPath).c_str(), &info) == 0 && S_ISDIR(info.st_mode) ? TRUE : FALSE;
}

// Which directories of a tree the process watches, as the system itself tells it: so it holds for every copy of this
// layer in the process.

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
