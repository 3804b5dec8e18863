/* A program in plain C that isn't linked with the library: it loads and unloads it, or a plug-in that uses it, while it
 * runs. Exit code 0, or 1 with what was wrong on standard error.
 *
 *   host log LIBRARY ROUNDS
 *   host plugin PLUGIN LIBRARY ROUNDS FOLDER
 *   host running PLUGIN LIBRARY FOLDER
 */
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "host_system.h"

#define THREADS 4
#define MESSAGES 100

typedef int (*LogHook)(int, const char*);
typedef int (*LogFunction)(int, const char*, ...);
typedef int (*SetHookFunction)(LogHook);
typedef int (*WorkFunction)(const char*);
typedef void* (*StartFunction)(const char*);
typedef int (*StopFunction)(void*);

static LogFunction s_pfnLog;
static atomic_int s_nMessages;
static atomic_int s_nWrong;
static atomic_int s_bLogged;
static atomic_int s_bUnloaded;

static int Fail(const char* pszWhat, const char* pszDetail)
{
    fprintf(stderr, "%s %s\n", pszWhat, pszDetail);
    return 1;
}

static int Hook(int nPriority, const char* pszText)
{
    /* Each thread's text is one letter, many times. */
    const size_t uLength = strlen(pszText);
    if (nPriority != 3 || uLength < 2 || strspn(pszText, (const char[]){pszText[0], 0}) != uLength - 1)
    {
        ++s_nWrong;
    }
    ++s_nMessages;
    return 7;
}

static void Log(void* pvLetter)
{
    char szText[500];
    memset(szText, *(const char*)pvLetter, sizeof(szText) - 1);
    szText[sizeof(szText) - 1] = 0;
    for (int i = 0; i < MESSAGES; ++i)
    {
        if (s_pfnLog(3, "%s\n", szText) != 7)
        {
            ++s_nWrong;
        }
    }
}

/* Has used the library, and ends when it is gone. */
static void LogAndOutlive(void* pvLetter)
{
    Log(pvLetter);
    s_bLogged = 1;
    while (!s_bUnloaded)
    {
        HostSleep(1);
    }
}

static int LogRound(const char* pszLibrary)
{
    static char s_achLetter[] = "abcdefgh";
    void* apThread[THREADS];
    void* const pLibrary = HostOpen(pszLibrary);
    if (pLibrary == NULL)
    {
        return Fail("can't be loaded:", HostError());
    }
    s_pfnLog = (LogFunction)HostFind(pLibrary, "_Z11VOLogPrintf14VOLOG_PRIORITYPKcz");
    const SetHookFunction pfnSetHook =
        (SetHookFunction)HostFind(pLibrary, "_Z20SetLogPrintfFunctionPFi14VOLOG_PRIORITYPKcE");
    if (s_pfnLog == NULL || pfnSetHook == NULL)
    {
        return Fail("a function is missing in", pszLibrary);
    }
    if (s_pfnLog(3, "before the hook\n") != 0)
    {
        return Fail("the hook of an earlier load is in force in", pszLibrary);
    }
    s_nMessages = s_nWrong = s_bLogged = s_bUnloaded = 0;
    if (pfnSetHook(NULL) != 0 || pfnSetHook(Hook) != 1)
    {
        return Fail("the hook isn't taken by", pszLibrary);
    }
    for (int i = 0; i < THREADS; ++i)
    {
        apThread[i] = HostStartThread(i == 0 ? LogAndOutlive : Log, &s_achLetter[i]);
    }
    for (int i = 1; i < THREADS; ++i)
    {
        HostJoinThread(apThread[i]);
    }
    while (!s_bLogged)
    {
        HostSleep(1);
    }
    const int bGone = HostClose(pLibrary) && !HostIsLoaded(pszLibrary);
    s_bUnloaded = 1;
    HostJoinThread(apThread[0]);
    if (!bGone)
    {
        return Fail("isn't unloaded:", pszLibrary);
    }
    return s_nMessages == THREADS * MESSAGES && s_nWrong == 0 ? 0 : Fail("messages are lost or mixed in", pszLibrary);
}

static int PluginRound(const char* pszPlugin, const char* pszLibrary, const char* pszFolder)
{
    void* const pPlugin = HostOpen(pszPlugin);
    if (pPlugin == NULL)
    {
        return Fail("can't be loaded:", HostError());
    }
    const WorkFunction pfnWork = (WorkFunction)HostFind(pPlugin, "PluginWork");
    if (pfnWork == NULL || pfnWork(pszFolder) != 1)
    {
        return Fail("the plug-in doesn't work:", pszPlugin);
    }
    if (!HostClose(pPlugin) || HostIsLoaded(pszPlugin))
    {
        return Fail("isn't unloaded:", pszPlugin);
    }
    return HostIsLoaded(pszLibrary) ? Fail("isn't unloaded with the plug-in:", pszLibrary) : 0;
}

/* The plug-in goes while threads of the library run. */
static int UnloadUnderThreads(const char* pszPlugin, const char* pszLibrary, const char* pszFolder)
{
    void* pPlugin = HostOpen(pszPlugin);
    const StartFunction pfnStart = pPlugin != NULL ? (StartFunction)HostFind(pPlugin, "PluginStart") : NULL;
    void* const pvWork = pfnStart != NULL ? pfnStart(pszFolder) : NULL;
    if (pvWork == NULL)
    {
        return Fail("the plug-in doesn't start:", pszPlugin);
    }
    /* The plug-in itself may stay, where the library has taken a symbol from it. */
    if (!HostClose(pPlugin) || !HostIsLoaded(pszLibrary))
    {
        return Fail("is gone under its threads:", pszLibrary);
    }
    for (int i = 0; i < 50; ++i)
    {
        char szPath[1024];
        snprintf(szPath, sizeof(szPath), "%s/file%d", pszFolder, i);
        FILE* const pFile = fopen(szPath, "w");
        if (pFile != NULL)
        {
            fclose(pFile);
        }
        HostSleep(2);
    }
    pPlugin = HostOpen(pszPlugin);
    const StopFunction pfnStop = pPlugin != NULL ? (StopFunction)HostFind(pPlugin, "PluginStop") : NULL;
    if (pfnStop == NULL || pfnStop(pvWork) != 1)
    {
        return Fail("the threads can't be stopped by", pszPlugin);
    }
    if (!HostClose(pPlugin) || HostIsLoaded(pszPlugin))
    {
        return Fail("isn't unloaded:", pszPlugin);
    }
    return HostIsLoaded(pszLibrary) ? Fail("isn't unloaded after its threads:", pszLibrary) : 0;
}

int main(int nArguments, char** ppszArgument)
{
    int nResult = 0;
    if (nArguments == 4 && strcmp(ppszArgument[1], "log") == 0)
    {
        for (int i = 0; i < atoi(ppszArgument[3]) && nResult == 0; ++i)
        {
            nResult = LogRound(ppszArgument[2]);
        }
        return nResult;
    }
    if (nArguments == 6 && strcmp(ppszArgument[1], "plugin") == 0)
    {
        for (int i = 0; i < atoi(ppszArgument[4]) && nResult == 0; ++i)
        {
            nResult = PluginRound(ppszArgument[2], ppszArgument[3], ppszArgument[5]);
        }
        return nResult;
    }
    if (nArguments == 5 && strcmp(ppszArgument[1], "running") == 0)
    {
        return UnloadUnderThreads(ppszArgument[2], ppszArgument[3], ppszArgument[4]);
    }
    return Fail("wrong arguments for", ppszArgument[0]);
}
