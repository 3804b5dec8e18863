// The functions of the debug help library on elfutils. One process has one session, from SymInitialize to SymCleanup.
//
// elfutils walks a stack in one go and calls back for each frame, so the first StackWalk64 of a walk takes all frames,
// and each call hands out the next one.
#include "platform/posix/debug_help.h"

#include <cxxabi.h>
#include <elfutils/libdwfl.h>
#include <unistd.h>

#include <algorithm>
#include <span>

#include "platform/fault_points.h"
#include "platform/posix/kernel.h"
#include "platform/vo_owners.h"

namespace
{
constexpr int kSymbolsNone = 0;  // values of SYM_TYPE
constexpr int kSymbolsExported = 4;
constexpr int kSymbolsOfFile = 6;
constexpr DWORD kNameOnly = 0x1000;
constexpr size_t kMostFrames = size_t{1} << 20;  // far more than a stack has room for

struct Frame
{
    unsigned long long ullPC;
    bool bActivation;  // the program counter is at the instruction itself, and not behind a call
};

// What the callbacks of a running walk need.
struct Walk
{
    HANDLE hProcess;
    const CONTEXT* pContext;
    VOReadMemoryRoutine pfnRead;
    std::vector<Frame> vecFrame;
};

struct EndSession
{
    void operator()(Dwfl* pDwfl) const { dwfl_end(pDwfl); }
};

struct Session
{
    std::unique_ptr<Dwfl, EndSession> pDwfl;
    pid_t nProcess = 0;
    std::string strSearchPath;
    std::vector<LoadedModule> vecModule;
    Walk* pWalk = nullptr;        // that is under way inside elfutils
    std::vector<Frame> vecFrame;  // of the last walk
    size_t uNextFrame = 0;
    std::vector<unsigned long long> vecReturns;  // program counters of the last walk that stand behind a call, in order
    std::string strLineFile;                     // what the last line record points to
};

std::map<HANDLE, std::shared_ptr<Session>>& Sessions()
{
    static VONeverDestroyed<std::map<HANDLE, std::shared_ptr<Session>>> s_sessions;
    return s_sessions.Get();
}
std::mutex s_lock;
DWORD s_uOptions = 0;

std::shared_ptr<Session> FindSession(HANDLE hProcess)
{
    const std::lock_guard<std::mutex> guard(s_lock);
    const auto found = Sessions().find(hProcess);
    return found != Sessions().end() ? found->second : FailCall(ERROR_INVALID_HANDLE, std::shared_ptr<Session>());
}

// Local debug files only: a report of a crash must not wait for a server.
const Dwfl_Callbacks kCallbacks = {dwfl_linux_proc_find_elf, dwfl_build_id_find_debuginfo, nullptr, nullptr};

bool ReadWord(Dwfl*, Dwarf_Addr ullAddress, Dwarf_Word* pullWord, void* pvSession)
{
    const Walk* const pWalk = static_cast<Session*>(pvSession)->pWalk;
    DWORD uRead = 0;
    return pWalk != nullptr && pWalk->pfnRead(pWalk->hProcess, ullAddress, pullWord, sizeof(*pullWord), &uRead) &&
           uRead == sizeof(*pullWord);
}

bool SetRegisters(Dwfl_Thread* pThread, void* pvSession)
{
    const Walk* const pWalk = static_cast<Session*>(pvSession)->pWalk;
    const CONTEXT& rk = *pWalk->pContext;
    // In the order of the processor's debug information; the last one is the program counter.
    const Dwarf_Word aullRegister[] = {rk.Rax, rk.Rdx, rk.Rcx, rk.Rbx, rk.Rsi, rk.Rdi, rk.Rbp, rk.Rsp, rk.R8,
                                       rk.R9,  rk.R10, rk.R11, rk.R12, rk.R13, rk.R14, rk.R15, rk.Rip};
    return dwfl_thread_state_registers(pThread, 0, std::size(aullRegister), aullRegister);
}

pid_t NoThread(Dwfl*, void*, void**)
{
    return 0;
}

bool AnyThread(Dwfl*, pid_t, void* pvSession, void** ppvThread)
{
    *ppvThread = pvSession;
    return true;
}

const Dwfl_Thread_Callbacks kThreadCallbacks = {NoThread, AnyThread, ReadWord, SetRegisters, nullptr, nullptr};

int TakeFrame(Dwfl_Frame* pFrame, void* pvWalk)
{
    Walk* const pWalk = static_cast<Walk*>(pvWalk);
    Dwarf_Addr ullPC = 0;
    bool bActivation = false;
    if (!dwfl_frame_pc(pFrame, &ullPC, &bActivation) || ullPC == 0 || pWalk->vecFrame.size() >= kMostFrames)
    {
        return DWARF_CB_ABORT;
    }
    pWalk->vecFrame.push_back({ullPC, bActivation});
    return DWARF_CB_OK;
}

// Takes all frames of a stack.
void TakeFrames(Session& session, HANDLE hProcess, const CONTEXT* pContext, VOReadMemoryRoutine pfnRead)
{
    Walk walk = {hProcess, pContext, pfnRead, {}};
    session.pWalk = &walk;
    dwfl_getthread_frames(session.pDwfl.get(), session.nProcess, TakeFrame, &walk);
    session.pWalk = nullptr;
    if (walk.vecFrame.empty() && pContext->Rip != 0)
    {
        // Where nothing is known of the code, its place still is.
        walk.vecFrame.push_back({pContext->Rip, true});
    }
    session.vecFrame = std::move(walk.vecFrame);
    session.uNextFrame = 0;
    session.vecReturns.clear();
    for (const Frame& frame : session.vecFrame)
    {
        if (!frame.bActivation)
        {
            session.vecReturns.push_back(frame.ullPC);
        }
    }
    std::ranges::sort(session.vecReturns);
}

// A return address belongs to the call in front of it: what is looked up lies before it by so much.
unsigned BehindCall(const Session* pSession, unsigned long long ullAddress)
{
    return pSession != nullptr && std::ranges::binary_search(pSession->vecReturns, ullAddress) ? 1 : 0;
}

// Null also without a session.
const LoadedModule* FindModule(const Session* pSession, unsigned long long ullAddress)
{
    for (size_t i = 0; pSession != nullptr && i < pSession->vecModule.size(); ++i)
    {
        const LoadedModule& loaded = pSession->vecModule[i];
        if (ullAddress >= loaded.ullBase && ullAddress < loaded.ullEnd)
        {
            return &loaded;
        }
    }
    return nullptr;
}

// By the tables that the file has, without reading them.
int SymbolType(Dwfl_Module* pModule)
{
    GElf_Addr ullBias = 0;
    Elf* const pElf = pModule != nullptr ? dwfl_module_getelf(pModule, &ullBias) : nullptr;
    int nType = kSymbolsNone;
    for (Elf_Scn* pSection = nullptr; pElf != nullptr && (pSection = elf_nextscn(pElf, pSection)) != nullptr;)
    {
        GElf_Shdr header;
        if (gelf_getshdr(pSection, &header) != nullptr)
        {
            nType = header.sh_type == SHT_SYMTAB                            ? kSymbolsOfFile
                    : header.sh_type == SHT_DYNSYM && nType == kSymbolsNone ? kSymbolsExported
                                                                            : nType;
        }
    }
    return nType;
}

void CopyCut(char* pszTo, size_t uSize, const std::string& strFrom)
{
    pszTo[strFrom.copy(pszTo, uSize - 1)] = 0;
}
BOOL SymInitialize(HANDLE hProcess, const char* pszSearchPath, BOOL)
{
    auto pSession = std::make_shared<Session>();
    pSession->nProcess = ProcessOf(hProcess);
    pSession->strSearchPath = pszSearchPath != nullptr ? pszSearchPath : "";
    pSession->pDwfl.reset(VO_FAULT_POINT("SymInitialize") ? nullptr : dwfl_begin(&kCallbacks));
    Dwfl* const pDwfl = pSession->pDwfl.get();
    if (pDwfl == nullptr || dwfl_linux_proc_report(pDwfl, pSession->nProcess) != 0 ||
        dwfl_report_end(pDwfl, nullptr, nullptr) != 0 ||
        !dwfl_attach_state(pDwfl, nullptr, pSession->nProcess, &kThreadCallbacks, pSession.get()))
    {
        return FailCall(ERROR_INVALID_PARAMETER);
    }
    pSession->vecModule = ListModules(pSession->nProcess);
    const std::lock_guard<std::mutex> guard(s_lock);
    return Sessions().emplace(hProcess, pSession).second || FailCall(ERROR_INVALID_PARAMETER);
}

BOOL SymCleanup(HANDLE hProcess)
{
    const std::lock_guard<std::mutex> guard(s_lock);
    return Sessions().erase(hProcess) != 0;
}

BOOL SymGetSearchPath(HANDLE hProcess, char* pszPath, DWORD uSize)
{
    const auto pSession = FindSession(hProcess);
    if (pSession == nullptr || uSize == 0)
    {
        return FALSE;
    }
    CopyCut(pszPath, uSize, pSession->strSearchPath);
    return TRUE;
}

DWORD SymGetOptions()
{
    return s_uOptions;
}

DWORD SymSetOptions(DWORD uOptions)
{
    s_uOptions = uOptions;
    return uOptions;
}

// The modules are known from the beginning; this only says whether one of them lies there.
unsigned long long SymLoadModule64(HANDLE hProcess, HANDLE, const char*, const char*, unsigned long long ullBase, DWORD)
{
    const auto pSession = FindSession(hProcess);
    const bool bThere = !VO_FAULT_POINT("SymLoadModule64") && FindModule(pSession.get(), ullBase) != nullptr;
    return bThere ? ullBase : FailCall(ERROR_FILE_NOT_FOUND, 0ull);
}

unsigned long long SymGetModuleBase64(HANDLE hProcess, unsigned long long ullAddress)
{
    const auto pSession = FindSession(hProcess);
    const LoadedModule* const pModule = FindModule(pSession.get(), ullAddress);
    return pModule != nullptr ? pModule->ullBase : 0;
}

BOOL SymGetModuleInfo64(HANDLE hProcess, unsigned long long ullAddress, void* pvRecord)
{
    // The record of a module, in its old form.
    struct Record
    {
        DWORD uSizeOfStruct;
        unsigned long long ullBase;
        DWORD uSize;
        DWORD uTime;
        DWORD uCheckSum;
        DWORD uSymbols;
        int nSymbolType;
        char szModule[32];
        char szImage[256];
        char szLoadedImage[256];
    } record = {};
    static_assert(sizeof(Record) == 584);
    const auto pSession = FindSession(hProcess);
    const LoadedModule* const pModule = FindModule(pSession.get(), ullAddress);
    if (pModule == nullptr || VO_FAULT_POINT("SymGetModuleInfo64"))
    {
        return FailCall(ERROR_MOD_NOT_FOUND);
    }
    record.uSizeOfStruct = sizeof(record);
    record.ullBase = pModule->ullBase;
    record.uSize = static_cast<DWORD>(pModule->ullEnd - pModule->ullBase);
    record.nSymbolType = SymbolType(dwfl_addrmodule(pSession->pDwfl.get(), ullAddress));
    CopyCut(record.szModule, sizeof(record.szModule), pModule->ShortName());
    CopyCut(record.szImage, sizeof(record.szImage), pModule->strPath);
    CopyCut(record.szLoadedImage, sizeof(record.szLoadedImage), pModule->strPath);
    memcpy(pvRecord, &record, sizeof(record));
    return TRUE;
}

bool StartsWith(const std::string& strText, size_t uAt, const char* pszWhat)
{
    return strText.compare(uAt, strlen(pszWhat), pszWhat) == 0;
}

// The qualified name out of a demangled one: without the result type that a template has in front, and without the
// parameters, which begin at the first parenthesis outside of template brackets that isn't a part of the name.
std::string NameOnly(const std::string& strComplete)
{
    static const char s_szAnonymous[] = "(anonymous namespace)";
    static const char s_szOperator[] = "operator";
    int nDepth = 0;
    size_t uBegin = 0;
    size_t uAt = 0;
    bool bOperator = false;  // the rest up to the parameters is an operator's name, blanks too
    while (uAt < strComplete.size())
    {
        const bool bWordBegins = uAt == 0 || strchr(" :", strComplete[uAt - 1]) != nullptr;
        if (StartsWith(strComplete, uAt, s_szAnonymous))
        {
            uAt += sizeof(s_szAnonymous) - 1;
        }
        else if (nDepth == 0 && bWordBegins && StartsWith(strComplete, uAt, s_szOperator))
        {
            bOperator = true;
            uAt += sizeof(s_szOperator) - 1;
            uAt += StartsWith(strComplete, uAt, "()") ? 2 : strspn(strComplete.c_str() + uAt, "<>=-+*/%^&|~!,[]");
        }
        else
        {
            const char ch = strComplete[uAt];
            if (ch == '(' && nDepth == 0)
            {
                break;
            }
            nDepth += ch == '<' ? 1 : ch == '>' ? -1 : 0;
            ++uAt;
            uBegin = ch == ' ' && nDepth == 0 && !bOperator ? uAt : uBegin;
        }
    }
    return strComplete.substr(uBegin, uAt - uBegin);
}

// The plain form of a decorated name. Others stay as they are: some of them would be the code of a type.
std::string Undecorated(const std::string& strName, bool bNameOnly)
{
    int nStatus = -1;
    const std::unique_ptr<char, VOFreeBlock> pszPlain(
        StartsWith(strName, 0, "_Z") ? abi::__cxa_demangle(strName.c_str(), nullptr, nullptr, &nStatus) : nullptr);
    if (nStatus != 0 || pszPlain == nullptr)
    {
        return strName;
    }
    return bNameOnly ? NameOnly(pszPlain.get()) : pszPlain.get();
}
// The name is the plain one, without parameters, as the debug files of Windows have it.
BOOL SymGetSymFromAddr64(HANDLE hProcess, unsigned long long ullAddress, unsigned long long* pullOffset,
                         VODebugSymbol* pSymbol)
{
    const auto pSession = FindSession(hProcess);
    const unsigned uBehind = BehindCall(pSession.get(), ullAddress);
    Dwfl_Module* const pModule =
        pSession != nullptr ? dwfl_addrmodule(pSession->pDwfl.get(), ullAddress - uBehind) : nullptr;
    GElf_Off ullOffset = 0;
    GElf_Sym symbol;
    const char* const pszName =
        pModule != nullptr && !VO_FAULT_POINT("SymGetSymFromAddr64")
            ? dwfl_module_addrinfo(pModule, ullAddress - uBehind, &ullOffset, &symbol, nullptr, nullptr, nullptr)
            : nullptr;
    if (pszName == nullptr)
    {
        return FailCall(ERROR_MOD_NOT_FOUND);
    }
    pSymbol->ullAddress = ullAddress - uBehind - ullOffset;
    pSymbol->uSize = static_cast<DWORD>(symbol.st_size);
    *pullOffset = ullOffset + uBehind;
    char* const pszTo = reinterpret_cast<char*>(pSymbol) + offsetof(VODebugSymbol, szName);
    // Without the version that the linker wrote behind it.
    CopyCut(pszTo, pSymbol->uMaxNameLength, Undecorated(std::string(pszName, strcspn(pszName, "@")), true));
    return TRUE;
}

struct SourceLine
{
    const char* pszFile = nullptr;
    int nLine = 0;
    Dwarf_Addr ullStart = 0;
};

SourceLine FindLine(Dwfl* pDwfl, Dwarf_Addr ullAddress)
{
    SourceLine line;
    Dwfl_Module* const pModule = dwfl_addrmodule(pDwfl, ullAddress);
    Dwfl_Line* const pFound = pModule != nullptr ? dwfl_module_getsrc(pModule, ullAddress) : nullptr;
    if (pFound != nullptr)
    {
        line.pszFile = dwfl_lineinfo(pFound, &line.ullStart, &line.nLine, nullptr, nullptr, nullptr);
        return line;
    }
    // Not every compiler writes the table of address ranges that is searched above: then each unit is asked.
    Dwarf_Addr ullBias = 0;
    for (Dwarf_Die* pUnit = nullptr;
         pModule != nullptr && (pUnit = dwfl_module_nextcu(pModule, pUnit, &ullBias)) != nullptr;)
    {
        Dwarf_Line* const pLine =
            dwarf_haspc(pUnit, ullAddress - ullBias) == 1 ? dwarf_getsrc_die(pUnit, ullAddress - ullBias) : nullptr;
        if (pLine != nullptr && dwarf_lineno(pLine, &line.nLine) == 0 && dwarf_lineaddr(pLine, &line.ullStart) == 0)
        {
            line.pszFile = dwarf_linesrc(pLine, nullptr, nullptr);
            line.ullStart += ullBias;
            break;
        }
    }
    return line;
}
BOOL SymGetLineFromAddr64(HANDLE hProcess, unsigned long long ullAddress, DWORD* puOffset, VODebugLine* pLine)
{
    const auto pSession = FindSession(hProcess);
    const unsigned uBehind = BehindCall(pSession.get(), ullAddress);
    const SourceLine line = pSession != nullptr && !VO_FAULT_POINT("SymGetLineFromAddr64")
                                ? FindLine(pSession->pDwfl.get(), ullAddress - uBehind)
                                : SourceLine();
    if (line.pszFile == nullptr)
    {
        return FailCall(ERROR_INVALID_ADDRESS);
    }
    pSession->strLineFile = line.pszFile;
    pLine->uLineNumber = static_cast<DWORD>(line.nLine);
    pLine->pszFileName = pSession->strLineFile.data();
    pLine->ullAddress = line.ullStart;
    *puOffset = static_cast<DWORD>(ullAddress - line.ullStart);
    return TRUE;
}

void* SymFunctionTableAccess64(HANDLE, unsigned long long)
{
    return nullptr;
}

// The complete name has the parameters. A name that isn't decorated stays as it is.
DWORD UnDecorateSymbolName(const char* pszName, char* pszTo, DWORD uSize, DWORD uFlags)
{
    if (uSize == 0)
    {
        return 0;
    }
    CopyCut(pszTo, uSize, Undecorated(pszName, (uFlags & kNameOnly) != 0));
    return static_cast<DWORD>(strlen(pszTo));
}

// Params[0] says that a walk has begun; its frames are the session's.
BOOL StackWalk64(DWORD, HANDLE hProcess, HANDLE, VODebugFrame* pFrame, void* pContext, VOReadMemoryRoutine pfnRead,
                 VOFunctionTableRoutine, VOModuleBaseRoutine, void*)
{
    const auto pSession = FindSession(hProcess);
    if (pSession == nullptr || VO_FAULT_POINT("StackWalk64"))
    {
        return FailCall(ERROR_INVALID_HANDLE);
    }
    if (pFrame->aullReserved[0] == 0)
    {
        pFrame->aullReserved[0] = 1;
        TakeFrames(*pSession, hProcess, static_cast<const CONTEXT*>(pContext), pfnRead);
    }
    if (pSession->uNextFrame >= pSession->vecFrame.size())
    {
        return FailCall(ERROR_INVALID_ADDRESS);
    }
    pFrame->pC.ullOffset = pSession->vecFrame[pSession->uNextFrame++].ullPC;
    const bool bMore = pSession->uNextFrame < pSession->vecFrame.size();
    pFrame->giveBack.ullOffset = bMore ? pSession->vecFrame[pSession->uNextFrame].ullPC : 0;
    pFrame->bVirtual = TRUE;
    return TRUE;
}

// ---------------------------------------------------------------------------------------------------------------------
// The tool help functions
// ---------------------------------------------------------------------------------------------------------------------

class ModuleSnapshot : public KernelObject
{
public:
    explicit ModuleSnapshot(DWORD uProcess) : uProcessId(uProcess), vecModule(ListModules(static_cast<pid_t>(uProcess)))
    {
    }

    const DWORD uProcessId;
    const std::vector<LoadedModule> vecModule;
    size_t uNext = 0;
};
HANDLE CreateModuleSnapshot(DWORD, DWORD uProcessId)
{
    const auto pSnapshot =
        std::make_shared<ModuleSnapshot>(uProcessId != 0 ? uProcessId : static_cast<DWORD>(getpid()));
    return pSnapshot->vecModule.empty() ? FailCall(ERROR_ACCESS_DENIED, INVALID_HANDLE_VALUE)
                                        : HandleTable::Instance().Add(pSnapshot);
}

BOOL ModuleNext(HANDLE hSnapshot, VOModuleEntry* pEntry)
{
    const auto pSnapshot = HandleTable::Instance().Find<ModuleSnapshot>(hSnapshot);
    if (pSnapshot == nullptr || pSnapshot->uNext >= pSnapshot->vecModule.size())
    {
        return FailCall(pSnapshot == nullptr ? ERROR_INVALID_HANDLE : ERROR_NO_MORE_FILES);
    }
    const LoadedModule& loaded = pSnapshot->vecModule[pSnapshot->uNext++];
    *pEntry = {};
    pEntry->uSize = sizeof(*pEntry);
    pEntry->uProcessId = pSnapshot->uProcessId;
    pEntry->pbBase = reinterpret_cast<unsigned char*>(static_cast<uintptr_t>(loaded.ullBase));
    pEntry->uBaseSize = static_cast<DWORD>(loaded.ullEnd - loaded.ullBase);
    pEntry->hModule = pEntry->pbBase;
    loaded.FileName().copy(pEntry->szModule, sizeof(pEntry->szModule) - 1);
    loaded.strPath.copy(pEntry->szExePath, sizeof(pEntry->szExePath) - 1);
    return TRUE;
}

BOOL ModuleFirst(HANDLE hSnapshot, VOModuleEntry* pEntry)
{
    const auto pSnapshot = HandleTable::Instance().Find<ModuleSnapshot>(hSnapshot);
    if (pSnapshot != nullptr)
    {
        pSnapshot->uNext = 0;
    }
    return ModuleNext(hSnapshot, pEntry);
}

// The libraries that can be bound by name.

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
    std::span<const Entry> entries;
};

const Entry kDebugHelp[] = {
    {"SymCleanup", As(SymCleanup)},
    {"SymFunctionTableAccess64", As(SymFunctionTableAccess64)},
    {"SymGetLineFromAddr64", As(SymGetLineFromAddr64)},
    {"SymGetModuleBase64", As(SymGetModuleBase64)},
    {"SymGetModuleInfo64", As(SymGetModuleInfo64)},
    {"SymGetOptions", As(SymGetOptions)},
    {"SymGetSymFromAddr64", As(SymGetSymFromAddr64)},
    {"SymInitialize", As(SymInitialize)},
    {"SymLoadModule64", As(SymLoadModule64)},
    {"SymSetOptions", As(SymSetOptions)},
    {"StackWalk64", As(StackWalk64)},
    {"UnDecorateSymbolName", As(UnDecorateSymbolName)},
    {"SymGetSearchPath", As(SymGetSearchPath)},
};

const Entry kToolHelp[] = {
    {"CreateToolhelp32Snapshot", As(CreateModuleSnapshot)},
    {"Module32First", As(ModuleFirst)},
    {"Module32Next", As(ModuleNext)},
};

const Library kLibraries[] = {
    {VOTEXT("dbghelp.dll"), kDebugHelp},
    {VOTEXT("kernel32.dll"), kToolHelp},
};
}  // namespace

HMODULE LoadLibraryW(const VOWCHAR* pszName)
{
    for (const Library& library : kLibraries)
    {
        if (StrCmpW(library.pszName, pszName) == 0 && !VO_FAULT_POINT("LoadLibraryW"))
        {
            return const_cast<Library*>(&library);
        }
    }
    return FailCall(ERROR_MOD_NOT_FOUND, nullptr);
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
    for (const Entry& entry : pLibrary != nullptr ? pLibrary->entries : std::span<const Entry>())
    {
        if (strcmp(entry.pszName, pszName) == 0 && !VO_FAULT_POINT("GetProcAddress"))
        {
            return entry.pfnProcedure;
        }
    }
    return FailCall(ERROR_PROC_NOT_FOUND, nullptr);
}
