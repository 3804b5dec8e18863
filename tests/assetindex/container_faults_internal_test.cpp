// Every allocation below a container fails once, the first, then the second, until an operation runs through: the
// failure is the allocator's exception, nothing leaks (the address sanitizer looks), and the container stays sound.
#include <functional>
#include <memory>

#include "assetindex/image_checks.h"
#include "support/memory_faults.h"

namespace
{
using namespace assettest;
using LUMTrayService::AR_Customer;
using LUMTrayService::AR_Provider;

// A container of a chosen role, made by the body of a test.
struct Held
{
    std::unique_ptr<VOTSAssetNodeContainer> pkContainer;
};

void MakeSample(Held& rkHeld)
{
    rkHeld.pkContainer = std::make_unique<VOTSAssetNodeContainer>(AR_Provider, VOTEXT("C:/Root"), VOTEXT("Name"));
    FillSample(*rkHeld.pkContainer);
    // Nothing has room: the next addition grows each part.
    EXPECT_EQ(1, rkHeld.pkContainer->ShrinkToFit());
}

typedef std::function<void(VOTSAssetNodeContainer&)> Step;

unsigned int FailEach(const std::function<void(Held&)>& fnMake, const Step& fnBody, const Step& fnCheck)
{
    return votest::FailEachAllocation<Held>(
        fnMake, [&](Held& rkHeld) { fnBody(*rkHeld.pkContainer); },
        [&](Held& rkHeld) { fnCheck(*rkHeld.pkContainer); });
}

TEST(ContainerFaults, AnImageThatCannotBeMadeLeavesTheContainersAnswersAsTheyWere)
{
    const ModelContainer kModel = SampleModel(VOTEXT("C:/Root"), VOTEXT("Name"));
    EXPECT_LE(1u, FailEach(
                      &MakeSample, [](VOTSAssetNodeContainer& rk) { free(rk.GetAlloc()); },
                      [&](VOTSAssetNodeContainer& rk)
                      {
                          ExpectSame(rk, kModel);
                          const MisalignedBlock kImage(ImageOf(rk), 1);
                          VOTSAssetNodeContainer kCustomer(AR_Customer);
                          EXPECT_NE(0, kCustomer.SetAlloc(kImage.As<ContainerImage>(), 0, kImage.Size()));
                          ExpectSame(kCustomer, kModel);
                          EXPECT_EQ(VOWString(VOTEXT("C:/Root")), ReadText(kCustomer.GetRootPath()));
                          EXPECT_EQ(VOWString(VOTEXT("Name")), ReadText(kCustomer.GetRootName()));
                          EXPECT_EQ(1u, FoundID(kCustomer, VOTEXT("c:/root/dir/foo.png")));
                      }));
}

TEST(ContainerFaults, AContainerThatCannotBeMadeLeavesNothingBehind)
{
    for (const LUMTrayService::enumAssetRole eRole : {AR_Provider, AR_Customer})
    {
        EXPECT_LE(3u, votest::FailEachAllocation<Held>(
                          [](Held&) {},
                          [eRole](Held& rkHeld)
                          { rkHeld.pkContainer = std::make_unique<VOTSAssetNodeContainer>(eRole, VOTEXT("C:/Root")); },
                          [](Held& rkHeld) { EXPECT_EQ(nullptr, rkHeld.pkContainer); }))
            << "the container and its parts";
    }
}

TEST(ContainerFaults, ARequestThatFailsMakesNoNodeAndSucceedsTheNextTime)
{
    EXPECT_LE(1u, FailEach(
                      &MakeSample,
                      [](VOTSAssetNodeContainer& rk)
                      {
                          structAssetNode tsNode;
                          int bInserted = 0;
                          (void)rk.RequestAssetNode(VOTEXT("entirely new"), tsNode, bInserted);
                      },
                      [](VOTSAssetNodeContainer& rk)
                      {
                          EXPECT_EQ(7u, rk.GetAssetNodeCount());
                          EXPECT_EQ(kNone, FoundID(rk, VOTEXT("entirely new")));
                          EXPECT_EQ(1u, FoundID(rk, VOTEXT("dir/foo.png")));
                          EXPECT_EQ(7u, NewNode(rk, VOTEXT("entirely new")));
                          EXPECT_EQ(7u, FoundID(rk, VOTEXT("entirely new")));
                      }));
}

TEST(ContainerFaults, ASetterThatFailsLeavesANodeThatCanBeSetAgain)
{
    EXPECT_LE(1u, FailEach(
                      &MakeSample,
                      [](VOTSAssetNodeContainer& rk)
                      {
                          (void)rk.SetAssetNodeStripPath(5, VOTEXT("new dir"), VOTEXT("new base"), VOTEXT("new ext"));
                          (void)rk.SetAssetNodePhysicsPath(5, VOTEXT("new physics"));
                          (void)rk.SetAssetNodeClassifyType(5, 9, VOTEXT("new type"));
                      },
                      [](VOTSAssetNodeContainer& rk)
                      {
                          (void)AskEverything(rk);
                          EXPECT_NE(0, rk.SetAssetNodeStripPath(5, VOTEXT("new dir"), VOTEXT("new base"), nullptr));
                          EXPECT_EQ(VOWString(VOTEXT("new dir/new base")), PathOf(rk, 5));
                      }));
}

TEST(ContainerFaults, AChildThatCannotBeInsertedLeavesTheListAsItWas)
{
    EXPECT_LE(1u, FailEach(
                      &MakeSample, [](VOTSAssetNodeContainer& rk) { (void)rk.InsertAssetNodeChildIndex(3, 6); },
                      [](VOTSAssetNodeContainer& rk)
                      {
                          EXPECT_THAT(FilesOf(rk, 3), ElementsAre(4));
                          EXPECT_NE(0, rk.InsertAssetNodeChildIndex(3, 6));
                          EXPECT_THAT(FilesOf(rk, 3), ElementsAre(4, 6));
                      }));
}

TEST(ContainerFaults, ALoadThatFailsLeavesAContainerThatCanBeLoadedAgain)
{
    ModelContainer kModel = SampleModel(VOTEXT("C:/Root"), VOTEXT("Root Name"));
    const Bytes vecImage = kModel.Image();
    for (const LUMTrayService::enumAssetRole eRole : {AR_Provider, AR_Customer})
    {
        const MisalignedBlock kImage(vecImage, 1);
        EXPECT_LE(1u, FailEach([eRole](Held& rkHeld)
                               { rkHeld.pkContainer = std::make_unique<VOTSAssetNodeContainer>(eRole); },
                               [&](VOTSAssetNodeContainer& rk) { (void)rk.SetAlloc(kImage.As<ContainerImage>(), 1); },
                               [&](VOTSAssetNodeContainer& rk)
                               {
                                   (void)AskEverything(rk);
                                   EXPECT_NE(0, rk.SetAlloc(kImage.As<ContainerImage>(), 1));
                                   ExpectSame(rk, kModel);
                                   EXPECT_EQ(1, rk.CleanUp());
                               }));
    }
}

TEST(ContainerFaults, AShrinkThatFailsChangesNothing)
{
    Held kGrown;
    MakeSample(kGrown);
    (void)AddLinked(*kGrown.pkContainer, VOTEXT("Dir/more.txt"), false, 0);
    const Bytes vecExpected = ImageOf(*kGrown.pkContainer);
    EXPECT_LE(1u, FailEach(
                      [](Held& rkHeld)
                      {
                          MakeSample(rkHeld);
                          // Growth gives it something to shrink.
                          (void)AddLinked(*rkHeld.pkContainer, VOTEXT("Dir/more.txt"), false, 0);
                      },
                      [](VOTSAssetNodeContainer& rk) { (void)rk.ShrinkToFit(); },
                      [&](VOTSAssetNodeContainer& rk) { EXPECT_TRUE(SameBytes(vecExpected, ImageOf(rk))); }));
}

TEST(ContainerFaults, ATypeThatCannotBeInsertedLeavesTheTableAsItWas)
{
    EXPECT_LE(1u, FailEach(
                      &MakeSample,
                      [](VOTSAssetNodeContainer& rk)
                      {
                          // Two records have room for six.
                          for (int nType = 100; nType < 110; ++nType)
                          {
                              (void)rk.InsertClassifyType(nType, Wide(std::to_string(nType)).c_str(), VOTEXT("x"),
                                                          Color(), Color());
                          }
                      },
                      [](VOTSAssetNodeContainer& rk)
                      {
                          int nType = 0;
                          EXPECT_NE(0, rk.GetClassifyTypeByName(VOTEXT("Texture"), nType));
                          EXPECT_EQ(7, nType);
                          EXPECT_NE(0, rk.InsertClassifyType(200, VOTEXT("200"), VOTEXT("y"), Color(), Color()));
                          EXPECT_NE(0, rk.GetClassifyTypeByName(VOTEXT("200"), nType));
                          EXPECT_EQ(200, nType);
                      }));
}

}  // namespace
