#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <mutex>
#include <set>
#include <utility>

#include "platform/vo_section_publisher.h"
#include "platform/vo_section_view.h"

// Publishing sections: they are reserved large, committed as they grow, and overwritten.

namespace
{
// The name lasts as long as somebody holds the section: to withdraw it, there is nothing to do but to let go.
struct PublishedSection : VOHeldSection
{
    VOSectionView view;
};

bool FailWith(DWORD uError)
{
    SetLastError(uError);
    return false;
}

// Opens or makes the section and maps it. uReserve 0: all of it is committed at once.
bool Open(PublishedSection& section, const VOWCHAR* pszName, size_t uSize, size_t uReserve)
{
    const DWORD uProtect = PAGE_READWRITE | (uReserve != 0 ? static_cast<DWORD>(SEC_RESERVE) : 0);
    const uint64_t ullWhole = std::max(uSize, uReserve);
    const HANDLE hSection =
        CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, uProtect, static_cast<DWORD>(ullWhole >> 32),
                           static_cast<DWORD>(ullWhole), pszName);
    section.bExisted = hSection != nullptr && GetLastError() == ERROR_ALREADY_EXISTS;
    return section.view.TakeHandle(hSection, FILE_MAP_WRITE) != nullptr && section.view.Map() != nullptr;
}

// The view's whole length, committed or not.
size_t WholeLength(const void* pView)
{
    size_t uLength = 0;
    MEMORY_BASIC_INFORMATION info;
    while (VirtualQuery(static_cast<const char*>(pView) + uLength, &info, sizeof(info)) != 0 &&
           info.AllocationBase == pView)
    {
        uLength += info.RegionSize;
    }
    return uLength;
}

// Makes sure that uSize bytes from the start may be touched.
bool Commit(const PublishedSection& section, size_t uSize)
{
    if (section.view.Size() >= uSize)
    {
        return true;
    }
    if (WholeLength(section.view.Data()) < uSize)
    {
        return FailWith(ERROR_NOT_ENOUGH_MEMORY);
    }
    return VirtualAlloc(section.view.Data(), uSize, MEM_COMMIT, PAGE_READWRITE) != nullptr;
}

// Room in the section of that name for the content, and for what it may grow to.
size_t ReserveFor(size_t uSize)
{
    return std::max(kVOSectionReserve, uSize + uSize / 2);
}
}  // namespace

bool VOPublishedSection::OpenOrCreate(const VOWCHAR* pszName, size_t uSize)
{
    auto pHolding = std::make_unique<PublishedSection>();
    if (pszName == nullptr || *pszName == 0 || uSize == 0)
    {
        return FailWith(ERROR_INVALID_PARAMETER);
    }
    // One that is there already, but too small, can't be replaced while anybody holds it.
    if (!Open(*pHolding, pszName, uSize, 0) || !Commit(*pHolding, uSize))
    {
        return false;
    }
    pHolding->pData = pHolding->view.Data();
    pHolding->uSize = pHolding->bExisted ? VOViewSize(pHolding->pData) : uSize;
    m_pHeld = std::move(pHolding);
    return true;
}

bool VOPublishedSection::Replace(const VOWCHAR* pszName, size_t uSize, const Writer& fnWriter)
{
    if (pszName == nullptr || *pszName == 0 || uSize == 0 || uSize > SIZE_MAX / 4 || !fnWriter)
    {
        return FailWith(ERROR_INVALID_PARAMETER);
    }
    const std::unique_ptr<void, void (*)(void*)> pContent(calloc(uSize, 1), free);
    if (!pContent)
    {
        return FailWith(ERROR_NOT_ENOUGH_MEMORY);
    }
    if (!fnWriter(pContent.get(), uSize))
    {
        return FailWith(ERROR_CANCELLED);
    }
    // The section already held is opened once more when it has that name, so that a failure leaves this object as it
    // was.
    auto pHolding = std::make_unique<PublishedSection>();
    if (!Open(*pHolding, pszName, 0, ReserveFor(uSize)) || !Commit(*pHolding, uSize))
    {
        return false;
    }
    char* const pData = static_cast<char*>(pHolding->view.Data());
    const size_t uCommitted = VOViewSize(pData);
    memcpy(pData, pContent.get(), uSize);
    memset(pData + uSize, 0, uCommitted - uSize);
    pHolding->pData = pData;
    pHolding->uSize = uSize;
    m_pHeld = std::move(pHolding);
    return true;
}

size_t VORemoveStaleSectionObjects()
{
    return 0;
}

// The lock of one publisher: a named mutex, and beside it a section of four bytes with the holder's process id.

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

// A lock without its process id is a lock all the same: nothing here is an error.
void WriteProcessId(VOSectionView& section, const VOWString& strName)
{
    const DWORD uProcessId = GetCurrentProcessId();
    section.TakeHandle(CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(uProcessId),
                                          (strName + L"~process").c_str()),
                       FILE_MAP_WRITE);
    if (section.Map() != nullptr)
    {
        memcpy(section.Data(), &uProcessId, sizeof(uProcessId));
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

struct VOInstanceLock::Holding
{
    explicit Holding(const VOWCHAR* pszName) : strName(pszName)
    {
        const std::lock_guard<std::mutex> guard(Held().lock);
        bRegistered = Held().setNames.insert(strName).second;
    }
    Holding(const Holding&) = delete;
    Holding& operator=(const Holding&) = delete;
    ~Holding()
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

    const VOWString strName;
    bool bRegistered = false;
    HANDLE hMutex = nullptr;
    bool bOwned = false;
    VOSectionView processId;
};

VOInstanceLock::Result VOInstanceLock::TryAcquire(const VOWCHAR* pszName)
{
    m_uHolderProcessId = 0;
    if (m_pHolding || pszName == nullptr || *pszName == 0)
    {
        SetLastError(m_pHolding ? ERROR_ALREADY_EXISTS : ERROR_INVALID_PARAMETER);
        return Result::Error;
    }
    auto pHolding = std::make_unique<Holding>(pszName);
    if (!pHolding->bRegistered)
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
    WriteProcessId(pHolding->processId, pHolding->strName);
    m_pHolding = std::move(pHolding);
    return Result::Acquired;
}

// The mutex is there as long as a process that has asked for the lock.
bool VOInstanceLock::IsHeldByAny(const VOWCHAR* pszName)
{
    const HANDLE hMutex = OpenMutexW(SYNCHRONIZE, FALSE, (VOWString(pszName) + L"~lock").c_str());
    if (hMutex == nullptr)
    {
        return false;
    }
    CloseHandle(hMutex);
    return true;
}
