// Time and sleep.
#include <sched.h>
#include <time.h>

#include "platform/fault_points.h"
#include "platform/posix/futex.h"
#include "platform/vo_platform.h"

void Sleep(DWORD uMilliseconds)
{
    // It can't fail. Where it is to, it is over at once.
    if (VO_FAULT_POINT("Sleep"))
    {
        return;
    }
    if (uMilliseconds == 0)
    {
        sched_yield();
        return;
    }
    const Deadline deadline(uMilliseconds);
    while (!deadline.IsOver())
    {
        if (deadline.Get() != nullptr)
        {
            clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, deadline.Get(), nullptr);
        }
        else
        {
            const timespec hour = {3600, 0};
            nanosleep(&hour, nullptr);
        }
    }
}

ULONGLONG GetTickCount64()
{
    timespec now;
    clock_gettime(CLOCK_BOOTTIME, &now);
    return static_cast<ULONGLONG>(now.tv_sec) * 1000 + static_cast<ULONGLONG>(now.tv_nsec) / 1000000;
}
