#include <fcntl.h>

#include <algorithm>
#include <memory>

#include "platform/fault_points.h"
#include "platform/vo_directories.h"
#include "platform/vo_platform.h"
#include "platform/vo_text.h"

namespace
{
// Fills *pError with a value of GetLastError. Always false.
bool FailWith(VOSystemError* pError, DWORD uError)
{
    wchar_t szText[256] = {};
    DWORD uLength = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, uError, 0,
                                   szText, static_cast<DWORD>(sizeof(szText) / sizeof(szText[0])), nullptr);
    while (uLength > 0 && (szText[uLength - 1] <= L' ' || szText[uLength - 1] == L'.'))
    {
        --uLength;  // the system ends its texts with a full stop and a new line
    }
    pError->nError = static_cast<int>(uError);
    pError->bGone = uError == ERROR_FILE_NOT_FOUND || uError == ERROR_PATH_NOT_FOUND || uError == ERROR_DIRECTORY ||
                    uError == ERROR_INVALID_NAME || uError == ERROR_INVALID_DRIVE;
    pError->strText = uLength > 0 ? VOToNativePath(VOWString(szText, uLength)) : "error " + std::to_string(uError);
    return false;
}
}  // namespace

bool VODirectoryKindOf(const VOWString& strPath, VODirectoryKind* peKind, VOSystemError* pError)
{
    wchar_t szVolume[MAX_PATH] = {};
    const DWORD uAttributes = GetFileAttributesW(strPath.c_str());
    if (uAttributes == INVALID_FILE_ATTRIBUTES || !GetVolumePathNameW(strPath.c_str(), szVolume, MAX_PATH))
    {
        return FailWith(pError, GetLastError());
    }
    *peKind = GetDriveTypeW(szVolume) == DRIVE_REMOTE ? VODirectoryKind::Remote : VODirectoryKind::Local;
    return true;
}

namespace
{
// What find-first reports of a file's attributes: read-only, hidden, system, directory, archive.
constexpr DWORD REPORTED_ATTRIBUTES = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM |
                                      FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_ARCHIVE;

struct CloseFind
{
    void operator()(void* hFind) const { FindClose(hFind); }
};
typedef std::unique_ptr<void, CloseFind> FindHandle;

// The nanoseconds behind the full second of a time.
uint32_t Fraction(const FILETIME& time)
{
    return static_cast<uint32_t>(((uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime) % 10000000) * 100;
}

// Seconds since 1970 of a time in units of 100 nanoseconds since 1601; earlier times round down as well.
int64_t UnixTime(const FILETIME& time)
{
    const int64_t nTicks = static_cast<int64_t>((uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime);
    const int64_t nSeconds = nTicks / 10000000 - (nTicks % 10000000 < 0 ? 1 : 0);
    return nSeconds - 11644473600;
}

void Describe(const WIN32_FIND_DATAW& found, VODirectoryEntry* pEntry)
{
    // Only tags that stand for another file are links; others belong to the file system's own services.
    const bool bReparse = (found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
    const bool bFolder = (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    pEntry->bLink = bReparse && IsReparseTagNameSurrogate(found.dwReserved0);
    pEntry->bFolder = bFolder && !pEntry->bLink;
    pEntry->strName = found.cFileName;
    pEntry->uAttribute = found.dwFileAttributes & REPORTED_ATTRIBUTES;
    pEntry->ullSize = bFolder ? 0 : (uint64_t{found.nFileSizeHigh} << 32) | found.nFileSizeLow;
    pEntry->nAccessTime = UnixTime(found.ftLastAccessTime);
    pEntry->nWriteTime = UnixTime(found.ftLastWriteTime);
    pEntry->uWriteFraction = Fraction(found.ftLastWriteTime);
    // A file system that keeps no creation time leaves it zero.
    const bool bCreated = found.ftCreationTime.dwHighDateTime != 0 || found.ftCreationTime.dwLowDateTime != 0;
    pEntry->nCreateTime = bCreated ? UnixTime(found.ftCreationTime) : pEntry->nWriteTime;
}

// The path as the system takes it at any length: absolute, with "\" and the prefix that lifts the limit. A path that
// the system can't make absolute is used as it is.
VOWString LongPath(VOWString strPath)
{
    std::replace(strPath.begin(), strPath.end(), L'/', L'\\');
    const DWORD uSize = strPath.rfind(L"\\\\?\\", 0) == 0 ? 0 : GetFullPathNameW(strPath.c_str(), 0, nullptr, nullptr);
    VOWString strWhole(uSize, L'\0');
    const DWORD uLength = uSize != 0 ? GetFullPathNameW(strPath.c_str(), uSize, strWhole.data(), nullptr) : 0;
    if (uLength == 0 || uLength >= uSize)
    {
        return strPath;
    }
    strWhole.resize(uLength);
    if (strWhole.rfind(L"\\\\", 0) == 0)
    {
        return L"\\\\?\\UNC" + strWhole.substr(1);
    }
    return L"\\\\?\\" + strWhole;
}

// The first match of a path without separators at its end, and what is to stand behind it; null with the last error
// set.
FindHandle FindFirst(const VOWString& strPath, const wchar_t* pszBehind, DWORD uFlags, WIN32_FIND_DATAW* pFound)
{
    VOWString strPattern = LongPath(strPath);
    strPattern.resize(strPattern.find_last_not_of(L'\\') + 1);
    strPattern += pszBehind;
    const HANDLE hFind =
        FindFirstFileExW(strPattern.c_str(), FindExInfoBasic, pFound, FindExSearchNameMatch, nullptr, uFlags);
    return FindHandle(hFind != INVALID_HANDLE_VALUE ? hFind : nullptr);
}
}  // namespace

bool VOListDirectory(const VOWString& strPath, std::vector<VODirectoryEntry>* pvecEntries, VOSystemError* pError)
{
    pvecEntries->clear();
    if (strPath.empty())
    {
        return FailWith(pError, ERROR_PATH_NOT_FOUND);
    }
    WIN32_FIND_DATAW found;
    const FindHandle find = FindFirst(strPath, L"\\*", FIND_FIRST_EX_LARGE_FETCH, &found);
    if (find == nullptr)
    {
        // The root of an empty drive has no entries at all, not even for itself.
        return GetLastError() == ERROR_FILE_NOT_FOUND || FailWith(pError, GetLastError());
    }
    std::vector<VODirectoryEntry> vecEntries;
    do
    {
        const std::wstring_view strName = found.cFileName;
        if (strName != L"." && strName != L"..")
        {
            Describe(found, &vecEntries.emplace_back());
        }
    } while (FindNextFileW(find.get(), &found) != FALSE);
    if (GetLastError() != ERROR_NO_MORE_FILES)
    {
        return FailWith(pError, GetLastError());
    }
    std::ranges::sort(vecEntries, {}, &VODirectoryEntry::strName);
    *pvecEntries = std::move(vecEntries);
    return true;
}

bool VODescribeFile(const VOWString& strPath, VODirectoryEntry* pEntry, VOSystemError* pError)
{
    if (strPath.empty() || strPath.find_first_of(L"*?") != VOWString::npos)
    {
        return FailWith(pError, ERROR_FILE_NOT_FOUND);
    }
    WIN32_FIND_DATAW found;
    const FindHandle find = FindFirst(strPath, L"", 0, &found);
    if (find == nullptr)
    {
        return FailWith(pError, GetLastError());
    }
    Describe(found, pEntry);
    return true;
}

bool VOCountUnwatchedDirectories(const VOWString& strRoot, size_t* puCount, VOSystemError* pError)
{
    *puCount = 0;
    return GetFileAttributesW(strRoot.c_str()) != INVALID_FILE_ATTRIBUTES || FailWith(pError, GetLastError());
}

// Files by narrow path: what the runtime's own functions leave out.

namespace
{
// The runtime's own append mode looks for the end and writes there, in two steps; a handle that can do nothing but
// append does it in one, so that writers don't overwrite each other.
FILE* OpenToAppend(const char* pszPath)
{
    const HANDLE hFile =
        CreateFileA(pszPath, FILE_APPEND_DATA | SYNCHRONIZE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                    nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (hFile == INVALID_HANDLE_VALUE)
    {
        errno = EACCES;
        return nullptr;
    }
    const int nFile = _open_osfhandle(reinterpret_cast<intptr_t>(hFile), _O_APPEND | _O_TEXT);
    if (nFile < 0)
    {
        CloseHandle(hFile);
        return nullptr;
    }
    FILE* const pFile = _fdopen(nFile, "at");
    if (pFile == nullptr)
    {
        _close(nFile);
    }
    return pFile;
}
}  // namespace

FILE* VOOpenFile(const char* pszPath, const char* pszMode)
{
    if (pszPath == nullptr || VO_FAULT_POINT("VOOpenFile"))
    {
        errno = EINVAL;
        return nullptr;
    }
    return pszMode[0] == 'a' ? OpenToAppend(pszPath) : fopen(pszPath, pszMode);
}

// A path that is whole begins with a drive, which nothing skips.
size_t VOPathRootLength(const char*)
{
    return 0;
}
