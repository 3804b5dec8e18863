// The index of one source: a container that is filled from a lister, every file and folder linked into a tree, and that
// follows what the lister shows later.
//
// The tree that readers find: node 0 is the root folder, under the empty path and without a name or parent; every other
// node has its parent and stands in its parent's list, sorted by name. Nothing is left out because a rule of the
// library is meant for other callers: a file whose extension no type lists has no type, sizes have 64 bits, a dot file
// has a base name, and names that differ in case alone are two nodes. A node is found under the plain key of its path,
// or under its exact-case key (see base/index_keys.h) as long as another node has the plain one, and no longer.
#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "base/change.h"
#include "base/index_keys.h"
#include "scan/index_entry.h"
#include "scan/type_table.h"
#include "vots_asset_node_container.h"

namespace lum
{

class Progress;

// A folder whose listing failed, or told too little of what the folder holds. What was known of it stays.
struct UnreadFolder
{
    VOWString strPath;
    std::string strReason;
    bool bEntered;  // false for one that was never listed: nothing of what it holds is in the index
};

// What is known of the changes in one folder before it is compared: which names were renamed to which, which files may
// have been written although neither size nor time show it, and what has gone.
struct FolderHints
{
    std::vector<std::pair<VOWString, VOWString>> vecRenamed;
    std::set<VOWString> setWritten;
    std::set<VOWString> setGone;
    bool bMore = false;  // what has changed may be more than that

    bool IsEmpty() const { return vecRenamed.empty() && setWritten.empty() && setGone.empty(); }

    // All names that are told of.
    std::set<VOWString> Names() const;

    // What became known later.
    void Add(const FolderHints& later)
    {
        vecRenamed.insert(vecRenamed.end(), later.vecRenamed.begin(), later.vecRenamed.end());
        setWritten.insert(later.setWritten.begin(), later.setWritten.end());
        setGone.insert(later.setGone.begin(), later.setGone.end());
        bMore = bMore || later.bMore;
    }
};

class SourceIndex
{
public:
    // bMergeSign: nodes carry the bits of their roots.
    SourceIndex(LUMTrayService::enumAssetFrom eaf, const VOWString& strRoot, const VOWString& strRootName,
                bool bMergeSign);

    // Walks the whole source once. False with a message when the root can't be listed, the table of types is refused,
    // the index is full, or a stop was requested; the container is then of no use.
    bool Build(const std::vector<ClassifyType>& vecTypes, FolderLister* pLister, Progress* pProgress,
               std::string* pstrError);

    // Nodes that are in the index now.
    unsigned NodeCount() const { return m_uNodes; }

    // Something of the source that is not in the index. Also for what a lister leaves out by itself.
    void LeaveOut(const NotIndexed& leftOut);

    // How much is not in the index, and what of it came up since the last call. What can be entered later, or is gone,
    // is forgotten: it comes up again when it is left out again.
    size_t LeftOutCount() const { return m_mapLeftOut.size(); }
    std::vector<NotIndexed> TakeLeftOut() { return std::exchange(m_vecLeftOut, {}); }

    // Folders that can't be read now, and which of them came up since the last call. Each stays one until a comparison
    // can read it, or it is gone.
    bool IsUnread(const VOWString& strFolder) const { return m_mapUnread.contains(strFolder); }
    size_t UnreadCount() const { return m_mapUnread.size(); }
    std::vector<UnreadFolder> TakeUnread() { return std::exchange(m_vecUnread, {}); }

    // Compares a folder with what the lister shows now, the names alone that the hints tell of if they say that there
    // is no more, makes the index agree with it (whatever lies in what came is entered too), and appends the
    // differences, in an order in which they can be applied one by one. Folders whose contents have to be looked at as
    // well are appended to pvecMore. Attributes that nobody would call a change, the times of folders, are brought up
    // to date in passing; a time of access alone is no reason to do so. A folder that can't be listed stays as it was,
    // with all below it, and is an unread one. False with a message when the index is full; a folder that isn't in the
    // index is no failure.
    bool Compare(const VOWString& strFolder, const FolderHints& hints, Changes* pChanges,
                 std::vector<VOWString>* pvecMore, std::string* pstrError);

    bool HasFolder(const VOWString& strFolder) const;

    // All folders of the index, parents first; relative to the root, which is the empty path.
    std::vector<VOWString> Folders() const;

    // True once what was removed and relisted takes so much of the container that it should be made anew.
    bool IsWorn() const;

    // Makes the container anew from what it holds: new ids, and nothing left of what is gone. False with a message; the
    // index is then as it was.
    bool Renew(const std::vector<ClassifyType>& vecTypes, std::string* pstrError);

    // True when the container differs from what the last MakeImage gave, or was taken otherwise for an image.
    bool HasChanged() const { return m_bChanged; }
    void ImageTaken() { m_bChanged = false; }

    // What the index is made of; another one after Renew.
    VOTSAssetNodeContainer& Container() { return *m_pContainer; }

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

    class Comparison;
    class OwnLister;

    bool _EnterRoot();
    bool _EnterPending(Progress* pProgress, std::string* pstrError);
    bool _EnterEntries(const PendingFolder& folder, const std::vector<IndexEntry>& vecEntries,
                       std::vector<unsigned>* pvecNodes);
    bool _EnterNode(const PendingFolder& folder, const IndexEntry& entry, unsigned* puAssetID);
    bool _LeaveOut(const VOWString& strPath, const IndexEntry& entry, const std::string& strReason);
    bool _SetChildren(unsigned uAssetID, const std::vector<unsigned>& vecChildren);
    bool _AddChildren(unsigned uAssetID, const std::vector<unsigned>& vecNew);
    bool _ListNames(const PendingFolder& folder, const std::set<VOWString>& setNames,
                    std::vector<IndexEntry>* pvecEntries) const;
    void _SetUnread(const VOWString& strFolder, bool bEntered, const std::string& strReason);
    void _NoteVague(const VOWString& strFolder, bool bEntered, const std::vector<IndexEntry>& vecEntries);
    Requested _RequestNode(const VOWString& strPath, unsigned* puAssetID);
    Requested _RequestKey(const VOWString& strForm, unsigned* puAssetID);
    bool _SetNames(unsigned uAssetID, const VOWString& strFolder, const NameParts& parts);
    bool _SetAttributes(unsigned uAssetID, const VOWString& strPath, const IndexEntry& entry);
    bool _SetType(unsigned uAssetID, const VOWString& strExtension);
    const KnownType& _TypeOf(const VOWString& strExtension);
    bool _HasText(void* hString, const VOWString& strText) const;
    void _Changed(ChangeKind eKind, bool bFolder, const VOWString& strPath, uint32_t uRoots,
                  const VOWString& strNewName = {});

    LUMTrayService::structAssetNode _Node(unsigned uAssetID) const;
    VOWString _PhysicalPath(const VOWString& strPath, uint32_t uRoots) const;
    VOWString _Text(void* hString) const;
    VOWString _NameOf(const LUMTrayService::structAssetNode& node) const;
    VOWString _PathOf(unsigned uAssetID) const;
    uint32_t _RootsOf(const LUMTrayService::structAssetNode& node) const { return m_bMergeSign ? node.uAssetMerge : 1; }
    bool _IsFolder(unsigned uAssetID) const { return _Node(uAssetID).bFolder != 0; }
    std::vector<unsigned> _ListsOf(std::initializer_list<unsigned> lists) const;
    std::vector<unsigned> _ChildrenOf(unsigned uAssetID) const;
    unsigned _FindKey(const VOWString& strForm) const;
    unsigned _FindNode(const VOWString& strPath) const;
    void _FoldersBelow(unsigned uFolder, const VOWString& strFolder, std::vector<VOWString>* pvecFolders) const;
    std::vector<VOWString> _Forget(const VOWString& strPath);

    void _AddTwin(unsigned uTwin, unsigned uHolder);
    void _Unlink(unsigned uAssetID);
    bool _SettleOrphans();
    bool _CanMove(unsigned uAssetID, const VOWString& strNewPath) const;
    bool _Move(unsigned uAssetID, const VOWString& strNewFolder, const VOWString& strNewName);

    LUMTrayService::enumAssetFrom m_eaf;
    VOWString m_strRoot;
    VOWString m_strRootName;
    bool m_bMergeSign;
    std::unique_ptr<VOTSAssetNodeContainer> m_pContainer;
    FolderLister* m_pLister = nullptr;
    unsigned m_uNodes = 0;
    unsigned long long m_ullDropped = 0;  // entries of child lists that no folder has any more
    bool m_bChanged = true;
    std::vector<std::pair<uint32_t, uint32_t>> m_vecStamps;  // by id: what the records have no room for
    Changes* m_pChanges = nullptr;                           // where a comparison reports
    std::vector<PendingFolder> m_vecPending;

    std::map<VOWString, std::string> m_mapLeftOut;  // by path: why
    std::map<VOWString, std::string> m_mapDoubted;  // of them, what a comparison hasn't left out again yet
    std::vector<NotIndexed> m_vecLeftOut;           // of them, what nobody has taken yet
    std::map<VOWString, std::string> m_mapUnread;   // by folder: why
    std::vector<UnreadFolder> m_vecUnread;

    // Nodes under an exact-case key, and who has the plain key that each of them can't have.
    std::unordered_map<unsigned, unsigned> m_mapHolders;             // by twin
    std::unordered_map<unsigned, std::vector<unsigned>> m_mapTwins;  // by holder
    std::set<unsigned> m_setOrphans;                                 // twins whose holder has left the key

    std::unordered_map<VOWString, KnownType> m_mapTypes;  // by extension
};

}  // namespace lum
