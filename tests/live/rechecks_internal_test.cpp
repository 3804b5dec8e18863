// When what was compared is compared once more, by a clock of the test's own.
#include "live/rechecks.h"

#include <gtest/gtest.h>

namespace
{

using namespace std::chrono_literals;

using lum::Hints;
using lum::LiveClock;
using lum::Rechecks;

class RechecksTest : public testing::Test
{
protected:
    // How long after a moment the whole tree is due.
    std::chrono::milliseconds DueAfter(LiveClock::time_point moment) const
    {
        return std::chrono::duration_cast<std::chrono::milliseconds>(m_rechecks.NextDue() - moment);
    }

    // Compares the tree as soon as it is due, which takes so long, and gives the end.
    LiveClock::time_point Compare(std::chrono::milliseconds takes, bool bPolled = false)
    {
        const LiveClock::time_point begin = m_rechecks.NextDue();
        EXPECT_FALSE(m_rechecks.TakeCompareAll(begin - 1ms));
        EXPECT_TRUE(m_rechecks.TakeCompareAll(begin));
        EXPECT_FALSE(m_rechecks.TakeCompareAll(begin));
        m_rechecks.Compared(begin, begin + takes, bPolled);
        return begin + takes;
    }

    Rechecks m_rechecks;
    const LiveClock::time_point m_start = LiveClock::time_point() + 1h;
};

TEST_F(RechecksTest, NothingIsDueAtFirst)
{
    EXPECT_EQ(LiveClock::time_point::max(), m_rechecks.NextDue());
    EXPECT_FALSE(m_rechecks.TakeCompareAll(m_start));
}

TEST_F(RechecksTest, OfATreeThatIsQuicklyComparedEveryDoubtIsDealtWithAfterASecond)
{
    LiveClock::time_point now = m_start;
    for (int i = 0; i < 100; ++i)
    {
        m_rechecks.Doubt(now);
        EXPECT_EQ(1000ms, DueAfter(now));
        now = Compare(2ms);
    }
}

TEST_F(RechecksTest, ADoubtDoesntPutOffTheOneBeforeAndIsntSettledByItsComparison)
{
    m_rechecks.Doubt(m_start);
    m_rechecks.Doubt(m_start + 900ms);
    EXPECT_EQ(1000ms, DueAfter(m_start));
    Compare(1ms);
    EXPECT_EQ(1900ms, DueAfter(m_start));
    Compare(1ms);
    EXPECT_EQ(LiveClock::time_point::max(), m_rechecks.NextDue());
}

TEST_F(RechecksTest, ADoubtJustBeforeAPolledTreeIsDueIsDealtWithASecondLater)
{
    m_rechecks.Doubt(m_start);
    const LiveClock::time_point kEnd = Compare(10ms, true);
    m_rechecks.Doubt(kEnd + 1900ms);
    EXPECT_EQ(2000ms, DueAfter(kEnd));
    Compare(1ms);
    EXPECT_EQ(2900ms, DueAfter(kEnd));
}

TEST_F(RechecksTest, ComparingTakesATwentiethOfTheTimeButADoubtWaitsAMinuteAtMost)
{
    m_rechecks.Doubt(m_start);
    LiveClock::time_point kEnd = Compare(500ms);
    m_rechecks.Doubt(kEnd);
    EXPECT_EQ(10s, DueAfter(kEnd));
    kEnd = Compare(10s);
    m_rechecks.Doubt(kEnd + 1s);
    EXPECT_EQ(60s, DueAfter(kEnd));
    kEnd = Compare(10s);
    m_rechecks.Doubt(kEnd + 10min);
    EXPECT_EQ(10min + 1s, DueAfter(kEnd));
}

TEST_F(RechecksTest, APolledTreeIsDueAgainAfterItsComparison)
{
    m_rechecks.Doubt(m_start);
    LiveClock::time_point kEnd = Compare(10ms, true);
    EXPECT_EQ(2s, DueAfter(kEnd));
    kEnd = Compare(10s, true);
    EXPECT_EQ(200s, DueAfter(kEnd));
    kEnd = Compare(10ms, false);
    EXPECT_EQ(LiveClock::time_point::max(), m_rechecks.NextDue());
}

TEST_F(RechecksTest, AFolderIsLookedAtOnceMoreBehindItsLastHint)
{
    Hints hints;
    hints.uEvents = 1;
    hints.mapFolders[VOTEXT("folder")];
    m_rechecks.Note(m_start, hints);
    m_rechecks.Note(m_start + 1s, hints);
    EXPECT_EQ(2500ms, DueAfter(m_start));
    EXPECT_TRUE(m_rechecks.TakeDue(m_start + 2499ms).empty());
    EXPECT_EQ(std::vector<VOWString>{VOTEXT("folder")}, m_rechecks.TakeDue(m_start + 2500ms));
    EXPECT_EQ(LiveClock::time_point::max(), m_rechecks.NextDue());
    m_rechecks.LookAgain(m_start + 3s, {VOTEXT("folder")});
    EXPECT_EQ(4500ms, DueAfter(m_start));
}

TEST_F(RechecksTest, ALossIsADoubt)
{
    Hints hints;
    hints.bDoubt = true;
    m_rechecks.Note(m_start, hints);
    EXPECT_EQ(1000ms, DueAfter(m_start));
}

}  // namespace
