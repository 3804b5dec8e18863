// Objects that a thread can wait for.
#pragma once

#include <stdint.h>

#include <atomic>
#include <list>
#include <memory>
#include <mutex>

#include "platform/posix/futex.h"
#include "platform/posix/handle_table.h"

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

    void Signal();
    void Unsignal();

    // Unsignals for a new use: forgets the completions that nobody keeps any more.
    void Renew();

    // Signals; the completions are delivered by the wait that is let through next.
    void Signal(CompletionList completions);

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
