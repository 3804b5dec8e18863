// The writing side of the ring of file events (fileevent/event_ring.h).
#pragma once

#include <deque>
#include <memory>

#include "fileevent/event_ring.h"
#include "platform/vo_section_publisher.h"
#include "vots_file_event.h"

// One thread at a time. What fails leaves a value in GetLastError.
class VOEventRingWriter
{
public:
    // Makes the section, or takes over the one of a publisher that was killed. The caller has the lock of the second
    // road.
    bool Open();
    void Withdraw();

    bool IsOpen() const { return m_section.Data() != nullptr; }

    // As VORoadPublisher::PublishEvents, for a source that is on the second road.
    void Publish(LUMTrayService::enumAssetFrom eaf, VOTSFileEventContainer& container, unsigned long long ullTime);

private:
    bool _Append(LUMTrayService::enumAssetFrom eaf, const LUMTrayService::structFileEventNode& node,
                 const VOTSFileEventContainer& container);
    void _MakeRoom(uint64_t ullSize);

    VOPublishedSection m_section;
    VOEventRingHead* m_pHead = nullptr;  // in the section
    std::unique_ptr<VOSharedSignal> m_pSignal;
    std::deque<uint32_t> m_queSizes;  // of the events in the ring
    uint64_t m_ullOldest = 0;
    uint64_t m_ullWritten = 0;
    unsigned long long m_aullNewest[LUMTrayService::ASSETTYPE_COUNT] = {};  // times of events that were here, or passed
    bool m_abPassed[LUMTrayService::ASSETTYPE_COUNT] = {};  // the newest event was too large for the ring
};
