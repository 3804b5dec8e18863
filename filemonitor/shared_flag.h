// The guard of a flag that says "busy".
#pragma once

#include <thread>

#include "platform/vo_shared_word.h"

// Owns a busy flag once it has been taken, to the end of the scope, however that is left.
class FlagGuard
{
public:
    explicit FlagGuard(int& nBusy) : m_nBusy(nBusy) {}
    FlagGuard(const FlagGuard&) = delete;
    FlagGuard& operator=(const FlagGuard&) = delete;
    ~FlagGuard()
    {
        if (m_bHeld)
        {
            VOStoreWord(m_nBusy, 0);
        }
    }

    bool TryAcquire()
    {
        m_bHeld = VOExchangeWord(m_nBusy, 1) == 0;
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

    int& m_nBusy;
    bool m_bHeld = false;
};
