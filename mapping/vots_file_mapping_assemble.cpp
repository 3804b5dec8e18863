#include <memory>

#include "diagnostics/check.h"
#include "mapping/assemble_parts.h"
#include "platform/vo_section_view.h"
#include "vots_file_mapping.h"

using LUMTrayService::enumAssetFrom;
using namespace LUMTrayService::Inspector;

VOTSFileMappingAssemble* VOTSFileMappingAssemble::ms_pkInstance = nullptr;
int VOTSFileMappingAssemble::ms_nRefCountOfInstance = 0;
std::mutex VOTSFileMappingAssemble::ms_InstanceLock;

VOTSFileMappingAssemble::VOTSFileMappingAssemble() : m_pArrInspector() {}
VOTSFileMappingAssemble::~VOTSFileMappingAssemble() = default;

VOTSFileMappingAssemble* VOTSFileMappingAssemble::Instance()
{
    const std::lock_guard<std::mutex> guard(ms_InstanceLock);
    if (!VOAddReference(ms_nRefCountOfInstance))
    {
        VO_CHECK_ERROR_AS("NULL == ms_pkInstance", VOLoadWord(ms_pkInstance) == nullptr);
        // Without a publisher the object has no inspectors, and is sound all the same.
        const auto End = [](VOTSFileMappingAssemble* pInstance)
        {
            pInstance->_CloseInspector();
            delete pInstance;
        };
        std::unique_ptr<VOTSFileMappingAssemble, decltype(End)> pNew(new VOTSFileMappingAssemble, End);
        pNew->_SetupInspector();
        VOStoreWord(ms_pkInstance, pNew.release());
        VOStoreWord(ms_nRefCountOfInstance, 1);
    }
    return VOLoadWord(ms_pkInstance);
}

void VOTSFileMappingAssemble::Release()
{
    VOTSFileMappingAssemble* const pLast = VOGiveReferenceBack(ms_pkInstance, ms_nRefCountOfInstance);
    if (pLast != nullptr)
    {
        pLast->_CloseInspector();
        delete pLast;
    }
}

namespace
{

// Calls an operation of each inspector by ascending source, up to the first that doesn't give ET_NONE.
template <typename Operation>
ErrorType ForEachInspector(VOTSFileMappingInspector* const* ppInspector, Operation operation)
{
    for (unsigned int i = 0; i < LUMTrayService::ASSETTYPE_COUNT; ++i)
    {
        const ErrorType eResult = ppInspector[i] != nullptr ? (ppInspector[i]->*operation)() : ET_NONE;
        if (eResult != ET_NONE)
        {
            return eResult;
        }
    }
    return ET_NONE;
}

}  // namespace

ErrorType VOTSFileMappingAssemble::OpenMappingState()
{
    return ForEachInspector(m_pArrInspector, &VOTSFileMappingInspector::OpenMappingState);
}

ErrorType VOTSFileMappingAssemble::OpenMappingData()
{
    return ForEachInspector(m_pArrInspector, &VOTSFileMappingInspector::OpenMappingData);
}

ErrorType VOTSFileMappingAssemble::ReMappingData()
{
    return ForEachInspector(m_pArrInspector, &VOTSFileMappingInspector::ReMappingData);
}

int VOTSFileMappingAssemble::CloseMapping()
{
    int nResult = 0;
    for (unsigned int i = 0; i < LUMTrayService::ASSETTYPE_COUNT; ++i)
    {
        if (m_pArrInspector[i] != nullptr)
        {
            VO_PROCESS_ERROR(m_pArrInspector[i]->CloseMapping());
        }
    }
    nResult = 1;

Exit0:
    return nResult;
}

ErrorType VOTSFileMappingAssemble::LastErrorType() const
{
    return ForEachInspector(m_pArrInspector, &VOTSFileMappingInspector::LastErrorType);
}

ErrorType VOTSFileMappingAssemble::LastErrorTypeASync() const
{
    return ForEachInspector(m_pArrInspector, &VOTSFileMappingInspector::LastErrorTypeASync);
}

int VOTSFileMappingAssemble::IsAssetTypeEnable(enumAssetFrom eaf) const
{
    int nResult = 0;
    VO_PROCESS_ERROR_AS("eaf >= 0 && eaf < LUMTrayService::ASSETTYPE_COUNT",
                        static_cast<unsigned int>(eaf) < LUMTrayService::ASSETTYPE_COUNT);
    nResult = m_pArrInspector[eaf] != nullptr;

Exit0:
    return nResult;
}

VOTSFileMappingInspector* VOTSFileMappingAssemble::GetFileMappingInspector(enumAssetFrom eaf) const
{
    VOTSFileMappingInspector* pResult = nullptr;
    VO_PROCESS_ERROR_AS("eaf >= 0 && eaf < LUMTrayService::ASSETTYPE_COUNT",
                        static_cast<unsigned int>(eaf) < LUMTrayService::ASSETTYPE_COUNT);
    pResult = m_pArrInspector[eaf];

Exit0:
    return pResult;
}

int VOTSFileMappingAssemble::GetAssetNode(LUMTrayService::structAssetNode& tsNode, const VOWCHAR* pszPath,
                                          enumAssetFrom eaf,
                                          std::vector<VOTSFileMappingInspector*>* pvecInspector) const
{
    int nResult = 0;
    unsigned int uHits = 0;
    VOTSFileMappingInspector* pkInspector = nullptr;
    if (eaf != LUMTrayService::AF_ERROR)
    {
        pkInspector = VOInspectorOf(m_pArrInspector, eaf);
        VO_PROCESS_ERROR(pkInspector);
        nResult = pkInspector->GetAssetNode(pszPath, tsNode);
    }
    else
    {
        for (VOTSFileMappingInspector* const pCandidate : m_pArrInspector)
        {
            if (pCandidate != nullptr && pCandidate->GetAssetNode(pszPath, tsNode))
            {
                ++uHits;
                if (pvecInspector != nullptr)
                {
                    pvecInspector->push_back(pCandidate);
                }
            }
        }
        // The reverse of the direct lookup: tools read 0 as "the path is unique", and 1 as "look at the vector".
        nResult = uHits == 1 ? 0 : 1;
    }

Exit0:
    return nResult;
}

int VOTSFileMappingAssemble::_SetupInspector()
{
    int nResult = 0;
    const AssetNodeUpdateState* pMappingState = nullptr;
    VOSectionView section;
    VO_PROCESS_ERROR_AS("hMappingState", section.OpenHandle(FILEMAPPING_ASSETNODE_UPDATESTATE_NAME, FILE_MAP_READ));
    pMappingState = static_cast<const AssetNodeUpdateState*>(section.Map());
    VO_PROCESS_ERROR_AS("pMappingState", section.Size() != 0);
    VO_PROCESS_ERROR_AS("::strcmp(pMappingState->szVersion, FILEMAPPING_ASSETNODE_UPDATESTATE_VERSION) == 0",
                        section.BeginsWith(FILEMAPPING_ASSETNODE_UPDATESTATE_VERSION));
    if (section.Size() < sizeof(AssetNodeUpdateState))
    {
        VO_PROCESS_ERROR_FALSE;
    }

    for (unsigned int i = 0; i < LUMTrayService::ASSETTYPE_COUNT; ++i)
    {
        VO_PROCESS_ERROR(NULL == m_pArrInspector[i]);
        const AssetNodeStateInfo& stateInfo = pMappingState->arrStateInfo[i];
        if (VOLoadWord(stateInfo.bEnable) != 0 && VOLoadWord(stateInfo.uUpdateCount) != 0)
        {
            m_pArrInspector[i] = new VOTSFileMappingInspector(static_cast<enumAssetFrom>(i));
        }
    }
    nResult = 1;

Exit0:
    return nResult;
}

int VOTSFileMappingAssemble::_CloseInspector()
{
    VOEndInspectors(m_pArrInspector, &VOTSFileMappingInspector::CloseMapping);
    return 1;
}
