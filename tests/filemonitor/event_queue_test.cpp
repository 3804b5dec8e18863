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
    OpenMonitor monitor;
    EXPECT_EQ(0, monitor.HasFileEvent());
    EXPECT_EQ(0, monitor.Push(MakeEvent(kAdd, VOTEXT("C:/a"))));
    EXPECT_EQ(0, monitor.Push(MakeEvent(kModified, VOTEXT("C:/b"))));
    EXPECT_EQ(1, monitor.HasFileEvent());
    Event event;
    EXPECT_EQ(1, monitor.PopEvent(event));
    EXPECT_EQ(VOWString(VOTEXT("C:/a")), event.strFilePath);
    EXPECT_EQ(1, monitor.PopEvent(event));
    EXPECT_EQ(VOWString(VOTEXT("C:/b")), event.strFilePath);
    EXPECT_EQ(0, monitor.PopEvent(event));
    EXPECT_EQ(0, monitor.HasFileEvent());
    EXPECT_EQ(0, monitor.m_nEventQueueBusy);
    EXPECT_EQ(0, monitor.m_nSpecialEventCount);
}

TEST(FileMonitorQueue, AQueueWithoutEventsLeavesTheCallersEventAlone)
{
    OpenMonitor monitor;
    Event event = MakeEvent(kAdd, VOTEXT("kept"));
    EXPECT_EQ(0, monitor.PopEvent(event));
    EXPECT_EQ(VOWString(VOTEXT("kept")), event.strFilePath);
}

TEST(FileMonitorQueue, TheConsumerGivesUpAtOnceWhileTheProducerIsAtTheQueue)
{
    OpenMonitor monitor;
    monitor.Push(MakeEvent(kAdd, VOTEXT("C:/a")));
    monitor.m_nEventQueueBusy = 1;
    Event event;
    EXPECT_EQ(0, monitor.PopEvent(event));
    EXPECT_EQ(0, monitor.SpecialEventHandle());
    EXPECT_EQ(1, monitor.m_nEventQueueBusy) << "the flag is its owner's";
    EXPECT_EQ(1, monitor.HasFileEvent()) << "asked without the flag";
    monitor.m_nEventQueueBusy = 0;
    EXPECT_EQ(1, monitor.PopEvent(event));
}

TEST(FileMonitorQueue, TheProducerWaitsForTheConsumer)
{
    OpenMonitor monitor;
    std::atomic_ref<int>(monitor.m_nEventQueueBusy).store(1);
    std::thread producer([&] { monitor.Push(MakeEvent(kAdd, VOTEXT("C:/a"))); });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(0, monitor.HasFileEvent());
    std::atomic_ref<int>(monitor.m_nEventQueueBusy).store(0);
    producer.join();
    EXPECT_EQ(1, monitor.HasFileEvent());
}

TEST(FileMonitorQueue, ARemoveAndARenameToItReachTheConsumerAsOneModified)
{
    OpenMonitor monitor;
    monitor.Push(MakeEvent(kRemove, VOTEXT("C:/x")));
    monitor.Push(MakeEvent(kRename, VOTEXT("C:/y"), VOTEXT("C:/x")));
    monitor.Push(MakeEvent(kAdd, VOTEXT("C:/z")));
    monitor.m_vecFileEvents[0].uTickCount = 7;
    Event event;
    EXPECT_EQ(1, monitor.PopEvent(event));
    EXPECT_EQ(kModified, event.nEventType);
    EXPECT_EQ(VOWString(VOTEXT("C:/x")), event.strFilePath);
    EXPECT_TRUE(event.strNewFilePath.empty());
    EXPECT_TRUE(event.strNewFileName.empty());
    EXPECT_EQ(0u, event.uTickCount);
    EXPECT_EQ(1u, monitor.m_vecFileEvents.size());
    EXPECT_EQ(0, monitor.m_nSpecialEventCount) << "two events were there: nothing was held";
    EXPECT_EQ(1, monitor.PopEvent(event));
    EXPECT_EQ(VOWString(VOTEXT("C:/z")), event.strFilePath);
}

TEST(FileMonitorQueue, ALoneRemoveIsHeldForOneRoundAndHasFileEventSaysItIsThere)
{
    OpenMonitor monitor;
    monitor.Push(MakeEvent(kRemove, VOTEXT("C:/x")));
    Event event;
    EXPECT_EQ(0, monitor.PopEvent(event));
    EXPECT_EQ(1, monitor.m_nSpecialEventCount);
    EXPECT_EQ(1, monitor.HasFileEvent());
    EXPECT_EQ(1, monitor.PopEvent(event));
    EXPECT_EQ(2, monitor.m_nSpecialEventCount);
    EXPECT_EQ(kRemove, event.nEventType);
}

TEST(FileMonitorQueue, AMatchingRenameThatComesDuringTheHoldGivesAModified)
{
    OpenMonitor monitor;
    monitor.Push(MakeEvent(kRemove, VOTEXT("C:/x")));
    Event event;
    EXPECT_EQ(0, monitor.PopEvent(event));
    monitor.Push(MakeEvent(kRename, VOTEXT("C:/tmp"), VOTEXT("C:/x")));
    EXPECT_EQ(1, monitor.PopEvent(event));
    EXPECT_EQ(kModified, event.nEventType);
    EXPECT_EQ(2, monitor.m_nSpecialEventCount);
    EXPECT_EQ(0, monitor.HasFileEvent());
}

TEST(FileMonitorQueue, ARemoveWithAnotherEventBehindItIsNotHeld)
{
    OpenMonitor monitor;
    monitor.Push(MakeEvent(kRemove, VOTEXT("C:/x")));
    monitor.Push(MakeEvent(kAdd, VOTEXT("C:/y")));
    Event event;
    EXPECT_EQ(1, monitor.PopEvent(event));
    EXPECT_EQ(kRemove, event.nEventType);
    EXPECT_EQ(0, monitor.m_nSpecialEventCount);
}

TEST(FileMonitorQueue, ARemoveAndARenameAwayFromItAreNotRewritten)
{
    OpenMonitor monitor;
    monitor.Push(MakeEvent(kRemove, VOTEXT("C:/x")));
    monitor.Push(MakeEvent(kRename, VOTEXT("C:/x"), VOTEXT("C:/z")));
    Event event;
    EXPECT_EQ(1, monitor.PopEvent(event));
    EXPECT_EQ(kRemove, event.nEventType);
    EXPECT_EQ(1, monitor.PopEvent(event));
    EXPECT_EQ(kRename, event.nEventType);
}

TEST(FileMonitorQueue, RemoveAddAndRenameOfOneFileAreNotRewritten)
{
    OpenMonitor monitor;
    monitor.Push(MakeEvent(kRemove, VOTEXT("C:/x")));
    monitor.Push(MakeEvent(kAdd, VOTEXT("C:/x")));
    monitor.Push(MakeEvent(kRename, VOTEXT("C:/y"), VOTEXT("C:/x")));
    std::vector<int> vecTypes;
    Event event;
    while (monitor.PopEvent(event) == 1)
    {
        vecTypes.push_back(event.nEventType);
    }
    EXPECT_EQ((std::vector<int>{kRemove, kAdd, kRename}), vecTypes);
}

// h = h * 131 + unit, from the last unit to the first: "AB" and the one unit 0x42 * 131 + 0x41 give the same.
TEST(FileMonitorQueue, EqualHashesCountAsEqualPaths)
{
    OpenMonitor monitor;
    const VOWString strOne(1, static_cast<VOWCHAR>(0x42 * 131 + 0x41));
    monitor.Push(MakeEvent(kRemove, VOTEXT("AB")));
    monitor.Push(MakeEvent(kRename, VOTEXT("y"), strOne));
    Event event;
    EXPECT_EQ(1, monitor.PopEvent(event));
    EXPECT_EQ(kModified, event.nEventType);
    EXPECT_EQ(VOWString(VOTEXT("AB")), event.strFilePath);
}

TEST(FileMonitorQueue, TheHashOfAPathEndsAtItsFirstZero)
{
    OpenMonitor monitor;
    monitor.Push(MakeEvent(kRemove, VOWString(VOTEXT("x\0a"), 3)));
    monitor.Push(MakeEvent(kRename, VOTEXT("y"), VOWString(VOTEXT("x\0b"), 3)));
    Event event;
    EXPECT_EQ(1, monitor.PopEvent(event));
    EXPECT_EQ(kModified, event.nEventType);
}

TEST(FileMonitorQueue, OnlyTheTwoEventsAtTheHeadAreLookedAt)
{
    OpenMonitor monitor;
    monitor.Push(MakeEvent(kAdd, VOTEXT("C:/a")));
    monitor.Push(MakeEvent(kRemove, VOTEXT("C:/x")));
    monitor.Push(MakeEvent(kRename, VOTEXT("C:/y"), VOTEXT("C:/x")));
    EXPECT_EQ(0, monitor.SpecialEventHandle());
    EXPECT_EQ(3u, monitor.m_vecFileEvents.size());
}

TEST(FileMonitorQueue, AnOddCountIsKeptUntilTheNextRemoveComesToTheHead)
{
    OpenMonitor monitor;
    monitor.m_nSpecialEventCount = 5;
    monitor.Push(MakeEvent(kAdd, VOTEXT("C:/a")));
    monitor.Push(MakeEvent(kRemove, VOTEXT("C:/x")));
    Event event;
    EXPECT_EQ(1, monitor.PopEvent(event));
    EXPECT_EQ(5, monitor.m_nSpecialEventCount);
    EXPECT_EQ(1, monitor.PopEvent(event)) << "the hold is over, so the lone Remove isn't held";
    EXPECT_EQ(6, monitor.m_nSpecialEventCount);
}

TEST(FileMonitorQueue, EventsAreEqualByTypePathNewNameAndLessThan500Apart)
{
    Event one = MakeEvent(kRename, VOTEXT("C:/a"), VOTEXT("C:/one/b"));
    one.uTickCount = 1000;
    Event other = MakeEvent(kRename, VOTEXT("C:/a"), VOTEXT("C:/other/b"));
    other.uTickCount = 1499;
    EXPECT_TRUE(one == other) << "the new path plays no part";
    EXPECT_TRUE(other == one);
    other.uTickCount = 1500;
    EXPECT_FALSE(one == other);
    EXPECT_FALSE(other == one);
    other.uTickCount = 1000;
    other.strNewFileName = VOTEXT("B");
    EXPECT_FALSE(one == other);
    other = one;
    other.strFilePath = VOTEXT("C:/A");
    EXPECT_FALSE(one == other);
    other = one;
    other.nEventType = kModified;
    EXPECT_FALSE(one == other);
}

TEST(FileMonitorQueue, TheTimeBetweenTwoEventsIsTakenAsSigned)
{
    Event one = MakeEvent(kAdd, VOTEXT("C:/a"));
    Event other = one;
    one.uTickCount = 0;
    other.uTickCount = 0ull - 499;
    EXPECT_TRUE(one == other) << "499 ms apart across the end of the clock's range";
    EXPECT_TRUE(other == one);
    other.uTickCount = 0ull - 500;
    EXPECT_FALSE(one == other);
    EXPECT_FALSE(other == one);
    other.uTickCount = 1ull << 63;
    EXPECT_FALSE(one == other);
    EXPECT_FALSE(other == one);
}

TEST(FileMonitorQueue, TheQueueCanBeHandledAsAVector)
{
    OpenMonitor monitor;
    auto& queue = monitor.m_vecFileEvents;
    queue.push_back(MakeEvent(kAdd, VOTEXT("C:/b")));
    queue.insert(queue.begin(), MakeEvent(kAdd, VOTEXT("C:/a")));
    queue.emplace_back(MakeEvent(kAdd, VOTEXT("C:/c")));
    queue.insert(queue.end(), MakeEvent(kAdd, VOTEXT("C:/d")));
    std::vector<VOWString> vecPaths;
    for (const Event& event : queue)
    {
        vecPaths.push_back(event.strFilePath);
    }
    EXPECT_EQ((std::vector<VOWString>{VOTEXT("C:/a"), VOTEXT("C:/b"), VOTEXT("C:/c"), VOTEXT("C:/d")}), vecPaths);
    EXPECT_EQ(4u, queue.size());
    EXPECT_EQ(vecPaths[2], queue.at(2).strFilePath);
    EXPECT_THROW(queue.at(4), std::out_of_range);
    EXPECT_EQ(VOWString(VOTEXT("C:/c")), queue.erase(queue.begin() + 1)->strFilePath);
    queue.pop_back();
    EXPECT_EQ(2u, queue.size());
    queue.erase(queue.cbegin(), queue.cend());
    EXPECT_TRUE(queue.empty());
    EXPECT_EQ(0, monitor.HasFileEvent());
}

// A plain reading of the rules on a vector, beside the queue.
class QueueModel
{
public:
    void Push(const Event& event) { m_vec.push_back(event); }

    bool Pop(Event* pEvent)
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
        *pEvent = m_vec[0];
        m_vec.erase(m_vec.begin());
        return true;
    }

private:
    std::vector<Event> m_vec;
    bool m_bHolding = false;
};

TEST(FileMonitorQueue, ThousandsOfPushesAndPopsAgreeWithAPlainModel)
{
    std::mt19937 random(20);
    OpenMonitor monitor;
    QueueModel model;
    for (int i = 0; i < 20000; ++i)
    {
        if (random() % 2 != 0)
        {
            const VOWString strPath(1, static_cast<VOWCHAR>(VOTEXT("abc")[random() % 3]));
            const VOWString strNew(1, static_cast<VOWCHAR>(VOTEXT("abc")[random() % 3]));
            const int nType = static_cast<int>(random() % 4) + 1;
            Event event = MakeEvent(nType, strPath, nType == kRename ? strNew : VOWString());
            event.uTickCount = random();
            monitor.Push(event);
            model.Push(event);
            continue;
        }
        Event event;
        Event expected;
        const bool bPopped = monitor.PopEvent(event) == 1;
        ASSERT_EQ(model.Pop(&expected), bPopped) << "step " << i;
        ASSERT_EQ(expected.nEventType, event.nEventType) << "step " << i;
        ASSERT_EQ(expected.strFilePath, event.strFilePath) << "step " << i;
        ASSERT_EQ(expected.strNewFilePath, event.strNewFilePath) << "step " << i;
        ASSERT_EQ(expected.uTickCount, event.uTickCount) << "step " << i;
    }
}

TEST(FileMonitorQueue, AProducerAndAConsumerLoseNothingAndKeepTheOrder)
{
    OpenMonitor monitor;
    constexpr unsigned long long kEvents = 20000;
    std::thread producer(
        [&]
        {
            for (unsigned long long i = 1; i <= kEvents; ++i)
            {
                Event event = MakeEvent(kAdd, VOTEXT("C:/a"));
                event.uTickCount = i;
                monitor.PushEvent(event);
            }
        });
    unsigned long long ullSeen = 0;
    bool bInOrder = true;
    while (ullSeen < kEvents && bInOrder)
    {
        Event event;
        if (monitor.PopEvent(event) == 1)
        {
            bInOrder = event.uTickCount == ++ullSeen;
        }
        (void)monitor.HasFileEvent();
    }
    producer.join();
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
        const Event* const pFirst = m_vecFileEvents.data();
        for (const VOWCHAR* pszPath : {VOTEXT("C:/a"), VOTEXT("C:/b"), VOTEXT("C:/c")})
        {
            Event event = MakeEvent(kAdd, pszPath);
            PushEvent(event);
        }
        EXPECT_EQ(pFirst, m_vecFileEvents.data()) << "what is reserved doesn't move";
        EXPECT_LE(10u, m_vecFileEvents.capacity());
    }
    void Forget(size_t uIndex) { m_vecFileEvents.erase(m_vecFileEvents.begin() + static_cast<ptrdiff_t>(uIndex)); }
    void ForgetAll() { m_vecFileEvents.clear(); }
    VOWString Paths() const
    {
        VOWString strPaths;
        std::for_each(m_vecFileEvents.rbegin(), m_vecFileEvents.rend(),
                      [&](const Event& event) { strPaths += event.strFilePath; });
        return strPaths;
    }
    VOWString Pop()
    {
        Event event;
        return PopEvent(event) == 1 ? event.strFilePath : VOWString();
    }
};

TEST(FileMonitorQueue, ADerivedClassCanReserveEraseAndClear)
{
    ClearingMonitor monitor;
    monitor.Fill();
    EXPECT_EQ(VOWString(VOTEXT("C:/a")), monitor.Pop());
    EXPECT_EQ(VOWString(VOTEXT("C:/cC:/b")), monitor.Paths());
    monitor.Forget(0);
    EXPECT_EQ(VOWString(VOTEXT("C:/c")), monitor.Paths());
    EXPECT_EQ(1, monitor.HasFileEvent());
    monitor.ForgetAll();
    EXPECT_EQ(0, monitor.HasFileEvent());
    EXPECT_EQ(VOWString(), monitor.Pop());
}

// The same operations on the queue and on a vector.
TEST(FileMonitorQueue, EveryOperationOfAVectorHasAVectorsResult)
{
    std::mt19937 random(7);
    VOEventQueue<int> queue;
    std::vector<int> vecModel;
    const auto Place = [&] { return static_cast<ptrdiff_t>(random() % (vecModel.size() + 1)); };
    for (int i = 0; i < 50000; ++i)
    {
        const ptrdiff_t nAt = Place();
        const ptrdiff_t nTo = std::max(nAt, Place());
        switch (random() % 16)
        {
            case 0:
                queue.resize(static_cast<size_t>(nTo), i);
                vecModel.resize(static_cast<size_t>(nTo), i);
                break;
            case 1:
            {
                const auto iterNew = queue.insert(queue.cbegin() + nAt, i);
                ASSERT_EQ(nAt, iterNew - queue.begin());
                vecModel.insert(vecModel.begin() + nAt, i);
                break;
            }
            case 2:
                queue.insert(queue.cbegin() + nAt, {i, i + 1, i + 2});
                vecModel.insert(vecModel.begin() + nAt, {i, i + 1, i + 2});
                break;
            case 3:
            {
                const auto iterNext = queue.erase(queue.cbegin() + nAt, queue.cbegin() + nTo);
                ASSERT_EQ(nAt, iterNext - queue.begin());
                vecModel.erase(vecModel.begin() + nAt, vecModel.begin() + nTo);
                break;
            }
            case 4:
                queue.reserve(vecModel.size() + random() % 64);
                break;
            case 5:
                queue.shrink_to_fit();
                break;
            case 6:
                queue.insert(queue.cend(), 2, i);
                vecModel.insert(vecModel.end(), 2, i);
                break;
            case 7:
                if (random() % 100 == 0)
                {
                    queue.swap(vecModel);
                    queue.swap(vecModel);
                    queue = VOEventQueue<int>(queue);
                    vecModel.assign(queue.begin(), queue.end());
                }
                break;
            default:
                if (random() % 2 != 0)
                {
                    queue.push_back(i);
                    vecModel.push_back(i);
                }
                else if (!vecModel.empty())
                {
                    ASSERT_EQ(vecModel.front(), queue.pop_front());
                    vecModel.erase(vecModel.begin());
                }
        }
        ASSERT_EQ(vecModel.size(), queue.size()) << "step " << i;
        ASSERT_EQ(vecModel.empty(), queue.empty());
        ASSERT_LE(queue.size(), queue.capacity());
        ASSERT_TRUE(std::equal(vecModel.begin(), vecModel.end(), queue.data())) << "step " << i;
        ASSERT_TRUE(std::equal(vecModel.rbegin(), vecModel.rend(), queue.rbegin(), queue.rend()));
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
    VOEventQueue<Moving> queue;
    for (size_t i = 0; i < kQueued; ++i)
    {
        queue.push_back(Moving());
    }
    Moving::s_uMoves = 0;
    for (size_t i = 0; i < 1000; ++i)
    {
        (void)queue.pop_front();
    }
    EXPECT_GE(1000u * 4, Moving::s_uMoves) << "the head's own way out";
    Moving::s_uMoves = 0;
    for (size_t i = 0; i < 10 * kQueued; ++i)
    {
        queue.push_back(Moving());
        (void)queue.pop_front();
    }
    EXPECT_GE(10 * kQueued * 10, Moving::s_uMoves);
}

}  // namespace
