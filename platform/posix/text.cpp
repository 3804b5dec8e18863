#include <limits.h>
#include <locale.h>
#include <wctype.h>

#include <algorithm>
#include <charconv>

#include "platform/posix/kernel.h"
#include "platform/wide_scan.h"

// Wide text: lengths, copies, comparisons, searches, tokens. Every load and store is a byte copy, because texts in a
// packed image sit at odd addresses.

namespace
{

// The C library's Unicode mappings without the program's locale: a locale object of our own, made once and never freed.
locale_t UnicodeLocale()
{
    static const locale_t s_locale = []
    {
        locale_t locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
        return locale != nullptr ? locale : newlocale(LC_CTYPE_MASK, "C", nullptr);
    }();
    return s_locale;
}

// The part that leaves ASCII, kept out of the callers' loops.
VOWCHAR FoldBeyondAscii(VOWCHAR cUnit)
{
    const locale_t locale = UnicodeLocale();
    const wint_t cLower = locale != nullptr ? towlower_l(cUnit, locale) : cUnit;
    return cLower <= 0xFFFF ? static_cast<VOWCHAR>(cLower) : cUnit;
}

inline VOWCHAR Fold(VOWCHAR cUnit)
{
    if (cUnit < 0x80)
    {
        return static_cast<VOWCHAR>(cUnit >= 'A' && cUnit <= 'Z' ? cUnit | 0x20 : cUnit);
    }
    return FoldBeyondAscii(cUnit);
}

inline VOWCHAR Keep(VOWCHAR cUnit)
{
    return cUnit;
}

template <VOWCHAR (*Map)(VOWCHAR)>
int Compare(const VOWCHAR* pszFirst, const VOWCHAR* pszSecond)
{
    if (pszFirst == nullptr || pszSecond == nullptr)
    {
        return -2;  // what the Windows calls give
    }
    for (size_t uUnit = 0;; ++uUnit)
    {
        const VOWCHAR cFirst = VOLoadUnit(pszFirst + uUnit);
        const VOWCHAR cSecond = VOLoadUnit(pszSecond + uUnit);
        if (cFirst != cSecond && Map(cFirst) != Map(cSecond))
        {
            return Map(cFirst) < Map(cSecond) ? -1 : 1;
        }
        if (cFirst == 0)
        {
            return 0;
        }
    }
}

template <VOWCHAR (*Map)(VOWCHAR)>
bool BeginsWith(const VOWCHAR* pszText, const VOWCHAR* pszPrefix)
{
    for (;; ++pszText, ++pszPrefix)
    {
        const VOWCHAR cPrefix = VOLoadUnit(pszPrefix);
        if (cPrefix == 0)
        {
            return true;
        }
        // A text that ends here differs too: its terminator maps to itself, and no other unit maps to it.
        const VOWCHAR cText = VOLoadUnit(pszText);
        if (cText != cPrefix && Map(cText) != Map(cPrefix))
        {
            return false;
        }
    }
}

template <VOWCHAR (*Map)(VOWCHAR)>
VOWCHAR* Find(const VOWCHAR* pszIn, const VOWCHAR* pszWhat)
{
    if (pszIn == nullptr || pszWhat == nullptr || VOLoadUnit(pszWhat) == 0)
    {
        return nullptr;
    }
    const VOWCHAR cFirst = Map(VOLoadUnit(pszWhat));
    for (VOWCHAR cUnit = VOLoadUnit(pszIn); cUnit != 0; cUnit = VOLoadUnit(++pszIn))
    {
        if (Map(cUnit) == cFirst && BeginsWith<Map>(pszIn + 1, pszWhat + 1))
        {
            return const_cast<VOWCHAR*>(pszIn);
        }
    }
    return nullptr;
}

bool IsOneOf(VOWCHAR cUnit, const VOWCHAR* pszSet)
{
    for (VOWCHAR cMember = VOLoadUnit(pszSet); cMember != 0; cMember = VOLoadUnit(++pszSet))
    {
        if (cMember == cUnit)
        {
            return true;
        }
    }
    return false;
}

// The pointers' type is dropped, so that nothing is concluded from their alignment. The texts may overlap.
void CopyUnits(VOWCHAR* pTo, const VOWCHAR* pFrom, size_t uUnits)
{
    void* pToBytes = pTo;
    const void* pFromBytes = pFrom;
    memmove(pToBytes, pFromBytes, uUnits * sizeof(VOWCHAR));
}

// What the calls with a size don't take.
bool IsRefused(const VOWCHAR* pszTo, size_t uSize, const VOWCHAR* pszFrom)
{
    return pszTo == nullptr || pszFrom == nullptr || uSize == 0 || uSize > kStrsafeMaxCch;
}
}  // namespace

int lstrlenW(const VOWCHAR* pszText)
{
    return pszText != nullptr ? static_cast<int>(std::min<size_t>(VOWideLength(pszText), INT_MAX)) : 0;
}

VOWCHAR* lstrcpynW(VOWCHAR* pszTo, const VOWCHAR* pszFrom, int nSize)
{
    if (pszTo == nullptr || pszFrom == nullptr)
    {
        return nullptr;
    }
    if (nSize > 0)
    {
        const size_t uLength = VOWideLength(pszFrom, static_cast<size_t>(nSize) - 1);
        CopyUnits(pszTo, pszFrom, uLength);
        VOStoreUnit(pszTo + uLength, 0);
    }
    return pszTo;
}

VOWCHAR* lstrcpyW(VOWCHAR* pszTo, const VOWCHAR* pszFrom)
{
    if (pszTo == nullptr || pszFrom == nullptr)
    {
        return nullptr;
    }
    CopyUnits(pszTo, pszFrom, VOWideLength(pszFrom) + 1);
    return pszTo;
}

VOWCHAR* StrCpyNW(VOWCHAR* pszTo, const VOWCHAR* pszFrom, int nSize)
{
    static const VOWCHAR s_szEmpty[1] = {0};
    lstrcpynW(pszTo, pszFrom != nullptr ? pszFrom : s_szEmpty, nSize);
    return pszTo;
}

DWORD CharLowerBuffW(VOWCHAR* pText, DWORD uLength)
{
    if (pText == nullptr)
    {
        return 0;
    }
    for (size_t uUnit = 0; uUnit < uLength; ++uUnit)
    {
        VOStoreUnit(pText + uUnit, Fold(VOLoadUnit(pText + uUnit)));
    }
    return uLength;
}

int StrCmpW(const VOWCHAR* pszFirst, const VOWCHAR* pszSecond)
{
    return Compare<Keep>(pszFirst, pszSecond);
}

int StrCmpIW(const VOWCHAR* pszFirst, const VOWCHAR* pszSecond)
{
    return Compare<Fold>(pszFirst, pszSecond);
}

VOWCHAR* StrStrW(const VOWCHAR* pszIn, const VOWCHAR* pszWhat)
{
    return Find<Keep>(pszIn, pszWhat);
}

VOWCHAR* StrStrIW(const VOWCHAR* pszIn, const VOWCHAR* pszWhat)
{
    return Find<Fold>(pszIn, pszWhat);
}

VOWCHAR* wcstok_s(VOWCHAR* pszText, const VOWCHAR* pszDelimiters, VOWCHAR** ppszContext)
{
    if (pszDelimiters == nullptr || ppszContext == nullptr || (pszText == nullptr && *ppszContext == nullptr))
    {
        return FailErrno(EINVAL, nullptr);
    }
    VOWCHAR* pszToken = pszText != nullptr ? pszText : *ppszContext;
    while (VOLoadUnit(pszToken) != 0 && IsOneOf(VOLoadUnit(pszToken), pszDelimiters))
    {
        ++pszToken;
    }
    VOWCHAR* pszEnd = pszToken;
    while (VOLoadUnit(pszEnd) != 0 && !IsOneOf(VOLoadUnit(pszEnd), pszDelimiters))
    {
        ++pszEnd;
    }
    *ppszContext = pszEnd;
    if (pszEnd == pszToken)
    {
        return nullptr;
    }
    if (VOLoadUnit(pszEnd) != 0)
    {
        VOStoreUnit(pszEnd, 0);
        *ppszContext = pszEnd + 1;
    }
    return pszToken;
}

HRESULT StringCchCopyW(VOWCHAR* pszTo, size_t uSize, const VOWCHAR* pszFrom)
{
    if (IsRefused(pszTo, uSize, pszFrom))
    {
        return STRSAFE_E_INVALID_PARAMETER;
    }
    const size_t uLength = VOWideLength(pszFrom, uSize);
    const size_t uCopied = std::min(uLength, uSize - 1);
    CopyUnits(pszTo, pszFrom, uCopied);
    VOStoreUnit(pszTo + uCopied, 0);
    return uLength == uCopied ? S_OK : STRSAFE_E_INSUFFICIENT_BUFFER;
}

// The wide formatter: the part of the Windows runtime's format language that vo_platform.h names.

namespace
{
// The target text keeps what fits; *puLength is what it holds.
HRESULT Format(VOWCHAR* pszTo, size_t uSize, const VOWCHAR* pszFormat, va_list arguments, size_t* puLength)
{
    bool bCut = false;
    *puLength = 0;
    const auto Put = [&](const VOWCHAR* pUnits, size_t uUnits)
    {
        const size_t uTaken = std::min(uUnits, uSize - 1 - *puLength);
        CopyUnits(pszTo + *puLength, pUnits, uTaken);
        *puLength += uTaken;
        bCut = bCut || uTaken < uUnits;
    };
    for (;; ++pszFormat)
    {
        const VOWCHAR* const pszPlain = pszFormat;
        while (VOLoadUnit(pszFormat) != 0 && VOLoadUnit(pszFormat) != '%')
        {
            ++pszFormat;
        }
        Put(pszPlain, static_cast<size_t>(pszFormat - pszPlain));
        if (VOLoadUnit(pszFormat) == 0)
        {
            VOStoreUnit(pszTo + *puLength, 0);
            return bCut ? STRSAFE_E_INSUFFICIENT_BUFFER : S_OK;
        }
        switch (VOLoadUnit(++pszFormat))
        {
            case 's':
            {
                const VOWCHAR* const pszText = va_arg(arguments, const VOWCHAR*);
                const VOWCHAR* const pszShown = pszText != nullptr ? pszText : VOTEXT("(null)");
                Put(pszShown, VOWideLength(pszShown));
                break;
            }
            case 'd':
            {
                char szDigits[12];
                VOWCHAR szUnits[12];
                const char* const pEnd = std::to_chars(szDigits, std::end(szDigits), va_arg(arguments, int)).ptr;
                Put(szUnits, static_cast<size_t>(std::copy<const char*>(szDigits, pEnd, szUnits) - szUnits));
                break;
            }
            case '%':
                Put(pszFormat, 1);
                break;
            default:
                VOStoreUnit(pszTo + *puLength, 0);
                return STRSAFE_E_INVALID_PARAMETER;
        }
    }
}
}  // namespace

HRESULT StringCchPrintfW(VOWCHAR* pszTo, size_t uSize, const VOWCHAR* pszFormat, ...)
{
    if (IsRefused(pszTo, uSize, pszFormat))
    {
        return STRSAFE_E_INVALID_PARAMETER;
    }
    size_t uLength = 0;
    va_list arguments;
    va_start(arguments, pszFormat);
    const HRESULT result = Format(pszTo, uSize, pszFormat, arguments, &uLength);
    va_end(arguments);
    return result;
}

int swprintf_s(VOWCHAR* pszTo, size_t uSize, const VOWCHAR* pszFormat, ...)
{
    if (IsRefused(pszTo, uSize, pszFormat))
    {
        return FailErrno(EINVAL, -1);
    }
    size_t uLength = 0;
    va_list arguments;
    va_start(arguments, pszFormat);
    const HRESULT result = Format(pszTo, uSize, pszFormat, arguments, &uLength);
    va_end(arguments);
    if (FAILED(result))
    {
        VOStoreUnit(pszTo, 0);
        return FailErrno(result == STRSAFE_E_INSUFFICIENT_BUFFER ? ERANGE : EINVAL, -1);
    }
    return static_cast<int>(uLength);
}

// The bounded copy of narrow text; the local time.

errno_t strcpy_s(char* pszTo, size_t uSize, const char* pszFrom)
{
    if (pszTo == nullptr || uSize == 0)
    {
        return EINVAL;
    }
    const size_t uLength = pszFrom != nullptr ? strnlen(pszFrom, uSize) : uSize;
    if (uLength == uSize)
    {
        pszTo[0] = '\0';
        return pszFrom != nullptr ? ERANGE : EINVAL;
    }
    memmove(pszTo, pszFrom, uLength);
    pszTo[uLength] = '\0';
    return 0;
}

errno_t localtime_s(struct tm* pTo, const time_t* pTime)
{
    return pTo != nullptr && pTime != nullptr && localtime_r(pTime, pTo) != nullptr ? 0 : EINVAL;
}

// The checked formatter for narrow text.

int vsprintf_s(char* pszTo, size_t uSize, const char* pszFormat, va_list arguments)
{
    if (pszTo == nullptr || uSize == 0)
    {
        return FailErrno(EINVAL, -1);
    }
    const int nLength = pszFormat != nullptr ? vsnprintf(pszTo, uSize, pszFormat, arguments) : -1;
    if (nLength < 0 || static_cast<size_t>(nLength) >= uSize)
    {
        pszTo[0] = '\0';
        return FailErrno(nLength < 0 ? EINVAL : ERANGE, -1);
    }
    return nLength;
}
