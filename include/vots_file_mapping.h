// Reading published asset images: section names, the update state section, the inspector of one source and the
// assemble object over all of them.
//
// A tool's order of calls: VOTSFileMappingAssemble::Instance, OpenMappingState, OpenMappingData, then queries on
// GetFileMappingInspector(source); from time to time LastErrorType, and on ET_DATA_OUTDATED a ReMappingData; at the
// end Release. Nothing is pushed: a tool that doesn't ask doesn't learn of a change.
#pragma once

#include <mutex>
#include <vector>

#include "tray_service_types.h"
#include "vo_types.h"
#include "vots_asset_node_container.h"

#define FILEMAPPING_ASSETNODE_UPDATESTATE_VERSION "version.2.4"
#define FILEMAPPING_ASSETNODE_UPDATESTATE_NAME VOTEXT("vo_fileMappingUpdateStateName_assetNode")

// The name of the data section of a source; an empty pointer for AF_ERROR and for what is no source.
#define ASSETNODE_MAPPING_VIEW_STRING(eaf) VOAssetNodeMappingViewString(static_cast<LUMTrayService::enumAssetFrom>(eaf))
VOBASE_API const VOWCHAR* VOAssetNodeMappingViewString(LUMTrayService::enumAssetFrom eaf);

// The update state section; see docs/wire-formats.md for who writes what in which order.
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

// A tool process's view of one source. It keeps the update state section open, loads the source's image into private
// memory when asked to, and reads it in place.
//
// The four opening and closing operations are serialised by a lock. Queries take none: a tool keeps queries and
// reloads apart. Strings and nodes handed out point into the image and end with the next reload.
class VOBASE_API VOTSFileMappingInspector
{
public:
    explicit VOTSFileMappingInspector(LUMTrayService::enumAssetFrom eaf);

    // Doesn't close the mappings: call CloseMapping first.
    ~VOTSFileMappingInspector();
    VOTSFileMappingInspector(const VOTSFileMappingInspector&) = delete;
    VOTSFileMappingInspector& operator=(const VOTSFileMappingInspector&) = delete;

    LUMTrayService::Inspector::ErrorType OpenMappingState();

    // Loads the image if its count has changed. OpenMappingData keeps an unchanged image, ReMappingData always loads
    // anew. The old image goes before the new one is known to be good.
    LUMTrayService::Inspector::ErrorType OpenMappingData();
    LUMTrayService::Inspector::ErrorType ReMappingData();
    int CloseMapping();

    void SetInspectMode(LUMTrayService::Inspector::SyncMode eSyncMode);
    LUMTrayService::enumAssetFrom AssetFrom() const;

    // The state of the loaded image against the published one. LastErrorTypeASync leaves ET_DATA_OUTDATED out in the
    // mode SM_ASYNC.
    LUMTrayService::Inspector::ErrorType LastErrorType() const;
    LUMTrayService::Inspector::ErrorType LastErrorTypeASync() const;

    // Queries that fail in silence, with 0 or an empty pointer, unless LastErrorTypeASync is ET_NONE.
    int NormalizeAssetPath(const VOWCHAR* pszPath, unsigned int uSize, VOWCHAR* pszResult) const;
    int ReConstructContainer(VOTSAssetNodeContainer* pkToContainer) const;
    unsigned int GetAssetNodeCount() const;
    int GetAssetNode(unsigned int uAssetIndex, LUMTrayService::structAssetNode& tsNode) const;
    int GetAssetNode(const VOWCHAR* pszPath, LUMTrayService::structAssetNode& tsNode) const;

    // The position of a node among its parent's children of a type; 0 also for a node without a parent.
    unsigned int GetAssetIndexOfParent(unsigned int uAssetIndex, LUMTrayService::Inspector::NodeType eNodeType) const;
    unsigned int GetAssetChildCount(unsigned int uAssetIndex, VOULONG dwType) const;

    // The uIndex-th child of a type. The result says only that the node was found: where it has no such child,
    // uResult is UINT(-1).
    int GetAssetChildByIndex(unsigned int uAssetIndex, unsigned int uIndex,
                             LUMTrayService::Inspector::NodeType eNodeType, unsigned int& uResult) const;

    // Appends the children, files before folders. The result says only that the node was found.
    int GetAssetChildIndexList(unsigned int uAssetIndex, VOULONG dwType, std::vector<unsigned int>& vecIndex) const;
    const VOWCHAR* GetString(void* hString) const;

    // Queries that answer in every state; without an image they find nothing.
    int GetAssetPath(unsigned int uAssetIndex, unsigned int nBufferSize, VOWCHAR* pszResult) const;
    int GetAssetAbsolutePath(unsigned int uAssetIndex, unsigned int nBufferSize, VOWCHAR* pszResult) const;
    const VOWCHAR* GetAssetRootPath() const;
    const VOWCHAR* GetAssetRootName() const;
    int GetClassifyTypeByName(const VOWCHAR* pszClassifyName, int& nResult) const;

    // Appends the extensions of a type.
    int GetClassifyExtension(int nClassifyType, std::vector<VOWString>& vecExtension) const;
    int GetClassifyTypeColor(int nClassifyType, LUMTrayService::Color& rkResult) const;
    int GetClassifyBackgroundColor(int nClassifyType, LUMTrayService::Color& rkResult) const;

    // Walks; see VOTSAssetNodeContainerHelper::TraverseAssetNode for the order.
    int TraverseAssetNode(unsigned int uAssetIndex, VOULONG dwType, int bSubAssetNode,
                          LUMTrayService::TraverseAssetNodeFunction pFun, void* pvParam) const;

    // The files whose merge sign and uAssetMerge have a bit in common. The result is always 0.
    int TraverseAssetNode_AssetMerge(unsigned int uAssetIndex, unsigned int uAssetMerge, int bSubAssetNode,
                                     LUMTrayService::TraverseAssetNodeFunction pFun, void* pvParam) const;

    // The nodes whose base name (without extension) contains a text of at most 99 characters.
    int TraverseAssetNode_FileName(unsigned int uAssetIndex, const VOWCHAR* pszSourceContext, int bMatchCase,
                                   VOULONG dwType, int bSubAssetNode, LUMTrayService::TraverseAssetNodeFunction pFun,
                                   void* pvParam) const;

    // The files with one of the extensions of a list such as "png|tga|dds", of at most 99 characters.
    int TraverseAssetNode_Extension(unsigned int uAssetIndex, const VOWCHAR* pszSourceContext, int bMatchCase,
                                    int bSubAssetNode, LUMTrayService::TraverseAssetNodeFunction pFun,
                                    void* pvParam) const;

protected:
    LUMTrayService::Inspector::ErrorType MappingView_UpdateState();
    int UnMappingView_UpdateState();
    LUMTrayService::Inspector::ErrorType MappingView_AssetNodes();
    int UnMappingView_AssetNodes();

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
    AssetNodeStateInfo* _StateInfo() const;
    static unsigned char* _LoadImage(const void* pvBlock, size_t uBlockSize, unsigned int& ruSize);
};

// The front door of a tool process: one inspector for each source that was published at the first Instance.
class VOBASE_API VOTSFileMappingAssemble
{
public:
    // The one object of the process, counted; never null. Both are thread-safe; Release takes no lock. With the last
    // Release all mappings are closed and the inspectors end. An Instance beside that Release makes a new object, and
    // may log that the old one isn't gone yet.
    static VOTSFileMappingAssemble* Instance();
    static void Release();

    // For each inspector by ascending source; the first result that isn't ET_NONE ends the round and is returned.
    LUMTrayService::Inspector::ErrorType OpenMappingState();
    LUMTrayService::Inspector::ErrorType OpenMappingData();
    LUMTrayService::Inspector::ErrorType ReMappingData();
    int CloseMapping();
    LUMTrayService::Inspector::ErrorType LastErrorType() const;
    LUMTrayService::Inspector::ErrorType LastErrorTypeASync() const;

    // Whether the source has an inspector, and the inspector, which stays the assemble's.
    int IsAssetTypeEnable(LUMTrayService::enumAssetFrom eaf) const;
    VOTSFileMappingInspector* GetFileMappingInspector(LUMTrayService::enumAssetFrom eaf) const;

    // A node by path. With a source: 1 if that source has the path. With AF_ERROR all sources are searched: every
    // inspector that has the path is appended to the vector, tsNode is the node of the last one, and the result is 0
    // when exactly one source has the path and 1 otherwise.
    int GetAssetNode(LUMTrayService::structAssetNode& tsNode, const VOWCHAR* pszPath, LUMTrayService::enumAssetFrom eaf,
                     std::vector<VOTSFileMappingInspector*>* pvecInspector) const;

protected:
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
