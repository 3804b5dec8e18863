// The container's operations, one by one: appending, asking by time, removing, cleaning up, copying.
#include <memory>
#include <type_traits>

#include "fileevent/event_test_tools.h"

namespace
{
using namespace eventtest;

TEST(EventRecord, HasItsDefaultsAndItsPackedLayout)
{
    const structFileEventNode node;
    EXPECT_TRUE(SameBytes(ByteBuilder()
                              .U32(0)
                              .U64(votest::kInvalidHandle)
                              .U64(votest::kInvalidHandle)
                              .U64(votest::kInvalidHandle)
                              .U32(0)
                              .U32(0)
                              .U64(0)
                              .Result(),
                          votest::CopyBytes(&node, sizeof(node))));
    EXPECT_EQ(44u, sizeof(structFileEventNode));
}

TEST(EventRecord, TheArgumentsOfAnAppendComeInTheirOrder)
{
    EXPECT_EQ(0u, offsetof(Info, dwEventParam0));
    EXPECT_EQ(4u, offsetof(Info, dwEventParam1));
    EXPECT_EQ(8u, offsetof(Info, dwEventParam2));
    EXPECT_EQ(16u, offsetof(Info, pszPath));
    EXPECT_EQ(24u, offsetof(Info, pszNewName));
    EXPECT_EQ(32u, offsetof(Info, pszPhysicPath));
    static_assert(!std::is_polymorphic_v<VOTSFileEventContainer>);
}

TEST(EventContainer, IsAProviderUnlessToldOtherwise)
{
    const OpenContainer kDefault;
    EXPECT_EQ(AR_Provider, kDefault.m_eAssetRole);
    EXPECT_NE(nullptr, kDefault.m_pkStringSet);
    EXPECT_EQ(0u, kDefault.Count());
    EXPECT_EQ(0u, kDefault.Capacity());
    EXPECT_EQ(AR_Customer, OpenContainer(AR_Customer).m_eAssetRole);
}

TEST(EventContainer, OfAnotherRoleHasNoPoolAndRefusesEverythingInTheLog)
{
    LogCapture kLog;
    OpenContainer kContainer(static_cast<enumAssetRole>(7));
    EXPECT_THAT(kLog.Lines(),
                ElementsAre(ProcessError("m_pkStringSet", "VOTSFileEventContainer::VOTSFileEventContainer")));
    EXPECT_EQ(nullptr, kContainer.m_pkStringSet);
    kLog.Clear();
    EXPECT_EQ(nullptr, kContainer.GetString(nullptr));
    EXPECT_EQ(0, kContainer.CleanUp());
    EXPECT_EQ(nullptr, kContainer.GetAlloc());
    EXPECT_EQ(0, kContainer.AppendEvent(InfoOf(VOTEXT("a")), 1));
    EXPECT_THAT(kLog.Lines(),
                ElementsAre(ProcessError("m_pkStringSet", kClass + "GetString"),
                            ProcessError("m_pkStringSet", kClass + "CleanUp"),
                            ProcessError("m_pkStringSet", kClass + "GetAlloc"),
                            ProcessError("INVALID_HANDLE_VALUE != node.hstrPath", kClass + "AppendEvent")));
    const MisalignedBlock kImage(SampleModel().Image());
    kLog.Clear();
    EXPECT_EQ(0, kContainer.SetAlloc(kImage.As<EventImage>(), 1));
    EXPECT_THAT(kLog.Lines(),
                ElementsAre(ProcessError("m_pkStringSet", kClass + "CleanUp"),
                            ProcessError("m_pkStringSet->SetAlloc(pStringPoolAlloc, bCopy)", kClass + "SetAlloc")));
}

// ---------------------------------------------------------------------------------------------------------------------
// AppendEvent
// ---------------------------------------------------------------------------------------------------------------------

TEST(AppendEvent, GrowsTheCapacityTo2Then6Then14)
{
    OpenContainer kContainer;
    std::vector<unsigned int> vecCapacity;
    for (Time ullTime = 0; ullTime < 7; ++ullTime)
    {
        EXPECT_EQ(1, kContainer.AppendEvent(InfoOf(VOTEXT("a")), ullTime));
        vecCapacity.push_back(kContainer.Capacity());
    }
    EXPECT_THAT(vecCapacity, ElementsAre(2, 2, 6, 6, 6, 6, 14));
    EXPECT_EQ(7u, kContainer.Count());
}

TEST(AppendEvent, StoresTheValuesTheTextsAndTheTime)
{
    VOTSFileEventContainer kContainer;
    EXPECT_EQ(1, kContainer.AppendEvent({11, 12, 13, VOTEXT("path"), VOTEXT("new"), VOTEXT("physic")}, 99));
    const Events vecEvent = AllOf(kContainer);
    ASSERT_EQ(1u, vecEvent.size());
    EXPECT_EQ(11u, +vecEvent[0].dwEventParam0);
    EXPECT_EQ(12u, +vecEvent[0].dwEventParam1);
    EXPECT_EQ(13u, +vecEvent[0].dwEventParam2);
    EXPECT_EQ(99u, +vecEvent[0].ullTime);
    EXPECT_EQ(VOWString(VOTEXT("path")), ReadText(kContainer.GetString(vecEvent[0].hstrPath)));
    EXPECT_EQ(VOWString(VOTEXT("new")), ReadText(kContainer.GetString(vecEvent[0].hstrNewName)));
    EXPECT_EQ(VOWString(VOTEXT("physic")), ReadText(kContainer.GetString(vecEvent[0].hstrPhysicPath)));
}

TEST(AppendEvent, WithoutOrWithAnEmptyNewNameOrPhysicPathStoresTheInvalidHandle)
{
    OpenContainer kContainer;
    EXPECT_EQ(1, kContainer.AppendEvent(InfoOf(VOTEXT("a"), VOTEXT(""), VOTEXT("")), 1));
    EXPECT_EQ(1, kContainer.AppendEvent(InfoOf(VOTEXT("a")), 1));
    for (const structFileEventNode& rkEvent : AllOf(kContainer))
    {
        EXPECT_EQ(0u, Number(rkEvent.hstrPath));
        EXPECT_EQ(votest::kInvalidHandle, Number(rkEvent.hstrNewName));
        EXPECT_EQ(votest::kInvalidHandle, Number(rkEvent.hstrPhysicPath));
    }
    EXPECT_EQ(1u, kContainer.m_pkStringSet->Count()) << "the empty texts weren't entered";
}

TEST(AppendEvent, TakesAnEmptyPath)
{
    VOTSFileEventContainer kContainer;
    EXPECT_EQ(1, kContainer.AppendEvent(InfoOf(VOTEXT("")), 1));
    const VOWCHAR* const pszText = kContainer.GetString(AllOf(kContainer)[0].hstrPath);
    ASSERT_NE(nullptr, pszText);
    EXPECT_EQ(VOWString(), ReadText(pszText));
}

TEST(AppendEvent, WithoutAPathFailsAndStoresNothing)
{
    OpenContainer kContainer;
    LogCapture kLog;
    EXPECT_EQ(0, kContainer.AppendEvent(InfoOf(nullptr, VOTEXT("new")), 1));
    EXPECT_EQ(ProcessError("INVALID_HANDLE_VALUE != node.hstrPath", kClass + "AppendEvent"), kLog.Lines().back());
    EXPECT_EQ(0u, kContainer.Count());
    EXPECT_EQ(0u, kContainer.m_pkStringSet->Count()) << "it stops at the path";
}

TEST(AppendEvent, ToACustomerFailsAtThePath)
{
    OpenContainer kContainer(AR_Customer);
    LogCapture kLog;
    EXPECT_EQ(0, kContainer.AppendEvent(InfoOf(VOTEXT("a")), 1));
    EXPECT_THAT(kLog.Lines(),
                ElementsAre(ProcessError("INVALID_HANDLE_VALUE != node.hstrPath", kClass + "AppendEvent")));
    EXPECT_EQ(0u, kContainer.Count());
}

TEST(AppendEvent, KeepsTheOrderOfAppendingWhateverTheTimes)
{
    VOTSFileEventContainer kContainer;
    for (const Time ullTime : std::vector<Time>{5, 1, kAllTime, 3, 3, 0})
    {
        kContainer.AppendEvent(InfoOf(VOTEXT("a")), ullTime);
    }
    EXPECT_THAT(TimesOf(AllOf(kContainer)), ElementsAre(5, 1, kAllTime, 3, 3, 0));
}

TEST(AppendEvent, EntersEachTextOnce)
{
    OpenContainer kContainer;
    kContainer.AppendEvent(InfoOf(VOTEXT("a"), VOTEXT("b"), VOTEXT("a")), 1);
    kContainer.AppendEvent(InfoOf(VOTEXT("b"), VOTEXT("a"), VOTEXT("b")), 2);
    EXPECT_EQ(2u, kContainer.m_pkStringSet->Count());
    EXPECT_EQ(Number(AllOf(kContainer)[0].hstrPath), Number(AllOf(kContainer)[1].hstrNewName));
}

TEST(AppendEvent, TakesTextsAtOddAddresses)
{
    const votest::PlacedText kPath(VOTEXT("dir/odd"));
    const votest::PlacedText kName(VOTEXT("n"));
    const votest::PlacedText kEmpty(VOTEXT(""));
    VOTSFileEventContainer kContainer;
    EXPECT_EQ(1, kContainer.AppendEvent(InfoOf(kPath, kName, kEmpty), 1));
    EXPECT_EQ(VOWString(VOTEXT("dir/odd")), ReadText(kContainer.GetString(AllOf(kContainer)[0].hstrPath)));
    EXPECT_EQ(votest::kInvalidHandle, Number(AllOf(kContainer)[0].hstrPhysicPath));
}

TEST(AppendEvent, TakesTextsOfThePoolItselfWhileThePoolGrows)
{
    VOTSFileEventContainer kContainer;
    ASSERT_EQ(1, kContainer.AppendEvent({1, 2, 3, VOTEXT("path"), VOTEXT("new name"), VOTEXT("physic")}, 1));
    for (int i = 0; i < 12; ++i)
    {
        std::vector<structFileEventNode> vecEvent;
        ASSERT_EQ(1, kContainer.GetEvent(vecEvent, 1, 1));
        // Each path is longer than all that the pool holds, and moves it.
        const VOWString strPath(size_t{1000} << i, static_cast<VOWCHAR>('a' + i));
        ASSERT_EQ(1, kContainer.AppendEvent({1, 2, 3, strPath.c_str(), kContainer.GetString(vecEvent[0].hstrNewName),
                                             kContainer.GetString(vecEvent[0].hstrPhysicPath)},
                                            2));
        std::vector<structFileEventNode> vecLast;
        kContainer.GetEvent(vecLast, 2, 2);
        ASSERT_EQ(size_t(i) + 1, vecLast.size());
        EXPECT_TRUE(vecEvent[0].hstrNewName == vecLast.back().hstrNewName);
        EXPECT_TRUE(vecEvent[0].hstrPhysicPath == vecLast.back().hstrPhysicPath);
    }
}

TEST(AppendEvent, TurnsAnAttachedImageIntoOwnMemory)
{
    const EventModel kSample = SampleModel();
    const MisalignedBlock kImage(kSample.Image(), 1);
    OpenContainer kContainer(AR_Provider);
    ASSERT_EQ(1, kContainer.SetAlloc(kImage.As<EventImage>(), 0));
    EXPECT_EQ(0u, kContainer.Capacity());
    EXPECT_EQ(1, kContainer.AppendEvent(InfoOf(VOTEXT("more")), 40));
    EXPECT_EQ(8u, kContainer.Capacity());
    EXPECT_THAT(TimesOf(AllOf(kContainer)), ElementsAre(10, 20, 30, 40));
    EXPECT_EQ(VOWString(VOTEXT("dir/a.png")), ReadText(kContainer.GetString(AllOf(kContainer)[0].hstrPath)));
    EXPECT_TRUE(SameBytes(kSample.Image(), kImage.Current()));
}

// ---------------------------------------------------------------------------------------------------------------------
// GetEvent
// ---------------------------------------------------------------------------------------------------------------------

class GetEvent : public testing::Test
{
protected:
    GetEvent()
    {
        for (const Time ullTime : {30, 10, 20})
        {
            m_kContainer.AppendEvent(InfoOf(VOTEXT("a")), ullTime);
        }
    }
    VOTSFileEventContainer m_kContainer;
    Events m_vecEvent;
};

TEST_F(GetEvent, IncludesBothBounds)
{
    EXPECT_EQ(1, m_kContainer.GetEvent(m_vecEvent, 10, 20));
    EXPECT_THAT(TimesOf(m_vecEvent), ElementsAre(10, 20));
}

TEST_F(GetEvent, WithABeginEqualToAnEventsTimeReturnsThatEvent)
{
    EXPECT_EQ(1, m_kContainer.GetEvent(m_vecEvent, 30, kAllTime));
    EXPECT_THAT(TimesOf(m_vecEvent), ElementsAre(30));
    m_vecEvent.clear();
    EXPECT_EQ(1, m_kContainer.GetEvent(m_vecEvent, 20, 20));
    EXPECT_THAT(TimesOf(m_vecEvent), ElementsAre(20));
    m_vecEvent.clear();
    EXPECT_EQ(0, m_kContainer.GetEvent(m_vecEvent, 31, kAllTime));
    EXPECT_THAT(m_vecEvent, IsEmpty());
}

TEST_F(GetEvent, WithABeginBehindTheEndFailsAndLogs)
{
    LogCapture kLog;
    m_vecEvent.resize(1);
    EXPECT_EQ(0, m_kContainer.GetEvent(m_vecEvent, 11, 10));
    EXPECT_EQ(1u, m_vecEvent.size());
    EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError("endTime >= beginTime", kClass + "GetEvent")));
}

TEST_F(GetEvent, AppendsToWhatTheVectorHolds)
{
    EXPECT_EQ(1, m_kContainer.GetEvent(m_vecEvent, 10, 10));
    EXPECT_EQ(1, m_kContainer.GetEvent(m_vecEvent, 30, 30));
    EXPECT_THAT(TimesOf(m_vecEvent), ElementsAre(10, 30));
}

TEST_F(GetEvent, IntoANonEmptyVectorWithNoMatchReturns1)
{
    m_vecEvent.resize(1);
    EXPECT_EQ(1, m_kContainer.GetEvent(m_vecEvent, 11, 19));
    EXPECT_EQ(1u, m_vecEvent.size());
}

TEST_F(GetEvent, OfAnEmptyContainerReturns0WhateverTheVectorHolds)
{
    LogCapture kLog;
    VOTSFileEventContainer kEmpty;
    m_vecEvent.resize(1);
    EXPECT_EQ(0, kEmpty.GetEvent(m_vecEvent, 0, kAllTime));
    EXPECT_EQ(0u, kLog.Count());
    EXPECT_EQ(0, kEmpty.GetEvent(m_vecEvent, 2, 1));
    EXPECT_EQ(1u, kLog.Count()) << "the bounds are checked first";
}

// ---------------------------------------------------------------------------------------------------------------------
// RemoveEvent
// ---------------------------------------------------------------------------------------------------------------------

// A container with events at these times.
void Fill(VOTSFileEventContainer& rkContainer, const std::vector<Time>& rkTimes)
{
    for (const Time ullTime : rkTimes)
    {
        ASSERT_EQ(1, rkContainer.AppendEvent(InfoOf(VOTEXT("a")), ullTime));
    }
}

std::vector<Time> TimesLeft(const std::vector<Time>& rkTimes, Time ullTime)
{
    VOTSFileEventContainer kContainer;
    Fill(kContainer, rkTimes);
    EXPECT_EQ(1, kContainer.RemoveEvent(ullTime));
    return TimesOf(AllOf(kContainer));
}

TEST(RemoveEvent, OfTheFirstTwoOfFiveLeavesThreeTimesTheThird)
{
    EXPECT_THAT(TimesLeft({1, 2, 3, 4, 5}, 2), ElementsAre(3, 3, 3));
}

TEST(RemoveEvent, WithATimeBelowAllEventsChangesNothing)
{
    EXPECT_THAT(TimesLeft({7, 5, 6}, 4), ElementsAre(7, 5, 6));
}

TEST(RemoveEvent, WithATimeAboveAllEventsEmptiesTheContainerWhateverTheirOrder)
{
    EXPECT_THAT(TimesLeft({7, 5, 6}, 8), IsEmpty());
    EXPECT_THAT(TimesLeft({1, 2, 3, 4, 5, 6, 7, 8, 9}, kAllTime), IsEmpty());
    EXPECT_THAT(TimesLeft({9, 8, 7, 7, 1}, 9), IsEmpty()) << "the time itself goes too";
}

TEST(RemoveEvent, OfASingleEventAtItsTimeResetsTheRecord)
{
    OpenContainer kContainer;
    kContainer.AppendEvent(InfoOf(VOTEXT("a")), 5);
    EXPECT_EQ(1, kContainer.RemoveEvent(5));
    EXPECT_EQ(0u, kContainer.Count());
    EXPECT_EQ(2u, kContainer.Capacity());
    const structFileEventNode kDefault;
    EXPECT_TRUE(SameBytes(votest::CopyBytes(&kDefault, 44), votest::CopyBytes(kContainer.m_vecFileEvent.Bytes(0), 44)));
}

TEST(RemoveEvent, OfTheLastEventAloneIsExact)
{
    EXPECT_THAT(TimesLeft({7, 8, 1}, 1), ElementsAre(7, 8));
}

TEST(RemoveEvent, InTheMiddleDropsTheLastEventWhateverItsTime)
{
    EXPECT_THAT(TimesLeft({7, 1, 8, 9}, 1), ElementsAre(7, 8, 8));
}

TEST(RemoveEvent, OfAnEmptyContainerIsNoFailure)
{
    LogCapture kLog;
    VOTSFileEventContainer kContainer;
    EXPECT_EQ(1, kContainer.RemoveEvent(kAllTime));
    EXPECT_EQ(0u, kLog.Count());
}

TEST(RemoveEvent, LeavesTheTextsInThePool)
{
    OpenContainer kContainer;
    kContainer.AppendEvent(InfoOf(VOTEXT("gone")), 5);
    kContainer.RemoveEvent(5);
    EXPECT_EQ(1u, kContainer.m_pkStringSet->Count());
    EXPECT_EQ(VOWString(VOTEXT("gone")), ReadText(kContainer.GetString(nullptr)));
}

TEST(RemoveEvent, OnAnAttachedImageWritesNothingIntoIt)
{
    const EventModel kSample = SampleModel();
    const MisalignedBlock kImage(kSample.Image(), 3);
    VOTSFileEventContainer kContainer(AR_Customer);
    ASSERT_EQ(1, kContainer.SetAlloc(kImage.As<EventImage>(), 0));
    EXPECT_EQ(1, kContainer.RemoveEvent(10));
    EXPECT_THAT(TimesOf(AllOf(kContainer)), ElementsAre(20, 20));
    EXPECT_TRUE(SameBytes(kSample.Image(), kImage.Current()));
}

// ---------------------------------------------------------------------------------------------------------------------
// CleanUp, GetString, copies
// ---------------------------------------------------------------------------------------------------------------------

TEST(EventCleanUp, ForgetsEventsAndTextsAndKeepsTheZeroedMemory)
{
    OpenContainer kContainer;
    Fill(kContainer, {1, 2, 3});
    EXPECT_EQ(1, kContainer.CleanUp());
    EXPECT_EQ(0u, kContainer.Count());
    EXPECT_EQ(6u, kContainer.Capacity());
    EXPECT_EQ(Bytes(6 * 44, 0), votest::CopyBytes(kContainer.m_vecFileEvent.Bytes(0), 6 * 44));
    EXPECT_EQ(0u, kContainer.m_pkStringSet->Count());
    EXPECT_EQ(nullptr, kContainer.GetString(nullptr));
    EXPECT_EQ(1, kContainer.AppendEvent(InfoOf(VOTEXT("b")), 4));
    EXPECT_EQ(6u, kContainer.Capacity());
    EXPECT_EQ(VOWString(VOTEXT("b")), ReadText(kContainer.GetString(AllOf(kContainer)[0].hstrPath)));
}

TEST(EventCleanUp, LetsGoOfAnAttachedImage)
{
    OpenContainer kContainer(AR_Customer);
    {
        const MisalignedBlock kImage(SampleModel().Image(), 1);
        ASSERT_EQ(1, kContainer.SetAlloc(kImage.As<EventImage>(), 0));
        EXPECT_EQ(1, kContainer.CleanUp());
    }
    EXPECT_THAT(AllOf(kContainer), IsEmpty());
    EXPECT_EQ(0u, AskEverything(kContainer));
}

TEST(EventGetString, GivesNothingForAHandleThatIsntLive)
{
    LogCapture kLog;
    OpenContainer kContainer;
    Fill(kContainer, {1});
    EXPECT_EQ(VOWString(VOTEXT("a")), ReadText(kContainer.GetString(nullptr)));
    EXPECT_EQ(nullptr, kContainer.GetString(reinterpret_cast<void*>(uintptr_t{1})));
    EXPECT_EQ(nullptr, kContainer.GetString(INVALID_HANDLE_VALUE));
    EXPECT_EQ(1, kContainer.m_pkStringSet->Remove(nullptr));
    EXPECT_EQ(nullptr, kContainer.GetString(nullptr));
    EXPECT_EQ(0u, kLog.Count());
}

TEST(EventCopies, ShareThePoolAndHaveRecordsOfTheirOwn)
{
    OpenContainer kFirst;
    Fill(kFirst, {1, 2});
    {
        OpenContainer kCopy(kFirst);
        EXPECT_EQ(kFirst.m_pkStringSet, kCopy.m_pkStringSet);
        EXPECT_EQ(AR_Provider, kCopy.m_eAssetRole);
        EXPECT_EQ(2u, kCopy.Capacity());
        EXPECT_NE(kFirst.m_vecFileEvent.Bytes(0), kCopy.m_vecFileEvent.Bytes(0));
        kCopy.AppendEvent(InfoOf(VOTEXT("by the copy")), 3);
        EXPECT_THAT(TimesOf(AllOf(kCopy)), ElementsAre(1, 2, 3));
    }
    EXPECT_THAT(TimesOf(AllOf(kFirst)), ElementsAre(1, 2));
    EXPECT_EQ(VOWString(VOTEXT("by the copy")), ReadText(kFirst.GetString(reinterpret_cast<void*>(uintptr_t{1}))));
}

TEST(EventCopies, EndInAnyOrderAndTheLastOneTakesThePoolAlong)
{
    auto pkFirst = std::make_unique<OpenContainer>();
    Fill(*pkFirst, {1});
    OpenContainer kSecond(*pkFirst);
    OpenContainer kThird;
    Fill(kThird, {7, 8, 9});
    kThird = kSecond;
    EXPECT_EQ(pkFirst->m_pkStringSet, kThird.m_pkStringSet);
    EXPECT_THAT(TimesOf(AllOf(kThird)), ElementsAre(1));
    pkFirst.reset();
    EXPECT_EQ(VOWString(VOTEXT("a")), ReadText(kSecond.GetString(nullptr)));
    kSecond = OpenContainer();
    EXPECT_EQ(VOWString(VOTEXT("a")), ReadText(kThird.GetString(nullptr)));
    EXPECT_EQ(1, kThird.AppendEvent(InfoOf(VOTEXT("b")), 2));
    EXPECT_THAT(AllOf(kSecond), IsEmpty());
}

TEST(EventCopies, AssignmentToItselfChangesNothing)
{
    OpenContainer kContainer;
    Fill(kContainer, {1, 2});
    OpenContainer& rkSame = kContainer;
    kContainer = rkSame;
    EXPECT_THAT(TimesOf(AllOf(kContainer)), ElementsAre(1, 2));
    EXPECT_EQ(VOWString(VOTEXT("a")), ReadText(kContainer.GetString(nullptr)));
}

}  // namespace
