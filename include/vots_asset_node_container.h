// VOTSAssetNodeContainer: the tree of one asset source, every file and folder with its names, attributes, classify
// type and place in the tree.
//
// A Provider is a mutable store, built node by node by the publisher. A Customer is a read-only view that a tool
// attaches to a published image. The tree is held in flat structures without pointers: the node vector, the string
// pool and the number container with the child lists. A node's full path is never stored: its key is the hash of
// the lower-cased normalised path, and its text is rendered from directory part, base name and extension.
//
// A node's id is the index of its record and is never reused until CleanUp: a removed node keeps its record, with
// the state APS_Deleted. The library links no node into the tree by itself: whoever fills a Provider sets parents
// and child lists.
//
// Paths are normalised before they are looked up: "/" separators, relative to the root, "A" to "Z" folded. They are
// cut to MAX_PATH - 1 characters.
//
// All operations return non-zero for success unless stated otherwise. A refused role, a bad id or a failed step is
// logged; a lookup that finds nothing is silent. Partial work isn't rolled back.
//
// No lock. Reads of a Customer change nothing and may run on any number of threads while nobody attaches an image.
#pragma once

#include <vector>

#include "internal/vo_map_table.h"
#include "internal/vo_ordered_index.h"
#include "tray_service_types.h"
#include "vo_string_hash_set.h"
#include "vo_types.h"

class VOTSNumberContainer;
class VOTSAssetNodeClassifyManager;

// The version of the image.
#define ASSETNODE_CAONTAINER_VERSION "ver.1.4"

class VOBASE_API VOTSAssetNodeContainer
{
public:
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

    // The root path is kept with "/" separators and no trailing "/", the root name as it is; both are cut to
    // MAX_PATH - 1 characters. A Customer gets its root from its image.
    explicit VOTSAssetNodeContainer(LUMTrayService::enumAssetRole eAssetRole = LUMTrayService::AR_Provider,
                                    const VOWCHAR* pszRootPath = nullptr, const VOWCHAR* pszRootName = nullptr);
    ~VOTSAssetNodeContainer();
    VOTSAssetNodeContainer(const VOTSAssetNodeContainer& rkOther);
    VOTSAssetNodeContainer& operator=(const VOTSAssetNodeContainer& rkOther);

    // Provider. Finds the node of a path or makes it. bInserted is 1 if the node was there already and 0 if it was
    // made; tsNode gets the node, a new one with its defaults and its nAssetID.
    int RequestAssetNode(const VOWCHAR* pszPath, LUMTrayService::structAssetNode& tsNode, int& bInserted);

    // Copies out a live node by path. Allocates nothing.
    int FindAssetNode(const VOWCHAR* pszPath, LUMTrayService::structAssetNode& tsNode) const;

    // Copies out a node by id, removed ones too.
    int GetAssetNode(unsigned int uAssetID, LUMTrayService::structAssetNode& tsNode) const;

    // Records, removed ones included.
    unsigned int GetAssetNodeCount() const;

    // Provider. Removes a node and its subtree, files before folders.
    int RemoveAssetNode(const VOWCHAR* pszPath);
    int RemoveAssetNode(unsigned int uAssetID);

    // Provider. Gives a node a new key and changes nothing else: names, parent and children are the caller's.
    // Where another node has that key already, the index keeps pointing at the other one, and this one can't be found.
    // Kept: its next RedirectAssetNode or RemoveAssetNode then takes the other node's entry out of the index, so that
    // neither is found by that path. A caller removes a node before it gives its path to another.
    int RedirectAssetNode(unsigned int uAssetID, const VOWCHAR* pszPath);

    // Empties the container. Root texts and owned classify table and child lists stay; nothing is left that points
    // into an image.
    int CleanUp();
    int ShrinkToFit();

    // The text of a handle, at any alignment; an empty pointer if it has none.
    const VOWCHAR* GetString(void* hString) const;
    const VOWCHAR* GetRootPath() const;
    const VOWCHAR* GetRootName() const;

    // The path in the normal form, relative to the root, cut to uSize - 1 characters; with bLower, "A" to "Z" folded.
    // 0 in silence for an absolute path (one with ":") that doesn't contain the root.
    int NormailzeAssetPath(VOWCHAR* pszResult, const VOWCHAR* pszPath, unsigned int uSize, int bLower) const;

    // Setters, Provider only. They write into the record and touch nothing else. On a removed node they log and
    // write all the same.
    int SetAssetNodeAssetFrom(unsigned int uAssetID, LUMTrayService::enumAssetFrom eAssetFrom);
    int SetAssetNodeAssetMergeSign(unsigned int uAssetID, unsigned int uAssetMerge);
    int SetAssetNodeStripPath(unsigned int uAssetID, const VOWCHAR* szComponent, const VOWCHAR* szBaseName,
                              const VOWCHAR* szExt);
    int SetAssetNodePhysicsPath(unsigned int uAssetID, const VOWCHAR* pszPhysicsPath);
    int SetAssetNodeClassifyType(unsigned int uAssetID, int nClassifyType, const VOWCHAR* pszClassifyName);
    int SetAssetNodeFolder(unsigned int uAssetID, int bFolder);
    int SetAssetNodeFileAttribute(unsigned int uAssetID, unsigned long long ullFileSize, long long ftCreateTime,
                                  long long ftLastAccessTime, long long ftLastWriteTime, unsigned int nFileAttribute);
    int SetAssetNodeParentIndex(unsigned int uAssetID, unsigned int uParentIndex);

    // Makes both child lists anew from a list of ids: the way to fill a folder at once.
    int SetAssetNodeChildIndex(unsigned int uAssetID, const std::vector<unsigned int>& vecChildIndex);
    int SetAssetNodeChildIndex(unsigned int uAssetID, unsigned int uFolderInfo, unsigned int uFileInfo);

    // Takes one child into, or out of, the list that fits it. Without a hole to fill the list is copied, so filling
    // a large folder child by child costs the square of its size.
    int InsertAssetNodeChildIndex(unsigned int uAssetID, unsigned int uChildIndex);
    int RemoveAssetNodeChildIndex(unsigned int uAssetID, unsigned int uChildIndex);

    // A new image, owned by the caller; it may enter the root strings into the pool. SetAlloc replaces the contents
    // by an image, copied with bCopy, otherwise as a view of it: then the image must outlive the use. A wrong
    // version or total is refused with the container untouched; after a later failure it must be taken as empty.
    // The form with ullSize is for an image of that many bytes from a place that isn't trusted.
    ContainerAlloc* GetAlloc();
    int SetAlloc(ContainerAlloc* pAlloc, int bCopy);
    int SetAlloc(ContainerAlloc* pAlloc, int bCopy, unsigned long long ullSize);

    // Makes the target an empty container with this one's root and classify table.
    int ReConstructContainer(VOTSAssetNodeContainer* pkToContainer) const;

    // The path of a node, relative to the root, or behind the root path. 0 and a cut, terminated text when the
    // buffer of nBufferSize characters is too small.
    int GetAssetPath(unsigned int uAssetID, unsigned int nBufferSize, VOWCHAR* pszResult) const;
    int GetAssetAbsolutePath(unsigned int uAssetID, unsigned int nBufferSize, VOWCHAR* pszResult) const;

    // Child lists, by the info IDs of a node. GetInfoNumberList appends.
    int GetInfoNumberList(unsigned int uInfoID, std::vector<unsigned int>& vecNumber) const;
    unsigned int GetInfoNumberFromIndex(unsigned int uInfoID, unsigned int uIndex) const;  // UINT(-1) if there is none
    unsigned int GetInfoNumberCount(unsigned int uInfoID) const;

    // The classify table; see VOTSAssetNodeClassifyManager. The first two are refused on a Customer.
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

    int _AddFileDataParam(void* hStringParam, LUMTrayService::structAssetNode& tsNode, unsigned int& uParamIndex);
    unsigned int _FindAssetParamIndex_P(void* hStringParam) const;
    unsigned int _FindAssetParamIndex_C(void* hStringParam) const;
    int _MakeSurePathValueValid();
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
    struct ImageBlocks;
    struct Removal;

    void _SetRootPath(const VOWCHAR* pszRootPath);
    void _SetRootName(const VOWCHAR* pszRootName);
    const VOWCHAR* _RootText(const VOWCHAR* pszBuffer, void* hString) const;
    static ImageBlocks _BlocksOf(ContainerAlloc* pAlloc, const ContainerAlloc& rkHead);
    unsigned long long _KeyTableAllocSize() const;
    void* _KeyOf(unsigned int uAssetID) const;
    unsigned int _StateOf(unsigned int uAssetID) const;
    size_t _ChildInfoOffset(unsigned int uChildIndex) const;
    template <typename T>
    void _StoreField(unsigned int uAssetID, size_t uOffset, const T& kValue)
    {
        VOStore(m_vecAssetNode.Bytes(uAssetID) + uOffset, kValue);
    }
};
static_assert(sizeof(VOTSAssetNodeContainer::ContainerAlloc) == 56);
static_assert(offsetof(VOTSAssetNodeContainer::ContainerAlloc, hStrRootPath) == 32);
static_assert(offsetof(VOTSAssetNodeContainer::ContainerAlloc, uDataBufSize) == 48);
static_assert(offsetof(VOTSAssetNodeContainer::ContainerAlloc, abData) == 52);
