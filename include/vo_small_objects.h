// Four small classes that tools use on their own: a state with a history, a guard that puts an integer back, a
// reference count for objects that are deleted by their last user, and an event that a handler accepts or rejects.
//
// Only ZRef is safe for several threads. An object of the others belongs to one thread at a time.
#pragma once

#include <deque>

#include "vo_types.h"

// One integer state, and the stack of the values it had before. Not a lock between threads: "locking" sets a
// state and keeps the old one, releasing brings the old one back. A copy has the state and the whole stack.
//
// For code that calls into itself: the inner part sets its state, and the outer one finds its own again
// afterwards.
class VOBASE_API VOStackLock
{
public:
    // Begins in nState with nothing saved.
    explicit VOStackLock(int nState = 0);

    // A copy has the state and the whole stack; it throws std::bad_alloc when there is no memory for that.
    VOStackLock(const VOStackLock& rkOther);
    VOStackLock& operator=(const VOStackLock& rkOther);
    virtual ~VOStackLock();

    // Saves the current state, also when it is the same, and sets a new one. Always 1; throws std::bad_alloc
    // when there is no memory, with the state as it was.
    int DoLock(int nState);

    // Brings back the state that was saved last: 1. With nothing saved: 0, a log line, and the state stays.
    int ReleaseLock();

    // Kept (VOStackLock::IsLocked): the current state as it stands, whatever its value. Callers with more than
    // two states read them here.
    int IsLocked() const;

protected:
    int m_nLockState;
    std::deque<int> m_stackLockedState;  // saved states, the newest at the back
};

// Writes a given value into an integer when the scope ends, also when an exception leaves it. The integer isn't
// read or changed before that: the usual form is 1 at rest, a guard with 1, and 0 set inside. The write is
// atomic, so that another thread may read the integer meanwhile; the object itself belongs to its scope.
class VOBASE_API ZRecoverState
{
public:
    // pnTarget: the integer, not owned, which lives longer than this object; may be null, and then nothing is
    // written. nRecoverValue: what stands in it at the end.
    ZRecoverState(int* pnTarget, int nRecoverValue);

    // A copy restores the same integer once more, at its own end.
    ZRecoverState(const ZRecoverState& rkOther);

    // The object assigned to restores what the other restores as well; its own target is left alone.
    ZRecoverState& operator=(const ZRecoverState& rkOther);
    ~ZRecoverState();

protected:
    int m_nRecoverValue;
    int* m_pnTarget;
};

// The base of objects that are deleted when the last user lets go. An object begins with one user, its maker,
// and lives on the heap. AddRef, Release and RefCount may be called by any thread that is a user; a pointer may
// be handed to another thread by whoever holds a count for it.
class VOBASE_API ZRef
{
public:
    ZRef();

    // Kept (ZRef::ZRef): the count goes along as it stands, so that a copy doesn't begin at 1. Classes that
    // copy their objects set the count of a copy themselves.
    ZRef(const ZRef& rkOther);
    ZRef& operator=(const ZRef& rkOther);
    virtual ~ZRef();

    // One user more. The new count.
    unsigned int AddRef();

    // One user less; deletes the object, through its virtual destructor, when the count was 1. The caller's
    // pointer is dead then.
    void Release();

    // A snapshot: another thread may change it at once.
    unsigned int RefCount() const;

protected:
    unsigned int m_uRefCount;
};

// An event that its handlers accept or reject; the last call wins. Objects aren't deleted through this
// interface, and belong to one thread at a time.
class VOBASE_API IVOBaseEvent
{
public:
    // The two questions give 1 for yes and 0 for no.
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

// The event itself: a flag that begins as accepted.
class VOBASE_API VOBaseEvent : public virtual IVOBaseEvent
{
public:
    // Accepted from the start. A copy has the other's state and goes its own way.
    VOBaseEvent();
    VOBaseEvent(const VOBaseEvent& rkOther);
    VOBaseEvent& operator=(const VOBaseEvent& rkOther);
    virtual ~VOBaseEvent();

    // Accept and Reject: always 1. IsAccepted and IsRejected are each other's opposites.
    int Accept() override;
    int IsAccepted() const override;
    int Reject() override;
    int IsRejected() const override;

protected:
    int m_nAccepted;  // 1 accepted, 0 rejected
};
