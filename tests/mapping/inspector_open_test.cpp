// An inspector's states and error values: opening, loading, reloading, closing.
#include "mapping/mapping_test_tools.h"

namespace
{
using namespace mappingtest;

const std::string kLoadFailed = ProcessError("FALSE", kInspector + "MappingView_AssetNodes");

TEST(InspectorState, ANewInspectorHasNoState)
{
    LogCapture log;
    OpenInspector reader(AF_TARGET);
    EXPECT_EQ(AF_TARGET, reader.AssetFrom());
    EXPECT_EQ(ET_STATE_UNAVAILABLE, reader.LastErrorType());
    EXPECT_EQ(ET_STATE_UNAVAILABLE, reader.LastErrorTypeASync());
    EXPECT_EQ(0u, reader.GetAssetNodeCount());
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST(InspectorState, WithoutAStateSectionOpeningFailsInSilence)
{
    OpenInspector reader(AF_SOURCE);
    LogCapture log;
    EXPECT_EQ(ET_STATE_UNAVAILABLE, reader.OpenMappingState());
    EXPECT_EQ(ET_STATE_UNAVAILABLE, reader.OpenMappingData());
    EXPECT_EQ(ET_STATE_UNAVAILABLE, reader.ReMappingData());
    EXPECT_EQ(ET_STATE_UNAVAILABLE, reader.LastErrorType());
    EXPECT_EQ(1, reader.CloseMapping());
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST(InspectorState, DataBeforeStateIsRefused)
{
    Publisher publisher;
    publisher.Publish(AF_SOURCE, SourceModel());
    ClosingInspector reader;
    EXPECT_EQ(ET_STATE_UNAVAILABLE, reader.OpenMappingData());
    EXPECT_EQ(0u, publisher.Readers(AF_SOURCE));
}

TEST(InspectorState, OpenedItHasNoDataUntilTheyAreLoaded)
{
    Publisher publisher;
    publisher.Publish(AF_SOURCE, SourceModel());
    ClosingInspector reader;
    LogCapture log;
    EXPECT_EQ(ET_NONE, reader.OpenMappingState());
    EXPECT_EQ(ET_DATA_UNAVAILABLE, reader.LastErrorType());
    EXPECT_EQ(ET_DATA_UNAVAILABLE, reader.LastErrorTypeASync());
    EXPECT_EQ(ET_NONE, reader.OpenMappingData());
    EXPECT_EQ(ET_NONE, reader.LastErrorType());
    EXPECT_EQ(11u, reader.GetAssetNodeCount());
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST(InspectorState, ASecondOpenIsHarmless)
{
    Publisher publisher;
    publisher.Publish(AF_SOURCE, SourceModel());
    ClosingInspector reader;
    reader.Load();
    EXPECT_EQ(ET_NONE, reader.OpenMappingState());
    EXPECT_EQ(ET_NONE, reader.LastErrorType());
    EXPECT_EQ(11u, reader.GetAssetNodeCount());
}

TEST(InspectorState, OpeningChangesNothingInTheSection)
{
    Publisher publisher;
    publisher.Publish(AF_SOURCE, SourceModel());
    publisher.SetWord(AF_SOURCE, 2, 17);
    ClosingInspector reader;
    EXPECT_EQ(ET_NONE, reader.OpenMappingState());
    EXPECT_EQ(17u, publisher.Readers(AF_SOURCE));
    reader.Load();
    EXPECT_EQ(17u, publisher.Readers(AF_SOURCE)) << "after a load the count stands where it stood";
}

TEST(InspectorState, AnotherVersionTextIsAMismatchAndTheViewIsGivenBack)
{
    for (const char* pszVersion : {"version.2.3", "version.2.", "", "Version.2.4", "version.2.4x", "version.2.45"})
    {
        Publisher publisher{EmptyState(pszVersion)};
        publisher.Publish(AF_SOURCE, SourceModel());
        ClosingInspector reader;
        EXPECT_EQ(ET_VERSION_MISMATCH, reader.OpenMappingState()) << pszVersion;
        EXPECT_EQ(ET_STATE_UNAVAILABLE, reader.LastErrorType()) << pszVersion;
        EXPECT_EQ(ET_STATE_UNAVAILABLE, reader.OpenMappingData()) << pszVersion;
    }
}

TEST(InspectorState, ALongerTextThatRunsOnIntoTheRecordsIsAMismatch)
{
    Bytes vecState(132, 'x');
    memcpy(vecState.data(), "version.2.4", 11);
    Publisher publisher(vecState);
    ClosingInspector reader;
    EXPECT_EQ(ET_VERSION_MISMATCH, reader.OpenMappingState());
}

TEST(InspectorState, AfterAMismatchARightSectionIsOpened)
{
    Publisher publisher{EmptyState("version.2.3")};
    ClosingInspector reader;
    EXPECT_EQ(ET_VERSION_MISMATCH, reader.OpenMappingState());
    publisher.PutState(EmptyState());
    publisher.Publish(AF_SOURCE, SourceModel());
    reader.Load();
    EXPECT_EQ(11u, reader.GetAssetNodeCount());
}

TEST(InspectorState, CloseGivesEverythingBackAndCanBeFollowedByAnOpen)
{
    Publisher publisher;
    publisher.Publish(AF_SOURCE, SourceModel());
    ClosingInspector reader;
    for (int nRound = 0; nRound < 3; ++nRound)
    {
        reader.Load();
        EXPECT_EQ(11u, reader.GetAssetNodeCount());
        EXPECT_EQ(1, reader.CloseMapping());
        EXPECT_EQ(ET_STATE_UNAVAILABLE, reader.LastErrorType());
        EXPECT_EQ(ET_STATE_UNAVAILABLE, reader.OpenMappingData());
        EXPECT_EQ(0u, reader.GetAssetNodeCount());
        EXPECT_EQ(0u, publisher.Readers(AF_SOURCE));
        EXPECT_EQ(1, reader.CloseMapping()) << "closing twice";
    }
}

TEST(InspectorState, TheProtectedStepsDoTheSame)
{
    Publisher publisher;
    publisher.Publish(AF_SOURCE, SourceModel());
    OpenInspector reader(AF_SOURCE);
    EXPECT_EQ(ET_STATE_UNAVAILABLE, reader.MappingView_AssetNodes());
    EXPECT_EQ(ET_NONE, reader.MappingView_UpdateState());
    EXPECT_EQ(ET_NONE, reader.MappingView_AssetNodes());
    EXPECT_EQ(11u, reader.GetAssetNodeCount());
    EXPECT_EQ(1, reader.UnMappingView_AssetNodes());
    EXPECT_EQ(ET_DATA_UNAVAILABLE, reader.LastErrorType());
    EXPECT_EQ(1, reader.UnMappingView_UpdateState());
    EXPECT_EQ(ET_STATE_UNAVAILABLE, reader.LastErrorType());
    EXPECT_EQ(1, reader.UnMappingView_AssetNodes());
    EXPECT_EQ(1, reader.UnMappingView_UpdateState());
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
    Publisher publisher;
    publisher.PublishImage(AF_SOURCE, SourceModel());
    OpenMembers reader(AF_SOURCE);
    EXPECT_EQ(AF_SOURCE, reader.m_eaf);
    EXPECT_EQ(SM_ASYNC, reader.m_eSyncMode);
    ASSERT_NE(nullptr, reader.m_pkAssetNodeContainer);
    const auto ExpectNothing = [&reader]
    {
        EXPECT_EQ(nullptr, reader.m_pAssetNodeAlloc);
        EXPECT_EQ(0u, reader.m_uUpdateCount);
        EXPECT_EQ(0u, reader.m_pkAssetNodeContainer->GetAssetNodeCount());
    };
    EXPECT_EQ(nullptr, reader.m_pMappingState);
    EXPECT_EQ(nullptr, reader.m_hMappingState);
    ExpectNothing();
    ASSERT_EQ(ET_NONE, reader.OpenMappingState());
    EXPECT_NE(nullptr, reader.m_hMappingState);
    ASSERT_NE(nullptr, reader.m_pMappingState);
    ExpectNothing();
    ASSERT_EQ(ET_NONE, reader.OpenMappingData());
    EXPECT_NE(nullptr, reader.m_pAssetNodeAlloc);
    EXPECT_EQ(reader.m_pMappingState->arrStateInfo[AF_SOURCE].uUpdateCount, reader.m_uUpdateCount);
    EXPECT_EQ(11u, reader.m_pkAssetNodeContainer->GetAssetNodeCount());
    EXPECT_EQ(1, reader.CloseMapping());
    EXPECT_EQ(nullptr, reader.m_pMappingState);
    EXPECT_EQ(nullptr, reader.m_hMappingState);
    ExpectNothing();
}

// ---------------------------------------------------------------------------------------------------------------------
// Loading
// ---------------------------------------------------------------------------------------------------------------------

TEST(InspectorLoad, AnUnchangedCountKeepsTheImageEvenWhenTheSectionIsGone)
{
    Publisher publisher;
    publisher.Publish(AF_SOURCE, SourceModel());
    ClosingInspector reader;
    reader.Load();
    structAssetNode tsNode;
    ASSERT_NE(0, reader.GetAssetNode(1u, tsNode));
    const VOWCHAR* pszName = reader.GetString(tsNode.hStrBaseName);
    publisher.DropData(AF_SOURCE);
    EXPECT_EQ(ET_NONE, reader.OpenMappingData());
    EXPECT_EQ(pszName, reader.GetString(tsNode.hStrBaseName)) << "the image is the same one";
    EXPECT_EQ(VOWString(VOTEXT("XABy")), ReadText(pszName));
}

TEST(InspectorLoad, AChangedCountIsAnOutdatedImageUntilItIsLoadedAgain)
{
    Publisher publisher;
    publisher.Publish(AF_SOURCE, SourceModel());
    ClosingInspector reader;
    reader.Load();
    publisher.Publish(AF_SOURCE, OneFileModel(VOTEXT("second")));
    EXPECT_EQ(ET_DATA_OUTDATED, reader.LastErrorType());
    EXPECT_EQ(11u, reader.GetAssetNodeCount()) << "the old image still serves";
    EXPECT_EQ(ET_NONE, reader.OpenMappingData());
    EXPECT_EQ(ET_NONE, reader.LastErrorType());
    EXPECT_EQ(1u, reader.GetAssetNodeCount());
    EXPECT_EQ(0u, IdOf(reader, VOTEXT("SECOND")));
}

TEST(InspectorLoad, ACountThatGoesDownIsAChangeToo)
{
    Publisher publisher;
    publisher.Publish(AF_SOURCE, SourceModel());
    ClosingInspector reader;
    reader.Load();
    publisher.SetCount(AF_SOURCE, 1);
    EXPECT_EQ(ET_DATA_OUTDATED, reader.LastErrorType());
    EXPECT_EQ(ET_NONE, reader.ReMappingData());
    EXPECT_EQ(ET_NONE, reader.LastErrorType());
    publisher.SetCount(AF_SOURCE, 0);
    EXPECT_EQ(ET_DATA_OUTDATED, reader.LastErrorType());
}

TEST(InspectorLoad, ReMappingWithAnUnchangedCountLoadsTheImageAnew)
{
    Publisher publisher;
    publisher.PublishImage(AF_SOURCE, SourceModel());
    ClosingInspector reader;
    reader.Load();
    // The same count over another image shows that the section was really read.
    publisher.PutData(AF_SOURCE, LiteralBlock(OneFileModel(VOTEXT("second")).Image()));
    EXPECT_EQ(ET_NONE, reader.OpenMappingData());
    EXPECT_EQ(11u, reader.GetAssetNodeCount());
    EXPECT_EQ(ET_NONE, reader.ReMappingData());
    EXPECT_EQ(1u, reader.GetAssetNodeCount());
    EXPECT_EQ(ET_NONE, reader.LastErrorType());
    EXPECT_EQ(ET_NONE, reader.ReMappingData());
    EXPECT_EQ(1u, reader.GetAssetNodeCount());
}

TEST(InspectorLoad, ADisabledSourceIsRefusedAndTheOldImageStays)
{
    Publisher publisher;
    publisher.Publish(AF_SOURCE, SourceModel());
    ClosingInspector reader;
    reader.Load();
    publisher.SetEnabled(AF_SOURCE, 0);
    EXPECT_EQ(ET_NONE, reader.LastErrorType()) << "whether a source is published plays no part here";
    publisher.SetCount(AF_SOURCE, 999);
    EXPECT_EQ(ET_SOURCE_DISABLED, reader.OpenMappingData());
    EXPECT_EQ(ET_DATA_OUTDATED, reader.LastErrorType());
    EXPECT_EQ(11u, reader.GetAssetNodeCount());
}

TEST(InspectorLoad, ReMappingADisabledSourceDropsTheImageFirst)
{
    Publisher publisher;
    publisher.Publish(AF_SOURCE, SourceModel());
    ClosingInspector reader;
    reader.Load();
    publisher.SetEnabled(AF_SOURCE, 0);
    EXPECT_EQ(ET_SOURCE_DISABLED, reader.ReMappingData());
    EXPECT_EQ(ET_DATA_UNAVAILABLE, reader.LastErrorType());
    EXPECT_EQ(0u, reader.GetAssetNodeCount());
}

TEST(InspectorLoad, AnyNonZeroWordMeansEnabled)
{
    Publisher publisher;
    publisher.Publish(AF_SOURCE, SourceModel());
    publisher.SetEnabled(AF_SOURCE, 0x80000000u);
    ClosingInspector reader;
    reader.Load();
    EXPECT_EQ(11u, reader.GetAssetNodeCount());
}

TEST(InspectorLoad, ACountOfZeroLoadsNothingAndReportsNoError)
{
    Publisher publisher;
    publisher.Publish(AF_SOURCE, SourceModel());
    publisher.SetCount(AF_SOURCE, 0);
    ClosingInspector reader;
    LogCapture log;
    ASSERT_EQ(ET_NONE, reader.OpenMappingState());
    EXPECT_EQ(ET_NONE, reader.OpenMappingData());
    EXPECT_EQ(ET_DATA_UNAVAILABLE, reader.LastErrorType());
    EXPECT_EQ(ET_NONE, reader.ReMappingData());
    EXPECT_EQ(0u, reader.GetAssetNodeCount());
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST(InspectorLoad, AMissingDataSectionIsLoggedAndTheReaderCountIsExact)
{
    Publisher publisher;
    publisher.SetCount(AF_SOURCE, 5);
    publisher.SetEnabled(AF_SOURCE, 1);
    publisher.SetWord(AF_SOURCE, 2, 3);
    ClosingInspector reader;
    ASSERT_EQ(ET_NONE, reader.OpenMappingState());
    LogCapture log;
    EXPECT_EQ(ET_DATA_UNAVAILABLE, reader.OpenMappingData());
    EXPECT_THAT(log.Lines(), ElementsAre(kLoadFailed));
    EXPECT_EQ(3u, publisher.Readers(AF_SOURCE));
    EXPECT_EQ(ET_DATA_UNAVAILABLE, reader.LastErrorType());
}

TEST(InspectorLoad, ABlockThatDoesNotDecompressIsLoggedAndTheReaderCountIsExact)
{
    // A run of 238 literals, of which three are there.
    Publisher publisher;
    publisher.PublishBlock(AF_SOURCE, BlockAround(votest::FromHex("FF414243"), 238));
    ClosingInspector reader;
    ASSERT_EQ(ET_NONE, reader.OpenMappingState());
    LogCapture log;
    EXPECT_EQ(ET_DATA_UNAVAILABLE, reader.OpenMappingData());
    EXPECT_TRUE(HasLine(log.Lines(), kLoadFailed));
    EXPECT_EQ(0u, publisher.Readers(AF_SOURCE));
    EXPECT_EQ(ET_DATA_UNAVAILABLE, reader.LastErrorType());
}

TEST(InspectorLoad, AnImageThatDoesNotAttachIsLoggedAndTheReaderCountIsExact)
{
    Bytes vecImage = SourceModel().Image();
    vecImage[6] ^= 1;
    Publisher publisher;
    publisher.Publish(AF_SOURCE, vecImage);
    ClosingInspector reader;
    ASSERT_EQ(ET_NONE, reader.OpenMappingState());
    LogCapture log;
    EXPECT_EQ(ET_DATA_UNAVAILABLE, reader.OpenMappingData());
    EXPECT_TRUE(HasLine(log.Lines(), kLoadFailed));
    EXPECT_TRUE(HasText(log.Lines(), "VOTSAssetNodeContainer::_SetAlloc_C\n"));
    EXPECT_EQ(0u, publisher.Readers(AF_SOURCE));
    EXPECT_EQ(ET_DATA_UNAVAILABLE, reader.LastErrorType());
}

TEST(InspectorLoad, AFailedReloadLeavesNoDataAtAll)
{
    for (const bool bRemap : {true, false})
    {
        Publisher publisher;
        publisher.Publish(AF_SOURCE, SourceModel());
        ClosingInspector reader;
        reader.Load();
        Bytes vecImage = SourceModel().Image();
        vecImage[48] ^= 1;
        publisher.Publish(AF_SOURCE, vecImage);
        EXPECT_EQ(ET_DATA_UNAVAILABLE, bRemap ? reader.ReMappingData() : reader.OpenMappingData());
        EXPECT_EQ(ET_DATA_UNAVAILABLE, reader.LastErrorType());
        EXPECT_EQ(0u, reader.GetAssetNodeCount());
        EXPECT_EQ(kNone, IdOf(reader, VOTEXT("top")));
        EXPECT_EQ(nullptr, reader.GetAssetRootPath());
        // A count that was refused once isn't taken for loaded.
        EXPECT_EQ(ET_DATA_UNAVAILABLE, reader.OpenMappingData());
        publisher.PutData(AF_SOURCE, LiteralBlock(SourceModel().Image()));
        EXPECT_EQ(ET_NONE, reader.OpenMappingData());
        EXPECT_EQ(11u, reader.GetAssetNodeCount());
    }
}

TEST(InspectorLoad, ADroppedStateSectionStaysReadableThroughTheReader)
{
    Publisher publisher;
    publisher.Publish(AF_SOURCE, SourceModel());
    ClosingInspector reader;
    reader.Load();
    publisher.DropState();
    EXPECT_EQ(ET_NONE, reader.LastErrorType());
    EXPECT_EQ(ET_NONE, reader.ReMappingData());
    EXPECT_EQ(11u, reader.GetAssetNodeCount());
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
    for (const Case& one :
         {Case{0, ullStream}, Case{ullSource - 1, ullStream}, Case{~0ull, ullStream}, Case{1ull << 63, ullStream},
          Case{1ull << 40, ullStream}, Case{0x100000000ull + ullSource, ullStream}, Case{ullSource, 0},
          Case{ullSource, ullStream - 1}, Case{ullSource, ~0ull}, Case{ullSource, 1ull << 63},
          Case{ullSource, 0xFFFFFFFFFFFFFFF0ull}, Case{ullSource, 1ull << 40}, Case{0, 0}, Case{~0ull, ~0ull}})
    {
        Bytes vecBlock = vecGood;
        WriteU64(vecBlock, 0, one.ullSource);
        WriteU64(vecBlock, 8, one.ullStream);
        Publisher publisher;
        publisher.PublishBlock(AF_SOURCE, vecBlock);
        ClosingInspector reader;
        ASSERT_EQ(ET_NONE, reader.OpenMappingState());
        EXPECT_EQ(ET_DATA_UNAVAILABLE, reader.OpenMappingData()) << one.ullSource << " " << one.ullStream;
        EXPECT_EQ(0u, publisher.Readers(AF_SOURCE));
        (void)AskEverything(reader);
    }
}

TEST(InspectorLoad, ASourceSizeThatIsMoreThanTheStreamHoldsIsALimitOnly)
{
    const Bytes vecImage = SourceModel().Image();
    for (const unsigned long long ullSource : {vecImage.size() + 1ull, vecImage.size() + 100000ull, 0xFFFFFFFFull})
    {
        Bytes vecBlock = LiteralBlock(vecImage);
        WriteU64(vecBlock, 0, ullSource);
        Publisher publisher;
        publisher.PublishBlock(AF_SOURCE, vecBlock);
        ClosingInspector reader;
        ASSERT_EQ(ET_NONE, reader.OpenMappingState());
        EXPECT_EQ(ET_NONE, reader.OpenMappingData()) << ullSource;
        EXPECT_EQ(11u, reader.GetAssetNodeCount());
        (void)AskEverything(reader);
    }
}

TEST(InspectorLoad, AnImageIsJudgedByWhatWasDecompressedAndNotByTheSourceSize)
{
    // The stream holds half of the image; the head of the block promises all of it.
    const Bytes vecImage = SourceModel().Image();
    const Bytes vecHalf(vecImage.begin(), vecImage.begin() + static_cast<ptrdiff_t>(vecImage.size() / 2));
    Publisher publisher;
    publisher.PublishBlock(AF_SOURCE, BlockAround(LiteralStream(vecHalf), vecImage.size()));
    ClosingInspector reader;
    ASSERT_EQ(ET_NONE, reader.OpenMappingState());
    EXPECT_EQ(ET_DATA_UNAVAILABLE, reader.OpenMappingData());
    EXPECT_EQ(0u, reader.GetAssetNodeCount());
}

TEST(InspectorLoad, AnImageCutAnywhereIsRefused)
{
    QuietLoop quiet;
    const Bytes vecImage = SourceModel().Image();
    Publisher publisher;
    ClosingInspector reader;
    ASSERT_EQ(ET_NONE, reader.OpenMappingState());
    for (size_t uSize = 1; uSize + 12 < vecImage.size(); uSize += 7)
    {
        quiet.Next();
        publisher.Publish(AF_SOURCE, Bytes(vecImage.begin(), vecImage.begin() + static_cast<ptrdiff_t>(uSize)));
        EXPECT_EQ(ET_DATA_UNAVAILABLE, reader.OpenMappingData()) << uSize;
        EXPECT_EQ(0u, publisher.Readers(AF_SOURCE));
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// Modes
// ---------------------------------------------------------------------------------------------------------------------

TEST(InspectorMode, AsynchronousByDefaultAnOutdatedImageCountsAsNoError)
{
    Publisher publisher;
    publisher.Publish(AF_SOURCE, SourceModel());
    ClosingInspector reader;
    reader.Load();
    publisher.SetCount(AF_SOURCE, 999);
    EXPECT_EQ(ET_DATA_OUTDATED, reader.LastErrorType());
    EXPECT_EQ(ET_NONE, reader.LastErrorTypeASync());
}

TEST(InspectorMode, SynchronousAnOutdatedImageIsAnErrorInBoth)
{
    Publisher publisher;
    publisher.Publish(AF_SOURCE, SourceModel());
    ClosingInspector reader;
    reader.Load();
    publisher.SetCount(AF_SOURCE, 999);
    for (const int nMode : {1, 2, -1, 0x7FFFFFFF})
    {
        reader.SetInspectMode(static_cast<SyncMode>(nMode));
        EXPECT_EQ(ET_DATA_OUTDATED, reader.LastErrorType());
        EXPECT_EQ(ET_DATA_OUTDATED, reader.LastErrorTypeASync()) << nMode;
    }
    reader.SetInspectMode(SM_ASYNC);
    EXPECT_EQ(ET_NONE, reader.LastErrorTypeASync());
}

TEST(InspectorMode, OtherErrorsAreTheSameInBothModes)
{
    Publisher publisher;
    publisher.Publish(AF_SOURCE, SourceModel());
    for (const SyncMode eMode : {SM_ASYNC, SM_SYNC})
    {
        ClosingInspector reader;
        reader.SetInspectMode(eMode);
        EXPECT_EQ(ET_STATE_UNAVAILABLE, reader.LastErrorTypeASync());
        ASSERT_EQ(ET_NONE, reader.OpenMappingState());
        EXPECT_EQ(ET_DATA_UNAVAILABLE, reader.LastErrorTypeASync());
        ASSERT_EQ(ET_NONE, reader.OpenMappingData());
        EXPECT_EQ(ET_NONE, reader.LastErrorTypeASync());
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// No source
// ---------------------------------------------------------------------------------------------------------------------

TEST(InspectorNoSource, AnInspectorOfNoSourceIsReportedAndBuiltAllTheSame)
{
    LogCapture log;
    OpenInspector reader(AF_ERROR);
    EXPECT_THAT(log.Lines(), ElementsAre(CheckError("LUMTrayService::enumAssetFrom::AF_ERROR != eaf",
                                                    kInspector + "VOTSFileMappingInspector")));
    EXPECT_EQ(AF_ERROR, reader.AssetFrom());
}

TEST(InspectorNoSource, ItHasNoSectionNameAndLoadingItLogsAndReturnsNone)
{
    Publisher publisher;
    publisher.SetCount(AF_ERROR, 5);
    publisher.SetEnabled(AF_ERROR, 1);
    ClosingInspector reader(AF_ERROR);
    ASSERT_EQ(ET_NONE, reader.OpenMappingState());
    LogCapture log;
    EXPECT_EQ(ET_NONE, reader.OpenMappingData());
    EXPECT_THAT(log.Lines(), ElementsAre(ProcessError("ASSETNODE_MAPPING_VIEW_STRING(m_eaf)",
                                                      kInspector + "MappingView_AssetNodes")));
    EXPECT_EQ(ET_DATA_UNAVAILABLE, reader.LastErrorType());
    EXPECT_EQ(0u, publisher.Readers(AF_ERROR));
}

TEST(InspectorNoSource, AValueThatIsNoSourceReadsNoRecordBehindTheTable)
{
    Publisher publisher;
    for (const unsigned int uSource : {10u, 11u, 100000u, 0x7FFFFFFFu, 0xFFFFFFFFu})
    {
        ClosingInspector reader(static_cast<enumAssetFrom>(uSource));
        ASSERT_EQ(ET_NONE, reader.OpenMappingState());
        (void)reader.OpenMappingData();
        (void)reader.ReMappingData();
        EXPECT_NE(ET_NONE, reader.LastErrorType()) << uSource;
        EXPECT_EQ(0u, reader.GetAssetNodeCount());
        (void)AskEverything(reader);
    }
}

}  // namespace
