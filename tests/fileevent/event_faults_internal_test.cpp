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
    std::unique_ptr<OpenContainer> pContainer;
};

void MakeSample(Filled& held)
{
    held.pContainer = std::make_unique<OpenContainer>();
    const MisalignedBlock image(SampleModel().Image());
    ASSERT_EQ(1, held.pContainer->SetAlloc(image.As<EventImage>(), 1));
}

typedef std::function<void(OpenContainer&)> Step;

unsigned int FailEach(const Step& fnBody, const Step& fnCheck)
{
    return votest::FailEachAllocation<Filled>(
        &MakeSample, [&](Filled& held) { fnBody(*held.pContainer); }, [&](Filled& held) { fnCheck(*held.pContainer); });
}

TEST(EventFaults, AContainerThatCannotBeMadeLeavesNothingBehind)
{
    for (const enumAssetRole eRole : {AR_Provider, AR_Customer})
    {
        EXPECT_LE(2u, votest::FailEachAllocation<Filled>([](Filled&) {},
                                                         [eRole](Filled& held)
                                                         { held.pContainer = std::make_unique<OpenContainer>(eRole); },
                                                         [](Filled& held) { EXPECT_EQ(nullptr, held.pContainer); }));
    }
}

TEST(EventFaults, AnAppendThatFailsStoresNoEventAndSucceedsTheNextTime)
{
    const Info about = InfoOf(VOTEXT("entirely new"), VOTEXT("new name"), VOTEXT("new physic path"));
    EXPECT_LE(1u, FailEach([&](OpenContainer& rk) { (void)rk.AppendEvent(about, 40); },
                           [&](OpenContainer& rk)
                           {
                               EXPECT_EQ(AsModel(AllOf(rk)), SampleModel().vecEvents);
                               EXPECT_EQ(1, rk.AppendEvent(about, 50));
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
    EventModel model;
    model.Append(InfoOf(VOTEXT("only")), 5);
    const MisalignedBlock image(model.Image(), 1);
    EXPECT_LE(1u, FailEach([&](OpenContainer& rk) { (void)rk.SetAlloc(image.As<EventImage>(), 1); },
                           [&](OpenContainer& rk)
                           {
                               (void)AskEverything(rk);
                               EXPECT_EQ(1, rk.SetAlloc(image.As<EventImage>(), 1));
                               ExpectSame(rk, model);
                           }));
}

TEST(EventFaults, ACopyThatCannotBeMadeLeavesBothAsTheyWere)
{
    EXPECT_LE(2u, FailEach(
                      [](OpenContainer& rk)
                      {
                          OpenContainer copy(rk);
                          OpenContainer other;
                          other = copy;
                      },
                      [](OpenContainer& rk) { ExpectSame(rk, SampleModel()); }));
}

TEST(EventFaults, AnEventThatCannotBeRemovedFromAViewStays)
{
    const MisalignedBlock image(SampleModel().Image(), 1);
    EXPECT_LE(1u, votest::FailEachAllocation<Filled>(
                      [&](Filled& held)
                      {
                          held.pContainer = std::make_unique<OpenContainer>(AR_Customer);
                          ASSERT_EQ(1, held.pContainer->SetAlloc(image.As<EventImage>(), 0));
                      },
                      [](Filled& held) { (void)held.pContainer->RemoveEvent(30); },
                      [](Filled& held) { ExpectSame(*held.pContainer, SampleModel()); }));
}

}  // namespace
