#include "vo_log.h"

#include <mutex>

#include "diagnostics/check.h"

std::atomic<bool> g_bVOTraceOpen{false};

namespace
{

constexpr size_t kMessageSize = 1024;

std::atomic<VOLogHook> g_pLogHook{nullptr};
std::atomic<VOLogHook> g_pTraceHook{nullptr};

// The state behind SetTracePrintEnable, closed again when the library is unloaded.
struct TraceConsole
{
    std::mutex lock;
    bool bEnable = false;
    bool bAttached = false;
    FILE* pStream = nullptr;

    ~TraceConsole()
    {
        if (pStream != nullptr)
        {
            fclose(pStream);
        }
    }
};

TraceConsole g_traceConsole;

// Formats, calls the hook, and writes to standard output in any case. The buffer is this call's own: threads and
// channels can't mix their texts, a hook may log, nothing is allocated, and no thread keeps anything of a library that
// was unloaded.
int Deliver(VOLogHook pHook, VOLOG_PRIORITY emPriority, const char* pszFormat, va_list arguments)
{
    int nResult = 0;
    char szMessage[kMessageSize] = {};
    vsprintf_s(szMessage, kMessageSize, pszFormat, arguments);
    szMessage[kMessageSize - 1] = 0;
    if (pHook != nullptr)
    {
        nResult = pHook(emPriority, szMessage);
    }
    printf("%s", szMessage);
    return nResult;
}

int SetHook(std::atomic<VOLogHook>& pHook, VOLogHook pFunction)
{
    if (pFunction == nullptr)
    {
        return 0;
    }
    pHook.store(pFunction);
    return 1;
}

}  // namespace

int VOLogPrintf(VOLOG_PRIORITY emPriority, const char* pszFormat, ...)
{
    va_list arguments;
    va_start(arguments, pszFormat);
    const int nResult = Deliver(g_pLogHook.load(), emPriority, pszFormat, arguments);
    va_end(arguments);
    return nResult;
}

int VOTracePrintf(VOLOG_PRIORITY emPriority, const char* pszFormat, ...)
{
    if (!VOTraceIsOpen())
    {
        return 1;
    }
    va_list arguments;
    va_start(arguments, pszFormat);
    const int nResult = Deliver(g_pTraceHook.load(), emPriority, pszFormat, arguments);
    va_end(arguments);
    return nResult;
}

int SetLogPrintfFunction(VOLogHook pFunction)
{
    return SetHook(g_pLogHook, pFunction);
}

int SetTracePrintFunction(VOLogHook pFunction)
{
    return SetHook(g_pTraceHook, pFunction);
}

void SetTracePrintEnable(int bAttachConsole, int bEnable)
{
    TraceConsole& console = g_traceConsole;
    const std::lock_guard<std::mutex> guard(console.lock);
    console.bEnable = bEnable != 0;
    if (bAttachConsole != 0)
    {
        // A console that is attached already clears the flag as well: a second attach switches tracing off, and
        // hosts toggle with bAttachConsole zero.
        console.bAttached = false;
        if (console.pStream == nullptr && AttachConsole(ATTACH_PARENT_PROCESS))
        {
            freopen_s(&console.pStream, "CONOUT$", "w", stdout);
            freopen_s(&console.pStream, "CONOUT$", "w", stderr);
            console.bAttached = true;
        }
    }
    g_bVOTraceOpen.store(console.bAttached && console.bEnable);
}

const VOWCHAR* GetLogPriorityString(VOLOG_PRIORITY emPriority)
{
    static const VOWCHAR* const s_arrTag[VOLOG_PRIORITY_MAX] = {
        VOTEXT("[VO3D-RESERVE0]"), VOTEXT("[VO3D-RESERVE1]"), VOTEXT("[VO3D-RESERVE2]"), VOTEXT("[VO3D-ERROR]"),
        VOTEXT("[VO3D-WARNING]"),  VOTEXT("[VO3D-RESERVE3]"), VOTEXT("[VO3D-INFO]"),     VOTEXT("[VO3D-DEBUG]"),
    };

    const VOWCHAR* pszResult = nullptr;
    VO_PROCESS_ERROR(emPriority < VOLOG_PRIORITY_MAX);
    // The check above is all that is traced; what it lets pass in front of the table is refused as well.
    if (emPriority < VOLOG_RESERVE0)
    {
        VO_PROCESS_ERROR_FALSE;
    }
    pszResult = s_arrTag[emPriority];

Exit0:
    return pszResult;
}
