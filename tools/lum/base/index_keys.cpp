#include "base/index_keys.h"

namespace lum
{

namespace
{

constexpr VOWCHAR kExactCaseMark = 0xF8FF;
constexpr unsigned kCapitalBase = 0xE000;

}  // namespace

VOWString ExactCaseForm(const VOWString& strPath)
{
    VOWString strResult(1, kExactCaseMark);
    strResult.reserve(strPath.size() + 1);
    for (const VOWCHAR ch : strPath)
    {
        strResult += ch >= 'A' && ch <= 'Z' ? static_cast<VOWCHAR>(kCapitalBase + ch) : ch;
    }
    return strResult;
}

std::optional<VOWString> LookupText(const VOWString& strRoot, const VOWString& strForm)
{
    const bool bColon = strForm.find(VOWCHAR(':')) != VOWString::npos;
    VOWString strResult = bColon ? strRoot + VOTEXT("/") + strForm : strForm;
    if (strResult.size() > kMaxKeyLength)
    {
        return std::nullopt;
    }
    return strResult;
}

NameParts PartsOf(const VOWString& strName, bool bFolder)
{
    const size_t uFirst = strName.find_first_not_of(VOWCHAR('.'));
    const size_t uDot = uFirst == VOWString::npos ? uFirst : strName.find(VOWCHAR('.'), uFirst);
    if (bFolder || uDot == VOWString::npos || strName.back() == '.')
    {
        return {strName, VOWString()};
    }
    return {strName.substr(0, uDot), strName.substr(uDot + 1)};
}

VOWString LastExtension(const VOWString& strExtension)
{
    const size_t uDot = strExtension.rfind(VOWCHAR('.'));
    return uDot == VOWString::npos ? strExtension : strExtension.substr(uDot + 1);
}

}  // namespace lum
