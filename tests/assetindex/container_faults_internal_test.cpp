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
    std::unique_ptr<VOTSAssetNodeContainer> pContainer;
};

void MakeSample(Held& held)
{
    held.pContainer = std::make_unique<VOTSAssetNodeContainer>(AR_Provider, VOTEXT("C:/Root"), VOTEXT("Name"));
    FillSample(*held.pContainer);
    // Nothing has room: the next addition grows each part.
    EXPECT_EQ(1, held.pContainer->ShrinkToFit());
}

typedef std::function<void(VOTSAssetNodeContainer&)> Step;

unsigned int FailEach(const std::function<void(Held&)>& fnMake, const Step& fnBody, const Step& fnCheck)
{
    return votest::FailEachAllocation<Held>(
        fnMake, [&](Held& held) { fnBody(*held.pContainer); }, [&](Held& held) { fnCheck(*held.pContainer); });
}

TEST(ContainerFaults, AnImageThatCannotBeMadeLeavesTheContainersAnswersAsTheyWere)
{
    const ModelContainer model = SampleModel(VOTEXT("C:/Root"), VOTEXT("Name"));
    EXPECT_LE(1u, FailEach(
                      &MakeSample, [](VOTSAssetNodeContainer& rk) { free(rk.GetAlloc()); },
                      [&](VOTSAssetNodeContainer& rk)
                      {
                          ExpectSame(rk, model);
                          const MisalignedBlock image(ImageOf(rk), 1);
                          VOTSAssetNodeContainer customer(AR_Customer);
                          EXPECT_NE(0, customer.SetAlloc(image.As<ContainerImage>(), 0, image.Size()));
                          ExpectSame(customer, model);
                          EXPECT_EQ(VOWString(VOTEXT("C:/Root")), ReadText(customer.GetRootPath()));
                          EXPECT_EQ(VOWString(VOTEXT("Name")), ReadText(customer.GetRootName()));
                          EXPECT_EQ(1u, FoundID(customer, VOTEXT("c:/root/dir/foo.png")));
                      }));
}

TEST(ContainerFaults, AContainerThatCannotBeMadeLeavesNothingBehind)
{
    for (const LUMTrayService::enumAssetRole eRole : {AR_Provider, AR_Customer})
    {
        EXPECT_LE(3u, votest::FailEachAllocation<Held>(
                          [](Held&) {},
                          [eRole](Held& held)
                          { held.pContainer = std::make_unique<VOTSAssetNodeContainer>(eRole, VOTEXT("C:/Root")); },
                          [](Held& held) { EXPECT_EQ(nullptr, held.pContainer); }))
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
    ModelContainer model = SampleModel(VOTEXT("C:/Root"), VOTEXT("Root Name"));
    const Bytes vecImage = model.Image();
    for (const LUMTrayService::enumAssetRole eRole : {AR_Provider, AR_Customer})
    {
        const MisalignedBlock image(vecImage, 1);
        EXPECT_LE(1u,
                  FailEach([eRole](Held& held) { held.pContainer = std::make_unique<VOTSAssetNodeContainer>(eRole); },
                           [&](VOTSAssetNodeContainer& rk) { (void)rk.SetAlloc(image.As<ContainerImage>(), 1); },
                           [&](VOTSAssetNodeContainer& rk)
                           {
                               (void)AskEverything(rk);
                               EXPECT_NE(0, rk.SetAlloc(image.As<ContainerImage>(), 1));
                               ExpectSame(rk, model);
                               EXPECT_EQ(1, rk.CleanUp());
                           }));
    }
}

TEST(ContainerFaults, AShrinkThatFailsChangesNothing)
{
    Held grown;
    MakeSample(grown);
    (void)AddLinked(*grown.pContainer, VOTEXT("Dir/more.txt"), false, 0);
    const Bytes vecExpected = ImageOf(*grown.pContainer);
    EXPECT_LE(1u, FailEach(
                      [](Held& held)
                      {
                          MakeSample(held);
                          // Growth gives it something to shrink.
                          (void)AddLinked(*held.pContainer, VOTEXT("Dir/more.txt"), false, 0);
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
