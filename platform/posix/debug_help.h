// The functions that LoadLibraryW and GetProcAddress hand out.
#pragma once

#include "platform/vo_debug_help.h"

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
