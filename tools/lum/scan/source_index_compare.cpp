// How an index follows its source: one folder at a time is listed again and compared.
#include <algorithm>
#include <iterator>
#include <map>
#include <tuple>
#include <utility>

#include "scan/source_index.h"

using namespace LUMTrayService;

namespace lum
{

namespace
{

typedef std::vector<std::pair<VOWString, VOWString>> Renames;

// Renames of what was renamed before are one with it.
Renames WholeRenames(const Renames& vecSteps)
{
    Renames vecWhole;
    for (const auto& [strOld, strNew] : vecSteps)
    {
        const auto itBefore = std::find_if(vecWhole.begin(), vecWhole.end(),
                                           [&strOld = strOld](const auto& kWhole) { return kWhole.second == strOld; });
        if (itBefore != vecWhole.end())
        {
            itBefore->second = strNew;
        }
        else
        {
            vecWhole.emplace_back(strOld, strNew);
        }
    }
    return vecWhole;
}

}  // namespace

// A folder beside what its source shows now. What is known to be there is taken out of what has gone, step by step: by
// its name, then by its renames. The rest is removed, and what still has no node is entered.
class SourceIndex::Comparison
{
public:
    Comparison(SourceIndex* pkIndex, const PendingFolder& kFolder, std::vector<IndexEntry> vecEntries,
               Changes* pkChanges, std::vector<VOWString>* pvecMore)
        : m_rkIndex(*pkIndex),
          m_kFolder(kFolder),
          m_vecEntries(std::move(vecEntries)),
          m_vecNodes(m_vecEntries.size(), kNoNode),
          m_pvecMore(pvecMore)
    {
        m_rkIndex.m_pkChanges = pkChanges;
    }

    // However it ended, nothing of it is left for the next one.
    ~Comparison()
    {
        m_rkIndex.m_vecPending.clear();
        m_rkIndex.m_mapDoubted.clear();
        m_rkIndex.m_pkChanges = nullptr;
    }

    Comparison(const Comparison&) = delete;
    Comparison& operator=(const Comparison&) = delete;

    // False with a message when the index is full.
    bool Run(const FolderHints& kHints, std::string* pstrError)
    {
        _Match(kHints.setWritten);
        _FollowRenames(WholeRenames(kHints.vecRenamed), false);
        _FollowRenames(_RenamesByTheLook(), true);
        _DoubtLeftOut();
        if (!m_rkIndex._SettleOrphans() || !_RemoveGone() || !_Enter())
        {
            *pstrError = "the index is full";
            return false;
        }
        return m_rkIndex._EnterPending(nullptr, pstrError);
    }

private:
    VOWString _PathOf(const VOWString& strName) const { return JoinPath(m_kFolder.strPath, strName); }
    size_t _Find(const VOWString& strName) const;
    void _Match(const std::set<VOWString>& setWritten);
    bool _Follow(const IndexEntry& kEntry, unsigned uNode, bool bWritten);
    Renames _RenamesByTheLook() const;
    void _FollowRenames(const Renames& vecRenames, bool bGuessed);
    void _LookBelow(const VOWString& strName, unsigned uFolder);
    bool _Rename(const VOWString& strOldName, const IndexEntry& kEntry, unsigned uNode);
    void _DoubtLeftOut();
    bool _RemoveGone();
    void _TellGone(const VOWString& strPath, unsigned uNode);
    bool _Enter();

    SourceIndex& m_rkIndex;
    PendingFolder m_kFolder;
    std::vector<IndexEntry> m_vecEntries;
    std::vector<unsigned> m_vecNodes;  // of each entry, kNoNode as long as it has none
    std::unordered_map<VOWString, unsigned> m_mapGone;
    std::vector<VOWString>* m_pvecMore;
    bool m_bListChanged = false;
};

bool SourceIndex::Compare(const VOWString& strFolder, const FolderHints& kHints, Changes* pkChanges,
                          std::vector<VOWString>* pvecMore, std::string* pstrError)
{
    if (!HasFolder(strFolder))
    {
        return true;
    }
    const unsigned uFolder = _FindNode(strFolder);
    const PendingFolder kFolder{uFolder, strFolder, _RootsOf(_Node(uFolder))};
    std::vector<IndexEntry> vecEntries;
    std::string strReason;
    if (!m_pkLister->List(strFolder, kFolder.uRoots, &vecEntries, &strReason))
    {
        _SetUnread(strFolder, true, strReason);
        return true;
    }
    _NoteVague(strFolder, true, vecEntries);
    if (vecEntries.empty() && !strFolder.empty())
    {
        // It may be gone itself.
        pvecMore->push_back(ParentPath(strFolder));
    }
    return Comparison(this, kFolder, std::move(vecEntries), pkChanges, pvecMore).Run(kHints, pstrError);
}

// The entry of a name, or the number of entries. One that is refused is none.
size_t SourceIndex::Comparison::_Find(const VOWString& strName) const
{
    const auto itEnd = m_vecEntries.end();
    auto itEntry =
        std::lower_bound(m_vecEntries.begin(), itEnd, strName,
                         [](const IndexEntry& kEntry, const VOWString& str) { return kEntry.strName < str; });
    while (itEntry != itEnd && itEntry->strName == strName && !itEntry->strRefusal.empty())
    {
        ++itEntry;
    }
    return static_cast<size_t>((itEntry != itEnd && itEntry->strName == strName ? itEntry : itEnd) -
                               m_vecEntries.begin());
}

// What stays under its name. What couldn't be looked at is taken for what it was.
void SourceIndex::Comparison::_Match(const std::set<VOWString>& setWritten)
{
    for (const unsigned uChild : m_rkIndex._ChildrenOf(m_kFolder.uAssetID))
    {
        m_mapGone.emplace(m_rkIndex._NameOf(m_rkIndex._Node(uChild)), uChild);
    }
    for (size_t i = 0; i < m_vecEntries.size(); ++i)
    {
        const IndexEntry& kEntry = m_vecEntries[i];
        const auto itKnown = kEntry.strRefusal.empty() ? m_mapGone.find(kEntry.strName) : m_mapGone.end();
        if (itKnown != m_mapGone.end() &&
            (!kEntry.bDescribed || (m_rkIndex._IsFolder(itKnown->second) == kEntry.bFolder &&
                                    _Follow(kEntry, itKnown->second, setWritten.contains(kEntry.strName)))))
        {
            m_vecNodes[i] = itKnown->second;
            m_mapGone.erase(itKnown);
        }
    }
}

// Brings a node up to date with its entry. False when it has to be made anew, because the library can't take back what
// the node says.
bool SourceIndex::Comparison::_Follow(const IndexEntry& kEntry, unsigned uNode, bool bWritten)
{
    const VOWString strPath = _PathOf(kEntry.strName);
    const structAssetNode kNode = m_rkIndex._Node(uNode);
    const bool bOtherRoots = m_rkIndex.m_bMergeSign && kNode.uAssetMerge != kEntry.uRoots;
    if (bOtherRoots && m_rkIndex.m_pkLister->OtherRoot(kEntry.uRoots).empty() &&
        kNode.hStrPhysicsPath != INVALID_HANDLE_VALUE)
    {
        return false;
    }
    const bool bTimes = kNode.ftLastWriteTime != kEntry.nWriteTime || kNode.ftCreateTime != kEntry.nCreateTime;
    const bool bOther = kNode.ullFileSize != kEntry.ullSize || kNode.nFileAttribute != kEntry.uAttribute || bOtherRoots;
    // The status changes with the mode as well, so that it counts only where a write is known of; until then it stays
    // as it was, for a hint that is still to come.
    const auto [uFraction, uStatus] = m_rkIndex.m_vecStamps[uNode];
    const bool bRewritten = uFraction != kEntry.uWriteFraction || (bWritten && uStatus != kEntry.uStatusStamp);
    m_rkIndex.m_bChanged = m_rkIndex.m_bChanged || bOther || bTimes;
    if (bOther || bTimes || bRewritten)
    {
        m_rkIndex._SetAttributes(uNode, strPath, kEntry);
    }
    if (bOther || (!kEntry.bFolder && (bTimes || bRewritten)))
    {
        m_rkIndex._Changed(ChangeKind::Modified, kEntry.bFolder, strPath, kEntry.uRoots);
    }
    if (bOtherRoots && kEntry.bFolder)
    {
        m_pvecMore->push_back(strPath);
    }
    return true;
}

// Renames that no hint has told of, or not yet: the one that has gone and the one that came which look the same. A time
// of whole seconds may be what an archive has given to many files.
Renames SourceIndex::Comparison::_RenamesByTheLook() const
{
    typedef std::tuple<bool, uint64_t, int64_t, int64_t, uint32_t> Look;
    std::map<Look, std::pair<std::vector<VOWString>, std::vector<VOWString>>> mapLooks;
    for (const auto& [strName, uNode] : m_mapGone)
    {
        const structAssetNode kNode = m_rkIndex._Node(uNode);
        const Look kLook(kNode.bFolder != 0, kNode.ullFileSize, kNode.ftCreateTime, kNode.ftLastWriteTime,
                         m_rkIndex.m_vecStamps[uNode].first);
        mapLooks[kLook].first.push_back(strName);
    }
    for (size_t i = 0; i < m_vecEntries.size() && !mapLooks.empty(); ++i)
    {
        const IndexEntry& kEntry = m_vecEntries[i];
        if (m_vecNodes[i] == kNoNode && kEntry.bDescribed && kEntry.strRefusal.empty() && kEntry.uWriteFraction != 0)
        {
            const auto itLook = mapLooks.find(
                Look(kEntry.bFolder, kEntry.ullSize, kEntry.nCreateTime, kEntry.nWriteTime, kEntry.uWriteFraction));
            if (itLook != mapLooks.end())
            {
                itLook->second.second.push_back(kEntry.strName);
            }
        }
    }
    Renames vecRenames;
    for (const auto& [kLook, kNames] : mapLooks)
    {
        if (kNames.first.size() == 1 && kNames.second.size() == 1)
        {
            vecRenames.emplace_back(kNames.first[0], kNames.second[0]);
        }
    }
    return vecRenames;
}

// What stays under another name. A rename keeps the node, and all below it, where they can have their new paths;
// otherwise it is a removal and an addition.
// Below a folder of which nobody told, hints may have come under either name.
void SourceIndex::Comparison::_FollowRenames(const Renames& vecRenames, bool bGuessed)
{
    for (const auto& [strOld, strNew] : vecRenames)
    {
        const auto itOld = m_mapGone.find(strOld);
        const size_t uNew = _Find(strNew);
        if (itOld == m_mapGone.end() || uNew == m_vecEntries.size())
        {
            continue;
        }
        const IndexEntry& kEntry = m_vecEntries[uNew];
        unsigned& ruNode = m_vecNodes[uNew];
        if (ruNode != kNoNode && m_rkIndex._IsFolder(ruNode))
        {
            // A folder that was moved onto another one may hold anything.
            _LookBelow(strNew, ruNode);
        }
        else if (ruNode == kNoNode && kEntry.bDescribed && !m_mapGone.contains(strNew) &&
                 m_rkIndex._IsFolder(itOld->second) == kEntry.bFolder && _Rename(strOld, kEntry, itOld->second))
        {
            ruNode = itOld->second;
            m_mapGone.erase(itOld);
            m_bListChanged = true;
            if (bGuessed && kEntry.bFolder)
            {
                _LookBelow(strNew, ruNode);
            }
        }
    }
}

void SourceIndex::Comparison::_LookBelow(const VOWString& strName, unsigned uFolder)
{
    m_pvecMore->push_back(_PathOf(strName));
    m_rkIndex._FoldersBelow(uFolder, _PathOf(strName), m_pvecMore);
}

bool SourceIndex::Comparison::_Rename(const VOWString& strOldName, const IndexEntry& kEntry, unsigned uNode)
{
    const VOWString strOldPath = _PathOf(strOldName);
    const VOWString strNewPath = _PathOf(kEntry.strName);
    const NameParts kParts = PartsOf(kEntry.strName, kEntry.bFolder);
    // Under several roots a node has texts that name them; and a type can't be taken back.
    if (m_rkIndex.m_bMergeSign || !m_rkIndex._CanMove(uNode, strNewPath) ||
        (m_rkIndex._Node(uNode).nClassifyType >= 0 && m_rkIndex._TypeOf(kParts.strExtension).nNumber < 0) ||
        !m_rkIndex._Move(uNode, m_kFolder.strPath, kEntry.strName))
    {
        return false;
    }
    m_rkIndex._SetAttributes(uNode, strNewPath, kEntry);
    m_rkIndex._Changed(ChangeKind::Renamed, kEntry.bFolder, strOldPath, kEntry.uRoots, kEntry.strName);
    if (!kEntry.bFolder)
    {
        m_rkIndex._SetType(uNode, kParts.strExtension);
        return true;
    }
    // What wasn't in the index under the old name may be under the new one.
    for (const VOWString& strAgain : m_rkIndex._Forget(strOldPath))
    {
        m_pvecMore->push_back(strNewPath + strAgain.substr(strOldPath.size()));
    }
    return true;
}

// What this comparison of a folder has to leave out again, or it isn't left out any more. Of what stays in the folder,
// the contents are its own comparison's matter.
void SourceIndex::Comparison::_DoubtLeftOut()
{
    std::map<VOWString, std::string>& rmapLeftOut = m_rkIndex.m_mapLeftOut;
    const VOWString strPrefix = m_kFolder.strPath.empty() ? VOWString() : m_kFolder.strPath + VOTEXT("/");
    auto itLeftOut = rmapLeftOut.lower_bound(strPrefix);
    while (itLeftOut != rmapLeftOut.end() && itLeftOut->first.starts_with(strPrefix))
    {
        const auto itNext = std::next(itLeftOut);
        const VOWString strRest = itLeftOut->first.substr(strPrefix.size());
        const size_t uSlash = strRest.find(VOWCHAR('/'));
        const size_t uEntry = uSlash != VOWString::npos ? _Find(strRest.substr(0, uSlash)) : m_vecEntries.size();
        if (uEntry == m_vecEntries.size() || m_vecNodes[uEntry] == kNoNode)
        {
            m_rkIndex.m_mapDoubted.insert(rmapLeftOut.extract(itLeftOut));
        }
        itLeftOut = itNext;
    }
}

bool SourceIndex::Comparison::_RemoveGone()
{
    for (const auto& [strName, uNode] : m_mapGone)
    {
        const VOWString strPath = _PathOf(strName);
        m_bListChanged = true;
        _TellGone(strPath, uNode);
        m_rkIndex.m_pkContainer->RemoveAssetNode(uNode);
        m_rkIndex._Forget(strPath);
        if (!m_rkIndex._SettleOrphans())
        {
            return false;
        }
    }
    return true;
}

// Tells of a subtree from the inside out, as it is undone, and takes it off its keys.
void SourceIndex::Comparison::_TellGone(const VOWString& strPath, unsigned uNode)
{
    const structAssetNode kNode = m_rkIndex._Node(uNode);
    if (kNode.bFolder != 0)
    {
        for (const unsigned uChild : m_rkIndex._ChildrenOf(uNode))
        {
            _TellGone(JoinPath(strPath, m_rkIndex._NameOf(m_rkIndex._Node(uChild))), uChild);
        }
    }
    --m_rkIndex.m_uNodes;
    m_rkIndex._Unlink(uNode);
    m_rkIndex._Changed(ChangeKind::Removed, kNode.bFolder != 0, strPath, m_rkIndex._RootsOf(kNode));
}

bool SourceIndex::Comparison::_Enter()
{
    const unsigned uBefore = m_rkIndex.m_uNodes;
    if (!m_rkIndex._EnterEntries(m_kFolder, m_vecEntries, &m_vecNodes))
    {
        return false;
    }
    if (!m_bListChanged && m_rkIndex.m_uNodes == uBefore)
    {
        return true;
    }
    m_rkIndex.m_ullDropped += m_vecNodes.size();
    m_rkIndex.m_bChanged = true;
    return m_rkIndex._SetChildren(m_kFolder.uAssetID, std::move(m_vecNodes));
}

}  // namespace lum
