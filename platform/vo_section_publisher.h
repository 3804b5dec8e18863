// The publishing side of sections: what a program needs that makes them, on both systems. The library itself only
// reads.
//
// Failures leave a value in GetLastError (see vo_platform.h). An object of these classes is used by one thread at a
// time.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <functional>
#include <memory>

#include "vo_types.h"

// Lets one publisher serve a user at a time. The system drops the lock when the process dies, however that happens.
//
// Linux: a lock on a file beside the sections, so that it belongs to the same user and name space as they do.
// Windows: a named mutex; one that its owner left behind counts as free. There the lock belongs to the thread that took
// it: that thread has to live as long as the lock, and releases it.
class VOInstanceLock
{
public:
    enum class Result
    {
        Acquired,     // held by this object now
        HeldByOther,  // a living process holds it: HolderProcessId
        Error         // GetLastError
    };

    VOInstanceLock() = default;
    ~VOInstanceLock() { Release(); }
    VOInstanceLock(const VOInstanceLock&) = delete;
    VOInstanceLock& operator=(const VOInstanceLock&) = delete;

    // Never waits. An object that holds a lock already answers Error (ERROR_ALREADY_EXISTS).
    Result TryAcquire(const VOWCHAR* pszName);

    // After HeldByOther: the process that holds the lock, or 0 when that isn't known.
    uint32_t HolderProcessId() const { return m_uHolderProcessId; }

    bool IsHeld() const { return m_pHolding != nullptr; }

    // Whether a living process holds the lock of that name, this one included. False also when that can't be told. Any
    // thread.
    static bool IsHeldByAny(const VOWCHAR* pszName);

    // Gives the lock back; without a lock nothing happens.
    void Release() { m_pHolding.reset(); }

private:
    struct Holding;  // releases at its end
    std::shared_ptr<Holding> m_pHolding;
    uint32_t m_uHolderProcessId = 0;
};

// What a VOPublishedSection holds; each system has more to it.
struct VOHeldSection
{
    virtual ~VOHeldSection() = default;
    virtual bool Withdraw() { return true; }

    void* pData = nullptr;
    size_t uSize = 0;
    bool bExisted = false;
};

// One published section, mapped for reading and writing while the object holds it.
//
// Linux: replacing builds a new object under a temporary name and renames it over the old one. A reader that is inside
// the old one keeps it whole; a failure leaves the old one in place.
// Windows: the section is reserved large at its first creation (at least kVOSectionReserve bytes), committed as it
// grows, and overwritten; a reader that is inside sees the change, so the publisher waits for its readers first. The
// writer fills a private buffer, so that a failing writer leaves the old content.
class VOPublishedSection
{
public:
    // Fills a new section, which is all zero; false gives up the replacement.
    typedef std::function<bool(void* pData, size_t uSize)> Writer;

    VOPublishedSection() = default;
    ~VOPublishedSection() { Withdraw(); }
    VOPublishedSection(const VOPublishedSection&) = delete;
    VOPublishedSection& operator=(const VOPublishedSection&) = delete;

    // Takes over the section of that name with its content, when it is sound and holds at least uSize bytes, or makes a
    // new one of uSize zero bytes; one that is too small or unsound is replaced where the system allows it (never
    // another user's). Existed() tells which of the two happened. What the object held before is detached.
    bool OpenOrCreate(const VOWCHAR* pszName, size_t uSize);
    bool Existed() const { return m_pHeld && m_pHeld->bExisted; }

    // Puts new content of uSize bytes under the name, whether or not there was some before. uSize isn't 0. On failure
    // the section of that name is as it was, and so is this object.
    bool Replace(const VOWCHAR* pszName, size_t uSize, const Writer& fnWriter);
    bool Replace(const VOWCHAR* pszName, const void* pBytes, size_t uSize)
    {
        return Replace(pszName, uSize,
                       [pBytes](void* pData, size_t uLength)
                       {
                           memcpy(pData, pBytes, uLength);
                           return true;
                       });
    }

    // The content, and the bytes asked for (or taken over); null and 0 when nothing is held.
    void* Data() const { return m_pHeld ? m_pHeld->pData : nullptr; }
    size_t Size() const { return m_pHeld ? m_pHeld->uSize : 0; }

    // Removes the name, so that no reader finds the section any more, and lets go of the content; readers that are
    // inside keep theirs. A name that somebody else has replaced since stays. True also when nothing is held.
    bool Withdraw()
    {
        const bool bWithdrawn = !m_pHeld || m_pHeld->Withdraw();
        Detach();
        return bWithdrawn;
    }

    // Lets go of the content and leaves the name to a successor (Linux; on Windows a section ends with its last
    // holder).
    void Detach() { m_pHeld.reset(); }

private:
    std::unique_ptr<VOHeldSection> m_pHeld;
};

// The least address space a section that can be replaced takes on Windows. Readers map all of it, and touch what is
// committed.
constexpr size_t kVOSectionReserve = size_t{1} << 30;

// Removes the half-built objects that killed publishers of this user left in this name space, and tells how many there
// were. Replace and OpenOrCreate remove those of their own section; a program removes all of them at its start. Objects
// still being built by a living process aren't stale. On Windows there are none.
size_t VORemoveStaleSectionObjects();
