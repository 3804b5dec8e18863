#include "platform/vo_platform.h"
#include "platform/vo_shared_word.h"
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
    std::unique_ptr<VOSourceRoad> apSource[ASSETTYPE_COUNT];
};

VORoadPublisher::VORoadPublisher() : m_pSources(std::make_unique<Sources>()) {}

VORoadPublisher::~VORoadPublisher()
{
    Withdraw();
}

bool VORoadPublisher::Open()
{
    return !IsOpen() && m_pSources->sections.Open();
}

void VORoadPublisher::Withdraw()
{
    for (std::unique_ptr<VOSourceRoad>& pSource : m_pSources->apSource)
    {
        pSource.reset();
    }
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

void VORoadPublisher::NoteImage(enumAssetFrom eaf, unsigned int uUpdateCount)
{
    if (IsOpen() && IsSource(eaf))
    {
        VOStoreWord(m_pSources->sections.State().arrSource[eaf].uImageCount, uUpdateCount);
    }
}

void VORoadPublisher::Remove(enumAssetFrom eaf)
{
    if (IsSource(eaf) && m_pSources->apSource[eaf] != nullptr)
    {
        m_pSources->apSource[eaf]->Remove();
        m_pSources->apSource[eaf].reset();
    }
}

VORoadPublisher::Counts VORoadPublisher::CountsOf(enumAssetFrom eaf) const
{
    Counts counts = {};
    if (IsOpen() && IsSource(eaf) && m_pSources->apSource[eaf] != nullptr)
    {
        const VORoadSource& source = m_pSources->sections.State().arrSource[eaf];
        counts.ullGenerations = m_pSources->apSource[eaf]->Generations();
        counts.ullBatches = m_pSources->apSource[eaf]->Batches();
        counts.ullAttached = VOLoadWord(source.uAttached);
        counts.ullDoubted = VOLoadWord(source.uDoubted);
    }
    return counts;
}
