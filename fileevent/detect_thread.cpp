// The reading side of the event sections.
#include "fileevent/detect_thread.h"

#include <algorithm>
#include <new>
#include <utility>

#include "mapping/section_visit.h"

using LUMTrayService::enumAssetFrom;
using LUMTrayService::structFileEventNode;
using namespace LUMTrayService::Inspector;

std::atomic<DWORD> g_uVODetectPause{500};

namespace
{

constexpr unsigned int kSlots = 2;
constexpr unsigned int kSectionNameSize = 100;

// Kept (VOTSFileEventMappingInspector::ThreadProc_DetectFileEvnet): the view of a data section without content stays
// mapped. Only the latest one of each source does, so that a process that meets such sections again and again doesn't
// grow.
void LeaveMapped(enumAssetFrom eaf, VOSectionView& section)
{
    static std::atomic<void*> s_apvView[LUMTrayService::ASSETTYPE_COUNT] = {};
    void* const pvBefore = s_apvView[eaf].exchange(section.DetachView());
    if (pvBefore != nullptr)
    {
        ::UnmapViewOfFile(pvBefore);
    }
}

}  // namespace

TSThreadProcDetect::~TSThreadProcDetect()
{
    m_pReader.reset();
    free(m_pBuffer);
}

bool TSThreadProcDetect::OpenState()
{
    static_assert(sizeof(FILEMAPPING_FILEEVENT_UPDATESTATE_VERSION) == sizeof(FileEventUpdateState::szVersion));
    m_state.Open(FILEMAPPING_FILEEVENT_UPDATESTATE_NAME, FILE_MAP_WRITE);
    if (m_state.Size() < sizeof(FileEventUpdateState) || !m_state.BeginsWith(FILEMAPPING_FILEEVENT_UPDATESTATE_VERSION))
    {
        m_state.Close();
    }
    return m_state.Data() != nullptr;
}

FileEventStateInfo* TSThreadProcDetect::StateInfo(enumAssetFrom eaf) const
{
    return m_state.Data() != nullptr && static_cast<unsigned int>(eaf) < LUMTrayService::ASSETTYPE_COUNT
               ? &static_cast<FileEventUpdateState*>(m_state.Data())->arrStateInfo[eaf]
               : nullptr;
}

bool TSThreadProcDetect::TakeTold(std::vector<VOToldEvent>& vecEvents, unsigned long long& ullLastTime,
                                  uint32_t& uSteps)
{
    vecEvents.clear();
    try
    {
        // What came before the first look isn't told.
        if (ullLastTime == kNoTime || !m_ring.Follow())
        {
            return false;
        }
        uSteps = m_ring.Now();
        m_ring.Take(ullLastTime, vecEvents);
        return true;
    }
    catch (const std::bad_alloc&)
    {
        // Some may be taken, and each follows upon the one before.
        return false;
    }
}

bool TSThreadProcDetect::Look(enumAssetFrom eaf, std::vector<structFileEventNode>& vecEvent,
                              unsigned long long& ullLastTime, unsigned long long& ullLatestTime)
{
    try
    {
        return FindsTime(eaf, ullLastTime, ullLatestTime) && FindsEvents(eaf, vecEvent, ullLastTime, ullLatestTime);
    }
    catch (const std::bad_alloc&)
    {
        // On a thread of its own this would end the process.
        return false;
    }
}

bool TSThreadProcDetect::FindsTime(enumAssetFrom eaf, unsigned long long& ullLastTime,
                                   unsigned long long& ullLatestTime)
{
    if (!OpenState())
    {
        return false;
    }
    FileEventStateInfo* const pStateInfo = StateInfo(eaf);
    const unsigned int uSlot = pStateInfo != nullptr ? VOLoadWord(pStateInfo->uActiveSlot) : kSlots;
    if (uSlot >= kSlots)
    {
        return false;
    }
    ullLatestTime = VOLoadWord(pStateInfo->ullUpdateTime[uSlot]);
    if (ullLastTime == kNoTime)
    {
        ullLastTime = ullLatestTime;
        return true;
    }
    return ullLastTime < ullLatestTime;
}

bool TSThreadProcDetect::FindsEvents(enumAssetFrom eaf, std::vector<structFileEventNode>& vecEvent,
                                     unsigned long long ullLastTime, unsigned long long& ullLatestTime)
{
    if (m_pReader == nullptr)
    {
        m_pReader = std::make_unique<VOTSFileEventContainer>(LUMTrayService::AR_Customer);
    }
    m_ullImageTime = 0;
    if (MappingView_FileEvent(eaf, StateInfo(eaf), m_pReader.get()) != ET_NONE ||
        m_pReader->GetEvent(vecEvent, ullLastTime, kNoTime) == 0)
    {
        return false;
    }
    ullLatestTime = std::max(ullLatestTime, m_ullImageTime);
    return true;
}

ErrorType TSThreadProcDetect::MappingView_FileEvent(enumAssetFrom eaf, FileEventStateInfo* pStateInfo,
                                                    VOTSFileEventContainer* pFileEventReader)
{
    if (pStateInfo == nullptr || pFileEventReader == nullptr)
    {
        return ET_STATE_UNAVAILABLE;
    }
    if (VOLoadWord(pStateInfo->bEnable) == 0 || FILEEVENT_MAPPING_VIEW_STRING(eaf) == nullptr)
    {
        return ET_SOURCE_DISABLED;
    }
    const unsigned int uSlot = VOLoadWord(pStateInfo->uActiveSlot);
    if (!VO_STEP_OR_FALSE(uSlot < kSlots))
    {
        return ET_DATA_UNAVAILABLE;
    }
    VOWCHAR szName[kSectionNameSize] = {};
    StringCchPrintf(szName, kSectionNameSize, VOTEXT("%s%d"), FILEEVENT_MAPPING_VIEW_STRING(eaf),
                    static_cast<int>(uSlot));

    VOSectionVisit visit;
    visit.Enter(pStateInfo->uReaderCount[uSlot]);

    // Loaded before the section is opened: a publisher writes the time behind the image, so what is copied below is
    // never older than this, and no event is passed over.
    const unsigned long long ullImageTime = VOLoadWord(pStateInfo->ullUpdateTime[uSlot]);
    if (visit.OpenHandle(szName, FILE_MAP_READ) == nullptr)
    {
        return ET_DATA_UNAVAILABLE;
    }
    const auto* const pFileEventAlloc = static_cast<const VOTSFileEventContainer::ContainerAlloc*>(visit.Map());
    if (visit.Size() < sizeof(*pFileEventAlloc) && !VO_STEP(FALSE))
    {
        return ET_DATA_UNAVAILABLE;
    }
    const unsigned int uDataBufSize = VOLoad<VOTSFileEventContainer::ContainerAlloc>(pFileEventAlloc).uDataBufSize;
    if (uDataBufSize == 0)
    {
        LeaveMapped(eaf, visit);
    }
    if (!VO_STEP_AS("pFileEventAlloc && pFileEventAlloc->uDataBufSize", uDataBufSize != 0))
    {
        // No failure for the caller, who goes on with what was copied before.
        return ET_NONE;
    }
    const unsigned long long ullImageSize = sizeof(*pFileEventAlloc) + static_cast<unsigned long long>(uDataBufSize);
    if ((ullImageSize > visit.Size() || ullImageSize > kVOMaxImageSize) && !VO_STEP(FALSE))
    {
        return ET_DATA_UNAVAILABLE;
    }

    // The reader lets go of the copy before it changes.
    pFileEventReader->CleanUp();
    if (m_uBufferSize < ullImageSize)
    {
        free(std::exchange(m_pBuffer, nullptr));
        m_uBufferSize = 0;
        m_pBuffer = static_cast<unsigned char*>(VOAllocateImage(ullImageSize));
        m_uBufferSize = static_cast<unsigned int>(ullImageSize);
    }
    memcpy(m_pBuffer, pFileEventAlloc, static_cast<size_t>(ullImageSize));
    memset(m_pBuffer + ullImageSize, 0, static_cast<size_t>(m_uBufferSize - ullImageSize));
    visit.Leave();

    auto* const pImage = reinterpret_cast<VOTSFileEventContainer::ContainerAlloc*>(m_pBuffer);
    if (!pFileEventReader->SetAlloc(pImage, 0, ullImageSize) && !VO_STEP(FALSE))
    {
        return ET_DATA_UNAVAILABLE;
    }
    m_ullImageTime = ullImageTime;
    return ET_NONE;
}
