// The life of an inspector: opening, loading, closing.
#include <memory>

#include "diagnostics/check.h"
#include "mapping/assemble_parts.h"
#include "mapping/asset_road.h"
#include "mapping/section_visit.h"
#include "utility/block_format.h"
#include "vots_file_mapping.h"

using LUMTrayService::enumAssetFrom;
using namespace LUMTrayService::Inspector;

const VOWCHAR* VOAssetNodeMappingViewString(enumAssetFrom eaf)
{
    static const VOWCHAR* const s_arrName[] = VO_SECTION_NAMES(VOTEXT("vo_fileMappingAssetNodeContainerName"));
    return VOOfSource(s_arrName, eaf);
}

VOTSFileMappingInspector::VOTSFileMappingInspector(enumAssetFrom eaf)
    : m_eaf(eaf),
      m_eSyncMode(SM_ASYNC),
      m_pkAssetNodeContainer(nullptr),
      m_pMappingState(nullptr),
      m_pAssetNodeAlloc(nullptr),
      m_hMappingState(nullptr),
      m_uUpdateCount(0),
      m_pRoad(new VOAssetRoad(eaf)),
      m_bOnRoad(0)
{
    // The last thing that may fail, since nobody else would give it back.
    m_pkAssetNodeContainer = new VOTSAssetNodeContainer(LUMTrayService::AR_Customer, nullptr, nullptr);
    VO_CHECK_ERROR(LUMTrayService::enumAssetFrom::AF_ERROR != eaf);
}

VOTSFileMappingInspector::~VOTSFileMappingInspector()
{
    delete m_pkAssetNodeContainer;
}

ErrorType VOTSFileMappingInspector::OpenMappingState()
{
    const std::lock_guard<std::mutex> guard(m_InspectorLock);
    return MappingView_UpdateState();
}

ErrorType VOTSFileMappingInspector::OpenMappingData()
{
    const std::lock_guard<std::mutex> guard(m_InspectorLock);
    return MappingView_AssetNodes();
}

ErrorType VOTSFileMappingInspector::ReMappingData()
{
    const std::lock_guard<std::mutex> guard(m_InspectorLock);
    VO_CHECK_ERROR(UnMappingView_AssetNodes());
    return MappingView_AssetNodes();
}

int VOTSFileMappingInspector::CloseMapping()
{
    const std::lock_guard<std::mutex> guard(m_InspectorLock);
    VO_CHECK_ERROR(UnMappingView_AssetNodes());
    m_pRoad->Close();
    UnMappingView_UpdateState();
    return 1;
}

void VOTSFileMappingInspector::SetInspectMode(SyncMode eSyncMode)
{
    VOStoreWord(m_eSyncMode, eSyncMode);
}

enumAssetFrom VOTSFileMappingInspector::AssetFrom() const
{
    return m_eaf;
}

ErrorType VOTSFileMappingInspector::MappingView_UpdateState()
{
    if (m_pMappingState != nullptr)
    {
        return ET_NONE;
    }
    VOSectionView section(FILEMAPPING_ASSETNODE_UPDATESTATE_NAME, FILE_MAP_WRITE);
    if (section.Size() != 0 && !section.BeginsWith(FILEMAPPING_ASSETNODE_UPDATESTATE_VERSION))
    {
        return ET_VERSION_MISMATCH;
    }
    if (section.Size() < sizeof(AssetNodeUpdateState))
    {
        return ET_STATE_UNAVAILABLE;
    }
    VOStoreWord(m_hMappingState, section.DetachHandle());
    VOStoreWord(m_pMappingState, static_cast<AssetNodeUpdateState*>(section.DetachView()));
    return ET_NONE;
}

int VOTSFileMappingInspector::UnMappingView_UpdateState()
{
    if (m_pMappingState != nullptr)
    {
        ::UnmapViewOfFile(m_pMappingState);
        VOStoreWord(m_pMappingState, nullptr);
    }
    if (m_hMappingState != nullptr)
    {
        ::CloseHandle(m_hMappingState);
        VOStoreWord(m_hMappingState, nullptr);
    }
    return 1;
}

// Decompresses the block in a data section into private memory. The block's head is read once, and held against what
// was mapped.
unsigned char* VOTSFileMappingInspector::_LoadImage(const void* pvBlock, size_t uBlockSize, unsigned int& ruSize)
{
    unsigned char* pbImage = nullptr;
    if (uBlockSize < sizeof(VOCompressedBlockHead))
    {
        return nullptr;
    }
    const VOCompressedBlockHead kHead = VOLoad<VOCompressedBlockHead>(pvBlock);
    if (kHead.uSrcSize > kVOMaxImageSize || kHead.uCompressedSize > uBlockSize - sizeof(VOCompressedBlockHead))
    {
        return nullptr;
    }
    const unsigned char* pbStream = static_cast<const unsigned char*>(pvBlock) + sizeof(VOCompressedBlockHead);
    return VODeCompressBuffer_lzo1x(&pbImage, &ruSize, kHead, pbStream) ? pbImage : nullptr;
}

ErrorType VOTSFileMappingInspector::MappingView_AssetNodes()
{
    VO_NAMED_FUNCTION(pszFunction);
    unsigned char* pbImage = nullptr;
    unsigned int uImageSize = 0;
    if (m_pMappingState == nullptr)
    {
        return ET_STATE_UNAVAILABLE;
    }
    AssetNodeStateInfo* const pStateInfo = _StateInfo();
    if (pStateInfo == nullptr || VOLoadWord(pStateInfo->bEnable) == 0)
    {
        if (m_bOnRoad == 0)
        {
            m_pRoad->Leave();
        }
        return ET_SOURCE_DISABLED;
    }
    if (_IsCurrent(*pStateInfo) || !VO_STEP(m_pkAssetNodeContainer) || !VO_STEP(ASSETNODE_MAPPING_VIEW_STRING(m_eaf)) ||
        !VO_STEP(UnMappingView_AssetNodes()) || _TakeRoad(*pStateInfo))
    {
        return ET_NONE;
    }

    // What a load that fails gives back, also for want of memory, from the last line up: the visit, then the image with
    // what is attached to it.
    const auto DropImage = [&](VOTSFileMappingInspector* pkInspector)
    { VO_CHECK_ERROR_AS_IN(pszFunction, "UnMappingView_AssetNodes()", pkInspector->UnMappingView_AssetNodes()); };
    std::unique_ptr<VOTSFileMappingInspector, decltype(DropImage)> pLoading(this, DropImage);
    VOSectionVisit visit;
    visit.Enter(pStateInfo->uReaderCount);
    if (visit.Open(ASSETNODE_MAPPING_VIEW_STRING(m_eaf), FILE_MAP_READ))
    {
        pbImage = _LoadImage(visit.Data(), visit.Size(), uImageSize);
    }
    if (pbImage == nullptr && !VO_STEP(FALSE))
    {
        return ET_DATA_UNAVAILABLE;
    }

    // The count comes before the image, so that whoever asks meanwhile doesn't find an image with an old count.
    VOStoreWord(m_uUpdateCount, visit.LeaveWith(pStateInfo->uUpdateCount));
    VOAssetRoad::HoldImage(m_eaf, true);
    VOStoreWord(m_pAssetNodeAlloc, reinterpret_cast<VOTSAssetNodeContainer::ContainerAlloc*>(pbImage));
    if (!m_pkAssetNodeContainer->SetAlloc(m_pAssetNodeAlloc, 0, uImageSize) && !VO_STEP(FALSE))
    {
        return ET_DATA_UNAVAILABLE;
    }
    (void)pLoading.release();
    return ET_NONE;
}

// The base instead of the image; false, with nothing loaded, when there is none.
bool VOTSFileMappingInspector::_TakeRoad(const AssetNodeStateInfo& stateInfo)
{
    const unsigned int uCount = VOLoadWord(stateInfo.uUpdateCount);
    if (uCount == 0 || !VOAssetRoad::IsWanted() || !m_pRoad->Follow(uCount))
    {
        m_pRoad->Leave();
        return false;
    }
    if (!m_pkAssetNodeContainer->SetBase(m_pRoad->Base()))
    {
        m_pkAssetNodeContainer->CleanUp();
        m_pRoad->Leave();
        return false;
    }
    VOStoreWord(m_uUpdateCount, uCount);
    VOStoreWord(m_bOnRoad, 1);
    return true;
}

int VOTSFileMappingInspector::UnMappingView_AssetNodes()
{
    if (m_pkAssetNodeContainer != nullptr)
    {
        VO_CHECK_ERROR(m_pkAssetNodeContainer->CleanUp());
    }
    if (void* const pvImage = VOExchangeWord(m_pAssetNodeAlloc, nullptr))
    {
        VOAssetRoad::HoldImage(m_eaf, false);
        free(pvImage);
    }
    VOStoreWord(m_bOnRoad, 0);
    VOStoreWord(m_uUpdateCount, 0);
    return 1;
}
