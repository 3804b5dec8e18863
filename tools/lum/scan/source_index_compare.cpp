// How an index follows its source: one folder at a time is listed again and compared.
#include <algorithm>

#include "base/text.h"
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

// The live node under a key form, or kNoNode.
unsigned SourceIndex::_FindKey(const VOWString& strForm) const
{
    const std::optional<VOWString> strText = LookupText(m_strRoot, strForm);
    structAssetNode kNode;
    return strText && m_pkContainer->FindAssetNode(strText->c_str(), kNode) != 0 ? kNode.nAssetID : kNoNode;
}

// The node of exactly this path, or kNoNode.
unsigned SourceIndex::_FindNode(const VOWString& strPath) const
{
    if (strPath.empty())
    {
        return 0;
    }
    const unsigned uPlain = _FindKey(strPath);
    if (uPlain != kNoNode && _PathOf(uPlain) == strPath)
    {
        return uPlain;
    }
    const unsigned uExact = _FindKey(ExactCaseForm(strPath));
    return uExact != kNoNode && _PathOf(uExact) == strPath ? uExact : kNoNode;
}

std::vector<VOWString> SourceIndex::Folders() const
{
    std::vector<VOWString> vecFolders;
    std::vector<unsigned> vecPending{0};
    while (!vecPending.empty())
    {
        const unsigned uFolder = vecPending.back();
        vecPending.pop_back();
        vecFolders.push_back(uFolder == 0 ? VOWString() : _PathOf(uFolder));
        const unsigned uInfo = _Node(uFolder).nChildFolderInfo;
        if (uInfo != static_cast<unsigned>(-1))
        {
            m_pkContainer->GetInfoNumberList(uInfo, vecPending);
        }
    }
    return vecFolders;
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

bool SourceIndex::Compare(const VOWString& strFolder, const FolderHints& kHints, std::vector<IndexChange>* pvecChanges,
                          std::vector<VOWString>* pvecMore, std::string* pstrError)
{
    const unsigned uFolder = _FindNode(strFolder);
    const structAssetNode kFolder = uFolder != kNoNode ? _Node(uFolder) : structAssetNode();
    if (uFolder == kNoNode || kFolder.bFolder == 0)
    {
        return true;
    }
    const uint32_t uRoots = m_bMergeSign ? kFolder.uAssetMerge : 1;
    std::vector<IndexEntry> vecEntries;
    if (!m_pkLister->List(strFolder, uRoots, &vecEntries, &m_vecNotIndexed, pstrError))
    {
        return false;
    }
    if (vecEntries.empty() && !strFolder.empty())
    {
        // It may be gone itself.
        pvecMore->push_back(ParentPath(strFolder));
    }
    m_pvecChanges = pvecChanges;

    // What has left the folder; what stays is taken out of it.
    Children kGone;
    for (const unsigned uChild : _ChildrenOf(uFolder))
    {
        kGone.emplace(_NameOf(_Node(uChild)), uChild);
    }
    const size_t uBefore = kGone.size();
    Children kThere;
    std::vector<const IndexEntry*> vecNew;
    for (const IndexEntry& kEntry : vecEntries)
    {
        const auto itKnown = kGone.find(kEntry.strName);
        if (!kEntry.strRefusal.empty())
        {
            continue;
        }
        if (itKnown == kGone.end() || (_Node(itKnown->second).bFolder != 0) != kEntry.bFolder ||
            !_Follow(JoinPath(strFolder, kEntry.strName), kEntry, itKnown->second,
                     kHints.setWritten.contains(kEntry.strName), pvecMore))
        {
            vecNew.push_back(&kEntry);
            continue;
        }
        kThere.emplace(*itKnown);
        kGone.erase(itKnown);
    }

    // A rename keeps the node, and all below it, where their new paths are free; otherwise it is a removal and an
    // addition.
    for (const auto& [strOld, strNew] : WholeRenames(kHints.vecRenamed))
    {
        const auto itOld = kGone.find(strOld);
        const auto itNew =
            std::find_if(vecNew.begin(), vecNew.end(),
                         [&strNew = strNew](const IndexEntry* pkEntry) { return pkEntry->strName == strNew; });
        if (itOld == kGone.end() || itNew == vecNew.end() || (_Node(itOld->second).bFolder != 0) != (*itNew)->bFolder ||
            kGone.contains(strNew) || !_Rename(strFolder, strOld, **itNew, itOld->second))
        {
            continue;
        }
        kThere.emplace(strNew, itOld->second);
        if ((*itNew)->bFolder)
        {
            pvecMore->push_back(JoinPath(strFolder, strNew));
        }
        kGone.erase(itOld);
        vecNew.erase(itNew);
    }

    const bool bListChanged =
        !kGone.empty() || !vecNew.empty() || kThere.size() != uBefore || !kHints.vecRenamed.empty();
    for (const auto& [strName, uChild] : kGone)
    {
        _Remove(JoinPath(strFolder, strName), uChild);
    }
    const PendingFolder kPlace{uFolder, strFolder, uRoots};
    bool bFull = false;
    for (const IndexEntry* pkEntry : vecNew)
    {
        const size_t uLeftOut = m_vecNotIndexed.size();
        unsigned uChild = 0;
        if (_EnterNode(kPlace, *pkEntry, &uChild))
        {
            kThere.emplace(pkEntry->strName, uChild);
        }
        else
        {
            bFull = bFull || m_vecNotIndexed.size() == uLeftOut;
        }
    }
    if (bFull || (bListChanged && !_SetChildren(uFolder, vecEntries, kThere)))
    {
        m_vecPending.clear();
        *pstrError = "the index is full";
    }
    const bool bEntered = !bFull && _EnterPending(nullptr, pstrError);
    m_pvecChanges = nullptr;
    return bEntered;
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
    return m_pkContainer->SetAssetNodeChildIndex(uAssetID, vecChildren) != 0;
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

// Tells of a subtree from the inside out, as it is undone.
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
    _Changed(ChangeKind::Removed, bFolder, strPath, m_bMergeSign ? kNode.uAssetMerge : 1);
}

void SourceIndex::_Remove(const VOWString& strPath, unsigned uAssetID)
{
    _TellGone(strPath, uAssetID);
    m_pkContainer->RemoveAssetNode(uAssetID);
}

bool SourceIndex::_Rename(const VOWString& strFolder, const VOWString& strOldName, const IndexEntry& kEntry,
                          unsigned uAssetID)
{
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
    _Changed(ChangeKind::Renamed, kEntry.bFolder, JoinPath(strFolder, strOldName), kEntry.uRoots, kEntry.strName);
    return true;
}

// Whether every path of a subtree is free under its new name, and can be in the index.
bool SourceIndex::_CanMove(unsigned uAssetID, const VOWString& strNewPath) const
{
    if (!LookupText(m_strRoot, strNewPath) || _FindKey(strNewPath) != kNoNode)
    {
        return false;
    }
    if (_Node(uAssetID).bFolder == 0)
    {
        return true;
    }
    const std::vector<unsigned> vecChildren = _ChildrenOf(uAssetID);
    return std::all_of(vecChildren.begin(), vecChildren.end(),
                       [&](unsigned uChild) { return _CanMove(uChild, JoinPath(strNewPath, _NameOf(_Node(uChild)))); });
}

// Gives a node, and all below it, the keys and names of a new place.
bool SourceIndex::_Move(unsigned uAssetID, const VOWString& strNewFolder, const VOWString& strNewName)
{
    const VOWString strNewPath = JoinPath(strNewFolder, strNewName);
    const bool bFolder = _Node(uAssetID).bFolder != 0;
    const NameParts kParts = bFolder ? NameParts{strNewName, VOWString()} : SplitFileName(strNewName);
    bool bMoved = m_pkContainer->RedirectAssetNode(uAssetID, LookupText(m_strRoot, strNewPath)->c_str()) != 0 &&
                  _SetNames(uAssetID, strNewFolder, kParts);
    if (bFolder)
    {
        for (const unsigned uChild : _ChildrenOf(uAssetID))
        {
            bMoved = _Move(uChild, strNewPath, _NameOf(_Node(uChild))) && bMoved;
        }
    }
    return bMoved;
}

}  // namespace lum
