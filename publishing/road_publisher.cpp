#include "mapping/asset_road.h"
#include "platform/vo_platform.h"
#include "platform/vo_shared_word.h"
#include "publishing/event_ring_writer.h"
#include "publishing/source_road.h"
#include "vo_publisher.h"
#include "vots_file_mapping.h"

using LUMTrayService::ASSETTYPE_COUNT;
using LUMTrayService::enumAssetFrom;

namespace
{

bool IsSource(enumAssetFrom eaf)
{
    return VOAssetNodeMappingViewString(eaf) != nullptr;
}

}  // namespace

// The sources end before the section that they write to.
struct VORoadPublisher::Sources
{
    VORoadSections sections;
    VOEventRingWriter events;
    std::unique_ptr<VOSourceRoad> apSource[ASSETTYPE_COUNT];

    // Null for one that isn't there, or is no source.
    VOSourceRoad* Find(enumAssetFrom eaf) const { return IsSource(eaf) ? apSource[eaf].get() : nullptr; }
};

VORoadPublisher::VORoadPublisher() : m_pSources(std::make_unique<Sources>()) {}

VORoadPublisher::~VORoadPublisher()
{
    Withdraw();
}

bool VORoadPublisher::Open()
{
    if (IsOpen() || !m_pSources->sections.Open())
    {
        return false;
    }
    if (!m_pSources->events.Open())
    {
        m_pSources->sections.Withdraw();
        return false;
    }
    return true;
}

void VORoadPublisher::Withdraw()
{
    for (std::unique_ptr<VOSourceRoad>& pSource : m_pSources->apSource)
    {
        pSource.reset();
    }
    m_pSources->events.Withdraw();
    m_pSources->sections.Withdraw();
}

bool VORoadPublisher::IsOpen() const
{
    return m_pSources->sections.IsOpen();
}

bool VORoadPublisher::Publish(enumAssetFrom eaf, VOTSAssetNodeContainer& container)
{
    if (!IsOpen() || !IsSource(eaf))
    {
        return false;
    }
    std::unique_ptr<VOSourceRoad>& pSource = m_pSources->apSource[eaf];
    try
    {
        if (pSource == nullptr)
        {
            pSource = std::make_unique<VOSourceRoad>(m_pSources->sections, eaf);
        }
        return pSource->Publish(container);
    }
    catch (const std::bad_alloc&)
    {
        Remove(eaf);
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return false;
    }
}

VORoadSnapshot::VORoadSnapshot() = default;

VORoadSnapshot::~VORoadSnapshot() = default;

VOTSAssetNodeContainer::ContainerAlloc* VORoadSnapshot::MakeImage()
{
    VOTSAssetNodeContainer container(LUMTrayService::AR_Customer);
    return m_pGeneration->Apply(m_ullWritten) && container.SetBase(m_pGeneration->Base()) ? container.GetAlloc()
                                                                                          : nullptr;
}

std::unique_ptr<VORoadSnapshot> VORoadPublisher::TakeSnapshot(enumAssetFrom eaf) const
{
    const VOSourceRoad* const pSource = m_pSources->Find(eaf);
    return pSource != nullptr ? pSource->TakeSnapshot() : nullptr;
}

bool VORoadPublisher::PublishEvents(enumAssetFrom eaf, VOTSFileEventContainer& container, unsigned long long ullTime)
{
    const VOSourceRoad* const pSource = m_pSources->Find(eaf);
    if (pSource == nullptr || !pSource->IsPublished())
    {
        return false;
    }
    try
    {
        m_pSources->events.Publish(eaf, container, ullTime);
        return true;
    }
    catch (const std::bad_alloc&)
    {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return false;
    }
}

void VORoadPublisher::NoteImage(enumAssetFrom eaf, unsigned int uUpdateCount)
{
    if (IsOpen() && IsSource(eaf))
    {
        VOStoreWord(m_pSources->sections.State().arrSource[eaf].uImageCount, uUpdateCount);
    }
}

void VORoadPublisher::Remove(enumAssetFrom eaf)
{
    if (VOSourceRoad* const pSource = m_pSources->Find(eaf))
    {
        pSource->Remove();
        m_pSources->apSource[eaf].reset();
    }
}

VORoadPublisher::Counts VORoadPublisher::CountsOf(enumAssetFrom eaf) const
{
    Counts counts = {};
    if (const VOSourceRoad* const pSource = m_pSources->Find(eaf))
    {
        const VORoadSource& source = m_pSources->sections.State().arrSource[eaf];
        counts.ullGenerations = pSource->Generations();
        counts.ullBatches = pSource->Batches();
        counts.ullAttached = VOLoadWord(source.uAttached);
        counts.ullDoubted = VOLoadWord(source.uDoubted);
    }
    return counts;
}
