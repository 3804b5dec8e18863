// Handles: what a HANDLE of any kind stands for on Linux.
//
// A handle is a number that is never given out twice, so that a stale one is recognised, however often a program closes
// it. It may be opened several times (counted), which is how opening one section again costs nothing.
#pragma once

#include <stdint.h>

#include <map>
#include <memory>
#include <mutex>

#include "platform/vo_platform.h"

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

    // The object behind a handle that is of this kind, or null.
    template <class Kind>
    std::shared_ptr<Kind> Find(HANDLE hObject)
    {
        return std::dynamic_pointer_cast<Kind>(FindObject(hObject));
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
