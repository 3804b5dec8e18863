#include <stdlib.h>

#include "platform/vo_platform.h"

void VOEndProcess(const char* pszReason)
{
    fprintf(stderr, "VOBaseX64: %s; the process ends here\n", pszReason);
    fflush(stderr);
#if defined(_WIN32)
    // What the runtime's own range check ends with.
    constexpr UINT kStackBufferOverrun = 0xC0000409u;
    TerminateProcess(GetCurrentProcess(), kStackBufferOverrun);
#endif
    abort();
}
