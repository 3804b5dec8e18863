#include "platform/posix/kernel.h"

#include <pthread.h>

#include <atomic>
#include <utility>

#include "platform/posix/threads.h"
#include "platform/vo_owners.h"

namespace
{
// The pseudo handles of the current process and thread: closing them does nothing and succeeds.
bool IsPseudoHandle(HANDLE hObject)
{
    const intptr_t nValue = reinterpret_cast<intptr_t>(hObject);
    return nValue == -1 || nValue == -2;
}
}  // namespace

HandleTable& HandleTable::Instance()
{
    static VONeverDestroyed<HandleTable> s_table;
    return s_table.Get();
}

HANDLE HandleTable::Add(std::shared_ptr<KernelObject> pObject)
{
    // A resume needs the lock of the table: nothing is allocated or released under it.
    std::map<uintptr_t, Entry> mapNew;
    mapNew.emplace(0, Entry{std::move(pObject), 1});
    auto node = mapNew.extract(mapNew.begin());
    const KernelLock guard(m_lock);
    m_uLastHandle += 4;  // the lowest two bits of a handle are zero on Windows as well
    node.key() = m_uLastHandle;
    m_mapEntries.insert(std::move(node));
    return reinterpret_cast<HANDLE>(m_uLastHandle);
}

bool HandleTable::Reopen(HANDLE hObject)
{
    const KernelLock guard(m_lock);
    const auto place = m_mapEntries.find(reinterpret_cast<uintptr_t>(hObject));
    if (place == m_mapEntries.end())
    {
        return false;
    }
    ++place->second.uOpenings;
    return true;
}

std::shared_ptr<KernelObject> HandleTable::FindObject(HANDLE hObject)
{
    const KernelLock guard(m_lock);
    const auto place = m_mapEntries.find(reinterpret_cast<uintptr_t>(hObject));
    return place != m_mapEntries.end() ? place->second.pObject : nullptr;
}

bool HandleTable::Close(HANDLE hObject)
{
    decltype(m_mapEntries)::node_type closed;  // released after the lock is given back
    {
        const KernelLock guard(m_lock);
        const auto place = m_mapEntries.find(reinterpret_cast<uintptr_t>(hObject));
        if (place == m_mapEntries.end())
        {
            return false;
        }
        if (--place->second.uOpenings == 0)
        {
            closed = m_mapEntries.extract(place);
        }
    }
    if (!closed.empty())
    {
        closed.mapped().pObject->OnClosed();
    }
    return true;
}

BOOL CloseHandle(HANDLE hObject)
{
    return IsPseudoHandle(hObject) || HandleTable::Instance().Close(hObject) || FailCall(ERROR_INVALID_HANDLE);
}

// The calling thread's last-error value, and the system's error numbers in its terms.

namespace
{
// The value stands in a key's place for the thread. A thread-local variable would make the library harder to load at
// run time, and keep memory for each thread.
struct LastErrorKey
{
    std::atomic<bool> bReady{false};
    pthread_key_t key = 0;

    LastErrorKey() { bReady.store(pthread_key_create(&key, nullptr) == 0); }
    ~LastErrorKey()
    {
        if (bReady.exchange(false))
        {
            pthread_key_delete(key);
        }
    }
};

LastErrorKey& Key()
{
    static LastErrorKey s_key;
    return s_key;
}
}  // namespace

DWORD GetLastError()
{
    const LastErrorKey& key = Key();
    return key.bReady.load() ? static_cast<DWORD>(reinterpret_cast<uintptr_t>(pthread_getspecific(key.key)))
                             : ERROR_SUCCESS;
}

void SetLastError(DWORD uError)
{
    const LastErrorKey& key = Key();
    if (key.bReady.load())
    {
        pthread_setspecific(key.key, reinterpret_cast<const void*>(static_cast<uintptr_t>(uError)));
    }
}

DWORD ErrorFromErrno(int nErrno)
{
    switch (nErrno)
    {
        case 0:
            return ERROR_SUCCESS;
        case ENOENT:
            return ERROR_FILE_NOT_FOUND;
        case EACCES:
        case EPERM:
        case ELOOP:    // a symbolic link where an object should be
        case EISDIR:   // a directory
        case ENXIO:    // a socket
        case EMLINK:   // a second name
        case ETXTBSY:  // a program that runs
            return ERROR_ACCESS_DENIED;
        case EMFILE:
        case ENFILE:
            return ERROR_TOO_MANY_OPEN_FILES;
        case ENOMEM:
        case ENOLCK:  // no memory for a lock
            return ERROR_NOT_ENOUGH_MEMORY;
        case ENOSPC:
        case EDQUOT:
        case EFBIG:
            return ERROR_DISK_FULL;
        case EEXIST:
            return ERROR_ALREADY_EXISTS;
        case EINVAL:
            return ERROR_INVALID_PARAMETER;
        case ECANCELED:
            return ERROR_CANCELLED;
        case ENAMETOOLONG:
            return ERROR_FILENAME_EXCED_RANGE;
        default:
            return ERROR_GEN_FAILURE;
    }
}

KernelRegion::KernelRegion() : m_pnDepth(ThreadObject::RegionDepth())
{
    if (m_pnDepth != nullptr)
    {
        *m_pnDepth = *m_pnDepth + 1;
        std::atomic_signal_fence(std::memory_order_seq_cst);
    }
}

KernelRegion::~KernelRegion()
{
    if (m_pnDepth != nullptr)
    {
        std::atomic_signal_fence(std::memory_order_seq_cst);
        *m_pnDepth = *m_pnDepth - 1;
        std::atomic_signal_fence(std::memory_order_seq_cst);
        if (*m_pnDepth == 0)
        {
            // A request that came inside was passed over by the signal handler.
            ThreadObject::StandStillIfAsked();
        }
    }
}
