#include "platform/posix/system_error.h"

#include <string.h>

bool FailWith(VOSystemError* pError, int nError)
{
    char szText[128];
    pError->nError = nError;
    pError->strText = strerror_r(nError, szText, sizeof(szText));
    return false;
}
