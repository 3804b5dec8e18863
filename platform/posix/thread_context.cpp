// The registers of threads: of the caller, of a suspended thread, and of one that faulted.
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <utility>

#include "platform/fault_points.h"
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
enum Phase : uint32_t
{
    PHASE_NONE = 0,
    PHASE_ASKED = 1,
    PHASE_STANDS = 2,
    PHASE_RELEASED = 3
};

std::atomic<uint32_t> s_uPhase{PHASE_NONE};
CONTEXT s_context;  // of the thread that stands
pid_t s_nTraced = 0;

CONTEXT RegistersOf(const void* pvSystemContext)
{
    const greg_t* const pn = static_cast<const ucontext_t*>(pvSystemContext)->uc_mcontext.gregs;
    const auto InOrder = [pn](auto... nRegister) {
        return CONTEXT{0, static_cast<unsigned>(pn[REG_EFL]), static_cast<unsigned long long>(pn[nRegister])...};
    };
    return InOrder(REG_RAX, REG_RCX, REG_RDX, REG_RBX, REG_RSP, REG_RBP, REG_RSI, REG_RDI, REG_R8, REG_R9, REG_R10,
                   REG_R11, REG_R12, REG_R13, REG_R14, REG_R15, REG_RIP);
}

// Runs on the thread that is to stand, and returns when it may go on.
void OnSignal(int, siginfo_t*, void* pvContext)
{
    uint32_t uAsked = PHASE_ASKED;
    if (s_uPhase.load() != uAsked)
    {
        return;  // whoever asked has given up
    }
    // A thread that the library holds suspended is shown where it was, and not inside of what holds it.
    const ucontext_t* const pInterrupted = ThreadObject::InterruptedContext();
    s_context = RegistersOf(pInterrupted != nullptr ? pInterrupted : pvContext);
    if (s_uPhase.compare_exchange_strong(uAsked, PHASE_STANDS))
    {
        FutexWakeAll(s_uPhase);
        FutexWaitWhile(s_uPhase, PHASE_STANDS);
        FutexStore(s_uPhase, PHASE_NONE);
    }
}

// Gives the signal back when the library is unloaded, unless a thread still stands by it.
struct OwnSignal
{
    int nSignal = TakeOwnSignal(OnSignal, true, 0);

    ~OwnSignal()
    {
        if (s_uPhase.load() == PHASE_NONE)
        {
            GiveBackOwnSignal(std::exchange(nSignal, 0), OnSignal);
        }
    }
};

bool IsOwnThread(pid_t nThread)
{
    return access(("/proc/self/task/" + std::to_string(nThread)).c_str(), F_OK) == 0;
}

bool StopOwnThread(pid_t nThread)
{
    const int nSignal = WalkerSignal();
    uint32_t uNone = PHASE_NONE;
    if (nSignal == 0 || VO_FAULT_POINT("tgkill") || !s_uPhase.compare_exchange_strong(uNone, PHASE_ASKED))
    {
        return FailCall(ERROR_ACCESS_DENIED);
    }
    if (syscall(SYS_tgkill, getpid(), nThread, nSignal) != 0)
    {
        const DWORD uError = ErrorFromErrno(errno);
        FutexStore(s_uPhase, PHASE_NONE);
        return FailCall(uError);
    }
    // A thread that blocks the signal, or ends meanwhile, doesn't answer.
    const Deadline patience(10000);
    while (s_uPhase.load() == PHASE_ASKED && IsOwnThread(nThread) && !patience.IsOver())
    {
        FutexWait(s_uPhase, PHASE_ASKED, Deadline(2000).Get());
    }
    uint32_t uAsked = PHASE_ASKED;
    return !s_uPhase.compare_exchange_strong(uAsked, PHASE_NONE) || FailCall(ERROR_ACCESS_DENIED);
}

bool StopOtherThread(pid_t nThread)
{
    int nStatus = 0;
    if (s_nTraced != 0 || VO_FAULT_POINT("ptrace") || ptrace(PTRACE_SEIZE, nThread, nullptr, nullptr) != 0)
    {
        return FailCall(ErrorFromErrno(s_nTraced != 0 ? EBUSY : errno));
    }
    if (ptrace(PTRACE_INTERRUPT, nThread, nullptr, nullptr) != 0 || waitpid(nThread, &nStatus, __WALL) != nThread ||
        !WIFSTOPPED(nStatus))
    {
        ptrace(PTRACE_DETACH, nThread, nullptr, nullptr);
        return FailCall(ERROR_ACCESS_DENIED);
    }
    s_nTraced = nThread;
    return true;
}

pid_t ThreadOf(HANDLE hThread)
{
    return static_cast<pid_t>(reinterpret_cast<intptr_t>(hThread));
}
}  // namespace

int WalkerSignal()
{
    static OwnSignal s_signal;
    return s_signal.nSignal;
}

bool VOIsCallingThread(HANDLE hThread)
{
    return hThread == GetCurrentThread() || ThreadOf(hThread) == gettid();
}

DWORD VOSuspendThread(HANDLE hThread)
{
    const pid_t nThread = ThreadOf(hThread);
    if (VOIsCallingThread(hThread))
    {
        return 0;
    }
    if (nThread <= 0)
    {
        return FailCall(ERROR_INVALID_HANDLE, kFailedCall);
    }
    return (IsOwnThread(nThread) ? StopOwnThread(nThread) : StopOtherThread(nThread)) ? 0 : kFailedCall;
}

bool VOGetThreadContext(HANDLE hThread, CONTEXT* pContext)
{
    const pid_t nThread = ThreadOf(hThread);
    if (s_nTraced != 0 && s_nTraced == nThread)
    {
        struct user_regs_struct registers;
        if (ptrace(PTRACE_GETREGS, nThread, nullptr, &registers) != 0)
        {
            return FailCall(ErrorFromErrno(errno));
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
    if (s_uPhase.load() != PHASE_STANDS || VOIsCallingThread(hThread) || !IsOwnThread(nThread))
    {
        return FailCall(ERROR_INVALID_HANDLE);
    }
    const unsigned uFlags = pContext->ContextFlags;
    *pContext = s_context;
    pContext->ContextFlags = uFlags;
    return true;
}

DWORD VOResumeThread(HANDLE hThread)
{
    if (VOIsCallingThread(hThread))
    {
        return 0;
    }
    if (s_nTraced != 0 && s_nTraced == ThreadOf(hThread))
    {
        ptrace(PTRACE_DETACH, s_nTraced, nullptr, nullptr);
        s_nTraced = 0;
        return 1;
    }
    uint32_t uStands = PHASE_STANDS;
    if (!s_uPhase.compare_exchange_strong(uStands, PHASE_RELEASED))
    {
        return FailCall(ERROR_INVALID_HANDLE, kFailedCall);
    }
    // The next one may be asked as soon as this one has gone on.
    FutexWakeAll(s_uPhase);
    FutexWaitWhile(s_uPhase, PHASE_RELEASED);
    return 1;
}

void VOContextOfFault(const void* pvSystemContext, CONTEXT* pContext)
{
    *pContext = RegistersOf(pvSystemContext);
}
