// Makes each allocation of a body fail once: the first, then the second, until a run meets none that is left.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <new>

namespace votest
{
// Faults has Arm(n), Disarm() and Fired(). Before each run fnMake builds the state that fnBody works on; after each
// failed run, which has to end in std::bad_alloc, fnCheck looks at it. Result: how many runs failed.
template <typename Faults, typename State>
unsigned FailEach(const std::function<void(State&)>& fnMake, const std::function<void(State&)>& fnBody,
                  const std::function<void(State&)>& fnCheck)
{
    for (unsigned uNth = 1;; ++uNth)
    {
        State kState;
        fnMake(kState);
        bool bThrown = false;
        Faults::Arm(uNth);
        try
        {
            fnBody(kState);
        }
        catch (const std::bad_alloc&)
        {
            bThrown = true;
        }
        Faults::Disarm();
        const bool bFired = Faults::Fired();
        EXPECT_EQ(bFired, bThrown) << "allocation " << uNth;
        if (!bFired)
        {
            return uNth - 1;
        }
        SCOPED_TRACE(testing::Message() << "allocation " << uNth << " failed");
        fnCheck(kState);
    }
}
}  // namespace votest
