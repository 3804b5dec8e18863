// The walk itself, and the search path of the symbols.
#include <string>

#include "diagnostics/stack_walker_binding.h"
#include "platform/vo_process.h"

namespace
{

constexpr int kBuildSearchPath = 16;
constexpr int kAllOptions = 63;
constexpr size_t kSearchPathSize = 4096;
constexpr DWORD kContextFlags = 0x10000B;
constexpr DWORD kMachineX64 = 0x8664;
constexpr DWORD kNameOnly = 0x1000;
constexpr size_t kSymbolRecordSize = sizeof(VODebugSymbol) + kTextSize;  // 1,056
constexpr const char* kSymbolServer = "https://msdl.microsoft.com/download/symbols";

// A text of the system's, however long. fnGive writes it to a buffer and says how long it is, or would be.
template <typename Give>
std::string SystemText(Give fnGive)
{
    std::string strText(kTextSize, 0);
    for (;;)
    {
        const size_t uLength = fnGive(strText.data(), static_cast<DWORD>(strText.size()));
        if (uLength < strText.size())
        {
            strText.resize(uLength);
            return strText;
        }
        strText.assign(uLength + 1, 0);
    }
}

std::string Environment(const char* pszName)
{
    return SystemText([pszName](char* pchTo, DWORD uSize) { return GetEnvironmentVariableA(pszName, pchTo, uSize); });
}

std::string CurrentFolder()
{
    return SystemText([](char* pchTo, DWORD uSize) { return GetCurrentDirectoryA(uSize, pchTo); });
}

// The folder of the program, without a slash at its end; "" when it isn't known.
std::string ProgramFolder()
{
    // This call cuts, and says so by giving the whole size.
    const std::string strProgram = SystemText(
        [](char* pchTo, DWORD uSize)
        {
            const DWORD uLength = GetModuleFileNameA(nullptr, pchTo, uSize);
            return uLength + 1 < uSize ? uLength : uLength * 2;
        });
    const size_t uCut = strProgram.find_last_of("/\\:");
    return uCut != std::string::npos ? strProgram.substr(0, uCut) : "";
}

const char* WalkedTypeText(int nType)
{
    static const char* const s_apszText[] = {"-nosymbols-", "COFF", "CV",  "PDB",    "-exported-",
                                             "-deferred-",  "SYM",  "DIA", "Virtual"};
    return NameIn(s_apszText, nType, nullptr);
}

}  // namespace

StackWalker::ReadMemoryFunction StackWalker::ms_pfnReadMemory = nullptr;
void* StackWalker::ms_pReadMemoryUserData = nullptr;

VOULONG VOLastError()
{
    return GetLastError();
}

VOULONG StackWalker::CurrentProcessId()
{
    return VOProcessId();
}

StackWalker::StackWalker(int nOptions, const char* pszSymPath, VOULONG dwProcessId, void* hProcess)
    : m_nSummaryFrames(0),
      m_szSummary(),
      m_bNoFrameKept(0),
      m_szFirstSourceFile(),
      m_bD3D11Translate(0),
      m_Internal(this, hProcess),
      m_hProcess(hProcess),
      m_dwProcessId(dwProcessId),
      m_bModulesLoaded(0),
      m_pszSymPath(nullptr),
      m_nOptions(nOptions),
      m_pSymPathOwner(CopyBlock(pszSymPath), VOFreeBlock())
{
    if (pszSymPath != nullptr)
    {
        m_pszSymPath = m_pSymPathOwner.get();
        m_nOptions |= kBuildSearchPath;
    }
}

StackWalker::StackWalker(VOULONG dwProcessId, void* hProcess) : StackWalker(kAllOptions, nullptr, dwProcessId, hProcess)
{
}

StackWalker::~StackWalker() = default;

StackWalker::StackWalker(const StackWalker& rkOther) : StackWalker(rkOther.m_nOptions, nullptr, rkOther.m_dwProcessId)
{
    *this = rkOther;
}

StackWalker& StackWalker::operator=(const StackWalker& rkOther)
{
    m_nSummaryFrames = rkOther.m_nSummaryFrames;
    memcpy(m_szSummary, rkOther.m_szSummary, sizeof(m_szSummary));
    m_bNoFrameKept = rkOther.m_bNoFrameKept;
    memcpy(m_szFirstSourceFile, rkOther.m_szFirstSourceFile, sizeof(m_szFirstSourceFile));
    m_bD3D11Translate = rkOther.m_bD3D11Translate;
    m_Internal = rkOther.m_Internal;
    // Its reports go to the object that it is a part of.
    m_Internal.m_pOwner = this;
    m_hProcess = rkOther.m_hProcess;
    m_dwProcessId = rkOther.m_dwProcessId;
    m_bModulesLoaded = rkOther.m_bModulesLoaded;
    m_pSymPathOwner = rkOther.m_pSymPathOwner;
    m_pszSymPath = rkOther.m_pszSymPath;
    m_nOptions = rkOther.m_nOptions;
    return *this;
}

// Each part ends with ";". Empty when memory runs out.
std::shared_ptr<char> StackWalker::BuildSearchPath() const
{
    std::shared_ptr<char> pszPath(static_cast<char*>(VOTryAllocate(kSearchPathSize)), VOFreeBlock());
    if (pszPath == nullptr)
    {
        return nullptr;
    }
    const auto Append = [&pszPath](const std::string& strPart)
    {
        const size_t uLength = strlen(pszPath.get());
        if (!strPart.empty() && uLength + strPart.size() + 2 <= kSearchPathSize)
        {
            memcpy(pszPath.get() + uLength, strPart.c_str(), strPart.size());
            memcpy(pszPath.get() + uLength + strPart.size(), ";", 2);
        }
    };
    Append(m_pszSymPath != nullptr ? m_pszSymPath : "");
    Append(".");
    Append(CurrentFolder());
    Append(ProgramFolder());
    Append(Environment("_NT_SYMBOL_PATH"));
    Append(Environment("_NT_ALTERNATE_SYMBOL_PATH"));
    const std::string strSystem = Environment("SYSTEMROOT");
    if (!strSystem.empty())
    {
        Append(strSystem);
        Append(strSystem + "\\system32");
    }
    const std::string strDrive = Environment("SYSTEMDRIVE");
    Append("SRV*" + (strDrive.empty() ? "c:" : strDrive) + "\\websymbols*" + kSymbolServer);
    return pszPath;
}

int StackWalker::LoadModules()
{
    if (m_bModulesLoaded != 0)
    {
        return 1;
    }
    std::shared_ptr<char> pszSearchPath;
    if ((m_nOptions & kBuildSearchPath) != 0)
    {
        pszSearchPath = BuildSearchPath();
        if (pszSearchPath == nullptr)
        {
            SetLastError(ERROR_NOT_ENOUGH_MEMORY);
            return 0;
        }
    }
    if (m_Internal.Init(pszSearchPath.get()) == 0)
    {
        OnDbgHelpErr("Error while initializing dbghelp.dll", 0, 0);
        SetLastError(ERROR_DLL_INIT_FAILED);
        return 0;
    }
    m_bModulesLoaded = m_Internal.LoadModules(m_hProcess, m_dwProcessId);
    return m_bModulesLoaded;
}

int StackWalker::myReadProcMem(void* hProcess, unsigned long long uBase, void* pBuffer, VOULONG uSize, VOULONG* puRead)
{
    if (ms_pfnReadMemory != nullptr)
    {
        return ms_pfnReadMemory(hProcess, uBase, pBuffer, uSize, puRead, ms_pReadMemoryUserData);
    }
    SIZE_T uRead = 0;
    const BOOL bRead = ReadProcessMemory(hProcess, AsPointer(uBase), pBuffer, uSize, &uRead);
    *puRead = static_cast<VOULONG>(uRead);
    return bRead;
}

// The context of another thread, which stays suspended until the walk's end.
bool StackWalker::TakeThreadContext(void* hThread, CONTEXT& rContext)
{
    VOSuspendThread(hThread);
    memset(&rContext, 0, sizeof(rContext));
    rContext.ContextFlags = kContextFlags;
    if (!VOGetThreadContext(hThread, &rContext))
    {
        VOResumeThread(hThread);
        return false;
    }
    return true;
}

int StackWalker::ShowCallstack(void* hThread, const CONTEXT* pContext, ReadMemoryFunction pfnReadMemory,
                               void* pUserData)
{
    CONTEXT context;
    m_bNoFrameKept = 1;
    m_nSummaryFrames = 0;
    m_szSummary[0] = 0;
    m_szFirstSourceFile[0] = 0;
    m_bD3D11Translate = 0;
    if (m_bModulesLoaded == 0)
    {
        LoadModules();
    }
    if (m_Internal.m_hDbgHelp == nullptr)
    {
        SetLastError(ERROR_DLL_INIT_FAILED);
        return 0;
    }
    ms_pfnReadMemory = pfnReadMemory;
    ms_pReadMemoryUserData = pUserData;
    if (pContext != nullptr)
    {
        context = *pContext;
    }
    else if (VOIsCallingThread(hThread))
    {
        // Here and in no function that has returned when the walk begins: its frame would be gone.
        memset(&context, 0, sizeof(context));
        context.ContextFlags = kContextFlags;
        RtlCaptureContext(&context);
    }
    else if (!TakeThreadContext(hThread, context))
    {
        return 0;
    }
    WalkFrames(hThread, context);
    if (pContext == nullptr)
    {
        VOResumeThread(hThread);
    }
    return 1;
}

void StackWalker::WalkFrames(void* hThread, CONTEXT& rContext)
{
    VODebugFrame frame = {};
    frame.pC = {rContext.Rip, 0, kVOFlatAddress};
    frame.frame = {rContext.Rsp, 0, kVOFlatAddress};
    frame.stack = {rContext.Rsp, 0, kVOFlatAddress};

    // Too large for a stack that may be nearly used up when a program reports its crash.
    const std::unique_ptr<void, VOFreeBlock> pSymbol(VOTryAllocate(kSymbolRecordSize));
    const std::unique_ptr<CallstackEntry, VOFreeBlock> pEntry(
        static_cast<CallstackEntry*>(VOTryAllocate(sizeof(CallstackEntry))));
    if (pSymbol == nullptr || pEntry == nullptr)
    {
        return;
    }
    for (unsigned long long ullFrame = 0;; ++ullFrame)
    {
        if (!Call<VOStackWalk64>(m_Internal.m_pfnStackWalk64)(
                kMachineX64, m_hProcess, hThread, &frame, &rContext,
                reinterpret_cast<VOReadMemoryRoutine>(&StackWalker::myReadProcMem),
                Call<VOFunctionTableRoutine>(m_Internal.m_pfnSymFunctionTableAccess64),
                Call<VOModuleBaseRoutine>(m_Internal.m_pfnSymGetModuleBase64), nullptr))
        {
            OnDbgHelpErr("StackWalk64", GetLastError(), frame.pC.ullOffset);
            return;
        }
        *pEntry = CallstackEntry();
        pEntry->uAddress = frame.pC.ullOffset;
        // The only bound of a walk.
        if (frame.pC.ullOffset == frame.giveBack.ullOffset)
        {
            OnDbgHelpErr("StackWalk64-Endless-Callstack!", 0, frame.pC.ullOffset);
            return;
        }
        if (frame.pC.ullOffset != 0)
        {
            DescribeFrame(*pEntry, pSymbol.get());
        }
        OnCallstackEntry(ullFrame == 0 ? eEntryFirst : eEntryNext, *pEntry);
        if (frame.giveBack.ullOffset == 0)
        {
            OnCallstackEntry(eEntryLast, *pEntry);
            SetLastError(ERROR_SUCCESS);
            return;
        }
    }
}

// What can't be found out is reported, and stays empty.
void StackWalker::DescribeFrame(CallstackEntry& rEntry, void* pSymbolRecord)
{
    const unsigned long long ullAddress = rEntry.uAddress;
    memset(pSymbolRecord, 0, kSymbolRecordSize);
    VODebugSymbol* const pSymbol = static_cast<VODebugSymbol*>(pSymbolRecord);
    pSymbol->uSizeOfStruct = sizeof(VODebugSymbol);
    pSymbol->uMaxNameLength = kTextSize;
    if (Call<VOSymGetSymFromAddr64>(m_Internal.m_pfnSymGetSymFromAddr64)(m_hProcess, ullAddress, &rEntry.uSymbolOffset,
                                                                         pSymbol))
    {
        const char* const pszName = static_cast<const char*>(pSymbolRecord) + offsetof(VODebugSymbol, szName);
        CopyText(rEntry.szName, pszName);
        const auto Undecorate = Call<VOUnDecorateSymbolName>(m_Internal.m_pfnUnDecorateSymbolName);
        Undecorate(rEntry.szName, rEntry.szUndName, sizeof(rEntry.szUndName), kNameOnly);
        Undecorate(rEntry.szName, rEntry.szUndFullName, sizeof(rEntry.szUndFullName), 0);
    }
    else
    {
        OnDbgHelpErr("SymGetSymFromAddr64", GetLastError(), ullAddress);
    }

    if (m_Internal.m_pfnSymGetLineFromAddr64 != nullptr)
    {
        VODebugLine line = {};
        DWORD uOffset = 0;
        line.uSizeOfStruct = sizeof(line);
        if (Call<VOSymGetLineFromAddr64>(m_Internal.m_pfnSymGetLineFromAddr64)(m_hProcess, ullAddress, &uOffset, &line))
        {
            rEntry.uLineOffset = uOffset;
            rEntry.uLineNumber = line.uLineNumber;
            CopyText(rEntry.szLineFileName, line.pszFileName);
        }
        else
        {
            OnDbgHelpErr("SymGetLineFromAddr64", GetLastError(), ullAddress);
        }
    }

    StackWalkerInternal::IMAGEHLP_MODULE64_V2 loaded;
    if (m_Internal.GetModuleInfo(m_hProcess, ullAddress, &loaded) != 0)
    {
        rEntry.nSymType = loaded.SymType;
        rEntry.pszSymTypeString = WalkedTypeText(loaded.SymType);
        CopyText(rEntry.szModuleName, loaded.ModuleName, sizeof(loaded.ModuleName));
        rEntry.uBaseOfImage = loaded.BaseOfImage;
        CopyText(rEntry.szLoadedImageName, loaded.LoadedImageName, sizeof(loaded.LoadedImageName));
    }
    else
    {
        OnDbgHelpErr("SymGetModuleInfo64", GetLastError(), ullAddress);
    }
}
