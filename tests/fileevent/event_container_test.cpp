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
    const OpenContainer usual;
    EXPECT_EQ(AR_Provider, usual.m_eAssetRole);
    EXPECT_NE(nullptr, usual.m_pkStringSet);
    EXPECT_EQ(0u, usual.Count());
    EXPECT_EQ(0u, usual.Capacity());
    EXPECT_EQ(AR_Customer, OpenContainer(AR_Customer).m_eAssetRole);
}

TEST(EventContainer, OfAnotherRoleHasNoPoolAndRefusesEverythingInTheLog)
{
    LogCapture log;
    OpenContainer container(static_cast<enumAssetRole>(7));
    EXPECT_THAT(log.Lines(),
                ElementsAre(ProcessError("m_pkStringSet", "VOTSFileEventContainer::VOTSFileEventContainer")));
    EXPECT_EQ(nullptr, container.m_pkStringSet);
    log.Clear();
    EXPECT_EQ(nullptr, container.GetString(nullptr));
    EXPECT_EQ(0, container.CleanUp());
    EXPECT_EQ(nullptr, container.GetAlloc());
    EXPECT_EQ(0, container.AppendEvent(InfoOf(VOTEXT("a")), 1));
    EXPECT_THAT(log.Lines(),
                ElementsAre(ProcessError("m_pkStringSet", kClass + "GetString"),
                            ProcessError("m_pkStringSet", kClass + "CleanUp"),
                            ProcessError("m_pkStringSet", kClass + "GetAlloc"),
                            ProcessError("INVALID_HANDLE_VALUE != node.hstrPath", kClass + "AppendEvent")));
    const MisalignedBlock image(SampleModel().Image());
    log.Clear();
    EXPECT_EQ(0, container.SetAlloc(image.As<EventImage>(), 1));
    EXPECT_THAT(log.Lines(),
                ElementsAre(ProcessError("m_pkStringSet", kClass + "CleanUp"),
                            ProcessError("m_pkStringSet->SetAlloc(pStringPoolAlloc, bCopy)", kClass + "SetAlloc")));
}

// ---------------------------------------------------------------------------------------------------------------------
// AppendEvent
// ---------------------------------------------------------------------------------------------------------------------

TEST(AppendEvent, GrowsTheCapacityTo2Then6Then14)
{
    OpenContainer container;
    std::vector<unsigned int> vecCapacity;
    for (Time ullTime = 0; ullTime < 7; ++ullTime)
    {
        EXPECT_EQ(1, container.AppendEvent(InfoOf(VOTEXT("a")), ullTime));
        vecCapacity.push_back(container.Capacity());
    }
    EXPECT_THAT(vecCapacity, ElementsAre(2, 2, 6, 6, 6, 6, 14));
    EXPECT_EQ(7u, container.Count());
}

TEST(AppendEvent, StoresTheValuesTheTextsAndTheTime)
{
    VOTSFileEventContainer container;
    EXPECT_EQ(1, container.AppendEvent({11, 12, 13, VOTEXT("path"), VOTEXT("new"), VOTEXT("physic")}, 99));
    const Events vecEvent = AllOf(container);
    ASSERT_EQ(1u, vecEvent.size());
    EXPECT_EQ(11u, +vecEvent[0].dwEventParam0);
    EXPECT_EQ(12u, +vecEvent[0].dwEventParam1);
    EXPECT_EQ(13u, +vecEvent[0].dwEventParam2);
    EXPECT_EQ(99u, +vecEvent[0].ullTime);
    EXPECT_EQ(VOWString(VOTEXT("path")), ReadText(container.GetString(vecEvent[0].hstrPath)));
    EXPECT_EQ(VOWString(VOTEXT("new")), ReadText(container.GetString(vecEvent[0].hstrNewName)));
    EXPECT_EQ(VOWString(VOTEXT("physic")), ReadText(container.GetString(vecEvent[0].hstrPhysicPath)));
}

TEST(AppendEvent, WithoutOrWithAnEmptyNewNameOrPhysicPathStoresTheInvalidHandle)
{
    OpenContainer container;
    EXPECT_EQ(1, container.AppendEvent(InfoOf(VOTEXT("a"), VOTEXT(""), VOTEXT("")), 1));
    EXPECT_EQ(1, container.AppendEvent(InfoOf(VOTEXT("a")), 1));
    for (const structFileEventNode& event : AllOf(container))
    {
        EXPECT_EQ(0u, Number(event.hstrPath));
        EXPECT_EQ(votest::kInvalidHandle, Number(event.hstrNewName));
        EXPECT_EQ(votest::kInvalidHandle, Number(event.hstrPhysicPath));
    }
    EXPECT_EQ(1u, container.m_pkStringSet->Count()) << "the empty texts weren't entered";
}

TEST(AppendEvent, TakesAnEmptyPath)
{
    VOTSFileEventContainer container;
    EXPECT_EQ(1, container.AppendEvent(InfoOf(VOTEXT("")), 1));
    const VOWCHAR* const pszText = container.GetString(AllOf(container)[0].hstrPath);
    ASSERT_NE(nullptr, pszText);
    EXPECT_EQ(VOWString(), ReadText(pszText));
}

TEST(AppendEvent, WithoutAPathFailsAndStoresNothing)
{
    OpenContainer container;
    LogCapture log;
    EXPECT_EQ(0, container.AppendEvent(InfoOf(nullptr, VOTEXT("new")), 1));
    EXPECT_EQ(ProcessError("INVALID_HANDLE_VALUE != node.hstrPath", kClass + "AppendEvent"), log.Lines().back());
    EXPECT_EQ(0u, container.Count());
    EXPECT_EQ(0u, container.m_pkStringSet->Count()) << "it stops at the path";
}

TEST(AppendEvent, ToACustomerFailsAtThePath)
{
    OpenContainer container(AR_Customer);
    LogCapture log;
    EXPECT_EQ(0, container.AppendEvent(InfoOf(VOTEXT("a")), 1));
    EXPECT_THAT(log.Lines(),
                ElementsAre(ProcessError("INVALID_HANDLE_VALUE != node.hstrPath", kClass + "AppendEvent")));
    EXPECT_EQ(0u, container.Count());
}

TEST(AppendEvent, KeepsTheOrderOfAppendingWhateverTheTimes)
{
    VOTSFileEventContainer container;
    for (const Time ullTime : std::vector<Time>{5, 1, kAllTime, 3, 3, 0})
    {
        container.AppendEvent(InfoOf(VOTEXT("a")), ullTime);
    }
    EXPECT_THAT(TimesOf(AllOf(container)), ElementsAre(5, 1, kAllTime, 3, 3, 0));
}

TEST(AppendEvent, EntersEachTextOnce)
{
    OpenContainer container;
    container.AppendEvent(InfoOf(VOTEXT("a"), VOTEXT("b"), VOTEXT("a")), 1);
    container.AppendEvent(InfoOf(VOTEXT("b"), VOTEXT("a"), VOTEXT("b")), 2);
    EXPECT_EQ(2u, container.m_pkStringSet->Count());
    EXPECT_EQ(Number(AllOf(container)[0].hstrPath), Number(AllOf(container)[1].hstrNewName));
}

TEST(AppendEvent, TakesTextsAtOddAddresses)
{
    const votest::PlacedText path(VOTEXT("dir/odd"));
    const votest::PlacedText name(VOTEXT("n"));
    const votest::PlacedText empty(VOTEXT(""));
    VOTSFileEventContainer container;
    EXPECT_EQ(1, container.AppendEvent(InfoOf(path, name, empty), 1));
    EXPECT_EQ(VOWString(VOTEXT("dir/odd")), ReadText(container.GetString(AllOf(container)[0].hstrPath)));
    EXPECT_EQ(votest::kInvalidHandle, Number(AllOf(container)[0].hstrPhysicPath));
}

TEST(AppendEvent, TakesTextsOfThePoolItselfWhileThePoolGrows)
{
    VOTSFileEventContainer container;
    ASSERT_EQ(1, container.AppendEvent({1, 2, 3, VOTEXT("path"), VOTEXT("new name"), VOTEXT("physic")}, 1));
    for (int i = 0; i < 12; ++i)
    {
        std::vector<structFileEventNode> vecEvent;
        ASSERT_EQ(1, container.GetEvent(vecEvent, 1, 1));
        // Each path is longer than all that the pool holds, and moves it.
        const VOWString strPath(size_t{1000} << i, static_cast<VOWCHAR>('a' + i));
        ASSERT_EQ(1, container.AppendEvent({1, 2, 3, strPath.c_str(), container.GetString(vecEvent[0].hstrNewName),
                                            container.GetString(vecEvent[0].hstrPhysicPath)},
                                           2));
        std::vector<structFileEventNode> vecLast;
        container.GetEvent(vecLast, 2, 2);
        ASSERT_EQ(size_t(i) + 1, vecLast.size());
        EXPECT_TRUE(vecEvent[0].hstrNewName == vecLast.back().hstrNewName);
        EXPECT_TRUE(vecEvent[0].hstrPhysicPath == vecLast.back().hstrPhysicPath);
    }
}

TEST(AppendEvent, TurnsAnAttachedImageIntoOwnMemory)
{
    const EventModel sample = SampleModel();
    const MisalignedBlock image(sample.Image(), 1);
    OpenContainer container(AR_Provider);
    ASSERT_EQ(1, container.SetAlloc(image.As<EventImage>(), 0));
    EXPECT_EQ(0u, container.Capacity());
    EXPECT_EQ(1, container.AppendEvent(InfoOf(VOTEXT("more")), 40));
    EXPECT_EQ(8u, container.Capacity());
    EXPECT_THAT(TimesOf(AllOf(container)), ElementsAre(10, 20, 30, 40));
    EXPECT_EQ(VOWString(VOTEXT("dir/a.png")), ReadText(container.GetString(AllOf(container)[0].hstrPath)));
    EXPECT_TRUE(SameBytes(sample.Image(), image.Current()));
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
            m_container.AppendEvent(InfoOf(VOTEXT("a")), ullTime);
        }
    }
    VOTSFileEventContainer m_container;
    Events m_vecEvent;
};

TEST_F(GetEvent, IncludesBothBounds)
{
    EXPECT_EQ(1, m_container.GetEvent(m_vecEvent, 10, 20));
    EXPECT_THAT(TimesOf(m_vecEvent), ElementsAre(10, 20));
}

TEST_F(GetEvent, WithABeginEqualToAnEventsTimeReturnsThatEvent)
{
    EXPECT_EQ(1, m_container.GetEvent(m_vecEvent, 30, kAllTime));
    EXPECT_THAT(TimesOf(m_vecEvent), ElementsAre(30));
    m_vecEvent.clear();
    EXPECT_EQ(1, m_container.GetEvent(m_vecEvent, 20, 20));
    EXPECT_THAT(TimesOf(m_vecEvent), ElementsAre(20));
    m_vecEvent.clear();
    EXPECT_EQ(0, m_container.GetEvent(m_vecEvent, 31, kAllTime));
    EXPECT_THAT(m_vecEvent, IsEmpty());
}

TEST_F(GetEvent, WithABeginBehindTheEndFailsAndLogs)
{
    LogCapture log;
    m_vecEvent.resize(1);
    EXPECT_EQ(0, m_container.GetEvent(m_vecEvent, 11, 10));
    EXPECT_EQ(1u, m_vecEvent.size());
    EXPECT_THAT(log.Lines(), ElementsAre(ProcessError("endTime >= beginTime", kClass + "GetEvent")));
}

TEST_F(GetEvent, AppendsToWhatTheVectorHolds)
{
    EXPECT_EQ(1, m_container.GetEvent(m_vecEvent, 10, 10));
    EXPECT_EQ(1, m_container.GetEvent(m_vecEvent, 30, 30));
    EXPECT_THAT(TimesOf(m_vecEvent), ElementsAre(10, 30));
}

TEST_F(GetEvent, IntoANonEmptyVectorWithNoMatchReturns1)
{
    m_vecEvent.resize(1);
    EXPECT_EQ(1, m_container.GetEvent(m_vecEvent, 11, 19));
    EXPECT_EQ(1u, m_vecEvent.size());
}

TEST_F(GetEvent, OfAnEmptyContainerReturns0WhateverTheVectorHolds)
{
    LogCapture log;
    VOTSFileEventContainer empty;
    m_vecEvent.resize(1);
    EXPECT_EQ(0, empty.GetEvent(m_vecEvent, 0, kAllTime));
    EXPECT_EQ(0u, log.Count());
    EXPECT_EQ(0, empty.GetEvent(m_vecEvent, 2, 1));
    EXPECT_EQ(1u, log.Count()) << "the bounds are checked first";
}

// ---------------------------------------------------------------------------------------------------------------------
// RemoveEvent
// ---------------------------------------------------------------------------------------------------------------------

// A container with events at these times.
void Fill(VOTSFileEventContainer& container, const std::vector<Time>& times)
{
    for (const Time ullTime : times)
    {
        ASSERT_EQ(1, container.AppendEvent(InfoOf(VOTEXT("a")), ullTime));
    }
}

std::vector<Time> TimesLeft(const std::vector<Time>& times, Time ullTime)
{
    VOTSFileEventContainer container;
    Fill(container, times);
    EXPECT_EQ(1, container.RemoveEvent(ullTime));
    return TimesOf(AllOf(container));
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
    OpenContainer container;
    container.AppendEvent(InfoOf(VOTEXT("a")), 5);
    EXPECT_EQ(1, container.RemoveEvent(5));
    EXPECT_EQ(0u, container.Count());
    EXPECT_EQ(2u, container.Capacity());
    const structFileEventNode usual;
    EXPECT_TRUE(SameBytes(votest::CopyBytes(&usual, 44), votest::CopyBytes(container.m_vecFileEvent.Bytes(0), 44)));
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
    LogCapture log;
    VOTSFileEventContainer container;
    EXPECT_EQ(1, container.RemoveEvent(kAllTime));
    EXPECT_EQ(0u, log.Count());
}

TEST(RemoveEvent, LeavesTheTextsInThePool)
{
    OpenContainer container;
    container.AppendEvent(InfoOf(VOTEXT("gone")), 5);
    container.RemoveEvent(5);
    EXPECT_EQ(1u, container.m_pkStringSet->Count());
    EXPECT_EQ(VOWString(VOTEXT("gone")), ReadText(container.GetString(nullptr)));
}

TEST(RemoveEvent, OnAnAttachedImageWritesNothingIntoIt)
{
    const EventModel sample = SampleModel();
    const MisalignedBlock image(sample.Image(), 3);
    VOTSFileEventContainer container(AR_Customer);
    ASSERT_EQ(1, container.SetAlloc(image.As<EventImage>(), 0));
    EXPECT_EQ(1, container.RemoveEvent(10));
    EXPECT_THAT(TimesOf(AllOf(container)), ElementsAre(20, 20));
    EXPECT_TRUE(SameBytes(sample.Image(), image.Current()));
}

// ---------------------------------------------------------------------------------------------------------------------
// CleanUp, GetString, copies
// ---------------------------------------------------------------------------------------------------------------------

TEST(EventCleanUp, ForgetsEventsAndTextsAndKeepsTheZeroedMemory)
{
    OpenContainer container;
    Fill(container, {1, 2, 3});
    EXPECT_EQ(1, container.CleanUp());
    EXPECT_EQ(0u, container.Count());
    EXPECT_EQ(6u, container.Capacity());
    EXPECT_EQ(Bytes(6 * 44, 0), votest::CopyBytes(container.m_vecFileEvent.Bytes(0), 6 * 44));
    EXPECT_EQ(0u, container.m_pkStringSet->Count());
    EXPECT_EQ(nullptr, container.GetString(nullptr));
    EXPECT_EQ(1, container.AppendEvent(InfoOf(VOTEXT("b")), 4));
    EXPECT_EQ(6u, container.Capacity());
    EXPECT_EQ(VOWString(VOTEXT("b")), ReadText(container.GetString(AllOf(container)[0].hstrPath)));
}

TEST(EventCleanUp, LetsGoOfAnAttachedImage)
{
    OpenContainer container(AR_Customer);
    {
        const MisalignedBlock image(SampleModel().Image(), 1);
        ASSERT_EQ(1, container.SetAlloc(image.As<EventImage>(), 0));
        EXPECT_EQ(1, container.CleanUp());
    }
    EXPECT_THAT(AllOf(container), IsEmpty());
    EXPECT_EQ(0u, AskEverything(container));
}

TEST(EventGetString, GivesNothingForAHandleThatIsntLive)
{
    LogCapture log;
    OpenContainer container;
    Fill(container, {1});
    EXPECT_EQ(VOWString(VOTEXT("a")), ReadText(container.GetString(nullptr)));
    EXPECT_EQ(nullptr, container.GetString(reinterpret_cast<void*>(uintptr_t{1})));
    EXPECT_EQ(nullptr, container.GetString(INVALID_HANDLE_VALUE));
    EXPECT_EQ(1, container.m_pkStringSet->Remove(nullptr));
    EXPECT_EQ(nullptr, container.GetString(nullptr));
    EXPECT_EQ(0u, log.Count());
}

TEST(EventCopies, ShareThePoolAndHaveRecordsOfTheirOwn)
{
    OpenContainer first;
    Fill(first, {1, 2});
    {
        OpenContainer copy(first);
        EXPECT_EQ(first.m_pkStringSet, copy.m_pkStringSet);
        EXPECT_EQ(AR_Provider, copy.m_eAssetRole);
        EXPECT_EQ(2u, copy.Capacity());
        EXPECT_NE(first.m_vecFileEvent.Bytes(0), copy.m_vecFileEvent.Bytes(0));
        copy.AppendEvent(InfoOf(VOTEXT("by the copy")), 3);
        EXPECT_THAT(TimesOf(AllOf(copy)), ElementsAre(1, 2, 3));
    }
    EXPECT_THAT(TimesOf(AllOf(first)), ElementsAre(1, 2));
    EXPECT_EQ(VOWString(VOTEXT("by the copy")), ReadText(first.GetString(reinterpret_cast<void*>(uintptr_t{1}))));
}

TEST(EventCopies, EndInAnyOrderAndTheLastOneTakesThePoolAlong)
{
    auto pFirst = std::make_unique<OpenContainer>();
    Fill(*pFirst, {1});
    OpenContainer second(*pFirst);
    OpenContainer third;
    Fill(third, {7, 8, 9});
    third = second;
    EXPECT_EQ(pFirst->m_pkStringSet, third.m_pkStringSet);
    EXPECT_THAT(TimesOf(AllOf(third)), ElementsAre(1));
    pFirst.reset();
    EXPECT_EQ(VOWString(VOTEXT("a")), ReadText(second.GetString(nullptr)));
    second = OpenContainer();
    EXPECT_EQ(VOWString(VOTEXT("a")), ReadText(third.GetString(nullptr)));
    EXPECT_EQ(1, third.AppendEvent(InfoOf(VOTEXT("b")), 2));
    EXPECT_THAT(AllOf(second), IsEmpty());
}

TEST(EventCopies, AssignmentToItselfChangesNothing)
{
    OpenContainer container;
    Fill(container, {1, 2});
    OpenContainer& same = container;
    container = same;
    EXPECT_THAT(TimesOf(AllOf(container)), ElementsAre(1, 2));
    EXPECT_EQ(VOWString(VOTEXT("a")), ReadText(container.GetString(nullptr)));
}

}  // namespace
