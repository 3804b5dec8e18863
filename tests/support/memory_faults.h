// Every way in which the library's memory can run out: the platform layer's fault points, then operator new. For
// programs that link the static library.
#pragma once

#include <functional>

#include "support/fail_each.h"
#include "support/fault_points.h"
#include "support/new_faults.h"

namespace votest
{
struct FaultPoints
{
    static void Arm(unsigned uNth) { VOFaultArm(nullptr, uNth, false); }
    static void Disarm() { VOFaultDisarm(); }
    static bool Fired() { return VOFaultFired() != 0; }
};

// FailEach with both. Result: how many runs failed.
template <typename State>
unsigned FailEachAllocation(const std::function<void(State&)>& fnMake, const std::function<void(State&)>& fnBody,
                            const std::function<void(State&)>& fnCheck)
{
    return FailEach<FaultPoints, State>(fnMake, fnBody, fnCheck) + FailEach<NewFaults, State>(fnMake, fnBody, fnCheck);
}
}  // namespace votest
