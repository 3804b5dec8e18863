#include "base/paths.h"

#include "base/text.h"

namespace lum
{

std::optional<VOWString> CleanPath(const VOWString& strPath, ParentSteps eSteps)
{
    VOWString strResult;
    for (const VOWString& strPart : SplitAt(strPath, VOTEXT("/\\")))
    {
        if (strPart == VOTEXT(".."))
        {
            if (eSteps == ParentSteps::Refused || strResult.empty())
            {
                return std::nullopt;
            }
            strResult = ParentPath(strResult);
        }
        else if (!strPart.empty() && strPart != VOTEXT("."))
        {
            strResult = JoinPath(strResult, strPart);
        }
    }
    return strResult;
}

}  // namespace lum
