// How an index follows its source: one folder at a time is listed again and compared.
#include <algorithm>
#include <iterator>
#include <utility>

#include "base/text.h"
#include "platform/fault_points.h"
#include "scan/source_index.h"
#include "vo_utility.h"

using namespace LUMTrayService;

namespace lum
{

namespace
{

// A container that holds this much of what is gone, and as much as is live, is worn.
constexpr unsigned long long kWornAtLeast = 50000;

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

std::vector<unsigned> SourceIndex::_ChildrenOf(unsigned uAssetID) const
{
    const structAssetNode kNode = _Node(uAssetID);
    std::vector<unsigned> vecChildren;
    for (const unsigned uInfo : {kNode.nChildFileInfo, kNode.nChildFolderInfo})
    {
        if (uInfo != static_cast<unsigned>(-1))
        {
            m_pkContainer->GetInfoNumberList(uInfo, vecChildren);
        }
    }
    return vecChildren;
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
        std::vector<unsigned> vecChildren;
        const unsigned uInfo = _Node(uParent).nChildFolderInfo;
        if (uInfo != static_cast<unsigned>(-1))
        {
            m_pkContainer->GetInfoNumberList(uInfo, vecChildren);
        }
        for (const unsigned uChild : vecChildren)
        {
            pvecFolders->push_back(JoinPath(strParent, _NameOf(_Node(uChild))));
            vecPending.emplace_back(uChild, pvecFolders->back());
        }
    }
}

bool SourceIndex::HasFolder(const VOWString& strFolder) const
{
    const unsigned uFolder = _FindNode(strFolder);
    return uFolder != kNoNode && _Node(uFolder).bFolder != 0;
}

bool SourceIndex::IsWorn() const
{
    const unsigned long long ullGone = m_pkContainer->GetAssetNodeCount() - m_uNodes + m_ullDropped;
    return ullGone > kWornAtLeast && ullGone > m_uNodes;
}

bool SourceIndex::Compare(const VOWString& strFolder, const FolderHints& kHints, Changes* pkChanges,
                          std::vector<VOWString>* pvecMore, std::string* pstrError)
{
    const unsigned uFolder = _FindNode(strFolder);
    const structAssetNode kFolder = uFolder != kNoNode ? _Node(uFolder) : structAssetNode();
    if (uFolder == kNoNode || kFolder.bFolder == 0)
    {
        return true;
    }
    Comparison kComparison;
    kComparison.kFolder = {uFolder, strFolder, m_bMergeSign ? kFolder.uAssetMerge : 1};
    std::vector<IndexEntry> vecEntries;
    std::string strReason;
    if (!m_pkLister->List(strFolder, kComparison.kFolder.uRoots, &vecEntries, &strReason))
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

    m_pkChanges = pkChanges;
    for (const unsigned uChild : _ChildrenOf(uFolder))
    {
        kComparison.kGone.emplace(_NameOf(_Node(uChild)), uChild);
    }
    const size_t uBefore = kComparison.kGone.size();
    _Match(vecEntries, kHints, &kComparison, pvecMore);
    _FollowRenames(kHints, &kComparison, pvecMore);
    const bool bListChanged = !kComparison.kGone.empty() || !kComparison.vecNew.empty() ||
                              kComparison.kThere.size() != uBefore || !kHints.vecRenamed.empty();
    _DoubtLeftOut(kComparison);
    const bool bCompared = _SettleOrphans() && _RemoveGone(kComparison) && _EnterNew(vecEntries, &kComparison) &&
                           (!bListChanged || _SetChildren(uFolder, vecEntries, kComparison.kThere)) &&
                           _EnterPending(nullptr, pstrError);
    m_vecPending.clear();
    m_mapDoubted.clear();
    m_pkChanges = nullptr;
    if (!bCompared && pstrError->empty())
    {
        *pstrError = "the index is full";
    }
    return bCompared;
}

// Takes what stays out of what has left the folder, and follows it.
void SourceIndex::_Match(const std::vector<IndexEntry>& vecEntries, const FolderHints& kHints, Comparison* pkComparison,
                         std::vector<VOWString>* pvecMore)
{
    for (const IndexEntry& kEntry : vecEntries)
    {
        if (!kEntry.strRefusal.empty())
        {
            continue;
        }
        const auto itKnown = pkComparison->kGone.find(kEntry.strName);
        // What couldn't be looked at is taken for what it was.
        const bool bStays =
            itKnown != pkComparison->kGone.end() &&
            (!kEntry.bDescribed || ((_Node(itKnown->second).bFolder != 0) == kEntry.bFolder &&
                                    _Follow(JoinPath(pkComparison->kFolder.strPath, kEntry.strName), kEntry,
                                            itKnown->second, kHints.setWritten.contains(kEntry.strName), pvecMore)));
        if (!bStays)
        {
            pkComparison->vecNew.push_back(&kEntry);
            continue;
        }
        pkComparison->kThere.emplace(*itKnown);
        pkComparison->kGone.erase(itKnown);
    }
}

// A rename keeps the node, and all below it, where they can have their new paths; otherwise it is a removal and an
// addition.
void SourceIndex::_FollowRenames(const FolderHints& kHints, Comparison* pkComparison, std::vector<VOWString>* pvecMore)
{
    const VOWString& strFolder = pkComparison->kFolder.strPath;
    std::vector<const IndexEntry*>& rvecNew = pkComparison->vecNew;
    for (const auto& [strOld, strNew] : WholeRenames(kHints.vecRenamed))
    {
        const auto itOld = pkComparison->kGone.find(strOld);
        if (const auto itThere = pkComparison->kThere.find(strNew); itThere != pkComparison->kThere.end())
        {
            // A folder that was moved onto another one may hold anything.
            if (itOld != pkComparison->kGone.end() && _Node(itThere->second).bFolder != 0)
            {
                pvecMore->push_back(JoinPath(strFolder, strNew));
                _FoldersBelow(itThere->second, JoinPath(strFolder, strNew), pvecMore);
            }
            continue;
        }
        const auto itNew =
            std::find_if(rvecNew.begin(), rvecNew.end(),
                         [&strNew = strNew](const IndexEntry* pkEntry) { return pkEntry->strName == strNew; });
        if (itOld == pkComparison->kGone.end() || itNew == rvecNew.end() || !(*itNew)->bDescribed ||
            (_Node(itOld->second).bFolder != 0) != (*itNew)->bFolder || pkComparison->kGone.contains(strNew) ||
            !_Rename(strFolder, strOld, **itNew, itOld->second, pvecMore))
        {
            continue;
        }
        pkComparison->kThere.emplace(strNew, itOld->second);
        pkComparison->kGone.erase(itOld);
        rvecNew.erase(itNew);
    }
}

bool SourceIndex::_RemoveGone(const Comparison& kComparison)
{
    return std::all_of(kComparison.kGone.begin(), kComparison.kGone.end(),
                       [&](const auto& kGone)
                       { return _Remove(JoinPath(kComparison.kFolder.strPath, kGone.first), kGone.second); });
}

// False when the index is full.
bool SourceIndex::_EnterNew(const std::vector<IndexEntry>& vecEntries, Comparison* pkComparison)
{
    for (const IndexEntry& kEntry : vecEntries)
    {
        if (!kEntry.strRefusal.empty())
        {
            _LeaveOut(JoinPath(pkComparison->kFolder.strPath, kEntry.strName), kEntry, kEntry.strRefusal);
        }
    }
    for (const IndexEntry* pkEntry : pkComparison->vecNew)
    {
        unsigned uChild = 0;
        const Entered eEntered = _EnterNode(pkComparison->kFolder, *pkEntry, &uChild);
        if (eEntered == Entered::Refused)
        {
            return false;
        }
        if (eEntered == Entered::Yes)
        {
            pkComparison->kThere.emplace(pkEntry->strName, uChild);
        }
    }
    return true;
}

// The lists keep the order of the names.
bool SourceIndex::_SetChildren(unsigned uAssetID, const std::vector<IndexEntry>& vecEntries, const Children& kChildren)
{
    std::vector<unsigned> vecChildren;
    vecChildren.reserve(kChildren.size());
    for (const IndexEntry& kEntry : vecEntries)
    {
        const auto itChild = kChildren.find(kEntry.strName);
        if (itChild != kChildren.end() && kEntry.strRefusal.empty())
        {
            vecChildren.push_back(itChild->second);
        }
    }
    m_ullDropped += vecChildren.size();
    m_bChanged = true;
    return !VO_FAULT_POINT("index.children") && m_pkContainer->SetAssetNodeChildIndex(uAssetID, vecChildren) != 0;
}

// Brings a node up to date with its entry. False when it has to be made anew, because the library can't take back what
// the node says.
bool SourceIndex::_Follow(const VOWString& strPath, const IndexEntry& kEntry, unsigned uAssetID, bool bWritten,
                          std::vector<VOWString>* pvecMore)
{
    const structAssetNode kNode = _Node(uAssetID);
    const bool bOtherRoots = m_bMergeSign && kNode.uAssetMerge != kEntry.uRoots;
    if (bOtherRoots && m_pkLister->OtherRoot(kEntry.uRoots).empty() && kNode.hStrPhysicsPath != INVALID_HANDLE_VALUE)
    {
        return false;
    }
    const bool bTimes = kNode.ftLastWriteTime != kEntry.nWriteTime || kNode.ftCreateTime != kEntry.nCreateTime;
    const bool bOther = kNode.ullFileSize != kEntry.ullSize || kNode.nFileAttribute != kEntry.uAttribute || bOtherRoots;
    // The status changes with the mode as well, so that it counts only where a write is known of.
    const auto [uFraction, uStatus] = m_vecStamps[uAssetID];
    const bool bRewritten = uFraction != kEntry.uWriteFraction || (bWritten && uStatus != kEntry.uStatusStamp);
    if (bOther || bTimes)
    {
        m_bChanged = true;
    }
    if (bOther || bTimes || bRewritten || uStatus != kEntry.uStatusStamp)
    {
        _SetAttributes(uAssetID, strPath, kEntry);
    }
    if (bOther || (!kEntry.bFolder && (bTimes || bRewritten)))
    {
        _Changed(ChangeKind::Modified, kEntry.bFolder, strPath, kEntry.uRoots);
    }
    if (bOtherRoots && kEntry.bFolder)
    {
        pvecMore->push_back(strPath);
    }
    return true;
}

// Tells of a subtree from the inside out, as it is undone, and takes it off its keys.
void SourceIndex::_TellGone(const VOWString& strPath, unsigned uAssetID)
{
    const structAssetNode kNode = _Node(uAssetID);
    const bool bFolder = kNode.bFolder != 0;
    if (bFolder)
    {
        for (const unsigned uChild : _ChildrenOf(uAssetID))
        {
            _TellGone(JoinPath(strPath, _NameOf(_Node(uChild))), uChild);
        }
    }
    --m_uNodes;
    _Unlink(uAssetID);
    _Changed(ChangeKind::Removed, bFolder, strPath, m_bMergeSign ? kNode.uAssetMerge : 1);
}

bool SourceIndex::_Remove(const VOWString& strPath, unsigned uAssetID)
{
    _TellGone(strPath, uAssetID);
    m_pkContainer->RemoveAssetNode(uAssetID);
    m_mapUnread.erase(strPath);
    std::vector<VOWString> vecForgotten;
    _ForgetBelow(strPath, &vecForgotten);
    return _SettleOrphans();
}

bool SourceIndex::_Rename(const VOWString& strFolder, const VOWString& strOldName, const IndexEntry& kEntry,
                          unsigned uAssetID, std::vector<VOWString>* pvecMore)
{
    const VOWString strOldPath = JoinPath(strFolder, strOldName);
    const VOWString strNewPath = JoinPath(strFolder, kEntry.strName);
    const structAssetNode kNode = _Node(uAssetID);
    const NameParts kParts = kEntry.bFolder ? NameParts{kEntry.strName, VOWString()} : SplitFileName(kEntry.strName);
    // Under several roots a node has texts that name them; and a type can't be taken back.
    if (m_bMergeSign || !_CanMove(uAssetID, strNewPath) ||
        (kNode.nClassifyType >= 0 && _TypeOf(kParts.strExtension).nNumber < 0) ||
        !_Move(uAssetID, strFolder, kEntry.strName))
    {
        return false;
    }
    _SetAttributes(uAssetID, strNewPath, kEntry);
    if (!kEntry.bFolder)
    {
        _SetType(uAssetID, kParts.strExtension);
    }
    _Changed(ChangeKind::Renamed, kEntry.bFolder, strOldPath, kEntry.uRoots, kEntry.strName);
    if (kEntry.bFolder)
    {
        // What wasn't in the index under the old name may be under the new one.
        std::vector<VOWString> vecAgain{strOldPath};
        _ForgetBelow(strOldPath, &vecAgain);
        m_mapUnread.erase(strOldPath);
        for (const VOWString& strAgain : vecAgain)
        {
            pvecMore->push_back(strNewPath + strAgain.substr(strOldPath.size()));
        }
    }
    return true;
}

// What this comparison of a folder has to leave out again, or it isn't left out any more. Of what stays in the folder,
// the contents are its own comparison's matter.
void SourceIndex::_DoubtLeftOut(const Comparison& kComparison)
{
    const VOWString& strFolder = kComparison.kFolder.strPath;
    const VOWString strPrefix = strFolder.empty() ? VOWString() : strFolder + VOTEXT("/");
    auto itLeftOut = m_mapLeftOut.lower_bound(strPrefix);
    while (itLeftOut != m_mapLeftOut.end() && itLeftOut->first.starts_with(strPrefix))
    {
        const auto itNext = std::next(itLeftOut);
        const VOWString strRest = itLeftOut->first.substr(strPrefix.size());
        const size_t uSlash = strRest.find(VOWCHAR('/'));
        if (uSlash == VOWString::npos || !kComparison.kThere.contains(strRest.substr(0, uSlash)))
        {
            m_mapDoubted.insert(m_mapLeftOut.extract(itLeftOut));
        }
        itLeftOut = itNext;
    }
}

// What is known of a folder's contents that aren't in the index, with the folders that it was known of.
void SourceIndex::_ForgetBelow(const VOWString& strFolder, std::vector<VOWString>* pvecForgotten)
{
    const VOWString strPrefix = strFolder + VOTEXT("/");
    auto itLeftOut = m_mapLeftOut.lower_bound(strPrefix);
    while (itLeftOut != m_mapLeftOut.end() && itLeftOut->first.starts_with(strPrefix))
    {
        pvecForgotten->push_back(ParentPath(itLeftOut->first));
        itLeftOut = m_mapLeftOut.erase(itLeftOut);
    }
    auto itUnread = m_mapUnread.lower_bound(strPrefix);
    while (itUnread != m_mapUnread.end() && itUnread->first.starts_with(strPrefix))
    {
        pvecForgotten->push_back(itUnread->first);
        itUnread = m_mapUnread.erase(itUnread);
    }
}

}  // namespace lum
