#include "reader/path_argument.h"

#include <algorithm>

#include "base/text.h"
#include "platform/vo_native_names.h"

namespace lum
{

namespace
{

// A backslash that is part of a name.
constexpr VOWCHAR kCarriedBackslash = 0xDC5C;

bool IsSlash(VOWCHAR ch)
{
    return ch == '/' || ch == '\\';
}

// Takes "." and ".." parts and double slashes out; none when ".." leads above the start.
std::optional<VOWString> Collapse(const VOWString& strPath)
{
    std::vector<VOWString> vecParts;
    size_t uStart = 0;
    while (uStart <= strPath.size())
    {
        size_t uEnd = uStart;
        while (uEnd < strPath.size() && !IsSlash(strPath[uEnd]))
        {
            ++uEnd;
        }
        const VOWString strPart = strPath.substr(uStart, uEnd - uStart);
        uStart = uEnd + 1;
        if (strPart == VOTEXT("..") && vecParts.empty())
        {
            return std::nullopt;
        }
        if (strPart == VOTEXT(".."))
        {
            vecParts.pop_back();
        }
        else if (!strPart.empty() && strPart != VOTEXT("."))
        {
            vecParts.push_back(strPart);
        }
    }
    VOWString strResult;
    for (const VOWString& strPart : vecParts)
    {
        strResult += (strResult.empty() ? VOTEXT("") : VOTEXT("/")) + strPart;
    }
    return strResult;
}

}  // namespace

std::vector<VOWString> ReadingsOf(const std::string& strArgument)
{
    const VOWString strLiteral = VOFromNative(strArgument);
    std::vector<VOWString> vecReadings = {strLiteral};
    if (const std::optional<VOWString> strUnescaped = FromWrittenForm(strLiteral))
    {
        vecReadings.push_back(*strUnescaped);
    }
    // Where a backslash can be part of a name, it may still have been meant to separate.
    vecReadings.push_back(strLiteral);
    std::replace(vecReadings.back().begin(), vecReadings.back().end(), kCarriedBackslash, VOWCHAR('/'));
    return vecReadings;
}

std::optional<VOWString> RelativePath(const VOWString& strReading, const VOWString& strRoot)
{
    const std::optional<VOWString> strWhole = Collapse(strReading);
    const std::optional<VOWString> strPlace = Collapse(strRoot);
    const bool bSlash = !strReading.empty() && IsSlash(strReading[0]);
    const bool bDrive = strReading.size() > 2 && strReading[1] == ':' && IsSlash(strReading[2]);
    if (!strWhole || !strPlace || (!bSlash && !bDrive))
    {
        return strWhole;
    }
    if ((bSlash && strWhole->empty()) || EqualButForAsciiCase(*strWhole, *strPlace))
    {
        return VOWString();
    }
    const VOWString strInFront = strPlace->empty() ? VOWString() : *strPlace + VOTEXT("/");
    if (strWhole->size() > strInFront.size() &&
        EqualButForAsciiCase(strWhole->substr(0, strInFront.size()), strInFront))
    {
        return strWhole->substr(strInFront.size());
    }
    // What looks like a drive may be a folder's name, where systems allow that.
    return bDrive ? strWhole : std::nullopt;
}

}  // namespace lum
