// The debug help library and what the stack walker needs beside it.
//
// On Windows the library is dbghelp.dll, bound at run time, so that its records are declared here and not taken from
// its header. On Linux platform/posix provides the same functions on elfutils: LoadLibraryW and GetProcAddress know
// them under the library's name.
#pragma once

#include "platform/vo_platform.h"

// ---------------------------------------------------------------------------------------------------------------------
// Records of the debug help library, and of the module list
// ---------------------------------------------------------------------------------------------------------------------

struct VODebugAddress
{
    unsigned long long ullOffset;
    unsigned short uSegment;
    int nMode;  // 3: flat
};
static_assert(sizeof(VODebugAddress) == 16);
constexpr int kVOFlatAddress = 3;

struct VODebugFrame
{
    VODebugAddress pC;
    VODebugAddress giveBack;
    VODebugAddress frame;
    VODebugAddress stack;
    VODebugAddress backingStore;
    void* pvFunctionTable;
    unsigned long long aullParameters[4];
    int bFar;
    int bVirtual;
    unsigned long long aullReserved[3];
    unsigned long long aullKernelHelp[32];  // at least what the library's record holds here
};

struct VODebugSymbol
{
    DWORD uSizeOfStruct;
    unsigned long long ullAddress;
    DWORD uSize;
    DWORD uFlags;
    DWORD uMaxNameLength;
    char szName[4];  // goes on behind the record
};
static_assert(sizeof(VODebugSymbol) == 32 && offsetof(VODebugSymbol, szName) == 28);

struct VODebugLine
{
    DWORD uSizeOfStruct;
    void* pvKey;
    DWORD uLineNumber;
    char* pszFileName;
    unsigned long long ullAddress;
};
static_assert(sizeof(VODebugLine) == 40);

struct VOModuleEntry
{
    DWORD uSize;
    DWORD uModuleId;
    DWORD uProcessId;
    DWORD uGlobalUsage;
    DWORD uProcessUsage;
    unsigned char* pbBase;
    DWORD uBaseSize;
    void* hModule;
    char szModule[256];
    char szExePath[260];
};
static_assert(sizeof(VOModuleEntry) == 568);

#if defined(_WIN32)
#define VO_DEBUG_CALL WINAPI
#else
#define VO_DEBUG_CALL
#endif

typedef BOOL(VO_DEBUG_CALL* VOReadMemoryRoutine)(HANDLE, unsigned long long, void*, DWORD, DWORD*);
typedef void*(VO_DEBUG_CALL* VOFunctionTableRoutine)(HANDLE, unsigned long long);
typedef unsigned long long(VO_DEBUG_CALL* VOModuleBaseRoutine)(HANDLE, unsigned long long);

// The 13 functions of the debug help library.
typedef BOOL(VO_DEBUG_CALL* VOSymCleanup)(HANDLE);
typedef BOOL(VO_DEBUG_CALL* VOSymGetLineFromAddr64)(HANDLE, unsigned long long, DWORD*, VODebugLine*);
typedef BOOL(VO_DEBUG_CALL* VOSymGetModuleInfo64)(HANDLE, unsigned long long, void*);
typedef DWORD(VO_DEBUG_CALL* VOSymGetOptions)();
typedef BOOL(VO_DEBUG_CALL* VOSymGetSymFromAddr64)(HANDLE, unsigned long long, unsigned long long*, VODebugSymbol*);
typedef BOOL(VO_DEBUG_CALL* VOSymInitialize)(HANDLE, const char*, BOOL);
typedef unsigned long long(VO_DEBUG_CALL* VOSymLoadModule64)(HANDLE, HANDLE, const char*, const char*,
                                                             unsigned long long, DWORD);
typedef DWORD(VO_DEBUG_CALL* VOSymSetOptions)(DWORD);
typedef BOOL(VO_DEBUG_CALL* VOStackWalk64)(DWORD, HANDLE, HANDLE, VODebugFrame*, void*, VOReadMemoryRoutine,
                                           VOFunctionTableRoutine, VOModuleBaseRoutine, void*);
typedef DWORD(VO_DEBUG_CALL* VOUnDecorateSymbolName)(const char*, char*, DWORD, DWORD);
typedef BOOL(VO_DEBUG_CALL* VOSymGetSearchPath)(HANDLE, char*, DWORD);

// The module list of the tool help functions.
constexpr DWORD kVOSnapshotModules = 8;
typedef HANDLE(VO_DEBUG_CALL* VOCreateToolhelp32Snapshot)(DWORD, DWORD);
typedef BOOL(VO_DEBUG_CALL* VOModule32Step)(HANDLE, VOModuleEntry*);

// ---------------------------------------------------------------------------------------------------------------------
// Calls
// ---------------------------------------------------------------------------------------------------------------------

#if !defined(_WIN32)

#define ERROR_DLL_INIT_FAILED 1114u
#define ERROR_MOD_NOT_FOUND 126u
#define ERROR_PROC_NOT_FOUND 127u
#define ERROR_NO_MORE_FILES 18u

typedef void* HMODULE;
typedef void (*FARPROC)();

// Libraries that stand for something here: "dbghelp.dll" and "kernel32.dll" (its tool help functions only). Null with
// ERROR_MOD_NOT_FOUND for all others. Giving one back does nothing.
HMODULE LoadLibraryW(const VOWCHAR* pszName);
BOOL FreeLibrary(HMODULE hModule);
FARPROC GetProcAddress(HMODULE hModule, const char* pszName);  // null with ERROR_PROC_NOT_FOUND

// Text of the process and its surroundings. Results as on Windows: the characters without the terminator, and the size
// that is needed, the terminator included, where the buffer is too small (GetModuleFileNameA cuts); 0 for nothing.
DWORD GetEnvironmentVariableA(const char* pszName, char* pszBuffer, DWORD uSize);
DWORD GetCurrentDirectoryA(DWORD uSize, char* pszBuffer);
DWORD GetModuleFileNameA(HMODULE hModule, char* pszBuffer, DWORD uSize);  // hModule: null, the program
BOOL GetUserNameA(char* pszBuffer, DWORD* puSize);

// The debugger's channel; here standard error.
void OutputDebugStringA(const char* pszText);

// Reads memory of a process: -1 is the calling one, any other is named by its id. All or nothing; failure is 0 with
// ERROR_ACCESS_DENIED, ERROR_INVALID_PARAMETER, ...
BOOL ReadProcessMemory(HANDLE hProcess, const void* pAddress, void* pBuffer, SIZE_T uSize, SIZE_T* puRead);

// The caller's registers, as they are behind the call: those that a call keeps, the stack and the program counter.
extern "C" void RtlCaptureContext(CONTEXT* pContext);

#endif

// Whether a thread handle stands for the caller: the pseudo handle; on Linux the caller's own id as well.
bool VOIsCallingThread(HANDLE hThread);

// Suspends a thread, gives its registers, and lets it go on. Windows: SuspendThread, GetThreadContext (of what
// pContext->ContextFlags names) and ResumeThread. Linux: a thread of this process is stopped by a real-time signal that
// nobody else uses, one of another process by tracing it; one thread can be suspended at a time, for the calling thread
// it does nothing. One that SuspendThread holds has the registers with which it was interrupted. Failure: -1, false,
// -1.
DWORD VOSuspendThread(HANDLE hThread);
bool VOGetThreadContext(HANDLE hThread, CONTEXT* pContext);
DWORD VOResumeThread(HANDLE hThread);

// The registers that a signal handler was given (Linux), or an exception's record (Windows): what they point to is a
// ucontext_t or a CONTEXT.
void VOContextOfFault(const void* pvSystemContext, CONTEXT* pContext);

// Loads a library by its narrow path.
HMODULE VOLoadLibraryByPath(const char* pszPath);

// The version of a program file in four 16-bit parts, the first one on top: from its version resource (Windows), or
// from what stands behind ".so." in the name that its path leads to (Linux). 0 when it has none.
unsigned long long VOFileVersion(const char* pszPath);

struct VOSystemVersionInfo
{
    DWORD uMajor;
    DWORD uMinor;
    DWORD uBuild;
    char szServicePack[128];  // Linux: the kernel's release as a whole
    unsigned int uSuiteMask;
    unsigned int uProductType;
};
bool VOSystemVersion(VOSystemVersionInfo* pInfo);

// True for a file that exists, whatever it is.
inline bool VOFileExists(const char* pszPath)
{
    return GetFileAttributesA(pszPath) != INVALID_FILE_ATTRIBUTES;
}
