#include "reader/path_argument.h"

#include <algorithm>

#include "base/paths.h"
#include "base/text.h"
#include "platform/vo_text.h"

namespace lum
{

namespace
{

bool IsSlash(VOWCHAR ch)
{
    return ch == '/' || ch == '\\';
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
    const std::optional<VOWString> strWhole = CleanPath(strReading, ParentSteps::Followed);
    const std::optional<VOWString> strPlace = CleanPath(strRoot, ParentSteps::Followed);
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
