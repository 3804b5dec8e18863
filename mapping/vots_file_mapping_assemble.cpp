#include <algorithm>
#include <functional>

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
    VO_NAMED_FUNCTION(pszFunction);
    return VOAssembleLife::Instance<VOTSFileMappingAssemble>(pszFunction);
}

void VOTSFileMappingAssemble::Release()
{
    VOAssembleLife::Release<VOTSFileMappingAssemble>();
}

namespace
{

// Calls an operation of each inspector by ascending source, up to the first that doesn't give ET_NONE.
template <typename Inspectors, typename Operation>
ErrorType ForEachInspector(const Inspectors& apInspector, Operation operation)
{
    for (VOTSFileMappingInspector* const pkInspector : apInspector)
    {
        const ErrorType eResult = pkInspector != nullptr ? (pkInspector->*operation)() : ET_NONE;
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
    for (VOTSFileMappingInspector* const pkInspector : m_pArrInspector)
    {
        if (pkInspector != nullptr && !VO_STEP_AS("m_pArrInspector[i]->CloseMapping()", pkInspector->CloseMapping()))
        {
            return 0;
        }
    }
    return 1;
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
    return VO_STEP_AS("eaf >= 0 && eaf < LUMTrayService::ASSETTYPE_COUNT",
                      static_cast<unsigned int>(eaf) < LUMTrayService::ASSETTYPE_COUNT) &&
           m_pArrInspector[eaf] != nullptr;
}

VOTSFileMappingInspector* VOTSFileMappingAssemble::GetFileMappingInspector(enumAssetFrom eaf) const
{
    return VO_STEP_AS("eaf >= 0 && eaf < LUMTrayService::ASSETTYPE_COUNT",
                      static_cast<unsigned int>(eaf) < LUMTrayService::ASSETTYPE_COUNT)
               ? m_pArrInspector[eaf]
               : nullptr;
}

int VOTSFileMappingAssemble::GetAssetNode(LUMTrayService::structAssetNode& tsNode, const VOWCHAR* pszPath,
                                          enumAssetFrom eaf,
                                          std::vector<VOTSFileMappingInspector*>* pvecInspector) const
{
    if (eaf != LUMTrayService::AF_ERROR)
    {
        VOTSFileMappingInspector* const pkInspector = VOOfSource(m_pArrInspector, eaf);
        return VO_STEP(pkInspector) && pkInspector->GetAssetNode(pszPath, tsNode);
    }
    unsigned int uHits = 0;
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
    return uHits == 1 ? 0 : 1;
}

unsigned int VOTSFileMappingAssemble::GetAssetNodes(LUMTrayService::structAssetNode* ptsNode, int* pbFound,
                                                    const VOWCHAR* const* ppszPath, unsigned int uCount,
                                                    enumAssetFrom eaf) const
{
    if (pbFound != nullptr)
    {
        std::fill_n(pbFound, uCount, 0);
    }
    if (uCount == 0 || !VO_STEP(ptsNode) || !VO_STEP(pbFound) || !VO_STEP(ppszPath))
    {
        return 0;
    }
    if (eaf != LUMTrayService::AF_ERROR)
    {
        VOTSFileMappingInspector* const pkInspector = VOOfSource(m_pArrInspector, eaf);
        return VO_STEP(pkInspector) ? pkInspector->GetAssetNodes(ppszPath, uCount, ptsNode, pbFound) : 0;
    }
    // Each source writes the nodes of the paths that it has, and flags of its own.
    constexpr unsigned int kAtOnce = 256;
    int abOfSource[kAtOnce];
    for (VOTSFileMappingInspector* const pCandidate : m_pArrInspector)
    {
        for (size_t uAt = 0; pCandidate != nullptr && uAt < uCount; uAt += kAtOnce)
        {
            const unsigned int uPaths = static_cast<unsigned int>(std::min<size_t>(uCount - uAt, kAtOnce));
            pCandidate->GetAssetNodes(ppszPath + uAt, uPaths, ptsNode + uAt, abOfSource);
            std::transform(abOfSource, abOfSource + uPaths, pbFound + uAt, pbFound + uAt, std::bit_or<>());
        }
    }
    return static_cast<unsigned int>(std::count(pbFound, pbFound + uCount, 1));
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
