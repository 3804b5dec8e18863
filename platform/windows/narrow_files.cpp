// Files by narrow path: what the runtime's own functions leave out.
#include "platform/fault_points.h"
#include "platform/vo_platform.h"

FILE* VOOpenFile(const char* pszPath, const char* pszMode)
{
    if (pszPath == nullptr || VO_FAULT_POINT("VOOpenFile"))
    {
        errno = EINVAL;
        return nullptr;
    }
    return fopen(pszPath, pszMode);
}

// A path that is whole begins with a drive, which nothing skips.
size_t VOPathRootLength(const char*)
{
    return 0;
}
