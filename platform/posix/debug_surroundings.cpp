// What a process knows of itself and of its system, for the stack walker.
#include <pwd.h>
#include <stdlib.h>
#include <sys/uio.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <string>

#include "platform/fault_points.h"
#include "platform/posix/last_error.h"
#include "platform/vo_debug_help.h"

namespace
{
// Copies a text under the rules of the calls that say which size they need.
DWORD GiveText(const std::string& strText, char* pszBuffer, DWORD uSize)
{
    if (strText.size() + 1 > uSize)
    {
        return static_cast<DWORD>(strText.size() + 1);
    }
    memcpy(pszBuffer, strText.c_str(), strText.size() + 1);
    return static_cast<DWORD>(strText.size());
}

std::string LinkTarget(const char* pszPath)
{
    char szTarget[4096];
    const ssize_t nLength = readlink(pszPath, szTarget, sizeof(szTarget));
    return nLength > 0 ? std::string(szTarget, static_cast<size_t>(nLength)) : "";
}
}  // namespace

DWORD GetEnvironmentVariableA(const char* pszName, char* pszBuffer, DWORD uSize)
{
    const char* const pszValue = getenv(pszName);
    return pszValue != nullptr ? GiveText(pszValue, pszBuffer, uSize) : 0;
}

DWORD GetCurrentDirectoryA(DWORD uSize, char* pszBuffer)
{
    char szFolder[4096];
    return getcwd(szFolder, sizeof(szFolder)) != nullptr ? GiveText(szFolder, pszBuffer, uSize) : 0;
}

DWORD GetModuleFileNameA(HMODULE hModule, char* pszBuffer, DWORD uSize)
{
    const std::string strProgram = hModule == nullptr && uSize != 0 ? LinkTarget("/proc/self/exe") : "";
    if (strProgram.empty())
    {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    return GiveText(strProgram.substr(0, uSize - 1), pszBuffer, uSize);
}

BOOL GetUserNameA(char* pszBuffer, DWORD* puSize)
{
    struct passwd entry;
    struct passwd* pFound = nullptr;
    char szRoom[4096];
    const bool bKnown = getpwuid_r(geteuid(), &entry, szRoom, sizeof(szRoom), &pFound) == 0 && pFound != nullptr;
    const std::string strName = bKnown ? entry.pw_name : std::to_string(geteuid());
    const DWORD uLength = GiveText(strName, pszBuffer, *puSize);
    const BOOL bFits = uLength == strName.size();
    *puSize = bFits ? uLength + 1 : uLength;
    return bFits;
}

void OutputDebugStringA(const char* pszText)
{
    fputs(pszText, stderr);
}

BOOL ReadProcessMemory(HANDLE hProcess, const void* pAddress, void* pBuffer, SIZE_T uSize, SIZE_T* puRead)
{
    const intptr_t nProcess = reinterpret_cast<intptr_t>(hProcess);
    const struct iovec local = {pBuffer, uSize};
    const struct iovec remote = {const_cast<void*>(pAddress), uSize};
    const pid_t nId = nProcess == -1 ? getpid() : static_cast<pid_t>(nProcess);
    const ssize_t nRead = VO_FAULT_POINT("ReadProcessMemory") ? -1 : process_vm_readv(nId, &local, 1, &remote, 1, 0);
    const bool bWhole = nRead >= 0 && static_cast<size_t>(nRead) == uSize;
    if (puRead != nullptr)
    {
        *puRead = bWhole ? uSize : 0;
    }
    if (!bWhole)
    {
        SetLastError(nRead < 0 ? ErrorFromErrno(errno) : ERROR_INVALID_PARAMETER);
    }
    return bWhole;
}

unsigned long long VOFileVersion(const char* pszPath)
{
    char* const pszReal = realpath(pszPath, nullptr);
    const std::string strReal = pszReal != nullptr ? pszReal : "";
    free(pszReal);
    const size_t uMark = strReal.rfind(".so.");
    if (uMark == std::string::npos || strReal.find('/', uMark) != std::string::npos)
    {
        return 0;
    }
    unsigned long long ullVersion = 0;
    const char* pszAt = strReal.c_str() + uMark + strlen(".so");
    for (int nShift = 48; nShift >= 0 && *pszAt == '.'; nShift -= 16)
    {
        char* pszEnd = nullptr;
        ullVersion |= (strtoull(pszAt + 1, &pszEnd, 10) & 0xFFFF) << nShift;
        pszAt = pszEnd;
    }
    return ullVersion;
}

bool VOSystemVersion(VOSystemVersionInfo* pInfo)
{
    struct utsname system;
    if (VO_FAULT_POINT("uname") || uname(&system) != 0)
    {
        return false;
    }
    *pInfo = {};
    unsigned auPart[3] = {};
    (void)sscanf(system.release, "%u.%u.%u", &auPart[0], &auPart[1], &auPart[2]);
    pInfo->uMajor = auPart[0];
    pInfo->uMinor = auPart[1];
    pInfo->uBuild = auPart[2];
    snprintf(pInfo->szServicePack, sizeof(pInfo->szServicePack), "%s", system.release);
    pInfo->uProductType = 1;
    return true;
}
