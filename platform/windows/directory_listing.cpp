#include "platform/vo_directory_listing.h"

#include <algorithm>
#include <utility>

#include "platform/vo_native_names.h"
#include "platform/vo_platform.h"
#include "platform/windows/system_error.h"

namespace
{
// What find-first reports of a file's attributes: read-only, hidden, system, directory, archive.
constexpr DWORD REPORTED_ATTRIBUTES = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM |
                                      FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_ARCHIVE;

struct FindHandle
{
    explicit FindHandle(HANDLE hOpened) : hFind(hOpened) {}
    FindHandle(const FindHandle&) = delete;
    FindHandle& operator=(const FindHandle&) = delete;
    ~FindHandle()
    {
        if (hFind != INVALID_HANDLE_VALUE)
        {
            FindClose(hFind);
        }
    }

    HANDLE hFind;
};

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

bool IsDotEntry(const wchar_t* pszName)
{
    return pszName[0] == L'.' && (pszName[1] == 0 || (pszName[1] == L'.' && pszName[2] == 0));
}

void RemoveTrailingSeparators(VOWString& strPath)
{
    while (!strPath.empty() && strPath.back() == L'\\')
    {
        strPath.pop_back();
    }
}
}  // namespace

bool VOListDirectory(const VOWString& strPath, std::vector<VODirectoryEntry>* pvecEntries, VOSystemError* pError)
{
    pvecEntries->clear();
    if (strPath.empty())
    {
        return FailWith(pError, ERROR_PATH_NOT_FOUND);
    }
    VOWString strPattern = LongPath(strPath);
    RemoveTrailingSeparators(strPattern);
    strPattern += L"\\*";
    WIN32_FIND_DATAW found;
    const FindHandle find(FindFirstFileExW(strPattern.c_str(), FindExInfoBasic, &found, FindExSearchNameMatch, nullptr,
                                           FIND_FIRST_EX_LARGE_FETCH));
    if (find.hFind == INVALID_HANDLE_VALUE)
    {
        // The root of an empty drive has no entries at all, not even for itself.
        return GetLastError() == ERROR_FILE_NOT_FOUND || FailWith(pError, GetLastError());
    }
    std::vector<VODirectoryEntry> vecEntries;
    do
    {
        if (!IsDotEntry(found.cFileName))
        {
            VODirectoryEntry entry;
            Describe(found, &entry);
            vecEntries.push_back(std::move(entry));
        }
    } while (FindNextFileW(find.hFind, &found) != FALSE);
    if (GetLastError() != ERROR_NO_MORE_FILES)
    {
        return FailWith(pError, GetLastError());
    }
    std::sort(vecEntries.begin(), vecEntries.end(),
              [](const VODirectoryEntry& first, const VODirectoryEntry& second)
              { return first.strName < second.strName; });
    *pvecEntries = std::move(vecEntries);
    return true;
}

bool VODescribeFile(const VOWString& strPath, VODirectoryEntry* pEntry, VOSystemError* pError)
{
    if (strPath.empty() || strPath.find_first_of(L"*?") != VOWString::npos)
    {
        return FailWith(pError, ERROR_FILE_NOT_FOUND);
    }
    VOWString strWhole = LongPath(strPath);
    RemoveTrailingSeparators(strWhole);
    WIN32_FIND_DATAW found;
    const FindHandle find(
        FindFirstFileExW(strWhole.c_str(), FindExInfoBasic, &found, FindExSearchNameMatch, nullptr, 0));
    if (find.hFind == INVALID_HANDLE_VALUE)
    {
        return FailWith(pError, GetLastError());
    }
    Describe(found, pEntry);
    return true;
}
