// Event objects.
#include "platform/fault_points.h"
#include "platform/posix/event_object.h"
#include "platform/vo_platform.h"

std::shared_ptr<Event> FindEvent(HANDLE hEvent)
{
    std::shared_ptr<Event> pEvent = HandleTable::Instance().Find<Event>(hEvent);
    if (!pEvent)
    {
        SetLastError(ERROR_INVALID_HANDLE);
    }
    return pEvent;
}

HANDLE CreateEventW(void* pSecurity, BOOL bManualReset, BOOL bInitialState, const VOWCHAR* pszName)
{
    if (pSecurity != nullptr || pszName != nullptr)
    {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    if (VO_FAULT_POINT("CreateEventW"))
    {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    const Waitable::Reset eReset = bManualReset != FALSE ? Waitable::Reset::Manual : Waitable::Reset::Automatic;
    return HandleTable::Instance().Add(std::make_shared<Event>(eReset, bInitialState != FALSE));
}

BOOL SetEvent(HANDLE hEvent)
{
    const std::shared_ptr<Event> pEvent = FindEvent(hEvent);
    if (!pEvent)
    {
        return FALSE;
    }
    pEvent->Signal();
    return TRUE;
}

BOOL ResetEvent(HANDLE hEvent)
{
    const std::shared_ptr<Event> pEvent = FindEvent(hEvent);
    if (!pEvent)
    {
        return FALSE;
    }
    pEvent->Unsignal();
    return TRUE;
}
