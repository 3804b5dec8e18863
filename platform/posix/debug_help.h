// What the stack walker asks for: the functions that LoadLibraryW and GetProcAddress hand out, and the modules.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "platform/vo_debug_help.h"

// The functions that LoadLibraryW and GetProcAddress hand out.
BOOL VOPosixSymCleanup(HANDLE hProcess);
BOOL VOPosixSymInitialize(HANDLE hProcess, const char* pszSearchPath, BOOL bInvade);
BOOL VOPosixSymGetSearchPath(HANDLE hProcess, char* pszPath, DWORD uSize);
DWORD VOPosixSymGetOptions();
DWORD VOPosixSymSetOptions(DWORD uOptions);
unsigned long long VOPosixSymLoadModule64(HANDLE hProcess, HANDLE hFile, const char* pszImage, const char* pszModule,
                                          unsigned long long ullBase, DWORD uSize);
unsigned long long VOPosixSymGetModuleBase64(HANDLE hProcess, unsigned long long ullAddress);
BOOL VOPosixSymGetModuleInfo64(HANDLE hProcess, unsigned long long ullAddress, void* pvRecord);
BOOL VOPosixSymGetSymFromAddr64(HANDLE hProcess, unsigned long long ullAddress, unsigned long long* pullOffset,
                                VODebugSymbol* pSymbol);
BOOL VOPosixSymGetLineFromAddr64(HANDLE hProcess, unsigned long long ullAddress, DWORD* puOffset, VODebugLine* pLine);
void* VOPosixSymFunctionTableAccess64(HANDLE hProcess, unsigned long long ullAddress);
DWORD VOPosixUnDecorateSymbolName(const char* pszName, char* pszTo, DWORD uSize, DWORD uFlags);
BOOL VOPosixStackWalk64(DWORD uMachine, HANDLE hProcess, HANDLE hThread, VODebugFrame* pFrame, void* pContext,
                        VOReadMemoryRoutine pfnRead, VOFunctionTableRoutine pfnTable, VOModuleBaseRoutine pfnBase,
                        void* pfnTranslate);

HANDLE VOPosixModuleSnapshot(DWORD uFlags, DWORD uProcessId);
BOOL VOPosixModuleFirst(HANDLE hSnapshot, VOModuleEntry* pEntry);
BOOL VOPosixModuleNext(HANDLE hSnapshot, VOModuleEntry* pEntry);

// The modules of a process: the program and the libraries that are loaded, and not what else it has mapped of such
// files.
struct LoadedModule
{
    std::string strPath;
    unsigned long long ullBase = 0;
    unsigned long long ullEnd = 0;

    // The last part of the path, with its extension and without. What begins with a digit is a version and stays.
    std::string FileName() const;
    std::string ShortName() const;
};

// In ascending order of their addresses; empty when the process can't be looked at.
std::vector<LoadedModule> ListModules(pid_t nProcess);

// The process that a handle stands for: -1 the calling one, any other is its id.
pid_t ProcessOf(void* hProcess);
