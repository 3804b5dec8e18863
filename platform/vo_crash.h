// A last report of a program that crashes.
#pragma once

#include <stdint.h>

#include "vo_types.h"

struct VOCrash
{
    char szWhat[160];         // "SIGSEGV (invalid access to memory) at 0x10", without a line end
    uint32_t uThreadId;       // the thread that crashed
    const CONTEXT* pContext;  // its registers at that moment
};

// Makes the report. It runs on a thread of its own, which stands ready from the start, while the thread that crashed
// waits: the crash may have left locks taken (the allocator's, a stream's), so that the report may hang, and may crash
// itself.
typedef void (*VOCrashReport)(const VOCrash& rkCrash);

// From this call on, a crash of any thread is reported before the process ends of it. Linux: SIGSEGV, SIGBUS, SIGFPE,
// SIGILL and SIGABRT, of the program's own or sent to it. Windows: every exception that nothing handles, and abort().
//
// The process ends as it would have without the report, by the same signal or exception, once the report is made; also
// when the report takes longer than uMilliseconds, and when it crashes. A stack that is used up is reported for the
// thread that made this call; where another thread's is, Linux ends the process without a report. One call in a
// program; false when the system refused, and nothing is reported then.
bool VOReportCrashes(VOCrashReport pfnReport, uint32_t uMilliseconds);

// Another limit from now on, for one who would rather wait.
void VOLimitCrashReport(uint32_t uMilliseconds);

// Writes to standard error past the runtime's stream and its lock.
void VOWriteErrorText(const char* pszText);
