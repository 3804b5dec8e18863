// An inspector's states and error values: opening, loading, reloading, closing.
#include "mapping/mapping_test_tools.h"

namespace
{
using namespace mappingtest;

const std::string kLoadFailed = ProcessError("FALSE", kInspector + "MappingView_AssetNodes");

TEST(InspectorState, ANewInspectorHasNoState)
{
    LogCapture kLog;
    OpenInspector kReader(AF_TARGET);
    EXPECT_EQ(AF_TARGET, kReader.AssetFrom());
    EXPECT_EQ(ET_STATE_UNAVAILABLE, kReader.LastErrorType());
    EXPECT_EQ(ET_STATE_UNAVAILABLE, kReader.LastErrorTypeASync());
    EXPECT_EQ(0u, kReader.GetAssetNodeCount());
    EXPECT_THAT(kLog.Lines(), IsEmpty());
}

TEST(InspectorState, WithoutAStateSectionOpeningFailsInSilence)
{
    OpenInspector kReader(AF_SOURCE);
    LogCapture kLog;
    EXPECT_EQ(ET_STATE_UNAVAILABLE, kReader.OpenMappingState());
    EXPECT_EQ(ET_STATE_UNAVAILABLE, kReader.OpenMappingData());
    EXPECT_EQ(ET_STATE_UNAVAILABLE, kReader.ReMappingData());
    EXPECT_EQ(ET_STATE_UNAVAILABLE, kReader.LastErrorType());
    EXPECT_EQ(1, kReader.CloseMapping());
    EXPECT_THAT(kLog.Lines(), IsEmpty());
}

TEST(InspectorState, DataBeforeStateIsRefused)
{
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, SourceModel());
    ClosingInspector kReader;
    EXPECT_EQ(ET_STATE_UNAVAILABLE, kReader.OpenMappingData());
    EXPECT_EQ(0u, kPublisher.Readers(AF_SOURCE));
}

TEST(InspectorState, OpenedItHasNoDataUntilTheyAreLoaded)
{
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, SourceModel());
    ClosingInspector kReader;
    LogCapture kLog;
    EXPECT_EQ(ET_NONE, kReader.OpenMappingState());
    EXPECT_EQ(ET_DATA_UNAVAILABLE, kReader.LastErrorType());
    EXPECT_EQ(ET_DATA_UNAVAILABLE, kReader.LastErrorTypeASync());
    EXPECT_EQ(ET_NONE, kReader.OpenMappingData());
    EXPECT_EQ(ET_NONE, kReader.LastErrorType());
    EXPECT_EQ(11u, kReader.GetAssetNodeCount());
    EXPECT_THAT(kLog.Lines(), IsEmpty());
}

TEST(InspectorState, ASecondOpenIsHarmless)
{
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, SourceModel());
    ClosingInspector kReader;
    kReader.Load();
    EXPECT_EQ(ET_NONE, kReader.OpenMappingState());
    EXPECT_EQ(ET_NONE, kReader.LastErrorType());
    EXPECT_EQ(11u, kReader.GetAssetNodeCount());
}

TEST(InspectorState, OpeningChangesNothingInTheSection)
{
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, SourceModel());
    kPublisher.SetWord(AF_SOURCE, 2, 17);
    ClosingInspector kReader;
    EXPECT_EQ(ET_NONE, kReader.OpenMappingState());
    EXPECT_EQ(17u, kPublisher.Readers(AF_SOURCE));
    kReader.Load();
    EXPECT_EQ(17u, kPublisher.Readers(AF_SOURCE)) << "after a load the count stands where it stood";
}

TEST(InspectorState, AnotherVersionTextIsAMismatchAndTheViewIsGivenBack)
{
    for (const char* pszVersion : {"version.2.3", "version.2.", "", "Version.2.4", "version.2.4x", "version.2.45"})
    {
        Publisher kPublisher{EmptyState(pszVersion)};
        kPublisher.Publish(AF_SOURCE, SourceModel());
        ClosingInspector kReader;
        EXPECT_EQ(ET_VERSION_MISMATCH, kReader.OpenMappingState()) << pszVersion;
        EXPECT_EQ(ET_STATE_UNAVAILABLE, kReader.LastErrorType()) << pszVersion;
        EXPECT_EQ(ET_STATE_UNAVAILABLE, kReader.OpenMappingData()) << pszVersion;
    }
}

TEST(InspectorState, ALongerTextThatRunsOnIntoTheRecordsIsAMismatch)
{
    Bytes vecState(132, 'x');
    memcpy(vecState.data(), "version.2.4", 11);
    Publisher kPublisher(vecState);
    ClosingInspector kReader;
    EXPECT_EQ(ET_VERSION_MISMATCH, kReader.OpenMappingState());
}

TEST(InspectorState, AfterAMismatchARightSectionIsOpened)
{
    Publisher kPublisher{EmptyState("version.2.3")};
    ClosingInspector kReader;
    EXPECT_EQ(ET_VERSION_MISMATCH, kReader.OpenMappingState());
    kPublisher.PutState(EmptyState());
    kPublisher.Publish(AF_SOURCE, SourceModel());
    kReader.Load();
    EXPECT_EQ(11u, kReader.GetAssetNodeCount());
}

TEST(InspectorState, CloseGivesEverythingBackAndCanBeFollowedByAnOpen)
{
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, SourceModel());
    ClosingInspector kReader;
    for (int nRound = 0; nRound < 3; ++nRound)
    {
        kReader.Load();
        EXPECT_EQ(11u, kReader.GetAssetNodeCount());
        EXPECT_EQ(1, kReader.CloseMapping());
        EXPECT_EQ(ET_STATE_UNAVAILABLE, kReader.LastErrorType());
        EXPECT_EQ(ET_STATE_UNAVAILABLE, kReader.OpenMappingData());
        EXPECT_EQ(0u, kReader.GetAssetNodeCount());
        EXPECT_EQ(0u, kPublisher.Readers(AF_SOURCE));
        EXPECT_EQ(1, kReader.CloseMapping()) << "closing twice";
    }
}

TEST(InspectorState, TheProtectedStepsDoTheSame)
{
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, SourceModel());
    OpenInspector kReader(AF_SOURCE);
    EXPECT_EQ(ET_STATE_UNAVAILABLE, kReader.MappingView_AssetNodes());
    EXPECT_EQ(ET_NONE, kReader.MappingView_UpdateState());
    EXPECT_EQ(ET_NONE, kReader.MappingView_AssetNodes());
    EXPECT_EQ(11u, kReader.GetAssetNodeCount());
    EXPECT_EQ(1, kReader.UnMappingView_AssetNodes());
    EXPECT_EQ(ET_DATA_UNAVAILABLE, kReader.LastErrorType());
    EXPECT_EQ(1, kReader.UnMappingView_UpdateState());
    EXPECT_EQ(ET_STATE_UNAVAILABLE, kReader.LastErrorType());
    EXPECT_EQ(1, kReader.UnMappingView_AssetNodes());
    EXPECT_EQ(1, kReader.UnMappingView_UpdateState());
}

struct OpenMembers : VOTSFileMappingInspector
{
    using VOTSFileMappingInspector::m_eaf;
    using VOTSFileMappingInspector::m_eSyncMode;
    using VOTSFileMappingInspector::m_hMappingState;
    using VOTSFileMappingInspector::m_pAssetNodeAlloc;
    using VOTSFileMappingInspector::m_pkAssetNodeContainer;
    using VOTSFileMappingInspector::m_pMappingState;
    using VOTSFileMappingInspector::m_uUpdateCount;
    using VOTSFileMappingInspector::VOTSFileMappingInspector;
};

static_assert(std::is_same_v<decltype(OpenMembers::m_eSyncMode), SyncMode>);
static_assert(std::is_same_v<decltype(OpenMembers::m_pMappingState), AssetNodeUpdateState*>);
static_assert(std::is_same_v<decltype(OpenMembers::m_pAssetNodeAlloc), VOTSAssetNodeContainer::ContainerAlloc*>);
static_assert(std::is_same_v<decltype(OpenMembers::m_hMappingState), void*>);
static_assert(std::is_same_v<decltype(OpenMembers::m_uUpdateCount), unsigned int>);

TEST(InspectorState, ADerivedClassSeesImageAndCountComeAndGoTogether)
{
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, SourceModel());
    OpenMembers kReader(AF_SOURCE);
    EXPECT_EQ(AF_SOURCE, kReader.m_eaf);
    EXPECT_EQ(SM_ASYNC, kReader.m_eSyncMode);
    ASSERT_NE(nullptr, kReader.m_pkAssetNodeContainer);
    const auto ExpectNothing = [&kReader]
    {
        EXPECT_EQ(nullptr, kReader.m_pAssetNodeAlloc);
        EXPECT_EQ(0u, kReader.m_uUpdateCount);
        EXPECT_EQ(0u, kReader.m_pkAssetNodeContainer->GetAssetNodeCount());
    };
    EXPECT_EQ(nullptr, kReader.m_pMappingState);
    EXPECT_EQ(nullptr, kReader.m_hMappingState);
    ExpectNothing();
    ASSERT_EQ(ET_NONE, kReader.OpenMappingState());
    EXPECT_NE(nullptr, kReader.m_hMappingState);
    ASSERT_NE(nullptr, kReader.m_pMappingState);
    ExpectNothing();
    ASSERT_EQ(ET_NONE, kReader.OpenMappingData());
    EXPECT_NE(nullptr, kReader.m_pAssetNodeAlloc);
    EXPECT_EQ(kReader.m_pMappingState->arrStateInfo[AF_SOURCE].uUpdateCount, kReader.m_uUpdateCount);
    EXPECT_EQ(11u, kReader.m_pkAssetNodeContainer->GetAssetNodeCount());
    EXPECT_EQ(1, kReader.CloseMapping());
    EXPECT_EQ(nullptr, kReader.m_pMappingState);
    EXPECT_EQ(nullptr, kReader.m_hMappingState);
    ExpectNothing();
}

// ---------------------------------------------------------------------------------------------------------------------
// Loading
// ---------------------------------------------------------------------------------------------------------------------

TEST(InspectorLoad, AnUnchangedCountKeepsTheImageEvenWhenTheSectionIsGone)
{
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, SourceModel());
    ClosingInspector kReader;
    kReader.Load();
    structAssetNode tsNode;
    ASSERT_NE(0, kReader.GetAssetNode(1u, tsNode));
    const VOWCHAR* pszName = kReader.GetString(tsNode.hStrBaseName);
    kPublisher.DropData(AF_SOURCE);
    EXPECT_EQ(ET_NONE, kReader.OpenMappingData());
    EXPECT_EQ(pszName, kReader.GetString(tsNode.hStrBaseName)) << "the image is the same one";
    EXPECT_EQ(VOWString(VOTEXT("XABy")), ReadText(pszName));
}

TEST(InspectorLoad, AChangedCountIsAnOutdatedImageUntilItIsLoadedAgain)
{
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, SourceModel());
    ClosingInspector kReader;
    kReader.Load();
    kPublisher.Publish(AF_SOURCE, OneFileModel(VOTEXT("second")));
    EXPECT_EQ(ET_DATA_OUTDATED, kReader.LastErrorType());
    EXPECT_EQ(11u, kReader.GetAssetNodeCount()) << "the old image still serves";
    EXPECT_EQ(ET_NONE, kReader.OpenMappingData());
    EXPECT_EQ(ET_NONE, kReader.LastErrorType());
    EXPECT_EQ(1u, kReader.GetAssetNodeCount());
    EXPECT_EQ(0u, IdOf(kReader, VOTEXT("SECOND")));
}

TEST(InspectorLoad, ACountThatGoesDownIsAChangeToo)
{
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, SourceModel());
    ClosingInspector kReader;
    kReader.Load();
    kPublisher.SetCount(AF_SOURCE, 1);
    EXPECT_EQ(ET_DATA_OUTDATED, kReader.LastErrorType());
    EXPECT_EQ(ET_NONE, kReader.ReMappingData());
    EXPECT_EQ(ET_NONE, kReader.LastErrorType());
    kPublisher.SetCount(AF_SOURCE, 0);
    EXPECT_EQ(ET_DATA_OUTDATED, kReader.LastErrorType());
}

TEST(InspectorLoad, ReMappingWithAnUnchangedCountLoadsTheImageAnew)
{
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, SourceModel());
    ClosingInspector kReader;
    kReader.Load();
    // The same count over another image shows that the section was really read.
    kPublisher.PutData(AF_SOURCE, LiteralBlock(OneFileModel(VOTEXT("second")).Image()));
    EXPECT_EQ(ET_NONE, kReader.OpenMappingData());
    EXPECT_EQ(11u, kReader.GetAssetNodeCount());
    EXPECT_EQ(ET_NONE, kReader.ReMappingData());
    EXPECT_EQ(1u, kReader.GetAssetNodeCount());
    EXPECT_EQ(ET_NONE, kReader.LastErrorType());
    EXPECT_EQ(ET_NONE, kReader.ReMappingData());
    EXPECT_EQ(1u, kReader.GetAssetNodeCount());
}

TEST(InspectorLoad, ADisabledSourceIsRefusedAndTheOldImageStays)
{
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, SourceModel());
    ClosingInspector kReader;
    kReader.Load();
    kPublisher.SetEnabled(AF_SOURCE, 0);
    EXPECT_EQ(ET_NONE, kReader.LastErrorType()) << "whether a source is published plays no part here";
    kPublisher.SetCount(AF_SOURCE, 999);
    EXPECT_EQ(ET_SOURCE_DISABLED, kReader.OpenMappingData());
    EXPECT_EQ(ET_DATA_OUTDATED, kReader.LastErrorType());
    EXPECT_EQ(11u, kReader.GetAssetNodeCount());
}

TEST(InspectorLoad, ReMappingADisabledSourceDropsTheImageFirst)
{
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, SourceModel());
    ClosingInspector kReader;
    kReader.Load();
    kPublisher.SetEnabled(AF_SOURCE, 0);
    EXPECT_EQ(ET_SOURCE_DISABLED, kReader.ReMappingData());
    EXPECT_EQ(ET_DATA_UNAVAILABLE, kReader.LastErrorType());
    EXPECT_EQ(0u, kReader.GetAssetNodeCount());
}

TEST(InspectorLoad, AnyNonZeroWordMeansEnabled)
{
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, SourceModel());
    kPublisher.SetEnabled(AF_SOURCE, 0x80000000u);
    ClosingInspector kReader;
    kReader.Load();
    EXPECT_EQ(11u, kReader.GetAssetNodeCount());
}

TEST(InspectorLoad, ACountOfZeroLoadsNothingAndReportsNoError)
{
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, SourceModel());
    kPublisher.SetCount(AF_SOURCE, 0);
    ClosingInspector kReader;
    LogCapture kLog;
    ASSERT_EQ(ET_NONE, kReader.OpenMappingState());
    EXPECT_EQ(ET_NONE, kReader.OpenMappingData());
    EXPECT_EQ(ET_DATA_UNAVAILABLE, kReader.LastErrorType());
    EXPECT_EQ(ET_NONE, kReader.ReMappingData());
    EXPECT_EQ(0u, kReader.GetAssetNodeCount());
    EXPECT_THAT(kLog.Lines(), IsEmpty());
}

TEST(InspectorLoad, AMissingDataSectionIsLoggedAndTheReaderCountIsExact)
{
    Publisher kPublisher;
    kPublisher.SetCount(AF_SOURCE, 5);
    kPublisher.SetEnabled(AF_SOURCE, 1);
    kPublisher.SetWord(AF_SOURCE, 2, 3);
    ClosingInspector kReader;
    ASSERT_EQ(ET_NONE, kReader.OpenMappingState());
    LogCapture kLog;
    EXPECT_EQ(ET_DATA_UNAVAILABLE, kReader.OpenMappingData());
    EXPECT_THAT(kLog.Lines(), ElementsAre(kLoadFailed));
    EXPECT_EQ(3u, kPublisher.Readers(AF_SOURCE));
    EXPECT_EQ(ET_DATA_UNAVAILABLE, kReader.LastErrorType());
}

TEST(InspectorLoad, ABlockThatDoesNotDecompressIsLoggedAndTheReaderCountIsExact)
{
    // A run of 238 literals, of which three are there.
    Publisher kPublisher;
    kPublisher.PublishBlock(AF_SOURCE, BlockAround(votest::FromHex("FF414243"), 238));
    ClosingInspector kReader;
    ASSERT_EQ(ET_NONE, kReader.OpenMappingState());
    LogCapture kLog;
    EXPECT_EQ(ET_DATA_UNAVAILABLE, kReader.OpenMappingData());
    EXPECT_TRUE(HasLine(kLog.Lines(), kLoadFailed));
    EXPECT_EQ(0u, kPublisher.Readers(AF_SOURCE));
    EXPECT_EQ(ET_DATA_UNAVAILABLE, kReader.LastErrorType());
}

TEST(InspectorLoad, AnImageThatDoesNotAttachIsLoggedAndTheReaderCountIsExact)
{
    Bytes vecImage = SourceModel().Image();
    vecImage[6] ^= 1;
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, vecImage);
    ClosingInspector kReader;
    ASSERT_EQ(ET_NONE, kReader.OpenMappingState());
    LogCapture kLog;
    EXPECT_EQ(ET_DATA_UNAVAILABLE, kReader.OpenMappingData());
    EXPECT_TRUE(HasLine(kLog.Lines(), kLoadFailed));
    EXPECT_TRUE(HasText(kLog.Lines(), "VOTSAssetNodeContainer::_SetAlloc_C\n"));
    EXPECT_EQ(0u, kPublisher.Readers(AF_SOURCE));
    EXPECT_EQ(ET_DATA_UNAVAILABLE, kReader.LastErrorType());
}

TEST(InspectorLoad, AFailedReloadLeavesNoDataAtAll)
{
    for (const bool bRemap : {true, false})
    {
        Publisher kPublisher;
        kPublisher.Publish(AF_SOURCE, SourceModel());
        ClosingInspector kReader;
        kReader.Load();
        Bytes vecImage = SourceModel().Image();
        vecImage[48] ^= 1;
        kPublisher.Publish(AF_SOURCE, vecImage);
        EXPECT_EQ(ET_DATA_UNAVAILABLE, bRemap ? kReader.ReMappingData() : kReader.OpenMappingData());
        EXPECT_EQ(ET_DATA_UNAVAILABLE, kReader.LastErrorType());
        EXPECT_EQ(0u, kReader.GetAssetNodeCount());
        EXPECT_EQ(kNone, IdOf(kReader, VOTEXT("top")));
        EXPECT_EQ(nullptr, kReader.GetAssetRootPath());
        // A count that was refused once isn't taken for loaded.
        EXPECT_EQ(ET_DATA_UNAVAILABLE, kReader.OpenMappingData());
        kPublisher.PutData(AF_SOURCE, LiteralBlock(SourceModel().Image()));
        EXPECT_EQ(ET_NONE, kReader.OpenMappingData());
        EXPECT_EQ(11u, kReader.GetAssetNodeCount());
    }
}

TEST(InspectorLoad, ADroppedStateSectionStaysReadableThroughTheReader)
{
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, SourceModel());
    ClosingInspector kReader;
    kReader.Load();
    kPublisher.DropState();
    EXPECT_EQ(ET_NONE, kReader.LastErrorType());
    EXPECT_EQ(ET_NONE, kReader.ReMappingData());
    EXPECT_EQ(11u, kReader.GetAssetNodeCount());
}

TEST(InspectorLoad, HeadersOfBlocksThatLieAreRefused)
{
    const Bytes vecImage = SourceModel().Image();
    const Bytes vecGood = LiteralBlock(vecImage);
    const unsigned long long ullSource = vecImage.size();
    const unsigned long long ullStream = vecGood.size() - 24;
    struct Case
    {
        unsigned long long ullSource;
        unsigned long long ullStream;
    };
    for (const Case& rkCase :
         {Case{0, ullStream}, Case{ullSource - 1, ullStream}, Case{~0ull, ullStream}, Case{1ull << 63, ullStream},
          Case{1ull << 40, ullStream}, Case{0x100000000ull + ullSource, ullStream}, Case{ullSource, 0},
          Case{ullSource, ullStream - 1}, Case{ullSource, ~0ull}, Case{ullSource, 1ull << 63},
          Case{ullSource, 0xFFFFFFFFFFFFFFF0ull}, Case{ullSource, 1ull << 40}, Case{0, 0}, Case{~0ull, ~0ull}})
    {
        Bytes vecBlock = vecGood;
        WriteU64(vecBlock, 0, rkCase.ullSource);
        WriteU64(vecBlock, 8, rkCase.ullStream);
        Publisher kPublisher;
        kPublisher.PublishBlock(AF_SOURCE, vecBlock);
        ClosingInspector kReader;
        ASSERT_EQ(ET_NONE, kReader.OpenMappingState());
        EXPECT_EQ(ET_DATA_UNAVAILABLE, kReader.OpenMappingData()) << rkCase.ullSource << " " << rkCase.ullStream;
        EXPECT_EQ(0u, kPublisher.Readers(AF_SOURCE));
        (void)AskEverything(kReader);
    }
}

TEST(InspectorLoad, ASourceSizeThatIsMoreThanTheStreamHoldsIsALimitOnly)
{
    const Bytes vecImage = SourceModel().Image();
    for (const unsigned long long ullSource : {vecImage.size() + 1ull, vecImage.size() + 100000ull, 0xFFFFFFFFull})
    {
        Bytes vecBlock = LiteralBlock(vecImage);
        WriteU64(vecBlock, 0, ullSource);
        Publisher kPublisher;
        kPublisher.PublishBlock(AF_SOURCE, vecBlock);
        ClosingInspector kReader;
        ASSERT_EQ(ET_NONE, kReader.OpenMappingState());
        EXPECT_EQ(ET_NONE, kReader.OpenMappingData()) << ullSource;
        EXPECT_EQ(11u, kReader.GetAssetNodeCount());
        (void)AskEverything(kReader);
    }
}

TEST(InspectorLoad, AnImageIsJudgedByWhatWasDecompressedAndNotByTheSourceSize)
{
    // The stream holds half of the image; the head of the block promises all of it.
    const Bytes vecImage = SourceModel().Image();
    const Bytes vecHalf(vecImage.begin(), vecImage.begin() + static_cast<ptrdiff_t>(vecImage.size() / 2));
    Publisher kPublisher;
    kPublisher.PublishBlock(AF_SOURCE, BlockAround(LiteralStream(vecHalf), vecImage.size()));
    ClosingInspector kReader;
    ASSERT_EQ(ET_NONE, kReader.OpenMappingState());
    EXPECT_EQ(ET_DATA_UNAVAILABLE, kReader.OpenMappingData());
    EXPECT_EQ(0u, kReader.GetAssetNodeCount());
}

TEST(InspectorLoad, AnImageCutAnywhereIsRefused)
{
    QuietLoop kQuiet;
    const Bytes vecImage = SourceModel().Image();
    Publisher kPublisher;
    ClosingInspector kReader;
    ASSERT_EQ(ET_NONE, kReader.OpenMappingState());
    for (size_t uSize = 1; uSize + 12 < vecImage.size(); uSize += 7)
    {
        kQuiet.Next();
        kPublisher.Publish(AF_SOURCE, Bytes(vecImage.begin(), vecImage.begin() + static_cast<ptrdiff_t>(uSize)));
        EXPECT_EQ(ET_DATA_UNAVAILABLE, kReader.OpenMappingData()) << uSize;
        EXPECT_EQ(0u, kPublisher.Readers(AF_SOURCE));
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// Modes
// ---------------------------------------------------------------------------------------------------------------------

TEST(InspectorMode, AsynchronousByDefaultAnOutdatedImageCountsAsNoError)
{
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, SourceModel());
    ClosingInspector kReader;
    kReader.Load();
    kPublisher.SetCount(AF_SOURCE, 999);
    EXPECT_EQ(ET_DATA_OUTDATED, kReader.LastErrorType());
    EXPECT_EQ(ET_NONE, kReader.LastErrorTypeASync());
}

TEST(InspectorMode, SynchronousAnOutdatedImageIsAnErrorInBoth)
{
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, SourceModel());
    ClosingInspector kReader;
    kReader.Load();
    kPublisher.SetCount(AF_SOURCE, 999);
    for (const int nMode : {1, 2, -1, 0x7FFFFFFF})
    {
        kReader.SetInspectMode(static_cast<SyncMode>(nMode));
        EXPECT_EQ(ET_DATA_OUTDATED, kReader.LastErrorType());
        EXPECT_EQ(ET_DATA_OUTDATED, kReader.LastErrorTypeASync()) << nMode;
    }
    kReader.SetInspectMode(SM_ASYNC);
    EXPECT_EQ(ET_NONE, kReader.LastErrorTypeASync());
}

TEST(InspectorMode, OtherErrorsAreTheSameInBothModes)
{
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, SourceModel());
    for (const SyncMode eMode : {SM_ASYNC, SM_SYNC})
    {
        ClosingInspector kReader;
        kReader.SetInspectMode(eMode);
        EXPECT_EQ(ET_STATE_UNAVAILABLE, kReader.LastErrorTypeASync());
        ASSERT_EQ(ET_NONE, kReader.OpenMappingState());
        EXPECT_EQ(ET_DATA_UNAVAILABLE, kReader.LastErrorTypeASync());
        ASSERT_EQ(ET_NONE, kReader.OpenMappingData());
        EXPECT_EQ(ET_NONE, kReader.LastErrorTypeASync());
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// No source
// ---------------------------------------------------------------------------------------------------------------------

TEST(InspectorNoSource, AnInspectorOfNoSourceIsReportedAndBuiltAllTheSame)
{
    LogCapture kLog;
    OpenInspector kReader(AF_ERROR);
    EXPECT_THAT(kLog.Lines(), ElementsAre(CheckError("LUMTrayService::enumAssetFrom::AF_ERROR != eaf",
                                                     kInspector + "VOTSFileMappingInspector")));
    EXPECT_EQ(AF_ERROR, kReader.AssetFrom());
}

TEST(InspectorNoSource, ItHasNoSectionNameAndLoadingItLogsAndReturnsNone)
{
    Publisher kPublisher;
    kPublisher.SetCount(AF_ERROR, 5);
    kPublisher.SetEnabled(AF_ERROR, 1);
    ClosingInspector kReader(AF_ERROR);
    ASSERT_EQ(ET_NONE, kReader.OpenMappingState());
    LogCapture kLog;
    EXPECT_EQ(ET_NONE, kReader.OpenMappingData());
    EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError("ASSETNODE_MAPPING_VIEW_STRING(m_eaf)",
                                                       kInspector + "MappingView_AssetNodes")));
    EXPECT_EQ(ET_DATA_UNAVAILABLE, kReader.LastErrorType());
    EXPECT_EQ(0u, kPublisher.Readers(AF_ERROR));
}

TEST(InspectorNoSource, AValueThatIsNoSourceReadsNoRecordBehindTheTable)
{
    Publisher kPublisher;
    for (const unsigned int uSource : {10u, 11u, 100000u, 0x7FFFFFFFu, 0xFFFFFFFFu})
    {
        ClosingInspector kReader(static_cast<enumAssetFrom>(uSource));
        ASSERT_EQ(ET_NONE, kReader.OpenMappingState());
        (void)kReader.OpenMappingData();
        (void)kReader.ReMappingData();
        EXPECT_NE(ET_NONE, kReader.LastErrorType()) << uSource;
        EXPECT_EQ(0u, kReader.GetAssetNodeCount());
        (void)AskEverything(kReader);
    }
}

}  // namespace
