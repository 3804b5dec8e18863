#include "platform/posix/handle_table.h"

#include <utility>

#include "platform/posix/kernel_region.h"
#include "platform/vo_never_destroyed.h"

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
    if (!IsPseudoHandle(hObject) && !HandleTable::Instance().Close(hObject))
    {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    return TRUE;
}
