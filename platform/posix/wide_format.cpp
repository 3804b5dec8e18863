// The wide formatter: the part of the Windows runtime's format language that vo_platform.h names.
#include <algorithm>
#include <iterator>

#include "platform/vo_platform.h"
#include "platform/wide_scan.h"

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
    if (pszTo == nullptr || pszFormat == nullptr || uSize == 0 || uSize > STRSAFE_MAX_CCH)
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
    if (pszTo == nullptr || pszFormat == nullptr || uSize == 0 || uSize > STRSAFE_MAX_CCH)
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
