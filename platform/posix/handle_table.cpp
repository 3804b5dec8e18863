#include "platform/posix/handle_table.h"

#include <utility>

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
    static HandleTable* const s_pTable = new HandleTable;
    return *s_pTable;
}

HANDLE HandleTable::Add(std::shared_ptr<KernelObject> pObject)
{
    const std::lock_guard<std::mutex> guard(m_lock);
    m_uLastHandle += 4;  // the lowest two bits of a handle are zero on Windows as well
    m_mapEntries.emplace(m_uLastHandle, Entry{std::move(pObject), 1});
    return reinterpret_cast<HANDLE>(m_uLastHandle);
}

bool HandleTable::Reopen(HANDLE hObject)
{
    const std::lock_guard<std::mutex> guard(m_lock);
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
    const std::lock_guard<std::mutex> guard(m_lock);
    const auto place = m_mapEntries.find(reinterpret_cast<uintptr_t>(hObject));
    return place != m_mapEntries.end() ? place->second.pObject : nullptr;
}

bool HandleTable::Close(HANDLE hObject)
{
    std::shared_ptr<KernelObject> pReleased;  // destroyed after the lock is given back
    const std::lock_guard<std::mutex> guard(m_lock);
    const auto place = m_mapEntries.find(reinterpret_cast<uintptr_t>(hObject));
    if (place == m_mapEntries.end())
    {
        return false;
    }
    if (--place->second.uOpenings == 0)
    {
        pReleased = std::move(place->second.pObject);
        m_mapEntries.erase(place);
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
