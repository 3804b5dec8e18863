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
        const IndexEntry* pEntry = _Find(strPart);
        if (pEntry != nullptr && !pEntry->bFolder)
        {
            return Added::UnderFile;
        }
        if (pEntry == nullptr)
        {
            IndexEntry folder;
            folder.strName = LastPart(strPart);
            folder.bFolder = true;
            m_mapFolders[ParentPath(strPart)].emplace(folder.strName, folder);
            m_mapFolders[strPart];
        }
        if (uEnd == VOWString::npos)
        {
            break;
        }
    }
    return Added::New;
}

PathTree::Added PathTree::Add(const VOWString& strPath, const IndexEntry& entry)
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
    IndexEntry fresh = entry;
    fresh.strName = LastPart(strPath);
    if (IndexEntry* pOld = _Find(strPath))
    {
        if (pOld->bFolder != fresh.bFolder)
        {
            return Added::OtherKind;
        }
        *pOld = fresh;
        return Added::Again;
    }
    m_mapFolders[ParentPath(strPath)].emplace(fresh.strName, fresh);
    if (fresh.bFolder)
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
        for (const auto& [strName, entry] : itFolder->second)
        {
            pvecEntries->push_back(entry);
        }
    }
    return true;
}

}  // namespace lum
