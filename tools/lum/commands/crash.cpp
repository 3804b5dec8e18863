// lum crash: not in the help. Crashes on purpose, so that the report of a crash can be seen and tested.
#include <fmt/format.h>
#include <stdlib.h>

#include <thread>

#include "base/crash_report.h"
#include "base/log.h"
#include "commands/commands.h"
#include "platform/vo_process.h"

namespace lum
{

namespace
{

// No program has memory there.
volatile uintptr_t g_uNowhere = 0x10;
volatile unsigned g_uDepth = 0;

// Called through a pointer that the compiler must load, so that the function keeps a frame of its own.
typedef unsigned (*Faulty)(unsigned uLine);

unsigned WriteToNowhere(unsigned uLine)
{
    *reinterpret_cast<volatile unsigned*>(g_uNowhere) = uLine;
    return uLine;
}
constexpr unsigned kFaultLine = __LINE__ - 3;

unsigned UseUpTheStack(unsigned uLine);
volatile Faulty g_pfnWrite = &WriteToNowhere;
volatile Faulty g_pfnUseUp = &UseUpTheStack;

unsigned UseUpTheStack(unsigned uLine)
{
    volatile unsigned auRoom[1024];
    auRoom[uLine % 1024] = uLine;
    g_uDepth = g_uDepth + 1;
    return g_pfnUseUp(uLine + 1) + auRoom[uLine % 1024];
}

// Two that call each other, so that no two frames behind each other are the same.
unsigned Ping(unsigned uLine);
unsigned Pong(unsigned uLine);
volatile Faulty g_pfnPing = &Ping;
volatile Faulty g_pfnPong = &Pong;

unsigned Ping(unsigned uLine)
{
    volatile unsigned auRoom[1024];
    auRoom[uLine % 1024] = uLine;
    return g_pfnPong(uLine + 1) + auRoom[uLine % 1024];
}

unsigned Pong(unsigned uLine)
{
    volatile unsigned auRoom[1024];
    auRoom[uLine % 1024] = uLine;
    return g_pfnPing(uLine + 1) + auRoom[uLine % 1024];
}

void CrashInThread()
{
    std::thread thread([]() { g_pfnWrite(kFaultLine); });
    thread.join();
}

}  // namespace

int RunCrash(const CrashOptions& options, Output* pOutput)
{
    std::string strError;
    if (options.strLog && !StartLogFile(*options.strLog, &strError))
    {
        return EndWith(strError);
    }
    if (options.strLog)
    {
        // The library refuses that with a line of its own, which the log file then holds as well.
        GetLogPriorityString(VOLOG_PRIORITY_MAX);
    }
    pOutput->Write(fmt::format("WriteToNowhere at line {}\n", kFaultLine));
    pOutput->Flush();
    SetReportFault(options.strHow == "hang"    ? ReportFault::Hangs
                   : options.strHow == "twice" ? ReportFault::Crashes
                   : options.strHow == "slow"  ? ReportFault::Slow
                                               : ReportFault::None);
    if (options.strHow != "hang")
    {
        // Where the machine is busy, a sound report isn't given up.
        VOLimitCrashReport(60'000);
    }
    if (options.strHow == "abort")
    {
        abort();
    }
    else if (options.strHow == "stack")
    {
        g_pfnUseUp(0);
    }
    else if (options.strHow == "deep")
    {
        g_pfnPing(0);
    }
    else if (options.strHow == "thread")
    {
        CrashInThread();
    }
    else if (options.strHow == "wait")
    {
        VOSleepMilliseconds(60'000);
    }
    else
    {
        g_pfnWrite(kFaultLine);
    }
    return kExitError;
}

std::vector<std::string> CrashKinds()
{
    return {"write", "abort", "stack", "deep", "thread", "wait", "hang", "twice", "slow"};
}

}  // namespace lum
