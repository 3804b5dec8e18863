#include "platform/vo_native_names.h"

// There a "\" separates, on every system.
bool VOToRuntimePath(const std::string& strNative, std::string* pstrPath)
{
    *pstrPath = strNative;
    return strNative.find('\\') == std::string::npos;
}
