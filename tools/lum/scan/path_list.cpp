#include "scan/path_list.h"

#include "base/failure.h"
#include "base/text.h"

namespace lum
{

std::unique_ptr<PathTree> ReadPathList(const std::string& strNative)
{
    return ReadPaths(strNative, ReadTextFile(strNative));
}

std::unique_ptr<PathTree> ReadPaths(const std::string& strWhere, const std::vector<TextLine>& vecLines)
{
    std::unique_ptr<PathTree> pTree = std::make_unique<PathTree>();
    for (const auto& [uNumber, strText] : vecLines)
    {
        const std::string strLine =
            fmt::format("{}:{}: \"{}\"", strWhere, uNumber, WrittenForm(strText, Escape::Controls));
        const std::optional<VOWString> strPath = CleanPath(strText);
        if (!strPath || strPath->empty())
        {
            throw Failure("{} is no path below a root", strLine);
        }
        IndexEntry entry;
        entry.bFolder = strText.back() == '/' || strText.back() == '\\';
        const PathTree::Added eAdded = pTree->Add(*strPath, entry);
        if (eAdded == PathTree::Added::UnderFile)
        {
            throw Failure("{} lies in something that an earlier line calls a file", strLine);
        }
        if (eAdded == PathTree::Added::OtherKind)
        {
            throw Failure("{} is a {} in an earlier line", strLine, entry.bFolder ? "file" : "folder");
        }
    }
    return pTree;
}

}  // namespace lum
