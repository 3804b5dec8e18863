#include <limits.h>
#include <locale.h>
#include <time.h>
#include <wctype.h>

#include <algorithm>
#include <iterator>

#include "platform/vo_platform.h"
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
        errno = EINVAL;
        return nullptr;
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
    if (pszTo == nullptr || pszFrom == nullptr || uSize == 0 || uSize > kStrsafeMaxCch)
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

// The target text: keeps what fits and notes that something didn't.
class Output
{
public:
    Output(VOWCHAR* pszTo, size_t uSize) : m_pszTo(pszTo), m_uRoom(uSize - 1) {}

    void Units(const VOWCHAR* pUnits, size_t uUnits)
    {
        const size_t uCopied = Take(uUnits);
        void* pTo = m_pszTo + m_uLength;
        const void* pFrom = pUnits;
        memcpy(pTo, pFrom, uCopied * sizeof(VOWCHAR));
        m_uLength += uCopied;
    }

    void Decimal(int nValue)
    {
        VOWCHAR szDigits[12];
        size_t uFirst = std::size(szDigits);
        const bool bNegative = nValue < 0;
        unsigned uRest = bNegative ? 0u - static_cast<unsigned>(nValue) : static_cast<unsigned>(nValue);
        do
        {
            szDigits[--uFirst] = static_cast<VOWCHAR>('0' + uRest % 10);
            uRest /= 10;
        } while (uRest != 0);
        if (bNegative)
        {
            szDigits[--uFirst] = '-';
        }
        Units(szDigits + uFirst, std::size(szDigits) - uFirst);
    }

    void Terminate() { VOStoreUnit(m_pszTo + m_uLength, 0); }

    size_t Length() const { return m_uLength; }
    bool Cut() const { return m_bCut; }

private:
    size_t Take(size_t uUnits)
    {
        const size_t uTaken = std::min(uUnits, m_uRoom - m_uLength);
        m_bCut = m_bCut || uTaken < uUnits;
        return uTaken;
    }

    VOWCHAR* m_pszTo;
    size_t m_uRoom;  // units without the terminator
    size_t m_uLength = 0;
    bool m_bCut = false;
};

// The argument list, handed on by reference.
struct Arguments
{
    va_list list;
};

// False when the format isn't one of this language; the text up to there is written.
bool Format(Output& output, const VOWCHAR* pszFormat, Arguments& arguments)
{
    for (;;)
    {
        const VOWCHAR* const pszPlain = pszFormat;
        VOWCHAR cUnit = VOLoadUnit(pszFormat);
        while (cUnit != 0 && cUnit != '%')
        {
            cUnit = VOLoadUnit(++pszFormat);
        }
        output.Units(pszPlain, static_cast<size_t>(pszFormat - pszPlain));
        if (cUnit == 0)
        {
            return true;
        }
        switch (VOLoadUnit(++pszFormat))
        {
            case 's':
            {
                const VOWCHAR* const pszText = va_arg(arguments.list, const VOWCHAR*);
                const VOWCHAR* const pszShown = pszText != nullptr ? pszText : VOTEXT("(null)");
                output.Units(pszShown, VOWideLength(pszShown, SIZE_MAX));
                break;
            }
            case 'd':
                output.Decimal(va_arg(arguments.list, int));
                break;
            case '%':
                output.Units(pszFormat, 1);
                break;
            default:
                return false;
        }
        ++pszFormat;
    }
}
}  // namespace

HRESULT StringCchPrintfW(VOWCHAR* pszTo, size_t uSize, const VOWCHAR* pszFormat, ...)
{
    if (pszTo == nullptr || pszFormat == nullptr || uSize == 0 || uSize > kStrsafeMaxCch)
    {
        return STRSAFE_E_INVALID_PARAMETER;
    }
    Output output(pszTo, uSize);
    Arguments arguments;
    va_start(arguments.list, pszFormat);
    const bool bFormatted = Format(output, pszFormat, arguments);
    va_end(arguments.list);
    output.Terminate();
    if (!bFormatted)
    {
        return STRSAFE_E_INVALID_PARAMETER;
    }
    return output.Cut() ? STRSAFE_E_INSUFFICIENT_BUFFER : S_OK;
}

int swprintf_s(VOWCHAR* pszTo, size_t uSize, const VOWCHAR* pszFormat, ...)
{
    if (pszTo == nullptr || pszFormat == nullptr || uSize == 0 || uSize > kStrsafeMaxCch)
    {
        errno = EINVAL;
        return -1;
    }
    Output output(pszTo, uSize);
    Arguments arguments;
    va_start(arguments.list, pszFormat);
    const bool bFormatted = Format(output, pszFormat, arguments);
    va_end(arguments.list);
    output.Terminate();
    if (!bFormatted || output.Cut())
    {
        VOStoreUnit(pszTo, 0);
        errno = bFormatted ? ERANGE : EINVAL;
        return -1;
    }
    return static_cast<int>(output.Length());
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
    if (pTo == nullptr || pTime == nullptr || localtime_r(pTime, pTo) == nullptr)
    {
        return EINVAL;
    }
    return 0;
}

// The checked formatter for narrow text.

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
