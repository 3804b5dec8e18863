#include "platform/vo_directory_watch.h"
#include "platform/vo_platform.h"
#include "platform/windows/system_error.h"

bool VOCountUnwatchedDirectories(const VOWString& strRoot, size_t* puCount, VOSystemError* pError)
{
    *puCount = 0;
    return GetFileAttributesW(strRoot.c_str()) != INVALID_FILE_ATTRIBUTES || FailWith(pError, GetLastError());
}
