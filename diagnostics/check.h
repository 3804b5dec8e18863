// What every source file of the library includes first: the platform seam and the check macros, with the trace
// channel's gate tested in place. Checks stand on every hot path, so a closed trace channel must cost no call.
#pragma once

#include <atomic>

#include "platform/vo_platform.h"

// Whether the trace channel is open: a console is attached and the host asked for tracing.
extern std::atomic<bool> g_bVOTraceOpen;

inline bool VOTraceIsOpen()
{
    return g_bVOTraceOpen.load(std::memory_order_relaxed);
}

#include "vo_log.h"

#undef VO_TRACE_IS_OPEN
#define VO_TRACE_IS_OPEN() VOTraceIsOpen()
