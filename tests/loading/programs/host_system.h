/* What the host asks of its system. */
#pragma once

typedef void (*HostProcedure)(void);

void* HostOpen(const char* pszPath);
HostProcedure HostFind(void* pLibrary, const char* pszName);
int HostClose(void* pLibrary);
int HostIsLoaded(const char* pszPath);
const char* HostError(void);

void* HostStartThread(void (*pfnRun)(void*), void* pvParameter);
void HostJoinThread(void* pThread);
void HostSleep(unsigned uMilliseconds);
