// The index of one source: a container that is filled from a lister, every file and folder linked into a tree, and that
// follows what the lister shows later.
//
// The tree that readers find: node 0 is the root folder, under the empty path and without a name or parent; every other
// node has its parent and stands in its parent's list, sorted by name. Nothing is left out because a rule of the
// library is meant for other callers: a file whose extension no type lists has no type, sizes have 64 bits, a dot file
// has a base name, and names that differ in case alone are two nodes (see base/index_keys.h).
#pragma once

#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "base/index_keys.h"
#include "scan/index_entry.h"
#include "scan/type_table.h"
#include "vots_asset_node_container.h"

namespace lum
{

class Progress;

// A difference that a comparison found between the index and its source.
enum class ChangeKind : unsigned
{
    Added = 1,
    Removed = 2,
    Renamed = 3,
    Modified = 4
};

struct IndexChange
{
    ChangeKind eKind;
    bool bFolder;
    VOWString strPath;     // relative to the root; of a rename the old one
    VOWString strNewName;  // rename only: the new last component
    uint32_t uRoots;       // the bits of the roots that have it, or had it last
};

// What is known of the changes in one folder before it is compared: which names were renamed to which, and which files
// may have been written although neither size nor time show it.
struct FolderHints
{
    std::vector<std::pair<VOWString, VOWString>> vecRenamed;
    std::set<VOWString> setWritten;
};

class SourceIndex
{
public:
    // bMergeSign: nodes carry the bits of their roots.
    SourceIndex(LUMTrayService::enumAssetFrom eaf, const VOWString& strRoot, const VOWString& strRootName,
                bool bMergeSign);

    // Walks the whole source once. False with a message when the root can't be listed, the table of types is refused,
    // the index is full, or a stop was requested; the container is then of no use.
    bool Build(const std::vector<ClassifyType>& vecTypes, uint32_t uRoots, FolderLister* pkLister, Progress* pkProgress,
               std::string* pstrError);

    // Nodes that are in the index now.
    unsigned NodeCount() const { return m_uNodes; }

    // What was found and could not be entered. A lister may add to it before Build; who reports it takes it out.
    std::vector<NotIndexed>* LeftOut() { return &m_vecNotIndexed; }

    // Compares a folder with what the lister shows now, makes the index agree with it (whatever lies in what came is
    // entered too), and appends the differences, in an order in which they can be applied one by one. Folders whose
    // contents have to be looked at as well are appended to pvecMore. Attributes that nobody would call a change, the
    // times of folders, are brought up to date in passing; a time of access alone is no reason to do so. False with a
    // message when the index is full or the root can't be listed; a folder that isn't in the index is no failure.
    bool Compare(const VOWString& strFolder, const FolderHints& kHints, std::vector<IndexChange>* pvecChanges,
                 std::vector<VOWString>* pvecMore, std::string* pstrError);

    bool HasFolder(const VOWString& strFolder) const;

    // All folders of the index, parents first; relative to the root, which is the empty path.
    std::vector<VOWString> Folders() const;

    // True once what was removed and relisted takes so much of the container that it should be made anew.
    bool IsWorn() const;

    // Makes the container anew from what it holds: new ids, and nothing left of what is gone. False with a message; the
    // index is then as it was.
    bool Renew(const std::vector<ClassifyType>& vecTypes, std::string* pstrError);

    // True when the container differs from what the last MakeImage gave.
    bool HasChanged() const { return m_bChanged; }

    // The image of the finished index, to be released with free(); null when it can't be made.
    VOTSAssetNodeContainer::ContainerAlloc* MakeImage();

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

    typedef std::unordered_map<VOWString, unsigned> Children;  // ids by name
    class OwnLister;

    bool _EnterRoot(uint32_t uRoots);
    bool _EnterPending(Progress* pkProgress, std::string* pstrError);
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
    void _Changed(ChangeKind eKind, bool bFolder, const VOWString& strPath, uint32_t uRoots,
                  const VOWString& strNewName = {});

    LUMTrayService::structAssetNode _Node(unsigned uAssetID) const;
    VOWString _Text(void* hString) const;
    VOWString _NameOf(const LUMTrayService::structAssetNode& kNode) const;
    VOWString _PathOf(unsigned uAssetID) const;
    std::vector<unsigned> _ChildrenOf(unsigned uAssetID) const;
    unsigned _FindKey(const VOWString& strForm) const;
    unsigned _FindNode(const VOWString& strPath) const;
    bool _Follow(const VOWString& strPath, const IndexEntry& kEntry, unsigned uAssetID, bool bWritten,
                 std::vector<VOWString>* pvecMore);
    bool _Rename(const VOWString& strFolder, const VOWString& strOldName, const IndexEntry& kEntry, unsigned uAssetID);
    bool _CanMove(unsigned uAssetID, const VOWString& strNewPath) const;
    bool _Move(unsigned uAssetID, const VOWString& strNewFolder, const VOWString& strNewName);
    void _TellGone(const VOWString& strPath, unsigned uAssetID);
    void _Remove(const VOWString& strPath, unsigned uAssetID);
    bool _SetChildren(unsigned uAssetID, const std::vector<IndexEntry>& vecEntries, const Children& kChildren);

    LUMTrayService::enumAssetFrom m_eaf;
    VOWString m_strRoot;
    VOWString m_strRootName;
    bool m_bMergeSign;
    std::unique_ptr<VOTSAssetNodeContainer> m_pkContainer;
    FolderLister* m_pkLister = nullptr;
    unsigned m_uNodes = 0;
    unsigned long long m_ullDropped = 0;  // entries of child lists that no folder has any more
    bool m_bChanged = true;
    std::vector<std::pair<uint32_t, uint32_t>> m_vecStamps;  // by id: what the records have no room for
    std::vector<IndexChange>* m_pvecChanges = nullptr;       // where a comparison reports
    std::vector<PendingFolder> m_vecPending;
    std::vector<NotIndexed> m_vecNotIndexed;
    std::unordered_map<VOWString, KnownType> m_mapTypes;  // by extension
};

}  // namespace lum
