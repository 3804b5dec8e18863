// What a detect thread works with: its own copy of the newest image, and the sections as it finds them.
#pragma once

#include <memory>
#include <vector>

#include "diagnostics/check.h"
#include "fileevent/event_ring.h"
#include "platform/vo_section_view.h"
#include "vots_file_event.h"

// Milliseconds between two looks of every detect thread, 500. Not exported: tests that link the library's objects let
// threads look more often.
extern std::atomic<DWORD> g_uVODetectPause;

// A last time that says that nothing has been seen yet.
constexpr unsigned long long kNoTime = ~0ull;

// The working record of one detect thread, and a local of it.
struct TSThreadProcDetect
{
    explicit TSThreadProcDetect(LUMTrayService::enumAssetFrom eaf = LUMTrayService::AF_ERROR) : m_ring(eaf) {}
    TSThreadProcDetect(const TSThreadProcDetect&) = delete;
    TSThreadProcDetect& operator=(const TSThreadProcDetect&) = delete;
    ~TSThreadProcDetect();

    // The events of the second road since ullLastTime, which goes on to behind them. False when there is no second
    // road; otherwise uSteps is the step of the ring that they are of. What is still missing then, a Look finds.
    bool TakeTold(std::vector<VOToldEvent>& vecEvents, unsigned long long& ullLastTime, uint32_t& uSteps);

    // One look at the sections. True when there are events to deliver; ullLastTime becomes ullLatestTime once they are
    // delivered. Whatever fails, also for want of memory, is tried again by the next look.
    bool Look(LUMTrayService::enumAssetFrom eaf, std::vector<LUMTrayService::structFileEventNode>& vecEvent,
              unsigned long long& ullLastTime, unsigned long long& ullLatestTime);

    // The two halves of a look: whether the published time has moved on, which makes it the first time seen where none
    // was known; and the events of the newest image since a time. The image may be newer than the look at the time:
    // then ullLatestTime is raised to the image's, so that its events aren't found again.
    bool FindsTime(LUMTrayService::enumAssetFrom eaf, unsigned long long& ullLastTime,
                   unsigned long long& ullLatestTime);
    bool FindsEvents(LUMTrayService::enumAssetFrom eaf, std::vector<LUMTrayService::structFileEventNode>& vecEvent,
                     unsigned long long ullLastTime, unsigned long long& ullLatestTime);

    // Opens the update state section anew, and lets go of the one opened before. False, with nothing held, when there
    // is none of this version.
    bool OpenState();

    // The record of a source in the open section; an empty pointer for what is no source.
    FileEventStateInfo* StateInfo(LUMTrayService::enumAssetFrom eaf) const;

    // Copies the newest image of a source and attaches the reader to the copy. An image without content leaves copy and
    // reader as they are, with ET_NONE.
    LUMTrayService::Inspector::ErrorType MappingView_FileEvent(LUMTrayService::enumAssetFrom eaf,
                                                               FileEventStateInfo* pStateInfo,
                                                               VOTSFileEventContainer* pFileEventReader);

    unsigned char* m_pBuffer = nullptr;                 // owned; the copy of the image
    unsigned int m_uBufferSize = 0;                     // its capacity, which never shrinks
    unsigned long long m_ullImageTime = 0;              // the published time of the image that was copied last
    VOSectionView m_state;                              // the update state section, shared with all processes
    std::unique_ptr<VOTSFileEventContainer> m_pReader;  // reads the copy in place
    VOEventRing m_ring;                                 // the second road
};
