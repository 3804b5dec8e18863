// Under which keys the nodes of an index are found, and what becomes of the keys when nodes come, go and move.
//
// Of all nodes whose paths differ in case alone, one has the plain key, which every look-up asks for first: without it
// none of them could be found. The others are its twins, each under the exact-case key of its own path. When the holder
// leaves the key, one of its twins gets it.
#include <algorithm>
#include <utility>

#include "scan/source_index.h"

using namespace LUMTrayService;

namespace lum
{

// A node that is there already has another path: one that differs in case, or one that the index can't tell from this
// one. The exact-case key keeps the two apart.
SourceIndex::Requested SourceIndex::_RequestNode(const VOWString& strPath, unsigned* puAssetID)
{
    const Requested ePlain = _RequestKey(strPath, puAssetID);
    if (ePlain != Requested::Known)
    {
        return ePlain;
    }
    const unsigned uHolder = *puAssetID;
    const Requested eExact = _RequestKey(ExactCaseForm(strPath), puAssetID);
    if (eExact == Requested::New)
    {
        _AddTwin(*puAssetID, uHolder);
    }
    return eExact;
}

SourceIndex::Requested SourceIndex::_RequestKey(const VOWString& strForm, unsigned* puAssetID)
{
    const std::optional<VOWString> strText = LookupText(m_strRoot, strForm);
    if (!strText)
    {
        return Requested::TooLong;
    }
    structAssetNode node;
    int nExisted = 0;
    if (m_pContainer->RequestAssetNode(strText->c_str(), node, nExisted) == 0)
    {
        return Requested::Refused;
    }
    *puAssetID = node.nAssetID;
    return nExisted != 0 ? Requested::Known : Requested::New;
}

// The live node under a key form, or kNoNode.
unsigned SourceIndex::_FindKey(const VOWString& strForm) const
{
    const std::optional<VOWString> strText = LookupText(m_strRoot, strForm);
    structAssetNode node;
    return strText && m_pContainer->FindAssetNode(strText->c_str(), node) != 0 ? node.nAssetID : kNoNode;
}

// The node of exactly this path, or kNoNode.
unsigned SourceIndex::_FindNode(const VOWString& strPath) const
{
    if (strPath.empty())
    {
        return 0;
    }
    const unsigned uPlain = _FindKey(strPath);
    if (uPlain == kNoNode || _PathOf(uPlain) == strPath)
    {
        return uPlain;
    }
    const unsigned uExact = _FindKey(ExactCaseForm(strPath));
    return uExact != kNoNode && _PathOf(uExact) == strPath ? uExact : kNoNode;
}

void SourceIndex::_AddTwin(unsigned uTwin, unsigned uHolder)
{
    m_mapHolders[uTwin] = uHolder;
    m_mapTwins[uHolder].push_back(uTwin);
}

// A node is about to leave its key. What it leaves behind is settled by _SettleOrphans.
void SourceIndex::_Unlink(unsigned uAssetID)
{
    m_setOrphans.erase(uAssetID);
    if (const auto itHolder = m_mapHolders.find(uAssetID); itHolder != m_mapHolders.end())
    {
        const auto itGroup = m_mapTwins.find(itHolder->second);
        std::erase(itGroup->second, uAssetID);
        if (itGroup->second.empty())
        {
            m_mapTwins.erase(itGroup);
        }
        m_mapHolders.erase(itHolder);
    }
    if (const auto itTwins = m_mapTwins.find(uAssetID); itTwins != m_mapTwins.end())
    {
        for (const unsigned uTwin : itTwins->second)
        {
            m_mapHolders.erase(uTwin);
            m_setOrphans.insert(uTwin);
        }
        m_mapTwins.erase(itTwins);
    }
}

// Of the twins that a key was left to, the first one gets it, and the others are twins of that one. False when the
// index is full.
bool SourceIndex::_SettleOrphans()
{
    for (const unsigned uOrphan : std::exchange(m_setOrphans, {}))
    {
        const VOWString strPath = _PathOf(uOrphan);
        const unsigned uHolder = _FindKey(strPath);
        if (uHolder != kNoNode && uHolder != uOrphan)
        {
            _AddTwin(uOrphan, uHolder);
        }
        else if (uHolder == kNoNode &&
                 m_pContainer->RedirectAssetNode(uOrphan, LookupText(m_strRoot, strPath)->c_str()) == 0)
        {
            return false;
        }
        m_bChanged = true;
    }
    return true;
}

// Whether every path of a subtree has a key under its new name.
bool SourceIndex::_CanMove(unsigned uAssetID, const VOWString& strNewPath) const
{
    const unsigned uPlain = _FindKey(strNewPath);
    if (!LookupText(m_strRoot, uPlain == kNoNode || uPlain == uAssetID ? strNewPath : ExactCaseForm(strNewPath)))
    {
        return false;
    }
    if (!_IsFolder(uAssetID))
    {
        return true;
    }
    const std::vector<unsigned> vecChildren = _ChildrenOf(uAssetID);
    return std::all_of(vecChildren.begin(), vecChildren.end(),
                       [&](unsigned uChild) { return _CanMove(uChild, JoinPath(strNewPath, _NameOf(_Node(uChild)))); });
}

// Gives a node, and all below it, the keys and names of a new place. False when one of them can't have them; the node
// is then good for nothing but to be removed.
bool SourceIndex::_Move(unsigned uAssetID, const VOWString& strNewFolder, const VOWString& strNewName)
{
    const VOWString strNewPath = JoinPath(strNewFolder, strNewName);
    const bool bFolder = _IsFolder(uAssetID);
    const NameParts parts = PartsOf(strNewName, bFolder);
    _Unlink(uAssetID);
    const unsigned uPlain = _FindKey(strNewPath);
    const bool bTwin = uPlain != kNoNode && uPlain != uAssetID;
    const VOWString strForm = bTwin ? ExactCaseForm(strNewPath) : strNewPath;
    const unsigned uExact = bTwin ? _FindKey(strForm) : kNoNode;
    const std::optional<VOWString> strText = LookupText(m_strRoot, strForm);
    if (!strText || (uExact != kNoNode && uExact != uAssetID) ||
        m_pContainer->RedirectAssetNode(uAssetID, strText->c_str()) == 0)
    {
        return false;
    }
    if (bTwin)
    {
        _AddTwin(uAssetID, uPlain);
    }
    bool bMoved = _SetNames(uAssetID, strNewFolder, parts);
    if (bFolder)
    {
        for (const unsigned uChild : _ChildrenOf(uAssetID))
        {
            bMoved = bMoved && _Move(uChild, strNewPath, _NameOf(_Node(uChild)));
        }
    }
    return bMoved;
}

}  // namespace lum
