#define _GNU_SOURCE
#include <dlfcn.h>
#include <pthread.h>
#include <stdlib.h>
#include <time.h>

#include "host_system.h"

struct Thread
{
    pthread_t thread;
    void (*pfnRun)(void*);
    void* pvParameter;
};

static void* Run(void* pvThread)
{
    struct Thread* const pThread = pvThread;
    pThread->pfnRun(pThread->pvParameter);
    return NULL;
}

void* HostOpen(const char* pszPath)
{
    return dlopen(pszPath, RTLD_NOW | RTLD_LOCAL);
}

HostProcedure HostFind(void* pLibrary, const char* pszName)
{
    /* The way that the standard of dlsym itself names for a function. */
    HostProcedure pfnFound = NULL;
    *(void**)(&pfnFound) = dlsym(pLibrary, pszName);
    return pfnFound;
}

int HostClose(void* pLibrary)
{
    return dlclose(pLibrary) == 0;
}

int HostIsLoaded(const char* pszPath)
{
    void* const pLibrary = dlopen(pszPath, RTLD_NOW | RTLD_NOLOAD);
    if (pLibrary != NULL)
    {
        dlclose(pLibrary);
    }
    return pLibrary != NULL;
}

const char* HostError(void)
{
    const char* const pszError = dlerror();
    return pszError != NULL ? pszError : "";
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
    if (pthread_create(&pThread->thread, NULL, Run, pThread) != 0)
    {
        abort();
    }
    return pThread;
}

void HostJoinThread(void* pvThread)
{
    struct Thread* const pThread = pvThread;
    pthread_join(pThread->thread, NULL);
    free(pThread);
}

void HostSleep(unsigned uMilliseconds)
{
    const struct timespec time = {uMilliseconds / 1000, (long)(uMilliseconds % 1000) * 1000000};
    nanosleep(&time, NULL);
}
