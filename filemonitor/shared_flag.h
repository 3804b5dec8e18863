// Plain integers that threads share: their type and place are fixed, their accesses are atomic.
#pragma once

#include <atomic>

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
