#include "platform/posix/threads.h"

#include <unistd.h>

#include "platform/fault_points.h"

// The C library's own, under the C++ language's destructors of thread-local objects. Nobody but it can hold a library
// and let it go from a thread whose code lies in it.
extern "C" int __cxa_thread_atexit_impl(void (*pfnDestructor)(void*), void* pvObject, void* pvLibrary);
extern "C" __attribute__((visibility("hidden"))) void* __dso_handle;

namespace
{
// What the word of a thread says.
constexpr uint32_t kRuns = 0;
constexpr uint32_t kAskedToStand = 1;
constexpr uint32_t kStands = 2;

constexpr DWORD kMaximumSuspends = 127;  // as on Windows
constexpr DWORD kCallFailed = static_cast<DWORD>(-1);

constexpr DWORD kThreadWithoutMemory = static_cast<DWORD>(-1);  // in place of a thread's number

std::atomic<unsigned> s_uLiving{0};

void Leave(void*)
{
    s_uLiving.fetch_sub(1);
}
}  // namespace

void CallAtEndOfThread(EndOfThread pfnEnd, void* pvParameter)
{
    s_uLiving.fetch_add(1);
    __cxa_thread_atexit_impl(Leave, nullptr, &__dso_handle);
    __cxa_thread_atexit_impl(pfnEnd, pvParameter, &__dso_handle);
}

bool AnyThreadLives()
{
    return s_uLiving.load() != 0;
}

int TakeOwnSignal(SignalHandler pfnHandler, bool bFromBelow, int nLeftOpen)
{
    struct sigaction taken = {};
    taken.sa_sigaction = pfnHandler;
    taken.sa_flags = SA_SIGINFO | SA_RESTART;
    sigfillset(&taken.sa_mask);
    if (nLeftOpen != 0)
    {
        sigdelset(&taken.sa_mask, nLeftOpen);
    }
    const int nCount = SIGRTMAX - SIGRTMIN;
    for (int i = 0; i < nCount; ++i)
    {
        const int nSignal = bFromBelow ? SIGRTMIN + i : SIGRTMAX - 1 - i;
        struct sigaction action = {};
        const bool bFree = sigaction(nSignal, nullptr, &action) == 0 && (action.sa_flags & SA_SIGINFO) == 0 &&
                           action.sa_handler == SIG_DFL;
        if (bFree && sigaction(nSignal, &taken, nullptr) == 0)
        {
            return nSignal;
        }
    }
    return 0;
}

void GiveBackOwnSignal(int nSignal, SignalHandler pfnHandler)
{
    struct sigaction action = {};
    if (nSignal == 0 || sigaction(nSignal, nullptr, &action) != 0 || (action.sa_flags & SA_SIGINFO) == 0 ||
        action.sa_sigaction != pfnHandler)
    {
        return;
    }
    // What a thread has blocked is still under way, and its default would end the process: to be ignored drops it.
    signal(nSignal, SIG_IGN);
    signal(nSignal, SIG_DFL);
}

void UnblockSignals(std::initializer_list<int> signals)
{
    sigset_t unblocked;
    sigemptyset(&unblocked);
    for (const int nSignal : signals)
    {
        sigaddset(&unblocked, nSignal);
    }
    pthread_sigmask(SIG_UNBLOCK, &unblocked, nullptr);
}

int StartWithoutSignals(pthread_t* pThread, void* (*pfnProcedure)(void*), void* pvParameter)
{
    sigset_t blocked;
    sigset_t before;
    sigfillset(&blocked);
    pthread_sigmask(SIG_SETMASK, &blocked, &before);
    const int nError = pthread_create(pThread, nullptr, pfnProcedure, pvParameter);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return nError;
}

// What a thread keeps of itself; released when it ends.
struct ThreadObject::Record
{
    std::shared_ptr<ThreadObject> pThread;
    LPTHREAD_START_ROUTINE pfnProcedure = nullptr;
    void* pParameter = nullptr;
    std::atomic<DWORD>* puThreadId = nullptr;  // until the thread has written it
    volatile sig_atomic_t nRegions = 0;
    const ucontext_t* volatile pInterrupted = nullptr;  // while the thread stands in the handler of its signal
};

// What the process keeps for the threads: a signal, and a key for each thread's record. A key and no thread-local
// variable, for two reasons. A library with thread-local variables that a signal handler may read, which means static
// ones, can't always be loaded at run time; and what a variable of the other kind costs at its first use, or after
// another library was loaded, is an allocation, for which a handler is no place. To read a key is to read an array.
struct ThreadObject::Process
{
    std::atomic<bool> bReady{false};
    pthread_key_t key = 0;
    int nSignal = 0;

    ~Process()
    {
        if (bReady.load() && !AnyThreadLives() && bReady.exchange(false))
        {
            GiveBackOwnSignal(nSignal, OnSignal);
            pthread_key_delete(key);
        }
    }
};

constinit ThreadObject::Process ThreadObject::s_process;

ThreadObject::Record* ThreadObject::Current()
{
    return s_process.bReady.load() ? static_cast<Record*>(pthread_getspecific(s_process.key)) : nullptr;
}

volatile sig_atomic_t* ThreadObject::RegionDepth()
{
    Record* const pRecord = Current();
    return pRecord != nullptr ? &pRecord->nRegions : nullptr;
}

const ucontext_t* ThreadObject::InterruptedContext()
{
    const Record* const pRecord = Current();
    return pRecord != nullptr ? pRecord->pInterrupted : nullptr;
}

ThreadObject::ThreadObject(bool bSuspended)
    : Waitable(Reset::Manual, false), m_uSuspendCount(bSuspended ? 1 : 0), m_uStand(bSuspended ? kAskedToStand : kRuns)
{
}

ThreadObject::ThreadObject(pthread_t thread)
    : Waitable(Reset::Manual, false), m_thread(thread), m_uStand(kRuns), m_bJoined(true)
{
}

ThreadObject::~ThreadObject()
{
    if (!m_bJoined.exchange(true))
    {
        // The last to know of the thread is the thread itself, or somebody who has seen it end.
        if (pthread_equal(m_thread, pthread_self()))
        {
            pthread_detach(m_thread);
        }
        else
        {
            pthread_join(m_thread, nullptr);
        }
    }
}

bool ThreadObject::PrepareProcess()
{
    static const bool s_bPrepared = []
    {
        if (pthread_key_create(&s_process.key, nullptr) != 0)
        {
            return false;
        }
        // The walker of stacks looks at a thread that stands as well.
        s_process.nSignal = TakeOwnSignal(OnSignal, false, WalkerSignal());
        if (s_process.nSignal == 0)
        {
            pthread_key_delete(s_process.key);
            return false;
        }
        s_process.bReady.store(true);
        return true;
    }();
    // Not any more, when the process ends.
    return s_bPrepared && s_process.bReady.load();
}

std::shared_ptr<ThreadObject> ThreadObject::AttachCurrent()
{
    if (Current() == nullptr && PrepareProcess())
    {
        auto pRecord = std::make_unique<Record>();
        pRecord->pThread = std::make_shared<ThreadObject>(pthread_self());
        if (pthread_setspecific(s_process.key, pRecord.get()) == 0)
        {
            CallAtEndOfThread(Finish, pRecord.release());
        }
    }
    return Current() != nullptr ? Current()->pThread : nullptr;
}

std::shared_ptr<ThreadObject> ThreadObject::Find(HANDLE hThread)
{
    return hThread == GetCurrentThread() ? AttachCurrent() : HandleTable::Instance().Find<ThreadObject>(hThread);
}

int ThreadObject::Start(const std::shared_ptr<ThreadObject>& pThread, LPTHREAD_START_ROUTINE pfnProcedure,
                        void* pParameter, DWORD* puThreadId)
{
    std::atomic<DWORD> uThreadId{0};
    // Until there is a thread, there is none to wait for: also where memory for its record is missing.
    pThread->m_bJoined = true;
    std::unique_ptr<Record> pRecord(new Record{pThread, pfnProcedure, pParameter, &uThreadId});
    pThread->m_bJoined = false;
    int nError = PrepareProcess() ? pthread_create(&pThread->m_thread, nullptr, Run, pRecord.get()) : EAGAIN;
    if (nError != 0)
    {
        pThread->m_bJoined = true;
        return nError;
    }
    FutexWaitWhile(uThreadId, 0);
    if (uThreadId.load() == kThreadWithoutMemory)
    {
        pThread->JoinOnce();
        return EAGAIN;
    }
    pRecord.release();  // the thread's own now
    if (puThreadId != nullptr)
    {
        *puThreadId = uThreadId.load();
    }
    return 0;
}

void* ThreadObject::Run(void* pRecord)
{
    Record* const pCurrent = static_cast<Record*>(pRecord);
    // The word belongs to the creator, who may be gone as soon as it is written: nothing of it is touched later but its
    // address.
    std::atomic<DWORD>& uThreadId = *pCurrent->puThreadId;
    if (pthread_setspecific(s_process.key, pCurrent) != 0)
    {
        FutexStore(uThreadId, kThreadWithoutMemory);
        return nullptr;
    }
    CallAtEndOfThread(Finish, pCurrent);
    UnblockSignals({s_process.nSignal});
    FutexStore(uThreadId, GetCurrentThreadId());
    StandStillIfAsked();
    pCurrent->pfnProcedure(pCurrent->pParameter);
    return nullptr;
}

// Runs at the end of a thread, however it comes about, behind the destructors of thread_local objects.
void ThreadObject::Finish(void* pRecord)
{
    const std::unique_ptr<Record> pEnding(static_cast<Record*>(pRecord));
    pEnding->pThread->End();
    pthread_setspecific(s_process.key, nullptr);
    std::atomic_signal_fence(std::memory_order_seq_cst);
}

void ThreadObject::End()
{
    for (bool bEnded = false; !bEnded;)
    {
        // A thread that is asked to stand stands before it ends: on leaving the lock.
        const KernelLock guard(m_lock);
        if (m_uSuspendCount == 0)
        {
            m_bEnded = true;
            bEnded = true;
            SignalLocked();
        }
    }
}

// Waits for the last instructions of a thread that has ended, so that nothing of it is left behind. Only one of several
// waiters does: the others needn't depend on it.
void ThreadObject::JoinOnce()
{
    if (!m_bJoined.exchange(true))
    {
        pthread_join(m_thread, nullptr);
    }
}

void ThreadObject::OnSignal(int /*nSignal*/, siginfo_t* /*pInfo*/, void* pvContext)
{
    Record* const pCurrent = Current();
    if (pCurrent != nullptr && pCurrent->nRegions == 0)
    {
        pCurrent->pInterrupted = static_cast<const ucontext_t*>(pvContext);
        StandStillIfAsked();
        pCurrent->pInterrupted = nullptr;
    }
}

void ThreadObject::StandStillIfAsked()
{
    const Record* const pCurrent = Current();
    if (pCurrent != nullptr && pCurrent->pThread->m_uStand.load() != kRuns)
    {
        pCurrent->pThread->StandStill();
    }
}

void ThreadObject::StandStill()
{
    for (uint32_t uState = m_uStand.load(); uState != kRuns; uState = m_uStand.load())
    {
        if (uState == kAskedToStand && m_uStand.compare_exchange_strong(uState, kStands))
        {
            FutexWakeAll(m_uStand);
        }
        FutexWait(m_uStand, kStands, nullptr);
    }
}

DWORD ThreadObject::Suspend()
{
    const Record* const pCurrent = Current();
    const bool bSelf = pCurrent != nullptr && pCurrent->pThread.get() == this;
    DWORD uPrevious = 0;
    DWORD uError = ERROR_SUCCESS;
    {
        const KernelLock guard(m_lock);
        uPrevious = m_uSuspendCount;
        if (m_bEnded || uPrevious == kMaximumSuspends)
        {
            uError = m_bEnded ? ERROR_ACCESS_DENIED : ERROR_SIGNAL_REFUSED;
        }
        else if (uPrevious == 0)
        {
            m_uStand.store(kAskedToStand);
            if (!bSelf && pthread_kill(m_thread, s_process.nSignal) != 0)
            {
                FutexStore(m_uStand, kRuns);
                uError = ERROR_NOT_ENOUGH_MEMORY;  // the system has no room for one more signal
            }
        }
        m_uSuspendCount += uError == ERROR_SUCCESS ? 1 : 0;
    }
    if (uError != ERROR_SUCCESS)
    {
        return FailCall(uError, kCallFailed);  // without the lock: the first error of a thread may allocate
    }
    if (!bSelf)  // a thread that has suspended itself has stood when it left the lock
    {
        FutexWaitWhile(m_uStand, kAskedToStand);  // ends as well when somebody has resumed it meanwhile
    }
    return uPrevious;
}

DWORD ThreadObject::Resume()
{
    const KernelLock guard(m_lock);
    const DWORD uPrevious = m_uSuspendCount;
    if (uPrevious > 0 && --m_uSuspendCount == 0)
    {
        FutexStore(m_uStand, kRuns);
    }
    return uPrevious;
}

HANDLE CreateThread(void* pSecurity, SIZE_T uStackSize, LPTHREAD_START_ROUTINE pfnProcedure, void* pParameter,
                    DWORD uFlags, DWORD* puThreadId)
{
    const bool bValid =
        pSecurity == nullptr && uStackSize == 0 && pfnProcedure != nullptr && (uFlags & ~CREATE_SUSPENDED) == 0;
    if (!bValid || VO_FAULT_POINT("CreateThread"))
    {
        return FailCall(bValid ? ERROR_NOT_ENOUGH_MEMORY : ERROR_INVALID_PARAMETER, nullptr);
    }
    const auto pThread = std::make_shared<ThreadObject>(uFlags == CREATE_SUSPENDED);
    const int nError = ThreadObject::Start(pThread, pfnProcedure, pParameter, puThreadId);
    if (nError != 0)
    {
        return FailCall(nError == EAGAIN ? ERROR_NOT_ENOUGH_MEMORY : ErrorFromErrno(nError), nullptr);
    }
    return HandleTable::Instance().Add(pThread);
}

DWORD SuspendThread(HANDLE hThread)
{
    const std::shared_ptr<ThreadObject> pThread = ThreadObject::Find(hThread);
    return VO_FAULT_POINT("SuspendThread") || !pThread ? FailCall(ERROR_INVALID_HANDLE, kCallFailed)
                                                       : pThread->Suspend();
}

DWORD ResumeThread(HANDLE hThread)
{
    const std::shared_ptr<ThreadObject> pThread = ThreadObject::Find(hThread);
    return pThread ? pThread->Resume() : FailCall(ERROR_INVALID_HANDLE, kCallFailed);
}

HANDLE GetCurrentThread()
{
    return reinterpret_cast<HANDLE>(static_cast<intptr_t>(-2));
}

HANDLE GetCurrentProcess()
{
    return reinterpret_cast<HANDLE>(static_cast<intptr_t>(-1));
}

DWORD GetCurrentThreadId()
{
    return static_cast<DWORD>(gettid());
}
