// Binding the debug help library, and the list of modules.
#include <string>
#include <vector>

#include "diagnostics/stack_walker_binding.h"

namespace
{

constexpr size_t kModuleRecordRoom = 4096;
constexpr size_t kModuleListSize = 8096;
constexpr int kFetchFileVersion = 8;
constexpr DWORD kMoreSymbolOptions = 0x210;  // load lines, fail critical errors

// What of a program's surroundings leads to another copy of the library than the system's.
HMODULE LoadFromDebuggingTools()
{
    char szProgram[kTextSize] = {};
    if (GetModuleFileNameA(nullptr, szProgram, sizeof(szProgram) - 1) == 0 ||
        VOFileExists((std::string(szProgram) + ".local").c_str()))
    {
        return nullptr;
    }
    for (const char* pszTools :
         {"\\Debugging Tools for Windows\\dbghelp.dll", "\\Debugging Tools for Windows 64-Bit\\dbghelp.dll"})
    {
        char szPath[kTextSize] = {};
        const DWORD uLength = GetEnvironmentVariableA("ProgramFiles", szPath, sizeof(szPath));
        if (uLength == 0 || uLength >= sizeof(szPath))
        {
            return nullptr;
        }
        const std::string strPath = std::string(szPath) + pszTools;
        const HMODULE hLibrary = VOFileExists(strPath.c_str()) ? VOLoadLibraryByPath(strPath.c_str()) : nullptr;
        if (hLibrary != nullptr)
        {
            return hLibrary;
        }
    }
    return nullptr;
}

typedef void (*Procedure)();

Procedure Bind(void* hLibrary, const char* pszName)
{
    return reinterpret_cast<Procedure>(
        reinterpret_cast<uintptr_t>(GetProcAddress(static_cast<HMODULE>(hLibrary), pszName)));
}

const char* ListedTypeText(int nType)
{
    // Value 7 has no name here, and value 9 has one, other than in the reports of frames: readers of reports know both
    // tables.
    static const char* const s_apszText[] = {"-nosymbols-", "COFF", "CV",        "PDB",     "-exported-",
                                             "-deferred-",  "SYM",  "-unknown-", "Virtual", "DIA"};
    return NameIn(s_apszText, nType, "-unknown-");
}

}  // namespace

StackWalkerInternal::StackWalkerInternal(StackWalker* pOwner, void* hProcess)
{
    PreInit(pOwner, hProcess);
}

StackWalkerInternal::~StackWalkerInternal() = default;

void StackWalkerInternal::PreInit(StackWalker* pOwner, void* hProcess)
{
    m_pOwner = pOwner;
    m_hDbgHelp = nullptr;
    m_hProcess = hProcess;
    m_pszSymPath = nullptr;
    for (Procedure* ppfnBound :
         {&m_pfnSymCleanup, &m_pfnSymFunctionTableAccess64, &m_pfnSymGetLineFromAddr64, &m_pfnSymGetModuleBase64,
          &m_pfnSymGetModuleInfo64, &m_pfnSymGetOptions, &m_pfnSymGetSymFromAddr64, &m_pfnSymInitialize,
          &m_pfnSymLoadModule64, &m_pfnSymSetOptions, &m_pfnStackWalk64, &m_pfnUnDecorateSymbolName,
          &m_pfnSymGetSearchPath})
    {
        *ppfnBound = nullptr;
    }
    m_pBinding.reset();
}

int StackWalkerInternal::Init(const char* pszSymPath)
{
    HMODULE hLibrary = m_pOwner != nullptr ? LoadFromDebuggingTools() : nullptr;
    if (m_pOwner != nullptr && hLibrary == nullptr)
    {
        hLibrary = LoadLibraryW(VOTEXT("dbghelp.dll"));
    }
    if (hLibrary == nullptr)
    {
        return 0;
    }
    m_hDbgHelp = hLibrary;

    const struct
    {
        Procedure* ppfnBound;
        const char* pszName;
        bool bRequired;
    } akFunction[] = {
        {&m_pfnSymCleanup, "SymCleanup", true},
        {&m_pfnSymFunctionTableAccess64, "SymFunctionTableAccess64", true},
        {&m_pfnSymGetLineFromAddr64, "SymGetLineFromAddr64", false},
        {&m_pfnSymGetModuleBase64, "SymGetModuleBase64", true},
        {&m_pfnSymGetModuleInfo64, "SymGetModuleInfo64", true},
        {&m_pfnSymGetOptions, "SymGetOptions", true},
        {&m_pfnSymGetSymFromAddr64, "SymGetSymFromAddr64", true},
        {&m_pfnSymInitialize, "SymInitialize", true},
        {&m_pfnSymLoadModule64, "SymLoadModule64", true},
        {&m_pfnSymSetOptions, "SymSetOptions", true},
        {&m_pfnStackWalk64, "StackWalk64", true},
        {&m_pfnUnDecorateSymbolName, "UnDecorateSymbolName", true},
        {&m_pfnSymGetSearchPath, "SymGetSearchPath", false},
    };
    bool bComplete = true;
    for (const auto& function : akFunction)
    {
        *function.ppfnBound = Bind(hLibrary, function.pszName);
        bComplete = bComplete && (*function.ppfnBound != nullptr || !function.bRequired);
    }
    if (!bComplete)
    {
        FreeLibrary(hLibrary);
        m_hDbgHelp = nullptr;
        m_pfnSymCleanup = nullptr;
        return 0;
    }

    m_pszSymPath = CopyBlock(pszSymPath);
    m_pBinding.reset(static_cast<void*>(this),
                     [hLibrary, hProcess = m_hProcess, pfnCleanup = m_pfnSymCleanup, pszPath = m_pszSymPath](void*)
                     {
                         ::Call<VOSymCleanup>(pfnCleanup)(hProcess);
                         FreeLibrary(hLibrary);
                         free(pszPath);
                     });
    if (!Call<VOSymInitialize>(m_pfnSymInitialize)(m_hProcess, m_pszSymPath, FALSE))
    {
        m_pOwner->OnDbgHelpErr("SymInitialize", GetLastError(), 0);
    }
    const DWORD uOptions = Call<VOSymGetOptions>(m_pfnSymGetOptions)() | kMoreSymbolOptions;
    const DWORD uSetOptions = Call<VOSymSetOptions>(m_pfnSymSetOptions)(uOptions);
    char szSearchPath[kTextSize] = {};
    if (m_pfnSymGetSearchPath != nullptr &&
        !Call<VOSymGetSearchPath>(m_pfnSymGetSearchPath)(m_hProcess, szSearchPath, sizeof(szSearchPath)))
    {
        m_pOwner->OnDbgHelpErr("SymGetSearchPath", GetLastError(), 0);
    }
    char szUserName[kTextSize] = {};
    DWORD uUserName = sizeof(szUserName);
    GetUserNameA(szUserName, &uUserName);
    m_pOwner->OnSymInit(szSearchPath, uSetOptions, szUserName);
    return 1;
}

int StackWalkerInternal::GetModuleInfo(void* hProcess, unsigned long long uAddress, IMAGEHLP_MODULE64_V2* pModule)
{
    // A library that lacked a function has been given back, and its other functions with it.
    if (m_hDbgHelp == nullptr || m_pfnSymGetModuleInfo64 == nullptr)
    {
        SetLastError(ERROR_DLL_INIT_FAILED);
        return 0;
    }
    // Newer libraries write more than the old record holds.
    const std::unique_ptr<void, VOFreeBlock> pRoom(VOTryAllocate(kModuleRecordRoom));
    if (pRoom == nullptr)
    {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return 0;
    }
    memset(pModule, 0, sizeof(*pModule));
    pModule->SizeOfStruct = sizeof(*pModule);
    memcpy(pRoom.get(), pModule, sizeof(*pModule));
    if (!Call<VOSymGetModuleInfo64>(m_pfnSymGetModuleInfo64)(hProcess, uAddress, pRoom.get()))
    {
        SetLastError(ERROR_DLL_INIT_FAILED);
        return 0;
    }
    memcpy(pModule, pRoom.get(), sizeof(*pModule));
    pModule->SizeOfStruct = sizeof(*pModule);
    return 1;
}

int StackWalkerInternal::LoadModules(void* hProcess, VOULONG dwProcessId)
{
    const bool bListed = m_pOwner != nullptr && m_hDbgHelp != nullptr &&
                         (GetModuleListTH32(hProcess, dwProcessId) != 0 || GetModuleListPSAPI(hProcess) != 0);
    return bListed ? 1 : 0;
}

int StackWalkerInternal::GetModuleListTH32(void* hProcess, VOULONG dwProcessId)
{
    int nModules = 0;
    for (const VOWCHAR* pszLibrary : {VOTEXT("kernel32.dll"), VOTEXT("tlhelp32.dll")})
    {
        const HMODULE hLibrary = LoadLibraryW(pszLibrary);
        if (hLibrary == nullptr)
        {
            continue;
        }
        const auto pfnSnapshot = Call<VOCreateToolhelp32Snapshot>(Bind(hLibrary, "CreateToolhelp32Snapshot"));
        const auto pfnFirst = Call<VOModule32Step>(Bind(hLibrary, "Module32First"));
        const auto pfnNext = Call<VOModule32Step>(Bind(hLibrary, "Module32Next"));
        if (pfnSnapshot == nullptr || pfnFirst == nullptr || pfnNext == nullptr)
        {
            FreeLibrary(hLibrary);
            continue;
        }
        const HANDLE hSnapshot = pfnSnapshot(kVOSnapshotModules, dwProcessId);
        if (hSnapshot != INVALID_HANDLE_VALUE)
        {
            VOModuleEntry entry = {};
            entry.uSize = sizeof(entry);
            for (BOOL bMore = pfnFirst(hSnapshot, &entry); bMore; bMore = pfnNext(hSnapshot, &entry))
            {
                LoadModule(hProcess, entry.szExePath, entry.szModule, reinterpret_cast<uintptr_t>(entry.pbBase),
                           entry.uBaseSize);
                ++nModules;
            }
            CloseHandle(hSnapshot);
        }
        FreeLibrary(hLibrary);
        break;
    }
    return nModules > 0 ? 1 : 0;
}

int StackWalkerInternal::GetModuleListPSAPI(void* hProcess)
{
    struct ModuleInfo
    {
        void* pvBase;
        DWORD uSize;
        void* pvEntryPoint;
    };
    typedef BOOL(VO_DEBUG_CALL * EnumModules)(HANDLE, HMODULE*, DWORD, DWORD*);
    typedef DWORD(VO_DEBUG_CALL * ModuleName)(HANDLE, HMODULE, char*, DWORD);
    typedef BOOL(VO_DEBUG_CALL * Information)(HANDLE, HMODULE, ModuleInfo*, DWORD);

    int nModules = 0;
    const HMODULE hLibrary = LoadLibraryW(VOTEXT("psapi.dll"));
    if (hLibrary == nullptr)
    {
        return 0;
    }
    const auto pfnEnum = Call<EnumModules>(Bind(hLibrary, "EnumProcessModules"));
    const auto pfnFile = Call<ModuleName>(Bind(hLibrary, "GetModuleFileNameExA"));
    const auto pfnBase = Call<ModuleName>(Bind(hLibrary, "GetModuleBaseNameA"));
    const auto pfnInformation = Call<Information>(Bind(hLibrary, "GetModuleInformation"));
    std::vector<HMODULE> vecModule(kModuleListSize / sizeof(HMODULE));
    DWORD uNeeded = 0;
    if (pfnEnum != nullptr && pfnFile != nullptr && pfnBase != nullptr && pfnInformation != nullptr &&
        pfnEnum(hProcess, vecModule.data(), kModuleListSize, &uNeeded) && uNeeded <= kModuleListSize)
    {
        vecModule.resize(uNeeded / sizeof(HMODULE));
        std::vector<char> vecFile(kModuleListSize);
        std::vector<char> vecName(kModuleListSize);
        for (const HMODULE hModule : vecModule)
        {
            ModuleInfo moduleInfo = {};
            vecFile[0] = vecName[0] = 0;
            pfnInformation(hProcess, hModule, &moduleInfo, sizeof(moduleInfo));
            pfnFile(hProcess, hModule, vecFile.data(), kModuleListSize);
            pfnBase(hProcess, hModule, vecName.data(), kModuleListSize);
            const DWORD uError = LoadModule(hProcess, vecFile.data(), vecName.data(),
                                            reinterpret_cast<uintptr_t>(moduleInfo.pvBase), moduleInfo.uSize);
            if (uError != ERROR_SUCCESS)
            {
                m_pOwner->OnDbgHelpErr("LoadModule", uError, 0);
            }
            ++nModules;
        }
    }
    FreeLibrary(hLibrary);
    return nModules > 0 ? 1 : 0;
}

VOULONG StackWalkerInternal::LoadModule(void* hProcess, const char* pszImage, const char* pszModule,
                                        unsigned long long uBase, VOULONG uSize)
{
    const std::unique_ptr<char, VOFreeBlock> pszImageCopy(CopyBlock(pszImage));
    const std::unique_ptr<char, VOFreeBlock> pszModuleCopy(CopyBlock(pszModule));
    VOULONG uResult = ERROR_SUCCESS;
    if (pszImageCopy == nullptr || pszModuleCopy == nullptr)
    {
        uResult = ERROR_NOT_ENOUGH_MEMORY;
    }
    else if (Call<VOSymLoadModule64>(m_pfnSymLoadModule64)(hProcess, nullptr, pszImageCopy.get(), pszModuleCopy.get(),
                                                           uBase, uSize) == 0)
    {
        uResult = GetLastError();
    }
    const unsigned long long ullVersion = (m_pOwner->m_nOptions & kFetchFileVersion) != 0 ? VOFileVersion(pszImage) : 0;
    IMAGEHLP_MODULE64_V2 loaded;
    const char* pszSymbolType = "-unknown-";
    const char* pszLoadedImage = "";
    if (GetModuleInfo(hProcess, uBase, &loaded) != 0)
    {
        pszSymbolType = ListedTypeText(loaded.SymType);
        loaded.LoadedImageName[sizeof(loaded.LoadedImageName) - 1] = 0;
        pszLoadedImage = loaded.LoadedImageName;
    }
    m_pOwner->OnLoadModule(pszImage, pszModule, uBase, uSize, uResult, pszSymbolType, pszLoadedImage, ullVersion);
    return uResult;
}
