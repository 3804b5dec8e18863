// The registers of threads: of the caller, of a suspended thread, and of one that faulted.
#include <errno.h>
#include <linux/futex.h>
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <ucontext.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <utility>

#include "platform/fault_points.h"
#include "platform/posix/kernel.h"
#include "platform/posix/threads.h"
#include "platform/vo_debug_help.h"

// The caller's own registers can be had in no other way than by code that has no frame of its own.
asm(R"(
    .text
    .globl RtlCaptureContext
    .hidden RtlCaptureContext
    .type RtlCaptureContext, @function
RtlCaptureContext:
    .cfi_startproc
    movq %rax, 8(%rdi)
    movq %rcx, 16(%rdi)
    movq %rdx, 24(%rdi)
    movq %rbx, 32(%rdi)
    leaq 8(%rsp), %rax
    movq %rax, 40(%rdi)
    movq %rbp, 48(%rdi)
    movq %rsi, 56(%rdi)
    movq %rdi, 64(%rdi)
    movq %r8, 72(%rdi)
    movq %r9, 80(%rdi)
    movq %r10, 88(%rdi)
    movq %r11, 96(%rdi)
    movq %r12, 104(%rdi)
    movq %r13, 112(%rdi)
    movq %r14, 120(%rdi)
    movq %r15, 128(%rdi)
    movq (%rsp), %rax
    movq %rax, 136(%rdi)
    movq 8(%rdi), %rax
    ret
    .cfi_endproc
    .size RtlCaptureContext, . - RtlCaptureContext
)");
static_assert(offsetof(CONTEXT, Rax) == 8 && offsetof(CONTEXT, Rbx) == 32 && offsetof(CONTEXT, Rsp) == 40);
static_assert(offsetof(CONTEXT, Rdi) == 64 && offsetof(CONTEXT, R8) == 72 && offsetof(CONTEXT, Rip) == 136);

namespace
{
constexpr DWORD kFailedCall = static_cast<DWORD>(-1);

// Where the one suspended thread of this process is. Odd values are its own.
enum Phase : int
{
    PHASE_NONE = 0,
    PHASE_ASKED = 1,
    PHASE_STANDS = 2,
    PHASE_RELEASED = 3
};

std::atomic<int> s_nPhase{PHASE_NONE};
CONTEXT s_context;  // of the thread that stands
pid_t s_nTraced = 0;

void Futex(int nOperation, int nValue, const timespec* pTimeout)
{
    const int nErrno = errno;
    syscall(SYS_futex, reinterpret_cast<int*>(&s_nPhase), nOperation, nValue, pTimeout, nullptr, 0);
    errno = nErrno;
}

void SetPhase(int nPhase)
{
    s_nPhase.store(nPhase);
    Futex(FUTEX_WAKE, 0x7FFFFFFF, nullptr);
}

void TakeRegisters(const ucontext_t* pFrom, CONTEXT* pTo)
{
    const greg_t* const pn = pFrom->uc_mcontext.gregs;
    const auto Value = [pn](int nRegister) { return static_cast<unsigned long long>(pn[nRegister]); };
    pTo->EFlags = static_cast<unsigned>(Value(REG_EFL));
    pTo->Rax = Value(REG_RAX);
    pTo->Rcx = Value(REG_RCX);
    pTo->Rdx = Value(REG_RDX);
    pTo->Rbx = Value(REG_RBX);
    pTo->Rsp = Value(REG_RSP);
    pTo->Rbp = Value(REG_RBP);
    pTo->Rsi = Value(REG_RSI);
    pTo->Rdi = Value(REG_RDI);
    pTo->R8 = Value(REG_R8);
    pTo->R9 = Value(REG_R9);
    pTo->R10 = Value(REG_R10);
    pTo->R11 = Value(REG_R11);
    pTo->R12 = Value(REG_R12);
    pTo->R13 = Value(REG_R13);
    pTo->R14 = Value(REG_R14);
    pTo->R15 = Value(REG_R15);
    pTo->Rip = Value(REG_RIP);
}

// Runs on the thread that is to stand, and returns when it may go on.
void OnSignal(int, siginfo_t*, void* pvContext)
{
    int nAsked = PHASE_ASKED;
    if (s_nPhase.load() != nAsked)
    {
        return;  // whoever asked has given up
    }
    // A thread that the library holds suspended is shown where it was, and not inside of what holds it.
    const ucontext_t* const pInterrupted = ThreadObject::InterruptedContext();
    TakeRegisters(pInterrupted != nullptr ? pInterrupted : static_cast<const ucontext_t*>(pvContext), &s_context);
    if (!s_nPhase.compare_exchange_strong(nAsked, PHASE_STANDS))
    {
        return;
    }
    Futex(FUTEX_WAKE, 0x7FFFFFFF, nullptr);
    while (s_nPhase.load() == PHASE_STANDS)
    {
        Futex(FUTEX_WAIT, PHASE_STANDS, nullptr);
    }
    SetPhase(PHASE_NONE);
}

// Gives the signal back when the library is unloaded, unless a thread still stands by it.
struct OwnSignal
{
    int nSignal = TakeOwnSignal(OnSignal, true, 0);

    ~OwnSignal()
    {
        if (s_nPhase.load() == PHASE_NONE)
        {
            GiveBackOwnSignal(std::exchange(nSignal, 0), OnSignal);
        }
    }
};
}  // namespace

int WalkerSignal()
{
    static OwnSignal s_signal;
    return s_signal.nSignal;
}

namespace
{
bool IsOwnThread(pid_t nThread)
{
    return access(("/proc/self/task/" + std::to_string(nThread)).c_str(), F_OK) == 0;
}

bool StopOwnThread(pid_t nThread)
{
    const int nSignal = WalkerSignal();
    int nNone = PHASE_NONE;
    if (nSignal == 0 || VO_FAULT_POINT("tgkill") || !s_nPhase.compare_exchange_strong(nNone, PHASE_ASKED))
    {
        SetLastError(ERROR_ACCESS_DENIED);
        return false;
    }
    if (syscall(SYS_tgkill, getpid(), nThread, nSignal) != 0)
    {
        const DWORD uError = ErrorFromErrno(errno);
        SetPhase(PHASE_NONE);
        SetLastError(uError);
        return false;
    }
    // A thread that blocks the signal, or ends meanwhile, doesn't answer.
    const timespec patience = {2, 0};
    for (int i = 0; i < 5 && s_nPhase.load() == PHASE_ASKED; ++i)
    {
        Futex(FUTEX_WAIT, PHASE_ASKED, &patience);
        if (!IsOwnThread(nThread))
        {
            break;
        }
    }
    int nAsked = PHASE_ASKED;
    if (s_nPhase.compare_exchange_strong(nAsked, PHASE_NONE))
    {
        SetLastError(ERROR_ACCESS_DENIED);
        return false;
    }
    return true;
}

bool StopOtherThread(pid_t nThread)
{
    int nStatus = 0;
    if (s_nTraced != 0 || VO_FAULT_POINT("ptrace") || ptrace(PTRACE_SEIZE, nThread, nullptr, nullptr) != 0)
    {
        SetLastError(ErrorFromErrno(s_nTraced != 0 ? EBUSY : errno));
        return false;
    }
    if (ptrace(PTRACE_INTERRUPT, nThread, nullptr, nullptr) != 0 || waitpid(nThread, &nStatus, __WALL) != nThread ||
        !WIFSTOPPED(nStatus))
    {
        ptrace(PTRACE_DETACH, nThread, nullptr, nullptr);
        SetLastError(ERROR_ACCESS_DENIED);
        return false;
    }
    s_nTraced = nThread;
    return true;
}

}  // namespace

bool VOIsCallingThread(HANDLE hThread)
{
    return reinterpret_cast<intptr_t>(hThread) == -2 ||
           static_cast<pid_t>(reinterpret_cast<intptr_t>(hThread)) == static_cast<pid_t>(syscall(SYS_gettid));
}

DWORD VOSuspendThread(HANDLE hThread)
{
    const pid_t nThread = static_cast<pid_t>(reinterpret_cast<intptr_t>(hThread));
    if (VOIsCallingThread(hThread))
    {
        return 0;
    }
    if (nThread <= 0)
    {
        SetLastError(ERROR_INVALID_HANDLE);
        return kFailedCall;
    }
    return (IsOwnThread(nThread) ? StopOwnThread(nThread) : StopOtherThread(nThread)) ? 0 : kFailedCall;
}

bool VOGetThreadContext(HANDLE hThread, CONTEXT* pContext)
{
    const pid_t nThread = static_cast<pid_t>(reinterpret_cast<intptr_t>(hThread));
    if (s_nTraced != 0 && s_nTraced == nThread)
    {
        struct user_regs_struct registers;
        if (ptrace(PTRACE_GETREGS, nThread, nullptr, &registers) != 0)
        {
            SetLastError(ErrorFromErrno(errno));
            return false;
        }
        *pContext = {pContext->ContextFlags, static_cast<unsigned>(registers.eflags),
                     registers.rax,          registers.rcx,
                     registers.rdx,          registers.rbx,
                     registers.rsp,          registers.rbp,
                     registers.rsi,          registers.rdi,
                     registers.r8,           registers.r9,
                     registers.r10,          registers.r11,
                     registers.r12,          registers.r13,
                     registers.r14,          registers.r15,
                     registers.rip};
        return true;
    }
    if (s_nPhase.load() != PHASE_STANDS || VOIsCallingThread(hThread) || !IsOwnThread(nThread))
    {
        SetLastError(ERROR_INVALID_HANDLE);
        return false;
    }
    const unsigned uFlags = pContext->ContextFlags;
    *pContext = s_context;
    pContext->ContextFlags = uFlags;
    return true;
}

DWORD VOResumeThread(HANDLE hThread)
{
    const pid_t nThread = static_cast<pid_t>(reinterpret_cast<intptr_t>(hThread));
    if (VOIsCallingThread(hThread))
    {
        return 0;
    }
    if (s_nTraced != 0 && s_nTraced == nThread)
    {
        ptrace(PTRACE_DETACH, nThread, nullptr, nullptr);
        s_nTraced = 0;
        return 1;
    }
    int nStands = PHASE_STANDS;
    if (!s_nPhase.compare_exchange_strong(nStands, PHASE_RELEASED))
    {
        SetLastError(ERROR_INVALID_HANDLE);
        return kFailedCall;
    }
    // The next one may be asked as soon as this one has gone on.
    Futex(FUTEX_WAKE, 0x7FFFFFFF, nullptr);
    while (s_nPhase.load() == PHASE_RELEASED)
    {
        Futex(FUTEX_WAIT, PHASE_RELEASED, nullptr);
    }
    return 1;
}

void VOContextOfFault(const void* pvSystemContext, CONTEXT* pContext)
{
    *pContext = {};
    TakeRegisters(static_cast<const ucontext_t*>(pvSystemContext), pContext);
}
