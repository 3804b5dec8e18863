// Plain integers that threads share: their type and place are fixed, their accesses are atomic.
#pragma once

#include <atomic>
#include <thread>

inline int LoadFlag(const int& nFlag)
{
    return std::atomic_ref<int>(const_cast<int&>(nFlag)).load(std::memory_order_acquire);
}

inline void StoreFlag(int& nFlag, int nValue)
{
    std::atomic_ref<int>(nFlag).store(nValue, std::memory_order_release);
}

// Sets a busy flag; false when somebody else has it.
inline bool TakeFlag(int& nFlag)
{
    return std::atomic_ref<int>(nFlag).exchange(1, std::memory_order_acquire) == 0;
}

// Owns a busy flag once it has been taken, to the end of the scope, however that is left.
class FlagGuard
{
public:
    explicit FlagGuard(int& rnBusy) : m_rnBusy(rnBusy) {}
    FlagGuard(const FlagGuard&) = delete;
    FlagGuard& operator=(const FlagGuard&) = delete;
    ~FlagGuard()
    {
        if (m_bHeld)
        {
            StoreFlag(m_rnBusy, 0);
        }
    }

    bool TryAcquire()
    {
        m_bHeld = TakeFlag(m_rnBusy);
        return m_bHeld;
    }

    // Gives up after a while: a thread that is held suspended with the flag up may never let go.
    bool AcquireSoon()
    {
        for (int i = 0; i < kTries && !TryAcquire(); ++i)
        {
            std::this_thread::yield();
        }
        return m_bHeld;
    }

    void Acquire()
    {
        while (!TryAcquire())
        {
            std::this_thread::yield();
        }
    }

private:
    static constexpr int kTries = 1000;

    int& m_rnBusy;
    bool m_bHeld = false;
};
