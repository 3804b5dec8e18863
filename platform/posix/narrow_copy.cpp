// The bounded copy of narrow text; the local time.
#include <time.h>

#include "platform/vo_platform.h"

errno_t strcpy_s(char* pszTo, size_t uSize, const char* pszFrom)
{
    if (pszTo == nullptr || uSize == 0)
    {
        return EINVAL;
    }
    const size_t uLength = pszFrom != nullptr ? strnlen(pszFrom, uSize) : uSize;
    if (uLength == uSize)
    {
        pszTo[0] = '\0';
        return pszFrom != nullptr ? ERANGE : EINVAL;
    }
    memmove(pszTo, pszFrom, uLength);
    pszTo[uLength] = '\0';
    return 0;
}

errno_t localtime_s(struct tm* pTo, const time_t* pTime)
{
    if (pTo == nullptr || pTime == nullptr || localtime_r(pTime, pTo) == nullptr)
    {
        return EINVAL;
    }
    return 0;
}
