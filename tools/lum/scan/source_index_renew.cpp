// How a container that has grown old is made anew.
#include <algorithm>
#include <utility>

#include "scan/source_index.h"

using namespace LUMTrayService;

namespace lum
{

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
        kEntry.uRoots = m_rkIndex.m_bMergeSign ? kNode.uAssetMerge : 1;
        return kEntry;
    }

    const SourceIndex& m_rkIndex;
};

bool SourceIndex::Renew(const std::vector<ClassifyType>& vecTypes, std::string* pstrError)
{
    OwnLister kLister(*this);
    SourceIndex kFresh(m_eaf, m_strRoot, m_strRootName, m_bMergeSign);
    if (!kFresh.Build(vecTypes, m_bMergeSign ? _Node(0).uAssetMerge : 1, &kLister, nullptr, pstrError))
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
