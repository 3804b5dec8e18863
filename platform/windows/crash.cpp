// Crashes are exceptions that nothing handles, and abort(). The filter hands over to a thread that was started before,
// and waits for it: that thread has a whole stack, and the wait has an end.
#include "platform/vo_process.h"

#include <signal.h>
#include <stdio.h>
#include <string.h>

#include <atomic>

#include "platform/vo_platform.h"

namespace
{

// What the runtime's abort() ends a process with.
constexpr DWORD kAborted = 3;

// Room for the filter where the stack is used up.
constexpr ULONG kFilterStack = 32 * 1024;

std::atomic<bool> s_bCrashed{false};
HANDLE s_hAsked = nullptr;
HANDLE s_hDone = nullptr;
VOCrashReport s_pfnReport = nullptr;
std::atomic<DWORD> s_uMilliseconds{0};
DWORD s_uReporter = 0;

// Written before the reporter is asked.
CONTEXT s_context;
DWORD s_uCode = kAborted;
DWORD s_uThread = 0;
ULONG_PTR s_uAddress = 0;

const char* Meaning(DWORD uCode)
{
    switch (uCode)
    {
        case EXCEPTION_ACCESS_VIOLATION:
            return "invalid access to memory";
        case EXCEPTION_IN_PAGE_ERROR:
            return "memory that isn't there";
        case EXCEPTION_INT_DIVIDE_BY_ZERO:
        case EXCEPTION_FLT_DIVIDE_BY_ZERO:
        case EXCEPTION_INT_OVERFLOW:
            return "arithmetic error";
        case EXCEPTION_ILLEGAL_INSTRUCTION:
            return "illegal instruction";
        case EXCEPTION_STACK_OVERFLOW:
            return "the stack is used up";
        default:
            return "no handler";
    }
}

void Describe(VOCrash* pCrash)
{
    if (s_uCode == kAborted)
    {
        (void)snprintf(pCrash->szWhat, sizeof(pCrash->szWhat), "SIGABRT (aborted)");
    }
    else
    {
        (void)snprintf(pCrash->szWhat, sizeof(pCrash->szWhat), "exception 0x%08lX (%s) at %p", s_uCode,
                       Meaning(s_uCode), reinterpret_cast<void*>(s_uAddress));
    }
    pCrash->uThreadId = s_uThread;
    pCrash->pContext = &s_context;
}

DWORD WINAPI ReporterThread(void*)
{
    VOCrash crash = {};
    WaitForSingleObject(s_hAsked, INFINITE);
    Describe(&crash);
    s_pfnReport(crash);
    SetEvent(s_hDone);
    return 0;
}

void MakeReport(DWORD uCode, ULONG_PTR uAddress, const CONTEXT& context)
{
    if (GetCurrentThreadId() == s_uReporter)
    {
        // The report has crashed: what crashed first names the end.
        TerminateProcess(GetCurrentProcess(), s_uCode);
    }
    if (s_bCrashed.exchange(true))
    {
        Sleep(INFINITE);  // the first crash ends the process, also for this thread
    }
    s_uCode = uCode;
    s_uAddress = uAddress;
    s_uThread = GetCurrentThreadId();
    s_context = context;
    SetEvent(s_hAsked);
    if (WaitForSingleObject(s_hDone, s_uMilliseconds.load()) != WAIT_OBJECT_0)
    {
        VOWriteErrorText("(the report takes too long and is given up)\n");
    }
}

LONG WINAPI OnException(EXCEPTION_POINTERS* pPointers)
{
    const EXCEPTION_RECORD& record = *pPointers->ExceptionRecord;
    const bool bAccess =
        record.ExceptionCode == EXCEPTION_ACCESS_VIOLATION || record.ExceptionCode == EXCEPTION_IN_PAGE_ERROR;
    const ULONG_PTR uAddress = bAccess && record.NumberParameters >= 2
                                   ? record.ExceptionInformation[1]
                                   : reinterpret_cast<ULONG_PTR>(record.ExceptionAddress);
    MakeReport(record.ExceptionCode, uAddress, *pPointers->ContextRecord);
    return EXCEPTION_CONTINUE_SEARCH;
}

// abort() goes on to its end when this returns.
void OnAbort(int)
{
    CONTEXT context = {};
    RtlCaptureContext(&context);
    MakeReport(kAborted, 0, context);
}

}  // namespace

bool VOReportCrashes(VOCrashReport pfnReport, uint32_t uMilliseconds)
{
    ULONG uStack = kFilterStack;
    s_pfnReport = pfnReport;
    s_uMilliseconds = uMilliseconds;
    s_hAsked = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    s_hDone = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    const HANDLE hThread = s_hAsked != nullptr && s_hDone != nullptr
                               ? CreateThread(nullptr, 0, ReporterThread, nullptr, 0, &s_uReporter)
                               : nullptr;
    if (hThread == nullptr)
    {
        return false;
    }
    CloseHandle(hThread);
    SetThreadStackGuarantee(&uStack);
    SetUnhandledExceptionFilter(OnException);
    return signal(SIGABRT, OnAbort) != SIG_ERR;
}

void VOLimitCrashReport(uint32_t uMilliseconds)
{
    s_uMilliseconds.store(uMilliseconds);
}

void VOWriteErrorText(const char* pszText)
{
    DWORD uWritten = 0;
    WriteFile(GetStdHandle(STD_ERROR_HANDLE), pszText, static_cast<DWORD>(strlen(pszText)), &uWritten, nullptr);
}
