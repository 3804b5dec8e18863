#include "diagnostics/check.h"
#include "mapping/assemble_parts.h"
#include "platform/vo_section_view.h"
#include "vots_file_event.h"

using LUMTrayService::enumAssetFrom;

VOTSFileEventMappingAssemble* VOTSFileEventMappingAssemble::ms_pkInstance = nullptr;
int VOTSFileEventMappingAssemble::ms_nRefCountOfInstance = 0;
std::mutex VOTSFileEventMappingAssemble::ms_InstanceLock;

VOTSFileEventMappingAssemble::VOTSFileEventMappingAssemble() : m_pArrInspector() {}
VOTSFileEventMappingAssemble::~VOTSFileEventMappingAssemble() = default;

VOTSFileEventMappingAssemble* VOTSFileEventMappingAssemble::Instance()
{
    VO_NAMED_FUNCTION(pszFunction);
    return VOAssembleLife::Instance<VOTSFileEventMappingAssemble>(pszFunction);
}

void VOTSFileEventMappingAssemble::Release()
{
    VOAssembleLife::Release<VOTSFileEventMappingAssemble>();
}

int VOTSFileEventMappingAssemble::Run()
{
    VOForEachInspector(m_pArrInspector, &VOTSFileEventMappingInspector::Run);
    return 1;
}

int VOTSFileEventMappingAssemble::Stop()
{
    _AskToEnd();
    VOForEachInspector(m_pArrInspector, &VOTSFileEventMappingInspector::Stop);
    return 1;
}

int VOTSFileEventMappingAssemble::BindListener(enumAssetFrom eaf, IVOTSFileEventListener* piListener)
{
    VOTSFileEventMappingInspector* const pkInspector = VOOfSource(m_pArrInspector, eaf);
    return pkInspector != nullptr ? pkInspector->BindListener(piListener) : 0;
}

int VOTSFileEventMappingAssemble::SuspendEvent(enumAssetFrom eaf, int bSuspend)
{
    return VO_STEP_AS("m_pArrInspector[(int)eaf]", VOOfSource(m_pArrInspector, eaf)) &&
           VO_STEP(m_pArrInspector[(int)eaf]->SuspendEvent(bSuspend));
}

int VOTSFileEventMappingAssemble::_SetupInspector()
{
    int nResult = 0;
    const FileEventUpdateState* pMappingState = nullptr;
    bool bOfThisVersion = false;
    VOSectionView section;
    VO_PROCESS_ERROR_AS("hMappingState", section.OpenHandle(FILEMAPPING_FILEEVENT_UPDATESTATE_NAME, FILE_MAP_READ));
    pMappingState = static_cast<const FileEventUpdateState*>(section.Map());

    // One too short is as good as none, unless its version says already that it is another one.
    bOfThisVersion = section.BeginsWith(FILEMAPPING_FILEEVENT_UPDATESTATE_VERSION);
    VO_PROCESS_ERROR_AS("pMappingState", section.Size() >= (bOfThisVersion ? sizeof(FileEventUpdateState)
                                                                           : sizeof(pMappingState->szVersion)));
    VO_PROCESS_ERROR_AS("::strcmp(pMappingState->szVersion, FILEMAPPING_FILEEVENT_UPDATESTATE_VERSION) == 0",
                        bOfThisVersion);

    for (unsigned int i = 0; i < LUMTrayService::ASSETTYPE_COUNT; ++i)
    {
        VO_PROCESS_ERROR(NULL == m_pArrInspector[i]);
        if (VOLoadWord(pMappingState->arrStateInfo[i].bEnable) != 0)
        {
            m_pArrInspector[i] = new VOTSFileEventMappingInspector(static_cast<enumAssetFrom>(i));
        }
    }
    nResult = 1;

Exit0:
    return nResult;
}

// All threads, before any is waited for: one that is held suspended may hold a lock that another needs to end, such as
// the allocator's.
void VOTSFileEventMappingAssemble::_AskToEnd()
{
    VOForEachInspector(m_pArrInspector, &VOTSFileEventMappingInspector::_AskToEnd);
}

int VOTSFileEventMappingAssemble::_CloseInspector()
{
    _AskToEnd();
    VOEndInspectors(m_pArrInspector, &VOTSFileEventMappingInspector::Stop);
    return 1;
}
