// The queue between the two threads: order, the busy flag, the held Remove and the rewriting at the head.
#include <algorithm>
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

// A derived class treats the queue as what it is to it.
class ClearingMonitor : public VOTSFileMonitorManager
{
public:
    void Fill()
    {
        m_vecFileEvents.reserve(10);
        const Event* const pkFirst = m_vecFileEvents.data();
        for (const VOWCHAR* pszPath : {VOTEXT("C:/a"), VOTEXT("C:/b"), VOTEXT("C:/c")})
        {
            Event kEvent = MakeEvent(kAdd, pszPath);
            PushEvent(kEvent);
        }
        EXPECT_EQ(pkFirst, m_vecFileEvents.data()) << "what is reserved doesn't move";
        EXPECT_LE(10u, m_vecFileEvents.capacity());
    }
    void Forget(size_t uIndex) { m_vecFileEvents.erase(m_vecFileEvents.begin() + static_cast<ptrdiff_t>(uIndex)); }
    void ForgetAll() { m_vecFileEvents.clear(); }
    VOWString Paths() const
    {
        VOWString strPaths;
        std::for_each(m_vecFileEvents.rbegin(), m_vecFileEvents.rend(),
                      [&](const Event& kEvent) { strPaths += kEvent.strFilePath; });
        return strPaths;
    }
    VOWString Pop()
    {
        Event kEvent;
        return PopEvent(kEvent) == 1 ? kEvent.strFilePath : VOWString();
    }
};

TEST(FileMonitorQueue, ADerivedClassCanReserveEraseAndClear)
{
    ClearingMonitor kMonitor;
    kMonitor.Fill();
    EXPECT_EQ(VOWString(VOTEXT("C:/a")), kMonitor.Pop());
    EXPECT_EQ(VOWString(VOTEXT("C:/cC:/b")), kMonitor.Paths());
    kMonitor.Forget(0);
    EXPECT_EQ(VOWString(VOTEXT("C:/c")), kMonitor.Paths());
    EXPECT_EQ(1, kMonitor.HasFileEvent());
    kMonitor.ForgetAll();
    EXPECT_EQ(0, kMonitor.HasFileEvent());
    EXPECT_EQ(VOWString(), kMonitor.Pop());
}

// The same operations on the queue and on a vector.
TEST(FileMonitorQueue, EveryOperationOfAVectorHasAVectorsResult)
{
    std::mt19937 kRandom(7);
    VOEventQueue<int> kQueue;
    std::vector<int> vecModel;
    const auto Place = [&] { return static_cast<ptrdiff_t>(kRandom() % (vecModel.size() + 1)); };
    for (int i = 0; i < 50000; ++i)
    {
        const ptrdiff_t nAt = Place();
        const ptrdiff_t nTo = std::max(nAt, Place());
        switch (kRandom() % 16)
        {
            case 0:
                kQueue.resize(static_cast<size_t>(nTo), i);
                vecModel.resize(static_cast<size_t>(nTo), i);
                break;
            case 1:
            {
                const auto iterNew = kQueue.insert(kQueue.cbegin() + nAt, i);
                ASSERT_EQ(nAt, iterNew - kQueue.begin());
                vecModel.insert(vecModel.begin() + nAt, i);
                break;
            }
            case 2:
                kQueue.insert(kQueue.cbegin() + nAt, {i, i + 1, i + 2});
                vecModel.insert(vecModel.begin() + nAt, {i, i + 1, i + 2});
                break;
            case 3:
            {
                const auto iterNext = kQueue.erase(kQueue.cbegin() + nAt, kQueue.cbegin() + nTo);
                ASSERT_EQ(nAt, iterNext - kQueue.begin());
                vecModel.erase(vecModel.begin() + nAt, vecModel.begin() + nTo);
                break;
            }
            case 4:
                kQueue.reserve(vecModel.size() + kRandom() % 64);
                break;
            case 5:
                kQueue.shrink_to_fit();
                break;
            case 6:
                kQueue.insert(kQueue.cend(), 2, i);
                vecModel.insert(vecModel.end(), 2, i);
                break;
            case 7:
                if (kRandom() % 100 == 0)
                {
                    kQueue.swap(vecModel);
                    kQueue.swap(vecModel);
                    kQueue = VOEventQueue<int>(kQueue);
                    vecModel.assign(kQueue.begin(), kQueue.end());
                }
                break;
            default:
                if (kRandom() % 2 != 0)
                {
                    kQueue.push_back(i);
                    vecModel.push_back(i);
                }
                else if (!vecModel.empty())
                {
                    ASSERT_EQ(vecModel.front(), kQueue.pop_front());
                    vecModel.erase(vecModel.begin());
                }
        }
        ASSERT_EQ(vecModel.size(), kQueue.size()) << "step " << i;
        ASSERT_EQ(vecModel.empty(), kQueue.empty());
        ASSERT_LE(kQueue.size(), kQueue.capacity());
        ASSERT_TRUE(std::equal(vecModel.begin(), vecModel.end(), kQueue.data())) << "step " << i;
        ASSERT_TRUE(std::equal(vecModel.rbegin(), vecModel.rend(), kQueue.rbegin(), kQueue.rend()));
    }
}

// Counts how often values move.
struct Moving
{
    Moving() = default;
    Moving(Moving&&) noexcept { ++s_uMoves; }
    Moving& operator=(Moving&&) noexcept
    {
        ++s_uMoves;
        return *this;
    }
    ~Moving() = default;
    static inline size_t s_uMoves = 0;
};

TEST(FileMonitorQueue, APopMovesNothingOfWhatStandsBehindAndPushesAFewPlacesOnAverage)
{
    constexpr size_t kQueued = 20000;
    VOEventQueue<Moving> kQueue;
    for (size_t i = 0; i < kQueued; ++i)
    {
        kQueue.push_back(Moving());
    }
    Moving::s_uMoves = 0;
    for (size_t i = 0; i < 1000; ++i)
    {
        (void)kQueue.pop_front();
    }
    EXPECT_GE(1000u * 4, Moving::s_uMoves) << "the head's own way out";
    Moving::s_uMoves = 0;
    for (size_t i = 0; i < 10 * kQueued; ++i)
    {
        kQueue.push_back(Moving());
        (void)kQueue.pop_front();
    }
    EXPECT_GE(10 * kQueued * 10, Moving::s_uMoves);
}

}  // namespace
