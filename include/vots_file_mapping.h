// Reading published asset images: section names, the update state section, the inspector of one source and the
// assemble object over all of them.
//
// A tool's order of calls: VOTSFileMappingAssemble::Instance, OpenMappingState, OpenMappingData, then queries
// on GetFileMappingInspector(source); from time to time LastErrorType, and on ET_DATA_OUTDATED a ReMappingData;
// at the end Release. Nothing is pushed: a tool that doesn't ask doesn't learn of a change.
//
// The library only reads. What a publisher has to do for it is in docs/publishers-guide.md.
#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "tray_service_types.h"
#include "vo_types.h"
#include "vots_asset_node_container.h"

class VOAssetRoad;

// What the update state section begins with, terminator included, and its name. Another version is refused.
#define FILEMAPPING_ASSETNODE_UPDATESTATE_VERSION "version.2.4"
#define FILEMAPPING_ASSETNODE_UPDATESTATE_NAME VOTEXT("vo_fileMappingUpdateStateName_assetNode")

// The name of the data section of a source, in constant storage; an empty pointer for AF_ERROR and for what is
// no source.
#define ASSETNODE_MAPPING_VIEW_STRING(eaf) VOAssetNodeMappingViewString(static_cast<LUMTrayService::enumAssetFrom>(eaf))
VOBASE_API const VOWCHAR* VOAssetNodeMappingViewString(LUMTrayService::enumAssetFrom eaf);

// The update state section; see docs/wire-formats.md for who writes what in which order. Each word has one side
// that writes it; the other reads it at any time.
//
// Kept (AssetNodeStateInfo): readers step uReaderCount without interlock, so that a step may be lost, and one
// that dies inside leaves it raised. All readers of the protocol do so, and publishers bound their wait for it.
struct AssetNodeStateInfo
{
    unsigned int bEnable;       // publisher: non-zero while the source is published
    unsigned int uUpdateCount;  // publisher: version of the data section, compared for equality; 0 for none yet
    unsigned int uReaderCount;  // readers: how many are at this moment inside the data section
};

struct AssetNodeUpdateState
{
    char szVersion[12];
    AssetNodeStateInfo arrStateInfo[LUMTrayService::ASSETTYPE_COUNT];  // indexed by enumAssetFrom
};
static_assert(sizeof(AssetNodeStateInfo) == 12 && offsetof(AssetNodeStateInfo, uUpdateCount) == 4 &&
              offsetof(AssetNodeStateInfo, uReaderCount) == 8);
static_assert(sizeof(AssetNodeUpdateState) == 132 && offsetof(AssetNodeUpdateState, arrStateInfo) == 12);

// A tool process's view of one source. It keeps the update state section open, loads the source's image into
// private memory when asked to, and reads it in place. The data section is open only while it is read. Made and
// owned by the assemble as a rule; one of a tool's own works the same.
//
// The four opening and closing operations are serialised by a lock. Queries take none: a tool keeps queries and
// reloads apart. Any number of threads may query. Strings and nodes handed out point into the image and end
// with the next reload; a node itself is a copy, its handles are what ends.
class VOBASE_API VOTSFileMappingInspector
{
public:
    // Opens nothing. A line is logged for AF_ERROR, and the object is made all the same. Throws std::bad_alloc
    // when there is no memory.
    explicit VOTSFileMappingInspector(LUMTrayService::enumAssetFrom eaf);

    // Doesn't close the mappings: call CloseMapping first.
    ~VOTSFileMappingInspector();
    VOTSFileMappingInspector(const VOTSFileMappingInspector&) = delete;
    VOTSFileMappingInspector& operator=(const VOTSFileMappingInspector&) = delete;

    // Opens the update state section, for writing too, since readers count themselves there. ET_NONE, also when
    // it is open already; ET_STATE_UNAVAILABLE when it isn't there, can't be mapped or is too short;
    // ET_VERSION_MISMATCH. Nothing is logged. It stays open when its publisher goes, with the last words in it.
    LUMTrayService::Inspector::ErrorType OpenMappingState();

    // Where the publisher offers a base beside the image, it is taken: the same answers, nothing is unpacked, and a
    // reload costs what has changed. VOBASE_CLASSIC=1 in the environment keeps a process from it.
    //
    // Loads the image if its count has changed; ET_NONE with an unchanged one, which stays.
    // ET_STATE_UNAVAILABLE before OpenMappingState; ET_SOURCE_DISABLED, with the old image in place, for a
    // source that isn't published; ET_DATA_UNAVAILABLE and a log line when the data section isn't there or is
    // damaged. The old image goes before the new one is known to be good, so that nothing is loaded after that.
    // Takes the time of decompressing; throws std::bad_alloc, with nothing loaded and the data section closed,
    // when there is no memory.
    //
    // Kept (VOTSFileMappingInspector::OpenMappingData): ET_NONE with nothing loaded while the published count
    // is 0, and, with a log line, for a source without a section name whose record is enabled. Tools ask
    // LastErrorType whether there are data.
    LUMTrayService::Inspector::ErrorType OpenMappingData();

    // Drops the image and loads anew as OpenMappingData does, also where the count hasn't changed. A withdrawn
    // source then has no image any more.
    LUMTrayService::Inspector::ErrorType ReMappingData();

    // Drops the image and closes the section; OpenMappingState begins anew. Always 1.
    int CloseMapping();

    // What queries do with an image that is out of date; SM_ASYNC from the start. Takes no lock, and is safe
    // beside queries.
    void SetInspectMode(LUMTrayService::Inspector::SyncMode eSyncMode);
    LUMTrayService::enumAssetFrom AssetFrom() const;

    // The state of the loaded image against the published one: ET_STATE_UNAVAILABLE, ET_DATA_UNAVAILABLE,
    // ET_DATA_OUTDATED or ET_NONE. Two reads of memory; call it as often as you like, but not beside
    // CloseMapping, which takes the section away. LastErrorTypeASync leaves ET_DATA_OUTDATED out in the mode
    // SM_ASYNC.
    //
    // Kept (VOTSFileMappingInspector::LastErrorType): whether the source is still published plays no part.
    // Tools go on with the image that they have when a publisher withdraws it.
    LUMTrayService::Inspector::ErrorType LastErrorType() const;
    LUMTrayService::Inspector::ErrorType LastErrorTypeASync() const;

    // Waits until something is published that OpenMappingData would load, at most so many milliseconds: 1 then, within
    // milliseconds where the publisher offers a base and within half a second where it doesn't, and 0 when the time is
    // over. 0 only looks. Beside queries, but not beside the four operations above. Throws nothing.
    int WaitForChange(unsigned int uMilliseconds) const;

    // Queries that fail in silence, with 0 or an empty pointer, unless LastErrorTypeASync is ET_NONE. What they
    // do then is what the container's operations of these names do; those log a bad id.
    int NormalizeAssetPath(const VOWCHAR* pszPath, unsigned int uSize, VOWCHAR* pszResult) const;

    // Makes the caller's container an empty one with this source's root and classify table.
    int ReConstructContainer(VOTSAssetNodeContainer* pkToContainer) const;

    // Records of the image, removed ones included.
    unsigned int GetAssetNodeCount() const;

    // A node by id, and by path; the latter is silent for what isn't there, and allocates nothing.
    int GetAssetNode(unsigned int uAssetIndex, LUMTrayService::structAssetNode& tsNode) const;
    int GetAssetNode(const VOWCHAR* pszPath, LUMTrayService::structAssetNode& tsNode) const;

    // The nodes of many paths at once, in far less time than one after the other. ppszPath has uCount paths, in any
    // order and repeated as you like; ptsNode and pbFound have room for as many entries. All three are the
    // caller's, and don't overlap. For each path what GetAssetNode gives for it: pbFound is 1 and the node is in
    // ptsNode, or pbFound is 0 and its ptsNode is left alone; and the same log lines, in the order of the paths.
    // The result is how many were found. The error state is asked once, before the first path: unless it is
    // ET_NONE nothing is found, in silence. A null array gives 0, a log line, and 0 in what there is of pbFound,
    // unless uCount is 0. Allocates nothing, throws nothing, and takes some 40 KB of the stack. Any number of
    // threads, as all queries.
    unsigned int GetAssetNodes(const VOWCHAR* const* ppszPath, unsigned int uCount,
                               LUMTrayService::structAssetNode* ptsNode, int* pbFound) const;

    // The position of a node among its parent's children of a type, counted from 0. 0 and a log line for a node
    // that isn't among them, as when the type is the other one. May throw std::bad_alloc.
    //
    // Kept (VOTSFileMappingInspector::GetAssetIndexOfParent): 0 also for a node without a parent, in silence,
    // so that the root looks like a first child. Tools ask nParentID to tell them apart.
    unsigned int GetAssetIndexOfParent(unsigned int uAssetIndex, LUMTrayService::Inspector::NodeType eNodeType) const;

    // The children of the types in dwType.
    unsigned int GetAssetChildCount(unsigned int uAssetIndex, VOULONG dwType) const;

    // The uIndex-th child of a type, counted from 0.
    //
    // Kept (VOTSFileMappingInspector::GetAssetChildByIndex): the result says only that the node was found:
    // where it has no such child, uResult is UINT(-1), and a line is logged. Tools walk the children until they
    // get UINT(-1).
    int GetAssetChildByIndex(unsigned int uAssetIndex, unsigned int uIndex,
                             LUMTrayService::Inspector::NodeType eNodeType, unsigned int& uResult) const;

    // Appends the children, files before folders, to a vector that isn't cleared. The result says only that the
    // node was found. May throw std::bad_alloc.
    int GetAssetChildIndexList(unsigned int uAssetIndex, VOULONG dwType, std::vector<unsigned int>& vecIndex) const;

    // The text of a handle of this image, at any alignment, until the next reload.
    const VOWCHAR* GetString(void* hString) const;

    // Queries that answer in every state; without an image they find nothing. The paths are written to
    // nBufferSize characters, cut and terminated where they don't fit, with 0 and a log line.
    int GetAssetPath(unsigned int uAssetIndex, unsigned int nBufferSize, VOWCHAR* pszResult) const;
    int GetAssetAbsolutePath(unsigned int uAssetIndex, unsigned int nBufferSize, VOWCHAR* pszResult) const;

    // The root's texts in the image; an empty pointer for none.
    const VOWCHAR* GetAssetRootPath() const;
    const VOWCHAR* GetAssetRootName() const;

    // The classify table of the image; a type or name that isn't in it gives 0 in silence, but for
    // GetClassifyExtension, which logs.
    int GetClassifyTypeByName(const VOWCHAR* pszClassifyName, int& nResult) const;

    // Appends the extensions of a type, as they were inserted, to a vector that isn't cleared. May throw
    // std::bad_alloc.
    int GetClassifyExtension(int nClassifyType, std::vector<VOWString>& vecExtension) const;
    int GetClassifyTypeColor(int nClassifyType, LUMTrayService::Color& rkResult) const;
    int GetClassifyBackgroundColor(int nClassifyType, LUMTrayService::Color& rkResult) const;

    // Walks; see VOTSAssetNodeContainerHelper::TraverseAssetNode for the order and for what ends one. The
    // callback runs on the calling thread, and must not reload. 1, whatever the walk met.
    int TraverseAssetNode(unsigned int uAssetIndex, VOULONG dwType, int bSubAssetNode,
                          LUMTrayService::TraverseAssetNodeFunction pFun, void* pvParam) const;

    // The files whose merge sign and uAssetMerge have a bit in common.
    //
    // Kept (VOTSFileMappingInspector::TraverseAssetNode_AssetMerge): the result is always 0, also of a walk
    // that went well. Tools go by what their callback got.
    int TraverseAssetNode_AssetMerge(unsigned int uAssetIndex, unsigned int uAssetMerge, int bSubAssetNode,
                                     LUMTrayService::TraverseAssetNodeFunction pFun, void* pvParam) const;

    // The next two: the first search of a whole tree takes about the time of a walk, and leaves an index that makes
    // further ones, of parts too, many times as fast: until the image goes it takes 15 bytes for each node and a byte
    // for each ASCII character of its name.
    //
    // The nodes whose base name (without extension) contains a text of at most 99 characters; bMatchCase 0
    // compares without regard to case. A node without a base name is logged and passed over. An empty text
    // matches no name.
    //
    // Kept (VOTSFileMappingInspector::TraverseAssetNode_FileName): of a longer text the first 100 characters
    // are searched for; with bMatchCase, its number follows them as one more character, which no name has.
    // Tools keep their search texts below that; the same holds for TraverseAssetNode_Extension.
    int TraverseAssetNode_FileName(unsigned int uAssetIndex, const VOWCHAR* pszSourceContext, int bMatchCase,
                                   VOULONG dwType, int bSubAssetNode, LUMTrayService::TraverseAssetNodeFunction pFun,
                                   void* pvParam) const;

    // The files with one of the extensions of a list such as "png|tga|dds", of at most 99 characters; no dots,
    // and blanks count.
    //
    // Kept (VOTSFileMappingInspector::TraverseAssetNode_Extension): each file without an extension costs a line
    // in the log, and so does each file with one while the list is empty. Hosts that watch the log expect these
    // lines from a filtered walk.
    int TraverseAssetNode_Extension(unsigned int uAssetIndex, const VOWCHAR* pszSourceContext, int bMatchCase,
                                    int bSubAssetNode, LUMTrayService::TraverseAssetNodeFunction pFun,
                                    void* pvParam) const;

protected:
    // What the four operations above are made of; the caller has the lock.
    LUMTrayService::Inspector::ErrorType MappingView_UpdateState();
    int UnMappingView_UpdateState();
    LUMTrayService::Inspector::ErrorType MappingView_AssetNodes();
    int UnMappingView_AssetNodes();

    // The filters of the three walks, as callbacks; their result is not looked at.
    static int TraverseAssetNodeInernal_AssetMerge(const LUMTrayService::structAssetNode& tsNode,
                                                   void* pvAssetMergeInfo, int& bStop);
    static int TraverseAssetNodeInernal_FileName(const LUMTrayService::structAssetNode& tsNode, void* pvFileNameInfo,
                                                 int& bStop);
    static int TraverseAssetNodeInernal_Extension(const LUMTrayService::structAssetNode& tsNode, void* pvExtensionInfo,
                                                  int& bStop);

    // The error state is read without the lock, also beside a reload: the library reads and writes mode, views and
    // count through std::atomic_ref.
    LUMTrayService::enumAssetFrom m_eaf;
    LUMTrayService::Inspector::SyncMode m_eSyncMode;
    VOTSAssetNodeContainer* m_pkAssetNodeContainer;             // owned, of role AR_Customer
    AssetNodeUpdateState* m_pMappingState;                      // shared with all processes
    VOTSAssetNodeContainer::ContainerAlloc* m_pAssetNodeAlloc;  // owned; the decompressed image
    void* m_hMappingState;
    unsigned int m_uUpdateCount;  // taken at the last load; 0 without an image
    std::mutex m_InspectorLock;

private:
    friend class VOTSFileMappingAssemble;

    // The container's answer, if it may be asked and is there; otherwise zero.
    bool _MayAskOf(const char* pszFunction, unsigned int uAssetIndex, LUMTrayService::structAssetNode& tsNode) const;
    AssetNodeStateInfo* _StateInfo() const;
    bool _IsCurrent(const AssetNodeStateInfo& stateInfo) const;
    bool _HasNews() const;
    bool _TakeRoad(const AssetNodeStateInfo& stateInfo);
    static unsigned char* _LoadImage(const void* pvBlock, size_t uBlockSize, unsigned int& ruSize);

    std::unique_ptr<VOAssetRoad> m_pRoad;
    int m_bOnRoad;  // the container shows a base, and there is no image
};

// The front door of a tool process: one inspector for each source that was published at the first Instance.
// Several parts of a process may use it, each with an Instance and a Release of its own.
class VOBASE_API VOTSFileMappingAssemble
{
public:
    // The one object of the process, counted; never null. Both are thread-safe; Release takes no lock. With the
    // last Release all mappings are closed and the inspectors end. An Instance beside that Release makes a new
    // object, and may log that the old one isn't gone yet. A Release too many does nothing. Throws
    // std::bad_alloc, with nothing counted, when there is no memory.
    //
    // Kept (VOTSFileMappingAssemble::Instance): the update state section is looked at once, by the first
    // Instance; without one, or with another version, the object has no inspectors, and a line is logged. Tools
    // see a source that is published later when all have called Release and one calls Instance anew.
    static VOTSFileMappingAssemble* Instance();
    static void Release();

    // For each inspector by ascending source; the first result that isn't ET_NONE ends the round and is
    // returned, so that sources behind it are as they were. ET_NONE without inspectors. Which source it was
    // tells its own LastErrorType. CloseMapping is always 1.
    LUMTrayService::Inspector::ErrorType OpenMappingState();
    LUMTrayService::Inspector::ErrorType OpenMappingData();
    LUMTrayService::Inspector::ErrorType ReMappingData();
    int CloseMapping();
    LUMTrayService::Inspector::ErrorType LastErrorType() const;
    LUMTrayService::Inspector::ErrorType LastErrorTypeASync() const;

    // As of an inspector, for all of them: 1 when one of them has something to load.
    int WaitForChange(unsigned int uMilliseconds) const;

    // Whether the source has an inspector, and the inspector, which stays the assemble's and ends with the last
    // Release. A value that is no source is logged.
    int IsAssetTypeEnable(LUMTrayService::enumAssetFrom eaf) const;
    VOTSFileMappingInspector* GetFileMappingInspector(LUMTrayService::enumAssetFrom eaf) const;

    // A node by path. With a source: 1 if that source has the path, and 0 and a log line for one without an
    // inspector. With AF_ERROR all sources are searched: every inspector that has the path is appended to the
    // vector, which isn't cleared and may be null, and tsNode is the node of the last one.
    //
    // Kept (VOTSFileMappingAssemble::GetAssetNode): searching all sources gives 0 when exactly one source has
    // the path and 1 otherwise, the reverse of the direct lookup. Tools read 0 as "unique", and 1 as "look at
    // the vector".
    int GetAssetNode(LUMTrayService::structAssetNode& tsNode, const VOWCHAR* pszPath, LUMTrayService::enumAssetFrom eaf,
                     std::vector<VOTSFileMappingInspector*>* pvecInspector) const;

    // The nodes of many paths at once, as VOTSFileMappingInspector::GetAssetNodes; the arrays have uCount entries,
    // and the result is how many paths were found. With a source: those that the source has; a source without an
    // inspector gives 0, one log line, and 0 in all of pbFound. With AF_ERROR all sources are searched: pbFound is 1
    // for a path that any source has, be it one or several, and ptsNode is the node of the last one. Log lines then
    // come source by source. Which sources have a path tells GetAssetNode, or its inspectors one by one. Allocates
    // nothing, throws nothing.
    unsigned int GetAssetNodes(LUMTrayService::structAssetNode* ptsNode, int* pbFound, const VOWCHAR* const* ppszPath,
                               unsigned int uCount, LUMTrayService::enumAssetFrom eaf) const;

protected:
    // Made and ended by Instance and Release alone. A copy shares the inspectors and is of no use.
    friend struct VOAssembleLife;

    VOTSFileMappingAssemble();
    ~VOTSFileMappingAssemble();
    VOTSFileMappingAssemble(const VOTSFileMappingAssemble&) = default;
    VOTSFileMappingAssemble& operator=(const VOTSFileMappingAssemble&) = default;

    int _SetupInspector();
    int _CloseInspector();

    VOTSFileMappingInspector* m_pArrInspector[LUMTrayService::ASSETTYPE_COUNT];  // owned; null for no source

    static VOTSFileMappingAssemble* ms_pkInstance;
    static int ms_nRefCountOfInstance;
    static std::mutex ms_InstanceLock;
};
