#include "publish/option_file.h"

#include <fmt/format.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <charconv>
#include <set>
#include <string_view>
#include <vector>

#include "base/files.h"
#include "base/text.h"
#include "platform/vo_text.h"
#include "z_ini_file.h"

namespace lum
{

namespace
{

constexpr const char* kSection = "options";

// A line that is longer is several for the reader.
constexpr size_t kLongestLine = 254;

struct TextField
{
    const char* pszKey;
    char* pszField;
    size_t uSize;
};

// What the reader of the file would say on standard output, cut or drop is refused before it looks at it.
bool CheckText(const std::vector<unsigned char>& vecBytes, std::string* pstrError)
{
    const std::string_view strText(reinterpret_cast<const char*>(vecBytes.data()), vecBytes.size());
    unsigned uNumber = 1;
    if (strText.find('\0') != std::string_view::npos)
    {
        *pstrError = "isn't a text file";
        return false;
    }
    for (size_t uAt = 0; uAt < strText.size(); ++uNumber)
    {
        const size_t uEnd = std::min(strText.find('\n', uAt), strText.size());
        std::string_view strLine = strText.substr(uAt, uEnd - uAt);
        strLine.remove_suffix(strLine.ends_with('\r') ? 1 : 0);
        if (strLine.size() > kLongestLine)
        {
            *pstrError = fmt::format("line {} has more than {} characters", uNumber, kLongestLine);
            return false;
        }
        if (uNumber == 1 && strLine.find('[') == std::string_view::npos)
        {
            *pstrError = "the first line is no section";
            return false;
        }
        uAt = uEnd + 1;
    }
    if (strText.empty())
    {
        *pstrError = "is empty";
        return false;
    }
    return true;
}

// One line of the section: a key that is known, and there once, or a comment.
bool CheckLine(const ZENTRY& entry, const std::set<std::string>& setKnown, std::set<std::string>* psetSeen,
               std::string* pstrError)
{
    const std::string_view strLine = entry.pszText;
    const std::string_view strSaid = strLine.substr(0, strLine.find(';'));
    const std::string strKey = FoldAscii(std::string(strSaid.substr(0, strSaid.find('='))));
    if (strSaid.starts_with('#') || strSaid.find_first_not_of(" \t") == std::string_view::npos)
    {
        return true;
    }
    if (entry.cType != tpKEYVALUE)
    {
        *pstrError = fmt::format("\"{}\" is neither an option nor a comment", strLine);
        return false;
    }
    if (!setKnown.contains(strKey))
    {
        *pstrError = fmt::format("no option is named \"{}\"", strKey);
        return false;
    }
    if (!psetSeen->insert(strKey).second)
    {
        *pstrError = fmt::format("the option \"{}\" is there twice", strKey);
        return false;
    }
    return true;
}

// The lines from the section's on. The reader takes every line with both brackets for a section, which ends the one in
// front of it, and of two sections of one name it knows the first.
bool CheckLines(ZIniFile* pFile, const std::set<std::string>& setKnown, std::string* pstrError)
{
    const ZENTRY* pEntry = pFile->FindSection(kSection);
    std::set<std::string> setSeen;
    bool bInside = true;
    if (pEntry == nullptr)
    {
        *pstrError = fmt::format("has no section [{}]", kSection);
        return false;
    }
    for (pEntry = pEntry->pNext; pEntry != nullptr; pEntry = pEntry->pNext)
    {
        if (pEntry->cType == tpSECTION)
        {
            if (bInside && pEntry->pszText[0] != '[')
            {
                *pstrError = fmt::format("\"{}\": a line with [ and ] is a section", pEntry->pszText);
                return false;
            }
            if (FoldAscii(std::string(pEntry->pszText)) == fmt::format("[{}]", kSection))
            {
                *pstrError = fmt::format("the section [{}] is there twice", kSection);
                return false;
            }
            bInside = false;
        }
        else if (bInside && !CheckLine(*pEntry, setKnown, &setSeen, pstrError))
        {
            return false;
        }
    }
    return true;
}

bool TakeText(ZIniFile* pFile, const TextField& field, std::string* pstrError)
{
    const std::string strValue = pFile->ReadString(kSection, field.pszKey, "");
    if (strValue.size() >= field.uSize)
    {
        *pstrError = fmt::format("the option \"{}\" has at most {} bytes, not {}", field.pszKey, field.uSize - 1,
                                 strValue.size());
        return false;
    }
    memcpy(field.pszField, strValue.c_str(), strValue.size() + 1);
    return true;
}

// A whole decimal number with nothing but blanks around it. A missing one is 0.
template <class Number>
bool TakeNumber(ZIniFile* pFile, const char* pszKey, Number* pnField, std::string* pstrError)
{
    const std::string strValue = pFile->ReadString(kSection, pszKey, "0");
    std::string_view strNumber = strValue;
    strNumber.remove_prefix(std::min(strNumber.find_first_not_of(" \t"), strNumber.size()));
    // Without a last one that is no blank, this is one behind "no position": 0.
    strNumber = strNumber.substr(0, strNumber.find_last_not_of(" \t") + 1);
    const char* const pchEnd = strNumber.data() + strNumber.size();
    const std::from_chars_result result = std::from_chars(strNumber.data(), pchEnd, *pnField);
    if (result.ec != std::errc() || result.ptr != pchEnd)
    {
        *pstrError = fmt::format("the option \"{}\" is no whole number of {} bits: \"{}\"", pszKey, 8 * sizeof(Number),
                                 strValue);
        return false;
    }
    return true;
}

bool FillRecord(ZIniFile* pFile, VOPublicOptionRecord* pRecord, std::string* pstrError)
{
    const TextField akTexts[] = {{"key", pRecord->szOptionKey, sizeof(pRecord->szOptionKey)},
                                 {"text1", pRecord->szOptionText1, sizeof(pRecord->szOptionText1)},
                                 {"text2", pRecord->szOptionText2, sizeof(pRecord->szOptionText2)},
                                 {"text3", pRecord->szOptionText3, sizeof(pRecord->szOptionText3)},
                                 {"text4", pRecord->szOptionText4, sizeof(pRecord->szOptionText4)},
                                 {"text5", pRecord->szOptionText5, sizeof(pRecord->szOptionText5)},
                                 {"text6", pRecord->szOptionText6, sizeof(pRecord->szOptionText6)}};
    std::set<std::string> setKnown = {"value1", "value2", "value3", "value4"};
    for (const TextField& text : akTexts)
    {
        setKnown.insert(text.pszKey);
    }
    *pRecord = {};
    static_assert(sizeof(kszVOPublicOptionVersion) == sizeof(pRecord->szVersion));
    memcpy(pRecord->szVersion, kszVOPublicOptionVersion, sizeof(pRecord->szVersion));
    return CheckLines(pFile, setKnown, pstrError) &&
           std::all_of(std::begin(akTexts), std::end(akTexts),
                       [=](const TextField& text) { return TakeText(pFile, text, pstrError); }) &&
           TakeNumber(pFile, "value1", &pRecord->nOptionValue1, pstrError) &&
           TakeNumber(pFile, "value2", &pRecord->nOptionValue2, pstrError) &&
           TakeNumber(pFile, "value3", &pRecord->nOptionValue3, pstrError) &&
           TakeNumber(pFile, "value4", &pRecord->nOptionValue4, pstrError);
}

}  // namespace

bool ReadOptionFile(const std::string& strNative, VOPublicOptionRecord* pRecord, std::string* pstrError)
{
    std::vector<unsigned char> vecBytes;
    std::string strPath;
    std::string strFault;
    ZIniFile file;
    if (!ReadFile(strNative, &vecBytes, pstrError))
    {
        return false;
    }
    bool bResult = CheckText(vecBytes, &strFault);
    if (bResult && (!VOToRuntimePath(strNative, &strPath) || file.OpenIniFile(strPath.c_str()) == 0))
    {
        bResult = false;
        strFault = "can't be read as an INI file";
    }
    bResult = bResult && FillRecord(&file, pRecord, &strFault);
    if (!bResult)
    {
        *pstrError = fmt::format("{}: {}", strNative, PrintableText(strFault));
    }
    return bResult;
}

}  // namespace lum
