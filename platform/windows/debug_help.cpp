// What the stack walker needs of Windows beside the debug help library.
#include "platform/vo_debug_help.h"

#include <vector>

bool VOIsCallingThread(HANDLE hThread)
{
    return hThread == GetCurrentThread();
}

HMODULE VOLoadLibraryByPath(const char* pszPath)
{
    return LoadLibraryA(pszPath);
}

DWORD VOSuspendThread(HANDLE hThread)
{
    return SuspendThread(hThread);
}

bool VOGetThreadContext(HANDLE hThread, CONTEXT* pContext)
{
    return GetThreadContext(hThread, pContext) != FALSE;
}

DWORD VOResumeThread(HANDLE hThread)
{
    return ResumeThread(hThread);
}

void VOContextOfFault(const void* pvSystemContext, CONTEXT* pContext)
{
    *pContext = *static_cast<const CONTEXT*>(pvSystemContext);
}

unsigned long long VOFileVersion(const char* pszPath)
{
    typedef DWORD(WINAPI * InfoSize)(const char*, DWORD*);
    typedef BOOL(WINAPI * Info)(const char*, DWORD, DWORD, void*);
    typedef BOOL(WINAPI * Query)(const void*, const char*, void**, UINT*);

    unsigned long long ullVersion = 0;
    const HMODULE hLibrary = LoadLibraryW(L"version.dll");
    if (hLibrary == nullptr)
    {
        return 0;
    }
    const auto Bind = [hLibrary](const char* pszName)
    { return reinterpret_cast<uintptr_t>(GetProcAddress(hLibrary, pszName)); };
    const InfoSize pfnSize = reinterpret_cast<InfoSize>(Bind("GetFileVersionInfoSizeA"));
    const Info pfnInfo = reinterpret_cast<Info>(Bind("GetFileVersionInfoA"));
    const Query pfnQuery = reinterpret_cast<Query>(Bind("VerQueryValueA"));
    DWORD uUnused = 0;
    const DWORD uSize = pfnSize != nullptr ? pfnSize(pszPath, &uUnused) : 0;
    std::vector<char> vecInfo(uSize);
    void* pvFixed = nullptr;
    UINT uFixed = 0;
    if (uSize != 0 && pfnInfo != nullptr && pfnQuery != nullptr && pfnInfo(pszPath, 0, uSize, vecInfo.data()) &&
        pfnQuery(vecInfo.data(), "\\", &pvFixed, &uFixed) && uFixed >= sizeof(VS_FIXEDFILEINFO))
    {
        const VS_FIXEDFILEINFO* const pFixed = static_cast<const VS_FIXEDFILEINFO*>(pvFixed);
        ullVersion = static_cast<unsigned long long>(pFixed->dwFileVersionMS) << 32 | pFixed->dwFileVersionLS;
    }
    FreeLibrary(hLibrary);
    return ullVersion;
}

bool VOSystemVersion(VOSystemVersionInfo* pInfo)
{
    OSVERSIONINFOEXA version = {};
    version.dwOSVersionInfoSize = sizeof(version);
#if defined(_MSC_VER)
#pragma warning(suppress : 4996)  // The version that a program is shown is the one wanted.
#endif
    if (!GetVersionExA(reinterpret_cast<OSVERSIONINFOA*>(&version)))
    {
        return false;
    }
    *pInfo = {};
    pInfo->uMajor = version.dwMajorVersion;
    pInfo->uMinor = version.dwMinorVersion;
    pInfo->uBuild = version.dwBuildNumber;
    static_assert(sizeof(pInfo->szServicePack) == sizeof(version.szCSDVersion));
    memcpy(pInfo->szServicePack, version.szCSDVersion, sizeof(pInfo->szServicePack));
    pInfo->uSuiteMask = version.wSuiteMask;
    pInfo->uProductType = version.wProductType;
    return true;
}
