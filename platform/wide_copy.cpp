#include <string.h>

#include "platform/vo_platform.h"
#include "platform/wide_scan.h"

VOWCHAR* VOWideNCopy(VOWCHAR* pszTo, const VOWCHAR* pszFrom, size_t uCount)
{
    const size_t uLength = VOWideLength(pszFrom, uCount);
    void* pToBytes = pszTo;
    const void* pFromBytes = pszFrom;
    memcpy(pToBytes, pFromBytes, uLength * sizeof(VOWCHAR));
    void* pRest = pszTo + uLength;
    memset(pRest, 0, (uCount - uLength) * sizeof(VOWCHAR));
    return pszTo;
}
