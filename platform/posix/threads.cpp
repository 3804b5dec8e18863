#include <errno.h>
#include <signal.h>
#include <unistd.h>

#include <utility>

#include "platform/fault_points.h"
#include "platform/posix/kernel_region.h"
#include "platform/posix/last_error.h"
#include "platform/posix/thread_object.h"

namespace
{
// What the word of a thread says.
constexpr uint32_t RUNS = 0;
constexpr uint32_t ASKED_TO_STAND = 1;
constexpr uint32_t STANDS = 2;

constexpr DWORD MAXIMUM_SUSPENDS = 127;  // as on Windows
constexpr DWORD CALL_FAILED = static_cast<DWORD>(-1);

int s_nSuspendSignal = 0;
pthread_key_t s_endOfThread;

// Takes a real-time signal that nobody in the process handles yet. 0 when there is none.
int TakeSignal(void (*pfnHandler)(int))
{
    for (int nSignal = SIGRTMAX - 1; nSignal >= SIGRTMIN; --nSignal)
    {
        struct sigaction action = {};
        if (sigaction(nSignal, nullptr, &action) != 0 || (action.sa_flags & SA_SIGINFO) != 0 ||
            action.sa_handler != SIG_DFL)
        {
            continue;
        }
        action = {};
        action.sa_handler = pfnHandler;
        action.sa_flags = SA_RESTART;
        sigfillset(&action.sa_mask);  // a thread that stands handles no other signal either
        if (sigaction(nSignal, &action, nullptr) == 0)
        {
            return nSignal;
        }
    }
    return 0;
}
}  // namespace

// What a thread keeps of itself; released when it ends.
struct ThreadObject::Record
{
    std::shared_ptr<ThreadObject> pThread;
    LPTHREAD_START_ROUTINE pfnProcedure = nullptr;
    void* pParameter = nullptr;
    std::atomic<DWORD>* puThreadId = nullptr;  // until the thread has written it
};

// The model makes it readable in a signal handler.
thread_local ThreadObject::Record* ThreadObject::s_pCurrent __attribute__((tls_model("initial-exec"))) = nullptr;

ThreadObject::ThreadObject(bool bSuspended)
    : Waitable(Reset::Manual, false), m_uSuspendCount(bSuspended ? 1 : 0), m_uStand(bSuspended ? ASKED_TO_STAND : RUNS)
{
}

ThreadObject::ThreadObject(pthread_t thread)
    : Waitable(Reset::Manual, false), m_thread(thread), m_uStand(RUNS), m_bJoined(true)
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
        if (pthread_key_create(&s_endOfThread, Finish) != 0)
        {
            return false;
        }
        s_nSuspendSignal = TakeSignal(OnSignal);
        return s_nSuspendSignal != 0;
    }();
    return s_bPrepared;
}

std::shared_ptr<ThreadObject> ThreadObject::AttachCurrent()
{
    if (s_pCurrent == nullptr && PrepareProcess())
    {
        auto pRecord = std::make_unique<Record>();
        pRecord->pThread = std::make_shared<ThreadObject>(pthread_self());
        if (pthread_setspecific(s_endOfThread, pRecord.get()) == 0)
        {
            s_pCurrent = pRecord.release();
        }
    }
    return s_pCurrent != nullptr ? s_pCurrent->pThread : nullptr;
}

std::shared_ptr<ThreadObject> ThreadObject::Find(HANDLE hThread)
{
    return hThread == GetCurrentThread() ? AttachCurrent() : HandleTable::Instance().Find<ThreadObject>(hThread);
}

int ThreadObject::Start(const std::shared_ptr<ThreadObject>& pThread, LPTHREAD_START_ROUTINE pfnProcedure,
                        void* pParameter, DWORD* puThreadId)
{
    std::atomic<DWORD> uThreadId{0};
    auto pRecord = std::make_unique<Record>();
    pRecord->pThread = pThread;
    pRecord->pfnProcedure = pfnProcedure;
    pRecord->pParameter = pParameter;
    pRecord->puThreadId = puThreadId != nullptr ? &uThreadId : nullptr;
    const int nError = PrepareProcess() ? pthread_create(&pThread->m_thread, nullptr, Run, pRecord.get()) : EAGAIN;
    if (nError != 0)
    {
        pThread->m_bJoined = true;
        return nError;
    }
    pRecord.release();  // the thread's own now
    while (puThreadId != nullptr && (*puThreadId = uThreadId.load()) == 0)
    {
        FutexWait(uThreadId, 0, nullptr);
    }
    return 0;
}

void* ThreadObject::Run(void* pRecord)
{
    Record* const pCurrent = static_cast<Record*>(pRecord);
    s_pCurrent = pCurrent;
    const bool bFinishedByTheSystem = pthread_setspecific(s_endOfThread, pRecord) == 0;
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, s_nSuspendSignal);
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
    if (pCurrent->puThreadId != nullptr)
    {
        // The word belongs to the creator, who may be gone as soon as it is written: nothing of it is touched later but
        // its address.
        std::atomic<DWORD>& uThreadId = *pCurrent->puThreadId;
        uThreadId.store(GetCurrentThreadId());
        FutexWakeAll(uThreadId);
    }
    StandStillIfAsked();
    pCurrent->pfnProcedure(pCurrent->pParameter);
    if (!bFinishedByTheSystem)
    {
        Finish(pRecord);
    }
    return nullptr;
}

// Runs at the end of a thread, however it comes about, behind the destructors of thread_local objects.
void ThreadObject::Finish(void* pRecord)
{
    const std::unique_ptr<Record> pEnding(static_cast<Record*>(pRecord));
    pEnding->pThread->End();
    s_pCurrent = nullptr;
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

void ThreadObject::OnSignal(int /*nSignal*/)
{
    if (!KernelRegion::IsInside())
    {
        StandStillIfAsked();
    }
}

void ThreadObject::StandStillIfAsked()
{
    if (s_pCurrent != nullptr && s_pCurrent->pThread->m_uStand.load() != RUNS)
    {
        s_pCurrent->pThread->StandStill();
    }
}

void ThreadObject::StandStill()
{
    for (uint32_t uState = m_uStand.load(); uState != RUNS; uState = m_uStand.load())
    {
        if (uState == ASKED_TO_STAND && m_uStand.compare_exchange_strong(uState, STANDS))
        {
            FutexWakeAll(m_uStand);
        }
        FutexWait(m_uStand, STANDS, nullptr);
    }
}

void ThreadObject::WaitUntilItStands()
{
    // Ends as well when somebody has resumed it meanwhile.
    while (m_uStand.load() == ASKED_TO_STAND)
    {
        FutexWait(m_uStand, ASKED_TO_STAND, nullptr);
    }
}

DWORD ThreadObject::Suspend()
{
    const bool bSelf = s_pCurrent != nullptr && s_pCurrent->pThread.get() == this;
    DWORD uPrevious = 0;
    {
        const KernelLock guard(m_lock);
        uPrevious = m_uSuspendCount;
        if (m_bEnded || uPrevious == MAXIMUM_SUSPENDS)
        {
            SetLastError(m_bEnded ? ERROR_ACCESS_DENIED : ERROR_SIGNAL_REFUSED);
            return CALL_FAILED;
        }
        if (uPrevious == 0)
        {
            m_uStand.store(ASKED_TO_STAND);
            const int nError = bSelf ? 0 : pthread_kill(m_thread, s_nSuspendSignal);
            if (nError != 0)
            {
                m_uStand.store(RUNS);
                FutexWakeAll(m_uStand);
                SetLastError(ERROR_NOT_ENOUGH_MEMORY);  // the system has no room for one more signal
                return CALL_FAILED;
            }
        }
        ++m_uSuspendCount;
    }
    if (!bSelf)  // a thread that has suspended itself has stood when it left the lock
    {
        WaitUntilItStands();
    }
    return uPrevious;
}

DWORD ThreadObject::Resume()
{
    const KernelLock guard(m_lock);
    const DWORD uPrevious = m_uSuspendCount;
    if (uPrevious > 0 && --m_uSuspendCount == 0)
    {
        m_uStand.store(RUNS);
        FutexWakeAll(m_uStand);
    }
    return uPrevious;
}

HANDLE CreateThread(void* pSecurity, SIZE_T uStackSize, LPTHREAD_START_ROUTINE pfnProcedure, void* pParameter,
                    DWORD uFlags, DWORD* puThreadId)
{
    if (pSecurity != nullptr || uStackSize != 0 || pfnProcedure == nullptr || (uFlags & ~CREATE_SUSPENDED) != 0)
    {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    if (VO_FAULT_POINT("CreateThread"))
    {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    const auto pThread = std::make_shared<ThreadObject>(uFlags == CREATE_SUSPENDED);
    const int nError = ThreadObject::Start(pThread, pfnProcedure, pParameter, puThreadId);
    if (nError != 0)
    {
        SetLastError(nError == EAGAIN ? ERROR_NOT_ENOUGH_MEMORY : ErrorFromErrno(nError));
        return nullptr;
    }
    return HandleTable::Instance().Add(pThread);
}

DWORD SuspendThread(HANDLE hThread)
{
    const std::shared_ptr<ThreadObject> pThread = ThreadObject::Find(hThread);
    if (VO_FAULT_POINT("SuspendThread") || !pThread)
    {
        SetLastError(ERROR_INVALID_HANDLE);
        return CALL_FAILED;
    }
    return pThread->Suspend();
}

DWORD ResumeThread(HANDLE hThread)
{
    const std::shared_ptr<ThreadObject> pThread = ThreadObject::Find(hThread);
    if (!pThread)
    {
        SetLastError(ERROR_INVALID_HANDLE);
        return CALL_FAILED;
    }
    return pThread->Resume();
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
