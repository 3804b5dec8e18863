// A source that is followed while calls of the system fail: whatever fails and for how long, what is in the index is
// never taken for gone, and afterwards index, disk and what was told agree.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

#include "live/index_model.h"
#include "live/random_writer.h"
#include "platform/vo_directories.h"
#include "support/fault_points.h"
#include "support/new_faults.h"
#include "support/temporary_folder.h"
#include "tools/lum/live/live_source.h"
#include "tools/lum/live/root_watch.h"

namespace fs = std::filesystem;
using namespace std::chrono_literals;

namespace
{

using namespace livetest;

// A source of a directory, and what was told of it. The time that it goes by is the test's own where it can be.
class FollowedFolder
{
public:
    FollowedFolder() { m_spec = {LUMTrayService::AF_SOURCE, {m_folder.Path().string()}}; }

    bool Open()
    {
        m_pSource = std::make_unique<lum::LiveSource>(m_spec, m_vecTypes, &m_signal);
        const bool bOpened = m_pSource->Open(true, &strError);
        setTold = bOpened ? Indexed() : Paths();
        return bOpened;
    }

    // Opens it, and goes on until its monitor tells, and what its begin asks for is done.
    bool OpenWatched()
    {
        bool bWatched = Open();
        for (int nTry = 0; bWatched && nTry < 2; ++nTry)
        {
            nTry == 0 ? Write("probe") : static_cast<void>(fs::remove(Path() / "probe"));
            bWatched = FollowUntilRight();
        }
        for (int i = 0; i < 600 && m_pSource->Status().ullDoubts == 0; ++i)
        {
            Follow(50ms);
        }
        uRemoved = 0;
        uAdded = 0;
        return bWatched;
    }

    void Write(const std::string& strPath, const std::string& strText = "x") const
    {
        fs::create_directories((m_folder.Path() / strPath).parent_path());
        std::ofstream(m_folder.Path() / strPath) << strText;
    }

    const fs::path& Path() const { return m_folder.Path(); }

    // Works for so long, as a server would.
    void Follow(std::chrono::milliseconds time)
    {
        const auto kEnd = lum::LiveClock::now() + time;
        do
        {
            Changes changes;
            EXPECT_TRUE(m_pSource->Work(lum::LiveClock::now(), &changes, &strError)) << strError;
            Apply(changes, &setTold);
            for (const Change& change : changes)
            {
                uRemoved += change.eKind == ChangeKind::Removed ? 1 : 0;
                uAdded += change.eKind == ChangeKind::Added ? 1 : 0;
            }
            m_signal.WaitFor(20ms);
        } while (lum::LiveClock::now() < kEnd);
    }

    // Less than the audit would take: a hint or a doubt has to tell.
    bool FollowUntilRight(std::chrono::seconds kPatience = 30s)
    {
        for (int i = 0; i < 20 * kPatience.count() && setTold != OnDisk(); ++i)
        {
            Follow(50ms);
        }
        return setTold == OnDisk();
    }

    Paths Indexed()
    {
        lum::AssetImage pImage = m_pSource->MakeImage();
        const ReadImage read(pImage.release());
        read.CheckEveryPathIsFound();
        return read.Walked();
    }

    // What was told and isn't there, and what is there and wasn't told, a line each; and what is known of the
    // following.
    std::string Differences() const
    {
        const Paths setDisk = OnDisk();
        std::vector<std::string> vecDifferent;
        std::set_symmetric_difference(setDisk.begin(), setDisk.end(), setTold.begin(), setTold.end(),
                                      std::back_inserter(vecDifferent));
        std::string strResult;
        for (const std::string& strPath : vecDifferent)
        {
            strResult += (setDisk.contains(strPath) ? "not told: " : "not there: ") + strPath + "\n";
        }
        size_t uUnwatched = 0;
        VOSystemError error;
        VOCountUnwatchedDirectories(m_folder.Text(), &uUnwatched, &error);
        const lum::SourceStatus& status = Status();
        return strResult + "hints " + std::to_string(status.ullHints) + ", comparisons " +
               std::to_string(status.ullDoubts) + ", polled " + std::to_string(status.ullPolledRoots) + ", unread " +
               std::to_string(status.ullUnread) + ", unwatched " + std::to_string(uUnwatched);
    }

    Paths OnDisk() const
    {
        Paths setPaths;
        for (const auto& entry : fs::recursive_directory_iterator(m_folder.Path()))
        {
            setPaths.insert(entry.path().lexically_relative(m_folder.Path()).generic_string() +
                            (entry.is_directory() ? "/" : ""));
        }
        return setPaths;
    }

    const lum::SourceStatus& Status() const { return m_pSource->Status(); }

    std::string strError;
    Paths setTold;
    unsigned uRemoved = 0;
    unsigned uAdded = 0;

private:
    votest::TemporaryFolder m_folder;
    lum::SourceSpec m_spec;
    std::vector<lum::ClassifyType> m_vecTypes;
    lum::HintSignal m_signal;
    std::unique_ptr<lum::LiveSource> m_pSource;
};

class LiveSourceFaults : public testing::Test
{
protected:
    void SetUp() override
    {
        if (!VO_SYSTEM_CALLS_HAVE_FAULT_POINTS)
        {
            GTEST_SKIP() << "the system makes the calls here";
        }
    }
    void TearDown() override { VOFaultDisarm(); }
};

TEST_F(LiveSourceFaults, WhileNothingCanBeListedWhatIsNamedIsFollowedAndNothingIsForgotten)
{
    for (const char* pszCall : {"directory.open", "directory.read"})
    {
        SCOPED_TRACE(pszCall);
        FollowedFolder followed;
        for (int i = 0; i < 100; ++i)
        {
            followed.Write("d" + std::to_string(i % 10) + "/" + std::to_string(i));
        }
        ASSERT_TRUE(followed.OpenWatched()) << followed.strError;
        testing::internal::CaptureStderr();
        VOFaultArm(pszCall, 1, true);
        followed.Write("new");
        followed.Write("d1/new");
        fs::remove(followed.Path() / "d2/2");
        followed.Follow(2500ms);
        EXPECT_EQ(followed.OnDisk(), followed.setTold);
        EXPECT_EQ(followed.OnDisk(), followed.Indexed());
        EXPECT_NE(0u, followed.Status().ullUnread);
        VOFaultDisarm();
        EXPECT_TRUE(followed.FollowUntilRight());
        EXPECT_EQ(1u, followed.uRemoved);
        EXPECT_EQ(2u, followed.uAdded);
        EXPECT_EQ(followed.setTold, followed.Indexed());
        for (int i = 0; i < 600 && followed.Status().ullUnread != 0; ++i)
        {
            followed.Follow(50ms);
        }
        EXPECT_EQ(0u, followed.Status().ullUnread);
        const std::string strSaid = testing::internal::GetCapturedStderr();
        EXPECT_LE(std::count(strSaid.begin(), strSaid.end(), '\n'), 6) << strSaid;
        EXPECT_NE(std::string::npos, strSaid.find("it is tried again")) << strSaid;
    }
}

TEST_F(LiveSourceFaults, WhileNothingCanBeLookedAtNothingIsToldAsChangedAndNoRootAsGone)
{
    FollowedFolder followed;
    followed.Write("d/a");
    followed.Write("b");
    ASSERT_TRUE(followed.OpenWatched()) << followed.strError;
    const Paths setBefore = followed.setTold;
    testing::internal::CaptureStderr();
    VOFaultArm("statx", 1, true);
    followed.Write("d/a", "longer");
    followed.Follow(1500ms);
    EXPECT_EQ(setBefore, followed.setTold);
    EXPECT_NE(0u, VOFaultFired());
    VOFaultDisarm();
    followed.Write("d/c");
    EXPECT_TRUE(followed.FollowUntilRight(10s));
    EXPECT_EQ(0u, followed.uRemoved);
    EXPECT_EQ(std::string::npos, testing::internal::GetCapturedStderr().find("gone"));
}

// One call at a time, each at several places of a run with changes of every kind.
TEST_F(LiveSourceFaults, WhicheverCallFailsOnceIndexDiskAndToldAgreeInTheEnd)
{
    const unsigned uPlaces = SoakTime(0s) < 60s ? 1 : 20;
    for (const char* pszCall : {"directory.open", "directory.read", "statx"})
    {
        FollowedFolder followed;
        followed.Write("d/a");
        testing::internal::CaptureStderr();
        ASSERT_TRUE(followed.OpenWatched()) << followed.strError;
        for (unsigned uNth = 1; uNth <= uPlaces && !testing::Test::HasFailure(); ++uNth)
        {
            SCOPED_TRACE(testing::Message() << pszCall << " " << uNth);
            const std::string strRound = std::to_string(uNth);
            followed.Write("d/A" + strRound);
            followed.Write("D/s/b");
            followed.Write("gone/c");
            EXPECT_TRUE(followed.FollowUntilRight());
            VOFaultArm(pszCall, uNth, false);
            fs::remove(followed.Path() / ("d/A" + strRound));
            fs::rename(followed.Path() / "D", followed.Path() / ("e" + strRound));
            fs::remove_all(followed.Path() / "gone");
            followed.Write("n" + strRound + "/m/x");
            followed.Follow(100ms);
            EXPECT_TRUE(followed.FollowUntilRight());
            VOFaultDisarm();
            EXPECT_EQ(followed.OnDisk(), followed.setTold);
            EXPECT_EQ(followed.setTold, followed.Indexed());
        }
        testing::internal::GetCapturedStderr();
    }
}

// Several writers, and whatever lists, opens or watches fails now and then, once or for a while.
TEST_F(LiveSourceFaults, AfterRandomChangesAndFailuresOfEveryCallIndexDiskAndToldAgree)
{
    const char* const apszCalls[] = {"directory.open", "directory.read", "statx",
                                     "CreateFileW",    "CreateThread",   "ReadDirectoryChangesW",
                                     "inotify.open",   "inotify.watch",  "inotify.overflow",
                                     "read",           "statfs",         "watcher.memory",
                                     "watcher.thread"};
    std::mt19937 random(20261122);
    FollowedFolder followed;
    followed.Write("d/a");
    ASSERT_TRUE(followed.OpenWatched()) << followed.strError;
    unsigned uFired = 0;
    const auto kEnd = SoakClock::now() + SoakTime(4s);
    for (unsigned uPhase = 0; SoakClock::now() < kEnd && !testing::Test::HasFailure(); ++uPhase)
    {
        SCOPED_TRACE(uPhase);
        testing::internal::CaptureStderr();
        testing::internal::CaptureStdout();
        std::string strFailed;
        const auto phaseEnd = SoakClock::now() + 1s;
        std::vector<std::thread> vecWriters;
        for (unsigned i = 1; i <= 2; ++i)
        {
            vecWriters.emplace_back([&, i] { RandomWriter(followed.Path(), 2 * uPhase + i).Run(phaseEnd); });
        }
        while (SoakClock::now() < phaseEnd)
        {
            const char* const pszCall = apszCalls[random() % std::size(apszCalls)];
            VOFaultArm(pszCall, 1 + static_cast<unsigned>(random() % 20), random() % 3 == 0);
            followed.Follow(std::chrono::milliseconds(random() % 300));
            uFired += VOFaultFired();
            strFailed += VOFaultFired() != 0 ? std::string(" ") + pszCall : "";
            VOFaultDisarm();
        }
        for (std::thread& writer : vecWriters)
        {
            writer.join();
        }
        const bool bRight = followed.FollowUntilRight();
        const std::string strSaid = testing::internal::GetCapturedStderr() + testing::internal::GetCapturedStdout();
        EXPECT_TRUE(bRight) << "failed:" << strFailed << "\nsaid:\n" << strSaid << followed.Differences();
        EXPECT_EQ(followed.setTold, followed.Indexed());
    }
    EXPECT_NE(0u, uFired);
}

// The audit would find it as well, but only a minute after its last round.
TEST_F(LiveSourceFaults, ALossOfTheSystemsIsFollowedByAComparisonOfEverything)
{
    FollowedFolder followed;
    followed.Write("d/a");
    ASSERT_TRUE(followed.OpenWatched()) << followed.strError;
    followed.Follow(3000ms);  // nothing is looked at again after this
    VOFaultArm("inotify.overflow", 1, false);
    followed.Write("d/new");
    EXPECT_TRUE(followed.FollowUntilRight()) << followed.Differences();
    EXPECT_EQ(1u, VOFaultFired());
    VOFaultDisarm();
    EXPECT_EQ(Paths({"d/", "d/a", "d/new"}), followed.setTold);
}

TEST_F(LiveSourceFaults, AWatchThatCantBeginAnewAfterALossIsTriedAgain)
{
    for (const char* pszCall : {"inotify.open", "directory.open"})
    {
        SCOPED_TRACE(pszCall);
        FollowedFolder followed;
        followed.Write("d/a");
        ASSERT_TRUE(followed.OpenWatched()) << followed.strError;
        followed.Follow(3000ms);  // nothing is looked at again after this
        testing::internal::CaptureStderr();
        VOFaultArm("watcher.memory", 1, false);
        followed.Write("d/b");
        for (int i = 0; i < 1000 && VOFaultFired() == 0; ++i)
        {
            std::this_thread::sleep_for(1ms);
        }
        VOFaultArm(pszCall, 1, true);
        std::this_thread::sleep_for(300ms);
        EXPECT_NE(0u, VOFaultFired());
        VOFaultDisarm();
        EXPECT_TRUE(followed.FollowUntilRight()) << followed.Differences();
        followed.Follow(3000ms);
        followed.Write("d/c");
        EXPECT_TRUE(followed.FollowUntilRight(10s)) << followed.Differences();
        testing::internal::GetCapturedStderr();
    }
}

TEST_F(LiveSourceFaults, WhatChangesBeforeAMonitorHasBegunIsFoundWhenItHas)
{
    FollowedFolder followed;
    followed.Write("d/a");
    VOFaultArm("ReadDirectoryChangesW", 1, true);
    ASSERT_TRUE(followed.Open()) << followed.strError;
    followed.Follow(2500ms);
    followed.Write("d/new");
    followed.Follow(2500ms);
    EXPECT_EQ(Paths({"d/", "d/a"}), followed.setTold);
    VOFaultDisarm();
    EXPECT_TRUE(followed.FollowUntilRight()) << followed.Differences();
    EXPECT_EQ(Paths({"d/", "d/a", "d/new"}), followed.setTold);
}

TEST_F(LiveSourceFaults, AFirstScanNamesAFolderThatCantBeListedAndFillsItLater)
{
    FollowedFolder followed;
    followed.Write("d/a");
    testing::internal::CaptureStderr();
    // The root is listed to see that it is one, looked at by its monitor, and scanned.
    unsigned uNth = 1;
    for (; uNth < 20; ++uNth)
    {
        VOFaultArm("directory.read", uNth, false);
        const bool bOpened = followed.Open();
        VOFaultDisarm();
        if (bOpened && followed.Status().ullUnread == 1)
        {
            break;
        }
    }
    ASSERT_LT(uNth, 20u);
    const std::string strSaid = testing::internal::GetCapturedStderr();
    EXPECT_NE(std::string::npos, strSaid.find("lum: source: not indexed: d: can't be listed: ")) << strSaid;
    EXPECT_EQ(Paths{"d/"}, followed.setTold);
    EXPECT_TRUE(followed.FollowUntilRight());
    EXPECT_EQ((Paths{"d/", "d/a"}), followed.setTold);
}

TEST_F(LiveSourceFaults, ARootThatCantBeListedAtFirstIsAnErrorOfOneSentence)
{
    FollowedFolder followed;
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    VOFaultArm("directory.open", 1, true);
    EXPECT_FALSE(followed.Open());
    VOFaultDisarm();
    EXPECT_EQ("", testing::internal::GetCapturedStdout());
    EXPECT_EQ("", testing::internal::GetCapturedStderr());
    EXPECT_TRUE(followed.strError.ends_with("can't be listed: Too many open files")) << followed.strError;
}

// A destructor that waits for what was never there would not end.
TEST_F(LiveSourceFaults, ARootWhoseMonitorDidntStartIsPolledAndWatchedAsSoonAsItCanBe)
{
    FollowedFolder folder;
    folder.Write("file");
    VOFaultArm("CreateFileW", 1, false);
    EXPECT_TRUE(folder.Open()) << folder.strError;
    VOFaultDisarm();
    EXPECT_EQ(1u, folder.Status().ullPolledRoots);
    for (int i = 0; i < 200 && folder.Status().ullPolledRoots != 0; ++i)
    {
        folder.Follow(50ms);
    }
    EXPECT_EQ(0u, folder.Status().ullPolledRoots);
    folder.Write("later");
    EXPECT_TRUE(folder.FollowUntilRight());
    EXPECT_EQ(0u, folder.uRemoved);
}

TEST(RootWatchFaults, AWatchWhoseMonitorHasNoDispatcherIsLetGoOf)
{
    const votest::TemporaryFolder folder;
    lum::HintSignal signal;
    lum::HintPool pool(&signal);
    unsigned uThrown = 0;
    // The first allocations are the watch's own, and then the dispatcher's.
    for (unsigned uNth = 1; uNth <= 20; ++uNth)
    {
        std::string strReason;
        votest::NewFaults::Arm(uNth);
        try
        {
            lum::RootWatch::Start(folder.Text(), &pool, &strReason);
        }
        catch (const std::bad_alloc&)
        {
            ++uThrown;
        }
        votest::NewFaults::Disarm();
    }
    EXPECT_NE(0u, uThrown);
}

TEST_F(LiveSourceFaults, AWatchThatCantBeMadeIsLetGoOfAndTheTreePolled)
{
    FollowedFolder followed;
    followed.Write("a");
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    for (const char* pszCall : {"CreateFileW", "CreateEventW"})
    {
        VOFaultArm(pszCall, 1, false);
        EXPECT_TRUE(followed.Open()) << pszCall;
        EXPECT_EQ(1u, VOFaultFired()) << pszCall;
        EXPECT_EQ(1u, followed.Status().ullPolledRoots) << pszCall;
    }
    VOFaultDisarm();
    followed.Write("b");
    EXPECT_TRUE(followed.FollowUntilRight());
    testing::internal::GetCapturedStdout();
    testing::internal::GetCapturedStderr();
}

}  // namespace
