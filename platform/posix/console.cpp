// The console: the controlling terminal stands for the parent process's.
#include <fcntl.h>
#include <unistd.h>

#include "platform/fault_points.h"
#include "platform/vo_platform.h"

namespace
{
constexpr const char* CONSOLE_DEVICE = "/dev/tty";
}

BOOL AttachConsole(DWORD uProcess)
{
    if (uProcess != ATTACH_PARENT_PROCESS)
    {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    const int nTerminal = VO_FAULT_POINT("AttachConsole") ? -1 : open(CONSOLE_DEVICE, O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (nTerminal < 0)
    {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    close(nTerminal);
    return TRUE;
}

errno_t freopen_s(FILE** ppResult, const char* pszName, const char* pszMode, FILE* pStream)
{
    if (ppResult == nullptr || pszName == nullptr || pszMode == nullptr || pStream == nullptr)
    {
        return EINVAL;
    }
    *ppResult = nullptr;
    if (VO_FAULT_POINT("freopen_s"))
    {
        return EMFILE;
    }
    const char* const pszPath = strcmp(pszName, "CONOUT$") == 0 ? CONSOLE_DEVICE : pszName;
    // Tried aside first: a failing freopen would leave the stream closed.
    FILE* const pTrial = fopen(pszPath, pszMode);
    if (pTrial == nullptr)
    {
        return errno;
    }
    fclose(pTrial);
    *ppResult = freopen(pszPath, pszMode, pStream);
    return *ppResult != nullptr ? 0 : errno;
}
