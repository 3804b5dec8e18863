// VOTSAssetNodeContainer: the tree of one asset source, every file and folder with its names, attributes,
// classify type and place in the tree.
//
// A Provider is a mutable store, built node by node by the publisher. A Customer is a read-only view that a
// tool attaches to a published image. The tree is held in flat structures without pointers: the node vector,
// the string pool and the number container with the child lists. A node's full path is never stored: its key is
// the hash of the lower-cased normalised path, and its text is rendered from directory part, base name and
// extension.
//
// A node's id is the index of its record and is never reused until CleanUp: a removed node keeps its record,
// with the state APS_Deleted. The library links no node into the tree by itself: whoever fills a Provider sets
// parents and child lists.
//
// Paths are normalised before they are looked up: "/" separators, relative to the root, "A" to "Z" folded. They
// are cut to MAX_PATH - 1 characters, so that two paths that agree up to there are one node.
//
// All operations return 1 for success and 0 for failure unless stated otherwise. A refused role, a bad id or a
// failed step is logged; a lookup that finds nothing is silent. Partial work isn't rolled back. What enters,
// copies or makes an image throws std::bad_alloc when there is no memory.
//
// No lock. Reads of a Customer change nothing and may run on any number of threads while nobody attaches an
// image.
#pragma once

#include <vector>

#include "internal/vo_map_table.h"
#include "internal/vo_ordered_index.h"
#include "internal/vo_path_table.h"
#include "internal/vo_write_journal.h"
#include "tray_service_types.h"
#include "vo_string_hash_set.h"
#include "vo_types.h"

class VOTSNumberContainer;
class VOAssetBase;
class VONameIndex;
class VONameIndexSlot;
struct VOAssetJournal;
class VOTSAssetNodeClassifyManager;

// The version of the image. A reader takes images of this one alone.
#define ASSETNODE_CAONTAINER_VERSION "ver.1.4"

// A publisher's order of calls: construct with the root, InsertClassifyType and BuildUpExtensionsHash, a node
// for each path (VOTSAssetNodeContainerHelper fills it), parents and child lists, GetAlloc.
// docs/publishers-guide.md has what it has to mind. A tool seldom has a container of its own:
// VOTSFileMappingInspector reads one for it.
class VOBASE_API VOTSAssetNodeContainer
{
public:
    // The head of an image, and where its five blocks begin. Nothing in it is aligned.
#pragma pack(push, 1)
    struct ContainerAlloc
    {
        char szVersion[8];
        unsigned int uStringPoolBufSize;
        unsigned int uAssetNodeBufSize;
        unsigned int uAssetNodeIndexBufSize;
        unsigned int uAssetNodeMapTableBufSize;
        unsigned int uAssetClassifyBufSize;
        unsigned int uReserved;  // zero
        void* hStrRootPath;      // handles of the pool in this image
        void* hStrRootName;
        unsigned int uDataBufSize;  // the sum of the five sizes; the image has 56 bytes more
        unsigned char abData[4];    // the five blocks begin here
    };
#pragma pack(pop)

    typedef VOMapTable<void*, unsigned int> KeyTable;

    // The root path is kept with "/" separators and no trailing "/", the root name as it is; both are copied,
    // and cut to MAX_PATH - 1 characters. A Customer gets its root from its image. A role that is none gives a
    // container that refuses everything, and a log line.
    explicit VOTSAssetNodeContainer(LUMTrayService::enumAssetRole eAssetRole = LUMTrayService::AR_Provider,
                                    const VOWCHAR* pszRootPath = nullptr, const VOWCHAR* pszRootName = nullptr);

    // Releases what the container owns; the image of a view stays.
    ~VOTSAssetNodeContainer();

    // A copy has parts of its own; the copy of a view is a view of the same image.
    VOTSAssetNodeContainer(const VOTSAssetNodeContainer& rkOther);
    VOTSAssetNodeContainer& operator=(const VOTSAssetNodeContainer& rkOther);

    // Provider. Finds the node of a path or makes it. tsNode gets the node, a new one with its defaults and its
    // nAssetID; what it held before plays no part. A path whose node was removed gets a new node. 0, with a log
    // line and nothing entered, for a path that can't be normalised.
    //
    // Kept (VOTSAssetNodeContainer::RequestAssetNode): bInserted is 1 if the node was there already and 0 if it
    // was made, in spite of its name. Publishers fill a node where it is 0.
    int RequestAssetNode(const VOWCHAR* pszPath, LUMTrayService::structAssetNode& tsNode, int& bInserted);

    // Copies out a live node by path. Allocates nothing. A path that isn't there gives 0 in silence, and leaves
    // tsNode alone; a line is logged for a null path, for the root's own absolute path, and for an absolute one
    // in a container without a root.
    //
    // Kept (VOTSAssetNodeContainer::FindAssetNode): where the index leads to a removed node, as an image or a
    // redirect can make it, a line is logged and the node is given all the same. Tools show what the
    // publisher's index says.
    int FindAssetNode(const VOWCHAR* pszPath, LUMTrayService::structAssetNode& tsNode) const;

    // Copies out the nodes of many paths at once, in less time than one after the other. ppszPath has uCount paths,
    // in any order and repeated as you like; a null path counts as one that isn't there. ptsNode and pbFound have
    // room for as many entries; all three are the caller's, and don't overlap. For each path, what FindAssetNode
    // gives for it: pbFound is 1 and the node is in ptsNode, or pbFound is 0 and its ptsNode is left alone; and the
    // same log lines, in the order of the paths. The result is how many were found. Allocates nothing, throws
    // nothing, and takes some 40 KB of the stack. A null array gives 0, a log line, and 0 in what there is of pbFound,
    // unless uCount is 0. A Provider looks up one path after the other.
    unsigned int FindAssetNodes(const VOWCHAR* const* ppszPath, unsigned int uCount,
                                LUMTrayService::structAssetNode* ptsNode, int* pbFound) const;

    // Copies out a node by id, removed ones too. 0 and a log line for an id that is none.
    int GetAssetNode(unsigned int uAssetID, LUMTrayService::structAssetNode& tsNode) const;

    // Records, removed ones included: ids are below it.
    unsigned int GetAssetNodeCount() const;

    // Provider. Removes a node and its subtree, files before folders, and takes it out of its parent's list.
    // Names, attributes and lists stay in the records. 0 and log lines for what isn't there, for a node that
    // was removed already, and when a list can't be read; what was removed before that stays removed.
    int RemoveAssetNode(const VOWCHAR* pszPath);
    int RemoveAssetNode(unsigned int uAssetID);

    // Provider. Gives a node a new key and changes nothing else: names, parent and children are the caller's,
    // and children are still found under the old path until each of them is redirected. Where another node has
    // that key already, the index keeps pointing at the other one, and this one can't be found. A path that
    // can't be normalised gives 0, and leaves the node without a place in the index.
    //
    // Kept (VOTSAssetNodeContainer::RedirectAssetNode): the node's next RedirectAssetNode or RemoveAssetNode
    // then takes the other node's entry out of the index, so that neither is found by that path. Publishers
    // remove a node before they give its path to another.
    int RedirectAssetNode(unsigned int uAssetID, const VOWCHAR* pszPath);

    // Empties the container; the next id is 0. Nothing is left that points into an image. Always 1.
    //
    // Kept (VOTSAssetNodeContainer::CleanUp): root texts and owned classify table and child lists stay.
    // Publishers that index the same root anew don't insert their types again.
    int CleanUp();

    // Cuts nodes, strings and child lists to what is in use. Always 1.
    int ShrinkToFit();

    // The text of a handle, at any alignment, valid until the pool grows, is cleaned, or an image is attached;
    // an empty pointer if it has none, as a key.
    const VOWCHAR* GetString(void* hString) const;

    // The root's texts, the container's own before those of an image; an empty pointer when there is none.
    const VOWCHAR* GetRootPath() const;
    const VOWCHAR* GetRootName() const;

    // The path in the normal form, relative to the root, cut to uSize - 1 characters and terminated; with
    // bLower, "A" to "Z" folded. uSize is the room of pszResult in characters, and one that is too small cuts
    // in silence. A path without ":" counts as relative already. 0 in silence for an absolute path (one with
    // ":") that doesn't contain the root in any case of its letters; 0 and a log line for a null argument, for
    // no room, for no root, and for the root itself or one character more. An absolute path that fails stands
    // in pszResult as it came, but for its separators and case.
    //
    // Kept (VOTSAssetNodeContainer::NormailzeAssetPath): the root is looked for anywhere in the path, but as
    // many characters as it has are cut from the start of the path. Callers give absolute paths that begin with
    // the root.
    int NormailzeAssetPath(VOWCHAR* pszResult, const VOWCHAR* pszPath, unsigned int uSize, int bLower) const;

    // Setters, Provider only. They write into the record and touch nothing else: not the parent's lists, not
    // the index, not the key. 0 and a log line, with nothing written, for an id that is none and on a Customer.
    // Texts are copied into the pool, with their case.
    //
    // Kept (VOTSAssetNodeContainer::SetAssetNodeAssetFrom): on a removed node every setter logs a line and
    // writes all the same. Publishers that set the parts of a node one after the other aren't stopped half-way.
    int SetAssetNodeAssetFrom(unsigned int uAssetID, LUMTrayService::enumAssetFrom eAssetFrom);
    int SetAssetNodeAssetMergeSign(unsigned int uAssetID, unsigned int uAssetMerge);

    // Directory part, base name and extension (without its dot) of the node's path. A null or empty one leaves
    // its handle invalid; all three are invalid first, so that what fails leaves those set so far.
    int SetAssetNodeStripPath(unsigned int uAssetID, const VOWCHAR* szComponent, const VOWCHAR* szBaseName,
                              const VOWCHAR* szExt);

    // Where the file lies, for tools; the library doesn't look at it. Null and empty texts are refused with a
    // log line.
    int SetAssetNodePhysicsPath(unsigned int uAssetID, const VOWCHAR* pszPhysicsPath);

    // The number and the name of the type. Neither is compared with the classify table. An empty name is
    // refused.
    int SetAssetNodeClassifyType(unsigned int uAssetID, int nClassifyType, const VOWCHAR* pszClassifyName);

    // Folder or file. To be set before the node is put into a list: it says which of the parent's lists that
    // is.
    int SetAssetNodeFolder(unsigned int uAssetID, int bFolder);

    // Size in bytes, times in the source's unit, and the kFileAttribute... flags.
    int SetAssetNodeFileAttribute(unsigned int uAssetID, unsigned long long ullFileSize, long long ftCreateTime,
                                  long long ftLastAccessTime, long long ftLastWriteTime, unsigned int nFileAttribute);

    // The parent's id, UINT(-1) for none; it isn't checked.
    int SetAssetNodeParentIndex(unsigned int uAssetID, unsigned int uParentIndex);

    // Makes both child lists anew from a list of ids, each into the list that its bFolder says: the way to fill
    // a folder at once. An id that is none gives 0 and leaves both lists. The former lists stay in the number
    // container as dead space.
    int SetAssetNodeChildIndex(unsigned int uAssetID, const std::vector<unsigned int>& vecChildIndex);

    // Names two lists directly, without a check.
    //
    // Kept (VOTSAssetNodeContainer::SetAssetNodeChildIndex): the folders' list comes before the files', unlike
    // everywhere else. Publishers that carry lists from node to node pass them in this order.
    int SetAssetNodeChildIndex(unsigned int uAssetID, unsigned int uFolderInfo, unsigned int uFileInfo);

    // Takes one child into the list that fits it: into the first hole, else behind the last one. Without a hole
    // the list is copied, so filling a large folder child by child costs the square of its size. The child's
    // nParentID isn't set.
    //
    // Kept (VOTSAssetNodeContainer::InsertAssetNodeChildIndex): a child that is in the list already, with no
    // hole before it, ends the copied list: what stood behind it is gone. Publishers insert a child once.
    int InsertAssetNodeChildIndex(unsigned int uAssetID, unsigned int uChildIndex);

    // Takes one child into the list that fits it, in front of another child of that list, or behind all for ~0u. The
    // others keep their order. It costs a few places, not the length of the list, but for one time in many. The child's
    // nParentID isn't set. 0 and a log line when uBefore isn't in that list.
    int InsertAssetNodeChildBefore(unsigned int uAssetID, unsigned int uChildIndex, unsigned int uBefore);

    // Takes one child out of that list and leaves a hole. 0 and a log line when the parent has no such list.
    // The child's nParentID isn't touched.
    //
    // Kept (VOTSAssetNodeContainer::RemoveAssetNodeChildIndex): 1 also for a child that isn't in the list.
    // Publishers that move a node take it out of its old folder without asking whether it stood there.
    int RemoveAssetNodeChildIndex(unsigned int uAssetID, unsigned int uChildIndex);

    // A new image, owned by the caller and released with free(); an empty pointer, with a log line, when it or
    // a block would have more than 4 GiB. It may enter the root strings into the pool; otherwise the container
    // stays as it is. Nobody may change it meanwhile. Removed nodes go along.
    ContainerAlloc* GetAlloc();

    // Replaces the contents by an image, copied with bCopy, otherwise as a view of it: then the image must
    // outlive the use, and CleanUp or the next SetAlloc comes before its end. A Provider as a view writes into
    // the image what it changes in place, so one that is to be changed takes a copy. A wrong version or total
    // is refused with the container untouched; after a later failure it must be taken as empty. What a view
    // costs doesn't depend on the number of nodes.
    //
    // The form with ullSize is for an image of that many bytes from a place that isn't trusted: every size in
    // it is held against that. The other one trusts the sizes in the head.
    int SetAlloc(ContainerAlloc* pAlloc, int bCopy);
    int SetAlloc(ContainerAlloc* pAlloc, int bCopy, unsigned long long ullSize);

    // Customer. Replaces the contents by the present state of a base, as a view that the base's memory must
    // outlive; to be called again when a batch was applied to it. For this library's own readers. GetAlloc of it gives
    // the image that the publisher's container has in that state.
    int SetBase(const VOAssetBase& base);

    // Makes the target an empty container with this one's root and classify table: the way from a published
    // index to a Provider of one's own. The target may be this container; its role isn't looked at. 0 and a log
    // line for an empty pointer, and when the table can't be taken.
    //
    // Kept (VOTSAssetNodeContainer::ReConstructContainer): the child lists that the target owns stay in it,
    // where no node names them. Publishers give a new container as the target.
    int ReConstructContainer(VOTSAssetNodeContainer* pkToContainer) const;

    // The path of a node, relative to the root: "/" separators, the case in which it came in, terminated.
    // nBufferSize is the room of pszResult in characters. 0 and a log line for an id that is none, no buffer or
    // no room, a text that the pool doesn't have, and a node without a base name. Removed nodes are rendered
    // too.
    //
    // Kept (VOTSAssetNodeContainer::GetAssetPath): a buffer that is too small gives 0, a log line, and the cut
    // text, terminated. Tools show what fits.
    int GetAssetPath(unsigned int uAssetID, unsigned int nBufferSize, VOWCHAR* pszResult) const;

    // The same behind the root path and a "/"; 0 and a log line also for a container without a root.
    //
    // Kept (VOTSAssetNodeContainer::GetAssetAbsolutePath): a relative path of MAX_PATH characters or more fails
    // whatever the room is. Tools that open files by these paths have buffers of that size behind the root.
    int GetAssetAbsolutePath(unsigned int uAssetID, unsigned int nBufferSize, VOWCHAR* pszResult) const;

    // Child lists, by the info IDs of a node, with the ids in the order of insertion (a gap is filled first).
    // GetInfoNumberList appends and doesn't clear. 0 and a log line for what is no list.
    int GetInfoNumberList(unsigned int uInfoID, std::vector<unsigned int>& vecNumber) const;

    // The uIndex-th id of a list, counted from 0. UINT(-1) if there is none.
    //
    // Kept (VOTSAssetNodeContainer::GetInfoNumberFromIndex): an index behind the end is logged like a failure.
    // Tools that walk to the end see one line in the log for each list.
    unsigned int GetInfoNumberFromIndex(unsigned int uInfoID, unsigned int uIndex) const;

    // How many ids a list has; 0, and a log line, for what is none.
    unsigned int GetInfoNumberCount(unsigned int uInfoID) const;

    // The classify table; see VOTSAssetNodeClassifyManager for all of them. The first two are refused on a
    // Customer, with a log line.
    int InsertClassifyType(int nClassifyType, const VOWCHAR* pszClassifyName, const VOWCHAR* pszExtensions,
                           const LUMTrayService::Color& rkTypeColor, const LUMTrayService::Color& rkBackgroundColor);
    int BuildUpExtensionsHash();
    int GetClassifyTypeByExtension(const VOWCHAR* pszExt, int& nResult) const;
    int GetClassifyTypeByName(const VOWCHAR* pszClassifyName, int& nResult) const;
    int GetClassifyName(int nClassifyType, VOWCHAR* pszResult) const;
    int GetClassifyTypeColor(int nClassifyType, LUMTrayService::Color& rkResult) const;
    int GetClassifyBackgroundColor(int nClassifyType, LUMTrayService::Color& rkResult) const;
    int GetClassifyExtensions(int nClassifyType, VOWCHAR* pszResult) const;

protected:
    friend class VOTSAssetNodeContainerHelper;

    // Appends a record with a key, and gives it its id; the index is the caller's.
    int _AddFileDataParam(void* hStringParam, LUMTrayService::structAssetNode& tsNode, unsigned int& uParamIndex);

    // The id that the index of each role has for a key; UINT(-1) for none, and for the invalid handle.
    unsigned int _FindAssetParamIndex_P(void* hStringParam) const;
    unsigned int _FindAssetParamIndex_C(void* hStringParam) const;

    // Enters the root's texts into the pool where the image needs their handles.
    int _MakeSurePathValueValid();

    // SetAlloc of each role; the other role is refused with a log line.
    int _SetAlloc_P(ContainerAlloc* pAlloc, int bCopy);
    int _SetAlloc_P(ContainerAlloc* pAlloc, int bCopy, unsigned long long ullSize);
    int _SetAlloc_C(ContainerAlloc* pAlloc, int bCopy);
    int _SetAlloc_C(ContainerAlloc* pAlloc, int bCopy, unsigned long long ullSize);

    LUMTrayService::enumAssetRole m_eAssetRole;
    VOStringHashSet* m_pkStringSet;  // owned
    VOWCHAR m_tszRootPath[MAX_PATH];
    void* m_hStrRootPath;
    VOWCHAR m_tszRootName[MAX_PATH];
    void* m_hStrRootName;
    VORecordVector<structAssetNodeParam> m_vecAssetNode;  // indexed by nAssetID
    VOTSNumberContainer* m_pkAssetIndexContainer;         // owned; the child lists
    VOTSAssetNodeClassifyManager* m_pkClassifyMgr;        // owned
    VOHandleIndex m_mapStringHandle2ParamIndex;           // Provider: from key to id
    KeyTable m_mapTableStringHandle2ParamIndex;           // Customer: the same, as published

private:
    friend class VOAssetBaseWriter;
    friend struct VOAssetLookup;
    friend class VOAssetBatch;
    friend class VONameIndex;
    struct Removal;

    void _SetJournal(VOAssetJournal* pJournal);
    void _NoteKey(void* hKey);
    void _NoteWhole();
    void _LeaveJournal();
    void _SetRootPath(const VOWCHAR* pszRootPath);
    void _SetRootName(const VOWCHAR* pszRootName);
    const VOWCHAR* _RootText(const VOWCHAR* pszBuffer, void* hString) const;
    static bool _CheckImage(const char* pszFunction, const ContainerAlloc* pAlloc, unsigned long long ullSize,
                            ContainerAlloc& rkHead);
    template <typename TakeKeys>
    int _SetBlocks(const char* pszFunction, ContainerAlloc* pAlloc, int bCopy, unsigned long long ullSize,
                   TakeKeys takeKeys);
    bool _CheckState(const char* pszFunction, unsigned int uAssetID) const;
    bool _MaySet(const char* pszFunction, unsigned int uAssetID) const;
    bool _MaySetText(const char* pszFunction, unsigned int uAssetID, const char* pszCheck,
                     const VOWCHAR* pszText) const;
    bool _MaySetChild(const char* pszFunction, unsigned int uAssetID, unsigned int uChildIndex) const;
    void _EnterSlots();
    bool _HasKeyMap() const;
    unsigned long long _KeyTableAllocSize() const;
    void* _KeyOf(unsigned int uAssetID) const;
    unsigned int _StateOf(unsigned int uAssetID) const;
    size_t _ChildInfoOffset(unsigned int uChildIndex) const;
    template <typename... Fields>
    int _SetFields(const char* pszFunction, unsigned int uAssetID, Fields... fields);
    template <typename T>
    void _StoreField(unsigned int uAssetID, size_t uOffset, const T& kValue)
    {
        VOStore(m_vecAssetNode.Bytes(uAssetID) + uOffset, kValue);
        if (m_pJournal != nullptr)
        {
            _NoteNode(uAssetID);
        }
    }
    void _NoteNode(unsigned int uAssetID);

    VOPathTable m_pathTable;               // Customer of a base: instead of the tables of an image
    VOAssetJournal* m_pJournal = nullptr;  // Provider; whoever keeps it owns it
    VONameIndexSlot* m_pNames = nullptr;   // Customer; owned
};
static_assert(sizeof(VOTSAssetNodeContainer::ContainerAlloc) == 56);
static_assert(offsetof(VOTSAssetNodeContainer::ContainerAlloc, hStrRootPath) == 32);
static_assert(offsetof(VOTSAssetNodeContainer::ContainerAlloc, uDataBufSize) == 48);
static_assert(offsetof(VOTSAssetNodeContainer::ContainerAlloc, abData) == 52);
