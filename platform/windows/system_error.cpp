#include "platform/windows/system_error.h"

#include "platform/vo_native_names.h"

bool FailWith(VOSystemError* pError, DWORD uError)
{
    wchar_t szText[256] = {};
    DWORD uLength = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, uError, 0,
                                   szText, static_cast<DWORD>(sizeof(szText) / sizeof(szText[0])), nullptr);
    while (uLength > 0 && (szText[uLength - 1] <= L' ' || szText[uLength - 1] == L'.'))
    {
        --uLength;  // the system ends its texts with a full stop and a new line
    }
    pError->nError = static_cast<int>(uError);
    pError->bGone = uError == ERROR_FILE_NOT_FOUND || uError == ERROR_PATH_NOT_FOUND || uError == ERROR_DIRECTORY ||
                    uError == ERROR_INVALID_NAME || uError == ERROR_INVALID_DRIVE;
    pError->strText = uLength > 0 ? VOToNativePath(VOWString(szText, uLength)) : "error " + std::to_string(uError);
    return false;
}
