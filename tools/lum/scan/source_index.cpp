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
      m_pkContainer(std::make_unique<VOTSAssetNodeContainer>(AR_Provider, strRoot.c_str(), strRootName.c_str()))
{
}

bool SourceIndex::Build(const std::vector<ClassifyType>& vecTypes, FolderLister* pkLister, Progress* pkProgress,
                        std::string* pstrError)
{
    m_pkLister = pkLister;
    if (!EnterTypes(vecTypes, m_pkContainer.get()))
    {
        *pstrError = "the table of types was refused";
        return false;
    }
    if (!_EnterRoot())
    {
        *pstrError = "the root folder could not be entered";
        return false;
    }

    m_vecPending.push_back({0, VOWString(), pkLister->AllRoots()});
    return _EnterPending(pkProgress, pstrError);
}

// Lists the folders that were entered, and enters what they hold, until there are no more.
bool SourceIndex::_EnterPending(Progress* pkProgress, std::string* pstrError)
{
    std::vector<IndexEntry> vecEntries;
    while (!m_vecPending.empty())
    {
        const PendingFolder kFolder = std::move(m_vecPending.back());
        m_vecPending.pop_back();
        std::string strReason;
        if (VOStopRequested())
        {
            *pstrError = "stopped before the index was complete";
            return false;
        }
        const bool bListed = m_pkLister->List(kFolder.strPath, kFolder.uRoots, &vecEntries, &strReason);
        if (!bListed && kFolder.strPath.empty())
        {
            *pstrError = strReason;
            return false;
        }
        if (!bListed && kFolder.uAssetID != kNoNode)
        {
            _SetUnread(kFolder.strPath, false, strReason);
        }
        else if (bListed && kFolder.uAssetID != kNoNode)
        {
            _NoteVague(kFolder.strPath, false, vecEntries);
        }
        std::vector<unsigned> vecNodes(vecEntries.size(), kNoNode);
        if (!_EnterEntries(kFolder, vecEntries, &vecNodes) ||
            (kFolder.uAssetID != kNoNode && !_SetChildren(kFolder.uAssetID, vecNodes)))
        {
            *pstrError = fmt::format("{}: could not be entered, the index is full",
                                     WrittenForm(kFolder.strPath, Escape::Controls));
            return false;
        }
        if (pkProgress != nullptr)
        {
            pkProgress->Show(m_uNodes);
        }
    }
    return true;
}

bool SourceIndex::_EnterRoot()
{
    structAssetNode kNode;
    int nExisted = 0;
    if (m_pkContainer->RequestAssetNode(VOTEXT(""), kNode, nExisted) == 0 || nExisted != 0 || kNode.nAssetID != 0)
    {
        return false;
    }
    m_uNodes = 1;
    IndexEntry kRoot;
    m_pkLister->DescribeRoot(&kRoot);
    kRoot.uRoots = m_pkLister->AllRoots();
    return m_pkContainer->SetAssetNodeFolder(0, 1) != 0 && _SetAttributes(0, VOWString(), kRoot);
}

// Enters those entries of a folder that have no node yet. What is left of the nodes are the folder's children, in their
// order. False when the index is full.
bool SourceIndex::_EnterEntries(const PendingFolder& kFolder, const std::vector<IndexEntry>& vecEntries,
                                std::vector<unsigned>* pvecNodes)
{
    for (size_t i = 0; i < vecEntries.size(); ++i)
    {
        unsigned& ruNode = (*pvecNodes)[i];
        if (ruNode == kNoNode && !_EnterNode(kFolder, vecEntries[i], &ruNode))
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
    return !VO_FAULT_POINT("index.children") && m_pkContainer->SetAssetNodeChildIndex(uAssetID, vecChildren) != 0;
}

void SourceIndex::LeaveOut(const NotIndexed& kLeftOut)
{
    if (const auto itBefore = m_mapDoubted.find(kLeftOut.strPath); itBefore != m_mapDoubted.end())
    {
        m_mapLeftOut.insert(m_mapDoubted.extract(itBefore));
    }
    const auto [itReason, bNew] = m_mapLeftOut.try_emplace(kLeftOut.strPath);
    if (bNew || itReason->second != kLeftOut.strReason)
    {
        itReason->second = kLeftOut.strReason;
        m_vecLeftOut.push_back(kLeftOut);
    }
}

// Names what is not in the index, and sees to it that what lies in it is named too. Always true: that is no failure.
bool SourceIndex::_LeaveOut(const VOWString& strPath, const IndexEntry& kEntry, const std::string& strReason)
{
    LeaveOut({strPath, strReason});
    if (kEntry.bFolder)
    {
        m_vecPending.push_back({kNoNode, strPath, kEntry.uRoots});
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
    if (std::all_of(vecEntries.begin(), vecEntries.end(), [](const IndexEntry& kEntry) { return kEntry.bDescribed; }))
    {
        m_mapUnread.erase(strFolder);
        return;
    }
    _SetUnread(strFolder, bEntered, "not everything that it holds can be looked at");
}

// Makes the node of an entry, unless it has to be left out; *puAssetID stays as it is then. False when the index is
// full.
bool SourceIndex::_EnterNode(const PendingFolder& kFolder, const IndexEntry& kEntry, unsigned* puAssetID)
{
    const VOWString strPath = JoinPath(kFolder.strPath, kEntry.strName);
    if (kFolder.uAssetID == kNoNode || !kEntry.strRefusal.empty())
    {
        return _LeaveOut(strPath, kEntry,
                         kEntry.strRefusal.empty() ? "it lies in a folder that isn't indexed" : kEntry.strRefusal);
    }
    unsigned uNode = kNoNode;
    switch (_RequestNode(strPath, &uNode))
    {
        case Requested::TooLong:
            return _LeaveOut(strPath, kEntry,
                             fmt::format("the path is too long for the index ({} characters)", strPath.size()));
        case Requested::Known:
            return _LeaveOut(strPath, kEntry, "the index can't tell it from another path");
        case Requested::Refused:
            return false;
        default:
            break;
    }
    const NameParts kParts = PartsOf(kEntry.strName, kEntry.bFolder);
    if (!_SetNames(uNode, kFolder.strPath, kParts))
    {
        _Unlink(uNode);
        m_pkContainer->RemoveAssetNode(uNode);
        return _LeaveOut(strPath, kEntry, "the index can't tell its name from another one");
    }
    if (m_pkContainer->SetAssetNodeFolder(uNode, kEntry.bFolder ? 1 : 0) == 0 ||
        m_pkContainer->SetAssetNodeParentIndex(uNode, kFolder.uAssetID) == 0 ||
        !_SetAttributes(uNode, strPath, kEntry) || (!kEntry.bFolder && !_SetType(uNode, kParts.strExtension)))
    {
        return false;
    }
    if (kEntry.bFolder)
    {
        m_vecPending.push_back({uNode, strPath, kEntry.uRoots});
    }
    ++m_uNodes;
    _Changed(ChangeKind::Added, kEntry.bFolder, strPath, kEntry.uRoots);
    *puAssetID = uNode;
    return true;
}

// The pool tells texts apart by their hashes alone, so that a text may come back as another one. Then the node would
// render as a path that doesn't exist.
bool SourceIndex::_SetNames(unsigned uAssetID, const VOWString& strFolder, const NameParts& kParts)
{
    structAssetNode kNode;
    return m_pkContainer->SetAssetNodeStripPath(uAssetID, strFolder.c_str(), kParts.strBase.c_str(),
                                                kParts.strExtension.c_str()) != 0 &&
           m_pkContainer->GetAssetNode(uAssetID, kNode) != 0 && _HasText(kNode.hStrComponent, strFolder) &&
           _HasText(kNode.hStrBaseName, kParts.strBase) && _HasText(kNode.hStrExtension, kParts.strExtension);
}

bool SourceIndex::_HasText(void* hString, const VOWString& strText) const
{
    if (strText.empty())
    {
        return hString == INVALID_HANDLE_VALUE;
    }
    // Byte copies, because the text may lie at an odd address, and no further than its terminator.
    const VOWCHAR* pszText = m_pkContainer->GetString(hString);
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

bool SourceIndex::_SetAttributes(unsigned uAssetID, const VOWString& strPath, const IndexEntry& kEntry)
{
    if (m_pkContainer->SetAssetNodeAssetFrom(uAssetID, m_eaf) == 0 ||
        m_pkContainer->SetAssetNodeFileAttribute(uAssetID, kEntry.ullSize, kEntry.nCreateTime, kEntry.nAccessTime,
                                                 kEntry.nWriteTime, kEntry.uAttribute) == 0)
    {
        return false;
    }
    if (m_vecStamps.size() <= uAssetID)
    {
        m_vecStamps.resize(size_t{uAssetID} + 1);
    }
    m_vecStamps[uAssetID] = {kEntry.uWriteFraction, kEntry.uStatusStamp};
    if (m_bMergeSign && m_pkContainer->SetAssetNodeAssetMergeSign(uAssetID, kEntry.uRoots) == 0)
    {
        return false;
    }
    return m_pkLister->OtherRoot(kEntry.uRoots).empty() ||
           m_pkContainer->SetAssetNodePhysicsPath(uAssetID, _PhysicalPath(strPath, kEntry.uRoots).c_str()) != 0;
}

bool SourceIndex::_SetType(unsigned uAssetID, const VOWString& strExtension)
{
    const KnownType& kType = _TypeOf(strExtension);
    return kType.nNumber < 0 ||
           m_pkContainer->SetAssetNodeClassifyType(uAssetID, kType.nNumber, kType.strName.c_str()) != 0;
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
    if ((m_pkContainer->GetClassifyTypeByExtension(strExtension.c_str(), nNumber) != 0 ||
         (!strLast.empty() && m_pkContainer->GetClassifyTypeByExtension(strLast.c_str(), nNumber) != 0)) &&
        m_pkContainer->GetClassifyName(nNumber, szName) != 0)
    {
        itType->second = {nNumber, szName};
    }
    return itType->second;
}

void SourceIndex::_Changed(ChangeKind eKind, bool bFolder, const VOWString& strPath, uint32_t uRoots,
                           const VOWString& strNewName)
{
    m_bChanged = true;
    if (m_pkChanges != nullptr)
    {
        const VOWString strNow = strNewName.empty() ? strPath : JoinPath(ParentPath(strPath), strNewName);
        m_pkChanges->push_back({m_eaf, eKind, bFolder, uRoots, strPath, strNewName, _PhysicalPath(strNow, uRoots), 0});
    }
}

// The path on the disk, which only the lister knows where there are several roots.
VOWString SourceIndex::_PhysicalPath(const VOWString& strPath, uint32_t uRoots) const
{
    const VOWString strOtherRoot = m_pkLister->OtherRoot(uRoots);
    return JoinPath(strOtherRoot.empty() ? m_strRoot : strOtherRoot, strPath);
}

VOTSAssetNodeContainer::ContainerAlloc* SourceIndex::MakeImage()
{
    m_bChanged = false;
    return m_pkContainer->GetAlloc();
}

}  // namespace lum
