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
int PlayPublisher(ControlWords& givenWords)
{
    Publisher publisher;
    VOTSFileEventContainer container;
    Time ullTime = givenWords.Get(kBase);
    for (unsigned int uDone = 0; givenWords.Get(kEnd) == 0;)
    {
        if (givenWords.Get(kOrder) < uDone)
        {
            VOSleepMilliseconds(1);
            continue;
        }
        ullTime += 2;
        const Info about = {uDone, 0, 0, VOTEXT("published/path"), VOTEXT("new name"), nullptr};
        if (container.AppendEvent(about, ullTime) != 1)
        {
            return 1;
        }
        publisher.Publish(AF_SOURCE, container, ullTime + 1);
        givenWords.Set(kDone, ++uDone);
    }
    return 0;
}

// A tool as a user would write it.
int PlayTool(ControlWords& words, unsigned int uTool)
{
    VOTSFileEventMappingAssemble* const pAssemble = VOTSFileEventMappingAssemble::Instance();
    Record record;
    std::atomic<bool> bWrong{false};
    {
        Held listener(record,
                      [&](const FileEventParam& param)
                      {
                          bWrong = bWrong || param.eaf != AF_SOURCE || param.pszPhysicPath != nullptr ||
                                   ReadText(param.pszPath) != VOTEXT("published/path") ||
                                   ReadText(param.pszNewName) != VOTEXT("new name");
                          words.Set(kLast + uTool, static_cast<unsigned int>(param.ullTime));
                          words.Set(kSeen + uTool, words.Get(kSeen + uTool) + 1);
                      });
        if (pAssemble->BindListener(AF_SOURCE, listener.Get()) != 1 || pAssemble->Run() != 1 || !words.WaitFor(kEnd, 1))
        {
            return 1;
        }
        pAssemble->Stop();
        VOTSFileEventMappingAssemble::Release();
    }
    const std::vector<Time> vecTimes = record.Times();
    for (size_t i = 1; i < vecTimes.size(); ++i)
    {
        bWrong = bWrong || vecTimes[i - 1] >= vecTimes[i];
    }
    return bWrong || record.Deleted() != 1 ? 2 : 0;
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
        ControlWords control(kpszControlName);
        const int nResult = !control.Ready()         ? 97
                            : strRole == "publisher" ? PlayPublisher(control)
                            : strRole == "tool 0"    ? PlayTool(control, 0)
                            : strRole == "tool 1"    ? PlayTool(control, 1)
                                                     : 96;
        fflush(stdout);
        _Exit(nResult);
    }
};
testing::Environment* const s_pRoles = testing::AddGlobalTestEnvironment(new Roles);

class EventProcesses : public testing::Test
{
protected:
    EventProcesses() : m_control(kpszControlName)
    {
        EXPECT_TRUE(m_control.Ready());
        for (unsigned int uWord = 0; uWord < kWords; ++uWord)
        {
            m_control.Set(uWord, 0);
        }
        m_control.Set(kBase, 1000);
    }

    // One event more, once the publisher has followed all orders before.
    void Order()
    {
        const unsigned int uNext = m_control.Get(kOrder) + 1;
        ASSERT_TRUE(m_control.WaitFor(kDone, uNext));
        m_control.Set(kOrder, uNext);
        ASSERT_TRUE(m_control.WaitFor(kDone, uNext + 1));
    }

    // Events until a tool has its first one, and with it its base.
    void OrderUntilSeen(unsigned int uTool)
    {
        EXPECT_TRUE(WaitUntil(
            [&]
            {
                if (m_control.Get(kSeen + uTool) != 0)
                {
                    return true;
                }
                Order();
                VOSleepMilliseconds(100);
                return false;
            }));
    }
    unsigned int LastTime() { return m_control.Get(kBase) + 2 * m_control.Get(kDone); }

    ControlWords m_control;
};

TEST_F(EventProcesses, TwoToolsGetEveryEventOfAPublisherInBothSlots)
{
    ChildProcess publisher("publisher");
    ASSERT_TRUE(publisher.Started());
    ASSERT_TRUE(m_control.WaitFor(kDone, 1));
    ChildProcess first("tool 0");
    ChildProcess second("tool 1");
    OrderUntilSeen(0);
    OrderUntilSeen(1);
    for (int i = 0; i < 3; ++i)
    {
        // Both slots come up, and nothing is missed in between.
        const unsigned int auSeen[] = {m_control.Get(kSeen), m_control.Get(kSeen + 1)};
        Order();
        Order();
        for (unsigned int uTool = 0; uTool < 2; ++uTool)
        {
            EXPECT_TRUE(WaitUntil([&] { return m_control.Get(kLast + uTool) == LastTime(); })) << uTool;
            EXPECT_LE(auSeen[uTool] + 2, m_control.Get(kSeen + uTool));
        }
    }
    m_control.Set(kEnd, 1);
    EXPECT_EQ(0, first.Wait());
    EXPECT_EQ(0, second.Wait());
    EXPECT_EQ(0, publisher.Wait());
}

TEST_F(EventProcesses, AToolGoesOnWithThePublisherThatTakesOverFromAKilledOne)
{
    auto pPublisher = std::make_unique<ChildProcess>("publisher");
    ASSERT_TRUE(m_control.WaitFor(kDone, 1));
    ChildProcess tool("tool 0");
    OrderUntilSeen(0);
    EXPECT_TRUE(WaitUntil([&] { return m_control.Get(kLast) == LastTime(); }));
    pPublisher->Kill();
    VOSleepMilliseconds(700);

    // The next one goes on with the time.
    const unsigned int uSeen = m_control.Get(kSeen);
    m_control.Set(kBase, LastTime() + 100);
    m_control.Set(kDone, 0);
    m_control.Set(kOrder, 0);
    pPublisher = std::make_unique<ChildProcess>("publisher");
    ASSERT_TRUE(m_control.WaitFor(kDone, 1));
    Order();
    EXPECT_TRUE(WaitUntil([&] { return m_control.Get(kLast) == LastTime(); }));
    EXPECT_LE(uSeen + 2, m_control.Get(kSeen)) << "its first event as well";
    m_control.Set(kEnd, 1);
    EXPECT_EQ(0, tool.Wait());
    EXPECT_EQ(0, pPublisher->Wait());
}

TEST_F(EventProcesses, AToolThatIsKilledLeavesTheOthersTheirStream)
{
    ChildProcess publisher("publisher");
    ASSERT_TRUE(m_control.WaitFor(kDone, 1));
    ChildProcess tool("tool 0");
    {
        ChildProcess killed("tool 1");
        OrderUntilSeen(1);
        killed.Kill();
    }
    OrderUntilSeen(0);
    Order();
    EXPECT_TRUE(WaitUntil([&] { return m_control.Get(kLast) == LastTime(); }));
    m_control.Set(kEnd, 1);
    EXPECT_EQ(0, tool.Wait());
    EXPECT_EQ(0, publisher.Wait());
}

}  // namespace
