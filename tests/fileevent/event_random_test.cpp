// Random runs of the container's operations beside the model: same results, same events, same image.
#include "fileevent/event_test_tools.h"

namespace
{
using namespace eventtest;

const VOWCHAR* const kapszText[] = {
    nullptr, VOTEXT(""), VOTEXT("a"), VOTEXT("b"), VOTEXT("dir/a.png"), VOTEXT("DIR/A.PNG"), VOTEXT("\x4E2D\xD83D")};

TEST(EventRandom, RunsEqualTheModels)
{
    for (uint64_t ullSeed = 0; ullSeed < 40; ++ullSeed)
    {
        SCOPED_TRACE(ullSeed);
        LogCapture kLog;
        Random kRandom(ullSeed);
        VOTSFileEventContainer kContainer;
        EventModel kModel;
        for (int nStep = 0; nStep < 120; ++nStep)
        {
            const Time ullTime = kRandom.Below(20);
            switch (kRandom.Below(8))
            {
                case 0:
                    EXPECT_EQ(1, kContainer.RemoveEvent(ullTime / 2));
                    kModel.Remove(ullTime / 2);
                    break;
                case 1:
                {
                    const Time ullEnd = ullTime + kRandom.Below(5);
                    Events vecEvent;
                    const int nResult = kContainer.GetEvent(vecEvent, ullTime, ullEnd);
                    EXPECT_EQ(kModel.Get(ullTime, ullEnd), AsModel(vecEvent));
                    EXPECT_EQ(vecEvent.empty() ? 0 : 1, nResult);
                    break;
                }
                case 2:
                {
                    // Through an image, copied or not, and on in a container that owns everything again.
                    const MisalignedBlock kImage(ImageOf(kContainer), kRandom.Below(9));
                    EXPECT_TRUE(SameBytes(kModel.Image(), kImage.Current()));
                    VOTSFileEventContainer kReader(AR_Customer);
                    EXPECT_EQ(1, kReader.SetAlloc(kImage.As<EventImage>(), kRandom.Percent(50) ? 1 : 0));
                    ExpectSame(kReader, kModel);
                    EXPECT_EQ(1, kContainer.SetAlloc(kImage.As<EventImage>(), 1));
                    break;
                }
                case 3:
                    if (kRandom.Percent(15))
                    {
                        EXPECT_EQ(1, kContainer.CleanUp());
                        kModel = EventModel();
                    }
                    break;
                default:
                {
                    const Info kInfo = {kRandom.Word(),
                                        kRandom.Word(),
                                        kRandom.Word(),
                                        kapszText[1 + kRandom.Below(6)],
                                        kapszText[kRandom.Below(7)],
                                        kapszText[kRandom.Below(7)]};
                    EXPECT_EQ(1, kContainer.AppendEvent(kInfo, ullTime));
                    kModel.Append(kInfo, ullTime);
                    break;
                }
            }
            ASSERT_EQ(kModel.vecEvents, AsModel(AllOf(kContainer))) << nStep;
        }
        ExpectSame(kContainer, kModel);
        EXPECT_TRUE(SameBytes(kModel.Image(), ImageOf(kContainer)));
        EXPECT_EQ(0u, kLog.Count());
    }
}

}  // namespace
