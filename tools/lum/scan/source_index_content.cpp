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
    structAssetNode kNode;
    m_pkContainer->GetAssetNode(uAssetID, kNode);
    return kNode;
}

VOWString SourceIndex::_Text(void* hString) const
{
    return hString == INVALID_HANDLE_VALUE ? VOWString() : VOTextOf(m_pkContainer->GetString(hString));
}

VOWString SourceIndex::_NameOf(const structAssetNode& kNode) const
{
    const VOWString strExtension = _Text(kNode.hStrExtension);
    return strExtension.empty() ? _Text(kNode.hStrBaseName) : _Text(kNode.hStrBaseName) + VOTEXT(".") + strExtension;
}

VOWString SourceIndex::_PathOf(unsigned uAssetID) const
{
    const structAssetNode kNode = _Node(uAssetID);
    return JoinPath(_Text(kNode.hStrComponent), _NameOf(kNode));
}

std::vector<unsigned> SourceIndex::_ListsOf(std::initializer_list<unsigned> kLists) const
{
    std::vector<unsigned> vecChildren;
    for (const unsigned uList : kLists)
    {
        if (uList != kNoNode)
        {
            m_pkContainer->GetInfoNumberList(uList, vecChildren);
        }
    }
    return vecChildren;
}

std::vector<unsigned> SourceIndex::_ChildrenOf(unsigned uAssetID) const
{
    const structAssetNode kNode = _Node(uAssetID);
    return _ListsOf({kNode.nChildFileInfo, kNode.nChildFolderInfo});
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
    explicit OwnLister(const SourceIndex& rkIndex) : m_rkIndex(rkIndex) {}

    bool List(const VOWString& strFolder, uint32_t /*uRoots*/, std::vector<IndexEntry>* pvecEntries,
              std::string* /*pstrReason*/) override
    {
        pvecEntries->clear();
        for (const unsigned uChild : m_rkIndex._ChildrenOf(m_rkIndex._FindNode(strFolder)))
        {
            pvecEntries->push_back(_EntryOf(uChild));
        }
        std::sort(pvecEntries->begin(), pvecEntries->end(),
                  [](const IndexEntry& kLeft, const IndexEntry& kRight) { return kLeft.strName < kRight.strName; });
        return true;
    }

    bool DescribeRoot(IndexEntry* pkEntry) const override
    {
        *pkEntry = _EntryOf(0);
        return true;
    }

    uint32_t AllRoots() const override { return m_rkIndex._RootsOf(m_rkIndex._Node(0)); }

    VOWString OtherRoot(uint32_t uRoots) const override { return m_rkIndex.m_pkLister->OtherRoot(uRoots); }

private:
    IndexEntry _EntryOf(unsigned uAssetID) const
    {
        const structAssetNode kNode = m_rkIndex._Node(uAssetID);
        IndexEntry kEntry;
        kEntry.strName = m_rkIndex._NameOf(kNode);
        kEntry.bFolder = kNode.bFolder != 0;
        kEntry.uAttribute = kNode.nFileAttribute;
        kEntry.ullSize = kNode.ullFileSize;
        kEntry.nCreateTime = kNode.ftCreateTime;
        kEntry.nAccessTime = kNode.ftLastAccessTime;
        kEntry.nWriteTime = kNode.ftLastWriteTime;
        kEntry.uWriteFraction = m_rkIndex.m_vecStamps[uAssetID].first;
        kEntry.uStatusStamp = m_rkIndex.m_vecStamps[uAssetID].second;
        kEntry.uRoots = m_rkIndex._RootsOf(kNode);
        return kEntry;
    }

    const SourceIndex& m_rkIndex;
};

bool SourceIndex::IsWorn() const
{
    const unsigned long long ullGone = m_pkContainer->GetAssetNodeCount() - m_uNodes + m_ullDropped;
    return ullGone > kWornAtLeast && ullGone > m_uNodes;
}

bool SourceIndex::Renew(const std::vector<ClassifyType>& vecTypes, std::string* pstrError)
{
    OwnLister kLister(*this);
    SourceIndex kFresh(m_eaf, m_strRoot, m_strRootName, m_bMergeSign);
    if (!kFresh.Build(vecTypes, &kLister, nullptr, pstrError))
    {
        return false;
    }
    m_pkContainer = std::move(kFresh.m_pkContainer);
    m_mapTypes = std::move(kFresh.m_mapTypes);
    m_vecStamps = std::move(kFresh.m_vecStamps);
    m_mapHolders = std::move(kFresh.m_mapHolders);
    m_mapTwins = std::move(kFresh.m_mapTwins);
    m_uNodes = kFresh.m_uNodes;
    m_ullDropped = 0;
    m_bChanged = true;
    return true;
}

}  // namespace lum
