// Reading an INI file, finding in its chain, and values.
#include "z_ini_file.h"

#include <limits.h>
#include <stdlib.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string>

#include "config/ini_numbers.h"
#include "diagnostics/check.h"
#include "platform/vo_owners.h"

namespace
{

constexpr int kLineLimit = 255;          // of fgets: 254 characters and the terminator
constexpr size_t kNumberTextSize = 512;  // any double with the formats in use

// "%s has a problem, please make sure that the first line has a [section]", in the GBK code page.
constexpr const char* kFirstLineRefused =
    "%s\xD3\xD0\xCE\xCA\xCC\xE2\xA3\xAC\xC7\xEB\xC8\xB7\xC8\xCF\xB5\xDA\xD2\xBB\xD0\xD0\xD3\xD0[section]";

struct UpperTable
{
    std::array<unsigned char, 256> auEntry{};

    constexpr UpperTable()
    {
        for (unsigned int uCode = 0; uCode < 256; ++uCode)
        {
            auEntry[uCode] = static_cast<unsigned char>(uCode >= 'a' && uCode <= 'z' ? uCode - 'a' + 'A' : uCode);
        }
    }
};
constexpr UpperTable kUpper;

bool SameLetter(char chFirst, char chSecond)
{
    return kUpper.auEntry[static_cast<unsigned char>(chFirst)] == kUpper.auEntry[static_cast<unsigned char>(chSecond)];
}

// Whether a text is a name with "[" in front and "]" behind.
bool IsSectionName(const char* pszText, const char* pSection)
{
    if (*pszText != '[')
    {
        return false;
    }
    for (++pszText; *pSection != 0; ++pszText, ++pSection)
    {
        if (!SameLetter(*pszText, *pSection))
        {
            return false;
        }
    }
    return pszText[0] == ']' && pszText[1] == 0;
}

// Whether what stands before the "=" of a line is the key. A line is cut at its ";".
bool HasKey(const char* pszText, const char* pKey)
{
    for (; *pKey != 0; ++pszText, ++pKey)
    {
        if (!SameLetter(*pszText, *pKey) || *pszText == '=' || *pszText == ';')
        {
            return false;
        }
    }
    return *pszText == '=';
}

void CopyCut(char* pszTo, size_t uRoom, const char* pchFrom, size_t uLength)
{
    uLength = std::min(uLength, uRoom - 1);
    memcpy(pszTo, pchFrom, uLength);
    pszTo[uLength] = 0;
}

// Key and comment of a line that was looked at, as far as it has them.
void TakeKeyAndComment(const char* pszText, tgEFIND* pFind)
{
    const size_t uCut = strcspn(pszText, ";");
    const size_t uKey = strcspn(pszText, "=;");
    CopyCut(pFind->szKey, sizeof(pFind->szKey), pszText, pszText[uKey] == '=' ? uKey : 0);
    CopyCut(pFind->szComment, sizeof(pFind->szComment), pszText + uCut, strlen(pszText + uCut));
}

// The value comes last and runs on into the room of the comment.
void TakeValue(const char* pszText, tgEFIND* pFind)
{
    const char* const pchValue = pszText + strcspn(pszText, "=") + 1;
    char* const pszTo = reinterpret_cast<char*>(pFind) + offsetof(tgEFIND, szValue);
    CopyCut(pszTo, sizeof(pFind->szValue) + sizeof(pFind->szComment), pchValue, strcspn(pchValue, ";"));
}

// The number at the start of a text, 0 without one, the nearest end of the range beyond it.
int ToInt(const char* pszText)
{
    return static_cast<int>(std::clamp<long>(strtol(pszText, nullptr, 10), INT_MIN, INT_MAX));
}

char ClassOf(const char* pszText)
{
    const size_t uCut = strcspn(pszText, ";");
    const auto Has = [=](char ch) { return memchr(pszText, ch, uCut) != nullptr; };
    return Has('[') && Has(']') ? tpSECTION : Has('=') ? tpKEYVALUE : tpCOMMENT;
}

}  // namespace

int ZIniFile::OpenIniFile(const char* pFileName, bool)
{
    bool bFirstLine = true;
    // The name may be a text of the chain that goes.
    const std::string strFileName = pFileName != nullptr ? pFileName : "";
    // The search of the first line looks at what fgets left, zeros too: the line end behind it is one that always ends
    // it.
    char szLine[kLineLimit + 1];
    FreeAllMem();
    if (!VO_STEP_AS("pFileName && pFileName[0]", !strFileName.empty()))
    {
        return 0;
    }
    const std::unique_ptr<FILE, VOCloseFile> pIniFile(VOOpenFile(strFileName.c_str(), "r"));
    if (!VO_STEP(pIniFile))
    {
        return 0;
    }
    memset(szLine, '\n', sizeof(szLine));
    while (fgets(szLine, kLineLimit, pIniFile.get()) != nullptr)
    {
        char* pszLine = szLine;
        if (bFirstLine)
        {
            while (*pszLine != '[' && *pszLine != '\r' && *pszLine != '\n')
            {
                ++pszLine;
            }
            if (*pszLine != '[')
            {
                printf(kFirstLineRefused, strFileName.c_str());
                return 0;
            }
            bFirstLine = false;
        }
        pszLine[strcspn(pszLine, "\n")] = 0;
        size_t uLength = strlen(pszLine);
        if (uLength == 0)
        {
            continue;
        }
        if (pszLine[uLength - 1] == '\r')
        {
            pszLine[--uLength] = 0;
        }
        if (AddItem(ClassOf(pszLine), pszLine) == 0)
        {
            FreeAllMem();
            return 0;
        }
    }
    return 1;
}

void ZENTRY::GetEntryName(char* pszName, int nSize)
{
    const size_t uLength = pszText != nullptr ? strlen(pszText) : 0;
    if (pszName != nullptr && pszText != nullptr && nSize > 0 && static_cast<size_t>(nSize) > uLength)
    {
        CopyCut(pszName, static_cast<size_t>(nSize), pszText + (uLength > 0 ? 1 : 0), uLength > 1 ? uLength - 2 : 0);
    }
}

ZENTRY* ZIniFile::FindSection(const char* pSection)
{
    ZENTRY* pEntry = pSection != nullptr ? m_pFirstEntry : nullptr;
    while (pEntry != nullptr &&
           (pEntry->cType != tpSECTION || pEntry->pszText == nullptr || !IsSectionName(pEntry->pszText, pSection)))
    {
        pEntry = pEntry->pNext;
    }
    return pEntry;
}

// Lines are compared in place. Only the last line that was looked at is copied into the result.
int ZIniFile::FindKey(const char* pSection, const char* pKey, tgEFIND* pFind)
{
    if (pFind == nullptr)
    {
        return 0;
    }
    pFind->pSectionEntry = nullptr;
    pFind->pKeyEntry = nullptr;
    ZENTRY* const pSectionEntry = FindSection(pSection);
    if (pSectionEntry == nullptr)
    {
        return 0;
    }
    pFind->pSectionEntry = pSectionEntry;
    pFind->szKey[0] = 0;
    pFind->szValue[0] = 0;
    pFind->szComment[0] = 0;
    if (pKey == nullptr)
    {
        return 0;
    }

    const char* pszLooked = nullptr;
    ZENTRY* pEntry = pSectionEntry->pNext;
    for (; pEntry != nullptr && pEntry->cType != tpSECTION && pEntry->cType != 0; pEntry = pEntry->pNext)
    {
        if (pEntry->cType == tpKEYVALUE && pEntry->pszText != nullptr)
        {
            pszLooked = pEntry->pszText;
            if (HasKey(pszLooked, pKey))
            {
                pFind->pKeyEntry = pEntry;
                break;
            }
        }
    }
    if (pszLooked != nullptr)
    {
        TakeKeyAndComment(pszLooked, pFind);
    }
    if (pFind->pKeyEntry != nullptr)
    {
        TakeValue(pszLooked, pFind);
    }
    return pFind->pKeyEntry != nullptr ? 1 : 0;
}

ZENTRY* ZIniFile::SectionBegin()
{
    return m_pFirstEntry;
}

// By the text and not by the type: a comment with a "[" counts, a section with a "#" in front of it doesn't.
ZENTRY* ZIniFile::SectionNext(ZENTRY* pEnty)
{
    const auto IsListed = [](const char* pszText)
    { return pszText != nullptr && pszText[strcspn(pszText, "#[")] == '['; };
    ZENTRY* pResult = VO_STEP(pEnty) ? pEnty->pNext : nullptr;
    while (pResult != nullptr && !IsListed(pResult->pszText))
    {
        pResult = pResult->pNext;
    }
    return pResult;
}

// ---------------------------------------------------------------------------------------------------------------------
// Values
// ---------------------------------------------------------------------------------------------------------------------

// The found value, which may be longer than its field; null when there is none.
static const char* FindValue(ZIniFile* pIniFile, const char* pSection, const char* pKey, tgEFIND* pFind)
{
    if (pSection == nullptr || pKey == nullptr || pIniFile->FindKey(pSection, pKey, pFind) == 0)
    {
        return nullptr;
    }
    return reinterpret_cast<const char*>(pFind) + offsetof(tgEFIND, szValue);
}

// Its copy in the buffer of the reads, cut to that.
template <size_t uSize>
static const char* ReadValue(ZIniFile* pIniFile, const char* pSection, const char* pKey, char (&szBuffer)[uSize])
{
    tgEFIND find;
    const char* const pszValue = FindValue(pIniFile, pSection, pKey, &find);
    if (pszValue == nullptr)
    {
        return nullptr;
    }
    CopyCut(szBuffer, uSize, pszValue, strlen(pszValue));
    return szBuffer;
}

int ZIniFile::ReadBool(const char* pSection, const char* pKey, int nDefault)
{
    m_szReturnBuffer[0] = 0;
    return ReadInt(pSection, pKey, nDefault) != 0 ? 1 : 0;
}

int ZIniFile::ReadInt(const char* pSection, const char* pKey, int nDefault)
{
    const char* const pszValue = ReadValue(this, pSection, pKey, m_szReturnBuffer);
    return pszValue != nullptr ? ToInt(pszValue) : nDefault;
}

// The default makes a round trip through its text, so it has the digits that the format leaves it.
double ZIniFile::ReadDouble(const char* pSection, const char* pKey, double fDefault, const char* pFormat)
{
    char szDefault[kNumberTextSize];
    double fResult = 0.0;
    const char* pszText = ReadValue(this, pSection, pKey, m_szReturnBuffer);
    if (pszText == nullptr)
    {
        const int nLength =
            snprintf(szDefault, sizeof(szDefault), pFormat != nullptr ? pFormat : kDefaultDoubleFormat, fDefault);
        pszText = nLength >= 0 ? szDefault : "";
    }
    // What is converted, and when it counts as no number, is the scanner's to say. NOLINTNEXTLINE(cert-err34-c)
    (void)sscanf(pszText, "%lE", &fResult);
    return fResult;
}

const char* ZIniFile::ReadString(const char* pSection, const char* pKey, const char* pDefault)
{
    const char* const pszValue = pDefault != nullptr ? ReadValue(this, pSection, pKey, m_szReturnBuffer) : nullptr;
    return pszValue != nullptr ? pszValue : pDefault;
}

int ZIniFile::ReadString(const char* pSection, const char* pKey, const char* pDefault, char* pValue, int nSize)
{
    tgEFIND find;
    const char* pszText = FindValue(this, pSection, pKey, &find);
    if (pszText == nullptr)
    {
        pszText = pDefault != nullptr ? pDefault : "";
    }
    if (pValue != nullptr && nSize > 0)
    {
        // The default may be the target itself.
        const size_t uSize = static_cast<size_t>(nSize);
        const size_t uLength = strnlen(pszText, uSize - 1);
        memmove(pValue, pszText, uLength);
        memset(pValue + uLength, 0, uSize - uLength);
    }
    return 1;
}
