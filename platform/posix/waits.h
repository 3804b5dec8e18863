// Clocks and waiting: a futex, what can be waited for, and events.
#pragma once

#include <stdint.h>
#include <time.h>

#include <atomic>
#include <iterator>
#include <list>
#include <memory>
#include <mutex>

#include "platform/posix/kernel.h"

// A clock that only goes forward, whatever is done to the date.
inline int64_t MillisecondsNow()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

// Waiting for a word of memory to change. Nothing here takes a lock: all of it may be used in a signal handler.

// A point of time of the monotonic clock, or none.
class Deadline
{
public:
    // So many milliseconds from now; INFINITE is never.
    explicit Deadline(uint32_t uMilliseconds);

    // Null for never.
    const timespec* Get() const { return m_bNever ? nullptr : &m_time; }
    bool IsOver() const;

private:
    timespec m_time = {};
    bool m_bNever = false;
};

// Returns when the word was woken, when it doesn't hold uValue, when the deadline is over or when a signal came: the
// caller looks again. errno stays as it was.
void FutexWait(const std::atomic<uint32_t>& word, uint32_t uValue, const timespec* pDeadline);

// Waits until the word doesn't hold uValue any more.
void FutexWaitWhile(const std::atomic<uint32_t>& word, uint32_t uValue);

// Wakes all who wait for the word.
void FutexWakeAll(const std::atomic<uint32_t>& word);

// The word gets a value, for which others may wait.
void FutexStore(std::atomic<uint32_t>& word, uint32_t uValue);

// Objects that a thread can wait for.

// What the end of a call that went on in the background has still to do: who waits for it does it, on its own thread.
class Completion
{
public:
    virtual ~Completion() = default;
    virtual void Deliver() = 0;
};

// Whoever began the call keeps the completion, which may keep what it signals.
typedef std::list<std::weak_ptr<Completion>> CompletionList;

class Waitable : public KernelObject
{
public:
    enum class Reset
    {
        Manual,    // stays signalled, and lets everybody through
        Automatic  // lets one waiter through and is unsignalled again
    };

    Waitable(Reset eReset, bool bSignalled) : m_eReset(eReset), m_bSignalled(bSignalled) {}

    // Waits until the object is signalled: true; false when the deadline comes first. A wait that begins when the
    // deadline is over looks once. May be interrupted and may stand still; the deadline stays what it was.
    bool Wait(const Deadline& deadline);

    // Signals; the completions are delivered by the wait that is let through next.
    void Signal(CompletionList completions = {});
    void Unsignal();

    // Unsignals for a new use: forgets the completions that nobody keeps any more.
    void Renew();

protected:
    // Signals while the lock is held.
    void SignalLocked();

    // What a waiter does once that was let through, on its own thread and without the lock.
    virtual void OnWaited() {}

    std::mutex m_lock;  // through KernelLock

private:
    bool TryPass(uint32_t* puGeneration, CompletionList* pCompletions);

    const Reset m_eReset;
    bool m_bSignalled;
    CompletionList m_listCompletions;
    std::atomic<uint32_t> m_uGeneration{0};  // grows whenever waiters have to look again
};

// Event objects.
class Event : public Waitable
{
public:
    using Waitable::Waitable;
};

// Moves the members of a list that fnWanted names to the end of another one. It takes no memory and releases none, so
// that it may be done under a lock of the layer.
template <typename Member, typename Wanted>
void SpliceIf(std::list<Member>& to, std::list<Member>& from, Wanted fnWanted)
{
    for (auto place = from.begin(); place != from.end();)
    {
        const auto next = std::next(place);
        if (fnWanted(*place))
        {
            to.splice(to.end(), from, place);
        }
        place = next;
    }
}
