#include "platform/vo_platform.h"
#include "platform/vo_text.h"

// The checked formatter for narrow text, where the compiler's own doesn't keep to its contract.

#if defined(__MINGW32__)

#include <stdlib.h>

namespace
{
// What the runtime's own function calls for a parameter that is invalid: the handler of the host. One that was set
// through this module's runtime library comes first; then the runtime that hosts of another compiler share, where the
// process has it: it knows the host's handler, and ends the process where there is none.
void RunInvalidParameterHandler()
{
    const _invalid_parameter_handler pfnOwn = _get_invalid_parameter_handler();
    if (pfnOwn != nullptr)
    {
        pfnOwn(nullptr, nullptr, nullptr, 0, 0);
        return;
    }
    const HMODULE hRuntime = GetModuleHandleW(L"ucrtbase.dll");
    const auto pfnShared = reinterpret_cast<void (*)()>(
        hRuntime != nullptr ? reinterpret_cast<uintptr_t>(GetProcAddress(hRuntime, "_invalid_parameter_noinfo")) : 0);
    if (pfnShared != nullptr)
    {
        pfnShared();
    }
}
}  // namespace

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
        RunInvalidParameterHandler();
        errno = ERANGE;
        return -1;
    }
    return nLength;
}

#endif

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
