#include "scan/path_list.h"

#include <fmt/format.h>

#include "base/text.h"

namespace lum
{

namespace
{

// What is wrong with a line; an empty text when nothing is.
std::string AddLine(const VOWString& strText, PathTree* pkTree)
{
    const std::string strShown = WrittenForm(strText, Escape::Controls);
    const std::optional<VOWString> strPath = CleanPath(strText);
    if (!strPath || strPath->empty())
    {
        return fmt::format("\"{}\" is no path below a root", strShown);
    }
    IndexEntry kEntry;
    kEntry.bFolder = strText.back() == '/' || strText.back() == '\\';
    switch (pkTree->Add(*strPath, kEntry))
    {
        case PathTree::Added::UnderFile:
            return fmt::format("\"{}\" lies in something that an earlier line calls a file", strShown);
        case PathTree::Added::OtherKind:
            return fmt::format("\"{}\" is a {} in an earlier line", strShown, kEntry.bFolder ? "file" : "folder");
        default:
            return {};
    }
}

}  // namespace

bool ReadPathList(const std::string& strNative, PathTree* pkTree, std::string* pstrError)
{
    std::vector<TextLine> vecLines;
    return ReadTextFile(strNative, &vecLines, pstrError) && ReadPaths(strNative, vecLines, pkTree, pstrError);
}

bool ReadPaths(const std::string& strWhere, const std::vector<TextLine>& vecLines, PathTree* pkTree,
               std::string* pstrError)
{
    for (const TextLine& kLine : vecLines)
    {
        const std::string strWrong = AddLine(kLine.strText, pkTree);
        if (!strWrong.empty())
        {
            *pstrError = fmt::format("{}:{}: {}", strWhere, kLine.uNumber, strWrong);
            return false;
        }
    }
    return true;
}

}  // namespace lum
