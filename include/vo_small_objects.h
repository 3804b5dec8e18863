// Four small classes that tools use on their own: a state with a history, a guard that puts an integer back, a
// reference count for objects that are deleted by their last user, and an event that a handler accepts or rejects.
//
// Only ZRef is safe for several threads. An object of the others belongs to one thread at a time.
#pragma once

#include <deque>

#include "vo_types.h"

// One integer state, and the stack of the values it had before. Not a lock between threads: "locking" sets a state and
// keeps the old one, releasing brings the old one back. A copy has the state and the whole stack.
class VOBASE_API VOStackLock
{
public:
    explicit VOStackLock(int nState = 0);
    VOStackLock(const VOStackLock& rkOther);
    VOStackLock& operator=(const VOStackLock& rkOther);
    virtual ~VOStackLock();

    // Saves the current state, also when it is the same, and sets a new one. Always 1.
    int DoLock(int nState);

    // Brings back the state that was saved last. With nothing saved: 0, a log line, and the state stays.
    int ReleaseLock();

    // The current state as it stands, whatever its value.
    int IsLocked() const;

protected:
    int m_nLockState;
    std::deque<int> m_stackLockedState;  // saved states, the newest at the back
};

// Writes a given value into an integer when the scope ends, also when an exception leaves it. The integer isn't read or
// changed before that: the usual form is 1 at rest, a guard with 1, and 0 set inside.
class VOBASE_API ZRecoverState
{
public:
    // pnTarget: the integer, not owned, which lives longer than this object; may be null.
    ZRecoverState(int* pnTarget, int nRecoverValue);
    ZRecoverState(const ZRecoverState& rkOther);

    // The object assigned to restores what the other restores as well; its own target is left alone.
    ZRecoverState& operator=(const ZRecoverState& rkOther);
    ~ZRecoverState();

protected:
    int m_nRecoverValue;
    int* m_pnTarget;
};

// The base of objects that are deleted when the last user lets go. An object begins with one user, its maker. AddRef,
// Release and RefCount may be called by any thread that is a user.
class VOBASE_API ZRef
{
public:
    ZRef();

    // The count goes along as it stands: a copy doesn't begin at 1.
    ZRef(const ZRef& rkOther);
    ZRef& operator=(const ZRef& rkOther);
    virtual ~ZRef();

    // The new count.
    unsigned int AddRef();

    // Deletes the object when the count was 1.
    void Release();

    // A snapshot.
    unsigned int RefCount() const;

protected:
    unsigned int m_uRefCount;
};

// An event that its handlers accept or reject; the last call wins. Objects aren't deleted through this interface.
class VOBASE_API IVOBaseEvent
{
public:
    virtual int Accept() = 0;
    virtual int IsAccepted() const = 0;
    virtual int Reject() = 0;
    virtual int IsRejected() const = 0;

protected:
    IVOBaseEvent();
    IVOBaseEvent(const IVOBaseEvent& rkOther);
    IVOBaseEvent& operator=(const IVOBaseEvent& rkOther);
    ~IVOBaseEvent();
};

class VOBASE_API VOBaseEvent : public virtual IVOBaseEvent
{
public:
    VOBaseEvent();  // accepted
    VOBaseEvent(const VOBaseEvent& rkOther);
    VOBaseEvent& operator=(const VOBaseEvent& rkOther);
    virtual ~VOBaseEvent();

    // Accept and Reject: always 1.
    int Accept() override;
    int IsAccepted() const override;
    int Reject() override;
    int IsRejected() const override;

protected:
    int m_nAccepted;  // 1 accepted, 0 rejected
};
