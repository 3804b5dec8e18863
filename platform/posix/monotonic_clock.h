// A clock that only goes forward, whatever is done to the date.
#pragma once

#include <stdint.h>
#include <time.h>

inline int64_t MillisecondsNow()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}
