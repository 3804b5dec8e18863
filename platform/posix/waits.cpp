#include "platform/posix/waits.h"

#include <errno.h>
#include <limits.h>
#include <linux/futex.h>
#include <sched.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include "platform/fault_points.h"
#include "platform/posix/threads.h"
#include "platform/sanitizers.h"
#include "platform/vo_shared_signal.h"
#include "platform/vo_shared_word.h"

// Time and sleep.

void Sleep(DWORD uMilliseconds)
{
    // It can't fail. Where it is to, it is over at once.
    if (VO_FAULT_POINT("Sleep"))
    {
        return;
    }
    if (uMilliseconds == 0)
    {
        sched_yield();
        return;
    }
    const Deadline deadline(uMilliseconds);
    const std::atomic<uint32_t> nothing{0};
    while (!deadline.IsOver())
    {
        FutexWait(nothing, 0, deadline.Get());
    }
}

ULONGLONG GetTickCount64()
{
    timespec now;
    clock_gettime(CLOCK_BOOTTIME, &now);
    return static_cast<ULONGLONG>(now.tv_sec) * 1000 + static_cast<ULONGLONG>(now.tv_nsec) / 1000000;
}

static_assert(sizeof(std::atomic<uint32_t>) == sizeof(uint32_t), "the system waits for a plain word");

Deadline::Deadline(uint32_t uMilliseconds) : m_bNever(uMilliseconds == INFINITE)
{
    clock_gettime(CLOCK_MONOTONIC, &m_time);
    m_time.tv_sec += uMilliseconds / 1000;
    m_time.tv_nsec += static_cast<long>(uMilliseconds % 1000) * 1000000;
    if (m_time.tv_nsec >= 1000000000)
    {
        m_time.tv_nsec -= 1000000000;
        ++m_time.tv_sec;
    }
}

bool Deadline::IsOver() const
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return !m_bNever && (now.tv_sec != m_time.tv_sec ? now.tv_sec > m_time.tv_sec : now.tv_nsec >= m_time.tv_nsec);
}

void FutexWait(const std::atomic<uint32_t>& word, uint32_t uValue, const timespec* pDeadline)
{
    const int nError = errno;
    // A deadline that is a point of time: an interrupted wait doesn't begin anew. There is always one, because the
    // system goes on by itself, behind a signal, with a wait that has none.
    timespec deadline = pDeadline != nullptr ? *pDeadline : timespec{4000000000, 0};
    // The thread sanitizer puts a signal off to the next call that it knows, and it doesn't know this one: a thread has
    // to come by now and then.
    if (VO_THREAD_SANITIZER != 0)
    {
        deadline = *Deadline(10).Get();
    }
    syscall(SYS_futex, &word, FUTEX_WAIT_BITSET_PRIVATE, uValue, &deadline, nullptr, FUTEX_BITSET_MATCH_ANY);
    errno = nError;
}

void FutexWaitWhile(const std::atomic<uint32_t>& word, uint32_t uValue)
{
    while (word.load() == uValue)
    {
        FutexWait(word, uValue, nullptr);
    }
}

void FutexWakeAll(const std::atomic<uint32_t>& word)
{
    const int nError = errno;
    syscall(SYS_futex, &word, FUTEX_WAKE_PRIVATE, INT_MAX, nullptr, nullptr, 0);
    errno = nError;
}

void FutexStore(std::atomic<uint32_t>& word, uint32_t uValue)
{
    word.store(uValue);
    FutexWakeAll(word);
}

// Waits.
//
// A waiter sleeps on a word of memory without holding anything, so it can be suspended there like anywhere else. Every
// signal wakes all waiters: one that stands still must not keep to itself what another one could have had.

bool Waitable::TryPass(uint32_t* puGeneration, CompletionList* pCompletions)
{
    const KernelLock guard(m_lock);
    *puGeneration = m_uGeneration.load();
    if (!m_bSignalled)
    {
        return false;
    }
    m_bSignalled = m_eReset == Reset::Manual;
    pCompletions->swap(m_listCompletions);
    return true;
}

bool Waitable::Wait(const Deadline& deadline)
{
    for (;;)
    {
        // Looked at before the object is: what is signalled in time counts, however late this thread comes to see it.
        const bool bLast = deadline.IsOver();
        uint32_t uGeneration = 0;
        CompletionList completions;
        if (TryPass(&uGeneration, &completions))
        {
            for (const std::weak_ptr<Completion>& pKept : completions)
            {
                if (const std::shared_ptr<Completion> pCompletion = pKept.lock())
                {
                    pCompletion->Deliver();
                }
            }
            OnWaited();
            return true;
        }
        if (bLast)
        {
            return false;
        }
        FutexWait(m_uGeneration, uGeneration, deadline.Get());
    }
}

void Waitable::SignalLocked()
{
    m_bSignalled = true;
    m_uGeneration.fetch_add(1);
    FutexWakeAll(m_uGeneration);
}

void Waitable::Signal(CompletionList completions)
{
    const KernelLock guard(m_lock);
    m_listCompletions.splice(m_listCompletions.end(), completions);
    SignalLocked();
}

void Waitable::Renew()
{
    CompletionList forgotten;  // released after the lock is given back
    const KernelLock guard(m_lock);
    m_bSignalled = false;
    SpliceIf(forgotten, m_listCompletions, [](const std::weak_ptr<Completion>& pKept) { return pKept.expired(); });
}

void Waitable::Unsignal()
{
    const KernelLock guard(m_lock);
    m_bSignalled = false;
}

DWORD WaitForSingleObject(HANDLE hObject, DWORD uMilliseconds)
{
    const std::shared_ptr<Waitable> pObject = hObject == GetCurrentThread()
                                                  ? std::shared_ptr<Waitable>(ThreadObject::Find(hObject))
                                                  : HandleTable::Instance().Find<Waitable>(hObject);
    if (VO_FAULT_POINT("WaitForSingleObject") || !pObject)
    {
        return FailCall(ERROR_INVALID_HANDLE, WAIT_FAILED);
    }
    return pObject->Wait(Deadline(uMilliseconds)) ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
}

// Event objects.

HANDLE CreateEventW(void* pSecurity, BOOL bManualReset, BOOL bInitialState, const VOWCHAR* pszName)
{
    const bool bValid = pSecurity == nullptr && pszName == nullptr;
    if (!bValid || VO_FAULT_POINT("CreateEventW"))
    {
        return FailCall(bValid ? ERROR_NOT_ENOUGH_MEMORY : ERROR_INVALID_PARAMETER, nullptr);
    }
    const Waitable::Reset eReset = bManualReset != FALSE ? Waitable::Reset::Manual : Waitable::Reset::Automatic;
    return HandleTable::Instance().Add(std::make_shared<Event>(eReset, bInitialState != FALSE));
}

BOOL SetEvent(HANDLE hEvent)
{
    const auto pEvent = HandleTable::Instance().Find<Event>(hEvent);
    if (pEvent)
    {
        pEvent->Signal();
    }
    return pEvent != nullptr;
}

BOOL ResetEvent(HANDLE hEvent)
{
    const auto pEvent = HandleTable::Instance().Find<Event>(hEvent);
    if (pEvent)
    {
        pEvent->Unsignal();
    }
    return pEvent != nullptr;
}

// A word in a section that other processes wait for.

VOSharedSignal::VOSharedSignal(const VOWCHAR*, uint32_t& word) : m_word(word) {}

VOSharedSignal::~VOSharedSignal() = default;

uint32_t VOSharedSignal::Now() const
{
    return VOLoadWord(m_word);
}

void VOSharedSignal::Step()
{
    const int nError = errno;
    VOAddToWord(m_word, 1);
    syscall(SYS_futex, &m_word, FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
    errno = nError;
}

bool VOSharedSignal::WaitWhile(uint32_t uSeen, uint32_t uMilliseconds) const
{
    const int nError = errno;
    const Deadline deadline(uMilliseconds);
    while (VOLoadWord(m_word) == uSeen && !deadline.IsOver())
    {
        // As for every wait of this layer: a thread under the thread sanitizer has to come by now and then.
        const Deadline soon(10);
        const timespec* const pUntil = VO_THREAD_SANITIZER != 0 ? soon.Get() : deadline.Get();
        syscall(SYS_futex, &m_word, FUTEX_WAIT_BITSET, uSeen, pUntil, nullptr, FUTEX_BITSET_MATCH_ANY);
    }
    errno = nError;
    return VOLoadWord(m_word) != uSeen;
}
