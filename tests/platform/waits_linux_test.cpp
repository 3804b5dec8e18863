#include <time.h>

#include <chrono>

#include "tests/platform/platform_test_support.h"

namespace
{

std::chrono::nanoseconds ProcessorTime()
{
    timespec now = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

}  // namespace

TEST(SleepingThread, LeavesTheProcessorToOthers)
{
    const std::chrono::nanoseconds before = ProcessorTime();
    Sleep(300);
    EXPECT_GT(std::chrono::milliseconds(50), ProcessorTime() - before);
}
