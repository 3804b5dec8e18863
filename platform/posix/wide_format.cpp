// The wide formatter: the part of the Windows runtime's format language that vo_platform.h names.
#include <algorithm>

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

    void Narrow(const char* pBytes, size_t uBytes)
    {
        const size_t uCopied = Take(uBytes);
        for (size_t uByte = 0; uByte < uCopied; ++uByte)
        {
            VOStoreUnit(m_pszTo + m_uLength++, static_cast<unsigned char>(pBytes[uByte]));
        }
    }

    void Repeat(VOWCHAR cUnit, size_t uUnits)
    {
        const size_t uCopied = Take(uUnits);
        for (size_t uUnit = 0; uUnit < uCopied; ++uUnit)
        {
            VOStoreUnit(m_pszTo + m_uLength++, cUnit);
        }
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

// One "%" directive.
struct Directive
{
    bool bLeft = false;
    bool bZero = false;
    bool bPlus = false;
    bool bBlank = false;
    bool bPrefix = false;
    size_t uWidth = 0;
    bool bHasPrecision = false;
    size_t uPrecision = 0;
    bool bNarrow = false;  // h before s
    unsigned uBytes = 4;   // width of an integer argument
    VOWCHAR cType = 0;
};

bool ParseNumber(const VOWCHAR*& pszFormat, size_t& uNumber)
{
    uNumber = 0;
    for (VOWCHAR cUnit = VOLoadUnit(pszFormat); cUnit >= '0' && cUnit <= '9'; cUnit = VOLoadUnit(++pszFormat))
    {
        uNumber = uNumber * 10 + (cUnit - '0');
        if (uNumber > STRSAFE_MAX_CCH)
        {
            return false;
        }
    }
    return true;
}

void ParseFlags(const VOWCHAR*& pszFormat, Directive& directive)
{
    for (;; ++pszFormat)
    {
        switch (VOLoadUnit(pszFormat))
        {
            case '-':
                directive.bLeft = true;
                break;
            case '0':
                directive.bZero = true;
                break;
            case '+':
                directive.bPlus = true;
                break;
            case ' ':
                directive.bBlank = true;
                break;
            case '#':
                directive.bPrefix = true;
                break;
            default:
                return;
        }
    }
}

void ParseLength(const VOWCHAR*& pszFormat, Directive& directive)
{
    const VOWCHAR cFirst = VOLoadUnit(pszFormat);
    const VOWCHAR cSecond = cFirst != 0 ? VOLoadUnit(pszFormat + 1) : VOWCHAR{0};
    if (cFirst == 'h')
    {
        directive.bNarrow = true;
        directive.uBytes = cSecond == 'h' ? 1 : 2;
        pszFormat += cSecond == 'h' ? 2 : 1;
    }
    else if (cFirst == 'l')
    {
        directive.uBytes = cSecond == 'l' ? 8 : 4;  // a Windows long has 32 bits
        pszFormat += cSecond == 'l' ? 2 : 1;
    }
    else if (cFirst == 'z')
    {
        directive.uBytes = 8;
        ++pszFormat;
    }
    else if (cFirst == 'I' && cSecond == '6' && VOLoadUnit(pszFormat + 2) == '4')
    {
        directive.uBytes = 8;
        pszFormat += 3;
    }
}

// The argument list, handed on by reference.
struct Arguments
{
    va_list list;
};

bool ParseDirective(const VOWCHAR*& pszFormat, Directive& directive, Arguments& arguments)
{
    ParseFlags(pszFormat, directive);
    if (VOLoadUnit(pszFormat) == '*')
    {
        const int64_t nWidth = va_arg(arguments.list, int);
        directive.bLeft = directive.bLeft || nWidth < 0;
        directive.uWidth = static_cast<size_t>(nWidth < 0 ? -nWidth : nWidth);
        ++pszFormat;
    }
    else if (!ParseNumber(pszFormat, directive.uWidth))
    {
        return false;
    }
    if (VOLoadUnit(pszFormat) == '.')
    {
        directive.bHasPrecision = true;
        if (VOLoadUnit(++pszFormat) == '*')
        {
            const int nPrecision = va_arg(arguments.list, int);
            directive.bHasPrecision = nPrecision >= 0;
            directive.uPrecision = nPrecision >= 0 ? static_cast<size_t>(nPrecision) : 0;
            ++pszFormat;
        }
        else if (!ParseNumber(pszFormat, directive.uPrecision))
        {
            return false;
        }
    }
    ParseLength(pszFormat, directive);
    directive.cType = VOLoadUnit(pszFormat);
    pszFormat += directive.cType != 0 ? 1 : 0;
    return directive.cType != 0;
}

void WritePadded(Output& output, const Directive& directive, const VOWCHAR* pUnits, size_t uUnits)
{
    const size_t uPadding = directive.uWidth > uUnits ? directive.uWidth - uUnits : 0;
    output.Repeat(' ', directive.bLeft ? 0 : uPadding);
    output.Units(pUnits, uUnits);
    output.Repeat(' ', directive.bLeft ? uPadding : 0);
}

void WriteNarrowText(Output& output, const Directive& directive, const char* pszText)
{
    const char* const pszShown = pszText != nullptr ? pszText : "(null)";
    const size_t uLength =
        directive.bHasPrecision ? strnlen(pszShown, directive.uPrecision) : static_cast<size_t>(strlen(pszShown));
    const size_t uPadding = directive.uWidth > uLength ? directive.uWidth - uLength : 0;
    output.Repeat(' ', directive.bLeft ? 0 : uPadding);
    output.Narrow(pszShown, uLength);
    output.Repeat(' ', directive.bLeft ? uPadding : 0);
}

void WriteText(Output& output, const Directive& directive, const VOWCHAR* pszText)
{
    const VOWCHAR* const pszShown = pszText != nullptr ? pszText : VOTEXT("(null)");
    WritePadded(output, directive, pszShown,
                VOWideLength(pszShown, directive.bHasPrecision ? directive.uPrecision : SIZE_MAX));
}

void WriteInteger(Output& output, const Directive& directive, uint64_t uValue, bool bNegative)
{
    const bool bHex = directive.cType == 'x' || directive.cType == 'X';
    const char* const pszDigits = directive.cType == 'X' ? "0123456789ABCDEF" : "0123456789abcdef";
    const bool bSigned = directive.cType == 'd' || directive.cType == 'i';
    char szDigits[24];
    size_t uFirst = sizeof(szDigits);
    for (uint64_t uRest = uValue; uRest != 0; uRest /= bHex ? 16 : 10)
    {
        szDigits[--uFirst] = pszDigits[uRest % (bHex ? 16 : 10)];
    }
    const size_t uDigits = sizeof(szDigits) - uFirst;

    char szPrefix[2];
    size_t uPrefix = 0;
    if (bSigned && (bNegative || directive.bPlus || directive.bBlank))
    {
        szPrefix[uPrefix++] = bNegative ? '-' : directive.bPlus ? '+' : ' ';
    }
    else if (bHex && directive.bPrefix && uValue != 0)
    {
        szPrefix[uPrefix++] = '0';
        szPrefix[uPrefix++] = static_cast<char>(directive.cType);
    }

    const size_t uLeast = directive.bHasPrecision ? directive.uPrecision : 1;
    size_t uZeros = uLeast > uDigits ? uLeast - uDigits : 0;
    size_t uPadding = 0;
    if (directive.uWidth > uPrefix + uZeros + uDigits)
    {
        uPadding = directive.uWidth - uPrefix - uZeros - uDigits;
    }
    if (directive.bZero && !directive.bLeft && !directive.bHasPrecision)
    {
        uZeros += uPadding;
        uPadding = 0;
    }
    output.Repeat(' ', directive.bLeft ? 0 : uPadding);
    output.Narrow(szPrefix, uPrefix);
    output.Repeat('0', uZeros);
    output.Narrow(szDigits + uFirst, uDigits);
    output.Repeat(' ', directive.bLeft ? uPadding : 0);
}

uint64_t CutToBytes(uint64_t uValue, unsigned uBytes)
{
    return uBytes == 8 ? uValue : uValue & ((uint64_t{1} << (8 * uBytes)) - 1);
}

void WriteSigned(Output& output, const Directive& directive, Arguments& arguments)
{
    int64_t nValue = directive.uBytes == 8 ? va_arg(arguments.list, int64_t) : va_arg(arguments.list, int);
    nValue = directive.uBytes == 2 ? static_cast<int16_t>(nValue) : nValue;
    nValue = directive.uBytes == 1 ? static_cast<int8_t>(nValue) : nValue;
    const uint64_t uMagnitude =
        nValue < 0 ? uint64_t{0} - static_cast<uint64_t>(nValue) : static_cast<uint64_t>(nValue);
    WriteInteger(output, directive, uMagnitude, nValue < 0);
}

void WriteUnsigned(Output& output, const Directive& directive, Arguments& arguments)
{
    const uint64_t uValue = directive.uBytes == 8 ? va_arg(arguments.list, uint64_t) : va_arg(arguments.list, unsigned);
    WriteInteger(output, directive, CutToBytes(uValue, directive.uBytes), false);
}

bool WriteDirective(Output& output, const Directive& directive, Arguments& arguments)
{
    switch (directive.cType)
    {
        case '%':
            output.Repeat('%', 1);
            return true;
        case 'c':
        {
            const VOWCHAR cUnit = static_cast<VOWCHAR>(va_arg(arguments.list, int));
            WritePadded(output, directive, &cUnit, 1);
            return true;
        }
        case 's':
            if (directive.bNarrow)
            {
                WriteNarrowText(output, directive, va_arg(arguments.list, const char*));
            }
            else
            {
                WriteText(output, directive, va_arg(arguments.list, const VOWCHAR*));
            }
            return true;
        case 'd':
        case 'i':
            WriteSigned(output, directive, arguments);
            return true;
        case 'u':
        case 'x':
        case 'X':
            WriteUnsigned(output, directive, arguments);
            return true;
        default:
            return false;
    }
}

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
        ++pszFormat;
        Directive directive;
        if (!ParseDirective(pszFormat, directive, arguments) || !WriteDirective(output, directive, arguments))
        {
            return false;
        }
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
