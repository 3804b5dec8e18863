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
    std::chrono::milliseconds DueAfter(LiveClock::time_point kMoment) const
    {
        return std::chrono::duration_cast<std::chrono::milliseconds>(m_kRechecks.NextDue() - kMoment);
    }

    // Compares the tree as soon as it is due, which takes so long, and gives the end.
    LiveClock::time_point Compare(std::chrono::milliseconds kTakes, bool bPolled = false)
    {
        const LiveClock::time_point kBegin = m_kRechecks.NextDue();
        EXPECT_FALSE(m_kRechecks.TakeCompareAll(kBegin - 1ms));
        EXPECT_TRUE(m_kRechecks.TakeCompareAll(kBegin));
        EXPECT_FALSE(m_kRechecks.TakeCompareAll(kBegin));
        m_kRechecks.Compared(kBegin, kBegin + kTakes, bPolled);
        return kBegin + kTakes;
    }

    Rechecks m_kRechecks;
    const LiveClock::time_point m_kStart = LiveClock::time_point() + 1h;
};

TEST_F(RechecksTest, NothingIsDueAtFirst)
{
    EXPECT_EQ(LiveClock::time_point::max(), m_kRechecks.NextDue());
    EXPECT_FALSE(m_kRechecks.TakeCompareAll(m_kStart));
}

TEST_F(RechecksTest, OfATreeThatIsQuicklyComparedEveryDoubtIsDealtWithAfterASecond)
{
    LiveClock::time_point kNow = m_kStart;
    for (int i = 0; i < 100; ++i)
    {
        m_kRechecks.Doubt(kNow);
        EXPECT_EQ(1000ms, DueAfter(kNow));
        kNow = Compare(2ms);
    }
}

TEST_F(RechecksTest, ADoubtDoesntPutOffTheOneBeforeAndIsntSettledByItsComparison)
{
    m_kRechecks.Doubt(m_kStart);
    m_kRechecks.Doubt(m_kStart + 900ms);
    EXPECT_EQ(1000ms, DueAfter(m_kStart));
    Compare(1ms);
    EXPECT_EQ(1900ms, DueAfter(m_kStart));
    Compare(1ms);
    EXPECT_EQ(LiveClock::time_point::max(), m_kRechecks.NextDue());
}

TEST_F(RechecksTest, ADoubtJustBeforeAPolledTreeIsDueIsDealtWithASecondLater)
{
    m_kRechecks.Doubt(m_kStart);
    const LiveClock::time_point kEnd = Compare(10ms, true);
    m_kRechecks.Doubt(kEnd + 1900ms);
    EXPECT_EQ(2000ms, DueAfter(kEnd));
    Compare(1ms);
    EXPECT_EQ(2900ms, DueAfter(kEnd));
}

TEST_F(RechecksTest, ComparingTakesATwentiethOfTheTimeButADoubtWaitsAMinuteAtMost)
{
    m_kRechecks.Doubt(m_kStart);
    LiveClock::time_point kEnd = Compare(500ms);
    m_kRechecks.Doubt(kEnd);
    EXPECT_EQ(10s, DueAfter(kEnd));
    kEnd = Compare(10s);
    m_kRechecks.Doubt(kEnd + 1s);
    EXPECT_EQ(60s, DueAfter(kEnd));
    kEnd = Compare(10s);
    m_kRechecks.Doubt(kEnd + 10min);
    EXPECT_EQ(10min + 1s, DueAfter(kEnd));
}

TEST_F(RechecksTest, APolledTreeIsDueAgainAfterItsComparison)
{
    m_kRechecks.Doubt(m_kStart);
    LiveClock::time_point kEnd = Compare(10ms, true);
    EXPECT_EQ(2s, DueAfter(kEnd));
    kEnd = Compare(10s, true);
    EXPECT_EQ(200s, DueAfter(kEnd));
    kEnd = Compare(10ms, false);
    EXPECT_EQ(LiveClock::time_point::max(), m_kRechecks.NextDue());
}

TEST_F(RechecksTest, AFolderIsLookedAtOnceMoreBehindItsLastHint)
{
    Hints kHints;
    kHints.uEvents = 1;
    kHints.mapFolders[VOTEXT("folder")];
    m_kRechecks.Note(m_kStart, kHints);
    m_kRechecks.Note(m_kStart + 1s, kHints);
    EXPECT_EQ(2500ms, DueAfter(m_kStart));
    EXPECT_TRUE(m_kRechecks.TakeDue(m_kStart + 2499ms).empty());
    EXPECT_EQ(std::vector<VOWString>{VOTEXT("folder")}, m_kRechecks.TakeDue(m_kStart + 2500ms));
    EXPECT_EQ(LiveClock::time_point::max(), m_kRechecks.NextDue());
    m_kRechecks.LookAgain(m_kStart + 3s, {VOTEXT("folder")});
    EXPECT_EQ(4500ms, DueAfter(m_kStart));
}

TEST_F(RechecksTest, ALossAndABurstOfHintsAreDoubts)
{
    Hints kHints;
    kHints.bDoubt = true;
    m_kRechecks.Note(m_kStart, kHints);
    EXPECT_EQ(1000ms, DueAfter(m_kStart));
    Compare(1ms);

    Hints kBurst;
    kBurst.uEvents = 600;
    m_kRechecks.Note(m_kStart + 10s, kBurst);
    EXPECT_EQ(LiveClock::time_point::max(), m_kRechecks.NextDue());
    m_kRechecks.Note(m_kStart + 11s, kBurst);
    EXPECT_EQ(1000ms, DueAfter(m_kStart + 11s));
}

}  // namespace
