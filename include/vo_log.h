// The log front and the check macros: how every failure in this library is reported.
//
// Two channels exist, and they are not two levels of one channel. The log channel reports failed checks and
// is always on. The trace channel echoes every check before it is made; it is off until the host turns it on
// with SetTracePrintEnable, and it needs a console.
//
// What the macros print (one line each, ended by "\n"):
//
//   VO_PROCESS_ERROR(nCount < 3)      trace: TracePrintf(nCount < 3) at line 12 in Class::Function
//                                     log:   VO_PROCESS_ERROR(nCount < 3) at line 12 in Class::Function
//   VO_COM_PROCESS_ERROR(hr)          trace: TracePrintf(hr) at line 12 in Class::Function
//                                     log:   VO_COM_PROCESS_ERROR(hr) at line 12 in Class::Function
//   VO_CHECK_ERROR(nCount < 3)        trace: TracePrintf(nCount < 3) at line 12 in Class::Function
//                                     log:   VO_CHECK_ERROR(nCount < 3) at line 12 in Class::Function
//   VO_PROCESS_ERROR_FALSE            log:   VO_PROCESS_ERROR_FALSE at line 12 in Class::Function
//
// The trace line comes first, then the expression is evaluated, exactly once. A passing check logs nothing.
#pragma once

#include <type_traits>

#include "internal/vo_function_name.h"
#include "vo_types.h"

// The levels. The library itself reports with two of them; the reserved ones are in use nowhere. A level never
// decides whether something is reported.
enum VOLOG_PRIORITY : int
{
    VOLOG_RESERVE0 = 0,
    VOLOG_RESERVE1 = 1,
    VOLOG_RESERVE2 = 2,
    VOLOG_ERROR = 3,    // every failed check of this library
    VOLOG_WARNING = 4,  // for the host
    VOLOG_RESERVE3 = 5,
    VOLOG_INFO = 6,   // every trace line of this library
    VOLOG_DEBUG = 7,  // for the host
    VOLOG_PRIORITY_MAX = 8
};

// A hook of the host: gets the level and one formatted message. It runs on whatever thread reports, possibly
// while the reporting object holds its own locks, so it must not call back into that object, and must not
// throw. It may log. The text is valid until the hook returns; the result goes to whoever called VOLogPrintf or
// VOTracePrintf, and the library looks at none.
typedef int (*VOLogHook)(VOLOG_PRIORITY emPriority, const char* pszText);

// Formats one message (at most 1,023 bytes), gives it to the log hook and writes it to standard output, with no
// tag and no time, and without flushing. Returns what the hook returned, 0 without a hook. Thread-safe; the
// buffer is the call's own, so that a hook may log as well, and the library allocates nothing.
//
// A longer message is never delivered in part. Windows: the handler for invalid parameters runs, the host's own
// or the runtime's, which ends the process; docs/porting.md says where it is looked for. Where the process goes
// on, and on Linux, the text delivered is empty.
//
// Kept (VOLogPrintf): every message goes to standard output too, whatever its level and whether there is a hook
// or not. Tools that capture a program's output find the log there.
VOBASE_API int VOLogPrintf(VOLOG_PRIORITY emPriority, const char* pszFormat, ...) VO_PRINTF_FORMAT(2, 3);

// The same on the trace channel, with the trace hook. Returns 1 at once, without looking at the arguments,
// while tracing is closed.
VOBASE_API int VOTracePrintf(VOLOG_PRIORITY emPriority, const char* pszFormat, ...) VO_PRINTF_FORMAT(2, 3);

// Replace a hook, at any time and from any thread; a call that is under way may still end in the old one.
//
// Kept (SetLogPrintfFunction): an empty pointer is refused with 0 and the hook in place stays; otherwise 1. A
// hook can't be removed: hosts that pass a function which they may not have found keep the one they set. A host
// that unloads the code of its hook replaces it first. The same holds for SetTracePrintFunction.
VOBASE_API int SetLogPrintfFunction(VOLogHook pFunction);
VOBASE_API int SetTracePrintFunction(VOLogHook pFunction);

// Stores bEnable. With bAttachConsole non-zero it also takes over the parent console (on Linux the controlling
// terminal) for standard output and standard error; tracing runs only while a console is attached and bEnable
// is set. Without a console nothing is said, and tracing stays silent. Thread-safe. The console's stream is
// closed when the library is unloaded.
//
// Kept (SetTracePrintEnable): a second call with bAttachConsole non-zero finds the console taken and switches
// tracing off. Hosts pause and resume with bAttachConsole zero, and use the second attach as their switch.
VOBASE_API void SetTracePrintEnable(int bAttachConsole, int bEnable);

// The wide tag of a level, "[VO3D-INFO]" for VOLOG_INFO, in constant storage that the caller doesn't free. An
// empty pointer, and a log line, for a value that is no level.
VOBASE_API const VOWCHAR* GetLogPriorityString(VOLOG_PRIORITY emPriority);

// Inside the library this asks the gate itself, so that a check costs two tests while tracing is closed.
#ifndef VO_TRACE_IS_OPEN
#define VO_TRACE_IS_OPEN() true
#endif

// The building blocks. The text of an expression is taken in the outermost macro, so that no macro inside the
// expression is expanded in it.
#define VO_FUNCTION_NAME_ static constexpr auto kFunctionName_ = VOFunctionName(VO_PRETTY_FUNCTION)

// Whether a result is negative, for VO_COM_PROCESS_ERROR: an enumeration counts by its number, an unsigned type
// is never negative, and neither costs a warning.
template <typename T>
constexpr bool VOIsNegative_(const T& rkResult)
{
    if constexpr (std::is_enum_v<T>)
    {
        return VOIsNegative_(static_cast<std::underlying_type_t<T>>(rkResult));
    }
    else if constexpr (std::is_unsigned_v<T>)
    {
        return false;
    }
    else
    {
        return rkResult < 0;
    }
}

#define VO_TRACE_LINE_(pszFunction, text)                                                                 \
    do                                                                                                    \
    {                                                                                                     \
        if (VO_TRACE_IS_OPEN())                                                                           \
        {                                                                                                 \
            VOTracePrintf(VOLOG_INFO, "TracePrintf(%s) at line %d in %s\n", text, __LINE__, pszFunction); \
        }                                                                                                 \
    } while (0)

#define VO_LOG_LINE_(pszFunction, macro, text) \
    VOLogPrintf(VOLOG_ERROR, macro "(%s) at line %d in %s\n", text, __LINE__, pszFunction)

#define VO_CHECK_STEP_(pszFunction, macro, text, bFailed, onFailure) \
    do                                                               \
    {                                                                \
        VO_TRACE_LINE_(pszFunction, text);                           \
        if (bFailed)                                                 \
        {                                                            \
            VO_LOG_LINE_(pszFunction, macro, text);                  \
            onFailure;                                               \
        }                                                            \
    } while (0)

#define VO_CHECK_HERE_(macro, text, bFailed, onFailure)                           \
    do                                                                            \
    {                                                                             \
        VO_FUNCTION_NAME_;                                                        \
        VO_CHECK_STEP_(kFunctionName_.szText, macro, text, (bFailed), onFailure); \
    } while (0)

// Fails when expr is false or zero: logs and jumps to the label Exit0.
#define VO_PROCESS_ERROR(expr) VO_CHECK_HERE_("VO_PROCESS_ERROR", #expr, !(expr), goto Exit0)

// Fails when expr is negative (an HRESULT, or the result of a formatter): logs and jumps to Exit0. An enumeration
// counts by its number; an unsigned result is never negative.
#define VO_COM_PROCESS_ERROR(expr) VO_CHECK_HERE_("VO_COM_PROCESS_ERROR", #expr, VOIsNegative_(expr), goto Exit0)

// Fails when expr is false or zero: logs, and execution goes on with the next statement.
#define VO_CHECK_ERROR(expr) VO_CHECK_HERE_("VO_CHECK_ERROR", #expr, !(expr), (void)0)

// The step has already failed: logs without a trace line and jumps to Exit0. Used without parentheses.
#define VO_PROCESS_ERROR_FALSE                                                                                  \
    do                                                                                                          \
    {                                                                                                           \
        VO_FUNCTION_NAME_;                                                                                      \
        VOLogPrintf(VOLOG_ERROR, "VO_PROCESS_ERROR_FALSE at line %d in %s\n", __LINE__, kFunctionName_.szText); \
        goto Exit0;                                                                                             \
    } while (0)
