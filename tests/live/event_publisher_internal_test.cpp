// What a publisher of events does when one of a batch can't be entered.
#include <stdlib.h>

#include "platform/vo_platform.h"
#include "support/fault_points.h"
#include "support/text.h"
#include "tools/lum/publish/event_publisher.h"
#include "vo_utility.h"
#include "vots_file_event.h"

namespace
{

using namespace LUMTrayService;

lum::Changes Batch()
{
    lum::Changes changes;
    for (int i = 0; i < 200; ++i)
    {
        lum::Change change;
        change.eKind = lum::ChangeKind::Added;
        change.strPath = votest::Wide("path" + std::to_string(i));
        change.strPhysicalPath = votest::Wide("/root/path" + std::to_string(i));
        changes.push_back(change);
    }
    return changes;
}

// The paths in the image that readers are pointed to, in its order.
std::vector<VOWString> PublishedPaths()
{
    std::vector<VOWString> vecPaths;
    HANDLE hState = OpenFileMappingW(FILE_MAP_READ, 0, FILEMAPPING_FILEEVENT_UPDATESTATE_NAME);
    const void* const pvState = MapViewOfFile(hState, FILE_MAP_READ, 0, 0, 0);
    const unsigned uSlot = static_cast<const FileEventUpdateState*>(pvState)->arrStateInfo[AF_SOURCE].uActiveSlot;
    VOWString strName(FILEEVENT_MAPPING_VIEW_STRING(AF_SOURCE));
    strName += static_cast<VOWCHAR>('0' + uSlot);
    HANDLE hData = OpenFileMappingW(FILE_MAP_READ, 0, strName.c_str());
    void* const pvData = MapViewOfFile(hData, FILE_MAP_READ, 0, 0, 0);
    {
        VOTSFileEventContainer reader(AR_Customer);
        EXPECT_EQ(1, reader.SetAlloc(static_cast<VOTSFileEventContainer::ContainerAlloc*>(pvData), 1));
        std::vector<structFileEventNode> vecEvents;
        reader.GetEvent(vecEvents, 0, ~0ull);
        for (const structFileEventNode& event : vecEvents)
        {
            vecPaths.push_back(VOTextOf(reader.GetString(event.hstrPath)));
        }
    }
    for (const void* pvView : {pvState, static_cast<const void*>(pvData)})
    {
        UnmapViewOfFile(pvView);
    }
    CloseHandle(hData);
    CloseHandle(hState);
    return vecPaths;
}

// The call fails once, at each place in turn, until a batch gets in without it. How often a part of a batch got in.
unsigned BatchesInPartWhile(const char* pszCall, unsigned uEvery)
{
    unsigned uInPart = 0;
    for (unsigned uNth = 1;; uNth += uEvery)
    {
        std::string strError;
        lum::Changes changes = Batch();
        VORoadPublisher road;  // not opened
        lum::EventPublisher publisher(road);
        const auto Publish = [&]
        {
            std::unique_ptr<lum::EventImage> pImage;
            return publisher.Append(AF_SOURCE, &changes, &strError) &&
                   (pImage = publisher.MakeImage(AF_SOURCE, &strError)) != nullptr &&
                   publisher.Publish(AF_SOURCE, *pImage, &strError);
        };
        EXPECT_TRUE(publisher.Open({AF_SOURCE}, &strError)) << strError;
        bool bPublished = false;
        VOFaultArm(pszCall, uNth, false);
        try
        {
            bPublished = Publish();
        }
        catch (const std::bad_alloc&)
        {
        }
        const bool bFired = VOFaultFired() != 0;
        VOFaultDisarm();
        uInPart += !bPublished && !changes.empty() && changes.size() < 200 ? 1 : 0;
        EXPECT_TRUE(bPublished || Publish()) << strError;
        EXPECT_TRUE(changes.empty());
        const std::vector<VOWString> vecPaths = PublishedPaths();
        EXPECT_EQ(200u, vecPaths.size()) << "allocation " << uNth;
        for (size_t i = 0; i < vecPaths.size(); ++i)
        {
            EXPECT_EQ(votest::Wide("path" + std::to_string(i)), vecPaths[i]);
        }
        if (!bFired || testing::Test::HasFailure())
        {
            return uInPart;
        }
    }
}

TEST(LumEventPublisher, OfABatchThatDidntGetInWholeEveryEventIsToldOnceInTheEnd)
{
    EXPECT_NE(0u, BatchesInPartWhile("VOReallocate", 1));
    EXPECT_NE(0u, BatchesInPartWhile("events.append", 20));
}

}  // namespace
