#include "scan/path_list.h"

#include <fmt/format.h>

#include "base/text.h"

namespace lum
{

namespace
{

// What is wrong with a line; an empty text when nothing is.
std::string AddLine(const VOWString& strText, PathTree* pTree)
{
    const std::string strShown = WrittenForm(strText, Escape::Controls);
    const std::optional<VOWString> strPath = CleanPath(strText);
    if (!strPath || strPath->empty())
    {
        return fmt::format("\"{}\" is no path below a root", strShown);
    }
    IndexEntry entry;
    entry.bFolder = strText.back() == '/' || strText.back() == '\\';
    switch (pTree->Add(*strPath, entry))
    {
        case PathTree::Added::UnderFile:
            return fmt::format("\"{}\" lies in something that an earlier line calls a file", strShown);
        case PathTree::Added::OtherKind:
            return fmt::format("\"{}\" is a {} in an earlier line", strShown, entry.bFolder ? "file" : "folder");
        default:
            return {};
    }
}

}  // namespace

bool ReadPathList(const std::string& strNative, PathTree* pTree, std::string* pstrError)
{
    std::vector<TextLine> vecLines;
    return ReadTextFile(strNative, &vecLines, pstrError) && ReadPaths(strNative, vecLines, pTree, pstrError);
}

bool ReadPaths(const std::string& strWhere, const std::vector<TextLine>& vecLines, PathTree* pTree,
               std::string* pstrError)
{
    for (const TextLine& line : vecLines)
    {
        const std::string strWrong = AddLine(line.strText, pTree);
        if (!strWrong.empty())
        {
            *pstrError = fmt::format("{}:{}: {}", strWhere, line.uNumber, strWrong);
            return false;
        }
    }
    return true;
}

}  // namespace lum
