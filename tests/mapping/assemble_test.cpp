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
        VOTSFileMappingAssemble& assemble = *VOTSFileMappingAssemble::Instance();
        EXPECT_EQ(ET_NONE, assemble.OpenMappingState());
        EXPECT_EQ(ET_NONE, assemble.OpenMappingData());
        return assemble;
    }
};

TEST_F(AssembleTest, WithoutAStateSectionThereIsAnObjectWithoutSources)
{
    LogCapture log;
    VOTSFileMappingAssemble* pAssemble = VOTSFileMappingAssemble::Instance();
    ASSERT_NE(nullptr, pAssemble);
    EXPECT_THAT(log.Lines(), ElementsAre(ProcessError("hMappingState", kAssemble + "_SetupInspector")));
    EXPECT_EQ(ET_NONE, pAssemble->OpenMappingState());
    EXPECT_EQ(ET_NONE, pAssemble->OpenMappingData());
    EXPECT_EQ(ET_NONE, pAssemble->ReMappingData());
    EXPECT_EQ(ET_NONE, pAssemble->LastErrorType());
    EXPECT_EQ(ET_NONE, pAssemble->LastErrorTypeASync());
    EXPECT_EQ(1, pAssemble->CloseMapping());
    structAssetNode tsNode;
    std::vector<VOTSFileMappingInspector*> vecInspectors;
    EXPECT_EQ(1, pAssemble->GetAssetNode(tsNode, VOTEXT("a"), AF_ERROR, &vecInspectors));
    EXPECT_THAT(vecInspectors, IsEmpty());
    for (unsigned int uSource = 0; uSource < ASSETTYPE_COUNT; ++uSource)
    {
        EXPECT_EQ(0, pAssemble->IsAssetTypeEnable(static_cast<enumAssetFrom>(uSource)));
        EXPECT_EQ(nullptr, pAssemble->GetFileMappingInspector(static_cast<enumAssetFrom>(uSource)));
    }
}

TEST_F(AssembleTest, TwoInstancesAreOneObjectAndOneReleaseLeavesItUsable)
{
    Publisher publisher;
    publisher.Publish(AF_SOURCE, SourceModel());
    VOTSFileMappingAssemble& first = Opened();
    EXPECT_EQ(&first, VOTSFileMappingAssemble::Instance());
    EXPECT_EQ(2, OpenAssemble::References());
    VOTSFileMappingAssemble::Release();
    EXPECT_EQ(1, OpenAssemble::References());
    structAssetNode tsNode;
    EXPECT_EQ(1, first.GetAssetNode(tsNode, VOTEXT("top"), AF_SOURCE, nullptr));
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
    Publisher publisher;
    publisher.Publish(AF_SOURCE, SourceModel());
    Opened();
    VOTSFileMappingAssemble::Release();
    EXPECT_EQ(0u, publisher.Readers(AF_SOURCE));
    // A new object looks anew.
    publisher.Publish(AF_TARGET, SourceModel());
    EXPECT_NE(0, Opened().IsAssetTypeEnable(AF_TARGET));
}

TEST_F(AssembleTest, OneInspectorIsMadeForEachSourceThatIsEnabledAndHasACount)
{
    Publisher publisher;
    publisher.Publish(AF_SOURCE, SourceModel());
    publisher.SetEnabled(AF_TARGET, 1);
    publisher.SetCount(AF_PAKV4, 7);
    publisher.Publish(AF_MERGESRC, SourceModel());
    VOTSFileMappingAssemble& assemble = *VOTSFileMappingAssemble::Instance();
    for (unsigned int uSource = 0; uSource < ASSETTYPE_COUNT; ++uSource)
    {
        const enumAssetFrom eaf = static_cast<enumAssetFrom>(uSource);
        const bool bExpected = eaf == AF_SOURCE || eaf == AF_MERGESRC;
        EXPECT_EQ(bExpected, assemble.IsAssetTypeEnable(eaf) != 0) << uSource;
        ASSERT_EQ(bExpected, assemble.GetFileMappingInspector(eaf) != nullptr) << uSource;
        if (bExpected)
        {
            EXPECT_EQ(eaf, assemble.GetFileMappingInspector(eaf)->AssetFrom());
        }
    }
}

TEST_F(AssembleTest, WhatIsPublishedOrWithdrawnLaterIsNotSeenByTheObject)
{
    Publisher publisher;
    publisher.Publish(AF_SOURCE, SourceModel());
    VOTSFileMappingAssemble& assemble = *VOTSFileMappingAssemble::Instance();
    publisher.Publish(AF_TARGET, SourceModel());
    publisher.SetEnabled(AF_SOURCE, 0);
    EXPECT_EQ(&assemble, VOTSFileMappingAssemble::Instance());
    EXPECT_EQ(0, assemble.IsAssetTypeEnable(AF_TARGET));
    EXPECT_NE(0, assemble.IsAssetTypeEnable(AF_SOURCE));
}

TEST_F(AssembleTest, AnotherVersionOfTheStateSectionIsLoggedAndGivesNoSources)
{
    Publisher publisher{EmptyState("version.2.3")};
    publisher.Publish(AF_SOURCE, SourceModel());
    LogCapture log;
    VOTSFileMappingAssemble& givenAssemble = *VOTSFileMappingAssemble::Instance();
    EXPECT_THAT(log.Lines(), ElementsAre(ProcessError(
                                 "::strcmp(pMappingState->szVersion, FILEMAPPING_ASSETNODE_UPDATESTATE_VERSION) == 0",
                                 kAssemble + "_SetupInspector")));
    EXPECT_EQ(0, givenAssemble.IsAssetTypeEnable(AF_SOURCE));
}

TEST_F(AssembleTest, TheRecordOfNoSourceTakesPartLikeAnyOther)
{
    Publisher publisher;
    publisher.SetCount(AF_ERROR, 1);
    publisher.SetEnabled(AF_ERROR, 1);
    LogCapture log;
    VOTSFileMappingAssemble& assemble = *VOTSFileMappingAssemble::Instance();
    EXPECT_THAT(log.Lines(), ElementsAre(CheckError("LUMTrayService::enumAssetFrom::AF_ERROR != eaf",
                                                    kInspector + "VOTSFileMappingInspector")));
    EXPECT_NE(0, assemble.IsAssetTypeEnable(AF_ERROR));
    EXPECT_EQ(ET_NONE, assemble.OpenMappingState());
    EXPECT_EQ(ET_NONE, assemble.OpenMappingData());
}

TEST_F(AssembleTest, ASecondSetUpIsLoggedAtTheFirstSlotThatIsTaken)
{
    Publisher publisher;
    publisher.Publish(AF_TARGET, SourceModel());
    OpenAssemble assembleObject;
    ASSERT_EQ(1, assembleObject._SetupInspector());
    VOTSFileMappingInspector* pInspector = assembleObject.GetFileMappingInspector(AF_TARGET);
    publisher.Publish(AF_SOURCE, SourceModel());
    LogCapture log;
    EXPECT_EQ(0, assembleObject._SetupInspector());
    EXPECT_THAT(log.Lines(), ElementsAre(ProcessError("NULL == m_pArrInspector[i]", kAssemble + "_SetupInspector")));
    EXPECT_EQ(pInspector, assembleObject.GetFileMappingInspector(AF_TARGET));
    EXPECT_NE(nullptr, assembleObject.GetFileMappingInspector(AF_SOURCE)) << "made before the failure";
    EXPECT_EQ(1, assembleObject._CloseInspector());
    for (unsigned int uSource = 0; uSource < ASSETTYPE_COUNT; ++uSource)
    {
        EXPECT_EQ(nullptr, assembleObject.GetFileMappingInspector(static_cast<enumAssetFrom>(uSource)));
    }
    EXPECT_EQ(1, assembleObject._SetupInspector());
}

TEST_F(AssembleTest, AValueThatIsNoSourceIsLoggedInBothQueries)
{
    Publisher publisher;
    VOTSFileMappingAssemble& givenAssemble = *VOTSFileMappingAssemble::Instance();
    const std::string strCheck = "eaf >= 0 && eaf < LUMTrayService::ASSETTYPE_COUNT";
    for (const int nSource : {10, 11, -1, -2147483647 - 1, 2147483647})
    {
        LogCapture log;
        EXPECT_EQ(0, givenAssemble.IsAssetTypeEnable(static_cast<enumAssetFrom>(nSource)));
        EXPECT_EQ(nullptr, givenAssemble.GetFileMappingInspector(static_cast<enumAssetFrom>(nSource)));
        EXPECT_THAT(log.Lines(), ElementsAre(ProcessError(strCheck, kAssemble + "IsAssetTypeEnable"),
                                             ProcessError(strCheck, kAssemble + "GetFileMappingInspector")))
            << nSource;
    }
}

TEST_F(AssembleTest, TheFanOutOpensEverySource)
{
    Publisher publisher;
    publisher.Publish(AF_SOURCE, SourceModel());
    publisher.Publish(AF_TARGET, SourceModel());
    VOTSFileMappingAssemble& assemble = *VOTSFileMappingAssemble::Instance();
    EXPECT_EQ(ET_STATE_UNAVAILABLE, assemble.LastErrorType());
    EXPECT_EQ(ET_STATE_UNAVAILABLE, assemble.OpenMappingData());
    EXPECT_EQ(ET_NONE, assemble.OpenMappingState());
    EXPECT_EQ(ET_DATA_UNAVAILABLE, assemble.LastErrorType());
    EXPECT_EQ(ET_NONE, assemble.OpenMappingData());
    EXPECT_EQ(ET_NONE, assemble.LastErrorType());
    EXPECT_EQ(11u, assemble.GetFileMappingInspector(AF_SOURCE)->GetAssetNodeCount());
    EXPECT_EQ(11u, assemble.GetFileMappingInspector(AF_TARGET)->GetAssetNodeCount());
    EXPECT_EQ(1, assemble.CloseMapping());
    EXPECT_EQ(ET_STATE_UNAVAILABLE, assemble.LastErrorType());
    EXPECT_EQ(0u, assemble.GetFileMappingInspector(AF_TARGET)->GetAssetNodeCount());
    EXPECT_EQ(ET_NONE, assemble.OpenMappingState()) << "it can be opened again";
    EXPECT_EQ(ET_NONE, assemble.OpenMappingData());
}

TEST_F(AssembleTest, AFailingSourceStopsTheFanOut)
{
    Publisher publisher;
    publisher.Publish(AF_SOURCE, SourceModel());
    publisher.Publish(AF_TARGET, SourceModel());
    publisher.Publish(AF_PAKV4, SourceModel());
    VOTSFileMappingAssemble& assemble = *VOTSFileMappingAssemble::Instance();
    ASSERT_EQ(ET_NONE, assemble.OpenMappingState());
    publisher.SetEnabled(AF_TARGET, 0);
    EXPECT_EQ(ET_SOURCE_DISABLED, assemble.OpenMappingData());
    EXPECT_EQ(ET_NONE, assemble.GetFileMappingInspector(AF_SOURCE)->LastErrorType());
    EXPECT_EQ(ET_DATA_UNAVAILABLE, assemble.GetFileMappingInspector(AF_TARGET)->LastErrorType());
    EXPECT_EQ(ET_DATA_UNAVAILABLE, assemble.GetFileMappingInspector(AF_PAKV4)->LastErrorType());
    publisher.SetEnabled(AF_TARGET, 1);
    EXPECT_EQ(ET_NONE, assemble.OpenMappingData());
    EXPECT_EQ(ET_NONE, assemble.GetFileMappingInspector(AF_PAKV4)->LastErrorType());

    publisher.SetEnabled(AF_SOURCE, 0);
    EXPECT_EQ(ET_SOURCE_DISABLED, assemble.ReMappingData());
    EXPECT_EQ(ET_DATA_UNAVAILABLE, assemble.GetFileMappingInspector(AF_SOURCE)->LastErrorType());
    EXPECT_EQ(11u, assemble.GetFileMappingInspector(AF_TARGET)->GetAssetNodeCount()) << "not reached";
}

TEST_F(AssembleTest, TheFirstErrorByAscendingSourceIsGiven)
{
    Publisher publisher;
    publisher.Publish(AF_SOURCE, SourceModel());
    publisher.Publish(AF_TARGET, SourceModel());
    VOTSFileMappingAssemble& assemble = Opened();
    publisher.SetCount(AF_TARGET, 5000);
    EXPECT_EQ(ET_DATA_OUTDATED, assemble.LastErrorType());
    EXPECT_EQ(ET_NONE, assemble.LastErrorTypeASync());
    assemble.GetFileMappingInspector(AF_TARGET)->SetInspectMode(SM_SYNC);
    EXPECT_EQ(ET_DATA_OUTDATED, assemble.LastErrorTypeASync());
    ASSERT_EQ(1, assemble.GetFileMappingInspector(AF_SOURCE)->CloseMapping());
    EXPECT_EQ(ET_STATE_UNAVAILABLE, assemble.LastErrorType());
    EXPECT_EQ(ET_STATE_UNAVAILABLE, assemble.LastErrorTypeASync());
}

// ---------------------------------------------------------------------------------------------------------------------
// Lookup
// ---------------------------------------------------------------------------------------------------------------------

class AssembleLookup : public AssembleTest
{
protected:
    void SetUp() override
    {
        ModelContainer source = SourceModel();
        ModelContainer target = OneFileModel(VOTEXT("only in target"));
        target.Add(VOTEXT("top"), false, kNone);
        target.vecNodes[1].uMerge = 0xBEEF;
        m_publisher.Publish(AF_SOURCE, source);
        m_publisher.Publish(AF_TARGET, target);
        m_pAssemble = &Opened();
    }
    Publisher m_publisher;
    VOTSFileMappingAssemble* m_pAssemble = nullptr;
};

TEST_F(AssembleLookup, InOneSourceOneMeansFound)
{
    structAssetNode tsNode;
    std::vector<VOTSFileMappingInspector*> vecInspectors;
    EXPECT_EQ(1, m_pAssemble->GetAssetNode(tsNode, VOTEXT("TOP"), AF_TARGET, &vecInspectors));
    EXPECT_EQ(0xBEEFu, tsNode.uAssetMerge);
    EXPECT_EQ(0, m_pAssemble->GetAssetNode(tsNode, VOTEXT("none"), AF_TARGET, &vecInspectors));
    EXPECT_THAT(vecInspectors, IsEmpty()) << "not used here";
}

TEST_F(AssembleLookup, InASourceWithoutAnInspectorItIsLogged)
{
    structAssetNode tsNode;
    LogCapture log;
    EXPECT_EQ(0, m_pAssemble->GetAssetNode(tsNode, VOTEXT("top"), AF_PAKV4, nullptr));
    EXPECT_THAT(log.Lines(), ElementsAre(ProcessError("pkInspector", kAssemble + "GetAssetNode")));
}

TEST_F(AssembleLookup, InAValueThatIsNoSourceItFailsWithoutReadingBehindTheTable)
{
    structAssetNode tsNode;
    for (const unsigned int uSource : {10u, 1000u, 0x7FFFFFFFu, 0xFFFFFFFFu})
    {
        LogCapture log;
        EXPECT_EQ(0, m_pAssemble->GetAssetNode(tsNode, VOTEXT("top"), static_cast<enumAssetFrom>(uSource), nullptr));
        EXPECT_NE(0u, log.Count());
    }
}

TEST_F(AssembleLookup, InAllSourcesAPathThatTwoHaveGivesOneAndBothInspectorsAndTheLastNode)
{
    structAssetNode tsNode;
    std::vector<VOTSFileMappingInspector*> vecInspectors;
    EXPECT_EQ(1, m_pAssemble->GetAssetNode(tsNode, VOTEXT("top"), AF_ERROR, &vecInspectors));
    EXPECT_THAT(vecInspectors, ElementsAre(m_pAssemble->GetFileMappingInspector(AF_SOURCE),
                                           m_pAssemble->GetFileMappingInspector(AF_TARGET)));
    EXPECT_EQ(0xBEEFu, tsNode.uAssetMerge);
}

TEST_F(AssembleLookup, InAllSourcesAPathThatOneHasGivesZero)
{
    structAssetNode tsNode;
    std::vector<VOTSFileMappingInspector*> vecInspectors;
    EXPECT_EQ(0, m_pAssemble->GetAssetNode(tsNode, VOTEXT("top/d1"), AF_ERROR, &vecInspectors));
    EXPECT_THAT(vecInspectors, ElementsAre(m_pAssemble->GetFileMappingInspector(AF_SOURCE)));
    EXPECT_EQ(6u, tsNode.nAssetID);
    EXPECT_EQ(0, m_pAssemble->GetAssetNode(tsNode, VOTEXT("only in target"), AF_ERROR, nullptr));
    EXPECT_EQ(0u, tsNode.nAssetID);
}

TEST_F(AssembleLookup, InAllSourcesAPathThatNoneHasGivesOneAndAnEmptyVector)
{
    structAssetNode tsNode;
    std::vector<VOTSFileMappingInspector*> vecInspectors;
    LogCapture log;
    EXPECT_EQ(1, m_pAssemble->GetAssetNode(tsNode, VOTEXT("none"), AF_ERROR, &vecInspectors));
    EXPECT_THAT(vecInspectors, IsEmpty());
    EXPECT_EQ(1, m_pAssemble->GetAssetNode(tsNode, VOTEXT("none"), AF_ERROR, nullptr));
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST_F(AssembleLookup, TheVectorIsAppendedTo)
{
    structAssetNode tsNode;
    std::vector<VOTSFileMappingInspector*> vecInspectors = {nullptr};
    EXPECT_EQ(0, m_pAssemble->GetAssetNode(tsNode, VOTEXT("top/d1"), AF_ERROR, &vecInspectors));
    EXPECT_EQ(2u, vecInspectors.size());
}

// Many paths at once, each flag 7 before.
struct ManyPaths
{
    std::vector<const VOWCHAR*> vecPath;
    std::vector<structAssetNode> vecNode;
    std::vector<int> vecFound;

    explicit ManyPaths(std::vector<const VOWCHAR*> vecGivenPath)
        : vecPath(std::move(vecGivenPath)), vecNode(vecPath.size()), vecFound(vecPath.size(), 7)
    {
    }

    unsigned int Ask(const VOTSFileMappingAssemble& assemble, enumAssetFrom eaf)
    {
        return assemble.GetAssetNodes(vecNode.data(), vecFound.data(), vecPath.data(),
                                      static_cast<unsigned int>(vecPath.size()), eaf);
    }
};

TEST_F(AssembleLookup, ManyPathsInOneSourceAreThoseThatItHas)
{
    ManyPaths paths({VOTEXT("TOP"), VOTEXT("none"), VOTEXT("top/d1"), nullptr});
    const LogCapture log;
    EXPECT_EQ(1u, paths.Ask(*m_pAssemble, AF_TARGET));
    EXPECT_THAT(paths.vecFound, ElementsAre(1, 0, 0, 0));
    EXPECT_EQ(0xBEEFu, paths.vecNode[0].uAssetMerge);
    EXPECT_EQ(kNone, paths.vecNode[1].nAssetID);
    EXPECT_THAT(log.Lines(), ElementsAre(ProcessError("pszPath", kClass + "NormailzeAssetPath")));
}

TEST_F(AssembleLookup, ManyPathsInASourceWithoutAnInspectorAreLoggedOnceAndNotFound)
{
    for (const unsigned int uSource : {static_cast<unsigned int>(AF_PAKV4), 10u, 0xFFFFFFFFu})
    {
        ManyPaths paths({VOTEXT("top"), VOTEXT("top")});
        const LogCapture log;
        EXPECT_EQ(0u, paths.Ask(*m_pAssemble, static_cast<enumAssetFrom>(uSource)));
        EXPECT_THAT(paths.vecFound, ElementsAre(0, 0));
        EXPECT_THAT(log.Lines(), ElementsAre(ProcessError("pkInspector", kAssemble + "GetAssetNodes")));
    }
}

TEST_F(AssembleLookup, ManyPathsInAllSourcesAreThoseThatAnyHasAndTheirLastNodes)
{
    ManyPaths paths({VOTEXT("top"), VOTEXT("top/d1"), VOTEXT("none"), VOTEXT("only in target")});
    const LogCapture log;
    EXPECT_EQ(3u, paths.Ask(*m_pAssemble, AF_ERROR));
    EXPECT_THAT(paths.vecFound, ElementsAre(1, 1, 0, 1));
    EXPECT_EQ(0xBEEFu, paths.vecNode[0].uAssetMerge) << "of the target";
    EXPECT_EQ(6u, paths.vecNode[1].nAssetID);
    EXPECT_EQ(kNone, paths.vecNode[2].nAssetID) << "left alone";
    EXPECT_EQ(0u, paths.vecNode[3].nAssetID);
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST_F(AssembleLookup, ThousandsOfPathsInAllSourcesGiveWhatEachGivesAlone)
{
    const VOWCHAR* const apszPath[] = {VOTEXT("top"),  VOTEXT("top/d1"),         VOTEXT("top/gone.png"),
                                       VOTEXT("none"), VOTEXT("only in target"), VOTEXT("top/D1/inner.txt")};
    std::vector<const VOWCHAR*> vecPath;
    for (size_t i = 0; i < 2001; ++i)
    {
        vecPath.push_back(apszPath[(i * i + i / 7) % 6]);
    }
    ManyPaths paths(vecPath);
    unsigned int uExpected = 0;
    const unsigned int uFound = paths.Ask(*m_pAssemble, AF_ERROR);
    for (size_t i = 0; i < vecPath.size(); ++i)
    {
        structAssetNode tsNode;
        std::vector<VOTSFileMappingInspector*> vecInspectors;
        m_pAssemble->GetAssetNode(tsNode, vecPath[i], AF_ERROR, &vecInspectors);
        ASSERT_EQ(vecInspectors.empty() ? 0 : 1, paths.vecFound[i]) << i;
        ASSERT_TRUE(SameBytes(BytesOf(tsNode), BytesOf(paths.vecNode[i]))) << i;
        uExpected += vecInspectors.empty() ? 0 : 1;
    }
    EXPECT_EQ(uExpected, uFound);
}

TEST_F(AssembleLookup, ManyPathsWithANullArrayGive0AndALogLineAndNoPathsNeedNone)
{
    structAssetNode tsNode;
    int bFound = 7;
    const VOWCHAR* const pszPath = VOTEXT("top");
    const LogCapture log;
    for (const enumAssetFrom eaf : {AF_SOURCE, AF_ERROR})
    {
        EXPECT_EQ(0u, m_pAssemble->GetAssetNodes(nullptr, nullptr, nullptr, 0, eaf));
        EXPECT_EQ(0u, m_pAssemble->GetAssetNodes(nullptr, &bFound, &pszPath, 1, eaf));
        EXPECT_EQ(0, bFound);
        EXPECT_EQ(0u, m_pAssemble->GetAssetNodes(&tsNode, nullptr, &pszPath, 1, eaf));
        EXPECT_EQ(0u, m_pAssemble->GetAssetNodes(&tsNode, &bFound, nullptr, 1, eaf));
    }
    EXPECT_EQ(6u, log.Count());
}

TEST_F(AssembleTest, InstanceFromManyThreadsGivesOneObject)
{
    Publisher publisher;
    publisher.Publish(AF_SOURCE, SourceModel());
    std::vector<std::thread> vecThreads;
    std::vector<VOTSFileMappingAssemble*> vecSeen(8, nullptr);
    for (VOTSFileMappingAssemble*& pSeen : vecSeen)
    {
        vecThreads.emplace_back([&pSeen] { pSeen = VOTSFileMappingAssemble::Instance(); });
    }
    for (std::thread& thread : vecThreads)
    {
        thread.join();
    }
    EXPECT_EQ(8, OpenAssemble::References());
    EXPECT_EQ(std::vector<VOTSFileMappingAssemble*>(8, vecSeen[0]), vecSeen);
}

TEST_F(AssembleTest, OnManyThreadsAnObjectIsThereFromInstanceToRelease)
{
    Publisher publisher;
    publisher.Publish(AF_SOURCE, SourceModel());
    const LogCapture log;
    std::atomic<int> nMisses = 0;
    std::vector<std::thread> vecThreads;
    for (int nThread = 0; nThread < 4; ++nThread)
    {
        vecThreads.emplace_back(
            [&nMisses]
            {
                for (int nRound = 0; nRound < 300; ++nRound)
                {
                    const VOTSFileMappingAssemble* pAssemble = VOTSFileMappingAssemble::Instance();
                    nMisses += pAssemble->GetFileMappingInspector(AF_SOURCE) == nullptr ? 1 : 0;
                    VOTSFileMappingAssemble::Release();
                }
            });
    }
    for (std::thread& thread : vecThreads)
    {
        thread.join();
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
