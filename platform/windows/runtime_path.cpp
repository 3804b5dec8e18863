#include "platform/vo_native_names.h"
#include "platform/vo_platform.h"

bool VOToRuntimePath(const std::string& strNative, std::string* pstrPath)
{
    const std::wstring strWide = VOFromNative(strNative);
    const int nWide = static_cast<int>(strWide.size());
    BOOL bReplaced = FALSE;
    const int nSize =
        WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, strWide.data(), nWide, nullptr, 0, nullptr, &bReplaced);
    pstrPath->resize(nSize > 0 ? static_cast<size_t>(nSize) : 0);
    if (nSize > 0)
    {
        WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, strWide.data(), nWide, pstrPath->data(), nSize, nullptr,
                            nullptr);
    }
    return (nSize > 0 || nWide == 0) && bReplaced == FALSE;
}
