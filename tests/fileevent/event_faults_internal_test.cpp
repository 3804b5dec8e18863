// Every allocation below a container fails once, the first, then the second, until an operation runs through: the
// failure is the allocator's exception, nothing leaks, and the container is sound.
#include <functional>
#include <memory>

#include "fileevent/event_test_tools.h"
#include "support/memory_faults.h"

namespace
{
using namespace eventtest;

struct Filled
{
    std::unique_ptr<OpenContainer> pkContainer;
};

void MakeSample(Filled& rkHeld)
{
    rkHeld.pkContainer = std::make_unique<OpenContainer>();
    const MisalignedBlock kImage(SampleModel().Image());
    ASSERT_EQ(1, rkHeld.pkContainer->SetAlloc(kImage.As<EventImage>(), 1));
}

typedef std::function<void(OpenContainer&)> Step;

unsigned int FailEach(const Step& fnBody, const Step& fnCheck)
{
    return votest::FailEachAllocation<Filled>(
        &MakeSample, [&](Filled& rkHeld) { fnBody(*rkHeld.pkContainer); },
        [&](Filled& rkHeld) { fnCheck(*rkHeld.pkContainer); });
}

TEST(EventFaults, AContainerThatCannotBeMadeLeavesNothingBehind)
{
    for (const enumAssetRole eRole : {AR_Provider, AR_Customer})
    {
        EXPECT_LE(2u, votest::FailEachAllocation<Filled>(
                          [](Filled&) {},
                          [eRole](Filled& rkHeld) { rkHeld.pkContainer = std::make_unique<OpenContainer>(eRole); },
                          [](Filled& rkHeld) { EXPECT_EQ(nullptr, rkHeld.pkContainer); }));
    }
}

TEST(EventFaults, AnAppendThatFailsStoresNoEventAndSucceedsTheNextTime)
{
    const Info kInfo = InfoOf(VOTEXT("entirely new"), VOTEXT("new name"), VOTEXT("new physic path"));
    EXPECT_LE(1u, FailEach([&](OpenContainer& rk) { (void)rk.AppendEvent(kInfo, 40); },
                           [&](OpenContainer& rk)
                           {
                               EXPECT_EQ(AsModel(AllOf(rk)), SampleModel().vecEvents);
                               EXPECT_EQ(1, rk.AppendEvent(kInfo, 50));
                               EXPECT_THAT(TimesOf(AllOf(rk)), ElementsAre(10, 20, 30, 50));
                               EXPECT_EQ(VOWString(VOTEXT("new name")),
                                         ReadText(rk.GetString(AllOf(rk)[3].hstrNewName)));
                           }));
}

TEST(EventFaults, AnImageThatCannotBeMadeLeavesTheContainerAsItWas)
{
    EXPECT_LE(1u, FailEach([](OpenContainer& rk) { free(rk.GetAlloc()); },
                           [](OpenContainer& rk)
                           {
                               ExpectSame(rk, SampleModel());
                               EXPECT_TRUE(SameBytes(SampleModel().Image(), ImageOf(rk)));
                           }));
}

TEST(EventFaults, ALoadThatFailsLeavesAContainerThatCanBeLoadedAgain)
{
    EventModel kModel;
    kModel.Append(InfoOf(VOTEXT("only")), 5);
    const MisalignedBlock kImage(kModel.Image(), 1);
    EXPECT_LE(1u, FailEach([&](OpenContainer& rk) { (void)rk.SetAlloc(kImage.As<EventImage>(), 1); },
                           [&](OpenContainer& rk)
                           {
                               (void)AskEverything(rk);
                               EXPECT_EQ(1, rk.SetAlloc(kImage.As<EventImage>(), 1));
                               ExpectSame(rk, kModel);
                           }));
}

TEST(EventFaults, ACopyThatCannotBeMadeLeavesBothAsTheyWere)
{
    EXPECT_LE(2u, FailEach(
                      [](OpenContainer& rk)
                      {
                          OpenContainer kCopy(rk);
                          OpenContainer kOther;
                          kOther = kCopy;
                      },
                      [](OpenContainer& rk) { ExpectSame(rk, SampleModel()); }));
}

TEST(EventFaults, AnEventThatCannotBeRemovedFromAViewStays)
{
    const MisalignedBlock kImage(SampleModel().Image(), 1);
    EXPECT_LE(1u, votest::FailEachAllocation<Filled>(
                      [&](Filled& rkHeld)
                      {
                          rkHeld.pkContainer = std::make_unique<OpenContainer>(AR_Customer);
                          ASSERT_EQ(1, rkHeld.pkContainer->SetAlloc(kImage.As<EventImage>(), 0));
                      },
                      [](Filled& rkHeld) { (void)rkHeld.pkContainer->RemoveEvent(30); },
                      [](Filled& rkHeld) { ExpectSame(*rkHeld.pkContainer, SampleModel()); }));
}

}  // namespace
