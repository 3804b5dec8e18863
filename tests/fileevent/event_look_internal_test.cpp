// One look of a detect thread at the sections, step by step and without a thread: what it copies, what it finds, which
// times it keeps, and what a publisher sees of it.
#include <optional>

#include "fileevent/detect_thread.h"
#include "fileevent/event_section_tools.h"
#include "support/fault_points.h"
#include "support/stdout_capture.h"

namespace
{
using namespace eventtest;

const std::string kMapping = "TSThreadProcDetect::MappingView_FileEvent";
const std::string kNoContent = ProcessError("pFileEventAlloc && pFileEventAlloc->uDataBufSize", kMapping);
const std::string kBadSection = ProcessError("FALSE", kMapping);

// A thread's record with the times that the thread keeps.
class EventLook : public testing::Test
{
protected:
    explicit EventLook(enumAssetFrom eaf = AF_SOURCE) : m_eaf(eaf) {}

    // True when there was something to deliver, which is then in m_vecEvent and counts as delivered.
    bool Look()
    {
        m_vecEvent.clear();
        Time ullLatestTime = 0;
        if (!m_detect.Look(m_eaf, m_vecEvent, m_ullLastTime, ullLatestTime))
        {
            return false;
        }
        m_ullLastTime = ullLatestTime;
        return true;
    }
    std::vector<Time> Times() const { return TimesOf(m_vecEvent); }

    enumAssetFrom m_eaf;
    LogCapture m_log;
    Publisher m_publisher;
    TSThreadProcDetect m_detect;
    Events m_vecEvent;
    Time m_ullLastTime = kAllTime;
};

// ---------------------------------------------------------------------------------------------------------------------
// Times
// ---------------------------------------------------------------------------------------------------------------------

TEST_F(EventLook, TheFirstTimeSeenIsTheBaseAndOlderEventsArePassedOver)
{
    m_publisher.Publish(AF_SOURCE, ImageOfTimes({1, 2, 9}), 10);
    EXPECT_FALSE(Look());
    EXPECT_EQ(10u, m_ullLastTime);
    m_publisher.Publish(AF_SOURCE, ImageOfTimes({1, 2, 9, 11, 12}), 13);
    EXPECT_TRUE(Look());
    EXPECT_THAT(Times(), ElementsAre(11, 12));
    EXPECT_EQ(13u, m_ullLastTime);
}

TEST_F(EventLook, TheFirstLookFindsEventsStampedAtItsTimeOrLater)
{
    m_publisher.Publish(AF_SOURCE, ImageOfTimes({9, 10, 15}), 10);
    EXPECT_TRUE(Look());
    EXPECT_THAT(Times(), ElementsAre(10, 15));
    EXPECT_EQ(10u, m_ullLastTime);
}

TEST_F(EventLook, TheBaseStaysWhenTheFirstImageCannotBeRead)
{
    m_publisher.SetEnabled(AF_SOURCE, 1);
    m_publisher.SetTime(AF_SOURCE, 0, 10);
    EXPECT_FALSE(Look());
    EXPECT_EQ(10u, m_ullLastTime);
    m_publisher.Publish(AF_SOURCE, ImageOfTimes({9, 11}), 12);
    EXPECT_TRUE(Look());
    EXPECT_THAT(Times(), ElementsAre(11));
}

TEST_F(EventLook, AnEventStampedAtThePublicationsTimeIsFoundASecondTime)
{
    m_publisher.Publish(AF_SOURCE, ImageOfTimes({}), 10);
    EXPECT_FALSE(Look());
    m_publisher.Publish(AF_SOURCE, ImageOfTimes({20}), 20);
    EXPECT_TRUE(Look());
    EXPECT_THAT(Times(), ElementsAre(20));
    m_publisher.Publish(AF_SOURCE, ImageOfTimes({20, 25}), 30);
    EXPECT_TRUE(Look());
    EXPECT_THAT(Times(), ElementsAre(20, 25));
    m_publisher.Publish(AF_SOURCE, ImageOfTimes({20, 25, 35}), 40);
    EXPECT_TRUE(Look());
    EXPECT_THAT(Times(), ElementsAre(35)) << "stamped later than its events, it isn't";
}

TEST_F(EventLook, WithTheTimeUnchangedOrBackNothingIsCopied)
{
    m_publisher.Publish(AF_SOURCE, ImageOfTimes({10}), 10);
    EXPECT_TRUE(Look());
    const Bytes vecCopy = votest::CopyBytes(m_detect.m_pBuffer, m_detect.m_uBufferSize);
    for (const Time ullTime : std::vector<Time>{10, 9, 0})
    {
        m_publisher.Publish(AF_SOURCE, ImageOfTimes({10, 11, 12}), ullTime);
        EXPECT_FALSE(Look()) << ullTime;
        EXPECT_TRUE(SameBytes(vecCopy, votest::CopyBytes(m_detect.m_pBuffer, m_detect.m_uBufferSize)));
        EXPECT_EQ(10u, m_ullLastTime);
    }
}

TEST_F(EventLook, ATimeThatRisesWithoutAnEventSinceLeavesTheLastTimeWhereItWas)
{
    m_publisher.Publish(AF_SOURCE, ImageOfTimes({1}), 10);
    EXPECT_FALSE(Look());
    m_publisher.Publish(AF_SOURCE, ImageOfTimes({1, 5}), 20);
    EXPECT_FALSE(Look());
    EXPECT_EQ(10u, m_ullLastTime);
    m_publisher.Publish(AF_SOURCE, ImageOfTimes({1, 5, 15}), 30);
    EXPECT_TRUE(Look());
    EXPECT_THAT(Times(), ElementsAre(15)) << "before the second publication's time";
}

TEST_F(EventLook, TimesCompareUnsigned)
{
    m_publisher.Publish(AF_SOURCE, ImageOfTimes({}), 0x7FFFFFFFFFFFFFFFull);
    EXPECT_FALSE(Look());
    m_publisher.Publish(AF_SOURCE, ImageOfTimes({0x8000000000000000ull}), 0x8000000000000001ull);
    EXPECT_TRUE(Look());
    EXPECT_THAT(Times(), ElementsAre(0x8000000000000000ull));
}

TEST_F(EventLook, TheReservedTimeMeansThatNoneIsKnownYet)
{
    m_publisher.Publish(AF_SOURCE, ImageOfTimes({5}), kAllTime);
    EXPECT_FALSE(Look());
    m_publisher.Publish(AF_SOURCE, ImageOfTimes({5}), 5);
    EXPECT_TRUE(Look());
    EXPECT_THAT(Times(), ElementsAre(5));
}

TEST_F(EventLook, EventsComeInTheOrderOfTheImageWhateverTheirTimes)
{
    m_publisher.Publish(AF_SOURCE, ImageOfTimes({}), 10);
    EXPECT_FALSE(Look());
    m_publisher.Publish(AF_SOURCE, ImageOfTimes({17, 11, 3, 19, 11}), 20);
    EXPECT_TRUE(Look());
    EXPECT_THAT(Times(), ElementsAre(17, 11, 19, 11));
}

// ---------------------------------------------------------------------------------------------------------------------
// Slots and sections
// ---------------------------------------------------------------------------------------------------------------------

TEST_F(EventLook, ASlotThatFlipsIsPickedUpWithItsTime)
{
    m_publisher.PutData(AF_SOURCE, 0, ImageOfTimes({10}));
    m_publisher.SetTime(AF_SOURCE, 0, 10);
    m_publisher.PutData(AF_SOURCE, 1, ImageOfTimes({20}));
    m_publisher.SetTime(AF_SOURCE, 1, 20);
    m_publisher.SetEnabled(AF_SOURCE, 1);
    EXPECT_TRUE(Look());
    EXPECT_THAT(Times(), ElementsAre(10));
    EXPECT_FALSE(Look()) << "the other slot's time doesn't count";
    m_publisher.SetActiveSlot(AF_SOURCE, 1);
    EXPECT_TRUE(Look());
    EXPECT_THAT(Times(), ElementsAre(20));
    m_publisher.SetActiveSlot(AF_SOURCE, 0);
    EXPECT_FALSE(Look());
}

TEST_F(EventLook, EventsOfAnImageThatCameBehindTheLookAtTheTimeAreFoundOnce)
{
    m_publisher.Publish(AF_SOURCE, ImageOfTimes({10}), 11);
    EXPECT_FALSE(Look());
    m_publisher.Publish(AF_SOURCE, ImageOfTimes({10, 20}), 21);
    Time ullLatestTime = 0;
    ASSERT_TRUE(m_detect.FindsTime(AF_SOURCE, m_ullLastTime, ullLatestTime));
    m_publisher.Publish(AF_SOURCE, ImageOfTimes({10, 20, 30}), 31);
    ASSERT_TRUE(m_detect.FindsEvents(AF_SOURCE, m_vecEvent, m_ullLastTime, ullLatestTime));
    EXPECT_THAT(Times(), ElementsAre(20, 30));
    EXPECT_EQ(31u, ullLatestTime);
    m_ullLastTime = ullLatestTime;
    EXPECT_FALSE(Look());
    m_publisher.Publish(AF_SOURCE, ImageOfTimes({10, 20, 30, 40}), 41);
    EXPECT_TRUE(Look());
    EXPECT_THAT(Times(), ElementsAre(40));
}

TEST_F(EventLook, ATimeThatWentBackBehindTheLookAtItIsNotTaken)
{
    m_publisher.Publish(AF_SOURCE, ImageOfTimes({10}), 11);
    EXPECT_FALSE(Look());
    m_publisher.Publish(AF_SOURCE, ImageOfTimes({20}), 21);
    Time ullLatestTime = 0;
    ASSERT_TRUE(m_detect.FindsTime(AF_SOURCE, m_ullLastTime, ullLatestTime));
    m_publisher.Publish(AF_SOURCE, ImageOfTimes({20}), 5);
    ASSERT_TRUE(m_detect.FindsEvents(AF_SOURCE, m_vecEvent, m_ullLastTime, ullLatestTime));
    EXPECT_EQ(21u, ullLatestTime);
}

TEST_F(EventLook, ASlotThatIsNoneIsPassedOver)
{
    m_publisher.Publish(AF_SOURCE, ImageOfTimes({10}), 10);
    for (const unsigned int uSlot : {2u, 3u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu})
    {
        m_publisher.SetActiveSlot(AF_SOURCE, uSlot);
        EXPECT_FALSE(Look()) << uSlot;
        EXPECT_EQ(kAllTime, m_ullLastTime);
        EXPECT_EQ(ET_DATA_UNAVAILABLE,
                  m_detect.MappingView_FileEvent(AF_SOURCE, m_detect.StateInfo(AF_SOURCE),
                                                 std::make_unique<VOTSFileEventContainer>(AR_Customer).get()));
    }
    m_publisher.SetActiveSlot(AF_SOURCE, 1);
    EXPECT_TRUE(Look());
}

TEST_F(EventLook, EachSourceHasItsOwnRecordAndSections)
{
    for (unsigned int uSource = 1; uSource < ASSETTYPE_COUNT; ++uSource)
    {
        m_publisher.Publish(uSource, ImageOfTimes({100 + uSource}), 100 + uSource);
    }
    for (unsigned int uSource = 1; uSource < ASSETTYPE_COUNT; ++uSource)
    {
        m_eaf = static_cast<enumAssetFrom>(uSource);
        m_ullLastTime = kAllTime;
        EXPECT_TRUE(Look()) << uSource;
        EXPECT_THAT(Times(), ElementsAre(100 + uSource));
    }
}

TEST_F(EventLook, WhatIsNoSourceHasNothingToLookAt)
{
    for (unsigned int uSource = 0; uSource < ASSETTYPE_COUNT; ++uSource)
    {
        m_publisher.SetEnabled(uSource, 1);
    }
    for (const unsigned int uSource : {0u, 10u, 11u, 0x7FFFFFFFu, 0xFFFFFFFFu})
    {
        m_eaf = static_cast<enumAssetFrom>(uSource);
        EXPECT_FALSE(Look()) << uSource;
    }
    VOTSFileEventContainer reader(AR_Customer);
    EXPECT_EQ(ET_SOURCE_DISABLED, m_detect.MappingView_FileEvent(AF_ERROR, m_detect.StateInfo(AF_ERROR), &reader));
    EXPECT_EQ(nullptr, m_detect.StateInfo(static_cast<enumAssetFrom>(10)));
}

TEST_F(EventLook, WithoutAStateSectionNothingIsHeldAndNothingSaid)
{
    m_publisher.Publish(AF_SOURCE, ImageOfTimes({10}), 10);
    EXPECT_TRUE(Look());
    EXPECT_NE(nullptr, m_detect.m_state.Data());
    m_publisher.DropState();
    m_detect.m_state.Close();
    EXPECT_FALSE(Look());
    EXPECT_EQ(nullptr, m_detect.m_state.Data());
    EXPECT_EQ(0u, m_log.Count());
}

TEST_F(EventLook, AStateSectionOfAnotherVersionIsPassedOverInSilence)
{
    for (const char* const pszVersion : {"version.1.4", "version.1.5x", "", "version.1"})
    {
        m_publisher.PutState(EmptyState(pszVersion));
        m_publisher.SetEnabled(AF_SOURCE, 1);
        EXPECT_FALSE(Look()) << pszVersion;
        EXPECT_EQ(nullptr, m_detect.m_state.Data());
    }
    EXPECT_EQ(0u, m_log.Count());
    EXPECT_EQ(kAllTime, m_ullLastTime);
    m_publisher.PutState(EmptyState());
    m_publisher.Publish(AF_SOURCE, ImageOfTimes({10}), 10);
    EXPECT_TRUE(Look());
}

TEST_F(EventLook, AStateSectionThatEndsEarlyIsPassedOver)
{
    if (!VO_SYSTEM_CALLS_HAVE_FAULT_POINTS)
    {
        GTEST_SKIP() << "sections end at a page here";
    }
    const Bytes vecState = EmptyState();
    for (const std::ptrdiff_t nSize : {1, 11, 12, 16, 335})
    {
        m_publisher.PutState(Bytes(vecState.begin(), vecState.begin() + nSize));
        EXPECT_FALSE(Look()) << nSize;
        EXPECT_EQ(nullptr, m_detect.m_state.Data());
    }
    EXPECT_EQ(0u, m_log.Count());
}

TEST_F(EventLook, ASourceThatIsNotEnabledIsNotRead)
{
    m_publisher.Publish(AF_SOURCE, ImageOfTimes({10}), 10);
    m_publisher.SetEnabled(AF_SOURCE, 0);
    EXPECT_FALSE(Look());
    VOTSFileEventContainer reader(AR_Customer);
    EXPECT_EQ(ET_SOURCE_DISABLED, m_detect.MappingView_FileEvent(AF_SOURCE, m_detect.StateInfo(AF_SOURCE), &reader));
    EXPECT_EQ(0u, m_detect.m_uBufferSize);
    m_publisher.SetEnabled(AF_SOURCE, 0x80000000u);
    EXPECT_EQ(ET_NONE, m_detect.MappingView_FileEvent(AF_SOURCE, m_detect.StateInfo(AF_SOURCE), &reader));
    EXPECT_EQ(0u, m_log.Count());
}

TEST_F(EventLook, ACopyNeedsARecordAndAReader)
{
    VOTSFileEventContainer reader(AR_Customer);
    ASSERT_TRUE(m_detect.OpenState());
    EXPECT_EQ(ET_STATE_UNAVAILABLE, m_detect.MappingView_FileEvent(AF_SOURCE, nullptr, &reader));
    EXPECT_EQ(ET_STATE_UNAVAILABLE, m_detect.MappingView_FileEvent(AF_SOURCE, m_detect.StateInfo(AF_SOURCE), nullptr));
    EXPECT_EQ(0u, m_log.Count());
}

// ---------------------------------------------------------------------------------------------------------------------
// The copy
// ---------------------------------------------------------------------------------------------------------------------

TEST_F(EventLook, AMissingDataSectionIsAFailedReadInSilence)
{
    m_publisher.SetEnabled(AF_SOURCE, 1);
    m_publisher.SetReaders(AF_SOURCE, 0, 40);
    ASSERT_TRUE(m_detect.OpenState());
    VOTSFileEventContainer reader(AR_Customer);
    EXPECT_EQ(ET_DATA_UNAVAILABLE, m_detect.MappingView_FileEvent(AF_SOURCE, m_detect.StateInfo(AF_SOURCE), &reader));
    EXPECT_EQ(40u, m_publisher.Readers(AF_SOURCE, 0));
    EXPECT_EQ(0u, m_log.Count());
}

TEST_F(EventLook, AFailedReadIsTriedAgainAndFindsTheSameEvents)
{
    m_publisher.Publish(AF_SOURCE, ImageOfTimes({}), 10);
    EXPECT_FALSE(Look());
    Bytes vecImage = ImageOfTimes({15});
    vecImage[6] ^= 1;
    m_publisher.Publish(AF_SOURCE, vecImage, 20);
    EXPECT_FALSE(Look());
    EXPECT_FALSE(Look());
    EXPECT_EQ(10u, m_ullLastTime);
    vecImage[6] ^= 1;
    m_publisher.PutData(AF_SOURCE, m_publisher.Word(AF_SOURCE, Publisher::kActiveSlot), vecImage);
    EXPECT_TRUE(Look());
    EXPECT_THAT(Times(), ElementsAre(15));
}

TEST_F(EventLook, TheCopyIsTheImageAndTheRestOfTheBufferIsZero)
{
    const Bytes vecLong = ImageOfTimes({10, 11, 12, 13, 14});
    const Bytes vecShort = ImageOfTimes({20});
    m_publisher.Publish(AF_SOURCE, vecLong, 10);
    EXPECT_TRUE(Look());
    EXPECT_EQ(vecLong.size(), m_detect.m_uBufferSize);
    EXPECT_TRUE(SameBytes(vecLong, votest::CopyBytes(m_detect.m_pBuffer, m_detect.m_uBufferSize)));
    const unsigned char* const pbBuffer = m_detect.m_pBuffer;
    m_publisher.Publish(AF_SOURCE, vecShort, 20);
    EXPECT_TRUE(Look());
    EXPECT_EQ(pbBuffer, m_detect.m_pBuffer) << "it never shrinks";
    Bytes vecExpected = vecShort;
    vecExpected.resize(vecLong.size(), 0);
    EXPECT_TRUE(SameBytes(vecExpected, votest::CopyBytes(m_detect.m_pBuffer, m_detect.m_uBufferSize)));
}

TEST_F(EventLook, BytesBehindTheImageAreNotCopied)
{
    Bytes vecData = ImageOfTimes({10});
    const size_t uImage = vecData.size();
    vecData.resize(uImage + 5000, 0xEE);
    m_publisher.Publish(AF_SOURCE, vecData, 10);
    EXPECT_TRUE(Look());
    EXPECT_EQ(uImage, m_detect.m_uBufferSize);
}

TEST_F(EventLook, AnImageWithoutContentLeavesReaderAndCopyAndTheCountAndIsReported)
{
    m_publisher.Publish(AF_SOURCE, ImageOfTimes({10, 30}), 10);
    EXPECT_TRUE(Look());
    EXPECT_THAT(Times(), ElementsAre(10, 30));
    const Bytes vecCopy = votest::CopyBytes(m_detect.m_pBuffer, m_detect.m_uBufferSize);
    m_publisher.Publish(AF_SOURCE, Bytes(100, 0), 20);
    m_publisher.SetReaders(AF_SOURCE, 0, 7);
    EXPECT_TRUE(Look()) << "the image from before is asked again";
    EXPECT_THAT(Times(), ElementsAre(10, 30));
    EXPECT_THAT(m_log.Lines(), ElementsAre(kNoContent));
    EXPECT_TRUE(SameBytes(vecCopy, votest::CopyBytes(m_detect.m_pBuffer, m_detect.m_uBufferSize)));
    EXPECT_EQ(7u, m_publisher.Readers(AF_SOURCE, 0));
}

TEST_F(EventLook, AfterAnImageThatCannotBeAttachedOneWithoutContentFindsNothing)
{
    m_publisher.Publish(AF_SOURCE, ImageOfTimes({10, 30}), 10);
    EXPECT_TRUE(Look());
    // Larger, so that the copy moves, and of another version, so that the reader refuses it at once.
    Bytes vecImage = ImageOfTimes({10, 30, 40, 50, 60, 70});
    vecImage[0] ^= 1;
    m_publisher.Publish(AF_SOURCE, vecImage, 20);
    EXPECT_FALSE(Look());
    m_publisher.Publish(AF_SOURCE, Bytes(100, 0), 30);
    EXPECT_FALSE(Look());
    (void)AskEverything(*m_detect.m_pReader);
    m_publisher.Publish(AF_SOURCE, ImageOfTimes({40}), 50);
    EXPECT_TRUE(Look());
    EXPECT_THAT(Times(), ElementsAre(40));
}

TEST_F(EventLook, ASizeBeyondTheSectionIsAnErrorAndLeavesTheCopy)
{
    m_publisher.Publish(AF_SOURCE, ImageOfTimes({10}), 10);
    EXPECT_TRUE(Look());
    const unsigned int uSize = m_detect.m_uBufferSize;
    // On Windows a section is larger than asked for, but not as large as these.
    for (const uint32_t uLie : {0x70000000u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFE7u, 0xFFFFFFE8u, 0xFFFFFFFFu})
    {
        m_log.Clear();
        Bytes vecImage = ImageOfTimes({15});
        WriteU32(vecImage, 16, uLie);
        m_publisher.Publish(AF_SOURCE, vecImage, 20);
        EXPECT_FALSE(Look()) << uLie;
        EXPECT_THAT(m_log.Lines(), ElementsAre(kBadSection));
        EXPECT_EQ(uSize, m_detect.m_uBufferSize);
        EXPECT_EQ(0u, m_publisher.Readers(AF_SOURCE, 0) + m_publisher.Readers(AF_SOURCE, 1));
    }
}

TEST_F(EventLook, ADataSectionShorterThanItsHeadIsAnError)
{
    if (!VO_SYSTEM_CALLS_HAVE_FAULT_POINTS)
    {
        GTEST_SKIP() << "sections end at a page here";
    }
    const Bytes vecImage = ImageOfTimes({10});
    for (std::ptrdiff_t nSize = 1; nSize < static_cast<std::ptrdiff_t>(vecImage.size()); nSize += nSize < 30 ? 1 : 17)
    {
        m_log.Clear();
        m_ullLastTime = kAllTime;
        m_publisher.Publish(AF_SOURCE, Bytes(vecImage.begin(), vecImage.begin() + nSize), 10);
        EXPECT_FALSE(Look()) << nSize;
        EXPECT_THAT(m_log.Lines(), ElementsAre(kBadSection));
        EXPECT_EQ(0u, m_publisher.Readers(AF_SOURCE, 0) + m_publisher.Readers(AF_SOURCE, 1));
    }
}

TEST_F(EventLook, AnImageThatCannotBeAttachedIsReportedByTheReaderAndByTheThread)
{
    Bytes vecImage = ImageOfTimes({10});
    vecImage[0] ^= 1;
    m_publisher.Publish(AF_SOURCE, vecImage, 10);
    EXPECT_FALSE(Look());
    EXPECT_THAT(
        m_log.Lines(),
        ElementsAre(ProcessError("::strcmp(pAlloc->szVersion, FILEEVENT_CAONTAINER_VERSION) == 0", kClass + "SetAlloc"),
                    kBadSection));
}

// ---------------------------------------------------------------------------------------------------------------------
// The reader count, seen from the log lines in the middle of a step
// ---------------------------------------------------------------------------------------------------------------------

Publisher* g_pWatched = nullptr;
std::vector<unsigned int>* g_pvecSeen = nullptr;

int WatchReaders(VOLOG_PRIORITY, const char*)
{
    if (g_pWatched != nullptr)
    {
        g_pvecSeen->push_back(g_pWatched->Readers(AF_SOURCE, 0));
        g_pvecSeen->push_back(g_pWatched->Readers(AF_SOURCE, 1));
    }
    return 0;
}

class ReaderCount : public EventLook
{
protected:
    // The counts of both slots at each log line of a look.
    std::vector<unsigned int> SeenWhileLooking()
    {
        std::vector<unsigned int> vecSeen;
        g_pvecSeen = &vecSeen;
        g_pWatched = &m_publisher;
        SetLogPrintfFunction(&WatchReaders);
        EXPECT_FALSE(Look());
        g_pWatched = nullptr;
        const LogCapture takeOver;
        return vecSeen;
    }
};

TEST_F(ReaderCount, OfTheActiveSlotIsRaisedWhileTheSectionIsRead)
{
    Bytes vecImage = ImageOfTimes({10});
    WriteU32(vecImage, 16, 0x70000000u);
    m_publisher.Publish(AF_SOURCE, vecImage, 10);
    EXPECT_THAT(SeenWhileLooking(), ElementsAre(0, 1));
    m_publisher.Publish(AF_SOURCE, vecImage, 20);
    EXPECT_THAT(SeenWhileLooking(), ElementsAre(1, 0));
    EXPECT_EQ(0u, m_publisher.Readers(AF_SOURCE, 0) + m_publisher.Readers(AF_SOURCE, 1));
}

TEST_F(ReaderCount, IsLoweredBeforeTheCopyIsAttached)
{
    Bytes vecImage = ImageOfTimes({10});
    vecImage[0] ^= 1;
    m_publisher.Publish(AF_SOURCE, vecImage, 10);
    EXPECT_THAT(SeenWhileLooking(), ElementsAre(0, 0, 0, 0)) << "the container's line and the thread's";
}

TEST_F(ReaderCount, AtItsGreatestValueWrapsAndComesBack)
{
    m_publisher.PutData(AF_SOURCE, 0, ImageOfTimes({10}));
    m_publisher.SetTime(AF_SOURCE, 0, 10);
    m_publisher.SetEnabled(AF_SOURCE, 1);
    m_publisher.SetReaders(AF_SOURCE, 0, 0xFFFFFFFFu);
    EXPECT_TRUE(Look());
    EXPECT_EQ(0xFFFFFFFFu, m_publisher.Readers(AF_SOURCE, 0));
}

TEST_F(ReaderCount, IsTheOnlyWordThatALookWrites)
{
    m_publisher.Publish(AF_SOURCE, ImageOfTimes({10}), 10);
    m_publisher.Publish(AF_TARGET, ImageOfTimes({10}), 10);
    const Bytes vecBefore = votest::CopyBytes(m_publisher.State(), 336);
    EXPECT_TRUE(Look());
    EXPECT_TRUE(SameBytes(vecBefore, votest::CopyBytes(m_publisher.State(), 336)));
}

// ---------------------------------------------------------------------------------------------------------------------
// Damage and lies
// ---------------------------------------------------------------------------------------------------------------------

class EventLookDamage : public EventLook
{
protected:
    // Publishes a variant, looks, and hands out whatever is found.
    bool Try(const Bytes& image)
    {
        if (m_uTried++ % 200 == 0)
        {
            m_quiet.reset();
            m_quiet.emplace();
        }
        m_ullLastTime = 1;
        m_publisher.Publish(AF_SOURCE, image, 2);
        const bool bFound = Look();
        EXPECT_EQ(0u, m_publisher.Readers(AF_SOURCE, 0) + m_publisher.Readers(AF_SOURCE, 1));
        for (const structFileEventNode& event : m_vecEvent)
        {
            m_inspector.DispatchFileEvent(event, m_detect.m_pReader.get());
        }
        if (m_detect.m_pReader != nullptr)
        {
            (void)AskEverything(*m_detect.m_pReader);
        }
        return bFound;
    }

    OpenInspector m_inspector{AF_SOURCE};
    size_t m_uTried = 0;
    std::optional<votest::StdoutCapture> m_quiet;
};

TEST_F(EventLookDamage, EveryFlippedBitOfAnImageIsAFailedReadOrAnAnswer)
{
    Record record;
    Held listener(record);
    m_inspector.BindListener(listener.Get());
    const Bytes vecSound = SampleModel().Image();
    size_t uFound = 0;
    for (size_t uBit = 0; uBit < vecSound.size() * 8; uBit += 3)
    {
        Bytes vecImage = vecSound;
        vecImage[uBit / 8] = static_cast<unsigned char>(vecImage[uBit / 8] ^ (1u << uBit % 8));
        uFound += Try(vecImage) ? 1 : 0;
    }
    EXPECT_LT(100u, uFound);
    EXPECT_LT(100u, record.Count());
    EXPECT_TRUE(Try(vecSound));
}

TEST_F(EventLookDamage, EveryWordOfTheHeadsThatLiesIsAFailedReadOrAnAnswer)
{
    const Bytes vecSound = SampleModel().Image();
    const size_t uBlock = 20 + ReadU32(vecSound, 8);
    for (const size_t uBegin : {size_t{8}, size_t{28}, uBlock})
    {
        for (size_t uAt = uBegin; uAt < uBegin + 32; uAt += 4)
        {
            for (const uint32_t uLie : {0u, 1u, 44u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu})
            {
                Bytes vecImage = vecSound;
                WriteU32(vecImage, uAt, uLie);
                (void)Try(vecImage);
            }
        }
    }
    EXPECT_TRUE(Try(vecSound));
}

TEST_F(EventLookDamage, AStateSectionFullOfNoiseIsAFailedReadOrAnAnswer)
{
    Random random(6);
    m_publisher.Publish(AF_SOURCE, ImageOfTimes({10}), 10);
    for (int nRound = 0; nRound < 500; ++nRound)
    {
        for (unsigned int uOffset = 0; uOffset < 32; uOffset += 4)
        {
            m_publisher.SetWord(AF_SOURCE, uOffset, random.Percent(40) ? random.Word() % 3 : random.Word());
        }
        const unsigned int auReaders[] = {m_publisher.Readers(AF_SOURCE, 0), m_publisher.Readers(AF_SOURCE, 1)};
        m_ullLastTime = random.Percent(50) ? kAllTime : random.Next();
        (void)Look();
        EXPECT_EQ(auReaders[0], m_publisher.Readers(AF_SOURCE, 0));
        EXPECT_EQ(auReaders[1], m_publisher.Readers(AF_SOURCE, 1));
    }
}

}  // namespace
