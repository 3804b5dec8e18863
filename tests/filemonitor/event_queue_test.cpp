// The queue between the two threads: order, the busy flag, the held Remove and the rewriting at the head.
#include <random>

#include "filemonitor/monitor_test_tools.h"

namespace
{
using namespace monitortest;

TEST(FileMonitorQueue, EventTypesHaveTheirValues)
{
    EXPECT_EQ(1, kAdd);
    EXPECT_EQ(2, kRemove);
    EXPECT_EQ(3, kRename);
    EXPECT_EQ(4, kModified);
}

TEST(FileMonitorQueue, EventsComeOutInTheOrderInWhichTheyWentIn)
{
    OpenMonitor kMonitor;
    EXPECT_EQ(0, kMonitor.HasFileEvent());
    EXPECT_EQ(0, kMonitor.Push(MakeEvent(kAdd, VOTEXT("C:/a"))));
    EXPECT_EQ(0, kMonitor.Push(MakeEvent(kModified, VOTEXT("C:/b"))));
    EXPECT_EQ(1, kMonitor.HasFileEvent());
    Event kEvent;
    EXPECT_EQ(1, kMonitor.PopEvent(kEvent));
    EXPECT_EQ(VOWString(VOTEXT("C:/a")), kEvent.strFilePath);
    EXPECT_EQ(1, kMonitor.PopEvent(kEvent));
    EXPECT_EQ(VOWString(VOTEXT("C:/b")), kEvent.strFilePath);
    EXPECT_EQ(0, kMonitor.PopEvent(kEvent));
    EXPECT_EQ(0, kMonitor.HasFileEvent());
    EXPECT_EQ(0, kMonitor.m_nEventQueueBusy);
    EXPECT_EQ(0, kMonitor.m_nSpecialEventCount);
}

TEST(FileMonitorQueue, AQueueWithoutEventsLeavesTheCallersEventAlone)
{
    OpenMonitor kMonitor;
    Event kEvent = MakeEvent(kAdd, VOTEXT("kept"));
    EXPECT_EQ(0, kMonitor.PopEvent(kEvent));
    EXPECT_EQ(VOWString(VOTEXT("kept")), kEvent.strFilePath);
}

TEST(FileMonitorQueue, TheConsumerGivesUpAtOnceWhileTheProducerIsAtTheQueue)
{
    OpenMonitor kMonitor;
    kMonitor.Push(MakeEvent(kAdd, VOTEXT("C:/a")));
    kMonitor.m_nEventQueueBusy = 1;
    Event kEvent;
    EXPECT_EQ(0, kMonitor.PopEvent(kEvent));
    EXPECT_EQ(0, kMonitor.SpecialEventHandle());
    EXPECT_EQ(1, kMonitor.m_nEventQueueBusy) << "the flag is its owner's";
    EXPECT_EQ(1, kMonitor.HasFileEvent()) << "asked without the flag";
    kMonitor.m_nEventQueueBusy = 0;
    EXPECT_EQ(1, kMonitor.PopEvent(kEvent));
}

TEST(FileMonitorQueue, TheProducerWaitsForTheConsumer)
{
    OpenMonitor kMonitor;
    std::atomic_ref<int>(kMonitor.m_nEventQueueBusy).store(1);
    std::thread kProducer([&] { kMonitor.Push(MakeEvent(kAdd, VOTEXT("C:/a"))); });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(0, kMonitor.HasFileEvent());
    std::atomic_ref<int>(kMonitor.m_nEventQueueBusy).store(0);
    kProducer.join();
    EXPECT_EQ(1, kMonitor.HasFileEvent());
}

TEST(FileMonitorQueue, ARemoveAndARenameToItReachTheConsumerAsOneModified)
{
    OpenMonitor kMonitor;
    kMonitor.Push(MakeEvent(kRemove, VOTEXT("C:/x")));
    kMonitor.Push(MakeEvent(kRename, VOTEXT("C:/y"), VOTEXT("C:/x")));
    kMonitor.Push(MakeEvent(kAdd, VOTEXT("C:/z")));
    kMonitor.m_vecFileEvents[0].uTickCount = 7;
    Event kEvent;
    EXPECT_EQ(1, kMonitor.PopEvent(kEvent));
    EXPECT_EQ(kModified, kEvent.nEventType);
    EXPECT_EQ(VOWString(VOTEXT("C:/x")), kEvent.strFilePath);
    EXPECT_TRUE(kEvent.strNewFilePath.empty());
    EXPECT_TRUE(kEvent.strNewFileName.empty());
    EXPECT_EQ(0u, kEvent.uTickCount);
    EXPECT_EQ(1u, kMonitor.m_vecFileEvents.size());
    EXPECT_EQ(0, kMonitor.m_nSpecialEventCount) << "two events were there: nothing was held";
    EXPECT_EQ(1, kMonitor.PopEvent(kEvent));
    EXPECT_EQ(VOWString(VOTEXT("C:/z")), kEvent.strFilePath);
}

TEST(FileMonitorQueue, ALoneRemoveIsHeldForOneRoundAndHasFileEventSaysItIsThere)
{
    OpenMonitor kMonitor;
    kMonitor.Push(MakeEvent(kRemove, VOTEXT("C:/x")));
    Event kEvent;
    EXPECT_EQ(0, kMonitor.PopEvent(kEvent));
    EXPECT_EQ(1, kMonitor.m_nSpecialEventCount);
    EXPECT_EQ(1, kMonitor.HasFileEvent());
    EXPECT_EQ(1, kMonitor.PopEvent(kEvent));
    EXPECT_EQ(2, kMonitor.m_nSpecialEventCount);
    EXPECT_EQ(kRemove, kEvent.nEventType);
}

TEST(FileMonitorQueue, AMatchingRenameThatComesDuringTheHoldGivesAModified)
{
    OpenMonitor kMonitor;
    kMonitor.Push(MakeEvent(kRemove, VOTEXT("C:/x")));
    Event kEvent;
    EXPECT_EQ(0, kMonitor.PopEvent(kEvent));
    kMonitor.Push(MakeEvent(kRename, VOTEXT("C:/tmp"), VOTEXT("C:/x")));
    EXPECT_EQ(1, kMonitor.PopEvent(kEvent));
    EXPECT_EQ(kModified, kEvent.nEventType);
    EXPECT_EQ(2, kMonitor.m_nSpecialEventCount);
    EXPECT_EQ(0, kMonitor.HasFileEvent());
}

TEST(FileMonitorQueue, ARemoveWithAnotherEventBehindItIsNotHeld)
{
    OpenMonitor kMonitor;
    kMonitor.Push(MakeEvent(kRemove, VOTEXT("C:/x")));
    kMonitor.Push(MakeEvent(kAdd, VOTEXT("C:/y")));
    Event kEvent;
    EXPECT_EQ(1, kMonitor.PopEvent(kEvent));
    EXPECT_EQ(kRemove, kEvent.nEventType);
    EXPECT_EQ(0, kMonitor.m_nSpecialEventCount);
}

TEST(FileMonitorQueue, ARemoveAndARenameAwayFromItAreNotRewritten)
{
    OpenMonitor kMonitor;
    kMonitor.Push(MakeEvent(kRemove, VOTEXT("C:/x")));
    kMonitor.Push(MakeEvent(kRename, VOTEXT("C:/x"), VOTEXT("C:/z")));
    Event kEvent;
    EXPECT_EQ(1, kMonitor.PopEvent(kEvent));
    EXPECT_EQ(kRemove, kEvent.nEventType);
    EXPECT_EQ(1, kMonitor.PopEvent(kEvent));
    EXPECT_EQ(kRename, kEvent.nEventType);
}

TEST(FileMonitorQueue, RemoveAddAndRenameOfOneFileAreNotRewritten)
{
    OpenMonitor kMonitor;
    kMonitor.Push(MakeEvent(kRemove, VOTEXT("C:/x")));
    kMonitor.Push(MakeEvent(kAdd, VOTEXT("C:/x")));
    kMonitor.Push(MakeEvent(kRename, VOTEXT("C:/y"), VOTEXT("C:/x")));
    std::vector<int> vecTypes;
    Event kEvent;
    while (kMonitor.PopEvent(kEvent) == 1)
    {
        vecTypes.push_back(kEvent.nEventType);
    }
    EXPECT_EQ((std::vector<int>{kRemove, kAdd, kRename}), vecTypes);
}

// h = h * 131 + unit, from the last unit to the first: "AB" and the one unit 0x42 * 131 + 0x41 give the same.
TEST(FileMonitorQueue, EqualHashesCountAsEqualPaths)
{
    OpenMonitor kMonitor;
    const VOWString strOne(1, static_cast<VOWCHAR>(0x42 * 131 + 0x41));
    kMonitor.Push(MakeEvent(kRemove, VOTEXT("AB")));
    kMonitor.Push(MakeEvent(kRename, VOTEXT("y"), strOne));
    Event kEvent;
    EXPECT_EQ(1, kMonitor.PopEvent(kEvent));
    EXPECT_EQ(kModified, kEvent.nEventType);
    EXPECT_EQ(VOWString(VOTEXT("AB")), kEvent.strFilePath);
}

TEST(FileMonitorQueue, TheHashOfAPathEndsAtItsFirstZero)
{
    OpenMonitor kMonitor;
    kMonitor.Push(MakeEvent(kRemove, VOWString(VOTEXT("x\0a"), 3)));
    kMonitor.Push(MakeEvent(kRename, VOTEXT("y"), VOWString(VOTEXT("x\0b"), 3)));
    Event kEvent;
    EXPECT_EQ(1, kMonitor.PopEvent(kEvent));
    EXPECT_EQ(kModified, kEvent.nEventType);
}

TEST(FileMonitorQueue, OnlyTheTwoEventsAtTheHeadAreLookedAt)
{
    OpenMonitor kMonitor;
    kMonitor.Push(MakeEvent(kAdd, VOTEXT("C:/a")));
    kMonitor.Push(MakeEvent(kRemove, VOTEXT("C:/x")));
    kMonitor.Push(MakeEvent(kRename, VOTEXT("C:/y"), VOTEXT("C:/x")));
    EXPECT_EQ(0, kMonitor.SpecialEventHandle());
    EXPECT_EQ(3u, kMonitor.m_vecFileEvents.size());
}

TEST(FileMonitorQueue, AnOddCountIsKeptUntilTheNextRemoveComesToTheHead)
{
    OpenMonitor kMonitor;
    kMonitor.m_nSpecialEventCount = 5;
    kMonitor.Push(MakeEvent(kAdd, VOTEXT("C:/a")));
    kMonitor.Push(MakeEvent(kRemove, VOTEXT("C:/x")));
    Event kEvent;
    EXPECT_EQ(1, kMonitor.PopEvent(kEvent));
    EXPECT_EQ(5, kMonitor.m_nSpecialEventCount);
    EXPECT_EQ(1, kMonitor.PopEvent(kEvent)) << "the hold is over, so the lone Remove isn't held";
    EXPECT_EQ(6, kMonitor.m_nSpecialEventCount);
}

TEST(FileMonitorQueue, EventsAreEqualByTypePathNewNameAndLessThan500Apart)
{
    Event kOne = MakeEvent(kRename, VOTEXT("C:/a"), VOTEXT("C:/one/b"));
    kOne.uTickCount = 1000;
    Event kOther = MakeEvent(kRename, VOTEXT("C:/a"), VOTEXT("C:/other/b"));
    kOther.uTickCount = 1499;
    EXPECT_TRUE(kOne == kOther) << "the new path plays no part";
    EXPECT_TRUE(kOther == kOne);
    kOther.uTickCount = 1500;
    EXPECT_FALSE(kOne == kOther);
    EXPECT_FALSE(kOther == kOne);
    kOther.uTickCount = 1000;
    kOther.strNewFileName = VOTEXT("B");
    EXPECT_FALSE(kOne == kOther);
    kOther = kOne;
    kOther.strFilePath = VOTEXT("C:/A");
    EXPECT_FALSE(kOne == kOther);
    kOther = kOne;
    kOther.nEventType = kModified;
    EXPECT_FALSE(kOne == kOther);
}

TEST(FileMonitorQueue, TheTimeBetweenTwoEventsIsTakenAsSigned)
{
    Event kOne = MakeEvent(kAdd, VOTEXT("C:/a"));
    Event kOther = kOne;
    kOne.uTickCount = 0;
    kOther.uTickCount = 0ull - 499;
    EXPECT_TRUE(kOne == kOther) << "499 ms apart across the end of the clock's range";
    EXPECT_TRUE(kOther == kOne);
    kOther.uTickCount = 0ull - 500;
    EXPECT_FALSE(kOne == kOther);
    EXPECT_FALSE(kOther == kOne);
    kOther.uTickCount = 1ull << 63;
    EXPECT_FALSE(kOne == kOther);
    EXPECT_FALSE(kOther == kOne);
}

TEST(FileMonitorQueue, TheQueueCanBeHandledAsAVector)
{
    OpenMonitor kMonitor;
    auto& rkQueue = kMonitor.m_vecFileEvents;
    rkQueue.push_back(MakeEvent(kAdd, VOTEXT("C:/b")));
    rkQueue.insert(rkQueue.begin(), MakeEvent(kAdd, VOTEXT("C:/a")));
    rkQueue.emplace_back(MakeEvent(kAdd, VOTEXT("C:/c")));
    rkQueue.insert(rkQueue.end(), MakeEvent(kAdd, VOTEXT("C:/d")));
    std::vector<VOWString> vecPaths;
    for (const Event& rkEvent : rkQueue)
    {
        vecPaths.push_back(rkEvent.strFilePath);
    }
    EXPECT_EQ((std::vector<VOWString>{VOTEXT("C:/a"), VOTEXT("C:/b"), VOTEXT("C:/c"), VOTEXT("C:/d")}), vecPaths);
    EXPECT_EQ(4u, rkQueue.size());
    EXPECT_EQ(vecPaths[2], rkQueue.at(2).strFilePath);
    EXPECT_THROW(rkQueue.at(4), std::out_of_range);
    EXPECT_EQ(VOWString(VOTEXT("C:/c")), rkQueue.erase(rkQueue.begin() + 1)->strFilePath);
    rkQueue.pop_back();
    EXPECT_EQ(2u, rkQueue.size());
    rkQueue.erase(rkQueue.cbegin(), rkQueue.cend());
    EXPECT_TRUE(rkQueue.empty());
    EXPECT_EQ(0, kMonitor.HasFileEvent());
}

// A plain reading of the rules on a vector, beside the queue.
class QueueModel
{
public:
    void Push(const Event& kEvent) { m_vec.push_back(kEvent); }

    bool Pop(Event* pkEvent)
    {
        if (!m_vec.empty() && m_vec[0].nEventType == kRemove)
        {
            if (!m_bHolding && m_vec.size() == 1)
            {
                m_bHolding = true;
                return false;
            }
            m_bHolding = false;
            if (m_vec.size() > 1 && m_vec[1].nEventType == kRename && m_vec[1].strNewFilePath == m_vec[0].strFilePath)
            {
                m_vec[0].nEventType = kModified;
                m_vec[0].uTickCount = 0;
                m_vec.erase(m_vec.begin() + 1);
            }
        }
        if (m_vec.empty())
        {
            return false;
        }
        *pkEvent = m_vec[0];
        m_vec.erase(m_vec.begin());
        return true;
    }

private:
    std::vector<Event> m_vec;
    bool m_bHolding = false;
};

TEST(FileMonitorQueue, ThousandsOfPushesAndPopsAgreeWithAPlainModel)
{
    std::mt19937 kRandom(20);
    OpenMonitor kMonitor;
    QueueModel kModel;
    for (int i = 0; i < 20000; ++i)
    {
        if (kRandom() % 2 != 0)
        {
            const VOWString strPath(1, static_cast<VOWCHAR>(VOTEXT("abc")[kRandom() % 3]));
            const VOWString strNew(1, static_cast<VOWCHAR>(VOTEXT("abc")[kRandom() % 3]));
            const int nType = static_cast<int>(kRandom() % 4) + 1;
            Event kEvent = MakeEvent(nType, strPath, nType == kRename ? strNew : VOWString());
            kEvent.uTickCount = kRandom();
            kMonitor.Push(kEvent);
            kModel.Push(kEvent);
            continue;
        }
        Event kEvent;
        Event kExpected;
        const bool bPopped = kMonitor.PopEvent(kEvent) == 1;
        ASSERT_EQ(kModel.Pop(&kExpected), bPopped) << "step " << i;
        ASSERT_EQ(kExpected.nEventType, kEvent.nEventType) << "step " << i;
        ASSERT_EQ(kExpected.strFilePath, kEvent.strFilePath) << "step " << i;
        ASSERT_EQ(kExpected.strNewFilePath, kEvent.strNewFilePath) << "step " << i;
        ASSERT_EQ(kExpected.uTickCount, kEvent.uTickCount) << "step " << i;
    }
}

TEST(FileMonitorQueue, AProducerAndAConsumerLoseNothingAndKeepTheOrder)
{
    OpenMonitor kMonitor;
    constexpr unsigned long long kEvents = 20000;
    std::thread kProducer(
        [&]
        {
            for (unsigned long long i = 1; i <= kEvents; ++i)
            {
                Event kEvent = MakeEvent(kAdd, VOTEXT("C:/a"));
                kEvent.uTickCount = i;
                kMonitor.PushEvent(kEvent);
            }
        });
    unsigned long long ullSeen = 0;
    bool bInOrder = true;
    while (ullSeen < kEvents && bInOrder)
    {
        Event kEvent;
        if (kMonitor.PopEvent(kEvent) == 1)
        {
            bInOrder = kEvent.uTickCount == ++ullSeen;
        }
        (void)kMonitor.HasFileEvent();
    }
    kProducer.join();
    EXPECT_TRUE(bInOrder);
    EXPECT_EQ(kEvents, ullSeen);
}

}  // namespace
