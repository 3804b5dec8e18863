// Crashes are signals here. The handler hands over to a thread that was started before, and waits for it: nothing but
// that thread does what isn't allowed in a handler.
#include "platform/vo_process.h"

#include <sys/mman.h>
#include <unistd.h>

#include "platform/posix/threads.h"
#include "platform/vo_debug_help.h"

namespace
{

constexpr std::initializer_list<int> kSignals = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};

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

void* ReporterThread(void*)
{
    VOCrash crash = {};
    s_nReporter.store(gettid());
    FutexWaitWhile(s_uCrashPhase, CRASH_NONE);
    // From here on a crash is one of the report.
    UnblockSignals(kSignals);
    Describe(s_info, &crash);
    s_pfnReport(crash);
    FutexStore(s_uCrashPhase, CRASH_DONE);
    return nullptr;
}

// The report has crashed, or something else on its thread: the first signal ends the process, here and now.
void EndFromReporter()
{
    const int nSignal = s_nSignal.load();
    signal(nSignal, SIG_DFL);
    UnblockSignals({nSignal});
    raise(nSignal);
}

void MakeReport(const siginfo_t* pInfo, const void* pvContext)
{
    s_info = *pInfo;
    s_nSignal.store(pInfo->si_signo);
    VOContextOfFault(pvContext, &s_crash_context);
    FutexStore(s_uCrashPhase, CRASH_ASKED);
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
        if (gettid() == s_nReporter.load())
        {
            EndFromReporter();
        }
        if (!s_nCrashed.compare_exchange_strong(nNobody, gettid()))
        {
            // The first crash ends the process, also for this thread.
            while (true)
            {
                pause();
            }
        }
        MakeReport(pInfo, pvContext);
    }
    signal(nSignal, SIG_DFL);
    if (!ComesAgain(*pInfo))
    {
        raise(nSignal);  // it is blocked until this returns
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

// A request to stop, or a signal of a crash that another process sends, is another thread's.
bool StartReporter()
{
    pthread_t thread;
    return StartWithoutSignals(&thread, ReporterThread, nullptr) == 0 && pthread_detach(thread) == 0;
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
