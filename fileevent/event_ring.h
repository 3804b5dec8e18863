// File events on the second road: a ring of the latest ones in a section of its own, which the publisher tells at once.
//
//   offset            size   content
//   0                 16     "events.1.0", filled with zeros
//   16                8      position of the oldest event that is whole
//   24                8      position behind the newest one
//   32                4      steps with each publication
//   36                4      0
//   40                8      bytes of the ring, 1,048,576
//   48                16     0
//   64 + 16*source    8      time of the source's newest event here
//   72 + 16*source    8      every event of the source up to this time has been here
//   224               32     0
//   256                      the ring
//
// A position counts on for ever; what has it lies at that position modulo the ring's size, also across its end. An
// event:
//
//   0       4      its bytes, a multiple of 8
//   4       4      CRC-32 of what follows
//   8       8      its position
//   16      8      time
//   24      8      time of the source's event before it, 0 for the first one
//   32      4      source
//   36      12     the three values
//   48      12     units of path, new name and physical path, without terminator; 0 for none
//   60      4      0
//   64             the texts, each behind the other, of 2 bytes a unit and with a terminator of their own; zeros up to
//   a
//                  multiple of 8
//
// All numbers are little-endian. The publisher stores the position of what stays the oldest, then the source's newest
// time, then the event, then the position behind it, and at last the second time and the step. A reader copies what is
// new, loads the oldest position once more, and drops what was written over meanwhile. An event is told to a listener
// when its index is readable on the second road. What a reader finds missing, by an event before one that it hasn't
// seen, or unsound, it gets from the other road, where all events come too, with the same times.
//
// The ring belongs to whoever holds the lock of the second road. The name is that of the section below; the steps are
// waited for under the same name.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/vo_section_view.h"
#include "platform/vo_shared_signal.h"
#include "tray_service_types.h"

inline const VOWCHAR* const kpszVOEventRingName = VOTEXT("vo_fileMappingFileEventRoad");
constexpr char kVOEventRingVersion[16] = "events.1.0";
constexpr uint64_t kVOEventRingSize = 1u << 20;

struct VOEventRingHead
{
    char szVersion[16];
    uint64_t ullOldest;
    uint64_t ullWritten;
    uint32_t uSteps;
    uint32_t uReserved;
    uint64_t ullSize;
    uint64_t aullReserved[2];
    struct
    {
        uint64_t ullNewest;
        uint64_t ullCovered;
    } arrSource[LUMTrayService::ASSETTYPE_COUNT];
    uint64_t aullReservedToo[4];
};
static_assert(sizeof(VOEventRingHead) == 256);

struct VORingEventHead
{
    uint32_t uSize;
    uint32_t uCheck;
    uint64_t ullPosition;
    uint64_t ullTime;
    uint64_t ullTimeBefore;
    uint32_t uSource;
    uint32_t auParam[3];
    uint32_t auUnits[3];
    uint32_t uReserved;
};
static_assert(sizeof(VORingEventHead) == 64 && LUMTrayService::ASSETTYPE_COUNT == 10);

// An event that was taken from the ring.
struct VOToldEvent
{
    unsigned long long ullTime;
    unsigned int auParam[3];
    VOWString astrText[3];  // path, new name, physical path; empty for none
};

// The reading side, for one source. One thread at a time. Nothing that is read is trusted.
class VOEventRing
{
public:
    explicit VOEventRing(LUMTrayService::enumAssetFrom eaf) : m_eaf(eaf) {}

    // Comes to the ring of the publisher that lives now. False, with nothing held, when there is none, or this process
    // takes the first road, if only for an image of this source that it shows: that one is behind the ring.
    bool Follow();

    // The ring's steps, while it is followed; the wait is that of VOSharedSignal.
    uint32_t Now() const { return m_pSignal->Now(); }
    bool WaitWhile(uint32_t uSeen, uint32_t uMilliseconds) const { return m_pSignal->WaitWhile(uSeen, uMilliseconds); }

    // Appends the events of the source from ullLastTime on, in their order, up to one that doesn't follow upon what was
    // seen before; ullLastTime goes on to behind what is known to have been told then.
    void Take(unsigned long long& ullLastTime, std::vector<VOToldEvent>& vecEvents);

private:
    const VOEventRingHead& _Head() const { return *static_cast<const VOEventRingHead*>(m_section.Data()); }
    bool _Copy(std::vector<uint64_t>& vecWords);
    void _Miss(uint64_t ullPosition);

    LUMTrayService::enumAssetFrom m_eaf;
    VOSectionView m_section;
    std::unique_ptr<VOSharedSignal> m_pSignal;
    uint64_t m_ullPosition = 0;
    uint64_t m_ullMissed = 0;  // what was passed over unseen isn't later than this
};
