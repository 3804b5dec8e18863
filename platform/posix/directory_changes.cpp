#include "platform/posix/directory_changes.h"

#include <stdlib.h>
#include <sys/stat.h>

#include <fstream>
#include <new>

#include "platform/fault_points.h"
#include "platform/vo_owners.h"
#include "platform/vo_text.h"

// The calls that read directory changes.

namespace
{

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
    return HandleTable::Instance().Find<DirectoryObject>(hDirectory);
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
    const auto pEvent = HandleTable::Instance().Find<Event>(pOverlapped->hEvent);
    return pEvent ? pDirectory->Read(pBuffer, uLength, uFilter, pOverlapped, pEvent) : DWORD{ERROR_INVALID_HANDLE};
}
}  // namespace

HANDLE CreateFileW(const VOWCHAR* pszPath, DWORD /*uAccess*/, DWORD uShare, void* pSecurity, DWORD uDisposition,
                   DWORD uFlags, HANDLE hTemplate)
{
    const bool bValid = pszPath != nullptr && uShare == (FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE) &&
                        pSecurity == nullptr && uDisposition == OPEN_EXISTING &&
                        uFlags == (FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OVERLAPPED) && hTemplate == nullptr;
    if (!bValid || VO_FAULT_POINT("CreateFileW"))
    {
        return FailCall(bValid ? ERROR_NOT_ENOUGH_MEMORY : ERROR_INVALID_PARAMETER, INVALID_HANDLE_VALUE);
    }
    const std::shared_ptr<DirectoryObject> pDirectory = OpenForChanges(NativePathOf(pszPath));
    return pDirectory ? HandleTable::Instance().Add(pDirectory)
                      : FailCall(ErrorFromErrno(errno == ENOTDIR ? ENOENT : errno), INVALID_HANDLE_VALUE);
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
    return uError == ERROR_SUCCESS || FailCall(uError);
}

BOOL GetOverlappedResult(HANDLE hDirectory, OVERLAPPED* pOverlapped, DWORD* puBytes, BOOL bWait)
{
    const std::shared_ptr<DirectoryObject> pDirectory = FindDirectory(hDirectory);
    const DWORD uError =
        pDirectory ? pDirectory->Result(pOverlapped, puBytes, bWait != FALSE) : DWORD{ERROR_INVALID_HANDLE};
    return uError == ERROR_SUCCESS || FailCall(uError);
}

BOOL CancelIoEx(HANDLE hDirectory, OVERLAPPED* pOverlapped)
{
    const std::shared_ptr<DirectoryObject> pDirectory = FindDirectory(hDirectory);
    return pDirectory && (pDirectory->Cancel(pOverlapped) || FailCall(ERROR_NOT_FOUND));
}

BOOL PathIsDirectoryW(const VOWCHAR* pszPath)
{
    struct stat info;
    return pszPath != nullptr && stat(NativePathOf(pszPath).c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

// Which directories of a tree the process watches, as the system itself tells it: so it holds for every copy of this
// layer in the process.

namespace
{
// The numbers of all directories that an inotify descriptor of this process watches: lines "inotify wd:1 ino:9e7e ...",
// in hexadecimal.
bool ListWatched(std::set<uint64_t>* psetInodes)
{
    const auto fnEntry = [psetInodes](int, const dirent& entry)
    {
        std::ifstream file(std::string("/proc/self/fdinfo/") + entry.d_name);
        for (std::string strLine; std::getline(file, strLine);)
        {
            const size_t uAt = strLine.find(" ino:");
            if (strLine.starts_with("inotify ") && uAt != std::string::npos)
            {
                psetInodes->insert(strtoull(strLine.c_str() + uAt + 5, nullptr, 16));
            }
        }
    };
    return ForEachEntry(DirectoryStream(opendir("/proc/self/fdinfo"), closedir), fnEntry);
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
        Descriptor folder = OpenFolderBelow(root.Get(), strFolder);
        const auto fnEntry = [&](int nFolder, const dirent& entry)
        {
            FileTrace trace;
            if (ReadTrace(nFolder, entry.d_name, &trace) && trace.bFolder)
            {
                *puCount += setWatched.count(trace.uInode) == 0 ? 1 : 0;
                vecFolders.push_back(strFolder.empty() ? entry.d_name : strFolder + "/" + entry.d_name);
            }
        };
        // One that can't be opened has been counted, or is gone.
        if (folder.IsOpen() && !ForEachEntry(StreamOf(std::move(folder)), fnEntry))
        {
            return FailWith(pError, errno);
        }
    }
    return true;
}
