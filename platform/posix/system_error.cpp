#include "platform/posix/system_error.h"

#include <errno.h>
#include <string.h>

bool FailWith(VOSystemError* pError, int nError)
{
    char szText[128];
    pError->nError = nError;
    pError->bGone = nError == ENOENT || nError == ENOTDIR;
    pError->strText = strerror_r(nError, szText, sizeof(szText));
    return false;
}
