// Changing the values of an INI file, and writing it.
#include <string>

#include "config/file_read_only.h"
#include "config/ini_chain.h"
#include "config/ini_numbers.h"
#include "diagnostics/check.h"

namespace
{

constexpr size_t kDoubleTextSize = 32;

bool IsThere(DWORD uAttributes)
{
    return uAttributes != INVALID_FILE_ATTRIBUTES;
}

}  // namespace

void ZIniFile::WriteBool(const char* pSection, const char* pKey, int nValue)
{
    WriteString(pSection, pKey, nValue != 0 ? "1" : "0");
}

void ZIniFile::WriteInt(const char* pSection, const char* pKey, int nValue)
{
    char szValue[16];
    snprintf(szValue, sizeof(szValue), "%d", nValue);
    WriteString(pSection, pKey, szValue);
}

void ZIniFile::WriteDouble(const char* pSection, const char* pKey, double fValue, const char* pFormat)
{
    char szValue[kDoubleTextSize];
    const int nLength = snprintf(szValue, sizeof(szValue), pFormat != nullptr ? pFormat : kDefaultDoubleFormat, fValue);
    // A part of a number would be another number.
    const bool bWhole = nLength >= 0 && static_cast<size_t>(nLength) < sizeof(szValue);
    WriteString(pSection, pKey, bWhole ? szValue : "");
}

void ZIniFile::WriteString(const char* pSection, const char* pKey, const char* pValue)
{
    tgEFIND find;
    if (!VO_STEP(pSection && *pSection) || !VO_STEP(pValue && *pValue))
    {
        return;
    }
    if (FindKey(pSection, pKey, &find) != 0)
    {
        // From the line itself: the fields of the result may be shorter than the key and the comment.
        const char* const pszLine = find.pKeyEntry->pszText;
        const std::string_view strKey(pszLine, strcspn(pszLine, "="));
        char* const pszText = ZIniJoin(strKey, "=", pValue, pszLine + strcspn(pszLine, ";"));
        if (pszText != nullptr)
        {
            FreeMem(find.pKeyEntry->pszText);
            find.pKeyEntry->pszText = pszText;
        }
    }
    else if (find.pSectionEntry != nullptr)
    {
        AddKey(find.pSectionEntry, pKey, pValue);
    }
    else
    {
        AddSectionAndKey(pSection, pKey, pValue);
    }
}

// The line of a key, or of a comment for a null key.
static char* MakeLine(const char* pKey, const char* pValue)
{
    return pKey != nullptr ? ZIniJoin(pKey, "=", pValue) : ZIniJoin(pValue);
}

void ZIniFile::AddKey(ZENTRY* pEntry, const char* pKey, const char* pValue)
{
    char* const pszText = pValue != nullptr ? MakeLine(pKey, pValue) : nullptr;
    AddItemAt(pEntry, pKey != nullptr ? tpKEYVALUE : tpCOMMENT, pszText);
    FreeMem(pszText);
}

int ZIniFile::AddSectionAndKey(const char* pSection, const char* pKey, const char* pValue)
{
    const bool bComplete = pSection != nullptr && pValue != nullptr;
    char* const pszSection = bComplete ? ZIniJoin("[", pSection, "]") : nullptr;
    char* const pszLine = bComplete ? MakeLine(pKey, pValue) : nullptr;
    const int nResult = VO_STEP_AS("AddItem (tpSECTION, Text)", AddItem(tpSECTION, pszSection)) &&
                        (pKey != nullptr ? VO_STEP_AS("AddItem(tpKEYVALUE, Text)", AddItem(tpKEYVALUE, pszLine))
                                         : VO_STEP_AS("AddItem(tpCOMMENT, Text)", AddItem(tpCOMMENT, pszLine)));
    FreeMem(pszSection);
    FreeMem(pszLine);
    return nResult;
}

int ZIniFile::WriteIniFile(const char* pFileName)
{
    int nResult = 0;
    const DWORD uAttributes = GetFileAttributesA(pFileName);
    // The name may be a text of the chain, which goes when the file can't be written.
    const std::string strFileName = pFileName != nullptr ? pFileName : "";
    FILE* pFile = nullptr;
    if (IsThere(uAttributes) && (uAttributes & FILE_ATTRIBUTE_READONLY) != 0)
    {
        VO_CHECK_ERROR(SetFileReadOnly(pFileName, FALSE));
    }
    pFile = VOOpenFile(pFileName, "wb");
    if (pFile == nullptr)
    {
        FreeAllMem();
        VO_PROCESS_ERROR_FALSE;
    }
    for (const ZENTRY* pEntry = m_pFirstEntry; pEntry != nullptr; pEntry = pEntry->pNext)
    {
        if (pEntry->cType == 0 || pEntry->pszText == nullptr)
        {
            continue;
        }
        fprintf(pFile, "%s\r\n", pEntry->pszText);
        if (pEntry->pNext != nullptr && pEntry->pNext->cType == tpSECTION)
        {
            fputs("\r\n", pFile);
        }
    }
    fclose(pFile);
    nResult = 1;

Exit0:
    if (IsThere(uAttributes))
    {
        SetFileAttributesA(strFileName.c_str(), uAttributes);
    }
    return nResult;
}

int ZIniFile::SetFileReadOnly(const char* pFileName, int bReadOnly)
{
    return VOSetFileReadOnly(pFileName, bReadOnly);
}
