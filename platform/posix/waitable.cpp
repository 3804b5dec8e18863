// Waits.
//
// A waiter sleeps on a word of memory without holding anything, so it can be suspended there like anywhere else. Every
// signal wakes all waiters: one that stands still must not keep to itself what another one could have had.
#include "platform/posix/waitable.h"

#include <iterator>

#include "platform/fault_points.h"
#include "platform/posix/kernel_region.h"
#include "platform/posix/thread_object.h"
#include "platform/vo_platform.h"

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

void Waitable::Signal()
{
    const KernelLock guard(m_lock);
    SignalLocked();
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
    for (auto place = m_listCompletions.begin(); place != m_listCompletions.end();)
    {
        const auto next = std::next(place);
        if (place->expired())
        {
            forgotten.splice(forgotten.end(), m_listCompletions, place);
        }
        place = next;
    }
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
        SetLastError(ERROR_INVALID_HANDLE);
        return WAIT_FAILED;
    }
    return pObject->Wait(Deadline(uMilliseconds)) ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
}
