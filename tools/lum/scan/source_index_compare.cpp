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
                                           [&strOld = strOld](const auto& whole) { return whole.second == strOld; });
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
    // pNames: what alone is compared, and of which the entries are; null for the whole folder. It outlives this object.
    Comparison(SourceIndex* pIndex, const PendingFolder& folder, const std::set<VOWString>* pNames,
               std::vector<IndexEntry> vecEntries, Changes* pChanges, std::vector<VOWString>* pvecMore)
        : m_index(*pIndex),
          m_folder(folder),
          m_pNames(pNames),
          m_vecEntries(std::move(vecEntries)),
          m_vecNodes(m_vecEntries.size(), kNoNode),
          m_pvecMore(pvecMore)
    {
        m_index.m_pChanges = pChanges;
    }

    // However it ended, nothing of it is left for the next one.
    ~Comparison()
    {
        m_index.m_vecPending.clear();
        m_index.m_mapDoubted.clear();
        m_index.m_pChanges = nullptr;
    }

    Comparison(const Comparison&) = delete;
    Comparison& operator=(const Comparison&) = delete;

    // False with a message when the index is full.
    bool Run(const FolderHints& hints, std::string* pstrError)
    {
        _Match(hints.setWritten);
        _FollowRenames(WholeRenames(hints.vecRenamed), false);
        _FollowRenames(_RenamesByTheLook(), true);
        _DoubtLeftOut();
        if (!m_index._SettleOrphans() || !_RemoveGone() || !_Enter())
        {
            *pstrError = "the index is full";
            return false;
        }
        return m_index._EnterPending(nullptr, pstrError);
    }

private:
    VOWString _PathOf(const VOWString& strName) const { return JoinPath(m_folder.strPath, strName); }
    size_t _Find(const VOWString& strName) const;
    void _Match(const std::set<VOWString>& setWritten);
    bool _Follow(const IndexEntry& entry, unsigned uNode, bool bWritten);
    Renames _RenamesByTheLook() const;
    void _FollowRenames(const Renames& vecRenames, bool bGuessed);
    void _LookBelow(const VOWString& strName, unsigned uFolder);
    bool _Rename(const VOWString& strOldName, const IndexEntry& entry, unsigned uNode);
    void _DoubtLeftOut();
    bool _RemoveGone();
    void _TellGone(const VOWString& strPath, unsigned uNode);
    bool _Enter();

    SourceIndex& m_index;
    PendingFolder m_folder;
    const std::set<VOWString>* m_pNames;
    std::vector<IndexEntry> m_vecEntries;
    std::vector<unsigned> m_vecNodes;  // of each entry, kNoNode as long as it has none
    std::unordered_map<VOWString, unsigned> m_mapGone;
    std::vector<VOWString>* m_pvecMore;
    std::set<unsigned> m_setStaying;  // nodes that stand where they stood; of the names that are compared
    bool m_bListChanged = false;
};

bool SourceIndex::Compare(const VOWString& strFolder, const FolderHints& hints, Changes* pChanges,
                          std::vector<VOWString>* pvecMore, std::string* pstrError)
{
    if (!HasFolder(strFolder))
    {
        return true;
    }
    const unsigned uFolder = _FindNode(strFolder);
    const PendingFolder folder{uFolder, strFolder, _RootsOf(_Node(uFolder))};
    std::vector<IndexEntry> vecEntries;
    std::string strReason;
    const std::set<VOWString> setNames = hints.bMore || IsUnread(strFolder) ? std::set<VOWString>() : hints.Names();
    if (!setNames.empty() && _ListNames(folder, setNames, &vecEntries))
    {
        return Comparison(this, folder, &setNames, std::move(vecEntries), pChanges, pvecMore).Run(hints, pstrError);
    }
    if (!m_pLister->List(strFolder, folder.uRoots, &vecEntries, &strReason))
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
    return Comparison(this, folder, nullptr, std::move(vecEntries), pChanges, pvecMore).Run(hints, pstrError);
}

// What a listing would have under these names. False when a listing has to tell.
bool SourceIndex::_ListNames(const PendingFolder& folder, const std::set<VOWString>& setNames,
                             std::vector<IndexEntry>* pvecEntries) const
{
    std::vector<IndexEntry> vecOne;
    for (const VOWString& strName : setNames)
    {
        if (!m_pLister->ListOne(folder.strPath, strName, folder.uRoots, &vecOne))
        {
            return false;
        }
        pvecEntries->insert(pvecEntries->end(), std::make_move_iterator(vecOne.begin()),
                            std::make_move_iterator(vecOne.end()));
    }
    return true;
}

// The entry of a name, or the number of entries. One that is refused is none.
size_t SourceIndex::Comparison::_Find(const VOWString& strName) const
{
    const auto itEnd = m_vecEntries.end();
    auto itEntry = std::lower_bound(m_vecEntries.begin(), itEnd, strName,
                                    [](const IndexEntry& entry, const VOWString& str) { return entry.strName < str; });
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
    if (m_pNames != nullptr)
    {
        for (const VOWString& strName : *m_pNames)
        {
            const unsigned uKnown = m_index._FindNode(_PathOf(strName));
            if (uKnown != kNoNode)
            {
                m_mapGone.emplace(strName, uKnown);
            }
        }
    }
    else
    {
        for (const unsigned uChild : m_index._ChildrenOf(m_folder.uAssetID))
        {
            m_mapGone.emplace(m_index._NameOf(m_index._Node(uChild)), uChild);
        }
    }
    for (size_t i = 0; i < m_vecEntries.size(); ++i)
    {
        const IndexEntry& entry = m_vecEntries[i];
        const auto itKnown = entry.strRefusal.empty() ? m_mapGone.find(entry.strName) : m_mapGone.end();
        if (itKnown != m_mapGone.end() &&
            (!entry.bDescribed || (m_index._IsFolder(itKnown->second) == entry.bFolder &&
                                   _Follow(entry, itKnown->second, setWritten.contains(entry.strName)))))
        {
            m_vecNodes[i] = itKnown->second;
            m_setStaying.insert(itKnown->second);
            m_mapGone.erase(itKnown);
        }
    }
}

// Brings a node up to date with its entry. False when it has to be made anew, because the library can't take back what
// the node says.
bool SourceIndex::Comparison::_Follow(const IndexEntry& entry, unsigned uNode, bool bWritten)
{
    const VOWString strPath = _PathOf(entry.strName);
    const structAssetNode node = m_index._Node(uNode);
    const bool bOtherRoots = m_index.m_bMergeSign && node.uAssetMerge != entry.uRoots;
    if (bOtherRoots && m_index.m_pLister->OtherRoot(entry.uRoots).empty() &&
        node.hStrPhysicsPath != INVALID_HANDLE_VALUE)
    {
        return false;
    }
    const bool bTimes = node.ftLastWriteTime != entry.nWriteTime || node.ftCreateTime != entry.nCreateTime;
    const bool bOther = node.ullFileSize != entry.ullSize || node.nFileAttribute != entry.uAttribute || bOtherRoots;
    // The status changes with the mode as well, so that it counts only where a write is known of; until then it stays
    // as it was, for a hint that is still to come.
    const auto [uFraction, uStatus] = m_index.m_vecStamps[uNode];
    const bool bRewritten = uFraction != entry.uWriteFraction || (bWritten && uStatus != entry.uStatusStamp);
    m_index.m_bChanged = m_index.m_bChanged || bOther || bTimes;
    if (bOther || bTimes || bRewritten)
    {
        m_index._SetAttributes(uNode, strPath, entry);
    }
    if (bOther || (!entry.bFolder && (bTimes || bRewritten)))
    {
        m_index._Changed(ChangeKind::Modified, entry.bFolder, strPath, entry.uRoots);
    }
    if (bOtherRoots && entry.bFolder)
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
        const structAssetNode node = m_index._Node(uNode);
        // Values: the record's fields are packed, and a reference to one may be misaligned.
        const auto nCreated = static_cast<int64_t>(node.ftCreateTime);
        const auto nWritten = static_cast<int64_t>(node.ftLastWriteTime);
        const auto ullSize = static_cast<uint64_t>(node.ullFileSize);
        const Look look(node.bFolder != 0, ullSize, nCreated, nWritten, m_index.m_vecStamps[uNode].first);
        mapLooks[look].first.push_back(strName);
    }
    for (size_t i = 0; i < m_vecEntries.size() && !mapLooks.empty(); ++i)
    {
        const IndexEntry& entry = m_vecEntries[i];
        if (m_vecNodes[i] == kNoNode && entry.bDescribed && entry.strRefusal.empty() && entry.uWriteFraction != 0)
        {
            const auto itLook = mapLooks.find(
                Look(entry.bFolder, entry.ullSize, entry.nCreateTime, entry.nWriteTime, entry.uWriteFraction));
            if (itLook != mapLooks.end())
            {
                itLook->second.second.push_back(entry.strName);
            }
        }
    }
    Renames vecRenames;
    for (const auto& [look, names] : mapLooks)
    {
        if (names.first.size() == 1 && names.second.size() == 1)
        {
            vecRenames.emplace_back(names.first[0], names.second[0]);
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
        const IndexEntry& entry = m_vecEntries[uNew];
        unsigned& uNode = m_vecNodes[uNew];
        if (uNode != kNoNode && m_index._IsFolder(uNode))
        {
            // A folder that was moved onto another one may hold anything.
            _LookBelow(strNew, uNode);
        }
        else if (uNode == kNoNode && entry.bDescribed && !m_mapGone.contains(strNew) &&
                 m_index._IsFolder(itOld->second) == entry.bFolder && _Rename(strOld, entry, itOld->second))
        {
            uNode = itOld->second;
            m_mapGone.erase(itOld);
            m_bListChanged = true;
            if (bGuessed && entry.bFolder)
            {
                _LookBelow(strNew, uNode);
            }
        }
    }
}

void SourceIndex::Comparison::_LookBelow(const VOWString& strName, unsigned uFolder)
{
    m_pvecMore->push_back(_PathOf(strName));
    m_index._FoldersBelow(uFolder, _PathOf(strName), m_pvecMore);
}

bool SourceIndex::Comparison::_Rename(const VOWString& strOldName, const IndexEntry& entry, unsigned uNode)
{
    const VOWString strOldPath = _PathOf(strOldName);
    const VOWString strNewPath = _PathOf(entry.strName);
    const NameParts parts = PartsOf(entry.strName, entry.bFolder);
    // Under several roots a node has texts that name them; and a type can't be taken back.
    if (m_index.m_bMergeSign || !m_index._CanMove(uNode, strNewPath) ||
        (m_index._Node(uNode).nClassifyType >= 0 && m_index._TypeOf(parts.strExtension).nNumber < 0) ||
        !m_index._Move(uNode, m_folder.strPath, entry.strName))
    {
        return false;
    }
    if (m_pNames != nullptr)
    {
        // It gets its new place with what is entered.
        m_index.m_pContainer->RemoveAssetNodeChildIndex(m_folder.uAssetID, uNode);
    }
    m_index._SetAttributes(uNode, strNewPath, entry);
    m_index._Changed(ChangeKind::Renamed, entry.bFolder, strOldPath, entry.uRoots, entry.strName);
    if (!entry.bFolder)
    {
        m_index._SetType(uNode, parts.strExtension);
        return true;
    }
    // What wasn't in the index under the old name may be under the new one.
    for (const VOWString& strAgain : m_index._Forget(strOldPath))
    {
        m_pvecMore->push_back(strNewPath + strAgain.substr(strOldPath.size()));
    }
    return true;
}

// What this comparison of a folder has to leave out again, or it isn't left out any more. Of what stays in the folder,
// the contents are its own comparison's matter.
void SourceIndex::Comparison::_DoubtLeftOut()
{
    std::map<VOWString, std::string>& mapLeftOut = m_index.m_mapLeftOut;
    const VOWString strPrefix = m_folder.strPath.empty() ? VOWString() : m_folder.strPath + VOTEXT("/");
    auto itLeftOut = mapLeftOut.lower_bound(strPrefix);
    while (itLeftOut != mapLeftOut.end() && itLeftOut->first.starts_with(strPrefix))
    {
        const auto itNext = std::next(itLeftOut);
        const VOWString strRest = itLeftOut->first.substr(strPrefix.size());
        const size_t uSlash = strRest.find(VOWCHAR('/'));
        const VOWString strName = strRest.substr(0, uSlash);
        const size_t uEntry = uSlash != VOWString::npos ? _Find(strName) : m_vecEntries.size();
        if (m_pNames != nullptr && !m_pNames->contains(strName))
        {
            // Nothing is known of it.
        }
        else if (uEntry == m_vecEntries.size() || m_vecNodes[uEntry] == kNoNode)
        {
            m_index.m_mapDoubted.insert(mapLeftOut.extract(itLeftOut));
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
        m_index.m_pContainer->RemoveAssetNode(uNode);
        m_index._Forget(strPath);
        if (!m_index._SettleOrphans())
        {
            return false;
        }
    }
    return true;
}

// Tells of a subtree from the inside out, as it is undone, and takes it off its keys.
void SourceIndex::Comparison::_TellGone(const VOWString& strPath, unsigned uNode)
{
    const structAssetNode node = m_index._Node(uNode);
    if (node.bFolder != 0)
    {
        for (const unsigned uChild : m_index._ChildrenOf(uNode))
        {
            _TellGone(JoinPath(strPath, m_index._NameOf(m_index._Node(uChild))), uChild);
        }
    }
    --m_index.m_uNodes;
    m_index._Unlink(uNode);
    m_index._Changed(ChangeKind::Removed, node.bFolder != 0, strPath, m_index._RootsOf(node));
}

bool SourceIndex::Comparison::_Enter()
{
    const unsigned uBefore = m_index.m_uNodes;
    if (!m_index._EnterEntries(m_folder, m_vecEntries, &m_vecNodes))
    {
        return false;
    }
    if (!m_bListChanged && m_index.m_uNodes == uBefore)
    {
        return true;
    }
    m_index.m_bChanged = true;
    if (m_pNames != nullptr)
    {
        std::erase_if(m_vecNodes, [this](unsigned uNode) { return m_setStaying.contains(uNode); });
        return m_index._AddChildren(m_folder.uAssetID, m_vecNodes);
    }
    m_index.m_ullDropped += m_vecNodes.size();
    return m_index._SetChildren(m_folder.uAssetID, m_vecNodes);
}

}  // namespace lum
