// Crashes are signals here. The handler hands over to a thread that was started before, and waits for it: nothing but
// that thread does what isn't allowed in a handler.
#include "platform/vo_process.h"

#include <errno.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>

#include "platform/posix/waits.h"
#include "platform/vo_debug_help.h"

namespace
{

constexpr int kSignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};

// The handler needs little, and a signal's own record of all registers a few kilobytes.
constexpr size_t kHandlerStack = 64 * 1024;

enum CrashPhase : uint32_t
{
    CRASH_NONE = 0,
    CRASH_ASKED = 1,
    CRASH_DONE = 2
};

std::atomic<uint32_t> s_uCrashPhase{CRASH_NONE};
std::atomic<pid_t> s_nCrashed{0};  // the first thread that crashed
std::atomic<pid_t> s_nReporter{0};
std::atomic<int> s_nSignal{0};
std::atomic<uint32_t> s_uMilliseconds{0};
static_assert(std::atomic<pid_t>::is_always_lock_free, "a signal handler uses it");

// Written before the phase is.
pid_t s_nProcess = 0;
siginfo_t s_info;
CONTEXT s_crash_context;
VOCrashReport s_pfnReport = nullptr;

pid_t ThisThread()
{
    return static_cast<pid_t>(syscall(SYS_gettid));
}

// True for a signal that the same instruction raises again when it is repeated.
bool ComesAgain(const siginfo_t& about)
{
    return about.si_code > 0 && !(about.si_signo == SIGBUS && about.si_code == BUS_MCEERR_AO);
}

const char* Meaning(int nSignal)
{
    switch (nSignal)
    {
        case SIGSEGV:
            return "SIGSEGV (invalid access to memory)";
        case SIGBUS:
            return "SIGBUS (memory that isn't there)";
        case SIGFPE:
            return "SIGFPE (arithmetic error)";
        case SIGILL:
            return "SIGILL (illegal instruction)";
        default:
            return "SIGABRT (aborted)";
    }
}

void Describe(const siginfo_t& about, VOCrash* pCrash)
{
    if (ComesAgain(about))
    {
        (void)snprintf(pCrash->szWhat, sizeof(pCrash->szWhat), "%s at %p", Meaning(about.si_signo), about.si_addr);
    }
    else if (about.si_code == SI_USER && about.si_pid != s_nProcess)
    {
        (void)snprintf(pCrash->szWhat, sizeof(pCrash->szWhat), "%s, sent by process %d", Meaning(about.si_signo),
                       static_cast<int>(about.si_pid));
    }
    else
    {
        (void)snprintf(pCrash->szWhat, sizeof(pCrash->szWhat), "%s", Meaning(about.si_signo));
    }
    pCrash->uThreadId = static_cast<uint32_t>(s_nCrashed.load());
    pCrash->pContext = &s_crash_context;
}

void UnblockCrashSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int nSignal : kSignals)
    {
        sigaddset(&signals, nSignal);
    }
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
}

void* ReporterThread(void*)
{
    VOCrash crash = {};
    s_nReporter.store(ThisThread());
    while (s_uCrashPhase.load() != CRASH_ASKED)
    {
        FutexWait(s_uCrashPhase, CRASH_NONE, nullptr);
    }
    // From here on a crash is one of the report.
    UnblockCrashSignals();
    Describe(s_info, &crash);
    s_pfnReport(crash);
    s_uCrashPhase.store(CRASH_DONE);
    FutexWakeAll(s_uCrashPhase);
    return nullptr;
}

void TakeSystemAction(int nSignal)
{
    struct sigaction action = {};
    action.sa_handler = SIG_DFL;
    sigemptyset(&action.sa_mask);
    sigaction(nSignal, &action, nullptr);
}

// Gives a thread the signal once more; while it is blocked, when the handler returns.
void Raise(int nSignal)
{
    syscall(SYS_tgkill, getpid(), ThisThread(), nSignal);
}

// The report has crashed, or something else on its thread: the first signal ends the process, here and now.
void EndFromReporter()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, s_nSignal.load());
    TakeSystemAction(s_nSignal.load());
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
    Raise(s_nSignal.load());
}

void MakeReport(const siginfo_t* pInfo, const void* pvContext)
{
    s_info = *pInfo;
    s_nSignal.store(pInfo->si_signo);
    VOContextOfFault(pvContext, &s_crash_context);
    s_uCrashPhase.store(CRASH_ASKED);
    FutexWakeAll(s_uCrashPhase);
    const Deadline deadline(s_uMilliseconds.load());
    while (s_uCrashPhase.load() != CRASH_DONE && !deadline.IsOver())
    {
        FutexWait(s_uCrashPhase, CRASH_ASKED, deadline.Get());
    }
    if (s_uCrashPhase.load() != CRASH_DONE)
    {
        VOWriteErrorText("(the report takes too long and is given up)\n");
    }
}

void OnCrash(int nSignal, siginfo_t* pInfo, void* pvContext)
{
    pid_t nNobody = 0;
    // A child that was forked has no reporter.
    if (getpid() == s_nProcess)
    {
        if (ThisThread() == s_nReporter.load())
        {
            EndFromReporter();
        }
        if (!s_nCrashed.compare_exchange_strong(nNobody, ThisThread()))
        {
            // The first crash ends the process, also for this thread.
            while (true)
            {
                pause();
            }
        }
        MakeReport(pInfo, pvContext);
    }
    TakeSystemAction(nSignal);
    if (!ComesAgain(*pInfo))
    {
        Raise(nSignal);
    }
}

// Where the caller's own stack is used up, the handler needs another one. One that is there already stays.
bool PrepareHandlerStack()
{
    stack_t stack = {};
    if (sigaltstack(nullptr, &stack) == 0 && (stack.ss_flags & SS_DISABLE) == 0)
    {
        return true;
    }
    stack = {};
    stack.ss_size = kHandlerStack;
    stack.ss_sp = mmap(nullptr, kHandlerStack, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
    if (stack.ss_sp == MAP_FAILED)
    {
        return false;
    }
    if (sigaltstack(&stack, nullptr) != 0)
    {
        munmap(stack.ss_sp, kHandlerStack);
        return false;
    }
    return true;
}

// With all signals blocked: a request to stop, or a signal of a crash that another process sends, is another thread's.
bool StartReporter()
{
    sigset_t blocked;
    sigset_t before;
    pthread_t thread;
    sigfillset(&blocked);
    pthread_sigmask(SIG_SETMASK, &blocked, &before);
    const bool bStarted = pthread_create(&thread, nullptr, ReporterThread, nullptr) == 0;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (bStarted)
    {
        pthread_detach(thread);
    }
    return bStarted;
}

}  // namespace

bool VOReportCrashes(VOCrashReport pfnReport, uint32_t uMilliseconds)
{
    struct sigaction action = {};
    s_pfnReport = pfnReport;
    s_uMilliseconds = uMilliseconds;
    s_nProcess = getpid();
    bool bResult = PrepareHandlerStack() && StartReporter();
    action.sa_sigaction = OnCrash;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    for (const int nSignal : kSignals)
    {
        sigaddset(&action.sa_mask, nSignal);
    }
    for (const int nSignal : kSignals)
    {
        bResult = bResult && sigaction(nSignal, &action, nullptr) == 0;
    }
    return bResult;
}

void VOLimitCrashReport(uint32_t uMilliseconds)
{
    s_uMilliseconds.store(uMilliseconds);
}

void VOWriteErrorText(const char* pszText)
{
    size_t uLeft = strlen(pszText);
    while (uLeft != 0)
    {
        const ssize_t nWritten = write(STDERR_FILENO, pszText, uLeft);
        if (nWritten < 0 && errno != EINTR)
        {
            return;
        }
        const size_t uWritten = nWritten > 0 ? static_cast<size_t>(nWritten) : 0;
        pszText += uWritten;
        uLeft -= uWritten;
    }
}
