#include <memory>
#include <utility>

#include "diagnostics/check.h"
#include "platform/vo_section_view.h"
#include "platform/vo_shared_word.h"
#include "vots_file_event.h"

using LUMTrayService::enumAssetFrom;

VOTSFileEventMappingAssemble* VOTSFileEventMappingAssemble::ms_pkInstance = nullptr;
int VOTSFileEventMappingAssemble::ms_nRefCountOfInstance = 0;
std::mutex VOTSFileEventMappingAssemble::ms_InstanceLock;

VOTSFileEventMappingAssemble::VOTSFileEventMappingAssemble() : m_pArrInspector() {}
VOTSFileEventMappingAssemble::~VOTSFileEventMappingAssemble() = default;

VOTSFileEventMappingAssemble* VOTSFileEventMappingAssemble::Instance()
{
    const std::lock_guard<std::mutex> kGuard(ms_InstanceLock);
    if (ms_nRefCountOfInstance == 0)
    {
        VO_CHECK_ERROR(NULL == ms_pkInstance);
        ms_pkInstance = new VOTSFileEventMappingAssemble;
        // Without a publisher the object has no inspectors, and is sound all the same.
        const auto Discard = [](VOTSFileEventMappingAssemble* pkInstance)
        {
            pkInstance->_CloseInspector();
            delete pkInstance;
            ms_pkInstance = nullptr;
        };
        std::unique_ptr<VOTSFileEventMappingAssemble, decltype(Discard)> pkNew(ms_pkInstance, Discard);
        pkNew->_SetupInspector();
        (void)pkNew.release();
    }
    ++ms_nRefCountOfInstance;
    return ms_pkInstance;
}

void VOTSFileEventMappingAssemble::Release()
{
    VOTSFileEventMappingAssemble* pkLast = nullptr;
    {
        // Callers keep this apart from Instance; the lock is for those that don't.
        const std::lock_guard<std::mutex> kGuard(ms_InstanceLock);
        if (ms_nRefCountOfInstance > 0)
        {
            --ms_nRefCountOfInstance;
        }
        if (ms_nRefCountOfInstance == 0)
        {
            pkLast = std::exchange(ms_pkInstance, nullptr);
        }
    }
    if (pkLast != nullptr)
    {
        // Without the lock: this waits for threads whose listeners may ask for the instance.
        pkLast->_CloseInspector();
        delete pkLast;
    }
}

int VOTSFileEventMappingAssemble::Run()
{
    for (VOTSFileEventMappingInspector* const pkInspector : m_pArrInspector)
    {
        if (pkInspector != nullptr)
        {
            pkInspector->Run();
        }
    }
    return 1;
}

int VOTSFileEventMappingAssemble::Stop()
{
    _AskToEnd();
    for (VOTSFileEventMappingInspector* const pkInspector : m_pArrInspector)
    {
        if (pkInspector != nullptr)
        {
            pkInspector->Stop();
        }
    }
    return 1;
}

int VOTSFileEventMappingAssemble::BindListener(enumAssetFrom eaf, IVOTSFileEventListener* piListener)
{
    // What is no source has no inspector either.
    return static_cast<unsigned int>(eaf) < LUMTrayService::ASSETTYPE_COUNT && m_pArrInspector[eaf] != nullptr
               ? m_pArrInspector[eaf]->BindListener(piListener)
               : 0;
}

int VOTSFileEventMappingAssemble::SuspendEvent(enumAssetFrom eaf, int bSuspend)
{
    int nResult = 0;
    VO_PROCESS_ERROR_AS("m_pArrInspector[(int)eaf]", static_cast<unsigned int>(eaf) < LUMTrayService::ASSETTYPE_COUNT &&
                                                         m_pArrInspector[eaf] != nullptr);
    VO_PROCESS_ERROR(m_pArrInspector[(int)eaf]->SuspendEvent(bSuspend));
    nResult = 1;

Exit0:
    return nResult;
}

int VOTSFileEventMappingAssemble::_SetupInspector()
{
    int nResult = 0;
    const FileEventUpdateState* pMappingState = nullptr;
    bool bOfThisVersion = false;
    VOSectionView kSection;
    VO_PROCESS_ERROR_AS("hMappingState", kSection.OpenHandle(FILEMAPPING_FILEEVENT_UPDATESTATE_NAME, FILE_MAP_READ));
    pMappingState = static_cast<const FileEventUpdateState*>(kSection.Map());

    // One too short is as good as none, unless its version says already that it is another one.
    bOfThisVersion = kSection.BeginsWith(FILEMAPPING_FILEEVENT_UPDATESTATE_VERSION);
    VO_PROCESS_ERROR_AS("pMappingState", kSection.Size() >= (bOfThisVersion ? sizeof(FileEventUpdateState)
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
    for (VOTSFileEventMappingInspector* const pkInspector : m_pArrInspector)
    {
        if (pkInspector != nullptr)
        {
            pkInspector->_AskToEnd();
        }
    }
}

int VOTSFileEventMappingAssemble::_CloseInspector()
{
    _AskToEnd();
    for (VOTSFileEventMappingInspector*& rpkInspector : m_pArrInspector)
    {
        if (rpkInspector != nullptr)
        {
            rpkInspector->Stop();
            delete rpkInspector;
            rpkInspector = nullptr;
        }
    }
    return 1;
}
