// The process-wide object over all sources: its life, its fan-out, and the lookup in one source or in all.
#include <stdlib.h>

#include <thread>

#include "diagnostics/fresh_process.h"
#include "mapping/mapping_test_tools.h"

namespace
{
using namespace mappingtest;

const std::string kAssemble = "VOTSFileMappingAssemble::";

class OpenAssemble : public VOTSFileMappingAssemble
{
public:
    OpenAssemble() = default;
    ~OpenAssemble() { _CloseInspector(); }
    using VOTSFileMappingAssemble::_CloseInspector;
    using VOTSFileMappingAssemble::_SetupInspector;

    static int References() { return ms_nRefCountOfInstance; }
    static const VOTSFileMappingAssemble* Current() { return ms_pkInstance; }
};

// The one object, from its first Instance to its last Release.
class AssembleTest : public testing::Test
{
protected:
    void TearDown() override
    {
        while (OpenAssemble::References() > 0)
        {
            VOTSFileMappingAssemble::Release();
        }
        EXPECT_EQ(nullptr, OpenAssemble::Current());
    }
    VOTSFileMappingAssemble& Opened()
    {
        VOTSFileMappingAssemble& rkAssemble = *VOTSFileMappingAssemble::Instance();
        EXPECT_EQ(ET_NONE, rkAssemble.OpenMappingState());
        EXPECT_EQ(ET_NONE, rkAssemble.OpenMappingData());
        return rkAssemble;
    }
};

TEST_F(AssembleTest, WithoutAStateSectionThereIsAnObjectWithoutSources)
{
    LogCapture kLog;
    VOTSFileMappingAssemble* pkAssemble = VOTSFileMappingAssemble::Instance();
    ASSERT_NE(nullptr, pkAssemble);
    EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError("hMappingState", kAssemble + "_SetupInspector")));
    EXPECT_EQ(ET_NONE, pkAssemble->OpenMappingState());
    EXPECT_EQ(ET_NONE, pkAssemble->OpenMappingData());
    EXPECT_EQ(ET_NONE, pkAssemble->ReMappingData());
    EXPECT_EQ(ET_NONE, pkAssemble->LastErrorType());
    EXPECT_EQ(ET_NONE, pkAssemble->LastErrorTypeASync());
    EXPECT_EQ(1, pkAssemble->CloseMapping());
    structAssetNode tsNode;
    std::vector<VOTSFileMappingInspector*> vecInspectors;
    EXPECT_EQ(1, pkAssemble->GetAssetNode(tsNode, VOTEXT("a"), AF_ERROR, &vecInspectors));
    EXPECT_THAT(vecInspectors, IsEmpty());
    for (unsigned int uSource = 0; uSource < ASSETTYPE_COUNT; ++uSource)
    {
        EXPECT_EQ(0, pkAssemble->IsAssetTypeEnable(static_cast<enumAssetFrom>(uSource)));
        EXPECT_EQ(nullptr, pkAssemble->GetFileMappingInspector(static_cast<enumAssetFrom>(uSource)));
    }
}

TEST_F(AssembleTest, TwoInstancesAreOneObjectAndOneReleaseLeavesItUsable)
{
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, SourceModel());
    VOTSFileMappingAssemble& rkFirst = Opened();
    EXPECT_EQ(&rkFirst, VOTSFileMappingAssemble::Instance());
    EXPECT_EQ(2, OpenAssemble::References());
    VOTSFileMappingAssemble::Release();
    EXPECT_EQ(1, OpenAssemble::References());
    structAssetNode tsNode;
    EXPECT_EQ(1, rkFirst.GetAssetNode(tsNode, VOTEXT("top"), AF_SOURCE, nullptr));
    VOTSFileMappingAssemble::Release();
    EXPECT_EQ(0, OpenAssemble::References());
    EXPECT_EQ(nullptr, OpenAssemble::Current());
}

TEST_F(AssembleTest, AReleaseTooManyDoesNothing)
{
    VOTSFileMappingAssemble::Release();
    EXPECT_EQ(0, OpenAssemble::References());
    VOTSFileMappingAssemble::Instance();
    EXPECT_EQ(1, OpenAssemble::References());
    VOTSFileMappingAssemble::Release();
    VOTSFileMappingAssemble::Release();
    EXPECT_EQ(0, OpenAssemble::References());
    EXPECT_NE(nullptr, VOTSFileMappingAssemble::Instance());
    EXPECT_EQ(1, OpenAssemble::References());
}

TEST_F(AssembleTest, TheLastReleaseClosesTheMappings)
{
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, SourceModel());
    Opened();
    VOTSFileMappingAssemble::Release();
    EXPECT_EQ(0u, kPublisher.Readers(AF_SOURCE));
    // A new object looks anew.
    kPublisher.Publish(AF_TARGET, SourceModel());
    EXPECT_NE(0, Opened().IsAssetTypeEnable(AF_TARGET));
}

TEST_F(AssembleTest, OneInspectorIsMadeForEachSourceThatIsEnabledAndHasACount)
{
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, SourceModel());
    kPublisher.SetEnabled(AF_TARGET, 1);
    kPublisher.SetCount(AF_PAKV4, 7);
    kPublisher.Publish(AF_MERGESRC, SourceModel());
    VOTSFileMappingAssemble& rkAssemble = *VOTSFileMappingAssemble::Instance();
    for (unsigned int uSource = 0; uSource < ASSETTYPE_COUNT; ++uSource)
    {
        const enumAssetFrom eaf = static_cast<enumAssetFrom>(uSource);
        const bool bExpected = eaf == AF_SOURCE || eaf == AF_MERGESRC;
        EXPECT_EQ(bExpected, rkAssemble.IsAssetTypeEnable(eaf) != 0) << uSource;
        ASSERT_EQ(bExpected, rkAssemble.GetFileMappingInspector(eaf) != nullptr) << uSource;
        if (bExpected)
        {
            EXPECT_EQ(eaf, rkAssemble.GetFileMappingInspector(eaf)->AssetFrom());
        }
    }
}

TEST_F(AssembleTest, WhatIsPublishedOrWithdrawnLaterIsNotSeenByTheObject)
{
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, SourceModel());
    VOTSFileMappingAssemble& rkAssemble = *VOTSFileMappingAssemble::Instance();
    kPublisher.Publish(AF_TARGET, SourceModel());
    kPublisher.SetEnabled(AF_SOURCE, 0);
    EXPECT_EQ(&rkAssemble, VOTSFileMappingAssemble::Instance());
    EXPECT_EQ(0, rkAssemble.IsAssetTypeEnable(AF_TARGET));
    EXPECT_NE(0, rkAssemble.IsAssetTypeEnable(AF_SOURCE));
}

TEST_F(AssembleTest, AnotherVersionOfTheStateSectionIsLoggedAndGivesNoSources)
{
    Publisher kPublisher{EmptyState("version.2.3")};
    kPublisher.Publish(AF_SOURCE, SourceModel());
    LogCapture kLog;
    VOTSFileMappingAssemble& rkAssemble = *VOTSFileMappingAssemble::Instance();
    EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError(
                                  "::strcmp(pMappingState->szVersion, FILEMAPPING_ASSETNODE_UPDATESTATE_VERSION) == 0",
                                  kAssemble + "_SetupInspector")));
    EXPECT_EQ(0, rkAssemble.IsAssetTypeEnable(AF_SOURCE));
}

TEST_F(AssembleTest, TheRecordOfNoSourceTakesPartLikeAnyOther)
{
    Publisher kPublisher;
    kPublisher.SetCount(AF_ERROR, 1);
    kPublisher.SetEnabled(AF_ERROR, 1);
    LogCapture kLog;
    VOTSFileMappingAssemble& rkAssemble = *VOTSFileMappingAssemble::Instance();
    EXPECT_THAT(kLog.Lines(), ElementsAre(CheckError("LUMTrayService::enumAssetFrom::AF_ERROR != eaf",
                                                     kInspector + "VOTSFileMappingInspector")));
    EXPECT_NE(0, rkAssemble.IsAssetTypeEnable(AF_ERROR));
    EXPECT_EQ(ET_NONE, rkAssemble.OpenMappingState());
    EXPECT_EQ(ET_NONE, rkAssemble.OpenMappingData());
}

TEST_F(AssembleTest, ASecondSetUpIsLoggedAtTheFirstSlotThatIsTaken)
{
    Publisher kPublisher;
    kPublisher.Publish(AF_TARGET, SourceModel());
    OpenAssemble kAssembleObject;
    ASSERT_EQ(1, kAssembleObject._SetupInspector());
    VOTSFileMappingInspector* pkInspector = kAssembleObject.GetFileMappingInspector(AF_TARGET);
    kPublisher.Publish(AF_SOURCE, SourceModel());
    LogCapture kLog;
    EXPECT_EQ(0, kAssembleObject._SetupInspector());
    EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError("NULL == m_pArrInspector[i]", kAssemble + "_SetupInspector")));
    EXPECT_EQ(pkInspector, kAssembleObject.GetFileMappingInspector(AF_TARGET));
    EXPECT_NE(nullptr, kAssembleObject.GetFileMappingInspector(AF_SOURCE)) << "made before the failure";
    EXPECT_EQ(1, kAssembleObject._CloseInspector());
    for (unsigned int uSource = 0; uSource < ASSETTYPE_COUNT; ++uSource)
    {
        EXPECT_EQ(nullptr, kAssembleObject.GetFileMappingInspector(static_cast<enumAssetFrom>(uSource)));
    }
    EXPECT_EQ(1, kAssembleObject._SetupInspector());
}

TEST_F(AssembleTest, AValueThatIsNoSourceIsLoggedInBothQueries)
{
    Publisher kPublisher;
    VOTSFileMappingAssemble& rkAssemble = *VOTSFileMappingAssemble::Instance();
    const std::string strCheck = "eaf >= 0 && eaf < LUMTrayService::ASSETTYPE_COUNT";
    for (const int nSource : {10, 11, -1, -2147483647 - 1, 2147483647})
    {
        LogCapture kLog;
        EXPECT_EQ(0, rkAssemble.IsAssetTypeEnable(static_cast<enumAssetFrom>(nSource)));
        EXPECT_EQ(nullptr, rkAssemble.GetFileMappingInspector(static_cast<enumAssetFrom>(nSource)));
        EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError(strCheck, kAssemble + "IsAssetTypeEnable"),
                                              ProcessError(strCheck, kAssemble + "GetFileMappingInspector")))
            << nSource;
    }
}

TEST_F(AssembleTest, TheFanOutOpensEverySource)
{
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, SourceModel());
    kPublisher.Publish(AF_TARGET, SourceModel());
    VOTSFileMappingAssemble& rkAssemble = *VOTSFileMappingAssemble::Instance();
    EXPECT_EQ(ET_STATE_UNAVAILABLE, rkAssemble.LastErrorType());
    EXPECT_EQ(ET_STATE_UNAVAILABLE, rkAssemble.OpenMappingData());
    EXPECT_EQ(ET_NONE, rkAssemble.OpenMappingState());
    EXPECT_EQ(ET_DATA_UNAVAILABLE, rkAssemble.LastErrorType());
    EXPECT_EQ(ET_NONE, rkAssemble.OpenMappingData());
    EXPECT_EQ(ET_NONE, rkAssemble.LastErrorType());
    EXPECT_EQ(11u, rkAssemble.GetFileMappingInspector(AF_SOURCE)->GetAssetNodeCount());
    EXPECT_EQ(11u, rkAssemble.GetFileMappingInspector(AF_TARGET)->GetAssetNodeCount());
    EXPECT_EQ(1, rkAssemble.CloseMapping());
    EXPECT_EQ(ET_STATE_UNAVAILABLE, rkAssemble.LastErrorType());
    EXPECT_EQ(0u, rkAssemble.GetFileMappingInspector(AF_TARGET)->GetAssetNodeCount());
    EXPECT_EQ(ET_NONE, rkAssemble.OpenMappingState()) << "it can be opened again";
    EXPECT_EQ(ET_NONE, rkAssemble.OpenMappingData());
}

TEST_F(AssembleTest, AFailingSourceStopsTheFanOut)
{
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, SourceModel());
    kPublisher.Publish(AF_TARGET, SourceModel());
    kPublisher.Publish(AF_PAKV4, SourceModel());
    VOTSFileMappingAssemble& rkAssemble = *VOTSFileMappingAssemble::Instance();
    ASSERT_EQ(ET_NONE, rkAssemble.OpenMappingState());
    kPublisher.SetEnabled(AF_TARGET, 0);
    EXPECT_EQ(ET_SOURCE_DISABLED, rkAssemble.OpenMappingData());
    EXPECT_EQ(ET_NONE, rkAssemble.GetFileMappingInspector(AF_SOURCE)->LastErrorType());
    EXPECT_EQ(ET_DATA_UNAVAILABLE, rkAssemble.GetFileMappingInspector(AF_TARGET)->LastErrorType());
    EXPECT_EQ(ET_DATA_UNAVAILABLE, rkAssemble.GetFileMappingInspector(AF_PAKV4)->LastErrorType());
    kPublisher.SetEnabled(AF_TARGET, 1);
    EXPECT_EQ(ET_NONE, rkAssemble.OpenMappingData());
    EXPECT_EQ(ET_NONE, rkAssemble.GetFileMappingInspector(AF_PAKV4)->LastErrorType());

    kPublisher.SetEnabled(AF_SOURCE, 0);
    EXPECT_EQ(ET_SOURCE_DISABLED, rkAssemble.ReMappingData());
    EXPECT_EQ(ET_DATA_UNAVAILABLE, rkAssemble.GetFileMappingInspector(AF_SOURCE)->LastErrorType());
    EXPECT_EQ(11u, rkAssemble.GetFileMappingInspector(AF_TARGET)->GetAssetNodeCount()) << "not reached";
}

TEST_F(AssembleTest, TheFirstErrorByAscendingSourceIsGiven)
{
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, SourceModel());
    kPublisher.Publish(AF_TARGET, SourceModel());
    VOTSFileMappingAssemble& rkAssemble = Opened();
    kPublisher.SetCount(AF_TARGET, 5000);
    EXPECT_EQ(ET_DATA_OUTDATED, rkAssemble.LastErrorType());
    EXPECT_EQ(ET_NONE, rkAssemble.LastErrorTypeASync());
    rkAssemble.GetFileMappingInspector(AF_TARGET)->SetInspectMode(SM_SYNC);
    EXPECT_EQ(ET_DATA_OUTDATED, rkAssemble.LastErrorTypeASync());
    ASSERT_EQ(1, rkAssemble.GetFileMappingInspector(AF_SOURCE)->CloseMapping());
    EXPECT_EQ(ET_STATE_UNAVAILABLE, rkAssemble.LastErrorType());
    EXPECT_EQ(ET_STATE_UNAVAILABLE, rkAssemble.LastErrorTypeASync());
}

// ---------------------------------------------------------------------------------------------------------------------
// Lookup
// ---------------------------------------------------------------------------------------------------------------------

class AssembleLookup : public AssembleTest
{
protected:
    void SetUp() override
    {
        ModelContainer kSource = SourceModel();
        ModelContainer kTarget = OneFileModel(VOTEXT("only in target"));
        kTarget.Add(VOTEXT("top"), false, kNone);
        kTarget.vecNodes[1].uMerge = 0xBEEF;
        m_kPublisher.Publish(AF_SOURCE, kSource);
        m_kPublisher.Publish(AF_TARGET, kTarget);
        m_pkAssemble = &Opened();
    }
    Publisher m_kPublisher;
    VOTSFileMappingAssemble* m_pkAssemble = nullptr;
};

TEST_F(AssembleLookup, InOneSourceOneMeansFound)
{
    structAssetNode tsNode;
    std::vector<VOTSFileMappingInspector*> vecInspectors;
    EXPECT_EQ(1, m_pkAssemble->GetAssetNode(tsNode, VOTEXT("TOP"), AF_TARGET, &vecInspectors));
    EXPECT_EQ(0xBEEFu, tsNode.uAssetMerge);
    EXPECT_EQ(0, m_pkAssemble->GetAssetNode(tsNode, VOTEXT("none"), AF_TARGET, &vecInspectors));
    EXPECT_THAT(vecInspectors, IsEmpty()) << "not used here";
}

TEST_F(AssembleLookup, InASourceWithoutAnInspectorItIsLogged)
{
    structAssetNode tsNode;
    LogCapture kLog;
    EXPECT_EQ(0, m_pkAssemble->GetAssetNode(tsNode, VOTEXT("top"), AF_PAKV4, nullptr));
    EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError("pkInspector", kAssemble + "GetAssetNode")));
}

TEST_F(AssembleLookup, InAValueThatIsNoSourceItFailsWithoutReadingBehindTheTable)
{
    structAssetNode tsNode;
    for (const unsigned int uSource : {10u, 1000u, 0x7FFFFFFFu, 0xFFFFFFFFu})
    {
        LogCapture kLog;
        EXPECT_EQ(0, m_pkAssemble->GetAssetNode(tsNode, VOTEXT("top"), static_cast<enumAssetFrom>(uSource), nullptr));
        EXPECT_NE(0u, kLog.Count());
    }
}

TEST_F(AssembleLookup, InAllSourcesAPathThatTwoHaveGivesOneAndBothInspectorsAndTheLastNode)
{
    structAssetNode tsNode;
    std::vector<VOTSFileMappingInspector*> vecInspectors;
    EXPECT_EQ(1, m_pkAssemble->GetAssetNode(tsNode, VOTEXT("top"), AF_ERROR, &vecInspectors));
    EXPECT_THAT(vecInspectors, ElementsAre(m_pkAssemble->GetFileMappingInspector(AF_SOURCE),
                                           m_pkAssemble->GetFileMappingInspector(AF_TARGET)));
    EXPECT_EQ(0xBEEFu, tsNode.uAssetMerge);
}

TEST_F(AssembleLookup, InAllSourcesAPathThatOneHasGivesZero)
{
    structAssetNode tsNode;
    std::vector<VOTSFileMappingInspector*> vecInspectors;
    EXPECT_EQ(0, m_pkAssemble->GetAssetNode(tsNode, VOTEXT("top/d1"), AF_ERROR, &vecInspectors));
    EXPECT_THAT(vecInspectors, ElementsAre(m_pkAssemble->GetFileMappingInspector(AF_SOURCE)));
    EXPECT_EQ(6u, tsNode.nAssetID);
    EXPECT_EQ(0, m_pkAssemble->GetAssetNode(tsNode, VOTEXT("only in target"), AF_ERROR, nullptr));
    EXPECT_EQ(0u, tsNode.nAssetID);
}

TEST_F(AssembleLookup, InAllSourcesAPathThatNoneHasGivesOneAndAnEmptyVector)
{
    structAssetNode tsNode;
    std::vector<VOTSFileMappingInspector*> vecInspectors;
    LogCapture kLog;
    EXPECT_EQ(1, m_pkAssemble->GetAssetNode(tsNode, VOTEXT("none"), AF_ERROR, &vecInspectors));
    EXPECT_THAT(vecInspectors, IsEmpty());
    EXPECT_EQ(1, m_pkAssemble->GetAssetNode(tsNode, VOTEXT("none"), AF_ERROR, nullptr));
    EXPECT_THAT(kLog.Lines(), IsEmpty());
}

TEST_F(AssembleLookup, TheVectorIsAppendedTo)
{
    structAssetNode tsNode;
    std::vector<VOTSFileMappingInspector*> vecInspectors = {nullptr};
    EXPECT_EQ(0, m_pkAssemble->GetAssetNode(tsNode, VOTEXT("top/d1"), AF_ERROR, &vecInspectors));
    EXPECT_EQ(2u, vecInspectors.size());
}

TEST_F(AssembleTest, InstanceFromManyThreadsGivesOneObject)
{
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, SourceModel());
    std::vector<std::thread> vecThreads;
    std::vector<VOTSFileMappingAssemble*> vecSeen(8, nullptr);
    for (VOTSFileMappingAssemble*& rpkSeen : vecSeen)
    {
        vecThreads.emplace_back([&rpkSeen] { rpkSeen = VOTSFileMappingAssemble::Instance(); });
    }
    for (std::thread& rkThread : vecThreads)
    {
        rkThread.join();
    }
    EXPECT_EQ(8, OpenAssemble::References());
    EXPECT_EQ(std::vector<VOTSFileMappingAssemble*>(8, vecSeen[0]), vecSeen);
}

TEST_F(AssembleTest, OnManyThreadsAnObjectIsThereFromInstanceToRelease)
{
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, SourceModel());
    const LogCapture kLog;
    std::atomic<int> nMisses = 0;
    std::vector<std::thread> vecThreads;
    for (int nThread = 0; nThread < 4; ++nThread)
    {
        vecThreads.emplace_back(
            [&nMisses]
            {
                for (int nRound = 0; nRound < 300; ++nRound)
                {
                    const VOTSFileMappingAssemble* pkAssemble = VOTSFileMappingAssemble::Instance();
                    nMisses += pkAssemble->GetFileMappingInspector(AF_SOURCE) == nullptr ? 1 : 0;
                    VOTSFileMappingAssemble::Release();
                }
            });
    }
    for (std::thread& rkThread : vecThreads)
    {
        rkThread.join();
    }
    EXPECT_EQ(0, nMisses);
    EXPECT_EQ(0, OpenAssemble::References());
    EXPECT_EQ(nullptr, OpenAssemble::Current());
}

TEST(AssembleDeathTest, ReleaseMayBeCalledFromAHookWhileInstanceReports)
{
    EXPECT_IN_FRESH_PROCESS({
        static bool s_bCalled = false;
        SetLogPrintfFunction(
            [](VOLOG_PRIORITY, const char*)
            {
                s_bCalled = true;
                VOTSFileMappingAssemble::Release();
                return 0;
            });
        // Without an end, a thread that waits for itself would keep the test.
        std::thread(
            []
            {
                std::this_thread::sleep_for(std::chrono::seconds(20));
                _Exit(3);
            })
            .detach();
        CHECK_HERE(VOTSFileMappingAssemble::Instance() != nullptr);
        CHECK_HERE(s_bCalled);
        CHECK_HERE(OpenAssemble::References() == 1);
    });
}

}  // namespace
