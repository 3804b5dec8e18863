// What an index holds, as its container has it; and how a container that has grown old is made anew from that.
#include <algorithm>
#include <utility>

#include "scan/source_index.h"
#include "vo_utility.h"

using namespace LUMTrayService;

namespace lum
{

namespace
{

// A container that holds this much of what is gone, and as much as is live, is worn.
constexpr unsigned long long kWornAtLeast = 50000;

}  // namespace

structAssetNode SourceIndex::_Node(unsigned uAssetID) const
{
    structAssetNode node;
    m_pContainer->GetAssetNode(uAssetID, node);
    return node;
}

VOWString SourceIndex::_Text(void* hString) const
{
    return hString == INVALID_HANDLE_VALUE ? VOWString() : VOTextOf(m_pContainer->GetString(hString));
}

VOWString SourceIndex::_NameOf(const structAssetNode& node) const
{
    const VOWString strExtension = _Text(node.hStrExtension);
    return strExtension.empty() ? _Text(node.hStrBaseName) : _Text(node.hStrBaseName) + VOTEXT(".") + strExtension;
}

VOWString SourceIndex::_PathOf(unsigned uAssetID) const
{
    const structAssetNode node = _Node(uAssetID);
    return JoinPath(_Text(node.hStrComponent), _NameOf(node));
}

std::vector<unsigned> SourceIndex::_ListsOf(std::initializer_list<unsigned> lists) const
{
    std::vector<unsigned> vecChildren;
    for (const unsigned uList : lists)
    {
        if (uList != kNoNode)
        {
            m_pContainer->GetInfoNumberList(uList, vecChildren);
        }
    }
    return vecChildren;
}

std::vector<unsigned> SourceIndex::_ChildrenOf(unsigned uAssetID) const
{
    const structAssetNode node = _Node(uAssetID);
    return _ListsOf({node.nChildFileInfo, node.nChildFolderInfo});
}

std::vector<VOWString> SourceIndex::Folders() const
{
    std::vector<VOWString> vecFolders{VOWString()};
    _FoldersBelow(0, VOWString(), &vecFolders);
    return vecFolders;
}

// Parents first.
void SourceIndex::_FoldersBelow(unsigned uFolder, const VOWString& strFolder, std::vector<VOWString>* pvecFolders) const
{
    std::vector<std::pair<unsigned, VOWString>> vecPending{{uFolder, strFolder}};
    while (!vecPending.empty())
    {
        const auto [uParent, strParent] = std::move(vecPending.back());
        vecPending.pop_back();
        for (const unsigned uChild : _ListsOf({_Node(uParent).nChildFolderInfo}))
        {
            pvecFolders->push_back(JoinPath(strParent, _NameOf(_Node(uChild))));
            vecPending.emplace_back(uChild, pvecFolders->back());
        }
    }
}

bool SourceIndex::HasFolder(const VOWString& strFolder) const
{
    const unsigned uFolder = _FindNode(strFolder);
    return uFolder != kNoNode && _IsFolder(uFolder);
}

// Lists what an index holds.
class SourceIndex::OwnLister : public FolderLister
{
public:
    explicit OwnLister(const SourceIndex& index) : m_index(index) {}

    bool List(const VOWString& strFolder, uint32_t /*uRoots*/, std::vector<IndexEntry>* pvecEntries,
              std::string* /*pstrReason*/) override
    {
        pvecEntries->clear();
        for (const unsigned uChild : m_index._ChildrenOf(m_index._FindNode(strFolder)))
        {
            pvecEntries->push_back(_EntryOf(uChild));
        }
        std::sort(pvecEntries->begin(), pvecEntries->end(),
                  [](const IndexEntry& left, const IndexEntry& right) { return left.strName < right.strName; });
        return true;
    }

    bool DescribeRoot(IndexEntry* pEntry) const override
    {
        *pEntry = _EntryOf(0);
        return true;
    }

    uint32_t AllRoots() const override { return m_index._RootsOf(m_index._Node(0)); }

    VOWString OtherRoot(uint32_t uRoots) const override { return m_index.m_pLister->OtherRoot(uRoots); }

private:
    IndexEntry _EntryOf(unsigned uAssetID) const
    {
        const structAssetNode node = m_index._Node(uAssetID);
        IndexEntry entry;
        entry.strName = m_index._NameOf(node);
        entry.bFolder = node.bFolder != 0;
        entry.uAttribute = node.nFileAttribute;
        entry.ullSize = node.ullFileSize;
        entry.nCreateTime = node.ftCreateTime;
        entry.nAccessTime = node.ftLastAccessTime;
        entry.nWriteTime = node.ftLastWriteTime;
        entry.uWriteFraction = m_index.m_vecStamps[uAssetID].first;
        entry.uStatusStamp = m_index.m_vecStamps[uAssetID].second;
        entry.uRoots = m_index._RootsOf(node);
        return entry;
    }

    const SourceIndex& m_index;
};

bool SourceIndex::IsWorn() const
{
    const unsigned long long ullGone = m_pContainer->GetAssetNodeCount() - m_uNodes + m_ullDropped;
    return ullGone > kWornAtLeast && ullGone > m_uNodes;
}

bool SourceIndex::Renew(const std::vector<ClassifyType>& vecTypes, std::string* pstrError)
{
    OwnLister lister(*this);
    SourceIndex fresh(m_eaf, m_strRoot, m_strRootName, m_bMergeSign);
    if (!fresh.Build(vecTypes, &lister, nullptr, pstrError))
    {
        return false;
    }
    m_pContainer = std::move(fresh.m_pContainer);
    m_mapTypes = std::move(fresh.m_mapTypes);
    m_vecStamps = std::move(fresh.m_vecStamps);
    m_mapHolders = std::move(fresh.m_mapHolders);
    m_mapTwins = std::move(fresh.m_mapTwins);
    m_uNodes = fresh.m_uNodes;
    m_ullDropped = 0;
    m_bChanged = true;
    return true;
}

}  // namespace lum
