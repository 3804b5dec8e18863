// The checked formatter for narrow text, where the compiler's own doesn't keep to its contract.
#include "platform/vo_platform.h"

#if defined(__MINGW32__)

int VOCheckedNarrowFormat(char* pszTo, size_t uSize, const char* pszFormat, va_list arguments)
{
    if (pszTo == nullptr || uSize == 0)
    {
        errno = EINVAL;
        return -1;
    }
    const int nLength = pszFormat != nullptr ? _vsnprintf(pszTo, uSize, pszFormat, arguments) : -1;
    // A text that fills the target to its last byte isn't terminated; a longer one gives a negative length.
    if (nLength < 0 || static_cast<size_t>(nLength) >= uSize)
    {
        pszTo[0] = '\0';
        errno = ERANGE;
        return -1;
    }
    return nLength;
}

#endif
