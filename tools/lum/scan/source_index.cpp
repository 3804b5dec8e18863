#include "scan/source_index.h"

#include <fmt/format.h>
#include <string.h>

#include <algorithm>

#include "base/console.h"
#include "base/text.h"
#include "platform/fault_points.h"
#include "platform/vo_process.h"
#include "vots_asset_node_classify_manager.h"

using namespace LUMTrayService;

namespace lum
{

SourceIndex::SourceIndex(enumAssetFrom eaf, const VOWString& strRoot, const VOWString& strRootName, bool bMergeSign)
    : m_eaf(eaf),
      m_strRoot(strRoot),
      m_strRootName(strRootName),
      m_bMergeSign(bMergeSign),
      m_pContainer(std::make_unique<VOTSAssetNodeContainer>(AR_Provider, strRoot.c_str(), strRootName.c_str()))
{
}

std::set<VOWString> FolderHints::Names() const
{
    std::set<VOWString> setNames(setWritten);
    setNames.insert(setGone.begin(), setGone.end());
    for (const auto& [strOld, strNew] : vecRenamed)
    {
        setNames.insert({strOld, strNew});
    }
    return setNames;
}

bool SourceIndex::Build(const std::vector<ClassifyType>& vecTypes, FolderLister* pLister, Progress* pProgress,
                        std::string* pstrError)
{
    m_pLister = pLister;
    if (!EnterTypes(vecTypes, m_pContainer.get()))
    {
        *pstrError = "the table of types was refused";
        return false;
    }
    if (!_EnterRoot())
    {
        *pstrError = "the root folder could not be entered";
        return false;
    }

    m_vecPending.push_back({0, VOWString(), pLister->AllRoots()});
    return _EnterPending(pProgress, pstrError);
}

// Lists the folders that were entered, and enters what they hold, until there are no more.
bool SourceIndex::_EnterPending(Progress* pProgress, std::string* pstrError)
{
    std::vector<IndexEntry> vecEntries;
    while (!m_vecPending.empty())
    {
        const PendingFolder folder = std::move(m_vecPending.back());
        m_vecPending.pop_back();
        std::string strReason;
        if (VOStopRequested())
        {
            *pstrError = "stopped before the index was complete";
            return false;
        }
        const bool bListed = m_pLister->List(folder.strPath, folder.uRoots, &vecEntries, &strReason);
        if (!bListed && folder.strPath.empty())
        {
            *pstrError = strReason;
            return false;
        }
        if (!bListed && folder.uAssetID != kNoNode)
        {
            _SetUnread(folder.strPath, false, strReason);
        }
        else if (bListed && folder.uAssetID != kNoNode)
        {
            _NoteVague(folder.strPath, false, vecEntries);
        }
        std::vector<unsigned> vecNodes(vecEntries.size(), kNoNode);
        if (!_EnterEntries(folder, vecEntries, &vecNodes) ||
            (folder.uAssetID != kNoNode && !_SetChildren(folder.uAssetID, vecNodes)))
        {
            *pstrError = fmt::format("{}: could not be entered, the index is full",
                                     WrittenForm(folder.strPath, Escape::Controls));
            return false;
        }
        if (pProgress != nullptr)
        {
            pProgress->Show(m_uNodes);
        }
    }
    return true;
}

bool SourceIndex::_EnterRoot()
{
    structAssetNode node;
    int nExisted = 0;
    if (m_pContainer->RequestAssetNode(VOTEXT(""), node, nExisted) == 0 || nExisted != 0 || node.nAssetID != 0)
    {
        return false;
    }
    m_uNodes = 1;
    IndexEntry root;
    m_pLister->DescribeRoot(&root);
    root.uRoots = m_pLister->AllRoots();
    return m_pContainer->SetAssetNodeFolder(0, 1) != 0 && _SetAttributes(0, VOWString(), root);
}

// Enters those entries of a folder that have no node yet. What is left of the nodes are the folder's children, in their
// order. False when the index is full.
bool SourceIndex::_EnterEntries(const PendingFolder& folder, const std::vector<IndexEntry>& vecEntries,
                                std::vector<unsigned>* pvecNodes)
{
    for (size_t i = 0; i < vecEntries.size(); ++i)
    {
        unsigned& uNode = (*pvecNodes)[i];
        if (uNode == kNoNode && !_EnterNode(folder, vecEntries[i], &uNode))
        {
            return false;
        }
    }
    std::erase(*pvecNodes, kNoNode);
    return true;
}

// All at once: filling the lists child by child would cost the square.
bool SourceIndex::_SetChildren(unsigned uAssetID, const std::vector<unsigned>& vecChildren)
{
    return !VO_FAULT_POINT("index.children") && m_pContainer->SetAssetNodeChildIndex(uAssetID, vecChildren) != 0;
}

// Takes nodes of names that rise into their places among a folder's children.
bool SourceIndex::_AddChildren(unsigned uAssetID, const std::vector<unsigned>& vecNew)
{
    std::vector<unsigned> avecLists[2];
    std::vector<unsigned> avecMerged[2];
    size_t auDone[2] = {};
    const structAssetNode folder = _Node(uAssetID);
    for (const bool bFolder : {false, true})
    {
        avecLists[bFolder] = _ListsOf({bFolder ? folder.nChildFolderInfo : folder.nChildFileInfo});
    }
    // Many beside few are cheaper when all are listed anew.
    const bool bAnew = vecNew.size() > (avecLists[false].size() + avecLists[true].size()) / 4 + 1;
    for (const unsigned uNew : vecNew)
    {
        const bool bFolder = _IsFolder(uNew);
        const std::vector<unsigned>& vecList = avecLists[bFolder];
        const auto itDone = vecList.begin() + static_cast<std::ptrdiff_t>(auDone[bFolder]);
        const auto itNext = std::lower_bound(itDone, vecList.end(), _NameOf(_Node(uNew)),
                                             [this](unsigned uChild, const VOWString& strName)
                                             { return _NameOf(_Node(uChild)) < strName; });
        auDone[bFolder] = static_cast<size_t>(itNext - vecList.begin());
        if (bAnew)
        {
            avecMerged[bFolder].insert(avecMerged[bFolder].end(), itDone, itNext);
            avecMerged[bFolder].push_back(uNew);
        }
        else if (VO_FAULT_POINT("index.children") ||
                 m_pContainer->InsertAssetNodeChildBefore(uAssetID, uNew,
                                                          itNext != vecList.end() ? *itNext : kNoNode) == 0)
        {
            return false;
        }
    }
    if (bAnew)
    {
        std::vector<unsigned> vecChildren;
        for (const bool bFolder : {false, true})
        {
            const std::vector<unsigned>& vecList = avecLists[bFolder];
            vecChildren.insert(vecChildren.end(), avecMerged[bFolder].begin(), avecMerged[bFolder].end());
            vecChildren.insert(vecChildren.end(), vecList.begin() + static_cast<std::ptrdiff_t>(auDone[bFolder]),
                               vecList.end());
        }
        m_ullDropped += vecChildren.size();
        return _SetChildren(uAssetID, vecChildren);
    }
    // A list that was moved left its old one behind.
    const structAssetNode now = _Node(uAssetID);
    m_ullDropped += now.nChildFileInfo != folder.nChildFileInfo ? avecLists[false].size() : 0;
    m_ullDropped += now.nChildFolderInfo != folder.nChildFolderInfo ? avecLists[true].size() : 0;
    return true;
}

void SourceIndex::LeaveOut(const NotIndexed& leftOut)
{
    if (const auto itBefore = m_mapDoubted.find(leftOut.strPath); itBefore != m_mapDoubted.end())
    {
        m_mapLeftOut.insert(m_mapDoubted.extract(itBefore));
    }
    const auto [itReason, bNew] = m_mapLeftOut.try_emplace(leftOut.strPath);
    if (bNew || itReason->second != leftOut.strReason)
    {
        itReason->second = leftOut.strReason;
        m_vecLeftOut.push_back(leftOut);
    }
}

// Names what is not in the index, and sees to it that what lies in it is named too. Always true: that is no failure.
bool SourceIndex::_LeaveOut(const VOWString& strPath, const IndexEntry& entry, const std::string& strReason)
{
    LeaveOut({strPath, strReason});
    if (entry.bFolder)
    {
        m_vecPending.push_back({kNoNode, strPath, entry.uRoots});
    }
    return true;
}

// What is known of what lies in a folder and isn't in the index; gives the folders that it was known of, that one
// first.
std::vector<VOWString> SourceIndex::_Forget(const VOWString& strPath)
{
    std::vector<VOWString> vecForgotten{strPath};
    const VOWString strPrefix = strPath + VOTEXT("/");
    auto itLeftOut = m_mapLeftOut.lower_bound(strPrefix);
    while (itLeftOut != m_mapLeftOut.end() && itLeftOut->first.starts_with(strPrefix))
    {
        vecForgotten.push_back(ParentPath(itLeftOut->first));
        itLeftOut = m_mapLeftOut.erase(itLeftOut);
    }
    m_mapUnread.erase(strPath);
    auto itUnread = m_mapUnread.lower_bound(strPrefix);
    while (itUnread != m_mapUnread.end() && itUnread->first.starts_with(strPrefix))
    {
        vecForgotten.push_back(itUnread->first);
        itUnread = m_mapUnread.erase(itUnread);
    }
    return vecForgotten;
}

void SourceIndex::_SetUnread(const VOWString& strFolder, bool bEntered, const std::string& strReason)
{
    if (m_mapUnread.insert_or_assign(strFolder, strReason).second)
    {
        m_vecUnread.push_back({strFolder, strReason, bEntered});
    }
}

// Of a folder that was listed: whether more has to be known of its entries.
void SourceIndex::_NoteVague(const VOWString& strFolder, bool bEntered, const std::vector<IndexEntry>& vecEntries)
{
    if (std::all_of(vecEntries.begin(), vecEntries.end(), [](const IndexEntry& entry) { return entry.bDescribed; }))
    {
        m_mapUnread.erase(strFolder);
        return;
    }
    _SetUnread(strFolder, bEntered, "not everything that it holds can be looked at");
}

// Makes the node of an entry, unless it has to be left out; *puAssetID stays as it is then. False when the index is
// full.
bool SourceIndex::_EnterNode(const PendingFolder& folder, const IndexEntry& entry, unsigned* puAssetID)
{
    const VOWString strPath = JoinPath(folder.strPath, entry.strName);
    if (folder.uAssetID == kNoNode || !entry.strRefusal.empty())
    {
        return _LeaveOut(strPath, entry,
                         entry.strRefusal.empty() ? "it lies in a folder that isn't indexed" : entry.strRefusal);
    }
    unsigned uNode = kNoNode;
    switch (_RequestNode(strPath, &uNode))
    {
        case Requested::TooLong:
            return _LeaveOut(strPath, entry,
                             fmt::format("the path is too long for the index ({} characters)", strPath.size()));
        case Requested::Known:
            return _LeaveOut(strPath, entry, "the index can't tell it from another path");
        case Requested::Refused:
            return false;
        default:
            break;
    }
    const NameParts parts = PartsOf(entry.strName, entry.bFolder);
    if (!_SetNames(uNode, folder.strPath, parts))
    {
        _Unlink(uNode);
        m_pContainer->RemoveAssetNode(uNode);
        return _LeaveOut(strPath, entry, "the index can't tell its name from another one");
    }
    if (m_pContainer->SetAssetNodeFolder(uNode, entry.bFolder ? 1 : 0) == 0 ||
        m_pContainer->SetAssetNodeParentIndex(uNode, folder.uAssetID) == 0 || !_SetAttributes(uNode, strPath, entry) ||
        (!entry.bFolder && !_SetType(uNode, parts.strExtension)))
    {
        return false;
    }
    if (entry.bFolder)
    {
        m_vecPending.push_back({uNode, strPath, entry.uRoots});
    }
    ++m_uNodes;
    _Changed(ChangeKind::Added, entry.bFolder, strPath, entry.uRoots);
    *puAssetID = uNode;
    return true;
}

// The pool tells texts apart by their hashes alone, so that a text may come back as another one. Then the node would
// render as a path that doesn't exist.
bool SourceIndex::_SetNames(unsigned uAssetID, const VOWString& strFolder, const NameParts& parts)
{
    structAssetNode node;
    return m_pContainer->SetAssetNodeStripPath(uAssetID, strFolder.c_str(), parts.strBase.c_str(),
                                               parts.strExtension.c_str()) != 0 &&
           m_pContainer->GetAssetNode(uAssetID, node) != 0 && _HasText(node.hStrComponent, strFolder) &&
           _HasText(node.hStrBaseName, parts.strBase) && _HasText(node.hStrExtension, parts.strExtension);
}

bool SourceIndex::_HasText(void* hString, const VOWString& strText) const
{
    if (strText.empty())
    {
        return hString == INVALID_HANDLE_VALUE;
    }
    // Byte copies, because the text may lie at an odd address, and no further than its terminator.
    const VOWCHAR* pszText = m_pContainer->GetString(hString);
    for (size_t i = 0; pszText != nullptr && i <= strText.size(); ++i)
    {
        if (memcmp(reinterpret_cast<const char*>(pszText) + i * sizeof(VOWCHAR), strText.c_str() + i,
                   sizeof(VOWCHAR)) != 0)
        {
            return false;
        }
    }
    return pszText != nullptr;
}

bool SourceIndex::_SetAttributes(unsigned uAssetID, const VOWString& strPath, const IndexEntry& entry)
{
    if (m_pContainer->SetAssetNodeAssetFrom(uAssetID, m_eaf) == 0 ||
        m_pContainer->SetAssetNodeFileAttribute(uAssetID, entry.ullSize, entry.nCreateTime, entry.nAccessTime,
                                                entry.nWriteTime, entry.uAttribute) == 0)
    {
        return false;
    }
    if (m_vecStamps.size() <= uAssetID)
    {
        m_vecStamps.resize(size_t{uAssetID} + 1);
    }
    m_vecStamps[uAssetID] = {entry.uWriteFraction, entry.uStatusStamp};
    if (m_bMergeSign && m_pContainer->SetAssetNodeAssetMergeSign(uAssetID, entry.uRoots) == 0)
    {
        return false;
    }
    return m_pLister->OtherRoot(entry.uRoots).empty() ||
           m_pContainer->SetAssetNodePhysicsPath(uAssetID, _PhysicalPath(strPath, entry.uRoots).c_str()) != 0;
}

bool SourceIndex::_SetType(unsigned uAssetID, const VOWString& strExtension)
{
    const KnownType& type = _TypeOf(strExtension);
    return type.nNumber < 0 ||
           m_pContainer->SetAssetNodeClassifyType(uAssetID, type.nNumber, type.strName.c_str()) != 0;
}

// The type of the whole extension, otherwise of the text behind its last dot.
const SourceIndex::KnownType& SourceIndex::_TypeOf(const VOWString& strExtension)
{
    const auto [itType, bNew] = m_mapTypes.try_emplace(strExtension);
    if (!bNew || strExtension.empty())
    {
        return itType->second;
    }
    const VOWString strLast = LastExtension(strExtension);
    int nNumber = -1;
    VOWCHAR szName[LENGTH_OF_CLASSIFYNAME] = {};
    if ((m_pContainer->GetClassifyTypeByExtension(strExtension.c_str(), nNumber) != 0 ||
         (!strLast.empty() && m_pContainer->GetClassifyTypeByExtension(strLast.c_str(), nNumber) != 0)) &&
        m_pContainer->GetClassifyName(nNumber, szName) != 0)
    {
        itType->second = {nNumber, szName};
    }
    return itType->second;
}

void SourceIndex::_Changed(ChangeKind eKind, bool bFolder, const VOWString& strPath, uint32_t uRoots,
                           const VOWString& strNewName)
{
    m_bChanged = true;
    if (m_pChanges != nullptr)
    {
        const VOWString strNow = strNewName.empty() ? strPath : JoinPath(ParentPath(strPath), strNewName);
        m_pChanges->push_back({m_eaf, eKind, bFolder, uRoots, strPath, strNewName, _PhysicalPath(strNow, uRoots), 0});
    }
}

// The path on the disk, which only the lister knows where there are several roots.
VOWString SourceIndex::_PhysicalPath(const VOWString& strPath, uint32_t uRoots) const
{
    const VOWString strOtherRoot = m_pLister->OtherRoot(uRoots);
    return JoinPath(strOtherRoot.empty() ? m_strRoot : strOtherRoot, strPath);
}

VOTSAssetNodeContainer::ContainerAlloc* SourceIndex::MakeImage()
{
    m_bChanged = false;
    return m_pContainer->GetAlloc();
}

}  // namespace lum
