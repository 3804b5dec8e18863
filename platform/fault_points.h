// Fault points: places at which a test makes a call of the platform layer fail.
//
// VO_FAULT_POINT("name") is true when the call that it stands in has to fail now. In ordinary builds it is the constant
// false and costs nothing; with VOBASE_FAULT_POINTS defined (the vo_platform_faulty library) the tests decide:
// tests/support/fault_points.h.
#pragma once

#if defined(VOBASE_FAULT_POINTS)

#include <mutex>

#define VO_FAULT_POINT(name) VOFaultPointHit(name)

// Counts a hit; true when this hit has to fail. Any thread.
bool VOFaultPointHit(const char* pszName);

// VO_SYSTEM_CALLS_HAVE_FAULT_POINTS: true where this layer makes the calls of the seam itself, so that they hold fault
// points; false where they are the system's own. VOFaultLock holds what counts the hits.
#if defined(_WIN32)
constexpr bool VO_SYSTEM_CALLS_HAVE_FAULT_POINTS = false;
typedef std::lock_guard<std::mutex> VOFaultLock;
#else
#include "platform/posix/kernel.h"
constexpr bool VO_SYSTEM_CALLS_HAVE_FAULT_POINTS = true;
typedef KernelLock VOFaultLock;  // a suspended thread doesn't stand with it
#endif

#else

#define VO_FAULT_POINT(name) false

#endif
