// The checked formatter for narrow text.
#include "platform/vo_platform.h"

int vsprintf_s(char* pszTo, size_t uSize, const char* pszFormat, va_list arguments)
{
    if (pszTo == nullptr || uSize == 0)
    {
        errno = EINVAL;
        return -1;
    }
    const int nLength = pszFormat != nullptr ? vsnprintf(pszTo, uSize, pszFormat, arguments) : -1;
    if (nLength < 0 || static_cast<size_t>(nLength) >= uSize)
    {
        pszTo[0] = '\0';
        errno = nLength < 0 ? EINVAL : ERANGE;
        return -1;
    }
    return nLength;
}
