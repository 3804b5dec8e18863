// What the kernel keeps on Windows: handles, the calling thread's last error, and stretches of code in which no thread
// is suspended.
#pragma once

#include <signal.h>
#include <stdint.h>

#include <map>
#include <memory>
#include <mutex>

#include "platform/vo_platform.h"

// Handles: what a HANDLE of any kind stands for on Linux.
//
// A handle is a number that is never given out twice, so that a stale one is recognised, however often a program closes
// it. It may be opened several times (counted), which is how opening one section again costs nothing.

// What stands behind a handle; destroyed with the last reference to it, which may outlive the handle.
class KernelObject
{
public:
    virtual ~KernelObject() = default;

    // Called once, without a lock, when the last handle of the object has been closed.
    virtual void OnClosed() {}
};

class HandleTable
{
public:
    // The table of this process. Never destroyed: threads may still use handles while the process ends.
    static HandleTable& Instance();

    // A new handle, opened once.
    HANDLE Add(std::shared_ptr<KernelObject> pObject);

    // Opens a handle once more. False when it is closed already.
    bool Reopen(HANDLE hObject);

    // The object behind a handle that is of this kind; null with ERROR_INVALID_HANDLE when there is none.
    template <class Kind>
    std::shared_ptr<Kind> Find(HANDLE hObject)
    {
        std::shared_ptr<Kind> pObject = std::dynamic_pointer_cast<Kind>(FindObject(hObject));
        if (!pObject)
        {
            SetLastError(ERROR_INVALID_HANDLE);
        }
        return pObject;
    }

    // Takes back one opening. False when the handle isn't open.
    bool Close(HANDLE hObject);

private:
    struct Entry
    {
        std::shared_ptr<KernelObject> pObject;
        uint64_t uOpenings = 0;
    };

    std::shared_ptr<KernelObject> FindObject(HANDLE hObject);

    std::mutex m_lock;
    std::map<uintptr_t, Entry> m_mapEntries;
    uintptr_t m_uLastHandle = 0;
};

// The system's error numbers in the terms of GetLastError.
DWORD ErrorFromErrno(int nErrno);

// Says why a call fails, as its last error or in errno, and gives what the call returns then.
template <typename Result = bool>
Result FailCall(DWORD uError, Result failure = Result())
{
    SetLastError(uError);
    return failure;
}

template <typename Result = bool>
Result FailErrno(int nError, Result failure = Result())
{
    errno = nError;
    return failure;
}

// Stretches of code in which a thread isn't suspended.
//
// On Windows the tables behind handles belong to the kernel, which never suspends a thread that is inside. Here they
// are guarded by locks of this layer: a thread that stood still with one of them would stop everybody, the one who is
// to resume it too. So every lock of the layer is taken through KernelLock: a thread that is asked to stand still
// meanwhile does so when it leaves the last of them.
//
// Nothing inside may wait for anything but another such lock. Memory isn't allocated or released there where a resume
// depends on it, since a thread may stand still with the locks of the allocator.
class KernelRegion
{
public:
    KernelRegion();
    ~KernelRegion();
    KernelRegion(const KernelRegion&) = delete;
    KernelRegion& operator=(const KernelRegion&) = delete;

private:
    volatile sig_atomic_t* const m_pnDepth;  // the thread's own count; null where nobody can suspend it
};

// Holds a lock of this layer.
class KernelLock
{
public:
    explicit KernelLock(std::mutex& lock) : m_guard(lock) {}

private:
    KernelRegion m_region;  // around the lock: left after it
    std::lock_guard<std::mutex> m_guard;
};
