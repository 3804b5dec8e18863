// Waiting for what another thread or process does, with a bound that only a fault comes to.
#pragma once

#include <chrono>
#include <thread>

namespace votest
{
// Until a condition holds, which is looked at in between pauses; false when it doesn't for a minute.
template <typename Condition>
bool WaitUntil(Condition&& holds, std::chrono::milliseconds pause = std::chrono::milliseconds(2))
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (!holds())
    {
        if (std::chrono::steady_clock::now() > end)
        {
            return false;
        }
        std::this_thread::sleep_for(pause);
    }
    return true;
}
}  // namespace votest
