// The second road from end to end in one process: a publisher that follows a container, and readers that follow it by
// real sections.
#include "publishing/source_road.h"

#include "assetindex/random_run.h"
#include "mapping/asset_road.h"

namespace
{

using namespace assettest;
using LUMTrayService::AF_SOURCE;

constexpr uint32_t kImageCount = 7;

// A reader with a container that shows what its road came to.
struct Reader
{
    VOAssetRoad road{AF_SOURCE};
    VOTSAssetNodeContainer customer{LUMTrayService::AR_Customer};

    bool Follow()
    {
        customer.CleanUp();
        return road.Follow(kImageCount) && customer.SetBase(road.Base()) != 0;
    }
    bool IsCurrent() const { return road.Standing(kImageCount) == VORoadStanding::Current; }
};

bool Open(VORoadSections& sections)
{
    const bool bOpen = sections.Open();
    if (bOpen)
    {
        sections.State().arrSource[AF_SOURCE].uImageCount = kImageCount;
    }
    return bOpen;
}

TEST(SourceRoad, ReadersThatFollowNowAndThenSayWhatTheModelSays)
{
    QuietLoop quiet;
    Random random(3);
    RandomRun run(2001);
    run.RoundTrip();  // the root's texts are entered with the first image, or base
    VORoadSections sections;
    ASSERT_TRUE(Open(sections));
    VOSourceRoad source(sections, AF_SOURCE);
    Reader arrReader[3];
    EXPECT_FALSE(arrReader[0].Follow());
    for (int nStep = 1; nStep <= 1500; ++nStep)
    {
        quiet.Next();
        run.Step();
        ASSERT_TRUE(source.Publish(run.Container()));
        for (Reader& reader : arrReader)
        {
            if (random.Percent(10))
            {
                ASSERT_TRUE(reader.Follow());
                EXPECT_TRUE(reader.IsCurrent());
                ExpectSame(reader.customer, run.Model());
                run.ExpectFinds(reader.customer, 20);
            }
        }
        ASSERT_FALSE(HasFailure()) << "after step " << nStep;
    }
    EXPECT_GT(source.Batches(), 700u);
    EXPECT_GE(source.Generations(), 1u);
}

TEST(SourceRoad, AWithdrawnSourceHasNone)
{
    VOTSAssetNodeContainer container(LUMTrayService::AR_Provider, kpszRoot, VOTEXT("Name"));
    FillSample(container);
    Reader reader;
    {
        VORoadSections sections;
        ASSERT_TRUE(Open(sections));
        VOSourceRoad source(sections, AF_SOURCE);
        ASSERT_TRUE(source.Publish(container));
        ASSERT_TRUE(reader.Follow());
        source.Remove();
        EXPECT_FALSE(reader.IsCurrent());
        EXPECT_FALSE(reader.Follow());
        ASSERT_TRUE(source.Publish(container));
        ASSERT_TRUE(reader.Follow());
        EXPECT_EQ(2u, source.Generations());
    }
    EXPECT_FALSE(reader.Follow());
    EXPECT_FALSE(reader.road.IsThere());
}

TEST(SourceRoad, WhatHasntChangedIsntPublished)
{
    VOTSAssetNodeContainer container(LUMTrayService::AR_Provider, kpszRoot, VOTEXT("Name"));
    FillSample(container);
    VORoadSections sections;
    ASSERT_TRUE(Open(sections));
    VOSourceRoad source(sections, AF_SOURCE);
    ASSERT_TRUE(source.Publish(container));
    Reader reader;
    ASSERT_TRUE(reader.Follow());
    const uint32_t uSteps = sections.State().uImageSteps;
    ASSERT_TRUE(source.Publish(container));
    EXPECT_EQ(uSteps, sections.State().uImageSteps);
    EXPECT_TRUE(reader.IsCurrent());
    ASSERT_NE(0, container.SetAssetNodeAssetMergeSign(1, 77));
    ASSERT_TRUE(source.Publish(container));
    EXPECT_EQ(uSteps + 1, sections.State().uImageSteps);
    EXPECT_FALSE(reader.IsCurrent());
}

TEST(SourceRoad, AnEmptiedContainerGetsANewBase)
{
    VOTSAssetNodeContainer container(LUMTrayService::AR_Provider, kpszRoot, VOTEXT("Name"));
    FillSample(container);
    VORoadSections sections;
    ASSERT_TRUE(Open(sections));
    VOSourceRoad source(sections, AF_SOURCE);
    ASSERT_TRUE(source.Publish(container));
    Reader reader;
    ASSERT_TRUE(reader.Follow());
    EXPECT_EQ(7u, reader.customer.GetAssetNodeCount());
    ASSERT_NE(0, container.CleanUp());
    AddLinked(container, VOTEXT("Other"), true, kNone);
    ASSERT_TRUE(source.Publish(container));
    EXPECT_EQ(2u, source.Generations());
    ASSERT_TRUE(reader.Follow());
    EXPECT_EQ(1u, reader.customer.GetAssetNodeCount());
}

}  // namespace
