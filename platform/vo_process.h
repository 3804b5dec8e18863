// The process: its console, requests to stop, and a last report of one that crashes.
#pragma once

#include <stdint.h>
#include <stdio.h>

#include <string>
#include <vector>

#include "vo_types.h"

// The process, its console, and requests to stop.
uint32_t VOProcessId();

void VOSleepMilliseconds(uint32_t uMilliseconds);

// The calling thread lets others of the process and the machine go first, from now on.
void VOLowerThreadPriority();

// The program's arguments after its name, in the narrow form of vo_text.h on both systems.
std::vector<std::string> VOArguments(int nCount, char** ppszArguments);

// Sets a variable of the environment that processes started from now on get. UTF-8, or any bytes on Linux. Not beside
// other threads that look at the environment. False when it can't be set.
bool VOSetEnvironment(const std::string& strName, const std::string& strValue);

// Makes a console show UTF-8 and understand colour sequences, where that isn't so by itself.
void VOPrepareConsole();

// True when the stream ends at a terminal that a person looks at.
bool VOIsTerminal(FILE* pStream);

// Keeps standard output for the caller: the stream that is returned ends where standard output did, and what is written
// to stdout from now on, by whatever library, goes nowhere. Programs that are started later have standard output as it
// was. Null, and nothing is changed, when the system refuses. Once, before other threads.
FILE* VOTakeStandardOutput();

// Runs a command line by the system's shell, and waits for its end. What it writes goes to standard output, also after
// VOTakeStandardOutput. -1 when it can't be run; otherwise what system() gives. From one thread at a time.
int VORunCommand(const std::string& strCommand);

// Requests that come so close behind the first one are the first one, in milliseconds. Whoever passes a signal on sends
// it to the process and to its group, so that it comes twice.
inline constexpr uint32_t kVOSameStopRequest = 500;

// From this call on, the first request to stop (SIGINT, SIGTERM or SIGHUP; Ctrl-C, Ctrl-Break or the closing of the
// console on Windows) is noted instead of ending the process; a later one, kVOSameStopRequest or more behind it, ends
// it at once. Calling it again changes nothing. False when the system refused.
bool VOHandleStopRequests();

// True once a request was noted.
bool VOStopRequested();

// Waits for a request at most so long (0xFFFFFFFF: without limit). True when there is one. Any number of threads may
// wait.
bool VOWaitForStopRequest(uint32_t uMilliseconds);

// Makes the request from inside the program.
void VORequestStop();

// A last report of a program that crashes.
struct VOCrash
{
    char szWhat[160];         // "SIGSEGV (invalid access to memory) at 0x10", without a line end
    uint32_t uThreadId;       // the thread that crashed
    const CONTEXT* pContext;  // its registers at that moment
};

// Makes the report. It runs on a thread of its own, which stands ready from the start, while the thread that crashed
// waits: the crash may have left locks taken (the allocator's, a stream's), so that the report may hang, and may crash
// itself.
typedef void (*VOCrashReport)(const VOCrash& crash);

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
