#include "platform/posix/directory_changes.h"

#include <algorithm>
#include <new>
#include <utility>

namespace
{
// What OVERLAPPED::Internal says.
constexpr uintptr_t kStatusRead = 0;
constexpr uintptr_t kStatusReadPending = 0x103;
constexpr uintptr_t kStatusChangesLost = 0x10C;  // a success, with nothing in the buffer
constexpr uintptr_t kStatusRootGone = 0xC0000056;
constexpr uintptr_t kStatusReadCancelled = 0xC0000120;
constexpr uintptr_t kStatusRefused = 0xC0000008;

// How far a watch has come.
constexpr uint32_t kNotWatched = 0;
constexpr uint32_t kBegins = 1;
constexpr uint32_t kWatched = 2;
}  // namespace

// One call of ReadDirectoryChangesW.
class DirectoryRead : public Completion
{
public:
    DirectoryRead(void* pBuffer, DWORD uLength, OVERLAPPED* pOverlapped, std::shared_ptr<Event> pEvent)
        : m_pBuffer(pBuffer), m_uLength(uLength), m_pOverlapped(pOverlapped), m_pEvent(std::move(pEvent))
    {
    }

    // What its end will need, so that it can end without memory.
    void Prepare(const std::shared_ptr<DirectoryRead>& pThis) { m_listForEvent.push_back(pThis); }

    DWORD Length() const { return m_uLength; }
    const OVERLAPPED* Overlapped() const { return m_pOverlapped; }

    // The end of it. Called once.
    void Complete(uintptr_t uStatus, ChangeBatch changes = {})
    {
        m_uStatus = uStatus;
        m_changes = std::move(changes);
        m_ended.Signal();
        m_pEvent->Signal(std::move(m_listForEvent));
    }

    // True when it has ended by then, with the result where the caller wants it.
    bool WaitFor(const Deadline& deadline)
    {
        if (!m_ended.Wait(deadline))
        {
            return false;
        }
        Deliver();
        return true;
    }
    // A wait for the event that found it signalled takes the signal.
    void TakeSignal() { m_pEvent->Wait(Deadline(0)); }

    void Deliver() override
    {
        if (!m_bDelivered.exchange(true))
        {
            if (!m_changes.IsEmpty())
            {
                memcpy(m_pBuffer, m_changes.Data(), m_changes.Size());
            }
            m_pOverlapped->InternalHigh = m_changes.Size();
            m_pOverlapped->Internal = m_uStatus;
        }
    }
    bool IsDelivered() const { return m_bDelivered.load(); }

    // Nothing of the caller's is touched any more.
    void Forget() { m_bDelivered.store(true); }

private:
    void* const m_pBuffer;
    const DWORD m_uLength;
    OVERLAPPED* const m_pOverlapped;
    const std::shared_ptr<Event> m_pEvent;
    Event m_ended{Waitable::Reset::Manual, false};
    uintptr_t m_uStatus = 0;
    ChangeBatch m_changes;
    CompletionList m_listForEvent;
    std::atomic<bool> m_bDelivered{false};
};

DirectoryObject::DirectoryObject(std::string strPath, const FileIdentity& identity, bool bFolder)
    : m_strPath(std::move(strPath)), m_identity(identity), m_bFolder(bFolder), m_uWatch(kNotWatched)
{
}

DirectoryObject::~DirectoryObject() = default;

// Begins the watch with the first read. Others who read meanwhile wait for it.
DWORD DirectoryObject::EnsureWatched(DWORD uLength, DWORD uFilter)
{
    uint32_t uExpected = kNotWatched;
    while (!m_uWatch.compare_exchange_strong(uExpected, kBegins))
    {
        if (uExpected == kWatched)
        {
            return ERROR_SUCCESS;
        }
        FutexWait(m_uWatch, kBegins, nullptr);
        uExpected = kNotWatched;
    }
    bool bClosed = false;
    {
        const KernelLock guard(m_lock);
        bClosed = m_bClosed;
        m_uLimit = uLength;
    }
    const DWORD uError = bClosed ? DWORD{ERROR_INVALID_HANDLE} : StartWatcher(uFilter);
    m_bLimitToTell.store(uError == ERROR_SUCCESS && m_pWatcher->IsLimited());
    if (uError != ERROR_SUCCESS)
    {
        m_pWatcher.reset();
    }
    FutexStore(m_uWatch, uError == ERROR_SUCCESS ? kWatched : kNotWatched);
    return uError;
}

DWORD DirectoryObject::StartWatcher(DWORD uFilter)
{
    try
    {
        ChangeSink& sink = *this;
        m_pWatcher = std::make_unique<DirectoryWatcher>(sink, m_strPath, m_identity, uFilter);
        return m_pWatcher->Start();
    }
    catch (const std::bad_alloc&)
    {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
}

DWORD DirectoryObject::Read(void* pBuffer, DWORD uLength, DWORD uFilter, OVERLAPPED* pOverlapped,
                            std::shared_ptr<Event> pEvent)
{
    const DWORD uError = EnsureWatched(uLength, uFilter);
    if (uError != ERROR_SUCCESS)
    {
        return uError;
    }
    if (m_bLimitToTell.exchange(false))
    {
        return ERROR_NO_SYSTEM_RESOURCES;
    }
    ReadList pending{std::make_shared<DirectoryRead>(pBuffer, uLength, pOverlapped, pEvent)};
    pending.front()->Prepare(pending.front());
    ReadList undelivered = pending;
    ReadList delivered;  // released after the lock is given back
    Taken taken;
    pEvent->Renew();
    pOverlapped->Internal = kStatusReadPending;
    pOverlapped->InternalHigh = 0;
    {
        const KernelLock guard(m_lock);
        if (m_bClosed || (m_bGone && m_listKept.empty() && !m_bLost))
        {
            pOverlapped->Internal = kStatusRefused;
            return m_bClosed ? ERROR_INVALID_HANDLE : ERROR_ACCESS_DENIED;
        }
        SpliceIf(delivered, m_listUndelivered, [](const auto& pRead) { return pRead->IsDelivered(); });
        m_listUndelivered.splice(m_listUndelivered.end(), undelivered);
        m_listPending.splice(m_listPending.end(), pending);
        TakeLocked(&taken);
    }
    Finish(std::move(taken));
    return ERROR_SUCCESS;
}

// Matches what is kept with the oldest read, under the lock.
void DirectoryObject::TakeLocked(Taken* pTaken)
{
    if (!m_listPending.empty() && (!m_listKept.empty() || m_bLost || m_bGone))
    {
        pTaken->reads.splice(pTaken->reads.end(), m_listPending, m_listPending.begin());
        pTaken->changes.swap(m_listKept);
        pTaken->bLost = std::exchange(m_bLost, false);
        pTaken->bGone = m_bGone;
        m_uKept = 0;
    }
}

void DirectoryObject::Finish(Taken taken)
{
    if (taken.reads.empty())
    {
        return;
    }
    const std::shared_ptr<DirectoryRead>& pRead = taken.reads.front();
    ChangeBatch changes;
    try
    {
        for (const ChangeBatch& batch : taken.changes)
        {
            changes.Append(batch);
        }
    }
    catch (const std::bad_alloc&)
    {
        // The read has to end all the same.
        taken.bLost = true;
    }
    if (taken.bLost || changes.Size() > pRead->Length())
    {
        pRead->Complete(kStatusChangesLost);
    }
    else if (changes.IsEmpty() && taken.bGone)
    {
        pRead->Complete(kStatusRootGone);
    }
    else
    {
        pRead->Complete(kStatusRead, std::move(changes));
    }
}

void DirectoryObject::OnChanges(ChangeBatch batch)
{
    const size_t uSize = batch.Size();
    std::list<ChangeBatch> one;
    std::list<ChangeBatch> dropped;  // released after the lock is given back
    one.push_back(std::move(batch));
    Taken taken;
    {
        const KernelLock guard(m_lock);
        m_uKept = ChangeBatch::JoinedSize(m_uKept, uSize);
        m_bLost = m_bLost || m_uKept > m_uLimit;
        dropped.splice(dropped.end(), one);
        if (!m_bLost)
        {
            m_listKept.splice(m_listKept.end(), dropped);
        }
        else
        {
            dropped.splice(dropped.end(), m_listKept);
            m_uKept = 0;
        }
        TakeLocked(&taken);
    }
    Finish(std::move(taken));
}

void DirectoryObject::OnLost()
{
    std::list<ChangeBatch> dropped;  // released after the lock is given back
    Taken taken;
    {
        const KernelLock guard(m_lock);
        m_bLost = true;
        m_uKept = 0;
        dropped.swap(m_listKept);
        TakeLocked(&taken);
    }
    Finish(std::move(taken));
}

void DirectoryObject::OnGone()
{
    for (bool bMore = true; bMore;)
    {
        Taken taken;
        {
            const KernelLock guard(m_lock);
            m_bGone = true;
            TakeLocked(&taken);
        }
        bMore = !taken.reads.empty();
        Finish(std::move(taken));
    }
}

std::shared_ptr<DirectoryRead> DirectoryObject::FindRead(const OVERLAPPED* pOverlapped)
{
    const KernelLock guard(m_lock);
    const auto found = std::find_if(m_listUndelivered.begin(), m_listUndelivered.end(),
                                    [pOverlapped](const auto& pRead)
                                    { return pRead->Overlapped() == pOverlapped && !pRead->IsDelivered(); });
    return found != m_listUndelivered.end() ? *found : nullptr;
}

DWORD DirectoryObject::Result(OVERLAPPED* pOverlapped, DWORD* puBytes, bool bWait)
{
    while (const std::shared_ptr<DirectoryRead> pRead = FindRead(pOverlapped))
    {
        if (pRead->WaitFor(Deadline(0)))
        {
            continue;
        }
        if (!bWait)
        {
            return ERROR_IO_INCOMPLETE;
        }
        pRead->WaitFor(Deadline(INFINITE));
        pRead->TakeSignal();
    }
    *puBytes = static_cast<DWORD>(pOverlapped->InternalHigh);
    switch (pOverlapped->Internal)
    {
        case kStatusRead:
        case kStatusChangesLost:
            return ERROR_SUCCESS;
        case kStatusReadPending:
            return ERROR_IO_INCOMPLETE;
        case kStatusReadCancelled:
            return ERROR_OPERATION_ABORTED;
        case kStatusRootGone:
            return ERROR_ACCESS_DENIED;
        default:
            return ERROR_INVALID_HANDLE;
    }
}

bool DirectoryObject::Cancel(const OVERLAPPED* pOverlapped)
{
    ReadList cancelled;
    {
        const KernelLock guard(m_lock);
        SpliceIf(cancelled, m_listPending,
                 [pOverlapped](const auto& pRead)
                 { return pOverlapped == nullptr || pRead->Overlapped() == pOverlapped; });
    }
    for (const std::shared_ptr<DirectoryRead>& pRead : cancelled)
    {
        pRead->Complete(kStatusReadCancelled);
    }
    return !cancelled.empty();
}

void DirectoryObject::OnClosed()
{
    {
        const KernelLock guard(m_lock);
        m_bClosed = true;
    }
    FutexWaitWhile(m_uWatch, kBegins);
    m_pWatcher.reset();
    ReadList undelivered;
    {
        const KernelLock guard(m_lock);
        undelivered.swap(m_listUndelivered);
    }
    for (const std::shared_ptr<DirectoryRead>& pRead : undelivered)
    {
        pRead->Forget();
    }
    Cancel(nullptr);
}
