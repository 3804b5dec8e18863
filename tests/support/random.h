// Seeded pseudo-random numbers, the same on every system (SplitMix64), for tests that must be repeatable.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace votest
{
class Random
{
public:
    explicit Random(uint64_t ullSeed) : m_ullState(ullSeed) {}

    uint64_t Next()
    {
        m_ullState += 0x9E3779B97F4A7C15ull;
        uint64_t ullMix = m_ullState;
        ullMix = (ullMix ^ (ullMix >> 30)) * 0xBF58476D1CE4E5B9ull;
        ullMix = (ullMix ^ (ullMix >> 27)) * 0x94D049BB133111EBull;
        return ullMix ^ (ullMix >> 31);
    }

    uint32_t Word() { return static_cast<uint32_t>(Next() >> 32); }

    // 0 to uLimit - 1; uLimit isn't 0.
    size_t Below(size_t uLimit) { return static_cast<size_t>(Next() % uLimit); }

    // True in uPercent of 100 cases.
    bool Percent(unsigned uPercent) { return Below(100) < uPercent; }

private:
    uint64_t m_ullState;
};
}  // namespace votest
