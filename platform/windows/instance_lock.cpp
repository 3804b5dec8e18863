// The lock of one publisher: a named mutex, and beside it a section of four bytes with the holder's process id.
#include <string.h>

#include <mutex>
#include <set>
#include <utility>

#include "platform/vo_section_publisher.h"
#include "platform/vo_section_view.h"

namespace
{
// The names that this process holds: a thread that has a mutex is given it again, which isn't what a lock is for.
struct HeldNames
{
    std::mutex lock;
    std::set<VOWString> setNames;
};

HeldNames& Held()
{
    static HeldNames* const s_pHeld = new HeldNames;
    return *s_pHeld;
}

struct InstanceLock
{
    InstanceLock() = default;
    InstanceLock(const InstanceLock&) = delete;
    InstanceLock& operator=(const InstanceLock&) = delete;
    ~InstanceLock()
    {
        processId.Close();
        if (bOwned)
        {
            ReleaseMutex(hMutex);
        }
        if (hMutex != nullptr)
        {
            CloseHandle(hMutex);
        }
        if (bRegistered)
        {
            const std::lock_guard<std::mutex> guard(Held().lock);
            Held().setNames.erase(strName);
        }
    }

    VOWString strName;
    bool bRegistered = false;
    HANDLE hMutex = nullptr;
    bool bOwned = false;
    VOSectionView processId;
};

bool Register(InstanceLock& lock, const VOWCHAR* pszName)
{
    const std::lock_guard<std::mutex> guard(Held().lock);
    lock.strName = pszName;
    lock.bRegistered = Held().setNames.insert(lock.strName).second;
    return lock.bRegistered;
}

// A lock without its process id is a lock all the same: nothing here is an error.
void WriteProcessId(InstanceLock& lock)
{
    const DWORD uProcessId = GetCurrentProcessId();
    lock.processId.TakeHandle(CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(uProcessId),
                                                 (lock.strName + L"~process").c_str()),
                              FILE_MAP_WRITE);
    if (lock.processId.Map() != nullptr)
    {
        memcpy(lock.processId.Data(), &uProcessId, sizeof(uProcessId));
    }
}

uint32_t ReadProcessId(const VOWString& strName)
{
    DWORD uProcessId = 0;
    const VOSectionView section((strName + L"~process").c_str(), FILE_MAP_READ);
    if (section.Data() != nullptr)
    {
        memcpy(&uProcessId, section.Data(), sizeof(uProcessId));
    }
    return uProcessId;
}
}  // namespace

struct VOInstanceLock::Holding : InstanceLock
{
};

VOInstanceLock::VOInstanceLock() = default;

VOInstanceLock::~VOInstanceLock()
{
    Release();
}

VOInstanceLock::Result VOInstanceLock::TryAcquire(const VOWCHAR* pszName)
{
    m_uHolderProcessId = 0;
    if (m_pHolding || pszName == nullptr || *pszName == 0)
    {
        SetLastError(m_pHolding ? ERROR_ALREADY_EXISTS : ERROR_INVALID_PARAMETER);
        return Result::Error;
    }
    auto pHolding = std::make_unique<Holding>();
    if (!Register(*pHolding, pszName))
    {
        m_uHolderProcessId = GetCurrentProcessId();
        return Result::HeldByOther;
    }
    // A section and a mutex share one name space, so the mutex gets a name of its own.
    pHolding->hMutex = CreateMutexW(nullptr, FALSE, (pHolding->strName + L"~lock").c_str());
    if (pHolding->hMutex == nullptr)
    {
        return Result::Error;
    }
    const DWORD uWait = WaitForSingleObject(pHolding->hMutex, 0);
    if (uWait == WAIT_TIMEOUT)
    {
        m_uHolderProcessId = ReadProcessId(pHolding->strName);
        return Result::HeldByOther;
    }
    if (uWait != WAIT_OBJECT_0 && uWait != WAIT_ABANDONED)
    {
        return Result::Error;
    }
    pHolding->bOwned = true;
    WriteProcessId(*pHolding);
    m_pHolding = std::move(pHolding);
    return Result::Acquired;
}

uint32_t VOInstanceLock::HolderProcessId() const
{
    return m_uHolderProcessId;
}

bool VOInstanceLock::IsHeld() const
{
    return m_pHolding != nullptr;
}

void VOInstanceLock::Release()
{
    m_pHolding.reset();
}
