// StackWalker: walks the call stack of a thread and reports each frame in text; beside that report it keeps a
// short summary of up to seven frames, without those of the graphics runtime and of the engine's own graphics
// hooks.
//
// Derive from it and override OnOutput to get the text; the summary is in the members. Windows: the debug help
// library, bound at run time. Linux: elfutils behind the same operations; docs/stack-walker.md says what
// differs.
//
// One walk at a time, on however many objects: the symbol code is single-threaded, and the memory reader is
// shared. A walk of another thread suspends it for the whole walk: it must not hold a lock that the walk needs,
// the allocator's for instance. The symbols belong to the process: the end of a walker that has loaded them
// takes them from every other one that isn't its copy.
//
// Nothing here writes to the log: what fails is reported through OnDbgHelpErr, or shows in a result and in
// VOLastError. Making a walker, binding and listing may throw std::bad_alloc; a walk whose modules are loaded
// takes its two records without throwing, and ends without a frame when there is no memory for them.
#pragma once

#include <memory>

#include "vo_types.h"

class StackWalker;

// The pseudo handles of the calling thread and of its process, as the system has them on Windows. On Linux any other
// thread or process is named by its system-wide id in place of a handle.
inline void* VOCurrentThreadHandle()
{
    return reinterpret_cast<void*>(static_cast<intptr_t>(-2));
}
inline void* VOCurrentProcessHandle()
{
    return reinterpret_cast<void*>(static_cast<intptr_t>(-1));
}

// The last error that the calling thread's calls below have left: GetLastError of Windows, on both systems.
VOBASE_API VOULONG VOLastError();

// Binds the debug help library and lists the modules of a process, for the StackWalker that holds it by value.
// Copies share what is bound.
class VOBASE_API StackWalkerInternal
{
public:
    // The record of a module in its old form, which every version of the library knows.
    struct IMAGEHLP_MODULE64_V2
    {
        VOULONG SizeOfStruct;  // 584
        unsigned long long BaseOfImage;
        VOULONG ImageSize;
        VOULONG TimeDateStamp;
        VOULONG CheckSum;
        VOULONG NumSyms;
        int SymType;
        char ModuleName[32];
        char ImageName[256];
        char LoadedImageName[256];
    };
    static_assert(sizeof(IMAGEHLP_MODULE64_V2) == 584);

    // pOwner gets the reports; it isn't owned and lives longer. Nothing is bound yet.
    StackWalkerInternal(StackWalker* pOwner, void* hProcess);
    ~StackWalkerInternal();
    StackWalkerInternal(const StackWalkerInternal&) = default;
    StackWalkerInternal& operator=(const StackWalkerInternal&) = default;

    // Resets all members, as the constructor does; what was bound is given back when no copy holds it.
    void PreInit(StackWalker* pOwner, void* hProcess);

    // Binds the library, copies the search path (null for none), and reports through OnSymInit: 1. 0 without an
    // owner, without the library, and when a function is missing in it.
    int Init(const char* pszSymPath);

    // 1 when the modules of the process could be listed, each reported through OnLoadModule. 0 also before
    // Init.
    int LoadModules(void* hProcess, VOULONG dwProcessId);

    // Fills *pModule for the module that an address belongs to: 1.
    //
    // Kept (StackWalkerInternal::GetModuleInfo): 0 has last error 1114 whatever the library's own was (8
    // without memory). Reports that exist show these numbers.
    int GetModuleInfo(void* hProcess, unsigned long long uAddress, IMAGEHLP_MODULE64_V2* pModule);

private:
    friend class StackWalker;
    typedef void (*Procedure)();

    int GetModuleListTH32(void* hProcess, VOULONG dwProcessId);
    int GetModuleListPSAPI(void* hProcess);
    VOULONG LoadModule(void* hProcess, const char* pszImage, const char* pszModule, unsigned long long uBase,
                       VOULONG uSize);

    // Where a function is missing that is needed the library is let go again: m_hDbgHelp is null then, and nothing
    // is called.
    StackWalker* m_pOwner;
    void* m_hDbgHelp;
    void* m_hProcess;
    char* m_pszSymPath;
    Procedure m_pfnSymCleanup;
    Procedure m_pfnSymFunctionTableAccess64;
    Procedure m_pfnSymGetLineFromAddr64;  // may be missing
    Procedure m_pfnSymGetModuleBase64;
    Procedure m_pfnSymGetModuleInfo64;
    Procedure m_pfnSymGetOptions;
    Procedure m_pfnSymGetSymFromAddr64;
    Procedure m_pfnSymInitialize;
    Procedure m_pfnSymLoadModule64;
    Procedure m_pfnSymSetOptions;
    Procedure m_pfnStackWalk64;
    Procedure m_pfnUnDecorateSymbolName;
    Procedure m_pfnSymGetSearchPath;   // may be missing
    std::shared_ptr<void> m_pBinding;  // gives library and path back with the last copy
};

// A walker of one process. A host that reports its crashes makes it beforehand, and calls LoadModules then:
// what a walk needs after that is little memory and no new library.
class VOBASE_API StackWalker
{
public:
    // Where in the walk a report stands.
    //
    // Kept (StackWalker::CallstackEntryType): the last frame is reported twice, the second time as eEntryLast.
    // Derived classes close their report there; the default one prints nothing for it.
    enum CallstackEntryType : int
    {
        eEntryFirst = 0,
        eEntryNext = 1,
        eEntryLast = 2  // once more for the last frame
    };

    // One frame. Texts are cut to their fields and terminated; what couldn't be found out is empty or 0. It
    // ends with the call.
    struct CallstackEntry
    {
        unsigned long long uAddress;  // the program counter
        char szName[1024];
        char szUndName[1024];      // undecorated, the name only
        char szUndFullName[1024];  // undecorated, complete
        unsigned long long uSymbolOffset;
        VOULONG uLineOffset;
        VOULONG uLineNumber;
        char szLineFileName[1024];
        int nSymType;
        const char* pszSymTypeString;  // may be null
        char szModuleName[1024];       // without path and extension
        unsigned long long uBaseOfImage;
        char szLoadedImageName[1024];
    };

    // Reads uSize bytes of the walked process at uBase into pBuffer and says in *puRead how many came:
    // non-zero. 0 on failure. pUserData is what ShowCallstack was given.
    typedef int (*ReadMemoryFunction)(void* hProcess, unsigned long long uBase, void* pBuffer, VOULONG uSize,
                                      VOULONG* puRead, void* pUserData);

    // Nothing is bound and nothing is opened; the path is copied.
    //
    // Kept (StackWalker::StackWalker): of the option bits, 8 fetches the version of each module's file and 16
    // builds a symbol search path, which a path given here switches on; the others are carried and not tested.
    // Hosts pass the numbers that they have.
    explicit StackWalker(int nOptions = 63, const char* pszSymPath = nullptr, VOULONG dwProcessId = CurrentProcessId(),
                         void* hProcess = VOCurrentProcessHandle());

    // All options, no path of one's own, for another process: its handle on Windows, on Linux its id as a
    // handle.
    StackWalker(VOULONG dwProcessId, void* hProcess);

    // Gives library and symbols back, unless a copy holds them.
    virtual ~StackWalker();

    // Copies share what they own, and the last of them gives it back.
    StackWalker(const StackWalker& rkOther);
    StackWalker& operator=(const StackWalker& rkOther);

    // Binds the library and lists the modules; the first ShowCallstack does it as well. 1 at once when done
    // before, also when modules came since. 0 with last error 1114 without the library, 8 without memory.
    int LoadModules();

    // Walks one stack: the calling thread's, another thread's, which is suspended meanwhile, or the one that a
    // context stands for, such as that of a crash. pfnReadMemory, with its data, is asked for every word of the
    // stack; null reads the process. 0 without the library (last error 1114), and when a thread's context can't
    // be read; else 1, however far the walk came.
    //
    // Kept (StackWalker::ShowCallstack): a frame whose program counter equals its return address ends the walk,
    // and is told as an endless one: so does a direct recursion. Hosts with such stacks get what lies before
    // it.
    int ShowCallstack(void* hThread = VOCurrentThreadHandle(), const CONTEXT* pContext = nullptr,
                      ReadMemoryFunction pfnReadMemory = nullptr, void* pUserData = nullptr);

    // The id of the calling process.
    static VOULONG CurrentProcessId();

protected:
    friend class StackWalkerInternal;

    // What is reported, and how: each of these formats one line (two for OnSymInit) of at most 1,023 characters
    // and gives it to OnOutput, which sends it to the debugger (Linux: to standard error). They run on the
    // thread that walks. Texts are the caller's and end with the call.
    virtual void OnSymInit(const char* pszSearchPath, VOULONG uSymOptions, const char* pszUserName);

    // One module: its file, its short name, address and size in bytes, the error of loading its symbols (0 for
    // none), their kind and file, and the version, 16 bits for each of its four numbers.
    //
    // Kept (StackWalker::OnLoadModule): the names of the kinds differ from those in CallstackEntry: 7 is
    // "-unknown-" here and "DIA" there, 9 is "DIA" here and has no name there. Readers of reports know both.
    virtual void OnLoadModule(const char* pszImage, const char* pszModule, unsigned long long uBaseAddress,
                              VOULONG uSize, VOULONG uResult, const char* pszSymType, const char* pszPdbName,
                              unsigned long long uFileVersion);

    // One frame; builds the summary as well, so that a derived class that wants it calls this one. Names that
    // are missing are filled in, in the entry itself.
    virtual void OnCallstackEntry(CallstackEntryType eType, CallstackEntry& entry);

    // What couldn't be found out: the call, the system's error, the address it was about (0 for none). A walk
    // goes on, unless it was its next step that failed.
    virtual void OnDbgHelpErr(const char* pszFunction, VOULONG uError, unsigned long long uAddress);

    // Gets every line of the report, with its line end.
    virtual void OnOutput(const char* pszText);

    // The reader of a walk: the caller's, or the process's memory.
    static int myReadProcMem(void* hProcess, unsigned long long uBase, void* pBuffer, VOULONG uSize, VOULONG* puRead);

    // The summary of the last walk.
    int m_nSummaryFrames;    // frames that passed the filter
    char m_szSummary[1024];  // "function,module|function,module|", with no bar behind a seventh
    int m_bNoFrameKept;
    char m_szFirstSourceFile[512];  // of the first frame that passed
    int m_bD3D11Translate;          // a function's name held "D3D11TranslateCreateDevice"

    StackWalkerInternal m_Internal;
    void* m_hProcess;
    VOULONG m_dwProcessId;
    int m_bModulesLoaded;
    char* m_pszSymPath;
    int m_nOptions;

    static ReadMemoryFunction ms_pfnReadMemory;  // of the walk that is running
    static void* ms_pReadMemoryUserData;

private:
    bool TakeThreadContext(void* hThread, CONTEXT& rContext);
    void WalkFrames(void* hThread, CONTEXT& rContext);
    void DescribeFrame(CallstackEntry& rEntry, void* pSymbolRecord);
    std::shared_ptr<char> BuildSearchPath() const;
    bool PassesFilter(const CallstackEntry& rkEntry) const;

    std::shared_ptr<char> m_pSymPathOwner;
};
