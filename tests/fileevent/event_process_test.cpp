// A publisher and tools in processes of their own, also a publisher that is killed and one that takes over.
#include "fileevent/event_section_tools.h"
#include "support/child_process.h"

namespace
{
using namespace eventtest;
using votest::ChildProcess;
using votest::ControlWords;
using votest::RoleOfThisProcess;

constexpr const VOWCHAR* kpszControlName = VOTEXT("vo_eventTestControl");

// The words: the orders that a publisher has to follow and how many it has followed; how many events each tool has got,
// the last one's time, and whether it is to end.
constexpr unsigned int kOrder = 0;
constexpr unsigned int kDone = 1;
constexpr unsigned int kSeen = 2;  // of tool 0; tool 1 has the word behind
constexpr unsigned int kLast = 4;
constexpr unsigned int kEnd = 6;
constexpr unsigned int kBase = 7;  // where the times of a publisher begin
constexpr unsigned int kWords = 8;

// Publishes one event for each order, until it is told to end. The first order is followed by itself.
int PlayPublisher(ControlWords& rkWords)
{
    Publisher kPublisher;
    VOTSFileEventContainer kContainer;
    Time ullTime = rkWords.Get(kBase);
    for (unsigned int uDone = 0; rkWords.Get(kEnd) == 0;)
    {
        if (rkWords.Get(kOrder) < uDone)
        {
            VOSleepMilliseconds(1);
            continue;
        }
        ullTime += 2;
        const Info kInfo = {uDone, 0, 0, VOTEXT("published/path"), VOTEXT("new name"), nullptr};
        if (kContainer.AppendEvent(kInfo, ullTime) != 1)
        {
            return 1;
        }
        kPublisher.Publish(AF_SOURCE, kContainer, ullTime + 1);
        rkWords.Set(kDone, ++uDone);
    }
    return 0;
}

// A tool as a user would write it.
int PlayTool(ControlWords& rkWords, unsigned int uTool)
{
    VOTSFileEventMappingAssemble* const pkAssemble = VOTSFileEventMappingAssemble::Instance();
    Record kRecord;
    std::atomic<bool> bWrong{false};
    {
        Held kListener(kRecord,
                       [&](const FileEventParam& rkParam)
                       {
                           bWrong = bWrong || rkParam.eaf != AF_SOURCE || rkParam.pszPhysicPath != nullptr ||
                                    ReadText(rkParam.pszPath) != VOTEXT("published/path") ||
                                    ReadText(rkParam.pszNewName) != VOTEXT("new name");
                           rkWords.Set(kLast + uTool, static_cast<unsigned int>(rkParam.ullTime));
                           rkWords.Set(kSeen + uTool, rkWords.Get(kSeen + uTool) + 1);
                       });
        if (pkAssemble->BindListener(AF_SOURCE, kListener.Get()) != 1 || pkAssemble->Run() != 1 ||
            !rkWords.WaitFor(kEnd, 1))
        {
            return 1;
        }
        pkAssemble->Stop();
        VOTSFileEventMappingAssemble::Release();
    }
    const std::vector<Time> vecTimes = kRecord.Times();
    for (size_t i = 1; i < vecTimes.size(); ++i)
    {
        bWrong = bWrong || vecTimes[i - 1] >= vecTimes[i];
    }
    return bWrong || kRecord.Deleted() != 1 ? 2 : 0;
}

// Runs before the tests: a process that was started for a role ends here.
class Roles : public testing::Environment
{
public:
    void SetUp() override
    {
        const std::string strRole = RoleOfThisProcess();
        if (strRole.empty())
        {
            return;
        }
        ControlWords kControl(kpszControlName);
        const int nResult = !kControl.Ready()        ? 97
                            : strRole == "publisher" ? PlayPublisher(kControl)
                            : strRole == "tool 0"    ? PlayTool(kControl, 0)
                            : strRole == "tool 1"    ? PlayTool(kControl, 1)
                                                     : 96;
        fflush(stdout);
        _Exit(nResult);
    }
};
testing::Environment* const s_pkRoles = testing::AddGlobalTestEnvironment(new Roles);

class EventProcesses : public testing::Test
{
protected:
    EventProcesses() : m_kControl(kpszControlName)
    {
        EXPECT_TRUE(m_kControl.Ready());
        for (unsigned int uWord = 0; uWord < kWords; ++uWord)
        {
            m_kControl.Set(uWord, 0);
        }
        m_kControl.Set(kBase, 1000);
    }

    // One event more, once the publisher has followed all orders before.
    void Order()
    {
        const unsigned int uNext = m_kControl.Get(kOrder) + 1;
        ASSERT_TRUE(m_kControl.WaitFor(kDone, uNext));
        m_kControl.Set(kOrder, uNext);
        ASSERT_TRUE(m_kControl.WaitFor(kDone, uNext + 1));
    }

    // Events until a tool has its first one, and with it its base.
    void OrderUntilSeen(unsigned int uTool)
    {
        EXPECT_TRUE(WaitUntil(
            [&]
            {
                if (m_kControl.Get(kSeen + uTool) != 0)
                {
                    return true;
                }
                Order();
                VOSleepMilliseconds(100);
                return false;
            }));
    }
    unsigned int LastTime() { return m_kControl.Get(kBase) + 2 * m_kControl.Get(kDone); }

    ControlWords m_kControl;
};

TEST_F(EventProcesses, TwoToolsGetEveryEventOfAPublisherInBothSlots)
{
    ChildProcess kPublisher("publisher");
    ASSERT_TRUE(kPublisher.Started());
    ASSERT_TRUE(m_kControl.WaitFor(kDone, 1));
    ChildProcess kFirst("tool 0");
    ChildProcess kSecond("tool 1");
    OrderUntilSeen(0);
    OrderUntilSeen(1);
    for (int i = 0; i < 3; ++i)
    {
        // Both slots come up, and nothing is missed in between.
        const unsigned int auSeen[] = {m_kControl.Get(kSeen), m_kControl.Get(kSeen + 1)};
        Order();
        Order();
        for (unsigned int uTool = 0; uTool < 2; ++uTool)
        {
            EXPECT_TRUE(WaitUntil([&] { return m_kControl.Get(kLast + uTool) == LastTime(); })) << uTool;
            EXPECT_LE(auSeen[uTool] + 2, m_kControl.Get(kSeen + uTool));
        }
    }
    m_kControl.Set(kEnd, 1);
    EXPECT_EQ(0, kFirst.Wait());
    EXPECT_EQ(0, kSecond.Wait());
    EXPECT_EQ(0, kPublisher.Wait());
}

TEST_F(EventProcesses, AToolGoesOnWithThePublisherThatTakesOverFromAKilledOne)
{
    auto pkPublisher = std::make_unique<ChildProcess>("publisher");
    ASSERT_TRUE(m_kControl.WaitFor(kDone, 1));
    ChildProcess kTool("tool 0");
    OrderUntilSeen(0);
    EXPECT_TRUE(WaitUntil([&] { return m_kControl.Get(kLast) == LastTime(); }));
    pkPublisher->Kill();
    VOSleepMilliseconds(700);

    // The next one goes on with the time.
    const unsigned int uSeen = m_kControl.Get(kSeen);
    m_kControl.Set(kBase, LastTime() + 100);
    m_kControl.Set(kDone, 0);
    m_kControl.Set(kOrder, 0);
    pkPublisher = std::make_unique<ChildProcess>("publisher");
    ASSERT_TRUE(m_kControl.WaitFor(kDone, 1));
    Order();
    EXPECT_TRUE(WaitUntil([&] { return m_kControl.Get(kLast) == LastTime(); }));
    EXPECT_LE(uSeen + 2, m_kControl.Get(kSeen)) << "its first event as well";
    m_kControl.Set(kEnd, 1);
    EXPECT_EQ(0, kTool.Wait());
    EXPECT_EQ(0, pkPublisher->Wait());
}

TEST_F(EventProcesses, AToolThatIsKilledLeavesTheOthersTheirStream)
{
    ChildProcess kPublisher("publisher");
    ASSERT_TRUE(m_kControl.WaitFor(kDone, 1));
    ChildProcess kTool("tool 0");
    {
        ChildProcess kKilled("tool 1");
        OrderUntilSeen(1);
        kKilled.Kill();
    }
    OrderUntilSeen(0);
    Order();
    EXPECT_TRUE(WaitUntil([&] { return m_kControl.Get(kLast) == LastTime(); }));
    m_kControl.Set(kEnd, 1);
    EXPECT_EQ(0, kTool.Wait());
    EXPECT_EQ(0, kPublisher.Wait());
}

}  // namespace
