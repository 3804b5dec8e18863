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

// The _AS forms take the text apart from the expression, for a check that is made in another way than its text says.
#define VO_PROCESS_ERROR_AS(text, expr) VO_CHECK_HERE_("VO_PROCESS_ERROR", text, !(expr), goto Exit0)
#define VO_COM_PROCESS_ERROR_AS(text, expr) \
    VO_CHECK_HERE_("VO_COM_PROCESS_ERROR", text, VOIsNegative_(expr), goto Exit0)
#define VO_CHECK_ERROR_AS(text, expr) VO_CHECK_HERE_("VO_CHECK_ERROR", text, !(expr), (void)0)

// The _IN forms report under the name of another function: steps that several functions share are a function, and take
// the name from their caller, who has it from VO_NAMED_FUNCTION.
#define VO_NAMED_FUNCTION(pszFunction)                                          \
    static constexpr auto kNamedFunction_ = VOFunctionName(VO_PRETTY_FUNCTION); \
    constexpr const char* pszFunction = kNamedFunction_.szText
#define VO_PROCESS_ERROR_IN(pszFunction, expr) VO_PROCESS_ERROR_AS_IN(pszFunction, #expr, expr)
#define VO_PROCESS_ERROR_AS_IN(pszFunction, text, expr) \
    VO_CHECK_STEP_(pszFunction, "VO_PROCESS_ERROR", text, !(expr), goto Exit0)
#define VO_CHECK_ERROR_AS_IN(pszFunction, text, expr) \
    VO_CHECK_STEP_(pszFunction, "VO_CHECK_ERROR", text, !(expr), (void)0)
