// Inspectors that take the second road: a publisher with a base beside its image, and what keeps a reader from it.
#include <thread>

#include "assetindex/random_run.h"
#include "mapping/asset_road.h"
#include "mapping/mapping_test_tools.h"
#include "platform/vo_section_view.h"
#include "platform/vo_shared_word.h"
#include "support/fault_points.h"

namespace
{

using namespace mappingtest;

// A publisher whose base has one file more than its image, so that it shows which of the two was taken.
class RoadPublisher : public Publisher
{
public:
    RoadPublisher()
    {
        OfferBase(AF_SOURCE, SourceModel().Image());
        PublishImage(AF_SOURCE, SourceModel());
        Add(VOTEXT("top/inbase.txt"));
    }

    // Told on the second road alone.
    void Add(const VOWString& strPath)
    {
        AddLinked(Container(AF_SOURCE), strPath.c_str(), false, 0);
        ASSERT_TRUE(Road().Publish(AF_SOURCE, Container(AF_SOURCE)));
    }

    VORoadPublisher::Counts Counts() { return Road().CountsOf(AF_SOURCE); }

    // The source's words in the state section, and the sections of its base.
    VORoadSource& Source()
    {
        if (m_state.Data() == nullptr)
        {
            EXPECT_TRUE(m_state.Open(kpszVORoadStateName, FILE_MAP_WRITE));
        }
        return static_cast<VORoadState*>(m_state.Data())->arrSource[AF_SOURCE];
    }
    VOWString NameOf(const char* pszPart) { return VORoadSectionName(AF_SOURCE, pszPart, Source().ullGeneration); }

private:
    VOSectionView m_state;
};

TEST(InspectorRoad, TakesTheBaseAndFollowsItWithoutTakingItAgain)
{
    RoadPublisher publisher;
    ClosingInspector reader;
    reader.Load();
    EXPECT_EQ(12u, reader.GetAssetNodeCount());
    EXPECT_EQ(11u, IdOf(reader, VOTEXT("TOP/InBase.TXT")));
    EXPECT_EQ(ET_NONE, reader.LastErrorType());
    publisher.Add(VOTEXT("top/later.txt"));
    EXPECT_EQ(ET_DATA_OUTDATED, reader.LastErrorType());
    EXPECT_EQ(kNone, IdOf(reader, VOTEXT("top/later.txt")));
    EXPECT_EQ(ET_NONE, reader.ReMappingData());
    EXPECT_EQ(12u, IdOf(reader, VOTEXT("top/later.txt")));
    publisher.Add(VOTEXT("top/last.txt"));
    EXPECT_EQ(ET_NONE, reader.OpenMappingData());
    EXPECT_EQ(13u, IdOf(reader, VOTEXT("top/last.txt")));
    EXPECT_EQ(1u, publisher.Counts().ullAttached);
    EXPECT_EQ(0u, publisher.Counts().ullDoubted);
    EXPECT_EQ(1u, publisher.Counts().ullGenerations);
    EXPECT_EQ(3u, publisher.Counts().ullBatches);
}

TEST(InspectorRoad, AnImageThatWasUnpackedStaysUntilItsCountChanges)
{
    Publisher publisher;
    publisher.PublishImage(AF_SOURCE, SourceModel());
    ClosingInspector reader;
    reader.Load();
    publisher.OfferBase(AF_SOURCE, OneFileModel(VOTEXT("second")).Image());
    EXPECT_EQ(ET_NONE, reader.LastErrorType());
    EXPECT_EQ(ET_NONE, reader.OpenMappingData());
    EXPECT_EQ(11u, reader.GetAssetNodeCount());
    publisher.PublishImage(AF_SOURCE, SourceModel());
    EXPECT_EQ(ET_DATA_OUTDATED, reader.LastErrorType());
    EXPECT_EQ(ET_NONE, reader.OpenMappingData());
    EXPECT_EQ(1u, reader.GetAssetNodeCount());
}

TEST(InspectorRoad, ABaseThatDoesntGoWithTheImageIsntTaken)
{
    RoadPublisher publisher;
    for (const unsigned int uCount : {100u, 99u, 103u, 0xFFFFFFFFu})
    {
        publisher.SetCount(AF_SOURCE, uCount);
        ClosingInspector reader;
        reader.Load();
        EXPECT_EQ(uCount == 100u ? 12u : 11u, reader.GetAssetNodeCount()) << uCount;
    }
    EXPECT_EQ(0u, publisher.Counts().ullDoubted);
}

TEST(InspectorRoad, AReaderOfABaseLearnsOfAnImageThatAnotherPublisherPutsUp)
{
    RoadPublisher publisher;
    ClosingInspector reader;
    reader.Load();
    ASSERT_EQ(12u, reader.GetAssetNodeCount());
    publisher.PublishImage(AF_SOURCE, OneFileModel(VOTEXT("other")));
    EXPECT_EQ(ET_DATA_OUTDATED, reader.LastErrorType());
    EXPECT_EQ(ET_NONE, reader.ReMappingData());
    EXPECT_EQ(0u, IdOf(reader, VOTEXT("other")));
    EXPECT_EQ(ET_NONE, reader.LastErrorType());
}

TEST(InspectorRoad, ABaseIsntTakenForASourceThatIsntPublished)
{
    RoadPublisher publisher;
    publisher.SetEnabled(AF_SOURCE, 0);
    ClosingInspector reader;
    ASSERT_EQ(ET_NONE, reader.OpenMappingState());
    EXPECT_EQ(ET_SOURCE_DISABLED, reader.OpenMappingData());
    EXPECT_EQ(ET_DATA_UNAVAILABLE, reader.LastErrorType());
    publisher.SetEnabled(AF_SOURCE, 1);
    ASSERT_EQ(ET_NONE, reader.OpenMappingData());
    publisher.SetEnabled(AF_SOURCE, 0);
    EXPECT_EQ(ET_SOURCE_DISABLED, reader.OpenMappingData());
    EXPECT_EQ(12u, reader.GetAssetNodeCount());
    EXPECT_EQ(ET_SOURCE_DISABLED, reader.ReMappingData());
    EXPECT_EQ(0u, reader.GetAssetNodeCount());
    EXPECT_EQ(ET_DATA_UNAVAILABLE, reader.LastErrorType());
}

TEST(InspectorRoad, WhatAPublisherThatEndsHadIsKept)
{
    RoadPublisher publisher;
    ClosingInspector reader;
    reader.Load();
    publisher.Road().Withdraw();
    EXPECT_EQ(ET_NONE, reader.LastErrorType());
    EXPECT_EQ(ET_NONE, reader.OpenMappingData());
    EXPECT_EQ(11u, IdOf(reader, VOTEXT("top/inbase.txt")));
    EXPECT_EQ(ET_NONE, reader.ReMappingData());
    EXPECT_EQ(11u, reader.GetAssetNodeCount()) << "the image";
}

TEST(InspectorRoad, ASourceThatIsTakenOffLeavesItsReadersToTheImage)
{
    RoadPublisher publisher;
    ClosingInspector reader;
    reader.Load();
    publisher.Road().Remove(AF_SOURCE);
    EXPECT_EQ(ET_NONE, reader.LastErrorType());
    EXPECT_EQ(12u, reader.GetAssetNodeCount());
    publisher.PublishImage(AF_SOURCE, OneFileModel(VOTEXT("next")));
    EXPECT_EQ(ET_DATA_OUTDATED, reader.LastErrorType());
    EXPECT_EQ(ET_NONE, reader.OpenMappingData());
    EXPECT_EQ(1u, reader.GetAssetNodeCount());
}

TEST(InspectorRoad, ADamagedBaseIsDoubtedOnceAndTheImageTaken)
{
    RoadPublisher publisher;
    {
        VOSectionView base(publisher.NameOf("~base").c_str(), FILE_MAP_WRITE);
        ASSERT_NE(nullptr, base.Data());
        static_cast<unsigned char*>(base.Data())[9] ^= 1;
    }
    ClosingInspector reader;
    reader.Load();
    EXPECT_EQ(11u, reader.GetAssetNodeCount());
    EXPECT_EQ(ET_NONE, reader.ReMappingData());
    EXPECT_EQ(11u, reader.GetAssetNodeCount());
    EXPECT_EQ(0u, publisher.Counts().ullAttached);
    EXPECT_EQ(1u, publisher.Counts().ullDoubted);
}

TEST(InspectorRoad, ALogThatIsCutOrDamagedAnywhereLeavesTheImage)
{
    QuietLoop quiet;
    RoadPublisher publisher;
    VOSectionView log(publisher.NameOf("~log").c_str(), FILE_MAP_WRITE);
    ASSERT_NE(nullptr, log.Data());
    unsigned char* const pbLog = static_cast<unsigned char*>(log.Data());
    const uint64_t ullFirst = publisher.Source().ullWritten;
    publisher.Add(VOTEXT("top/second.txt"));
    const uint64_t ullWritten = publisher.Source().ullWritten;
    ASSERT_LT(sizeof(VOLogHead), ullFirst);
    for (uint64_t ullCut = 0; ullCut < ullWritten; ++ullCut)
    {
        quiet.Next();
        publisher.Source().ullWritten = ullCut;
        ClosingInspector reader;
        reader.Load();
        // Up to the head nothing is told yet.
        EXPECT_EQ(ullCut == ullFirst ? 12u : 11u, reader.GetAssetNodeCount()) << ullCut;
        (void)AskEverything(reader);
    }
    publisher.Source().ullWritten = ullWritten;
    for (uint64_t ullBit = 0; ullBit < ullWritten * 8; ullBit += 7)
    {
        quiet.Next();
        unsigned char& b = pbLog[ullBit / 8];
        b = static_cast<unsigned char>(b ^ (1u << (ullBit % 8)));
        ClosingInspector reader;
        reader.Load();
        const bool bReserved = ullBit / 8 >= 24 && ullBit / 8 < 64;
        const bool bSizeOfLog = ullBit / 8 >= 16 && ullBit / 8 < 24;
        EXPECT_TRUE(bSizeOfLog || reader.GetAssetNodeCount() == (bReserved ? 13u : 11u)) << ullBit;
        (void)AskEverything(reader);
        b = static_cast<unsigned char>(b ^ (1u << (ullBit % 8)));
    }
    EXPECT_LT(100u, publisher.Counts().ullDoubted);
}

TEST(InspectorRoad, ALogThatHasBecomeShorterIsDoubted)
{
    RoadPublisher publisher;
    ClosingInspector reader;
    reader.Load();
    ASSERT_EQ(12u, reader.GetAssetNodeCount());
    publisher.Source().ullWritten = sizeof(VOLogHead);
    EXPECT_EQ(ET_DATA_OUTDATED, reader.LastErrorType());
    EXPECT_EQ(ET_NONE, reader.OpenMappingData());
    EXPECT_EQ(11u, reader.GetAssetNodeCount()) << "the image";
    EXPECT_EQ(1u, publisher.Counts().ullDoubted);
}

TEST(InspectorRoad, ARecordThatIsNoBatchIsPassedOverUpToTheEndOfTheLog)
{
    for (const bool bWholeRest : {false, true})
    {
        RoadPublisher publisher;
        VOSectionView log(publisher.NameOf("~log").c_str(), FILE_MAP_WRITE);
        ASSERT_NE(nullptr, log.Data());
        uint64_t& ullWritten = publisher.Source().ullWritten;
        Bytes record(bWholeRest ? log.Size() - ullWritten : sizeof(VOLogRecordHead));
        VOSealLogRecord(record, VOLogKind::End);
        memcpy(static_cast<unsigned char*>(log.Data()) + ullWritten, record.data(), record.size());
        ullWritten += record.size();
        ClosingInspector reader;
        reader.Load();
        EXPECT_EQ(12u, reader.GetAssetNodeCount());
        EXPECT_EQ(0u, publisher.Counts().ullDoubted);
    }
}

TEST(InspectorRoad, WhoScribblesOverBaseAndLogHurtsNobodyWhoAsks)
{
    QuietLoop quiet;
    RoadPublisher publisher;
    VOSectionView base(publisher.NameOf("~base").c_str(), FILE_MAP_WRITE);
    VOSectionView log(publisher.NameOf("~log").c_str(), FILE_MAP_WRITE);
    ASSERT_NE(nullptr, base.Data());
    ASSERT_NE(nullptr, log.Data());
    const Bytes sound(static_cast<unsigned char*>(base.Data()), static_cast<unsigned char*>(base.Data()) + base.Size());
    std::atomic<bool> bEnd{false};
    std::thread scribbler(
        [&]
        {
            Random random(77);
            while (!bEnd)
            {
                // Where the content is, a word at a time; now and then it is put right, so that it is taken again.
                for (int i = 0; i < 2000; ++i)
                {
                    const auto& part = VOLoad<VOBaseHead>(sound.data()).arrPart[random.Below(kVOBaseParts)];
                    const size_t uAt = (static_cast<size_t>(part.ullOffset) + random.Below(2048)) & ~size_t{3};
                    const bool bSmall = random.Percent(50);
                    VOStoreWord(*reinterpret_cast<uint32_t*>(static_cast<unsigned char*>(base.Data()) + uAt),
                                bSmall ? static_cast<uint32_t>(random.Below(64)) : random.Word());
                }
                for (size_t uAt = 0; uAt + 4 <= sound.size(); uAt += 4)
                {
                    VOStoreWord(*reinterpret_cast<uint32_t*>(static_cast<unsigned char*>(base.Data()) + uAt),
                                VOLoad<uint32_t>(sound.data() + uAt));
                }
            }
        });
    size_t uAnswers = 0;
    for (int nRound = 0; nRound < 300; ++nRound)
    {
        quiet.Next();
        ClosingInspector reader;
        reader.Load();
        uAnswers += AskEverything(reader) + AskEverything(reader);
    }
    bEnd = true;
    scribbler.join();
    EXPECT_LT(0u, uAnswers);
    EXPECT_LT(0u, publisher.Counts().ullAttached);
}

TEST(InspectorRoad, WhoWaitsIsWokenByAPublication)
{
    RoadPublisher publisher;
    ClosingInspector reader;
    reader.Load();
    EXPECT_EQ(0, reader.WaitForChange(0));
    EXPECT_EQ(0, reader.WaitForChange(20));
    for (int i = 0; i < 20; ++i)
    {
        std::thread publishing(
            [&]
            {
                Sleep(10);
                publisher.Add(votest::Wide("top/w" + std::to_string(i)));
            });
        EXPECT_EQ(1, reader.WaitForChange(60000));
        EXPECT_EQ(ET_DATA_OUTDATED, reader.LastErrorType());
        publishing.join();
        EXPECT_EQ(1, reader.WaitForChange(0));
        ASSERT_EQ(ET_NONE, reader.ReMappingData());
        EXPECT_EQ(0, reader.WaitForChange(0));
        EXPECT_NE(kNone, IdOf(reader, votest::Wide("top/w" + std::to_string(i)).c_str()));
    }
}

TEST(InspectorRoad, WhoWaitsSleepsForATimeOnlyWhereThereIsNoBase)
{
    if (!VO_SYSTEM_CALLS_HAVE_FAULT_POINTS)
    {
        GTEST_SKIP() << "to sleep is the system's own here";
    }
    for (const bool bBase : {false, true})
    {
        Publisher publisher;
        if (bBase)
        {
            publisher.OfferBase(AF_SOURCE, SourceModel().Image());
        }
        publisher.PublishImage(AF_SOURCE, SourceModel());
        VOTSFileMappingAssemble* const pAssemble = VOTSFileMappingAssemble::Instance();
        ASSERT_EQ(ET_NONE, pAssemble->OpenMappingState());
        ASSERT_EQ(ET_NONE, pAssemble->OpenMappingData());
        ClosingInspector reader;
        reader.Load();
        VOFaultArm("Sleep", 1000, false);
        EXPECT_EQ(0, reader.WaitForChange(20));
        EXPECT_EQ(bBase ? 0u : 1u, VOFaultHits());
        EXPECT_EQ(0, pAssemble->WaitForChange(20));
        EXPECT_EQ(bBase ? 0u : 2u, VOFaultHits());
        VOFaultDisarm();
        pAssemble->CloseMapping();
        VOTSFileMappingAssemble::Release();
    }
}

TEST(InspectorRoad, WithoutABaseAWaitLooksTwiceASecond)
{
    Publisher publisher;
    ClosingInspector reader;
    EXPECT_EQ(0, reader.WaitForChange(0)) << "without a state section";
    ASSERT_EQ(ET_NONE, reader.OpenMappingState());
    EXPECT_EQ(0, reader.WaitForChange(0)) << "nothing published";
    publisher.PublishImage(AF_SOURCE, SourceModel());
    EXPECT_EQ(1, reader.WaitForChange(0));
    ASSERT_EQ(ET_NONE, reader.OpenMappingData());
    std::thread publishing(
        [&]
        {
            Sleep(10);
            publisher.PublishImage(AF_SOURCE, OneFileModel(VOTEXT("next")));
        });
    EXPECT_EQ(1, reader.WaitForChange(60000));
    publishing.join();
    EXPECT_EQ(ET_DATA_OUTDATED, reader.LastErrorType());
}

TEST(AssembleRoad, AWaitForAllSourcesIsWokenByAnyOfThem)
{
    RoadPublisher publisher;
    publisher.OfferBase(AF_TARGET, SourceModel().Image());
    publisher.PublishImage(AF_TARGET, SourceModel());
    VOTSFileMappingAssemble* const pAssemble = VOTSFileMappingAssemble::Instance();
    ASSERT_EQ(ET_NONE, pAssemble->OpenMappingState());
    EXPECT_EQ(1, pAssemble->WaitForChange(0));
    ASSERT_EQ(ET_NONE, pAssemble->OpenMappingData());
    EXPECT_EQ(0, pAssemble->WaitForChange(20));
    std::thread publishing(
        [&]
        {
            Sleep(10);
            AddLinked(publisher.Container(AF_TARGET), VOTEXT("top/inTarget"), false, 0);
            EXPECT_TRUE(publisher.Road().Publish(AF_TARGET, publisher.Container(AF_TARGET)));
        });
    EXPECT_EQ(1, pAssemble->WaitForChange(60000));
    publishing.join();
    EXPECT_EQ(ET_NONE, pAssemble->GetFileMappingInspector(AF_SOURCE)->LastErrorType());
    EXPECT_EQ(ET_DATA_OUTDATED, pAssemble->GetFileMappingInspector(AF_TARGET)->LastErrorType());
    pAssemble->CloseMapping();
    VOTSFileMappingAssemble::Release();
}

TEST(InspectorRoad, OneThreadMayAskForTheStateWhileAnotherReloads)
{
    QuietLoop quiet;
    RoadPublisher publisher;
    ClosingInspector reader;
    reader.Load();
    std::atomic<bool> bEnd{false};
    size_t uOutdated = 0;
    std::thread asking(
        [&]
        {
            while (!bEnd)
            {
                const ErrorType eType = reader.LastErrorType();
                EXPECT_TRUE(eType == ET_NONE || eType == ET_DATA_OUTDATED || eType == ET_DATA_UNAVAILABLE);
                uOutdated += eType == ET_DATA_OUTDATED ? 1 : 0;
            }
        });
    for (unsigned int i = 0; i < 300; ++i)
    {
        quiet.Next();
        publisher.Add(votest::Wide("top/f" + std::to_string(i)));
        if (i % 50 == 49)
        {
            // Emptied, so that a new base is due.
            publisher.OfferBase(AF_SOURCE, SourceModel().Image());
            publisher.PublishImage(AF_SOURCE, SourceModel());
        }
        EXPECT_EQ(ET_NONE, reader.ReMappingData());
        EXPECT_EQ(ET_NONE, reader.LastErrorType());
    }
    bEnd = true;
    asking.join();
    EXPECT_EQ(7u, publisher.Counts().ullGenerations);
    EXPECT_EQ(0u, publisher.Counts().ullDoubted);
}

}  // namespace
