// The libraries that can be bound by name.
#include <iterator>
#include <string>

#include "platform/fault_points.h"
#include "platform/posix/debug_help.h"

namespace
{
struct Entry
{
    const char* pszName;
    FARPROC pfnProcedure;
};

template <typename Function>
FARPROC As(Function* pfnProcedure)
{
    return reinterpret_cast<FARPROC>(pfnProcedure);
}

struct Library
{
    const VOWCHAR* pszName;
    const Entry* pEntry;
    size_t uEntries;
};

const Entry s_akDebugHelp[] = {
    {"SymCleanup", As(VOPosixSymCleanup)},
    {"SymFunctionTableAccess64", As(VOPosixSymFunctionTableAccess64)},
    {"SymGetLineFromAddr64", As(VOPosixSymGetLineFromAddr64)},
    {"SymGetModuleBase64", As(VOPosixSymGetModuleBase64)},
    {"SymGetModuleInfo64", As(VOPosixSymGetModuleInfo64)},
    {"SymGetOptions", As(VOPosixSymGetOptions)},
    {"SymGetSymFromAddr64", As(VOPosixSymGetSymFromAddr64)},
    {"SymInitialize", As(VOPosixSymInitialize)},
    {"SymLoadModule64", As(VOPosixSymLoadModule64)},
    {"SymSetOptions", As(VOPosixSymSetOptions)},
    {"StackWalk64", As(VOPosixStackWalk64)},
    {"UnDecorateSymbolName", As(VOPosixUnDecorateSymbolName)},
    {"SymGetSearchPath", As(VOPosixSymGetSearchPath)},
};

const Entry s_akToolHelp[] = {
    {"CreateToolhelp32Snapshot", As(VOPosixModuleSnapshot)},
    {"Module32First", As(VOPosixModuleFirst)},
    {"Module32Next", As(VOPosixModuleNext)},
};

const Library s_akLibrary[] = {
    {VOTEXT("dbghelp.dll"), s_akDebugHelp, std::size(s_akDebugHelp)},
    {VOTEXT("kernel32.dll"), s_akToolHelp, std::size(s_akToolHelp)},
};
}  // namespace

HMODULE LoadLibraryW(const VOWCHAR* pszName)
{
    for (const Library& rkLibrary : s_akLibrary)
    {
        if (StrCmpW(rkLibrary.pszName, pszName) == 0 && !VO_FAULT_POINT("LoadLibraryW"))
        {
            return const_cast<Library*>(&rkLibrary);
        }
    }
    SetLastError(ERROR_MOD_NOT_FOUND);
    return nullptr;
}

HMODULE VOLoadLibraryByPath(const char* pszPath)
{
    const std::string strPath = pszPath;
    return LoadLibraryW(VOWString(strPath.begin(), strPath.end()).c_str());
}

BOOL FreeLibrary(HMODULE hModule)
{
    return hModule != nullptr;
}

FARPROC GetProcAddress(HMODULE hModule, const char* pszName)
{
    const Library* const pLibrary = static_cast<const Library*>(hModule);
    for (size_t i = 0; pLibrary != nullptr && i < pLibrary->uEntries; ++i)
    {
        if (strcmp(pLibrary->pEntry[i].pszName, pszName) == 0 && !VO_FAULT_POINT("GetProcAddress"))
        {
            return pLibrary->pEntry[i].pfnProcedure;
        }
    }
    SetLastError(ERROR_PROC_NOT_FOUND);
    return nullptr;
}
