// Tests of a process in which nothing has been configured yet. Each body runs in a process of its own, started anew,
// and tells what is wrong on standard error.
//
//   TEST(SomethingDeathTest, Name)
//   {
//       EXPECT_IN_FRESH_PROCESS({
//           CHECK_HERE(VOLogPrintf(VOLOG_ERROR, "x") == 0);
//       });
//   }
#pragma once

#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>

#include <string>

namespace votest
{
inline int& FreshProcessFailures()
{
    static int s_nFailures = 0;
    return s_nFailures;
}

inline void CheckInFreshProcess(bool bHolds, const char* pszWhat, int nLine)
{
    if (!bHolds)
    {
        ++FreshProcessFailures();
        fprintf(stderr, "line %d doesn't hold: %s\n", nLine, pszWhat);
        fflush(stderr);
    }
}
}  // namespace votest

#define CHECK_HERE(condition) ::votest::CheckInFreshProcess((condition), #condition, __LINE__)

#define EXPECT_IN_FRESH_PROCESS(body)                        \
    do                                                       \
    {                                                        \
        GTEST_FLAG_SET(death_test_style, "threadsafe");      \
        EXPECT_EXIT(                                         \
            {                                                \
                body;                                        \
                exit(::votest::FreshProcessFailures() != 0); \
            },                                               \
            testing::ExitedWithCode(0), "");                 \
    } while (0)
