#include <stdio.h>
#include <stdlib.h>
#include <windows.h>

#include "host_system.h"

struct Thread
{
    HANDLE hThread;
    void (*pfnRun)(void*);
    void* pvParameter;
};

static DWORD WINAPI Run(void* pvThread)
{
    struct Thread* const pThread = pvThread;
    pThread->pfnRun(pThread->pvParameter);
    return 0;
}

void* HostOpen(const char* pszPath)
{
    return LoadLibraryExA(pszPath, NULL, LOAD_WITH_ALTERED_SEARCH_PATH);
}

HostProcedure HostFind(void* pLibrary, const char* pszName)
{
    return (HostProcedure)GetProcAddress(pLibrary, pszName);
}

int HostClose(void* pLibrary)
{
    return FreeLibrary(pLibrary) != 0;
}

int HostIsLoaded(const char* pszPath)
{
    return GetModuleHandleA(pszPath) != NULL;
}

const char* HostError(void)
{
    static char s_szError[32];
    snprintf(s_szError, sizeof(s_szError), "error %lu", GetLastError());
    return s_szError;
}

void* HostStartThread(void (*pfnRun)(void*), void* pvParameter)
{
    struct Thread* const pThread = malloc(sizeof(*pThread));
    if (pThread == NULL)
    {
        abort();
    }
    pThread->pfnRun = pfnRun;
    pThread->pvParameter = pvParameter;
    pThread->hThread = CreateThread(NULL, 0, Run, pThread, 0, NULL);
    if (pThread->hThread == NULL)
    {
        abort();
    }
    return pThread;
}

void HostJoinThread(void* pvThread)
{
    struct Thread* const pThread = pvThread;
    WaitForSingleObject(pThread->hThread, INFINITE);
    CloseHandle(pThread->hThread);
    free(pThread);
}

void HostSleep(unsigned uMilliseconds)
{
    Sleep(uMilliseconds);
}
