// The log front of the libFuzzer programs: nothing is formatted and nothing is written, since damaged input makes the
// library report a hundred times for each of millions of inputs. The replay in tests/fuzz has the real one.
#include "diagnostics/check.h"
#include "vo_log.h"

std::atomic<bool> g_bVOTraceOpen{false};

int VOLogPrintf(VOLOG_PRIORITY, const char*, ...)
{
    return 0;
}

int VOTracePrintf(VOLOG_PRIORITY, const char*, ...)
{
    return 1;
}
