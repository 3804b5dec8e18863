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
        LogCapture log;
        Random random(ullSeed);
        VOTSFileEventContainer container;
        EventModel model;
        for (int nStep = 0; nStep < 120; ++nStep)
        {
            const Time ullTime = random.Below(20);
            switch (random.Below(8))
            {
                case 0:
                    EXPECT_EQ(1, container.RemoveEvent(ullTime / 2));
                    model.Remove(ullTime / 2);
                    break;
                case 1:
                {
                    const Time ullEnd = ullTime + random.Below(5);
                    Events vecEvent;
                    const int nResult = container.GetEvent(vecEvent, ullTime, ullEnd);
                    EXPECT_EQ(model.Get(ullTime, ullEnd), AsModel(vecEvent));
                    EXPECT_EQ(vecEvent.empty() ? 0 : 1, nResult);
                    break;
                }
                case 2:
                {
                    // Through an image, copied or not, and on in a container that owns everything again.
                    const MisalignedBlock image(ImageOf(container), random.Below(9));
                    EXPECT_TRUE(SameBytes(model.Image(), image.Current()));
                    VOTSFileEventContainer reader(AR_Customer);
                    EXPECT_EQ(1, reader.SetAlloc(image.As<EventImage>(), random.Percent(50) ? 1 : 0));
                    ExpectSame(reader, model);
                    EXPECT_EQ(1, container.SetAlloc(image.As<EventImage>(), 1));
                    break;
                }
                case 3:
                    if (random.Percent(15))
                    {
                        EXPECT_EQ(1, container.CleanUp());
                        model = EventModel();
                    }
                    break;
                default:
                {
                    const Info about = {random.Word(),
                                        random.Word(),
                                        random.Word(),
                                        kapszText[1 + random.Below(6)],
                                        kapszText[random.Below(7)],
                                        kapszText[random.Below(7)]};
                    EXPECT_EQ(1, container.AppendEvent(about, ullTime));
                    model.Append(about, ullTime);
                    break;
                }
            }
            ASSERT_EQ(model.vecEvents, AsModel(AllOf(container))) << nStep;
        }
        ExpectSame(container, model);
        EXPECT_TRUE(SameBytes(model.Image(), ImageOf(container)));
        EXPECT_EQ(0u, log.Count());
    }
}

}  // namespace
