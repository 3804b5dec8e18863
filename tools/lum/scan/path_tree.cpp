#include "scan/path_tree.h"

namespace lum
{

IndexEntry* PathTree::_Find(const VOWString& strPath)
{
    const auto itFolder = m_mapFolders.find(ParentPath(strPath));
    if (itFolder == m_mapFolders.end())
    {
        return nullptr;
    }
    const auto itEntry = itFolder->second.find(LastPart(strPath));
    return itEntry == itFolder->second.end() ? nullptr : &itEntry->second;
}

PathTree::Added PathTree::_AddFolder(const VOWString& strPath)
{
    // From the top down, so that a part that is a file is met before anything below it is made.
    for (size_t uEnd = strPath.find(VOWCHAR('/')); !strPath.empty(); uEnd = strPath.find(VOWCHAR('/'), uEnd + 1))
    {
        const VOWString strPart = strPath.substr(0, uEnd);
        const IndexEntry* pkEntry = _Find(strPart);
        if (pkEntry != nullptr && !pkEntry->bFolder)
        {
            return Added::UnderFile;
        }
        if (pkEntry == nullptr)
        {
            IndexEntry kFolder;
            kFolder.strName = LastPart(strPart);
            kFolder.bFolder = true;
            m_mapFolders[ParentPath(strPart)].emplace(kFolder.strName, kFolder);
            m_mapFolders[strPart];
        }
        if (uEnd == VOWString::npos)
        {
            break;
        }
    }
    return Added::New;
}

PathTree::Added PathTree::Add(const VOWString& strPath, const IndexEntry& kEntry)
{
    if (strPath.empty())
    {
        return Added::Again;
    }
    const Added eParent = _AddFolder(ParentPath(strPath));
    if (eParent != Added::New)
    {
        return eParent;
    }
    IndexEntry kNew = kEntry;
    kNew.strName = LastPart(strPath);
    if (IndexEntry* pkOld = _Find(strPath))
    {
        if (pkOld->bFolder != kNew.bFolder)
        {
            return Added::OtherKind;
        }
        *pkOld = kNew;
        return Added::Again;
    }
    m_mapFolders[ParentPath(strPath)].emplace(kNew.strName, kNew);
    if (kNew.bFolder)
    {
        m_mapFolders[strPath];
    }
    return Added::New;
}

bool PathTree::List(const VOWString& strFolder, uint32_t /*uRoots*/, std::vector<IndexEntry>* pvecEntries,
                    std::string* /*pstrReason*/)
{
    pvecEntries->clear();
    const auto itFolder = m_mapFolders.find(strFolder);
    if (itFolder != m_mapFolders.end())
    {
        for (const auto& [strName, kEntry] : itFolder->second)
        {
            pvecEntries->push_back(kEntry);
        }
    }
    return true;
}

}  // namespace lum
