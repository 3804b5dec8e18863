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
#define VO_CHECK_ERROR_AS_IN(pszFunction, text, expr) \
    VO_CHECK_STEP_(pszFunction, "VO_CHECK_ERROR", text, !(expr), (void)0)

// VO_PROCESS_ERROR as a value: whether a step succeeded. What is nothing but steps is one expression of them, and what
// stands behind the first that fails isn't evaluated.
#define VO_STEP(expr) VO_STEP_AS(#expr, expr)
#define VO_STEP_AS(text, expr) VO_STEP_AS_IN(VOFunctionNameHere(VO_PRETTY_FUNCTION).szText, text, expr)
#define VO_STEP_IN(pszFunction, expr) VO_STEP_AS_IN(pszFunction, #expr, expr)
#define VO_STEP_AS_IN(pszFunction, text, expr)                               \
    ((VOTraceIsOpen() ? VOTraceStep(pszFunction, text, __LINE__) : (void)0), \
     static_cast<bool>(expr) || VOStepFailed(pszFunction, text, __LINE__))

// VO_PROCESS_ERROR_FALSE as a value, where a condition doesn't hold.
#define VO_STEP_OR_FALSE(expr) \
    (static_cast<bool>(expr) || VOStepFailed(VOFunctionNameHere(VO_PRETTY_FUNCTION).szText, __LINE__))

template <std::size_t N>
consteval VOFunctionNameText<N> VOFunctionNameHere(const char (&szPretty)[N])
{
    return VOFunctionName(szPretty);
}

inline void VOTraceStep(const char* pszFunction, const char* pszText, int nLine)
{
    VOTracePrintf(VOLOG_INFO, "TracePrintf(%s) at line %d in %s\n", pszText, nLine, pszFunction);
}

inline bool VOStepFailed(const char* pszFunction, const char* pszText, int nLine)
{
    VOLogPrintf(VOLOG_ERROR, "VO_PROCESS_ERROR(%s) at line %d in %s\n", pszText, nLine, pszFunction);
    return false;
}

inline bool VOStepFailed(const char* pszFunction, int nLine)
{
    VOLogPrintf(VOLOG_ERROR, "VO_PROCESS_ERROR_FALSE at line %d in %s\n", nLine, pszFunction);
    return false;
}
