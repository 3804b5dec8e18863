#include "diagnostics/check.h"
#include "internal/vo_bytes.h"
#include "vo_utility.h"

namespace
{

constexpr unsigned long long kMultiplier = 131;

VOWCHAR UnitAt(const VOWCHAR* pszText, size_t uIndex)
{
    return VOLoad<VOWCHAR>(reinterpret_cast<const unsigned char*>(pszText) + uIndex * sizeof(VOWCHAR));
}

// The fold of a code below 256; one 32-bit entry for each code.
struct FoldTable
{
    unsigned int auEntry[256];

    constexpr FoldTable() : auEntry()
    {
        for (unsigned int uCode = 0; uCode < 256; ++uCode)
        {
            auEntry[uCode] = uCode >= 'A' && uCode <= 'Z' ? uCode - 'A' + 'a' : uCode;
        }
    }
};
constexpr FoldTable kFoldTable;
constexpr unsigned int kBeyondTable = 0xFF00;

}  // namespace

unsigned long long VO_BKDRHashForString64BitA(const char* pszString)
{
    unsigned long long ullHash = 0;
    for (; *pszString != 0; ++pszString)
    {
        const long long llCode = static_cast<signed char>(*pszString);
        ullHash = ullHash * kMultiplier + static_cast<unsigned long long>(llCode);
    }
    return ullHash;
}

// Walks from the last character to the first, unlike the narrow form: tables that were made so are looked up with it.
unsigned long long VO_BKDRHashForString64BitW(const VOWCHAR* pszString)
{
    unsigned long long ullHash = 0;
    for (size_t i = static_cast<size_t>(lstrlenW(pszString)); i > 0; --i)
    {
        ullHash = ullHash * kMultiplier + static_cast<unsigned short>(UnitAt(pszString, i - 1));
    }
    return ullHash;
}

int VOStrnCpy_SA(char* pszTo, unsigned int uSizeTo, const char* pszFrom, unsigned int uMaxCount)
{
    if (!VO_STEP(pszTo) || !VO_STEP(pszFrom) || !VO_STEP(uMaxCount <= uSizeTo) || !VO_STEP_OR_FALSE(uSizeTo != 0))
    {
        return 0;
    }
    size_t uLength = 0;
    while (uLength < uSizeTo && pszFrom[uLength] != 0)
    {
        ++uLength;
    }
    memmove(pszTo, pszFrom, uLength);
    memset(pszTo + uLength, 0, uSizeTo - uLength);
    pszTo[uSizeTo - 1] = 0;
    return 1;
}

int VOStrnCpy_SW(VOWCHAR* pszTo, unsigned int uSizeTo, const VOWCHAR* pszFrom, unsigned int uMaxCount)
{
    if (!VO_STEP(pszTo) || !VO_STEP(pszFrom) || !VO_STEP(uMaxCount <= uSizeTo) || !VO_STEP_OR_FALSE(uSizeTo != 0))
    {
        return 0;
    }
    VOWideNCopy(pszTo, pszFrom, uSizeTo);
    VOStore(reinterpret_cast<unsigned char*>(pszTo) + (uSizeTo - 1) * sizeof(VOWCHAR), VOWCHAR(0));
    return 1;
}

// The argument is extended with its sign, so a char from 0x80 up lies beyond the table.
char VOCHAR_TOLOWER(char ch)
{
    const unsigned int uCode = static_cast<unsigned int>(static_cast<int>(static_cast<signed char>(ch)));
    return (uCode & kBeyondTable) != 0 ? ch : static_cast<char>(kFoldTable.auEntry[uCode]);
}

VOWCHAR VOTCHAR_TOLOWER(VOWCHAR ch)
{
    const unsigned int uCode = static_cast<unsigned short>(ch);
    return (uCode & kBeyondTable) != 0 ? ch : static_cast<VOWCHAR>(kFoldTable.auEntry[uCode]);
}

VOWString VOTextOf(const VOWCHAR* pszText)
{
    VOWString result(static_cast<size_t>(lstrlenW(pszText)), VOWCHAR(0));
    if (!result.empty())
    {
        memcpy(result.data(), pszText, result.size() * sizeof(VOWCHAR));
    }
    return result;
}
