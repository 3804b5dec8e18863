#include "publish/option_file.h"

#include <fmt/format.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <charconv>
#include <set>
#include <string_view>
#include <vector>

#include "base/failure.h"
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
void CheckText(const std::vector<unsigned char>& vecBytes)
{
    const std::string_view strText(reinterpret_cast<const char*>(vecBytes.data()), vecBytes.size());
    unsigned uNumber = 1;
    if (strText.find('\0') != std::string_view::npos)
    {
        throw Failure("isn't a text file");
    }
    for (size_t uAt = 0; uAt < strText.size(); ++uNumber)
    {
        const size_t uEnd = std::min(strText.find('\n', uAt), strText.size());
        std::string_view strLine = strText.substr(uAt, uEnd - uAt);
        strLine.remove_suffix(strLine.ends_with('\r') ? 1 : 0);
        if (strLine.size() > kLongestLine)
        {
            throw Failure("line {} has more than {} characters", uNumber, kLongestLine);
        }
        if (uNumber == 1 && strLine.find('[') == std::string_view::npos)
        {
            throw Failure("the first line is no section");
        }
        uAt = uEnd + 1;
    }
    if (strText.empty())
    {
        throw Failure("is empty");
    }
}

// One line of the section: a key that is known, and there once, or a comment.
void CheckLine(const ZENTRY& entry, const std::set<std::string>& setKnown, std::set<std::string>* psetSeen)
{
    const std::string_view strLine = entry.pszText;
    const std::string_view strSaid = strLine.substr(0, strLine.find(';'));
    const std::string strKey = FoldAscii(std::string(strSaid.substr(0, strSaid.find('='))));
    if (strSaid.starts_with('#') || strSaid.find_first_not_of(" \t") == std::string_view::npos)
    {
        return;
    }
    if (entry.cType != tpKEYVALUE)
    {
        throw Failure("\"{}\" is neither an option nor a comment", strLine);
    }
    if (!setKnown.contains(strKey))
    {
        throw Failure("no option is named \"{}\"", strKey);
    }
    if (!psetSeen->insert(strKey).second)
    {
        throw Failure("the option \"{}\" is there twice", strKey);
    }
}

// The lines from the section's on. The reader takes every line with both brackets for a section, which ends the one in
// front of it, and of two sections of one name it knows the first.
void CheckLines(ZIniFile* pFile, const std::set<std::string>& setKnown)
{
    const ZENTRY* pEntry = pFile->FindSection(kSection);
    std::set<std::string> setSeen;
    bool bInside = true;
    if (pEntry == nullptr)
    {
        throw Failure("has no section [{}]", kSection);
    }
    for (pEntry = pEntry->pNext; pEntry != nullptr; pEntry = pEntry->pNext)
    {
        if (pEntry->cType == tpSECTION)
        {
            if (bInside && pEntry->pszText[0] != '[')
            {
                throw Failure("\"{}\": a line with [ and ] is a section", pEntry->pszText);
            }
            if (FoldAscii(std::string(pEntry->pszText)) == fmt::format("[{}]", kSection))
            {
                throw Failure("the section [{}] is there twice", kSection);
            }
            bInside = false;
        }
        else if (bInside)
        {
            CheckLine(*pEntry, setKnown, &setSeen);
        }
    }
}

void TakeText(ZIniFile* pFile, const TextField& field)
{
    const std::string strValue = pFile->ReadString(kSection, field.pszKey, "");
    if (strValue.size() >= field.uSize)
    {
        throw Failure("the option \"{}\" has at most {} bytes, not {}", field.pszKey, field.uSize - 1, strValue.size());
    }
    memcpy(field.pszField, strValue.c_str(), strValue.size() + 1);
}

// A whole decimal number with nothing but blanks around it. A missing one is 0.
template <class Number>
void TakeNumber(ZIniFile* pFile, const char* pszKey, Number* pnField)
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
        throw Failure("the option \"{}\" is no whole number of {} bits: \"{}\"", pszKey, 8 * sizeof(Number), strValue);
    }
}

VOPublicOptionRecord RecordOf(ZIniFile* pFile)
{
    VOPublicOptionRecord record = {};
    const TextField akTexts[] = {{"key", record.szOptionKey, sizeof(record.szOptionKey)},
                                 {"text1", record.szOptionText1, sizeof(record.szOptionText1)},
                                 {"text2", record.szOptionText2, sizeof(record.szOptionText2)},
                                 {"text3", record.szOptionText3, sizeof(record.szOptionText3)},
                                 {"text4", record.szOptionText4, sizeof(record.szOptionText4)},
                                 {"text5", record.szOptionText5, sizeof(record.szOptionText5)},
                                 {"text6", record.szOptionText6, sizeof(record.szOptionText6)}};
    std::set<std::string> setKnown = {"value1", "value2", "value3", "value4"};
    for (const TextField& text : akTexts)
    {
        setKnown.insert(text.pszKey);
    }
    static_assert(sizeof(kszVOPublicOptionVersion) == sizeof(record.szVersion));
    memcpy(record.szVersion, kszVOPublicOptionVersion, sizeof(record.szVersion));
    CheckLines(pFile, setKnown);
    for (const TextField& text : akTexts)
    {
        TakeText(pFile, text);
    }
    TakeNumber(pFile, "value1", &record.nOptionValue1);
    TakeNumber(pFile, "value2", &record.nOptionValue2);
    TakeNumber(pFile, "value3", &record.nOptionValue3);
    TakeNumber(pFile, "value4", &record.nOptionValue4);
    return record;
}

}  // namespace

VOPublicOptionRecord ReadOptionFile(const std::string& strNative)
{
    const std::vector<unsigned char> vecBytes = ReadFile(strNative);
    std::string strPath;
    ZIniFile file;
    try
    {
        CheckText(vecBytes);
        if (!VOToRuntimePath(strNative, &strPath) || file.OpenIniFile(strPath.c_str()) == 0)
        {
            throw Failure("can't be read as an INI file");
        }
        return RecordOf(&file);
    }
    catch (const Failure& fault)
    {
        throw Failure("{}: {}", strNative, PrintableText(fault.what()));
    }
}

}  // namespace lum
