// The second road from end to end in one process: a publisher that follows a container, and readers that follow it by
// real sections.
#include "publishing/source_road.h"

#include "assetindex/random_run.h"
#include "mapping/asset_road.h"
#include "support/fault_points.h"
#include "support/new_faults.h"
#include "vo_publisher.h"

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

// A published sample and a reader that has it.
class PublishedSample : public testing::Test
{
protected:
    void SetUp() override
    {
        FillSample(m_container);
        ASSERT_TRUE(Open(m_sections));
        ASSERT_TRUE(m_source.Publish(m_container));
        ASSERT_TRUE(m_reader.Follow());
    }

    VOTSAssetNodeContainer m_container{LUMTrayService::AR_Provider, kpszRoot, VOTEXT("Name")};
    VORoadSections m_sections;
    VOSourceRoad m_source{m_sections, AF_SOURCE};
    Reader m_reader;
};

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
        const VOWString strBase =
            VORoadSectionName(AF_SOURCE, "~base", sections.State().arrSource[AF_SOURCE].ullGeneration);
        source.Remove();
        EXPECT_FALSE(reader.IsCurrent());
        EXPECT_FALSE(reader.Follow());
        EXPECT_EQ(nullptr, VOSectionView(strBase.c_str(), FILE_MAP_READ).Data());
        ASSERT_TRUE(source.Publish(container));
        ASSERT_TRUE(reader.Follow());
        EXPECT_EQ(2u, source.Generations());
    }
    EXPECT_FALSE(reader.Follow());
    EXPECT_FALSE(reader.road.IsThere());
}

TEST_F(PublishedSample, WhatHasntChangedIsntPublished)
{
    const uint32_t uSteps = m_sections.State().uImageSteps;
    ASSERT_TRUE(m_source.Publish(m_container));
    EXPECT_EQ(uSteps, m_sections.State().uImageSteps);
    EXPECT_TRUE(m_reader.IsCurrent());
    ASSERT_NE(0, m_container.SetAssetNodeAssetMergeSign(1, 77));
    ASSERT_TRUE(m_source.Publish(m_container));
    EXPECT_EQ(uSteps + 1, m_sections.State().uImageSteps);
    EXPECT_FALSE(m_reader.IsCurrent());
}

TEST_F(PublishedSample, AnEmptiedContainerGetsANewBase)
{
    EXPECT_EQ(7u, m_reader.customer.GetAssetNodeCount());
    ASSERT_NE(0, m_container.CleanUp());
    AddLinked(m_container, VOTEXT("Other"), true, kNone);
    ASSERT_TRUE(m_source.Publish(m_container));
    EXPECT_EQ(2u, m_source.Generations());
    ASSERT_TRUE(m_reader.Follow());
    EXPECT_EQ(1u, m_reader.customer.GetAssetNodeCount());
}

TEST(SourceRoad, ALogIsFilledToItsEndBeforeANewBaseTakesOver)
{
    VOTSAssetNodeContainer container(LUMTrayService::AR_Provider, kpszRoot, VOTEXT("Name"));
    for (unsigned int uNode = 0; uNode < 900; ++uNode)
    {
        AddLinked(container, votest::Wide("n" + std::to_string(uNode)).c_str(), false, kNone);
    }
    VORoadSections sections;
    ASSERT_TRUE(Open(sections));
    VOSourceRoad source(sections, AF_SOURCE);
    ASSERT_TRUE(source.Publish(container));
    Reader reader;
    unsigned int uSign = 0;
    // Each node that is no neighbour of another that changes takes 136 bytes, and each batch 72.
    const auto Change = [&](unsigned int uNodes)
    {
        ++uSign;
        for (unsigned int i = 0; i < uNodes; ++i)
        {
            ASSERT_NE(0, container.SetAssetNodeAssetMergeSign(2 * i, uSign));
        }
        ASSERT_TRUE(source.Publish(container));
        ASSERT_TRUE(reader.Follow());
        structAssetNode tsNode;
        ASSERT_NE(0, reader.customer.GetAssetNode(0u, tsNode));
        EXPECT_EQ(uSign, tsNode.uAssetMerge);
    };
    for (unsigned int uBatch = 0; uBatch < 17; ++uBatch)
    {
        Change(428);
    }
    Change(424);
    EXPECT_EQ((1u << 20) - sizeof(VOLogRecordHead), sections.State().arrSource[AF_SOURCE].ullWritten);
    EXPECT_EQ(1u, source.Generations());
    EXPECT_EQ(18u, source.Batches());
    Change(1);
    EXPECT_EQ(2u, source.Generations());
    EXPECT_EQ(64u, sections.State().arrSource[AF_SOURCE].ullWritten);
}

TEST(SourceRoad, TheStateSectionHasTheseBytes)
{
    VOTSAssetNodeContainer container(LUMTrayService::AR_Provider, kpszRoot, VOTEXT("Name"));
    FillSample(container);
    VORoadPublisher publisher;
    ASSERT_TRUE(publisher.Open());
    ASSERT_TRUE(publisher.Publish(LUMTrayService::AF_TARGET, container));
    publisher.NoteImage(LUMTrayService::AF_TARGET, 0x01020304);
    const VOSectionView section(VOTEXT("vo_fileMappingAssetNodeRoad"), FILE_MAP_READ);
    ASSERT_LE(704u, section.Size());
    votest::Bytes vecState(704);
    memcpy(vecState.data(), section.Data(), vecState.size());
    const uint64_t ullGeneration = votest::ReadU64(vecState, 64 + 64 * 2);
    EXPECT_NE(0u, ullGeneration);
    votest::Bytes vecExpected = votest::ByteBuilder()
                                    .Hex("726F61642E312E30")
                                    .Zeros(8)
                                    .U32(1)
                                    .Zeros(4 + 40 + 2 * 64)
                                    .U64(ullGeneration)
                                    .U64(64)
                                    .U32(1)
                                    .Zeros(4 + 8 + 8 + 4)
                                    .U32(0x01020304)
                                    .Zeros(16 + 7 * 64)
                                    .Result();
    EXPECT_EQ(vecExpected, vecState);

    // The names, by hand.
    VOWString strName = VOTEXT("vo_fileMappingAssetNodeContainerName_target~base");
    for (int nDigit = 15; nDigit >= 0; --nDigit)
    {
        strName += VOTEXT("0123456789ABCDEF")[(ullGeneration >> (4 * nDigit)) & 15];
    }
    const VOSectionView base(strName.c_str(), FILE_MAP_READ);
    ASSERT_NE(nullptr, base.Data());
    EXPECT_EQ(0, memcmp(base.Data(), "base.1.0", 8));
    strName.replace(strName.find(VOTEXT("~base")), 5, VOTEXT("~log"));
    const VOSectionView log(strName.c_str(), FILE_MAP_READ);
    ASSERT_NE(nullptr, log.Data());
    EXPECT_EQ(0, memcmp(log.Data(), "patch.10", 8));
}

TEST(SourceRoad, TheSignalsHaveTheseNames)
{
    EXPECT_EQ(VOTEXT("vo_fileMappingAssetNodeRoad"), VORoadSignalName(LUMTrayService::AF_ERROR));
    EXPECT_EQ(VOTEXT("vo_fileMappingAssetNodeRoad1"), VORoadSignalName(AF_SOURCE));
    EXPECT_EQ(VOTEXT("vo_fileMappingAssetNodeRoad9"), VORoadSignalName(LUMTrayService::AF_MERGETARGET));
}

// A note of a change that there is no memory for makes a new base due.
TEST(SourceRoad, AChangeThatCantBeNotedIsTold)
{
    const std::function<void(VOTSAssetNodeContainer&)> afnChange[] = {
        [](VOTSAssetNodeContainer& container) { container.SetAssetNodeAssetMergeSign(5, 77); },
        [](VOTSAssetNodeContainer& container) { container.RemoveAssetNodeChildIndex(0, 6); },
        [](VOTSAssetNodeContainer& container) { container.RedirectAssetNode(1, VOTEXT("readme")); },
        [](VOTSAssetNodeContainer& container) { container.RemoveAssetNode(6u); },
        [](VOTSAssetNodeContainer& container) { container.SetAssetNodePhysicsPath(1, VOTEXT("readme")); },
    };
    QuietLoop quiet;
    for (const auto& fnChange : afnChange)
    {
        bool bFired = true;
        for (unsigned int uNth = 1; bFired; ++uNth)
        {
            VOTSAssetNodeContainer container(LUMTrayService::AR_Provider, kpszRoot, VOTEXT("Name"));
            FillSample(container);
            VORoadSections sections;
            ASSERT_TRUE(Open(sections));
            VOSourceRoad source(sections, AF_SOURCE);
            ASSERT_TRUE(source.Publish(container));
            quiet.Next();
            votest::NewFaults::Arm(uNth);
            try
            {
                fnChange(container);
            }
            catch (const std::bad_alloc&)
            {
            }
            bFired = votest::NewFaults::Fired();
            votest::NewFaults::Disarm();
            ASSERT_TRUE(source.Publish(container));
            Reader reader;
            ASSERT_TRUE(reader.Follow());
            const size_t uChange = static_cast<size_t>(&fnChange - afnChange);
            for (unsigned int uID = 0; uID < 7; ++uID)
            {
                structAssetNode tsExpected = {};
                structAssetNode tsNode = {};
                ASSERT_EQ(container.GetAssetNode(uID, tsExpected), reader.customer.GetAssetNode(uID, tsNode));
                EXPECT_EQ(0, memcmp(&tsExpected, &tsNode, sizeof(tsNode))) << uChange << " " << uNth << " " << uID;
                EXPECT_EQ(ReadText(container.GetString(tsExpected.hStrPhysicsPath)),
                          ReadText(reader.customer.GetString(tsNode.hStrPhysicsPath)))
                    << uChange << " " << uNth << " " << uID;
                for (const unsigned int uList : {tsNode.nChildFileInfo, tsNode.nChildFolderInfo})
                {
                    IDs vecExpected;
                    IDs vecIDs;
                    container.GetInfoNumberList(uList, vecExpected);
                    reader.customer.GetInfoNumberList(uList, vecIDs);
                    EXPECT_EQ(vecExpected, vecIDs) << uChange << " " << uNth << " " << uID;
                }
            }
            for (const VOWCHAR* const pszPath : {VOTEXT("dir/foo.png"), VOTEXT("readme"), VOTEXT("dir/last.tga")})
            {
                structAssetNode tsExpected = {};
                structAssetNode tsNode = {};
                EXPECT_EQ(container.FindAssetNode(pszPath, tsExpected), reader.customer.FindAssetNode(pszPath, tsNode));
                EXPECT_EQ(tsExpected.nAssetID, tsNode.nAssetID) << uChange << " " << uNth;
            }
        }
    }
}

TEST(SourceRoad, WhicheverAllocationFailsReadersSeeAStateThatThereWas)
{
    unsigned int uFailed = 0;
    for (unsigned int uNth = 1;; ++uNth)
    {
        VOTSAssetNodeContainer container(LUMTrayService::AR_Provider, kpszRoot, VOTEXT("Name"));
        FillSample(container);
        VORoadPublisher publisher;
        ASSERT_TRUE(publisher.Open());
        publisher.NoteImage(AF_SOURCE, kImageCount);
        Reader reader;
        bool bFired = false;
        for (const VOWCHAR* const pszPath : {VOTEXT("one"), VOTEXT("two")})
        {
            AddLinked(container, pszPath, false, kNone);
            votest::NewFaults::Arm(uNth);
            const bool bPublished = publisher.Publish(AF_SOURCE, container);
            bFired = votest::NewFaults::Fired() || bFired;
            votest::NewFaults::Disarm();
            uFailed += bPublished ? 0 : 1;
            EXPECT_EQ(bPublished, reader.Follow()) << uNth;
            ASSERT_TRUE(publisher.Publish(AF_SOURCE, container)) << uNth;
            ASSERT_TRUE(reader.Follow()) << uNth;
            EXPECT_EQ(container.GetAssetNodeCount(), reader.customer.GetAssetNodeCount());
            structAssetNode tsNode;
            EXPECT_EQ(1, reader.customer.FindAssetNode(pszPath, tsNode));
        }
        if (!bFired)
        {
            break;
        }
        ASSERT_GT(1000u, uNth) << "what an attempt leaves makes the next one longer";
    }
    EXPECT_LT(10u, uFailed);
}

TEST(SourceRoad, NoTwoBasesHaveOneNumberHoweverFastTheyFollow)
{
    VORoadPublisher publisher;
    ASSERT_TRUE(publisher.Open());
    publisher.NoteImage(AF_SOURCE, kImageCount);
    Reader reader;
    for (unsigned int uNodes = 8; uNodes < 60; ++uNodes)
    {
        VOTSAssetNodeContainer container(LUMTrayService::AR_Provider, kpszRoot, VOTEXT("Name"));
        FillSample(container);
        for (unsigned int uNode = 7; uNode < uNodes; ++uNode)
        {
            AddLinked(container, votest::Wide("n" + std::to_string(uNode)).c_str(), false, kNone);
        }
        ASSERT_TRUE(publisher.Publish(AF_SOURCE, container));
        ASSERT_TRUE(reader.Follow());
        EXPECT_EQ(uNodes, reader.customer.GetAssetNodeCount());
        publisher.Remove(AF_SOURCE);
    }
}

TEST(SourceRoad, OneAtATimePublishes)
{
    VORoadPublisher first;
    ASSERT_TRUE(first.Open());
    EXPECT_FALSE(first.Open());
    VORoadPublisher second;
    EXPECT_FALSE(second.Open());
    EXPECT_FALSE(second.IsOpen());
    first.Withdraw();
    EXPECT_TRUE(second.Open());
}

TEST(SourceRoad, WhatIsNoSourceIsLeftAloneAndSoIsEachWithoutAStateSection)
{
    VOTSAssetNodeContainer container(LUMTrayService::AR_Provider, kpszRoot, VOTEXT("Name"));
    FillSample(container);
    VORoadPublisher publisher;
    const auto Ask = [&](unsigned int uSource)
    {
        const auto eaf = static_cast<LUMTrayService::enumAssetFrom>(uSource);
        publisher.NoteImage(eaf, 77);
        EXPECT_FALSE(publisher.Publish(eaf, container)) << uSource;
        publisher.Remove(eaf);
        EXPECT_EQ(0u, publisher.CountsOf(eaf).ullGenerations) << uSource;
    };
    Ask(AF_SOURCE);
    ASSERT_TRUE(publisher.Open());
    for (const unsigned int uSource : {0u, LUMTrayService::ASSETTYPE_COUNT + 0u, ~0u})
    {
        Ask(uSource);
    }
    const VOSectionView section(kpszVORoadStateName, FILE_MAP_READ);
    ASSERT_LE(sizeof(VORoadState), section.Size());
    const Bytes bytes = votest::CopyBytes(section.Data(), section.Size());
    EXPECT_EQ(Bytes(bytes.size() - 64), Bytes(bytes.begin() + 64, bytes.end()));
    publisher.Withdraw();
    EXPECT_FALSE(publisher.IsOpen());
    Ask(AF_SOURCE);
}

TEST(SourceRoad, WhatAKilledPublisherLeftIsGoneAndItsNumbersAreNotGivenAgain)
{
    if (!VO_SYSTEM_CALLS_HAVE_FAULT_POINTS)
    {
        GTEST_SKIP() << "a section ends with its publisher here";
    }
    constexpr uint64_t kLast = uint64_t{1} << 62;  // by a clock that was ahead
    std::vector<VOWString> vecName;
    {
        VOPublishedSection left;
        ASSERT_TRUE(left.OpenOrCreate(kpszVORoadStateName, sizeof(VORoadState)));
        memset(left.Data(), 0xA5, sizeof(VORoadState));
        static_cast<VORoadState*>(left.Data())->arrSource[AF_SOURCE] = {kLast - 2, 99, 3, 4, kLast,
                                                                        kLast - 1, 5,  6, {}};
        left.Detach();
        for (const uint64_t ullNumber : {kLast - 2, kLast - 1, kLast})
        {
            for (const char* const pszPart : {"~base", "~log"})
            {
                vecName.push_back(VORoadSectionName(AF_SOURCE, pszPart, ullNumber));
                ASSERT_TRUE(left.OpenOrCreate(vecName.back().c_str(), 8));
                left.Detach();
            }
        }
    }
    VORoadSections sections;
    ASSERT_TRUE(sections.Open());
    for (const VOWString& strName : vecName)
    {
        EXPECT_EQ(nullptr, VOSectionView(strName.c_str(), FILE_MAP_READ).Data());
    }
    for (const VORoadSource& source : sections.State().arrSource)
    {
        EXPECT_EQ(0u, source.ullGeneration | source.ullMaking | source.ullLeaving);
        EXPECT_EQ(0u, source.uAttached | source.uDoubted | source.uImageCount);
    }
    EXPECT_EQ(kLast + 1, sections.NextGeneration(AF_SOURCE));
    EXPECT_EQ(kLast + 2, sections.NextGeneration(AF_SOURCE));
}

TEST(SourceRoad, AStateSectionThatCantBeMadeIsLeftToOthers)
{
    if (!VO_SYSTEM_CALLS_HAVE_FAULT_POINTS)
    {
        GTEST_SKIP() << "sections are the system's own here";
    }
    VORoadPublisher publisher;
    VOFaultArm("section.create", 1, true);
    EXPECT_FALSE(publisher.Open());
    EXPECT_LT(0u, VOFaultFired());
    VOFaultDisarm();
    EXPECT_FALSE(publisher.IsOpen());
    VORoadPublisher other;
    EXPECT_TRUE(other.Open());
}

TEST_F(PublishedSample, ABaseIsNamedInTheStateBeforeItIsThere)
{
    if (!VO_SYSTEM_CALLS_HAVE_FAULT_POINTS)
    {
        GTEST_SKIP() << "sections are the system's own here";
    }
    const VORoadSource& source = m_sections.State().arrSource[AF_SOURCE];
    const uint64_t ullFirst = source.ullGeneration;
    EXPECT_EQ(0u, source.ullMaking | source.ullLeaving);
    ASSERT_NE(0, m_container.CleanUp());
    AddLinked(m_container, VOTEXT("Other"), true, kNone);
    VOFaultArm("section.create", 1, true);
    EXPECT_FALSE(m_source.Publish(m_container));
    VOFaultDisarm();
    EXPECT_LT(ullFirst, source.ullMaking);
    EXPECT_EQ(0u, source.ullGeneration | source.ullLeaving);
    EXPECT_FALSE(m_reader.Follow());
    ASSERT_TRUE(m_source.Publish(m_container));
    EXPECT_LT(ullFirst, source.ullGeneration);
    EXPECT_EQ(0u, source.ullMaking | source.ullLeaving);
    EXPECT_TRUE(m_reader.Follow());
}

TEST(SourceRoad, AContainerMayEndBeforeItsPublisher)
{
    VORoadPublisher publisher;
    ASSERT_TRUE(publisher.Open());
    auto pContainer = std::make_unique<VOTSAssetNodeContainer>(LUMTrayService::AR_Provider, kpszRoot, VOTEXT("Name"));
    FillSample(*pContainer);
    ASSERT_TRUE(publisher.Publish(AF_SOURCE, *pContainer));
    pContainer.reset();
    pContainer = std::make_unique<VOTSAssetNodeContainer>(LUMTrayService::AR_Provider, kpszRoot, VOTEXT("Name"));
    FillSample(*pContainer);
    ASSERT_TRUE(publisher.Publish(AF_SOURCE, *pContainer));
    EXPECT_EQ(2u, publisher.CountsOf(AF_SOURCE).ullGenerations);
    EXPECT_FALSE(publisher.Publish(LUMTrayService::AF_ERROR, *pContainer));
    publisher.Remove(AF_SOURCE);
    EXPECT_EQ(0u, publisher.CountsOf(AF_SOURCE).ullGenerations);
}

}  // namespace
