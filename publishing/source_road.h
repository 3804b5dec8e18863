// The publishing side of the second road: the state section of all sources, and the base and log of each.
//
// One thread at a time. What fails leaves a value in GetLastError.
#pragma once

#include <memory>
#include <vector>

#include "assetindex/asset_base.h"
#include "mapping/road_state.h"
#include "platform/vo_section_publisher.h"
#include "platform/vo_shared_signal.h"
#include "vo_publisher.h"

// The state section, made or taken over from a publisher that was killed.
class VORoadSections
{
public:
    // All sources have no second road then, and what another publisher left of them is gone.
    bool Open();
    void Withdraw() { m_pOpened.reset(); }

    bool IsOpen() const { return m_pOpened != nullptr; }
    VORoadState& State() { return m_pOpened->State(); }

    // The number of a source's next base: never one that was there before, also not one of an earlier publisher, for a
    // reader would take the base for its own.
    uint64_t NextGeneration(LUMTrayService::enumAssetFrom eaf);

    // Wakes those who wait for images of a source, or of any.
    void StepImages(LUMTrayService::enumAssetFrom eaf);

private:
    // Ends from below: the signals, the section that they lie in, and the lock.
    struct Opened
    {
        VOInstanceLock lock;
        VOPublishedSection section;
        std::unique_ptr<VOSharedSignal> pImages;
        std::unique_ptr<VOSharedSignal> apSource[LUMTrayService::ASSETTYPE_COUNT];

        VORoadState& State() const { return *static_cast<VORoadState*>(section.Data()); }
    };

    std::unique_ptr<Opened> m_pOpened;
    uint64_t m_aullLast[LUMTrayService::ASSETTYPE_COUNT] = {};  // generations
};

// One source: follows a container.
class VOSourceRoad
{
public:
    VOSourceRoad(VORoadSections& sections, LUMTrayService::enumAssetFrom eaf);

    // Takes the sections away. What readers have stays.
    ~VOSourceRoad();
    VOSourceRoad(const VOSourceRoad&) = delete;
    VOSourceRoad& operator=(const VOSourceRoad&) = delete;

    // As VORoadPublisher::Publish.
    bool Publish(VOTSAssetNodeContainer& container);

    // Takes the source off the second road, until the next Publish.
    void Remove();

    // What is published now, to be looked at while more is. Null when there is none.
    std::unique_ptr<VORoadSnapshot> TakeSnapshot() const;

    bool IsPublished() const { return m_pGeneration != nullptr; }

    // So far: generations and batches.
    uint64_t Generations() const { return m_ullGenerations; }
    uint64_t Batches() const { return m_ullBatches; }

private:
    struct Generation;

    bool _PublishBase();
    bool _PublishBatch(const std::vector<unsigned char>& vecBatch);
    VORoadSource& _Source() { return m_sections.State().arrSource[m_eaf]; }

    VORoadSections& m_sections;
    LUMTrayService::enumAssetFrom m_eaf;
    std::unique_ptr<VOAssetBaseWriter> m_pWriter;
    std::unique_ptr<Generation> m_pGeneration;
    uint64_t m_ullGenerations = 0;
    uint64_t m_ullBatches = 0;
};
