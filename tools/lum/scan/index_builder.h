// Fills a container from a lister: every file and folder of one source, linked into a tree.
//
// The tree that readers find: node 0 is the root folder, under the empty path and without a name or parent; every other
// node has its parent and stands in its parent's list, sorted by name. Nothing is left out because a rule of the
// library is meant for other callers: a file whose extension no type lists has no type, sizes have 64 bits, a dot file
// has a base name, and names that differ in case alone are two nodes (see base/index_keys.h).
#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "base/index_keys.h"
#include "scan/index_entry.h"
#include "scan/type_table.h"
#include "vots_asset_node_container.h"

namespace lum
{

class Progress;

class IndexBuilder
{
public:
    // bMergeSign: nodes carry the bits of their roots.
    IndexBuilder(LUMTrayService::enumAssetFrom eaf, const VOWString& strRoot, const VOWString& strRootName,
                 bool bMergeSign);

    // Walks the whole source once. False with a message when the root can't be listed, the table of types is refused,
    // the index is full, or a stop was requested; the container is then of no use.
    bool Build(const std::vector<ClassifyType>& vecTypes, uint32_t uRoots, FolderLister* pkLister, Progress* pkProgress,
               std::string* pstrError);

    unsigned NodeCount() const { return m_uNodes; }

    // What was found and could not be entered. A lister may add to it before Build.
    std::vector<NotIndexed>* LeftOut() { return &m_vecNotIndexed; }

    // The image of the finished index, to be released with free(); null when it can't be made.
    VOTSAssetNodeContainer::ContainerAlloc* MakeImage() { return m_kContainer.GetAlloc(); }

private:
    static constexpr unsigned kNoNode = 0xFFFFFFFF;

    struct PendingFolder
    {
        unsigned uAssetID;  // kNoNode for one that isn't in the index itself
        VOWString strPath;
        uint32_t uRoots;
    };

    enum class Requested
    {
        New,
        Known,    // the key is that of an earlier node
        TooLong,  // the library would cut the key
        Refused   // the index is full
    };

    struct KnownType
    {
        int nNumber = -1;  // -1 for no type
        VOWString strName;
    };

    bool _EnterRoot(uint32_t uRoots);
    bool _EnterFolder(const PendingFolder& kFolder, const std::vector<IndexEntry>& vecEntries);
    bool _EnterNode(const PendingFolder& kFolder, const IndexEntry& kEntry, unsigned* puAssetID);
    void _LeaveOut(const VOWString& strPath, const IndexEntry& kEntry, const std::string& strReason);
    Requested _RequestNode(const VOWString& strPath, unsigned* puAssetID);
    Requested _RequestKey(const VOWString& strForm, unsigned* puAssetID);
    bool _SetNames(unsigned uAssetID, const VOWString& strFolder, const NameParts& kParts);
    bool _SetAttributes(unsigned uAssetID, const VOWString& strPath, const IndexEntry& kEntry);
    bool _SetType(unsigned uAssetID, const VOWString& strExtension);
    const KnownType& _TypeOf(const VOWString& strExtension);
    bool _HasText(void* hString, const VOWString& strText) const;

    LUMTrayService::enumAssetFrom m_eaf;
    VOWString m_strRoot;
    bool m_bMergeSign;
    VOTSAssetNodeContainer m_kContainer;
    FolderLister* m_pkLister = nullptr;
    unsigned m_uNodes = 0;
    std::vector<PendingFolder> m_vecPending;
    std::vector<NotIndexed> m_vecNotIndexed;
    std::unordered_map<VOWString, KnownType> m_mapTypes;  // by extension
};

}  // namespace lum
